// values.txt: where every block lands, the three reading shapes, short and broken files, the
// range repair with its running counter, the derived tables and the pruning ratios.
#include <gtest/gtest.h>

#include <cstring>

#include "eval/params.h"
#include "eval/values.h"
#include "tests/unit/scratch_dir.h"
#include "tests/unit/test_main_setup.h"
#include "tests/unit/values_file.h"

namespace {

class ValuesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        RestoreDefaultParameters();
        std::memset(PruneStats, 0, sizeof(PruneStats));
    }
    void TearDown() override {
        // Leave the defaults for the next test, as start-up without a file makes them.
        RestoreDefaultParameters();
        std::memset(PruneStats, 0, sizeof(PruneStats));
        testing::internal::CaptureStdout();
        LoadEvaluationValues();
        testing::internal::GetCapturedStdout();
    }
    // Reads the file alone, without the repair and the derived tables.
    std::string Read(const std::string& text) {
        dir.Write("values.txt", text);
        testing::internal::CaptureStdout();
        ReadValuesFile(table54.data(), table486.data(), timeTable.data());
        return testing::internal::GetCapturedStdout();
    }
    std::string Load(const std::string& text) {
        dir.Write("values.txt", text);
        testing::internal::CaptureStdout();
        LoadEvaluationValues();
        return testing::internal::GetCapturedStdout();
    }
    ScratchDir dir;
    std::vector<int32_t> table54 = std::vector<int32_t>(TABLE54_SIZE, -1);
    std::vector<int32_t> table486 = std::vector<int32_t>(TABLE486_SIZE, -1);
    std::vector<int32_t> timeTable = std::vector<int32_t>(TABLE486_SIZE, -1);
};

#define EXPECT_LINE(value, block, offset) EXPECT_EQ(value, Line(block, offset)) << #value

