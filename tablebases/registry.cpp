#include "tablebases/registry.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

TableHashSlot TableHash[TB_BUCKETS][HSHMAX];
int TablebaseLargest;
int TablebaseCount;
PlatformMutex TablebaseMutex;
DtzCacheSlot DtzCache[DTZ_CACHE_SIZE];

namespace {

TableEntry PieceTableEntry[TBMAX_PIECE];
TableEntry PawnTableEntry[TBMAX_PAWN];
int PieceEntries, PawnEntries;
std::vector<std::string> Directories;
bool BinomialsReady;

// Name letters in the order the names use them, and the piece each stands for.
constexpr char Letters[]     = "QRBNP";
constexpr int LetterPiece[5] = {QUEEN, ROOK, BISHOP, KNIGHT, PAWN};
constexpr int KeyPieces[5]   = {PAWN, KNIGHT, BISHOP, ROOK, QUEEN};

std::string FilePath(const std::string& directory, const char* name, const char* suffix) {
    return directory + "/" + name + suffix;
}

bool open_table_file(const char* name, const char* suffix) {
    for (const std::string& directory : Directories)
        if (ReadableFileExists(FilePath(directory, name, suffix).c_str())) return true;
    return false;
}

void AddToHash(u64 key, TableEntry* entry) {
    for (TableHashSlot& slot : TableHash[key >> 54])
        if (!slot.entry) {
            slot.key   = key;
            slot.entry = entry;
            return;
        }
    std::printf("HSHMAX too low!\n");
    ExitProgram(1);
}

void register_table(const char* name) {
    if (!open_table_file(name, ".rtbw")) return;
    int counts[8][2] = {};
    int side         = 0;
    for (const char* c = name; *c; c++) {
        if (*c == 'v') side = 1;
        for (int l = 0; l < 5; l++)
            if (*c == Letters[l]) counts[LetterPiece[l]][side]++;
    }
    counts[KING][0] = counts[KING][1] = 1;
    const u64 key = material_key(counts, false), key2 = material_key(counts, true);
    const bool pawns = counts[PAWN][0] + counts[PAWN][1] > 0;

    TableEntry* e;
    if (pawns) {
        if (PawnEntries == TBMAX_PAWN) {
            std::printf("TBMAX_PAWN limit too low!\n");
            ExitProgram(1);
        }
        e = &PawnTableEntry[PawnEntries++];
    } else {
        if (PieceEntries == TBMAX_PIECE) {
            std::printf("TBMAX_PIECE limit too low!\n");
            ExitProgram(1);
        }
        e = &PieceTableEntry[PieceEntries++];
    }
    e->data    = nullptr;
    e->mapping = MappedFile{nullptr, 0, 0};
    e->key     = key;
    e->ready.store(0, std::memory_order_relaxed);
    e->men       = uint8_t(std::strlen(name) - 1);
    e->symmetric = key == key2;
    e->has_pawns = pawns;
    if (e->men > TablebaseLargest) TablebaseLargest = e->men;
    if (!pawns) {
        // Three men that stand alone lead the index; otherwise the two kings do.
        int unique = 0;
        for (int p = 0; p < 8; p++) unique += (counts[p][0] == 1) + (counts[p][1] == 1);
        e->encoding = unique >= 3 ? 0 : 2;
    } else {
        const int left = counts[PAWN][0], right = counts[PAWN][1];
        const bool leftLeads = !right || (left && left <= right);
        e->pawns[0]          = uint8_t(leftLeads ? left : right);
        e->pawns[1]          = uint8_t(leftLeads ? right : left);
    }
    AddToHash(key, e);
    if (key2 != key) AddToHash(key2, e);
}

void ClearHash() {
    for (int b = 0; b < TB_BUCKETS; b++)
        for (TableHashSlot& slot : TableHash[b]) slot = TableHashSlot{0, nullptr};
}

// Every name the tables may have up to six men, stronger side first, letters in Q R B N P order.
void RegisterAllNames() {
    char name[16];
    auto reg = [&](const char* format, auto... letters) {
        std::snprintf(name, sizeof name, format, Letters[letters]...);
        register_table(name);
    };
    for (int i = 0; i < 5; i++) reg("K%cvK", i);
    for (int i = 0; i < 5; i++)
        for (int j = i; j < 5; j++) reg("K%cvK%c", i, j);
    for (int i = 0; i < 5; i++)
        for (int j = i; j < 5; j++) reg("K%c%cvK", i, j);
    for (int i = 0; i < 5; i++)
        for (int j = i; j < 5; j++)
            for (int k = 0; k < 5; k++) reg("K%c%cvK%c", i, j, k);
    for (int i = 0; i < 5; i++)
        for (int j = i; j < 5; j++)
            for (int k = j; k < 5; k++) reg("K%c%c%cvK", i, j, k);
    for (int i = 0; i < 5; i++)
        for (int j = i; j < 5; j++)
            for (int k = i; k < 5; k++)
                for (int l = (k == i ? j : k); l < 5; l++) reg("K%c%cvK%c%c", i, j, k, l);
    for (int i = 0; i < 5; i++)
        for (int j = i; j < 5; j++)
            for (int k = j; k < 5; k++)
                for (int l = 0; l < 5; l++) reg("K%c%c%cvK%c", i, j, k, l);
    for (int i = 0; i < 5; i++)
        for (int j = i; j < 5; j++)
            for (int k = j; k < 5; k++)
                for (int l = k; l < 5; l++) reg("K%c%c%c%cvK", i, j, k, l);
}

} // namespace

