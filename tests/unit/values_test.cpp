// values.txt: where each block lands, files cut short or broken, numbers past 32 bits, and the
// range repair with its running counter.
#include <gtest/gtest.h>

#include "eval/params.h"
#include "eval/values.h"

#include <map>
#include <sstream>
#include <tuple>
#include "tests/support/engine_setup.h"
#include "tests/support/values_file.h"

namespace {

class ValuesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        FreshEngine();
        RestoreDefaultParameters();
    }
    void TearDown() override {
        dir.Remove("values.txt");
        RestoreDefaultParameters();
        Printed([] { LoadEvaluationValues(); });
    }
    // Reads the file alone, without the repair and the derived tables.
    std::string Read(const std::string& text) {
        dir.Write("values.txt", text);
        return Printed([&] { ReadValuesFile(table54.data(), table486.data(), timeTable.data()); });
    }
    std::string Load(const std::string& text) {
        dir.Write("values.txt", text);
        return Printed([] { LoadEvaluationValues(); });
    }
    ScratchDir dir{true};
    std::vector<int32_t> table54 = std::vector<int32_t>(TABLE54_SIZE, -1);
    std::vector<int32_t> table486 = std::vector<int32_t>(TABLE486_SIZE, -1);
    std::vector<int32_t> timeTable = std::vector<int32_t>(TABLE486_SIZE, -1);
};

// A file whose every line holds its own number: each block's first and last values, and the
// tables read in their own orders, land where the file's layout puts them.
TEST_F(ValuesTest, EveryBlockLandsInItsTables) {
    EXPECT_EQ(Read(ValuesFile::Numbered().Text()), "");
    const std::vector<std::tuple<int64_t, int, int>> where = {
        {PawnMg[0], 1, 0}, {PawnEg[3], 1, 7}, {ImbalanceMg[0], 2, 0}, {ImbalanceEg[5], 2, 11},
        {PieceMg[WEIGHT_ROOK], 3, 2}, {PieceMg[WEIGHT_KNIGHT], 3, 4}, {PieceEg[WEIGHT_QUEEN], 3, 9},
        {table54[1], 4, 1}, {table54[54], 4, 3}, {table54[27 * 54], 4, 1458}, {table54[53 * 54 + 53], 4, 2915},
        {ShelterHole, 6, 0}, {ShelterQueenGone, 6, 3}, {BishopBothWingsMg, 7, 0}, {RookSeventhBatteryMg, 7, 11},
        {BareKingBonus, 8, 0}, {BadBishopPawnMg, 11, 0}, {BlockedPawnBonusMg, 12, 0}, {BishopTrappedMg, 13, 0},
        {RookBishopDuo, 13, 15}, {ShelterMg[15], 14, 15}, {SpareKingParams[14], 16, 14}, {RookPawnsLoose, 16, 115},
        {EndgamePoints, 17, 0}, {EndingPointsNoQueen, 17, 1}, {PieceVsPawnsSource[0], 18, 0},
        {RookVsMinorsSource[3], 18, 8}, {RookPawnBonus[13], 19, 13}, {TrapSquareSource[14], 20, 23},
        {TrapSquareSource[15], 21, 0}, {RookPawnBonus[16], 22, 2}, {CheckSquareDangerKnight[0], 23, 0},
        {CheckSquareDangerQueen[31], 23, 95}, {ShelterTable[511], 25, 511}, {PawnConnectedMgSource[19], 26, 50},
        {KpkWinBonusSource[0], 28, 0}, {KingSquareShelterSource[31], 29, 31}, {PstRowsMg[383], 30, 383},
        {ShelterPenalty[63], 31, 255}, {LoneKnightDistance[7], 32, 34}, {PstScale[15], 33, 15},
        {PstRowsEg[0], 34, 0}, {RookEndingTable[1][0], 36, 39}, {RookEndingTable[38][38], 36, 1520},
        {PruneStats[0][0][0][1][0], 37, 2}, {PruneStats[0][1][0][0][0], 37, 8192}, {PruneStats[1][5][63][63][1], 37, 98303},
        {ClassPawns[1][0][0], 38, 12}, {ClassPawns[113][5][1], 38, 1367}, {ClassKings[1][0][0][0], 39, 64},
        {ClassKings[2][3][3][3], 39, 191}, {HomePawnsMg[0], 40, 0}, {DevelopmentWeight[5], 40, 72},
        {HomePawnsEg[63], 41, 63}, {PressureB, 41, 72}, {PressureCentre, 42, 0}, {AttackerWeight[5], 43, 5},
        {DefenceForceWeight[3], 44, 11}, {AttackPawnWeight, 45, 5}, {BishopBothWingsEg, 45, 6},
        {KingRingTable[383], 46, 383}, {PawnEndgameB, 47, 17}, {PassedEnemyKing[0], 48, 1},
        {PassedOwnKing[23], 48, 46}, {PassedKingRace[17], 49, 17}, {PassedStateEg[0], 50, 8},
        {PassedFileMg[3], 51, 6}, {PawnSpanEg[8], 52, 10}, {FianchettoKingEg, 53, 22},
        {PawnLeverSupportMg[7], 55, 0}, {PawnLeverSupportMg[8], 55, 4}, {PawnCandidateEg[60], 55, 639},
        {PassedSpanMg[8], 56, 17}, {ThreatTableEg[16], 57, 33}, {RookOpenFileMg[7], 58, 0},
        {PawnIsolatedOpenEg[8], 58, 23}, {RookHalfOpenEg[4], 58, 655}, {RaceSource[7][7], 59, 63},
        {KpkWin[0], 60, 0}, {RunPawn, 61, 2}, {RunAdvance[5], 62, 5}, {ShelterEg[15], 63, 15},
        {DevelopmentAttack[5], 64, 11}, {DevelopmentTable[63], 65, 63}, {table486[1], 66, 1}, {table486[486], 66, 3},
        {table486[243 * 486], 66, 13122}, {table486[479 * 486 + 479], 66, 26243}, {PasserCountSource[2][4], 67, 14},
        {PassedForceEg[12], 68, 25}, {LoosePawnRank[0], 69, 9}, {LoosePawnTable[5][5][3], 70, 143}};
    for (size_t i = 0; i < where.size(); i++) {
        const auto& [value, block, offset] = where[i];
        EXPECT_EQ(value, Line(block, offset)) << "entry " << i << ": block " << block << " offset " << offset;
    }
    EXPECT_EQ(table486[3 * 486], 0); // three pawns have no place in the file
    EXPECT_EQ(timeTable[97], 256);  // the time factors are not the file's
}

