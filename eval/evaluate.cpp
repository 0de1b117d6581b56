#include "eval/evaluate.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "board/geometry.h"
#include "eval/endgame.h"
#include "eval/king.h"
#include "eval/material.h"
#include "eval/params.h"
#include "eval/passed.h"
#include "eval/pieces.h"
#include "eval/trace.h"

int Aggressivity, AggressivityHalf;
int Cowardice, CowardiceHalf;
int64_t EvalCacheEntries;

EvalInfo thread_eval_info;
// EvalCacheEntries entries; null while the cache is off.
static EvalCacheEntry* EvalCache;
int EngineSide;
int LazyLower = -32700, LazyUpper = 32700;

void SetDefaultEvalSettings() {
    Aggressivity     = 100;
    AggressivityHalf = 50;
    Cowardice        = 100;
    CowardiceHalf    = 50;
    EvalCacheEntries = EVAL_CACHE_DEFAULT;
    PawnHashEntries  = PAWN_HASH_DEFAULT;
}

// ---------------------------------------------------------------------------------------------
// The cache

int AllocateEvalCache() {
    FreeEvalCache();
    if (EvalCacheEntries <= 0) {
        EvalCacheEntries = 0;
        return 1;
    }
    EvalCache = static_cast<EvalCacheEntry*>(
        std::calloc(size_t(EvalCacheEntries + EVAL_CACHE_SPARE), sizeof(EvalCacheEntry)));
    if (EvalCache) EvalCache[0].key = ~0ULL; // a zero key must not hit the first entry
    return EvalCache != nullptr;
}

void FreeEvalCache() {
    std::free(EvalCache);
    EvalCache = nullptr;
}

void ClearEvalCache() {
    if (!EvalCache) return;
    std::memset(static_cast<void*>(EvalCache), 0, size_t(EvalCacheEntries + EVAL_CACHE_SPARE) * sizeof(EvalCacheEntry));
    EvalCache[0].key = ~0ULL;
}

static EvalCacheEntry* CacheSlot(u64 key) {
    // The default size is tested first: a mask is much cheaper than a division.
    if (EvalCacheEntries == EVAL_CACHE_DEFAULT) return EvalCache + (uint32_t(key) & uint32_t(EVAL_CACHE_DEFAULT - 1));
    return EvalCache + uint32_t(key) % uint32_t(EvalCacheEntries);
}

// ---------------------------------------------------------------------------------------------
// Material

int CurrentPhase() {
    const Position& b = thread_board;
    if (b.MaterialIndex != MATERIAL_OVERFLOW) return MaterialRecords[b.MaterialIndex].current_phase;
    const int w = b.MinorCount[WHITE] + b.MinorCount[BLACK] + 2 * (b.HeavyCount[WHITE] + b.HeavyCount[BLACK]);
    return ((w < 24 ? 24 - w : 0) * 256 + 12) / 24;
}

// The piece-square sum counts for less, or more, by how many pawns each side has left: index by
// the pawns of the side behind and of the side ahead in material.
static void AddPieceSquareScore() {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    int behind = b.PieceCount[PAWN][WHITE], ahead = b.PieceCount[PAWN][BLACK];
    if (e.MaterialScore < 0 || (e.MaterialScore == 0 && behind < ahead)) std::swap(behind, ahead);
    const int scale = PstScale[std::min(behind, 3) + 4 * std::min(ahead, 3)];
    const int mg    = ScaleScore(PairMidgame(b.PstScore), scale, 8);
    const int eg    = ScaleScore(PairEndgame(b.PstScore), scale, 8);
    e.PackedScore += PackPair(mg, eg);
}

static int KingDistance(int a, int b) {
    return std::max(std::abs(FileOf(a) - FileOf(b)), std::abs(RankOf(a) - RankOf(b)));
}

