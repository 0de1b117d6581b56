#include "eval/values.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "eval/material.h"
#include "eval/params.h"
#include "platform/platform.h"

int64_t PruneStats[2][6][64][64][2];

namespace {

// How the values of one entry of the file land in their table.
enum class Shape : uint8_t {
    Plain,       // n values to n entries
    Skip,        // n values that nothing reads
    HalfBoard,   // per row of 8, four values for files a-d, each copied to its mirror file
    RowMirrored, // n values to n entries, each also to its mirror file in the same row
    Pairs,       // n pairs, the first value of each to `first[i]`, the second to `second[i]`
    Table54,     // the piece-configuration imbalance table
    Table486,    // the same with pawns, up to two per side
    PruneStats,  // 64-bit move statistics
};

struct ValueEntry {
    uint8_t block; // number of the block in the file, for the reader of this table
    Shape shape;
    int count;     // values in the file (pairs for Shape::Pairs)
    int32_t* first;
    int32_t* second;
};

template <class T> constexpr int Count(const T& object) { return int(sizeof(object) / sizeof(int32_t)); }
constexpr int32_t* At(int32_t& value) { return &value; }
template <class T, size_t N> constexpr int32_t* At(T (&table)[N]) { return At(table[0]); }

template <class T> constexpr ValueEntry Plain(int block, T& object) {
    return {uint8_t(block), Shape::Plain, Count(object), At(object), nullptr};
}
constexpr ValueEntry Plain(int block, int32_t* first, int count) {
    return {uint8_t(block), Shape::Plain, count, first, nullptr};
}
constexpr ValueEntry Skip(int block, int count) { return {uint8_t(block), Shape::Skip, count, nullptr, nullptr}; }
constexpr ValueEntry Half(int block, int32_t (&table)[64]) {
    return {uint8_t(block), Shape::HalfBoard, 32, table, nullptr};
}
template <int N> constexpr ValueEntry Mirrored(int block, int32_t (&table)[N], int count) {
    return {uint8_t(block), Shape::RowMirrored, count, table, nullptr};
}
constexpr ValueEntry Pairs(int block, int32_t* first, int32_t* second, int count) {
    return {uint8_t(block), Shape::Pairs, count, first, second};
}
constexpr ValueEntry Pair(int block, int32_t& mg, int32_t& eg) { return Pairs(block, &mg, &eg, 1); }

// clang-format off
// The file, in order. The block numbers are those of the file's documented layout.
constexpr ValueEntry Layout[] = {
    Plain(1, PawnMg), Plain(1, PawnEg),
    Plain(2, ImbalanceMg), Plain(2, ImbalanceEg),
    // Pairs mid, end: an unused pair, then rook, knight, bishop, queen.
    Skip(3, 2), Pair(3, PieceMg[WEIGHT_ROOK], PieceEg[WEIGHT_ROOK]),
    Pair(3, PieceMg[WEIGHT_KNIGHT], PieceEg[WEIGHT_KNIGHT]), Pair(3, PieceMg[WEIGHT_BISHOP], PieceEg[WEIGHT_BISHOP]),
    Pair(3, PieceMg[WEIGHT_QUEEN], PieceEg[WEIGHT_QUEEN]),
    {4, Shape::Table54, 2916, nullptr, nullptr},
    Skip(5, 2),
    Plain(6, ShelterHole), Plain(6, ShelterOpenMiddle), Plain(6, ShelterOpenSide), Plain(6, ShelterQueenGone),
    Plain(7, BishopBothWingsMg), Plain(7, FianchettoKingMg), Plain(7, OutsideKingSource), Skip(7, 1),
    Plain(7, RookOnEighthMg), Plain(7, QueenOnEighthMg), Plain(7, RookOnSeventhMg), Plain(7, RookSeventhPasserMg),
    Plain(7, QueenSeventhBatteryMg), Plain(7, PawnWallKingMg), Skip(7, 1), Plain(7, RookSeventhBatteryMg),
    Plain(8, BareKingBonus),
    Plain(9, KbnkScale), Plain(9, KbnkBase),
    Skip(10, 1),
    Plain(11, BadBishopPawnMg), Plain(11, BadBishopPawnEg), Plain(11, BadBishopBlockedMg),
    Plain(11, BadBishopBlockedEg), Plain(11, KnightBlockedPawnMg),
    Plain(12, BlockedPawnBonusMg),
    Plain(13, BishopTrappedMg), Skip(13, 3), Plain(13, RookCorneredMg), Skip(13, 4), Plain(13, KnightWingsBehind),
    Plain(13, KnightWingsAlone), Plain(13, KnightWingsHeavy), Plain(13, RookOnWeakFileMg),
    Plain(13, RookNoOpenAccessMg), Plain(13, QueenKnightDuo), Plain(13, RookBishopDuo),
    Plain(14, ShelterMg),
    Skip(15, 2),
    Plain(16, SpareKingParams),
    Plain(16, RookFileDangerSource), Plain(16, QueenDistDangerSource), Plain(16, QueenFileDangerSource),
    Pair(16, BishopMobilityMg, BishopMobilityEg), Pair(16, RookMobilityMg, RookMobilityEg),
    Pair(16, QueenMobilityMg, QueenMobilityEg),
    Plain(16, ShelterNoQueen), Plain(16, BishopPairSource),
    Pairs(16, At(PinSourceMg), At(PinSourceEg), 12),
    Plain(16, OppositeBishopsFar), Plain(16, OppositeBishopsNear), Plain(16, OppositeBishopsMixed),
    Plain(16, OppositeBishopsRooks), Plain(16, PawnsBehindKing), Plain(16, OnePawnFreeBishop),
    Plain(16, OnePawnStoppedBishop), Plain(16, OnePawnFree), Plain(16, OnePawnStopped), Plain(16, OnePawnKingAhead),
    Plain(16, OnePawnKingAside), Plain(16, ThreePawnsFreeBishop), Plain(16, ThreePawnsNearBishop),
    Plain(16, ThreePawnsFarBishop), Plain(16, ThreePawnsFree), Plain(16, ThreePawnsNear), Plain(16, ThreePawnsFar),
    Plain(16, ThreePawnsKingAhead), Plain(16, TwoOnOnePawnEnding), Plain(16, TwoOnOnePassed),
    Plain(16, TwoOnOneHeld), Plain(16, RookPawnFrontRookFile), Plain(16, RookPawnFrontKnightFile),
    Plain(16, RookPawnFrontOther), Plain(16, RookPawnNoEscort), Plain(16, RookPawnCutOff), Plain(16, RookPawnRace),
    Plain(16, RookPawnNotCut), Plain(16, NoPawnsEqual), Plain(16, NoPawns12v9), Plain(16, NoPawns5v5),
    Plain(16, NoPawns6v5), Plain(16, NoPawns8v5BishopEdge), Plain(16, NoPawns8v5Bishop),
    Plain(16, NoPawns8v5KnightEdge), Plain(16, NoPawns8v5Knight), Plain(16, NoPawns5v3Bishop),
    Plain(16, NoPawns5v3Knight), Plain(16, NoPawns6v3Bishop), Plain(16, NoPawns6v3Bishops),
    Plain(16, NoPawns6v3Knight), Plain(16, NoPawns3v3), Plain(16, NoPawns6v6), Plain(16, NoPawns8v6),
    Skip(16, 1),
    Plain(16, RookPawnsCount), Plain(16, RookPawnsAdvance), Plain(16, RookPawnsBase), Plain(16, RookPawnsNear),
    Plain(16, RookPawnsTwoDraws), Plain(16, RookPawnsManyDraws), Plain(16, RookPawnsOne),
    Plain(16, RookPawnsEscorted), Plain(16, RookPawnsLoose),
    Plain(17, EndgamePoints), Plain(17, EndingPointsNoQueen),
    Plain(18, PieceVsPawnsSource), Plain(18, RookVsMinorsSource),
    Plain(19, RookPawnBonus, 14),
    Skip(20, 5), Plain(20, KnightTrapStart), Plain(20, KnightTrapFactor), Plain(20, BishopTrapStart),
    Plain(20, BishopTrapFactor), Plain(20, TrapSquareSource, 15),
    Plain(21, TrapSquareSource + 15, 1),
    Plain(22, RookPawnBonus + 14, 3),
    Plain(23, CheckSquareDangerKnight), Plain(23, CheckSquareDangerBishop), Plain(23, CheckSquareDangerQueen),
    Skip(24, 17),
    Plain(25, ShelterTable),
    Plain(26, ShelterFileParams), Plain(26, RaceLooseMg), Plain(26, RaceLooseForkMg),
    Plain(26, PawnConnectedMgSource),
    Skip(27, 3),
    Plain(28, KpkWinBonusSource),
    Plain(29, KingSquareShelterSource),
    Plain(30, PstRowsMg),
    Plain(31, DangerCurve), Plain(31, ShelterCurve), Plain(31, ShelterPenalty),
    Plain(32, QueenCheckBonus), Plain(32, PawnConnectedEgSource), Plain(32, LoneKnightDistance),
    Plain(33, PstScale),
    Plain(34, PstRowsEg),
    Skip(35, 32768),
    Plain(36, RookEndingTable),
    {37, Shape::PruneStats, 98304, nullptr, nullptr},
    Plain(38, ClassPawns),
    Plain(39, ClassKings),
    Plain(40, HomePawnsMg), Plain(40, CentreBlockMg), Plain(40, DevelopmentWeight),
    Plain(41, HomePawnsEg), Plain(41, CentreBlockEg), Plain(41, AttackScaleQueen), Plain(41, AttackScaleNoQueen),
    Plain(41, MaterialSigmoidScale), Plain(41, MaterialSigmoidSlope), Plain(41, PressureA), Plain(41, PressureB),
    Plain(42, PressureCentre),
    Plain(43, AttackerWeight),
    Plain(44, ShelterEnemyMiddle), Plain(44, ShelterEnemySide), Plain(44, AttackHorrorA), Plain(44, AttackHorrorB),
    Plain(44, AttackHorrorC), Plain(44, DefendHorrorA), Plain(44, DefendHorrorB), Plain(44, DefendHorrorC),
    Plain(44, DefenceForceWeight),
    Plain(45, DefencePawnWeight), Plain(45, AttackForceWeight), Plain(45, AttackPawnWeight),
    Plain(45, BishopBothWingsEg),
    Plain(46, KingRingTable),
    Plain(47, PassedMg), Plain(47, PassedEg), Plain(47, PawnEndgameA), Plain(47, PawnEndgameB),
    Pairs(48, PassedOwnKing, PassedEnemyKing, 24),
    Plain(49, PassedKingRace),
    Plain(50, PassedStateMg), Plain(50, PassedStateEg),
    Pairs(51, PassedFileMg, PassedFileEg, 4),
    Plain(52, PawnDuelScale), Plain(52, PawnDuelSlope), Plain(52, PawnSpanEg),
    Plain(53, PassedSpanEg), Plain(53, RookSeventhBatteryEg), Plain(53, RookSeventhPasserEg),
    Plain(53, RookCorneredEg), Plain(53, PawnWallKingEg), Plain(53, BishopTrappedEg), Plain(53, KnightBlockedPawnEg),
    Plain(53, BlockedPawnBonusEg), Plain(53, QueenOnEighthEg), Plain(53, QueenSeventhBatteryEg),
    Plain(53, RookOnSeventhEg), Plain(53, RookNoOpenAccessEg), Plain(53, RookOnWeakFileEg), Plain(53, RookOnEighthEg),
    Plain(53, FianchettoKingEg),
    Skip(54, 1),
    Half(55, PawnLeverSupportMg), Half(55, PawnLeverSupportEg), Half(55, KnightOutpostMg), Half(55, KnightOutpostEg),
    Half(55, KnightOutpostDefendedMg), Half(55, KnightOutpostDefendedEg), Half(55, KnightOutpostContestedMg),
    Half(55, KnightOutpostContestedEg), Half(55, BishopOutpostMg), Half(55, BishopOutpostEg),
    Half(55, BishopOutpostDefendedMg), Half(55, BishopOutpostDefendedEg), Half(55, BishopOutpostContestedMg),
    Half(55, BishopOutpostContestedEg), Half(55, RookBehindPasserMg), Half(55, RookBehindPasserEg),
    Half(55, RookBehindBlockedPasserMg), Half(55, RookBehindBlockedPasserEg), Half(55, PawnCandidateMg),
    Half(55, PawnCandidateEg),
    Pairs(56, PawnSpanMg, PassedSpanMg, 9),
    Pairs(57, ThreatTableMg, ThreatTableEg, 17),
    Mirrored(58, RookOpenFileMg, 4), Mirrored(58, RookOpenFileEg, 4),
    Mirrored(58, PawnIsolatedOpenEg, 64), Mirrored(58, PawnBackwardOpenEg, 64), Mirrored(58, PawnIsolatedOpenMg, 64),
    Mirrored(58, PawnBackwardOpenMg, 64), Mirrored(58, PawnIsolatedClosedMg, 64),
    Mirrored(58, PawnIsolatedClosedEg, 64), Mirrored(58, PawnBackwardClosedMg, 64),
    Mirrored(58, PawnBackwardClosedEg, 64), Mirrored(58, PawnDoubledMg, 64), Mirrored(58, PawnDoubledEg, 64),
    Mirrored(58, RookHalfOpenMg, 4), Mirrored(58, RookHalfOpenEg, 4),
    Plain(59, RaceSource),
    Plain(60, KpkWin),
    Plain(61, RunBase), Plain(61, RunFinal), Plain(61, RunPawn),
    Plain(62, RunAdvance),
    Plain(63, ShelterEg),
    Plain(64, DevelopmentShelter), Plain(64, DevelopmentAttack),
    Plain(65, DevelopmentTable),
    {66, Shape::Table486, 26244, nullptr, nullptr},
    Plain(67, PasserCountSource),
    Plain(68, PassedForceMg), Plain(68, PassedForceEg),
    Plain(69, LoosePawnForce), Plain(69, LoosePawnRank),
    Plain(70, LoosePawnTable),
};
// clang-format on

constexpr int LayoutLines() {
    int lines = 0;
    for (const ValueEntry& e : Layout) lines += e.shape == Shape::Pairs ? 2 * e.count : e.count;
    return lines;
}
static_assert(LayoutLines() == VALUES_FILE_LINES, "values.txt layout must cover every line exactly once");
static_assert(Layout[sizeof(Layout) / sizeof(Layout[0]) - 1].block == 70);

// Integers separated by white space, as "%d\n" reads them: the first text that is no number ends
// the reading for good, and everything behind it keeps its value.
struct NumberReader {
    const char* at;
    const char* end;
    bool stopped;

