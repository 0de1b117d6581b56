// The time rules of a running search and the share of the clock planned for a move; the search on
// the opponent's time when the predicted move leaves a single reply.
#include <gtest/gtest.h>

#include <unistd.h>

#include "board/makemove.h"
#include "board/movegen.h"
#include "eval/evaluate.h"
#include "frontend/game.h"
#include "frontend/input.h"
#include "frontend/searchinput.h"
#include "frontend/settings.h"
#include "search/root.h"
#include "search/think.h"
#include "tablebases/tbprobe.h"
#include "tests/support/engine_setup.h"

namespace {

// The first elapsed time (centiseconds) at which the rules stop the search.
int FirstStop(int atIterationStart = 0) {
    for (int e = 0; e < 100000; e++) {
        SearchStart = ClockCs() - e;
        if (CheckTime(atIterationStart)) return e;
    }
    return -1;
}

struct TimeRule {
    const char* what;
    int pastFirstMove, easy, tablebase, lastScore, score, searches, hard, stop;
};

TEST(TimeRules, WhenARunningSearchStops) {
    FreshEngine();
    // Target 300, limit 900 unless named, the engine's last score 0.
    const TimeRule rules[] = {
        {"the target", 0, 0, 0, 0, 0, 0, 900, 300},
        {"later root moves get two thirds more", 1, 0, 0, 0, 0, 0, 900, 501},
        {"but never past the limit", 1, 0, 0, 0, 0, 0, 400, 401},
        {"a tablebase root gets no more", 1, 0, 1, 0, 0, 0, 900, 300},
        {"an easy move a third", 1, 1, 0, 0, 0, 0, 900, 100},
        {"a rise of more than 25 from a small edge doubles", 0, 0, 0, 50, 80, 0, 900, 600},
        {"from a clear edge it does not", 0, 0, 0, 150, 200, 0, 900, 300},
        {"a fall of 21 to 60: two and a half times", 0, 0, 0, 0, -40, 0, 900, 750},
        {"a fall of more: within the limit", 0, 0, 0, 0, -61, 0, 900, 900},
        {"four times in the first search of a game", 0, 0, 0, 0, -61, 0, 5000, 1200},
        {"seven times later", 0, 0, 0, 0, -61, 3, 5000, 2100},
    };
    for (const TimeRule& r : rules) {
        DepthLimit        = 999;
        TargetTime        = 300;
        HardTime          = r.hard;
        PastFirstRootMove = r.pastFirstMove;
        RootInTablebase   = r.tablebase;
        MoveList[0].move  = MakeMoveWord(12, 28, PAWN);
        EasyMove          = r.easy ? MoveList[0].move : 0;
        EngineSide = LastScoreSide = WHITE;
        LastScore                  = r.lastScore;
        RootScores[0]              = r.score;
        SearchesPlayed             = r.searches;
        EXPECT_EQ(FirstStop(), r.stop) << r.what;
    }
    EasyMove = 0;
    EXPECT_EQ(FirstStop(1), 181) << "no new iteration after three fifths of the target";
    LastScoreSide = BLACK, LastScore = -40, RootScores[0] = 0;
    EXPECT_EQ(FirstStop(), 750) << "the last score is turned to the engine's side";
    for (int setting = 0; setting < 3; setting++) { // only the timed search for our move stops
        DepthLimit   = setting == 0 ? 998 : 999;
        PonderingNow = setting == 1;
        GoPonder     = setting == 2;
        SearchStart  = ClockCs() - 99999;
        EXPECT_EQ(CheckTime(0) | CheckTime(1), 0) << setting;
    }
    PonderingNow = GoPonder = 0;
}

TEST(TimeRules, ThePlannedShareOfTheClock) {
    FreshEngine();
    OwnClock = 10000; // 9499 may be planned
    FixedTime = 500;
    AllocateTime();
    EXPECT_EQ(TargetTime, 500);
    EXPECT_EQ(HardTime, 500);
    FixedTime = 0;
    MovesToGo = 40; // console control: move 40 of 40 may use what is planned, up to a third
    HistoryCount = 78;
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499);
    EXPECT_EQ(HardTime, 9499 / 3);
    HistoryCount = 80; // move 41: 40 moves to the next control, counted as 30
    AllocateTime();
    EXPECT_EQ(TargetTime, 9499 / 30);
    EXPECT_EQ(HardTime, 7 * (9499 / 30));
    UciMode   = 1; // UCI: movestogo is what is left
    MovesToGo = 5;
    Increment = 100;
    AllocateTime();
    EXPECT_EQ(TargetTime, (9499 - 100 + 5 * 100) / 5);
    OwnClock = 0, MovesToGo = 0, Increment = 0;
    AllocateTime();
    EXPECT_EQ(TargetTime, 1) << "the target is never below one";
    HistoryCount = 0;
}

// Standard input replaced by a pipe: pondering after our move with a predicted reply that leaves
// a single move; the opponent plays the predicted move or another.
TEST(PonderSingleReply, TheHitPlaysTheReplyAndTheMissKeepsTheRealMove) {
    for (const char* arrives : {"a1a8", "b1c2"}) {
        FreshEngine();
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        const int savedStdin = dup(0);
        dup2(fds[0], 0);
        InputBuffer.clear();
        ReadCommandsDuringSearch = ReadSearchInput;
        Load("7k/6p1/8/8/8/8/8/RK6 w - - 0 1");
        GenerateLegalMoves(ANALYSIS_BASE);
        AnalysisEnd   = MoveListTop;
        MoveListTop   = 0;
        PredictedMove = FindAnalysisMove(ParseCoordinateMove("a1a8"));
        MakeMove(PredictedMove, 1); // Black has Kh7 only
        PonderingNow = 1, PonderMissed = 0, ReceivedMove = 0, OwnClock = 1000;
        thread_board.SearchAbort = 0;
        AllocateTime();
        SearchStart = ClockCs();
        ASSERT_EQ(write(fds[1], arrives, 4), 4);
        ASSERT_EQ(write(fds[1], "\n", 1), 1);
        int over = -1;
        Printed([&] { over = RootSearch(); });
        EXPECT_EQ(over, 0);
        if (arrives[1] == '1' && arrives[2] == 'a') {
            EXPECT_EQ(PonderingNow, 0);
            EXPECT_EQ(MoveListTop, 1);
            EXPECT_STREQ(MoveText(MoveList[0].move), "h8h7");
        } else {
            EXPECT_EQ(PonderMissed, 1);
            EXPECT_STREQ(MoveText(ReceivedMove), "b1c2");
        }
        dup2(savedStdin, 0);
        close(savedStdin);
        close(fds[0]);
        close(fds[1]);
        InputBuffer.clear();
        PonderingNow = PonderMissed = 0;
        ReceivedMove = 0;
    }
}

} // namespace
