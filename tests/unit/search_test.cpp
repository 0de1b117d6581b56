// The search as a whole: mate distances of known positions with any table, draws, the board handed
// back after every kind of stop, repeatable trees, and a tactical suite as a floor.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <sstream>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/ordering.h"
#include "board/ply.h"
#include "eval/evaluate.h"
#include "frontend/game.h"
#include "frontend/settings.h"
#include "search/report.h"
#include "search/root.h"
#include "search/search.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tests/support/engine_setup.h"
#include "tools/san.h"

namespace {

constexpr int MATE = MATE_SCORE;

class SearchTest : public testing::Test {
  protected:
    void SetUp() override {
        FreshEngine();
        SetTranspositionEntries(1 << 16);
    }
    void TearDown() override { SetTranspositionEntries(TT_DEFAULT_ENTRIES); }
};

// Unique mating first moves, checked with stockfish 15.1. Mate in n scores MATE - (2n - 1).
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

const char* const VariedPositions[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "2rr3k/pp3pp1/1nnqbN1p/3pN3/2pP4/2P3Q1/PPB4P/R4RK1 w - - 0 1",
    "r1b1kb1r/pppp1ppp/5q2/4n3/3KP3/2N3PN/PPP4P/R1BQ1B1R b kq - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "8/7p/5k2/5p2/p1p2P2/Pr1pPK2/1P1R3P/8 b - - 0 1",
    "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1",
};

// Everything a search must hand back as it found it (the phases are the evaluation's scratch).
std::string Snapshot() {
    Position b = thread_board;
    b.current_phase = b.white_phase = b.black_phase = b.SearchAbort = 0;
    std::string s(reinterpret_cast<const char*>(&b), sizeof b);
    s.append(reinterpret_cast<const char*>(History), sizeof(GameHistoryRecord) * size_t(HistoryCount));
    return s;
}

// The table of the default size, a tiny one where every bucket is shared, and none.
TEST_F(SearchTest, MatesAreFoundWithTheExactDistanceWhateverTheTable) {
    for (int64_t entries : {int64_t(1) << 16, int64_t(64), int64_t(0)}) {
        SetTranspositionEntries(entries);
        for (const MateCase& c : MateCases) {
            for (int depth = 2 * c.moves; depth <= 2 * c.moves + 2; depth++) {
                Load(c.fen);
                const SearchOutcome r = SearchToDepth(depth);
                EXPECT_STREQ(MoveText(r.best), c.move) << c.fen << " depth " << depth << " table " << entries;
                EXPECT_EQ(r.score, MATE - (2 * c.moves - 1)) << c.fen << " depth " << depth << " table " << entries;
            }
            // A mate no deeper iteration can shorten ends the search.
            EXPECT_EQ(SearchToDepth(40).score, MATE - (2 * c.moves - 1));
            EXPECT_EQ(IterationNumber, 2 * c.moves + 1) << c.fen;
            if (entries < 1 << 16) continue;
            // The printed line is the mate: every move legal, the last one mates.
            SearchToDepth(2 * c.moves + 1);
            const std::string before = Snapshot();
            std::istringstream line(Printed([] { PrintPv(0); }));
            EXPECT_EQ(Snapshot(), before);
            int made = 0;
            for (std::string word; line >> word; made++) {
                const Move m = ParseCoordinateMove(word.c_str());
                ASSERT_TRUE(IsMoveLegal(m)) << c.fen << ": " << word;
                MakeMove(m, 1);
            }
            EXPECT_EQ(made, 2 * c.moves - 1) << c.fen;
            EXPECT_TRUE(LegalMoves().empty() && SlowSquareAttacked(thread_board.KingSquare[thread_board.SideToMove],
                                                                    ChangeSide(thread_board.SideToMove)));
        }
    }
}

// A table move that belongs to another position (a key collision) is never played.
TEST_F(SearchTest, AForeignTableMoveIsNeverPlayed) {
    for (const char* fen : VariedPositions) {
        Load(fen);
        const std::string before = Snapshot();
        for (Move foreign : {MakeMoveWord(4, 6, KING), MakeMoveWord(12, 28, PAWN), MakeMoveWord(52, 36, PAWN),
                             MakeMoveWord(1, 18, KNIGHT, QUEEN), MakeMoveWord(48, 56, PAWN, 0, QUEEN)}) {
            if (IsMoveLegal(foreign)) continue;
            ResetAll();
            TranspositionStore(0, foreign, 0, TT_UPPER, 0, 0, 0);
            const SearchOutcome r = SearchToDepth(5, false);
            EXPECT_TRUE(IsMoveLegal(r.best)) << fen << " " << MoveText(foreign);
            EXPECT_EQ(Snapshot(), before) << fen;
        }
    }
}

// Every stop, wherever the node limit falls, unwinds every move it made; the best move known so
// far is one of this position.
TEST_F(SearchTest, TheBoardIsHandedBackAfterEveryKindOfStop) {
    for (const char* fen : VariedPositions) {
        Load(fen);
        const std::string before = Snapshot();
        const SearchOutcome whole = SearchToDepth(6);
        EXPECT_EQ(Snapshot(), before) << fen;
        EXPECT_TRUE(IsMoveLegal(whole.best)) << fen;
        for (uint64_t limit = 1; limit < whole.nodes; limit = limit * 3 / 2 + 7) {
            const SearchOutcome cut = SearchToDepth(6, true, int64_t(limit));
            ASSERT_EQ(cut.over, 0);
            EXPECT_EQ(thread_board.SearchAbort, 1) << fen << " limit " << limit;
            EXPECT_LT(cut.nodes, limit + 2000) << fen << " limit " << limit; // capture nodes do not poll
            EXPECT_EQ(Snapshot(), before) << limit;
            EXPECT_TRUE(IsMoveLegal(cut.best)) << fen << " limit " << limit;
        }
        // A node entered on its own gives back the move list where it stood, stopped or not.
        for (int64_t limit : {int64_t(0), int64_t(50), int64_t(3000)}) {
            ResetAll();
            MoveListTop = 77;
            const std::string inner = Snapshot();
            SearchNode(-100, 100, 24, NODE_PV, limit);
            EXPECT_EQ(Snapshot(), inner) << fen << " limit " << limit;
            EXPECT_EQ(MoveListTop, 77) << fen << " limit " << limit;
            EXPECT_EQ(Ply, 1);
        }
        MoveListTop = 0;
    }
}

// Nothing but the position and the depth steers a search: not what the tables hold from before,
// and not the reports it prints, console or UCI.
TEST_F(SearchTest, AFixedDepthSearchIsRepeatable) {
    for (const char* fen : VariedPositions) {
        Load(fen);
        const SearchOutcome first = SearchToDepth(8);
        Load(VariedPositions[2]);
        SearchToDepth(6);
        for (int uci : {-1, 0, 1}) {
            Load(fen);
            ResetAll();
            std::string printed;
            SearchOutcome again = SearchToDepth(8, false);
            if (uci >= 0) { // the same again with reports, and frequent progress lines
                Load(fen);
                ResetAll();
                UciMode = uci;
                PostFlag = 1;
                PollInterval = 1000;
                PollIgnoresInput = 1;
                thread_board.SearchAbort = 0;
                printed = Printed([] { AnalysisRootSearch(8, 0); });
                again   = {MoveList[0].move, RootScores[0], NodeCount, 0};
                UciMode = PostFlag = PollIgnoresInput = 0;
                EXPECT_FALSE(printed.empty());
            }
            EXPECT_EQ(again.nodes, first.nodes) << fen << " reports " << uci;
            EXPECT_EQ(again.best, first.best) << fen << " reports " << uci;
            EXPECT_EQ(again.score, first.score) << fen << " reports " << uci;
        }
    }
}

TEST_F(SearchTest, SeveralLinesSearchMovesAndMateLimits) {
    Load(MateCases[1].fen); // mate in 2, by one move only
    MultiPV = 3;
    const SearchOutcome lines = SearchToDepth(5);
    EXPECT_STREQ(MoveText(lines.best), MateCases[1].move);
    EXPECT_EQ(lines.score, MATE - 3);
    EXPECT_GE(RootScores[0], RootScores[1]);
    EXPECT_GE(RootScores[1], RootScores[2]);
    EXPECT_LT(RootScores[1], MATE_BOUND);
    EXPECT_EQ(SearchToDepth(5).nodes, lines.nodes);
    MultiPV = 1;

    Load(MateCases[0].fen); // Ra8 mates, but only g1f2 and a1a7 may be searched
    SearchMoves[0]  = Find("g1f2");
    SearchMoves[1]  = Find("a1a7");
    SearchMoveCount = 2;
    const SearchOutcome asked = SearchToDepth(4);
    SearchMoveCount = 0;
    EXPECT_EQ(RootMoveCount, 2);
    EXPECT_TRUE(asked.best == SearchMoves[0] || asked.best == SearchMoves[1]) << MoveText(asked.best);
    EXPECT_LT(asked.score, MATE_BOUND);

    // A mate search finds a mate of its length, and no shorter limit invents one.
    Load(MateCases[2].fen);
    MateDepth = 3;
    SearchOutcome r = SearchToDepth(7);
    EXPECT_STREQ(MoveText(r.best), MateCases[2].move);
    EXPECT_EQ((MATE + 1 - r.score) / 2, 3) << r.score;
    MateDepth = 2;
    r         = SearchToDepth(7);
    EXPECT_LE(r.score, MATE - 4);
    MateDepth = 0;

    // A root with one legal move is answered without a search.
    Load("7k/8/8/8/8/8/6q1/7K w - - 0 1");
    r = SearchToDepth(10);
    EXPECT_STREQ(MoveText(r.best), "h1g2");
    EXPECT_EQ(r.nodes, 0u);
}

// Draws score exactly 0: stalemate, a repetition, the fifty-move rule (before mate), and force
// that cannot mate. A node whose moves were all pruned is no stalemate.
TEST_F(SearchTest, DrawsScoreZero) {
    Load("5k2/5P2/5K2/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(SearchToDepth(4).over, 1);
    Load("k7/2Q5/1K6/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(SearchToDepth(4).over, 1);
    EXPECT_EQ(SearchNode(-50, 50, 24, NODE_PV), 0);
    EXPECT_EQ(SearchNode(-50, 50, 24, NODE_ALL), 0);
    EXPECT_LE(SearchNode(-50, 50, 4, NODE_CUT), -50);

    // After 1. Nf3 Nf6 2. Ng1 Black can bring back the start position: 0 at once when beta <= 0.
    SetStartPosition();
    Play({"g1f3", "g8f6", "f3g1"});
    for (int kind : {NODE_PV, NODE_CUT, NODE_ALL}) {
        EXPECT_EQ(SearchNode(-30, 0, 24, kind), 0) << kind;
        EXPECT_EQ(NodeCount, 1u) << kind;
    }
    SearchNode(-30, 30, 12, NODE_PV);
    EXPECT_GT(NodeCount, 1u);
    Play({"f6g8"}); // the start position a second time
    EXPECT_EQ(SearchNode(5, 30, 24, NODE_CUT), 0);
    EXPECT_EQ(NodeCount, 1u);
    Load("rnbqkb1r/pppppppp/5n2/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 2 2"); // the same without its history
    SearchNode(-30, 0, 12, NODE_PV);
    EXPECT_GT(NodeCount, 1u);

    Load("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1"); // mated, but the hundredth half-move came first
    thread_board.FiftyCounter = 100;
    EXPECT_EQ(SearchNode(-100, 100, 16, NODE_PV), 0);
    EXPECT_EQ(Quiesce(-100, 100, 0, NODE_PV), 0);
    thread_board.FiftyCounter = 99;
    EXPECT_EQ(SearchNode(-MATE, MATE, 16, NODE_PV), 1 - MATE);
    for (int qdepth : {0, -4, 8}) { // in check without a way out, the capture search sees the mate
        PlyStack[1].InCheck = 1;
        EXPECT_EQ(Quiesce(-100, 100, qdepth, NODE_ALL), 1 - MATE) << qdepth;
    }

    Load("8/8/3k4/8/8/3NK3/8/8 w - - 0 1");
    EXPECT_EQ(SearchNode(-100, 100, 40, NODE_CUT), 0);
    EXPECT_EQ(NodeCount, 1u);
    SearchNode(-100, 400, 16, NODE_PV); // a PV node does search
    EXPECT_GT(NodeCount, 1u);
}

// A node that fails low leaves an upper bound in the table, one that fails high a lower bound.
TEST_F(SearchTest, TheTableHoldsTheBoundTheSearchFound) {
    for (const char* fen : VariedPositions) {
        Load(fen);
        const int exact = SearchNode(-MATE, MATE, 16, NODE_PV);
        if (std::abs(exact) > 2000) continue; // mate scores are cut at the mate bound
        for (int offset : {-150, 150}) {
            ResetAll();
            const int alpha = exact + offset, v = SearchNode(alpha, alpha + 1, 16, offset > 0 ? NODE_ALL : NODE_CUT);
            int a = v > alpha ? v - 2 : v + 1, cutoff = 0, threat = 0, allowNull = 1;
            Move move;
            SingularData singular;
            const int kind = TranspositionProbe(0, &a, a + 1, &threat, &move, &allowNull, &cutoff, 0, 1, &singular);
            EXPECT_EQ(kind, v > alpha ? TT_LOWER : TT_UPPER) << fen << " window " << alpha << " score " << v;
            EXPECT_EQ(cutoff, 1) << fen << " window " << alpha << " score " << v;
        }
    }
}

// The root takes its first move from the table, and its first score only from an exact entry.
TEST_F(SearchTest, TheRootTakesAScoreFromTheTableOnlyWhenExact) {
    for (int kind : {TT_LOWER, TT_UPPER, TT_EXACT}) {
        Load("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
        ResetAll();
        EngineSide = LastScoreSide = thread_board.SideToMove;
        LastScore                  = 37;
        Ply                        = 0;
        TranspositionStore(20, Find("f1b5"), 55, kind, 0, 0, 0);
        int over = 1;
        Printed([&] { over = PrepareRootMoves(); });
        ASSERT_EQ(over, 0);
        EXPECT_EQ(MoveList[0].move, Find("f1b5")) << kind;
        EXPECT_EQ(RootScores[0], kind == TT_EXACT ? 55 : 37) << kind;
        MoveListTop = 0;
    }
}

// ---------------------------------------------------------------------------------------------
// The tactical suite: a floor under the share solved at a fixed depth, so that a weaker search
// fails here. Measured: 248 of 300 at depth 10.

struct SuiteResult {
    int solved = 0, total = 0;
    uint64_t nodes = 0;
    double seconds = 0;
    std::string failures;
};

SuiteResult RunSuite(int depth, size_t count) {
    SuiteResult result;
    const auto start = std::chrono::steady_clock::now();
    for (const EpdLine& line : ReadEpd("epd/wac.epd")) {
        if (size_t(result.total) == count) break;
        Load(line.fen);
        std::istringstream ops(line.operations.substr(line.operations.find("bm ") + 3));
        std::vector<Move> best;
        for (std::string san; ops >> san && san.find(';') != 0;) {
            const bool last = san.back() == ';';
            if (last) san.pop_back();
            best.push_back(ParseSanMove(san.c_str()));
            EXPECT_NE(best.back(), 0u) << line.operations;
            if (last) break;
        }
        const std::string before = Snapshot();
        const SearchOutcome r    = SearchToDepth(depth);
        EXPECT_EQ(Snapshot(), before) << line.fen;
        result.total++;
        result.nodes += r.nodes;
        if (std::count(best.begin(), best.end(), r.best)) result.solved++;
        else result.failures.append(" ").append(line.operations.substr(line.operations.find("id ") + 3, 10));
    }
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}

TEST_F(SearchTest, TheTacticalSuiteStaysSolved) {
    const SuiteResult r = RunSuite(10, 300);
    EXPECT_EQ(r.total, 300);
    EXPECT_GE(r.solved, 238) << "not solved:" << r.failures;
    std::printf("solved %d of %d at depth 10, %llu nodes, %.1f s\n", r.solved, r.total,
                (unsigned long long)r.nodes, r.seconds);
}

// Measurement, not a check: VELUMBRAK_WAC_DEPTH and VELUMBRAK_WAC_COUNT choose the run.
TEST_F(SearchTest, DISABLED_MeasureTacticalSuite) {
    const char* depth = std::getenv("VELUMBRAK_WAC_DEPTH");
    const char* count = std::getenv("VELUMBRAK_WAC_COUNT");
    const SuiteResult r = RunSuite(depth ? std::atoi(depth) : 6, count ? size_t(std::atoi(count)) : 300);
    std::printf("solved %d of %d, %llu nodes, %.2f s, %.0f nps\nnot solved:%s\n", r.solved, r.total,
                (unsigned long long)r.nodes, r.seconds, double(r.nodes) / r.seconds, r.failures.c_str());
}

} // namespace

namespace {
// A quiet cutoff decays the quiet moves of its batch tried before it, the failed table move among
// them: the rook must leave a1, and h3, the table move, is ordered first in the quiet batch.
TEST(SearchFixes, AQuietCutoffDecaysTheFailedTableMove) {
    FreshEngine();
    Load("6k1/5ppp/8/8/8/8/1b3PPP/R5K1 w - - 0 1");
    ResetAll();
    const Move pawn = MakeMoveWord(15, 23, PAWN), rook = MakeMoveWord(0, 4, ROOK);
    auto entries = [](Move m, int value) {
        int low = 1 << 30;
        for (int good : {0, 1})
            for (int kind : {0, 1}) {
                if (value >= 0) HistoryEntry(good, kind, m, WHITE) = value;
                low = std::min(low, HistoryEntry(good, kind, m, WHITE));
            }
        return low;
    };
    entries(pawn, 30000), entries(rook, 20000);
    TranspositionStore(0, pawn, 0, TT_UPPER, 0, 0, 0);
    EXPECT_GE(SearchNode(0, 1, 8, NODE_CUT), 1);
    EXPECT_LT(entries(pawn, -1), 30000);
}

// A queen that captures is credited as a new queen is.
TEST(SearchFixes, QueenCapturesGainTheQueenBonus) {
    FreshEngine();
    Load("rnb1kbnr/ppp1pppp/8/3p4/8/8/PPP1PPPP/RNBQKBNR w KQkq - 0 1");
    const int byQueen = CaptureGain(MakeMoveWord(3, 35, QUEEN, PAWN));
    const int byRook  = CaptureGain(MakeMoveWord(3, 35, ROOK, PAWN)); // the same squares, no queen bonus
    EXPECT_GT(byQueen, byRook + 50);
}
} // namespace
