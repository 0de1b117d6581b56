#include "eval/pieces.h"

#include <bit>

#include "board/geometry.h"
#include "eval/evaluate.h"
#include "eval/king.h"

// So far the walk only fills the attack maps and counts the attack on the enemy king; the terms
// of the pieces themselves add nothing yet.

namespace {

constexpr u64 FILE_A = 0x0101010101010101ULL;
constexpr u64 FILE_H = FILE_A << 7;

// Every man of `piece` of `side`: its attacks into the maps, and its part in the king attack
// unless the enemy king is safe by material.
template <typename Attacks> void Walk(int side, int piece, u64* byType, Attacks attacksFrom) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    const bool attack = !e.Ending[ChangeSide(side)];
    for (u64 set = b.Pieces[piece][side]; set; set &= set - 1) {
        const int s   = std::countr_zero(set);
        const u64 hit = attacksFrom(s);
        e.AttackMaps[side] |= hit;
        byType[side] |= hit;
        if (piece == KNIGHT || piece == BISHOP) e.MinorAttacks[side] |= hit;
        if (attack) NoteKingAttacker(side, piece, s, hit);
    }
}

} // namespace

void EvaluateKingCorners() {}

void EvaluateRooks(int side) {
    Walk(side, ROOK, thread_eval_info.AttacksByRook, [](int s) { return RookAttacks(s); });
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

void EvaluateLoosePawns() {}
void EvaluateBlockedPawns() {}

void EvaluateKnights(int side) {
    Walk(side, KNIGHT, thread_eval_info.AttacksByKnight, [](int s) { return KnightAttacks[s]; });
}

void EvaluateQueens(int side) {
    Walk(side, QUEEN, thread_eval_info.AttacksByQueen, [](int s) { return QueenAttacks(s); });
}

void EvaluateBishops(int side) {
    Walk(side, BISHOP, thread_eval_info.AttacksByBishop, [](int s) { return BishopAttacks(s); });
}

void EvaluateThreats() {}
void EvaluateDevelopment() {}
