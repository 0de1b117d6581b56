// Move generation against oracles: the published perft counts, a plain square-walking generator,
// and the hand-checked cases where generators usually go wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "board/attacks.h"
#include "board/geometry.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/ply.h"
#include "tests/unit/slow_movegen.h"
#include "tests/unit/test_main_setup.h"
#include "tools/perft.h"

namespace {

class MoveGenTest : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        if (KingAttacks[0] == 0) GTEST_SKIP() << "geometry tables not built yet";
        MoveListTop = 0;
        Ply         = 0;
    }
};

void Load(const std::string& fen) {
    testing::internal::CaptureStdout();
    bool ok         = SetFen(fen.c_str());
    std::string out = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ok) << fen << out;
}

struct PerftCase {
    std::string fen;
    std::vector<unsigned long long> counts; // counts[d - 1] for depth d
};

std::vector<PerftCase> ReadPerftFile(const std::string& name) {
    std::ifstream in(std::string(TESTDATA_DIR) + "/perft/" + name);
    std::vector<PerftCase> cases;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        PerftCase c;
        c.fen = line.substr(0, line.find(';'));
        for (size_t at = line.find(";D"); at != std::string::npos; at = line.find(";D", at + 1)) {
            std::istringstream fields(line.substr(at + 2));
            int depth;
            unsigned long long count;
            fields >> depth >> count;
            c.counts.resize(std::max<size_t>(c.counts.size(), (size_t)depth));
            c.counts[depth - 1] = count;
        }
        cases.push_back(c);
    }
    return cases;
}

unsigned long long PerftCount(int depth) {
    NodeCount   = 0;
    MoveListTop = 0;
    Perft(depth);
    return NodeCount;
}

// Each position to the deepest depth whose count stays under the limit (VELUMBRAK_PERFT_LIMIT
// leaves per position; 0 means every depth the file gives).
void RunPerftFile(const std::string& name) {
    const char* env                = std::getenv("VELUMBRAK_PERFT_LIMIT");
    const unsigned long long limit = env ? std::strtoull(env, nullptr, 10) : 3000000ULL;
    std::vector<PerftCase> cases   = ReadPerftFile(name);
    ASSERT_GT(cases.size(), 20u);
    for (const PerftCase& c : cases) {
        Load(c.fen);
        for (size_t d = 1; d <= c.counts.size(); d++) {
            if (limit && c.counts[d - 1] > limit) break;
            ASSERT_EQ(PerftCount(int(d)), c.counts[d - 1]) << c.fen << " depth " << d;
        }
    }
}

TEST_F(MoveGenTest, PerftSuite) { RunPerftFile("perftsuite.epd"); }
TEST_F(MoveGenTest, TrickyPerft) { RunPerftFile("tricky.epd"); }

std::vector<Move> LegalList() {
    GenerateLegalMoves(1000);
    std::vector<Move> moves;
    for (int i = 1000; i < MoveListTop; i++) moves.push_back(MoveList[i].move);
    MoveListTop = 0;
    std::sort(moves.begin(), moves.end());
    return moves;
}

// The legal moves by perft's road: every pseudo-legal move, made and kept when the own king is safe.
std::vector<Move> PseudoRoadList() {
    const int us = thread_board.SideToMove, them = ChangeSide(us);
    const bool inCheck = IsSquareAttacked(them, thread_board.KingSquare[us]);
    MoveListTop        = 2000;
    GenerateCaptures(thread_board.Pieces[0][them]);
    GeneratePromotions();
    GenerateQuiet(1);
    std::vector<Move> moves;
    for (int i = 2000; i < MoveListTop; i++) {
        const Move m = MoveList[i].move;
        if (inCheck && MovedPiece(m) == KING && (MoveTo(m) - MoveFrom(m) == 2 || MoveFrom(m) - MoveTo(m) == 2)) continue;
        MakeMove(m, 1);
        if (!IsSquareAttacked(them, thread_board.KingSquare[us])) moves.push_back(m);
        UnmakeMove();
    }
    MoveListTop = 0;
    std::sort(moves.begin(), moves.end());
    return moves;
}

