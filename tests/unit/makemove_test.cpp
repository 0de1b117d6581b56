// Make and unmake: every view of the position kept exact, and the game-record repetition tests.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <type_traits>

#include "board/geometry.h"
#include "board/makemove.h"
#include "tests/unit/slow_movegen.h"
#include "tests/unit/test_main_setup.h"

static_assert(std::has_unique_object_representations_v<Position>, "Position compares bit for bit");

namespace {

class MakeMoveTest : public ::testing::Test {
  protected:
    void SetUp() override { InitTablesForTests(); }
};

void Load(const std::string& fen) {
    testing::internal::CaptureStdout();
    bool ok = SetFen(fen.c_str());
    std::string out = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ok) << fen << out;
}

Move Find(const char* text) {
    for (Move m : SlowPseudoMoves())
        if (std::string(MoveText(m)) == text) return m;
    ADD_FAILURE() << "no move " << text;
    return 0;
}

void Play(const char* text) { MakeMove(Find(text), 1); }

// The incremental fields agree with a fresh build from the men.
void ExpectMatchesRecount(const char* where) {
    Position fresh;
    RecomputePosition(fresh);
    const Position& b = thread_board;
    EXPECT_EQ(b.HashKey, fresh.HashKey) << where;
    EXPECT_EQ(b.PawnHashKey, fresh.PawnHashKey) << where;
    EXPECT_EQ(b.PstScore, fresh.PstScore) << where;
    EXPECT_EQ(b.MaterialIndex, fresh.MaterialIndex) << where;
    EXPECT_EQ(std::memcmp(b.Material, fresh.Material, sizeof b.Material), 0) << where;
    EXPECT_EQ(std::memcmp(b.PiecePoints, fresh.PiecePoints, sizeof b.PiecePoints), 0) << where;
    EXPECT_EQ(std::memcmp(b.HeavyCount, fresh.HeavyCount, sizeof b.HeavyCount), 0) << where;
    EXPECT_EQ(std::memcmp(b.MinorCount, fresh.MinorCount, sizeof b.MinorCount), 0) << where;
    EXPECT_EQ(b.MenCount, fresh.MenCount) << where;
    EXPECT_EQ(std::memcmp(b.Pieces, fresh.Pieces, sizeof b.Pieces), 0) << where;
    EXPECT_EQ(b.AllPieces, fresh.AllPieces) << where;
    EXPECT_EQ(b.StraightSliders, fresh.StraightSliders) << where;
    EXPECT_EQ(b.DiagonalSliders, fresh.DiagonalSliders) << where;
    EXPECT_EQ(std::memcmp(b.FileOcc, fresh.FileOcc, sizeof b.FileOcc), 0) << where;
    EXPECT_EQ(std::memcmp(b.DiagSumOcc, fresh.DiagSumOcc, sizeof b.DiagSumOcc), 0) << where;
    EXPECT_EQ(std::memcmp(b.DiagDiffOcc, fresh.DiagDiffOcc, sizeof b.DiagDiffOcc), 0) << where;
    for (int p : {KNIGHT, PAWN, ROOK, BISHOP, QUEEN})
        for (int s : {WHITE, BLACK}) EXPECT_EQ(b.PieceCount[p][s], fresh.PieceCount[p][s]) << where;
    EXPECT_EQ(b.KingSquare[WHITE], __builtin_ctzll(b.Pieces[KING][WHITE])) << where;
    EXPECT_EQ(b.KingSquare[BLACK], __builtin_ctzll(b.Pieces[KING][BLACK])) << where;
}

std::vector<std::string> PerftSuiteFens(size_t count) {
    std::ifstream in(std::string(TESTDATA_DIR) + "/perft/perftsuite.epd");
    std::vector<std::string> fens;
    std::string line;
    while (fens.size() < count && std::getline(in, line)) fens.push_back(line.substr(0, line.find(';')));
    return fens;
}

