// Move-generator check: counts the leaves of the tree of legal moves to a fixed depth.
#pragma once

// Adds the leaves below the current position at `depth` to NodeCount.
void Perft(int depth);
// The console command: runs Perft from the current position and prints the total and the time.
void RunPerftCommand(int depth);
