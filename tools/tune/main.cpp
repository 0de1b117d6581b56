// velumbrak-tune: fits the evaluation's linear weights to labelled positions and writes values.txt.
//
//   velumbrak-tune [-o FILE] [-lambda L] [-epochs N] [-rate R] [-seed S] [-max N] [-l2 X] [-min-uses N] [-threads T] DATA...
//
// DATA are EPD files with c9 (game result) and ce (score) operations, or the my_eval.csv lines
// of pgneval. The label is L x result + (1 - L) x the chance the score gives (default L = 1).
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "eval/values.h"
#include "tools/tune/tune.h"

namespace {

int Usage() {
    std::printf("usage: velumbrak-tune [-o FILE] [-lambda L] [-epochs N] [-rate R] [-seed S] [-max N] [-l2 X] [-min-uses N] [-threads T] "
                "DATA...\n"
                "  -o FILE     the values file to write (default values.txt)\n"
                "  -lambda L   weight of the game result in the label, 0 to 1 (default 1)\n"
                "  -epochs N   gradient steps (default 1000)\n"
                "  -rate R     step size in centipawns (default 1)\n"
                "  -seed S     chooses the held-out tenth of the games (default 1)\n"
                "  -max N      read at most N positions (default all)\n"
                "  -l2 X       pull towards the starting weights (default 1e-8)\n"
                "  -min-uses N lines used by fewer training positions stay (default 200)\n"
                "  -threads T  threads of the fit (default 1; another count may round a value otherwise)\n");
    return 2;
}

double Seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

} // namespace

int main(int argc, char** argv) {
    TuneOptions options;
    std::string out = "values.txt";
    size_t limit    = SIZE_MAX;
    std::vector<std::string> inputs;
    for (int i = 1; i < argc; i++) {
        const bool hasValue = i + 1 < argc;
        const std::string a = argv[i];
        if (a == "-o" && hasValue)
            out = argv[++i];
        else if (a == "-lambda" && hasValue)
            options.lambda = std::atof(argv[++i]);
        else if (a == "-epochs" && hasValue)
            options.epochs = std::atoi(argv[++i]);
        else if (a == "-rate" && hasValue)
            options.rate = std::atof(argv[++i]);
        else if (a == "-seed" && hasValue)
            options.seed = std::strtoull(argv[++i], nullptr, 10);
        else if (a == "-max" && hasValue)
            limit = std::strtoull(argv[++i], nullptr, 10);
        else if (a == "-l2" && hasValue)
            options.l2 = std::atof(argv[++i]);
        else if (a == "-min-uses" && hasValue)
            options.minUses = std::atoi(argv[++i]);
        else if (a == "-threads" && hasValue)
            options.threads = std::atoi(argv[++i]);
        else if (a[0] == '-')
            return Usage();
        else
            inputs.push_back(a);
    }
    if (inputs.empty() || options.lambda < 0 || options.lambda > 1 || options.epochs < 0) return Usage();

    const auto start = std::chrono::steady_clock::now();
    if (!PrepareEngine()) {
        std::printf("The starting weights do not load cleanly\n");
        return 1;
    }
    TraceSet set;
    set.lines = FindTunedLines();
    std::printf("%zu lines of values.txt reach the traced terms\n", set.lines.size());

    std::vector<Labelled> data;
    for (const std::string& path : inputs)
        if (!ReadLabelled(path, data, limit)) {
            std::printf("Error opening file %s...\n", path.c_str());
            return 1;
        }
    size_t refused = 0;
    for (const Labelled& l : data) {
        const float label = float(options.lambda * l.result + (1 - options.lambda) * l.score);
        if (!TracePosition(set, l.fen, label, l.result, l.game)) refused++;
    }
    std::printf("%zu positions traced (%zu refused), %zu terms, in %.1f s\n", set.positions.size(), refused,
                set.terms.size(), Seconds(start));

    const auto fit         = std::chrono::steady_clock::now();
    const TuneReport r = Tune(set, options);
    std::printf("%d lines changed in %.1f s; loss after: training %.6f, held out %.6f (against results %.6f)\n",
                r.tuned, Seconds(fit), r.trainAfter, r.heldAfter, r.heldResultAfter);

    if (!WriteValuesFile(out.c_str(), nullptr, nullptr)) {
        std::printf("Error writing %s\n", out.c_str());
        return 1;
    }
    std::printf("%s written (%d lines) in %.1f s in all\n", out.c_str(), VALUES_FILE_LINES, Seconds(start));
    return 0;
}
