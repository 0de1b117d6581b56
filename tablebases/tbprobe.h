// Endgame tables as the search sees them.
#pragma once

// ---- Settings: set at start-up, changed by the ini file and the UCI option ----
extern int UseEGTB; // tables are used at all
// The directory list of the tables; "<empty>" names none.
constexpr int EGTB_PATH_SIZE = 1024;
extern char EgtbPath[EGTB_PATH_SIZE];
void SetDefaultTablebaseSettings();

// Men of the largest table found; 0 when there is none (the search probes nothing then).
extern int TbMaxMen;

extern int TbHits;
extern int TbRootSolved;

// Win-draw-loss value (-2..2) of the current position for the side to move; success 0 when the
// position is not in the tables.
int ProbeWdlInSearch(int* success);
// The root position is in the tables and its moves were filtered by them.
extern int RootInTablebase;
