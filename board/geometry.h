// Chess geometry computed once at start-up: sliding attacks by occupancy class, leaper attacks,
// rays, masks for pawn structure, piece-square tables and knight distances. Read-only afterwards
// (the piece-square tables are rebuilt when the evaluation parameters are reset).
#pragma once
#include <array>
#include <cstdint>

#include "board/position.h"
#include "board/pst_defaults.h"

// [occupancy byte][position on the line] -> one of 70 classes (position, lower blocker, upper blocker).
// A blocker is the nearest occupied square on either side, or the line end; the slider's own bit and
// everything beyond the blockers play no part. Built by the compiler.
constexpr int OCCUPANCY_CLASSES = 70;
extern const std::array<std::array<uint8_t, 8>, 256> OccupancyClass;

extern u64 RankAttacks[70][8];
extern u64 FileAttacks[70][8];
extern u64 DiagA8H1Attacks[70][16];
extern u64 DiagA1H8Attacks[70][16];

extern u64 WhitePawnAttacks[64];
extern u64 BlackPawnAttacks[64];
extern u64 KnightAttacks[64];
extern u64 KingAttacks[64];
extern u64 BishopPseudoAttacks[64];
extern u64 RookPseudoAttacks[64];

extern u64 RayNorth[64], RaySouth[64], RayEast[64], RayWest[64];
extern u64 RayNorthEast[64], RayNorthWest[64], RaySouthEast[64], RaySouthWest[64];
extern int8_t DirectionTable[64][64];
extern u64 BetweenMask[64][64];
extern u64 RectangleMask[64][64];

extern u64 NotFileMask[8];
extern u64 NeighbourFiles[64];
extern u64 RanksAbove[64], RanksBelow[64];
extern u64 FileAbove[64], FileBelow[64];
extern u64 FrontThree[64], BackThree[64];
extern u64 PassedMaskWhite[64], PassedMaskBlack[64];
extern u64 PawnSquareWhite[64], PawnSquareWhiteWide[64];
extern u64 PawnSquareBlack[64], PawnSquareBlackWide[64];

extern uint8_t FirstBit8[256];
extern uint8_t LastBit8[256];
extern uint8_t PopCount8[256];
// Men in a set. The portable build has no popcount instruction and the library's call is slow.
inline int PopCount(u64 set) {
#ifdef __POPCNT__
    return __builtin_popcountll(set);
#else
    set = set - ((set >> 1) & 0x5555555555555555ULL);
    set = (set & 0x3333333333333333ULL) + ((set >> 2) & 0x3333333333333333ULL);
    set = (set + (set >> 4)) & 0x0F0F0F0F0F0F0F0FULL;
    return int((set * 0x0101010101010101ULL) >> 56);
#endif
}
extern uint32_t ReverseByte8[256];
extern uint8_t ToLowerTable[256];
extern uint32_t PawnFileClass[256];

extern u64 KingOppositionMask[64];
constexpr u64 DarkSquares  = 0xAA55AA55AA55AA55ULL;
constexpr u64 LightSquares = 0x55AA55AA55AA55AAULL;
extern const u64 CornerPatterns[12];

// [piece][side][square], each entry (midgame << 16) + endgame.
extern int32_t PieceSquareTable[8][2][64];
// The values PieceSquareTable is built from; the parameter file may overwrite them, and they reach
// PieceSquareTable when InitPieceSquareTables runs again. PstMg16 and PstEg16 always keep the
// compiled-in values.
extern PstSourceTable PstSourceMg;
extern PstSourceTable PstSourceEg;
extern int16_t PstMg16[8][2][64];
extern int16_t PstEg16[8][2][64];

extern int32_t KnightDistance[64][64];
extern u64 KnightIntercept[64][64];

void InitPieceSquareTables();
// Zobrist keys and every table above, in start-up order.
void InitBoardTables();

// Slider attacks from `square` in the current position: one byte of line occupancy, one class
// lookup and one table read per line. The square's own bit does not matter.
inline u64 RankAttacksFrom(int square) {
    int occupancy = int((thread_board.AllPieces >> (square & 56)) & 255);
    return RankAttacks[OccupancyClass[occupancy][square & 7]][square >> 3];
}
inline u64 FileAttacksFrom(int square) {
    return FileAttacks[OccupancyClass[thread_board.FileOcc[square & 7]][square >> 3]][square & 7];
}
inline u64 DiagA8H1AttacksFrom(int square) {
    int diagonal = (square & 7) + (square >> 3);
    return DiagA8H1Attacks[OccupancyClass[thread_board.DiagSumOcc[diagonal]][square >> 3]][diagonal];
}
inline u64 DiagA1H8AttacksFrom(int square) {
    int diagonal = (square & 7) - (square >> 3) + 7;
    return DiagA1H8Attacks[OccupancyClass[thread_board.DiagDiffOcc[diagonal]][square >> 3]][diagonal];
}
inline u64 RookAttacks(int square) {
    return RankAttacksFrom(square) | FileAttacksFrom(square);
}
inline u64 BishopAttacks(int square) {
    return DiagA8H1AttacksFrom(square) | DiagA1H8AttacksFrom(square);
}
inline u64 QueenAttacks(int square) {
    return RookAttacks(square) | BishopAttacks(square);
}