TEST_F(ValuesTest, ShortAndBrokenFilesKeepWhatWasThereBehindTheirEnd) {
    ValuesFile numbered = ValuesFile::Numbered();
    Read(numbered.Text());
    ValuesFile doubled;
    for (size_t i = 0; i < doubled.lines.size(); i++) doubled.lines[i] = 2 * int64_t(i + 1);
    Read(doubled.Text(size_t(Line(47, 1))));
    EXPECT_EQ(PassedMg[1], 2 * Line(47, 1));
    EXPECT_EQ(PassedMg[2], Line(47, 2));
    EXPECT_EQ(RunBase, Line(61, 0));
    // The material parameters and the tables are zeroed whatever the file holds.
    Read("");
    EXPECT_EQ(PawnMg[0], 2 * Line(1, 0));
    EXPECT_EQ(ImbalanceMg[0], 0);
    EXPECT_EQ(table54[27 * 54], 0);
    // The first text that is no number stops the reading; a sign alone is none; 32 bits at most.
    Read("7\n-8\n  +9\n\n10 junk\n11\n");
    EXPECT_EQ((std::vector<int>{PawnMg[0], PawnMg[1], PawnMg[2], PawnMg[3]}), (std::vector<int>{7, -8, 9, 10}));
    EXPECT_EQ(PawnEg[0], 2 * Line(1, 4));
    Read("1\n-\n3\n");
    EXPECT_EQ(PawnMg[1], -8);
    Read("99999999999\n-99999999999\n");
    EXPECT_EQ(PawnMg[0], INT32_MAX);
    EXPECT_EQ(PawnMg[1], INT32_MIN);
    // No file at all: one line, and the compiled-in weights.
    dir.Remove("values.txt");
    RestoreDefaultParameters();
    EXPECT_EQ(Printed([] { LoadEvaluationValues(); }), "Error loading values.txt\n");
}

