// The evaluation driver: colour symmetry over the test suites, the cache against fresh
// evaluations, the lazy exit, the fifty-move fade, and the material terms of light endings.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "board/geometry.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "eval/material.h"
#include "eval/params.h"
#include "eval/values.h"
#include "frontend/game.h"
#include "frontend/settings.h"
#include "search/root.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"
#include "tests/unit/test_main_setup.h"

namespace {

// The positions are legal, so SetFen has nothing to print.
void Load(const std::string& fen) {
    ASSERT_TRUE(SetFen(fen.c_str())) << fen;
    // Phases are written by the evaluation only; a verdict before the material step leaves them.
    thread_board.current_phase = thread_board.white_phase = thread_board.black_phase = -1;
}

std::vector<std::string> Split(const std::string& text) {
    std::vector<std::string> fields;
    size_t at = 0;
    while (at < text.size()) {
        size_t end = text.find(' ', at);
        if (end == std::string::npos) end = text.size();
        if (end > at) fields.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return fields;
}

// The same position with the colours exchanged and the board turned top to bottom: the side to
// move, the castling rights and the en-passant square go with it.
std::string Mirrored(const std::string& fen) {
    const std::vector<std::string> f = Split(fen);
    std::vector<std::string> ranks;
    std::string rank;
    for (char c : f[0]) {
        if (c == '/') {
            ranks.push_back(rank);
            rank.clear();
        } else {
            rank += char(std::isupper(c) ? std::tolower(c) : std::toupper(c));
        }
    }
    ranks.push_back(rank);
    std::string board;
    for (auto it = ranks.rbegin(); it != ranks.rend(); ++it) board += (board.empty() ? "" : "/") + *it;
    std::string castle;
    for (char c : std::string("KQkq")) {
        const char mirror = char(std::isupper(c) ? std::tolower(c) : std::toupper(c));
        if (f[2].find(mirror) != std::string::npos) castle += c;
    }
    if (castle.empty()) castle = "-";
    std::string ep = f[3];
    if (ep != "-") ep[1] = ep[1] == '3' ? '6' : '3';
    return board + (f[1] == "w" ? " b " : " w ") + castle + " " + ep + " 0 1";
}

// The board of thread_board as FEN, without an en-passant square (no evaluation term reads it).
std::string CurrentFen() {
    const Position& b = thread_board;
    std::string fen;
    for (int rank = 7; rank >= 0; rank--) {
        int empty = 0;
        for (int file = 0; file < 8; file++) {
            const int sq = rank * 8 + file;
            if (!b.Board[sq]) {
                empty++;
                continue;
            }
            if (empty) fen += char('0' + empty);
            empty        = 0;
            const char c = PieceLetters[b.Board[sq]];
            fen += (b.Pieces[0][BLACK] & Bit(sq)) ? char(std::tolower(c)) : c;
        }
        if (empty) fen += char('0' + empty);
        if (rank) fen += '/';
    }
    fen += b.SideToMove == WHITE ? " w " : " b ";
    std::string castle;
    if (b.CastleRights & CASTLE_WHITE_KING) castle += 'K';
    if (b.CastleRights & CASTLE_WHITE_QUEEN) castle += 'Q';
    if (b.CastleRights & CASTLE_BLACK_KING) castle += 'k';
    if (b.CastleRights & CASTLE_BLACK_QUEEN) castle += 'q';
    return fen + (castle.empty() ? "-" : castle) + " - 0 1";
}

// Every position of the EPD suites (four fields each).
std::vector<std::string> SuitePositions() {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(std::string(TESTDATA_DIR) + "/epd"))
        if (entry.path().extension() == ".epd") files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    std::vector<std::string> fens;
    for (const std::string& file : files) {
        std::ifstream in(file);
        std::string line;
        while (std::getline(in, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            const std::vector<std::string> f = Split(line);
            if (f.size() >= 4) fens.push_back(f[0] + " " + f[1] + " " + f[2] + " " + f[3] + " 0 1");
        }
    }
    return fens;
}

// Positions further on: from each suite position a random game that prefers captures, sampled
// every few plies, so that light endings and bare pawn endings come up too.
std::vector<std::string> PlayedOutPositions(const std::vector<std::string>& starts) {
    std::mt19937 random(20160629);
    std::vector<std::string> fens;
    for (const std::string& start : starts) {
        Load(start);
        for (int ply = 1; ply <= 90; ply++) {
            GenerateLegalMoves(0);
            if (MoveListTop == 0) break;
            std::vector<Move> captures;
            for (int i = 0; i < MoveListTop; i++)
                if (CapturedPiece(MoveList[i].move)) captures.push_back(MoveList[i].move);
            const Move move = !captures.empty() && random() % 4 != 0 ? captures[random() % captures.size()]
                                                                     : MoveList[random() % MoveListTop].move;
            MakeMove(move, 1);
            if (ply % 15 == 0) fens.push_back(CurrentFen());
        }
        MoveListTop = 0;
    }
    return fens;
}

// Positions chosen for the terms that the suites hardly reach.
const std::vector<std::string> LightEndings = {
    "r7/1p3k2/8/8/8/8/P5K1/7R w - - 0 1",        // rook ending, pawns on a and b
    "8/pp3k2/8/8/8/2r5/P5K1/7R b - - 0 1",       // rook ending, two files against one
    "8/5k2/3n4/8/8/3B4/P3PK2/8 w - - 0 1",       // bishop against knight
    "8/5k2/3n4/1p6/8/3BN3/P3PK2/8 w - - 0 1",    // two minors against one
    "8/5k2/8/2r5/8/3BN3/P4K2/8 w - - 0 1",       // rook against two minors
    "8/p6p/3k4/8/8/2K5/5PPP/8 b - - 0 1",        // king outside the pawns
    "8/p6p/3k4/8/8/2K5/5PPP/8 w - - 0 1",
    "4k3/pppp4/8/8/8/8/PPPP4/4K3 w - - 0 1",     // symmetric pawn ending
    "8/8/4k3/p7/8/8/6P1/4K3 w - - 0 1",          // pawn duel
    "4k3/8/8/8/8/8/8/NNN1K3 w - - 0 1",          // three knights
    "4k3/rr6/8/8/8/8/PPP5/RRR1K3 b - - 0 1",     // three rooks
    "3qk3/8/8/8/8/8/PPPP4/QQQ1K3 w - - 0 1",     // three queens
    "4k3/8/8/8/8/8/8/4K3 w - - 0 1",             // kings alone
};

// EvaluateFull for `side` to move, with the engine's side given.
int FullFor(int side, int engine) {
    thread_board.SideToMove = side;
    EngineSide              = engine;
    int result              = EVAL_UNKNOWN;
    EvaluateFull(&result);
    return result;
}

class EvaluateTest : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        savedEngine = EngineSide;
        if (!EvalCache) {
            EvalCacheEntries = EVAL_CACHE_DEFAULT;
            ASSERT_TRUE(AllocateEvalCache());
        }
        ClearEvalCache();
        LazyLower = -32700;
        LazyUpper = 32700;
    }
    void TearDown() override {
        EngineSide = savedEngine;
        LazyLower  = -32700;
        LazyUpper  = 32700;
    }
    // EvaluateFull with the side to move set, the engine on the move.
    static int Full(int side) { return FullFor(side, side); }
    static int FiftyScaled(int value) {
        const int f = std::max(256 - 2 * std::max(thread_board.FiftyCounter - 8, 0), 0);
        return int(int64_t(value) * f / 256);
    }
    int savedEngine = 0;
};

