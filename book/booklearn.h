// Book learning: the results of the engine's games change the counters of the book moves it
// played, in place in the book file.
#pragma once
#include "board/position.h"

// Results of a game for the side whose moves are walked.
constexpr int BOOK_RESULT_BAD  = 0; // ScoreAgainst + 2
constexpr int BOOK_RESULT_GOOD = 1; // ScoreFor + 2
constexpr int BOOK_RESULT_DRAW = 2; // both + 1

// True while this game may still teach the book: learning on, a version 1 book open, and no
// learning done in this game yet.
bool BookLearningDue();
// Walks the game back two plies at a time, crediting every book move of the side to move, then
// replays it; the position ends as it began. Sets BookLearningDone.
void LearnGameResult(int result);
// The counters of `move` in the book entry of the current position, when both exist and the move
// is alive. A counter that would pass 254 scales the whole position down to two thirds.
void UpdateBookMove(int result, Move move);
// LearnGameResult over the engine's own moves: when the opponent is to move, the walk starts one
// move earlier, and that move is made again afterwards. Only while learning is due.
void LearnGameForEngine(int engineSide, int result);
