// The search as a whole: mate scores, draws, the board left as found (also after an abort),
// determinism, the empty table, and a tactical suite as a floor against regressions.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/ply.h"
#include "board/position.h"
#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "frontend/game.h"
#include "frontend/settings.h"
#include "search/report.h"
#include "search/root.h"
#include "search/search.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"
#include "tests/unit/test_main_setup.h"

namespace {

constexpr int MATE = 32700;

void Load(const std::string& fen) {
    testing::internal::CaptureStdout();
    const bool ok         = SetFen(fen.c_str());
    const std::string out = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ok) << fen << out;
}

struct SearchOutcome {
    Move best      = 0;
    int score      = 0;
    uint64_t nodes = 0;
    int over       = 0;
};

// A search to a depth with nothing that could make it depend on the outside world: no book, no
// input, no reports, no clock; the tables are forgotten first unless asked to keep them. MateDepth,
// MultiPV and SearchMoves stay as the test set them.
SearchOutcome SearchToDepthKeepingLimits(int depth, bool clean = true) {
    UciMode          = 0;
    PostFlag         = 0;
    OwnBook          = 0;
    NodeLimit        = 0;
    PonderingNow     = 0;
    GoPonder         = 0;
    OwnClock         = -1;
    FixedTime        = 0;
    UseLearningData  = 0;
    PollIgnoresInput = 1;
    PollInterval     = 50000;
    if (clean) ResetAll();
    thread_board.SearchAbort = 0;
    SearchStart              = ClockCs();
    testing::internal::CaptureStdout();
    SearchOutcome outcome;
    outcome.over  = AnalysisRootSearch(depth, 0);
    outcome.best  = MoveList[0].move;
    outcome.score = RootScores[0];
    outcome.nodes = NodeCount;
    testing::internal::GetCapturedStdout();
    PollIgnoresInput = 0;
    return outcome;
}

// The same with one line, no mate limit and every root move.
SearchOutcome SearchToDepth(int depth, bool clean = true) {
    MultiPV         = 1;
    MateDepth       = 0;
    SearchMoveCount = 0;
    return SearchToDepthKeepingLimits(depth, clean);
}

class SearchTest : public testing::Test {
protected:
    void SetUp() override {
        InitTablesForTests();
        if (!ReversibleMoveTable) BuildReversibleMoveTable();
        SetTranspositionEntries(1 << 16);
        ClearPlyStack();
    }
};

// ---------------------------------------------------------------------------------------------
// Mates: the root move that mates in n scores MATE - (2n - 1). Positions and their unique mating
// first moves were checked with stockfish 15.1.

struct MateCase {
    const char* fen;
    const char* move;
    int moves;
};

const MateCase MateCases[] = {
    {"6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1", "a1a8", 1},
    {"r2qkb1r/pp2nppp/3p4/2pNN1B1/2BnP3/3P4/PPP2PPP/R2bK2R w KQkq - 1 1", "d5f6", 2},
    {"r1b1kb1r/pppp1ppp/5q2/4n3/3KP3/2N3PN/PPP4P/R1BQ1B1R b kq - 0 1", "f8c5", 3},
    {"2r3k1/p4p2/3Rp2p/1p2P1pK/8/1P4P1/P3Q2P/1q6 b - - 0 1", "b1g6", 3},
};

TEST_F(SearchTest, MatesAreFoundWithTheExactDistance) {
    for (const MateCase& c : MateCases) {
        for (int depth = 2 * c.moves; depth <= 2 * c.moves + 2; depth++) {
            Load(c.fen);
            const SearchOutcome r = SearchToDepth(depth);
            EXPECT_STREQ(MoveText(r.best), c.move) << c.fen << " depth " << depth;
            EXPECT_EQ(r.score, MATE - (2 * c.moves - 1)) << c.fen << " depth " << depth;
        }
    }
}

// A node searched on its own, as the root would enter it at Ply 1: wide lazy bounds, no clock.
int SearchNode(int alpha, int beta, int depth, int kind) {
    Position& b              = thread_board;
    UciMode                  = 0;
    PostFlag                 = 0;
    NodeLimit                = 0;
    PollIgnoresInput         = 1;
    PollInterval             = 50000;
    PollCountdown            = PollInterval;
    DepthLimit               = 100;
    IterationNumber          = 5;
    EngineSide               = b.SideToMove;
    RootHistoryCount         = HistoryCount;
    LazyLower                = -MATE;
    LazyUpper                = MATE;
    NodeCount                = 0;
    b.SearchAbort            = 0;
    Ply                      = 1;
    PlyStack[0].Flags        = 0;
    PlyStack[1].InCheck      = IsSquareAttacked(ChangeSide(b.SideToMove), b.KingSquare[b.SideToMove]);
    const int score          = Search(alpha, beta, depth, 1, kind);
    PollIgnoresInput         = 0;
    return score;
}

