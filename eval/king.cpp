#include "eval/king.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <cstdlib>

#include "board/attacks.h"
#include "board/geometry.h"
#include "eval/evaluate.h"
#include "eval/params.h"
#include "eval/sigmoid.h"

int FullDanger;

namespace {

constexpr u64 FILE_A = 0x0101010101010101ULL;
constexpr u64 FILE_H = FILE_A << 7;
constexpr u64 RankMask(int rank) {
    return 0xFFULL << (8 * rank);
}
constexpr int B2 = 9, C3 = 18, D1 = 3, F3 = 21, G2 = 14;

// How exposed a king is by where it stands, written for the white king: the corners of the home
// rank are snug, the rest of it less so, the second rank open, anything further out wide open.
// clang-format off
constexpr int KingZoneClass[64] = {
    0, 0, 1, 1, 1, 1, 0, 0,
    2, 2, 2, 2, 2, 2, 2, 2,
    3, 3, 3, 3, 3, 3, 3, 3,  3, 3, 3, 3, 3, 3, 3, 3,  3, 3, 3, 3, 3, 3, 3, 3,
    3, 3, 3, 3, 3, 3, 3, 3,  3, 3, 3, 3, 3, 3, 3, 3,  3, 3, 3, 3, 3, 3, 3, 3};
// clang-format on

// Index of AttackerWeight by piece code.
constexpr int WeightOf(int piece) {
    return piece == KNIGHT   ? 0
           : piece == BISHOP ? 1
           : piece == ROOK   ? 2
           : piece == QUEEN  ? 3
           : piece == PAWN   ? 4
                             : 5;
}

int KingDistance(int a, int b) {
    return std::max(std::abs(FileOf(a) - FileOf(b)), std::abs(RankOf(a) - RankOf(b)));
}

// One file in front of a castled or castling king: an own pawn at home costs nothing, one step
// or more up costs a little; a file with only enemy pawns, or none, costs what is given.
int FileCover(int side, int file, int open, int enemyOnly) {
    const Position& b = thread_board;
    const u64 own     = b.Pieces[PAWN][side] & (FILE_A << file);
    if (!own) return (b.Pieces[PAWN][ChangeSide(side)] & (FILE_A << file)) ? enemyOnly : open;
    if (own & RankMask(side == WHITE ? 1 : 6)) return 0;
    return (own & RankMask(side == WHITE ? 2 : 5)) ? 1 : 2;
}
int FarFile(int side, int file) {
    return FileCover(side, file, ShelterOpenSide, ShelterEnemySide);
}
int MiddleFile(int side, int file) {
    return FileCover(side, file, ShelterOpenMiddle, ShelterEnemyMiddle);
}

} // namespace

int ExchangeIsSafe(int target, int from) {
    Position& b       = thread_board;
    const int saved   = b.SideToMove;
    b.SideToMove      = (b.Pieces[0][BLACK] & Bit(from)) ? BLACK : WHITE;
    const int verdict = CaptureSeeNotLosing(target, from, b.Board[from], b.Board[target], 0);
    b.SideToMove      = saved;
    return verdict;
}

