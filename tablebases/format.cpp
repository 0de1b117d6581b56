#include "tablebases/format.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tablebases/registry.h"

// ---------------------------------------------------------------------------------------------
// Geometry of the encoders

namespace {

constexpr int KING_PAIRS       = 462;
constexpr int THREE_UNIQUE     = 31332;
constexpr int NO_ORDER         = 15;
constexpr uint8_t WDL_MAGIC[4] = {0x71, 0xE8, 0x23, 0x5D};
constexpr uint8_t DTZ_MAGIC[4] = {0xD7, 0x66, 0x0C, 0xA5};

int8_t DiagonalSide[64];   // +1 above a1-h8, -1 below, 0 on it
uint8_t DiagonalFlip[64];  // file and rank exchanged
uint8_t TriangleClass[64]; // class of the square folded into a1-d1-d4
uint8_t LowerIndex[64];
uint8_t DiagonalIndex[64];
uint8_t PawnOrderIndex[64];
uint8_t LeadPawnSquare[24];
int16_t KingPairIndex[10][64];
uint32_t Binomial[5][64]; // [k][n] = C(n, k + 1)
uint32_t PawnIndexBase[4][24];
uint32_t PawnIndexSize[4][4];

// The triangle square of each class.
constexpr int TriangleSquare[10] = {1, 2, 3, 10, 11, 19, 0, 9, 18, 27};

int Distance(int a, int b) {
    const int df = std::abs((a & 7) - (b & 7)), dr = std::abs((a >> 3) - (b >> 3));
    return df > dr ? df : dr;
}

} // namespace

const uint8_t FoldedFile[8] = {0, 1, 2, 3, 3, 2, 1, 0};
uint8_t LeadPawnIndex[64];

