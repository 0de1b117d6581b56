// Endgame tables as the search sees them.
#pragma once

extern int TbHits;
extern int TbRootSolved;

// Win-draw-loss value (-2..2) of the current position for the side to move; success 0 when the
// position is not in the tables.
int ProbeWdlInSearch(int* success);
// The root position is in the tables and its moves were filtered by them.
extern int RootInTablebase;
