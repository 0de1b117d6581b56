// Search constants and the per-ply record.
#include <gtest/gtest.h>

#include <bit>

#include "board/ply.h"

#include "search/search.h"

namespace {

TEST(PlyRecordTest, LayoutAndConstants) {
    // Flags are single bits, each one distinct.
    const int flags[] = {FLAG_CHECK,       FLAG_MATE_THREAT,  FLAG_RECAPTURE,
                         FLAG_PASSER_PUSH, FLAG_QUIET_CHECKS, FLAG_SAFE_THREAT,
                         FLAG_REDUCED,     FLAG_LAST_PIECE,   FLAG_SINGLE_REPLY};
    int all           = 0;
    for (int f : flags) {
        EXPECT_EQ(std::popcount(unsigned(f)), 1);
        EXPECT_EQ(all & f, 0);
        all |= f;
    }
    EXPECT_EQ(all, 511);
    EXPECT_LT(MATE_BOUND, TB_WIN_SCORE - MAX_SEARCH_PLY);
    EXPECT_GT(MATE_SCORE - MAX_SEARCH_PLY, TB_WIN_SCORE);
    EXPECT_GE(PLY_STACK_SIZE, 194);
    EXPECT_LT(MAX_SEARCH_PLY, PLY_STACK_SIZE);
    PlyStack[7].Killer1[BLACK] = 123;
    Ply                        = 7;
    ClearPlyStack();
    EXPECT_EQ(PlyStack[7].Killer1[BLACK], 0u);
    EXPECT_EQ(Ply, 0);
}

} // namespace
