#include "board/geometry.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "platform/platform.h"

// ---------------------------------------------------------------------------------------------
// Occupancy classes. A slider on a line sees only its two nearest blockers, so the 256 x 8
// (occupancy, position) pairs fold into 70 triples (position, lower end, upper end). Classes are
// numbered by first appearance with the byte ascending and the position ascending within it.

namespace {

struct LineClass {
    uint8_t position, lower, upper;
};

struct LineClassTables {
    std::array<std::array<uint8_t, 8>, 256> classOf{};
    std::array<LineClass, OCCUPANCY_CLASSES> triple{};
    int count = 0;
};

constexpr int LowerEnd(int occupancy, int position) {
    for (int i = position - 1; i > 0; i--)
        if ((occupancy >> i) & 1) return i;
    return 0;
}

constexpr int UpperEnd(int occupancy, int position) {
    for (int i = position + 1; i < 7; i++)
        if ((occupancy >> i) & 1) return i;
    return 7;
}

constexpr LineClassTables BuildLineClasses() {
    LineClassTables t;
    std::array<int, 512> seen{}; // [position][lower][upper] -> class + 1
    for (int occupancy = 0; occupancy < 256; occupancy++) {
        for (int position = 0; position < 8; position++) {
            int lower = LowerEnd(occupancy, position), upper = UpperEnd(occupancy, position);
            int& id = seen[position * 64 + lower * 8 + upper];
            if (id == 0) {
                if (t.count == OCCUPANCY_CLASSES) return t; // cannot happen; caught below
                t.triple[t.count] = {uint8_t(position), uint8_t(lower), uint8_t(upper)};
                id                = ++t.count;
            }
            t.classOf[occupancy][position] = uint8_t(id - 1);
        }
    }
    return t;
}

constexpr LineClassTables LineClasses = BuildLineClasses();
static_assert(LineClasses.count == OCCUPANCY_CLASSES);

} // namespace

constinit const std::array<std::array<uint8_t, 8>, 256> OccupancyClass = LineClasses.classOf;

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
PstSourceTable PstSourceMg = PstDefaultMg;
PstSourceTable PstSourceEg = PstDefaultEg;
int32_t KnightDistance[64][64];
u64 KnightIntercept[64][64];

namespace {

constexpr u64 FILE_A = 0x0101010101010101ULL;
constexpr bool OnBoard(int file, int rank) {
    return file >= 0 && file < 8 && rank >= 0 && rank < 8;
}

// Bit of (file, rank), or nothing when that lies off the board.
constexpr u64 BitAt(int file, int rank) {
    return OnBoard(file, rank) ? Bit(rank * 8 + file) : 0;
}

u64 FileMask(int file) {
    return FILE_A << file;
}

// All squares from (file, rank), excluded, to the edge in the step (df, dr).
u64 Ray(int file, int rank, int df, int dr) {
    u64 ray = 0;
    for (int f = file + df, r = rank + dr; OnBoard(f, r); f += df, r += dr) ray |= BitAt(f, r);
    return ray;
}

// Squares of king distance at most `radius` from (file, rank).
u64 KingZone(int file, int rank, int radius) {
    u64 zone = 0;
    for (int r = 0; r < 8; r++)
        for (int f = 0; f < 8; f++)
            if (std::abs(f - file) <= radius && std::abs(r - rank) <= radius) zone |= BitAt(f, r);
    return zone;
}

// Attack set of one line class; square(i) gives the square of line place i, or -1 when the line
// has no such place (the short diagonals).
template <typename SquareOf> u64 LineAttacks(const LineClass& c, SquareOf square) {
    if (square(c.position) < 0) return 0;
    u64 attacks = 0;
    for (int i = c.lower; i <= c.upper; i++)
        if (i != c.position && square(i) >= 0) attacks |= Bit(square(i));
    return attacks;
}

uint32_t FileSetClass(int files) {
    switch (files) {
    case 0: return 0;
    case 0x01:
    case 0x80: return 1;
    case 0x02:
    case 0x40: return 2;
    case 0x04:
    case 0x08:
    case 0x10:
    case 0x20: return 3;
    case 0x03:
    case 0xC0: return 4;
    default: return 5;
    }
}

// Squares from which a king stands in direct opposition to a king on an edge square; stored
// mirrored (square s as bit 63 - s) because that is how the pawn-structure code tests it.
u64 OppositionSquares(int file, int rank) {
    u64 mask      = 0;
    auto add      = [&](int f, int r) { mask |= Bit(63 - (r * 8 + f)); };
    bool fileEdge = file == 0 || file == 7, rankEdge = rank == 0 || rank == 7;
    int df = file == 0 ? 1 : -1, dr = rank == 0 ? 1 : -1;
    if (fileEdge && rankEdge) {
        add(file, rank + 2 * dr);
        add(file + df, rank + 2 * dr);
        add(file + 2 * df, rank);
        add(file + 2 * df, rank + dr);
    } else if (rankEdge) {
        add(file, rank + 2 * dr);
    } else if (fileEdge) {
        add(file + 2 * df, rank);
    }
    return mask;
}

} // namespace

