// The time rules: the budget of a move from the clock, and when a running search must stop.
#include <gtest/gtest.h>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "eval/material.h"
#include "frontend/game.h"
#include "frontend/polling.h"
#include "frontend/settings.h"
#include "search/root.h"
#include "search/think.h"
#include "tablebases/tbprobe.h"
#include "tests/unit/test_main_setup.h"

namespace {

class ThinkTest : public testing::Test {
protected:
    void SetUp() override {
        InitTablesForTests();
        testing::internal::CaptureStdout();
        SetStartPosition();
        testing::internal::GetCapturedStdout();
        HistoryCount = 0;
        OwnClock     = 10000;
        Increment    = 0;
        MovesToGo    = 0;
        FixedTime    = 0;
        UciMode      = 0;
    }
    void TearDown() override {
        OwnClock  = -1;
        MovesToGo = 0;
        FixedTime = 0;
        UciMode   = 0;
        DepthLimit = 999;
    }
};

TEST_F(ThinkTest, BudgetFromTheClock) {
    // 100 s, no increment, move 1: 44 moves planned, halved and weighted by the material.
    thread_board.MaterialIndex = MATERIAL_OVERFLOW;
    AllocateTime();
    EXPECT_EQ(TargetTime, 215);
    EXPECT_EQ(HardTime, 1505);
    EXPECT_EQ(PollInterval, 20000);

    // A material row with the neutral weight of 256 rounds each half down.
    RecomputeMaterialIndex();
    ASSERT_NE(thread_board.MaterialIndex, MATERIAL_OVERFLOW);
    const int factor = MaterialRecords[thread_board.MaterialIndex].TimeFactor;
    AllocateTime();
    EXPECT_EQ(TargetTime, 215 / 2 + (factor * 215 / 256) / 2);
    if (factor == 256) {
        EXPECT_EQ(TargetTime, 214);
        EXPECT_EQ(HardTime, 1498);
    }

    // Later in the game fewer moves are planned: 31 at h = 30, 26 at h = 80.
    thread_board.MaterialIndex = MATERIAL_OVERFLOW;
    HistoryCount               = 30;
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499 / 31);
    HistoryCount = 80;
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499 / 26);
    EXPECT_EQ(HardTime, 7 * (9499 / 26));
}

TEST_F(ThinkTest, MovesToGoAndFixedTime) {
    thread_board.MaterialIndex = MATERIAL_OVERFLOW;
    // The console's time control of 40 moves, at move 41: the next control is at 80, 30 planned.
    MovesToGo    = 40;
    HistoryCount = 80;
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499 / 30);

    // UCI counts the moves left: one move left still keeps two thirds of the clock back.
    UciMode      = 1;
    MovesToGo    = 1;
    HistoryCount = 0;
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499);
    EXPECT_EQ(HardTime, 9499 / 3);

    // A fixed time is the target and the limit, also without a clock.
    MovesToGo = 0;
    UciMode   = 0;
    OwnClock  = -1;
    FixedTime = 500;
    AllocateTime();
    EXPECT_EQ(TargetTime, 500);
    EXPECT_EQ(HardTime, 500);
    EXPECT_EQ(PollInterval, 50000);

    // A short target polls more often.
    FixedTime = 100;
    AllocateTime();
    EXPECT_EQ(PollInterval, 5000);
}

// Pretends that `elapsed` centiseconds of the search have passed.
int CheckAfter(int elapsed, int atIterationStart) {
    SearchStart = ClockCs() - elapsed;
    return CheckTime(atIterationStart);
}

TEST_F(ThinkTest, WhenARunningSearchStops) {
    DepthLimit        = 999;
    PonderingNow      = 0;
    GoPonder          = 0;
    RootInTablebase   = 0;
    EasyMove          = 0;
    SearchesPlayed    = 1;
    TargetTime        = 300;
    HardTime          = 2000;
    EngineSide        = WHITE;
    LastScoreSide     = WHITE;
    LastScore         = 50;
    RootScores[0]     = 50;
    PastFirstRootMove = 0;
    MoveListTop       = 1;
    MoveList[0].move  = MakeMoveWord(12, 28, PAWN);

    // No new iteration after three fifths of the target.
    EXPECT_EQ(CheckAfter(170, 1), 0);
    EXPECT_EQ(CheckAfter(190, 1), 1);
    // In the middle of an iteration the target itself.
    EXPECT_EQ(CheckAfter(290, 0), 0);
    EXPECT_EQ(CheckAfter(310, 0), 1);
    // Past the first root move two thirds more.
    PastFirstRootMove = 1;
    EXPECT_EQ(CheckAfter(490, 0), 0);
    EXPECT_EQ(CheckAfter(510, 0), 1);
    PastFirstRootMove = 0;

    // A fall of the score buys time: 2.5 times for up to 60, 7 times beyond (4 in a first search).
    RootScores[0] = 20;
    EXPECT_EQ(CheckAfter(740, 0), 0);
    EXPECT_EQ(CheckAfter(760, 0), 1);
    RootScores[0] = -50;
    EXPECT_EQ(CheckAfter(1990, 0), 0) << "7 x 300 is cut to the hard limit";
    EXPECT_EQ(CheckAfter(2010, 0), 1);
    SearchesPlayed = 0;
    EXPECT_EQ(CheckAfter(1190, 0), 0);
    EXPECT_EQ(CheckAfter(1210, 0), 1);
    SearchesPlayed = 1;

    // A rise from a small edge doubles the time.
    RootScores[0] = 90;
    EXPECT_EQ(CheckAfter(590, 0), 0);
    EXPECT_EQ(CheckAfter(610, 0), 1);
    RootScores[0] = 50;

    // The only recapture divides the budget by three, as long as it stays the best move.
    EasyMove = MoveList[0].move;
    EXPECT_EQ(CheckAfter(110, 0), 1);
    EXPECT_EQ(EasyMove, MoveList[0].move);
    MoveList[0].move = MakeMoveWord(11, 27, PAWN);
    EXPECT_EQ(CheckAfter(110, 0), 0);
    EXPECT_EQ(EasyMove, 0u) << "once not best, never easy again in this search";

    // A fixed depth, the opponent's time or a go ponder: the clock stops nothing.
    DepthLimit = 12;
    EXPECT_EQ(CheckAfter(100000, 1), 0);
    DepthLimit   = 999;
    PonderingNow = 1;
    EXPECT_EQ(CheckAfter(100000, 1), 0);
    PonderingNow = 0;
    GoPonder     = 1;
    EXPECT_EQ(CheckAfter(100000, 1), 0);
    GoPonder = 0;
}

TEST_F(ThinkTest, ConsoleScoresOfMates) {
    EXPECT_EQ(ConsoleScore(32699), 32766);
    EXPECT_EQ(ConsoleScore(-32699), -32766);
    EXPECT_EQ(ConsoleScore(31000), 31000);
    EXPECT_EQ(ConsoleScore(-250), -250);
}

} // namespace
