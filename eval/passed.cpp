#include "eval/passed.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "board/geometry.h"
#include "eval/evaluate.h"
#include "eval/kpk.h"
#include "eval/params.h"
#include "eval/trace.h"
#include "eval/sigmoid.h"

// Every rule is told for a side's pawns as if they were Black's, running down the board: `Rel`
// turns White's squares about (63 - s), so that ranks and the rotated tables read alike.

namespace {

constexpr int NO_RUN = 99;
constexpr u64 FILE_A = 0x0101010101010101ULL;

// The runner of each side: moves to promotion and its square.
int Run[2], RunSquare[2];

inline int Rel(int side, int square) {
    return side == BLACK ? square : 63 - square;
}
inline int Forward(int side) {
    return side == BLACK ? -8 : 8;
}
inline int KingDistance(int a, int b) {
    return std::max(std::abs(FileOf(a) - FileOf(b)), std::abs(RankOf(a) - RankOf(b)));
}
inline void Add(int side, int32_t pair) {
    if (side == BLACK)
        thread_eval_info.PackedScore += pair;
    else
        thread_eval_info.PackedScore -= pair;
}
// A word of a packed table for `side`.
inline void AddTerm(int side, const int32_t& entry) {
    Add(side, entry);
    TRACE_TERM(entry, side == BLACK ? 1 : -1);
}
constexpr u64 RankMask(int rank) {
    return 0xFFULL << (8 * rank);
}
// The piece walk has not formed the pawn attack maps yet when passers are valued.
u64 PawnAttacksOf(int side) {
    const u64 pawns = thread_board.Pieces[PAWN][side];
    constexpr u64 FILE_H = FILE_A << 7;
    return side == WHITE ? ((pawns & ~FILE_H) << 9) | ((pawns & ~FILE_A) << 7)
                         : ((pawns & ~FILE_A) >> 9) | ((pawns & ~FILE_H) >> 7);
}
inline u64 Ahead(int side, int square) {
    return side == BLACK ? FileBelow[square] : FileAbove[square];
}
inline u64 Behind(int side, int square) {
    return side == BLACK ? FileAbove[square] : FileBelow[square];
}

// Slider attacks from `square` over the occupancy `occupied`.
u64 LinesFrom(int square, u64 occupied, bool straight) {
    static const u64* const up[4]   = {RayNorth, RayEast, RayNorthEast, RayNorthWest};
    static const u64* const down[4] = {RaySouth, RayWest, RaySouthEast, RaySouthWest};
    u64 hits = 0;
    for (int d = straight ? 0 : 2, end = straight ? 2 : 4; d < end; d++) {
        u64 ray = up[d][square], block = ray & occupied;
        hits |= block ? ray & ~up[d][std::countr_zero(block)] : ray;
        ray = down[d][square], block = ray & occupied;
        hits |= block ? ray & ~down[d][63 - std::countl_zero(block)] : ray;
    }
    return hits;
}

// The pawn of `side` on `square` steps to `stop`: is it lost in the exchange there? The enemy
// takes first; the men used drop out and what stood behind them joins in.
bool StepIsFree(int side, int square, int stop) {
    const Position& b = thread_board;
    static constexpr int worth[8] = {0, 200, 3, 1, 0, 5, 3, 9};
    u64 occupied      = b.AllPieces & ~Bit(square);
    u64 used          = Bit(square);
    auto cheapest     = [&](int who) {
        const u64 straight = LinesFrom(stop, occupied, true), diagonal = LinesFrom(stop, occupied, false);
        const u64 pawns    = who == WHITE ? BlackPawnAttacks[stop] : WhitePawnAttacks[stop];
        static constexpr int order[6] = {PAWN, KNIGHT, BISHOP, ROOK, QUEEN, KING};
        for (int piece : order) {
            const u64 reach = piece == PAWN     ? pawns
                              : piece == KNIGHT ? KnightAttacks[stop]
                              : piece == BISHOP ? diagonal
                              : piece == ROOK   ? straight
                              : piece == QUEEN  ? straight | diagonal
                                                : KingAttacks[stop];
            const u64 set = reach & b.Pieces[piece][who] & ~used;
            if (set) {
                const int from = std::countr_zero(set);
                used |= Bit(from);
                occupied &= ~Bit(from);
                return worth[piece];
            }
        }
        return 0;
    };
    const int enemy = ChangeSide(side);
    int balance     = -1;
    do {
        const int theirs = cheapest(enemy);
        if (!theirs) return true;
        balance += theirs;
        if (balance < 0) return false;
        const int ours = cheapest(side);
        if (!ours) return false;
        // Only the king is left to take back: it may, where the enemy king took last.
        if (ours == 200 && balance > 100) return true;
        balance -= ours;
    } while (balance < 0);
    return true;
}

void EvaluatePassedPawn(int side, int square) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    const int enemy   = ChangeSide(side);
    const int s = Rel(side, square), f = FileOf(s), r = RankOf(s);
    const int stop = square + Forward(side);

