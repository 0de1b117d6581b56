#include "book/book.h"

#include <climits>
#include <cstring>

#include "board/movegen.h"
#include "platform/platform.h"

int UseBookWeights;
int VarietyOfPlay;
int UseBookLearning;
int BookLearningMode;
int BookLearningBound;
int BookLearningDone;

void SetDefaultBookSettings() {
    UseBookWeights    = 1;
    VarietyOfPlay     = 10;
    UseBookLearning   = 1;
    BookLearningMode  = 0;
    BookLearningBound = 400;
    BookLearningDone  = 1;
}

namespace {

// A fixed seed per table gives the same 2048 numbers on every build; the king's first three squares
// carry hand-set numbers of their own.
constexpr BookKeyTable MakeBookKeyTable(uint64_t seed, u32 kingA1, u32 kingB1, u32 kingC1) {
    BookKeyTable table{};
    for (auto& row : table)
        for (u32& key : row) {
            seed += 0x9E3779B97F4A7C15ULL;
            uint64_t z = seed;
            z          = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
            z          = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
            key        = u32((z ^ (z >> 31)) >> 32);
        }
    table[KING][0] = kingA1;
    table[KING][1] = kingB1;
    table[KING][2] = kingC1;
    return table;
}

u32 RandomState = 1;

} // namespace

constinit const BookKeyTable BookKeyWhite1 =
    MakeBookKeyTable(0x5645424B57310001ULL, 0x4C73E605, 0xADCFD5B0, 0x9D144DF4);
constinit const BookKeyTable BookKeyBlack1 =
    MakeBookKeyTable(0x5645424B42310002ULL, 0xE2F3A8FF, 0xCDB1711C, 0x86980312);
constinit const BookKeyTable BookKeyWhite2 =
    MakeBookKeyTable(0x5645424B57320003ULL, 0x5E4CEC03, 0xB4310EAA, 0xCA27FFD8);
constinit const BookKeyTable BookKeyBlack2 =
    MakeBookKeyTable(0x5645424B42320004ULL, 0x47D3993C, 0x067975B5, 0xC77261F5);

std::FILE* BookFile;
int BookLoaded;
int BookVersionZero;
int BookNodes;

void SeedBookRandom(u32 seed) { RandomState = seed; }
static int BookRandom() {
    RandomState = RandomState * 214013u + 2531011u;
    return int((RandomState >> 16) & 0x7FFF);
}

static bool ReadBookBytes(uint8_t* bytes, size_t count) {
    return std::fread(bytes, 1, count, BookFile) == count;
}

// The message is already printed; the file is closed untouched.
static void RefuseBook() {
    std::fflush(stdout);
    std::fclose(BookFile);
    BookFile = nullptr;
}

// Every index record in order and pointing behind the index, every move block inside the file. A
// book that fails this is refused whole, so that no lookup can wander outside it. The check reads a
// read-only mapping of the file once, which costs no system call per record.
static bool BookStructureIsSound(const char* path, u32 nodes, int entrySize) {
    MappedFile file = MapFileReadOnly(path);
    const long long size       = (long long)file.size;
    const long long movesStart = BOOK_HEADER_SIZE + (long long)BOOK_RECORD_SIZE * nodes;
    bool sound = file.data && nodes <= u32(INT_MAX - BOOK_FIRST_RECORD) && movesStart <= size;
    for (u32 i = 0; sound && i < nodes; i++) {
        const uint8_t* record = file.data + BOOK_HEADER_SIZE + size_t(BOOK_RECORD_SIZE) * i;
        const u32 offset      = ReadLittleEndian32(record + 8);
        if (i > 0 && CompareBookKeys(ReadLittleEndian32(record - BOOK_RECORD_SIZE),
                                     ReadLittleEndian32(record - BOOK_RECORD_SIZE + 4), ReadLittleEndian32(record),
                                     ReadLittleEndian32(record + 4)) >= 0)
            sound = false;
        else if (offset < movesStart || offset >= size)
            sound = false;
        else if (offset + 1 + (long long)file.data[offset] * entrySize > size)
            sound = false;
    }
    UnmapFile(file);
    return sound;
}

void CloseBook() {
    if (BookFile) std::fclose(BookFile);
    BookFile   = nullptr;
    BookLoaded = 0;
    BookNodes  = 0;
}

