#include "tools/tune/tune.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <omp.h>
#include <unistd.h>

#include "board/geometry.h"
#include "board/position.h"
#include "eval/evaluate.h"
#include "eval/kpk.h"
#include "eval/params.h"
#include "eval/sigmoid.h"
#include "eval/trace.h"
#include "eval/values.h"

// ---------------------------------------------------------------------------------------------
// The hooks of the traced evaluation

namespace {

struct Note {
    const int32_t* entry;
    int count;
};
std::vector<Note> Notes;
bool Scaled, ScaleFixed;
int ScaleBefore, ScaleAfter;

// The packed tables whose words the evaluation reports.
struct PackedTable {
    int32_t* words;
    int count;
};
// clang-format off
const PackedTable Traced[] = {
    {PawnConnected, 64}, {PawnLeverSupport, 64}, {PawnDoubled, 64}, {PawnIsolatedOpen, 64},
    {PawnIsolatedClosed, 64}, {PawnBackwardOpen, 64}, {PawnBackwardClosed, 64}, {PawnCandidate, 64},
    {PawnSpan, 9}, {PassedSpan, 9},
    {KnightOutpost, 64}, {KnightOutpostDefended, 64}, {KnightOutpostContested, 64},
    {BishopOutpost, 64}, {BishopOutpostDefended, 64}, {BishopOutpostContested, 64},
    {PinByRook, 8}, {PinByBishop, 8}, {PinByQueen, 8},
    {&PawnWallKing, 1}, {&RookCornered, 1}, {&RookOnWeakFile, 1}, {&RookNoOpenAccess, 1},
    {&RookOnSeventh, 1}, {&RookSeventhBattery, 1}, {&RookSeventhPasser, 1}, {&RookOnEighth, 1},
    {&RookMobility, 1}, {&QueenOnEighth, 1}, {&QueenSeventhBattery, 1}, {&QueenMobility, 1},
    {&BishopMobility, 1}, {&BishopTrapped, 1}, {&BadBishopPawn, 1}, {&BadBishopBlocked, 1},
    {&BishopBothWings, 1}, {&FianchettoKing, 1}, {&BlockedPawnBonus, 1}, {&KnightBlockedPawn, 1},
    {RookOpenFile, 8}, {RookHalfOpen, 8}, {ThreatTable, 17},
    {RookBehindPasser, 64}, {RookBehindBlockedPasser, 64},
    {PasserCountBare, 5}, {PasserCountKnight, 5}, {PasserCountOther, 5},
};
// clang-format on

// For every word of the traced tables (in the order above): the lines that make it, with the
// share of the line in its midgame and endgame halves.
struct Share {
    uint32_t param;
    int16_t mg, eg;
};
std::map<const int32_t*, std::vector<Share>> WordShares;

bool KnownWord(const int32_t* word) {
    for (const PackedTable& t : Traced)
        if (word >= t.words && word < t.words + t.count) return true;
    return false;
}

} // namespace

void TraceTerm(const int32_t* entry, int count) {
    if (count) Notes.push_back({entry, count});
}

void TraceScale(int before, int after, bool fixed) {
    Scaled      = true;
    ScaleFixed  = fixed;
    ScaleBefore = before;
    ScaleAfter  = after;
}

// ---------------------------------------------------------------------------------------------
// Setting the engine up

namespace {

// Runs `work` with standard output going to a scratch file and returns what it printed.
template <class F> std::string Captured(F work) {
    std::fflush(stdout);
    std::FILE* scratch = std::tmpfile();
    const int saved    = dup(1);
    dup2(fileno(scratch), 1);
    work();
    std::fflush(stdout);
    dup2(saved, 1);
    close(saved);
    std::string text;
    std::rewind(scratch);
    char buffer[4096];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof(buffer), scratch)) > 0) text.append(buffer, got);
    std::fclose(scratch);
    return text;
}

void Rebuild() {
    BuildDerivedTables();
    PackEvaluationTables();
}

} // namespace