int EvaluateKingShelter(int side) {
    const Position& b   = thread_board;
    EvalInfo& e         = thread_eval_info;
    const int enemy     = ChangeSide(side);
    const int king      = b.KingSquare[side];
    const bool white    = side == WHITE;
    const bool queen    = b.PieceCount[QUEEN][enemy] != 0;
    const int rights    = white ? b.CastleRights & 3 : (b.CastleRights >> 2) & 3; // 1 short, 2 long
    const uint8_t* wing = e.PawnMemo.WingShelter[side];
    // Squares named for White, turned over for Black.
    auto own = [&](int piece, int square) {
        return (b.Pieces[piece][side] & Bit(white ? square : square ^ 56)) != 0;
    };
    auto hole = [&](int square) {
        const int at = white ? square : square ^ 56;
        return ((b.Pieces[PAWN][enemy] | b.Pieces[BISHOP][enemy]) & Bit(at)) && queen;
    };

    int s = KingSquareShelter[white ? king : 63 - king], cost = 0;
    if (rights) {
        // Still at home: the centre files count, and the better of the wings it may still go to.
        if (!own(QUEEN, D1)) cost = ShelterQueenGone;
        const int centre = FarFile(side, 3) + MiddleFile(side, 4) + FarFile(side, 5);
        int best         = centre;
        if (rights & 2) best = std::min(best, int(wing[1]));
        if (rights & 1) best = std::min(best, int(wing[0]));
        s += centre / 2 + best / 2;
    } else if (FileOf(king) <= 3) {
        s += wing[1];
        if (!own(PAWN, B2) && hole(C3)) s += ShelterHole;
        if (FileOf(king) == 3) s += FarFile(side, 2) + MiddleFile(side, 3) + FarFile(side, 4) + 1;
    } else {
        s += wing[0];
        if (!own(PAWN, G2) && hole(F3)) s += ShelterHole;
        if (FileOf(king) == 4) s += FarFile(side, 3) + MiddleFile(side, 4) + FarFile(side, 5) + 1;
    }
    if (!queen) s = s * ShelterNoQueen >> 8;
    const int grade         = std::clamp(s, 0, 63);
    e.shelter_penalty[side] = grade;
    const int weight        = EngineSide == side ? CowardiceHalf : AggressivityHalf;
    return -cost - weight * ShelterPenalty[grade] / 100;
}

void EvaluateShelterAgainstQueen(int side) {
    const int defender = ChangeSide(side);
    EvalInfo& e        = thread_eval_info;
    if (e.Ending[defender] || !thread_board.PieceCount[QUEEN][side]) return;
    const int grade       = std::min(e.shelter_penalty[defender], 15);
    const int development = DevelopmentShelter[e.DevelopmentClass[side]];
    e.SideMg[side] += ShelterMg[grade] * development / 64;
    e.SideEg[side] += ShelterEg[grade] * development / 64;
}

// The men of the walk of each side, kept until every attack map stands.
namespace {
struct NotedMan {
    int piece, square;
    u64 attacks;
};
NotedMan Noted[2][16];
int NotedCount[2];

// The sliders of `side` on any line through `square`, on an empty board: men that could join an
// exchange there once what stands between has gone.
u64 SlidersThrough(int side, int square) {
    const Position& b = thread_board;
    return (RookPseudoAttacks[square] & (b.Pieces[ROOK][side] | b.Pieces[QUEEN][side])) |
           (BishopPseudoAttacks[square] & (b.Pieces[BISHOP][side] | b.Pieces[QUEEN][side]));
}

// Heavy pieces count only squares they could go to; minors also those they defend.
u64 Reach(int side, const NotedMan& man) {
    const u64 own = thread_board.Pieces[0][side];
    return man.piece == ROOK || man.piece == QUEEN ? man.attacks & ~own : man.attacks;
}

// The ring squares the men of `side` take safely. The exchange test is spared where its answer is
// plain: a lone attacker on a ring square, which the king defends, with no second man of its side
// on the square and no slider of its side that could ever back it up, loses what it puts there.
void FindSafeRingAttacks(int side) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    // Squares that two men of the side attack: its king, its pawns and its noted men.
    const u64 men   = b.Pieces[PAWN][side];
    const u64 left  = side == WHITE ? (men & ~FILE_H) << 9 : (men & ~FILE_H) >> 7;
    const u64 right = side == WHITE ? (men & ~FILE_A) << 7 : (men & ~FILE_A) >> 9;
    u64 once        = KingAttacks[b.KingSquare[side]] | e.PawnAttacks[side],
        twice       = (left & right) | (KingAttacks[b.KingSquare[side]] & e.PawnAttacks[side]);
    for (int i = 0; i < NotedCount[side]; i++)
        twice |= once & Noted[side][i].attacks, once |= Noted[side][i].attacks;
    const u64 ring = e.KingRing[ChangeSide(side)] & ~b.Pieces[0][side];
    for (int i = 0; i < NotedCount[side]; i++) {
        const NotedMan& man = Noted[side][i];
        for (u64 set = Reach(side, man) & ring & ~e.SafeRingAttacks[side]; set; set &= set - 1) {
            const int t     = std::countr_zero(set);
            const bool lone = SeeValue[b.Board[t]] < SeeValue[man.piece] && !(twice & Bit(t)) &&
                              !(SlidersThrough(side, t) & ~Bit(man.square));
            assert(!lone || !ExchangeIsSafe(t, man.square));
            if (!lone && ExchangeIsSafe(t, man.square)) e.SafeRingAttacks[side] |= Bit(t);
        }
    }
}