    bool Next(int64_t& value) {
        while (!stopped && at < end && (*at == ' ' || (*at >= '\t' && *at <= '\r'))) at++;
        if (stopped || at == end) {
            stopped = true;
            return false;
        }
        const char* p = at;
        bool negative = false;
        if (*p == '+' || *p == '-') negative = *p++ == '-';
        if (p == end || *p < '0' || *p > '9') return stopped = true, false;
        uint64_t magnitude = 0;
        for (; p < end && *p >= '0' && *p <= '9'; p++)
            if (magnitude < (1ULL << 63)) magnitude = magnitude * 10 + uint64_t(*p - '0');
        at = p;
        if (magnitude > (1ULL << 63)) magnitude = 1ULL << 63;
        if (negative)
            value = magnitude == (1ULL << 63) ? INT64_MIN : -int64_t(magnitude);
        else
            value = magnitude >= (1ULL << 63) ? INT64_MAX : int64_t(magnitude);
        return true;
    }

    bool Next32(int32_t& value) {
        int64_t wide;
        if (!Next(wide)) return false;
        value = wide < INT32_MIN ? INT32_MIN : wide > INT32_MAX ? INT32_MAX : int32_t(wide);
        return true;
    }
};

bool ReadWholeFile(std::FILE* file, std::string& text) {
    // Room for the whole file first: a third of a megabyte grown by doubling costs more in copies
    // and fresh pages than reading it.
    if (std::fseek(file, 0, SEEK_END) == 0) {
        const long size = std::ftell(file);
        if (size > 0) text.reserve(size_t(size));
        std::rewind(file);
    }
    char chunk[1 << 16];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof(chunk), file)) > 0) text.append(chunk, got);
    return !std::ferror(file);
}