// Everything a search must hand back as it found it. The phase fields are left out: the
// evaluation keeps its working phase there, whatever position it looked at last.
struct BoardSnapshot {
    Position board;
    std::vector<GameHistoryRecord> history;
    int historyCount;
    int moveListTop;
    int ply;
};

BoardSnapshot TakeSnapshot() {
    BoardSnapshot s;
    s.board        = thread_board;
    s.historyCount = HistoryCount;
    s.history.assign(History, History + HistoryCount);
    s.moveListTop = MoveListTop;
    s.ply         = Ply;
    return s;
}

// An empty string when nothing changed, else what did.
std::string CompareSnapshot(const BoardSnapshot& before) {
    Position now = thread_board, then = before.board;
    now.SearchAbort = then.SearchAbort = 0;
    now.current_phase = then.current_phase = 0;
    now.white_phase = then.white_phase = 0;
    now.black_phase = then.black_phase = 0;
    std::string what;
    if (std::memcmp(&now, &then, sizeof now) != 0) what += " thread_board";
    if (HistoryCount != before.historyCount) what += " HistoryCount " + std::to_string(HistoryCount);
    for (int i = 0; i < before.historyCount && i < HistoryCount; i++) {
        const GameHistoryRecord &a = History[i], &b = before.history[size_t(i)];
        if (a.HashKey != b.HashKey || a.FiftyCounter != b.FiftyCounter || a.Move != b.Move ||
            a.CastleRights != b.CastleRights || a.MaterialIndex != b.MaterialIndex || a.PstScore != b.PstScore)
            what += " History[" + std::to_string(i) + "]";
    }
    return what;
}

// Positions of every kind for the checks that hold everywhere: openings, middlegames with
// tactics, endings with pawns, checks and promotions.
const char* const VariedPositions[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "2rr3k/pp3pp1/1nnqbN1p/3pN3/2pP4/2P3Q1/PPB4P/R4RK1 w - - 0 1",
    "r1b1kb1r/pppp1ppp/5q2/4n3/3KP3/2N3PN/PPP4P/R1BQ1B1R b kq - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "8/7p/5k2/5p2/p1p2P2/Pr1pPK2/1P1R3P/8 b - - 0 1",
    "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1",
    "4k3/8/8/8/8/8/8/4K2R w K - 0 1",
};

TEST_F(SearchTest, TheBoardIsHandedBackAsItWasFound) {
    for (const char* fen : VariedPositions) {
        Load(fen);
        const BoardSnapshot before = TakeSnapshot();
        const SearchOutcome r      = SearchToDepth(7);
        ASSERT_EQ(r.over, 0) << fen;
        EXPECT_EQ(CompareSnapshot(before), "") << fen;
        EXPECT_EQ(MoveListTop, RootMoveCount) << fen;
        EXPECT_TRUE(IsMoveLegal(r.best)) << fen;

        // A node entered on its own gives back MoveListTop too, wherever the list stood.
        MoveListTop               = 123;
        const BoardSnapshot inner = TakeSnapshot();
        SearchNode(-200, 200, 24, NODE_PV);
        EXPECT_EQ(CompareSnapshot(inner), "") << fen;
        EXPECT_EQ(MoveListTop, 123) << fen;
        EXPECT_EQ(Ply, 1) << fen;
        MoveListTop = 0;
    }
}

