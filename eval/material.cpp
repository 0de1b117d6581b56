#include "eval/material.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "eval/params.h"
#include "eval/values.h"
#include "frontend/startup.h"

MaterialRecord MaterialRecords[MATERIAL_ROWS];
int32_t FileSetIndex[256];
// clang-format off
const int32_t CentreRing[64] = {
    0, 0, 0, 0, 0, 0, 0, 0,
    0, 1, 1, 1, 1, 1, 1, 0,
    0, 1, 2, 2, 2, 2, 1, 0,
    0, 1, 2, 3, 3, 2, 1, 0,
    0, 1, 2, 3, 3, 2, 1, 0,
    0, 1, 2, 2, 2, 2, 1, 0,
    0, 1, 1, 1, 1, 1, 1, 0,
    0, 0, 0, 0, 0, 0, 0, 0};
// clang-format on

namespace {

struct Force {
    int queens, rooks, bishops, knights, pawns;
};

int Points(const Force& f) { return 9 * f.queens + 5 * f.rooks + 3 * f.bishops + 3 * f.knights; }
int Minors(const Force& f) { return f.bishops + f.knights; }
int Heavies(const Force& f) { return f.rooks + 2 * f.queens; }
int Config54(const Force& f) { return f.knights + 3 * f.bishops + 9 * f.rooks + 27 * f.queens; }
int Config486(const Force& f) { return f.pawns + 9 * f.knights + 27 * f.bishops + 81 * f.rooks + 243 * f.queens; }

// Index of the piece counts alone (the low part of MaterialIndex).
int PieceIndex(const Force& w, const Force& b) {
    return w.queens + 3 * b.queens + 9 * w.rooks + 27 * b.rooks + 81 * w.bishops + 243 * b.bishops +
           729 * w.knights + 2187 * b.knights;
}

// The class of each pair of piece configurations by PieceIndex, numbered in the order WQ, BQ, WR,
// BR, WB, BB, WN, BN with the first the slowest: pairs close enough in force for the tuned pawn
// and king tables of the endings.
int16_t ClassOfPieces[6561];

void NumberEndingClasses() {
    int16_t next = 0;
    Force w{}, b{};
    for (w.queens = 0; w.queens < 3; w.queens++)
        for (b.queens = 0; b.queens < 3; b.queens++)
            for (w.rooks = 0; w.rooks < 3; w.rooks++)
                for (b.rooks = 0; b.rooks < 3; b.rooks++)
                    for (w.bishops = 0; w.bishops < 3; w.bishops++)
                        for (b.bishops = 0; b.bishops < 3; b.bishops++)
                            for (w.knights = 0; w.knights < 3; w.knights++)
                                for (b.knights = 0; b.knights < 3; b.knights++) {
                                    int wp = Points(w), bp = Points(b);
                                    bool close     = wp <= 9 && bp <= 9 && std::abs(wp - bp) < 5;
                                    bool onePiece  = w.queens + w.rooks + Minors(w) <= 1 &&
                                                    b.queens + b.rooks + Minors(b) <= 1;
                                    bool numbered  = w.queens <= 1 && b.queens <= 1 && (close || onePiece);
                                    ClassOfPieces[PieceIndex(w, b)] = numbered ? next++ : -1;
                                }
    // Both orders of a pair must be classed alike, or the class term reads a missing row.
    for (w.queens = 0; w.queens < 3; w.queens++)
        for (b.queens = 0; b.queens < 3; b.queens++)
            for (w.rooks = 0; w.rooks < 3; w.rooks++)
                for (b.rooks = 0; b.rooks < 3; b.rooks++)
                    for (w.bishops = 0; w.bishops < 3; w.bishops++)
                        for (b.bishops = 0; b.bishops < 3; b.bishops++)
                            for (w.knights = 0; w.knights < 3; w.knights++)
                                for (b.knights = 0; b.knights < 3; b.knights++) {
                                    int c0 = ClassOfPieces[PieceIndex(w, b)], c1 = ClassOfPieces[PieceIndex(b, w)];
                                    if ((c0 < 0) != (c1 < 0)) {
                                        std::printf("{%d %d} %d %d %d %d %d %d %d %d\n", c0, c1, w.queens,
                                                    w.rooks, w.bishops, w.knights, b.queens, b.rooks,
                                                    b.bishops, b.knights);
                                        ExitProgram(1);
                                    }
                                }
}

void NumberFileSets() {
    int next = 1;
    for (int set = 0; set < 256; set++) {
        int files = __builtin_popcount(unsigned(set));
        FileSetIndex[set] = set == 0 ? 37 : files <= 2 ? next++ : 0;
    }
}

// Value of the side's pawns from the heavy-piece shares (256ths) of the side and of its opponent.
int64_t PawnValue(const int32_t* corner, int64_t own, int64_t other) {
    return (corner[0] * own * other + corner[1] * (256 - own) * other + corner[2] * own * (256 - other) +
            corner[3] * (256 - own) * (256 - other)) /
           65536;
}

MaterialRecord MakeRow(const Force& w, const Force& b, const int32_t* table54, const int32_t* table486,
                       const int32_t* timeTable) {
    MaterialRecord row{};
    const Force* side[2] = {&w, &b};
    int points[2] = {Points(w), Points(b)};
    int minors[2] = {Minors(w), Minors(b)};
    int heavies[2] = {Heavies(w), Heavies(b)};

    // Phases: queens 4, rooks 2, minors 1; 24 for a full board.
    int units[2] = {minors[0] + 2 * heavies[0], minors[1] + 2 * heavies[1]};
    row.current_phase = int16_t((std::max(24 - units[0] - units[1], 0) * 256 + 12) / 24);
    row.white_phase   = int16_t((std::max(12 - units[0], 0) * 256 + 6) / 12);
    row.black_phase   = int16_t((std::max(12 - units[1], 0) * 256 + 6) / 12);

    for (int s = 0; s < 2; s++) {
        const Force& f = *side[s];
        int64_t pieces = int64_t(f.knights) * DefenceForceWeight[WEIGHT_KNIGHT] +
                 int64_t(f.bishops) * DefenceForceWeight[WEIGHT_BISHOP] +
                 int64_t(f.rooks) * DefenceForceWeight[WEIGHT_ROOK] + int64_t(f.queens) * DefenceForceWeight[WEIGHT_QUEEN];
        row.DefenceForce[s] = int16_t(pieces + int64_t(f.pawns) * DefencePawnWeight);
        pieces = int64_t(f.knights) * AttackForceWeight[WEIGHT_KNIGHT] +
                 int64_t(f.bishops) * AttackForceWeight[WEIGHT_BISHOP] +
                 int64_t(f.rooks) * AttackForceWeight[WEIGHT_ROOK] + int64_t(f.queens) * AttackForceWeight[WEIGHT_QUEEN];
        row.AttackForce[s] = int16_t(pieces + int64_t(f.pawns) * AttackPawnWeight);

        // A lone knight, two knights or a lone bishop cannot mate; two bishops or bishop and
        // knight can.
        bool cannotWin = f.pawns == 0 && f.rooks == 0 && f.queens == 0 && points[s] < 7 &&
                         (f.bishops == 0 || points[s] < 4);
        const Force& other = *side[1 - s];
        bool ending = points[1 - s] <= 9 || (other.queens == 0 && points[1 - s] < 15);
        row.Flags[s] = uint8_t((cannotWin ? MATERIAL_CANNOT_WIN : 0) | (ending ? MATERIAL_ENDING : 0));
    }

    // c is White's advantage in centipawns, eg the end-game part of the imbalance chain.
    int64_t c = 0, egChain = 0;
    if (w.queens == 2 || b.queens == 2) {
        row.EndingClass[0] = row.EndingClass[1] = -1;
        row.TimeFactor                          = 256;
    } else {
        row.EndingClass[0] = ClassOfPieces[PieceIndex(w, b)];
        row.EndingClass[1] = ClassOfPieces[PieceIndex(b, w)];
        row.TimeFactor     = uint16_t(timeTable[Config486(w) * CONFIG486 + Config486(b)]);
        int w54 = Config54(w), b54 = Config54(b), w486 = Config486(w), b486 = Config486(b);
        c = -(int64_t(table54[w54 * CONFIG54 + b54]) - table54[b54 * CONFIG54 + w54]) / 2 -
            (int64_t(table486[w486 * CONFIG486 + b486]) - table486[b486 * CONFIG486 + w486]) / 2;
    }

    // The imbalance chain: six kinds of uneven exchange of forces. Case i for a side adds its
    // midgame constant to c and its end-game coefficient to egChain, with the side's sign.
    static constexpr int chainBase[6] = {120, 90, 60, 30, 30, 60};
    auto chainCase = [&](int i, int sign) {
        c += sign * (int64_t(chainBase[i - 1]) + ImbalanceMg[i - 1]);
        egChain += sign * int64_t(ImbalanceEg[i - 1]);
    };
    if (points[0] < 4 && points[1] < 4) {
        // A minor against pawns alone.
        if (minors[0] && !minors[1]) c += PieceVsPawns[w.pawns];
        if (minors[1] && !minors[0]) c -= PieceVsPawns[b.pawns];
    } else if (minors[0] == minors[1]) {
        if (heavies[0] != heavies[1])
            chainCase(1, heavies[0] > heavies[1] ? 1 : -1);
        else if ((w.queens > 0) != (b.queens > 0))
            chainCase(6, w.queens ? 1 : -1);
        else if (w.queens && b.queens && minors[0] == 1 && w.pawns + b.pawns > 0) {
            // Queen and knight work together better than queen and bishop.
            if (w.knights && !b.knights) c += QueenKnightDuo;
            if (b.knights && !w.knights) c -= QueenKnightDuo;
        }
    } else if (heavies[0] == heavies[1]) {
        chainCase(1, minors[0] > minors[1] ? 1 : -1);
    } else if (std::abs(heavies[0] - heavies[1]) == 1) {
        // L has the fewer heavy units, H the one more.
        int l = heavies[0] < heavies[1] ? 0 : 1, h = 1 - l;
        int signL = l == 0 ? 1 : -1, signH = -signL;
        int extraMinors = minors[l] - minors[h];
        if (extraMinors >= 2) {
            if (points[l] == 6)
                chainCase(2, signL);
            else if (side[h]->queens && !side[l]->queens)
                chainCase(3, signL);
            else
                chainCase(1, signL);
        } else if (extraMinors == 1) {
            chainCase(4, signH);
            if (side[h]->queens && !side[l]->queens) chainCase(5, signH);
        }
    } else if (std::abs(heavies[0] - heavies[1]) == 2) {
        if (minors[0] - minors[1] > 2) chainCase(1, 1);
        if (minors[1] - minors[0] > 2) chainCase(1, -1);
    }
    if (w.queens + b.queens == 0) {
        if (w.rooks && w.bishops) c += RookBishopDuo;
        if (b.rooks && b.bishops) c -= RookBishopDuo;
    } else if (w.rooks + b.rooks == 0) {
        if (w.queens && w.knights) c += QueenKnightDuo;
        if (b.queens && b.knights) c -= QueenKnightDuo;
    }

    if (w.bishops == 2) c += BishopPair[b.pawns];
    if (b.bishops == 2) c -= BishopPair[w.pawns];
    c += int64_t(w.rooks - b.rooks) * RookPawnBonus[w.pawns + b.pawns];

    // Pawns are worth more or less by how much of each side's force is heavy.
    int64_t wShare = points[0] ? 256 * (9 * w.queens + 5 * w.rooks) / points[0] : 0;
    int64_t bShare = points[1] ? 256 * (9 * b.queens + 5 * b.rooks) / points[1] : 0;
    int64_t mg = PawnValue(PawnMg, wShare, bShare) * w.pawns - PawnValue(PawnMg, bShare, wShare) * b.pawns;
    int64_t eg = PawnValue(PawnEg, wShare, bShare) * w.pawns - PawnValue(PawnEg, bShare, wShare) * b.pawns;
    const int counts[4][2] = {{w.knights, b.knights}, {w.bishops, b.bishops}, {w.rooks, b.rooks},
                              {w.queens, b.queens}};
    for (int k = 0; k < 4; k++) {
        mg += int64_t(PieceMg[k]) * (counts[k][0] - counts[k][1]);
        eg += int64_t(PieceEg[k]) * (counts[k][0] - counts[k][1]);
    }
    eg += egChain;
    // The blend runs on the raw 0..24 scale, so the end-game part never weighs more than 24/256.
    int64_t p     = std::max(24 - (minors[0] + minors[1] + 2 * (heavies[0] + heavies[1])), 0);
    int64_t total = (eg * p + mg * (256 - p)) / 256;
    row.Imbalance = int16_t(-(c + total));
    return row;
}

} // namespace