TEST_F(ValuesTest, EveryBlockLandsInItsTablesInFileOrder) {
    EXPECT_EQ(Read(ValuesFile::Numbered().Text()), "");

    EXPECT_LINE(PawnMg[0], 1, 0);
    EXPECT_LINE(PawnEg[3], 1, 7);
    EXPECT_LINE(ImbalanceMg[5], 2, 5);
    EXPECT_LINE(ImbalanceEg[0], 2, 6);
    // Pairs after one unused pair: rook, knight, bishop, queen.
    EXPECT_LINE(PieceMg[WEIGHT_ROOK], 3, 2);
    EXPECT_LINE(PieceEg[WEIGHT_ROOK], 3, 3);
    EXPECT_LINE(PieceMg[WEIGHT_KNIGHT], 3, 4);
    EXPECT_LINE(PieceMg[WEIGHT_BISHOP], 3, 6);
    EXPECT_LINE(PieceEg[WEIGHT_QUEEN], 3, 9);
    // Block 4 by [White config54][Black config54], config = N + 3 B + 9 R + 27 Q.
    EXPECT_LINE(table54[0], 4, 0);
    EXPECT_LINE(table54[0 * 54 + 1], 4, 1);       // a black knight: the fastest counter
    EXPECT_LINE(table54[1 * 54 + 0], 4, 3);       // a white knight
    EXPECT_LINE(table54[0 * 54 + 27], 4, 729);    // a black queen
    EXPECT_LINE(table54[27 * 54 + 0], 4, 1458);   // a white queen: the slowest counter
    EXPECT_LINE(table54[53 * 54 + 53], 4, 2915);  // everything twice, queens once
    EXPECT_LINE(ShelterHole, 6, 0);
    EXPECT_LINE(ShelterQueenGone, 6, 3);
    EXPECT_LINE(BishopBothWingsMg, 7, 0);
    EXPECT_LINE(FianchettoKingMg, 7, 1);
    EXPECT_LINE(OutsideKingSource, 7, 2);
    EXPECT_LINE(RookOnEighthMg, 7, 4);
    EXPECT_LINE(PawnWallKingMg, 7, 9);
    EXPECT_LINE(RookSeventhBatteryMg, 7, 11);
    EXPECT_LINE(BareKingBonus, 8, 0);
    EXPECT_LINE(KbnkScale, 9, 0);
    EXPECT_LINE(KbnkBase, 9, 1);
    EXPECT_LINE(BadBishopPawnMg, 11, 0);
    EXPECT_LINE(KnightBlockedPawnMg, 11, 4);
    EXPECT_LINE(BlockedPawnBonusMg, 12, 0);
    EXPECT_LINE(BishopTrappedMg, 13, 0);
    EXPECT_LINE(RookCorneredMg, 13, 4);
    EXPECT_LINE(KnightWingsBehind, 13, 9);
    EXPECT_LINE(RookBishopDuo, 13, 15);
    EXPECT_LINE(ShelterMg[15], 14, 15);
    EXPECT_LINE(SpareKingParams[14], 16, 14);
    EXPECT_LINE(RookFileDangerSource[0], 16, 15);
    EXPECT_LINE(QueenDistDangerSource[0], 16, 18);
    EXPECT_LINE(QueenFileDangerSource[2], 16, 25);
    EXPECT_LINE(BishopMobilityMg, 16, 26);
    EXPECT_LINE(BishopMobilityEg, 16, 27);
    EXPECT_LINE(RookMobilityMg, 16, 28);
    EXPECT_LINE(QueenMobilityEg, 16, 31);
    EXPECT_LINE(ShelterNoQueen, 16, 32);
    EXPECT_LINE(BishopPairSource[4], 16, 37);
    EXPECT_LINE(PinSourceMg[0][0], 16, 38);
    EXPECT_LINE(PinSourceEg[0][0], 16, 39);
    EXPECT_LINE(PinSourceEg[2][3], 16, 61);
    EXPECT_LINE(OppositeBishopsFar, 16, 62);
    EXPECT_LINE(RookPawnCutOff, 16, 87);
    EXPECT_LINE(NoPawns8v6, 16, 105);
    EXPECT_LINE(RookPawnsCount, 16, 107);
    EXPECT_LINE(RookPawnsLoose, 16, 115);
    EXPECT_LINE(EndgamePoints, 17, 0);
    EXPECT_LINE(EndingPointsNoQueen, 17, 1);
    EXPECT_LINE(PieceVsPawnsSource[0], 18, 0);
    EXPECT_LINE(RookVsMinorsSource[3], 18, 8);
    EXPECT_LINE(RookPawnBonus[13], 19, 13);
    EXPECT_LINE(KnightTrapStart, 20, 5);
    EXPECT_LINE(BishopTrapFactor, 20, 8);
    EXPECT_LINE(TrapSquareSource[14], 20, 23);
    EXPECT_LINE(TrapSquareSource[15], 21, 0);
    EXPECT_LINE(RookPawnBonus[14], 22, 0);
    EXPECT_LINE(RookPawnBonus[16], 22, 2);
    EXPECT_LINE(CheckSquareDangerKnight[0], 23, 0);
    EXPECT_LINE(CheckSquareDangerBishop[0], 23, 32);
    EXPECT_LINE(CheckSquareDangerQueen[31], 23, 95);
    EXPECT_LINE(ShelterTable[511], 25, 511);
    EXPECT_LINE(ShelterFileParams[12], 26, 12);
    EXPECT_LINE(RaceLooseMg[0], 26, 13);
    EXPECT_LINE(RaceLooseForkMg[8], 26, 30);
    EXPECT_LINE(PawnConnectedMgSource[19], 26, 50);
    EXPECT_LINE(KpkWinBonusSource[0], 28, 0);
    EXPECT_LINE(KingSquareShelterSource[31], 29, 31);
    EXPECT_LINE(PstRowsMg[383], 30, 383);
    EXPECT_LINE(ShelterPenalty[0], 31, 192);
    EXPECT_LINE(ShelterPenalty[63], 31, 255);
    EXPECT_LINE(QueenCheckBonus[0], 32, 0);
    EXPECT_LINE(PawnConnectedEgSource[0], 32, 7);
    EXPECT_LINE(LoneKnightDistance[7], 32, 34);
    EXPECT_LINE(PstScale[15], 33, 15);
    EXPECT_LINE(PstRowsEg[0], 34, 0);
    EXPECT_LINE(RookEndingTable[1][0], 36, 39);
    EXPECT_LINE(RookEndingTable[38][38], 36, 1520);
    // Prune stats: [phase][K N P R B Q][from][to][a, b].
    EXPECT_LINE(PruneStats[0][0][0][0][1], 37, 1);
    EXPECT_LINE(PruneStats[0][0][0][1][0], 37, 2);
    EXPECT_LINE(PruneStats[0][0][1][0][0], 37, 128);
    EXPECT_LINE(PruneStats[0][1][0][0][0], 37, 8192);
    EXPECT_LINE(PruneStats[1][0][0][0][0], 37, 49152);
    EXPECT_LINE(PruneStats[1][5][63][63][1], 37, 98303);
    EXPECT_LINE(ClassPawns[0][0][1], 38, 1);
    EXPECT_LINE(ClassPawns[0][1][0], 38, 2);
    EXPECT_LINE(ClassPawns[1][0][0], 38, 12);
    EXPECT_LINE(ClassPawns[113][5][1], 38, 1367);
    EXPECT_LINE(ClassKings[0][0][1][0], 39, 4);
    EXPECT_LINE(ClassKings[0][1][0][0], 39, 16);
    EXPECT_LINE(ClassKings[1][0][0][0], 39, 64);
    EXPECT_LINE(ClassKings[2][3][3][3], 39, 191);
    EXPECT_LINE(HomePawnsMg[0], 40, 0);
    EXPECT_LINE(CentreBlockMg[0], 40, 64);
    EXPECT_LINE(DevelopmentWeight[5], 40, 72);
    EXPECT_LINE(HomePawnsEg[63], 41, 63);
    EXPECT_LINE(CentreBlockEg[2], 41, 66);
    EXPECT_LINE(AttackScaleQueen, 41, 67);
    EXPECT_LINE(MaterialSigmoidSlope, 41, 70);
    EXPECT_LINE(PressureA, 41, 71);
    EXPECT_LINE(PressureB, 41, 72);
    EXPECT_LINE(PressureCentre, 42, 0);
    EXPECT_LINE(AttackerWeight[5], 43, 5);
    EXPECT_LINE(ShelterEnemyMiddle, 44, 0);
    EXPECT_LINE(AttackHorrorA, 44, 2);
    EXPECT_LINE(DefendHorrorC, 44, 7);
    EXPECT_LINE(DefenceForceWeight[3], 44, 11);
    EXPECT_LINE(DefencePawnWeight, 45, 0);
    EXPECT_LINE(AttackForceWeight[0], 45, 1);
    EXPECT_LINE(AttackPawnWeight, 45, 5);
    EXPECT_LINE(BishopBothWingsEg, 45, 6);
    EXPECT_LINE(KingRingTable[383], 46, 383);
    EXPECT_LINE(PassedEg[7], 47, 15);
    EXPECT_LINE(PawnEndgameA, 47, 16);
    EXPECT_LINE(PawnEndgameB, 47, 17);
    // Entry by entry: own king, enemy king, own king, ...
    EXPECT_LINE(PassedOwnKing[0], 48, 0);
    EXPECT_LINE(PassedEnemyKing[0], 48, 1);
    EXPECT_LINE(PassedOwnKing[23], 48, 46);
    EXPECT_LINE(PassedEnemyKing[23], 48, 47);
    EXPECT_LINE(PassedKingRace[17], 49, 17);
    EXPECT_LINE(PassedStateMg[7], 50, 7);
    EXPECT_LINE(PassedStateEg[0], 50, 8);
    EXPECT_LINE(PassedFileEg[0], 51, 1);
    EXPECT_LINE(PassedFileMg[3], 51, 6);
    EXPECT_LINE(PawnDuelScale, 52, 0);
    EXPECT_LINE(PawnDuelSlope, 52, 1);
    EXPECT_LINE(PawnSpanEg[8], 52, 10);
    EXPECT_LINE(PassedSpanEg[0], 53, 0);
    EXPECT_LINE(RookSeventhBatteryEg, 53, 9);
    EXPECT_LINE(BishopTrappedEg, 53, 13);
    EXPECT_LINE(FianchettoKingEg, 53, 22);
    // Half boards: four values a row for files a to d, copied to h to e.
    EXPECT_LINE(PawnLeverSupportMg[0], 55, 0);
    EXPECT_LINE(PawnLeverSupportMg[7], 55, 0);
    EXPECT_LINE(PawnLeverSupportMg[3], 55, 3);
    EXPECT_LINE(PawnLeverSupportMg[4], 55, 3);
    EXPECT_LINE(PawnLeverSupportMg[8], 55, 4);
    EXPECT_LINE(PawnLeverSupportMg[63], 55, 28);
    EXPECT_LINE(PawnLeverSupportEg[0], 55, 32);
    EXPECT_LINE(KnightOutpostMg[9], 55, 64 + 5);
    EXPECT_LINE(RookBehindPasserMg[14], 55, 14 * 32 + 5);
    EXPECT_LINE(PawnCandidateEg[63], 55, 636);
    EXPECT_LINE(PawnCandidateEg[60], 55, 639);
    EXPECT_LINE(PawnSpanMg[0], 56, 0);
    EXPECT_LINE(PassedSpanMg[8], 56, 17);
    EXPECT_LINE(ThreatTableMg[0], 57, 0);
    EXPECT_LINE(ThreatTableEg[16], 57, 33);
    // Row-mirrored: four values on files a-d and their mirrors; in a full row the later values
    // of files e-h overwrite a-d.
    EXPECT_LINE(RookOpenFileMg[0], 58, 0);
    EXPECT_LINE(RookOpenFileMg[7], 58, 0);
    EXPECT_LINE(RookOpenFileMg[4], 58, 3);
    EXPECT_LINE(RookOpenFileEg[1], 58, 5);
    EXPECT_LINE(PawnIsolatedOpenEg[0], 58, 8 + 7);
    EXPECT_LINE(PawnIsolatedOpenEg[7], 58, 8 + 7);
    EXPECT_LINE(PawnIsolatedOpenEg[3], 58, 8 + 4);
    EXPECT_LINE(PawnIsolatedOpenEg[4], 58, 8 + 4);
    EXPECT_LINE(PawnIsolatedOpenEg[8], 58, 8 + 15);
    EXPECT_LINE(PawnBackwardOpenEg[0], 58, 8 + 64 + 7);
    EXPECT_LINE(PawnIsolatedOpenMg[0], 58, 8 + 128 + 7);
    EXPECT_LINE(PawnBackwardClosedEg[0], 58, 8 + 7 * 64 + 7);
    EXPECT_LINE(PawnDoubledEg[56], 58, 8 + 9 * 64 + 63);
    EXPECT_LINE(PawnDoubledEg[63], 58, 8 + 9 * 64 + 63);
    EXPECT_LINE(RookHalfOpenMg[0], 58, 648);
    EXPECT_LINE(RookHalfOpenEg[3], 58, 655);
    EXPECT_LINE(RookHalfOpenEg[4], 58, 655);
    EXPECT_LINE(RaceSource[0][0], 59, 0);
    EXPECT_LINE(RaceSource[7][7], 59, 63);
    EXPECT_LINE(KpkWin[0], 60, 0);
    EXPECT_LINE(RunBase, 61, 0);
    EXPECT_LINE(RunFinal, 61, 1);
    EXPECT_LINE(RunPawn, 61, 2);
    EXPECT_LINE(RunAdvance[5], 62, 5);
    EXPECT_LINE(ShelterEg[15], 63, 15);
    EXPECT_LINE(DevelopmentShelter[0], 64, 0);
    EXPECT_LINE(DevelopmentAttack[5], 64, 11);
    EXPECT_LINE(DevelopmentTable[63], 65, 63);
    // Block 66 by [White config486][Black config486], config = P + 9 N + 27 B + 81 R + 243 Q.
    EXPECT_LINE(table486[0 * 486 + 1], 66, 1);           // a black pawn
    EXPECT_LINE(table486[1 * 486 + 0], 66, 3);           // a white pawn
    EXPECT_LINE(table486[0 * 486 + 9], 66, 9);           // a black knight
    EXPECT_LINE(table486[243 * 486 + 0], 66, 13122);     // a white queen
    EXPECT_LINE(table486[479 * 486 + 479], 66, 26243);
    EXPECT_EQ(table486[3 * 486 + 0], 0); // three pawns have no place in the file
    EXPECT_LINE(PasserCountSource[2][4], 67, 14);
    EXPECT_LINE(PassedForceMg[0], 68, 0);
    EXPECT_LINE(PassedForceEg[12], 68, 25);
    EXPECT_LINE(LoosePawnForce[8], 69, 8);
    EXPECT_LINE(LoosePawnRank[0], 69, 9);
    EXPECT_LINE(LoosePawnTable[1][0][0], 70, 24);
    EXPECT_LINE(LoosePawnTable[5][5][3], 70, 143);

    // Not read from the file: the time factors, and the two curves that a file replaces.
    for (int i = 0; i < TABLE486_SIZE; i += 97) EXPECT_EQ(timeTable[i], 256);
    EXPECT_EQ(0, std::memcmp(DangerCurve, DangerCurveAfterFile, sizeof(DangerCurve)));
    EXPECT_EQ(0, std::memcmp(ShelterCurve, ShelterCurveAfterFile, sizeof(ShelterCurve)));
}

