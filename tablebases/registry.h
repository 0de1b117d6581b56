// Finding the tables: which WDL files exist on the directory list, registered by a key of their
// material. Nothing is read from a file until a probe needs it.
#pragma once
#include <cstdint>

#include "board/position.h"
#include "platform/platform.h"
#include "tablebases/format.h"

constexpr int TBMAX_PIECE = 254; // entries of tables without pawns
constexpr int TBMAX_PAWN  = 256; // entries of tables with pawns
constexpr int HSHMAX      = 5;   // entries per bucket of TableHash
constexpr int TB_BUCKETS  = 1024;

// Buckets indexed by the top 10 bits of a material key. A free slot has no entry; a table that
// failed to load keeps its entry with the key set to 0.
struct TableHashSlot {
    u64 key;
    TableEntry* entry;
};
extern TableHashSlot TableHash[TB_BUCKETS][HSHMAX];

extern int TablebaseLargest; // men of the largest registered table
extern int TablebaseCount;   // registered tables

// The DTZ tables loaded last, most recently used first; an entry of 0 is a table that could not
// be loaded. keys holds the material as White and as Black.
constexpr int DTZ_CACHE_SIZE = 64;
struct DtzCacheSlot {
    u64 keys[2];
    DtzEntry* entry;
};
extern DtzCacheSlot DtzCache[DTZ_CACHE_SIZE];

// Serialises the loading of an entry on its first probe.
extern PlatformMutex TablebaseMutex;

// Frees what was registered before and registers every table found on `path`; "<empty>" or ""
// register nothing.
void init_tablebases(const char* path);

// Key of a material given as counts[piece code][side]; with `swapped` the colours trade places.
u64 material_key(const int counts[8][2], bool swapped);
// The slot of a key in TableHash, or nullptr.
TableHashSlot* find_table(u64 key);

// The file name + suffix on the directory list, mapped; data is nullptr when it is absent.
// A mapping the system refuses for a file that is there ends the program.
MappedFile map_table_file(const char* name, const char* suffix);
void unmap_table_file(MappedFile& mapping);
