// Time allocation and the time rules of a running search, the console score form, and the root
// search on the opponent's time when the position leaves a single reply.
#include <gtest/gtest.h>

#include <string>
#include <unistd.h>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/ply.h"
#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "eval/material.h"
#include "frontend/game.h"
#include "frontend/input.h"
#include "frontend/searchinput.h"
#include "frontend/settings.h"
#include "search/root.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"
#include "tests/unit/test_main_setup.h"

namespace {

// Clock settings of a fresh game; each test names what it changes.
class TimeAllocation : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        testing::internal::CaptureStdout();
        SetFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
        testing::internal::GetCapturedStdout();
        OwnClock  = 10000;
        Increment = 0;
        MovesToGo = 0;
        FixedTime = 0;
        UciMode   = 0;
        savedFactor = MaterialRecords[thread_board.MaterialIndex].TimeFactor;
        savedHistory = HistoryCount;
    }
    void TearDown() override {
        MaterialRecords[thread_board.MaterialIndex].TimeFactor = savedFactor;
        HistoryCount                                            = savedHistory;
        UciMode                                                 = 0;
    }
    void SetTimeFactor(int factor) { MaterialRecords[thread_board.MaterialIndex].TimeFactor = uint16_t(factor); }
    uint16_t savedFactor = 0;
    int savedHistory     = 0;
};

TEST_F(TimeAllocation, SuddenDeathAtTheFirstMove) {
    // B = 9499 and k = 44 give T = 215; a neutral factor halves and adds back: 107 + 107.
    SetTimeFactor(256);
    AllocateTime();
    EXPECT_EQ(TargetTime, 214);
    EXPECT_EQ(HardTime, 1498);
    EXPECT_EQ(PollInterval, 20000);

    // Twice the weight: 107 + 215, and the limit follows the weighted target.
    SetTimeFactor(512);
    AllocateTime();
    EXPECT_EQ(TargetTime, 322);
    EXPECT_EQ(HardTime, 2254);
    EXPECT_EQ(PollInterval, 50000);

    // A long clock: the limit is a third of what may be planned.
    SetTimeFactor(256);
    OwnClock = 1000;
    Increment = 300;
    AllocateTime();
    // B = 949: (949 - 300 + 44 * 300) / 44 = 314, weighted 157 + 157.
    EXPECT_EQ(TargetTime, 314);
    EXPECT_EQ(HardTime, 316);
}

TEST_F(TimeAllocation, MovesToPlanShrinkAsTheGameGoesOn) {
    SetTimeFactor(256);
    // k = 31 at h = 30, 26 at h = 80; with a neutral factor T / 2 + T / 2 loses at most one.
    HistoryCount = 30;
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499 / 31 / 2 * 2);
    HistoryCount = 80;
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499 / 26 / 2 * 2);
    // A material set the table cannot count keeps the plain share.
    const int index              = thread_board.MaterialIndex;
    thread_board.MaterialIndex   = MATERIAL_OVERFLOW;
    AllocateTime();
    thread_board.MaterialIndex = index;
    EXPECT_EQ(TargetTime, 9499 / 26);
    EXPECT_EQ(HardTime, 7 * (9499 / 26));
}

TEST_F(TimeAllocation, TinyClockStillGetsAPositiveTarget) {
    OwnClock = 20; // B = 18
    AllocateTime();
    EXPECT_GE(TargetTime, 1);
    EXPECT_EQ(PollInterval, 5000);
    OwnClock = 0; // B = -1: the target is floored, the limit is not
    AllocateTime();
    EXPECT_EQ(TargetTime, 1);
    EXPECT_LE(HardTime, 0);
}

TEST_F(TimeAllocation, FixedTimeIsTargetAndLimit) {
    FixedTime = 500;
    AllocateTime();
    EXPECT_EQ(TargetTime, 500);
    EXPECT_EQ(HardTime, 500);
    EXPECT_EQ(PollInterval, 50000);
    // Also without any clock.
    OwnClock = -1;
    AllocateTime();
    EXPECT_EQ(TargetTime, 500);
    EXPECT_EQ(HardTime, 500);
    FixedTime = 100;
    AllocateTime();
    EXPECT_EQ(PollInterval, 5000);
}

TEST_F(TimeAllocation, ConsoleControlCountsToTheNextControl) {
    MovesToGo = 40;
    // Move 41 (h = 80): the control is the one at move 80, 40 moves left, capped at 30.
    HistoryCount = 80;
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499 / 30);
    EXPECT_EQ(HardTime, 7 * (9499 / 30));
    // Move 40 (h = 78): the last move of the control may use all that is planned, up to a third.
    HistoryCount = 78;
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499);
    EXPECT_EQ(HardTime, 9499 / 3);
    // Move 21 of 40: 20 left. The weight of the material is not applied with a control.
    SetTimeFactor(512);
    HistoryCount = 40;
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499 / 20);
}