// What one man does against the enemy king, but for the ring squares it takes safely (above).
// The exchange test is spared on a check square that no enemy man attacks or could ever reach:
// it is safe.
void CountKingAttack(int side, const NotedMan& man) {
    const Position& b  = thread_board;
    EvalInfo& e        = thread_eval_info;
    const int defender = ChangeSide(side);
    const int king     = b.KingSquare[defender];
    const int piece = man.piece, square = man.square;
    const u64 ring   = e.KingRing[defender];
    const int weight = AttackerWeight[WeightOf(piece)];
    const u64 reach  = Reach(side, man);

    if (reach & ring) {
        e.AttackerSum[side] += weight;
        e.WeakMenMaps[defender] |= reach & ring;
    } else {
        // Not near the king yet, but one safe move from a check.
        const u64 checks = piece == ROOK     ? e.RookChecks[defender]
                           : piece == KNIGHT ? e.KnightChecks[defender]
                           : piece == BISHOP ? e.BishopChecks[defender]
                                             : e.QueenChecks[defender];
        const int danger = piece == ROOK     ? ROOK_CHECK_SQUARE_DANGER
                           : piece == KNIGHT ? CheckSquareDangerKnight[1]
                           : piece == BISHOP ? CheckSquareDangerBishop[1]
                                             : CheckSquareDangerQueen[1];
        for (u64 set = reach & checks; set; set &= set - 1) {
            const int t       = std::countr_zero(set);
            const bool unseen = !(e.AttackMaps[defender] & Bit(t)) && !SlidersThrough(defender, t);
            assert(!unseen || ExchangeIsSafe(t, square));
            if (!unseen && !ExchangeIsSafe(t, square)) continue;
            e.danger[side] += danger;
            e.AttackerSum[side] += weight;
            break;
        }
    }

    // Rooks and queens with no own pawn in front of them on their file bear down on the king.
    if (piece != ROOK && piece != QUEEN) return;
    const bool openFile = !(b.Pieces[PAWN][side] & (side == BLACK ? FileBelow[square] : FileAbove[square]));
    const int fileApart = std::abs(FileOf(square) - FileOf(king));
    if (piece == ROOK) {
        if (openFile) e.danger[side] += RookFileDanger[fileApart];
    } else {
        const int near = QueenDistDanger[KingDistance(square, king)];
        e.danger[side] += openFile ? std::max(near, QueenFileDanger[fileApart]) : near;
    }
}
} // namespace

void NoteKingAttacker(int side, int piece, int square, u64 attacks) {
    Noted[side][NotedCount[side]++] = {piece, square, attacks};
}

