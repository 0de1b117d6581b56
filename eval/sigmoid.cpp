#include "eval/sigmoid.h"

#include <cmath>

#include "eval/params.h"

int32_t PawnEndgameSigmoid[2 * PAWN_ENDGAME_SIGMOID_CENTRE + 1];
int32_t PressureSigmoid[64];
int32_t AttackHorrorSigmoid[512];
int32_t DefendHorrorSigmoid[512];

// Amplitude a, slope b in thousandths, centre c; rounded half away from zero.
static int32_t Logistic(int32_t a, int32_t b, int32_t c, int i) {
    return int32_t(std::round(a / (1.0 + std::exp(double(c - i) * b / 1000.0)) - a / 2.0));
}

void InitPawnEndgameSigmoid() {
    for (int i = -PAWN_ENDGAME_SIGMOID_CENTRE; i <= PAWN_ENDGAME_SIGMOID_CENTRE; i++)
        PawnEndgameSigmoid[i + PAWN_ENDGAME_SIGMOID_CENTRE] = Logistic(PawnEndgameA, PawnEndgameB, 0, i);
}

void InitPressureSigmoid() {
    for (int i = 0; i < 64; i++) PressureSigmoid[i] = Logistic(PressureA, PressureB, PressureCentre, i);
}

void InitAttackHorrorSigmoid() {
    for (int i = 0; i < 512; i++)
        AttackHorrorSigmoid[i] = Logistic(AttackHorrorA, AttackHorrorB, AttackHorrorC, i);
}

void InitDefendHorrorSigmoid() {
    for (int i = 0; i < 512; i++)
        DefendHorrorSigmoid[i] = Logistic(DefendHorrorA, DefendHorrorB, DefendHorrorC, i);
}

void InitSigmoidTables() {
    InitPawnEndgameSigmoid();
    InitPressureSigmoid();
    InitAttackHorrorSigmoid();
    InitDefendHorrorSigmoid();
}