TEST_F(TimeAllocation, UciMovesToGoIsWhatIsLeft) {
    UciMode   = 1;
    MovesToGo = 1;
    HistoryCount = 80;
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499);
    EXPECT_EQ(HardTime, 9499 / 3);
    MovesToGo = 40; // capped at 30, whatever the move number
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499 / 30);
    MovesToGo = 5;
    Increment = 100;
    AllocateTime();
    EXPECT_EQ(TargetTime, (9499 - 100 + 5 * 100) / 5);
}

// The rules that stop a running search, with the elapsed time set through SearchStart.
class TimeRules : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        DepthLimit        = 999;
        PonderingNow      = 0;
        GoPonder          = 0;
        TargetTime        = 300;
        HardTime          = 900;
        EasyMove          = 0;
        PastFirstRootMove = 0;
        RootInTablebase   = 0;
        SearchesPlayed    = 0;
        EngineSide        = WHITE;
        LastScoreSide     = WHITE;
        LastScore         = 0;
        RootScores[0]     = 0;
        MoveList[0].move  = MakeMoveWord(12, 28, PAWN, 0, 0);
    }
    int StopsAt(int elapsed, int atIterationStart = 0) {
        SearchStart = ClockCs() - elapsed;
        return CheckTime(atIterationStart);
    }
    // The first elapsed time at which the rules stop the search.
    int FirstStop(int atIterationStart = 0) {
        for (int e = 0; e < 100000; e++)
            if (StopsAt(e, atIterationStart)) return e;
        return -1;
    }
};

TEST_F(TimeRules, TargetAndIterationStart) {
    EXPECT_EQ(FirstStop(), 300);
    // No new iteration after three fifths of the target.
    EXPECT_EQ(FirstStop(1), 181);
}

TEST_F(TimeRules, LaterRootMovesGetTwoThirdsMore) {
    PastFirstRootMove = 1;
    EXPECT_EQ(FirstStop(), 501);
    HardTime = 400; // but never past the limit
    EXPECT_EQ(FirstStop(), 401);
    // A tablebase root is not extended.
    RootInTablebase = 1;
    EXPECT_EQ(FirstStop(), 300);
}

TEST_F(TimeRules, EasyMoveDividesTheBudget) {
    EasyMove          = MoveList[0].move;
    PastFirstRootMove = 1;
    EXPECT_EQ(FirstStop(), 100);
    // Once another move leads, the move is no longer easy for the rest of the search.
    MoveList[0].move = MakeMoveWord(11, 27, PAWN, 0, 0);
    EXPECT_EQ(FirstStop(), 501);
    EXPECT_EQ(EasyMove, 0u);
}

TEST_F(TimeRules, ScoreChangesSinceTheLastMove) {
    // A rise of more than 25 from a small edge doubles the budget.
    LastScore     = 50;
    RootScores[0] = 80;
    EXPECT_EQ(FirstStop(), 600);
    LastScore     = 150; // from a clear edge it does not
    RootScores[0] = 200;
    EXPECT_EQ(FirstStop(), 300);
    // A fall of 21 to 60: two and a half times.
    LastScore     = 0;
    RootScores[0] = -40;
    EXPECT_EQ(FirstStop(), 750);
    // A fall of 61 or more: seven times, or four in the first search of a game, within the limit.
    RootScores[0] = -61;
    EXPECT_EQ(FirstStop(), 900);
    HardTime = 5000;
    EXPECT_EQ(FirstStop(), 1200);
    SearchesPlayed = 3;
    EXPECT_EQ(FirstStop(), 2100);
    // The last score is turned to the engine's side when it was stored for the other one.
    SearchesPlayed = 0;
    LastScoreSide  = BLACK;
    LastScore      = -40;
    RootScores[0]  = 0;
    EXPECT_EQ(FirstStop(), 750);
}

TEST_F(TimeRules, FixedTimeIsNotExtendedByAFall) {
    TargetTime = HardTime = 500;
    LastScore             = 300;
    RootScores[0]         = -300;
    EXPECT_EQ(FirstStop(), 500);
    // Later root moves may pass the target, never the limit.
    PastFirstRootMove = 1;
    EXPECT_EQ(FirstStop(), 501);
}