u64 FlipRanks(u64 board) { return __builtin_bswap64(board); }

// ---------------------------------------------------------------------------------------------
// Colour symmetry

// The side-to-move view of a position must not change when the colours are exchanged and the
// board turned over. The engine's side enters the evaluation through the lazy bounds and the
// king-shelter weights (Cowardice for the engine's own king, Aggressivity for the other); both
// follow the mover here: the engine is given the side to move in both positions.
void ExpectSymmetric(const std::string& fen, int* checked) {
    const std::string mirror = Mirrored(fen);
    for (int side = WHITE; side <= BLACK; side++) {
        Load(fen);
        thread_board.FiftyCounter = 0;
        const int score           = FullFor(side, side);
        const EvalInfo info       = thread_eval_info;
        const int phases[3]       = {thread_board.current_phase, thread_board.white_phase, thread_board.black_phase};
        Load(mirror);
        const int mirrorScore = FullFor(ChangeSide(side), ChangeSide(side));
        const EvalInfo& m     = thread_eval_info;
        ASSERT_EQ(score, mirrorScore) << fen << " | " << mirror << " side " << side;
        ASSERT_EQ(info.MaterialScore, -m.MaterialScore) << fen;
        ASSERT_EQ(phases[0], thread_board.current_phase) << fen;
        ASSERT_EQ(phases[1], thread_board.black_phase) << fen;
        ASSERT_EQ(phases[2], thread_board.white_phase) << fen;
        for (int s = WHITE; s <= BLACK; s++) {
            ASSERT_EQ(info.AttackMaps[s], FlipRanks(m.AttackMaps[ChangeSide(s)])) << fen;
            ASSERT_EQ(info.WeakMenMaps[s], FlipRanks(m.WeakMenMaps[ChangeSide(s)])) << fen;
            ASSERT_EQ(info.Ending[s], m.Ending[ChangeSide(s)]) << fen;
        }
    }
    ++*checked;
}

// Random numbers for the tuned tables that have no built-in values, so that the material table,
// the class tables and the rook-ending table take part. The class and rook-ending terms halve a
// difference with an arithmetic shift, which rounds an odd difference towards Black by half a
// centipawn; their entries are even here so that the mirror image is exact.
void RandomTunedTables(std::mt19937& random) {
    auto pick = [&](int lo, int hi) { return int(random() % uint32_t(hi - lo + 1)) + lo; };
    for (int i = 0; i < 4; i++) {
        PawnMg[i] = pick(60, 140);
        PawnEg[i] = pick(60, 140);
        PieceMg[i] = pick(-40, 40);
        PieceEg[i] = pick(-40, 40);
    }
    for (int i = 0; i < 6; i++) {
        ImbalanceMg[i] = pick(-30, 30);
        ImbalanceEg[i] = pick(-30, 30);
    }
    std::vector<int32_t> table54(TABLE54_SIZE), table486(TABLE486_SIZE), time(TABLE486_SIZE, 256);
    for (int32_t& v : table54) v = pick(-60, 60);
    for (int32_t& v : table486) v = pick(-60, 60);
    testing::internal::CaptureStdout();
    BuildMaterialTable(table54.data(), table486.data(), time.data());
    testing::internal::GetCapturedStdout();

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
}

