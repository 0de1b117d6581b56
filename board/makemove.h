// Playing and taking back moves on thread_board, with every redundant view kept up to date, and
// the repetition tests that depend on the game record.
#pragma once
#include <cstdint>

#include "board/position.h"

// Four keys and their moves per bucket; the key is the HashKey change of one reversible move.
struct ReversibleBucket {
    u64 Keys[4];
    uint16_t Moves[4];
};
static_assert(sizeof(ReversibleBucket) == 40, "a bucket is 40 bytes");
constexpr int REVERSIBLE_BUCKETS = 8192;
extern ReversibleBucket* ReversibleMoveTable;

// save = 0 is valid only when History[HistoryCount] already holds the current position, as it
// does right after UnmakeMove of a sibling move.
void MakeMove(Move move, int save);
void UnmakeMove();
int IsThreefold();
void BuildReversibleMoveTable();
void FreeReversibleMoveTable();
