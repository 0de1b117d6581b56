// The console as a user or host meets it: the start-up print-out and the files behind it, line
// handling, keyword prefixes, positions, moves, game results, the end of input, the tools.
#include <gtest/gtest.h>

#include "tests/support/engine_process.h"
#include "tests/support/values_file.h"

namespace {

const Lines DefaultSettings = {
    "Transposition size is 524288 entries (12582912 bytes)", "Pawn hash size is 262144 entries (5767168 bytes)",
    "Aggressivity = 100 (50)%", "Cowardice = 100 (50)%", "ResignValue = 800", "ResignTimes = 3", "UseEGTB = on",
    "EGTB path = \"<empty>\"", "UseBookWeights = on", "UseBookLearning = on", "BookLearningMode = KILL",
    "VarietyOfPlay = 10", "BookLearningBound = 400", "UseLearning = off", "UseLearningData = off",
    "LogLearningIntoFile = off", "Pondering = on", ""};
const std::string Banner = "Velumbrak v1.96 [r2358/29.06.2016]";

Lines Startup(const Lines& between, const Lines& settings = DefaultSettings) {
    Lines all = {Banner};
    all.insert(all.end(), between.begin(), between.end());
    all.insert(all.end(), settings.begin(), settings.end());
    return all;
}

class Console : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override { ASSERT_EQ(engine.Startup(), Startup({"Error loading values.txt", "Error opening \"Book.vbk\"!"})); }
    EngineProcess engine{GetParam()};
};

TEST_P(Console, LinesPrefixesAndTheEndOfInput) {
    // CR LF, several commands in one write, case, and any text behind a keyword.
    engine.SendRaw("loadfen 4k3/8/8/8/8/8/8/4K2R w K - 0 1\r\nmvd\r\nnew\r\nMVDx\nisready\n");
    EXPECT_EQ(engine.ReadUntil("readyok"), (Lines{"castling flags = 1", "castling flags = 15", "readyok"}));
    // "st" alone, "stop" at rest, "ucinewgame" (not "uci"), results and unknown words print nothing.
    for (const char* quiet : {"st", "stop", "ucinewgame", "result 1-0 {White mates}", "zzz"})
        EXPECT_EQ(engine.Exchange(quiet), Lines{}) << quiet;
    engine.Send("is"); // a prefix of isready
    EXPECT_EQ(engine.ReadUntil("readyok"), Lines{"readyok"});
    EXPECT_EQ(engine.Exchange("egtb"), (Lines{"UseEGTB = TRUE", "tb_path = <empty>", "EGTB files not found"}));
    EXPECT_EQ(engine.CloseAndWait(), 0);
}

TEST_P(Console, QuitEndsTheProcess) {
    engine.Send("quit now");
    EXPECT_EQ(engine.WaitExit(), 0);
}

