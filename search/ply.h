// What the search shares with the board code below it: units of depth and score, node kinds, and
// the per-ply record with its stack. The move generators and the exchange test read the record
// too, so it stands apart from the search itself.
#pragma once
#include <cstdint>

#include "board/position.h"

// Depth is counted in quarter plies; below one ply the search drops into quiescence.
constexpr int ONE_PLY = 4;

// A side mated at ply p scores p - MATE_SCORE; beyond +-MATE_BOUND a score is a mate score and is
// stored relative to the node. Tablebase wins at ply p score TB_WIN_SCORE - p. Draws score 0: there
// is no contempt.
constexpr int MATE_SCORE   = 32700;
constexpr int MATE_BOUND   = 31000;
constexpr int TB_WIN_SCORE = 31700;
constexpr int DRAW_SCORE   = 0;

// Node kinds passed down by Search and Quiesce.
constexpr int NODE_PV  = 0;
constexpr int NODE_CUT = -1;
constexpr int NODE_ALL = 1;

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
