// Position learning: positions in which the engine's score fell sharply, kept from game to game
// in a hash table on disk that the search consults.
#pragma once
#include <cstdint>

#include "board/position.h"

// ---- Settings: set at start-up, changed by the ini file ----
extern int UseLearning;         // positions are learnt from search results
extern int UseLearningData;     // learnt positions are consulted by the search
extern int LogLearningIntoFile; // learning events go to the text log
void SetDefaultLearningSettings();

// ---------------------------------------------------------------------------------------------
// Learn.vb1. Every number is a 32-bit little-endian word.
//
//   offset 0        "Velumbrak learning file" (23 characters, no terminator)
//   offset 23       65,536 bucket slots: file offset of the bucket's first record, 0 for none;
//                   the bucket is the low 16 bits of key1
//   offset 262,167  records in the order they were made, 24 bytes each:
//                     depth code | score | move | key1 | key2 | offset of the next record (0: last)
//
// key1 is the low half of HashKey, key2 bits 16-47: the men alone, not the side to move, the
// castling rights or en passant. The depth code is the search's iteration number x 4 + 2, and the
// score is from the view of the engine's side.
//
// A record is written whole before anything points to it, and every link or refresh is one write,
// so a process killed at any moment leaves a file whose chains hold whole records only.
// ---------------------------------------------------------------------------------------------
constexpr char LEARN_FILE[]       = "Learn.vb1";
constexpr char LEARN_MAGIC[]      = "Velumbrak learning file";
constexpr int LEARN_MAGIC_SIZE    = 23;
constexpr int LEARN_BUCKETS       = 65536;
constexpr long LEARN_HEADER_SIZE  = LEARN_MAGIC_SIZE + 4L * LEARN_BUCKETS;
constexpr int LEARN_RECORD_SIZE   = 24;
constexpr int LEARN_PENDING_MAX   = 3;
constexpr int LEARN_TEXT_SIZE     = 128;
static_assert(sizeof(LEARN_MAGIC) - 1 == LEARN_MAGIC_SIZE, "the magic has no terminator in the file");
static_assert(LEARN_HEADER_SIZE == 262167, "the first record stands right behind the bucket table");

struct LearnRecord {
    int32_t depth; // depth code
    int32_t score;
    u32 move;
    u32 key1, key2;
    u32 next;
};
static_assert(sizeof(LearnRecord) == LEARN_RECORD_SIZE, "six words");

// A fall of the score that waits for the next move to confirm it.
struct PendingLearnEntry {
    u32 key1, key2;
    int depth, oldScore, newScore;
    Move move;
    char text[LEARN_TEXT_SIZE];
};
extern PendingLearnEntry PendingLearn[LEARN_PENDING_MAX];
extern int PendingLearnCount;

// Opens the learning file when learning or its data are on: for update with UseLearning (made
// when missing), else for reading only. A file that is cut short or not a learning file is
// reported in one line and left alone; learning then has no file for the run.
void OpenLearnFile(const char* path);
void CloseLearnFile();
// The file is open (for reading at least).
bool LearnFileOpen();

// The keys under which the file knows a position.
inline u32 LearnKey1(u64 hashKey) { return u32(hashKey); }
inline u32 LearnKey2(u64 hashKey) { return u32(hashKey >> 16); }
// 1 when the current position is stored; its depth code and score are given back.
int LearnProbe(int* depth, int* score);
// The record of these keys and its file offset; 0 when not stored.
int LearnFind(u32 key1, u32 key2, LearnRecord& record, long& offset);

// What Think knows of the engine's last ten moves (newest last) and of the search just ended.
struct LearnMoveFacts {
    const int* recentScores;
    const u64* recentKeys;
    const int* recentBook;
    int rootScore;
    int iterationNumber;
};
// After each own move: confirms or drops the falls that wait, and queues a new one.
void LearnAfterMove(const LearnMoveFacts& facts);
void LearnQueue(u32 key1, u32 key2, Move move, int oldScore, int newScore, int depth);
void LearnFlushPending();
// Counts the learn.log lines of this run.
extern int LearnLogLineNumber;
