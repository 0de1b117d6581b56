// The engine as a UCI host meets it: the handshake, options, positions, every word of `go`,
// pondering under the host's control, and the end of input.
#include <gtest/gtest.h>

#include <regex>

#include "tests/support/engine_process.h"

namespace {

const Lines UciLines = {"id name Velumbrak 1.96", "id author Ilvar T. Dromsen",
                        "option name Hash type spin default 10 min 0 max 1024",
                        "option name PawnHash type spin default 7 min 0 max 1024",
                        "option name SyzygyPath type string default <empty>",
                        "option name OpeningsBook type string default Book.vbk",
                        "option name OwnBook type check default true",
                        "option name MultiPV type spin default 1 min 1 max 1024",
                        "option name Aggressivity type spin default 100 min 0 max 300",
                        "option name Defensivity type spin default 100 min 0 max 300",
                        "option name Clear Hash type button",
                        "option name Ponder type check default true",
                        "option name Move Overhead type spin default 10 min 0 max 5000", "uciok"};

const std::regex InfoForm("info depth (\\d+) seldepth \\d+ score (cp -?\\d+|mate -?\\d+) (upperbound |lowerbound )?"
                          "nodes (\\d+) time \\d+ hashfull (\\d+) nps \\d+ tbhits \\d+"
                          "( pv( [a-h][1-8][a-h][1-8][qrbn]?)+| currmove \\S+ currmovenumber \\d+)");
const std::regex ProgressForm("info nps \\d+ nodes \\d+ tbhits \\d+ hashfull \\d+");
const std::regex BestForm("bestmove ([a-h][1-8][a-h][1-8][qrbn]?|0000)( ponder [a-h][1-8][a-h][1-8][qrbn]?)?");

std::string Best(const Lines& lines) { return lines.empty() ? "" : Words(lines.back()).at(1); }

// The deepest depth of the info lines, and the score and nodes of the last one.
struct Infos {
    int deepest = -1;
    std::string score, hashfull;
    long nodes = 0;
};
Infos Read(const Lines& lines) {
    Infos infos;
    std::smatch m;
    for (const std::string& line : lines)
        if (std::regex_match(line, m, InfoForm)) {
            infos.deepest  = std::max(infos.deepest, std::stoi(m[1]));
            infos.score    = m[2];
            infos.nodes    = std::stol(m[4]);
            infos.hashfull = m[5];
        }
    return infos;
}

class Uci : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        ASSERT_FALSE(engine.Startup().empty());
        engine.Send("uci");
        ASSERT_EQ(engine.ReadUntil("uciok"), UciLines);
    }
    Lines Go(const std::string& position, const std::string& go, int timeoutMs = 10000) {
        if (!position.empty()) engine.Send(position);
        engine.Send(go);
        return engine.ReadUntil("bestmove", timeoutMs);
    }
    // The time a search takes, in milliseconds.
    int64_t Timed(const std::string& position, const std::string& go) {
        const int64_t start = SteadyMs();
        EXPECT_FALSE(Go(position, go).empty()) << go;
        return SteadyMs() - start;
    }
    EngineProcess engine{GetParam()};
};

TEST_P(Uci, DepthNodesAndSearchMoves) {
    const Lines lines = Go("position startpos moves e2e4 e7e5", "go depth 5");
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(std::regex_match(lines.back(), BestForm)) << lines.back();
    EXPECT_EQ(Read(lines).deepest, 5);
    std::string lastPv;
    for (size_t i = 0; i + 1 < lines.size(); i++) {
        EXPECT_TRUE(std::regex_match(lines[i], InfoForm) || std::regex_match(lines[i], ProgressForm)) << lines[i];
        if (lines[i].find(" pv ") != std::string::npos) lastPv = Words(lines[i].substr(lines[i].find(" pv ") + 4))[0];
    }
    EXPECT_EQ(lastPv, Best(lines));
    for (int limit : {3000, 60000}) {
        const Infos infos = Read(Go("position startpos", "go nodes " + std::to_string(limit)));
        EXPECT_GE(infos.nodes, limit);
        EXPECT_LT(infos.nodes, 2 * limit);
    }
    const std::string best = Best(Go("position startpos", "go depth 5 searchmoves a2a3 h2h3 xyz"));
    EXPECT_TRUE(best == "a2a3" || best == "h2h3") << best;
    EXPECT_EQ(Best(Go("position startpos", "go depth 4 searchmoves g1h3")), "g1h3");
    // A depth alone after a timed go has no clock.
    Go("position startpos", "go wtime 50 btime 50");
    EXPECT_EQ(Read(Go("position startpos", "go depth 7")).deepest, 7);
    // Every search, not only the first, holds back the reports of its first iteration.
    const std::string kiwipete = "position fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1";
    for (const std::string& line : Go(kiwipete, "go depth 3")) EXPECT_NE(line.rfind("info depth 1 ", 0), 0u) << line;
}

