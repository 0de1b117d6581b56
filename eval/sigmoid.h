// Logistic curves built once at start-up from their parameters:
//   T[i] = round(a / (1 + exp((c - i) * b / 1000)) - a / 2)
// A `reload` changes the parameters but not the curves.
#pragma once
#include <cstdint>

// The king term of a passer, index -150..150 stored from entry 0.
constexpr int PAWN_ENDGAME_SIGMOID_CENTRE = 150;
extern int32_t PawnEndgameSigmoid[2 * PAWN_ENDGAME_SIGMOID_CENTRE + 1];
// How much the attackers near a king press on it, by AttackerSum.
extern int32_t PressureSigmoid[64];
// The attack grows or shrinks by the attacker's force and the defender's, by 256ths.
extern int32_t AttackHorrorSigmoid[512];
extern int32_t DefendHorrorSigmoid[512];

void InitPawnEndgameSigmoid();
void InitPressureSigmoid();
void InitAttackHorrorSigmoid();
void InitDefendHorrorSigmoid();
// All four.
void InitSigmoidTables();
