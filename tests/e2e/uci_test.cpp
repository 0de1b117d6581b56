// The engine as a UCI host meets it: the handshake, options, positions with their move lists,
// every kind of go, pondering under the host's control and the end of input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <regex>

#include "tests/e2e/engine_process.h"
#include "tests/e2e/search_lines.h"

namespace {

const std::vector<std::string> UciLines = {
    "id name Velumbrak 1.96",
    "id author Ilvar T. Dromsen",
    "option name Hash type spin min 0 max 1024 default 10",
    "option name PawnHash type spin min 0 max 1024 default 7",
    "option name SyzygyPath type string default <empty>",
    "option name OpeningsBook type string default Book.vbk",
    "option name OwnBook type check default true",
    "option name MultiPV type spin min 1 max 1024 default 1",
    "option name Aggressivity type spin min 0 max 300 default 100",
    "option name Defensivity type spin min 0 max 300 default 100",
    "option name Clear Hash type button",
    "uciok",
};

const std::regex InfoForm("info depth (\\d+) seldepth \\d+ score (cp -?\\d+|mate -?\\d+) (upperbound |lowerbound )?"
                          "nodes \\d+ time \\d+ hashfull (\\d+) nps \\d+ tbhits \\d+"
                          "( pv( [a-h][1-8][a-h][1-8][qrbn]?)+| currmove \\S+ currmovenumber \\d+)");
const std::regex ProgressForm("info nps \\d+ nodes \\d+ tbhits \\d+ hashfull \\d+");
const std::regex BestForm("bestmove ([a-h][1-8][a-h][1-8][qrbn]?|0000)( ponder [a-h][1-8][a-h][1-8][qrbn]?)?");

std::string BestMoveOf(const std::vector<std::string>& lines) {
    if (lines.empty()) return "";
    const std::vector<std::string> words = Words(lines.back());
    return words.size() >= 2 ? words[1] : "";
}

// The deepest "info depth" of a search's lines, -1 when there is none.
int DeepestInfo(const std::vector<std::string>& lines) {
    int deepest = -1;
    std::smatch m;
    for (const std::string& line : lines)
        if (std::regex_match(line, m, InfoForm)) deepest = std::max(deepest, std::atoi(m[1].str().c_str()));
    return deepest;
}

class Uci : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        engine = StartEngine(GetParam());
        ASSERT_GT(engine.pid, 0);
        ASSERT_FALSE(ReadStartup(engine).empty());
        SendLine(engine, "uci");
        handshake = ReadUntil(engine, "uciok");
        ASSERT_FALSE(handshake.empty());
    }
    void TearDown() override { KillEngine(engine); }
    std::vector<std::string> Go(const std::string& position, const std::string& go, int timeoutMs = 10000) {
        if (!position.empty()) SendLine(engine, position);
        SendLine(engine, go);
        return ReadUntilPrefix(engine, "bestmove", timeoutMs);
    }
    EngineProcess engine;
    std::vector<std::string> handshake;
};

TEST_P(Uci, HandshakeAndIsReady) {
    EXPECT_EQ(handshake, UciLines);
    EXPECT_EQ(Exchange(engine, "ucinewgame"), std::vector<std::string>{});
}

TEST_P(Uci, DepthSearchReportsAndAnswers) {
    const std::vector<std::string> lines = Go("position startpos moves e2e4 e7e5", "go depth 5");
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(std::regex_match(lines.back(), BestForm)) << lines.back();
    EXPECT_EQ(DeepestInfo(lines), 5);
    // Every line is a report of one of the two kinds; the last report names the move first.
    std::string lastPv;
    for (size_t i = 0; i + 1 < lines.size(); i++) {
        EXPECT_TRUE(std::regex_match(lines[i], InfoForm) || std::regex_match(lines[i], ProgressForm)) << lines[i];
        const size_t pv = lines[i].find(" pv ");
        if (pv != std::string::npos) lastPv = Words(lines[i].substr(pv + 4))[0];
    }
    EXPECT_EQ(lastPv, BestMoveOf(lines));
}

TEST_P(Uci, MoveTimeSearchTakesAboutTheTime) {
    const int64_t start                  = SteadyMs();
    const std::vector<std::string> lines = Go("position startpos", "go movetime 500");
    const int64_t took                   = SteadyMs() - start;
    ASSERT_FALSE(lines.empty());
    EXPECT_GE(took, 280);
    EXPECT_LE(took, 1000);
}

