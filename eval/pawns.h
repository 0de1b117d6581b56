// The pawn skeleton: connected, doubled, isolated, backward and candidate pawns, levers, the width
// of the pawn mass, passed pawns, pawn files, weak files and the pawn cover of both wings, all of
// which depend on the pawns alone and are kept in the pawn hash by PawnHashKey.
#pragma once
#include <cstdint>

#include "board/position.h"

// What one pawn structure is worth and what it leaves for the other terms. 22 bytes with no
// padding, the same record in the pawn table and in the memo of thread_eval_info. Pairs are
// indexed by side; WingShelter is [side][0 king wing f-h, 1 queen wing a-c].
//   0 PawnKey  8 PawnScore (packed pair, Black's view)  12 PassedVector  14 PawnFiles
//  16 WeakFiles  18 WingShelter
// A file set is a byte, bit 0 = file a. WeakFiles: files where an isolated or backward pawn of
// the side has no pawn of either colour ahead of it.
#pragma pack(push, 1)
struct PawnHashEntry {
    u64 PawnKey;
    int32_t PawnScore;
    uint8_t PassedVector[2];
    uint8_t PawnFiles[2];
    uint8_t WeakFiles[2];
    uint8_t WingShelter[2][2];
};
#pragma pack(pop)
static_assert(sizeof(PawnHashEntry) == 22);

constexpr int64_t PAWN_HASH_DEFAULT = 0x40000;
constexpr int PAWN_HASH_SPARE       = 2;
// Entries of the pawn hash (a setting: the ini file and the UCI option change it); 0 turns the
// table off, and every structure is then scored afresh.
extern int64_t PawnHashEntries;

// Adds PawnScore to PackedScore, leaves the memo of thread_eval_info valid for the position and
// sets PassedPawns: every pawn of a side on a file of its PassedVector.
void EvaluatePawns();
// The wing grades of the memo from the pawns of thread_board.
void EvaluatePawnShelter();
// 0 to 3 for an own pawn on the side's second, third, fourth rank of the file or none there, plus
// 4 when the other side has no pawn on the file.
int ShelterFileCode(int side, int file);

// Allocates PawnHashEntries + PAWN_HASH_SPARE entries, replacing the old block, and clears it;
// returns 0 when the memory could not be had.
int AllocatePawnHash();
void FreePawnHash();
// All zero, with the first key all ones so that a zero key cannot hit it; the memo is forgotten.
void ClearPawnHash();
