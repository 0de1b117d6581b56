// Every hash table of the engine as a whole: made at start-up, released at the end, emptied by
// `clean`.
#pragma once

// Allocates and clears the transposition table, the pawn hash, the evaluation cache and the
// reversible-move table with the sizes now set. A failed allocation ends the process with code 1.
void AllocateTables();
// UCI "PawnHash": the pawn hash made again with the entries of mb megabytes (clamped to 0..1024;
// 0 turns it off), and cleared.
void SetPawnHashSize(int mb);
// xboard's "memory": the transposition table, the evaluation cache and the pawn hash made again
// and cleared, all three within mb megabytes (clamped to 0..2048).
void SetTableMemory(int mb);
// Releases them (at exit).
void FreeTables();
// The `clean` command: forget everything learnt about positions and moves.
void ResetAll();
