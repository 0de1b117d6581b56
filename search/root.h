// The root of the search: the list of root moves and what the rest of the engine reads of it.
#pragma once
#include "board/position.h"

constexpr int MAX_ROOT_MOVES = 256;
extern int RootScores[MAX_ROOT_MOVES];
extern int RootGivesCheck[MAX_ROOT_MOVES];
extern int RootMoveIndex;
extern int RootMoveCount;
extern int IterationNumber;
extern int EngineSide;
extern Move EasyMove;
extern int SearchesPlayed;

// `searchmoves` of a UCI go: when not empty, only these root moves are searched.
extern Move SearchMoves[MAX_ROOT_MOVES];
extern int SearchMoveCount;

// Fills MoveList from 0 with the legal root moves in search order; 1 when the game is over here.
// Drawn games are told but do not end the list.
int PrepareRootMoves();
// Tells a game drawn by material, repetition or the fifty-move rule (the list is still built).
void TellDrawnGame();