void BuildMaterialTable(const int32_t* table54, const int32_t* table486, const int32_t* timeTable) {
    FixValues();
    BuildDerivedTables();
    NumberFileSets();
    NumberEndingClasses();

    Force w{}, b{};
    int index = 0;
    for (b.pawns = 0; b.pawns < 9; b.pawns++)
        for (w.pawns = 0; w.pawns < 9; w.pawns++)
            for (b.knights = 0; b.knights < 3; b.knights++)
                for (w.knights = 0; w.knights < 3; w.knights++)
                    for (b.bishops = 0; b.bishops < 3; b.bishops++)
                        for (w.bishops = 0; w.bishops < 3; w.bishops++)
                            for (b.rooks = 0; b.rooks < 3; b.rooks++)
                                for (w.rooks = 0; w.rooks < 3; w.rooks++)
                                    for (b.queens = 0; b.queens < 3; b.queens++)
                                        for (w.queens = 0; w.queens < 3; w.queens++)
                                            MaterialRecords[index++] = MakeRow(w, b, table54, table486, timeTable);

    // A third piece of a kind: the evaluation works the material out at run time.
    MaterialRecord& sentinel = MaterialRecords[MATERIAL_OVERFLOW];
    sentinel                 = MaterialRecord{};
    sentinel.current_phase = sentinel.black_phase = sentinel.white_phase = -1;
    sentinel.EndingClass[0] = sentinel.EndingClass[1] = -1;
    sentinel.TimeFactor                               = 256;

    PackEvaluationTables();
}
