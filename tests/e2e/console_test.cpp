// The console as a user or host meets it: start-up print-out, line handling, keyword prefixes,
// positions and the end of input, over a pipe and over a terminal.
#include <gtest/gtest.h>

#include "tests/e2e/engine_process.h"

namespace {

const std::vector<std::string> DefaultStartup = {
    "Velumbrak v1.96 [r2358/29.06.2016]",
    "Error loading values.txt",
    "Error opening \"Book.vbk\"!",
    "Transposition size is 524288 entries (12582912 bytes)",
    "Pawn hash size is 262144 entries (5767168 bytes)",
    "Aggressivity = 100 (50)%",
    "Cowardice = 100 (50)%",
    "ResignValue = 800",
    "ResignTimes = 3",
    "UseEGTB = on",
    "EGTB path = \"<empty>\"",
    "UseBookWeights = on",
    "UseBookLearning = on",
    "BookLearningMode = KILL",
    "VarietyOfPlay = 10",
    "BookLearningBound = 400",
    "UseLearning = off",
    "UseLearningData = off",
    "LogLearningIntoFile = off",
    "Pondering = on",
    "",
};

const std::vector<std::string> StartBoard = {
    "*R*N*B*Q*K*B*N*R", "*P*P*P*P*P*P*P*P", " . . . . . . . .", " . . . . . . . .",
    " . . . . . . . .", " . . . . . . . .", " P P P P P P P P", " R N B Q K B N R",
};

class Console : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        engine = StartEngine(GetParam());
        ASSERT_GT(engine.pid, 0);
        startup = ReadStartup(engine);
    }
    void TearDown() override { KillEngine(engine); }
    EngineProcess engine;
    std::vector<std::string> startup;
};

TEST_P(Console, StartupPrintsBannerAndDefaultSettings) { EXPECT_EQ(startup, DefaultStartup); }

TEST_P(Console, BoardOfStartAndLoadedPositions) {
    EXPECT_EQ(Exchange(engine, "brd"), StartBoard);
    EXPECT_EQ(Exchange(engine, "loadfen 4k3/8/8/3pP3/8/8/8/R3K2R w KQ d6 0 1"),
              std::vector<std::string>{});
    EXPECT_EQ(Exchange(engine, "brd"),
              (std::vector<std::string>{" . . . .*K . . .", " . . . . . . . .", " . . . . . . . .",
                                        " . . .*P P . . .", " . . . . . . . .", " . . . . . . . .",
                                        " . . . . . . . .", " R . . . K . . R"}));
    EXPECT_EQ(Exchange(engine, "mvd"), std::vector<std::string>{"castling flags = 3"});
    // Rights that the men do not allow are dropped.
    Exchange(engine, "loadfen r3k3/8/8/8/8/8/8/4K2R b KQkq - 0 1");
    EXPECT_EQ(Exchange(engine, "mvd"), std::vector<std::string>{"castling flags = 9"});
}

TEST_P(Console, MalformedFenIsRefusedAndPositionKept) {
    Exchange(engine, "loadfen 4k3/8/8/8/8/8/8/4K2R w K - 0 1");
    for (const char* bad : {"4k3/8/8/8/8/8/8/4K2R", "4k3/8/8/8/8/8/8/4K2R x", "4k3/8/8/8/8/8/4K2R w",
                            "kk6/8/8/8/8/8/8/4K3 w", "4k3/8/8/8/8/8/8/P3K3 w", "4k3/9/8/8/8/8/8/4K3 w",
                            "4k2R/8/8/8/8/8/8/4K3 w"}) {
        EXPECT_EQ(Exchange(engine, std::string("loadfen ") + bad),
                  std::vector<std::string>{std::string("Illegal FEN: ") + bad});
    }
    EXPECT_EQ(Exchange(engine, "loadfen"), std::vector<std::string>{"Illegal FEN: "});
    EXPECT_EQ(Exchange(engine, "mvd"), std::vector<std::string>{"castling flags = 1"});
}

TEST_P(Console, CarriageReturnAndSeveralCommandsInOneWrite) {
    SendRaw(engine, "loadfen 4k3/8/8/8/8/8/8/4K2R w K - 0 1\r\nmvd\r\nnew\r\nmvd\nisready\n");
    EXPECT_EQ(ReadUntil(engine, "readyok"),
              (std::vector<std::string>{"castling flags = 1", "castling flags = 15", "readyok"}));
}

