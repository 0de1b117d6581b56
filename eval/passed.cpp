#include "eval/passed.h"

#include "eval/evaluate.h"

// Passed pawns are not valued yet beyond what the pawn structure gives them.
void EvaluatePassedPawns() {}