bool PrepareEngine() {
    static bool tables = false;
    if (!tables) {
        InitBoardTables();
        tables = true;
    }
    SetDefaultEvalSettings();
    PawnHashEntries = 0; // every structure scored afresh, so that its terms are traced
    AllocatePawnHash();
    FreeEvalCache();

    // The engine reads the file from its working folder: the weights go there through a file, so
    // that every step a load takes (curves put in, repairs, derived tables) happens here too.
    char folder[] = "/tmp/velumbrak-tune-XXXXXX";
    if (!mkdtemp(folder)) return false;
    const std::string path = std::string(folder) + "/values.txt";
    char here[4096];
    if (!getcwd(here, sizeof(here))) return false;
    bool ok = WriteValuesFile(path.c_str(), nullptr, nullptr);
    if (ok && chdir(folder) == 0) {
        const std::string printed = Captured([] { LoadEvaluationValues(); });
        ok = printed.find("fix") == std::string::npos && printed.find("Error") == std::string::npos;
        if (chdir(here) != 0) ok = false;
    }
    std::remove(path.c_str());
    rmdir(folder);
    InitSigmoidTables();
    InitKpkTables();
    return ok;
}

std::vector<TunedLine> FindTunedLines() {
    const std::vector<ValueLine> map = ValueLineMap();
    // A line owns the raw values that no later line overwrites when the file is read.
    std::map<int32_t*, int> owner;
    for (int i = 0; i < int(map.size()); i++)
        for (int32_t* t : map[i].target)
            if (t) owner[t] = i;

    std::vector<int32_t> before;
    for (const PackedTable& t : Traced) before.insert(before.end(), t.words, t.words + t.count);

    std::vector<TunedLine> lines;
    WordShares.clear();
    constexpr int STEP = 64;
    for (int i = 0; i < int(map.size()); i++) {
        int32_t* owned[2] = {nullptr, nullptr};
        int n             = 0;
        for (int32_t* t : map[i].target)
            if (t && owner[t] == i) owned[n++] = t;
        if (!n) continue;
        const int32_t start = *owned[0];
        for (int k = 0; k < n; k++) *owned[k] += STEP;
        Rebuild();
        bool reaches = false;
        size_t at    = 0;
        for (const PackedTable& t : Traced)
            for (int w = 0; w < t.count; w++, at++) {
                if (t.words[w] == before[at]) continue;
                const int mg = PairMidgame(t.words[w]) - PairMidgame(before[at]);
                const int eg = PairEndgame(t.words[w]) - PairEndgame(before[at]);
                if (!reaches) lines.push_back({i, {owned[0], owned[1]}, start, 0, 0});
                reaches = true;
                WordShares[t.words + w].push_back({uint32_t(lines.size() - 1), int16_t(mg / STEP), int16_t(eg / STEP)});
            }
        for (int k = 0; k < n; k++) *owned[k] -= STEP;
    }
    // The loader repairs some values into a range: the fit stays inside it, so that the written
    // file needs no repair.
    Captured([&] {
        for (TunedLine& l : lines) {
            l.low = INT32_MIN / 2, l.high = INT32_MAX / 2;
            for (int32_t* bound : {&l.low, &l.high}) {
                const int32_t probe = *bound;
                for (int32_t* t : l.target)
                    if (t) *t = probe;
                FixValues();
                if (*l.target[0] != probe) *bound = *l.target[0];
            }
            for (int32_t* t : l.target)
                if (t) *t = l.start;
        }
    });
    Rebuild();
    return lines;
}

// ---------------------------------------------------------------------------------------------
// Tracing positions