static void InitializeBitMasks() {
    for (int i = 0; i < 256; i++) ToLowerTable[i] = (i >= 'A' && i <= 'Z') ? uint8_t(i + 32) : uint8_t(i);

    for (int file = 0; file < 8; file++) NotFileMask[file] = ~FileMask(file);

    for (int byte = 0; byte < 256; byte++) {
        FirstBit8[byte]   = uint8_t(byte ? std::countr_zero(unsigned(byte)) : 8);
        LastBit8[byte]    = uint8_t(byte ? 31 - std::countl_zero(unsigned(byte)) : 8);
        PopCount8[byte]   = uint8_t(std::popcount(unsigned(byte)));
        uint32_t reversed = 0;
        for (int i = 0; i < 8; i++)
            if ((byte >> i) & 1) reversed |= 1u << (7 - i);
        ReverseByte8[byte]  = reversed;
        PawnFileClass[byte] = FileSetClass(byte);
    }

    for (int sq = 0; sq < 64; sq++) {
        int file = FileOf(sq), rank = RankOf(sq);
        RanksAbove[sq]     = rank == 7 ? 0 : ~0ULL << (8 * (rank + 1));
        RanksBelow[sq]     = rank == 0 ? 0 : ~0ULL >> (8 * (8 - rank));
        NeighbourFiles[sq] = (file > 0 ? FileMask(file - 1) : 0) | (file < 7 ? FileMask(file + 1) : 0);
        FileAbove[sq]      = Ray(file, rank, 0, 1);
        FileBelow[sq]      = Ray(file, rank, 0, -1);
        FrontThree[sq]     = BitAt(file - 1, rank + 1) | BitAt(file, rank + 1) | BitAt(file + 1, rank + 1);
        BackThree[sq]      = BitAt(file - 1, rank - 1) | BitAt(file, rank - 1) | BitAt(file + 1, rank - 1);

        // Rule of the square: the king must be within the pawn's distance of the promotion square;
        // a pawn on its start rank counts as one rank further on because of the double step.
        int whiteRadius         = rank == 1 ? 5 : 7 - rank;
        int blackRadius         = rank == 6 ? 5 : rank;
        PawnSquareWhite[sq]     = KingZone(file, 7, whiteRadius);
        PawnSquareWhiteWide[sq] = KingZone(file, 7, whiteRadius + 1);
        PawnSquareBlack[sq]     = KingZone(file, 0, blackRadius);
        PawnSquareBlackWide[sq] = KingZone(file, 0, blackRadius + 1);

        KingOppositionMask[sq] = OppositionSquares(file, rank);
    }
}

