// `bench`: its node count is a signature, so nothing but the binary may change it: not an earlier
// bench, not the settings or the tables, not input that arrives or ends while it runs.
#include <gtest/gtest.h>

#include <regex>

#include "tests/support/engine_process.h"

namespace {

// The lines of one bench at a small depth, up to its total line; empty on a time-out.
Lines Bench(EngineProcess& engine, bool send = true) {
    if (send) engine.Send("bench 5");
    Lines lines;
    for (std::string line; engine.ReadLine(line, 60000);) {
        lines.push_back(line);
        if (std::regex_match(line, std::regex("[0-9]+ nodes [0-9]+ nps"))) return lines;
    }
    return {};
}
std::string Nodes(const Lines& bench) { return bench.empty() ? "" : Words(bench.back())[0]; }

TEST(Bench, TheSameNodeCountEveryTimeAndTheGameLeftAlone) {
    EngineProcess engine;
    engine.Startup();
    engine.Exchange("force");
    engine.Exchange("e2e4");
    const Lines board = engine.Exchange("brd");
    engine.Exchange("sd 3");
    const Lines first = Bench(engine);
    ASSERT_EQ(first.size(), 31u);
    EXPECT_EQ(first[29].rfind("30/30 ", 0), 0u) << first[29];
    // Other table sizes, other table contents, UCI mode and several lines change nothing.
    for (const char* command : {"uci", "setoption name Hash value 1", "setoption name MultiPV value 3",
                                "position startpos moves d2d4", "go depth 4"})
        engine.Exchange(command);
    const Lines second = Bench(engine);
    ASSERT_EQ(second.size(), 31u);
    for (size_t i = 0; i < 30; i++) EXPECT_EQ(second[i], first[i]); // all but the timing
    EXPECT_EQ(Nodes(second), Nodes(first));
    engine.Exchange("position startpos moves e2e4"); // the game is what it was
    engine.Exchange("xboard");
    EXPECT_EQ(engine.Exchange("brd"), board);
    // Commands typed during the run wait for its end; a stop does not cut it short.
    engine.SendRaw("bench 5\nstop\nisready\n");
    EXPECT_EQ(Nodes(Bench(engine, false)), Nodes(first));
    std::string line;
    ASSERT_TRUE(engine.ReadLine(line));
    EXPECT_EQ(line, "readyok");
    // The end of input at once, as with `echo bench | velumbrak`: the bench still runs whole.
    engine.Send("bench 5");
    EXPECT_EQ(engine.CloseAndWait(60000), 0);
    EXPECT_EQ(Nodes(Bench(engine, false)), Nodes(first));
}

} // namespace
