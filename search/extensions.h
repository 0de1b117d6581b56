// By how much a move changes the depth, and the check tests behind that answer. All tests here
// look at the move before it is made.
#pragma once
#include "board/position.h"

int MoveGivesCheck(Move move);
int MoveDiscoversCheck(Move move);
int MoveUnveilsAttackOn(Move move, int square);
u64 PieceAttacksFrom(int square, int side, int piece);

// The depth change of a move in quarter plies (-4 for an ordinary move), with the move's Flags
// written into this ply and InCheck into the next. seeWord may hold UNKNOWN_SEE and is filled in
// when the answer needs it.
int ComputeExtension(int fullExtensions, int mateThreat, int depth, int singleReply, Move move, int moveScore,
                     int isPv, const u64* weakMen, int alphaGap, int* seeWord);

// Resolves an exchange word that was left untested.
int ResolveSee(Move move, int* seeWord);