void init_binomials() {
    for (int sq = 0; sq < 64; sq++) {
        const int file = sq & 7, rank = sq >> 3;
        DiagonalSide[sq] = rank > file ? 1 : rank < file ? -1 : 0;
        DiagonalFlip[sq] = uint8_t((sq >> 3) | ((sq & 7) << 3));
        int f = file > 3 ? 7 - file : file, r = rank > 3 ? 7 - rank : rank;
        if (r > f) std::swap(f, r);
        for (int c = 0; c < 10; c++)
            if (TriangleSquare[c] == r * 8 + f) TriangleClass[sq] = uint8_t(c);
        DiagonalIndex[sq] = file == rank ? uint8_t(file) : file + rank == 7 ? uint8_t(8 + rank) : 0;
        if (rank >= 1 && rank <= 6) {
            const int edge     = file < 7 - file ? file : 7 - file;
            LeadPawnIndex[sq]  = uint8_t(6 * edge + rank - 1);
            PawnOrderIndex[sq] = uint8_t(47 - 12 * edge - 2 * (rank - 1) - (file >= 4 ? 1 : 0));
        }
    }
    // Below the diagonal rank by rank from b1, the mirror above it, the diagonal itself last.
    int n = 0;
    for (int rank = 0; rank < 8; rank++)
        for (int file = rank + 1; file < 8; file++) LowerIndex[rank * 8 + file] = uint8_t(n++);
    for (int sq = 0; sq < 64; sq++)
        if (DiagonalSide[sq] > 0) LowerIndex[sq] = LowerIndex[DiagonalFlip[sq]];
    for (int i = 0; i < 8; i++) LowerIndex[9 * i] = uint8_t(28 + i);
    for (int i = 0; i < 24; i++) LeadPawnSquare[i] = uint8_t(8 * (i % 6 + 1) + i / 6);

    // Two kings: every legal pair with the first king in the triangle; pairs with both kings on
    // the diagonal come last.
    int number = 0, asideCount = 0, aside[64][2];
    for (int c = 0; c < 10; c++) {
        const int k1 = TriangleSquare[c];
        for (int k2 = 0; k2 < 64; k2++) {
            KingPairIndex[c][k2] = -1;
            if (Distance(k1, k2) <= 1 || (DiagonalSide[k1] == 0 && DiagonalSide[k2] > 0)) continue;
            if (DiagonalSide[k1] == 0 && DiagonalSide[k2] == 0) {
                aside[asideCount][0] = c;
                aside[asideCount][1] = k2;
                asideCount++;
                continue;
            }
            KingPairIndex[c][k2] = int16_t(number++);
        }
    }
    for (int i = 0; i < asideCount; i++) KingPairIndex[aside[i][0]][aside[i][1]] = int16_t(number++);

    for (int k = 0; k < 5; k++)
        for (int m = 0; m < 64; m++) {
            uint64_t f = 1, l = 1;
            for (int i = 0; i <= k; i++) {
                f *= uint64_t(m - i > 0 ? m - i : 0);
                l *= uint64_t(i + 1);
            }
            Binomial[k][m] = uint32_t(f / l);
        }
    for (int t = 0; t < 4; t++) {
        uint32_t s = 0;
        for (int j = 0; j < 24; j++) {
            if (j % 6 == 0) s = 0;
            PawnIndexBase[t][j] = s;
            s += t == 0 ? 1 : Binomial[t - 1][PawnOrderIndex[LeadPawnSquare[j]]];
            if (j % 6 == 5) PawnIndexSize[t][j / 6] = s;
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Encoders

namespace {

void SortAscending(int* squares, int count) {
    for (int i = 1; i < count; i++)
        for (int j = i; j > 0 && squares[j] < squares[j - 1]; j--) std::swap(squares[j], squares[j - 1]);
}

// Like men after the leading group: each group as a combination of the squares the men before it
// leave free.
uint64_t EncodeGroups(int men, int i, const TableSection* section, int* squares, int offset) {
    uint64_t idx = 0;
    while (i < men) {
        const int t = section->group_size[i];
        SortAscending(squares + i, t);
        uint64_t s = 0;
        for (int m = i; m < i + t; m++) {
            int j = 0;
            for (int k = 0; k < i; k++) j += squares[k] < squares[m];
            s += Binomial[m - i][squares[m] - j - offset];
        }
        idx += s * section->factor[i];
        i += t;
        offset = 0;
    }
    return idx;
}

} // namespace

uint64_t encode_piece_index(int men, int encoding, const TableSection* section, int* sq) {
    if (sq[0] & 4)
        for (int i = 0; i < men; i++) sq[i] ^= 7;
    if (sq[0] & 32)
        for (int i = 0; i < men; i++) sq[i] ^= 56;
    int i = 0;
    while (i < men && !DiagonalSide[sq[i]]) i++;
    if (i < men && i < (encoding == 0 ? 3 : 2) && DiagonalSide[sq[i]] > 0)
        for (int k = 0; k < men; k++) sq[k] = DiagonalFlip[sq[k]];

    uint64_t idx;
    if (encoding == 2) {
        idx = uint64_t(KingPairIndex[TriangleClass[sq[0]]][sq[1]]);
        i   = 2;
    } else {
        const int a = sq[1] > sq[0], b = (sq[2] > sq[0]) + (sq[2] > sq[1]);
        if (DiagonalSide[sq[0]])
            idx = TriangleClass[sq[0]] * 63 * 62 + (sq[1] - a) * 62 + sq[2] - b;
        else if (DiagonalSide[sq[1]])
            idx = 6 * 63 * 62 + DiagonalIndex[sq[0]] * 28 * 62 + LowerIndex[sq[1]] * 62 + sq[2] - b;
        else if (DiagonalSide[sq[2]])
            idx = 6 * 63 * 62 + 4 * 28 * 62 + DiagonalIndex[sq[0]] * 7 * 28 +
                  (DiagonalIndex[sq[1]] - a) * 28 + LowerIndex[sq[2]];
        else
            idx = 6 * 63 * 62 + 4 * 28 * 62 + 4 * 7 * 28 + DiagonalIndex[sq[0]] * 7 * 6 +
                  (DiagonalIndex[sq[1]] - a) * 6 + DiagonalIndex[sq[2]] - b;
        i = 3;
    }
    return idx * section->factor[0] + EncodeGroups(men, i, section, sq, 0);
}

uint64_t encode_pawn_index(int men, const uint8_t* pawns, const TableSection* section, int* sq) {
    if (sq[0] & 4)
        for (int i = 0; i < men; i++) sq[i] ^= 7;
    // The other leading pawns, highest order index first.
    for (int i = 2; i < pawns[0]; i++)
        for (int j = i; j > 1 && PawnOrderIndex[sq[j]] > PawnOrderIndex[sq[j - 1]]; j--)
            std::swap(sq[j], sq[j - 1]);
    const int t  = pawns[0] - 1;
    uint64_t idx = PawnIndexBase[t][LeadPawnIndex[sq[0]]];
    for (int i = t; i >= 1; i--) idx += Binomial[t - i][PawnOrderIndex[sq[i]]];
    idx *= section->factor[0];
    // The other side's pawns have 48 squares: their offset is one rank.
    return idx + EncodeGroups(men, pawns[0], section, sq, pawns[1] ? 8 : 0);
}

// ---------------------------------------------------------------------------------------------
// Header parsing. Every part of a file is taken through a reader that knows the file's end, so
// that a damaged or cut file is found out instead of read past.

namespace {

struct Reader {
    const uint8_t* base;
    size_t size, at;
    bool bad;
    // n bytes at the current place, or nullptr (and the reader bad) when the file ends first.
    const uint8_t* Take(uint64_t n) {
        if (bad || n > size - at) {
            bad = true;
            return nullptr;
        }
        const uint8_t* p = base + at;
        at += size_t(n);
        return p;
    }
    void Align(size_t step) {
        if (at % step) at += step - at % step;
        if (at > size) bad = true, at = size;
    }
};

inline uint32_t U16(const uint8_t* p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8);
}
inline uint32_t U32(const uint8_t* p) {
    return U16(p) | (U16(p + 2) << 16);
}

// Piece codes of the files: 1 pawn, 2 knight, 3 bishop, 4 rook, 5 queen, 6 king; +8 the second side.
constexpr int PieceOfCode[7] = {0, PAWN, KNIGHT, BISHOP, ROOK, QUEEN, KING};

// The piece list of a section names exactly the men of the entry's material.
bool PiecesMatch(const uint8_t* pieces, int men, u64 key) {
    int counts[8][2] = {};
    for (int i = 0; i < men; i++) {
        const int code = pieces[i] & 7;
        if (code < 1 || code > 6 || (pieces[i] & ~15)) return false;
        counts[PieceOfCode[code]][pieces[i] >> 3]++;
    }
    return counts[KING][0] == 1 && counts[KING][1] == 1 && material_key(counts, false) == key;
}

void ComputeGroups(TableSection* s, int men, int first, int second) {
    std::memset(s->group_size, 0, sizeof s->group_size);
    s->group_size[0] = uint8_t(first);
    int i            = first;
    if (second) {
        s->group_size[first] = uint8_t(second);
        i += second;
    }
    while (i < men) {
        int j = i + 1;
        while (j < men && s->pieces[j] == s->pieces[i]) j++;
        s->group_size[i] = uint8_t(j - i);
        i                = j;
    }
}

// Factors of the groups in the order the file gives: the leading group, with `leadPlaces` ways to
// stand, at place `order`; the other side's pawns, with `secondPlaces`, at `order2` (-1: none);
// then the groups of like men from `i` on. The result is the number of positions, or 0 when the
// order names no place for the leading group.
uint64_t ComputeFactors(TableSection* s, int men, int order, uint64_t leadPlaces, int order2,
                        uint64_t secondPlaces, int i) {
    int n        = 64 - i;
    uint64_t f   = 1;
    bool leading = false;
    for (int k = 0; i < men || k == order || k == order2; k++) {
        if (k == order) {
            s->factor[0] = uint32_t(f);
            f *= leadPlaces;
            leading = true;
        } else if (k == order2) {
            s->factor[s->group_size[0]] = uint32_t(f);
            f *= secondPlaces;
        } else {
            s->factor[i] = uint32_t(f);
            f *= Binomial[s->group_size[i] - 1][n];
            n -= s->group_size[i];
            i += s->group_size[i];
        }
    }
    return leading ? f : 0;
}

uint64_t ComputePieceFactors(TableSection* s, int men, int encoding, int order) {
    return ComputeFactors(s, men, order, encoding == 0 ? THREE_UNIQUE : KING_PAIRS, -1, 0, s->group_size[0]);
}

uint64_t ComputePawnFactors(TableSection* s, int men, int order, int order2, int file) {
    const int lead = s->group_size[0];
    if (order2 == NO_ORDER) return ComputeFactors(s, men, order, PawnIndexSize[lead - 1][file], -1, 0, lead);
    const int second = s->group_size[lead];
    return ComputeFactors(s, men, order, PawnIndexSize[lead - 1][file], order2,
                          Binomial[second - 1][48 - lead], lead + second);
}

// The symbol lengths of a stream; false when a pattern names no symbol or the symbols loop.
bool ComputeSymbolLength(PairsData* d, int s, uint8_t* state) {
    if (state[s] == 2) return true;
    if (state[s] == 1) return false;
    state[s]         = 1;
    const uint8_t* p = d->symbol_pattern + 3 * s;
    const int s1 = ((p[1] & 0xF) << 8) | p[0], s2 = (p[2] << 4) | (p[1] >> 4);
    if (s2 == 0xFFF) {
        d->symbol_length[s] = 0;
    } else {
        if (s1 >= d->symbol_count || s2 >= d->symbol_count) return false;
        if (!ComputeSymbolLength(d, s1, state) || !ComputeSymbolLength(d, s2, state)) return false;
        const int length = d->symbol_length[s1] + d->symbol_length[s2] + 1;
        if (length > 255) return false;
        d->symbol_length[s] = uint8_t(length);
    }
    state[s] = 2;
    return true;
}

// One side's piece list in a file block (order byte, the other pawns' order byte when there are
// such pawns, the piece codes), with its groups and factors: the number of positions, or 0 when
// the block does not fit the material.
template <typename Entry>
uint64_t ReadSection(TableSection* s, const Entry* e, const uint8_t* block, int side, int file) {
    const int men = e->men < TBPIECES ? e->men : TBPIECES, shift = side ? 4 : 0;
    const bool has2      = e->has_pawns && e->pawns[1];
    const int order      = (block[0] >> shift) & 15;
    const uint8_t* codes = block + 1 + has2;
    for (int i = 0; i < men; i++) s->pieces[i] = uint8_t((codes[i] >> shift) & 15);
    uint64_t positions;
    if (e->has_pawns) {
        ComputeGroups(s, men, e->pawns[0], e->pawns[1]);
        positions = ComputePawnFactors(s, men, order, has2 ? (block[1] >> shift) & 15 : NO_ORDER, file);
    } else {
        ComputeGroups(s, men, e->encoding == 0 ? 3 : 2, 0);
        positions = ComputePieceFactors(s, men, e->encoding, order);
    }
    return PiecesMatch(s->pieces, men, e->key) ? positions : 0;
}

struct StreamSizes {
    uint64_t index, size, data;
};

// The head of one stream; nullptr when it is damaged. A stream of one value has no other parts.
PairsData* read_pairs_header(Reader& r, uint64_t positions, StreamSizes& sizes, uint8_t& flags, bool isWdl) {
    sizes            = {0, 0, 0};
    const uint8_t* h = r.Take(2);
    if (!h) return nullptr;
    flags = h[0];
    if (flags & 0x80) {
        auto* d = static_cast<PairsData*>(std::calloc(1, sizeof(PairsData)));
        if (!d) OutOfMemory();
        d->shortest_code  = isWdl ? h[1] : 0;
        d->position_count = positions;
        return d;
    }
    const uint8_t* rest = r.Take(8);
    if (!rest) return nullptr;
    const int blockBits = h[1], indexBits = rest[0], longest = rest[6], shortest = rest[7];
    if (blockBits > 32 || indexBits > 32 || shortest < 1 || longest < shortest || longest > 63)
        return nullptr;
    const int lengths         = longest - shortest + 1;
    const uint8_t* codeOffset = r.Take(2 * lengths);
    const uint8_t* countBytes = r.Take(2);
    if (!countBytes) return nullptr;
    const int symbols       = int(U16(countBytes));
    const uint8_t* patterns = r.Take(3 * symbols + (symbols & 1));
    if (!patterns || symbols > 4096) return nullptr;

    auto* d = static_cast<PairsData*>(std::calloc(1, sizeof(PairsData) + symbols));
    if (!d) OutOfMemory();
    d->block_bits       = blockBits;
    d->index_bits       = indexBits;
    d->shortest_code    = shortest;
    d->longest_code     = longest;
    d->block_count      = U32(rest + 2);
    d->size_count       = d->block_count + rest[1];
    d->symbol_count     = symbols;
    d->code_offset      = codeOffset;
    d->symbol_pattern   = patterns;
    d->position_count   = positions;
    uint8_t state[4096] = {};
    for (int s = 0; s < symbols; s++)
        if (!ComputeSymbolLength(d, s, state)) {
            std::free(d);
            return nullptr;
        }
    // Canonical code: the smallest code of each length, left-aligned in 64 bits.
    d->code_base[lengths - 1] = 0;
    for (int i = lengths - 2; i >= 0; i--)
        d->code_base[i] = (d->code_base[i + 1] + U16(codeOffset + 2 * i) - U16(codeOffset + 2 * i + 2)) / 2;
    for (int i = 0; i < lengths; i++) d->code_base[i] <<= 64 - (shortest + i);

    sizes.index = indexBits ? 6 * ((positions + (uint64_t(1) << indexBits) - 1) >> indexBits) : 0;
    sizes.size  = 2 * uint64_t(d->size_count);
    sizes.data  = uint64_t(d->block_count) << blockBits;
    return d;
}

// Index tables, size tables and data of the streams, in file order; false when the file ends first.
bool PlaceStreams(Reader& r, PairsData** streams, const StreamSizes* sizes, int count) {
    for (int i = 0; i < count; i++)
        if (streams[i]) streams[i]->index_table = r.Take(sizes[i].index);
    for (int i = 0; i < count; i++)
        if (streams[i]) streams[i]->size_table = r.Take(sizes[i].size);
    for (int i = 0; i < count; i++) {
        if (!streams[i]) continue;
        if (sizes[i].data) r.Align(64);
        streams[i]->data     = r.Take(sizes[i].data);
        streams[i]->data_end = r.base + r.size;
    }
    return !r.bad;
}

bool HasMagic(const MappedFile& file, const uint8_t* magic) {
    return file.size >= 5 && std::memcmp(file.data, magic, 4) == 0;
}

void FreeSections(TableSection* sections, int count) {
    for (int i = 0; i < count; i++) {
        std::free(sections[i].decoder);
        sections[i].decoder = nullptr;
    }
}

} // namespace

int read_wdl_table(TableEntry* e, const char* name) {
    MappedFile file = map_table_file(name, ".rtbw");
    if (!file.data && file.error) {
        std::printf("Could not find %s.rtbw\n", name);
        std::fflush(stdout);
        return 0;
    }
    if (!file.data || !HasMagic(file, WDL_MAGIC)) {
        std::printf("Corrupted table.\n");
        std::fflush(stdout);
        unmap_table_file(file);
        return 0;
    }
    Reader r{file.data, file.size, 5, false};
    const bool twoSides = file.data[4] & 1;
    const int files     = e->has_pawns ? 4 : 1;
    const int blockSize = 1 + (e->has_pawns && e->pawns[1]) + e->men;
    uint64_t positions[4][2];
    bool ok = true;
    for (int f = 0; f < files && ok; f++) {
        const uint8_t* block = r.Take(blockSize);
        // Side 1 need not be stored at all; then its list is not looked at.
        for (int side = 0; side < 2 && block; side++)
            positions[f][side] = ReadSection(&e->section[f][side], e, block, side, f);
        ok = block && positions[f][0] && (!twoSides || positions[f][1]);
    }
    r.Align(2);

    PairsData* streams[8] = {};
    StreamSizes sizes[8];
    int count = 0;
    for (int f = 0; f < files && ok; f++)
        for (int side = 0; side < (twoSides ? 2 : 1) && ok; side++) {
            uint8_t flags;
            streams[count]              = read_pairs_header(r, positions[f][side], sizes[count], flags, true);
            e->section[f][side].decoder = streams[count];
            ok                          = streams[count++] != nullptr;
        }
    if (!ok || !PlaceStreams(r, streams, sizes, count)) {
        for (int f = 0; f < 4; f++) FreeSections(e->section[f], 2);
        std::printf("Corrupted table.\n");
        std::fflush(stdout);
        unmap_table_file(file);
        return 0;
    }
    e->mapping = file;
    e->data    = file.data;
    return 1;
}

int read_dtz_table(DtzEntry* e) {
    const MappedFile& file = e->mapping;
    if (!file.data || !HasMagic(file, DTZ_MAGIC)) {
        std::printf("Corrupted table.\n");
        std::fflush(stdout);
        return 0;
    }
    Reader r{file.data, file.size, 5, false};
    const int files     = e->has_pawns ? 4 : 1;
    const int blockSize = 1 + (e->has_pawns && e->pawns[1]) + e->men;
    uint64_t positions[4];
    bool ok = true;
    for (int f = 0; f < files && ok; f++) {
        const uint8_t* block = r.Take(blockSize);
        ok                   = block && (positions[f] = ReadSection(&e->section[f], e, block, 0, f)) != 0;
    }
    r.Align(2);

    PairsData* streams[4] = {};
    StreamSizes sizes[4];
    for (int f = 0; f < files && ok; f++) {
        streams[f] = e->section[f].decoder = read_pairs_header(r, positions[f], sizes[f], e->flags[f], false);
        ok                                 = streams[f] != nullptr;
    }
    // The value maps: four lists per file, each a length byte and its values.
    const size_t mapStart = r.at;
    e->map                = file.data + mapStart;
    for (int f = 0; f < files && ok; f++) {
        if (!(e->flags[f] & 2)) continue;
        for (int i = 0; i < 4 && ok; i++) {
            e->map_offset[f][i]   = uint16_t(r.at - mapStart + 1);
            const uint8_t* length = r.Take(1);
            ok                    = length && r.Take(length[0]) && r.at - mapStart < 65536;
        }
    }
    if (ok) r.Align(2);
    if (!ok || !PlaceStreams(r, streams, sizes, files)) {
        FreeSections(e->section, 4);
        std::printf("Corrupted table.\n");
        std::fflush(stdout);
        return 0;
    }
    return 1;
}

void free_wdl_entry(TableEntry* e) {
    unmap_table_file(e->mapping);
    e->data = nullptr;
    for (int f = 0; f < 4; f++) FreeSections(e->section[f], 2);
    e->ready.store(0, std::memory_order_relaxed);
}

void free_dtz_entry(DtzEntry* e) {
    unmap_table_file(e->mapping);
    FreeSections(e->section, 4);
    std::free(e);
}

// ---------------------------------------------------------------------------------------------
// The decoder

namespace {

// Big-endian bytes of a stream; bytes past the file's end read as zeros, since a damaged index
// may point a block anywhere.
inline uint64_t BigEndian(const PairsData* d, const uint8_t* p, int bytes) {
    uint64_t v = 0;
    for (int i = 0; i < bytes; i++) v = (v << 8) | (p + i < d->data_end ? p[i] : 0);
    return v;
}

} // namespace

int read_pairs_value(const PairsData* d, uint64_t index) {
    if (d->index_bits == 0) return d->shortest_code;
    if (index >= d->position_count) return -1;
    const uint64_t main = index >> d->index_bits;
    int64_t lit = int64_t(index & ((uint64_t(1) << d->index_bits) - 1)) - (int64_t(1) << (d->index_bits - 1));
    const uint8_t* step = d->index_table + 6 * main;
    int64_t block       = U32(step);
    lit += U16(step + 4);

    // Walk to the block that holds the value, by the sizes of the blocks on the way.
    if (block >= d->size_count) return -1;
    while (lit < 0) {
        if (--block < 0) return -1;
        lit += U16(d->size_table + 2 * block) + 1;
    }
    while (lit > U16(d->size_table + 2 * block)) {
        lit -= U16(d->size_table + 2 * block) + 1;
        if (++block >= d->size_count) return -1;
    }
    if (block >= d->block_count) return -1;

    const uint8_t* p = d->data + (uint64_t(block) << d->block_bits);
    uint64_t code    = BigEndian(d, p, 8);
    p += 8;
    int bitCount = 0, sym;
    for (;;) {
        int l = d->shortest_code;
        while (l <= d->longest_code && code < d->code_base[l - d->shortest_code]) l++;
        if (l > d->longest_code) return -1;
        sym = int(U16(d->code_offset + 2 * (l - d->shortest_code)) +
                  ((code - d->code_base[l - d->shortest_code]) >> (64 - l)));
        if (sym >= d->symbol_count) return -1;
        if (lit <= d->symbol_length[sym]) break;
        lit -= d->symbol_length[sym] + 1;
        code <<= l;
        bitCount += l;
        if (bitCount >= 32) {
            bitCount -= 32;
            code |= BigEndian(d, p, 4) << bitCount;
            p += 4;
        }
    }
    // Down the symbol's tree to the one value.
    while (d->symbol_length[sym]) {
        const uint8_t* pat = d->symbol_pattern + 3 * sym;
        const int s1       = ((pat[1] & 0xF) << 8) | pat[0];
        if (lit <= d->symbol_length[s1]) {
            sym = s1;
        } else {
            lit -= d->symbol_length[s1] + 1;
            sym = (pat[2] << 4) | (pat[1] >> 4);
        }
    }
    return d->symbol_pattern[3 * sym];
}
