// Start-up geometry: slider lookups against plain ray walks, the serial and the threaded build,
// and the edge cases of masks and distances that evaluation code relies on.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "board/geometry.h"
#include "board/position.h"
#include "tests/unit/test_main_setup.h"

namespace {

class GeometryTest : public ::testing::Test {
  protected:
    void SetUp() override { InitTablesForTests(); }
};

int Sq(const char* name) {
    return (name[1] - '1') * 8 + (name[0] - 'a');
}

u64 Squares(std::initializer_list<const char*> names) {
    u64 set = 0;
    for (const char* n : names) set |= Bit(Sq(n));
    return set;
}

// Attacks along the given steps by walking square by square until the edge or the first man.
u64 Walk(int sq, u64 occupied, std::initializer_list<std::pair<int, int>> steps) {
    u64 attacks = 0;
    for (auto [df, dr] : steps) {
        int f = FileOf(sq) + df, r = RankOf(sq) + dr;
        for (; f >= 0 && f < 8 && r >= 0 && r < 8; f += df, r += dr) {
            attacks |= Bit(r * 8 + f);
            if (occupied & Bit(r * 8 + f)) break;
        }
    }
    return attacks;
}
u64 WalkRook(int sq, u64 occ) {
    return Walk(sq, occ, {{1, 0}, {-1, 0}, {0, 1}, {0, -1}});
}
u64 WalkBishop(int sq, u64 occ) {
    return Walk(sq, occ, {{1, 1}, {-1, 1}, {1, -1}, {-1, -1}});
}

// The line bytes exactly as the position keeps them, for an arbitrary occupancy.
struct LineBytes {
    int file[8] = {}, diagSum[16] = {}, diagDiff[16] = {};
    explicit LineBytes(u64 occupied) {
        for (int sq = 0; sq < 64; sq++) {
            if (!(occupied & Bit(sq))) continue;
            int f = FileOf(sq), r = RankOf(sq);
            file[f] |= 1 << r;
            diagSum[f + r] |= 1 << r;
            diagDiff[f - r + 7] |= 1 << r;
        }
    }
};

TEST_F(GeometryTest, SliderTablesMatchRayWalkForEveryLineByte) {
    std::mt19937_64 rng(20160629);
    for (int trial = 0; trial < 3000; trial++) {
        // Vary the density so that empty, sparse and crowded lines all occur.
        u64 occupied = rng();
        if (trial % 3 == 1) occupied &= rng();
        if (trial % 3 == 2) occupied |= rng();
        if (trial < 2) occupied = trial ? ~0ULL : 0;
        LineBytes lines(occupied);
        for (int sq = 0; sq < 64; sq++) {
            int f = FileOf(sq), r = RankOf(sq);
            u64 rook = RankAttacks[OccupancyClass[(occupied >> (sq & 56)) & 255][f]][r] |
                       FileAttacks[OccupancyClass[lines.file[f]][r]][f];
            u64 bishop = DiagA8H1Attacks[OccupancyClass[lines.diagSum[f + r]][r]][f + r] |
                         DiagA1H8Attacks[OccupancyClass[lines.diagDiff[f - r + 7]][r]][f - r + 7];
            ASSERT_EQ(rook, WalkRook(sq, occupied))
                << "square " << sq << " occupancy " << std::hex << occupied;
            ASSERT_EQ(bishop, WalkBishop(sq, occupied))
                << "square " << sq << " occupancy " << std::hex << occupied;
        }
    }
}

TEST_F(GeometryTest, SliderHelpersReadThePositionsOccupancy) {
    std::mt19937_64 rng(42);
    static const int kinds[] = {PAWN, KNIGHT, ROOK, BISHOP, QUEEN};
    for (int trial = 0; trial < 300; trial++) {
        ClearBoard();
        int density = 4 + trial % 60;
        for (int sq = 0; sq < 64; sq++)
            if (int(rng() % 64) < density) PutPiece(sq, int(rng() & 1), kinds[rng() % 5]);
        u64 occupied = thread_board.AllPieces;
        for (int sq = 0; sq < 64; sq++) {
            // The slider's own square may or may not be occupied; neither changes what it sees.
            ASSERT_EQ(RookAttacks(sq), WalkRook(sq, occupied)) << sq;
            ASSERT_EQ(BishopAttacks(sq), WalkBishop(sq, occupied)) << sq;
            ASSERT_EQ(QueenAttacks(sq), WalkRook(sq, occupied) | WalkBishop(sq, occupied)) << sq;
            ASSERT_EQ(RankAttacksFrom(sq) | FileAttacksFrom(sq), RookAttacks(sq));
        }
    }
    SetStartPosition();
}

TEST_F(GeometryTest, OccupancyClassesFoldBytesByNearestBlockers) {
    int maxClass = 0;
    std::vector<int> triples(OCCUPANCY_CLASSES, -1);
    for (int occ = 0; occ < 256; occ++) {
        for (int p = 0; p < 8; p++) {
            int lower = 0, upper = 7;
            for (int i = p - 1; i > 0; i--)
                if (occ >> i & 1) {
                    lower = i;
                    break;
                }
            for (int i = p + 1; i < 7; i++)
                if (occ >> i & 1) {
                    upper = i;
                    break;
                }
            int cls  = OccupancyClass[occ][p];
            maxClass = std::max(maxClass, cls);
            // Only the blockers count: keeping just their bits, or adding the slider's own bit,
            // leaves the class unchanged.
            int blockers = (lower ? 1 << lower : 0) | (upper < 7 ? 1 << upper : 0);
            ASSERT_EQ(OccupancyClass[blockers][p], cls) << occ << " " << p;
            ASSERT_EQ(OccupancyClass[occ ^ (1 << p)][p], cls) << occ << " " << p;
            // And a class stands for exactly one (position, lower, upper).
            int triple = p * 64 + lower * 8 + upper;
            if (triples[cls] < 0) triples[cls] = triple;
            ASSERT_EQ(triples[cls], triple) << "class " << cls;
        }
    }
    EXPECT_EQ(maxClass, 69);
    for (int p = 0; p < 8; p++) {
        EXPECT_EQ(OccupancyClass[0][p], p);
        EXPECT_EQ(OccupancyClass[1][p], p);
    }
    const int second[8] = {8, 1, 9, 10, 11, 12, 13, 14};
    for (int p = 0; p < 8; p++) EXPECT_EQ(OccupancyClass[2][p], second[p]);
}

TEST_F(GeometryTest, SlidingTablesOnEmptyBoardAndShortDiagonals) {
    EXPECT_EQ(RankAttacks[OccupancyClass[0][0]][0], Squares({"b1", "c1", "d1", "e1", "f1", "g1", "h1"}));
    EXPECT_EQ(FileAttacks[OccupancyClass[0][0]][0], Squares({"a2", "a3", "a4", "a5", "a6", "a7", "a8"}));
    for (int c = 0; c < OCCUPANCY_CLASSES; c++) {
        EXPECT_EQ(DiagA8H1Attacks[c][0], 0u);
        EXPECT_EQ(DiagA8H1Attacks[c][14], 0u);
        EXPECT_EQ(DiagA1H8Attacks[c][0], 0u);
        EXPECT_EQ(DiagA1H8Attacks[c][14], 0u);
    }
    // Known totals of moves on an empty board.
    int rook = 0, bishop = 0, knight = 0, king = 0;
    for (int sq = 0; sq < 64; sq++) {
        rook += std::popcount(RookPseudoAttacks[sq]);
        bishop += std::popcount(BishopPseudoAttacks[sq]);
        knight += std::popcount(KnightAttacks[sq]);
        king += std::popcount(KingAttacks[sq]);
        EXPECT_EQ(RookPseudoAttacks[sq], RayNorth[sq] | RaySouth[sq] | RayEast[sq] | RayWest[sq]);
        EXPECT_EQ(BishopPseudoAttacks[sq],
                  RayNorthEast[sq] | RayNorthWest[sq] | RaySouthEast[sq] | RaySouthWest[sq]);
        EXPECT_EQ(FileAbove[sq], RayNorth[sq]);
        EXPECT_EQ(FileBelow[sq], RaySouth[sq]);
    }
    EXPECT_EQ(rook, 896);
    EXPECT_EQ(bishop, 560);
    EXPECT_EQ(knight, 336);
    EXPECT_EQ(king, 420);
}

TEST_F(GeometryTest, PawnAttacksStopAtTheEdges) {
    EXPECT_EQ(WhitePawnAttacks[Sq("a1")], Squares({"b2"}));
    EXPECT_EQ(WhitePawnAttacks[Sq("e4")], Squares({"d5", "f5"}));
    EXPECT_EQ(WhitePawnAttacks[Sq("h8")], 0u);
    EXPECT_EQ(BlackPawnAttacks[Sq("h8")], Squares({"g7"}));
    EXPECT_EQ(BlackPawnAttacks[Sq("a1")], 0u);
    EXPECT_EQ(FrontThree[Sq("a2")], Squares({"a3", "b3"}));
    EXPECT_EQ(FrontThree[Sq("e8")], 0u);
    EXPECT_EQ(BackThree[Sq("h2")], Squares({"g1", "h1"}));
    EXPECT_EQ(BackThree[Sq("d1")], 0u);
    EXPECT_EQ(PassedMaskWhite[Sq("a6")], Squares({"a7", "b7", "a8", "b8"}));
    EXPECT_EQ(PassedMaskBlack[Sq("e3")], Squares({"d2", "e2", "f2", "d1", "e1", "f1"}));
    EXPECT_EQ(NeighbourFiles[Sq("h5")], 0x4040404040404040ULL);
    EXPECT_EQ(RanksAbove[Sq("c7")], 0xFF00000000000000ULL);
    EXPECT_EQ(RanksBelow[Sq("c2")], 0xFFULL);
    EXPECT_EQ(RanksAbove[Sq("c8")] | RanksBelow[Sq("c1")], 0u);
}

TEST_F(GeometryTest, DirectionAndBetweenFollowTheLine) {
    EXPECT_EQ(BetweenMask[Sq("a1")][Sq("h1")], Squares({"a1", "b1", "c1", "d1", "e1", "f1", "g1"}));
    EXPECT_EQ(BetweenMask[Sq("h1")][Sq("a1")], Squares({"b1", "c1", "d1", "e1", "f1", "g1", "h1"}));
    EXPECT_EQ(BetweenMask[Sq("a1")][Sq("b1")], Squares({"a1"}));
    EXPECT_EQ(BetweenMask[Sq("a1")][Sq("a1")], 0u);
    EXPECT_EQ(BetweenMask[Sq("a1")][Sq("b3")], 0u);
    EXPECT_EQ(BetweenMask[Sq("h8")][Sq("e5")], Squares({"h8", "g7", "f6"}));

    const int e4 = Sq("e4");
    EXPECT_EQ(DirectionTable[e4][Sq("e8")], -8);
    EXPECT_EQ(DirectionTable[e4][Sq("e1")], 8);
    EXPECT_EQ(DirectionTable[e4][Sq("h4")], -1);
    EXPECT_EQ(DirectionTable[e4][Sq("a4")], 1);
    EXPECT_EQ(DirectionTable[e4][Sq("h7")], -9);
    EXPECT_EQ(DirectionTable[e4][Sq("b7")], -7);
    EXPECT_EQ(DirectionTable[e4][Sq("h1")], 7);
    EXPECT_EQ(DirectionTable[e4][Sq("b1")], 9);
    EXPECT_EQ(DirectionTable[e4][Sq("f6")], 0);
    EXPECT_EQ(DirectionTable[e4][e4], 0);
    EXPECT_EQ(DirectionTable[Sq("h4")][Sq("a5")], 0); // no wrap over the board's edge

    for (int from = 0; from < 64; from++) {
        for (int to = 0; to < 64; to++) {
            u64 line     = RookPseudoAttacks[from] | BishopPseudoAttacks[from];
            bool aligned = (line & Bit(to)) != 0;
            ASSERT_EQ(DirectionTable[from][to] != 0, aligned) << from << " " << to;
            if (!aligned) {
                ASSERT_EQ(BetweenMask[from][to], 0u);
                continue;
            }
            // Stepping back from `to` reaches `from`, and the mask holds from and the squares
            // between, seen from either end.
            int d = DirectionTable[from][to];
            EXPECT_EQ(DirectionTable[to][from], -d);
            u64 walked = 0;
            for (int s = to + d; s != from; s += d) walked |= Bit(s);
            EXPECT_EQ(BetweenMask[from][to], walked | Bit(from));
            EXPECT_EQ(BetweenMask[from][to] | Bit(to), BetweenMask[to][from] | Bit(from));
            bool straight = d == 1 || d == -1 || d == 8 || d == -8;
            u64 meet      = straight ? WalkRook(from, Bit(to)) & WalkRook(to, Bit(from))
                                     : WalkBishop(from, Bit(to)) & WalkBishop(to, Bit(from));
            EXPECT_EQ(walked, meet);
        }
    }
}

TEST_F(GeometryTest, RectangleMaskIsTheBoundingBox) {
    EXPECT_EQ(RectangleMask[Sq("a1")][Sq("h8")], ~0ULL);
    EXPECT_EQ(RectangleMask[Sq("c3")][Sq("a1")], 0x070707ULL);
    EXPECT_EQ(RectangleMask[Sq("d5")][Sq("d5")], Squares({"d5"}));
    EXPECT_EQ(RectangleMask[Sq("b7")][Sq("g6")], RectangleMask[Sq("g7")][Sq("b6")]);
    EXPECT_EQ(std::popcount(RectangleMask[Sq("b7")][Sq("g6")]), 12);
}

TEST_F(GeometryTest, RuleOfTheSquareRadii) {
    // White promotes on rank 8: radius 5 from a2 (double step) and from a3, 4 from a4.
    EXPECT_EQ(PawnSquareWhite[Sq("a2")], RectangleMask[Sq("a3")][Sq("f8")]);
    EXPECT_EQ(PawnSquareWhite[Sq("a3")], RectangleMask[Sq("a3")][Sq("f8")]);
    EXPECT_EQ(PawnSquareWhite[Sq("a4")], RectangleMask[Sq("a4")][Sq("e8")]);
    EXPECT_EQ(PawnSquareWhiteWide[Sq("a2")], RectangleMask[Sq("a2")][Sq("g8")]);
    EXPECT_EQ(PawnSquareWhite[Sq("e7")], RectangleMask[Sq("d7")][Sq("f8")]);
    EXPECT_EQ(PawnSquareBlack[Sq("h7")], RectangleMask[Sq("c1")][Sq("h6")]);
    EXPECT_EQ(PawnSquareBlackWide[Sq("h7")], RectangleMask[Sq("b1")][Sq("h7")]);
    EXPECT_EQ(PawnSquareBlack[Sq("d2")], RectangleMask[Sq("c1")][Sq("e2")]);
    // Colours swap by the mirror of the board, double step included.
    for (int sq = 8; sq < 56; sq++) {
        u64 mirrored = 0;
        for (u64 b = PawnSquareBlack[sq ^ 56]; b; b &= b - 1) mirrored |= Bit(std::countr_zero(b) ^ 56);
        EXPECT_EQ(PawnSquareWhite[sq], mirrored) << sq;
    }
}

TEST_F(GeometryTest, KingOppositionMaskOnEdgeSquaresOnly) {
    auto mirrored = [](std::initializer_list<const char*> names) {
        u64 set = 0;
        for (const char* n : names) set |= Bit(63 - Sq(n));
        return set;
    };
    EXPECT_EQ(KingOppositionMask[Sq("b1")], mirrored({"b3"}));
    EXPECT_EQ(KingOppositionMask[Sq("g8")], mirrored({"g6"}));
    EXPECT_EQ(KingOppositionMask[Sq("a2")], mirrored({"c2"}));
    EXPECT_EQ(KingOppositionMask[Sq("h5")], mirrored({"f5"}));
    EXPECT_EQ(KingOppositionMask[Sq("a1")], mirrored({"a3", "b3", "c1", "c2"}));
    EXPECT_EQ(KingOppositionMask[Sq("h1")], mirrored({"h3", "g3", "f1", "f2"}));
    EXPECT_EQ(KingOppositionMask[Sq("a8")], mirrored({"a6", "b6", "c7", "c8"}));
    EXPECT_EQ(KingOppositionMask[Sq("h8")], mirrored({"h6", "g6", "f7", "f8"}));
    int edges = 0;
    for (int sq = 0; sq < 64; sq++) edges += KingOppositionMask[sq] != 0;
    EXPECT_EQ(edges, 28);
    EXPECT_EQ(KingOppositionMask[Sq("b2")], 0u);
}

TEST_F(GeometryTest, ByteTables) {
    for (int b = 0; b < 256; b++) {
        EXPECT_EQ(FirstBit8[b], b ? std::countr_zero(unsigned(b)) : 8);
        EXPECT_EQ(LastBit8[b], b ? std::bit_width(unsigned(b)) - 1 : 8);
        EXPECT_EQ(PopCount8[b], std::popcount(unsigned(b)));
        EXPECT_EQ(ReverseByte8[ReverseByte8[b]], uint32_t(b));
        EXPECT_EQ(ReverseByte8[b] & 1, uint32_t(b >> 7));
    }
    EXPECT_EQ(PawnFileClass[0], 0u);
    EXPECT_EQ(PawnFileClass[0x80], 1u);
    EXPECT_EQ(PawnFileClass[0x40], 2u);
    EXPECT_EQ(PawnFileClass[0x08], 3u);
    EXPECT_EQ(PawnFileClass[0xC0], 4u);
    EXPECT_EQ(PawnFileClass[0x81], 5u);
    EXPECT_EQ(PawnFileClass[0x06], 5u);
    EXPECT_EQ(ToLowerTable['Q'], 'q');
    EXPECT_EQ(ToLowerTable['['], '[');
    EXPECT_EQ(ToLowerTable[0xC4], 0xC4);
}

TEST_F(GeometryTest, KnightDistances) {
    EXPECT_EQ(KnightDistance[Sq("a1")][Sq("b2")], 4);
    EXPECT_EQ(KnightDistance[Sq("a1")][Sq("h8")], 6);
    EXPECT_EQ(KnightDistance[Sq("e4")][Sq("e4")], 0);
    EXPECT_EQ(KnightDistance[Sq("d4")][Sq("e5")], 2);
    for (int a = 0; a < 64; a++) {
        for (int b = 0; b < 64; b++) {
            ASSERT_EQ(KnightDistance[a][b], KnightDistance[b][a]);
            ASSERT_EQ(KnightDistance[a][b] == 1, (KnightAttacks[a] & Bit(b)) != 0);
            ASSERT_GE(KnightDistance[a][b], 0);
            ASSERT_LE(KnightDistance[a][b], 6);
            // Every square one step further out is within one more move.
            for (u64 n = KnightAttacks[b]; n; n &= n - 1)
                ASSERT_LE(std::abs(KnightDistance[a][std::countr_zero(n)] - KnightDistance[a][b]), 1);
        }
    }
}

TEST_F(GeometryTest, KnightInterceptOfARunningPawn) {
    // Black pawn b2 runs to b1. A knight on c4 reaches b2 at once; one on h8 never arrives.
    const int b2 = Sq("b2");
    for (int k = 0; k < 64; k++) {
        EXPECT_TRUE(KnightIntercept[b2][k] & Bit(Sq("c4")));
        EXPECT_FALSE(KnightIntercept[b2][k] & Bit(Sq("h8")));
    }
    // A knight on e5 is one move late for both b2 and b1. With the king on a5 it can go through
    // c4 with check and still arrive; with the king on h1 no such square exists.
    EXPECT_TRUE(KnightIntercept[b2][Sq("a5")] & Bit(Sq("e5")));
    EXPECT_FALSE(KnightIntercept[b2][Sq("h1")] & Bit(Sq("e5")));
    // A knight standing on the pawn's path always stops it.
    const int h7 = Sq("h7");
    for (int k = 0; k < 64; k++) EXPECT_EQ(KnightIntercept[h7][k] & FileBelow[h7], FileBelow[h7]);
    for (int k = 0; k < 64; k++) {
        for (int s = 0; s < 64; s++) {
            if (s >= 8 && s < 56) continue;
            ASSERT_EQ(KnightIntercept[s][k], 0u) << "row " << s << " is not a pawn square";
        }
    }
}

TEST_F(GeometryTest, PieceSquareTablesMirrorBetweenColours) {
    for (int piece = 0; piece < 8; piece++) {
        for (int sq = 0; sq < 64; sq++) {
            ASSERT_EQ(PieceSquareTable[piece][WHITE][sq], PieceSquareTable[piece][BLACK][sq ^ 56]);
            ASSERT_EQ(PstMg16[piece][WHITE][sq], PstMg16[piece][BLACK][sq ^ 56]);
            ASSERT_EQ(PstEg16[piece][WHITE][sq], PstEg16[piece][BLACK][sq ^ 56]);
            // The packed pair splits back into its two halves.
            int x  = PieceSquareTable[piece][BLACK][sq];
            int eg = (x & 0x7FFF) - (x & 0x8000);
            int mg = int((x + 0x8000) & 0xFFFF0000) >> 16;
            ASSERT_EQ(mg, PstMg16[piece][BLACK][sq]);
            ASSERT_EQ(eg, PstEg16[piece][BLACK][sq]);
        }
    }
    for (int sq = 0; sq < 64; sq++) {
        EXPECT_EQ(PieceSquareTable[0][BLACK][sq], 0);
        EXPECT_EQ(PieceSquareTable[4][WHITE][sq], 0);
        EXPECT_EQ(PstEg16[ROOK][BLACK][sq], 0);
    }
    // Black's home rows are rank 8: a castled black king on g8 is better off than one on e4, and
    // White's king on g1 reads the same value.
    EXPECT_GT(PstMg16[KING][BLACK][Sq("g8")], PstMg16[KING][BLACK][Sq("e4")]);
    EXPECT_EQ(PstMg16[KING][WHITE][Sq("g1")], 15);
    EXPECT_EQ(PstMg16[KING][WHITE][Sq("b1")], 19);
    EXPECT_EQ(PstEg16[PAWN][WHITE][Sq("e7")], 9);
    EXPECT_EQ(PstMg16[PAWN][WHITE][Sq("d4")], 25);
    EXPECT_EQ(PstMg16[QUEEN][WHITE][Sq("d1")], -5);
}

TEST_F(GeometryTest, SourceRowsReachOnlyThePackedTable) {
    // Parameter-file rows land in the source tables; a rebuild carries them into the packed
    // table, while the 16-bit halves of the pruning estimates keep the compiled-in values.
    PstSourceMg[KNIGHT][Sq("c3")] = 77;
    InitPieceSquareTables();
    EXPECT_EQ(PieceSquareTable[KNIGHT][BLACK][Sq("c3")] >> 16, 77);
    EXPECT_EQ(PieceSquareTable[KNIGHT][WHITE][Sq("c6")] >> 16, 77);
    EXPECT_EQ(PstMg16[KNIGHT][BLACK][Sq("c3")], PstDefaultMg[KNIGHT][Sq("c3")]);
    PstSourceMg = PstDefaultMg;
    InitPieceSquareTables();
    EXPECT_EQ(PieceSquareTable[KNIGHT][BLACK][Sq("c3")] >> 16, PstDefaultMg[KNIGHT][Sq("c3")]);
}

// Every table the start-up routines write, as raw memory.
std::vector<std::pair<void*, size_t>> AllTables() {
#define T(x)                                                                                                 \
    { (void*)&(x), sizeof(x) }
    return {T(RankAttacks),
            T(FileAttacks),
            T(DiagA8H1Attacks),
            T(DiagA1H8Attacks),
            T(WhitePawnAttacks),
            T(BlackPawnAttacks),
            T(KnightAttacks),
            T(KingAttacks),
            T(BishopPseudoAttacks),
            T(RookPseudoAttacks),
            T(RayNorth),
            T(RaySouth),
            T(RayEast),
            T(RayWest),
            T(RayNorthEast),
            T(RayNorthWest),
            T(RaySouthEast),
            T(RaySouthWest),
            T(DirectionTable),
            T(BetweenMask),
            T(RectangleMask),
            T(NotFileMask),
            T(NeighbourFiles),
            T(RanksAbove),
            T(RanksBelow),
            T(FileAbove),
            T(FileBelow),
            T(FrontThree),
            T(BackThree),
            T(PassedMaskWhite),
            T(PassedMaskBlack),
            T(PawnSquareWhite),
            T(PawnSquareWhiteWide),
            T(PawnSquareBlack),
            T(PawnSquareBlackWide),
            T(FirstBit8),
            T(LastBit8),
            T(PopCount8),
            T(ReverseByte8),
            T(ToLowerTable),
            T(PawnFileClass),
            T(KingOppositionMask),
            T(PieceSquareTable),
            T(PstMg16),
            T(PstEg16),
            T(KnightDistance),
            T(KnightIntercept)};
#undef T
}

std::string BuildAll(int threads, int fill) {
    for (auto [p, n] : AllTables()) std::memset(p, fill, n);
    omp_set_num_threads(threads);
    InitBoardTables();
    std::string image;
    for (auto [p, n] : AllTables()) image.append(static_cast<const char*>(p), n);
    return image;
}

TEST_F(GeometryTest, ThreadedBuildEqualsSerialBuildAndWritesEveryEntry) {
    int saved = omp_get_max_threads();
    // Different garbage beforehand: equal images also prove that no entry was left unwritten.
    std::string serial   = BuildAll(1, 0x00);
    std::string threaded = BuildAll(4, 0xA5);
    std::string again    = BuildAll(3, 0x5A);
    omp_set_num_threads(saved);
    EXPECT_TRUE(serial == threaded);
    EXPECT_TRUE(serial == again);
}

} // namespace