TEST_F(ValuesTest, ShortOrBrokenFileKeepsWhatWasThereBehindItsEnd) {
    // Ends after ShelterMg[3]: the rest keeps its default, block 31's curves are still replaced.
    ValuesFile numbered = ValuesFile::Numbered();
    Read(numbered.Text(Line(14, 3)));
    EXPECT_LINE(ShelterMg[3], 14, 3);
    EXPECT_EQ(ShelterMg[4], 21);
    EXPECT_EQ(ShelterNoQueen, 128);
    EXPECT_EQ(KpkWinBonusSource[6], 600);
    EXPECT_EQ(DangerCurve[127], 964);

    // After a full file, a shorter one leaves the earlier file's values, not the defaults.
    Read(numbered.Text());
    ValuesFile doubled;
    for (size_t i = 0; i < doubled.lines.size(); i++) doubled.lines[i] = 2 * int64_t(i + 1);
    Read(doubled.Text(Line(47, 1)));
    EXPECT_EQ(PassedMg[1], 2 * Line(47, 1));
    EXPECT_LINE(PassedMg[2], 47, 2);
    EXPECT_LINE(RunBase, 61, 0);
    // The material parameters and the tables are zeroed whatever the file holds.
    Read("");
    EXPECT_EQ(PawnMg[0], 2 * Line(1, 0));
    EXPECT_EQ(ImbalanceMg[0], 0);
    EXPECT_EQ(PieceEg[3], 0);
    EXPECT_EQ(table54[27 * 54], 0);

    // The first text that is no number stops the reading; a sign alone is no number.
    Read("7\n-8\n  +9\n\n10 junk\n11\n");
    EXPECT_EQ(PawnMg[0], 7);
    EXPECT_EQ(PawnMg[1], -8);
    EXPECT_EQ(PawnMg[2], 9);
    EXPECT_EQ(PawnMg[3], 10);
    EXPECT_EQ(PawnEg[0], 2 * Line(1, 4));
    Read("1\n-\n3\n");
    EXPECT_EQ(PawnMg[1], -8);
    // Numbers beyond 32 bits are held at the limits.
    Read("99999999999\n-99999999999\n");
    EXPECT_EQ(PawnMg[0], INT32_MAX);
    EXPECT_EQ(PawnMg[1], INT32_MIN);
}