// Rook endings by the files of the pawns, or, for other light endings, by the class of the pieces,
// the pawn files and the kings.
static void EvaluateMaterialClass() {
    const Position& b         = thread_board;
    EvalInfo& e               = thread_eval_info;
    const PawnHashEntry& memo = e.PawnMemo;
    const int w = b.PiecePoints[WHITE], bl = b.PiecePoints[BLACK];
    if (w == 5 && bl == 5 && e.AllPawns) {
        const int f1 = FileSetIndex[memo.PawnFiles[BLACK]], f0 = FileSetIndex[memo.PawnFiles[WHITE]];
        const int g1 = FileSetIndex[ReverseByte8[memo.PawnFiles[BLACK]]];
        const int g0 = FileSetIndex[ReverseByte8[memo.PawnFiles[WHITE]]];
        const int d  = ((RookEndingTable[f1][f0] - RookEndingTable[f0][f1]) +
                       (RookEndingTable[g1][g0] - RookEndingTable[g0][g1])) >>
                      1;
        e.PackedScore += PackEqualPair(d);
        return;
    }
    const MaterialRecord& row = MaterialRecords[b.MaterialIndex];
    if (row.EndingClass[0] == -1) return;
    const int c1 = int(PawnFileClass[memo.PawnFiles[BLACK]]), c0 = int(PawnFileClass[memo.PawnFiles[WHITE]]);
    const int wk = b.KingSquare[WHITE], bk = b.KingSquare[BLACK];
    // Kings stand at least two squares apart in a legal position.
    const int distance = std::clamp(KingDistance(wk, bk), 2, 5) - 2;
    const int gap      = std::abs(w - bl);
    const int band     = gap <= 2 ? 0 : gap <= 4 ? 1 : 2;
    int k              = 0;
    if (bl > w) k = ClassKings[band][distance][CentreRing[bk]][CentreRing[wk]];
    if (w > bl) k = -ClassKings[band][distance][CentreRing[wk]][CentreRing[bk]];
    const int pawns = (ClassPawns[row.EndingClass[0]][c1][c0 != 0] - ClassPawns[row.EndingClass[1]][c0][c1 != 0]) >> 1;
    e.PackedScore += PackEqualPair(k + pawns);
}

// Endings where one side has too little force to attack the king.
static void EvaluateEndingAdjustments() {
    const Position& b         = thread_board;
    EvalInfo& e               = thread_eval_info;
    const PawnHashEntry& memo = e.PawnMemo;
    const int w = b.PiecePoints[WHITE], bl = b.PiecePoints[BLACK];

    // A rook against two minors with a knight: each passer of the minors' side helps them.
    if (w == 6 && bl == 5 && b.PieceCount[KNIGHT][WHITE])
        e.PackedScore += RookVsMinors[PopCount8[memo.PassedVector[WHITE]]];
    if (bl == 6 && w == 5 && b.PieceCount[KNIGHT][BLACK])
        e.PackedScore -= RookVsMinors[PopCount8[memo.PassedVector[BLACK]]];

    if (w != 0 || bl != 0) return;
    // Pawn ending: a king that stands between the other king and all of the other side's pawns
    // eats them while the other king cannot get back. The mover gains a file of tempo.
    e.SideIndependent = 0;
    const int wf = FileOf(b.KingSquare[WHITE]), bf = FileOf(b.KingSquare[BLACK]);
    const int t  = b.SideToMove == BLACK ? 1 : 0;
    const int p0 = memo.PawnFiles[WHITE], p1 = memo.PawnFiles[BLACK];
    if (bf < wf - t) {
        if (p1 != 0 && wf < FirstBit8[p1] && wf < LastBit8[p0]) e.PackedScore -= OutsideKing;
    } else if (bf > wf + t) {
        if (p1 != 0 && wf > LastBit8[p1] && wf > FirstBit8[p0]) e.PackedScore -= OutsideKing;
    }
    if (bf > wf - t + 1) {
        if (p0 != 0 && bf < FirstBit8[p0] && bf < LastBit8[p1]) e.PackedScore += OutsideKing;
    } else if (bf < wf + t - 1) {
        if (p0 != 0 && bf > LastBit8[p0] && bf > FirstBit8[p1]) e.PackedScore += OutsideKing;
    }
}

// ---------------------------------------------------------------------------------------------
// EvaluateFull

// Kings and a pawn each: Black's-view score from the endgame sum e of the duel.
static int PawnDuel(int e) {
    const double scale = PawnDuelScale;
    const double f     = scale / (1.0 + std::exp(-double(PawnDuelSlope) * std::abs(e) / 1000.0)) - scale / 2.0;
    const int r        = int(f + 0.5);
    return r * e / 64;
}

