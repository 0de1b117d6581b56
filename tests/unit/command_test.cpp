// The tokenizer, the keyword test and the commands that only change settings.
#include <gtest/gtest.h>

#include "frontend/command.h"
#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "frontend/game.h"
#include "frontend/input.h"
#include "frontend/settings.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"
#include "tests/unit/test_main_setup.h"

namespace {

class CommandTest : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        SetDefaultSettings();
    }
    void Run(const std::string& line) {
        CommandLine = line;
        ExecuteCommand();
    }
};

TEST_F(CommandTest, TokenizeCountsATrailingDelimiterAsAnEmptyToken) {
    EXPECT_EQ(Tokenize("", " "), 1);
    EXPECT_EQ(Tokenize("go", " "), 1);
    EXPECT_EQ(Tokenize("go ", " "), 2);
    EXPECT_EQ(Tokens[1], "");
    EXPECT_EQ(Tokenize("  go   wtime  100", " "), 3);
    EXPECT_EQ(Tokens[0], "go");
    EXPECT_EQ(Tokens[2], "100");
    EXPECT_EQ(TokenOffsets[2], 14);
    EXPECT_EQ(Tokenize("level 40 5:30 0", " :"), 5);
    EXPECT_EQ(Tokens[3], "30");
    // Tokens past the 2048th are dropped, with no length limit on any token.
    std::string many;
    for (int i = 0; i < 3000; i++) many += "e2e4 ";
    EXPECT_EQ(Tokenize(many.c_str(), " "), MAX_TOKENS);
    std::string longToken(5000, 'x');
    EXPECT_EQ(Tokenize(longToken.c_str(), " "), 1);
    EXPECT_EQ(Tokens[0].size(), 5000u);
}

TEST_F(CommandTest, MatchCommandIsACaseInsensitiveCommonPrefixTest) {
    EXPECT_EQ(MatchCommand("level", "lev"), 1);
    EXPECT_EQ(MatchCommand("st", "stop now"), 1);
    EXPECT_EQ(MatchCommand("new", "  NEW"), 1);
    EXPECT_EQ(MatchCommand("new", "nex"), 0);
    EXPECT_EQ(MatchCommand("new", ""), 0);
    EXPECT_EQ(MatchCommand("", "new"), 0);
    EXPECT_EQ(MatchCommand("new", "   "), 0);
}

TEST_F(CommandTest, LevelSdStAndTime) {
    Run("level 40 5:30 0");
    EXPECT_EQ(MovesToGo, 40);
    EXPECT_EQ(Increment, 0);
    Run("level 0 2 12");
    EXPECT_EQ(MovesToGo, 0);
    EXPECT_EQ(Increment, 1200);
    Run("st");
    EXPECT_EQ(FixedTime, 0);
    Run("st 5");
    EXPECT_EQ(FixedTime, 500);
    Run("st "); // the blank left by a carriage return: token 1 is empty and counts 0
    EXPECT_EQ(FixedTime, 0);
    Run("sd 7");
    EXPECT_EQ(MaxDepth, 7);
    Run("time 12345");
    EXPECT_EQ(OwnClock, 12345);
    Run("otim 999");
    EXPECT_EQ(OwnClock, 12345);
    Run("sd 99999999999999999999");
    EXPECT_EQ(MaxDepth, 2147483647);
}

TEST_F(CommandTest, XboardResetsLimitsAndPonderingSwitches) {
    Run("easy");
    EXPECT_EQ(PonderEnabled, 0);
    Run("hard");
    EXPECT_EQ(PonderEnabled, 1);
    Pondering = 0;
    Run("easy");
    Run("hard");
    EXPECT_EQ(PonderEnabled, 0);
    Pondering = 1;
    MaxDepth  = 5;
    FixedTime = 300;
    UciMode   = 1;
    Run("xboard");
    EXPECT_EQ(MaxDepth, 998);
    EXPECT_EQ(FixedTime, 0);
    EXPECT_EQ(UciMode, 0);
    EXPECT_EQ(PonderEnabled, 1);
    Run("force");
    EXPECT_EQ(ForceMode, 1);
    Run("nopost");
    EXPECT_EQ(PostFlag, 0);
    Run("post");
    EXPECT_EQ(PostFlag, 1);
}

} // namespace
