// `bench`: its node count is a signature, so nothing but the binary may change it: not an
// earlier bench, not the settings, not input that arrives or ends while it runs.
#include <gtest/gtest.h>

#include <cstdio>
#include <regex>

#include "tests/e2e/engine_process.h"

namespace {

// A small depth keeps the test short; the signature property is the same at every depth.
const char* const BenchLine = "bench 5";
const int BenchPositions    = 30;

bool IsTotalLine(const std::string& line) {
    static const std::regex total("[0-9]+ nodes [0-9]+ nps");
    return std::regex_match(line, total);
}

// The lines of one bench, up to and including its total line; empty on a time-out.
std::vector<std::string> ReadBench(EngineProcess& engine) {
    std::vector<std::string> lines;
    std::string line;
    while (ReadLineFrom(engine, line, 60000)) {
        lines.push_back(line);
        if (IsTotalLine(line)) return lines;
    }
    return {};
}

std::string NodesOf(const std::string& total) { return total.substr(0, total.find(' ')); }

class Bench : public ::testing::Test {
  protected:
    void SetUp() override {
        engine = StartEngine(false);
        ASSERT_GT(engine.pid, 0);
        ReadStartup(engine);
    }
    void TearDown() override { KillEngine(engine); }
    EngineProcess engine;
};

TEST_F(Bench, TheSameNodeCountEveryTimeAndTheGameLeftAlone) {
    // A game in progress, with settings that would steer a search if bench let them.
    Exchange(engine, "force");
    Exchange(engine, "e2e4");
    const std::vector<std::string> board = Exchange(engine, "brd");
    Exchange(engine, "sd 3");

    SendLine(engine, BenchLine);
    const std::vector<std::string> first = ReadBench(engine);
    ASSERT_EQ(first.size(), size_t(BenchPositions + 1));
    for (int i = 0; i < BenchPositions; i++) {
        char prefix[16];
        std::snprintf(prefix, sizeof prefix, "%2d/30 ", i + 1);
        EXPECT_EQ(first[size_t(i)].rfind(prefix, 0), 0u) << first[size_t(i)];
    }

    // Other table sizes and a different table content do not change it.
    Exchange(engine, "uci");
    Exchange(engine, "setoption name Hash value 1");
    Exchange(engine, "setoption name MultiPV value 3");
    Exchange(engine, "position startpos moves d2d4");
    Exchange(engine, "go depth 4");
    SendLine(engine, BenchLine);
    const std::vector<std::string> second = ReadBench(engine);
    ASSERT_EQ(second.size(), size_t(BenchPositions + 1));
    EXPECT_EQ(NodesOf(second.back()), NodesOf(first.back()));
    for (int i = 0; i < BenchPositions; i++) {
        // Everything but the timing is the same, line by line.
        EXPECT_EQ(second[size_t(i)], first[size_t(i)]);
    }

    // UCI mode, the options and the game are what they were before the bench.
    Exchange(engine, "position startpos moves e2e4");
    Exchange(engine, "xboard");
    EXPECT_EQ(Exchange(engine, "brd"), board);
}

TEST_F(Bench, InputDuringTheRunWaitsAndTheEndOfInputStopsNothing) {
    SendLine(engine, BenchLine);
    const std::vector<std::string> reference = ReadBench(engine);
    ASSERT_FALSE(reference.empty());

    // Commands typed while it runs are taken afterwards; a stop does not cut it short.
    SendRaw(engine, std::string(BenchLine) + "\nstop\nisready\n");
    const std::vector<std::string> typed = ReadBench(engine);
    ASSERT_FALSE(typed.empty());
    EXPECT_EQ(NodesOf(typed.back()), NodesOf(reference.back()));
    std::string line;
    ASSERT_TRUE(ReadLineFrom(engine, line));
    EXPECT_EQ(line, "readyok");

    // The input ends at once, as with `echo bench | velumbrak`: the bench still runs whole,
    // then the process ends.
    SendLine(engine, BenchLine);
    EXPECT_EQ(CloseAndWait(engine, 60000), 0);
    const std::vector<std::string> piped = ReadBench(engine);
    ASSERT_FALSE(piped.empty());
    EXPECT_EQ(NodesOf(piped.back()), NodesOf(reference.back()));
}

} // namespace
