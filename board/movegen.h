// Move generators: moves go straight into the one global MoveList with their ordering score and
// exchange verdict already attached.
#pragma once
#include <cassert>

#include "board/position.h"

struct MoveEntry {
    Move move;
    int score;
    int see; // 1 the move loses nothing, 0 it does, UNKNOWN_SEE not tested yet
};
static_assert(sizeof(MoveEntry) == 12, "three words per entry");

constexpr int UNKNOWN_SEE     = 32700;
constexpr int MOVE_LIST_SIZE  = 65536;
constexpr int LEGAL_TEST_BASE = 5000;  // IsMoveLegal works from here up
constexpr int ANALYSIS_BASE   = 63536; // moves to ponder or analyse on

extern MoveEntry MoveList[MOVE_LIST_SIZE];
extern int MoveListTop;

inline void PushMove(Move move, int score, int see) {
    assert(MoveListTop < MOVE_LIST_SIZE);
    MoveEntry& entry = MoveList[MoveListTop++];
    entry.move       = move;
    entry.score      = score;
    entry.see        = see;
}

void GenerateCaptures(u64 targets);
void GenerateGoodCaptures(u64 targets);
void GeneratePromotions();
void GenerateQuiet(int kind);
int GenerateEvasions(int stage);
void AddMoveIfPlayable(Move move);
void GenerateLegalMoves(int start);
int IsMoveLegal(Move move);

// Adders shared with the stage machine of the search.
void AddCapture(Move move);
// A capture that passes the exchange test, with the score of a good capture; others are dropped.
void AddGoodCapture(Move move);
void AddQuiet(Move move, int kind);
// Score of a quiet move from the cutoff history and the follow-up memory.
int QuietScore(Move move, int kind, int good);
