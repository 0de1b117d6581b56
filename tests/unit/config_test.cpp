// Velumbrak.ini: every key, out-of-range values with their warnings, and lines that must change
// nothing (unknown keys, comments, garbage, control bytes, overlong lines).
#include <gtest/gtest.h>

#include <map>

#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "frontend/config.h"
#include "frontend/game.h"
#include "frontend/settings.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"
#include "tests/unit/scratch_dir.h"
#include "tests/unit/test_main_setup.h"

namespace {

using Settings = std::map<std::string, std::string>;

Settings Snapshot() {
    return {{"OwnBook", std::to_string(OwnBook)},
            {"MultiPV", std::to_string(MultiPV)},
            {"UseLearning", std::to_string(UseLearning)},
            {"UseLearningData", std::to_string(UseLearningData)},
            {"LogLearningIntoFile", std::to_string(LogLearningIntoFile)},
            {"Pondering", std::to_string(Pondering)},
            {"PonderEnabled", std::to_string(PonderEnabled)},
            {"UseEGTB", std::to_string(UseEGTB)},
            {"EgtbPath", EgtbPath},
            {"Aggressivity", std::to_string(Aggressivity) + "/" + std::to_string(AggressivityHalf)},
            {"Cowardice", std::to_string(Cowardice) + "/" + std::to_string(CowardiceHalf)},
            {"ResignValue", std::to_string(ResignValue)},
            {"ResignTimes", std::to_string(ResignTimes)},
            {"UseBookWeights", std::to_string(UseBookWeights)},
            {"UseBookLearning", std::to_string(UseBookLearning)},
            {"BookLearningMode", std::to_string(BookLearningMode)},
            {"VarietyOfPlay", std::to_string(VarietyOfPlay)},
            {"BookLearningBound", std::to_string(BookLearningBound)},
            {"TranspositionEntries", std::to_string(TranspositionEntries)},
            {"PawnHashEntries", std::to_string(PawnHashEntries)},
            {"EvalCacheEntries", std::to_string(EvalCacheEntries)},
            {"BookLoaded", std::to_string(BookLoaded)},
            {"UciMode", std::to_string(UciMode)},
            {"MaxDepth", std::to_string(MaxDepth)},
            {"PostFlag", std::to_string(PostFlag)}};
}

class ConfigTest : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        SetDefaultSettings();
        defaults = Snapshot();
    }
    // Reads the file as start-up does; returns what it printed.
    std::string ReadIni(const std::string& text) {
        dir.Write("Velumbrak.ini", text);
        testing::internal::CaptureStdout();
        ReadConfigurationFile();
        return testing::internal::GetCapturedStdout();
    }
    // The settings that differ from the defaults.
    Settings Changed() const {
        Settings now = Snapshot(), changed;
        for (auto& [name, value] : now)
            if (defaults.at(name) != value) changed[name] = value;
        return changed;
    }
    ScratchDir dir;
    Settings defaults;
};

TEST_F(ConfigTest, EveryKeyTakesItsValue) {
    EXPECT_EQ(ReadIni("TranspositionSizeMb = 64\r\n"
                      "PawnHashSize=16\n"
                      "ResignValue 650\n"
                      "ResignTimes,5\n"
                      "Aggressivity = 101\n"
                      "Cowardice = 200\n"
                      "VarietyOfPlay = 0\n"
                      "BookLearningBound = 250\n"
                      "Learning = on\n"
                      "UseBookLearning = OFF\n"
                      "Pondering = false\n"
                      "UseEGTB = False\n"
                      "EGTBPath = \"/srv/tb dir/a:/srv/b\"\n"
                      "OpeningsBook = my book.vbk\n"
                      "BookLearningMode = Discover\n"
                      "UseLearningData = TRUE\n"
                      "UseBookWeights = off\n"
                      "LogLearningIntoFile = on\n"),
              "Error opening \"my book.vbk\"!\n"); // the book is opened at once; there is none here
    EXPECT_EQ(Changed(), (Settings{{"TranspositionEntries", std::to_string((64 << 20) / 24)},
                                   {"PawnHashEntries", "65536"},
                                   {"ResignValue", "650"},
                                   {"ResignTimes", "5"},
                                   {"Aggressivity", "101/50"},
                                   {"Cowardice", "200/100"},
                                   {"VarietyOfPlay", "0"},
                                   {"BookLearningBound", "250"},
                                   {"UseLearning", "1"},
                                   {"UseBookLearning", "0"},
                                   {"Pondering", "0"},
                                   {"PonderEnabled", "0"},
                                   {"UseEGTB", "0"},
                                   {"EgtbPath", "/srv/tb dir/a:/srv/b"},
                                   {"BookLearningMode", "1"},
                                   {"UseLearningData", "1"},
                                   {"UseBookWeights", "0"},
                                   {"LogLearningIntoFile", "1"}}));
}

TEST_F(ConfigTest, KeysAreMatchedInTheirOrderByCommonPrefix) {
    // "TranspositionSizeMb" stands before "TranspositionSize"; the exponent form is its own key.
    EXPECT_EQ(ReadIni("transpositionsize 20\npawnhashsizemb 1\n"), "");
    EXPECT_EQ(Changed(), (Settings{{"TranspositionEntries", "1048576"},
                                   {"PawnHashEntries", std::to_string((1 << 20) / 22)}}));
    // Sizes of 0 are valid: the exponent 0 is one entry, 0 MB no entries.
    EXPECT_EQ(ReadIni("TranspositionSize 0\nPawnHashSizeMb 0\n"), "");
    EXPECT_EQ(TranspositionEntries, 1);
    EXPECT_EQ(PawnHashEntries, 0);
    // Pondering on leaves the current state; turning it on does not undo an earlier off.
    EXPECT_EQ(ReadIni("Pondering off\nPondering on\n"), "");
    EXPECT_EQ(Pondering, 1);
    EXPECT_EQ(PonderEnabled, 0);
    // The last line wins; EGTBPath keeps inner blanks and loses the closing quote.
    EXPECT_EQ(ReadIni("EGTBPath first\nEGTBPath  =  \" second  one \" \n"), "");
    EXPECT_STREQ(EgtbPath, "second  one");
}