    int state = 0;
    if (!(b.AllPieces & Bit(stop)) && StepIsFree(side, square, stop)) state |= 1;
    const u64 own = b.Pieces[PAWN][side];
    u64 beside    = 0;
    if (FileOf(square) > 0) beside |= Bit(square - 1);
    if (FileOf(square) < 7) beside |= Bit(square + 1);
    beside |= side == BLACK ? WhitePawnAttacks[square] : BlackPawnAttacks[square];
    if (own & beside) state |= 2;
    if (PopCount8[e.PawnMemo.PassedVector[side]] < 2) state |= 4;

    const int index = std::clamp(b.PiecePoints[side] - b.PiecePoints[enemy] + 6, 0, 12);
    const int c     = std::min(f, 7 - f);
    const int mg    = PassedMg[7 - r] * PassedStateMg[state] * PassedFileMg[c] / 4096 * PassedForceMg[index] / 64;

    const int K = Rel(side, b.KingSquare[side]), E = Rel(side, b.KingSquare[enemy]);
    auto place  = [&](int king) {
        return std::min(std::abs(f - FileOf(king)), 3) + 4 * std::min(std::max(r - RankOf(king), -2) + 2, 5);
    };
    const int relStop = s - 8;
    const int d       = std::clamp(KingDistance(K, relStop) - KingDistance(E, relStop), -4, 4);
    const int race    = PassedKingRace[2 * d + 8 + ((RectangleMask[s][E] & Bit(K)) ? 1 : 0)];
    const int kings   = std::clamp(PassedOwnKing[place(K)] + PassedEnemyKing[place(E)] + race, -150, 150);
    const int sig     = PawnEndgameSigmoid[kings + PAWN_ENDGAME_SIGMOID_CENTRE];
    const int front   = (PassedMaskBlack[s] & Bit(E)) ? 8 : 0;
    const int eg = (PassedStateEg[state | front] + sig) * PassedEg[7 - r] * PassedFileEg[c] / 4096 * PassedForceEg[index] / 64;
    e.SideMg[enemy] -= mg;
    e.SideEg[enemy] -= eg;
}

// A rook on the file behind the passer, seeing it: the side's own, or else the enemy's.
void RookBehind(int side, int square, bool enemyToo) {
    const Position& b = thread_board;
    const u64 seen    = FileAttacksFrom(square) & Behind(side, square);
    const int at      = Rel(side, square);
    if (seen & b.Pieces[ROOK][side]) {
        const bool blocked = b.Pieces[0][ChangeSide(side)] & Bit(square + Forward(side));
        AddTerm(side, blocked ? RookBehindBlockedPasser[at] : RookBehindPasser[at]);
    } else if (enemyToo && (seen & b.Pieces[ROOK][ChangeSide(side)])) {
        Add(side, -EnemyRookBehindPasser[at]);
    }
}

void Compete(int side, int count, int square) {
    if (count < Run[side]) Run[side] = count, RunSquare[side] = square;
}

// Both KpkExact or KpkRun bits of the pawn of `side` on `square` with both kings, in the table's
// frame; bit 0 with the pawn's side to move.
int KpkBits(const uint8_t* table, int side, int pawn, int ownKing, int otherKing) {
    if (side == BLACK) pawn = 63 - pawn, ownKing = 63 - ownKing, otherKing = 63 - otherKing;
    return KpkPair(table, pawn, ownKing, otherKing);
}
int Mover(int side) {
    return thread_board.SideToMove == side ? 0 : 1;
}

