#include "eval/pieces.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "board/geometry.h"
#include "eval/evaluate.h"
#include "eval/king.h"
#include "eval/params.h"
#include "eval/trace.h"

// Every rule is written for either side: `rel` turns a square into the one Black would see it
// from (the board rotated for White), and a term for White is subtracted.

namespace {

constexpr u64 FILE_A = 0x0101010101010101ULL;
constexpr u64 FILE_H = FILE_A << 7;
constexpr u64 RankMask(int rank) {
    return 0xFFULL << (8 * rank);
}
constexpr u64 QUEEN_WING = FILE_A | (FILE_A << 1) | (FILE_A << 2);
constexpr u64 KING_WING  = (FILE_A << 5) | (FILE_A << 6) | (FILE_A << 7);
// c3 to f6: a minor there always has room.
constexpr u64 CENTRE_BLOCK = 0x00003C3C3C3C0000ULL;

inline int Rel(int side, int square) {
    return side == BLACK ? square : 63 - square;
}
// The rank as the side's men see it when told for Black: the enemy's first rank is 0, the side's
// own seventh rank 1.
inline int RelRank(int side, int square) {
    return RankOf(Rel(side, square));
}
inline void Add(int side, int32_t pair) {
    if (side == BLACK)
        thread_eval_info.PackedScore += pair;
    else
        thread_eval_info.PackedScore -= pair;
}
// A word of a packed table, `count` times, for `side`.
inline void AddTerm(int side, const int32_t& entry, int count = 1) {
    Add(side, entry * count);
    TRACE_TERM(entry, side == BLACK ? count : -count);
}

// The one man of the other side between `piece` of `side` on `square` and the enemy king, with
// none of the side's own men among them, is pinned.
void PinTest(int side, int square, const int32_t* table) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    const int enemy   = ChangeSide(side);
    const int king    = b.KingSquare[enemy];
    const u64 between = BetweenMask[square][king] & ~Bit(square);
    if (!between || (between & b.Pieces[0][side])) return;
    const u64 theirs = between & b.Pieces[0][enemy];
    if (!theirs || (theirs & (theirs - 1))) return;
    e.WeakMenMaps[enemy] |= theirs;
    AddTerm(side, table[b.Board[std::countr_zero(theirs)]]);
}

bool Orthogonal(int a, int b) {
    const int step = std::abs(DirectionTable[a][b]);
    return step == 1 || step == 8;
}

bool Diagonal(int a, int b) {
    const int step = std::abs(DirectionTable[a][b]);
    return step == 7 || step == 9;
}

// A knight or bishop short of squares it could go to without loss pays by where it stands.
void TrappedTest(int side, int square, u64 attacks, const int32_t* curve) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    if (CENTRE_BLOCK & Bit(square)) return;
    const int enemy       = ChangeSide(side);
    const u64 enemyPawns  = b.Pieces[PAWN][enemy];
    u64 safe              = attacks & ~(enemyPawns & e.PawnAttacks[enemy]) & ~e.BlockedPawns[side];
    const int enemyPieces = b.MinorCount[enemy] + b.HeavyCount[enemy];
    if (!enemyPieces) {
        safe &= ~e.PawnAttacks[enemy];
    } else if (!b.PieceCount[ROOK][enemy] && !b.PieceCount[QUEEN][enemy] && !b.PieceCount[KNIGHT][enemy]) {
        const u64 bishops = b.Pieces[BISHOP][enemy];
        if (!(bishops & DarkSquares)) safe &= ~(e.PawnAttacks[enemy] & DarkSquares);
        if (!(bishops & LightSquares)) safe &= ~(e.PawnAttacks[enemy] & LightSquares);
    }
    int n = 3 * PopCount(safe & e.MobilityRing3[side]) + 4 * PopCount(safe & e.MobilityRing4[side]);
    if (n >= 18) return;
    n += 2 * PopCount(safe & e.MobilityRing2[side]);
    if (n >= 18) return;
    n += PopCount(safe & e.MobilityRing1[side]);
    Add(side, -(((TrapSquareWeight[Rel(side, square)] * curve[n]) >> 6) * 0x10001));
}

