#include "eval/pawns.h"

#include "board/geometry.h"
#include "eval/evaluate.h"

int64_t PawnHashEntries;

// The files and the passed pawns are found here; the structure terms, the wing cover and the pawn
// table are still to come, so PawnScore stays 0.
void EvaluatePawns() {
    const Position& b  = thread_board;
    EvalInfo& e        = thread_eval_info;
    PawnHashEntry& memo = e.PawnMemo;
    // A search that touches no pawn finds the structure in the memo as it stands.
    if (memo.PawnKey != b.PawnHashKey) {
        memo = PawnHashEntry{};
        memo.PawnKey = b.PawnHashKey;
        const u64 pawns[2] = {b.Pieces[PAWN][WHITE], b.Pieces[PAWN][BLACK]};
        for (int side = WHITE; side <= BLACK; side++) {
            for (u64 set = pawns[side]; set; set &= set - 1) {
                const int sq   = __builtin_ctzll(set);
                const u64 mask = side == WHITE ? PassedMaskWhite[sq] : PassedMaskBlack[sq];
                memo.PawnFiles[side] |= uint8_t(1 << FileOf(sq));
                if (!(mask & pawns[ChangeSide(side)])) memo.PassedVector[side] |= uint8_t(1 << FileOf(sq));
            }
        }
    }
    e.PackedScore += memo.PawnScore;
    for (int side = WHITE; side <= BLACK; side++) {
        u64 files = 0;
        for (int f = 0; f < 8; f++)
            if (memo.PassedVector[side] & (1 << f)) files |= ~NotFileMask[f];
        e.PassedPawns[side] = b.Pieces[PAWN][side] & files;
    }
}