static void InitializeBitBoards() {
    for (int c = 0; c < OCCUPANCY_CLASSES; c++) {
        const LineClass& lc = LineClasses.triple[c];
        for (int line = 0; line < 8; line++) {
            RankAttacks[c][line] = LineAttacks(lc, [&](int i) { return line * 8 + i; });
            FileAttacks[c][line] = LineAttacks(lc, [&](int i) { return i * 8 + line; });
        }
        for (int diagonal = 0; diagonal < 16; diagonal++) {
            // file + rank = diagonal, and file - rank + 7 = diagonal; place on the line is the rank
            DiagA8H1Attacks[c][diagonal] = LineAttacks(lc, [&](int i) {
                int file = diagonal - i;
                return diagonal < 15 && OnBoard(file, i) ? i * 8 + file : -1;
            });
            DiagA1H8Attacks[c][diagonal] = LineAttacks(lc, [&](int i) {
                int file = diagonal - 7 + i;
                return diagonal < 15 && OnBoard(file, i) ? i * 8 + file : -1;
            });
        }
    }

    for (int sq = 0; sq < 64; sq++) {
        int file = FileOf(sq), rank = RankOf(sq);

        u64 span = FileMask(file) | (file > 0 ? FileMask(file - 1) : 0) | (file < 7 ? FileMask(file + 1) : 0);
        PassedMaskWhite[sq] = rank == 7 ? 0 : span & (~0ULL << (8 * (rank + 1)));
        PassedMaskBlack[sq] = rank == 0 ? 0 : span & (~0ULL >> (8 * (8 - rank)));

        WhitePawnAttacks[sq] = rank == 7 ? 0 : BitAt(file - 1, rank + 1) | BitAt(file + 1, rank + 1);
        BlackPawnAttacks[sq] = rank == 0 ? 0 : BitAt(file - 1, rank - 1) | BitAt(file + 1, rank - 1);
        KnightAttacks[sq]    = BitAt(file + 1, rank + 2) | BitAt(file + 2, rank + 1) |
                            BitAt(file + 2, rank - 1) | BitAt(file + 1, rank - 2) |
                            BitAt(file - 1, rank - 2) | BitAt(file - 2, rank - 1) |
                            BitAt(file - 2, rank + 1) | BitAt(file - 1, rank + 2);
        KingAttacks[sq] = BitAt(file - 1, rank - 1) | BitAt(file, rank - 1) | BitAt(file + 1, rank - 1) |
                          BitAt(file - 1, rank) | BitAt(file + 1, rank) | BitAt(file - 1, rank + 1) |
                          BitAt(file, rank + 1) | BitAt(file + 1, rank + 1);

        RayNorth[sq]     = Ray(file, rank, 0, 1);
        RaySouth[sq]     = Ray(file, rank, 0, -1);
        RayEast[sq]      = Ray(file, rank, 1, 0);
        RayWest[sq]      = Ray(file, rank, -1, 0);
        RayNorthEast[sq] = Ray(file, rank, 1, 1);
        RayNorthWest[sq] = Ray(file, rank, -1, 1);
        RaySouthEast[sq] = Ray(file, rank, 1, -1);
        RaySouthWest[sq] = Ray(file, rank, -1, -1);

        RookPseudoAttacks[sq] =
            RankAttacks[OccupancyClass[0][file]][rank] | FileAttacks[OccupancyClass[0][rank]][file];
        BishopPseudoAttacks[sq] = DiagA8H1Attacks[OccupancyClass[0][rank]][file + rank] |
                                  DiagA1H8Attacks[OccupancyClass[0][rank]][file - rank + 7];

        // The step leads from the target back towards sq, so it runs against the ray's own sense.
        struct {
            const u64* ray;
            int step;
        } const rays[8] = {{RayNorthEast, -9}, {RayNorth, -8},    {RayNorthWest, -7}, {RayEast, -1},
                           {RayWest, 1},       {RaySouthEast, 7}, {RaySouth, 8},      {RaySouthWest, 9}};
        std::memset(DirectionTable[sq], 0, sizeof DirectionTable[sq]);
        std::memset(BetweenMask[sq], 0, sizeof BetweenMask[sq]);
        std::memset(RectangleMask[sq], 0, sizeof RectangleMask[sq]);
        for (const auto& r : rays) {
            for (u64 targets = r.ray[sq]; targets; targets &= targets - 1) {
                int to                 = std::countr_zero(targets);
                DirectionTable[sq][to] = int8_t(r.step);
                // sq included, to excluded
                for (int s = sq; s != to; s -= r.step) BetweenMask[sq][to] |= Bit(s);
            }
        }
        for (int other = 0; other < 64; other++) {
            int f0 = std::min(file, FileOf(other)), f1 = std::max(file, FileOf(other));
            int r0 = std::min(rank, RankOf(other)), r1 = std::max(rank, RankOf(other));
            for (int r = r0; r <= r1; r++)
                for (int f = f0; f <= f1; f++) RectangleMask[sq][other] |= BitAt(f, r);
        }
    }
}

