#include "eval/krkp.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

uint64_t KrkpTable[65536];

namespace {
// Alternating runs of clear and set bits in table order, clear first; each length in base 128,
// low digits first, the high bit of a byte saying that more follow.
const uint8_t KrkpRuns[] = {
#include "eval/krkp_data.inc"
};
} // namespace

void InitKrkpTable() {
    std::memset(KrkpTable, 0, sizeof KrkpTable);
    constexpr uint64_t bits = uint64_t(sizeof KrkpTable) * 8;
    uint64_t at = 0;
    int value   = 0;
    for (size_t i = 0; i < sizeof KrkpRuns;) {
        uint64_t run = 0;
        for (int shift = 0; i < sizeof KrkpRuns; shift += 7) {
            const uint8_t byte = KrkpRuns[i++];
            run |= uint64_t(byte & 127) << shift;
            if (!(byte & 128)) break;
        }
        if (run > bits - at) break;
        // A run of set bits is written a word at a time.
        for (const uint64_t end = at + run; value && at < end;) {
            const uint64_t stop = std::min(end, (at | 63) + 1);
            const uint64_t high = stop - at == 64 ? ~0ULL : ((1ULL << (stop - at)) - 1);
            KrkpTable[at >> 6] |= high << (at & 63);
            at = stop;
        }
        if (!value) at += run;
        value ^= 1;
    }
    // The data is compiled in: a table that does not fill up is a broken build.
    if (at != bits) {
        std::fprintf(stderr, "the rook-against-pawn table is damaged\n");
        std::abort();
    }
}
