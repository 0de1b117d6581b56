// King and pawn against king: the solved ending and the pawn that queens on its own, as bit
// tables built at start-up. Bit t + 2 x pawn + 128 x strong king + 8192 x weak king, the pawn
// moving up the board, t 0 with the pawn's side to move; a black pawn is looked up with every
// square turned about (63 - s). Illegal positions read as anything.
#pragma once
#include <cstdint>

extern uint8_t KpkExact[65536]; // the pawn's side wins
// Pushing the pawn every move, its king standing still, the pawn queens and the queen cannot be
// taken at once.
extern uint8_t KpkRun[65536];

// Both tables, by retrograde solution of the ending; a few milliseconds.
void InitKpkTables();

inline int KpkIndex(int t, int pawn, int strongKing, int weakKing) {
    return t + 2 * pawn + 128 * strongKing + 8192 * weakKing;
}
inline int KpkBit(const uint8_t* table, int index) {
    return (table[index >> 3] >> (index & 7)) & 1;
}
// Both bits of a position, bit 0 with the pawn's side to move, bit 1 with the other side: the two
// are neighbours, so one byte read gives them.
inline int KpkPair(const uint8_t* table, int pawn, int strongKing, int weakKing) {
    const int index = KpkIndex(0, pawn, strongKing, weakKing);
    return (table[index >> 3] >> (index & 7)) & 3;
}

// The pawn of `side` on `pawn` queens alone: with its own king on the file ahead of it by the
// rule of the square, else by KpkRun, for the side to move of thread_board. Clears SideIndependent
// of the evaluation when the answer depends on the side to move.
int PawnRuns(int side, int pawn, int ownKing, int otherKing);
// The same, always by KpkRun.
int PawnRunsRaw(int side, int pawn, int ownKing, int otherKing);
