// King safety: the pawn cover of a king on its square, and the attack of the enemy men on it.
#pragma once
#include "board/position.h"

// Grades the cover of `side`'s king into shelter_penalty[side] (0 to 63) and returns its cost,
// 0 or negative; the caller subtracts it from the attacker's midgame sum. The engine's own king
// is weighed by Cowardice, the opponent's by Aggressivity.
int EvaluateKingShelter(int side);
// A queen of `side` against the enemy king's shelter class.
void EvaluateShelterAgainstQueen(int side);
// A rook, knight, bishop or queen of `side` on `square`, attacking `attacks`, as the piece walk
// meets it, unless the enemy king is safe by material. What it does against that king is counted
// by EvaluateKingAttack, once every attack map stands.
void NoteKingAttacker(int side, int piece, int square, u64 attacks);
// Against the enemy king: what each noted man does (ring attacks, safe checks, files that lead to
// the king), the pawns, the kings, every ring square, then the attack value, into SideMg[side] and
// TempoAttack[side]; after the piece walk, unless the enemy king is safe by material.
void EvaluateKingAttack(int side);
// Set while `evl` evaluates: danger is then summed in full even where it cannot change the score.
extern int FullDanger;
// Safe queen checks after the blend; adds to the running score and to MirrorSum by the side to
// move.
void EvaluateQueenChecks(int* score);
// 1 when the man on `from` can go to `target` without losing material in the exchange there.
int ExchangeIsSafe(int target, int from);