// A pawn stopped by an enemy man that still wins, the enemy's pawns all frozen.
void FrozenWin(int side, int square) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    const int enemy   = ChangeSide(side);
    const u64 theirs  = b.Pieces[PAWN][enemy];
    if (!theirs || e.PawnMemo.PassedVector[enemy] || (b.Pieces[PAWN][side] & Ahead(side, square))) return;
    const int bits = KpkBits(KpkExact, side, square, b.KingSquare[side], b.KingSquare[enemy]);
    if (bits == 1 || bits == 2) e.SideIndependent = 0;
    const u64 pawns = b.Pieces[PAWN][WHITE] | b.Pieces[PAWN][BLACK];
    const u64 stuck = enemy == WHITE ? theirs & (pawns >> 8) : theirs & (pawns << 8);
    if (((bits >> Mover(side)) & 1) && stuck == theirs) Add(side, KpkWinBonus[7 - RankOf(Rel(side, square))]);
}

// Enemy knights against a runner now on t (relative), own king on k (relative).
bool KnightStops(int side, int t, int king) {
    const Position& b = thread_board;
    for (u64 set = b.Pieces[KNIGHT][ChangeSide(side)]; set; set &= set - 1) {
        const int n = Rel(side, std::countr_zero(set));
        if (RankOf(t) == 0) {
            if (KnightAttacks[n] & Bit(t)) return true;
            for (u64 fork = KnightAttacks[t] & KnightAttacks[king]; fork; fork &= fork - 1)
                if (KnightAttacks[n] & Bit(std::countr_zero(fork))) return true;
        } else if (KnightIntercept[t][king] & Bit(n)) {
            return true;
        }
    }
    return false;
}

void WalkPassers(int side, int* left, int* right) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    const int enemy   = ChangeSide(side);
    const int ownKing = b.KingSquare[side], enemyKing = b.KingSquare[enemy];
    const bool toMove = b.SideToMove == side;
    const bool heavy  = b.HeavyCount[enemy] || b.PieceCount[BISHOP][enemy];
    const bool none   = !b.MinorCount[enemy] && !b.HeavyCount[enemy];
    *left = *right = -1;
    u64 set = e.PassedPawns[side];
    while (set) {
        // Black's from the lowest square up; White's from the highest rank down, each rank from
        // the a file, so that of two runners alike the same file wins for either colour.
        const u64 rank   = side == BLACK ? 0 : RankMask(RankOf(63 - std::countl_zero(set)));
        const int square = std::countr_zero(side == BLACK ? set : set & rank);
        set &= NotFileMask[FileOf(square)];
        const int s = Rel(side, square), r = RankOf(s);
        EvaluatePassedPawn(side, square);
        RookBehind(side, square, heavy || none);
        if (heavy) continue;
        const u64 ahead = Ahead(side, square);

        if (!none) { // knights only
            if (b.AllPieces & ahead) continue;
            const int bits = KpkBits(KpkRun, side, square, ownKing, enemyKing);
            const int bit  = (bits >> Mover(side)) & 1;
            if (bits == 1 || bits == 2 || bit) e.SideIndependent = 0;
            if (!bit) continue;
            int t = s;
            if (toMove) t = s > 47 ? s - 16 : s - 8;
            if (!KnightStops(side, t, Rel(side, ownKing))) Compete(side, RankOf(t), square);
            continue;
        }

        if (*left < 0 || FileOf(square) < FileOf(*left)) *left = square;
        if (*right < 0 || FileOf(square) > FileOf(*right)) *right = square;
        if (b.Pieces[0][enemy] & ahead) {
            FrozenWin(side, square);
            continue;
        }
        const u64 own = b.Pieces[0][side] & ahead;
        const int E = Rel(side, enemyKing), K = Rel(side, ownKing);
        bool runs;
        if (!own) {
            const bool escorted = RankOf(E) == 0 && K == E + 16 && (b.Pieces[PAWN][side] & Bit(Rel(side, E + 8))) &&
                                  E != s - 8;
            runs = escorted || ((KpkBits(KpkRun, side, square, ownKing, enemyKing) >> Mover(side)) & 1);
        } else {
            runs = !((toMove ? PawnSquareBlack[s] : PawnSquareBlackWide[s]) & Bit(E));
        }
        e.SideIndependent = 0;
        if (!runs) {
            FrozenWin(side, square);
            continue;
        }
        int n = r - (toMove ? 1 : 0) - (r == 6 ? 1 : 0);
        if (own) {
            if ((FileOf(s) == 0 || FileOf(s) == 7) && (ahead & Bit(ownKing))) {
                if (std::abs(FileOf(K) - FileOf(E)) < (toMove ? 3 : 4)) n = NO_RUN;
            } else {
                const int m    = PopCount(own);
                const int back = toMove ? s + 8 * m - 8 : s + 8 * m;
                if (back > 55 || (PawnSquareBlackWide[back] & Bit(E)))
                    n = NO_RUN;
                else
                    n += m;
            }
        } else if (PassedMaskBlack[s] & Bit(E)) {
            n--;
        }
        if (n != NO_RUN) Compete(side, n, square);
    }

    if (b.PiecePoints[enemy] < 4) {
        const int k = std::min(int(PopCount8[e.PawnMemo.PassedVector[side]]), 4);
        AddTerm(side, none ? PasserCountBare[k] : b.PieceCount[KNIGHT][enemy] ? PasserCountKnight[k] : PasserCountOther[k]);
    }
}

