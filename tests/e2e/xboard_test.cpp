// The console and xboard side of a search: time limits, the commands taken while the engine
// thinks, thinking on the opponent's time, analysis, resigning and the end of input. Run over a
// pipe and over a terminal, whose input is polled differently.
#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "tests/support/engine_process.h"

namespace {

// The last search report, "depth score centiseconds nodes pv...", split in words; empty when none.
std::vector<std::string> LastReport(const Lines& lines) {
    static const std::regex form("-?\\d+ -?\\d+ \\d+ \\d+( \\S+)*");
    for (auto it = lines.rbegin(); it != lines.rend(); ++it)
        if (std::regex_match(*it, form)) return Words(*it);
    return {};
}
int Centiseconds(const Lines& lines) { return LastReport(lines).empty() ? -1 : std::stoi(LastReport(lines)[2]); }

// The board print-out at the end of a reply that may begin with late lines of a search.
Lines BoardOf(Lines lines) {
    if (lines.size() > 8) lines.erase(lines.begin(), lines.end() - 8);
    return lines;
}

class XboardSearch : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override { ASSERT_FALSE(engine.Startup().empty()); }
    // Starts an endless search (no clock, no fixed time) and lets it run for a moment.
    void StartEndlessSearch() {
        engine.Exchange("easy");
        engine.Exchange("nopost");
        engine.Send("go");
        EXPECT_TRUE(engine.LinesWithin(300).empty());
    }
    // The time until the engine moves after `command`.
    int64_t MovesAfter(const std::string& command, int timeoutMs = 3000) {
        const int64_t start = SteadyMs();
        engine.Send(command);
        EXPECT_FALSE(engine.ReadUntil("move ", timeoutMs).empty()) << command;
        return SteadyMs() - start;
    }
    EngineProcess engine{GetParam()};
};

TEST_P(XboardSearch, FixedTimeSearchEndsInAboutASecond) {
    engine.Exchange("xboard");
    engine.Exchange("easy");
    engine.Exchange("st 1");
    const int64_t start = SteadyMs();
    engine.Send("go");
    const Lines lines = engine.ReadUntil("move ", 4000);
    // No iteration starts after three fifths of the second; none is let past it.
    EXPECT_GE(SteadyMs() - start, 550);
    EXPECT_LE(SteadyMs() - start, 1400);
    EXPECT_LE(Centiseconds(lines), 110);
}

// A host that ends its lines with CR LF: `go` keeps the clock it was given and moves in time.
TEST_P(XboardSearch, LinesEndingInCarriageReturnKeepTheClock) {
    for (const char* command : {"xboard\r", "easy\r", "nopost\r", "level 40 0:01 0\r", "time 100\r"})
        engine.Exchange(command);
    EXPECT_LT(MovesAfter("go\r"), 1500 * kSlowdown);
}