// Long random games from the perft suite's positions: after every pseudo-legal move the views
// agree with a recount, and after its unmake the whole position is back bit for bit.
TEST_F(MakeMoveTest, RandomGamesKeepEveryViewExact) {
    std::mt19937 rng(77);
    std::vector<std::string> fens = PerftSuiteFens(200);
    ASSERT_GT(fens.size(), 100u);
    int checked = 0;
    for (size_t g = 0; g < fens.size(); g++) {
        Load(fens[g]);
        for (int ply = 0; ply < 150; ply++) {
            Position before = thread_board;
            int count       = HistoryCount;
            std::vector<Move> moves = SlowPseudoMoves();
            for (Move m : moves) {
                MakeMove(m, 1);
                ExpectMatchesRecount(MoveText(m));
                UnmakeMove();
                ASSERT_EQ(std::memcmp(&before, &thread_board, sizeof before), 0) << fens[g] << " " << MoveText(m);
                ASSERT_EQ(HistoryCount, count);
                checked++;
            }
            // save = 0 after an unmake from the same position gives the same result as save = 1.
            if (moves.size() >= 2) {
                MakeMove(moves[0], 1);
                UnmakeMove();
                MakeMove(moves[1], 0);
                ExpectMatchesRecount("save 0");
                UnmakeMove();
                ASSERT_EQ(std::memcmp(&before, &thread_board, sizeof before), 0);
            }
            std::vector<Move> legal = SlowLegalMoves();
            if (legal.empty()) break;
            MakeMove(legal[rng() % legal.size()], 1);
        }
        if (HasFailure()) return;
    }
    EXPECT_GT(checked, 200000);
}

TEST_F(MakeMoveTest, EnPassantRemovesTheVictim) {
    Load("4k3/3p4/8/4P3/8/8/8/4K3 b - - 0 1");
    Play("d7d5");
    Position before = thread_board;
    Move ep         = Find("e5d6");
    EXPECT_EQ(CapturedPiece(ep), 0);
    MakeMove(ep, 1);
    EXPECT_EQ(thread_board.Board[35], EMPTY);
    EXPECT_EQ(thread_board.MenCount, before.MenCount - 1);
    EXPECT_EQ(thread_board.Material[BLACK], before.Material[BLACK] - 100);
    ExpectMatchesRecount("ep");
    UnmakeMove();
    EXPECT_EQ(std::memcmp(&before, &thread_board, sizeof before), 0);
}

TEST_F(MakeMoveTest, PromotionsAndTheThirdQueen) {
    Load("1r2k3/P7/8/8/8/8/8/Q3K2Q w - - 5 1");
    Move capturePromote = Find("a7b8q");
    EXPECT_EQ(CapturedPiece(capturePromote), ROOK);
    MakeMove(capturePromote, 1);
    EXPECT_EQ(thread_board.FiftyCounter, 0);
    EXPECT_EQ(thread_board.PieceCount[PAWN][WHITE], 0);
    EXPECT_EQ(thread_board.PieceCount[ROOK][BLACK], 0);
    EXPECT_EQ(thread_board.PieceCount[QUEEN][WHITE], 3);
    EXPECT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW);
    ExpectMatchesRecount("third queen");
    UnmakeMove();
    ExpectMatchesRecount("back");

    // A pawn capture keeps the overflow; capturing a third queen gives the exact index again.
    Load("4k3/8/8/8/8/8/p7/Qr1QK2Q w - - 0 1");
    EXPECT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW);
    Play("a1a2");
    EXPECT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW);
    Play("b1d1");
    EXPECT_EQ(thread_board.MaterialIndex, 2 * 1 + 1 * 27);
    ExpectMatchesRecount("back to two queens");
}

