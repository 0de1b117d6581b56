// Endgame tables as the rest of the engine sees them: the settings, the probes of the current
// position, and the counters of the search.
#pragma once

// ---- Settings: set at start-up, changed by the ini file and the UCI option ----
extern int UseEGTB; // tables are used at all
// The directory list of the tables; "<empty>" names none.
constexpr int EGTB_PATH_SIZE = 1024;
extern char EgtbPath[EGTB_PATH_SIZE];
void SetDefaultTablebaseSettings();

// Men of the largest table found; 0 when there is none (the search probes nothing then).
extern int TbMaxMen;
// Registers the tables on EgtbPath (when UseEGTB is on) and sets TbMaxMen from them.
void OpenTablebases();

extern int TbHits;
extern int TbRootSolved;
// The root position is in the tables and its moves were filtered by them.
extern int RootInTablebase;

// All probes work on thread_board and leave it as they found it. success is 0 when a table that
// the answer needs is missing; then the value means nothing.

// Win-draw-loss value (-2 loss, -1 loss saved by the fifty-move rule, 0 draw, 1 win spoilt by
// it, 2 win) of the current position for the side to move, captures and en passant included.
// success 2 says that a capture reaches the value.
int ProbeWdlInSearch(int* success);
// Plies to the next capture or pawn move under best play: positive when the side to move wins,
// negative when it loses, 0 for a draw; above 100 in size for a result the fifty-move rule spoils.
int probe_dtz(int* success);

// The distance to zeroing of a position reached by a zeroing move, by its WDL value + 2.
constexpr int WdlToDtz[5] = {-1, -101, 0, 101, 1};
