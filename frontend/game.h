// The game as a whole: new games and what survives them, and moves typed as text.
#pragma once
#include "board/position.h"

extern int LastScore;
extern int LastScoreSide;

void NewGame();
void ResetGameMemory();
// SetFen for a command: also forgets the score of the last search.
void LoadFen(const char* text);
int IsCoordinateMove(const char* text);
// A move typed at the console: checked, played, and answered unless in force mode.
void PlayTypedMove(const char* line);