// Where the i-th value of the imbalance block lands in [White][Black]: WQ 0-1, BQ 0-1, WR, BR, WB,
// BB, WN, BN 0-2, the first counter the slowest.
int Table54Index(int i) {
    int r = i, bn = r % 3, wn = (r /= 3) % 3, bb = (r /= 3) % 3, wb = (r /= 3) % 3, br = (r /= 3) % 3;
    int wr = (r /= 3) % 3, bq = (r /= 3) % 2, wq = (r /= 2) % 2;
    int white = wn + 3 * wb + 9 * wr + 27 * wq, black = bn + 3 * bb + 9 * br + 27 * bq;
    return white * CONFIG54 + black;
}
// The same order with WP and BP 0-2 last: only configurations of up to two pawns a side.
int Table486Index(int i) {
    int r = i, bp = r % 3, wp = (r /= 3) % 3, bn = (r /= 3) % 3, wn = (r /= 3) % 3, bb = (r /= 3) % 3;
    int wb = (r /= 3) % 3, br = (r /= 3) % 3, wr = (r /= 3) % 3, bq = (r /= 3) % 2, wq = (r /= 2) % 2;
    int white = wp + 9 * wn + 27 * wb + 81 * wr + 243 * wq;
    int black = bp + 9 * bn + 27 * bb + 81 * br + 243 * bq;
    return white * CONFIG486 + black;
}