TEST_P(Console, KeywordPrefixesFollowTheChainOrder) {
    // "st" alone does nothing, "stop" is its own word, "ucinewgame" is not "uci": none prints.
    EXPECT_EQ(Exchange(engine, "st"), std::vector<std::string>{});
    EXPECT_EQ(Exchange(engine, "stop"), std::vector<std::string>{});
    EXPECT_EQ(Exchange(engine, "ucinewgame"), std::vector<std::string>{});
    // Case does not matter, and "MVD" with anything behind it is still mvd.
    EXPECT_EQ(Exchange(engine, "MVDx"), std::vector<std::string>{"castling flags = 15"});
    // "is" is a prefix of isready; "egtb" of egtbstat.
    SendLine(engine, "is");
    EXPECT_EQ(ReadUntil(engine, "readyok"), std::vector<std::string>{"readyok"});
    EXPECT_EQ(Exchange(engine, "egtb"),
              (std::vector<std::string>{"UseEGTB = TRUE", "tb_path = <empty>", "EGTB files not found"}));
    // Unknown words pass without a word.
    EXPECT_EQ(Exchange(engine, "result 1-0 {White mates}"), std::vector<std::string>{});
    EXPECT_EQ(Exchange(engine, "zzz"), std::vector<std::string>{});
}

TEST_P(Console, HelpListsTheCommands) {
    SendLine(engine, "help");
    if (GetParam()) {
        // On a terminal the listing waits for Enter after its first page.
        std::string line;
        std::string seen;
        while (ReadLineFrom(engine, line, 3000) && line.find("nopost") == std::string::npos) {}
        SendLine(engine, "");
    }
    SendLine(engine, "isready");
    std::vector<std::string> lines = ReadUntil(engine, "readyok");
    ASSERT_FALSE(lines.empty());
    if (!GetParam()) {
        EXPECT_EQ(lines[0], "Velumbrak commands:");
        EXPECT_EQ(lines[1], std::string(78, '-'));
        EXPECT_EQ(lines[2], "analyze ................... Enters analyze mode");
        EXPECT_EQ(lines.size(), 2u + 29u + 1u + 1u); // head, items, the empty line after "white", readyok
    }
    EXPECT_EQ(lines[lines.size() - 3], "white ..................... Sets white to move and engine side to black");
    EXPECT_EQ(lines[lines.size() - 2], "");
}

TEST_P(Console, QuitAndEndOfInputEndTheProcess) {
    SendLine(engine, "quit now");
    EXPECT_EQ(WaitExit(engine), 0);
}

TEST_P(Console, EndOfInputEndsTheProcess) { EXPECT_EQ(CloseAndWait(engine), 0); }

INSTANTIATE_TEST_SUITE_P(PipeAndTerminal, Console, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Terminal" : "Pipe"; });

TEST(ConsolePipe, OverlongLineIsDroppedWithOneLine) {
    EngineProcess engine = StartEngine(false);
    ReadStartup(engine);
    SendRaw(engine, std::string(3 << 20, 'x') + "\nmvd\n");
    EXPECT_EQ(ReadUntil(engine, "castling flags = 15", 10000),
              (std::vector<std::string>{"Error (line too long)", "castling flags = 15"}));
    // A line of almost the limit is still a line.
    SendRaw(engine, "mvd" + std::string(1000000, ' ') + "\n");
    EXPECT_EQ(ReadUntil(engine, "castling flags = 15", 10000), std::vector<std::string>{"castling flags = 15"});
    KillEngine(engine);
}

TEST(ConsolePipe, BinaryGarbageIsIgnored) {
    EngineProcess engine = StartEngine(false);
    ReadStartup(engine);
    std::string garbage;
    uint32_t s = 12345;
    for (int i = 0; i < 200000; i++) {
        s = s * 1103515245 + 12345;
        char c = char(s >> 16);
        // Letters could form commands that start a search or wait for keys; the reader is what
        // is tested here, with NULs, carriage returns and high bytes.
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) c = '#';
        garbage += c;
    }
    SendRaw(engine, garbage + "\nmvd\n");
    std::vector<std::string> lines = ReadUntil(engine, "castling flags = 15", 10000);
    EXPECT_FALSE(lines.empty());
    KillEngine(engine);
}

} // namespace