// Each side's clock, increment and the moves to go are read for the side to move only.
TEST_P(Uci, ClocksBelongToTheSideToMove) {
    EXPECT_LT(Timed("position startpos moves e2e4", "go wtime 600000 btime 3000"), 500);
    EXPECT_LT(Timed("position startpos", "go wtime 3000 btime 600000"), 500);
    EXPECT_GT(Timed("position startpos moves e2e4", "go wtime 3000 btime 3000 winc 0 binc 2000"), 500);
    EXPECT_LT(Timed("position startpos moves e2e4", "go wtime 3000 btime 3000 winc 2000 binc 0"), 500);
    EXPECT_GT(Timed("position startpos", "go wtime 3000 btime 3000 movestogo 1"), 500);
    // The host's lag comes off the clock; with all of it kept back the engine still moves.
    engine.Send("setoption name Move Overhead value 3000");
    EXPECT_LT(Timed("position startpos", "go wtime 3000 btime 3000 movestogo 1"), 500);
    EXPECT_TRUE(std::regex_match(Go("position startpos", "go wtime 1 btime 1").back(), BestForm));
    engine.Send("setoption name Move Overhead value 0");
    const int64_t took = Timed("position startpos", "go movetime 500");
    EXPECT_GE(took, 280);
    EXPECT_LE(took, 1000);
}

TEST_P(Uci, MateScoresAndMateSearches) {
    Lines lines = Go("position fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1", "go depth 4");
    EXPECT_EQ(Best(lines), "a1a8");
    EXPECT_EQ(Read(lines).score, "mate 1");
    EXPECT_EQ(Read(Go("position fen 7k/p7/6K1/8/8/8/8/1R6 b - - 0 1", "go depth 4")).score, "mate -1");
    const std::string mateIn3 = "position fen r1b1kb1r/pppp1ppp/5q2/4n3/3KP3/2N3PN/PPP4P/R1BQ1B1R b kq - 0 1";
    lines = Go(mateIn3, "go depth 8 mate 3");
    EXPECT_EQ(Best(lines), "f8c5");
    EXPECT_EQ(Read(lines).score, "mate 3");
    EXPECT_EQ(Read(Go(mateIn3, "go depth 6 mate 2")).score, "cp 0"); // only a mate of its own length counts
    // No legal move: the null move.
    EXPECT_EQ(Go("position fen R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1", "go depth 3").back(), "bestmove 0000");
    EXPECT_EQ(Go("position fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", "go wtime 1000 btime 1000").back(), "bestmove 0000");
}

TEST_P(Uci, InfiniteAndPonderWaitForTheHost) {
    engine.Send("position startpos");
    engine.Send("go infinite");
    EXPECT_EQ(CountPrefix(engine.LinesWithin(500), "bestmove"), 0);
    engine.Send("isready"); // answered while searching
    const Lines ready = engine.ReadUntil("readyok", 2000, true);
    EXPECT_FALSE(ready.empty());
    EXPECT_EQ(CountPrefix(ready, "bestmove"), 0);
    int64_t start = SteadyMs();
    engine.Send("stop");
    EXPECT_FALSE(engine.ReadUntil("bestmove", 2000).empty());
    EXPECT_LT(SteadyMs() - start, 1500 * kSlowdown);
    engine.Send("position fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1"); // a mate ends the search, not the wait
    engine.Send("go infinite");
    EXPECT_EQ(CountPrefix(engine.LinesWithin(500), "bestmove"), 0);
    engine.Send("stop");
    EXPECT_EQ(Best(engine.ReadUntil("bestmove", 2000)), "a1a8");
    // Neither one legal move nor a depth reached ends the wait, with several lines either.
    engine.Send("setoption name MultiPV value 2");
    const std::pair<const char*, const char*> waits[] = {{"position fen 7k/8/8/8/8/8/6q1/K7 w - - 0 1", "go infinite"},
                                                         {"position startpos", "go infinite depth 2"}};
    for (const auto& [position, go] : waits) {
        engine.Send(position);
        engine.Send(go);
        EXPECT_EQ(CountPrefix(engine.LinesWithin(500), "bestmove"), 0) << position;
        engine.Send("stop");
        engine.Send("isready");
        EXPECT_EQ(CountPrefix(engine.ReadUntil("readyok", 2000), "bestmove"), 1) << position;
    }
    engine.Send("setoption name MultiPV value 1");

    engine.Send("position startpos moves e2e4");
    engine.Send("go ponder wtime 3000 btime 3000");
    EXPECT_EQ(CountPrefix(engine.LinesWithin(800), "bestmove"), 0);
    start = SteadyMs();
    engine.Send("ponderhit"); // the clock applies now, and the time spent counts
    Lines lines = engine.ReadUntil("bestmove", 3000);
    ASSERT_FALSE(lines.empty());
    EXPECT_LT(SteadyMs() - start, 1500 * kSlowdown);
    EXPECT_TRUE(std::regex_match(lines.back(), BestForm)) << lines.back();
    engine.Send("position fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1");
    engine.Send("go ponder wtime 10000 btime 10000");
    EXPECT_EQ(CountPrefix(engine.LinesWithin(500), "bestmove"), 0);
    engine.Send("ponderhit");
    EXPECT_EQ(Best(engine.ReadUntil("bestmove", 2000)), "a1a8");
    EXPECT_EQ(Go("", "go depth 3").back(), "bestmove 0000"); // the move was made: Black is mated
    // A stop at rest repeats the last answer until a new position.
    const std::string best = Best(Go("position startpos", "go depth 3"));
    EXPECT_EQ(engine.Exchange("stop"), Lines{"bestmove " + best});
    engine.Exchange("position startpos");
    EXPECT_TRUE(engine.Exchange("stop").empty());
}

