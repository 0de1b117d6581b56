#include "search/report.h"

#include <cstdio>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "board/ply.h"
#include "search/root.h"
#include "search/search.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"

static uint64_t LastReportNodes;
int ReportCountdown;

void ResetReportThrottle() { LastReportNodes = 0; }

void PrintPv(int index) {
    std::printf(" %s", MoveText(MoveList[index].move));
    // A report in the middle of a root move: that move is taken back for the moment.
    Move current = 0;
    if (HistoryCount > RootHistoryCount) {
        current = History[HistoryCount - 1].Move;
        UnmakeMove();
    }
    MakeMove(MoveList[index].move, 1);
    int n = 1;
    while (n < 20) {
        const Move move = TableMove();
        if (!move || !IsMoveLegal(move)) break;
        // The reply expected to the best move; the other lines of a several-line search are
        // no prediction of what the opponent answers to it.
        if (HistoryCount == RootHistoryCount + 1 && index == 0) PonderMove = move;
        MakeMove(move, 1);
        std::printf(" %s", MoveText(move));
        n++;
    }
    while (n--) UnmakeMove();
    if (current) MakeMove(current, 1);
}

static void PrintUciScore(int s) {
    if (s > MATE_BOUND)
        std::printf("mate %d ", (MATE_SCORE + 1 - s) >> 1);
    else if (s < -MATE_BOUND)
        std::printf("mate -%d ", (s + MATE_SCORE + 1) >> 1);
    else
        std::printf("cp %d ", s);
}

static const char* BoundWord(int boundKind) {
    return boundKind == 1 ? "upperbound " : boundKind == 2 ? "lowerbound " : "";
}

void ReportUci(int force, int boundKind, int withPv) {
    if (!force && NodeCount != 0 && NodeCount - LastReportNodes < 30001 && IterationNumber < 2) return;
    LastReportNodes = NodeCount;
    const int t     = ClockCs() - SearchStart;
    const long long nps = t < 1 ? 0 : (long long)(NodeCount * 100 / (uint64_t)t);
    int s               = RootScores[0];
    if (MateDepth && ((MATE_SCORE + 1 - s) >> 1) != MateDepth) s = 0;
    std::printf("info depth %d seldepth %d score ", IterationNumber + 1, SelDepth);
    PrintUciScore(s);
    std::printf("%snodes %llu time %d hashfull %d nps %lld tbhits %d", BoundWord(boundKind),
                (unsigned long long)NodeCount, t * 10, Hashfull(), nps, TbHits);
    if (withPv) {
        std::printf(" pv");
        PrintPv(0);
    } else {
        std::printf(" currmove %s currmovenumber %d", MoveText(MoveList[RootMoveIndex].move), RootMoveIndex + 1);
    }
    std::printf("\n");
    ReportCountdown = 100000 / PollInterval;
    std::fflush(stdout);
}

void ReportMultiPv(int line, int boundKind) {
    if (NodeCount != 0 && NodeCount < 50001) return;
    const int t         = ClockCs() - SearchStart;
    const long long nps = t < 1 ? 0 : (long long)(NodeCount * 100 / (uint64_t)t);
    for (int k = 0; k < MultiPV && k < MoveListTop; k++) {
        std::printf("info multipv %d depth %d seldepth %d score ", k + 1, IterationNumber + 1, SelDepth);
        PrintUciScore(RootScores[k]);
        if (k == line) std::printf("%s", BoundWord(boundKind));
        std::printf("nodes %llu time %d hashfull %d nps %lld tbhits %d currmove %s currmovenumber %d pv",
                    (unsigned long long)NodeCount, t * 10, Hashfull(), nps, TbHits,
                    MoveText(MoveList[RootMoveIndex < MoveListTop ? RootMoveIndex : 0].move), RootMoveIndex + 1);
        PrintPv(k);
        std::printf("\n");
    }
    ReportCountdown = 100000 / PollInterval;
    std::fflush(stdout);
}

void ReportConsole(int force) {
    if (!PostFlag) return;
    if (!force && NodeCount >= 1 && NodeCount <= 100000 && IterationNumber <= 1) return;
    std::printf("%d %d %d %llu", IterationNumber + 1, ConsoleScore(RootScores[0]), ClockCs() - SearchStart,
                (unsigned long long)NodeCount);
    PrintPv(0);
    std::printf("\n");
    std::fflush(stdout);
}

void ReportProgress() {
    if (NodeCount >= 1 && NodeCount <= 200000) {
        ReportCountdown = 100000 / PollInterval;
        return;
    }
    const int t         = ClockCs() - SearchStart;
    const long long nps = t < 1 ? 0 : (long long)(NodeCount * 100 / (uint64_t)t);
    std::printf("info nps %lld nodes %llu tbhits %d hashfull %d\n", nps, (unsigned long long)NodeCount, TbHits,
                Hashfull());
    std::fflush(stdout);
    ReportCountdown = 100000 / PollInterval;
}
