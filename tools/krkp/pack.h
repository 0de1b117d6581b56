// The table packed for the source tree: the bits in table order as alternating runs, clear bits
// first, each run length a little-endian base-128 number (high bit: more bytes follow). A bit of a
// position that cannot arise continues the run it falls in.
#pragma once
#include <cstdint>
#include <vector>

namespace krkp {

std::vector<uint8_t> Pack(const std::vector<uint64_t>& table);
// Writes the bytes as a comma-separated list for an array initialiser.
bool WritePackedSource(const std::vector<uint64_t>& table, const char* path);

} // namespace krkp
