// The alpha-beta node and the capture search below it.
#pragma once
#include "board/position.h"

extern int SelDepth;
// 1 while a singular probe runs: nodes below it do not become singular candidates.
extern int SingularRunning;

int Search(int alpha, int beta, int depth, int allowNull, int nodeKind);
int Quiesce(int alpha, int beta, int qdepth, int nodeKind);
// What a capture is estimated to win, for the capture search's pruning.
int CaptureGain(Move move);
// 1 when the fifty-move rule or a repetition in the game or the tree makes the node a draw.
int DrawByRule(int beta);
