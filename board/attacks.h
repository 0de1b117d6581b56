// Questions about attacks on the current position, answered without changing it: is a square
// attacked, is a man pinned, does a capture lose material.
#pragma once
#include "board/geometry.h"
#include "board/position.h"

// Exchange values in small units, unrelated to PieceValue: king 200, knight 3, pawn 1, rook 5,
// bishop 3, queen 9.
constexpr int SeeValue[8] = {0, 200, 3, 1, 0, 5, 3, 9};

int IsSquareAttacked(int bySide, int square);
u64 AttackersOfSquareBy(int side, int square); // the men of `side` attacking square
int SquareIsPinned(int square);
int MoveIsPinned(Move move);
int SeeNotLosing(Move move);
int CaptureSeeNotLosing(int to, int from, int moved, int victim, int promotion);
int OpponentHasBigCapture(int value);
// The side to move, which is in check, has no legal move. Decided from the attack tables alone.
int is_checkmated();

// The exchange test itself; the shortcut by the attack maps of the current ply is optional.
int SeeCore(int from, int to, int moved, int victim, int promotion, bool useAttackMaps);

// The line attack through `square` that runs along `direction` (a DirectionTable step).
inline u64 LineAttacks(int square, int direction) {
    switch (direction < 0 ? -direction : direction) {
    case 1: return RankAttacksFrom(square);
    case 8: return FileAttacksFrom(square);
    case 9: return DiagA1H8AttacksFrom(square);
    case 7: return DiagA8H1AttacksFrom(square);
    default: return 0;
    }
}
