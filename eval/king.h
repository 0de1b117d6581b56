// King safety: the pawn cover of a king on its square, and the attack of the enemy men on it.
#pragma once

// Grades the cover of `side`'s king into shelter_penalty[side] (0 to 63) and returns its cost,
// 0 or negative; the caller subtracts it from the attacker's midgame sum.
int EvaluateKingShelter(int side);
// A queen of `side` against the enemy king's shelter class.
void EvaluateShelterAgainstQueen(int side);
// The attack of `side`'s men on the enemy king, into SideMg[side] and TempoAttack[side].
void EvaluateKingAttack(int side);
// Safe queen checks after the blend; adds to the running score and to MirrorSum by the side to
// move.
void EvaluateQueenChecks(int* score);