INSTANTIATE_TEST_SUITE_P(PipeAndTerminal, Console, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Terminal" : "Pipe"; });

TEST(ConsoleInput, OverlongLinesAndBinaryGarbage) {
    EngineProcess engine;
    engine.Startup();
    engine.SendRaw(std::string(3 << 20, 'x') + "\nmvd\n");
    EXPECT_EQ(engine.ReadUntil("castling", 10000), (Lines{"Error (line too long)", "castling flags = 15"}));
    engine.SendRaw("mvd" + std::string(1000000, ' ') + "\n"); // just under the limit: still a line
    EXPECT_EQ(engine.ReadUntil("castling", 10000), Lines{"castling flags = 15"});
    std::string garbage;
    for (uint32_t s = 12345, i = 0; i < 200000; i++) {
        s = s * 1103515245 + 12345;
        const char c = char(s >> 16);
        garbage += std::isalpha(static_cast<unsigned char>(c)) ? '#' : c; // letters could start a search
    }
    engine.SendRaw(garbage + "\nmvd\n");
    EXPECT_FALSE(engine.ReadUntil("castling flags = 15", 10000).empty());
}

TEST(ConsoleGame, PositionsMovesAndResults) {
    EngineProcess engine;
    engine.Startup();
    engine.Exchange("force");
    EXPECT_EQ(engine.Exchange("brd"), (Lines{"*R*N*B*Q*K*B*N*R", "*P*P*P*P*P*P*P*P", " . . . . . . . .", " . . . . . . . .",
                                            " . . . . . . . .", " . . . . . . . .", " P P P P P P P P", " R N B Q K B N R"}));
    EXPECT_EQ(engine.Exchange("e2e5"), Lines{"Illegal move: e2e5"});
    EXPECT_EQ(engine.Exchange("E2E4"), Lines{});
    EXPECT_EQ(engine.Exchange("e7e5"), Lines{});
    EXPECT_EQ(engine.Exchange("brd")[4], " . . . . P . . .");
    engine.Exchange("undo");
    EXPECT_EQ(engine.Exchange("brd")[1], "*P*P*P*P*P*P*P*P");
    engine.Exchange("remove");
    engine.Exchange("remove"); // nothing left to take back
    EXPECT_EQ(engine.Exchange("brd")[6], " P P P P P P P P");
    const Lines moves = engine.Exchange("moves");
    ASSERT_EQ(moves.size(), 2u);
    EXPECT_EQ(moves[0], "-------------- Legal moves: ----------------");
    EXPECT_EQ(std::count(moves[1].begin(), moves[1].end(), ';'), 20);
    EXPECT_EQ(engine.Exchange("perft 4")[0].rfind("total moves = 197281 time = ", 0), 0u);
    // A promotion needs its letter, and takes any.
    engine.Exchange("loadfen 4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(engine.Exchange("a7a8"), Lines{"Illegal move: a7a8"});
    EXPECT_EQ(engine.Exchange("a7a8N"), Lines{});
    EXPECT_EQ(engine.Exchange("brd")[0], " N . . .*K . . .");
    engine.Exchange("loadfen 4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(engine.Exchange("a7a8q"), Lines{});
    EXPECT_EQ(engine.Exchange("brd")[0], " Q . . .*K . . .");
    // FENs: rights the men do not allow are dropped; a bad one is refused and the position kept.
    engine.Exchange("loadfen r3k3/8/8/8/8/8/8/4K2R b KQkq - 0 1");
    EXPECT_EQ(engine.Exchange("mvd"), Lines{"castling flags = 9"});
    for (const char* bad : {"4k3/8/8/8/8/8/8/4K2R", "kk6/8/8/8/8/8/8/4K3 w", "4k3/9/8/8/8/8/8/4K3 w", ""})
        EXPECT_EQ(engine.Exchange(std::string("loadfen ") + bad), Lines{std::string("Illegal FEN: ") + bad});
    EXPECT_EQ(engine.Exchange("mvd"), Lines{"castling flags = 9"});
    // An edited board is checked as a FEN would be.
    EXPECT_EQ(engine.Exchange("edit\n#\nKe1\nPa1\nc\nKe8\n."), Lines{"Illegal FEN: 4k3/8/8/8/8/8/8/P3K3 b - -"});
    EXPECT_EQ(engine.Exchange("mvd"), Lines{"castling flags = 9"});
    EXPECT_EQ(engine.Exchange("edit\n#\nKe1\nRh1\nc\nKe8\n."), Lines{});
    EXPECT_EQ(engine.Exchange("mvd"), Lines{"castling flags = 1"});
    // A NUL byte is no man's letter: it and the two characters behind it are errors.
    EXPECT_EQ(engine.Exchange(std::string("edit\n#\nKe1\n\0h1\nc\nKe8\n.", 22)), (Lines{"Error", "Error", "Error"}));
    // Game results.
    const std::vector<std::pair<std::string, std::string>> results = {
        {"7k/6Q1/6K1/8/8/8/8/8 b - - 0 1", "1-0 {White mates}"}, {"7k/8/6QK/8/8/8/8/8 b - - 0 1", "1/2-1/2 {Stalemate}"},
        {"7k/8/6NK/8/8/8/8/8 b - - 0 1", "1/2-1/2 {Draw by insufficient material}"}};
    for (const auto& [fen, result] : results) {
        engine.Exchange("loadfen " + fen);
        EXPECT_EQ(engine.Exchange("moves")[1], result) << fen;
    }
    engine.Exchange("loadfen 7k/8/6K1/8/8/8/8/5NN1 b - - 0 1");
    EXPECT_EQ(engine.Exchange("moves")[1].rfind("Kh8", 0), 0u); // two knights: no draw told
    engine.Exchange("new");
    engine.Exchange("force");
    for (int i = 0; i < 2; i++)
        for (const char* m : {"g1f3", "g8f6", "f3g1", "f6g8"}) engine.Exchange(m);
    EXPECT_EQ(engine.Exchange("moves")[1], "1/2-1/2 {Draw by repetition}");
}

// Velumbrak.ini changes the settings print-out; values.txt is repaired with "fix" lines and read
// again by `reload`.
TEST(StartupFiles, IniFileSettingsAndWarnings) {
    std::string garbage = "; Aggressivity 5\n\nAggressivity\nHash 64\n[section]\n= = ,,, \"\"\n\x01\x02 Aggressivity 7\n";
    garbage += std::string(600, 'x') + "\n"; // longer than a line may be: read in pieces
    for (int c = 1; c < 256; c++)
        if (c != '\n' && c != ';') garbage += std::string(1, char(c)) + "garbage\n";
    EngineProcess quiet(false, {{"Velumbrak.ini", garbage}});
    EXPECT_EQ(quiet.Startup(), Startup({"Error loading values.txt", "Error opening \"Book.vbk\"!"}));

    EngineProcess engine(false, {{"Velumbrak.ini", "; tournament settings\r\nTranspositionSizeMb = 64\r\nPawnHashSize 16\n"
                                                   "Aggressivity 500\nCowardice 41\nResignValue 600\nResignTimes 4\n"
                                                   "UseEGTB off\nEGTBPath = \"/tmp/tb dir\"\nUseBookWeights false\n"
                                                   "UseBookLearning off\nBookLearningMode discover\nVarietyOfPlay 55\n"
                                                   "BookLearningBound 300\nLearning on\nUseLearningData on\n"
                                                   "LogLearningIntoFile on\nPondering off\nNoSuchKey 12\nCowardice -7\n"
                                                   "VarietyOfPlay 101\nPondering maybe\nTranspositionSize 26\n"}});
    EXPECT_EQ(engine.Startup(),
              Startup({"Error loading values.txt", "Velumbrak.ini(4) WARNING: Incorrect AGGRESSIVITY setting; set to 300",
                       "Velumbrak.ini(20) WARNING: Incorrect COWARDICE setting; set to 0",
                       "Velumbrak.ini(21) WARNING: Incorrect VarietyOfPlay setting; set to 100",
                       "Velumbrak.ini(22) WARNING: Token unknown \"maybe\"",
                       "Velumbrak.ini(23) WARNING: Incorrect hash size setting in Velumbrak.ini; set to default",
                       "Error opening \"Book.vbk\"!"},
                      {"Transposition size is 524288 entries (12582912 bytes)", "Pawn hash size is 65536 entries (1441792 bytes)",
                       "Aggressivity = 300 (150)%", "Cowardice = 0 (0)%", "ResignValue = 600", "ResignTimes = 4",
                       "UseEGTB = off", "EGTB path = \"/tmp/tb dir\"", "UseBookWeights = off", "UseBookLearning = off",
                       "BookLearningMode = DISCOVER", "VarietyOfPlay = 100", "BookLearningBound = 300", "UseLearning = on",
                       "UseLearningData = on", "LogLearningIntoFile = on", "Pondering = off", ""}));
    EXPECT_EQ(engine.Exchange("egtbstat"), (Lines{"UseEGTB = FALSE", "tb_path = /tmp/tb dir", "EGTB files not found"}));
    EXPECT_EQ(engine.CloseAndWait(), 0);
}

// A file of zeros with one king-ring entry too high: the development weights (at least 1) and the
// pawn-ending wins (fixed values) are repaired too, and the number runs on over a reload.
TEST(StartupFiles, ValuesFileRepairsAndReload) {
    auto fixes = [](int first) {
        std::string line = "fix [" + std::to_string(first + 33) + ", 200 to 127]; ";
        for (int i = 449; i <= 466; i++) line += "fix [" + std::to_string(first + i) + ", 0 to 1]; ";
        for (int i = 0; i < 6; i++)
            line += "fix [" + std::to_string(first + 659 + i) + ", 0 to " + std::to_string(800 + 20 * i) + "]; ";
        return line;
    };
    ValuesFile values;
    values.Set(46, 0, 200);
    EngineProcess engine(false, {{"values.txt", values.Text()}});
    EXPECT_EQ(engine.Startup(), Startup({fixes(0), "Error opening \"Book.vbk\"!"}));
    EXPECT_EQ(engine.Exchange("reload"), Lines{fixes(1557)});
    engine.dir.Write("values.txt", values.Text(1000)); // cut short: read as far as it goes
    EXPECT_EQ(engine.Exchange("reload"), Lines{}); // what was read is in range
    engine.dir.Remove("values.txt");
    EXPECT_EQ(engine.Exchange("reload"), Lines{"Error loading values.txt"});
    EXPECT_EQ(engine.Exchange("brd").size(), 8u);
    EXPECT_EQ(engine.CloseAndWait(), 0);
}

// ------------------------------------------------------------------------------------------------
// The developer's tools on real and hand-made files: pgneval and its training lines, epdevl.

// A byte-order mark and CRLF, comments, nested variations, NAGs and a glyph standing alone; a
// set-up game with a promotion and castling; a move that names nothing, one that names two, and a
// game without a result.
const char* HAND = "\xEF\xBB\xBF[Event \"hand\"]\r\n[Result \"1-0\"]\r\n[PlyCount \"9\"]\r\n\r\n"
                   "{opening} 1. e4 $1 e5 (1... c5 2. Nf3 (2. c3) d6) 2. Nf3 !? Nc6 ; to the end\r\n"
                   "3. Bb5 a6 4. Ba4 Nf6 5. 0-0 1-0\r\n\r\n"
                   "[Result \"0-1\"]\n[FEN \"4k3/P7/8/8/8/8/8/4K2R w K - 0 1\"]\n\n1. a8=Q+ Kd7 2. O-O Ke6 3. Kh2 0-1\n\n"
                   "[Result \"1/2-1/2\"]\n\n1. e4 e5 2. Nf3 Zz9 3. Nc3 1/2-1/2\n\n"
                   "[Result \"1/2-1/2\"]\n[FEN \"4k3/8/8/8/8/2N3N1/8/4K3 w - - 0 1\"]\n\n1. Ne2 Kd7 1/2-1/2\n\n"
                   "[Result \"*\"]\n\n1. d4 d5 *\n";

Lines FileLines(const ScratchDir& dir, const char* name) {
    std::istringstream in(dir.Read(name));
    Lines lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

TEST(Tools, PgnevalPlaysWhatItCanReadAndCountsTheRest) {
    ScratchDir dir;
    dir.Write("source.pgn", HAND);
    EngineProcess engine(false, {}, dir.path);
    engine.Startup();
    const Lines report = {"", "Can't recognize: Zz9...", "", "Ambigous move: Ne2...", "",
                          "Processed 5 games: 3 read whole, 2 broken; 19 moves, 14 training lines"};
    EXPECT_EQ(engine.Exchange("pgneval"), report);
    const Lines csv = FileLines(dir, "my_eval.csv");
    ASSERT_EQ(csv.size(), 14u);
    EXPECT_EQ(csv[0], "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq ;e7e5;8;9;2");
    EXPECT_EQ(csv[7], "r1bqkb1r/1ppp1ppp/p1n2n2/4p3/B3P3/5N2/PPPP1PPP/RNBQK2R w KQkq - ;e1g1;1;9;1");
    EXPECT_EQ(csv[9], "Q7/3k4/8/8/8/8/8/4K2R w K - ;e1g1;-2;0;2");
    EXPECT_EQ(engine.Exchange("selftest"), report);
    EXPECT_EQ(FileLines(dir, "my_eval.csv").size(), 28u); // appended
    EXPECT_EQ(engine.Exchange("pgneval none.pgn\nepdevl none.epd"),
              (Lines{"Error opening file none.pgn...", "Error opening file none.epd..."}));
    // epdevl: the line as read and its score; the colours exchanged score the same for the side to move.
    dir.Write("in.epd", "4k3/8/8/8/8/8/4P3/4K3 w - - bm e4;\r\nnot a position\r\n4k3/4p3/8/8/8/8/8/4K3 b - -\n");
    EXPECT_EQ(engine.Exchange("epdevl in.epd"), Lines{"Illegal FEN: not a position"});
    const Lines epd = FileLines(dir, "out.epd");
    ASSERT_EQ(epd.size(), 2u);
    EXPECT_EQ(epd[0].substr(0, 35) + epd[0].substr(35), "4k3/8/8/8/8/8/4P3/4K3 w - - bm e4;;" + epd[1].substr(28));
    EXPECT_EQ(epd[1].substr(0, 28), "4k3/4p3/8/8/8/8/8/4K3 b - -;");
    // Real games: all read whole, and as many moves as their PlyCount tags say.
    const std::string games = DataPath("pgn/TCEC_Season_4_-_Superfinal-first10.pgn"), text = ReadFileText(games);
    int plies = 0;
    for (size_t at = text.find("[PlyCount \""); at != std::string::npos; at = text.find("[PlyCount \"", at + 1))
        plies += std::stoi(text.substr(at + 11));
    dir.Remove("my_eval.csv");
    const std::string counts = engine.Exchange("pgneval " + games).back();
    EXPECT_EQ(counts, "Processed 10 games: 10 read whole, 0 broken; " + std::to_string(plies) + " moves, " +
                          std::to_string(FileLines(dir, "my_eval.csv").size()) + " training lines");
}

} // namespace