// A minor that no enemy pawn can ever drive away, more so with a pawn behind it.
void Outpost(int side, int square, const int32_t* base, const int32_t* defended, const int32_t* contested) {
    const Position& b = thread_board;
    if (RelRank(side, square) > 5) return;
    const int enemy = ChangeSide(side);
    const u64 ahead = NeighbourFiles[square] & (side == BLACK ? RanksBelow[square] : RanksAbove[square]);
    if (ahead & b.Pieces[PAWN][enemy]) return;
    const int at = Rel(side, square);
    AddTerm(side, base[at]);
    const u64 defenders = b.Pieces[PAWN][side] & (side == BLACK ? WhitePawnAttacks[square] : BlackPawnAttacks[square]);
    if (!defenders) return;
    const u64 colour = (DarkSquares & Bit(square)) ? DarkSquares : LightSquares;
    if (!(defenders & (defenders - 1)) && (b.Pieces[BISHOP][enemy] & colour))
        AddTerm(side, contested[at]);
    else
        AddTerm(side, defended[at]);
}

} // namespace

void EvaluateKingCorners() {
    const Position& b = thread_board;
    for (int side = WHITE; side <= BLACK; side++) {
        if (RankOf(b.KingSquare[side]) != (side == WHITE ? 0 : 7)) continue;
        const u64 pawns = b.Pieces[PAWN][side];
        const u64 ring  = KingAttacks[b.KingSquare[side]] & RankMask(side == WHITE ? 1 : 6);
        if ((ring & pawns) == ring) AddTerm(side, PawnWallKing, -1);
        const int file = FileOf(b.KingSquare[side]);
        const int base = side == WHITE ? 0 : 6;
        int pattern    = -1;
        if (file >= 5) pattern = base + 7 - file;   // h: {h2}, g: {h1, h2}, f: {g1, h1, h2}
        if (file <= 2) pattern = base + 3 + file;   // a: {a2}, b: {a1, a2}, c: {a1, b1, a2}
        if (pattern >= 0 && (CornerPatterns[pattern] & b.Pieces[ROOK][side])) AddTerm(side, RookCornered, -1);
    }
}

void EvaluateRooks(int side) {
    const Position& b    = thread_board;
    EvalInfo& e          = thread_eval_info;
    const int enemy      = ChangeSide(side);
    const bool attack    = !e.Ending[enemy];
    const u64 own        = b.Pieces[0][side];
    const u64 allPawns   = b.Pieces[PAWN][WHITE] | b.Pieces[PAWN][BLACK];
    const int enemyKing  = RelRank(side, b.KingSquare[enemy]);
    const u64 second     = RankMask(side == BLACK ? 1 : 6); // the enemy's second rank
    for (u64 set = b.Pieces[ROOK][side]; set; set &= set - 1) {
        const int s    = std::countr_zero(set);
        const int file = FileOf(s), rank = RelRank(side, s);
        const u64 rankHits = RankAttacksFrom(s), hits = rankHits | FileAttacksFrom(s);

        if ((e.PawnMemo.WeakFiles[enemy] >> file) & 1) AddTerm(side, RookOnWeakFile);
        const u64 fileMask = FILE_A << file;
        if (!(b.Pieces[PAWN][side] & fileMask)) {
            AddTerm(side, (allPawns & fileMask) ? RookHalfOpen[file] : RookOpenFile[file]);
            if (e.Ending[enemy]) {
                u64 open = 0;
                for (int f = 0; f < 8; f++)
                    if (!(allPawns & (FILE_A << f))) open |= FILE_A << f;
                if (!(rankHits & open)) AddTerm(side, RookNoOpenAccess, -1);
            }
        }
        if (rank == 1 && (enemyKing == 0 || (b.Pieces[PAWN][enemy] & second))) {
            AddTerm(side, RookOnSeventh);
            if (rankHits & (b.Pieces[ROOK][side] | b.Pieces[QUEEN][side])) AddTerm(side, RookSeventhBattery);
            if (enemyKing == 0 && e.PawnMemo.PassedVector[side] && !(b.Pieces[0][enemy] & second & 0x7E7E7E7E7E7E7E7EULL))
                AddTerm(side, RookSeventhPasser);
        }
        if (rank == 0 && b.HeavyCount[side] >= 2 && enemyKing <= 1) AddTerm(side, RookOnEighth);

        e.AttackMaps[side] |= hits;
        e.AttacksByRook[side] |= hits;
        AddTerm(side, RookMobility, PopCount(hits & ~own) - 7);
        if (attack) NoteKingAttacker(side, ROOK, s, hits);
        if (Orthogonal(s, b.KingSquare[enemy])) PinTest(side, s, PinByRook);
    }
}

