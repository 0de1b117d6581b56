#include "search/think.h"

#include <cstdio>

#include "board/makemove.h"
#include "board/movegen.h"
#include "book/book.h"
#include "eval/material.h"
#include "frontend/game.h"
#include "frontend/polling.h"
#include "frontend/settings.h"
#include "platform/platform.h"
#include "search/ply.h"
#include "search/report.h"
#include "search/root.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"

int SearchStart;
int TargetTime;
int HardTime;
u64 RecentKeys[10];
int RecentScores[10] = {100, 100, 100, 100, 100, 100, 100, 100, 100, 100};
int RecentBook[10]   = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};

int ClockCs() { return int(ClockMs() / 10); }

int ConsoleScore(int score) {
    if (score > MATE_BOUND) return score + 67;
    if (score < -MATE_BOUND) return score - 67;
    return score;
}

void AllocateTime() {
    const int64_t h = HistoryCount;
    const int64_t B = int64_t(OwnClock) * 95 / 100 - 1; // the last 5 percent are never planned
    int64_t T;
    if (FixedTime) {
        TargetTime = HardTime = FixedTime;
    } else {
        int64_t k;
        if (MovesToGo && UciMode) {
            k = MovesToGo < 30 ? MovesToGo : 30;
        } else if (MovesToGo) {
            // The length of a time control: count the moves left to the next control.
            int64_t n       = MovesToGo;
            const int64_t m = h / 2 + 1;
            if (n < m) n = n * ((m - 1) / n + 1);
            k = n - m + 1 < 30 ? n - m + 1 : 30;
        } else {
            const int64_t q = (70500 - 2330 * h) / ((h + 1) * (h + 11) + 2644);
            k               = int64_t((double(q) + 59.3) * 0.5 + 2.0);
            if (k < 3) k = 3;
        }
        if (k < 1) k = 1;
        T = (B - Increment + k * Increment) / k;
        if (!MovesToGo && thread_board.MaterialIndex != MATERIAL_OVERFLOW)
            T = T / 2 + (int64_t(MaterialRecords[thread_board.MaterialIndex].TimeFactor) * T / 256) / 2;
        TargetTime    = int(T < 1 ? 1 : T);
        int64_t hard  = 7 * T < B / 3 ? 7 * T : B / 3;
        HardTime      = int(hard);
    }
    PollInterval = TargetTime >= 301 ? 50000 : TargetTime >= 101 ? 20000 : 5000;
}

int CheckTime(int atIterationStart) {
    if (DepthLimit != 999 || PonderingNow || GoPonder) return 0;
    const int e = ClockCs() - SearchStart, T = TargetTime, H = HardTime;
    const bool easy = EasyMove && MoveList[0].move == EasyMove;
    if (!easy) EasyMove = 0;
    PollCountdown = PollInterval;
    // No new iteration after three fifths of the target.
    if (atIterationStart && e > 3 * T / 5) return 1;
    // An iteration in its later moves gets two thirds more than the target.
    if (PastFirstRootMove && !easy && !RootInTablebase && e <= (5 * T / 3 < H ? 5 * T / 3 : H)) return 0;
    const int v   = LastScoreSide == EngineSide ? LastScore : -LastScore;
    const int d   = v - RootScores[0];
    int64_t U     = easy ? T / 3 : T;
    if (d < -25 && v + 9 < 129) U = 2 * U;
    if (d > 20) U = d <= 60 ? 2 * U + (U >> 1) : (SearchesPlayed ? 7 * U : 4 * U);
    return e >= (U < H ? U : H);
}

// Resign when the engine's own last moves all stood below the resign value.
static void ResignTest() {
    int turns = 0;
    for (int t = 0; t < 10; t++) {
        u64 key;
        if (t == 0) {
            key = thread_board.HashKey;
        } else {
            if (HistoryCount - 2 * t < 0) break;
            key = History[HistoryCount - 2 * t].HashKey;
        }
        if (RecentKeys[9 - t] != key || RecentScores[9 - t] >= -ResignValue) break;
        turns++;
    }
    if (turns >= ResignTimes) std::printf("resign\n");
}

static bool PonderMoveLegalNow() { return PonderMove && IsMoveLegal(PonderMove); }

