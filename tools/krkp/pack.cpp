#include "tools/krkp/pack.h"

#include <cstdio>

#include "tools/krkp/solver.h"

namespace krkp {

std::vector<uint8_t> Pack(const std::vector<uint64_t>& table) {
    std::vector<uint8_t> bytes;
    auto put = [&](uint64_t run) {
        for (; run >= 128; run >>= 7) bytes.push_back(uint8_t(run & 127) | 128);
        bytes.push_back(uint8_t(run));
    };
    int current  = 0;
    uint64_t run = 0;
    for (size_t word = 0; word < table.size(); word++) {
        const int rook = int(word >> 10), rookKing = int((word >> 4) & 63), k = int(word & 15);
        const int pawn = (k / 4 + 3) * 8 + k % 4 + 4;
        for (int pawnKing = 0; pawnKing < 64; pawnKing++) {
            int bit = int((table[word] >> pawnKing) & 1);
            if (!KrkpLegal(rook, rookKing, pawn, pawnKing)) bit = current;
            if (bit != current) put(run), run = 0, current = bit;
            run++;
        }
    }
    put(run);
    return bytes;
}

bool WritePackedSource(const std::vector<uint64_t>& table, const char* path) {
    const std::vector<uint8_t> bytes = Pack(table);
    FILE* f = std::fopen(path, "w");
    if (!f) return false;
    std::fprintf(f, "// Written by velumbrak-krkp (tools/krkp); %zu bytes.\n", bytes.size());
    for (size_t i = 0; i < bytes.size(); i++) std::fprintf(f, "%u%s", bytes[i], (i % 24 == 23 || i + 1 == bytes.size()) ? ",\n" : ",");
    return std::fclose(f) == 0;
}

} // namespace krkp
