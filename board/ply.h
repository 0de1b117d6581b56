// The per-ply record of a walk through the move tree, with its stack. The search writes it; the
// move generators and the exchange test below the search read it too, so it lives with the board.
#pragma once
#include <cstdint>

#include "board/position.h"

// PlyRecord::Flags: how the move being searched from this node came about.
constexpr int FLAG_CHECK        = 1;   // the move gives check
constexpr int FLAG_MATE_THREAT  = 2;   // hash move of a node where the mover is threatened with mate
constexpr int FLAG_RECAPTURE    = 4;   // an extended recapture
constexpr int FLAG_PASSER_PUSH  = 8;   // a passed pawn pushed into the far half of the board
constexpr int FLAG_QUIET_CHECKS = 16;  // quiescence tried quiet checks at this node
constexpr int FLAG_SAFE_THREAT  = 32;  // a safe threat: the child may not take the static null-move exit
constexpr int FLAG_REDUCED      = 64;  // a reduced search of this move is running
constexpr int FLAG_LAST_PIECE   = 128; // captures the last piece on the board
constexpr int FLAG_SINGLE_REPLY = 256; // the only legal reply, or a capture that brings the score near alpha

struct PlyRecord {
    int Flags;
    int InCheck;        // side to move here is in check; written by the parent before entry
    int StaticEval;     // from the view of the side to move
    Move Killer1[2];    // newest killer per side
    Move Killer2[2];    // older killer per side
    Move BestMove;      // cleared on entry; the parent reads it as the refutation
    Move ThreatMove;    // the opponent's best reply in this node's null-move search, else 0
    u64 AttackedBy[2];  // squares attacked by each side as Evaluate saw them; 0 after a lazy exit
    Move TriedMoves[9]; // moves already offered by the single-move stages of the picker
    int TriedCount;
};

// The root killer shift touches 194 records; the search stops descending at MAX_SEARCH_PLY, which
// also keeps game plus search inside History.
constexpr int PLY_STACK_SIZE = 256;
constexpr int MAX_SEARCH_PLY = 250;

// Indexed by Ply, the distance from the root position; a root move is searched at Ply 1.
extern PlyRecord PlyStack[PLY_STACK_SIZE];
extern int Ply;

// Zeroes every record and puts Ply back to the root.
void ClearPlyStack();

// Nodes visited by the running search (and leaves counted by perft).
extern uint64_t NodeCount;