void RestoreParameters() {
    RestoreDefaultParameters();
    testing::internal::CaptureStdout();
    LoadEvaluationValues();
    testing::internal::GetCapturedStdout();
}

TEST_F(EvaluateTest, ColourFlippedPositionsScoreAlike) {
    const std::vector<std::string> suites = SuitePositions();
    ASSERT_GT(suites.size(), 2700u);
    std::vector<std::string> positions = suites;
    for (const std::string& fen : PlayedOutPositions(suites)) positions.push_back(fen);
    for (const std::string& fen : LightEndings) positions.push_back(fen);

    // How many positions reach the terms that depend on light material.
    int rookEndings = 0, classTerms = 0, pawnEndings = 0, endings = 0, overflow = 0;
    for (const std::string& fen : positions) {
        Load(fen);
        const Position& b = thread_board;
        const bool pawns  = b.Pieces[PAWN][WHITE] | b.Pieces[PAWN][BLACK];
        if (b.PiecePoints[WHITE] == 5 && b.PiecePoints[BLACK] == 5 && pawns) rookEndings++;
        else if (MaterialRecords[b.MaterialIndex].EndingClass[0] != -1) classTerms++;
        if (b.PiecePoints[WHITE] + b.PiecePoints[BLACK] == 0) pawnEndings++;
        if (b.PiecePoints[WHITE] <= 9 || b.PiecePoints[BLACK] <= 9) endings++;
        if (b.MaterialIndex == MATERIAL_OVERFLOW) overflow++;
    }
    EXPECT_GT(rookEndings, 100);
    EXPECT_GT(classTerms, 5000);
    EXPECT_GT(pawnEndings, 1000);
    EXPECT_GT(endings, 10000);
    EXPECT_GE(overflow, 10);
    std::printf("%zu positions: %d rook endings, %d with a class, %d pawn endings, %d light, %d overflow\n",
                positions.size(), rookEndings, classTerms, pawnEndings, endings, overflow);

    int checked = 0;
    for (size_t i = 0; i < positions.size() && !HasFatalFailure(); i++) ExpectSymmetric(positions[i], &checked);
    std::mt19937 random(7);
    RandomTunedTables(random);
    for (size_t i = 0; i < positions.size() && !HasFatalFailure(); i++) ExpectSymmetric(positions[i], &checked);
    RestoreParameters();
    EXPECT_EQ(checked, int(2 * positions.size()));

    // The lazy exit sees the bounds from the engine's side: with the engine on either side, the
    // two positions agree.
    LazyLower = -60;
    LazyUpper = 40;
    for (const std::string& fen : positions) {
        const std::string mirror = Mirrored(fen);
        for (int side = WHITE; side <= BLACK; side++) {
            for (int engineIsMover = 0; engineIsMover < 2; engineIsMover++) {
                Load(fen);
                thread_board.SideToMove = side;
                EngineSide              = engineIsMover ? side : ChangeSide(side);
                const int score         = Evaluate();
                Load(mirror);
                thread_board.SideToMove = ChangeSide(side);
                EngineSide              = engineIsMover ? ChangeSide(side) : side;
                ASSERT_EQ(score, Evaluate()) << fen;
            }
        }
    }
}

// ---------------------------------------------------------------------------------------------
// The cache

// Evaluate through the cache, first for one side to move, then for the other (answered from the
// first entry when the evaluation did not depend on the mover), then again: every answer must be
// the fresh evaluation with the fifty-move fade.
TEST_F(EvaluateTest, CacheNeverChangesAScore) {
    std::vector<std::string> positions = SuitePositions();
    for (const std::string& fen : PlayedOutPositions(positions)) positions.push_back(fen);
    for (const std::string& fen : LightEndings) positions.push_back(fen);
    // A small table, cleared for every position; it is indexed by the remainder.
    FreeEvalCache();
    EvalCacheEntries = 4093;
    ASSERT_TRUE(AllocateEvalCache());
    std::mt19937 random(11);
    int servedFromMirror = 0, evaluatedAgain = 0;
    for (const std::string& fen : positions) {
        Load(fen);
        thread_board.FiftyCounter = int(random() % 40);
        const int first = int(random() % 2), second = ChangeSide(first);
        struct Reference {
            int value;
            int material;
            u64 attacks[2], weak[2];
        } ref[2];
        for (int side : {first, second}) {
            ref[side].value    = FiftyScaled(FullFor(side, first));
            ref[side].material = thread_eval_info.MaterialScore;
            for (int s = WHITE; s <= BLACK; s++) {
                ref[side].attacks[s] = thread_eval_info.AttackMaps[s];
                ref[side].weak[s]    = thread_eval_info.WeakMenMaps[s];
            }
        }
        auto expectSame = [&](int side) {
            const EvalInfo& e = thread_eval_info;
            ASSERT_EQ(e.MaterialScore, ref[side].material) << fen;
            for (int s = WHITE; s <= BLACK; s++) {
                ASSERT_EQ(e.AttackMaps[s], ref[side].attacks[s]) << fen;
                ASSERT_EQ(e.WeakMenMaps[s], ref[side].weak[s]) << fen;
            }
        };

        ClearEvalCache();
        thread_board.SideToMove = first;
        EngineSide              = first;
        ASSERT_EQ(Evaluate(), ref[first].value) << fen;
        expectSame(first);
        const bool independent = thread_eval_info.SideIndependent;

        thread_board.SideToMove   = second;
        thread_eval_info.RawScore = 0x5EED;
        ASSERT_EQ(Evaluate(), ref[second].value) << fen << " other side to move";
        expectSame(second);
        // Only a side-independent evaluation may answer for the other side without a new one.
        ASSERT_EQ(thread_eval_info.RawScore == 0x5EED, independent) << fen;
        servedFromMirror += independent;
        evaluatedAgain += !independent;

        for (int side : {first, second}) {
            thread_board.SideToMove   = side;
            thread_eval_info.RawScore = 0x5EED;
            ASSERT_EQ(Evaluate(), ref[side].value) << fen;
            ASSERT_EQ(thread_eval_info.RawScore, 0x5EED) << fen << " a stored score is read back";
            expectSame(side);
        }
    }
    EXPECT_GT(servedFromMirror, 2000);
    EXPECT_GT(evaluatedAgain, 20); // the bare pawn endings
    FreeEvalCache();
    EvalCacheEntries = EVAL_CACHE_DEFAULT;
    ASSERT_TRUE(AllocateEvalCache());
}