// On every node of a tree the legal list equals perft's road, and near the root also the plain
// square-walking generator's list.
void CompareTree(int depth, int slowDepth) {
    std::vector<Move> legal = LegalList();
    ASSERT_EQ(legal, PseudoRoadList()) << PositionText(0);
    if (slowDepth >= depth) {
        std::vector<Move> slow = SlowLegalMoves();
        std::sort(slow.begin(), slow.end());
        ASSERT_EQ(legal, slow) << PositionText(0);
    }
    if (depth == 0) return;
    for (Move m : legal) {
        MakeMove(m, 1);
        CompareTree(depth - 1, slowDepth);
        UnmakeMove();
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST_F(MoveGenTest, LegalMovesAgreeWithPerftRoadAndAPlainGenerator) {
    std::vector<PerftCase> cases = ReadPerftFile("tricky.epd");
    for (size_t i = 0; i < cases.size(); i += 3) {
        Load(cases[i].fen);
        CompareTree(2, 2);
    }
    for (const char* fen : {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
                            "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
                            "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1"}) {
        Load(fen);
        CompareTree(3, 1);
    }
}

// In check, the evasions (plus nothing else) are exactly the legal moves, up to the rare en-passant
// capture that exposes the king along the rank, which the search tests after making the move.
void CompareEvasionsInTree(int depth, int& checked) {
    const int us = thread_board.SideToMove;
    if (IsSquareAttacked(ChangeSide(us), thread_board.KingSquare[us])) {
        MoveListTop = 0;
        GenerateEvasions(14);
        std::vector<Move> evasions;
        for (int i = 0; i < MoveListTop; i++) {
            Move m = MoveList[i].move;
            MakeMove(m, 1);
            bool legal = !SlowSquareAttacked(thread_board.KingSquare[us], ChangeSide(us));
            UnmakeMove();
            if (legal) evasions.push_back(m);
        }
        MoveListTop = 0;
        std::sort(evasions.begin(), evasions.end());
        std::vector<Move> slow = SlowLegalMoves();
        std::sort(slow.begin(), slow.end());
        ASSERT_EQ(evasions, slow) << PositionText(0);
        checked++;
    }
    if (depth == 0) return;
    for (Move m : SlowLegalMoves()) {
        MakeMove(m, 1);
        CompareEvasionsInTree(depth - 1, checked);
        UnmakeMove();
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST_F(MoveGenTest, EvasionsAreTheLegalRepliesToCheck) {
    int checked = 0;
    for (const PerftCase& c : ReadPerftFile("tricky.epd")) {
        Load(c.fen);
        CompareEvasionsInTree(2, checked);
    }
    EXPECT_GT(checked, 200);
}

TEST_F(MoveGenTest, HandCheckedGeneratorCases) {
    SetStartPosition();
    EXPECT_EQ(LegalList().size(), 20u);
    GenerateCaptures(thread_board.Pieces[0][BLACK]);
    GeneratePromotions();
    EXPECT_EQ(MoveListTop, 0);

    // Double check: only king moves.
    Load("4k3/8/8/8/8/5n2/8/r3K3 w - - 0 1");
    MoveListTop = 0;
    EXPECT_EQ(GenerateEvasions(14), 12);
    for (int i = 0; i < MoveListTop; i++) EXPECT_EQ(MovedPiece(MoveList[i].move), KING);
    EXPECT_EQ(GenerateEvasions(12), 0);

    // A rook checking along the rank: the step straight away from it is not offered.
    Load("4k3/8/8/8/8/8/8/r3K3 w - - 0 1");
    MoveListTop = 0;
    GenerateEvasions(14);
    for (int i = 0; i < MoveListTop; i++) EXPECT_NE(MoveTo(MoveList[i].move), 5) << MoveText(MoveList[i].move);

    // A pawn that checks by a double step is taken en passant among the evasions.
    Load("8/8/8/2k5/3Pp3/8/8/4K3 b - d3 0 1");
    MoveListTop = 0;
    GenerateEvasions(14);
    bool found = false;
    for (int i = 0; i < MoveListTop; i++) found |= MoveList[i].move == MakeMoveWord(28, 19, PAWN);
    EXPECT_TRUE(found);

    // Without a record of the last move there is no en passant, whatever the pawns look like.
    Load("4k3/8/8/3pP3/8/8/8/4K3 w - - 0 1");
    for (Move m : LegalList()) EXPECT_FALSE(MovedPiece(m) == PAWN && FileOf(MoveFrom(m)) != FileOf(MoveTo(m)));

    // Mate and stalemate leave the list empty.
    Load("7k/6Q1/6K1/8/8/8/8/8 b - - 0 1");
    EXPECT_TRUE(LegalList().empty());
    Load("7k/8/6QK/8/8/8/8/8 b - - 0 1");
    EXPECT_TRUE(LegalList().empty());

    // The captured field is part of a move's identity.
    Load("4k3/8/8/8/8/8/4p3/3QK3 w - - 0 1");
    EXPECT_EQ(IsMoveLegal(MakeMoveWord(3, 12, QUEEN, PAWN)), 1);
    EXPECT_EQ(IsMoveLegal(MakeMoveWord(3, 12, QUEEN, 0)), 0);
    EXPECT_EQ(IsMoveLegal(MakeMoveWord(3, 12, QUEEN, KNIGHT)), 0);
}

TEST_F(MoveGenTest, PromotionScoresAndVerdicts) {
    Load("1n2k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    MoveListTop = 0;
    GenerateCaptures(thread_board.Pieces[0][BLACK]);
    GeneratePromotions();
    int queenCapture = 0, rookPromotion = -1;
    for (int i = 0; i < MoveListTop; i++) {
        const MoveEntry& e = MoveList[i];
        if (e.move == MakeMoveWord(48, 57, PAWN, KNIGHT, QUEEN)) queenCapture = e.score;
        if (e.move == MakeMoveWord(48, 56, PAWN, 0, ROOK)) {
            rookPromotion = e.see;
            EXPECT_EQ(e.score, -128100);
        }
        if (e.move == MakeMoveWord(48, 56, PAWN, 0, QUEEN)) {
            EXPECT_EQ(e.score, 107900);
        }
    }
    for (int i = 0; i < MoveListTop; i++)
        if (CapturedPiece(MoveList[i].move) == KNIGHT && MoveList[i].move != MakeMoveWord(48, 57, PAWN, KNIGHT, QUEEN)) {
            EXPECT_GT(queenCapture, MoveList[i].score);
        }
    EXPECT_EQ(rookPromotion, 0);
}

TEST_F(MoveGenTest, RememberedMovesArePlayableOnlyWhereTheyFit) {
    Load("r3k2r/8/8/3pP3/8/8/8/R3K2R w KQkq - 0 1");
    auto playable = [](Move m) {
        MoveListTop = 0;
        AddMoveIfPlayable(m);
        return MoveListTop == 1;
    };
    EXPECT_TRUE(playable(4484));                           // e1g1
    EXPECT_FALSE(playable(8124));                          // black castling with white to move
    EXPECT_TRUE(playable(MakeMoveWord(0, 3, ROOK)));       // a1d1
    EXPECT_FALSE(playable(MakeMoveWord(0, 56, ROOK, 0)));  // a8 holds a rook: captured field wrong
    EXPECT_TRUE(playable(MakeMoveWord(0, 56, ROOK, ROOK)));
    EXPECT_FALSE(playable(MakeMoveWord(36, 43, PAWN)));    // en passant without the double step
    EXPECT_TRUE(playable(MakeMoveWord(36, 44, PAWN)));     // e5e6
    EXPECT_FALSE(playable(MakeMoveWord(36, 28, PAWN)));    // a pawn moving backwards
}

TEST_F(MoveGenTest, ExchangeVerdicts) {
    auto see = [](const char* fen, int from, int to) {
        Load(fen);
        PlyStack[Ply].AttackedBy[0] = PlyStack[Ply].AttackedBy[1] = 0;
        const Position& b = thread_board;
        return SeeNotLosing(MakeMoveWord(from, to, b.Board[from], b.Board[to]));
    };
    // Pawn takes a defended pawn: equal trade.
    EXPECT_EQ(see("4k3/8/3p4/4p3/3P4/8/8/4K3 w - - 0 1", 27, 36), 1);
    // Queen takes a pawn defended by a pawn.
    EXPECT_EQ(see("4k3/8/3p4/4p3/8/8/8/4Q1K1 w - - 0 1", 4, 36), 0);
    // Rook takes a knight defended only by a bishop: loses one unit without a second attacker...
    EXPECT_EQ(see("4k3/8/8/8/4n3/5b2/8/4R1K1 w - - 0 1", 4, 28), 0);
    // ...and wins it back when a second rook stands behind (x-ray through the first).
    EXPECT_EQ(see("4k3/8/8/8/4n3/5b2/4R3/4R1K1 w - - 0 1", 12, 28), 1);
    // Queen takes a rook-defended pawn with a rook behind it: queen lost for rook and pawn.
    EXPECT_EQ(see("4r1k1/8/8/4p3/8/8/4Q3/4R1K1 w - - 0 1", 12, 36), 0);
    // Kings in the swap: taking a man the enemy king guards loses the king (value 200), while a
    // man that only the enemy king guards is safe to take when our king guards the square too.
    EXPECT_EQ(see("8/8/8/3k4/4p3/4K3/8/8 w - - 0 1", 20, 28), 0);
    EXPECT_EQ(see("8/8/8/3k4/4p2R/4K3/8/8 w - - 0 1", 31, 28), 1);
    EXPECT_EQ(see("8/8/8/3k4/4p2R/8/8/4K3 w - - 0 1", 31, 28), 0);
    // Under-promotion is never worth an exchange test.
    Load("4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(SeeNotLosing(MakeMoveWord(48, 56, PAWN, 0, ROOK)), 0);
    EXPECT_EQ(SeeNotLosing(MakeMoveWord(48, 56, PAWN, 0, QUEEN)), 1);
    // The attack-map shortcut: a knight leaving an attacked square for a safe one passes.
    Load("4k3/8/8/8/8/2n5/8/1N2K3 w - - 0 1");
    PlyStack[Ply].AttackedBy[BLACK] = KnightAttacks[18];
    EXPECT_EQ(SeeNotLosing(MakeMoveWord(1, 16, KNIGHT)), 1); // b1a3: a3 is not attacked by c3
    PlyStack[Ply].AttackedBy[BLACK] = 0;
}

TEST_F(MoveGenTest, PinsAndAttacks) {
    Load("4k3/4r3/8/8/8/8/4B3/4K3 w - - 0 1");
    EXPECT_EQ(SquareIsPinned(12), 1);
    EXPECT_EQ(MoveIsPinned(MakeMoveWord(12, 21, BISHOP)), 1);
    Load("4k3/4r3/8/8/8/8/4R3/4K3 w - - 0 1");
    EXPECT_EQ(MoveIsPinned(MakeMoveWord(12, 28, ROOK)), 0); // stays on the line
    EXPECT_EQ(SquareIsPinned(3), 0);
    Load("4k3/8/8/8/8/8/3B4/4K3 w - - 0 1");
    EXPECT_EQ(SquareIsPinned(11), 0);
    // The attack test against a plain walk on every square of many positions.
    std::vector<PerftCase> cases = ReadPerftFile("perftsuite.epd");
    for (size_t i = 0; i < cases.size(); i += 2) {
        Load(cases[i].fen);
        for (int sq = 0; sq < 64; sq++)
            for (int side : {WHITE, BLACK}) {
                ASSERT_EQ(IsSquareAttacked(side, sq) != 0, SlowSquareAttacked(sq, side)) << cases[i].fen << sq;
                ASSERT_EQ(AttackersOfSquareBy(side, sq) != 0, SlowSquareAttacked(sq, side));
            }
    }
}

} // namespace