void EvaluatePawnAttacks() {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    const u64 white = b.Pieces[PAWN][WHITE], black = b.Pieces[PAWN][BLACK];
    e.PawnAttacks[WHITE] = ((white & ~FILE_H) << 9) | ((white & ~FILE_A) << 7);
    e.PawnAttacks[BLACK] = ((black & ~FILE_A) >> 9) | ((black & ~FILE_H) >> 7);
    e.AttackMaps[WHITE] |= e.PawnAttacks[WHITE];
    e.AttackMaps[BLACK] |= e.PawnAttacks[BLACK];
}

// Pawns no pawn defends, against the enemy king, when their side is short of pieces.
void EvaluateLoosePawns() {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    int t             = 0;
    for (int side = WHITE; side <= BLACK; side++) {
        const int points = b.PiecePoints[side];
        if (points > 8) continue;
        const int enemy = ChangeSide(side);
        // Squares as if the pawn were White's.
        const int flip  = side == WHITE ? 0 : 56;
        const int king  = b.KingSquare[enemy] ^ flip;
        for (u64 set = b.Pieces[PAWN][side] & ~e.PawnAttacks[side]; set; set &= set - 1) {
            const int s    = std::countr_zero(set);
            const int p    = s ^ flip;
            const int d    = std::min(std::max(std::abs(FileOf(p) - FileOf(king)), std::abs(RankOf(p) - RankOf(king))), 6);
            const int q    = std::min(std::max(std::abs(FileOf(p) - FileOf(king)), std::abs(7 - RankOf(king))), 5);
            const int next = side == WHITE ? s + 8 : s - 8;
            int flags      = 0;
            if ((e.PawnAttacks[enemy] | b.Pieces[PAWN][side] | b.Pieces[0][enemy]) & Bit(next)) flags |= 1;
            if (e.PassedPawns[side] & Bit(s)) flags |= 2;
            const int v = LoosePawnRank[std::max(RankOf(p) - 2, 0)] * LoosePawnForce[points] * LoosePawnTable[d - 1][q][flags] >> 12;
            t += side == WHITE ? v : -v;
        }
    }
    e.PackedScore += t * 0x10001;
}

void EvaluateBlockedPawns() {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    const u64 white = b.Pieces[PAWN][WHITE], black = b.Pieces[PAWN][BLACK];
    e.BlockedPawns[WHITE] = white & ((white | b.Pieces[0][BLACK]) >> 8);
    e.BlockedPawns[BLACK] = black & ((black | b.Pieces[0][WHITE]) << 8);
    const u64 pawns = white | black;
    for (int side = WHITE; side <= BLACK; side++) {
        if (!b.MinorCount[side]) continue;
        const u64 ring1 = RankMask(0) | RankMask(7) | e.PawnAttacks[ChangeSide(side)];
        const u64 ring2 = (RankMask(1) | RankMask(6) | pawns) & ~ring1;
        const u64 ring3 = b.Pieces[0][side] & ~(ring1 | ring2);
        e.MobilityRing1[side] = ring1;
        e.MobilityRing2[side] = ring2;
        e.MobilityRing3[side] = ring3;
        e.MobilityRing4[side] = ~(ring1 | ring2 | ring3);
    }
    e.PackedScore += BlockedPawnBonus * PopCount(e.BlockedPawns[WHITE]) - BlockedPawnBonus * PopCount(e.BlockedPawns[BLACK]);
    TRACE_TERM(BlockedPawnBonus, PopCount(e.BlockedPawns[WHITE]) - PopCount(e.BlockedPawns[BLACK]));
}

