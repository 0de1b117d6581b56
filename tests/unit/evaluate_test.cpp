// The evaluation against itself: colour symmetry over the suites and games played out from them,
// with the built-in and with random tuned tables; the cache against fresh evaluations; the draws
// and the fifty-move fade.
#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "board/makemove.h"
#include "board/ply.h"
#include "eval/evaluate.h"
#include "eval/material.h"
#include "eval/params.h"
#include "eval/sigmoid.h"
#include "eval/values.h"
#include "frontend/settings.h"
#include "search/root.h"
#include "search/search.h"
#include "tests/support/engine_setup.h"

namespace {

// The suites, and from each a random game that prefers captures, sampled every 15 plies, so that
// light endings and bare pawn endings come up too; and a few the suites hardly reach.
const std::vector<std::string>& Positions() {
    static std::vector<std::string> fens;
    if (!fens.empty()) return fens;
    fens = SuiteFens();
    std::mt19937 random(20160629);
    for (size_t i = 0, n = fens.size(); i < n; i++) {
        Load(fens[i]);
        for (int ply = 1; ply <= 90; ply++) {
            const std::vector<Move> legal = LegalMoves();
            if (legal.empty()) break;
            std::vector<Move> captures;
            for (Move m : legal)
                if (CapturedPiece(m)) captures.push_back(m);
            MakeMove(!captures.empty() && random() % 4 ? captures[random() % captures.size()] : legal[random() % legal.size()], 1);
            if (ply % 15) continue;
            std::istringstream text(PositionText(0)); // board, side and rights; no en passant
            std::string board, side, rights;
            text >> board >> side >> rights;
            fens.push_back(board + " " + side + " " + rights + " - 0 1");
        }
    }
    for (const char* fen : {"8/5k2/3n4/1p6/8/3BN3/P3PK2/8 w - - 0 1", "8/p6p/3k4/8/8/2K5/5PPP/8 b - - 0 1",
                            "4k3/8/8/8/8/8/8/NNN1K3 w - - 0 1", "4k3/rr6/8/8/8/8/PPP5/RRR1K3 b - - 0 1",
                            "3qk3/8/8/8/8/8/PPPP4/QQQ1K3 w - - 0 1", "4k3/8/8/8/8/8/8/4K3 w - - 0 1"})
        fens.push_back(fen);
    return fens;
}

int Full(int side, int engine) {
    thread_board.SideToMove = side;
    EngineSide              = engine;
    int result              = EVAL_UNKNOWN;
    EvaluateFull(&result);
    return result;
}

class EvaluateTest : public ::testing::Test {
  protected:
    void SetUp() override { FreshEngine(); }
    void TearDown() override {
        RestoreDefaultParameters();
        Printed([] { LoadEvaluationValues(); });
        InitSigmoidTables();
    }
};

u64 Flipped(u64 board) { return __builtin_bswap64(board); }

// Phases are written by the evaluation only: a verdict before the material step leaves the last ones.
void LoadClean(const std::string& fen) {
    Load(fen);
    thread_board.current_phase = thread_board.white_phase = thread_board.black_phase = -1;
    thread_board.FiftyCounter  = 0; // not read from a FEN
}

// The view of the side to move does not change when the colours are exchanged and the board
// turned over; the engine's side, which weighs king safety and the lazy bounds, turns with it.
void ExpectSymmetric(const std::string& fen) {
    const std::string mirror = Mirrored(fen);
    for (int side = WHITE; side <= BLACK; side++) {
        LoadClean(fen);
        thread_board.FiftyCounter = 0;
        const int score           = Full(side, side);
        const EvalInfo info       = thread_eval_info;
        LoadClean(mirror);
        ASSERT_EQ(score, Full(ChangeSide(side), ChangeSide(side))) << fen << " | " << mirror;
        const EvalInfo& m = thread_eval_info;
        ASSERT_EQ(info.MaterialScore, -m.MaterialScore) << fen;
        for (int s = WHITE; s <= BLACK; s++) {
            ASSERT_EQ(info.AttackMaps[s], Flipped(m.AttackMaps[ChangeSide(s)])) << fen;
            ASSERT_EQ(info.WeakMenMaps[s], Flipped(m.WeakMenMaps[ChangeSide(s)])) << fen;
        }
        for (int engineIsMover = 0; engineIsMover < 2; engineIsMover++) { // with a narrow lazy window
            LazyLower = -60, LazyUpper = 40;
            LoadClean(fen);
            thread_board.SideToMove = side;
            EngineSide              = engineIsMover ? side : ChangeSide(side);
            const int lazy          = Evaluate();
            LoadClean(mirror);
            thread_board.SideToMove = ChangeSide(side);
            EngineSide              = engineIsMover ? ChangeSide(side) : side;
            ASSERT_EQ(lazy, Evaluate()) << fen;
            LazyLower = -MATE_SCORE, LazyUpper = MATE_SCORE;
        }
    }
}

// Random numbers in the tuned tables that have no built-in values, so that the material table,
// the class tables and the rook-ending table take part. Terms halved by an arithmetic shift round
// towards Black: their entries are even so that the mirror image is exact.
void RandomTunedTables(std::mt19937& random) {
    auto pick = [&](int lo, int hi) { return int(random() % uint32_t(hi - lo + 1)) + lo; };
    for (int i = 0; i < 4; i++) PawnMg[i] = pick(60, 140), PawnEg[i] = pick(60, 140), PieceMg[i] = pick(-40, 40);
    for (int i = 0; i < 6; i++) ImbalanceMg[i] = pick(-30, 30), ImbalanceEg[i] = pick(-30, 30);
    // Pawn structure and wing cover; the material table's build mirrors the half boards.
    for (int32_t* table : {PawnLeverSupportMg, PawnDoubledEg, PawnIsolatedOpenMg, PawnIsolatedClosedEg,
                           PawnBackwardOpenMg, PawnBackwardClosedEg, PawnCandidateMg, PawnCandidateEg})
        for (int i = 0; i < 64; i++) table[i] = pick(-20, 20);
    for (int i = 0; i < 20; i++) PawnConnectedMgSource[i] = pick(0, 20), PawnConnectedEgSource[i] = pick(0, 20);
    for (int i = 0; i < 9; i++) PawnSpanMg[i] = pick(-20, 20), PassedSpanEg[i] = pick(-20, 20);
    for (int32_t& v : ShelterTable) v = pick(0, 15);
    for (int i = 0; i < 12; i++) ShelterFileParams[i] = pick(0, 8);
    // King safety: the weights without defaults, and the engine's king weighed apart.
    for (int i = 0; i < 16; i++) ShelterMg[i] = pick(-20, 120), ShelterEg[i] = pick(-20, 120);
    for (int32_t& v : KingSquareShelterSource) v = pick(0, 8);
    for (int32_t& v : KingRingTable) v = pick(0, 12);
    for (int32_t* v : {&AttackerWeight[4], &AttackerWeight[5], &DefencePawnWeight, &AttackPawnWeight,
                       &CheckSquareDangerKnight[1], &CheckSquareDangerQueen[1]})
        *v = pick(0, 12);
    for (int32_t& v : QueenCheckBonus) v = pick(0, 100);
    PressureCentre = pick(0, 40);
    InitPressureSigmoid();
    AggressivityHalf = 70, CowardiceHalf = 35;
    // Piece terms and passers. White reads a square table turned about, so the mirror image is
    // exact only for tables alike on both wings.
    auto wings = [&](int32_t* table, int lo, int hi) {
        for (int sq = 0; sq < 64; sq++) table[sq] = (sq & 7) < 4 ? pick(lo, hi) : table[sq ^ 7];
    };
    for (int32_t* table : {KnightOutpostMg, KnightOutpostEg, KnightOutpostDefendedMg, KnightOutpostContestedEg,
                           BishopOutpostMg, BishopOutpostDefendedEg, BishopOutpostContestedMg,
                           RookBehindBlockedPasserMg, RookBehindBlockedPasserEg})
        wings(table, 0, 30);
    for (int i = 0; i < 8; i++) RookHalfOpenMg[i] = pick(0, 30), RookHalfOpenEg[i] = pick(0, 30);
    for (int i = 0; i < 17; i++) ThreatTableMg[i] = pick(-30, 30), ThreatTableEg[i] = pick(-30, 30);
    for (auto& byKing : LoosePawnTable)
        for (auto& byQueening : byKing)
            for (int32_t& v : byQueening) v = pick(-30, 30);
    for (int i = 0; i < 64; i++)
        DevelopmentTable[i] = pick(0, 5), HomePawnsMg[i] = pick(-100, 100), HomePawnsEg[i] = pick(-100, 100);
    BlockedPawnBonusMg = pick(-10, 10), BlockedPawnBonusEg = pick(-10, 10);
    for (auto& row : PasserCountSource)
        for (int32_t& v : row) v = pick(0, 60);
    for (auto& row : RaceSource)
        for (int32_t& v : row) v = pick(0, 300);
    for (int i = 0; i < 16; i++) PassedStateEg[i] = pick(50, 150), PassedStateMg[i % 8] = pick(50, 150);
    for (int i = 0; i < 24; i++) PassedOwnKing[i] = pick(-30, 30), PassedEnemyKing[i] = pick(-30, 30);
    std::vector<int32_t> table54(TABLE54_SIZE), table486(TABLE486_SIZE), time(TABLE486_SIZE, 256);
    for (int32_t& v : table54) v = pick(-60, 60);
    for (int32_t& v : table486) v = pick(-60, 60);
    Printed([&] { BuildMaterialTable(table54.data(), table486.data(), time.data()); });
    for (auto& row : RookEndingTable)
        for (int32_t& v : row) v = 2 * pick(-40, 40);
    for (auto& cls : ClassPawns)
        for (auto& files : cls)
            for (int32_t& v : files) v = 2 * pick(-40, 40);
    for (auto& band : ClassKings)
        for (auto& dist : band)
            for (auto& ring : dist)
                for (int32_t& v : ring) v = pick(-40, 40);
    for (int32_t& v : PstScale) v = pick(128, 384);
    for (int32_t& v : RookVsMinors) v = PackEqualPair(pick(-60, 60));
    OutsideKing = PackEqualPair(pick(50, 250));
    ClearPawnHash(); // structures scored with the old weights would live on
    ClearEvalCache();
}

TEST_F(EvaluateTest, ColourFlippedPositionsScoreAlike) {
    ASSERT_GT(Positions().size(), 5000u);
    for (const std::string& fen : Positions()) {
        ExpectSymmetric(fen);
        if (HasFatalFailure()) break;
    }
    std::mt19937 random(7);
    RandomTunedTables(random);
    for (const std::string& fen : Positions()) {
        ExpectSymmetric(fen);
        if (HasFatalFailure()) break;
    }
}

// Through a small cache, first for one side to move, then for the other (answered from the first
// entry only when the evaluation did not depend on the mover), then again, the engine's side
// changing at random while its king and the opponent's are weighed apart: every answer is the
// fresh evaluation with the fifty-move fade, and the fade goes towards zero.
TEST_F(EvaluateTest, TheCacheNeverChangesAScore) {
    FreeEvalCache();
    EvalCacheEntries = 4093;
    ASSERT_TRUE(AllocateEvalCache());
    AggressivityHalf = 80;
    std::mt19937 random(11);
    int fromOtherSide = 0;
    for (const std::string& fen : Positions()) {
        Load(fen);
        thread_board.FiftyCounter = int(random() % 40);
        const int first = int(random() % 2), second = ChangeSide(first);
        int fresh[2][2], material[2];
        for (int side : {first, second})
            for (int engine : {WHITE, BLACK}) {
                const int plain     = Full(side, engine);
                const int f         = std::max(256 - 2 * std::max(thread_board.FiftyCounter - 8, 0), 0);
                fresh[side][engine] = int(int64_t(plain) * f / 256);
                material[side]      = thread_eval_info.MaterialScore;
                ASSERT_LE(std::abs(fresh[side][engine]), std::abs(plain)) << fen;
            }
        ClearEvalCache();
        const int engine = int(random() % 2);
        for (int side : {first, second, first, second}) {
            thread_board.SideToMove   = side;
            EngineSide                = side == first ? engine : int(random() % 2);
            thread_eval_info.RawScore = 0x5EED;
            ASSERT_EQ(Evaluate(), fresh[side][EngineSide]) << fen << " side " << side;
            // A verdict for one side to move ends the evaluation before the material step.
            if (material[first] == material[second]) {
                ASSERT_EQ(thread_eval_info.MaterialScore, material[side]) << fen;
            }
            if (side == second && thread_eval_info.RawScore == 0x5EED) fromOtherSide++;
        }
    }
    EXPECT_GT(fromOtherSide, 1000);
    FreeEvalCache();
    EvalCacheEntries = EVAL_CACHE_DEFAULT;
    ASSERT_TRUE(AllocateEvalCache());
}

TEST_F(EvaluateTest, DrawnMaterialAndMaterialBeyondTheTable) {
    for (const char* fen : {"4k3/8/8/8/8/8/8/4K3 w - - 0 1", "8/8/3k4/8/8/3NK3/8/8 w - - 0 1",
                            "8/8/3k4/8/8/3BK3/8/8 b - - 0 1"}) {
        Load(fen);
        EXPECT_EQ(Full(WHITE, WHITE), 0) << fen;
        EXPECT_EQ(Full(BLACK, BLACK), 0) << fen;
    }
    // Three knights are counted at run time exactly as the table counts two knights and a bishop.
    Load("4k3/8/8/8/8/8/8/NNN1K3 w - - 0 1");
    Full(WHITE, WHITE);
    const int three = thread_eval_info.MaterialScore;
    Load("4k3/8/8/8/8/8/8/NNB1K3 w - - 0 1");
    Full(WHITE, WHITE);
    EXPECT_EQ(three, thread_eval_info.MaterialScore);
}

// Every suite position for both sides to move, without and with the cache; run by hand:
//   build/tests/unit_tests --gtest_also_run_disabled_tests --gtest_filter='*EvaluationSpeed*'
TEST_F(EvaluateTest, DISABLED_EvaluationSpeed) {
    std::vector<Position> boards;
    for (const std::string& fen : SuiteFens()) {
        Load(fen);
        boards.push_back(thread_board);
    }
    int64_t checksum = 0;
    for (const char* cache : {"with", "without"}) {
        const auto start = std::chrono::steady_clock::now();
        for (int round = 0; round < 1000; round++)
            for (const Position& board : boards)
                for (int side : {WHITE, BLACK}) thread_board = board, thread_board.SideToMove = side, checksum += Evaluate();
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        std::printf("%zu positions, both sides: %.0f evaluations per second %s the cache (checksum %lld)\n",
                    boards.size(), 2000.0 * double(boards.size()) / s, cache, (long long)checksum);
        FreeEvalCache();
    }
    AllocateEvalCache();
}

} // namespace