TEST_F(ValuesTest, MissingFileLeavesDefaultsAndDerivesTheirTables) {
    // An empty file is a file: no error, nothing to repair, but the steep danger curve.
    EXPECT_EQ(Load(""), "");
    EXPECT_EQ(DangerCurve[127], 964);

    dir.Remove("values.txt");
    RestoreDefaultParameters();
    testing::internal::CaptureStdout();
    LoadEvaluationValues();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error loading values.txt\n");

    EXPECT_EQ(DangerCurve[15], 15);
    EXPECT_EQ(DangerCurve[16], 17);
    EXPECT_EQ(DangerCurve[64], 359);
    EXPECT_EQ(DangerCurve[65], 360);
    EXPECT_EQ(DangerCurve[85], 380);
    EXPECT_EQ(DangerCurve[127], 380);
    EXPECT_EQ(ShelterCurve[24], 32);
    EXPECT_EQ(ShelterCurve[63], 32);
    EXPECT_EQ(ShelterPenalty[23], 175);
    EXPECT_EQ(ShelterPenalty[24], 180);
    EXPECT_EQ(DangerCurveAfterFile[50], 912);
    EXPECT_EQ(DangerCurveAfterFile[51], 964);
    EXPECT_EQ(ShelterCurveAfterFile[16], 28);

    const int32_t bishopPair[9] = {50, 50, 50, 50, 50, 45, 40, 30, 15};
    const int32_t pieceVsPawns[9] = {30, 60, 100, 110, 120, 120, 120, 120, 120};
    const int32_t rookVsMinors[9] = {0, 5, 10, 15, 20, 20, 20, 20, 20};
    for (int i = 0; i < 9; i++) {
        EXPECT_EQ(BishopPair[i], bishopPair[i]);
        EXPECT_EQ(PieceVsPawns[i], pieceVsPawns[i]);
        EXPECT_EQ(RookVsMinors[i], rookVsMinors[i] * 0x10001);
    }
    for (int i = 13; i < 17; i++) EXPECT_EQ(RookPawnBonus[i], -9);
    EXPECT_EQ(OutsideKing, 150 * 0x10001);

    const int32_t trapRank1[8] = {120, 115, 110, 105, 105, 110, 115, 120};
    const int32_t trapRank4[8] = {90, 60, 15, 0, 0, 15, 60, 90};
    for (int f = 0; f < 8; f++) {
        EXPECT_EQ(TrapSquareWeight[f], trapRank1[f]);
        EXPECT_EQ(TrapSquareWeight[56 + f], trapRank1[f]);
        EXPECT_EQ(TrapSquareWeight[24 + f], trapRank4[f]);
        EXPECT_EQ(TrapSquareWeight[32 + f], trapRank4[f]);
    }
    EXPECT_EQ(BishopTrapCurve[0], 85);
    EXPECT_EQ(BishopTrapCurve[1], 67); // 85 * 204 >> 8
    EXPECT_EQ(BishopTrapCurve[2], 53);
    EXPECT_EQ(KnightTrapCurve[36], BishopTrapCurve[36]);

    const int32_t shelterRank1[8] = {0, 0, 1, 3, 3, 1, 0, 0};
    const int32_t shelterRank2[8] = {1, 1, 2, 3, 3, 2, 1, 1};
    for (int f = 0; f < 8; f++) {
        EXPECT_EQ(KingSquareShelter[f], shelterRank1[f]);
        EXPECT_EQ(KingSquareShelter[8 + f], shelterRank2[f]);
        EXPECT_EQ(KingSquareShelter[16 + f], 3);
        EXPECT_EQ(KingSquareShelter[56 + f], 6);
    }
    const int32_t rookFile[8] = {2, 2, 1, 0, 0, 0, 0, 0}, queenDist[9] = {2, 2, 2, 1, 1, 0, 0, 0, 0};
    for (int i = 0; i < 8; i++) EXPECT_EQ(RookFileDanger[i], rookFile[i]);
    for (int i = 0; i < 8; i++) EXPECT_EQ(QueenFileDanger[i], rookFile[i]);
    for (int i = 0; i < 9; i++) EXPECT_EQ(QueenDistDanger[i], queenDist[i]);
    // Shelter grades by near | middle << 3 | far << 6 file codes.
    EXPECT_EQ(ShelterTable[0], 0);
    EXPECT_EQ(ShelterTable[7], 4);
    EXPECT_EQ(ShelterTable[3 | 3 << 3], 10);
    EXPECT_EQ(ShelterTable[7 | 3 << 6], 11);
    EXPECT_EQ(ShelterTable[0 | 3 << 3 | 3 << 6], 12);
    EXPECT_EQ(ShelterTable[4 | 7 << 3 | 7 << 6], 8);
    EXPECT_EQ(ShelterTable[511], 14);
    EXPECT_EQ(ShelterTable[1 << 3], 0); // no built-in value
    EXPECT_EQ(KingRingTable[0], 1);
    EXPECT_EQ(KingRingTable[127], 1);
    EXPECT_EQ(KingRingTable[128], 0);
    EXPECT_EQ(KingRingTable[256], 4);
    EXPECT_EQ(KingRingTable[383], 4);

    // Pins by piece code of the pinned man.
    EXPECT_EQ(PinByRook[2], 0x10001);
    EXPECT_EQ(PinByRook[5], 0);
    EXPECT_EQ(PinByRook[6], 0x10001);
    EXPECT_EQ(PinByBishop[5], 0x10001);
    EXPECT_EQ(PinByBishop[6], 0);
    EXPECT_EQ(PinByQueen[6], 0x10001);
    EXPECT_EQ(PinByQueen[7], 0);

    EXPECT_EQ(RookOpenFile[0], 16 << 16);
    EXPECT_EQ(RookOpenFile[3], 22 << 16);
    EXPECT_EQ(RookMobility, (2 << 16) + 4);
    EXPECT_EQ(RookBehindPasser[8 + 3], 21 << 16);
    EXPECT_EQ(RookBehindPasser[48 + 7], 13 << 16);
    EXPECT_EQ(EnemyRookBehindPasser[48 + 3], 11 << 16);
    EXPECT_EQ(KpkWinBonus[6], 600 * 0x10001);
    EXPECT_EQ(RaceLooseFork[1], 15 * 0x10001);
    EXPECT_EQ(KbnkScale, 35);
    EXPECT_EQ(KbnkBase, 120);
    for (int i = 0; i < 6; i++) EXPECT_EQ(KpkWin[i], 800 + 20 * i);
    EXPECT_EQ(PruneRatio[1][3][63][63][1], 0u);
}