TEST_F(EvaluateTest, PawnEndingKeepsTheOtherSlotUnknown) {
    Load("8/p6p/3k4/8/8/2K5/5PPP/8 w - - 0 1");
    EngineSide = WHITE;
    Evaluate();
    EXPECT_EQ(thread_eval_info.SideIndependent, 0);
    const u64 key               = thread_board.HashKey ^ ZobristCastle[thread_board.CastleRights];
    const EvalCacheEntry& entry = EvalCache[uint32_t(key) & 0x7FFFF];
    ASSERT_EQ(entry.key, key);
    EXPECT_EQ(entry.score[BLACK], EVAL_UNKNOWN);
    EXPECT_NE(entry.score[WHITE], EVAL_UNKNOWN);
}

// `new` leaves the cache alone; `clean` empties it. A table of another size indexes by the
// remainder.
TEST_F(EvaluateTest, CacheSurvivesNewGameAndIsClearedByClean) {
    SetDefaultSettings();
    AllocateTables();
    ASSERT_NE(EvalCache, nullptr);
    EXPECT_EQ(EvalCacheEntries, EVAL_CACHE_DEFAULT);
    EXPECT_EQ(EvalCache[0].key, ~0ULL);
    EXPECT_EQ(EvalCache[EVAL_CACHE_DEFAULT + 1].key, 0u);

    const std::string fen = "r1bqkb1r/pppp1ppp/2n2n2/4p3/2B1P3/5N2/PPPP1PPP/RNBQK2R w KQkq - 0 1";
    auto cached           = [&]() {
        Load(fen);
        EngineSide                = WHITE;
        thread_eval_info.RawScore = 0x5EED;
        Evaluate();
        return thread_eval_info.RawScore == 0x5EED;
    };
    EXPECT_FALSE(cached());
    EXPECT_TRUE(cached());
    testing::internal::CaptureStdout();
    NewGame();
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(cached());
    ResetAll();
    EXPECT_FALSE(cached());

    FreeEvalCache();
    EvalCacheEntries = 1000;
    ASSERT_TRUE(AllocateEvalCache());
    ClearEvalCache();
    EXPECT_FALSE(cached());
    const u64 key = thread_board.HashKey ^ ZobristCastle[thread_board.CastleRights];
    EXPECT_EQ(EvalCache[uint32_t(key) % 1000].key, key);
    EXPECT_TRUE(cached());

    // With no cache at all every call evaluates.
    FreeEvalCache();
    EXPECT_FALSE(cached());
    EXPECT_FALSE(cached());
    EvalCacheEntries = EVAL_CACHE_DEFAULT;
    ASSERT_TRUE(AllocateEvalCache());
    ClearEvalCache();
}

// ---------------------------------------------------------------------------------------------
// Edge cases of the driver

TEST_F(EvaluateTest, KingsAloneAreADraw) {
    Load("4k3/8/8/8/8/8/8/4K3 w - - 0 1");
    for (int side = WHITE; side <= BLACK; side++) {
        EXPECT_EQ(Full(side), 0);
        EXPECT_EQ(thread_eval_info.Cacheable, 1);
        EXPECT_EQ(thread_eval_info.CannotWin[WHITE], 1);
        EXPECT_EQ(thread_eval_info.AttackMaps[WHITE] | thread_eval_info.AttackMaps[BLACK], 0u);
        EXPECT_EQ(Evaluate(), 0);
    }
}

