// Training data and evaluation dumps: the developer's offline tools over PGN and EPD files.
#pragma once
#include <cstdint>

// What pgneval made of a file.
struct PgnEvalCounts {
    int games;         // games found
    int broken;        // games with a move, tag or set-up that could not be read; the rest of
                       // such a game is not played
    int64_t moves;     // moves played
    int64_t lines;     // training lines written
};
extern PgnEvalCounts PgnCounts;

// Plays every game of the file and appends one line per quiet move of a game with a result to
// "my_eval.csv": the position, the move, plies left and the PlyCount tag, and the outcome for the
// side to move (0 drawn, 1 won, 2 lost). Ends with a line of the counts. A file that cannot be
// read prints "Error opening file <path>...".
void RunPgnEvaluation(const char* path);
// The same after putting the piece-square and derived tables back from their sources and
// emptying the tables through `clean`.
void RunSelfTest(const char* path, void (*clean)());
// One line per position of `path` in `out`: the line as read, ";" and the full static evaluation.
void RunEpdEvaluation(const char* path, const char* out);