// The rings of both kings, and the squares from which each type of man would give check.
static void BuildCheckSquares() {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    for (int side = WHITE; side <= BLACK; side++) {
        const int king  = b.KingSquare[side];
        const u64 free  = ~b.Pieces[0][ChangeSide(side)];
        const u64 rook  = RookAttacks(king);
        const u64 diag  = BishopAttacks(king);
        e.KingRing[side]     = KingAttacks[king];
        e.RookChecks[side]   = rook & free;
        e.QueenChecks[side]  = (rook | diag) & free;
        e.BishopChecks[side] = diag & free;
        e.KnightChecks[side] = KnightAttacks[king] & free;
    }
}

// Midgame and endgame sums tapered by the phase of the whole board, and the sums credited to
// each side by that side's own phase.
static int Blend() {
    const Position& b = thread_board;
    const EvalInfo& e = thread_eval_info;
    const int mg = PairMidgame(e.PackedScore), eg = PairEndgame(e.PackedScore);
    return (mg * (256 - b.current_phase) + eg * b.current_phase) / 256 +
           (e.SideMg[BLACK] * (256 - b.black_phase) + e.SideEg[BLACK] * b.black_phase) / 256 -
           (e.SideMg[WHITE] * (256 - b.white_phase) + e.SideEg[WHITE] * b.white_phase) / 256;
}

void EvaluateFull(int* result) {
    Position& b = thread_board;
    EvalInfo& e = thread_eval_info;
    const int stm = b.SideToMove;

    std::memset(reinterpret_cast<char*>(&e) + offsetof(EvalInfo, FinalScore), 0,
                sizeof(EvalInfo) - offsetof(EvalInfo, FinalScore));
    e.SideIndependent = 1;
    e.Cacheable       = 1;
    e.AllPawns        = b.Pieces[PAWN][WHITE] | b.Pieces[PAWN][BLACK];

    // Material and phases; a light ending may be decided here and then.
    int material;
    if (b.PiecePoints[WHITE] < EndgamePoints || b.PiecePoints[BLACK] < EndgamePoints) {
        e.MaterialScore = b.Material[BLACK] - b.Material[WHITE];
        int value = 0, final = 0;
        material = EvaluateEnding(&value, &final);
        if (final) {
            e.FinalScore = stm == BLACK ? value : -value;
            *result      = value;
            return;
        }
    } else {
        ReadMaterialRecord();
        material       = e.MaterialScore;
        e.CannotWin[WHITE] = e.CannotWin[BLACK] = 0;
    }
    e.PackedScore = PackEqualPair(material);

    AddPieceSquareScore();
    EvaluatePawns();
    EvaluateMaterialClass();
    e.WeakMenMaps[WHITE] |= e.PassedPawns[WHITE];
    e.WeakMenMaps[BLACK] |= e.PassedPawns[BLACK];
    if (e.Ending[WHITE] || e.Ending[BLACK]) EvaluateEndingAdjustments();

    if (e.PawnMemo.PassedVector[WHITE] | e.PawnMemo.PassedVector[BLACK]) {
        EvaluatePassedPawns();
        // Kings and a pawn each: the race decides, and no tempo is given.
        if (b.Material[WHITE] == 100 && b.Material[BLACK] == 100) {
            const int score = PawnDuel(PairEndgame(e.PackedScore) + e.SideEg[BLACK] - e.SideEg[WHITE]);
            e.FinalScore    = score;
            *result         = stm == BLACK ? score : -score;
            return;
        }
    }

    // A king's shelter is worth something to the side that may attack it.
    if (!e.Ending[BLACK]) e.SideMg[WHITE] -= EvaluateKingShelter(BLACK);
    if (!e.Ending[WHITE]) e.SideMg[BLACK] -= EvaluateKingShelter(WHITE);
    BuildCheckSquares();

    int score;
    if (b.MinorCount[WHITE] + b.HeavyCount[WHITE] + b.MinorCount[BLACK] + b.HeavyCount[BLACK] == 0) {
        score = e.RawScore = Blend();
        if (e.CannotWin[BLACK] && score > 0) score = 0;
        if (e.CannotWin[WHITE] && score < 0) score = 0;
        TRACE_SCALE(e.RawScore, score, !e.CannotWin[BLACK] && !e.CannotWin[WHITE]);
    } else {
        EvaluateKingCorners();
        EvaluateRooks(BLACK);
        EvaluateRooks(WHITE);
        EvaluatePawnAttacks();
        EvaluateLoosePawns();
        EvaluateBlockedPawns();
        EvaluateKnights(BLACK);
        EvaluateKnights(WHITE);
        EvaluateQueens(BLACK);
        EvaluateQueens(WHITE);
        EvaluateBishops(BLACK);
        EvaluateBishops(WHITE);
        EvaluateThreats();
        EvaluateDevelopment();
        EvaluateShelterAgainstQueen(BLACK);
        EvaluateShelterAgainstQueen(WHITE);
        if (!e.Ending[WHITE]) EvaluateKingAttack(BLACK);
        if (!e.Ending[BLACK]) EvaluateKingAttack(WHITE);

        score = e.RawScore = Blend();
        EvaluateQueenChecks(&score);
        const bool bothStrong = b.PiecePoints[WHITE] > EndingPointsNoQueen && b.PiecePoints[BLACK] > EndingPointsNoQueen;
        [[maybe_unused]] const int before = score;
        if (!bothStrong && score != 0) ApplyScalingRules(&score);
        TRACE_SCALE(before, score, bothStrong);
    }

    // Tempo, worth less as the board empties, plus what the king attack of the mover adds. The
    // other side to move would take its own tempo, so MirrorSum gets both.
    const int tempo  = 8 - ((b.current_phase - 1) >> 6);
    const int tBlack = tempo + e.TempoAttack[BLACK], tWhite = tempo + e.TempoAttack[WHITE];
    if (stm == BLACK) {
        score += tBlack;
        e.MirrorSum += tBlack + tWhite;
    } else {
        score -= tWhite;
        e.MirrorSum = tBlack + tWhite - e.MirrorSum;
    }
    e.FinalScore = score;
    *result      = stm == BLACK ? score : -score;
    e.AttackMaps[WHITE] |= e.KingRing[WHITE];
    e.AttackMaps[BLACK] |= e.KingRing[BLACK];
}