void ReadEntry(NumberReader& in, const ValueEntry& e, int32_t* table54, int32_t* table486) {
    int32_t v;
    switch (e.shape) {
    case Shape::Plain:
        for (int i = 0; i < e.count && in.Next32(v); i++) e.first[i] = v;
        break;
    case Shape::Skip:
        for (int i = 0; i < e.count && in.Next32(v); i++) {}
        break;
    case Shape::HalfBoard:
        for (int i = 0; i < e.count && in.Next32(v); i++) {
            int row = i / 4, file = i % 4;
            e.first[row * 8 + file] = e.first[row * 8 + 7 - file] = v;
        }
        break;
    case Shape::RowMirrored:
        for (int i = 0; i < e.count && in.Next32(v); i++) {
            int row = i / 8, file = i % 8;
            e.first[i] = e.first[row * 8 + 7 - file] = v;
        }
        break;
    case Shape::Pairs:
        for (int i = 0; i < e.count; i++) {
            if (!in.Next32(v)) return;
            e.first[i] = v;
            if (!in.Next32(v)) return;
            e.second[i] = v;
        }
        break;
    case Shape::Table54:
        for (int i = 0; i < e.count && in.Next32(v); i++) table54[Table54Index(i)] = v;
        break;
    case Shape::Table486:
        for (int i = 0; i < e.count && in.Next32(v); i++) table486[Table486Index(i)] = v;
        break;
    case Shape::PruneStats: {
        int64_t* stat = &PruneStats[0][0][0][0][0];
        int64_t wide;
        for (int i = 0; i < e.count && in.Next(wide); i++) {
            if ((i & 1) == 0 && wide < 0) std::printf("Error! Negative prune stats value: %lld\n", (long long)wide);
            stat[i] = wide;
        }
        break;
    }
    }
}

