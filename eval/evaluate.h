// The static evaluation: Evaluate for the search (lazy exit, cache, fifty-move scaling) and
// EvaluateFull, which runs every term in its fixed order. Scores are from the view of the side to
// move outside; inside EvaluateFull they are from Black's view, a term that favours Black being
// added.
//
// Terms are summed as packed pairs, (midgame << 16) + endgame in one 32-bit word with both halves
// signed: adding two pairs adds both halves, a negative endgame half borrowing from the midgame
// half. The word is split once, at the blend.
#pragma once
#include <cstdint>

#include "board/position.h"
#include "eval/pawns.h"

constexpr int32_t PackPair(int midgame, int endgame) { return int32_t(uint32_t(midgame) * 65536u + uint32_t(endgame)); }
// A plain value enters a pair with equal halves.
constexpr int32_t PackEqualPair(int value) { return PackPair(value, value); }
constexpr int PairMidgame(int32_t word) { return int32_t(uint32_t(word) + 0x8000u) >> 16; }
constexpr int PairEndgame(int32_t word) { return int16_t(uint16_t(uint32_t(word) & 0xFFFF)); }
// score * factor / 2^shift, towards zero: a factor in 256ths with shift 8.
constexpr int ScaleScore(int score, int factor, int shift) {
    return int(int64_t(score) * factor / (int64_t(1) << shift));
}

// The one scratch record of the evaluation, overwritten by every EvaluateFull. Pairs are indexed
// by side. For danger, AttackerSum, TempoAttack, AttackForce and SafeRingAttacks the index is the
// attacking side; for shelter_penalty and DefenceForce the side of the king attacked; the check
// maps are indexed by the side of the king that would be checked.
struct EvalInfo {
    int32_t CannotWin[2]; // the side lacks the force to mate
    u64 AllPawns;
    PawnHashEntry PawnMemo; // the last pawn structure evaluated; lives while its key matches
    int16_t DefenceForce[2];
    int16_t AttackForce[2];
    // Cleared by every EvaluateFull from here on.
    int32_t FinalScore; // the result from Black's view
    int32_t PackedScore;
    // Terms credited to a side, blended by that side's own phase: its attack on the enemy king,
    // the enemy's shelter penalty, minus the enemy's passed pawns.
    int32_t SideMg[2], SideEg[2];
    int32_t TempoAttack[2]; // part of the king attack that counts only with its side to move
    u64 AttacksByQueen[2], AttacksByKnight[2], AttacksByBishop[2], AttacksByRook[2];
    u64 PawnAttacks[2];
    u64 BlockedPawns[2];
    u64 MobilityRing1[2], MobilityRing2[2], MobilityRing3[2], MobilityRing4[2];
    u64 KingRing[2];
    u64 SafeRingAttacks[2];
    u64 MinorAttacks[2];
    int32_t ThreatCount[2];
    // Squares from which a man of that type would check the king of the index side, less the
    // squares of the checking side's own men.
    u64 RookChecks[2], QueenChecks[2], BishopChecks[2], KnightChecks[2];
    int32_t danger[2];
    int32_t shelter_penalty[2]; // shelter class 0 to 63 of each side's own king
    int32_t Ending[2];          // the other side has too little force to attack this king
    int32_t MaterialScore;
    int32_t SideIndependent; // no fact used so far depends on the side to move
    int32_t Cacheable;
    int32_t RawScore; // the blend, before scaling and tempo
    // Score with Black to move plus score with White to move, each from the mover's view.
    int32_t MirrorSum;
    int32_t AttackerSum[2];
    u64 AttackMaps[2]; // every square a side attacks; at exit its king ring is included
    // Per side: its passed pawns, its men pinned to its king, its king-ring squares under attack.
    u64 WeakMenMaps[2];
    u64 PassedPawns[2];
    int32_t DevelopmentClass[2];
};
extern EvalInfo thread_eval_info;

// One position for both sides to move. The key is inverted for Black as the engine's side when
// Aggressivity and Cowardice differ, since the shelter terms then depend on whose king is whose.
//   0 key (HashKey ^ ZobristCastle[CastleRights])  8 weak[2]  24 attacks[2]
//  40 score[White to move, Black to move] (-32700 not known)  44 material
//  46 threats: ThreatCount of White in the low four bits, of Black in the high four, each at most 15
//  47 padding
// The threat counts travel with the maps: the search reads them after every Evaluate, and a hit
// must not leave those of the last position evaluated in full.
struct EvalCacheEntry {
    u64 key;
    u64 weak[2];
    u64 attacks[2];
    int16_t score[2];
    uint16_t material;
    uint8_t threats;
};
static_assert(sizeof(EvalCacheEntry) == 48);

constexpr int EVAL_UNKNOWN           = -32700;
constexpr int64_t EVAL_CACHE_DEFAULT = 0x80000;
constexpr int EVAL_CACHE_SPARE       = 2;

// ---- Settings: set at start-up, changed by the ini file and UCI options ----
// The weight of the attacking terms in percent: Aggressivity for the engine's own attack,
// Cowardice for the opponent's. Only the halves reach the evaluation.
extern int Aggressivity, AggressivityHalf;
extern int Cowardice, CowardiceHalf;
// Entries of the evaluation cache: the default at start-up; only xboard's `memory` changes it.
extern int64_t EvalCacheEntries;
void SetDefaultEvalSettings();


// ---- Set by the root search for every search ----
// The side to move at the root: the lazy bounds are from its view.
extern int EngineSide;
// Bounds of the lazy exit, from the view of EngineSide.
extern int LazyLower, LazyUpper;

// The score of thread_board from the view of the side to move. Afterwards AttackMaps and
// WeakMenMaps describe the position (0 after a lazy exit) and MaterialScore is set unless the
// lazy exit was taken.
int Evaluate();
// Every term, without the lazy exit, the cache or the fifty-move scale.
void EvaluateFull(int* result);
// Phase of the current material (0 full board .. 256 empty), as the evaluation computes it.
int CurrentPhase();
// The `evl` command.
void PrintEvaluation();

// Allocates EvalCacheEntries + EVAL_CACHE_SPARE entries, replacing the old block; returns 0 when
// the memory could not be had.
int AllocateEvalCache();
void FreeEvalCache();
// All zero, with the first key all ones so that a zero key cannot hit it.
void ClearEvalCache();