// ---------------------------------------------------------------------------------------------
// Evaluate

// Force enough that a material deficit of the other side will not be talked away.
static bool StrongForce(int side) {
    const Position& b = thread_board;
    const int pawns   = b.PieceCount[PAWN][side];
    return pawns >= 2 ? b.PiecePoints[side] >= 6 : b.PiecePoints[side] > 9;
}

// What a side's most advanced pawn may still be worth beyond its material.
static int PawnPromise(int side) {
    const u64 pawns   = thread_board.Pieces[PAWN][side];
    const u64 seventh = side == WHITE ? 0x00FF000000000000ULL : 0x000000000000FF00ULL;
    const u64 sixth   = side == WHITE ? 0x0000FF0000000000ULL : 0x0000000000FF0000ULL;
    return (pawns & seventh) ? 100 : (pawns & sixth) ? 50 : 0;
}

int Evaluate() {
    Position& b   = thread_board;
    EvalInfo& e   = thread_eval_info;
    const int stm = b.SideToMove, other = ChangeSide(stm);

    // Lazy exit: far outside the window the root expects, material alone answers.
    int value        = b.Material[stm] - b.Material[other];
    const bool own   = EngineSide == stm;
    const int upper  = own ? LazyUpper : -LazyLower;
    const int lower  = own ? LazyLower : -LazyUpper;
    bool lazy        = false;
    if (value < lower) {
        if (StrongForce(other)) {
            value += PawnPromise(stm);
            lazy = value < lower;
        }
    } else if (value > upper) {
        if (StrongForce(stm)) {
            value -= PawnPromise(other);
            lazy = value > upper;
        }
    }

    if (lazy) {
        e.AttackMaps[WHITE] = e.AttackMaps[BLACK] = 0;
        e.WeakMenMaps[WHITE] = e.WeakMenMaps[BLACK] = 0;
        e.ThreatCount[WHITE] = e.ThreatCount[BLACK] = 0;
        e.Cacheable = 0;
    } else {
        EvalCacheEntry* slot = nullptr;
        u64 key = b.HashKey ^ ZobristCastle[b.CastleRights];
        // With Aggressivity and Cowardice apart a king's shelter weighs by whose king it is, so
        // each engine side has an entry of its own.
        if (AggressivityHalf != CowardiceHalf && EngineSide == BLACK) key = ~key;
        value                = EVAL_UNKNOWN;
        if (EvalCache) {
            slot = CacheSlot(key);
            if (slot->key == key) {
                e.MaterialScore      = int16_t(slot->material);
                e.WeakMenMaps[WHITE] = slot->weak[WHITE];
                e.WeakMenMaps[BLACK] = slot->weak[BLACK];
                e.AttackMaps[WHITE]  = slot->attacks[WHITE];
                e.AttackMaps[BLACK]  = slot->attacks[BLACK];
                e.ThreatCount[WHITE] = slot->threats & 15;
                e.ThreatCount[BLACK] = slot->threats >> 4;
                value                = slot->score[stm];
            }
        }
        e.Cacheable = 1;
        if (value <= EVAL_UNKNOWN) EvaluateFull(&value);
        if (slot && e.Cacheable) {
            if (slot->key != key) {
                slot->key             = key;
                slot->material        = uint16_t(e.MaterialScore);
                slot->weak[WHITE]     = e.WeakMenMaps[WHITE];
                slot->weak[BLACK]     = e.WeakMenMaps[BLACK];
                slot->attacks[WHITE]  = e.AttackMaps[WHITE];
                slot->attacks[BLACK]  = e.AttackMaps[BLACK];
                slot->threats = uint8_t(std::min(e.ThreatCount[WHITE], 15) | std::min(e.ThreatCount[BLACK], 15) << 4);
                slot->score[other]    = int16_t(e.SideIndependent ? e.MirrorSum - value : EVAL_UNKNOWN);
            }
            slot->score[stm] = int16_t(value);
        }
    }

    // Towards the fifty-move draw the score fades from the ninth reversible half-move on.
    const int f = std::max(256 - 2 * std::max(b.FiftyCounter - 8, 0), 0);
    return ScaleScore(value, f, 8);
}

