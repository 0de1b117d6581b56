#include "eval/pieces.h"

#include "eval/evaluate.h"

// The piece terms are not scored yet: each adds nothing and fills no attack map.

void EvaluateKingCorners() {}
void EvaluateRooks(int) {}
void EvaluatePawnAttacks() {}
void EvaluateLoosePawns() {}
void EvaluateBlockedPawns() {}
void EvaluateKnights(int) {}
void EvaluateQueens(int) {}
void EvaluateBishops(int) {}
void EvaluateThreats() {}
void EvaluateDevelopment() {}