TEST_P(Uci, InfiniteWaitsForStopAlsoAfterAMateIsFound) {
    SendLine(engine, "position startpos");
    SendLine(engine, "go infinite");
    EXPECT_EQ(CountPrefix(LinesWithin(engine, 700), "bestmove"), 0);
    int64_t start = SteadyMs();
    SendLine(engine, "stop");
    EXPECT_FALSE(ReadUntilPrefix(engine, "bestmove", 2000).empty());
    EXPECT_LT(SteadyMs() - start, 1000);

    // A mate in one ends the search by itself; the answer still waits.
    SendLine(engine, "position fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1");
    SendLine(engine, "go infinite");
    std::vector<std::string> lines = LinesWithin(engine, 700);
    EXPECT_EQ(CountPrefix(lines, "bestmove"), 0);
    EXPECT_EQ(Exchange(engine, "").size(), 0u); // isready is answered while waiting
    SendLine(engine, "stop");
    lines = ReadUntilPrefix(engine, "bestmove", 2000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(BestMoveOf(lines), "a1a8");
    // A later go with arguments is not endless.
    lines = Go("position startpos", "go depth 3");
    EXPECT_FALSE(lines.empty());
}

TEST_P(Uci, PonderHoldsTheAnswerUntilPonderhitOrStop) {
    SendLine(engine, "position startpos moves e2e4");
    SendLine(engine, "go ponder wtime 3000 btime 3000");
    EXPECT_EQ(CountPrefix(LinesWithin(engine, 800), "bestmove"), 0);
    // After the hit the clock applies, and the time already spent counts.
    int64_t start = SteadyMs();
    SendLine(engine, "ponderhit");
    std::vector<std::string> lines = ReadUntilPrefix(engine, "bestmove", 3000);
    ASSERT_FALSE(lines.empty());
    EXPECT_LT(SteadyMs() - start, 1000);
    EXPECT_TRUE(std::regex_match(lines.back(), BestForm)) << lines.back();

    SendLine(engine, "position startpos moves e2e4");
    SendLine(engine, "go ponder wtime 3000 btime 3000");
    EXPECT_EQ(CountPrefix(LinesWithin(engine, 500), "bestmove"), 0);
    start = SteadyMs();
    SendLine(engine, "stop");
    lines = ReadUntilPrefix(engine, "bestmove", 2000);
    EXPECT_FALSE(lines.empty());
    EXPECT_LT(SteadyMs() - start, 1000);
}

TEST_P(Uci, PonderWithAMateFoundAtOnce) {
    SendLine(engine, "position fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1");
    SendLine(engine, "go ponder wtime 10000 btime 10000");
    EXPECT_EQ(CountPrefix(LinesWithin(engine, 700), "bestmove"), 0);
    SendLine(engine, "ponderhit");
    const std::vector<std::string> lines = ReadUntilPrefix(engine, "bestmove", 2000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(BestMoveOf(lines), "a1a8");
    // The move is made on the engine's board: Black is mated there.
    EXPECT_EQ(Go("", "go depth 3").back(), "bestmove 0000");
}

TEST_P(Uci, NoLegalMoveAnswersNullMove) {
    EXPECT_EQ(Go("position fen R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1", "go depth 3").back(), "bestmove 0000");
    EXPECT_EQ(Go("position fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", "go wtime 1000 btime 1000").back(),
              "bestmove 0000");
}

TEST_P(Uci, HashOfSizeZeroStillSearches) {
    SendLine(engine, "setoption name Hash value 0");
    std::vector<std::string> lines = Go("position startpos", "go depth 5");
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(std::regex_match(lines.back(), BestForm)) << lines.back();
    std::smatch m;
    for (const std::string& line : lines) {
        if (std::regex_match(line, m, InfoForm)) {
            EXPECT_EQ(m[4].str(), "0") << line;
        }
    }
    SendLine(engine, "setoption name Clear Hash");
    SendLine(engine, "setoption name Hash value 4");
    lines = Go("position startpos", "go depth 5");
    EXPECT_EQ(DeepestInfo(lines), 5);
}

TEST_P(Uci, OptionWithoutValueIsDropped) {
    SendLine(engine, "setoption name Aggressivity");
    SendLine(engine, "setoption name Defensivity 50");
    SendLine(engine, "setoption name MultiPV 3");
    SendLine(engine, "uci");
    EXPECT_EQ(ReadUntil(engine, "uciok"), UciLines);
    std::vector<std::string> lines = Go("position startpos", "go movetime 300");
    EXPECT_EQ(CountPrefix(lines, "info multipv"), 0);

    SendLine(engine, "setoption name Aggressivity value 150");
    SendLine(engine, "uci");
    lines = ReadUntil(engine, "uciok");
    ASSERT_EQ(lines.size(), UciLines.size());
    EXPECT_EQ(lines[8], "option name Aggressivity type spin min 0 max 300 default 150");
    // With two lines asked for, the reports name both.
    SendLine(engine, "setoption name MultiPV value 2");
    lines = Go("position startpos", "go movetime 600");
    ASSERT_FALSE(lines.empty());
    EXPECT_GT(CountPrefix(lines, "info multipv 2 "), 0);
}

TEST_P(Uci, IllegalTokenInTheMoveListIsSkipped) {
    // The second e2e4 is not Black's move; e7e5 and g1f3 are still played, upper case too.
    Exchange(engine, "position startpos moves e2e4 e2e4 E7E5 x9 g1f3");
    const std::vector<std::string> board = Exchange(engine, "brd");
    ASSERT_EQ(board.size(), 8u);
    EXPECT_EQ(board[3], " . . . .*P . . .");
    EXPECT_EQ(board[4], " . . . . P . . .");
    EXPECT_EQ(board[5], " . . . . . N . .");
    // Black to move: the answer is a black move.
    const std::string best = BestMoveOf(Go("", "go depth 3"));
    ASSERT_EQ(best.size(), 4u);
    EXPECT_TRUE(best[1] == '7' || best[1] == '8' || best[1] == '5') << best;
    // A list that ends with the word moves leaves the position.
    Exchange(engine, "position fen 4k3/8/8/8/8/8/8/4K2R w K - 0 1 moves");
    EXPECT_EQ(Exchange(engine, "brd")[7], " . . . . K . . R");
}

TEST_P(Uci, DepthAloneAfterATimedGoHasNoClock) {
    // A timed go with a tiny clock, then a depth alone: that search is bounded by depth only.
    std::vector<std::string> lines = Go("position startpos", "go wtime 50 btime 50");
    ASSERT_FALSE(lines.empty());
    lines = Go("position startpos", "go depth 3");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(DeepestInfo(lines), 3);
    lines = Go("position startpos", "go depth 7");
    EXPECT_EQ(DeepestInfo(lines), 7);
}

TEST_P(Uci, NodeLimitIsKeptClosely) {
    for (int limit : {3000, 60000}) {
        const std::vector<std::string> lines = Go("position startpos", "go nodes " + std::to_string(limit));
        ASSERT_GE(lines.size(), 2u);
        const std::vector<std::string> words = Words(lines[lines.size() - 2]);
        const auto at = std::find(words.begin(), words.end(), "nodes");
        ASSERT_NE(at, words.end());
        const long nodes = std::atol((at + 1)->c_str());
        EXPECT_GE(nodes, limit);
        EXPECT_LT(nodes, 2 * limit) << lines[lines.size() - 2];
    }
}

TEST_P(Uci, SearchMovesRestrictTheRoot) {
    std::vector<std::string> lines = Go("position startpos", "go depth 5 searchmoves a2a3 h2h3 xyz");
    ASSERT_FALSE(lines.empty());
    const std::string best = BestMoveOf(lines);
    EXPECT_TRUE(best == "a2a3" || best == "h2h3") << best;
    lines = Go("position startpos", "go depth 4 searchmoves g1h3");
    EXPECT_EQ(BestMoveOf(lines), "g1h3");
}

TEST_P(Uci, StopAtRestRepeatsTheLastAnswer) {
    const std::string best = BestMoveOf(Go("position startpos", "go depth 3"));
    ASSERT_FALSE(best.empty());
    EXPECT_EQ(Exchange(engine, "stop"), std::vector<std::string>{"bestmove " + best});
    Exchange(engine, "position startpos");
    EXPECT_TRUE(Exchange(engine, "stop").empty());
}

TEST_P(Uci, IsReadyDuringTheSearchAndQuit) {
    SendLine(engine, "position startpos");
    SendLine(engine, "go infinite");
    LinesWithin(engine, 200);
    SendLine(engine, "isready");
    const std::vector<std::string> lines = ReadUntil(engine, "readyok", 2000);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(CountPrefix(lines, "bestmove"), 0);
    SendLine(engine, "quit");
    EXPECT_EQ(WaitExit(engine, 3000), 0);
    EXPECT_EQ(engine.pending.find("bestmove"), std::string::npos) << engine.pending;
}

TEST_P(Uci, EndOfInputDuringPonderAnswersAndExits) {
    SendLine(engine, "position startpos");
    SendLine(engine, "go ponder wtime 100000 btime 100000");
    LinesWithin(engine, 300);
    EXPECT_EQ(CloseAndWait(engine, 3000), 0);
    EXPECT_NE(engine.pending.find("bestmove"), std::string::npos) << engine.pending;
}

INSTANTIATE_TEST_SUITE_P(PipeAndTerminal, Uci, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Terminal" : "Pipe"; });

} // namespace