TEST_P(XboardSearch, CommandsTakenDuringAnEndlessSearch) {
    for (const char* command : {"?", "stop", "post"}) { // move at once; post takes effect next time
        StartEndlessSearch();
        EXPECT_LT(MovesAfter(command), 2000 * kSlowdown) << command;
        engine.Exchange("new");
    }
    engine.Exchange("sd 3");
    engine.Send("go");
    EXPECT_FALSE(LastReport(engine.ReadUntil("move ", 5000)).empty());
    engine.Exchange("new");

    StartEndlessSearch(); // `.` prints the status and the search goes on
    engine.Send(".");
    const Lines status = engine.ReadUntil("stat01: ", 2000);
    std::smatch m;
    ASSERT_EQ(status.size(), 1u);
    ASSERT_TRUE(std::regex_match(status[0], m, std::regex("stat01: (\\d+) (\\d+) (\\d+) (\\d+) 20 ([a-h][1-8][a-h][1-8])")))
        << status[0];
    EXPECT_GE(std::stoi(m[1]), 25);
    EXPECT_GT(std::stoll(m[2]), 0);
    engine.Send("otim 100"); // the opponent's clock changes nothing; ours ends the search
    EXPECT_EQ(CountPrefix(engine.LinesWithin(400), "move "), 0);
    EXPECT_LT(MovesAfter("time 100000"), 2000 * kSlowdown);

    engine.Exchange("loadfen r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
    StartEndlessSearch();
    engine.Send("new"); // ends it without a move
    const Lines lines = engine.Exchange("brd");
    EXPECT_EQ(CountPrefix(lines, "move "), 0);
    EXPECT_EQ(BoardOf(lines)[0], "*R*N*B*Q*K*B*N*R");
}

TEST_P(XboardSearch, QuitOrTheEndOfInputDuringASearch) {
    StartEndlessSearch();
    engine.Send("quit");
    EXPECT_EQ(engine.WaitExit(3000), 0);
    EXPECT_EQ(engine.pending.find("move "), std::string::npos) << engine.pending;
    EngineProcess other(GetParam()); // `echo go | velumbrak`: the end of input stops it, the move comes
    other.Startup();
    other.Send("go");
    EXPECT_EQ(other.CloseAndWait(3000), 0);
    EXPECT_NE(other.pending.find("move "), std::string::npos) << other.pending;
    EXPECT_EQ(other.pending.find("Hint: "), std::string::npos) << other.pending;
}

TEST_P(XboardSearch, MateScoresInTheConsoleForm) {
    engine.Exchange("loadfen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1"); // mate in one: 32699, printed 67 higher
    engine.Exchange("sd 4");
    engine.Send("go");
    Lines lines = engine.ReadUntil("move ", 5000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "move a1a8");
    ASSERT_GE(LastReport(lines).size(), 5u);
    EXPECT_EQ(LastReport(lines)[1], "32766");
    EXPECT_EQ(LastReport(lines)[4], "a1a8");
    engine.Exchange("new");
    engine.Exchange("easy");
    engine.Exchange("loadfen 7k/p7/6K1/8/8/8/8/1R6 b - - 0 1"); // every move allows Rb8 mate
    engine.Exchange("sd 4");
    engine.Send("go");
    lines = engine.ReadUntil("move ", 5000);
    ASSERT_GE(LastReport(lines).size(), 2u);
    EXPECT_EQ(LastReport(lines)[1], "-32765");
}

TEST_P(XboardSearch, ResignsAfterThreeMovesFarBehindAndStillMoves) {
    for (const char* c : {"xboard", "easy", "nopost", "loadfen 7k/5ppp/8/8/8/8/PP6/K2QQ3 b - - 0 1"}) engine.Exchange(c);
    const char* replies[] = {"go", "a2a3", "b2b3"};
    for (int turn = 0; turn < 3; turn++) {
        engine.Exchange("time 300");
        engine.Send(replies[turn]);
        const Lines lines = engine.ReadUntil("move ", 5000);
        ASSERT_FALSE(lines.empty()) << turn;
        EXPECT_EQ(CountPrefix(lines, "Illegal"), 0) << turn;
        EXPECT_EQ(lines.size() > 1 && lines[lines.size() - 2] == "resign", turn == 2) << turn;
    }
}

// Every black move allows a mate: the engine predicts it and must not take it as played.
TEST_P(XboardSearch, PredictedMateIsNotClaimedNorKept) {
    for (const char* c : {"xboard", "hard", "post", "loadfen 7k/p7/6K1/8/8/8/8/1R6 b - - 0 1", "time 500"}) engine.Exchange(c);
    engine.Send("go");
    Lines lines = engine.ReadUntil("move ", 5000);
    ASSERT_FALSE(lines.empty());
    const std::string reply = Words(lines.back())[1];
    for (const std::string& line : engine.LinesWithin(1500)) EXPECT_FALSE(StartsWith(line, "1-0")) << line;
    engine.Exchange("time 500");
    engine.Send(reply == "h8g8" ? "g6f6" : "b1c1");
    lines = engine.ReadUntil("move ", 5000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(CountPrefix(lines, "Illegal"), 0);
}

TEST_P(XboardSearch, AnalyzeFollowsMovesUndoAndExit) {
    engine.Exchange("post");
    engine.Send("analyze");
    engine.LinesWithin(300);
    engine.Send("e2e4");
    bool blackLine = false; // the analysis goes on with Black to move
    for (std::string line; !blackLine && engine.ReadLine(line, 2000);) {
        const std::vector<std::string> report = LastReport({line});
        blackLine = report.size() > 4 && (report[4][1] == '7' || report[4][1] == '8');
    }
    EXPECT_TRUE(blackLine);
    engine.Send("e2e4");
    EXPECT_FALSE(engine.ReadUntil("Illegal move: e2e4", 2000).empty());
    engine.LinesWithin(200);
    engine.Send(".");
    const Lines status = engine.ReadUntil("stat01: ", 2000);
    ASSERT_FALSE(status.empty());
    EXPECT_NE(status.back(), "stat01: 0 0 0 0 0"); // analysing again
    engine.Send("undo");
    engine.LinesWithin(300);
    engine.Send("exit");
    EXPECT_EQ(BoardOf(engine.Exchange("brd"))[6], " P P P P P P P P");

    engine.Exchange("loadfen R6k/6p1/8/8/8/8/8/1K6 b - - 0 1"); // a single legal move: no search runs
    engine.Send("analyze");
    engine.Send(".");
    EXPECT_FALSE(engine.ReadUntil("stat01: 0 0 0 0 0", 2000, true).empty());
    engine.Send("h8h8");
    EXPECT_FALSE(engine.ReadUntil("Illegal move: h8h8", 2000, true).empty());
    engine.Send("h8h7");
    EXPECT_FALSE(engine.ReadUntil("move maked...", 2000, true).empty());
    engine.Send("exit");
    EXPECT_EQ(BoardOf(engine.Exchange("brd"))[1], " . . . . . .*P*K");
}

// After its move the engine names the reply it expects and searches on it.
class XboardPondering : public XboardSearch {
  protected:
    void SetUp() override {
        XboardSearch::SetUp();
        for (const char* c : {"xboard", "new", "hard", "post", "time 1000", "otim 1000"}) engine.Exchange(c);
        engine.Send("e2e4");
        ASSERT_FALSE(engine.ReadUntil("move ", 5000).empty());
        const Lines hint = engine.ReadUntil("Hint: ", 3000);
        ASSERT_FALSE(hint.empty());
        predicted = Words(hint.back())[1];
        ASSERT_TRUE(std::regex_match(predicted, std::regex("[a-h][1-8][a-h][1-8][qrbn]?"))) << predicted;
        engine.LinesWithin(1200); // this time counts for the search that follows a hit
        engine.Exchange("time 200");
        engine.Exchange("otim 1000");
    }
    std::string predicted;
};

TEST_P(XboardPondering, PredictedMoveContinuesTheSameSearch) {
    engine.Send(predicted);
    const Lines lines = engine.ReadUntil("move ", 5000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(CountPrefix(lines, "Hint: ") + CountPrefix(lines, "Illegal"), 0);
    EXPECT_GE(Centiseconds(lines), 110); // the time counts from the start of pondering
}

TEST_P(XboardPondering, OtherMoveGivesUpAndAnswersTheRealMove) {
    engine.Send(predicted == "d2d4" ? "g1f3" : "d2d4");
    const Lines lines = engine.ReadUntil("move ", 5000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(CountPrefix(lines, "Illegal"), 0);
    EXPECT_GE(Centiseconds(lines), 0);
    EXPECT_LT(Centiseconds(lines), 110); // a new search: its time starts at the real move
    engine.Send("force");
    engine.Exchange("remove"); // the game goes on from the real move
    EXPECT_EQ(BoardOf(engine.Exchange("brd"))[6], " P P P P . P P P");
}

TEST_P(XboardPondering, ForceRemoveOrTheEndOfInputGiveUpWithoutAMove) {
    engine.Send("remove");
    engine.LinesWithin(300);
    engine.Send("force");
    const Lines board = BoardOf(engine.Exchange("brd"));
    EXPECT_EQ(board[1], "*P*P*P*P*P*P*P*P");
    EXPECT_EQ(board[6], " P P P P P P P P");
    EXPECT_EQ(CountPrefix(engine.Exchange("e2e4"), "Illegal"), 0);
    engine.Exchange("hard");
    engine.Send("go"); // thinks, moves, ponders again; then the input ends
    engine.ReadUntil("Hint: ", 5000);
    EXPECT_EQ(engine.CloseAndWait(3000), 0);
    EXPECT_EQ(engine.pending.find("move "), std::string::npos) << engine.pending;
}

TEST_P(XboardPondering, PingAtOnceOnTheOpponentsTimeAndInAnalysisElseAfterTheMove) {
    engine.Send("ping 4"); // pondering goes on
    const Lines lines = engine.ReadUntil("pong 4", 1000, true);
    EXPECT_EQ(CountPrefix(lines, "pong 4") - CountPrefix(lines, "move "), 1);
    engine.Exchange("time 6000");
    engine.Send(predicted == "d2d4" ? "g1f3" : "d2d4"); // our own search: the answer waits for our move
    engine.Send("ping 5");
    EXPECT_EQ(CountPrefix(engine.ReadUntil("pong 5", 5000, true), "move "), 1);
    for (const char* c : {"force", "analyze", "ping 6"}) engine.Send(c);
    EXPECT_FALSE(engine.ReadUntil("pong 6", 1000, true).empty());
    engine.Send("setboard 4k3/8/8/8/8/8/8/4K2R w K - 0 1");
    engine.LinesWithin(300);
    engine.Send("exit");
    EXPECT_EQ(BoardOf(engine.Exchange("brd"))[7], " . . . . K . . R");
}

// The options xboard offers, name to value.
std::map<std::string, std::string> Offered(const Lines& features) {
    static const std::regex form("feature option=\"(\\w+) -(spin|check|file) (\\S+)( \\d+ \\d+)?\"");
    std::map<std::string, std::string> values;
    std::smatch m;
    for (const std::string& line : features)
        if (std::regex_match(line, m, form)) values[m[1]] = m[3];
    return values;
}

TEST(XboardProtocol, FeaturesAtOnceAndTheCommandsTheyAnnounce) {
    EngineProcess engine;
    ASSERT_FALSE(engine.Startup().empty());
    engine.Exchange("xboard\neasy\nnopost");
    const int64_t start = SteadyMs();
    engine.Send("protover 2");
    Lines features = engine.ReadUntil("feature done=1", 2000, true);
    EXPECT_LT(SteadyMs() - start, 100 * kSlowdown);
    ASSERT_FALSE(features.empty());
    EXPECT_EQ(features[0], "feature myname=\"Velumbrak 1.96\" setboard=1 ping=1 usermove=0 sigint=0 sigterm=0 "
                           "analyze=1 colors=0 memory=1 egt=\"syzygy\" name=1");
    EXPECT_EQ(Offered(features).size(), features.size() - 2);
    std::map<std::string, std::string> wanted = {{"Aggressivity", "300"}, {"Cowardice", "0"}, {"ResignValue", "32767"},
        {"ResignTimes", "5"}, {"OwnBook", "0"}, {"Learning", "1"}, {"UseLearningData", "1"},
        {"LogLearningIntoFile", "1"}, {"UseBookLearning", "0"}, {"OpeningsBook", "Book.vbk"}};
    for (const auto& [name, value] : wanted) {
        EXPECT_EQ(Offered(features).count(name), 1u) << name;
        if (name == "OpeningsBook") continue;
        // A value out of range is taken as the nearest limit.
        EXPECT_EQ(engine.Exchange("option " + name + "=" + (name == "Aggressivity" ? "999" : value)), Lines{});
    }
    engine.Send("protover 2");
    EXPECT_EQ(Offered(engine.ReadUntil("feature done=1", 2000, true)), wanted);
    EXPECT_EQ(engine.Exchange("option OpeningsBook=missing.vbk"), Lines{"Error opening \"missing.vbk\"!"});
    EXPECT_EQ(engine.Exchange("egtpath syzygy " + DataPath("syzygy")), Lines{"info string Found 35 tablebases."});
    for (const char* silent : {"accepted ping", "rejected usermove", "name fairymax"}) EXPECT_EQ(engine.Exchange(silent), Lines{});
    EXPECT_EQ(engine.Exchange("ping 3"), Lines{"pong 3"});

    EXPECT_EQ(CountPrefix(engine.Exchange("setboard 8/8/8 w - - 0 1"), "Illegal FEN"), 1);
    // The tables fit in what `memory` gives, and a search runs in every size, none included.
    for (int mb : {64, 1, 0}) {
        long long bytes = 0;
        for (const std::string& line : engine.Exchange("memory " + std::to_string(mb)))
            bytes += std::stoll(line.substr(line.find('(') + 1));
        EXPECT_LE(bytes, mb << 20);
        EXPECT_GE(bytes, (mb << 20) / 100 * 95);
        engine.Exchange("setboard 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1\nsd 5");
        engine.Send("go");
        EXPECT_EQ(engine.ReadUntil("move ", 5000), Lines{"move a1a8"});
    }
    engine.Send("uci"); // the same settings as UCI options
    EXPECT_EQ(CountPrefix(engine.ReadUntil("uciok"), "option name Aggressivity type spin default 300 "), 1);
}

INSTANTIATE_TEST_SUITE_P(PipeAndTerminal, XboardSearch, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Terminal" : "Pipe"; });
INSTANTIATE_TEST_SUITE_P(PipeAndTerminal, XboardPondering, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Terminal" : "Pipe"; });

} // namespace