TEST_F(EvaluateTest, FiftyMoveFadeStartsAtTheNinthReversibleMove) {
    // White a rook up: a positive score for White to move, a negative one for Black.
    Load("4k3/pppp4/8/8/8/8/PPPP4/R3K3 w - - 0 1");
    for (int side = WHITE; side <= BLACK; side++) {
        const int value = Full(side);
        ASSERT_GT(std::abs(value), 300);
        // Scaled by 254/256 the score must be rounded, so that the direction shows.
        ASSERT_NE(value * 254 % 256, 0);
        for (int counter : {0, 8}) {
            ClearEvalCache();
            thread_board.FiftyCounter = counter;
            EXPECT_EQ(Evaluate(), value);
        }
        // Towards zero on both sides of it.
        const int faded = value > 0 ? value * 254 / 256 : -(-value * 254 / 256);
        thread_board.FiftyCounter = 9;
        EXPECT_EQ(Evaluate(), faded);
        thread_board.FiftyCounter = 100;
        EXPECT_EQ(Evaluate(), value > 0 ? value * 72 / 256 : -(-value * 72 / 256));
        thread_board.FiftyCounter = 0;
    }
}

TEST_F(EvaluateTest, LazyExitAnswersWithMaterialAndLeavesNoAttackMaps) {
    // Black is a queen down against White's full force.
    Load("r1b1kbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 0 1");
    Full(WHITE); // a full evaluation leaves the king rings in the maps
    ASSERT_NE(thread_eval_info.AttackMaps[WHITE], 0u);

    // The engine is White with the window -50..50; for Black to move the window turns round.
    EngineSide                     = WHITE;
    LazyLower                      = -50;
    LazyUpper                      = 50;
    thread_board.SideToMove        = BLACK;
    thread_board.FiftyCounter      = 20;
    thread_eval_info.MaterialScore = 4321;
    const u64 key                  = thread_board.HashKey ^ ZobristCastle[thread_board.CastleRights];
    const u64 before               = EvalCache[uint32_t(key) & 0x7FFFF].key;
    EXPECT_EQ(Evaluate(), -900 * 232 / 256); // the fade applies to the lazy value too
    EXPECT_EQ(thread_eval_info.AttackMaps[WHITE], 0u);
    EXPECT_EQ(thread_eval_info.AttackMaps[BLACK], 0u);
    EXPECT_EQ(thread_eval_info.Cacheable, 0);
    EXPECT_EQ(thread_eval_info.MaterialScore, 4321);
    EXPECT_EQ(EvalCache[uint32_t(key) & 0x7FFFF].key, before);

    // The mover ahead, the engine on the other side: White's upper bound is -LazyLower, and
    // LazyUpper plays no part.
    thread_board.FiftyCounter = 0;
    thread_board.SideToMove   = WHITE;
    EngineSide                = BLACK;
    LazyLower                 = -1000;
    LazyUpper                 = 20;
    EXPECT_NE(Evaluate(), 900);
    EXPECT_NE(thread_eval_info.AttackMaps[WHITE], 0u);
    LazyLower = -850;
    LazyUpper = 2000;
    EXPECT_EQ(Evaluate(), 900);
    EXPECT_EQ(thread_eval_info.AttackMaps[WHITE], 0u);
}

TEST_F(EvaluateTest, LazyExitNeedsStrongForceAndNoFarPawn) {
    // A full evaluation always leaves the king rings in the maps; the lazy exit leaves none.
    auto lazy = [](const char* fen) {
        Load(fen);
        EngineSide                         = thread_board.SideToMove;
        thread_eval_info.AttackMaps[WHITE] = ~0ULL;
        ClearEvalCache();
        Evaluate();
        return thread_eval_info.AttackMaps[WHITE] == 0;
    };
    LazyLower = -50;
    LazyUpper = 50;
    // A rook with fewer than two pawns is too weak to trust the material: for the side behind
    // nor for the side ahead.
    EXPECT_FALSE(lazy("4k3/8/8/8/8/8/4P3/R3K3 b - - 0 1"));
    EXPECT_FALSE(lazy("4k3/8/8/8/8/8/4P3/R3K3 w - - 0 1"));
    // Two pawns and six points are enough.
    EXPECT_TRUE(lazy("4k3/8/8/8/8/8/3PP3/2B1KB2 b - - 0 1"));
    EXPECT_TRUE(lazy("4k3/8/8/8/8/8/3PP3/2B1KB2 w - - 0 1"));

    // 200 behind with the window -150..150: a pawn on the mover's sixth rank gives 50 back, one
    // on its seventh 100, one further back nothing.
    LazyLower = -150;
    LazyUpper = 150;
    EXPECT_FALSE(lazy("4k2r/8/8/8/8/p7/3PP3/2B1KB2 b - - 0 1"));
    EXPECT_FALSE(lazy("4k2r/8/8/8/8/8/p2PP3/2B1KB2 b - - 0 1"));
    EXPECT_TRUE(lazy("4k2r/8/8/8/p7/8/3PP3/2B1KB2 b - - 0 1"));
    // With the window -120..120 the pawn on the sixth is not enough, the one on the seventh is.
    LazyLower = -120;
    LazyUpper = 120;
    EXPECT_TRUE(lazy("4k2r/8/8/8/8/p7/3PP3/2B1KB2 b - - 0 1"));
    EXPECT_FALSE(lazy("4k2r/8/8/8/8/8/p2PP3/2B1KB2 b - - 0 1"));
    LazyLower = -150;
    LazyUpper = 150;
    // 200 ahead: the opponent's pawn on its seventh takes 100 off.
    EXPECT_FALSE(lazy("4k2r/8/8/8/8/8/p2PP3/2B1KB2 w - - 0 1"));
    EXPECT_TRUE(lazy("4k2r/8/8/8/p7/8/3PP3/2B1KB2 w - - 0 1"));
}

