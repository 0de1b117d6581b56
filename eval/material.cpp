#include "eval/material.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "eval/evaluate.h"
#include "eval/params.h"
#include "eval/values.h"
#include "platform/platform.h"

// Aligned to a large page, so that all but its last part can sit in large pages.
alignas(1 << 21) MaterialRecord MaterialRecords[MATERIAL_ROWS];
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

// Phases: queens 4, rooks 2, minors 1; 24 units make a full board, 12 a side's full force.
struct Phases {
    int current, white, black;
};

Phases PhasesOf(int whiteUnits, int blackUnits) {
    return {(std::max(24 - whiteUnits - blackUnits, 0) * 256 + 12) / 24, (std::max(12 - whiteUnits, 0) * 256 + 6) / 12,
            (std::max(12 - blackUnits, 0) * 256 + 6) / 12};
}

// Weighted sum of a side's men for king safety, without the pawns; weights for knight, bishop, rook,
// queen.
int64_t ForceSum64(const Force& f, const int32_t* weight) {
    return int64_t(f.knights) * weight[WEIGHT_KNIGHT] + int64_t(f.bishops) * weight[WEIGHT_BISHOP] +
           int64_t(f.rooks) * weight[WEIGHT_ROOK] + int64_t(f.queens) * weight[WEIGHT_QUEEN];
}