TEST_F(TimeRules, OnlyTheTimedSearchForOurMoveStops) {
    for (int setting = 0; setting < 3; setting++) {
        DepthLimit   = setting == 0 ? 998 : 999;
        PonderingNow = setting == 1;
        GoPonder     = setting == 2;
        EXPECT_EQ(StopsAt(99999), 0) << setting;
        EXPECT_EQ(StopsAt(99999, 1), 0) << setting;
    }
    PonderingNow = GoPonder = 0;
}

TEST(ConsoleScore, MateScoresCarrySixtySevenMore) {
    EXPECT_EQ(ConsoleScore(-32699), -32766);
    EXPECT_EQ(ConsoleScore(32699), 32766);
    EXPECT_EQ(ConsoleScore(-32698), -32765);
    EXPECT_EQ(ConsoleScore(31000), 31000);
    EXPECT_EQ(ConsoleScore(-31000), -31000);
    EXPECT_EQ(ConsoleScore(31001), 31068);
    EXPECT_EQ(ConsoleScore(-5), -5);
}

// Standard input replaced by a pipe that the test writes, for the searches that read commands.
class PipedInput : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        AllocateTables();
        ASSERT_EQ(pipe(fds), 0);
        savedStdin = dup(0);
        dup2(fds[0], 0);
        InputBuffer.clear();
        InputEnded               = 0;
        ReadCommandsDuringSearch = ReadSearchInput;
    }
    void TearDown() override {
        dup2(savedStdin, 0);
        close(savedStdin);
        close(fds[0]);
        if (fds[1] >= 0) close(fds[1]);
        InputBuffer.clear();
        InputEnded               = 0;
        ReadCommandsDuringSearch = nullptr;
        PonderingNow = 0;
        PonderMissed = 0;
        ReceivedMove = 0;
        GoPonder     = 0;
    }
    void Send(const std::string& line) {
        const std::string text = line + "\n";
        ASSERT_EQ(write(fds[1], text.data(), text.size()), ssize_t(text.size()));
    }
    int fds[2]     = {-1, -1};
    int savedStdin = -1;
};

// Pondering after our move: the predicted reply is on the board and leaves a single move.
// The opponent plays another move; it must reach Think to be played.
TEST_F(PipedInput, MissedPredictionWithASingleReplyKeepsTheReceivedMove) {
    testing::internal::CaptureStdout();
    ASSERT_TRUE(SetFen("7k/6p1/8/8/8/8/8/RK6 w - - 0 1"));
    GenerateLegalMoves(ANALYSIS_BASE);
    AnalysisEnd = MoveListTop;
    MoveListTop = 0;
    PredictedMove = FindAnalysisMove(ParseCoordinateMove("a1a8"));
    ASSERT_NE(PredictedMove, 0u);
    MakeMove(PredictedMove, 1); // black has Kh7 only
    PonderingNow = 1;
    PonderMissed = 0;
    ReceivedMove = 0;
    OwnClock     = 1000;
    FixedTime    = 0;
    thread_board.SearchAbort = 0;
    AllocateTime();
    SearchStart = ClockCs();
    Send("b1c2");
    const int over = RootSearch();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(over, 0) << out;
    EXPECT_EQ(PonderMissed, 1);
    EXPECT_EQ(ReceivedMove, FindAnalysisMove(ParseCoordinateMove("b1c2")));
    EXPECT_NE(ReceivedMove, 0u);
}

// The hit: the predicted move arrives, the single reply is then our move.
TEST_F(PipedInput, PredictedMoveWithASingleReplyEndsTheWait) {
    testing::internal::CaptureStdout();
    ASSERT_TRUE(SetFen("7k/6p1/8/8/8/8/8/RK6 w - - 0 1"));
    GenerateLegalMoves(ANALYSIS_BASE);
    AnalysisEnd   = MoveListTop;
    MoveListTop   = 0;
    PredictedMove = FindAnalysisMove(ParseCoordinateMove("a1a8"));
    MakeMove(PredictedMove, 1);
    PonderingNow             = 1;
    PonderMissed             = 0;
    ReceivedMove             = 0;
    OwnClock                 = 1000;
    thread_board.SearchAbort = 0;
    AllocateTime();
    SearchStart = ClockCs();
    Send("a1a8");
    EXPECT_EQ(RootSearch(), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(PonderingNow, 0);
    EXPECT_EQ(MoveListTop, 1);
    EXPECT_EQ(MoveFrom(MoveList[0].move), 63);
    EXPECT_EQ(MoveTo(MoveList[0].move), 55);
}

} // namespace