TEST_F(EvaluateTest, PawnDuelFormula) {
    EXPECT_EQ(PawnDuel(0), 0);
    // 128 / (1 + e^-1) - 64 = 29.58, rounded 30; 30 * 100 / 64 = 46.9, towards zero 46.
    EXPECT_EQ(PawnDuel(100), 46);
    EXPECT_EQ(PawnDuel(-100), -46);
    // 128 / (1 + e^-0.37) - 64 = 11.71, rounded 12: -444 / 64 towards zero.
    EXPECT_EQ(PawnDuel(-37), -6);
    // A clear position keeps its whole value.
    EXPECT_EQ(PawnDuel(1000), 1000);
    EXPECT_EQ(PawnDuel(-2500), -2500);

    // Kings and a pawn each, both passed: the duel decides, with no tempo for the mover.
    Load("4k3/p7/8/8/8/8/7P/4K3 w - - 0 1");
    EXPECT_EQ(Full(WHITE), 0);
    EXPECT_EQ(Full(BLACK), 0);
    Load("8/8/4k3/p7/8/8/6P1/4K3 w - - 0 1");
    const int white = Full(WHITE);
    const int e     = PairEndgame(thread_eval_info.PackedScore);
    EXPECT_NE(e, 0);
    EXPECT_EQ(white, -PawnDuel(e));
    EXPECT_EQ(Full(BLACK), -white);
    EXPECT_EQ(thread_eval_info.AttackMaps[WHITE] | thread_eval_info.AttackMaps[BLACK], 0u);
}

TEST_F(EvaluateTest, TempoFallsAsTheBoardEmpties) {
    // Symmetric positions: the score is the tempo of the mover.
    struct Case {
        const char* fen;
        int tempo;
    } cases[] = {
        {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 9}, // phase 0
        {"r1bqkb1r/pppppppp/8/8/8/8/PPPPPPPP/R1BQKB1R w - - 0 1", 8},    // phase 43
        {"r1b1k1nr/pppppppp/8/8/8/8/PPPPPPPP/R1B1K1NR w - - 0 1", 7},    // phase 128
        {"r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R w - - 0 1", 6},          // phase 171
        {"4k3/pppp4/8/8/8/8/PPPP4/4K3 w - - 0 1", 5},                    // phase 256
    };
    for (const Case& c : cases) {
        Load(c.fen);
        EXPECT_EQ(Full(WHITE), c.tempo) << c.fen;
        EXPECT_EQ(Full(BLACK), c.tempo) << c.fen;
        EXPECT_EQ(thread_eval_info.MirrorSum, 2 * c.tempo) << c.fen;
    }
}

// ---------------------------------------------------------------------------------------------
// Material

TEST_F(EvaluateTest, OverflowMaterialFollowsTheReducedRule) {
    // Three knights against a bare king: the chain gives 120 for the extra minors, no scaling
    // since the points differ by 9. The same as a table row of two knights and a bishop (no
    // bishop pair there).
    Load("4k3/8/8/8/8/8/8/NNN1K3 w - - 0 1");
    ASSERT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW);
    EXPECT_EQ(EvaluateMaterial(), -1020);
    Full(WHITE);
    EXPECT_EQ(thread_eval_info.MaterialScore, -1020);
    const int phases[3] = {thread_board.current_phase, thread_board.white_phase, thread_board.black_phase};
    const int16_t defence = thread_eval_info.DefenceForce[WHITE], attack = thread_eval_info.AttackForce[WHITE];
    EXPECT_EQ(thread_eval_info.Ending[WHITE], 1);
    EXPECT_EQ(thread_eval_info.Ending[BLACK], 1);
    Load("4k3/8/8/8/8/8/8/NNB1K3 w - - 0 1");
    ASSERT_NE(thread_board.MaterialIndex, MATERIAL_OVERFLOW);
    Full(WHITE);
    EXPECT_EQ(thread_eval_info.MaterialScore, -1020);
    EXPECT_EQ(phases[0], thread_board.current_phase);
    EXPECT_EQ(phases[1], thread_board.white_phase);
    EXPECT_EQ(phases[2], thread_board.black_phase);
    EXPECT_EQ(phases[1], 192);
    EXPECT_EQ(defence, thread_eval_info.DefenceForce[WHITE]);
    EXPECT_EQ(attack, thread_eval_info.AttackForce[WHITE]);

    // Three rooks and three pawns against two rooks: the rook bonus RookPawnBonus[3] = 11 counts
    // twice for White, twice for Black, and heavy units 3 against 2 give 120 to White.
    Load("4k3/rr6/8/8/8/8/PPP5/RRR1K3 b - - 0 1");
    EXPECT_EQ(EvaluateMaterial(), -(120 + 1800 - 1000));
    // Against one rook and two knights: 3 heavy units against 1 with fewer minors: nothing from
    // the chain; the bonus counts twice for White, once for Black.
    Load("1n2k3/1r6/1n6/8/8/8/PPP5/RRR1K3 b - - 0 1");
    EXPECT_EQ(EvaluateMaterial(), -(11 + 1800 - 1100));

    // Three knights and a pawn against rook and bishop: the extra minors (120), Black's rook with
    // bishop (15) and rook bonus (RookPawnBonus[1] = 15) leave 90 for White, halved since White
    // has one pawn and the points are close.
    Load("4k3/8/8/8/8/8/P5rb/NNN1K3 w - - 0 1");
    EXPECT_EQ(EvaluateMaterial(), -(45 + 1000 - 800));
    // With two pawns (RookPawnBonus[2] = 13) four fifths; with three (11) no scaling.
    Load("4k3/8/8/8/8/8/PP4rb/NNN1K3 w - - 0 1");
    EXPECT_EQ(EvaluateMaterial(), -(92 * 4 / 5 + 1100 - 800));
    Load("4k3/8/8/8/8/8/PPP3rb/NNN1K3 w - - 0 1");
    EXPECT_EQ(EvaluateMaterial(), -(94 + 1200 - 800));
    // And the mirror image for Black.
    Load("nnn1k3/p5RB/8/8/8/8/8/4K3 b - - 0 1");
    EXPECT_EQ(EvaluateMaterial(), 45 + 1000 - 800);
}