// The node limit stops the search at the first poll past it; every stop, at whatever depth,
// must unwind every move it made.
TEST_F(SearchTest, AnAbortAnywhereLeavesTheBoardAsItWas) {
    for (const char* fen : VariedPositions) {
        Load(fen);
        const BoardSnapshot before = TakeSnapshot();
        const uint64_t total       = SearchToDepth(6).nodes;
        for (uint64_t limit = 1; limit < total; limit = limit * 5 / 4 + 7) {
            UciMode          = 0;
            PostFlag         = 0;
            MultiPV          = 1;
            MateDepth        = 0;
            SearchMoveCount  = 0;
            OwnClock         = -1;
            PollIgnoresInput = 1;
            PollInterval     = 1; // every other node polls
            NodeLimit        = int64_t(limit);
            ResetAll();
            thread_board.SearchAbort = 0;
            testing::internal::CaptureStdout();
            const int over = AnalysisRootSearch(6, 0);
            testing::internal::GetCapturedStdout();
            NodeLimit        = 0;
            PollIgnoresInput = 0;
            PollInterval     = 50000;
            ASSERT_EQ(over, 0);
            EXPECT_EQ(thread_board.SearchAbort, 1) << fen << " limit " << limit;
            // Capture-search nodes count but never poll: the stop comes soon, not at once.
            EXPECT_LT(NodeCount, limit + 2000) << fen << " limit " << limit;
            EXPECT_EQ(CompareSnapshot(before), "") << fen << " limit " << limit;
            // The best move known so far is always a move of this position.
            EXPECT_TRUE(IsMoveLegal(MoveList[0].move)) << fen << " limit " << limit;
        }

        // The same for a node entered on its own, with the list standing above 0.
        for (uint64_t limit = 1; limit < 20000; limit = limit * 3 / 2 + 11) {
            ResetAll();
            MoveListTop               = 77;
            const BoardSnapshot inner = TakeSnapshot();
            PollInterval              = 1;
            NodeLimit                 = int64_t(limit);
            PollIgnoresInput          = 1;
            Position& b               = thread_board;
            EngineSide                = b.SideToMove;
            LazyLower                 = -MATE;
            LazyUpper                 = MATE;
            NodeCount                 = 0;
            PollCountdown             = 0;
            b.SearchAbort             = 0;
            Ply                       = 1;
            PlyStack[0].Flags         = 0;
            PlyStack[1].InCheck = IsSquareAttacked(ChangeSide(b.SideToMove), b.KingSquare[b.SideToMove]);
            const int score     = Search(-100, 100, 28, 1, NODE_PV);
            NodeLimit           = 0;
            PollIgnoresInput    = 0;
            PollInterval        = 50000;
            if (!b.SearchAbort) break; // the whole search fitted under the limit
            EXPECT_EQ(score, 0) << fen << " limit " << limit;
            EXPECT_EQ(CompareSnapshot(inner), "") << fen << " limit " << limit;
            EXPECT_EQ(MoveListTop, 77) << fen << " limit " << limit;
            EXPECT_EQ(Ply, 1) << fen << " limit " << limit;
        }
        MoveListTop = 0;
    }
}

// A mate that no deeper iteration can shorten ends the search: a mate in n (score 32701 - 2n)
// is beyond the stop value 32701 - i from iteration 2n + 1 on.
TEST_F(SearchTest, AFoundMateEndsTheIterations) {
    for (const MateCase& c : MateCases) {
        Load(c.fen);
        const SearchOutcome r = SearchToDepth(40);
        EXPECT_EQ(r.score, MATE - (2 * c.moves - 1)) << c.fen;
        EXPECT_EQ(IterationNumber, 2 * c.moves + 1) << c.fen;
    }
}

// A root with one legal move is answered at once, without a search.
TEST_F(SearchTest, OneLegalMoveIsPlayedWithoutASearch) {
    Load("7k/8/8/8/8/8/6q1/7K w - - 0 1"); // only Kxg2
    const SearchOutcome r = SearchToDepth(10);
    EXPECT_EQ(r.over, 0);
    EXPECT_EQ(MoveListTop, 1);
    EXPECT_STREQ(MoveText(r.best), "h1g2");
    EXPECT_EQ(r.nodes, 0u);
    // Unless it is the one move asked for: then it is searched.
    Load("7k/8/8/8/8/8/6q1/7K w - - 0 1");
    SearchMoves[0]  = r.best;
    SearchMoveCount = 1;
    const SearchOutcome asked = SearchToDepthKeepingLimits(4);
    SearchMoveCount           = 0;
    EXPECT_GT(asked.nodes, 0u);
}

// The forms of a score in the UCI report: mates in moves, bounds, and the mate search's filter.
TEST_F(SearchTest, UciScoreForms) {
    Load("6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1");
    SearchToDepth(1);
    const auto line = [](int score, int bound) {
        RootScores[0]   = score;
        NodeCount       = 0;
        IterationNumber = 4;
        SelDepth        = 7;
        testing::internal::CaptureStdout();
        ReportUci(1, bound, 0);
        const std::string text = testing::internal::GetCapturedStdout();
        const size_t from = text.find(" score "), to = text.find("nodes ");
        return text.substr(0, 27) + "|" + text.substr(from + 7, to - from - 7);
    };
    EXPECT_EQ(line(32699, 3), "info depth 5 seldepth 7 sco|mate 1 ");
    EXPECT_EQ(line(32697, 3), "info depth 5 seldepth 7 sco|mate 2 ");
    EXPECT_EQ(line(-32698, 3), "info depth 5 seldepth 7 sco|mate -1 ");
    EXPECT_EQ(line(-32696, 3), "info depth 5 seldepth 7 sco|mate -2 ");
    EXPECT_EQ(line(31000, 3), "info depth 5 seldepth 7 sco|cp 31000 ");
    EXPECT_EQ(line(-31000, 1), "info depth 5 seldepth 7 sco|cp -31000 upperbound ");
    EXPECT_EQ(line(12, 2), "info depth 5 seldepth 7 sco|cp 12 lowerbound ");
    // A mate search reports only a mate of its own length; anything else reads as 0.
    MateDepth = 2;
    EXPECT_EQ(line(32697, 3), "info depth 5 seldepth 7 sco|mate 2 ");
    EXPECT_EQ(line(32699, 3), "info depth 5 seldepth 7 sco|cp 0 ");
    EXPECT_EQ(line(150, 3), "info depth 5 seldepth 7 sco|cp 0 ");
    MateDepth = 0;
    UciMode   = 0;
}