bool TracePosition(TraceSet& set, const std::string& fen, float label, float result, uint32_t game) {
    std::string printed;
    bool legal = false;
    printed    = Captured([&] { legal = SetFen(fen.c_str()); });
    if (!legal) return false;

    Notes.clear();
    Scaled     = false;
    EngineSide = thread_board.SideToMove;
    int value  = 0;
    EvaluateFull(&value);
    const EvalInfo& e = thread_eval_info;

    TracedPosition p{};
    p.label  = label;
    p.result = result;
    p.final0 = -e.FinalScore;
    p.phase  = int16_t(thread_board.current_phase);
    p.linear = Scaled;
    p.fixed  = Scaled && ScaleFixed;
    p.game   = game;
    p.scale  = 1.0f;
    p.first  = uint32_t(set.terms.size());
    if (Scaled) {
        p.mg0   = PairMidgame(e.PackedScore);
        p.eg0   = PairEndgame(e.PackedScore);
        p.rest0 = e.RawScore - (p.mg0 * (256 - p.phase) + p.eg0 * p.phase) / 256;
        if (ScaleBefore != ScaleAfter) p.scale = ScaleBefore ? float(ScaleAfter) / float(ScaleBefore) : 1.0f;
        // Sum the notes by line.
        std::map<uint32_t, std::pair<int, int>> sum;
        for (const Note& n : Notes) {
            auto found = WordShares.find(n.entry);
            if (found == WordShares.end()) {
                // A word that no line makes (a fixed entry) adds a constant.
                if (KnownWord(n.entry)) continue;
                std::fprintf(stderr, "traced word outside the known tables\n");
                std::abort();
            }
            for (const Share& s : found->second) {
                sum[s.param].first += s.mg * n.count;
                sum[s.param].second += s.eg * n.count;
            }
        }
        for (const auto& [param, c] : sum)
            if (c.first || c.second) set.terms.push_back({param, int16_t(c.first), int16_t(c.second)});
    }
    p.count = uint32_t(set.terms.size()) - p.first;
    set.positions.push_back(p);
    return true;
}

int TracedEvaluation(const TraceSet& set, const TracedPosition& p) {
    if (!p.linear) return p.final0;
    int mg = p.mg0, eg = p.eg0;
    for (uint32_t i = p.first; i < p.first + p.count; i++) {
        const LineUse& t  = set.terms[i];
        const TunedLine& l  = set.lines[t.param];
        const int change    = *l.target[0] - l.start;
        mg += t.mg * change;
        eg += t.eg * change;
    }
    const int raw0 = (p.mg0 * (256 - p.phase) + p.eg0 * p.phase) / 256;
    const int raw  = (mg * (256 - p.phase) + eg * p.phase) / 256;
    // White's view: the blend is Black's.
    return p.final0 - int(std::lround(double(p.scale) * (raw - raw0)));
}

// ---------------------------------------------------------------------------------------------
// Reading labelled positions

namespace {

// Chance of a win from a score in centipawns, for the engines that played the games.
float ScoreChance(double centipawns) {
    return float(1.0 / (1.0 + std::pow(10.0, -centipawns / 400.0)));
}

bool ReadEpdLine(const std::string& line, Labelled& out) {
    std::vector<std::string> fields;
    size_t at = 0;
    for (int i = 0; i < 4; i++) {
        while (at < line.size() && line[at] == ' ') at++;
        const size_t end = line.find(' ', at);
        if (end == std::string::npos) return false;
        fields.push_back(line.substr(at, end - at));
        at = end;
    }
    out.fen = fields[0] + " " + fields[1] + " " + fields[2] + " " + fields[3] + " 0 1";
    const size_t c9 = line.find("c9 \"", at);
    if (c9 == std::string::npos) return false;
    const std::string result = line.substr(c9 + 4, 3);
    if (result == "1-0")
        out.result = 1.0f;
    else if (result == "0-1")
        out.result = 0.0f;
    else if (result == "1/2")
        out.result = 0.5f;
    else
        return false;
    out.score       = out.result;
    const size_t ce = line.find("ce ", at);
    if (ce != std::string::npos) {
        const double cp = std::atof(line.c_str() + ce + 3);
        out.score       = ScoreChance(fields[1] == "w" ? cp : -cp);
    }
    return true;
}

// position;move;plies left;PlyCount;outcome for the side to move (0 drawn, 1 won, 2 lost)
bool ReadCsvLine(const std::string& line, Labelled& out, uint32_t& pliesLeft) {
    std::vector<std::string> fields;
    size_t at = 0;
    for (;;) {
        const size_t end = line.find(';', at);
        fields.push_back(line.substr(at, end == std::string::npos ? std::string::npos : end - at));
        if (end == std::string::npos) break;
        at = end + 1;
    }
    if (fields.size() != 5) return false;
    out.fen             = fields[0];
    pliesLeft           = uint32_t(std::atoi(fields[2].c_str()));
    const int outcome   = std::atoi(fields[4].c_str());
    const size_t blank  = out.fen.find(' ');
    if (blank == std::string::npos || outcome < 0 || outcome > 2) return false;
    const bool white    = out.fen[blank + 1] == 'w';
    const float forMover = outcome == 0 ? 0.5f : outcome == 1 ? 1.0f : 0.0f;
    out.result = out.score = white ? forMover : 1.0f - forMover;
    return true;
}

} // namespace

