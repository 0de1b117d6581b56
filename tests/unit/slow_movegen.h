#pragma once
// A deliberately plain move source for tests: square-by-square walks over Board, no tables.
#include <vector>

#include "board/position.h"

bool SlowSquareAttacked(int square, int bySide);
// Pseudo-legal moves of the side to move (castling only through empty, unattacked squares).
std::vector<Move> SlowPseudoMoves();
// Pseudo-legal moves that do not leave the mover's king attacked.
std::vector<Move> SlowLegalMoves();