// Two passers far apart: the king that stops one lets the other through.
void DistantPair(int side, int first, int second) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    const int king    = b.KingSquare[side];
    int bits;
    if (Ahead(side, first) & Bit(king)) {
        const int pawn = Rel(side, first), other = Rel(side, second);
        bits = int(!(PawnSquareBlack[pawn] & Bit(other))) | int(!(PawnSquareBlackWide[pawn] & Bit(other))) << 1;
    } else {
        bits = KpkBits(KpkRun, side, first, king, second);
    }
    if (bits == 1 || bits == 2) e.SideIndependent = 0;
    if (!((bits >> Mover(side)) & 1)) return;
    const int less = b.SideToMove == side ? 1 : 0;
    int d1 = RankOf(Rel(side, first)), d2 = RankOf(Rel(side, second));
    d1 -= less + (d1 == 6 ? 1 : 0);
    d2 -= less + (d2 == 6 ? 1 : 0);
    if (Ahead(side, first) & Bit(king))
        d1++;
    else if (Ahead(side, second) & Bit(king))
        d2++;
    Compete(side, std::max(d1, d2), d1 >= d2 ? first : second);
}

// Which queen comes first, and what the first one does at once. `side` queens first at `index`.
void QueenFirst(int side, int index) {
    const Position& b = thread_board;
    const int enemy   = ChangeSide(side);
    const int runner = RunSquare[side], theirRunner = RunSquare[enemy];
    const int queen   = side == WHITE ? 56 + FileOf(runner) : FileOf(runner);
    const int promo   = side == WHITE ? FileOf(theirRunner) : 56 + FileOf(theirRunner);
    const int king = b.KingSquare[enemy], ownKing = b.KingSquare[side];
    const u64 lines   = QueenAttacks(queen);
    const u64 fileSight = FileAttacksFrom(runner);
    auto lose         = [&](const int32_t* table, int at) { Add(side, table[std::clamp(at, 0, 7)]); };

    if ((lines & Bit(king)) || (fileSight & Bit(king) & Ahead(side, runner))) return lose(RaceCheck, index);
    if (((lines & Bit(promo)) || (fileSight & Bit(theirRunner))) && !(KingAttacks[king] & Bit(promo)))
        return lose(RaceCover, index);
    const int kingRank = RankOf(Rel(enemy, king)); // 0 is the enemy king's own queening rank
    const int lastRank = side == WHITE ? 7 : 0;
    // The new queen cuts the king off on `file` along the last rank; the file is open from the
    // king's rank up to it.
    auto cut = [&](int file) {
        const int square = lastRank * 8 + file;
        const u64 path   = (FILE_A << file) & (side == WHITE ? RanksAbove[RankOf(king) * 8] | RankMask(RankOf(king))
                                                             : RanksBelow[RankOf(king) * 8] | RankMask(RankOf(king)));
        return !(path & b.AllPieces & ~Bit(king)) && (RankAttacksFrom(queen) & Bit(square)) && square != ownKing;
    };
    if (!b.MinorCount[enemy] && !b.HeavyCount[enemy]) {
        if (kingRank >= 2 && kingRank <= 5 && FileOf(king) == FileOf(promo) && cut(FileOf(king)))
            return lose(RaceCut, index);
        if (kingRank >= 3 && FileOf(promo) == 1 && FileOf(king) == 0 && cut(1)) return lose(RaceCutB, index);
        if (kingRank >= 3 && FileOf(promo) == 6 && FileOf(king) == 7 && cut(6)) return lose(RaceCutG, index);
    }
    const u64 theirPawns = b.Pieces[PAWN][enemy];
    if (PopCount(theirPawns) > 1) {
        const u64 theirCover = PawnAttacksOf(enemy), ourCover = PawnAttacksOf(side);
        const u64 loose      = theirPawns & ~Bit(theirRunner) & ~KingAttacks[king] & ~theirCover;
        if (loose) {
            const int k = std::min(PopCount(loose), 8);
            u64 fork    = 0;
            for (u64 set = lines & ~b.Pieces[0][side] & ~theirCover & ~QueenAttacks(promo); set; set &= set - 1) {
                const int sq = std::countr_zero(set);
                if (!(QueenAttacks(sq) & Bit(king))) continue;
                if ((KingAttacks[king] & Bit(sq)) && !((KingAttacks[ownKing] | ourCover) & Bit(sq))) continue;
                fork |= Bit(sq);
            }
            Add(side, fork ? RaceLooseFork[k] : RaceLoose[k]);
        }
    }
}