namespace {

class Game : public ::testing::Test {
  protected:
    void SetUp() override {
        engine = StartEngine(false);
        ReadStartup(engine);
        Exchange(engine, "force"); // moves are played, not answered
    }
    void TearDown() override { KillEngine(engine); }
    EngineProcess engine;
};

TEST_F(Game, TypedMovesAreCheckedAndPlayed) {
    EXPECT_EQ(Exchange(engine, "e2e5"), std::vector<std::string>{"Illegal move: e2e5"});
    EXPECT_EQ(Exchange(engine, "E2E4"), std::vector<std::string>{});
    EXPECT_EQ(Exchange(engine, "e7e5"), std::vector<std::string>{});
    EXPECT_EQ(Exchange(engine, "brd")[4], " . . . . P . . .");
    EXPECT_EQ(Exchange(engine, "undo"), std::vector<std::string>{});
    EXPECT_EQ(Exchange(engine, "brd")[1], "*P*P*P*P*P*P*P*P");
    EXPECT_EQ(Exchange(engine, "remove"), std::vector<std::string>{});
    EXPECT_EQ(Exchange(engine, "brd")[6], " P P P P P P P P");
    EXPECT_EQ(Exchange(engine, "remove"), std::vector<std::string>{}); // nothing left to take back
    // A promotion needs its letter.
    Exchange(engine, "loadfen 4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(Exchange(engine, "a7a8"), std::vector<std::string>{"Illegal move: a7a8"});
    EXPECT_EQ(Exchange(engine, "a7a8N"), std::vector<std::string>{});
    EXPECT_EQ(Exchange(engine, "brd")[0], " N . . .*K . . .");
}

TEST_F(Game, MovesListsLegalMovesAndResults) {
    std::vector<std::string> lines = Exchange(engine, "moves");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "-------------- Legal moves: ----------------");
    int count = 0;
    for (size_t at = lines[1].find("; "); at != std::string::npos; at = lines[1].find("; ", at + 1)) count++;
    EXPECT_EQ(count, 20);
    EXPECT_NE(lines[1].find("Ng1f3 ("), std::string::npos);

    Exchange(engine, "loadfen 7k/6Q1/6K1/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(Exchange(engine, "moves"),
              (std::vector<std::string>{"-------------- Legal moves: ----------------", "1-0 {White mates}", ""}));
    Exchange(engine, "loadfen 7k/8/6QK/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(Exchange(engine, "moves")[1], "1/2-1/2 {Stalemate}");
    Exchange(engine, "loadfen 7k/8/6NK/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(Exchange(engine, "moves")[1], "1/2-1/2 {Draw by insufficient material}");
    Exchange(engine, "loadfen 7k/8/6K1/8/8/8/8/5NN1 b - - 0 1");
    EXPECT_EQ(Exchange(engine, "moves")[1].rfind("Kh8", 0), 0u); // two knights: no draw told
    // The third occurrence of a position is told as a repetition.
    Exchange(engine, "new");
    Exchange(engine, "force");
    for (int i = 0; i < 2; i++)
        for (const char* m : {"g1f3", "g8f6", "f3g1", "f6g8"}) Exchange(engine, m);
    EXPECT_EQ(Exchange(engine, "moves")[1], "1/2-1/2 {Draw by repetition}");
}

TEST_F(Game, PerftCountsFromTheCurrentPosition) {
    std::vector<std::string> lines = Exchange(engine, "perft 4");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("total moves = 197281 time = ", 0), 0u);
    Exchange(engine, "loadfen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
    EXPECT_EQ(Exchange(engine, "perft 3")[0].rfind("total moves = 97862 ", 0), 0u);
}

} // namespace

namespace {

// The position key as the console shows it (bkm's first line) does not see spacing or counters.
TEST(ConsoleKeys, SpacingAndCountersDoNotChangeTheKey) {
    EngineProcess engine = StartEngine(false);
    ReadStartup(engine);
    auto key = [&](const std::string& fen) {
        Exchange(engine, "loadfen " + fen);
        std::vector<std::string> lines = Exchange(engine, "bkm");
        return lines.empty() ? std::string() : lines[0];
    };
    const std::string plain = key("r3k2r/pp6/8/8/8/8/PP6/R3K2R w KQkq - 0 1");
    EXPECT_EQ(plain.rfind("Current nhash1 = ", 0), 0u);
    EXPECT_EQ(key("  r3k2r/pp6/8/8/8/8/PP6/R3K2R    w  KQkq   -   17   40"), plain);
    EXPECT_NE(key("r3k2r/pp6/8/8/8/8/PP6/R3K1R1 w KQkq - 0 1"), plain);
    KillEngine(engine);
}

} // namespace
