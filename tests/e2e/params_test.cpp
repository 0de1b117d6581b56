// The files of start-up as a user meets them: Velumbrak.ini changes the settings print-out,
// values.txt is repaired with "fix" lines, and `reload` reads it again.
#include <gtest/gtest.h>

#include <cstdio>

#include "tests/e2e/engine_process.h"
#include "tests/unit/values_file.h"

namespace {

const char* const Banner = "Velumbrak v1.96 [r2358/29.06.2016]";

TEST(StartupFiles, IniFileChangesTheSettingsPrintOut) {
    EngineProcess engine = StartEngine(false, {{"Velumbrak.ini", "; tournament settings\r\n"
                                                                 "TranspositionSizeMb = 64\r\n"
                                                                 "PawnHashSize 16\n"
                                                                 "Aggressivity 500\n"
                                                                 "Cowardice 41\n"
                                                                 "ResignValue 600\n"
                                                                 "ResignTimes 4\n"
                                                                 "UseEGTB off\n"
                                                                 "EGTBPath = \"/tmp/tb dir\"\n"
                                                                 "UseBookWeights false\n"
                                                                 "UseBookLearning off\n"
                                                                 "BookLearningMode discover\n"
                                                                 "VarietyOfPlay 55\n"
                                                                 "BookLearningBound 300\n"
                                                                 "Learning on\n"
                                                                 "UseLearningData on\n"
                                                                 "LogLearningIntoFile on\n"
                                                                 "Pondering off\n"
                                                                 "NoSuchKey 12\n"}});
    ASSERT_GT(engine.pid, 0);
    EXPECT_EQ(ReadStartup(engine),
              (std::vector<std::string>{Banner,
                                        "Error loading values.txt",
                                        "Velumbrak.ini(4) WARNING: Incorrect AGGRESSIVITY setting; set to 300",
                                        "Error opening \"Book.vbk\"!",
                                        "Transposition size is 2796202 entries (67108848 bytes)",
                                        "Pawn hash size is 65536 entries (1441792 bytes)",
                                        "Aggressivity = 300 (150)%",
                                        "Cowardice = 41 (20)%",
                                        "ResignValue = 600",
                                        "ResignTimes = 4",
                                        "UseEGTB = off",
                                        "EGTB path = \"/tmp/tb dir\"",
                                        "UseBookWeights = off",
                                        "UseBookLearning = off",
                                        "BookLearningMode = DISCOVER",
                                        "VarietyOfPlay = 55",
                                        "BookLearningBound = 300",
                                        "UseLearning = on",
                                        "UseLearningData = on",
                                        "LogLearningIntoFile = on",
                                        "Pondering = off",
                                        ""}));
    EXPECT_EQ(Exchange(engine, "egtbstat"),
              (std::vector<std::string>{"UseEGTB = FALSE", "tb_path = /tmp/tb dir", "EGTB files not found"}));
    EXPECT_EQ(CloseAndWait(engine), 0);
}

// A file of zeros with one king-ring entry too high: the development weights (at least 1) and
// the king-and-pawn win values (fixed) are repaired too.
std::string ExpectedFixLine(int first) {
    std::string line = "fix [" + std::to_string(first + 33) + ", 200 to 127]; ";
    for (int i = 449; i <= 466; i++) line += "fix [" + std::to_string(first + i) + ", 0 to 1]; ";
    for (int i = 0; i < 6; i++)
        line += "fix [" + std::to_string(first + 659 + i) + ", 0 to " + std::to_string(800 + 20 * i) + "]; ";
    return line;
}

TEST(StartupFiles, ValuesFileRepairsAreReportedAndReloadCountsOn) {
    ValuesFile values;
    values.Set(46, 0, 200);
    EngineProcess engine = StartEngine(false, {{"values.txt", values.Text()}});
    ASSERT_GT(engine.pid, 0);
    std::vector<std::string> startup = ReadStartup(engine);
    ASSERT_GE(startup.size(), 4u);
    EXPECT_EQ(startup[0], Banner);
    EXPECT_EQ(startup[1], ExpectedFixLine(0));
    EXPECT_EQ(startup[2], "Error opening \"Book.vbk\"!");
    EXPECT_EQ(startup[3], "Transposition size is 524288 entries (12582912 bytes)");

    // Every value looked at by the repair counts, 1557 per reading.
    EXPECT_EQ(Exchange(engine, "reload"), std::vector<std::string>{ExpectedFixLine(1557)});
    std::remove((engine.workDir + "/values.txt").c_str());
    EXPECT_EQ(Exchange(engine, "reload"), std::vector<std::string>{"Error loading values.txt"});
    EXPECT_EQ(CloseAndWait(engine), 0);
}

TEST(StartupFiles, FullSizeValuesFileOfLineNumbers) {
    // Out-of-range numbers all over the file: the program repairs them and plays on.
    EngineProcess engine = StartEngine(false, {{"values.txt", ValuesFile::Numbered().Text()}});
    ASSERT_GT(engine.pid, 0);
    std::vector<std::string> startup = ReadStartup(engine);
    ASSERT_GE(startup.size(), 4u);
    // All numbers are positive: the first repair is the king-ring table's limit of 127.
    std::string first = "fix [33, " + std::to_string(Line(46, 0)) + " to 127]; fix [34, ";
    EXPECT_EQ(startup[1].substr(0, first.size()), first);
    EXPECT_EQ(startup[3], "Transposition size is 524288 entries (12582912 bytes)");
    EXPECT_EQ(Exchange(engine, "brd").size(), 8u);
    EXPECT_EQ(CloseAndWait(engine), 0);
}

} // namespace