// The printed line of a mate is the mate: every move legal, the last one mates.
TEST_F(SearchTest, ThePrintedLineOfAMateEndsInMate) {
    for (const MateCase& c : MateCases) {
        Load(c.fen);
        const SearchOutcome r = SearchToDepth(2 * c.moves + 1);
        ASSERT_EQ(r.score, MATE - (2 * c.moves - 1)) << c.fen;
        const BoardSnapshot before = TakeSnapshot();
        testing::internal::CaptureStdout();
        PrintPv(0);
        const std::string line = testing::internal::GetCapturedStdout();
        EXPECT_EQ(CompareSnapshot(before), "") << c.fen;
        std::istringstream words(line);
        std::string word;
        int made = 0;
        while (words >> word) {
            const Move m = ParseCoordinateMove(word.c_str());
            ASSERT_TRUE(IsMoveLegal(m)) << c.fen << ":" << line;
            MakeMove(m, 1);
            made++;
        }
        EXPECT_EQ(made, 2 * c.moves - 1) << c.fen << ":" << line;
        const int us = thread_board.SideToMove;
        EXPECT_TRUE(IsSquareAttacked(ChangeSide(us), thread_board.KingSquare[us])) << c.fen << ":" << line;
        GenerateLegalMoves(5000);
        EXPECT_EQ(MoveListTop, 5000) << c.fen << ":" << line;
        MoveListTop = 0;
        while (made--) UnmakeMove();
    }
}

// A mate search of n moves opens no window below a mate in n: the mate is found when it is
// there (the score is a bound that reads as that mate), and nothing else raises the score.
TEST_F(SearchTest, AMateLimitFindsOnlyMatesThatShort) {
    const MateCase& c = MateCases[2]; // mate in 3
    Load(c.fen);
    MateDepth = 3;
    SearchOutcome r = SearchToDepthKeepingLimits(7);
    EXPECT_STREQ(MoveText(r.best), c.move);
    EXPECT_GT(r.score, MATE_BOUND);
    EXPECT_EQ((MATE + 1 - r.score) >> 1, 3) << r.score;
    Load(c.fen);
    MateDepth = 2;
    r         = SearchToDepthKeepingLimits(7);
    EXPECT_LE(r.score, MATE - 2 * 2) << "a mate in 2 that is not there";
    // A window that lies wholly outside the mate limits comes back as its alpha.
    MateDepth = 3;
    EXPECT_EQ(SearchRootMove(-100, 100, 8), -100);
    MateDepth = 0;
}

TEST_F(SearchTest, SeveralLinesAreSearchedAndOrdered) {
    const MateCase& c = MateCases[1]; // mate in 2
    Load(c.fen);
    MultiPV = 3;
    const SearchOutcome r = SearchToDepthKeepingLimits(5);
    MultiPV               = 1;
    EXPECT_STREQ(MoveText(r.best), c.move);
    EXPECT_EQ(r.score, MATE - 3);
    EXPECT_GE(RootScores[0], RootScores[1]);
    EXPECT_GE(RootScores[1], RootScores[2]);
    EXPECT_LT(RootScores[1], MATE_BOUND) << "only one move mates";
    for (int i = 0; i < MoveListTop; i++) EXPECT_TRUE(IsMoveLegal(MoveList[i].move)) << i;
    // Repeatable too.
    MultiPV                = 3;
    const uint64_t first   = r.nodes;
    const SearchOutcome r2 = SearchToDepthKeepingLimits(5);
    MultiPV                = 1;
    EXPECT_EQ(r2.nodes, first);
}

