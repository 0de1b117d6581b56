// The check tests that decide extensions, against making the move and looking.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "search/extensions.h"
#include "board/ply.h"
#include "tests/unit/slow_movegen.h"
#include "tests/unit/test_main_setup.h"

namespace {

void Load(const std::string& fen) {
    testing::internal::CaptureStdout();
    bool ok = SetFen(fen.c_str());
    testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ok) << fen;
}

std::vector<std::string> Fens(const std::string& file, size_t count) {
    std::ifstream in(std::string(TESTDATA_DIR) + "/" + file);
    std::vector<std::string> fens;
    std::string line;
    while (fens.size() < count && std::getline(in, line)) {
        // EPD: four fields, then operations.
        size_t end = 0;
        for (int field = 0; field < 4 && end != std::string::npos; field++) end = line.find(' ', end + 1);
        fens.push_back(line.substr(0, end) + " 0 1");
    }
    return fens;
}

TEST(Extensions, MoveGivesCheckAgreesWithMakingTheMove) {
    InitTablesForTests();
    int checks = 0, discovered = 0, moves = 0;
    std::vector<std::string> fens = Fens("perft/perftsuite.epd", 200);
    for (const std::string& f : Fens("perft/tricky.epd", 40)) fens.push_back(f);
    for (const std::string& f : Fens("epd/wac.epd", 300)) fens.push_back(f);
    for (const std::string& fen : fens) {
        Load(fen);
        const int us = thread_board.SideToMove, them = ChangeSide(us);
        for (Move m : SlowLegalMoves()) {
            const int gives    = MoveGivesCheck(m);
            const int uncovers = MoveDiscoversCheck(m);
            MakeMove(m, 1);
            const bool inCheck = SlowSquareAttacked(thread_board.KingSquare[them], us);
            // A discovered check is a check by a man other than the one that moved.
            const u64 checkers = AttackersOfSquareBy(us, thread_board.KingSquare[them]) & ~Bit(MoveTo(m));
            UnmakeMove();
            ASSERT_EQ(gives != 0, inCheck) << fen << " " << MoveText(m);
            if (uncovers) {
                EXPECT_NE(checkers, 0u) << fen << " " << MoveText(m);
            }
            checks += inCheck;
            discovered += uncovers;
            moves++;
        }
    }
    EXPECT_GT(checks, 800);
    EXPECT_GT(discovered, 20);
    EXPECT_GT(moves, 12000);
}

TEST(Extensions, CheckAndCapFlags) {
    InitTablesForTests();
    const u64 noWeakMen[2] = {0, 0};
    Ply                    = 1;
    // A losing check, not discovered, at a non-PV node: x stays -4, the check bit and InCheck are set.
    Load("4k3/8/p7/8/8/8/8/1Q2K3 w - - 0 1");
    int see = UNKNOWN_SEE;
    int x   = ComputeExtension(1, 0, 20, 0, MakeMoveWord(1, 33, QUEEN), 0, 0, noWeakMen, 0, &see);
    EXPECT_EQ(x, -4);
    EXPECT_EQ(PlyStack[1].Flags & FLAG_CHECK, FLAG_CHECK);
    EXPECT_EQ(PlyStack[2].InCheck, 1);
    // A single reply that gives check is capped at 0.
    see = UNKNOWN_SEE;
    x   = ComputeExtension(1, 0, 20, 1, MakeMoveWord(1, 28, QUEEN), 0, 0, noWeakMen, 0, &see);
    EXPECT_EQ(x, 0);
    // Taking the last piece: the child may go one ply deeper, no more.
    Load("4k3/8/8/3r4/4K3/8/8/8 w - - 0 1");
    see = UNKNOWN_SEE;
    x   = ComputeExtension(1, 1, 40, 1, MakeMoveWord(28, 35, KING, ROOK), 100000, 1, noWeakMen, -1000, &see);
    EXPECT_EQ(x, 4);
    EXPECT_EQ(PlyStack[1].Flags & FLAG_LAST_PIECE, FLAG_LAST_PIECE);
    Ply = 0;
}

} // namespace