void EvaluateKnights(int side) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    const int enemy   = ChangeSide(side);
    const bool attack = !e.Ending[enemy];
    for (u64 set = b.Pieces[KNIGHT][side]; set; set &= set - 1) {
        const int s   = std::countr_zero(set);
        const u64 hit = KnightAttacks[s];
        e.AttackMaps[side] |= hit;
        e.AttacksByKnight[side] |= hit;
        e.MinorAttacks[side] |= hit;
        TrappedTest(side, s, hit, KnightTrapCurve);
        Outpost(side, s, KnightOutpost, KnightOutpostDefended, KnightOutpostContested);
        if (attack) NoteKingAttacker(side, KNIGHT, s, hit);
        AddTerm(side, KnightBlockedPawn, PopCount(e.BlockedPawns[enemy]));
    }
}

void EvaluateQueens(int side) {
    const Position& b    = thread_board;
    EvalInfo& e          = thread_eval_info;
    const int enemy      = ChangeSide(side);
    const bool attack    = !e.Ending[enemy];
    const int enemyKing  = RelRank(side, b.KingSquare[enemy]);
    const u64 second     = RankMask(side == BLACK ? 1 : 6);
    for (u64 set = b.Pieces[QUEEN][side]; set; set &= set - 1) {
        const int s        = std::countr_zero(set);
        const int rank     = RelRank(side, s);
        const u64 rankHits = RankAttacksFrom(s);
        const u64 hits     = rankHits | FileAttacksFrom(s) | BishopAttacks(s);
        if (rank == 0 && enemyKing <= 1) {
            AddTerm(side, QueenOnEighth);
        } else if (rank == 1 && (enemyKing == 0 || (b.Pieces[PAWN][enemy] & second))) {
            if (rankHits & (b.Pieces[ROOK][side] | b.Pieces[QUEEN][side])) AddTerm(side, QueenSeventhBattery);
        }
        e.AttackMaps[side] |= hits;
        e.AttacksByQueen[side] |= hits;
        AddTerm(side, QueenMobility, PopCount(hits & ~b.Pieces[0][side]) - 13);
        if (attack) NoteKingAttacker(side, QUEEN, s, hits);
        if (DirectionTable[s][b.KingSquare[enemy]]) PinTest(side, s, PinByQueen);
    }
}

void EvaluateBishops(int side) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    const u64 bishops = b.Pieces[BISHOP][side];
    if (!bishops) return;
    const int enemy   = ChangeSide(side);
    const bool attack = !e.Ending[enemy];
    // Squares named for Black; White's are the board turned about.
    auto at = [&](int square) { return Bit(Rel(side, square)); };
    constexpr int A2 = 8, H2 = 15, B3 = 17, G3 = 22, F8 = 61, G7 = 54, H8 = 63, G6 = 46;

    if (((bishops & at(A2)) && (b.Pieces[PAWN][enemy] & at(B3))) ||
        ((bishops & at(H2)) && (b.Pieces[PAWN][enemy] & at(G3))))
        AddTerm(side, BishopTrapped, -1);

    if (b.PieceCount[BISHOP][side] == 1) {
        const u64 colour  = (bishops & DarkSquares) ? DarkSquares : LightSquares;
        const u64 own     = b.Pieces[PAWN][side] & colour;
        const u64 front   = side == BLACK ? (b.AllPieces | e.PawnAttacks[enemy]) << 8 : (b.AllPieces | e.PawnAttacks[enemy]) >> 8;
        const u64 stopped = own & front;
        AddTerm(side, BadBishopPawn, -PopCount(own));
        AddTerm(side, BadBishopBlocked, -PopCount(stopped));
    }

    const u64 pawns = b.Pieces[PAWN][WHITE] | b.Pieces[PAWN][BLACK];
    if (b.PiecePoints[WHITE] == b.PiecePoints[BLACK] && b.PiecePoints[side] <= 8 && !b.Pieces[BISHOP][enemy] &&
        (pawns & QUEEN_WING) && (pawns & KING_WING))
        AddTerm(side, BishopBothWings);

    if (!e.Ending[side]) {
        const int king = b.KingSquare[side];
        const int g7 = side == BLACK ? G7 : 14, g6 = side == BLACK ? G6 : 22;
        const u64 homes = side == BLACK ? Bit(F8) | Bit(G7) | Bit(H8) : Bit(5) | Bit(14) | Bit(7);
        if (FileOf(king) >= 5 && (b.Pieces[PAWN][side] & Bit(g6)) && !(b.Pieces[PAWN][side] & Bit(g7)) &&
            (KingAttacks[g7] & Bit(king)) && (bishops & homes))
            AddTerm(side, FianchettoKing);
    }

    for (u64 set = bishops; set; set &= set - 1) {
        const int s   = std::countr_zero(set);
        const u64 hit = BishopAttacks(s);
        e.AttackMaps[side] |= hit;
        e.AttacksByBishop[side] |= hit;
        e.MinorAttacks[side] |= hit;
        if (attack) NoteKingAttacker(side, BISHOP, s, hit);
        AddTerm(side, BishopMobility, PopCount(hit & ~b.AllPieces) - 6);
        if (Diagonal(s, b.KingSquare[enemy])) PinTest(side, s, PinByBishop);
        TrappedTest(side, s, hit, BishopTrapCurve);
        Outpost(side, s, BishopOutpost, BishopOutpostDefended, BishopOutpostContested);
    }
}