bool ReadLabelled(const std::string& path, std::vector<Labelled>& out, size_t limit) {
    std::ifstream in(path);
    if (!in) return false;
    const bool csv = path.size() >= 4 && path.compare(path.size() - 4, 4, ".csv") == 0;
    std::string line;
    // Games are numbered on from those already read, so that several files never share one.
    uint32_t game = out.empty() ? 0 : out.back().game + 1, pliesLeft = 0, before = 0;
    bool first    = true;
    while (out.size() < limit && std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        Labelled l;
        if (!(csv ? ReadCsvLine(line, l, pliesLeft) : ReadEpdLine(line, l))) continue;
        // pgneval writes a game's moves in order, the plies left falling towards 1: a rise starts
        // the next game.
        if (!first && (!csv || pliesLeft >= before)) game++;
        first  = false;
        before = pliesLeft;
        l.game = game;
        out.push_back(l);
    }
    return true;
}

// ---------------------------------------------------------------------------------------------
// The fit

namespace {

// Evaluation from White's view with the weights `theta` (one per tuned line), as a real number.
double Eval(const TraceSet& set, const TracedPosition& p, const std::vector<double>& delta) {
    if (!p.linear) return p.final0;
    double mg = 0, eg = 0;
    for (uint32_t i = p.first; i < p.first + p.count; i++) {
        const LineUse& t = set.terms[i];
        mg += t.mg * delta[t.param];
        eg += t.eg * delta[t.param];
    }
    return p.final0 - p.scale * (mg * (256 - p.phase) + eg * p.phase) / 256.0;
}

double Sigmoid(double k, double e) { return 1.0 / (1.0 + std::exp(-k * e)); }

double Loss(const TraceSet& set, const std::vector<uint32_t>& which, const std::vector<double>& delta, double k,
            bool results) {
    double sum = 0;
    for (uint32_t i : which) {
        const TracedPosition& p = set.positions[i];
        const double d          = Sigmoid(k, Eval(set, p, delta)) - (results ? p.result : p.label);
        sum += d * d;
    }
    return which.empty() ? 0 : sum / double(which.size());
}

uint64_t Mix(uint64_t x) {
    x += 0x9E3779B97F4A7C15ULL;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
    return x ^ (x >> 31);
}

} // namespace