TEST_F(ConfigTest, OutOfRangeValuesWarnAndAreBounded) {
    EXPECT_EQ(ReadIni("TranspositionSizeMb 1025\n"
                      "PawnHashSize 11\n"
                      "Aggressivity 500\n"
                      "Cowardice -7\n"
                      "VarietyOfPlay 101\n"
                      "Pondering maybe\n"
                      "BookLearningMode both\n"
                      "UseEGTB 1\n"),
              "Velumbrak.ini(1) WARNING: Incorrect hash size setting in Velumbrak.ini; set to default\n"
              "Velumbrak.ini(2) WARNING: Incorrect pawn hash size setting in Velumbrak.ini; set to default\n"
              "Velumbrak.ini(3) WARNING: Incorrect AGGRESSIVITY setting; set to 300\n"
              "Velumbrak.ini(4) WARNING: Incorrect COWARDICE setting; set to 0\n"
              "Velumbrak.ini(5) WARNING: Incorrect VarietyOfPlay setting; set to 100\n"
              "Velumbrak.ini(6) WARNING: Token unknown \"maybe\"\n"
              "Velumbrak.ini(7) WARNING: Token unknown \"both\"\n"
              "Velumbrak.ini(8) WARNING: Token unknown \"1\"\n");
    // A bad pawn hash size falls back to twice the usual default.
    EXPECT_EQ(Changed(), (Settings{{"PawnHashEntries", "524288"},
                                   {"Aggressivity", "300/150"},
                                   {"Cowardice", "0/0"},
                                   {"VarietyOfPlay", "100"}}));

    // Negative sizes count as too large; the exponent forms have their own limits.
    EXPECT_EQ(ReadIni("TranspositionSize -1\nTranspositionSize 26\nPawnHashSizeMb -5\nPawnHashSize 24\n"
                      "Aggressivity -1\nCowardice 301\nVarietyOfPlay -2\n"),
              "Velumbrak.ini(1) WARNING: Incorrect hash size setting in Velumbrak.ini; set to default\n"
              "Velumbrak.ini(2) WARNING: Incorrect hash size setting in Velumbrak.ini; set to default\n"
              "Velumbrak.ini(3) WARNING: Incorrect pawn hash size setting in Velumbrak.ini; set to default\n"
              "Velumbrak.ini(4) WARNING: Incorrect pawn hash size setting in Velumbrak.ini; set to default\n"
              "Velumbrak.ini(5) WARNING: Incorrect AGGRESSIVITY setting; set to 0\n"
              "Velumbrak.ini(6) WARNING: Incorrect COWARDICE setting; set to 300\n"
              "Velumbrak.ini(7) WARNING: Incorrect VarietyOfPlay setting; set to 0\n");
    EXPECT_EQ(Changed(), (Settings{{"PawnHashEntries", "524288"},
                                   {"Aggressivity", "0/0"},
                                   {"Cowardice", "300/150"},
                                   {"VarietyOfPlay", "0"}}));
}

TEST_F(ConfigTest, UnknownKeysCommentsAndGarbageChangeNothing) {
    std::string text = "; Aggressivity 5\n"
                       "\n"
                       "Aggressivity\n"           // a key without a value
                       "Hash 64\n"                // not a key of the file
                       "Transposition 64\n"       // shorter than every key
                       "[section]\n"
                       "= = = ,,, \"\"\n"
                       "\x01\x02 Aggressivity 7\n" // cut at the first control byte
                       "\xC3\xA9t\xC3\xA9 9\n"     // a high byte is a control byte too
                       "\t ResignValue 5\n";
    text += std::string(600, 'x') + "\n"; // longer than a line may be: read in pieces
    for (int c = 1; c < 256; c++)
        if (c != '\n' && c != ';') text += std::string(1, char(c)) + "garbage\n";
    std::string printed = ReadIni(text);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(Changed(), Settings{});

    // A missing or empty file leaves the defaults.
    dir.Remove("Velumbrak.ini");
    testing::internal::CaptureStdout();
    ReadConfigurationFile();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(ReadIni(""), "");
    EXPECT_EQ(Changed(), Settings{});
}

TEST_F(ConfigTest, LineNumbersCountEveryLineAndTextStopsAtControlBytes) {
    EXPECT_EQ(ReadIni("; comment\n\nAggressivity 2\x01" "999\nResignValue 7\xC3\xA9\n"
                      "UseEGTB on\tjunk\nAggressivity 400 ; trailing\n"),
              "Velumbrak.ini(6) WARNING: Incorrect AGGRESSIVITY setting; set to 300\n");
    EXPECT_EQ(ResignValue, 7);
    EXPECT_EQ(UseEGTB, 1);
    EXPECT_EQ(Aggressivity, 300);
    // A trailing delimiter gives an empty value: the number 0.
    EXPECT_EQ(ReadIni("ResignTimes =\n"), "");
    EXPECT_EQ(ResignTimes, 0);
    // A long line is read in pieces of 249 bytes, each counted as a line.
    EXPECT_EQ(ReadIni(std::string(300, 'x') + "\nCowardice 999\n"),
              "Velumbrak.ini(3) WARNING: Incorrect COWARDICE setting; set to 300\n");
}

} // namespace
