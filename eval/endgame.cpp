#include "eval/endgame.h"

#include "eval/evaluate.h"
#include "eval/material.h"

int EvaluateEnding(int* result, int* final) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    *result           = 0;
    *final            = 1;

    const MaterialRecord& row = MaterialRecords[b.MaterialIndex];
    for (int side = WHITE; side <= BLACK; side++) e.CannotWin[side] = row.Flags[side] & MATERIAL_CANNOT_WIN;
    // Neither side can mate.
    if (e.CannotWin[WHITE] && e.CannotWin[BLACK]) return 0;

    // The verdicts of known endings (won and drawn pawn endings, fortresses, stalemate) come here.

    ReadMaterialRecord();
    int score = e.MaterialScore;

    // Bonuses for mating force against a bare king and for knights in the endgame come here.

    *final = 0;
    return score;
}

// No ending is scaled yet.
void ApplyScalingRules(int*) {}