TEST_P(Uci, OptionsAndMoveLists) {
    engine.Send("setoption name Hash value 0");
    Lines lines = Go("position startpos", "go depth 5");
    EXPECT_EQ(Read(lines).hashfull, "0");
    EXPECT_EQ(Read(lines).deepest, 5);
    engine.Send("setoption name Clear Hash");
    engine.Send("setoption name Hash value 4");
    engine.Send("setoption name Aggressivity"); // without a value: dropped
    engine.Send("setoption name MultiPV 3");
    engine.Send("uci");
    EXPECT_EQ(engine.ReadUntil("uciok"), UciLines);
    engine.Send("setoption name Aggressivity value 150");
    engine.Send("setoption name MultiPV value 2");
    engine.Send("uci");
    lines = engine.ReadUntil("uciok");
    ASSERT_EQ(lines.size(), UciLines.size());
    EXPECT_EQ(lines[8], "option name Aggressivity type spin default 150 min 0 max 300");
    // Several lines are reported once a search is past its first 50,000 nodes.
    EXPECT_GT(CountPrefix(Go("position startpos", "go nodes 200000"), "info multipv 2 "), 0);
    // An illegal word in the move list is skipped; upper case is read.
    engine.Exchange("position startpos moves e2e4 e2e4 E7E5 x9 g1f3");
    const Lines board = engine.Exchange("brd");
    ASSERT_EQ(board.size(), 8u);
    EXPECT_EQ(board[3] + board[5], " . . . .*P . . . . . . . . N . .");
    engine.Exchange("position fen 4k3/8/8/8/8/8/8/4K2R w K - 0 1 moves");
    EXPECT_EQ(engine.Exchange("brd")[7], " . . . . K . . R");
    engine.Exchange("position fen 4k3/P6P/8/8/8/8/8/4K3 w - - 0 1 moves a7a8q e8e7 h7h8r");
    EXPECT_EQ(engine.Exchange("brd")[0], " Q . . . . . . R");
}

// With several lines the expected reply after "ponder" is that of the best line.
TEST_P(Uci, ThePonderMoveAnswersTheBestLine) {
    engine.Send("setoption name MultiPV value 3");
    const Lines lines = Go("position startpos", "go depth 10", 30000);
    std::string last;
    for (const std::string& line : lines)
        if (StartsWith(line, "info multipv 1 ")) last = line;
    ASSERT_NE(last.find(" pv "), std::string::npos);
    const std::vector<std::string> pv = Words(last.substr(last.find(" pv ") + 4));
    ASSERT_GE(pv.size(), 2u);
    EXPECT_EQ(lines.back(), "bestmove " + pv[0] + " ponder " + pv[1]);
}

TEST_P(Uci, QuitAndTheEndOfInputDuringASearch) {
    engine.Send("position startpos");
    engine.Send("go infinite");
    engine.LinesWithin(200);
    engine.Send("quit");
    EXPECT_EQ(engine.WaitExit(3000), 0);
    EXPECT_EQ(engine.pending.find("bestmove"), std::string::npos) << engine.pending;
}

TEST_P(Uci, TheEndOfInputDuringPonderAnswersAndExits) {
    engine.Send("position startpos");
    engine.Send("go ponder wtime 100000 btime 100000");
    engine.LinesWithin(300);
    EXPECT_EQ(engine.CloseAndWait(3000), 0);
    EXPECT_NE(engine.pending.find("bestmove"), std::string::npos) << engine.pending;
}

INSTANTIATE_TEST_SUITE_P(PipeAndTerminal, Uci, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Terminal" : "Pipe"; });

} // namespace