void OpenBook(const char* path) {
    CloseBook();
    BookFile = std::fopen(path, "rb");
    if (BookFile) {
        // Learning writes into the book; a book that may only be read is still played from.
        std::fclose(BookFile);
        BookFile = std::fopen(path, "r+b");
        if (!BookFile) BookFile = std::fopen(path, "rb");
    }
    if (!BookFile) {
        std::printf("Error opening \"%s\"!\n", path);
        std::fflush(stdout);
        return;
    }

    uint8_t header[BOOK_HEADER_SIZE];
    const size_t got = std::fread(header, 1, BOOK_HEADER_SIZE, BookFile);
    if (got < size_t(BOOK_MAGIC_SIZE) + 4 || std::memcmp(header, BOOK_MAGIC, BOOK_MAGIC_SIZE) != 0) {
        std::printf("Invalid book format\n");
        RefuseBook();
        return;
    }
    const u32 version = ReadLittleEndian32(header + 24);
    if (version > 1) {
        std::printf("Book version %d not supported\n", int(version));
        RefuseBook();
        return;
    }
    const u32 nodes = got == BOOK_HEADER_SIZE ? ReadLittleEndian32(header + 32) : 0;
    if (got < BOOK_HEADER_SIZE ||
        !BookStructureIsSound(path, nodes, version == 0 ? BOOK_MOVE_SIZE_V0 : BOOK_MOVE_SIZE_V1)) {
        std::printf("Invalid book format\n");
        RefuseBook();
        return;
    }

    if (version == 0) {
        std::printf("NG: Book learning not supported for book version 0\n");
        BookVersionZero = 1;
        UseBookLearning = 0;
        UseBookWeights  = 0;
    } else {
        BookVersionZero = 0;
    }
    std::printf("%d nodes in openings book\n", int(nodes));
    std::fflush(stdout);
    BookNodes  = int(nodes) + BOOK_FIRST_RECORD;
    BookLoaded = 1;
}

void ComputeBookKey(u32& first, u32& second) {
    first  = 0;
    second = 0;
    for (int piece : {KING, KNIGHT, PAWN, ROOK, BISHOP, QUEEN}) {
        for (u64 men = thread_board.Pieces[piece][BLACK]; men; men &= men - 1) {
            const int square = __builtin_ctzll(men);
            first ^= BookKeyBlack1[piece][square];
            second ^= BookKeyBlack2[piece][square];
        }
        for (u64 men = thread_board.Pieces[piece][WHITE]; men; men &= men - 1) {
            const int square = __builtin_ctzll(men);
            first ^= BookKeyWhite1[piece][square];
            second ^= BookKeyWhite2[piece][square];
        }
    }
}

int FindBookPosition() {
    if (!BookFile) return 0;
    u32 first, second;
    ComputeBookKey(first, second);
    if (thread_board.SideToMove == BLACK) first ^= BOOK_BLACK_TO_MOVE;
    if (BookNodes < BOOK_FIRST_RECORD + 1) return 0;

    int low = BOOK_FIRST_RECORD, high = BookNodes;
    while (high > low) {
        const int middle = (low + high) >> 1;
        uint8_t keys[8];
        if (std::fseek(BookFile, long(middle) * BOOK_RECORD_SIZE, SEEK_SET) != 0 || !ReadBookBytes(keys, 8)) return 0;
        const int order =
            CompareBookKeys(ReadLittleEndian32(keys), ReadLittleEndian32(keys + 4), first, second);
        if (order == 0) return 1;
        if (order < 0)
            low = middle + 1;
        else
            high = middle;
    }
    return 0;
}

int ReadBookMoveBlock(BookMoveBlock& block) {
    block.count = 0;
    uint8_t field[4];
    if (!ReadBookBytes(field, 4)) return 0;
    block.offset    = long(ReadLittleEndian32(field));
    block.entrySize = BookVersionZero ? BOOK_MOVE_SIZE_V0 : BOOK_MOVE_SIZE_V1;
    uint8_t count;
    if (std::fseek(BookFile, block.offset, SEEK_SET) != 0 || !ReadBookBytes(&count, 1)) return 0;
    for (int i = 0; i < count; i++) {
        uint8_t entry[BOOK_MOVE_SIZE_V1];
        if (!ReadBookBytes(entry, size_t(block.entrySize))) return 0;
        block.from[i]    = entry[0];
        block.to[i]      = entry[1];
        block.counter[i] = BookVersionZero ? entry[2] : uint16_t(entry[2] | entry[3] << 8);
    }
    block.count = count;
    return 1;
}