void EvaluateThreats() {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    for (int side = WHITE; side <= BLACK; side++) {
        const int enemy = ChangeSide(side);
        const u64 hits  = e.AttackMaps[enemy] | e.KingRing[enemy];
        const u64 cover = e.AttackMaps[side] | e.KingRing[side];
        const u64 pieces =
            b.Pieces[KNIGHT][side] | b.Pieces[BISHOP][side] | b.Pieces[ROOK][side] | b.Pieces[QUEEN][side];
        const u64 byPawns = e.PawnAttacks[enemy], byMinors = byPawns | e.MinorAttacks[enemy];
        const u64 threatened = (pieces & hits & ~cover) |
                               ((b.Pieces[KNIGHT][side] | b.Pieces[BISHOP][side]) & byPawns) |
                               (b.Pieces[ROOK][side] & byMinors) |
                               (b.Pieces[QUEEN][side] & (byMinors | e.AttacksByRook[enemy]));
        e.ThreatCount[side] = PopCount(threatened);
    }
    const int d = e.ThreatCount[WHITE] - e.ThreatCount[BLACK];
    e.PackedScore += ThreatTable[std::clamp(d + 8, 0, 16)] - ThreatTable[std::clamp(8 - d, 0, 16)];
    TRACE_TERM(ThreatTable[std::clamp(d + 8, 0, 16)], 1);
    TRACE_TERM(ThreatTable[std::clamp(8 - d, 0, 16)], -1);
}

void EvaluateDevelopment() {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    int mg[2], eg[2];
    for (int side = WHITE; side <= BLACK; side++) {
        const int home = side == WHITE ? 0 : 56; // a1 or a8
        auto on        = [&](int piece, int file) { return (b.Pieces[piece][side] >> (home + file)) & 1; };
        const int king = b.KingSquare[side] - home;
        int bits       = (king >= 2 && king <= 5) ? 1 : 0;
        bits |= int(on(QUEEN, 3)) << 1 | int(on(KNIGHT, 1)) << 2 | int(on(KNIGHT, 6)) << 3;
        bits |= int(on(BISHOP, 2)) << 4 | int(on(BISHOP, 5)) << 5;
        const int cls          = DevelopmentTable[bits];
        e.DevelopmentClass[side] = cls;
        const int second = side == WHITE ? 8 : 48, third = side == WHITE ? 16 : 40;
        const u64 pawns  = b.Pieces[PAWN][side];
        const int block  = int(((pawns >> (second + 4)) & 1) && ((b.AllPieces >> (third + 4)) & 1)) +
                          int(((pawns >> (second + 3)) & 1) && ((b.AllPieces >> (third + 3)) & 1));
        const int pattern = int((pawns >> (second + 1)) & 63);
        mg[side]          = (HomePawnsMg[pattern] + CentreBlockMg[block]) * DevelopmentWeight[cls];
        eg[side]          = (HomePawnsEg[pattern] + CentreBlockEg[block]) * DevelopmentWeight[cls];
    }
    e.PackedScore -= PackPair((mg[BLACK] - mg[WHITE]) / 32, (eg[BLACK] - eg[WHITE]) / 32);
}
