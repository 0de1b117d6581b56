// The alpha-beta node and the capture search below it.
#pragma once
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

extern int SelDepth;

int Search(int alpha, int beta, int depth, int allowNull, int nodeKind);
int Quiesce(int alpha, int beta, int qdepth, int nodeKind);
// What a capture is estimated to win, for the capture search's pruning.
int CaptureGain(Move move);
