// King safety: the pawn cover of a king on its square, and the attack of the enemy men on it.
#pragma once
#include "board/position.h"

// Grades the cover of `side`'s king into shelter_penalty[side] (0 to 63) and returns its cost,
// 0 or negative; the caller subtracts it from the attacker's midgame sum. The engine's own king
// is weighed by Cowardice, the opponent's by Aggressivity.
int EvaluateKingShelter(int side);
// A queen of `side` against the enemy king's shelter class.
void EvaluateShelterAgainstQueen(int side);
// What one rook, knight, bishop or queen of `side` on `square`, attacking `attacks`, does against
// the enemy king: ring attacks, safe checks, files that lead to the king. Run by the piece walk
// unless the enemy king is safe by material.
void CountKingAttack(int side, int piece, int square, u64 attacks);
// The pawns, the kings and every ring square against the enemy king, then the attack value, into
// SideMg[side] and TempoAttack[side]; after the piece walk.
void EvaluateKingAttack(int side);
// Safe queen checks after the blend; adds to the running score and to MirrorSum by the side to
// move.
void EvaluateQueenChecks(int* score);
// 1 when the man on `from` can go to `target` without losing material in the exchange there.
int ExchangeIsSafe(int target, int from);