TEST_F(ValuesTest, DerivedAndPackedTablesFollowTheFile) {
    ValuesFile f;
    f.Set(57, 0, 3);   // ThreatTable[0] midgame
    f.Set(57, 1, -2);  // and endgame: the endgame half borrows from the midgame half
    f.Set(18, 4, 77);  // fifth PieceVsPawns source fills entries 4 to 8
    f.Set(18, 8, 9);   // last RookVsMinors source repeats to entry 8
    f.Set(19, 13, -4); // RookPawnBonus[13], copied over the three values of block 22
    f.Set(22, 0, 500);
    f.Set(16, 33, 44); // first BishopPair source: entries 0 to 4
    f.Set(16, 34, 33);
    f.Set(16, 38 + 2 * 2, 6); // rook pins a bishop (third pin target), midgame
    f.Set(16, 38 + 2 * 2 + 1, 7);
    f.Set(20, 7, 256); // BishopTrapCurve: a factor of 256 keeps it flat
    f.Set(20, 8, 256);
    f.Set(20, 9 + 5, 11); // TrapSquareSource row 2, file distance 1: b2 g2 b7 g7
    f.Set(26, 31 + 2, 5); // PawnConnectedMgSource[2]: rank 1, file c
    f.Set(32, 7 + 2, 6);
    f.Set(29, 2 * 8 + 4, 9); // KingSquareShelter source of file c, rank 5
    f.Set(26, 4, 12);        // second shelter-file value: StormContact[...] etc.
    f.Set(7, 2, 40);         // OutsideKing source
    Load(f.Text());

    int32_t threat = ThreatTable[0];
    EXPECT_EQ((threat + 0x8000) >> 16, 3);
    EXPECT_EQ(int16_t(threat & 0xFFFF), -2);
    EXPECT_EQ(PieceVsPawns[3], 0);
    for (int i = 4; i < 9; i++) EXPECT_EQ(PieceVsPawns[i], 77);
    EXPECT_EQ(RookVsMinors[0], 0);
    EXPECT_EQ(RookVsMinors[8], 9 * 0x10001);
    for (int i = 13; i < 17; i++) EXPECT_EQ(RookPawnBonus[i], -4);
    for (int i = 0; i < 5; i++) EXPECT_EQ(BishopPair[i], 44);
    EXPECT_EQ(BishopPair[5], 33);
    EXPECT_EQ(PinByRook[6], (6 << 16) + 7);
    EXPECT_EQ(PinByRook[2], 0);
    for (int i = 0; i < 57; i++) EXPECT_EQ(BishopTrapCurve[i], 256);
    EXPECT_EQ(KnightTrapCurve[1], 0);
    EXPECT_EQ(TrapSquareWeight[9], 11);
    EXPECT_EQ(TrapSquareWeight[14], 11);
    EXPECT_EQ(TrapSquareWeight[49], 11);
    EXPECT_EQ(TrapSquareWeight[54], 11);
    EXPECT_EQ(TrapSquareWeight[10], 0);
    EXPECT_EQ(PawnConnected[8 + 2], (5 << 16) + 6);
    EXPECT_EQ(PawnConnected[8 + 5], (5 << 16) + 6);
    EXPECT_EQ(PawnConnected[2], 0);
    EXPECT_EQ(KingSquareShelter[4 * 8 + 2], 9);
    EXPECT_EQ(KingSquareShelter[4 * 8 + 5], 9);
    EXPECT_EQ(OutsideKing, 40 * 0x10001);
    EXPECT_EQ(StormContact[0] + StormContact[1] + StormContact[2] + StormContact[3], 0);
    EXPECT_EQ(StormBlocked[0], 12);
    // The file said 0 for the rook's open files: a file overrides the default.
    EXPECT_EQ(RookOpenFile[3], 0);
}

