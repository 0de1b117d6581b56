#include "frontend/bench.h"

#include <cstdio>
#include <cstring>

#include "board/movegen.h"
#include "board/ply.h"
#include "board/position.h"
#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "platform/platform.h"
#include "search/root.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"

namespace {

// Openings, quiet and sharp middlegames, tactics with mates, and endings of pawns, rooks and
// queens. None is over at the root or drawn by rule, so every one is searched.
constexpr const char* BenchPositions[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "rn1qkbnr/ppp1pppp/8/3p1b2/2P5/1P6/P2PPPPP/RNBQKBNR w KQkq - 0 3",
    "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3",
    "rnbqkb1r/p3pppp/1p6/2ppP3/3N4/2P5/PPP1QPPP/R1B1KB1R w KQkq - 0 1",
    "r1bqkb1r/4npp1/p1p4p/1p1pP1B1/8/1B6/PPPN1PPP/R2Q1RK1 w kq - 0 1",
    "r1bqk2r/pp2bppp/2p5/3pP3/P2Q1P2/2N1B3/1PP3PP/R4RK1 b kq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
    "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
    "2q1rr1k/3bbnnp/p2p1pp1/2pPp3/PpP1P1P1/1P2BNNP/2BQ1PRK/7R b - - 0 1",
    "r1b2rk1/2q1b1pp/p2ppn2/1p6/3QP3/1BN1B3/PPP3PP/R4RK1 w - - 0 1",
    "2r1nrk1/p2q1ppp/bp1p4/n1pPp3/P1P1P3/2PBB1N1/4QPPP/R4RK1 w - - 0 1",
    "r2q1rk1/1ppnbppp/p2p1nb1/3Pp3/2P1P1P1/2N2N1P/PPB1QP2/R1B2RK1 b - - 0 1",
    "2r2rk1/1bqnbpp1/1p1ppn1p/pP6/N1P1P3/P2B1N1P/1B2QPP1/R2R2K1 b - - 0 1",
    "r2qnrnk/p2b2b1/1p1p2pp/2pPpp2/1PP1P3/PRNBB3/3QNPPP/5RK1 w - - 0 1",
    "2rr3k/pp3pp1/1nnqbN1p/3pN3/2pP4/2P3Q1/PPB4P/R4RK1 w - - 0 1",
    "1k1r4/pp1b1R2/3q2pp/4p3/2B5/4Q3/PPP2B2/2K5 b - - 0 1",
    "r1b1kb1r/pppp1ppp/5q2/4n3/3KP3/2N3PN/PPP4P/R1BQ1B1R b kq - 0 1",
    "r1bq2rk/pp3pbp/2p1p1pQ/7P/3P4/2PB1N2/PP3PPR/2KR4 w - - 0 1",
    "2r3k1/1p2q1pp/2b1pr2/p1pp4/6Q1/1P1PP1R1/P1PN2PP/5RK1 w - - 0 1",
    "3rn2k/ppb2rpp/2ppqp2/5N2/2P1P3/1P5Q/PB3PPP/3RR1K1 w - - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "8/7p/5k2/5p2/p1p2P2/Pr1pPK2/1P1R3P/8 b - - 0 1",
    "2r3k1/pppR1pp1/4p3/4P1P1/5P2/1P4K1/P1P5/8 w - - 0 1",
    "4b3/p3kp2/6p1/3pP2p/2pP1P2/4K1P1/P3N2P/8 w - - 0 1",
    "8/k7/3p4/p2P1p2/P2P1P2/8/8/K7 w - - 0 1",
    "1K1k4/1P6/8/8/8/8/r7/2R5 w - - 0 1",
    "8/8/4k3/8/8/6r1/8/3QK3 w - - 0 1",
    "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1",
};
constexpr int BENCH_POSITIONS = int(sizeof BenchPositions / sizeof BenchPositions[0]);

// The game, which a bench replaces with its own positions.
struct SavedGame {
    Position board;
    GameHistoryRecord history[HISTORY_SIZE];
    int historyCount, historyBase;
};
SavedGame Saved;

// Only what the search itself decides may steer it: no reports, no book, no tables of endings
// or learnt positions, no limit but the depth, the default evaluation styles, and no input,
// which a pipe that ends early would otherwise turn into a stop. The poll runs as often as in a
// short timed search, and must change nothing. Each of these globals has the bench's value for
// the time of the bench and its own again afterwards.
struct Override {
    int* setting;
    int value;
    int saved;
};
Override Overrides[] = {
    {&UciMode, 0, 0},         {&PostFlag, 0, 0},        {&MultiPV, 1, 0},           {&MateDepth, 0, 0},
    {&SearchMoveCount, 0, 0}, {&PonderingNow, 0, 0},    {&GoPonder, 0, 0},          {&UseLearningData, 0, 0},
    {&UseLearning, 0, 0},     {&UseBookLearning, 0, 0},
    {&TbMaxMen, 0, 0},        {&Aggressivity, 100, 0},  {&AggressivityHalf, 50, 0}, {&Cowardice, 100, 0},
    {&CowardiceHalf, 50, 0},  {&PollInterval, 5000, 0}, {&PollIgnoresInput, 1, 0},  {&LastScore, 0, 0},
    {&LastScoreSide, 0, 0},
};
int64_t SavedNodeLimit, SavedTableSize;

void SaveAndOverride() {
    Saved.board = thread_board;
    std::memcpy(Saved.history, History, sizeof History);
    Saved.historyCount = HistoryCount;
    Saved.historyBase  = HistoryBase;
    for (Override& o : Overrides) {
        o.saved    = *o.setting;
        *o.setting = o.value;
    }
    SavedNodeLimit = NodeLimit;
    NodeLimit      = 0;
    SavedTableSize = TranspositionEntries;
    if (TranspositionEntries != TT_DEFAULT_ENTRIES) SetTranspositionEntries(TT_DEFAULT_ENTRIES);
}

void Restore() {
    for (const Override& o : Overrides) *o.setting = o.saved;
    NodeLimit = SavedNodeLimit;
    if (TranspositionEntries != SavedTableSize) SetTranspositionEntries(SavedTableSize);
    thread_board = Saved.board;
    std::memcpy(History, Saved.history, sizeof History);
    HistoryCount = Saved.historyCount;
    HistoryBase  = Saved.historyBase;
    MoveListTop  = 0;
}

} // namespace

void BenchCommand(int depth) {
    if (depth < 1) depth = 1;
    SaveAndOverride();
    uint64_t total   = 0;
    const int64_t t0 = ClockMs();
    for (int i = 0; i < BENCH_POSITIONS; i++) {
        SetFen(BenchPositions[i]);
        ResetAll();
        ClearPlyStack();
        ClearSearchRequests();
        SearchStart = ClockCs();
        AnalysisRootSearch(depth, 0);
        total += NodeCount;
        std::printf("%2d/%d %-6s %6d %10llu  %s\n", i + 1, BENCH_POSITIONS, MoveText(MoveList[0].move),
                    RootScores[0], (unsigned long long)NodeCount, BenchPositions[i]);
        std::fflush(stdout);
    }
    const int64_t ms = ClockMs() - t0;
    ResetAll();
    Restore();
    const int nps = ms > 0 ? int(total * 1000 / uint64_t(ms)) : 0;
    std::printf("%llu nodes %d nps\n", (unsigned long long)total, nps);
    std::fflush(stdout);
}
