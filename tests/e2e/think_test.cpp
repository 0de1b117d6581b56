// Thinking as a console user or a host meets it: the move, the guess of the reply and the
// thinking on the opponent's time, and what the end of input does to each.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/e2e/engine_process.h"

namespace {

bool StartsWith(const std::string& line, const std::string& prefix) { return line.rfind(prefix, 0) == 0; }

int CountStartingWith(const std::vector<std::string>& lines, const std::string& prefix) {
    int n = 0;
    for (const std::string& line : lines) n += StartsWith(line, prefix);
    return n;
}

// Everything the engine still writes until it ends; the exit code in `code`.
std::vector<std::string> RestOfOutput(EngineProcess& engine, int& code) {
    code = CloseAndWait(engine, 20000);
    std::vector<std::string> lines;
    std::string line;
    while (ReadLineFrom(engine, line, 100)) lines.push_back(line);
    return lines;
}

class Think : public ::testing::Test {
  protected:
    void SetUp() override {
        engine = StartEngine(false);
        ASSERT_GT(engine.pid, 0);
        ReadStartup(engine);
    }
    void TearDown() override { KillEngine(engine); }
    EngineProcess engine;
};

// `echo go | velumbrak`: the search without a clock is stopped by the end of input, its move is
// printed, and the process ends; there is nobody left to think against.
TEST_F(Think, TheEndOfInputEndsAConsoleSearchAndNoPonderingFollows) {
    SendLine(engine, "go");
    int code                             = -1;
    const std::vector<std::string> lines = RestOfOutput(engine, code);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(CountStartingWith(lines, "move "), 1);
    EXPECT_EQ(CountStartingWith(lines, "Hint: "), 0);
}

// The input ends while the engine thinks on the opponent's time: the guessed move was never
// played, so no answer to it may be printed.
TEST_F(Think, TheEndOfInputWhilePonderingPlaysNoMove) {
    Exchange(engine, "sd 3");
    SendLine(engine, "go");
    std::vector<std::string> lines;
    std::string line;
    while (ReadLineFrom(engine, line, 10000)) {
        lines.push_back(line);
        if (StartsWith(line, "Hint: ")) break;
    }
    ASSERT_EQ(CountStartingWith(lines, "move "), 1);
    ASSERT_TRUE(StartsWith(lines.back(), "Hint: "));
    int code                            = -1;
    const std::vector<std::string> rest = RestOfOutput(engine, code);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(CountStartingWith(rest, "move "), 0);
    EXPECT_EQ(CountStartingWith(rest, "Hint: "), 0);
}

// The same ponder search, ended by the opponent's move: the engine answers that move.
TEST_F(Think, APonderMissIsAnsweredFromThePositionPlayed) {
    Exchange(engine, "sd 3");
    SendLine(engine, "go");
    std::string line, hint;
    while (ReadLineFrom(engine, line, 10000))
        if (StartsWith(line, "Hint: ")) {
            hint = line.substr(6);
            break;
        }
    ASSERT_FALSE(hint.empty());
    // Some legal reply to 1. Nc3 or 1. e4 or whatever was played that is not the guess.
    const std::string reply = hint == "h7h6" ? "a7a6" : "h7h6";
    SendLine(engine, reply);
    std::string move;
    while (ReadLineFrom(engine, line, 10000))
        if (StartsWith(line, "move ")) {
            move = line.substr(5);
            break;
        }
    ASSERT_FALSE(move.empty());
    // The board shows the reply played, the guess gone, and our answer made. The engine goes on
    // thinking on the next reply until `force`; the board is the last of what it prints.
    SendLine(engine, "force");
    const std::vector<std::string> all = Exchange(engine, "brd");
    ASSERT_GE(all.size(), 8u);
    const std::vector<std::string> board(all.end() - 8, all.end());
    const int file = reply[0] - 'a', rank = reply[3] - '1';
    EXPECT_EQ(board[size_t(7 - rank)].substr(size_t(2 * file), 2), "*P") << reply;
}

// With several lines the expected reply, printed after "ponder", is that of the best line,
// not of whichever line was printed last.
TEST_F(Think, ThePonderMoveAnswersTheBestMoveWithSeveralLines) {
    Exchange(engine, "uci");
    Exchange(engine, "setoption name MultiPV value 3");
    Exchange(engine, "position startpos");
    SendLine(engine, "go depth 12");
    std::string line, best;
    std::vector<std::string> firstLines;
    while (ReadLineFrom(engine, line, 30000)) {
        if (StartsWith(line, "info multipv 1 ")) firstLines.push_back(line);
        if (StartsWith(line, "bestmove ")) {
            best = line;
            break;
        }
    }
    ASSERT_FALSE(firstLines.empty()) << "the search is too small to report";
    const std::string& last = firstLines.back();
    const size_t pv         = last.find(" pv ");
    ASSERT_NE(pv, std::string::npos);
    const std::string moves = last.substr(pv + 4);
    ASSERT_GE(moves.size(), 9u) << last;
    EXPECT_EQ(best, "bestmove " + moves.substr(0, 4) + " ponder " + moves.substr(5, 4)) << last;
}

} // namespace