TEST_F(ValuesTest, OutOfRangeValuesAreFixedWithARunningNumber) {
    ValuesFile f;
    f.Set(6, 0, -4);    // ShelterHole: value 1 of the repair
    f.Set(46, 0, 200);  // KingRingTable[0]: value 33
    f.Set(46, 1, 5);    // in range
    f.Set(65, 0, 9);    // DevelopmentTable[0]: value 467
    f.Set(40, 0, -300); // HomePawnsMg[0]: value 531
    f.Set(47, 1, -1);   // PassedMg[1]: value 674 (PassedEg comes first)
    f.Set(31, 130, -5); // ShelterCurve is replaced by the engine's own before the repair
    f.Set(37, 2 * (64 * 64 * 2 + 3), -6); // a negative prune count
    f.Set(37, 2 * (64 * 64 * 2 + 3) + 1, 4);
    FixCounter = 0;
    std::string expected = "Error! Negative prune stats value: -6\n"
                           "fix [1, -4 to 0]; fix [33, 200 to 127]; ";
    // A file of zeros leaves the development weights below 1 and KpkWin away from its values.
    for (int i = 449; i <= 466; i++) expected += "fix [" + std::to_string(i) + ", 0 to 1]; ";
    expected += "fix [467, 9 to 5]; fix [531, -300 to -200]; ";
    for (int i = 0; i < 6; i++)
        expected += "fix [" + std::to_string(659 + i) + ", 0 to " + std::to_string(800 + 20 * i) + "]; ";
    expected += "fix [674, -1 to 0]; \n";
    EXPECT_EQ(Load(f.Text()), expected);
    EXPECT_EQ(FixCounter, 1557);
    EXPECT_EQ(KingRingTable[0], 127);
    EXPECT_EQ(KingRingTable[1], 5);
    EXPECT_EQ(DevelopmentTable[0], 5);
    EXPECT_EQ(HomePawnsMg[0], -200);
    EXPECT_EQ(KpkWin[5], 900);
    EXPECT_EQ(ShelterCurve[2], 10);
    // The number runs on over a reload.
    std::string again = Load(f.Text());
    EXPECT_EQ(again.substr(0, again.find("fix [1590")), "Error! Negative prune stats value: -6\n"
                                                        "fix [1558, -4 to 0]; ");
    // The bishop-and-knight mate numbers are not the file's to change.
    f.Set(9, 0, 1);
    f.Set(9, 1, 2);
    Load(f.Text());
    EXPECT_EQ(KbnkScale, 35);
    EXPECT_EQ(KbnkBase, 120);
}

