#include "search/root.h"

#include <algorithm>
#include <cstdio>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/ordering.h"
#include "board/ply.h"
#include "book/book.h"
#include "book/booklearn.h"
#include "eval/evaluate.h"
#include "platform/platform.h"
#include "search/report.h"
#include "search/search.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"

int RootScores[MAX_ROOT_MOVES];
int RootHistoryCount;
int DepthLimit = DEPTH_BY_CLOCK;
int PastFirstRootMove;
int BookMoveChosen;
Move PonderMove;
static int RootGivesCheck[MAX_ROOT_MOVES];
int RootMoveIndex;
int RootMoveCount;
int IterationNumber;
Move EasyMove;
int SearchesPlayed;
Move SearchMoves[MAX_ROOT_MOVES];
int SearchMoveCount;

namespace {

// The game is over by rule: the book learns it as drawn, unless a mate ended it earlier through
// the score.
void TellResult(const char* line) {
    // On the opponent's time the board holds a move that has not been played yet.
    if (PonderingNow && PredictedMove) return;
    if (BookLearningDue()) LearnGameResult(BOOK_RESULT_DRAW);
    if (UciMode) return;
    std::printf("%s\n", line);
    std::fflush(stdout);
}

void SortByScore(int first, int last) {
    std::stable_sort(MoveList + first, MoveList + last,
                     [](const MoveEntry& a, const MoveEntry& b) { return a.score > b.score; });
}

bool InSearchMoves(Move move) {
    for (int i = 0; i < SearchMoveCount; i++)
        if (SearchMoves[i] == move) return true;
    return false;
}

} // namespace

// A game that is drawn by rule is told; the host decides whether it ends there.
// Tells a game drawn by material, repetition or the fifty-move rule (the list is still built).
static void TellDrawnGame() {
    const Position& b = thread_board;
    bool insufficient = false;
    if (b.Material[BLACK] == 0 && b.Material[WHITE] <= 300 && !b.Pieces[PAWN][WHITE]) insufficient = true;
    if (b.Material[WHITE] == 0 && b.Material[BLACK] <= 300 && !b.Pieces[PAWN][BLACK]) insufficient = true;
    if (insufficient) TellResult("1/2-1/2 {Draw by insufficient material}");
    if (IsThreefold()) TellResult("1/2-1/2 {Draw by repetition}");
    if (HistoryCount && History[HistoryCount - 1].FiftyCounter >= 100) TellResult("1/2-1/2 {Draw by the 50-moves rule}");
}

static void UpdateLazyBounds(int iteration);

