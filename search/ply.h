// What the search shares with the board code below it: units, node kinds and the per-ply record.
#pragma once
#include <cstdint>

#include "board/position.h"

constexpr int ONE_PLY      = 4; // depths are in quarter plies
constexpr int MATE_SCORE   = 32700;
constexpr int MATE_BOUND   = 31000;
constexpr int TB_WIN_SCORE = 31700;

constexpr int NODE_PV  = 0;
constexpr int NODE_CUT = -1;
constexpr int NODE_ALL = 1;

// PlyRecord::Flags: how the move searched from this node came about.
constexpr int FLAG_CHECK            = 1;
constexpr int FLAG_MATE_THREAT_MOVE = 2;
constexpr int FLAG_RECAPTURE        = 4;
constexpr int FLAG_PASSED_PUSH      = 8;
constexpr int FLAG_QUIET_CHECKS     = 16;
constexpr int FLAG_SAFE_THREAT      = 32;
constexpr int FLAG_REDUCED          = 64;
constexpr int FLAG_LAST_PIECE       = 128;
constexpr int FLAG_SINGLE_REPLY     = 256;

struct PlyRecord {
    int Flags;
    int InCheck;
    int StaticEval;
    Move Killer1[2];
    Move Killer2[2];
    Move BestMove;
    Move ThreatMove;
    u64 AttackedBy[2];
    Move TriedMoves[9];
    int TriedCount;
};

constexpr int PLY_STACK_SIZE = 256;
// Search and Quiesce stop descending here and return the static evaluation.
constexpr int MAX_PLY = 250;

extern PlyRecord PlyStack[PLY_STACK_SIZE];
extern int Ply;

// Nodes visited by the running search (and leaves counted by perft).
extern uint64_t NodeCount;