TEST_F(ValuesTest, PruneRatiosTakeTheFirstRatioOfEachClass) {
    ValuesFile f;
    // Statistic (phase, piece K N P R B Q, from, to) = (a, b).
    auto stat = [&](int phase, int piece, int from, int to, int64_t a, int64_t b) {
        int at = (((phase * 6 + piece) * 64 + from) * 64 + to) * 2;
        f.Set(37, at, a);
        f.Set(37, at + 1, b);
    };
    stat(1, 1, 10, 20, 3, 4);           // a knight, White: 750
    stat(1, 1, 10 ^ 56, 20 ^ 56, 1, 8); // Black reads the squares mirrored: 125
    stat(0, 0, 5, 6, 1, 4);             // king before knight in class 0: 250 stays
    stat(0, 1, 5, 6, 1, 2);
    stat(0, 0, 7, 8, 5, 0);             // no count b: ratio 0, so the knight's ratio is taken
    stat(0, 1, 7, 8, 1, 5);
    stat(0, 5, 12, 20, 7, 1000000);     // a queen, class 3: 7000 / 1000000 = 0 per mille
    stat(1, 3, 1, 2, 2, 3);             // a rook, class 2: 666
    stat(1, 4, 1, 2, 1, 3);             // a bishop shares class 1 with the pawn
    stat(0, 2, 12, 20, -3, 2);          // a negative count stays in the ratio
    std::string out = Load(f.Text());
    EXPECT_EQ(out, "Error! Negative prune stats value: -3\n" + out.substr(out.find("fix")));
    EXPECT_EQ(PruneRatio[1][0][20][10][0], 750u);
    EXPECT_EQ(PruneRatio[1][0][20][10][1], 125u);
    EXPECT_EQ(PruneRatio[0][0][6][5][0], 250u);
    EXPECT_EQ(PruneRatio[0][0][8][7][0], 200u);
    EXPECT_EQ(PruneRatio[0][3][20][12][0], 0u);
    EXPECT_EQ(PruneRatio[1][2][2][1][0], 666u);
    EXPECT_EQ(PruneRatio[1][1][2][1][0], 333u);
    EXPECT_EQ(PruneRatio[0][1][20][12][0], uint32_t(-1500));
    EXPECT_EQ(PruneRatio[0][1][20][12][1], 0u);
}

} // namespace
