// Builds values.txt contents for tests from the documented block sizes of the file, so that a
// test names a value by its block and its place in the block.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

// Values in each block 1..70 of values.txt, in file order.
inline const int ValueBlockSizes[71] = {
    0,    8,   12, 10,  2916, 2,   4,     12,   1,     2,    1,   5,   1,   16, 16, 2,   116, 2,  9,
    14,   24,  1,  3,   96,   17,  512,   51,   3,     8,    32,  384, 256, 35, 16, 384, 32768,
    1521, 98304, 1368, 192, 73, 73, 1,     6,    12,    7,    384, 18,  48,  18, 24, 8,   11,  23,
    1,    640, 18, 34,  656,  64,  6,     3,    6,     16,   12,  64,  26244, 15, 26, 14, 144};

// First line (1-based) of a block.
inline int BlockStart(int block) {
    int line = 1;
    for (int b = 1; b < block; b++) line += ValueBlockSizes[b];
    return line;
}
inline int Line(int block, int offset) { return BlockStart(block) + offset; }

struct ValuesFile {
    std::vector<int64_t> lines = std::vector<int64_t>(167793, 0);

    void Set(int block, int offset, int64_t value) { lines[Line(block, offset) - 1] = value; }
    // Every line holds its own line number.
    static ValuesFile Numbered() {
        ValuesFile f;
        for (size_t i = 0; i < f.lines.size(); i++) f.lines[i] = int64_t(i + 1);
        return f;
    }
    std::string Text(size_t count = SIZE_MAX) const {
        std::string text;
        for (size_t i = 0; i < lines.size() && i < count; i++) text += std::to_string(lines[i]) + "\n";
        return text;
    }
};

// Place of a piece-configuration pair in the imbalance block (WQ, BQ 0-1, then WR, BR, WB, BB, WN,
// BN 0-2, the first the slowest).
inline int Offset54(int wq, int bq, int wr, int br, int wb, int bb, int wn, int bn) {
    return ((((((wq * 2 + bq) * 3 + wr) * 3 + br) * 3 + wb) * 3 + bb) * 3 + wn) * 3 + bn;
}
// The same with pawns (0-2 each) as the two fastest counters.
inline int Offset486(int wq, int bq, int wr, int br, int wb, int bb, int wn, int bn, int wp, int bp) {
    return (Offset54(wq, bq, wr, br, wb, bb, wn, bn) * 3 + wp) * 3 + bp;
}
