// The opening book: one binary file that stays open in update mode for the whole run. Lookups are
// binary searches in the file itself; nothing of it is held in memory. Book learning changes the
// counters of a move in place.
#pragma once
#include <array>
#include <cstdint>
#include <cstdio>

#include "board/position.h"

// ---------------------------------------------------------------------------------------------
// File layout. Every number is unsigned little-endian and is read and written one byte at a time.
//
//   offset 0    +------------------------------------------+
//               | magic "~Velumbrak openings book" (24)    |  no terminator
//   offset 24   | version (4): 0 or 1                      |
//   offset 28   | not used (4)                             |
//   offset 32   | node count N (4)                         |
//   offset 36   +------------------------------------------+  = record 3 (the header is 3 records)
//               | index record 3 .. N + 2, 12 bytes each:   |
//               |   first key (4) | second key (4) |        |
//               |   offset of the move block (4)           |  absolute file offset
//               | sorted by first key, then second key,     |
//               | both compared as signed 32-bit numbers    |
//   36 + 12 N   +------------------------------------------+
//               | move blocks, anywhere behind the index:  |
//               |   count (1), then count move entries     |
//               +------------------------------------------+
//
//   move entry, version 1:  from (1) | to (1) | ScoreFor (1) | ScoreAgainst (1)
//   move entry, version 0:  from (1) | to (1) | flag (1)
//
// The two counters are half points scored for and against the move; read together they form one
// 16-bit word with ScoreFor in the low byte. Word 0 is a move never played, word 0xFFFF a dead move
// that is never played nor updated. A version 0 entry is dead when its flag is 255. A promotion is
// not stored: a pawn move to the last rank is read as a queen promotion.
// ---------------------------------------------------------------------------------------------

constexpr char BOOK_MAGIC[]          = "~Velumbrak openings book";
constexpr int BOOK_MAGIC_SIZE        = 24;
constexpr int BOOK_HEADER_SIZE       = 36;
constexpr int BOOK_RECORD_SIZE       = 12;
constexpr int BOOK_FIRST_RECORD      = 3;
constexpr int BOOK_MOVE_SIZE_V1      = 4;
constexpr int BOOK_MOVE_SIZE_V0      = 3;
constexpr int BOOK_MAX_MOVES         = 255;
constexpr uint16_t BOOK_NEVER_PLAYED = 0;
constexpr uint16_t BOOK_DEAD_MOVE    = 0xFFFF;
// Folded into the first key when Black is to move.
constexpr u32 BOOK_BLACK_TO_MOVE = 0x7D3ADEB;

static_assert(sizeof(BOOK_MAGIC) - 1 == BOOK_MAGIC_SIZE, "the magic has no terminator in the file");
static_assert(BOOK_HEADER_SIZE == BOOK_FIRST_RECORD * BOOK_RECORD_SIZE, "record i stands at 12 * i");

// One index record as decoded from its 12 bytes.
struct BookIndexRecord {
    u32 first;
    u32 second;
    u32 offset;
};
static_assert(sizeof(BookIndexRecord) == BOOK_RECORD_SIZE, "first key, second key, block offset");

// One version 1 move entry as decoded from its 4 bytes.
struct BookMoveEntry {
    uint8_t from;
    uint8_t to;
    uint8_t scoreFor;
    uint8_t scoreAgainst;
};
static_assert(sizeof(BookMoveEntry) == BOOK_MOVE_SIZE_V1, "from, to, two counters");

// Little-endian encoding shared by the reader and the book builder.
constexpr u32 ReadLittleEndian32(const uint8_t* bytes) {
    return u32(bytes[0]) | u32(bytes[1]) << 8 | u32(bytes[2]) << 16 | u32(bytes[3]) << 24;
}
constexpr void WriteLittleEndian32(uint8_t* bytes, u32 value) {
    for (int i = 0; i < 4; i++) bytes[i] = uint8_t(value >> (8 * i));
}
// The index order: both keys as signed 32-bit numbers, first key first.
constexpr int CompareBookKeys(u32 first1, u32 second1, u32 first2, u32 second2) {
    if (int32_t(first1) != int32_t(first2)) return int32_t(first1) < int32_t(first2) ? -1 : 1;
    if (int32_t(second1) != int32_t(second2)) return int32_t(second1) < int32_t(second2) ? -1 : 1;
    return 0;
}

// Key tables, [piece code][square]. Books only work with the tables they were built with: these
// numbers must never change.
using BookKeyTable = std::array<std::array<u32, 64>, 8>;
extern const BookKeyTable BookKeyWhite1, BookKeyBlack1, BookKeyWhite2, BookKeyBlack2;

// ---- Settings: set at start-up, changed by the ini file ----
extern int UseBookWeights;    // the book's counters weigh the choice; else every live move alike
extern int VarietyOfPlay;     // 0-100: how far the choice strays from the best-scored move
extern int UseBookLearning;   // the results of games change the book's counters
extern int BookLearningMode;  // 0 KILL, 1 DISCOVER
extern int BookLearningBound; // score bound of book learning
void SetDefaultBookSettings();

// 0 once a game has begun whose result the book may still learn; book learning runs once a game.
extern int BookLearningDone;

extern std::FILE* BookFile;
extern int BookLoaded;
extern int BookVersionZero;
extern int BookNodes; // index records plus the three of the header

// The moves of one position, read from its move block. Counter is the 16-bit counter word of a
// version 1 book, or the flag byte of a version 0 book.
struct BookMoveBlock {
    int count;
    long offset; // file offset of the count byte; entry i starts at offset + 1 + i * entry size
    int entrySize;
    uint8_t from[BOOK_MAX_MOVES];
    uint8_t to[BOOK_MAX_MOVES];
    uint16_t counter[BOOK_MAX_MOVES];
};

// Opens the book (closing any open one) and prints the outcome; a file that cannot be used leaves
// no book loaded and is not changed.
void OpenBook(const char* path);
void CloseBook();
// The two keys of thread_board's men; castling, en passant and the side to move are not in them.
void ComputeBookKey(u32& first, u32& second);
// Non-zero when the position is in the book; the read position of BookFile is then on the offset
// field of its index record.
int FindBookPosition();
// Reads the offset field at the read position, then the move block it points to. 0 on a short read.
int ReadBookMoveBlock(BookMoveBlock& block);
// The book's move for thread_board, legal there, or 0.
Move PickBookMove();
// The `bkm` listing: keys of the position, then the book moves with their statistics.
void PrintBookMoves();

// The random sequence of the book choice (the classic linear congruential one). Start-up seeds it
// from the clock; tests fix the seed.
void SeedBookRandom(u32 seed);
