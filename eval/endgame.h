// What the program knows about specific endings: verdicts that end the evaluation, bonuses for
// mating force, and the rules that shrink a score that points to a draw.
#pragma once

// Run when a side has fewer than EndgamePoints piece points; MaterialScore holds
// Material[BLACK] - Material[WHITE]. Sets CannotWin, the phases, forces and Ending. When *final
// is set on return, *result is the score of the position from the view of the side to move;
// otherwise the return value is the material value from Black's view, with which the evaluation
// goes on.
int EvaluateEnding(int* result, int* final);
// Shrinks or raises the running score (Black's view) after the blend, for the endings that the
// general terms misjudge. Reads RawScore, CannotWin and MaterialScore; scales MirrorSum alike.
void ApplyScalingRules(int* score);

// Rook against the pawn on `pawn` (either colour) in thread_board, the rook on `rook`, the other
// men as they stand: 0 the rook's side wins, 1 the pawn's side draws, 2 not known.
int EvaluateKrkp(int pawn, int rook);