int16_t ForceSum(const Force& f, const int32_t* weight, int32_t pawnWeight) {
    return int16_t(ForceSum64(f, weight) + int64_t(f.pawns) * pawnWeight);
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

// The imbalance chain: six kinds of uneven exchange of forces, then the duos. Case i for a side
// adds its midgame constant to the result (White's advantage) and its end-game coefficient to
// *egChain, with the side's sign.
int64_t ImbalanceChain(const Force& w, const Force& b, int64_t* egChain) {
    const Force* side[2] = {&w, &b};
    int points[2]        = {Points(w), Points(b)};
    int minors[2]        = {Minors(w), Minors(b)};
    int heavies[2]       = {Heavies(w), Heavies(b)};
    int64_t c            = 0;
    static constexpr int chainBase[6] = {120, 90, 60, 30, 30, 60};
    auto chainCase = [&](int i, int sign) {
        c += sign * (int64_t(chainBase[i - 1]) + ImbalanceMg[i - 1]);
        *egChain += sign * int64_t(ImbalanceEg[i - 1]);
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

    return c;
}

// What a row takes from the pieces alone, worked out once for each of the 6561 pairs of piece
// sets and shared by their 81 pawn counts. Every sum is kept in the width the row is computed in,
// so that adding the pawns' part last gives each row exactly the bits of a row built whole.
struct PieceTerms {
    int64_t forceSum[2][2];       // [defence, attack][side] without the pawns
    int64_t mgPieces, egPieces, egChain;
    int64_t pawnMg[2], pawnEg[2]; // the worth of one pawn of each side
    int64_t c54;                  // the configuration table's part of White's advantage
    int64_t chain[2];             // the chain with no pawns on the board, and with some
    int32_t phase;                // the blend's raw 0..24 weight
    int32_t config486[2];         // the side's configuration number without its pawns
    int32_t rookDifference;
    int16_t phases[3];            // current, white, black
    int16_t endingClass[2];
    uint8_t ending[2], cannotWinWithoutPawns[2], bishopPair[2];
    bool twoQueens, minorAgainstPawns;
};

PieceTerms PieceTermsOf(Force w, Force b, const int32_t* table54) {
    PieceTerms t{};
    w.pawns = b.pawns    = 0;
    const Force* side[2] = {&w, &b};
    int points[2]        = {Points(w), Points(b)};
    int minors[2]        = {Minors(w), Minors(b)};
    int heavies[2]       = {Heavies(w), Heavies(b)};

    Phases phases = PhasesOf(minors[0] + 2 * heavies[0], minors[1] + 2 * heavies[1]);
    t.phases[0]   = int16_t(phases.current);
    t.phases[1]   = int16_t(phases.white);
    t.phases[2]   = int16_t(phases.black);

    for (int s = 0; s < 2; s++) {
        const Force& f   = *side[s];
        t.forceSum[0][s] = ForceSum64(f, DefenceForceWeight);
        t.forceSum[1][s] = ForceSum64(f, AttackForceWeight);
        // A lone knight, two knights or a lone bishop cannot mate; two bishops or bishop and
        // knight can.
        t.cannotWinWithoutPawns[s] =
            f.rooks == 0 && f.queens == 0 && points[s] < 7 && (f.bishops == 0 || points[s] < 4);
        const Force& other = *side[1 - s];
        t.ending[s]        = points[1 - s] <= 9 || (other.queens == 0 && points[1 - s] < 15);
        t.bishopPair[s]    = f.bishops == 2;
        t.config486[s]     = Config486(f);
    }

    t.twoQueens = w.queens == 2 || b.queens == 2;
    if (t.twoQueens) {
        t.endingClass[0] = t.endingClass[1] = -1;
    } else {
        t.endingClass[0] = ClassOfPieces[PieceIndex(w, b)];
        t.endingClass[1] = ClassOfPieces[PieceIndex(b, w)];
        int w54 = Config54(w), b54 = Config54(b);
        t.c54   = -(int64_t(table54[w54 * CONFIG54 + b54]) - table54[b54 * CONFIG54 + w54]) / 2;
    }

    // The chain reads the pawns only when a lone minor faces pawns, where it is worked out row by
    // row, and otherwise only whether any pawn is left; its end-game part never.
    t.minorAgainstPawns = points[0] < 4 && points[1] < 4;
    t.chain[0]          = ImbalanceChain(w, b, &t.egChain);
    Force withPawn      = w;
    withPawn.pawns      = 1;
    int64_t egUnused    = 0;
    t.chain[1]          = ImbalanceChain(withPawn, b, &egUnused);
    t.rookDifference    = w.rooks - b.rooks;

    // Pawns are worth more or less by how much of each side's force is heavy.
    int64_t wShare = points[0] ? 256 * (9 * w.queens + 5 * w.rooks) / points[0] : 0;
    int64_t bShare = points[1] ? 256 * (9 * b.queens + 5 * b.rooks) / points[1] : 0;
    t.pawnMg[0]    = PawnValue(PawnMg, wShare, bShare);
    t.pawnMg[1]    = PawnValue(PawnMg, bShare, wShare);
    t.pawnEg[0]    = PawnValue(PawnEg, wShare, bShare);
    t.pawnEg[1]    = PawnValue(PawnEg, bShare, wShare);
    const int counts[4][2] = {{w.knights, b.knights}, {w.bishops, b.bishops}, {w.rooks, b.rooks},
                              {w.queens, b.queens}};
    for (int k = 0; k < 4; k++) {
        t.mgPieces += int64_t(PieceMg[k]) * (counts[k][0] - counts[k][1]);
        t.egPieces += int64_t(PieceEg[k]) * (counts[k][0] - counts[k][1]);
    }
    t.phase = std::max(24 - (minors[0] + minors[1] + 2 * (heavies[0] + heavies[1])), 0);
    return t;
}

MaterialRecord MakeRow(const PieceTerms& t, const Force& w, const Force& b, const int32_t* table486,
                       const int32_t* timeTable) {
    MaterialRecord row{};
    row.current_phase = t.phases[0];
    row.white_phase   = t.phases[1];
    row.black_phase   = t.phases[2];
    const int pawns[2] = {w.pawns, b.pawns};
    for (int s = 0; s < 2; s++) {
        row.DefenceForce[s]  = int16_t(t.forceSum[0][s] + int64_t(pawns[s]) * DefencePawnWeight);
        row.AttackForce[s]   = int16_t(t.forceSum[1][s] + int64_t(pawns[s]) * AttackPawnWeight);
        const bool cannotWin = pawns[s] == 0 && t.cannotWinWithoutPawns[s];
        row.Flags[s]         = uint8_t((cannotWin ? MATERIAL_CANNOT_WIN : 0) | (t.ending[s] ? MATERIAL_ENDING : 0));
    }
    row.EndingClass[0] = t.endingClass[0];
    row.EndingClass[1] = t.endingClass[1];

    // c is White's advantage in centipawns.
    int64_t c = 0, egChain = t.egChain;
    if (t.twoQueens) {
        row.TimeFactor = 256;
    } else {
        const int w486 = t.config486[0] + w.pawns, b486 = t.config486[1] + b.pawns;
        row.TimeFactor = uint16_t(timeTable[w486 * CONFIG486 + b486]);
        c = t.c54 - (int64_t(table486[w486 * CONFIG486 + b486]) - table486[b486 * CONFIG486 + w486]) / 2;
    }
    if (t.minorAgainstPawns) {
        egChain = 0;
        c += ImbalanceChain(w, b, &egChain);
    } else {
        c += t.chain[w.pawns + b.pawns > 0];
    }

    if (t.bishopPair[0]) c += BishopPair[b.pawns];
    if (t.bishopPair[1]) c -= BishopPair[w.pawns];
    c += int64_t(t.rookDifference) * RookPawnBonus[w.pawns + b.pawns];

    int64_t mg = t.pawnMg[0] * w.pawns - t.pawnMg[1] * b.pawns + t.mgPieces;
    int64_t eg = t.pawnEg[0] * w.pawns - t.pawnEg[1] * b.pawns + t.egPieces + egChain;
    // The blend runs on the raw 0..24 scale, so the end-game part never weighs more than 24/256.
    int64_t total = (eg * t.phase + mg * (256 - t.phase)) / 256;
    row.Imbalance = int16_t(-(c + total));
    return row;
}

} // namespace

void BuildMaterialTable(const int32_t* table54, const int32_t* table486, const int32_t* timeTable) {
    FixValues();
    BuildDerivedTables();
    NumberFileSets();
    NumberEndingClasses();

    AdviseLargePages(MaterialRecords, sizeof MaterialRecords);
    static PieceTerms terms[6561];
    Force w{}, b{};
    // Black's pawn count varies fastest: the nine rows of a piece pair then read neighbouring
    // entries of the pawn tables, and the pair's terms, worked out on the first pass, are read
    // nine times instead of 81.
    for (w.pawns = 0; w.pawns < 9; w.pawns++) {
        int pieces = 0;
        for (b.knights = 0; b.knights < 3; b.knights++)
            for (w.knights = 0; w.knights < 3; w.knights++)
                for (b.bishops = 0; b.bishops < 3; b.bishops++)
                    for (w.bishops = 0; w.bishops < 3; w.bishops++)
                        for (b.rooks = 0; b.rooks < 3; b.rooks++)
                            for (w.rooks = 0; w.rooks < 3; w.rooks++)
                                for (b.queens = 0; b.queens < 3; b.queens++)
                                    for (w.queens = 0; w.queens < 3; w.queens++, pieces++) {
                                        if (w.pawns == 0) terms[pieces] = PieceTermsOf(w, b, table54);
                                        for (b.pawns = 0; b.pawns < 9; b.pawns++)
                                            MaterialRecords[pieces + 6561 * w.pawns + 59049 * b.pawns] =
                                                MakeRow(terms[pieces], w, b, table486, timeTable);
                                    }
    }

    // A third piece of a kind: the evaluation works the material out at run time.
    MaterialRecord& sentinel = MaterialRecords[MATERIAL_OVERFLOW];
    sentinel                 = MaterialRecord{};
    sentinel.current_phase = sentinel.black_phase = sentinel.white_phase = -1;
    sentinel.EndingClass[0] = sentinel.EndingClass[1] = -1;
    sentinel.TimeFactor                               = 256;

    PackEvaluationTables();
}

// ---------------------------------------------------------------------------------------------
// Material at run time

static Force ForceOf(int side) {
    const Position& p = thread_board;
    return {p.PieceCount[QUEEN][side], p.PieceCount[ROOK][side], p.PieceCount[BISHOP][side],
            p.PieceCount[KNIGHT][side], p.PieceCount[PAWN][side]};
}

// A third piece of a kind is rare enough for a rougher rule: the chain without its end-game
// part, a rook bonus that stops counting at two rooks, and no tuned tables.
static int EvaluateMaterial() {
    const Position& p = thread_board;
    const Force w = ForceOf(WHITE), b = ForceOf(BLACK);
    int64_t endgameUnused = 0;
    int64_t c             = ImbalanceChain(w, b, &endgameUnused);
    const int64_t bonus   = RookPawnBonus[w.pawns + b.pawns];
    c += (std::min(w.rooks, 2) - std::min(b.rooks, 2)) * bonus;

    // An edge in force matters less when the side it favours has few pawns left to win with.
    const int wp = p.PiecePoints[WHITE], bp = p.PiecePoints[BLACK];
    int favoured = -1;
    if (c > 0 && wp >= bp && wp - bp < 5) favoured = WHITE;
    if (c < 0 && bp >= wp && bp - wp < 5) favoured = BLACK;
    if (favoured >= 0) {
        const int pawns = p.PieceCount[PAWN][favoured];
        if (pawns == 0)
            c /= 4;
        else if (pawns == 1)
            c /= 2;
        else if (pawns == 2)
            c = c * 4 / 5;
    }
    return int(-(c + p.Material[WHITE] - p.Material[BLACK]));
}

static void CalculatePhases() {
    Position& p         = thread_board;
    const Phases phases = PhasesOf(p.MinorCount[WHITE] + 2 * p.HeavyCount[WHITE],
                                   p.MinorCount[BLACK] + 2 * p.HeavyCount[BLACK]);
    p.current_phase     = phases.current;
    p.white_phase       = phases.white;
    p.black_phase       = phases.black;
    for (int side = WHITE; side <= BLACK; side++) {
        const Force f                        = ForceOf(side);
        thread_eval_info.DefenceForce[side] = ForceSum(f, DefenceForceWeight, DefencePawnWeight);
        thread_eval_info.AttackForce[side]  = ForceSum(f, AttackForceWeight, AttackPawnWeight);
    }
}

int EndingByForce(int side) {
    const Position& p = thread_board;
    const int other   = ChangeSide(side);
    const bool strong = p.PiecePoints[other] > EndgamePoints &&
                        (p.PieceCount[QUEEN][other] > 0 || p.PiecePoints[other] > EndingPointsNoQueen);
    return strong ? 0 : 1;
}

void ReadMaterialRecord() {
    Position& p = thread_board;
    EvalInfo& e = thread_eval_info;
    if (p.MaterialIndex == MATERIAL_OVERFLOW) {
        e.MaterialScore = EvaluateMaterial();
        CalculatePhases();
        for (int side = WHITE; side <= BLACK; side++) e.Ending[side] = EndingByForce(side);
        return;
    }
    const MaterialRecord& row = MaterialRecords[p.MaterialIndex];
    e.MaterialScore           = p.Material[BLACK] - p.Material[WHITE] + row.Imbalance;
    p.current_phase           = row.current_phase;
    p.white_phase             = row.white_phase;
    p.black_phase             = row.black_phase;
    for (int side = WHITE; side <= BLACK; side++) {
        e.DefenceForce[side] = row.DefenceForce[side];
        e.AttackForce[side]  = row.AttackForce[side];
        e.Ending[side]       = (row.Flags[side] & MATERIAL_ENDING) ? 1 : 0;
    }
}