TEST_F(EvaluateTest, PieceSquareScaleByPawnsOfTheSideBehindAndAhead) {
    // Black a knight up, White with one pawn, Black with two: index 1 + 4 * 2 = 9.
    Load("4k3/pp6/2n5/8/8/8/P7/4K3 w - - 0 1");
    auto scored = [](int index, int value) {
        const int saved  = PstScale[index];
        PstScale[index]  = value;
        const int result = Full(WHITE);
        PstScale[index]  = saved;
        return result;
    };
    const int normal = Full(WHITE), none = scored(9, 0), twice = scored(9, 512);
    EXPECT_NE(normal, none);
    EXPECT_NEAR(twice - normal, normal - none, 1);
    for (int other = 0; other < 16; other++)
        if (other != 9) {
            EXPECT_EQ(scored(other, 0), normal) << other;
        }
}

class MaterialTermTest : public EvaluateTest {
  protected:
    void TearDown() override {
        RestoreParameters();
        EvaluateTest::TearDown();
    }
};

// The light-ending terms are read off the packed sum, where they enter whole; the blend would
// round them.
int PackedFor(int side) {
    FullFor(side, side);
    return thread_eval_info.PackedScore;
}

TEST_F(MaterialTermTest, RookEndingTableHalvesByArithmeticShift) {
    // White pawn on a2, Black pawn on b7: sets {a} and {b}; turned over, {h} and {g}.
    Load("r7/1p3k2/8/8/8/8/P5K1/7R w - - 0 1");
    const int base = PackedFor(BLACK);
    const int a = FileSetIndex[1], b = FileSetIndex[2], h = FileSetIndex[128], g = FileSetIndex[64];
    RookEndingTable[b][a] = 41;
    EXPECT_EQ(PackedFor(BLACK) - base, PackEqualPair(20));
    RookEndingTable[b][a] = -41;
    EXPECT_EQ(PackedFor(BLACK) - base, PackEqualPair(-21));
    RookEndingTable[a][b] = -41;
    EXPECT_EQ(PackedFor(BLACK) - base, PackEqualPair(0));
    RookEndingTable[a][b] = RookEndingTable[b][a] = 0;
    RookEndingTable[g][h] = 30;
    RookEndingTable[h][g] = -10;
    EXPECT_EQ(PackedFor(BLACK) - base, PackEqualPair(20));
    EXPECT_EQ(PackedFor(WHITE) - base, PackEqualPair(20));
    // The class table plays no part in a rook ending.
    for (auto& cls : ClassPawns)
        for (auto& files : cls)
            for (int32_t& v : files) v = 100;
    EXPECT_EQ(PackedFor(BLACK) - base, PackEqualPair(20));
}

TEST_F(MaterialTermTest, ClassTermsByPawnFilesAndKings) {
    // Bishop against knight, White pawns on a and e, Black none: class of (B, N) and (N, B).
    Load("8/5k2/3n4/8/8/3B4/P3PK2/8 w - - 0 1");
    const MaterialRecord& row = MaterialRecords[thread_board.MaterialIndex];
    ASSERT_NE(row.EndingClass[0], -1);
    ASSERT_NE(row.EndingClass[1], -1);
    const int c0 = int(PawnFileClass[0x11]), c1 = int(PawnFileClass[0]);
    EXPECT_EQ(c0, 5);
    EXPECT_EQ(c1, 0);
    const int base = PackedFor(BLACK);
    // By the class of (White's, Black's) pieces: Black's file class, and whether White has pawns.
    ClassPawns[row.EndingClass[0]][c1][1] = 30;
    EXPECT_EQ(PackedFor(BLACK) - base, PackEqualPair(15));
    ClassPawns[row.EndingClass[1]][c0][0] = 31;
    EXPECT_EQ(PackedFor(BLACK) - base, PackEqualPair(-1));
    ClassPawns[row.EndingClass[0]][c1][1] = 0;
    ClassPawns[row.EndingClass[1]][c0][0] = 0;

    // Kings count when the points differ: rook against knight, White ahead by 2 (band 0), the
    // kings five apart, White's on the edge (h2, ring 0), Black's on c7 (ring 1). The table is
    // read by the ring of the stronger side's king first.
    Load("8/2k5/3n4/8/8/8/P3P2K/7R w - - 0 1");
    ASSERT_NE(MaterialRecords[thread_board.MaterialIndex].EndingClass[0], -1);
    const int before = PackedFor(BLACK);
    ClassKings[0][3][1][0] = 40;
    ClassKings[0][2][0][1] = 40;
    ClassKings[1][3][0][1] = 40;
    EXPECT_EQ(PackedFor(BLACK), before);
    ClassKings[0][3][0][1] = 25;
    EXPECT_EQ(PackedFor(BLACK) - before, PackEqualPair(-25));
    // The mirror image: Black stronger, the same entry with the other sign.
    Load("7r/p3p2k/8/8/8/3N4/2K5/8 b - - 0 1");
    const int mirrored     = PackedFor(BLACK);
    ClassKings[0][3][0][1] = 0;
    EXPECT_EQ(mirrored - PackedFor(BLACK), PackEqualPair(25));
}

