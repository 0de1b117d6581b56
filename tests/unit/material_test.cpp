// Material table rows of hand-checked material sets, without and with a values file, looked up
// through the MaterialIndex that the position keeps.
#include <gtest/gtest.h>

#include <set>

#include "board/position.h"
#include "eval/material.h"
#include "eval/params.h"
#include "eval/values.h"
#include "tests/unit/scratch_dir.h"
#include "tests/unit/test_main_setup.h"
#include "tests/unit/values_file.h"

namespace {

class MaterialTest : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        RestoreDefaultParameters();
        Load();
    }
    void TearDown() override {
        dir.Remove("values.txt");
        RestoreDefaultParameters();
        Load();
    }
    void Load() {
        testing::internal::CaptureStdout();
        LoadEvaluationValues();
        testing::internal::GetCapturedStdout();
    }
    static const MaterialRecord& Row(const char* fen) {
        EXPECT_TRUE(SetFen(fen)) << fen;
        return MaterialRecords[thread_board.MaterialIndex];
    }
    ScratchDir dir;
};

TEST_F(MaterialTest, RowsWithoutValuesFile) {
    const MaterialRecord& bare = Row("4k3/8/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(thread_board.MaterialIndex, 0);
    EXPECT_EQ(bare.Imbalance, 0);
    EXPECT_EQ(bare.current_phase, 256);
    EXPECT_EQ(bare.white_phase, 256);
    EXPECT_EQ(bare.black_phase, 256);
    EXPECT_EQ(bare.Flags[WHITE], MATERIAL_CANNOT_WIN | MATERIAL_ENDING);
    EXPECT_EQ(bare.Flags[BLACK], MATERIAL_CANNOT_WIN | MATERIAL_ENDING);
    EXPECT_EQ(bare.EndingClass[0], 0);
    EXPECT_EQ(bare.EndingClass[1], 0);
    EXPECT_EQ(bare.TimeFactor, 256);
    EXPECT_EQ(bare.DefenceForce[WHITE], 0);

    // A knight against pawns alone: PieceVsPawns by the knight side's pawns; classes counted
    // with the black knight the fastest: K-K 0, K-KN 1, KN-K 2.
    const MaterialRecord& knight = Row("4k3/8/8/8/8/8/8/3NK3 w - - 0 1");
    EXPECT_EQ(knight.Imbalance, -30);
    EXPECT_EQ(knight.current_phase, 245); // (23 * 256 + 12) / 24
    EXPECT_EQ(knight.white_phase, 235);   // (11 * 256 + 6) / 12
    EXPECT_EQ(knight.black_phase, 256);
    EXPECT_EQ(knight.EndingClass[0], 2);
    EXPECT_EQ(knight.EndingClass[1], 1);
    EXPECT_EQ(knight.Flags[WHITE], MATERIAL_CANNOT_WIN | MATERIAL_ENDING);
    EXPECT_EQ(Row("3nk3/8/8/8/8/8/8/4K3 w - - 0 1").EndingClass[0], 1);
    EXPECT_EQ(Row("3nk3/5p2/8/8/8/8/8/4K3 w - - 0 1").Imbalance, 60); // Black's knight, one pawn

    // Bishop and knight mate; two knights, a lone bishop and a knight do not.
    const MaterialRecord& kbnk = Row("4k3/8/8/8/8/8/8/2BNK3 w - - 0 1");
    EXPECT_EQ(thread_board.MaterialIndex, 81 + 729);
    EXPECT_EQ(kbnk.Imbalance, -120); // more minors, equal heavy units: case 1 for White
    EXPECT_EQ(kbnk.current_phase, 235);
    EXPECT_EQ(kbnk.white_phase, 213);
    EXPECT_EQ(kbnk.Flags[WHITE], MATERIAL_ENDING);
    EXPECT_EQ(kbnk.Flags[BLACK], MATERIAL_CANNOT_WIN | MATERIAL_ENDING);
    EXPECT_EQ(kbnk.EndingClass[0], -1); // 6 points against 0 with two pieces
    EXPECT_EQ(kbnk.EndingClass[1], -1);
    EXPECT_EQ(kbnk.DefenceForce[WHITE], 60);
    EXPECT_EQ(kbnk.AttackForce[WHITE], 60);
    EXPECT_EQ(kbnk.DefenceForce[BLACK], 0);
    EXPECT_EQ(Row("4k3/8/8/8/8/8/8/3NNK2 w - - 0 1").Flags[WHITE] & MATERIAL_CANNOT_WIN, MATERIAL_CANNOT_WIN);
    EXPECT_EQ(Row("4k3/8/8/8/8/8/8/3BK3 w - - 0 1").Flags[WHITE] & MATERIAL_CANNOT_WIN, MATERIAL_CANNOT_WIN);
    EXPECT_EQ(Row("4k3/8/8/8/8/8/8/2BBK3 w - - 0 1").Flags[WHITE] & MATERIAL_CANNOT_WIN, 0);
    EXPECT_EQ(Row("4k3/8/8/8/8/8/P7/3NK3 w - - 0 1").Flags[WHITE] & MATERIAL_CANNOT_WIN, 0);

    // Rook against pawn: case 1 (120) and one rook with one pawn on the board (15).
    const MaterialRecord& krkp = Row("4k3/4p3/8/8/8/8/8/R3K3 w - - 0 1");
    EXPECT_EQ(thread_board.MaterialIndex, 9 + 59049);
    EXPECT_EQ(krkp.Imbalance, -135);
    EXPECT_EQ(krkp.Flags[WHITE], MATERIAL_ENDING);
    EXPECT_EQ(krkp.Flags[BLACK], MATERIAL_ENDING);
    EXPECT_GE(krkp.EndingClass[0], 0);
    const MaterialRecord& kkr = Row("r3k3/8/8/8/8/8/4P3/4K3 w - - 0 1");
    EXPECT_EQ(kkr.Imbalance, 135);
    EXPECT_EQ(kkr.EndingClass[0], krkp.EndingClass[1]);
    EXPECT_EQ(kkr.EndingClass[1], krkp.EndingClass[0]);

    // Queen against two rooks: equal heavy units, the queen's side has case 6 (60), and the
    // two rooks earn 2 x RookPawnBonus[0].
    const MaterialRecord& qrr = Row("r3k2r/8/8/8/8/8/8/3QK3 w - - 0 1");
    EXPECT_EQ(qrr.Imbalance, -30);
    EXPECT_EQ(qrr.current_phase, 171); // 8 units gone of 24
    EXPECT_EQ(qrr.white_phase, 171);
    EXPECT_EQ(qrr.black_phase, 171);
    EXPECT_EQ(qrr.Flags[WHITE], MATERIAL_ENDING); // no black queen and under 15 points
    EXPECT_EQ(qrr.Flags[BLACK], MATERIAL_ENDING); // 9 points
    EXPECT_EQ(qrr.EndingClass[0], -1);
    EXPECT_EQ(qrr.DefenceForce[WHITE], 100);
    EXPECT_EQ(qrr.DefenceForce[BLACK], 100);
    EXPECT_EQ(qrr.TimeFactor, 256);

    const MaterialRecord& full = Row("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    EXPECT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW - 1 - 2 - 2); // one queen a side
    EXPECT_EQ(full.Imbalance, 0);
    EXPECT_EQ(full.current_phase, 0);
    EXPECT_EQ(full.white_phase, 0);
    EXPECT_EQ(full.TimeFactor, 340);
    EXPECT_EQ(full.Flags[WHITE], 0);
    EXPECT_EQ(full.Flags[BLACK], 0);
    EXPECT_EQ(full.EndingClass[0], -1);
    EXPECT_EQ(full.DefenceForce[BLACK], 320);
    EXPECT_EQ(Row("rnbqkbnr/ppppppp1/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1").TimeFactor, 391);
    EXPECT_EQ(Row("r3k3/4p3/8/8/8/8/4P3/R3K3 w - - 0 1").TimeFactor, 74);
    EXPECT_EQ(Row("r3k3/3pp3/8/8/8/8/3PP3/R3K3 w - - 0 1").TimeFactor, 126);
    EXPECT_EQ(Row("q3k3/1ppp4/8/8/8/8/1PPP4/Q3K3 w - - 0 1").TimeFactor, 94);

    // Two queens stay on the table without a class or time factor; a third is the overflow row.
    const MaterialRecord& twoQueens = Row("3qk3/8/8/8/8/8/8/2QQK3 w - - 0 1");
    EXPECT_EQ(thread_board.MaterialIndex, 2 + 3);
    EXPECT_EQ(twoQueens.EndingClass[0], -1);
    EXPECT_EQ(twoQueens.EndingClass[1], -1);
    EXPECT_EQ(twoQueens.TimeFactor, 256);
    EXPECT_EQ(twoQueens.Imbalance, -120);
    const MaterialRecord& overflow = Row("3qk3/8/8/8/8/8/8/1QQQK3 w - - 0 1");
    EXPECT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW);
    EXPECT_EQ(overflow.current_phase, -1);
    EXPECT_EQ(overflow.black_phase, -1);
    EXPECT_EQ(overflow.white_phase, -1);
    EXPECT_EQ(overflow.EndingClass[0], -1);
    EXPECT_EQ(overflow.Flags[WHITE], 0);
}

TEST_F(MaterialTest, EveryEndingClassOnceAndBothOrdersAlike) {
    std::set<int> classes;
    for (int index = 0; index < 6561; index++) {
        const MaterialRecord& row = MaterialRecords[index];
        EXPECT_EQ(row.EndingClass[0] < 0, row.EndingClass[1] < 0) << index;
        if (row.EndingClass[0] >= 0) {
            EXPECT_TRUE(classes.insert(row.EndingClass[0]).second) << index;
        }
        // Pawns do not change the class.
        EXPECT_EQ(MaterialRecords[index + 6561 * 3 + 59049 * 5].EndingClass[0], row.EndingClass[0]);
    }
    EXPECT_EQ(int(classes.size()), ENDING_CLASSES);
    EXPECT_EQ(*classes.rbegin(), ENDING_CLASSES - 1);

    EXPECT_EQ(FileSetIndex[0], 37);
    EXPECT_EQ(FileSetIndex[1], 1);
    EXPECT_EQ(FileSetIndex[3], 3);
    EXPECT_EQ(FileSetIndex[4], 4);
    EXPECT_EQ(FileSetIndex[7], 0);
    EXPECT_EQ(FileSetIndex[8], 7);
    EXPECT_EQ(FileSetIndex[0xC0], 36);
    EXPECT_EQ(FileSetIndex[0xFF], 0);
    EXPECT_EQ(CentreRing[27], 3);
    EXPECT_EQ(CentreRing[18], 2);
    EXPECT_EQ(CentreRing[56], 0);
}

TEST_F(MaterialTest, RowsWithValuesFile) {
    ValuesFile f;
    const int pawnMg[4] = {10, 20, 30, 40}, pawnEg[4] = {50, 60, 70, 80};
    for (int i = 0; i < 4; i++) f.Set(1, i, pawnMg[i]), f.Set(1, 4 + i, pawnEg[i]);
    f.Set(2, 0, 5);  // A1 = 125
    f.Set(2, 6, 7);  // E1
    f.Set(2, 5, 6);  // A6 = 66
    f.Set(2, 11, 9); // E6
    f.Set(3, 2, 11); // rook mid, end
    f.Set(3, 3, 13);
    f.Set(3, 8, 20); // queen mid, end
    f.Set(3, 9, 30);
    f.Set(19, 0, 4); // RookPawnBonus[0]; [1] is 0 in this file
    f.Set(4, Offset54(0, 0, 1, 0, 0, 0, 0, 0), 40); // [White rook][nothing]
    f.Set(4, Offset54(0, 0, 0, 1, 0, 0, 0, 0), 10); // [nothing][Black rook]
    f.Set(4, Offset54(1, 0, 0, 2, 0, 0, 0, 0), 40); // [White queen][Black two rooks]
    f.Set(4, Offset54(0, 1, 2, 0, 0, 0, 0, 0), 10);
    f.Set(66, Offset486(0, 0, 1, 0, 0, 0, 0, 0, 0, 1), 100); // [rook][pawn]
    f.Set(66, Offset486(0, 0, 0, 1, 0, 0, 0, 0, 1, 0), 20);  // [pawn][rook]
    const int defence[4] = {31, 32, 53, 104}, attack[4] = {33, 34, 55, 106};
    for (int i = 0; i < 4; i++) f.Set(44, 8 + i, defence[i]), f.Set(45, 1 + i, attack[i]);
    f.Set(45, 0, 7); // DefencePawnWeight
    f.Set(45, 5, 9); // AttackPawnWeight
    dir.Write("values.txt", f.Text());
    Load();

    // KRKP: c = -(40 - 10) / 2 - (100 - 20) / 2 + 125 = 70, end-game chain 7. Shares 256 and 0:
    // the black pawn is worth PawnMg[1] = 20, PawnEg[1] = 60. mg = -20 + 11 = -9,
    // eg = -60 + 13 + 7 = -40; 22 units left: total = (-40 * 22 - 9 * 234) / 256 = -11.
    EXPECT_EQ(Row("4k3/4p3/8/8/8/8/8/R3K3 w - - 0 1").Imbalance, -59);
    // Queen against two rooks: c = -(40 - 10) / 2 + 66 - 2 * 4 = 43; mg = 20 - 22 = -2,
    // eg = 30 - 26 + 9 = 13, 16 units: total = (13 * 16 - 2 * 240) / 256 = -1.
    const MaterialRecord& qrr = Row("r3k2r/8/8/8/8/8/8/3QK3 w - - 0 1");
    EXPECT_EQ(qrr.Imbalance, -42);
    EXPECT_EQ(qrr.DefenceForce[WHITE], 104);
    EXPECT_EQ(qrr.DefenceForce[BLACK], 106);
    EXPECT_EQ(qrr.AttackForce[BLACK], 110);
    const MaterialRecord& kbnp = Row("4k3/8/8/8/8/8/PPP5/2BNK3 w - - 0 1");
    EXPECT_EQ(kbnp.DefenceForce[WHITE], 31 + 32 + 3 * 7);
    EXPECT_EQ(kbnp.AttackForce[WHITE], 33 + 34 + 3 * 9);

    const MaterialRecord& bare = Row("4k3/8/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(bare.Imbalance, 0);
    EXPECT_EQ(bare.current_phase, 256);
    const MaterialRecord& full = Row("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    EXPECT_EQ(full.Imbalance, 0);
    EXPECT_EQ(full.TimeFactor, 340);
    EXPECT_EQ(full.DefenceForce[WHITE], 2 * 31 + 2 * 32 + 2 * 53 + 104 + 8 * 7);

    // A reload rebuilds the rows at once. Without the file only the parameters that every read
    // zeroes lose the file's values: A1 is 120 again and the rook's piece value 0, but the pawn
    // values and RookPawnBonus[1] = 0 stay. mg = -20, eg = -60: total = -6000 / 256 = -23.
    dir.Remove("values.txt");
    Load();
    EXPECT_EQ(Row("4k3/4p3/8/8/8/8/8/R3K3 w - - 0 1").Imbalance, -(120 - 23));
}

} // namespace