// Time factors of a few material sets, [White config486][Black config486]: the full middle game
// deserves up to half as much time again as an average move, plain endings as little as a third.
struct TimeFactorEntry {
    int index;
    int32_t factor;
};
constexpr TimeFactorEntry TimeFactors[] = {
    {236195, 340}, // the full board
    {235709, 391}, // seven pawns against eight, all pieces
    {236194, 391},
    {235708, 335}, // seven pawns each, all pieces
    {117367, 354}, // all pieces but the queens, seven pawns each
    {119802, 94},  // queen and three pawns each
    {40421, 126},  // rook and two pawns each
    {39934, 74},   // rook and one pawn each
};

} // namespace

void ReadValuesFile(int32_t* table54, int32_t* table486, int32_t* timeTable) {
    std::memset(ImbalanceMg, 0, sizeof(ImbalanceMg));
    std::memset(ImbalanceEg, 0, sizeof(ImbalanceEg));
    std::memset(PieceMg, 0, sizeof(PieceMg));
    std::memset(PieceEg, 0, sizeof(PieceEg));
    std::memset(table54, 0, sizeof(int32_t) * TABLE54_SIZE);
    std::memset(table486, 0, sizeof(int32_t) * TABLE486_SIZE);
    for (int i = 0; i < TABLE486_SIZE; i++) timeTable[i] = 256;

    std::FILE* file = std::fopen("values.txt", "r");
    if (!file) {
        std::printf("Error loading values.txt\n");
        std::fflush(stdout);
        return;
    }
    std::string text;
    ReadWholeFile(file, text);
    std::fclose(file);

    NumberReader in{text.data(), text.data() + text.size(), false};
    for (const ValueEntry& e : Layout) ReadEntry(in, e, table54, table486);
    std::fflush(stdout);

    // The tuned curves of the file are replaced by the engine's own steep ones.
    std::memcpy(DangerCurve, DangerCurveAfterFile, sizeof(DangerCurve));
    std::memcpy(ShelterCurve, ShelterCurveAfterFile, sizeof(ShelterCurve));
}

