// A solver of king and rook against king and pawn: which positions the rook's side wins with
// best play, the fifty-move rule left out. Promotions lead into king and rook against king and
// queen, rook, bishop or knight, which it solves on the way.
#pragma once
#include <cstdint>
#include <vector>

namespace krkp {

enum class Man { None, Knight, Bishop, Rook, Queen, Pawn };

// The layout of the engine's table: a word per rook, rook's king and pawn (files e to h, rank
// index 3 to 6, moving up), a bit per pawn's king.
constexpr int KRKP_WORDS = 64 * 64 * 16;
inline int KrkpPawnIndex(int pawn) { return (pawn / 8 - 3) * 4 + (pawn % 8 - 4); }
inline int KrkpWord(int rook, int rookKing, int pawn) { return (rook << 10) + (rookKing << 4) + KrkpPawnIndex(pawn); }

// Bit set: with the rook's side to move, it does not win (the pawn's side holds the draw).
// Positions that cannot arise with the rook's side to move have the bit clear.
std::vector<uint64_t> SolveKrkp(void (*progress)(const char*));
// The four squares can stand so with the rook's side to move.
bool KrkpLegal(int rook, int rookKing, int pawn, int pawnKing);

} // namespace krkp
