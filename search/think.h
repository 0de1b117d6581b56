// Think: how long to search, the search itself, the answer, and thinking on the opponent's time.
#pragma once
#include "board/position.h"

extern int SearchStart; // centiseconds
extern int TargetTime;
extern int HardTime;
extern u64 RecentKeys[10];
extern int RecentScores[10];
extern int RecentBook[10];

// The process clock in centiseconds.
int ClockCs();
// TargetTime, HardTime and PollInterval for the coming move, from the clock settings.
void AllocateTime();
// The time rules; 1 when the search must stop.
int CheckTime(int atIterationStart);
// Searches, answers with the move, and ponders when allowed. Returns when the engine waits for input.
void Think();
// The score as the console prints it: mate scores carry 67 more in size.
int ConsoleScore(int score);