TEST_F(MaterialTermTest, RookAgainstTwoMinorsAndOutsideKing) {
    // White bishop and knight against a rook; White's a pawn is passed.
    Load("8/5k2/8/2r5/8/3BN3/P4K2/8 w - - 0 1");
    RookVsMinors[1] = 0;
    const int base  = PackedFor(BLACK);
    ASSERT_EQ(thread_eval_info.PawnMemo.PassedVector[WHITE], 1);
    RookVsMinors[1] = PackEqualPair(37);
    EXPECT_EQ(PackedFor(BLACK) - base, PackEqualPair(37));
    RookVsMinors[0] = PackEqualPair(50);
    EXPECT_EQ(PackedFor(WHITE) - base, PackEqualPair(37));
    // The mirror image is paid by Black's passers, with the sign turned.
    Load("8/p4k2/3bn3/8/2R5/8/5K2/8 b - - 0 1");
    const int mirrored = PackedFor(BLACK);
    RookVsMinors[1]    = 0;
    EXPECT_EQ(PackedFor(BLACK) - mirrored, PackEqualPair(37));

    // Black's king on d6 stands between White's king (c3) and White's pawns on f, g, h. With
    // Black to move it wins the race to them; with White to move it does not.
    Load("8/p6p/3k4/8/8/2K5/5PPP/8 b - - 0 1");
    const int black = PackedFor(BLACK), white = PackedFor(WHITE);
    EXPECT_EQ(thread_eval_info.SideIndependent, 0);
    OutsideKing = PackEqualPair(0);
    EXPECT_EQ(black - PackedFor(BLACK), PackEqualPair(150));
    EXPECT_EQ(white, PackedFor(WHITE));
    // Kings on one file: neither stands outside.
    OutsideKing = PackEqualPair(150);
    Load("8/p6p/3k4/8/8/3K4/5PPP/8 w - - 0 1");
    const int near = PackedFor(WHITE);
    OutsideKing    = PackEqualPair(0);
    EXPECT_EQ(near - PackedFor(WHITE), 0);
}

TEST_F(MaterialTermTest, PieceSquareScaleWithEvenMaterial) {
    // A knight against three pawns with the minor's bonus removed: material even, so the index
    // takes the larger pawn count first: 3 + 4 * 0.
    PieceVsPawnsSource[0] = 0;
    testing::internal::CaptureStdout();
    LoadEvaluationValues();
    testing::internal::GetCapturedStdout();
    Load("4k3/ppp5/8/8/8/8/8/1N2K3 w - - 0 1");
    Full(WHITE);
    ASSERT_EQ(thread_eval_info.MaterialScore, 0);
    const int normal = Full(WHITE);
    for (int index = 0; index < 16; index++) {
        PstScale[index] = 0;
        if (index == 3)
            EXPECT_NE(Full(WHITE), normal);
        else
            EXPECT_EQ(Full(WHITE), normal) << index;
        PstScale[index] = 256;
    }
}

// ---------------------------------------------------------------------------------------------
// Speed, run by hand:
//   build/tests/unit_tests --gtest_also_run_disabled_tests --gtest_filter='*EvaluationSpeed*'
// Every suite position for both sides to move, with the full window (no lazy exit); first with
// the cache off, then with it on (after the first round every call is a hit).

double EvaluationsPerSecond(const std::vector<Position>& boards, int rounds, int64_t* checksum) {
    int64_t count    = 0;
    const auto start = std::chrono::steady_clock::now();
    for (int round = 0; round < rounds; round++)
        for (const Position& board : boards) {
            thread_board = board;
            for (int side = WHITE; side <= BLACK; side++) {
                thread_board.SideToMove = side;
                *checksum += Evaluate();
                count++;
            }
        }
    return double(count) / std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST_F(EvaluateTest, DISABLED_EvaluationSpeed) {
    std::vector<Position> boards;
    for (const std::string& fen : SuitePositions()) {
        Load(fen);
        boards.push_back(thread_board);
    }
    EngineSide       = WHITE;
    int64_t checksum = 0;
    FreeEvalCache();
    const double off = EvaluationsPerSecond(boards, 1000, &checksum);
    EvalCacheEntries = EVAL_CACHE_DEFAULT;
    ASSERT_TRUE(AllocateEvalCache());
    ClearEvalCache();
    const double on = EvaluationsPerSecond(boards, 1000, &checksum);
    std::printf("%zu positions, both sides to move: %.0f evaluations per second without the cache, %.0f with "
                "it (checksum %lld)\n",
                boards.size(), off, on, (long long)checksum);
}

} // namespace