// ---------------------------------------------------------------------------------------------
// The `evl` command

static void PrintFileBits(int files) {
    for (int f = 0; f < 8; f++) std::putchar((files >> f) & 1 ? '1' : '0');
}

void PrintEvaluation() {
    const Position& b = thread_board;
    const EvalInfo& e = thread_eval_info;
    EngineSide        = b.SideToMove;
    int result        = EVAL_UNKNOWN;
    FullDanger        = 1;
    EvaluateFull(&result);
    FullDanger = 0;

    const int stm = b.SideToMove, other = ChangeSide(stm);
    auto curve    = [](int danger) { return DangerCurve[std::clamp(danger + 8, 0, 127)]; };
    const int onOpponent = curve(e.danger[stm]) * ShelterCurve[e.shelter_penalty[other]] >> 4;
    const int onMover      = curve(e.danger[other]) * ShelterCurve[e.shelter_penalty[stm]] >> 4;

    std::printf("Heuristic = %d\n", result);
    std::printf("PassedVector[BLACK] = ");
    PrintFileBits(e.PawnMemo.PassedVector[BLACK]);
    std::printf(" PassedVector[WHITE] = ");
    PrintFileBits(e.PawnMemo.PassedVector[WHITE]);
    std::printf("\n");
    std::printf("current_phase = %d, black_phase = %d, white_phase = %d\n", b.current_phase, b.black_phase,
                b.white_phase);
    std::printf("Material[WHITE] = %d thread_board.Material[BLACK] = %d EvaluateMaterial() = %d\n",
                b.Material[WHITE], b.Material[BLACK], e.MaterialScore);
    std::printf("ENDING(WHITE) = %d ENDING(BLACK) = %d\n", EndingByForce(WHITE), EndingByForce(BLACK));
    std::printf("thread_eval_info.shelter_penalty[BLACK] = %d thread_eval_info.shelter_penalty[WHITE] = %d\n",
                e.shelter_penalty[BLACK], e.shelter_penalty[WHITE]);
    std::printf("thread_eval_info.danger[BLACK] = %d thread_eval_info.danger[WHITE] = %d\n", e.danger[BLACK],
                e.danger[WHITE]);
    std::printf("Attacks[ChangeSide(thread_board.SideToMove)] = %d\n", onOpponent);
    std::printf("Attacks[thread_board.SideToMove] = %d\n", onMover);
    std::printf("Shelter[BLACK] = %d Shelter[WHITE] = %d\n", ShelterPenalty[e.shelter_penalty[BLACK]],
                ShelterPenalty[e.shelter_penalty[WHITE]]);
    std::printf("Dng = %d\n", onOpponent + ShelterPenalty[e.shelter_penalty[other]]);
    std::fflush(stdout);
}