static void ComputePruneRatio() {
    std::memset(PruneRatio, 0, sizeof(PruneRatio));
    // King, knight, pawn, rook, bishop, queen share four classes; the first ratio of a class stays.
    static constexpr int pieceClass[6] = {0, 0, 1, 2, 1, 3};
    for (int piece = 0; piece < 6; piece++)
        for (int from = 0; from < 64; from++)
            for (int to = 0; to < 64; to++)
                for (int side = 0; side < 2; side++)
                    for (int phase = 0; phase < 2; phase++) {
                        // Black's statistics are White's seen from the other end of the board.
                        const int64_t* stat = side == 0 ? PruneStats[phase][piece][from][to]
                                                        : PruneStats[phase][piece][from ^ 56][to ^ 56];
                        uint32_t& entry = PruneRatio[phase][pieceClass[piece]][to][from][side];
                        const int64_t a = stat[0], b = stat[1];
                        if (entry != 0 || b == 0) continue;
                        // The product needs more than 64 bits only for counts beyond 2^53.
                        const bool narrow = a <= INT64_MAX / 1000 && a >= INT64_MIN / 1000;
                        entry = narrow ? uint32_t(1000 * a / b) : uint32_t(__int128(1000) * a / b);
                    }
}

bool WriteValuesFile(const char* path, const int32_t* table54, const int32_t* table486) {
    std::FILE* file = std::fopen(path, "w");
    if (!file) return false;
    auto put = [file](int64_t value) { std::fprintf(file, "%lld\n", (long long)value); };
    for (const ValueEntry& e : Layout) {
        switch (e.shape) {
        case Shape::Plain:
        case Shape::RowMirrored:
            for (int i = 0; i < e.count; i++) put(e.first[i]);
            break;
        case Shape::Skip:
            for (int i = 0; i < e.count; i++) put(0);
            break;
        case Shape::HalfBoard:
            for (int i = 0; i < e.count; i++) put(e.first[i / 4 * 8 + i % 4]);
            break;
        case Shape::Pairs:
            for (int i = 0; i < e.count; i++) put(e.first[i]), put(e.second[i]);
            break;
        case Shape::Table54:
        case Shape::Table486:
            for (int i = 0; i < e.count; i++) {
                const int at = e.shape == Shape::Table54 ? Table54Index(i) : Table486Index(i);
                const int32_t* table = e.shape == Shape::Table54 ? table54 : table486;
                put(table ? table[at] : 0);
            }
            break;
        case Shape::PruneStats:
            for (int i = 0; i < e.count; i++) put((&PruneStats[0][0][0][0][0])[i]);
            break;
        }
    }
    const bool ok = !std::ferror(file);
    return std::fclose(file) == 0 && ok;
}

std::vector<ValueLine> ValueLineMap() {
    std::vector<ValueLine> lines;
    lines.reserve(VALUES_FILE_LINES);
    for (const ValueEntry& e : Layout) {
        const int values = e.shape == Shape::Pairs ? 2 * e.count : e.count;
        for (int i = 0; i < values; i++) {
            ValueLine line{e.block, {nullptr, nullptr}};
            switch (e.shape) {
            case Shape::Plain:
                line.target[0] = e.first + i;
                break;
            case Shape::HalfBoard:
                line.target[0] = e.first + i / 4 * 8 + i % 4;
                line.target[1] = e.first + i / 4 * 8 + 7 - i % 4;
                break;
            case Shape::RowMirrored:
                line.target[0] = e.first + i;
                if (i / 8 * 8 + 7 - i % 8 != i) line.target[1] = e.first + i / 8 * 8 + 7 - i % 8;
                break;
            case Shape::Pairs:
                line.target[0] = (i & 1 ? e.second : e.first) + i / 2;
                break;
            default:
                break;
            }
            lines.push_back(line);
        }
    }
    return lines;
}

void LoadEvaluationValues() {
    auto* table54   = static_cast<int32_t*>(std::malloc(sizeof(int32_t) * TABLE54_SIZE));
    auto* table486  = static_cast<int32_t*>(std::malloc(sizeof(int32_t) * TABLE486_SIZE));
    auto* timeTable = static_cast<int32_t*>(std::malloc(sizeof(int32_t) * TABLE486_SIZE));
    if (!table54 || !table486 || !timeTable) OutOfMemory();
    ReadValuesFile(table54, table486, timeTable);
    ComputePruneRatio();
    // The bishop-and-knight mate drive is not left to tuning.
    KbnkScale = 35;
    KbnkBase  = 120;
    for (const TimeFactorEntry& t : TimeFactors) timeTable[t.index] = t.factor;
    BuildMaterialTable(table54, table486, timeTable);
    std::free(table54);
    std::free(table486);
    std::free(timeTable);
}
