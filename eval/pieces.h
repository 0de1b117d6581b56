// What each piece earns on its square, and the attack maps that king safety counts on. Every
// routine adds packed pairs to PackedScore from Black's view.
#pragma once

// Pawn walls and rooks shut in by their own king.
void EvaluateKingCorners();
void EvaluateRooks(int side);
// Pawn attack maps (their part in the king attack is counted with the rest of it).
void EvaluatePawnAttacks();
void EvaluateLoosePawns();
// Blocked pawns and the square classes of the trapped-minor test.
void EvaluateBlockedPawns();
void EvaluateKnights(int side);
void EvaluateQueens(int side);
void EvaluateBishops(int side);
// Men under cheap threats.
void EvaluateThreats();
// Undeveloped men and home pawns; sets DevelopmentClass.
void EvaluateDevelopment();
