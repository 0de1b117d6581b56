// The root of the search: the list of root moves, iterative deepening with aspiration windows,
// the search without a clock and the search of several lines.
#pragma once
#include "board/position.h"

constexpr int MAX_ROOT_MOVES = 256;
extern int RootScores[MAX_ROOT_MOVES];
extern int RootMoveIndex;
extern int RootMoveCount;
extern int IterationNumber;
extern Move EasyMove;
extern int SearchesPlayed;
extern int RootHistoryCount;
// DepthLimit of a search by the clock; the time rules act only then.
constexpr int DEPTH_BY_CLOCK = 999;
extern int DepthLimit;
extern int PastFirstRootMove;
extern int BookMoveChosen;
// The reply the search expects to its best move, learnt when a line is printed.
extern Move PonderMove;

// `searchmoves` of a UCI go: when not empty, only these root moves are searched.
extern Move SearchMoves[MAX_ROOT_MOVES];
extern int SearchMoveCount;

// Fills MoveList from 0 with the legal root moves in search order; 1 when the game is over here.
// Drawn games are told but do not end the list.
int PrepareRootMoves();

// The search by the clock. 1 when the game is over at the root; the best move is MoveList[0].
int RootSearch();
// The search to a depth, without the time rules (no clock, pondering, analysis).
int AnalysisRootSearch(int depthLimit, int useBook);
