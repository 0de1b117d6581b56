// The console and xboard side of a search: time limits, the commands taken while the engine
// thinks, thinking on the opponent's time, analysis, resigning and the end of input. Run over a
// pipe and over a terminal, whose input is polled differently.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>

#include "tests/e2e/engine_process.h"
#include "tests/e2e/search_lines.h"

namespace {

// "depth score centiseconds nodes pv..."
bool IsReport(const std::string& line) {
    static const std::regex form("-?\\d+ -?\\d+ \\d+ \\d+( \\S+)*");
    return std::regex_match(line, form);
}

// The board print-out at the end of a reply that may begin with late lines of a search.
std::vector<std::string> BoardOf(std::vector<std::string> lines) {
    if (lines.size() > 8) lines.erase(lines.begin(), lines.end() - 8);
    return lines;
}

const std::string* LastReport(const std::vector<std::string>& lines) {
    for (auto it = lines.rbegin(); it != lines.rend(); ++it)
        if (IsReport(*it)) return &*it;
    return nullptr;
}

class XboardSearch : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        engine = StartEngine(GetParam());
        ASSERT_GT(engine.pid, 0);
        ASSERT_FALSE(ReadStartup(engine).empty());
    }
    void TearDown() override { KillEngine(engine); }
    // Starts an endless search (no clock, no fixed time) and lets it run for a moment.
    void StartEndlessSearch(const std::string& fen = "") {
        if (!fen.empty()) Exchange(engine, "loadfen " + fen);
        Exchange(engine, "easy");
        Exchange(engine, "nopost");
        SendLine(engine, "go");
        EXPECT_TRUE(LinesWithin(engine, 300).empty());
    }
    EngineProcess engine;
};

TEST_P(XboardSearch, FixedTimeSearchEndsInAboutASecond) {
    Exchange(engine, "xboard");
    Exchange(engine, "easy");
    Exchange(engine, "st 1");
    const int64_t start = SteadyMs();
    SendLine(engine, "go");
    const std::vector<std::string> lines = ReadUntilPrefix(engine, "move ", 4000);
    const int64_t took                   = SteadyMs() - start;
    ASSERT_FALSE(lines.empty());
    // No iteration starts after three fifths of the second; none is let past it.
    EXPECT_GE(took, 550);
    EXPECT_LE(took, 1400);
    EXPECT_EQ(Words(lines.back()).size(), 2u) << lines.back();
    // The last report comes before the move and its time stays within the second.
    const std::string* report = LastReport(lines);
    ASSERT_NE(report, nullptr);
    EXPECT_LE(std::atoi(Words(*report)[2].c_str()), 110) << *report;
}

TEST_P(XboardSearch, QuestionMarkAndStopMoveAtOnce) {
    for (const char* command : {"?", "stop"}) {
        StartEndlessSearch();
        const int64_t start = SteadyMs();
        SendLine(engine, command);
        const std::vector<std::string> lines = ReadUntilPrefix(engine, "move ", 2000);
        EXPECT_FALSE(lines.empty()) << command;
        EXPECT_LT(SteadyMs() - start, 1000) << command;
        Exchange(engine, "new");
    }
}

TEST_P(XboardSearch, DotPrintsTheStatusAndTheSearchGoesOn) {
    StartEndlessSearch();
    SendLine(engine, ".");
    const std::vector<std::string> status = ReadUntilPrefix(engine, "stat01: ", 2000);
    ASSERT_EQ(status.size(), 1u);
    // elapsed, nodes, iteration, moves left, total moves, move in progress
    static const std::regex form("stat01: (\\d+) (\\d+) (\\d+) (\\d+) (\\d+) ([a-h][1-8][a-h][1-8][qrbn]?|0000)");
    std::smatch m;
    ASSERT_TRUE(std::regex_match(status[0], m, form)) << status[0];
    EXPECT_GE(std::atoi(m[1].str().c_str()), 25);
    EXPECT_GT(std::atoll(m[2].str().c_str()), 0);
    EXPECT_EQ(m[5].str(), "20");
    EXPECT_LE(std::atoi(m[4].str().c_str()), 20);
    // Still searching: no move until told.
    EXPECT_EQ(CountPrefix(LinesWithin(engine, 400), "move "), 0);
    SendLine(engine, "?");
    EXPECT_FALSE(ReadUntilPrefix(engine, "move ", 2000).empty());
}