// The move word of a book entry on thread_board, with the queen for a pawn reaching the last rank;
// 0 when the entry is no legal move here (a key collision, or other castling rights than the
// position the book was made from).
static Move BookEntryMove(int from, int to) {
    if (from > 63 || to > 63) return 0;
    const int moved = thread_board.Board[from];
    Move move       = MakeMoveWord(from, to, moved, thread_board.Board[to]);
    if (moved == PAWN && (to >= 56 || to < 8)) move |= Move(QUEEN) << 18;
    return IsMoveLegal(move) ? move : 0;
}

// Rate in thousandths; a move never played counts as half won.
static int BookRate(uint16_t counter) {
    const int scoreFor = counter & 0xFF, against = counter >> 8;
    return counter == BOOK_NEVER_PLAYED ? 500 : scoreFor * 1000 / (scoreFor + against);
}

static Move PickBookMoveOld() {
    if (!FindBookPosition()) return 0;
    static BookMoveBlock block;
    if (!ReadBookMoveBlock(block)) return 0;
    Move live[BOOK_MAX_MOVES];
    int liveCount = 0;
    for (int i = 0; i < block.count; i++) {
        if (block.counter[i] >= 255) continue;
        if (Move move = BookEntryMove(block.from[i], block.to[i])) live[liveCount++] = move;
    }
    if (liveCount == 0) return 0;
    return live[BookRandom() % liveCount];
}

Move PickBookMove() {
    if (!BookLoaded) return 0;
    if (BookVersionZero) return PickBookMoveOld();
    if (!FindBookPosition()) return 0;
    static BookMoveBlock block;
    if (!ReadBookMoveBlock(block)) return 0;

    Move live[BOOK_MAX_MOVES];
    int tests[BOOK_MAX_MOVES], rate[BOOK_MAX_MOVES];
    int liveCount = 0;
    for (int i = 0; i < block.count; i++) {
        if (block.counter[i] == BOOK_DEAD_MOVE) continue;
        const Move move = BookEntryMove(block.from[i], block.to[i]);
        if (!move) continue;
        live[liveCount]  = move;
        tests[liveCount] = (block.counter[i] & 0xFF) + (block.counter[i] >> 8);
        rate[liveCount]  = BookRate(block.counter[i]);
        liveCount++;
    }
    if (liveCount == 0) return 0;

    // Discover: the least tested line first, the better scoring one among equals.
    if (BookLearningMode) {
        int chosen = 0, fewestTests = 32700, bestRate = 0;
        for (int i = 0; i < liveCount; i++)
            if (tests[i] < fewestTests || (tests[i] == fewestTests && rate[i] > bestRate)) {
                chosen      = i;
                fewestTests = tests[i];
                bestRate    = rate[i];
            }
        return live[chosen];
    }
    if (!UseBookWeights) return live[BookRandom() % liveCount];

    // Any move within VarietyOfPlay percent of the best rate may be played, each as often.
    int best = 0;
    for (int i = 0; i < liveCount; i++)
        if (rate[i] > best) best = rate[i];
    const int threshold = (100 - VarietyOfPlay) * best / 100;
    int kept            = 0;
    for (int i = 0; i < liveCount; i++)
        if (rate[i] >= threshold) live[kept++] = live[i];
    return live[BookRandom() % kept];
}

static void PrintSquare(int square) { std::printf("%c%c", 'a' + (square & 7), '1' + (square >> 3)); }

void PrintBookMoves() {
    std::printf("Current nhash1 = %d, nhash2 = %d\n", int(u32(thread_board.HashKey)),
                int(u32(thread_board.HashKey >> 16)));
    static BookMoveBlock block;
    if (!BookLoaded) {
        std::printf("No book loaded...\n");
    } else if (!FindBookPosition() || !ReadBookMoveBlock(block)) {
        std::printf("No moves from current pos in book\n");
    } else {
        std::printf("%d moves from current pos in book:\n", block.count);
        for (int i = 0; i < block.count; i++) {
            PrintSquare(block.from[i]);
            PrintSquare(block.to[i]);
            const int counter = block.counter[i];
            if (BookVersionZero) {
                std::printf(" %d\n", counter);
            } else if (counter == BOOK_NEVER_PLAYED) {
                std::printf(" ?\n");
            } else if (counter == BOOK_DEAD_MOVE) {
                std::printf(" -\n");
            } else {
                const int scoreFor = counter & 0xFF, sum = scoreFor + (counter >> 8);
                std::printf(" %d%% (not less than %d game(s))\n", scoreFor * 100 / sum, sum >> 1);
            }
        }
    }
    std::fflush(stdout);
}
