// Passed pawns: what each is worth now, and the races of runners against little force.
#pragma once

// Run when a side has a passed pawn. Changes PackedScore, SideMg, SideEg and may clear
// SideIndependent.
void EvaluatePassedPawns();
