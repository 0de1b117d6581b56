// King and rook against king and pawn: the solved ending as a bit table, unpacked at start-up
// from the runs of eval/krkp_data.inc (written by tools/krkp).
#pragma once
#include <cstdint>

// Word (rook << 10) + (rook's king << 4) + pawn index, bit = the pawn's king. The pawn is White's,
// moving up, on files e to h and rank index 3 to 6: index (rank - 3) x 4 + (file - 4). A set bit:
// with the rook's side to move the pawn's side holds the draw. Positions that cannot arise with
// the rook's side to move read as anything.
extern uint64_t KrkpTable[65536];

// Unpacks the table; a millisecond.
void InitKrkpTable();

// The bit for a white pawn on any file of rank index 3 to 6: files a to d are looked up with
// every square mirrored left to right.
inline int KrkpHeld(int rook, int rookKing, int pawn, int pawnKing) {
    if ((pawn & 7) < 4) rook ^= 7, rookKing ^= 7, pawn ^= 7, pawnKing ^= 7;
    const int index = ((pawn >> 3) - 3) * 4 + (pawn & 7) - 4;
    return int((KrkpTable[(rook << 10) + (rookKing << 4) + index] >> pawnKing) & 1);
}