void InitPieceSquareTables() {
    for (int piece = 0; piece < 8; piece++) {
        for (int sq = 0; sq < 64; sq++) {
            for (int side = WHITE; side <= BLACK; side++) {
                int source = side == BLACK ? sq : sq ^ 56;
                PieceSquareTable[piece][side][sq] =
                    PstSourceMg[piece][source] * 65536 + PstSourceEg[piece][source];
                PstMg16[piece][side][sq] = PstDefaultMg[piece][source];
                PstEg16[piece][side][sq] = PstDefaultEg[piece][source];
            }
        }
    }
}

// Breadth-first from every square on an empty board; the board is connected for a knight, so
// every entry is written.
static void InitKnightDistance() {
    for (int start = 0; start < 64; start++) {
        KnightDistance[start][start] = 0;
        u64 reached = Bit(start), frontier = Bit(start);
        for (int round = 1; frontier; round++) {
            u64 next = 0;
            for (u64 f = frontier; f; f &= f - 1) next |= KnightAttacks[std::countr_zero(f)];
            next &= ~reached;
            for (u64 n = next; n; n &= n - 1) KnightDistance[std::countr_zero(n)][start] = round;
            reached |= next;
            frontier = next;
        }
    }
}

// Can a knight on n stop a black pawn on s that runs south, when the pawn's own king stands on k?
// The knight must reach a square of the pawn's path no later than the pawn does; one move late is
// still in time when it can get there through a square from which it checks the king.
static void InitKnightIntercept() {
    // The work grows with the pawn's rank: squares dealt out one by one keep the threads even.
#pragma omp parallel for schedule(static, 1)
    for (int s = 0; s < 64; s++) {
        // What does not depend on the king is found once for the pawn's square: the knights in
        // time on their own, and for each other knight the squares it could check the king from
        // on a way that is one move late.
        u64 inTime = 0, viaSquares[64] = {};
        if (s >= 8 && s < 56) {
            for (int n = 0; n < 64; n++) {
                for (int i = 0; i <= RankOf(s); i++) {
                    int t = s - 8 * i, allowed = i + 1;
                    if (KnightDistance[t][n] <= allowed) {
                        inTime |= Bit(n);
                    } else if (KnightDistance[t][n] == allowed + 1) {
                        for (int via = 0; via < 64; via++)
                            if (KnightDistance[via][n] + KnightDistance[t][via] - 1 <= allowed)
                                viaSquares[n] |= Bit(via);
                    }
                }
            }
        }
        for (int k = 0; k < 64; k++) {
            u64 catches = inTime;
            for (int n = 0; n < 64; n++)
                if (KnightAttacks[k] & viaSquares[n]) catches |= Bit(n);
            KnightIntercept[s][k] = catches;
        }
    }
}

void InitBoardTables() {
    InitZobristKeys();
    InitializeBitMasks();
    InitializeBitBoards();
    InitPieceSquareTables();
    InitKnightDistance();
    InitKnightIntercept();
    ReleaseLoopThreads();
}
