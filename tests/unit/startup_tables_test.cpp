// The tables of start-up (geometry, logistic curves, the register of tablebases), some of them built
// in parallel loops: the same bytes on one thread as on several; and the spot values of the curves.
#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>

#include "board/geometry.h"
#include "eval/sigmoid.h"
#include "tablebases/registry.h"
#include "tests/support/engine_setup.h"

namespace {

// Each build starts from other garbage, so equal images also show that every entry was written.
TEST(StartupTablesTest, ThreadedBuildsEqualASerialBuild) {
    FreshEngine();
    struct Block {
        void* at;
        size_t size;
    };
    // clang-format off
#define T(x) Block{static_cast<void*>(&(x)), sizeof(x)}
    const Block tables[] = {
        T(RankAttacks), T(FileAttacks), T(DiagA8H1Attacks), T(DiagA1H8Attacks), T(WhitePawnAttacks),
        T(BlackPawnAttacks), T(KnightAttacks), T(KingAttacks), T(BishopPseudoAttacks), T(RookPseudoAttacks),
        T(RayNorth), T(RaySouth), T(RayEast), T(RayWest), T(RayNorthEast), T(RayNorthWest), T(RaySouthEast),
        T(RaySouthWest), T(DirectionTable), T(BetweenMask), T(RectangleMask), T(NotFileMask), T(NeighbourFiles),
        T(RanksAbove), T(RanksBelow), T(FileAbove), T(FileBelow), T(FrontThree), T(BackThree),
        T(PassedMaskWhite), T(PassedMaskBlack), T(PawnSquareWhite), T(PawnSquareWhiteWide), T(PawnSquareBlack),
        T(PawnSquareBlackWide), T(FirstBit8), T(LastBit8), T(PopCount8), T(ReverseByte8), T(ToLowerTable),
        T(PawnFileClass), T(KingOppositionMask), T(PieceSquareTable), T(PstMg16), T(PstEg16), T(KnightDistance),
        T(KnightIntercept), T(PawnEndgameSigmoid), T(PressureSigmoid), T(AttackHorrorSigmoid),
        T(DefendHorrorSigmoid), T(TableHash)};
    // clang-format on
#undef T
    auto build = [&](int threads, int garbage) {
        for (const Block& b : tables) std::memset(b.at, garbage, b.size);
        omp_set_num_threads(threads);
        InitBoardTables();
        InitSigmoidTables();
        Printed([] { init_tablebases(DataPath("syzygy").c_str()); });
        std::string image;
        for (const Block& b : tables) image.append(static_cast<const char*>(b.at), b.size);
        return image;
    };
    const int saved          = omp_get_max_threads();
    const std::string serial = build(1, 0x00);
    EXPECT_TRUE(serial == build(4, 0xA5));
    EXPECT_TRUE(serial == build(3, 0x5A));
    omp_set_num_threads(saved);
    init_tablebases("<empty>");
}

// The curves as their parameters promise: the passer term odd around 0 and out to 25, the
// pressure rising from 0 with no centre set, the two force factors from 3 to -3 and back.
TEST(StartupTablesTest, TheLogisticCurvesHaveTheirShape) {
    FreshEngine();
    const int c = PAWN_ENDGAME_SIGMOID_CENTRE;
    for (int i = 0; i <= c; i++) ASSERT_EQ(PawnEndgameSigmoid[c + i], -PawnEndgameSigmoid[c - i]) << i;
    for (int i = 1; i < 64; i++) ASSERT_GE(PressureSigmoid[i], PressureSigmoid[i - 1]) << i;
    EXPECT_EQ(std::vector<int>({PawnEndgameSigmoid[2 * c], PressureSigmoid[0], AttackHorrorSigmoid[0],
                                AttackHorrorSigmoid[511], DefendHorrorSigmoid[0], DefendHorrorSigmoid[511]}),
              std::vector<int>({25, 0, 3, -3, -3, 3}));
}

} // namespace