u64 material_key(const int counts[8][2], bool swapped) {
    u64 key = 0;
    for (int side = WHITE; side <= BLACK; side++)
        for (int piece : KeyPieces)
            key ^= ZobristPiece[swapped ? 1 - side : side][piece][counts[piece][side]];
    return key;
}

TableHashSlot* find_table(u64 key) {
    for (TableHashSlot& slot : TableHash[key >> 54])
        if (slot.entry && slot.key == key) return &slot;
    return nullptr;
}

MappedFile map_table_file(const char* name, const char* suffix) {
    for (const std::string& directory : Directories) {
        const std::string path = FilePath(directory, name, suffix);
        if (!ReadableFileExists(path.c_str())) continue;
        MappedFile file = MapFileReadOnly(path.c_str());
        // An empty file comes back unmapped without an error: a damaged table, not a missing one.
        if (!file.data && file.error) {
            std::printf("MapViewOfFile() failed, name = %s%s, error = %lu.\n", name, suffix,
                        (unsigned long)file.error);
            ExitProgram(1);
        }
        return file;
    }
    return MappedFile{nullptr, 0, ENOENT};
}

void unmap_table_file(MappedFile& mapping) {
    if (mapping.data) UnmapFile(mapping);
}

void init_tablebases(const char* path) {
    if (!BinomialsReady) {
        init_binomials();
        BinomialsReady = true;
    } else {
        Directories.clear();
        for (int i = 0; i < PieceEntries; i++) free_wdl_entry(&PieceTableEntry[i]);
        for (int i = 0; i < PawnEntries; i++) free_wdl_entry(&PawnTableEntry[i]);
        for (DtzCacheSlot& slot : DtzCache)
            if (slot.entry) free_dtz_entry(slot.entry);
    }
    for (DtzCacheSlot& slot : DtzCache) slot = DtzCacheSlot{{0, 0}, nullptr};
    PieceEntries = PawnEntries = TablebaseLargest = TablebaseCount = 0;
    ClearHash();
    if (!path || !*path || std::strcmp(path, "<empty>") == 0) return;

    // Directories are separated by ';' or ':'; empty items are dropped.
    std::string item;
    for (const char* c = path;; c++) {
        if (*c == ';' || *c == ':' || !*c) {
            if (!item.empty()) Directories.push_back(item);
            item.clear();
            if (!*c) break;
        } else {
            item += *c;
        }
    }
    RegisterAllNames();
    TablebaseCount = PieceEntries + PawnEntries;
    std::printf("info string Found %d tablebases.\n", TablebaseCount);
    std::fflush(stdout);
}