TEST_F(MakeMoveTest, CastlingRightsAndTheFiftyCounter) {
    Load("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    Play("a1a8"); // captures the rook on its corner: both a-file rights are gone
    EXPECT_EQ(thread_board.CastleRights, CASTLE_WHITE_KING | CASTLE_BLACK_KING);
    Play("e8f8");
    Play("a8a1"); // returning to a1 does not bring the right back
    EXPECT_EQ(thread_board.CastleRights, CASTLE_WHITE_KING);

    Load("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    thread_board.FiftyCounter = 7;
    Position before           = thread_board;
    Play("e1g1");
    EXPECT_EQ(thread_board.FiftyCounter, 8);
    EXPECT_EQ(thread_board.Board[5], ROOK);
    EXPECT_EQ(thread_board.Board[7], EMPTY);
    EXPECT_EQ(thread_board.CastleRights, CASTLE_BLACK_KING | CASTLE_BLACK_QUEEN);
    ExpectMatchesRecount("castled");
    Play("e8c8");
    EXPECT_EQ(thread_board.Board[59], ROOK);
    ExpectMatchesRecount("castled long");
    UnmakeMove();
    UnmakeMove();
    EXPECT_EQ(std::memcmp(&before, &thread_board, sizeof before), 0);
}

TEST_F(MakeMoveTest, ThreefoldOnlyAcrossReversibleMoves) {
    SetStartPosition();
    const char* shuffle[] = {"g1f3", "g8f6", "f3g1", "f6g8"};
    for (const char* m : shuffle) Play(m);
    EXPECT_EQ(IsThreefold(), 0); // second occurrence
    for (const char* m : shuffle) Play(m);
    EXPECT_EQ(IsThreefold(), 1); // third occurrence

    // A pawn move inside the stretch breaks it, whatever the keys say.
    SetStartPosition();
    Play("e2e4");
    Play("e7e5");
    for (int i = 0; i < 2; i++)
        for (const char* m : shuffle) Play(m);
    EXPECT_EQ(IsThreefold(), 1);
    SetStartPosition();
    for (const char* m : shuffle) Play(m);
    Play("e2e4");
    Play("e7e5");
    for (const char* m : shuffle) Play(m);
    EXPECT_EQ(IsThreefold(), 0);

    // A null move inside the stretch breaks it too.
    SetStartPosition();
    for (const char* m : shuffle) Play(m);
    History[HistoryCount] = History[HistoryCount - 1];
    History[HistoryCount].Move = 0;
    HistoryCount++;
    thread_board.SideToMove = BLACK;
    History[HistoryCount] = History[HistoryCount - 1];
    HistoryCount++;
    thread_board.SideToMove = WHITE;
    for (const char* m : shuffle) Play(m);
    EXPECT_EQ(IsThreefold(), 0);
}

TEST_F(MakeMoveTest, ReversibleMoveTableHoldsEveryPieceStep) {
    if (KingAttacks[0] == 0) GTEST_SKIP() << "geometry tables not built yet";
    testing::internal::CaptureStdout();
    BuildReversibleMoveTable();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), ""); // no bucket overflows
    int keys = 0;
    for (int i = 0; i < REVERSIBLE_BUCKETS; i++)
        for (int s = 0; s < 4; s++)
            if (ReversibleMoveTable[i].Moves[s]) {
                keys++;
                Move m = ReversibleMoveTable[i].Moves[s];
                const u64 key = ReversibleMoveTable[i].Keys[s];
                EXPECT_EQ(key & (REVERSIBLE_BUCKETS - 1), u64(i));
                bool white = key == (ZobristPiece[WHITE][MovedPiece(m)][MoveFrom(m)] ^
                                     ZobristPiece[WHITE][MovedPiece(m)][MoveTo(m)]);
                bool black = key == (ZobristPiece[BLACK][MovedPiece(m)][MoveFrom(m)] ^
                                     ZobristPiece[BLACK][MovedPiece(m)][MoveTo(m)]);
                EXPECT_TRUE(white || black);
            }
    EXPECT_EQ(keys, 3668);
}

} // namespace
