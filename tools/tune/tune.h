// The tuner: fits the linear weights of the evaluation to labelled positions and writes them as
// values.txt.
//
// For every position the evaluation runs once with its tracing hooks: each packed word it adds
// reports its table entry and count, and a probe of the derived-table code tells which lines of
// values.txt make that word. So a position's score becomes its score at the starting weights plus
// a short sum over the lines it uses, and an epoch over half a million positions is a pass over
// those sums rather than half a million evaluations.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

// One line of values.txt that the trace reaches, with its value at the start.
struct TunedLine {
    int line; // 0-based line of the file
    int32_t* target[2];
    int32_t start;
    int32_t low, high; // the range the loader leaves alone
};

// How often a line enters a position's midgame and endgame sums (from Black's view).
struct LineUse {
    uint32_t param; // index into the tuned lines
    int16_t mg, eg;
};

struct TracedPosition {
    float label;      // the target: chance that White wins (a draw 0.5)
    float result;     // the game result alone, for the held-out loss
    int32_t final0;   // the evaluation from White's view at the starting weights
    int32_t mg0, eg0; // the packed sums at the start (Black's view)
    int32_t rest0;    // the side-by-side sums of the blend, which no tuned line reaches
    int16_t phase;    // 0 full board .. 256 empty
    float scale;      // what the scaling rules did to the blend (1 for most)
    bool linear;      // false: the evaluation ended early and the weights do not reach it
    bool fixed;       // no rule after the blend could act here, so the trace is exact
    uint32_t game;    // positions of one game are held out together
    uint32_t first, count;
};

struct TraceSet {
    std::vector<TunedLine> lines;
    std::vector<TracedPosition> positions;
    std::vector<LineUse> terms;
};

// Sets the engine up as it plays with a values file: tables, and the weights in memory (or the
// compiled-in defaults) loaded through a written file. Returns false if that file asked for repairs.
bool PrepareEngine();

// The lines of values.txt that reach a traced table, found by changing each line and watching the
// packed tables.
std::vector<TunedLine> FindTunedLines();

// Appends one position (a FEN or EPD line) with its label; false if the position is not legal.
// `game` numbers the game the position comes from.
bool TracePosition(TraceSet& set, const std::string& fen, float label, float result, uint32_t game);

// Integer evaluation (White's view) that the trace gives for the weights now in the tuned lines'
// targets, the way the engine computes it; where no rule after the blend can act (`fixed`) it
// equals the engine's own.
int TracedEvaluation(const TraceSet& set, const TracedPosition& p);

// Labelled positions from files: EPD with c9 (result) and ce (score, side to move) operations, or
// the CSV lines of pgneval. lambda weighs the result against the score's win chance.
struct Labelled {
    std::string fen;
    float result, score; // White's view; score is the chance from ce (or the result if none)
    uint32_t game;       // CSV lines of one game share it; each EPD line is a game of its own
};
bool ReadLabelled(const std::string& path, std::vector<Labelled>& out, size_t limit);

struct TuneOptions {
    double lambda    = 1.0;
    int epochs       = 1000;
    double rate      = 1.0;
    uint64_t seed    = 1;
    int holdoutEvery = 10; // one game in this many is kept out of the fit
    int minUses      = 200;  // lines used by fewer training positions keep their start
    double l2        = 1e-8; // pull of each line towards its start, per centipawn of change
    int threads      = 1;
    bool quiet       = false;
};

struct TuneReport {
    double k;
    double trainBefore, trainAfter, heldBefore, heldAfter;         // loss against the labels
    double heldResultBefore, heldResultAfter;                        // loss against game results
    int tuned;                                                       // lines moved
};

// Fits the scaling constant, then the lines, and leaves the rounded values in the lines' targets.
TuneReport Tune(TraceSet& set, const TuneOptions& options);