void EvaluateKingAttack(int side) {
    const Position& b  = thread_board;
    EvalInfo& e        = thread_eval_info;
    const int defender = ChangeSide(side);
    const int king     = b.KingSquare[defender];
    const u64 ring     = e.KingRing[defender];

    for (int i = 0; i < NotedCount[side]; i++) CountKingAttack(side, Noted[side][i]);
    const int pawnHits = PopCount(e.PawnAttacks[side] & ring);
    e.danger[side] += pawnHits * PawnRingDanger;
    e.AttackerSum[side] += pawnHits * AttackerWeight[WeightOf(PAWN)];
    if (ring & e.KingRing[side]) {
        e.danger[side] += 2;
        e.AttackerSum[side] += AttackerWeight[WeightOf(KING)];
    }
    // Where the attackers press on the king with no weight at all, the attack is worth nothing
    // whatever the ring squares say; only `evl` wants their danger all the same.
    const int count = std::clamp(e.AttackerSum[side], 0, 63);
    if (PressureSigmoid[count] == 0 && !FullDanger) {
        NotedCount[side] = 0;
        return;
    }
    FindSafeRingAttacks(side);
    NotedCount[side] = 0;

    // Each ring square by the bits of KingRingTable's index: the king's zone class (0-1), the
    // defender covers it (2), a defending pawn, another defender or an attacker on it (3-4), in
    // front of the king, behind it, or beside it on the edge side or the centre side (5-6), the
    // attacker misses it (7), the attacker takes it safely (8).
    const int zone    = KingZoneClass[defender == WHITE ? king : 63 - king];
    const u64 covered = e.AttackMaps[defender], missed = ~e.AttackMaps[side], safe = e.SafeRingAttacks[side];
    const u64 pawns = b.Pieces[PAWN][defender], others = b.Pieces[0][defender] & ~pawns,
              enemies = b.Pieces[0][side];
    const u64 front   = defender == WHITE ? FrontThree[king] : BackThree[king];
    const u64 back    = defender == WHITE ? BackThree[king] : FrontThree[king];
    const u64 centre  = Bit(FileOf(king) >= 4 ? king - 1 : king + 1);
    for (u64 set = ring; set; set &= set - 1) {
        const int q      = std::countr_zero(set);
        const int held   = int((pawns >> q) & 1) | int((others >> q) & 1) * 2 | int((enemies >> q) & 1) * 3;
        const int beside = int((front >> q) & 1) | int((back >> q) & 1) * 2 | int((centre >> q) & 1) * 3;
        const int code   = zone | int((covered >> q) & 1) << 2 | held << 3 | beside << 5 |
                         int((missed >> q) & 1) << 7 | int((safe >> q) & 1) << 8;
        e.danger[side] += KingRingTable[code];
    }

    // The attack value: danger shaped by the pressure of the attackers and the cover of the king,
    // then by the queen, the force of both sides and the attacker's development.
    e.danger[side] = std::clamp(e.danger[side], 0, 127);
    int64_t p      = int64_t(DangerCurve[e.danger[side]]) * PressureSigmoid[count] *
                    ShelterCurve[e.shelter_penalty[defender]] >>
                15;
    if (p == 0) return; // no attack to speak of: nothing below would change
    p = p * (b.PieceCount[QUEEN][side] ? AttackScaleQueen : AttackScaleNoQueen) >> 13;
    p = (256 + DefendHorrorSigmoid[std::clamp(int(e.DefenceForce[defender]), 0, 511)]) *
        (256 + AttackHorrorSigmoid[std::clamp(int(e.AttackForce[side]), 0, 511)]) * p / 65536;
    const int64_t x     = p * DevelopmentAttack[e.DevelopmentClass[side]];
    const int64_t y     = x + (x < 0 ? 63 : 0);
    const int64_t value = y >> 6;
    e.TempoAttack[side] = int(y >> 9);

    // The side behind in material attacks a little harder, the side ahead a little less.
    const double material = side == BLACK ? e.MaterialScore : -e.MaterialScore;
    const double scale    = MaterialSigmoidScale;
    const int tilt =
        int(std::lround(scale / (1.0 + std::exp(-material * MaterialSigmoidSlope / 1000.0)) - scale / 2.0));
    const int64_t v = (tilt + 256) * value / 256;
    if (v >= 0) e.SideMg[side] += int32_t(v);
}

void EvaluateQueenChecks(int* score) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    for (int side = WHITE; side <= BLACK; side++) {
        if (!b.PieceCount[QUEEN][side]) continue;
        const int defender = ChangeSide(side);
        // Checks the queen can give on squares the defender does not cover; those away from the
        // king's ring count twice.
        const u64 checks = e.AttacksByQueen[side] & e.QueenChecks[defender] & ~e.AttackMaps[defender];
        const int n      = std::min(PopCount(checks) + PopCount(checks & ~e.KingRing[defender]), 6);
        const int t = QueenCheckBonus[n], h = t / 2;
        // Worth all of t to the side to move, half of it otherwise.
        const int sign  = side == BLACK ? 1 : -1;
        const bool move = b.SideToMove == side;
        *score += sign * (move ? t : h);
        e.MirrorSum += b.SideToMove == BLACK ? t - h : h - t;
    }
}