void EvaluateRace() {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    int w = Run[WHITE], bl = Run[BLACK];
    if (w == NO_RUN && bl == NO_RUN) return;
    e.SideIndependent = 0;
    const bool blackToMove = b.SideToMove == BLACK;
    if (blackToMove ? bl != NO_RUN : w != NO_RUN) (blackToMove ? bl : w)++;
    auto at = [](const int32_t* table, int i) { return table[std::clamp(i, 0, 7)]; };
    if (bl == NO_RUN) {
        e.PackedScore -= at(RaceAlone, w);
        return;
    }
    if (w == NO_RUN) {
        e.PackedScore += at(RaceAlone, bl);
        return;
    }
    if (blackToMove) bl--;
    if (w < bl) {
        e.PackedScore -= w >= bl - 1 ? at(RaceAhead, w) : at(RaceFar, w);
    } else if (bl < w - 1) {
        const int b2 = bl + (blackToMove ? 1 : 0);
        e.PackedScore += bl >= w - 2 ? at(RaceAhead, b2) : at(RaceFar, b2);
    } else if (w == bl) {
        QueenFirst(WHITE, w);
    } else {
        // Indexed as a White queen that comes first: with its side to move, by the raised count.
        QueenFirst(BLACK, bl + (blackToMove ? 1 : 0));
    }
}

} // namespace

void EvaluatePassedPawns() {
    const Position& b = thread_board;
    Run[WHITE] = Run[BLACK] = NO_RUN;
    RunSquare[WHITE] = RunSquare[BLACK] = 0;
    for (int side = BLACK; side >= WHITE; side--) {
        if (!thread_eval_info.PawnMemo.PassedVector[side]) continue;
        int left, right;
        WalkPassers(side, &left, &right);
        const int enemy = ChangeSide(side);
        if (left >= 0 && FileOf(right) - FileOf(left) >= 2 && !b.MinorCount[enemy] && !b.HeavyCount[enemy]) {
            DistantPair(side, left, right);
            DistantPair(side, right, left);
        }
    }
    EvaluateRace();
}
