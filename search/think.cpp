#include "search/think.h"

#include <algorithm>
#include <cstdio>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/ordering.h"
#include "board/ply.h"
#include "book/book.h"
#include "book/booklearn.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "eval/material.h"
#include "platform/platform.h"
#include "search/report.h"
#include "search/root.h"
#include "search/search.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"

int MultiPV;
int OwnBook;
int UciPonder;
int MoveOverhead;
int PostFlag;
int UciMode;
int PonderEnabled;
int ResignValue;
int ResignTimes;

int OwnClock;
int Increment;
int MovesToGo;
int FixedTime;
int MaxDepth;
int MateDepth;
int64_t NodeLimit;

int ForceMode;
int LastScore;
int LastScoreSide;
Move LastBestMove;

int PollCountdown = 50000;
int PollInterval  = 50000;
int (*ReadCommandsDuringSearch)(int waitMs);
int PonderingNow;
Move PredictedMove;
Move ReceivedMove;
int PonderMissed;
int NewGameRequested;
int UndoRequested, ExitAnalysisRequested;
static int PonderGuessing; // a short search to find a move to ponder on
int GoPonder;
int InputEnded;
int PollIgnoresInput;
int AnalysisEnd = ANALYSIS_BASE;

int SearchStart;
int TargetTime;
int HardTime;

// The engine's own last ten moves, newest last, for the resign rule: the key after the move, the
// score of its search, and whether it came from the book.
static u64 RecentKeys[10];
static int RecentScores[10] = {100, 100, 100, 100, 100, 100, 100, 100, 100, 100};
static int RecentBook[10]   = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};

void SetDefaultSearchSettings() {
    MultiPV       = 1;
    OwnBook       = 1;
    UciPonder     = 1;
    MoveOverhead  = 10;
    PostFlag      = 1;
    UciMode       = 0;
    PonderEnabled = 1;
    ResignValue   = 800;
    ResignTimes   = 3;
    TranspositionEntries = TT_DEFAULT_ENTRIES;
    ResetSearchLimits();
    ForceMode    = 0;
    LastBestMove = 0;
}

void ResetGameLimits() {
    MaxDepth  = NO_DEPTH_LIMIT;
    FixedTime = 0;
    MateDepth = 0;
}

void ResetSearchLimits() {
    ResetGameLimits();
    OwnClock  = NO_CLOCK;
    Increment = 0;
    MovesToGo = 0;
    NodeLimit = 0;
}

void ForgetLastScore() {
    LastScore     = 0;
    LastScoreSide = 0;
}

void ResetSearchMemory() {
    ClearMoveHistoryAndKillers();
    ForgetLastScore();
    SearchesPlayed = 0;
}

void ClearSearchRequests() {
    thread_board.SearchAbort = 0;
    ReceivedMove             = 0;
    NewGameRequested         = 0;
    UndoRequested            = 0;
    ExitAnalysisRequested    = 0;
}

int ClockCs() { return int(ClockMs() / 10); }

void SetNoTimeLimit() {
    TargetTime = HardTime = NO_TIME_LIMIT;
    PollInterval          = 50000;
}

Move FindAnalysisMove(Move move) {
    if (!move) return 0;
    for (int i = ANALYSIS_BASE; i < AnalysisEnd; i++) {
        const Move candidate = MoveList[i].move;
        if (MoveFrom(candidate) == MoveFrom(move) && MoveTo(candidate) == MoveTo(move) &&
            PromotionPiece(candidate) == PromotionPiece(move))
            return candidate;
    }
    return 0;
}

int PollInput() {
    if (!PollIgnoresInput && !InputEnded && ReadCommandsDuringSearch) {
        PollCountdown = PollInterval;
        if (ReadCommandsDuringSearch(0) && thread_board.SearchAbort) return 1;
    }
    if (NodeLimit && NodeCount >= uint64_t(NodeLimit)) return 1;
#ifdef VELUMBRAK_FUZZ
    if (NodeCount >= FUZZ_NODE_CAP) return 1;
#endif
    if (PonderingNow && PonderGuessing == 1 && ClockCs() - SearchStart > 100) {
        PonderGuessing = 0;
        return 1;
    }
    if (UciMode && --ReportCountdown < 0) ReportProgress();
    PollCountdown = PollInterval;
    if (DepthLimit == DEPTH_BY_CLOCK && !PonderingNow && !GoPonder) return CheckTime(0);
    return 0;
}

int ConsoleScore(int score) {
    if (score > MATE_BOUND) return score + 67;
    if (score < -MATE_BOUND) return score - 67;
    return score;
}

void AllocateTime() {
    const int64_t h = HistoryCount;
    int64_t B = int64_t(OwnClock) * 95 / 100 - 1; // the last 5 percent are never planned
    // The host's lag comes off the clock, but never below nothing: a tiny clock still moves at once.
    if (UciMode) B = std::max<int64_t>(B - (MoveOverhead + 9) / 10, std::min<int64_t>(B, 0));
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
    if (DepthLimit != DEPTH_BY_CLOCK || PonderingNow || GoPonder) return 0;
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

// Resign when the engine's own last moves all stood below the resign value; a game given up is
// lost for the book.
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
    if (turns >= ResignTimes) {
        std::printf("resign\n");
        LearnGameForEngine(EngineSide, BOOK_RESULT_BAD);
    }
}

// Position learning looks at the move just made and the searches behind it.
static void LearnFromMove() {
    if (!UseLearning) return;
    LearnAfterMove({RecentScores, RecentKeys, RecentBook, RootScores[0], IterationNumber});
    std::fflush(stdout);
}

static bool PonderMoveLegalNow() { return PonderMove && IsMoveLegal(PonderMove); }

int Think() {
    Position& b    = thread_board;
    PonderMove     = 0;
    PonderGuessing = 0;
    for (;;) {
        SearchStart = ClockCs();
        ClearSearchRequests();
        const bool noClock = OwnClock == NO_CLOCK && FixedTime == 0;
        if (noClock) {
            SetNoTimeLimit();
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
            return 0;
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

        // A score that says clearly who stands better settles the book's view of this game.
        if (BookLearningDue() && !BookMoveChosen && (s > BookLearningBound || s < -BookLearningBound))
            LearnGameResult(s >= 0 ? BOOK_RESULT_GOOD : BOOK_RESULT_BAD);

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
                LearnFromMove();
                break; // a UCI host never lets the engine ponder by itself
            }
        }
        ResignTest();
        std::printf("move %s\n", MoveText(best));
        std::fflush(stdout);
        if (!GoPonder) LearnFromMove();

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
            const int result = AnalysisRootSearch(DEPTH_BY_CLOCK, 1);
            PostFlag         = post;
            if (result) {
                PonderingNow = 0;
                return 0;
            }
            if (NewGameRequested) break;
            if (PonderGuessing == 1 || PonderMissed) {
                PonderGuessing = 0;
                if (!PonderMissed || !ReceivedMove) break;
                MakeMove(ReceivedMove, 1);
                PonderingNow = 0;
                if (ForceMode) return 0;
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
    return NewGameRequested;
}