int PrepareRootMoves() {
    Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    TellDrawnGame();

    MoveListTop   = 0;
    Ply           = 0;
    Move hashMove = 0;
    int alpha = -MATE_SCORE, cutoff = 0;
    // A bound that decides nothing here is no score: only a probe that cut off left one in alpha.
    if (RootProbe(&alpha, MATE_SCORE, &hashMove, &cutoff, 1, 0) && hashMove && cutoff)
        RootScores[0] = alpha;
    else
        RootScores[0] = LastScoreSide == EngineSide ? LastScore : -LastScore;
    // The evaluation of the root must not take its lazy exit by the bounds of another search.
    UpdateLazyBounds(0);

    const int savedIteration  = IterationNumber;
    IterationNumber           = 10;
    const int inCheck         = IsSquareAttacked(them, b.KingSquare[us]);
    PlyStack[0].InCheck       = inCheck;
    PlyStack[0].StaticEval    = Evaluate();
    PlyStack[0].AttackedBy[0] = PlyStack[0].AttackedBy[1] = 0;

    if (inCheck) {
        GenerateEvasions(14);
        SortByScore(0, MoveListTop);
    } else {
        GenerateCaptures(b.Pieces[0][them]);
        GeneratePromotions();
        SortByScore(0, MoveListTop);
        const Move killer1 = PlyStack[0].Killer1[us], killer2 = PlyStack[0].Killer2[us];
        const int killersStart = MoveListTop;
        AddMoveIfPlayable(killer1);
        if (killer2 != killer1) AddMoveIfPlayable(killer2);
        const int quietStart = MoveListTop;
        GenerateQuiet(1);
        int kept = quietStart;
        for (int i = quietStart; i < MoveListTop; i++) {
            bool isKiller = false;
            for (int k = killersStart; k < quietStart; k++) isKiller |= MoveList[k].move == MoveList[i].move;
            if (!isKiller) MoveList[kept++] = MoveList[i];
        }
        MoveListTop = kept;
        SortByScore(quietStart, MoveListTop);
    }
    IterationNumber = savedIteration;

    // Keep the legal moves, note checks and the one obvious recapture.
    const Move last      = HistoryCount ? History[HistoryCount - 1].Move : 0;
    const bool recapture = last && CapturedPiece(last);
    int recaptures = 0, kept = 0;
    EasyMove       = 0;
    for (int i = 0; i < MoveListTop && kept < MAX_ROOT_MOVES; i++) {
        const MoveEntry entry = MoveList[i];
        if (SearchMoveCount && !InSearchMoves(entry.move)) continue;
        MakeMove(entry.move, 1);
        const bool legal = !IsSquareAttacked(them, b.KingSquare[us]);
        const int check  = legal && IsSquareAttacked(us, b.KingSquare[them]);
        UnmakeMove();
        if (!legal) continue;
        if (recapture && MoveTo(entry.move) == MoveTo(last) && entry.score >= 1) {
            recaptures++;
            EasyMove = entry.move;
        }
        RootGivesCheck[kept] = check;
        if (kept) RootScores[kept] = 0;
        MoveList[kept++] = entry;
    }
    MoveListTop   = kept;
    RootMoveCount = kept;
    if (recaptures != 1) EasyMove = 0;

    for (int i = 1; hashMove && i < MoveListTop; i++)
        if (MoveList[i].move == hashMove) {
            const MoveEntry entry = MoveList[i];
            const int check       = RootGivesCheck[i];
            for (int j = i; j > 0; j--) {
                MoveList[j]       = MoveList[j - 1];
                RootGivesCheck[j] = RootGivesCheck[j - 1];
            }
            MoveList[0]       = entry;
            RootGivesCheck[0] = check;
            break;
        }

    if (MoveListTop == 0) {
        if (inCheck)
            TellResult(us == BLACK ? "1-0 {White mates}" : "0-1 {Black mates}");
        else
            TellResult("1/2-1/2 {Stalemate}");
        return 1;
    }
    IterationNumber = 0;
    SelDepth        = 0;
    RootMoveIndex   = 0;
    if (hashMove && MoveList[0].move == hashMove) {
        if (UciMode && MultiPV < 2)
            ReportUci(1, 3, 1);
        else if (UciMode)
            ReportMultiPv(-1, 3);
        else
            ReportConsole(1);
    }
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Endgame tables at the root: only the moves that keep the best result stay in the list.

namespace {

// A WDL value + 2 as a score: wins and losses near mate, results the fifty-move rule spoils as
// a bare edge.
constexpr int WdlToScore[5] = {-(TB_WIN_SCORE - 1), -2, 0, 2, TB_WIN_SCORE - 1};

// Keeps the root moves whose score field passes, in their order.
template <typename Keep> void KeepRootMoves(Keep keep) {
    int kept = 0;
    for (int i = 0; i < MoveListTop; i++)
        if (keep(RootScores[i])) {
            MoveList[kept]       = MoveList[i];
            RootScores[kept]     = RootScores[i];
            RootGivesCheck[kept] = RootGivesCheck[i];
            kept++;
        }
    MoveListTop = kept;
}

// The root position stood on the board before, within the moves that can be taken back.
bool RootRepeated() {
    const int n = HistoryCount;
    if (n < 4 || !IsReversibleMove(History[n - 1].Move) || !IsReversibleMove(History[n - 2].Move)) return false;
    for (int i = n - 4; i >= 0; i -= 2) {
        if (!IsReversibleMove(History[i].Move) || !IsReversibleMove(History[i + 1].Move)) return false;
        if (History[i].HashKey == thread_board.HashKey) return true;
    }
    return false;
}

// The DTZ of every root move; then a win keeps the moves that still win within the fifty-move
// budget, a loss the longest resistance when the budget is tight, a draw the drawing moves.
int filter_root_moves_dtz(int* score) {
    int success   = 0;
    const int dtz = probe_dtz(&success);
    if (!success) return 0;
    int values[MAX_ROOT_MOVES];
    for (int i = 0; i < MoveListTop; i++) {
        MakeMove(MoveList[i].move, 1);
        int v;
        if (RootGivesCheck[i] && dtz > 0 && is_checkmated()) {
            v = 1;
        } else if (thread_board.FiftyCounter != 0) {
            v = -probe_dtz(&success);
            if (v > 0) v++;
            if (v < 0) v--;
        } else {
            v = WdlToDtz[-ProbeWdlInSearch(&success) + 2];
        }
        UnmakeMove();
        if (!success) return 0;
        values[i] = v;
    }

    const int cnt50 = thread_board.FiftyCounter;
    int wdl         = 0;
    if (dtz > 0) wdl = dtz + cnt50 <= 100 ? 2 : 1;
    if (dtz < 0) wdl = -dtz + cnt50 <= 100 ? -2 : -1;
    *score = WdlToScore[wdl + 2];
    if (wdl == 1 && dtz <= 100) *score = (200 - dtz - cnt50) / 2;
    if (wdl == -1 && dtz >= -100) *score = -(200 + dtz - cnt50) / 2;

    int low = 0xFFFF, best = 0;
    for (int i = 0; i < MoveListTop; i++) {
        if (values[i] > 0 && values[i] < low) low = values[i];
        if (i == 0 || values[i] < best) best = values[i];
    }
    auto keep = [&](int v) {
        if (dtz > 0) {
            // Any move that still wins in time when the position has not repeated; the quickest
            // conversion otherwise.
            int most = low;
            if (cnt50 < 100 && cnt50 + low <= 99 && !RootRepeated()) most = 99 - cnt50;
            return v >= 1 && v <= most;
        }
        if (dtz < 0) return cnt50 - 2 * best < 100 || v == best;
        return v == 0;
    };
    int count = 0;
    for (int i = 0; i < MoveListTop; i++) count += keep(values[i]);
    // Tables that contradict each other leave the list as it is.
    if (count == 0) return 0;
    for (int i = 0; i < MoveListTop; i++) RootScores[i] = values[i];
    KeepRootMoves(keep);
    return 1;
}

// By WDL alone: the moves with the best value stay.
int filter_root_moves_wdl(int* score) {
    int success   = 0;
    const int wdl = ProbeWdlInSearch(&success);
    if (!success) return 0;
    *score = WdlToScore[wdl + 2];
    int values[MAX_ROOT_MOVES], best = -2;
    for (int i = 0; i < MoveListTop; i++) {
        MakeMove(MoveList[i].move, 1);
        values[i] = -ProbeWdlInSearch(&success);
        UnmakeMove();
        if (!success) return 0;
        if (values[i] > best) best = values[i];
    }
    for (int i = 0; i < MoveListTop; i++) RootScores[i] = values[i];
    KeepRootMoves([&](int v) { return v == best; });
    return 1;
}

// Whether the tables decide the root, and whether the search may still probe below it.
void probe_root() {
    const Position& b = thread_board;
    RootInTablebase   = 0;
    if (!TbMaxMen) {
        TbRootSolved = 1;
        return;
    }
    TbRootSolved = 0;
    if (b.MenCount > TbMaxMen || b.CastleRights) return;
    int score = 0;
    if (filter_root_moves_dtz(&score)) {
        RootInTablebase = TbRootSolved = 1;
    } else if (filter_root_moves_wdl(&score)) {
        RootInTablebase = 1;
        // Only a won root counts as solved; a draw or a loss is searched with probes as usual.
        if (score < 1) RootInTablebase = 0;
    } else {
        return;
    }
    TbHits        = MoveListTop;
    RootScores[0] = score;
}

} // namespace

static void WaitWhilePondering();

static void WaitWithTheOnlyMove() {
    const bool waited = PonderingNow || GoPonder;
    WaitWhilePondering();
    // A reply that ended the wait stays in ReceivedMove: Think still has to play it.
    if (waited) PonderMissed = 1;
}
static int MultiPvSearch(int depthLimit);
static int SearchRootMove(int alpha, int beta, int depth);

// ---------------------------------------------------------------------------------------------
// Iterative deepening at the root.

namespace {

// clang-format off
constexpr int AspirationByDepth[32] = {907, 600, 472, 397, 348, 312, 285, 263, 245, 230, 218, 207, 197, 189, 181,
                                       174, 168, 162, 162, 162, 162, 162, 162, 162, 162, 162, 162, 162, 162, 162,
                                       162, 162};
constexpr int AspirationByScore[64] = {
    191, 204, 216, 228, 240, 252, 264, 276, 289, 301, 313, 325, 337, 349, 362, 374, 386, 398, 410, 422, 434, 447,
    459, 471, 483, 495, 507, 520, 532, 544, 556, 568, 580, 592, 605, 617, 629, 641, 653, 665, 678, 690, 702, 714,
    726, 738, 751, 763, 775, 787, 799, 811, 823, 836, 848, 860, 872, 884, 896, 909, 921, 933, 945, 957};
constexpr int RootVerifyByMove[8]   = {80, 30, 15, 10, 8, 6, 4, 0};
constexpr int RootVerifyByDepth[16] = {100, 100, 100, 100, 100, 100, 90, 80, 70, 60, 50, 45, 40, 35, 30, 25};
// clang-format on

inline int Abs(int x) { return x < 0 ? -x : x; }

// Each report of the root goes to the host's form of it.
void Report(int boundKind) {
    if (UciMode)
        ReportUci(0, boundKind, 1);
    else
        ReportConsole(0);
}

void SetRootScore(int score, int iteration) {
    RootScores[0] = score;
    UpdateLazyBounds(iteration);
}

void MoveToFront(int j) {
    const MoveEntry entry = MoveList[j];
    const int score = RootScores[j], check = RootGivesCheck[j];
    for (int i = j; i > 0; i--) {
        MoveList[i]       = MoveList[i - 1];
        RootScores[i]     = RootScores[i - 1];
        RootGivesCheck[i] = RootGivesCheck[i - 1];
    }
    MoveList[0]       = entry;
    RootScores[0]     = score;
    RootGivesCheck[0] = check;
}

void SwapRootEntries(int i, int j) {
    const MoveEntry entry = MoveList[i];
    MoveList[i]           = MoveList[j];
    MoveList[j]           = entry;
    const int score       = RootScores[i];
    RootScores[i]         = RootScores[j];
    RootScores[j]         = score;
    const int check       = RootGivesCheck[i];
    RootGivesCheck[i]     = RootGivesCheck[j];
    RootGivesCheck[j]     = check;
}

// Exchange sort of [first, MoveListTop) by score, highest first; equal scores keep their order.
void SortRootMoves(int first) {
    for (int i = first + 1; i < MoveListTop; i++)
        for (int j = i; j > first && RootScores[j] > RootScores[j - 1]; j--) SwapRootEntries(j, j - 1);
}

void MakeRootMove(int j) {
    MakeMove(MoveList[j].move, 1);
    PlyStack[1].InCheck = RootGivesCheck[j];
    PlyStack[0].Flags   = RootGivesCheck[j] ? FLAG_CHECK : 0;
}

inline int RootDepth(int iteration, int j) { return 4 * iteration + 2 + (RootGivesCheck[j] ? 4 : 0); }

// After a fail high at r the window opens in one step up to `top`, then up to the mate bound.
int SearchAboveFailHigh(int r, int top, int D, int i) {
    if (top >= MATE_SCORE) return -SearchRootMove(-MATE_SCORE, -r, D);
    const int r2 = -SearchRootMove(-top, -r, D);
    if (thread_board.SearchAbort || r2 < top) return r2;
    SetRootScore(r2, i);
    Report(2);
    return -SearchRootMove(-MATE_SCORE, -r2, D);
}

// One pass over the root moves; true when the first move failed low (the window is then widened).
bool RootPass(int i, int S, int& W, int W0, bool widened) {
    Position& b = thread_board;
    RootMoveIndex     = 0;
    PastFirstRootMove = 0;
    bool failLow      = false;
    RootScores[0]     = S;
    UpdateLazyBounds(i);
    if (MoveListTop == 0) return false;
    if (UciMode && NodeCount >= 200001) ReportUci(0, 3, 0);

    int alpha = 0;
    for (int j = 0; j < MoveListTop; j++) {
        MakeRootMove(j);
        const int D = RootDepth(i, j);
        if (j == 0) {
            const int lo = S - W > -MATE_SCORE ? S - W : -MATE_SCORE;
            const int hi = widened ? (S < MATE_SCORE ? S : MATE_SCORE) : (S + W < MATE_SCORE ? S + W : MATE_SCORE);
            int r        = -SearchRootMove(-hi, -lo, D);
            if (b.SearchAbort) {
                UnmakeMove();
                return false;
            }
            if (r >= hi) {
                SetRootScore(r, i);
                Report(2);
                r = SearchAboveFailHigh(r, r + W0 + 100, D, i);
                if (b.SearchAbort) {
                    UnmakeMove();
                    return false;
                }
                SetRootScore(r, i);
                Report(3);
            } else if (r <= lo) {
                W       = 2 * W;
                failLow = true;
                SetRootScore(r, i);
                Report(1);
            } else {
                SetRootScore(r, i);
                Report(3);
            }
            alpha = r;
            UnmakeMove();
            SortRootMoves(1);
        } else {
            int r         = -SearchRootMove(-alpha - 1, -alpha, D);
            RootScores[j] = r;
            if (b.SearchAbort) {
                UnmakeMove();
                return failLow;
            }
            if (r > alpha) {
                // A new best move goes to the front at once, and its window opens in steps.
                MoveToFront(j);
                Report(2);
                if (W + r >= MATE_SCORE) SetRootScore(r, i);
                r = SearchAboveFailHigh(r, W + r, D, i);
                if (b.SearchAbort) {
                    UnmakeMove();
                    return failLow;
                }
                SetRootScore(r, i);
                Report(3);
                alpha = r;
            } else if (j == MoveListTop - 1 && UciMode) {
                ReportProgress();
            }
            UnmakeMove();
        }
        RootMoveIndex     = j + 1;
        PastFirstRootMove = 1;
    }
    return failLow;
}

// The common setting up of every root search: killers follow the game, a new table generation.
void SetUpSearch(int depthLimit) {
    PlyStack[0].ThreatMove = 0;
    LastBestMove           = 0;
    for (int i = 0; i < 192; i++) {
        PlyStack[i].Killer1[0] = PlyStack[i + 2].Killer1[0];
        PlyStack[i].Killer1[1] = PlyStack[i + 2].Killer1[1];
        PlyStack[i].Killer2[0] = PlyStack[i + 2].Killer2[0];
        PlyStack[i].Killer2[1] = PlyStack[i + 2].Killer2[1];
    }
    SearchStamp++;
    HashfullCount     = 0;
    TbHits            = 0;
    EngineSide        = thread_board.SideToMove;
    RootHistoryCount  = HistoryCount;
    DepthLimit        = depthLimit;
    PollCountdown     = PollInterval;
#ifdef VELUMBRAK_FUZZ
    PollCountdown = std::min(PollCountdown, int(FUZZ_NODE_CAP));
#endif
    ReportCountdown   = 100000 / PollInterval;
    PastFirstRootMove = 0;
    NodeCount         = 0;
    ResetReportThrottle();
    MoveListTop       = 0;
    BookMoveChosen    = 0;
}

int SearchToDepth(int depthLimit, int useBook) {
    Position& b = thread_board;
    if (MultiPV > 1) return MultiPvSearch(depthLimit);
    SetUpSearch(depthLimit);

    if (useBook && BookLoaded && OwnBook && SearchMoveCount == 0 && OwnClock != INFINITE_CLOCK) {
        Move move = PickBookMove();
        if (move) {
            if (PonderingNow) {
                PonderMissed = 1;
                ReceivedMove = 0;
            }
            if (MovedPiece(move) == PAWN && (RankOf(MoveTo(move)) == 7 || RankOf(MoveTo(move)) == 0) &&
                !PromotionPiece(move))
                move |= Move(QUEEN) << 18;
            MoveList[0].move = move;
            MoveListTop      = 2;
            RootScores[0]    = 0;
            BookMoveChosen   = 1;
            IterationNumber  = 1;
            SearchesPlayed   = 0;
            WaitWhilePondering();
            return 0;
        }
    }

    PlyStack[0].Flags = 0;
    if (PrepareRootMoves()) return 1;
    probe_root();
    RootMoveCount = MoveListTop;
    if (MoveListTop < 2 && !(SearchMoveCount == 1 && MoveListTop == 1)) {
        WaitWithTheOnlyMove();
        SearchesPlayed++;
        return 0;
    }

    Ply          = 1;
    int mateStop = MATE_SCORE + 1;
    for (int i = 0; depthLimit > 0; i++) {
        IterationNumber = i;
        SelDepth        = i + 1;
        const int S0    = RootScores[0];
        const int W0 =
            (AspirationByDepth[i < 31 ? i : 31] * 20 * AspirationByScore[Abs(S0) / 10 < 63 ? Abs(S0) / 10 : 63]) /
            65536;
        int W = W0;
        if (i >= 99) {
            WaitWhilePondering();
            SearchesPlayed++;
            return 0;
        }
        if ((i >= 4 || (i >= 2 && RootInTablebase)) && CheckTime(1)) {
            b.SearchAbort = 1;
            SearchesPlayed++;
            return 0;
        }
        NodeCount++;
        bool widened = false;
        int S        = S0;
        while (RootPass(i, S, W, W0, widened) && !b.SearchAbort) {
            S       = RootScores[0];
            widened = true;
        }
        if (b.SearchAbort) {
            SearchesPlayed++;
            return 0;
        }
        Ply = 0;
        TranspositionStore(4 * i + 6, MoveList[0].move, RootScores[0], TT_EXACT, 0, 0, 0);
        Ply = 1;
        // A mate that no deeper search can change.
        if (MateDepth == 0 && Abs(RootScores[0]) > mateStop) {
            WaitWhilePondering();
            SearchesPlayed++;
            return 0;
        }
        mateStop--;
        if (i + 1 >= DepthLimit) break;
    }
    if (depthLimit > 0) WaitWhilePondering();
    SearchesPlayed++;
    return 0;
}

} // namespace

static void UpdateLazyBounds(int iteration) {
    const Position& b = thread_board;
    const int s       = RootScores[0];
    const int m       = b.Material[EngineSide] - b.Material[ChangeSide(EngineSide)];
    int c             = s / 5;
    if (c < -150) c = -150;
    if (c > 150) c = 150;
    LazyLower = (s < m ? s : m) + c - 5 * iteration - 200;
    LazyUpper = (s > m ? s : m) + c + 5 * iteration + 200;
}

// One root move from the opponent's view, with the mate limits and the verification search.
static int SearchRootMove(int alpha, int beta, int depth) {
    const bool nullWindowAsked = beta == alpha + 1;
    if (MateDepth > 0) {
        alpha = alpha > 2 * MateDepth - MATE_SCORE ? alpha : 2 * MateDepth - MATE_SCORE;
        beta  = beta < 2 * MateDepth - (MATE_SCORE - 1) ? beta : 2 * MateDepth - (MATE_SCORE - 1);
    } else {
        alpha = alpha > -(MATE_SCORE + 1) ? alpha : -(MATE_SCORE + 1);
        beta  = beta < MATE_SCORE + 1 ? beta : MATE_SCORE + 1;
    }
    if (alpha >= beta) return alpha;
    const int kind = beta == alpha + 1 ? NODE_CUT : NODE_PV;
    if (depth >= 20 && beta == alpha + 1) {
        // Verification with a margin: a cheap search refutes most later root moves.
        const int moveIndex = nullWindowAsked ? (RootMoveIndex < 7 ? RootMoveIndex : 7) : 0;
        const int v         = RootVerifyByMove[moveIndex] + RootVerifyByDepth[depth / 4 < 15 ? depth / 4 : 15];
        const int z         = ((depth / 6) / 4) * 4;
        const int D         = depth - z - 12;
        const int s = D < ONE_PLY ? Quiesce(alpha + v, beta + v, 0, NODE_CUT) : Search(alpha + v, beta + v, D, 1, NODE_CUT);
        if (thread_board.SearchAbort) return 0;
        if (s >= beta + v) return s;
    }
    if (depth < ONE_PLY) return Quiesce(alpha, beta, 0, kind);
    return Search(alpha, beta, depth, 1, kind);
}

int RootSearch() { return SearchToDepth(DEPTH_BY_CLOCK, 1); }

int AnalysisRootSearch(int depthLimit, int useBook) { return SearchToDepth(depthLimit, useBook); }

// After the search has ended by itself while the host still ponders: take commands until it is
// allowed to answer.
static void WaitWhilePondering() {
    // An endless UCI search that has found all it can still answers only to stop.
    while ((PonderingNow || GoPonder || (UciMode && OwnClock == INFINITE_CLOCK)) && !thread_board.SearchAbort &&
           !InputEnded) {
        // Nothing to compute: sleep in the poll instead of spinning a core. Without a reader of
        // input nothing could end the wait.
        if (!ReadCommandsDuringSearch) break;
        ReadCommandsDuringSearch(10);
    }
}
static int MultiPvSearch(int depthLimit) {
    Position& b = thread_board;
    SetUpSearch(depthLimit);
    PlyStack[0].Flags = 0;
    if (PrepareRootMoves()) return 1;
    probe_root();
    RootMoveCount = MoveListTop;
    if (MoveListTop < 2 && !(SearchMoveCount == 1 && MoveListTop == 1)) {
        WaitWithTheOnlyMove();
        return 0;
    }
    Ply = 1;
    if (depthLimit < 2) {
        if (depthLimit > 0) WaitWhilePondering();
        return 0;
    }
    int i           = 1;
    IterationNumber = 1;
    SelDepth        = 2;
    NodeCount++;
    for (;;) {
        UpdateLazyBounds(i);
        RootMoveIndex = 0;
        int floor     = MATE_SCORE + 1;
        for (int j = 0; j < MoveListTop; j++) {
            MakeRootMove(j);
            const int D = RootDepth(i, j);
            int r;
            if (j < MultiPV) {
                const int s = RootScores[j];
                r           = -SearchRootMove(-s - 40, -s + 40, D);
                if (!b.SearchAbort && r >= s + 40) {
                    ReportMultiPv(j, 2);
                    r = -SearchRootMove(-(MATE_SCORE + 1), -r, D);
                } else if (!b.SearchAbort && r <= s - 40) {
                    ReportMultiPv(j, 1);
                    r = -SearchRootMove(-r, MATE_SCORE + 1, D);
                }
                if (!b.SearchAbort) {
                    RootScores[j] = r;
                    if (r < floor) floor = r;
                }
            } else {
                const int f = floor;
                r           = -SearchRootMove(-f - 1, -f, D);
                if (!b.SearchAbort && r > f) {
                    ReportMultiPv(j, 2);
                    r = -SearchRootMove(-(MATE_SCORE + 1), -r, D);
                }
                if (!b.SearchAbort) RootScores[j] = r;
            }
            UnmakeMove();
            if (b.SearchAbort) break;
            for (int k = j; k > 0 && RootScores[k - 1] < RootScores[k]; k--) SwapRootEntries(k, k - 1);
            ReportMultiPv(j, 3);
            RootMoveIndex = j + 1;
        }
        if (b.SearchAbort) return 0;
        if (i + 1 >= depthLimit) {
            WaitWhilePondering();
            return 0;
        }
        if (MultiPV < MoveListTop) SortRootMoves(MultiPV);
        i++;
        IterationNumber = i;
        SelDepth        = i + 1;
        if (i == 99) {
            WaitWhilePondering();
            return 0;
        }
        if (i > 3 && CheckTime(1)) {
            b.SearchAbort = 1;
            return 0;
        }
        NodeCount++;
    }
}