void Think() {
    Position& b    = thread_board;
    PonderMove     = 0;
    PonderGuessing = 0;
    for (;;) {
        SearchStart      = ClockCs();
        b.SearchAbort    = 0;
        ReceivedMove     = 0;
        NewGameRequested = 0;
        const bool noClock = OwnClock == -1 && FixedTime == 0;
        if (noClock) {
            TargetTime = HardTime = 9999999;
            PollInterval          = 50000;
        } else {
            AllocateTime();
        }
        // The node limit is tested at the polls: a small one is polled for often enough.
        if (NodeLimit > 0 && NodeLimit < PollInterval) PollInterval = int(NodeLimit);
        const int over = noClock ? AnalysisRootSearch(MaxDepth, 1) : RootSearch();
        if (over) {
            // A predicted move that ends the game is not on the board of the game.
            if (PonderingNow) UnmakeMove();
            PonderingNow = 0;
            if (UciMode) {
                std::printf("bestmove 0000\n");
                std::fflush(stdout);
            }
            return;
        }
        const int s = RootScores[0];
        const int p = ConsoleScore(s);

        // A search on the opponent's time that did not become ours.
        // Whatever ended it, the predicted move goes: only the opponent's real move is played.
        if (PonderingNow) {
            PonderingNow = 0;
            UnmakeMove();
            if (PonderMissed && ReceivedMove) {
                MakeMove(ReceivedMove, 1);
                if (!ForceMode) continue;
            }
            break;
        }
        LastScore     = s;
        LastScoreSide = EngineSide;
        if (!BookMoveChosen) {
            if (!UciMode) {
                if (PostFlag) {
                    std::printf("%d %d %d %llu", IterationNumber + 1, p, ClockCs() - SearchStart,
                                (unsigned long long)NodeCount);
                    PrintPv(0);
                    std::printf("\n");
                }
            } else if (MultiPV < 2) {
                ReportUci(1, 3, 1);
            }
            std::fflush(stdout);
            if (NewGameRequested) break;
        }

        const Move best = MoveList[0].move;
        if (GoPonder) {
            // The host has not let us move yet: ponderhit or stop will play it.
            if (UciMode) {
                LastBestMove = best;
                std::fflush(stdout);
                break;
            }
        } else {
            MakeMove(best, 1);
            for (int i = 0; i < 9; i++) {
                RecentKeys[i]   = RecentKeys[i + 1];
                RecentScores[i] = RecentScores[i + 1];
                RecentBook[i]   = RecentBook[i + 1];
            }
            RecentKeys[9]   = b.HashKey;
            RecentBook[9]   = BookMoveChosen;
            RecentScores[9] = MoveListTop == 1 ? RecentScores[8] : RootScores[0];
            if (UciMode) {
                LastBestMove = best;
                if (PonderMoveLegalNow())
                    std::printf("bestmove %s ponder %s\n", MoveText(best), MoveText(PonderMove));
                else
                    std::printf("bestmove %s\n", MoveText(best));
                std::fflush(stdout);
                break; // a UCI host never lets the engine ponder by itself
            }
        }
        ResignTest();
        std::printf("move %s\n", MoveText(best));
        std::fflush(stdout);

        // Thinking on the opponent's time: guess the reply when the table has none. Without input
        // nothing could end that search.
        if (!PonderEnabled || GoPonder || InputEnded) break;
        GenerateLegalMoves(ANALYSIS_BASE);
        AnalysisEnd   = MoveListTop;
        MoveListTop   = 0;
        PredictedMove = FindAnalysisMove(TableMove());
        PonderingNow  = 1;
        PonderMissed  = 0;
        if (!PredictedMove) {
            PonderGuessing   = 1;
            const int post   = PostFlag;
            PostFlag         = 0;
            SearchStart      = ClockCs();
            b.SearchAbort    = 0;
            const int result = AnalysisRootSearch(999, 1);
            PostFlag         = post;
            if (result) {
                PonderingNow = 0;
                return;
            }
            if (NewGameRequested) break;
            if (PonderGuessing == 1 || PonderMissed) {
                PonderGuessing = 0;
                if (!PonderMissed || !ReceivedMove) break;
                MakeMove(ReceivedMove, 1);
                PonderingNow = 0;
                if (ForceMode) return;
                continue;
            }
            PredictedMove = FindAnalysisMove(MoveList[0].move);
            if (!PredictedMove) break;
        }
        std::printf("Hint: %s\n", MoveTextShort(PredictedMove));
        std::fflush(stdout);
        MakeMove(PredictedMove, 1);
    }
    PonderingNow = 0;
    if (NewGameRequested) NewGame();
}