TuneReport Tune(TraceSet& set, const TuneOptions& o) {
    TuneReport r{};
    const int nLines = int(set.lines.size());
    std::vector<uint32_t> train, held;
    for (uint32_t i = 0; i < set.positions.size(); i++)
        (Mix(set.positions[i].game ^ Mix(o.seed)) % uint64_t(o.holdoutEvery) == 0 ? held : train).push_back(i);

    std::vector<double> delta(nLines, 0.0);
    // The scaling constant first: a golden-section search on the training loss at the start.
    double lo = 0.0005, hi = 0.02;
    const double g = (std::sqrt(5.0) - 1) / 2;
    for (int i = 0; i < 40; i++) {
        const double a = hi - g * (hi - lo), b = lo + g * (hi - lo);
        if (Loss(set, train, delta, a, false) < Loss(set, train, delta, b, false))
            hi = b;
        else
            lo = a;
    }
    const double k = r.k = (lo + hi) / 2;
    r.trainBefore         = Loss(set, train, delta, k, false);
    r.heldBefore          = Loss(set, held, delta, k, false);
    r.heldResultBefore    = Loss(set, held, delta, k, true);
    if (!o.quiet)
        std::printf("K = %.6f; loss at the start: training %.6f, held out %.6f (against results %.6f)\n", k,
                    r.trainBefore, r.heldBefore, r.heldResultBefore);

    // Lines that too few positions use keep their start.
    std::vector<int> uses(nLines, 0);
    for (uint32_t i : train) {
        const TracedPosition& p = set.positions[i];
        for (uint32_t t = p.first; t < p.first + p.count; t++) uses[set.terms[t].param]++;
    }

    // Adam over the whole training set, one step per epoch; each thread sums its own share of
    // the gradient and the shares are added in a fixed order, so that a run repeats exactly.
    const int threads = std::max(1, o.threads);
    std::vector<std::vector<double>> partial(threads, std::vector<double>(nLines));
    std::vector<double> m(nLines, 0.0), v(nLines, 0.0), grad(nLines);
    const double beta1 = 0.9, beta2 = 0.999;
    for (int epoch = 1; epoch <= o.epochs; epoch++) {
#pragma omp parallel num_threads(threads)
        {
            const int id        = omp_get_thread_num();
            std::vector<double>& part = partial[id];
            std::fill(part.begin(), part.end(), 0.0);
            const size_t from = train.size() * id / threads, to = train.size() * (id + 1) / threads;
            for (size_t n = from; n < to; n++) {
                const TracedPosition& p = set.positions[train[n]];
                if (!p.linear || !p.count) continue;
                const double s = Sigmoid(k, Eval(set, p, delta));
                // d loss / d eval, and d eval / d line = -scale * (mg (256 - phase) + eg phase) / 256.
                const double common = 2 * (s - p.label) * s * (1 - s) * k * -p.scale / 256.0;
                for (uint32_t t = p.first; t < p.first + p.count; t++) {
                    const LineUse& term = set.terms[t];
                    part[term.param] += common * (term.mg * (256 - p.phase) + term.eg * p.phase);
                }
            }
        }
        for (int l = 0; l < nLines; l++) {
            double sum = 0;
            for (int t = 0; t < threads; t++) sum += partial[t][l];
            grad[l] = sum / double(train.size()) + o.l2 * delta[l];
        }
        for (int l = 0; l < nLines; l++) {
            if (uses[l] < o.minUses) continue;
            m[l]            = beta1 * m[l] + (1 - beta1) * grad[l];
            v[l]            = beta2 * v[l] + (1 - beta2) * grad[l] * grad[l];
            const double mh = m[l] / (1 - std::pow(beta1, epoch)), vh = v[l] / (1 - std::pow(beta2, epoch));
            delta[l] -= o.rate * mh / (std::sqrt(vh) + 1e-12);
            delta[l] = std::clamp(delta[l], double(set.lines[l].low) - set.lines[l].start,
                                  double(set.lines[l].high) - set.lines[l].start);
        }
        if (!o.quiet && (epoch % 50 == 0 || epoch == o.epochs))
            std::printf("epoch %d: training %.6f, held out %.6f\n", epoch, Loss(set, train, delta, k, false),
                        Loss(set, held, delta, k, false));
    }

    // Whole numbers, as the file holds them; the losses after are those of the rounded weights.
    for (int l = 0; l < nLines; l++) {
        delta[l]          = std::round(delta[l]);
        const int32_t val = set.lines[l].start + int32_t(delta[l]);
        for (int32_t* t : set.lines[l].target)
            if (t) *t = val;
        if (delta[l] != 0) r.tuned++;
    }
    r.trainAfter      = Loss(set, train, delta, k, false);
    r.heldAfter       = Loss(set, held, delta, k, false);
    r.heldResultAfter = Loss(set, held, delta, k, true);
    return r;
}
