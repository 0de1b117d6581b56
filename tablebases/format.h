// Reading Syzygy table files: the headers, the compressed value streams and the squares-to-index
// encoders. All data is read straight from the mapped file; only the decoder state is allocated.
#pragma once
#include <atomic>
#include <cstdint>

#include "board/position.h"
#include "platform/platform.h"

// Men of the largest table the code reads.
constexpr int TBPIECES = 6;

// One compressed value stream: a canonical Huffman code whose symbols expand into runs of values,
// cut into blocks that an index table makes reachable by position index.
struct PairsData {
    const uint8_t* index_table;    // 6 bytes per index step: first block (u32), offset (u16)
    const uint8_t* size_table;     // u16 per block: values in the block, minus one
    const uint8_t* data;           // the blocks
    const uint8_t* data_end;       // end of the file: reads past it see zeros
    const uint8_t* code_offset;    // u16 per code length, first symbol of that length
    const uint8_t* symbol_pattern; // 3 bytes per symbol: two 12-bit children, or a value
    int block_bits, index_bits, shortest_code, longest_code, symbol_count;
    int64_t block_count, size_count;
    uint64_t position_count;
    uint64_t code_base[64];  // per code length, left-aligned smallest code
    uint8_t symbol_length[]; // values a symbol stands for, minus one
};

// One side of one file (tables with pawns) or one side (tables without): how squares become an
// index, and the stream the index is read from.
struct TableSection {
    PairsData* decoder;
    uint32_t factor[TBPIECES];
    uint8_t pieces[TBPIECES];     // file piece codes in encoding order
    uint8_t group_size[TBPIECES]; // length of the group of like men that starts here, else 0
};

// A registered material and, once loaded, its WDL file.
struct TableEntry {
    const uint8_t* data; // start of the mapped file, nullptr while not mapped
    MappedFile mapping;
    u64 key; // material with the left side of the name as White
    std::atomic<uint8_t> ready;
    uint8_t men, symmetric, has_pawns;
    uint8_t encoding;           // without pawns: 0 three unique men lead, 2 the two kings lead
    uint8_t pawns[2];           // with pawns: leading pawns, then the other side's pawns
    TableSection section[4][2]; // [file][side]; a table without pawns has file 0 only
};

// A loaded DTZ file: one stored side, with per-file flags and value maps.
struct DtzEntry {
    MappedFile mapping;
    u64 key;
    uint8_t men, symmetric, has_pawns, encoding, pawns[2];
    TableSection section[4];
    uint8_t flags[4];
    uint16_t map_offset[4][4];
    const uint8_t* map;
};

void init_binomials();

// Maps name.rtbw and parses it; 0 when it is missing or damaged (the entry is then left unmapped).
int read_wdl_table(TableEntry* entry, const char* name);
// Parses the DTZ file already mapped into entry->mapping; 0 when it is damaged.
int read_dtz_table(DtzEntry* entry);
void free_wdl_entry(TableEntry* entry);
void free_dtz_entry(DtzEntry* entry);

// The value at `index` of a stream; -1 when the stream's data proves damaged on the way.
int read_pairs_value(const PairsData* pairs, uint64_t index);

// Index of the men's squares; `squares` is folded and sorted in place.
uint64_t encode_piece_index(int men, int encoding, const TableSection* section, int* squares);
uint64_t encode_pawn_index(int men, const uint8_t* pawns, const TableSection* section, int* squares);

// The lead pawn's square decides the file section: the fold of files a-d and e-h.
extern const uint8_t FoldedFile[8];
extern uint8_t LeadPawnIndex[64];
