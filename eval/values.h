// values.txt: the tuned evaluation weights, read at start-up and by `reload`.
#pragma once
#include <cstdint>
#include <vector>

constexpr int VALUES_FILE_LINES = 167793;
constexpr int CONFIG54          = 54;  // knights + 3 bishops + 9 rooks + 27 queens (at most one)
constexpr int CONFIG486         = 486; // pawns + 9 knights + 27 bishops + 81 rooks + 243 queens
constexpr int TABLE54_SIZE      = CONFIG54 * CONFIG54;
constexpr int TABLE486_SIZE     = CONFIG486 * CONFIG486;

// Move statistics of the tuning runs: [phase class][piece: K N P R B Q][from][to][a, b].
extern int64_t PruneStats[2][6][64][64][2];

// Reads the file, fixes the time factors, and rebuilds the material table and every derived
// table. Without a file the compiled-in defaults stand.
void LoadEvaluationValues();
// Zeroes the material parameters and the three tables given ([White][Black] each; the time
// factors become 256), then reads "values.txt" over the parameters. Prints "Error loading
// values.txt" when the file cannot be opened.
void ReadValuesFile(int32_t* table54, int32_t* table486, int32_t* timeTable);

// Writes every parameter as it stands, in the file's order, to `path`: the imbalance tables from
// the two given [White][Black] tables (0 where null), the move statistics from PruneStats, 0 for
// values that nothing reads. Reading the file back gives the same parameters.
bool WriteValuesFile(const char* path, const int32_t* table54, const int32_t* table486);

// Where one line of the file goes: the raw parameters it sets (a half-board or mirrored value sets
// two; none for the imbalance tables, the move statistics and values nothing reads).
struct ValueLine {
    int block;
    int32_t* target[2];
};
// One entry per line of the file, in order.
std::vector<ValueLine> ValueLineMap();
