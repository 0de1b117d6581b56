#include "eval/kpk.h"

#include <cstdlib>
#include <cstring>
#include <vector>

#include "board/geometry.h"
#include "eval/evaluate.h"

uint8_t KpkExact[65536];
uint8_t KpkRun[65536];

namespace {

constexpr uint8_t UNKNOWN = 0, DRAW = 1, WIN = 2, ILLEGAL = 3;

// The working tables keep each pawn square's 8192 positions together, unlike the bit tables.
inline int Index(int t, int pawn, int wk, int bk) {
    return t + 2 * wk + 128 * bk + 8192 * pawn;
}

// White has the king and the pawn; t 0 with White to move.
bool Legal(int t, int pawn, int wk, int bk) {
    if (wk == bk || wk == pawn || bk == pawn || (KingAttacks[wk] & Bit(bk))) return false;
    // The side not to move may not be in check: only the pawn can give it.
    return !(t == 0 && (WhitePawnAttacks[pawn] & Bit(bk)));
}

// Squares the black king may go to: not next to White's king, not attacked by the pawn; the pawn
// itself only when White's king does not guard it.
u64 BlackKingMoves(int pawn, int wk, int bk) {
    return KingAttacks[bk] & ~KingAttacks[wk] & ~WhitePawnAttacks[pawn];
}

// After a promotion on `square` to a queen or a rook, Black to move: a win unless the new man is
// lost at once or Black is stalemated.
uint8_t AfterPromotion(int square, int wk, int bk, bool queen) {
    if ((KingAttacks[bk] & Bit(square)) && !(KingAttacks[wk] & Bit(square))) return DRAW;
    // What the new man covers; White's king blocks its lines, Black's king does not, since it
    // cannot step back along the line that checks it.
    static constexpr int steps[8][2] = {{0, 1}, {0, -1}, {1, 0}, {-1, 0}, {1, 1}, {1, -1}, {-1, 1}, {-1, -1}};
    u64 covered = 0;
    for (int d = 0; d < (queen ? 8 : 4); d++) {
        for (int f = FileOf(square) + steps[d][0], r = RankOf(square) + steps[d][1];
             f >= 0 && f < 8 && r >= 0 && r < 8; f += steps[d][0], r += steps[d][1]) {
            covered |= Bit(r * 8 + f);
            if (r * 8 + f == wk) break;
        }
    }
    if (KingAttacks[bk] & ~KingAttacks[wk] & ~covered) return WIN;
    return (covered & Bit(bk)) ? WIN : DRAW; // mate, or stalemate
}

// One pawn square, every pair of kings, both sides to move; the squares the pawn goes to are solved
// already. Positions decided by their own moves come first; each decided position then passes its
// verdict back to the positions one king move before it, which keep a count of their moves still
// open. What is never decided is a draw.
void SolvePawnSquare(uint8_t* result, int pawn) {
    const int rank = RankOf(pawn);
    static uint8_t open[2][64][64]; // [t][wk][bk]: king moves of the side to move still undecided
    static std::vector<int> decided;
    decided.clear();
    auto decide = [&](int i, uint8_t verdict) {
        result[i] = verdict;
        decided.push_back(i);
    };
    for (int bk = 0; bk < 64; bk++)
        for (int wk = 0; wk < 64; wk++) {
            for (int t = 0; t < 2; t++) {
                const int i = Index(t, pawn, wk, bk);
                result[i]   = Legal(t, pawn, wk, bk) ? UNKNOWN : ILLEGAL;
            }
            if (result[Index(0, pawn, wk, bk)] == UNKNOWN) {
                // White: a pawn move to a win wins; the king's moves stay open.
                uint8_t push = DRAW;
                const int next = pawn + 8;
                if (next != wk && next != bk) {
                    if (rank == 6) {
                        const uint8_t q = AfterPromotion(next, wk, bk, true);
                        push            = q == WIN ? WIN : AfterPromotion(next, wk, bk, false);
                    } else {
                        push = result[Index(1, next, wk, bk)];
                        const bool doubleStep = rank == 1 && next + 8 != wk && next + 8 != bk;
                        if (doubleStep && result[Index(1, next + 8, wk, bk)] == WIN) push = WIN;
                    }
                }
                const int moves = __builtin_popcountll(KingAttacks[wk] & ~KingAttacks[bk] & ~Bit(pawn));
                if (push == WIN || moves == 0) decide(Index(0, pawn, wk, bk), push == WIN ? WIN : DRAW);
                open[0][wk][bk] = uint8_t(moves);
            }
            if (result[Index(1, pawn, wk, bk)] == UNKNOWN) {
                // Black: taking the pawn draws; no move at all is mate or stalemate.
                const u64 moves = BlackKingMoves(pawn, wk, bk);
                if (!moves)
                    decide(Index(1, pawn, wk, bk), (WhitePawnAttacks[pawn] & Bit(bk)) ? WIN : DRAW);
                else if (moves & Bit(pawn))
                    decide(Index(1, pawn, wk, bk), DRAW);
                open[1][wk][bk] = uint8_t(__builtin_popcountll(moves));
            }
        }
    for (size_t k = 0; k < decided.size(); k++) {
        const int i = decided[k], t = i & 1, wk = (i >> 1) & 63, bk = (i >> 7) & 63;
        const uint8_t verdict = result[i];
        if (t == 1) {
            // White's king came from a square next to its own: one move to a win wins, all moves
            // to draws draw.
            for (u64 set = KingAttacks[wk]; set; set &= set - 1) {
                const int from = __builtin_ctzll(set), j = Index(0, pawn, from, bk);
                if (result[j] != UNKNOWN) continue;
                if (verdict == WIN)
                    decide(j, WIN);
                else if (--open[0][from][bk] == 0)
                    decide(j, DRAW);
            }
        } else {
            // Black's king, likewise: one move to a draw draws, all moves to wins lose.
            for (u64 set = KingAttacks[bk]; set; set &= set - 1) {
                const int from = __builtin_ctzll(set), j = Index(1, pawn, wk, from);
                if (result[j] != UNKNOWN) continue;
                if (verdict == DRAW)
                    decide(j, DRAW);
                else if (--open[1][wk][from] == 0)
                    decide(j, WIN);
            }
        }
    }
    for (int bk = 0; bk < 64; bk++)
        for (int wk = 0; wk < 64; wk++)
            for (int t = 0; t < 2; t++)
                if (result[Index(t, pawn, wk, bk)] == UNKNOWN) result[Index(t, pawn, wk, bk)] = DRAW;
}

// The run: White only pushes, Black's king does its best.
void RunPawnSquare(uint8_t* run, int pawn) {
    const int rank = RankOf(pawn);
    for (int bk = 0; bk < 64; bk++)
        for (int wk = 0; wk < 64; wk++) {
            if (wk == bk || wk == pawn || bk == pawn) continue;
            const int next = pawn + 8;
            uint8_t white  = 0;
            if (next != wk && next != bk) {
                if (rank == 6) {
                    white = !((KingAttacks[bk] & Bit(next)) && !(KingAttacks[wk] & Bit(next)));
                } else {
                    white = run[Index(1, next, wk, bk)];
                    if (rank == 1 && next + 8 != wk && next + 8 != bk) white |= run[Index(1, next + 8, wk, bk)];
                }
            }
            run[Index(0, pawn, wk, bk)] = white;
        }
    for (int bk = 0; bk < 64; bk++)
        for (int wk = 0; wk < 64; wk++) {
            if (wk == bk || wk == pawn || bk == pawn) continue;
            uint8_t black = 1;
            bool moved    = false;
            for (u64 set = BlackKingMoves(pawn, wk, bk) & ~Bit(wk); set; set &= set - 1) {
                const int to = __builtin_ctzll(set);
                moved        = true;
                if (to == pawn || !run[Index(0, pawn, wk, to)]) black = 0;
            }
            if (!moved && !(WhitePawnAttacks[pawn] & Bit(bk))) black = 0;
            run[Index(1, pawn, wk, bk)] = black;
        }
}

} // namespace