TEST_F(SearchTest, SearchMovesRestrictTheRoot) {
    const MateCase& c = MateCases[0]; // Ra8 mates
    Load(c.fen);
    SearchMoves[0]  = ParseCoordinateMove("g1f2");
    SearchMoves[1]  = ParseCoordinateMove("a1a7");
    SearchMoveCount = 2;
    const SearchOutcome r = SearchToDepthKeepingLimits(4);
    SearchMoveCount       = 0;
    EXPECT_EQ(RootMoveCount, 2);
    EXPECT_TRUE(r.best == SearchMoves[0] || r.best == SearchMoves[1]) << MoveText(r.best);
    EXPECT_LT(r.score, MATE_BOUND);
}

// ---------------------------------------------------------------------------------------------
// The capture search.

TEST_F(SearchTest, QuiesceStandsPatOnQuietPositionsAndSeesMate) {
    // Nothing to capture, no check: the static score, and at or above beta no table entry.
    Load("4k3/8/8/8/8/8/4P3/4K3 w - - 0 1");
    SearchNode(-MATE, MATE, 4, NODE_PV); // sets the root state up
    IterationNumber = 0;
    ResetAll();
    const int e = Evaluate();
    EXPECT_EQ(Quiesce(-MATE, MATE, 0, NODE_PV), e);
    EXPECT_EQ(Quiesce(e - 10, e + 10, 0, NODE_PV), e);
    ResetAll();
    EXPECT_EQ(Quiesce(e - 20, e - 10, 0, NODE_CUT), e);
    EXPECT_EQ(TableMove(), 0u);
    int alpha = -MATE, cutoff = 0;
    Move move = 0;
    EXPECT_EQ(RootProbe(&alpha, MATE, &move, &cutoff, 1, 1), 0) << "a stand-pat cutoff stores nothing";

    // In check with no way out: mated at this ply, whatever the depth counter says.
    Load("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1");
    SearchNode(-MATE, MATE, 4, NODE_PV);
    for (int qdepth : {0, -4, -16, 8}) {
        PlyStack[1].InCheck = 1;
        EXPECT_EQ(Quiesce(-MATE, MATE, qdepth, NODE_PV), 1 - MATE) << qdepth;
        EXPECT_EQ(Quiesce(-100, 100, qdepth, NODE_ALL), 1 - MATE) << qdepth;
    }
}

// When every move was pruned away, the node says "no better than alpha", not "stalemate".
TEST_F(SearchTest, ANodeWhoseMovesWereAllPrunedIsNoStalemate) {
    Load("k7/2Q5/1K6/8/8/8/8/8 b - - 0 1"); // stalemate, a queen down
    EXPECT_EQ(SearchNode(-50, 50, 4, NODE_CUT), -50);
    EXPECT_EQ(SearchNode(-50, 50, 24, NODE_CUT), 0);
}

// The root takes its first move from the table, and its first score only when the table gives
// one: a bound that decides nothing at the root is no score. (A lower bound left by the tree of
// the last search used to become a root score of -32700, which the console printed as a mate.)
TEST_F(SearchTest, TheRootTakesAScoreFromTheTableOnlyWhenOneIsThere) {
    const char* fen = "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3";
    const Move bishop = MakeMoveWord(5, 33, BISHOP); // f1b5
    for (int kind : {TT_LOWER, TT_UPPER, TT_EXACT}) {
        Load(fen);
        ResetAll();
        EngineSide    = thread_board.SideToMove;
        LastScore     = 37;
        LastScoreSide = EngineSide;
        UciMode       = 0;
        PostFlag      = 0;
        Ply           = 0;
        TranspositionStore(20, bishop, 55, kind, 0, 0, 0);
        ASSERT_EQ(TableMove(), bishop);
        testing::internal::CaptureStdout();
        const int over = PrepareRootMoves();
        testing::internal::GetCapturedStdout();
        ASSERT_EQ(over, 0);
        EXPECT_EQ(MoveList[0].move, bishop) << kind;
        EXPECT_EQ(RootScores[0], kind == TT_EXACT ? 55 : 37) << kind;
        // The last score is read from the engine's side.
        if (kind == TT_LOWER) {
            LastScoreSide = ChangeSide(EngineSide);
            testing::internal::CaptureStdout();
            PrepareRootMoves();
            testing::internal::GetCapturedStdout();
            EXPECT_EQ(RootScores[0], -37);
        }
        MoveListTop = 0;
    }
}

// ---------------------------------------------------------------------------------------------
// Draws score exactly 0.

