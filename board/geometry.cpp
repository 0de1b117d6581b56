#include "board/geometry.h"

uint8_t OccupancyClass[256][8];
u64 RankAttacks[70][8];
u64 FileAttacks[70][8];
u64 DiagA8H1Attacks[70][16];
u64 DiagA1H8Attacks[70][16];
u64 WhitePawnAttacks[64];
u64 BlackPawnAttacks[64];
u64 KnightAttacks[64];
u64 KingAttacks[64];
u64 BishopPseudoAttacks[64];
u64 RookPseudoAttacks[64];
u64 RayNorth[64], RaySouth[64], RayEast[64], RayWest[64];
u64 RayNorthEast[64], RayNorthWest[64], RaySouthEast[64], RaySouthWest[64];
int8_t DirectionTable[64][64];
u64 BetweenMask[64][64];
u64 RectangleMask[64][64];
u64 NotFileMask[8];
u64 NeighbourFiles[64];
u64 RanksAbove[64], RanksBelow[64];
u64 FileAbove[64], FileBelow[64];
u64 FrontThree[64], BackThree[64];
u64 PassedMaskWhite[64], PassedMaskBlack[64];
u64 PawnSquareWhite[64], PawnSquareWhiteWide[64];
u64 PawnSquareBlack[64], PawnSquareBlackWide[64];
uint8_t FirstBit8[256];
uint8_t LastBit8[256];
uint8_t PopCount8[256];
uint32_t ReverseByte8[256];
uint8_t ToLowerTable[256];
uint32_t PawnFileClass[256];
u64 KingOppositionMask[64];
const u64 CornerPatterns[12] = {0x8000,
                                0x8080,
                                0x80C0,
                                0x100,
                                0x101,
                                0x103,
                                0x80000000000000ULL,
                                0x8080000000000000ULL,
                                0xC080000000000000ULL,
                                0x1000000000000ULL,
                                0x101000000000000ULL,
                                0x301000000000000ULL};
int32_t PieceSquareTable[8][2][64];
int16_t PstMg16[8][2][64];
int16_t PstEg16[8][2][64];
int32_t KnightDistance[64][64];
u64 KnightIntercept[64][64];

void InitializeBitMasks() {
    for (int i = 0; i < 256; i++) ToLowerTable[i] = (i >= 'A' && i <= 'Z') ? uint8_t(i + 32) : uint8_t(i);
}

void InitializeBitBoards() {}
void InitPieceSquareTables() {}
void InitKnightDistance() {}
void InitKnightIntercept() {}
