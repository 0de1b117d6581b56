// FEN reading, keys and the redundant views of the position.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "board/position.h"
#include "tests/unit/test_main_setup.h"

namespace {

class PositionTest : public ::testing::Test {
  protected:
    void SetUp() override { InitTablesForTests(); }
};

bool LoadQuietly(const std::string& fen) {
    testing::internal::CaptureStdout();
    bool ok = SetFen(fen.c_str());
    testing::internal::GetCapturedStdout();
    return ok;
}

void ExpectConsistent() {
    Position fresh;
    RecomputePosition(fresh);
    const Position& b = thread_board;
    EXPECT_EQ(b.HashKey, fresh.HashKey);
    EXPECT_EQ(b.PawnHashKey, fresh.PawnHashKey);
    EXPECT_EQ(b.PstScore, fresh.PstScore);
    EXPECT_EQ(b.MaterialIndex, fresh.MaterialIndex);
    EXPECT_EQ(b.MenCount, fresh.MenCount);
    EXPECT_EQ(b.AllPieces, b.Pieces[0][WHITE] | b.Pieces[0][BLACK]);
    EXPECT_EQ(b.Pieces[0][WHITE] & b.Pieces[0][BLACK], 0u);
    EXPECT_EQ(b.Pieces[KING][WHITE], Bit(b.KingSquare[WHITE]));
    EXPECT_EQ(b.Pieces[KING][BLACK], Bit(b.KingSquare[BLACK]));
    EXPECT_EQ(std::memcmp(b.FileOcc, fresh.FileOcc, sizeof b.FileOcc), 0);
    EXPECT_EQ(std::memcmp(b.DiagSumOcc, fresh.DiagSumOcc, sizeof b.DiagSumOcc), 0);
    EXPECT_EQ(std::memcmp(b.DiagDiffOcc, fresh.DiagDiffOcc, sizeof b.DiagDiffOcc), 0);
}

TEST_F(PositionTest, ZobristKeysComeFromTheReferenceGenerator) {
    // First output of MT19937-64 seeded with {0x12345, 0x23456, 0x34567, 0x45678}: the white pawn on a1.
    EXPECT_EQ(ZobristPiece[WHITE][PAWN][0], 7266447313870364031ULL);
    EXPECT_EQ(ZobristPiece[WHITE][EMPTY][10], 0u);
    EXPECT_EQ(ZobristPiece[BLACK][4][10], 0u);
}

TEST_F(PositionTest, StartPositionCounters) {
    SetStartPosition();
    const Position& b = thread_board;
    EXPECT_EQ(b.MenCount, 32);
    EXPECT_EQ(b.Material[WHITE], 8 * 100 + 2 * 300 + 2 * 300 + 2 * 500 + 900);
    EXPECT_EQ(b.PiecePoints[BLACK], 31);
    EXPECT_EQ(b.HeavyCount[WHITE], 4);
    EXPECT_EQ(b.MinorCount[BLACK], 4);
    EXPECT_EQ(b.MaterialIndex, 2 * (1 + 3) * 0 + 1 + 3 + 2 * (9 + 27 + 81 + 243 + 729 + 2187) + 8 * (6561 + 59049));
    EXPECT_EQ(b.CastleRights, 15);
    EXPECT_STREQ(PositionText(0), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ");
    ExpectConsistent();
}

TEST_F(PositionTest, CastlingRightsAreReducedToWhatTheMenAllow) {
    ASSERT_TRUE(LoadQuietly("r3k2r/8/8/8/8/8/8/R2K3R w KQkq - 0 1"));
    EXPECT_EQ(thread_board.CastleRights, 12);
    ASSERT_TRUE(LoadQuietly("r3k3/8/8/8/8/8/8/R2K3R w KQkq - 0 1"));
    EXPECT_EQ(thread_board.CastleRights, 8);
    ASSERT_TRUE(LoadQuietly("r3k2r/8/8/8/8/8/8/R3K2R b Kq - 0 1"));
    EXPECT_EQ(thread_board.CastleRights, 9);
}

TEST_F(PositionTest, EnPassantTargetPushesARecordOnlyWithAPawnThere) {
    const char* fen = "4k3/8/8/8/4Pp2/8/8/4K3 b - e3 0 1";
    ASSERT_TRUE(LoadQuietly(fen));
    ASSERT_EQ(HistoryCount, 1);
    EXPECT_EQ(HistoryBase, 1);
    EXPECT_EQ(History[0].Move, MakeMoveWord(12, 28, PAWN));
    u64 keyAfter = PositionKey();
    u64 recorded = History[0].HashKey;
    int pst      = History[0].PstScore;
    // The record holds the position before the double step.
    ASSERT_TRUE(LoadQuietly("4k3/8/8/8/5p2/8/4P3/4K3 w - - 0 1"));
    EXPECT_EQ(recorded, thread_board.HashKey);
    EXPECT_EQ(pst, thread_board.PstScore);

    ASSERT_TRUE(LoadQuietly("4k3/8/8/8/4Pp2/8/8/4K3 b - - 0 1"));
    EXPECT_EQ(HistoryCount, 0);
    EXPECT_NE(PositionKey(), keyAfter); // a real en-passant chance is part of the key

    // A target without a pawn in front of it is accepted and ignored.
    ASSERT_TRUE(LoadQuietly("4k3/8/8/8/5p2/8/8/4K3 b - e3 0 1"));
    EXPECT_EQ(HistoryCount, 0);
    // A double step with no enemy pawn beside it does not change the key.
    ASSERT_TRUE(LoadQuietly("4k3/8/8/8/4P3/8/8/4K3 b - e3 0 1"));
    EXPECT_EQ(HistoryCount, 1);
    u64 withRecord = PositionKey();
    EXPECT_STREQ(PositionText(0), "4k3/8/8/8/4P3/8/8/4K3 b - ");
    ASSERT_TRUE(LoadQuietly("4k3/8/8/8/4P3/8/8/4K3 b - - 0 1"));
    EXPECT_EQ(PositionKey(), withRecord);
}

TEST_F(PositionTest, KeysIgnoreSpacingAndCountersButNotRights) {
    ASSERT_TRUE(LoadQuietly("r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R w KQkq - 0 1"));
    u64 hash = thread_board.HashKey, key = PositionKey();
    ASSERT_TRUE(LoadQuietly("  r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R    w   KQkq   -   17   40"));
    EXPECT_EQ(thread_board.HashKey, hash);
    EXPECT_EQ(PositionKey(), key);
    ASSERT_TRUE(LoadQuietly("r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R w KQk - 0 1"));
    EXPECT_EQ(thread_board.HashKey, hash);
    EXPECT_NE(PositionKey(), key);
    // The side to move is in neither key.
    ASSERT_TRUE(LoadQuietly("r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R b KQkq - 0 1"));
    EXPECT_EQ(PositionKey(), key);
}

TEST_F(PositionTest, ThirdPieceOfATypeOverflowsMaterialIndex) {
    ASSERT_TRUE(LoadQuietly("4k3/8/8/8/8/8/8/NNN1K3 w - - 0 1"));
    EXPECT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW);
    ASSERT_TRUE(LoadQuietly("4k3/8/8/8/8/8/8/NN2K3 w - - 0 1"));
    EXPECT_EQ(thread_board.MaterialIndex, 2 * 729);
}

TEST_F(PositionTest, PositionTextShowsTheEnPassantPawn) {
    ASSERT_TRUE(LoadQuietly("rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3"));
    EXPECT_STREQ(PositionText(MakeMoveWord(36, 45, PAWN)),
                 "rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f5 e5f6");
}

TEST_F(PositionTest, IllegalFensLeaveThePositionAsItWas) {
    const char* base = "r3k2r/pp1n1ppp/2p5/4P3/3p4/8/PPP2PPP/R3K2R b KQkq - 0 1";
    const std::vector<std::string> bad = {
        "",
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR",
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR x KQkq - 0 1",
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP w KQkq - 0 1",
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR/8 w KQkq - 0 1",
        "rnbqkbnrr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "rnbqkbn/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "KKKKKKKK/KKKKKKKK/8/8/8/8/8/k7 w - - 0 1",
        "P3k3/8/8/8/8/8/8/4K3 w - - 0 1",
        "4k3/8/8/8/8/8/8/p3K3 b - - 0 1",
        "4k3/8/8/8/8/8/8/8 w - - 0 1",
        "4k2R/8/8/8/8/8/8/4K3 w - - 0 1", // white to move would capture the king
        "4k3/8/8/8/8/8/8/4K3 ww - - 0 1",
        "9/8/8/8/8/8/8/4K3 w - - 0 1",
    };
    for (const std::string& fen : bad) {
        ASSERT_TRUE(LoadQuietly(base));
        Position before = thread_board;
        int count       = HistoryCount;
        testing::internal::CaptureStdout();
        EXPECT_FALSE(SetFen(fen.c_str())) << fen;
        std::string out = testing::internal::GetCapturedStdout();
        EXPECT_EQ(out, "Illegal FEN: " + fen + "\n");
        EXPECT_EQ(std::memcmp(&before, &thread_board, sizeof before), 0) << fen;
        EXPECT_EQ(HistoryCount, count);
    }
}

// Mutated and random FEN texts: each is either refused with the position untouched, or accepted
// as a position whose views agree with each other.
TEST_F(PositionTest, GeneratedMalformedFens) {
    const std::vector<std::string> seeds = {
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
        "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
        "4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1",
    };
    const std::string alphabet = "KQRBNPkqrbnp12345678/ -wbKQkqabcdefgh0123456789x\t\x80\xff";
    std::mt19937 rng(2024);
    for (int i = 0; i < 600; i++) {
        std::string fen = seeds[rng() % seeds.size()];
        int edits       = 1 + int(rng() % 4);
        for (int e = 0; e < edits; e++) {
            size_t at = rng() % (fen.size() + 1);
            switch (rng() % 4) {
            case 0: fen.insert(fen.begin() + (long)at, alphabet[rng() % alphabet.size()]); break;
            case 1:
                if (at < fen.size()) fen.erase(at, 1);
                break;
            case 2:
                if (at < fen.size()) fen[at] = alphabet[rng() % alphabet.size()];
                break;
            default: fen.resize(at); break;
            }
        }
        if (i % 10 == 0) {
            fen.clear();
            for (int k = int(rng() % 120); k > 0; k--) fen += char(rng() % 255 + 1);
        }
        ASSERT_TRUE(LoadQuietly(seeds[0]));
        Position before = thread_board;
        if (LoadQuietly(fen)) {
            EXPECT_EQ(__builtin_popcountll(thread_board.Pieces[KING][WHITE]), 1) << fen;
            EXPECT_EQ(__builtin_popcountll(thread_board.Pieces[KING][BLACK]), 1) << fen;
            EXPECT_EQ((thread_board.Pieces[PAWN][WHITE] | thread_board.Pieces[PAWN][BLACK]) &
                          0xFF000000000000FFULL,
                      0u)
                << fen;
            ExpectConsistent();
        } else {
            EXPECT_EQ(std::memcmp(&before, &thread_board, sizeof before), 0) << fen;
        }
    }
}

} // namespace