TEST_F(SearchTest, StalemateScoresZero) {
    // Stalemate at the root ends the game there.
    Load("5k2/5P2/5K2/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(SearchToDepth(4).over, 1);
    Load("k7/2Q5/1K6/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(SearchToDepth(4).over, 1);
    EXPECT_EQ(MoveListTop, 0);

    // In the tree: deep enough that futility does not drop the (non-existent) moves.
    Load("k7/2Q5/1K6/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(SearchNode(-50, 50, 24, NODE_PV), 0);
    EXPECT_EQ(SearchNode(-50, 50, 24, NODE_ALL), 0);

}

TEST_F(SearchTest, ARepetitionTheSideToMoveCanForceScoresZeroWithoutASearch) {
    // After 1. Nf3 Nf6 2. Ng1 Black can bring back the start position with Ng8.
    Load("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    for (const char* text : {"g1f3", "g8f6", "f3g1"}) MakeMove(ParseCoordinateMove(text), 1);
    for (int kind : {NODE_PV, NODE_CUT, NODE_ALL}) {
        EXPECT_EQ(SearchNode(-30, 0, 24, kind), 0) << kind;
        EXPECT_EQ(NodeCount, 1u) << kind;
        EXPECT_EQ(SearchNode(-30, -5, 24, kind), 0) << kind;
        EXPECT_EQ(NodeCount, 1u) << kind;
    }
    // With beta above 0 the draw is no cutoff, and the node searches.
    SearchNode(-30, 30, 12, NODE_PV);
    EXPECT_GT(NodeCount, 1u);

    // Without the game history the same position is no draw at all.
    Load("rnbqkb1r/pppppppp/5n2/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 2 2");
    SearchNode(-30, 0, 12, NODE_PV);
    EXPECT_GT(NodeCount, 1u);
}

TEST_F(SearchTest, APositionSeenBeforeScoresZero) {
    // 1. Nf3 Nf6 2. Ng1 Ng8: the start position stands on the board again (and was the first
    // record); a second time is already a draw for the search.
    Load("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    for (const char* text : {"g1f3", "g8f6", "f3g1", "f6g8"}) MakeMove(ParseCoordinateMove(text), 1);
    EXPECT_EQ(SearchNode(-30, 30, 24, NODE_PV), 0);
    EXPECT_EQ(NodeCount, 1u);
    // The draw is returned as it is, also below alpha.
    EXPECT_EQ(SearchNode(5, 30, 24, NODE_CUT), 0);
}

TEST_F(SearchTest, TheFiftyMoveRuleOutranksMate) {
    // Black is mated, but the hundredth half-move without capture or pawn move came first.
    // The counter of a FEN is not read: it is set by hand.
    Load("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1");
    thread_board.FiftyCounter = 100;
    EXPECT_EQ(SearchNode(-100, 100, 16, NODE_PV), 0);
    EXPECT_EQ(SearchNode(-100, 100, 0, NODE_PV), 0);
    EXPECT_EQ(Quiesce(-100, 100, 0, NODE_PV), 0);
    // One half-move earlier the mate stands.
    Load("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1");
    thread_board.FiftyCounter = 99;
    EXPECT_EQ(SearchNode(-MATE, MATE, 16, NODE_PV), 1 - MATE);
}

TEST_F(SearchTest, KingAndKnightAgainstKingIsADrawWithoutASearch) {
    Load("8/8/3k4/8/8/3NK3/8/8 w - - 0 1");
    for (int kind : {NODE_CUT, NODE_ALL}) {
        EXPECT_EQ(SearchNode(-100, 100, 40, kind), 0) << kind;
        EXPECT_EQ(NodeCount, 1u) << kind;
    }
    // A PV node does search.
    SearchNode(-100, 400, 16, NODE_PV);
    EXPECT_GT(NodeCount, 1u);
}

// ---------------------------------------------------------------------------------------------
// The same search gives the same tree: nothing but the position and the depth may steer it.

TEST_F(SearchTest, AFixedDepthSearchIsRepeatable) {
    for (const char* fen : VariedPositions) {
        Load(fen);
        const SearchOutcome first = SearchToDepth(8);
        // Something else in between, which leaves its traces in every table.
        Load(VariedPositions[2]);
        SearchToDepth(6);
        Load(fen);
        const SearchOutcome second = SearchToDepth(8);
        EXPECT_EQ(first.nodes, second.nodes) << fen;
        EXPECT_EQ(first.best, second.best) << fen;
        EXPECT_EQ(first.score, second.score) << fen;
    }
}

// What is printed about a search must not steer it: the lines are read from the table and the
// board is put back, so a search with reports, console or UCI, is the same tree as a silent one.
TEST_F(SearchTest, ReportsDoNotChangeTheSearch) {
    for (const char* fen : VariedPositions) {
        Load(fen);
        const SearchOutcome silent = SearchToDepth(9);
        for (int uci : {0, 1}) {
            Load(fen);
            ResetAll();
            UciMode          = uci;
            PostFlag         = 1;
            MultiPV          = 1;
            OwnBook          = 0;
            NodeLimit        = 0;
            MateDepth        = 0;
            SearchMoveCount  = 0;
            OwnClock         = -1;
            PollIgnoresInput = 1;
            PollInterval     = 1000; // also many progress lines in UCI mode
            LastReportNodes  = 0;
            thread_board.SearchAbort = 0;
            SearchStart              = ClockCs();
            testing::internal::CaptureStdout();
            AnalysisRootSearch(9, 0);
            const std::string printed = testing::internal::GetCapturedStdout();
            UciMode                   = 0;
            PostFlag                  = 0;
            PollIgnoresInput          = 0;
            PollInterval              = 50000;
            EXPECT_FALSE(printed.empty()) << fen;
            EXPECT_EQ(NodeCount, silent.nodes) << fen << " uci " << uci;
            EXPECT_EQ(MoveList[0].move, silent.best) << fen << " uci " << uci;
            EXPECT_EQ(RootScores[0], silent.score) << fen << " uci " << uci;
        }
    }
}

TEST_F(SearchTest, AnEmptyTableFindsTheSameMates) {
    SetTranspositionEntries(0);
    for (const MateCase& c : MateCases) {
        Load(c.fen);
        const SearchOutcome r = SearchToDepth(2 * c.moves + 1);
        EXPECT_STREQ(MoveText(r.best), c.move) << c.fen;
        EXPECT_EQ(r.score, MATE - (2 * c.moves - 1)) << c.fen;
    }
    // And a search without a table is as repeatable and as tidy as one with it.
    for (const char* fen : VariedPositions) {
        Load(fen);
        const BoardSnapshot before = TakeSnapshot();
        const SearchOutcome first  = SearchToDepth(6);
        EXPECT_EQ(CompareSnapshot(before), "") << fen;
        EXPECT_TRUE(IsMoveLegal(first.best)) << fen;
        const SearchOutcome second = SearchToDepth(6);
        EXPECT_EQ(first.nodes, second.nodes) << fen;
        EXPECT_EQ(first.best, second.best) << fen;
    }
}

// ---------------------------------------------------------------------------------------------
// The tactical suite. Its best moves are in SAN; they are matched against the legal moves.

// The legal move that the SAN text names, 0 when none or more than one does.
Move MoveFromSan(std::string san) {
    while (!san.empty() && std::strchr("+#!?", san.back())) san.pop_back();
    const int start = 5000;
    GenerateLegalMoves(start);
    const int end = MoveListTop;
    MoveListTop   = 0;
    const int us  = thread_board.SideToMove;
    int piece = PAWN, promotion = 0, from = -1, to = -1, fromFile = -1, fromRank = -1;
    if (san == "O-O" || san == "0-0" || san == "O-O-O" || san == "0-0-0") {
        piece = KING;
        from  = us == WHITE ? 4 : 60;
        to    = from + (san.size() == 3 ? 2 : -2);
    } else {
        const size_t eq = san.find('=');
        if (eq != std::string::npos || (san.size() > 2 && std::strchr("QRBN", san.back()))) {
            const char letter = eq != std::string::npos ? san[eq + 1] : san.back();
            promotion         = letter == 'Q' ? QUEEN : letter == 'R' ? ROOK : letter == 'B' ? BISHOP : KNIGHT;
            san.resize(eq != std::string::npos ? eq : san.size() - 1);
        }
        size_t i = 0;
        if (std::strchr("KQRBN", san[0])) {
            const char letter = san[0];
            piece = letter == 'K' ? KING : letter == 'Q' ? QUEEN : letter == 'R' ? ROOK : letter == 'B' ? BISHOP : KNIGHT;
            i     = 1;
        }
        if (san.size() < i + 2) return 0;
        to = (san[san.size() - 2] - 'a') + (san[san.size() - 1] - '1') * 8;
        for (size_t j = i; j + 2 < san.size(); j++) {
            if (san[j] >= 'a' && san[j] <= 'h') fromFile = san[j] - 'a';
            if (san[j] >= '1' && san[j] <= '8') fromRank = san[j] - '1';
        }
    }
    Move found = 0;
    int count  = 0;
    for (int k = start; k < end; k++) {
        const Move m = MoveList[k].move;
        if (MovedPiece(m) != piece || MoveTo(m) != to || PromotionPiece(m) != promotion) continue;
        if (from >= 0 && MoveFrom(m) != from) continue;
        if (fromFile >= 0 && FileOf(MoveFrom(m)) != fromFile) continue;
        if (fromRank >= 0 && RankOf(MoveFrom(m)) != fromRank) continue;
        found = m;
        count++;
    }
    return count == 1 ? found : 0;
}

struct SuitePosition {
    std::string fen;
    std::string id;
    std::vector<std::string> best; // SAN
};

std::vector<SuitePosition> ReadSuite(const std::string& relative) {
    std::ifstream in(std::string(TESTDATA_DIR) + "/" + relative);
    std::vector<SuitePosition> suite;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string board, side, castling, passant, word;
        if (!(fields >> board >> side >> castling >> passant)) continue;
        SuitePosition position;
        position.fen = board + " " + side + " " + castling + " " + passant + " 0 1";
        bool inBest  = false;
        while (fields >> word) {
            if (word == "bm") {
                inBest = true;
                continue;
            }
            if (word == "id") {
                fields >> position.id;
                continue;
            }
            if (!inBest) continue;
            const bool last = word.back() == ';';
            if (last) word.pop_back();
            position.best.push_back(word);
            if (last) inBest = false;
        }
        suite.push_back(position);
    }
    return suite;
}

struct SuiteResult {
    int solved     = 0;
    int total      = 0;
    uint64_t nodes = 0;
    double seconds = 0;
    std::string failures;
};

SuiteResult RunSuite(const std::vector<SuitePosition>& suite, int depth, size_t count) {
    SuiteResult result;
    const auto start = std::chrono::steady_clock::now();
    for (size_t n = 0; n < suite.size() && n < count; n++) {
        const SuitePosition& position = suite[n];
        Load(position.fen);
        std::vector<Move> best;
        for (const std::string& san : position.best) best.push_back(MoveFromSan(san));
        const BoardSnapshot before = TakeSnapshot();
        const SearchOutcome r      = SearchToDepth(depth);
        EXPECT_EQ(CompareSnapshot(before), "") << position.id;
        EXPECT_TRUE(IsMoveLegal(r.best)) << position.id;
        result.total++;
        result.nodes += r.nodes;
        bool solved = false;
        for (Move m : best) solved |= m == r.best;
        if (std::getenv("VELUMBRAK_WAC_TRACE"))
            std::printf("TRACE %s %s %d %s\n", position.id.c_str(), MoveText(r.best), r.score, position.fen.c_str());
        if (solved)
            result.solved++;
        else
            result.failures += " " + position.id;
    }
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}

TEST_F(SearchTest, EveryBestMoveOfTheTacticalSuiteNamesOneLegalMove) {
    const std::vector<SuitePosition> suite = ReadSuite("epd/wac.epd");
    ASSERT_EQ(suite.size(), 300u);
    for (const SuitePosition& position : suite) {
        Load(position.fen);
        ASSERT_FALSE(position.best.empty()) << position.id;
        for (const std::string& san : position.best) EXPECT_NE(MoveFromSan(san), 0u) << position.id << " " << san;
    }
}

// A floor under the share of the suite solved at a fixed depth, so that a search that gets
// weaker fails here. Measured: 248 of 300 at depth 10 with the material and piece-square
// evaluation (about 11 s on the development machine); the floor leaves a margin for small changes.
TEST_F(SearchTest, TheTacticalSuiteStaysSolved) {
    const SuiteResult r = RunSuite(ReadSuite("epd/wac.epd"), 10, 300);
    EXPECT_EQ(r.total, 300);
    EXPECT_GE(r.solved, 238) << "not solved:" << r.failures;
    std::printf("solved %d of %d at depth 10, %llu nodes, %.1f s\n", r.solved, r.total, (unsigned long long)r.nodes,
                r.seconds);
}

// Measurement, not a check: VELUMBRAK_WAC_DEPTH and VELUMBRAK_WAC_COUNT choose the run.
TEST_F(SearchTest, DISABLED_MeasureTacticalSuite) {
    const char* depthText = std::getenv("VELUMBRAK_WAC_DEPTH");
    const char* countText = std::getenv("VELUMBRAK_WAC_COUNT");
    const int depth       = depthText ? std::atoi(depthText) : 6;
    const size_t count    = countText ? size_t(std::atoi(countText)) : 300;
    const SuiteResult r   = RunSuite(ReadSuite("epd/wac.epd"), depth, count);
    std::printf("depth %d: solved %d of %d, %llu nodes, %.2f s, %.0f nps\nnot solved:%s\n", depth, r.solved, r.total,
                (unsigned long long)r.nodes, r.seconds, r.nodes / r.seconds, r.failures.c_str());
}

} // namespace
