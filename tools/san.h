// Reading a move in standard algebraic notation against the legal moves of thread_board.
#pragma once
#include "board/position.h"

// The legal move that the text names, or 0 when it names none or more than one. Accepted: piece
// letter, file and/or rank of the origin, "x" or ":" for a capture, "-" between the squares,
// "=Q" or "Q" for a promotion (a pawn reaching the last rank without one becomes a queen),
// "O-O" and "O-O-O" (also with zeros), and trailing "+", "#", "!", "?" and "e.p.". A capture mark
// must fit a capture; a missing one is forgiven. `fitting`, when given, receives the number of
// legal moves that fit the text (2 or more: ambiguous).
Move ParseSanMove(const char* text, int* fitting = nullptr);
