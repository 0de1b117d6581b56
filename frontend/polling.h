// Input and limits checked from inside a running search, every PollInterval nodes.
#pragma once

extern int PollCountdown;
extern int PollInterval;

// Non-zero means stop the search.
int PollInput();
