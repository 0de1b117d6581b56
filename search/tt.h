// The transposition table.
//
// An entry keeps three bounds side by side, each with its own depth: the upper bound of an all
// node and the lower bound of a cut node of the same position live together, and neither pushes
// the other out. A probe reads the four entries that follow the hashed index; ten spare entries
// behind the end let a bucket start at the last index without wrapping.
//
// A table of 0 entries is legal (UCI "Hash 0"): every routine below then does nothing and every
// probe misses.
#pragma once
#include <cstddef>
#include <cstdint>

#include "board/position.h"

//  bytes  0-7   Key          PositionKey (castling and en passant folded in)
//  bytes  8-11  Info         move 0-20 | last bound kind 21-22 | side to move 23 | mate threat 30
//  bytes 12-17  UpperValue, LowerValue, ExactValue
//  bytes 18-19  Stamp        SearchStamp of the last store or probe hit
//  bytes 20-22  UpperDepth, LowerDepth, ExactDepth, quarter plies, at most 255
//  byte  23     EntryFlags   move-generation memo 0-4 | upper valid 32 | lower valid 64 | exact valid 128
// Info 0 is an empty entry: a stored entry always has a bound kind.
struct TranspositionEntry {
    uint64_t Key;
    uint32_t Info;
    int16_t UpperValue;
    int16_t LowerValue;
    int16_t ExactValue;
    uint16_t Stamp;
    uint8_t UpperDepth;
    uint8_t LowerDepth;
    uint8_t ExactDepth;
    uint8_t EntryFlags;
};
static_assert(sizeof(TranspositionEntry) == 24);
static_assert(offsetof(TranspositionEntry, Info) == 8);
static_assert(offsetof(TranspositionEntry, UpperValue) == 12);
static_assert(offsetof(TranspositionEntry, Stamp) == 18);
static_assert(offsetof(TranspositionEntry, UpperDepth) == 20);
static_assert(offsetof(TranspositionEntry, EntryFlags) == 23);

// Bound kinds, as stored in Info and returned by the probes.
constexpr int TT_UPPER = 1;
constexpr int TT_LOWER = 2;
constexpr int TT_EXACT = 3;

constexpr uint32_t TT_MOVE_MASK   = 0x1FFFFF;
constexpr int TT_KIND_SHIFT       = 21;
constexpr uint32_t TT_SIDE_BIT    = 1u << 23;
constexpr uint32_t TT_MATE_THREAT = 1u << 30;

constexpr uint8_t TT_MEMO_MASK   = 31;
constexpr uint8_t TT_UPPER_VALID = 32;
constexpr uint8_t TT_LOWER_VALID = 64;
constexpr uint8_t TT_EXACT_VALID = 128;
// Memo bits that the capture search reads back.
constexpr uint8_t MEMO_NO_QUIET_CHECK = 1;
constexpr uint8_t MEMO_NO_CAPTURE     = 2;

constexpr int TT_BUCKET_SIZE         = 4;
constexpr int TT_SPARE_ENTRIES       = 10;
constexpr int64_t TT_DEFAULT_ENTRIES = 0x80000;
constexpr int TT_MAX_MB              = 1024;

// Entries of the table (a setting: the ini file and the UCI option change it).
extern int64_t TranspositionEntries;
// The block of TranspositionEntries + TT_SPARE_ENTRIES entries; null while the table has 0 entries.
extern TranspositionEntry* TranspositionTable;
// Entries this search took for a new position from an empty slot or from an older search.
extern int64_t HashfullCount;

// What the table knows for the singular test: a lower bound, or an exact score that overrides it,
// whose depth is no more than two plies short of the node's.
struct SingularData {
    int Valid;
    int Value;
    int Depth;
};

void FreeTransposition();
// All zero, SearchStamp and HashfullCount 0.
void ClearTransposition();
// UCI "Hash": release, the entries of mb megabytes (mb clamped to 0..1024), allocate, clear.
void SetTranspositionSize(int mb);
// The same for an exact entry count (start-up, configuration exponent sizes, tests). A failed
// allocation ends the process with code 1.
void SetTranspositionEntries(int64_t entries);

// Full-width node. Returns 0 on a miss (hashMove and cutoff cleared, singular invalid); otherwise
// the kind of the test that ended the probe, with cutoff 1 and the value in alpha when a bound
// decided the node. A hit may set mateThreat to 1 and clear allowNull. singular may be null.
int TranspositionProbe(int depth, int* alpha, int beta, int* mateThreat, Move* hashMove, int* allowNull,
                       int* cutoff, int isPv, int ply, SingularData* singular);
// Capture search: no depth test. memo gets the entry's move-generation memo (0 on a miss); floor
// gets the stored lower bound at non-PV nodes, else -MATE_SCORE.
int QuiesceProbe(int* alpha, int beta, Move* hashMove, int* cutoff, int isPv, int ply, int* memo, int* floor);
// The root's look at the table before the first iteration: the capture-search probe without its
// extra outputs.
int RootProbe(int* alpha, int beta, Move* hashMove, int* cutoff, int isPv, int ply);
// kind is TT_UPPER, TT_LOWER or TT_EXACT; memo holds move-generation bits to OR into the entry.
void TranspositionStore(int depth, Move move, int value, int kind, int mateThreat, int memo, int ply);
// The stored move of the current position without touching its stamp; 0 when none.
Move TableMove();
// Per mille of the table taken by this search, for the hashfull reports.
int Hashfull();