TEST_P(XboardSearch, OtimChangesNothingAndTimeEndsTheSearch) {
    StartEndlessSearch();
    SendLine(engine, "otim 100");
    EXPECT_EQ(CountPrefix(LinesWithin(engine, 400), "move "), 0);
    const int64_t start = SteadyMs();
    SendLine(engine, "time 100000");
    EXPECT_FALSE(ReadUntilPrefix(engine, "move ", 2000).empty());
    EXPECT_LT(SteadyMs() - start, 1000);
}

TEST_P(XboardSearch, PostDuringTheSearchEndsItAndTakesEffectNextTime) {
    StartEndlessSearch();
    SendLine(engine, "post");
    const std::vector<std::string> lines = ReadUntilPrefix(engine, "move ", 2000);
    ASSERT_FALSE(lines.empty());
    Exchange(engine, "new");
    Exchange(engine, "sd 3");
    SendLine(engine, "go");
    const std::vector<std::string> next = ReadUntilPrefix(engine, "move ", 5000);
    ASSERT_FALSE(next.empty());
    EXPECT_NE(LastReport(next), nullptr);
}

TEST_P(XboardSearch, NewDuringTheSearchEndsItWithoutAMove) {
    StartEndlessSearch("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
    SendLine(engine, "new");
    const std::vector<std::string> lines = Exchange(engine, "brd");
    EXPECT_EQ(CountPrefix(lines, "move "), 0);
    EXPECT_EQ(BoardOf(lines)[0], "*R*N*B*Q*K*B*N*R");
}

TEST_P(XboardSearch, LineBeginningWithQEndsTheProcessWithoutAMove) {
    StartEndlessSearch();
    SendLine(engine, "quit");
    EXPECT_EQ(WaitExit(engine, 3000), 0);
    EXPECT_EQ(engine.pending.find("move "), std::string::npos) << engine.pending;
}

TEST_P(XboardSearch, EndOfInputDuringAnEndlessSearchStopsItAndExits) {
    StartEndlessSearch();
    EXPECT_EQ(CloseAndWait(engine, 3000), 0);
    EXPECT_NE(engine.pending.find("move "), std::string::npos) << engine.pending;
}

TEST_P(XboardSearch, MateScoresInTheConsoleForm) {
    // Mate in one for the side to move: 32699 on the board, printed 67 higher.
    Exchange(engine, "loadfen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1");
    Exchange(engine, "sd 4");
    SendLine(engine, "go");
    std::vector<std::string> lines = ReadUntilPrefix(engine, "move ", 5000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "move a1a8");
    const std::string* report = LastReport(lines);
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(Words(*report)[1], "32766") << *report;
    EXPECT_EQ(Words(*report)[4], "a1a8") << *report;

    // Every move allows Rb8 mate: mated at ply 2.
    Exchange(engine, "new");
    Exchange(engine, "easy");
    Exchange(engine, "loadfen 7k/p7/6K1/8/8/8/8/1R6 b - - 0 1");
    Exchange(engine, "sd 4");
    SendLine(engine, "go");
    lines = ReadUntilPrefix(engine, "move ", 5000);
    ASSERT_FALSE(lines.empty());
    report = LastReport(lines);
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(Words(*report)[1], "-32765") << *report;
}

TEST_P(XboardSearch, ResignsAfterThreeMovesFarBehindAndStillMoves) {
    // Two queens down, with moves to spare for both sides; White pushes pawns, never repeating.
    Exchange(engine, "xboard");
    Exchange(engine, "easy");
    Exchange(engine, "nopost");
    Exchange(engine, "loadfen 7k/5ppp/8/8/8/8/PP6/K2QQ3 b - - 0 1");
    const char* replies[] = {"a2a3", "b2b3"};
    for (int turn = 0; turn < 3; turn++) {
        Exchange(engine, "time 300");
        SendLine(engine, turn == 0 ? "go" : replies[turn - 1]);
        const std::vector<std::string> lines = ReadUntilPrefix(engine, "move ", 5000);
        ASSERT_FALSE(lines.empty()) << turn;
        EXPECT_EQ(CountPrefix(lines, "Illegal"), 0) << turn;
        if (turn < 2) {
            EXPECT_EQ(CountPrefix(lines, "resign"), 0) << turn;
        } else {
            ASSERT_GE(lines.size(), 2u);
            EXPECT_EQ(lines[lines.size() - 2], "resign");
        }
    }
}

// After its move the engine names the reply it expects and searches on it.
class XboardPondering : public XboardSearch {
  protected:
    void SetUp() override {
        XboardSearch::SetUp();
        Exchange(engine, "xboard");
        Exchange(engine, "new");
        Exchange(engine, "hard");
        Exchange(engine, "post");
        Exchange(engine, "time 1000");
        Exchange(engine, "otim 1000");
        SendLine(engine, "e2e4");
        const std::vector<std::string> lines = ReadUntilPrefix(engine, "move ", 5000);
        ASSERT_FALSE(lines.empty());
        engineMove                          = Words(lines.back())[1];
        const std::vector<std::string> hint = ReadUntilPrefix(engine, "Hint: ", 3000);
        ASSERT_FALSE(hint.empty());
        predicted = Words(hint.back())[1];
        ASSERT_TRUE(std::regex_match(predicted, std::regex("[a-h][1-8][a-h][1-8][qrbn]?"))) << predicted;
        // Ponder for a while: this time counts for the search that follows a hit.
        LinesWithin(engine, 1200);
    }
    std::string engineMove, predicted;
};

TEST_P(XboardPondering, PredictedMoveContinuesTheSameSearch) {
    Exchange(engine, "time 200");
    Exchange(engine, "otim 1000");
    SendLine(engine, predicted);
    const std::vector<std::string> lines = ReadUntilPrefix(engine, "move ", 5000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(CountPrefix(lines, "Hint: "), 0);
    EXPECT_EQ(CountPrefix(lines, "Illegal"), 0);
    // The answer's last report counts its time from the start of pondering.
    const std::string* report = LastReport(lines);
    ASSERT_NE(report, nullptr);
    EXPECT_GE(std::atoi(Words(*report)[2].c_str()), 110) << *report;
}

TEST_P(XboardPondering, OtherMoveGivesUpAndAnswersTheRealMove) {
    std::string other;
    for (const char* move : {"d2d4", "g1f3", "b1c3"})
        if (predicted != move) {
            other = move;
            break;
        }
    Exchange(engine, "time 200");
    Exchange(engine, "otim 1000");
    SendLine(engine, other);
    const std::vector<std::string> lines = ReadUntilPrefix(engine, "move ", 5000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(CountPrefix(lines, "Illegal"), 0);
    // A new search: its time starts at the real move.
    const std::string* report = LastReport(lines);
    ASSERT_NE(report, nullptr);
    EXPECT_LT(std::atoi(Words(*report)[2].c_str()), 110) << *report;
    // The game goes on from the real move: the engine's board takes back two moves cleanly.
    SendLine(engine, "force");
    Exchange(engine, "remove");
    const std::vector<std::string> board = BoardOf(Exchange(engine, "brd"));
    ASSERT_EQ(board.size(), 8u);
    EXPECT_EQ(board[6], " P P P P . P P P");
}

TEST_P(XboardPondering, EndOfInputEndsThePonderingWithoutAMove) {
    EXPECT_EQ(CloseAndWait(engine, 3000), 0);
    EXPECT_EQ(engine.pending.find("move "), std::string::npos) << engine.pending;
}

TEST_P(XboardPondering, ForceGivesUpAndKeepsTheGamePosition) {
    SendLine(engine, "force");
    EXPECT_EQ(CountPrefix(LinesWithin(engine, 300), "move "), 0);
    // The predicted move is no longer on the board: the host's move is legal.
    EXPECT_EQ(CountPrefix(Exchange(engine, predicted), "Illegal"), 0);
}

TEST_P(XboardPondering, RemoveTakesBackBothMoves) {
    SendLine(engine, "remove");
    LinesWithin(engine, 300);
    SendLine(engine, "force");
    const std::vector<std::string> board = BoardOf(Exchange(engine, "brd"));
    ASSERT_EQ(board.size(), 8u);
    EXPECT_EQ(board[1], "*P*P*P*P*P*P*P*P");
    EXPECT_EQ(board[6], " P P P P P P P P");
}

// Every black move allows a mate: the engine predicts it and must not take it as played.
TEST_P(XboardSearch, PredictedMateIsNotClaimedNorKept) {
    Exchange(engine, "xboard");
    Exchange(engine, "hard");
    Exchange(engine, "post");
    Exchange(engine, "loadfen 7k/p7/6K1/8/8/8/8/1R6 b - - 0 1");
    Exchange(engine, "time 500");
    SendLine(engine, "go");
    std::vector<std::string> lines = ReadUntilPrefix(engine, "move ", 5000);
    ASSERT_FALSE(lines.empty());
    const std::string reply = Words(lines.back())[1];
    lines = LinesWithin(engine, 1500);
    for (const std::string& line : lines) EXPECT_FALSE(StartsWith(line, "1-0")) << line;
    // The host answers with a quiet move instead; the game goes on from there.
    const std::string quiet = reply == "h8g8" ? "g6f6" : "b1c1";
    Exchange(engine, "time 500");
    SendLine(engine, quiet);
    lines = ReadUntilPrefix(engine, "move ", 5000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(CountPrefix(lines, "Illegal"), 0);
}

TEST_P(XboardSearch, AnalyzeFollowsMovesUndoAndExit) {
    Exchange(engine, "post");
    SendLine(engine, "analyze");
    LinesWithin(engine, 300);
    SendLine(engine, "e2e4");
    // The analysis goes on with Black to move: its lines begin with a black move.
    bool blackLine = false;
    for (const std::string& line : LinesWithin(engine, 600)) {
        if (!IsReport(line)) continue;
        const std::vector<std::string> words = Words(line);
        if (words.size() > 4) blackLine = words[4][1] == '7' || words[4][1] == '8';
    }
    EXPECT_TRUE(blackLine);
    SendLine(engine, "e2e4");
    EXPECT_FALSE(ReadUntilPrefix(engine, "Illegal move: e2e4", 2000).empty());
    // The analysis has started again on its own: the status is that of a running search.
    LinesWithin(engine, 200);
    SendLine(engine, ".");
    const std::vector<std::string> status = ReadUntilPrefix(engine, "stat01: ", 2000);
    ASSERT_FALSE(status.empty());
    EXPECT_NE(status.back(), "stat01: 0 0 0 0 0");
    SendLine(engine, "undo");
    LinesWithin(engine, 300);
    SendLine(engine, "exit");
    // Back in the command loop with the start position.
    const std::vector<std::string> board = BoardOf(Exchange(engine, "brd"));
    ASSERT_EQ(board.size(), 8u);
    EXPECT_EQ(board[6], " P P P P P P P P");
}

TEST_P(XboardSearch, AnalyzeAtRestTakesTheNextLine) {
    // A single legal move: no search runs, the loop waits for a line.
    Exchange(engine, "loadfen R6k/6p1/8/8/8/8/8/1K6 b - - 0 1");
    SendLine(engine, "analyze");
    SendLine(engine, ".");
    EXPECT_FALSE(ReadUntil(engine, "stat01: 0 0 0 0 0", 2000).empty());
    SendLine(engine, "h8h8");
    EXPECT_FALSE(ReadUntil(engine, "Illegal move: h8h8", 2000).empty());
    SendLine(engine, "h8h7");
    EXPECT_FALSE(ReadUntil(engine, "move maked...", 2000).empty());
    // White to move now, with a search running until exit.
    SendLine(engine, "exit");
    const std::vector<std::string> board = BoardOf(Exchange(engine, "brd"));
    ASSERT_EQ(board.size(), 8u);
    EXPECT_EQ(board[1], " . . . . . .*P*K");
}

INSTANTIATE_TEST_SUITE_P(PipeAndTerminal, XboardSearch, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Terminal" : "Pipe"; });
INSTANTIATE_TEST_SUITE_P(PipeAndTerminal, XboardPondering, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Terminal" : "Pipe"; });

} // namespace
