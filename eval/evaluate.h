// The static evaluation: Evaluate for the search (lazy exit, cache, fifty-move scaling) and
// EvaluateFull, which runs every term in its fixed order. Scores are from the view of the side to
// move outside; inside EvaluateFull they are from Black's view.
#pragma once
#include <cstdint>

#include "board/position.h"

// The one scratch record of the evaluation, overwritten by every EvaluateFull.
struct EvalInfo {
    int32_t CannotWin[2];
    u64 AllPawns;
    int32_t FinalScore;
    int32_t PackedScore;
    int32_t SideMg[2], SideEg[2];
    int32_t TempoAttack[2];
    u64 AttacksByQueen[2], AttacksByKnight[2], AttacksByBishop[2], AttacksByRook[2];
    u64 PawnAttacks[2];
    u64 KingRing[2];
    int32_t ThreatCount[2];
    int32_t danger[2];
    int32_t shelter_penalty[2];
    int32_t Ending[2];
    int32_t MaterialScore;
    int32_t SideIndependent;
    int32_t Cacheable;
    int32_t RawScore;
    int32_t MirrorSum;
    u64 AttackMaps[2];
    u64 WeakMenMaps[2];
    u64 PassedPawns[2];
};
extern EvalInfo thread_eval_info;

// Bounds of the lazy exit, from the view of EngineSide; set by the root search.
extern int LazyLower, LazyUpper;

int Evaluate();
void EvaluateFull(int* result);
// Phase of the current material (0 full board .. 256 empty), as the evaluation computes it.
int CurrentPhase();
