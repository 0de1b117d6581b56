// The tuner: its trace gives the engine's own evaluation for any weights, a fit repeats exactly
// and lowers the loss, and the file it writes loads without repairs and reads back the same.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "board/position.h"
#include "eval/evaluate.h"
#include "eval/params.h"
#include "eval/values.h"
#include "tools/pgneval.h"
#include "tools/tune/tune.h"

namespace {

const std::string DATA = std::string(TESTDATA_DIR) + "/tuning/tcec-quiet-first2000.epd";

// Traced once for the whole suite: tracing is the slow part.
TraceSet& Traced() {
    static TraceSet set;
    static bool done = false;
    if (!done) {
        done = true;
        EXPECT_TRUE(PrepareEngine());
        set.lines = FindTunedLines();
        std::vector<Labelled> data;
        EXPECT_TRUE(ReadLabelled(DATA, data, SIZE_MAX));
        EXPECT_EQ(data.size(), 2000u);
        for (const Labelled& l : data) EXPECT_TRUE(TracePosition(set, l.fen, l.result, l.result, l.game)) << l.fen;
    }
    return set;
}

void SetLines(TraceSet& set, const std::vector<int32_t>& values) {
    for (size_t i = 0; i < set.lines.size(); i++)
        for (int32_t* t : set.lines[i].target)
            if (t) *t = values[i];
    BuildDerivedTables();
    PackEvaluationTables();
}

std::vector<int32_t> Starts(const TraceSet& set) {
    std::vector<int32_t> v;
    for (const TunedLine& l : set.lines) v.push_back(l.start);
    return v;
}

std::string FileText(const std::string& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Random weights in every traced line: the sum the trace keeps per position, blended as the
// engine blends, is the engine's evaluation of that position with those weights.
TEST(Tuner, TraceGivesTheEnginesEvaluationForRandomWeights) {
    TraceSet& set = Traced();
    ASSERT_GT(set.lines.size(), 1000u); // pawn structure, outposts, rooks, mobility, threats...
    std::mt19937 random(7);
    for (int round = 0; round < 3; round++) {
        std::vector<int32_t> values;
        for (size_t i = 0; i < set.lines.size(); i++) values.push_back(int32_t(random() % 121) - 60);
        SetLines(set, values);
        int compared = 0, wrong = 0;
        std::vector<Labelled> data;
        ReadLabelled(DATA, data, SIZE_MAX);
        for (size_t n = 0; n < data.size(); n++) {
            const TracedPosition& p = set.positions[n];
            if (!p.fixed) continue; // a scaling rule may act at one weight and not at another
            ASSERT_TRUE(SetFen(data[n].fen.c_str()));
            int value = 0;
            EvaluateFull(&value);
            compared++;
            if (-thread_eval_info.FinalScore != TracedEvaluation(set, p) && wrong++ < 5)
                ADD_FAILURE() << data[n].fen << ": engine " << -thread_eval_info.FinalScore << ", trace "
                              << TracedEvaluation(set, p);
        }
        EXPECT_GT(compared, 1200);
        EXPECT_EQ(wrong, 0);
    }
    SetLines(set, Starts(set));
}

// The same data and seed give the same file; the fit lowers the loss; the file loads with no
// repair and a second write of what was read is the same file, line for line.
TEST(Tuner, FitRepeatsAndItsFileReadsBack) {
    TraceSet& set = Traced();
    TuneOptions o;
    o.epochs  = 40;
    o.quiet   = true;
    o.minUses = 5;
    const std::string first = testing::TempDir() + "tune-first.txt", second = testing::TempDir() + "tune-second.txt";

    const TuneReport a = Tune(set, o);
    EXPECT_LT(a.trainAfter, a.trainBefore);
    EXPECT_GT(a.tuned, 50);
    ASSERT_TRUE(WriteValuesFile(first.c_str(), nullptr, nullptr));
    SetLines(set, Starts(set));
    const TuneReport b = Tune(set, o);
    EXPECT_EQ(a.trainAfter, b.trainAfter);
    ASSERT_TRUE(WriteValuesFile(second.c_str(), nullptr, nullptr));
    const std::string text = FileText(first);
    EXPECT_TRUE(text == FileText(second)); // not EXPECT_EQ: the diff of two such files is huge
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), VALUES_FILE_LINES);

    // PrepareEngine loads the weights in memory through a file and refuses any repair.
    EXPECT_TRUE(PrepareEngine());
    ASSERT_TRUE(WriteValuesFile(second.c_str(), nullptr, nullptr));
    EXPECT_TRUE(text == FileText(second)); // not EXPECT_EQ: the diff of two such files is huge
    std::remove(first.c_str());
    std::remove(second.c_str());
    SetLines(set, Starts(set));
}

// The held-out part is chosen by game: pgneval's lines of one game must carry one number, and the
// games of a second file numbers of their own.
TEST(Tuner, CsvLinesKeepTheirGamesApart) {
    ASSERT_TRUE(PrepareEngine());
    const std::filesystem::path back = std::filesystem::current_path(), folder = testing::TempDir() + "tune-csv";
    std::filesystem::create_directories(folder);
    std::filesystem::current_path(folder);
    std::remove("my_eval.csv");
    testing::internal::CaptureStdout();
    RunPgnEvaluation((std::string(TESTDATA_DIR) + "/pgn/TCEC_Season_4_-_Superfinal-first10.pgn").c_str());
    testing::internal::GetCapturedStdout();
    std::vector<Labelled> data;
    ASSERT_TRUE(ReadLabelled("my_eval.csv", data, SIZE_MAX));
    const size_t once = data.size();
    ASSERT_TRUE(ReadLabelled("my_eval.csv", data, SIZE_MAX));
    std::filesystem::current_path(back);
    std::filesystem::remove_all(folder);

    ASSERT_EQ(data.size(), 2 * once);
    EXPECT_EQ(data.front().game, 0u);
    for (size_t i = 1; i < data.size(); i++) {
        ASSERT_LE(data[i].game - data[i - 1].game, 1u) << i;
        // The same game read again lies 10 games further on, line for line.
        if (i >= once) {
            ASSERT_EQ(data[i].game, data[i - once].game + 10) << i;
        }
    }
    EXPECT_EQ(data.back().game, 19u); // ten games in the file, each with a result
}

} // namespace