void InitKpkTables() {
    static uint8_t result[524288], run[524288];
    // Files a to d, rank 7 down to 2: a pawn's moves lead only to squares solved before.
    for (int rank = 6; rank >= 1; rank--)
        for (int file = 0; file < 4; file++) {
            SolvePawnSquare(result, rank * 8 + file);
            RunPawnSquare(run, rank * 8 + file);
        }
    std::memset(KpkExact, 0, sizeof KpkExact);
    std::memset(KpkRun, 0, sizeof KpkRun);
    // A byte of the bit tables holds four pawn squares of a half rank, both sides to move.
    for (int bk = 0; bk < 64; bk++)
        for (int wk = 0; wk < 64; wk++)
            for (int pawn = 8; pawn < 56; pawn += 4) {
                // Files e to h are the mirror image of files a to d.
                const bool mirrored = FileOf(pawn) >= 4;
                uint8_t exact = 0, runs = 0;
                for (int b = 0; b < 8; b++) {
                    const int t = b & 1, p = pawn + (b >> 1);
                    const int m = mirrored ? Index(t, p ^ 7, wk ^ 7, bk ^ 7) : Index(t, p, wk, bk);
                    exact |= uint8_t((result[m] == WIN) << b);
                    runs |= uint8_t((run[m] != 0) << b);
                }
                KpkExact[KpkIndex(0, pawn, wk, bk) >> 3] = exact;
                KpkRun[KpkIndex(0, pawn, wk, bk) >> 3]   = runs;
            }
}

namespace {
int Runs(int side, int pawn, int ownKing, int otherKing, bool square) {
    EvalInfo& e = thread_eval_info;
    if (side == BLACK) pawn = 63 - pawn, ownKing = 63 - ownKing, otherKing = 63 - otherKing;
    const int t = thread_board.SideToMove == side ? 0 : 1;
    int both;
    if (square && (FileAbove[pawn] & Bit(ownKing))) {
        both = int(!(PawnSquareWhite[pawn] & Bit(otherKing))) | int(!(PawnSquareWhiteWide[pawn] & Bit(otherKing))) << 1;
    } else {
        both = KpkPair(KpkRun, pawn, ownKing, otherKing);
    }
    if (both == 1 || both == 2) e.SideIndependent = 0;
    return (both >> t) & 1;
}
} // namespace

int PawnRuns(int side, int pawn, int ownKing, int otherKing) {
    return Runs(side, pawn, ownKing, otherKing, true);
}

int PawnRunsRaw(int side, int pawn, int ownKing, int otherKing) {
    return Runs(side, pawn, ownKing, otherKing, false);
}