TEST_F(ValuesTest, OutOfRangeValuesAreFixedWithARunningNumber) {
    ValuesFile f;
    f.Set(6, 0, -4);    // ShelterHole: value 1 of the repair
    f.Set(46, 0, 200);  // KingRingTable[0]: value 33
    f.Set(65, 0, 9);    // DevelopmentTable[0]: value 467
    f.Set(40, 0, -300); // HomePawnsMg[0]: value 531
    f.Set(47, 1, -1);   // PassedMg[1]: value 674
    f.Set(37, 2 * (64 * 64 * 2 + 3), -6); // a negative prune count
    FixCounter = 0;
    std::string expected = "Error! Negative prune stats value: -6\nfix [1, -4 to 0]; fix [33, 200 to 127]; ";
    // A file of zeros leaves the development weights below 1 and the pawn-ending wins off their values.
    for (int i = 449; i <= 466; i++) expected += "fix [" + std::to_string(i) + ", 0 to 1]; ";
    expected += "fix [467, 9 to 5]; fix [531, -300 to -200]; ";
    for (int i = 0; i < 6; i++) expected += "fix [" + std::to_string(659 + i) + ", 0 to " + std::to_string(800 + 20 * i) + "]; ";
    expected += "fix [674, -1 to 0]; \n";
    EXPECT_EQ(Load(f.Text()), expected);
    EXPECT_EQ(KingRingTable[0], 127);
    EXPECT_EQ(HomePawnsMg[0], -200);
    const std::string again = Load(f.Text()); // the number runs on over a reload
    EXPECT_EQ(again.substr(0, again.find("fix [1590")), "Error! Negative prune stats value: -6\nfix [1558, -4 to 0]; ");
}

// The writer mirrors the reader: every line that lands somewhere and stays is written back as it
// was read, the tables in their own orders too; lines nothing reads are 0.
TEST_F(ValuesTest, WrittenFileHoldsWhatWasRead) {
    EXPECT_EQ(Read(ValuesFile::Numbered().Text()), "");
    ASSERT_TRUE(WriteValuesFile(dir.File("out.txt").c_str(), table54.data(), table486.data()));
    std::vector<int64_t> written;
    std::istringstream in(dir.Read("out.txt"));
    for (int64_t v; in >> v;) written.push_back(v);
    ASSERT_EQ(written.size(), size_t(VALUES_FILE_LINES));

    const std::vector<ValueLine> map = ValueLineMap();
    ASSERT_EQ(map.size(), size_t(VALUES_FILE_LINES));
    std::map<int32_t*, size_t> owner; // the last line that sets a value
    for (size_t i = 0; i < map.size(); i++)
        for (int32_t* t : map[i].target)
            if (t) owner[t] = i;
    size_t kept = 0, tables = 0, wrong = 0;
    // Only the first few differences are reported: a broken writer would differ everywhere.
    auto expect = [&](size_t i, int64_t value) {
        if (written[i] != value && wrong++ < 5)
            ADD_FAILURE() << "line " << i + 1 << " of block " << map[i].block << ": " << written[i];
    };
    for (size_t i = 0; i < map.size(); i++) {
        const int64_t line = int64_t(i + 1);
        if (map[i].block == 4 || map[i].block == 37 || map[i].block == 66) {
            tables++;
            expect(i, line);
        } else if (map[i].target[0] && owner[map[i].target[0]] == i && *map[i].target[0] == line) {
            kept++;
            expect(i, line);
        } else if (!map[i].target[0]) {
            expect(i, 0);
        }
    }
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(tables, size_t(2916 + 98304 + 26244));
    EXPECT_GT(kept, 6000u);
}

// The compiled-in weights written out load with no repair; what was loaded writes a file that
// reads back the same. (A load puts the engine's own king-safety curves in, so the first file
// differs from the second there.)
TEST_F(ValuesTest, DefaultsWrittenLoadCleanlyAndReadBack) {
    ASSERT_TRUE(WriteValuesFile(dir.File("values.txt").c_str(), nullptr, nullptr));
    EXPECT_EQ(Printed([] { LoadEvaluationValues(); }), "");
    ASSERT_TRUE(WriteValuesFile(dir.File("values.txt").c_str(), nullptr, nullptr));
    const std::string first = dir.Read("values.txt");
    EXPECT_EQ(Printed([] { LoadEvaluationValues(); }), "");
    ASSERT_TRUE(WriteValuesFile(dir.File("again.txt").c_str(), nullptr, nullptr));
    EXPECT_TRUE(dir.Read("again.txt") == first); // not EXPECT_EQ: a diff of two such files is huge
}

} // namespace
