// The material table: one row for every count of up to two queens, rooks, bishops and knights and
// eight pawns a side, holding everything that depends on the material alone.
#pragma once
#include <cstdint>

#include "board/position.h"

// One row, 24 bytes:
//   0 current_phase  2 black_phase  4 white_phase  6 Imbalance (Black's view)  8 TimeFactor
//  10 DefenceForce[W, B]  14 AttackForce[W, B]  18 EndingClass[(W,B), (B,W)]  22 Flags[W, B]
struct MaterialRecord {
    int16_t current_phase; // 0 full board .. 256 empty board
    int16_t black_phase;
    int16_t white_phase;
    int16_t Imbalance;
    uint16_t TimeFactor; // 256ths of the normal thinking time
    int16_t DefenceForce[2];
    int16_t AttackForce[2];
    int16_t EndingClass[2]; // -1: no class
    uint8_t Flags[2];
};
static_assert(sizeof(MaterialRecord) == 24);

constexpr uint8_t MATERIAL_CANNOT_WIN = 1; // the side lacks the force to mate
constexpr uint8_t MATERIAL_ENDING     = 2; // the other side lacks the force to attack this king
constexpr int MATERIAL_ROWS           = MATERIAL_OVERFLOW + 1;
constexpr int ENDING_CLASSES          = 114;

// Rows 0..531440 by MaterialIndex; row 531441 stands for a position the table cannot count.
extern MaterialRecord MaterialRecords[MATERIAL_ROWS];
// Sets of one or two pawn files (bit 0 = file a) numbered 1 to 36, three or more files 0, none 37.
extern int32_t FileSetIndex[256];
// 0 on the edge up to 3 on the four central squares.
extern const int32_t CentreRing[64];

// Repairs and derives the parameters, fills every row from the tuned tables ([White][Black]
// configuration pairs of 54 and 486, and the time factors), and packs the evaluation tables.
void BuildMaterialTable(const int32_t* table54, const int32_t* table486, const int32_t* timeTable);

// The material of thread_board at run time. MaterialScore (Black's view), the three phases, the
// force sums and Ending, from the row of MaterialIndex or, in overflow, worked out.
void ReadMaterialRecord();
// 1 when the other side has too little force to attack the king of `side`, by the run-time limits
// EndgamePoints and EndingPointsNoQueen.
int EndingByForce(int side);
