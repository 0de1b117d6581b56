#include "eval/king.h"

#include "eval/evaluate.h"

// King safety is not scored yet: every king counts as sheltered and unattacked.

int EvaluateKingShelter(int side) {
    thread_eval_info.shelter_penalty[side] = 0;
    return 0;
}

void EvaluateShelterAgainstQueen(int) {}

void EvaluateKingAttack(int) {}

void EvaluateQueenChecks(int*) {}
