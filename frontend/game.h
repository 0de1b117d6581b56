// The game as a whole: new games and what survives them, moves typed as text, take-backs.
#pragma once
#include "board/position.h"

// The start position and the limits of a new game; outside UCI and fritz mode also a new game
// memory.
void NewGame();
// A game given up before its end teaches the book as a draw, when book learning is still due.
void LearnGivenUpGame();
// What the engine remembers of the game (histories, the last score, book learning) starts afresh.
void ResetGameMemory();
// SetFen for a command: also forgets the score of the last search.
void LoadFen(const char* text);
// The first four characters have the form of a move ("e2e4", any case).
int IsCoordinateMove(const char* text);
// Builds the move word from the text and the board; upper-case letters are read as lower case.
Move ParseCoordinateMove(const char* text);
// A move from a host or a person, made when legal; "Illegal move: <line>" otherwise. True when made.
bool PlayGameMove(const char* line);
// Takes back the last game move unless the game record starts there.
void TakeBack();
