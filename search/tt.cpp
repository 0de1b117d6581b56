#include "search/tt.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/makemove.h"
#include "board/ordering.h"
#include "board/ply.h"
#include "platform/platform.h"
#include "search/search.h"

int64_t TranspositionEntries;
TranspositionEntry* TranspositionTable;
int64_t HashfullCount;


// ---------------------------------------------------------------------------------------------
// Allocation

void FreeTransposition() {
    std::free(TranspositionTable);
    TranspositionTable = nullptr;
}

static void AllocateTransposition() {
    FreeTransposition();
    if (TranspositionEntries <= 0) {
        TranspositionEntries = 0;
        return;
    }
    size_t bytes       = size_t(TranspositionEntries + TT_SPARE_ENTRIES) * sizeof(TranspositionEntry);
    // calloc hands out zero pages as they are touched: a fresh table costs nothing at start-up.
    TranspositionTable = static_cast<TranspositionEntry*>(std::calloc(bytes, 1));
    if (!TranspositionTable) OutOfMemory();
    SearchStamp               = 0;
    HashfullCount             = 0;
    TranspositionTable[0].Key = ~0ULL;
}

void ClearTransposition() {
    SearchStamp   = 0;
    HashfullCount = 0;
    if (!TranspositionTable) return;
    std::memset(static_cast<void*>(TranspositionTable), 0,
                size_t(TranspositionEntries + TT_SPARE_ENTRIES) * sizeof(TranspositionEntry));
    // All hash tables start with an all-ones key; here Info 0 alone already marks the entry empty.
    TranspositionTable[0].Key = ~0ULL;
}

void SetTranspositionEntries(int64_t entries) {
    FreeTransposition();
    TranspositionEntries = std::max<int64_t>(entries, 0);
    AllocateTransposition();
}

// Entries of a table of mb megabytes, mb clamped to 0..1024.
static int64_t TranspositionEntriesForMb(int mb) {
    return (int64_t(std::clamp(mb, 0, TT_MAX_MB)) << 20) / int64_t(sizeof(TranspositionEntry));
}

void SetTranspositionSize(int mb) {
    SetTranspositionEntries(TranspositionEntriesForMb(mb));
}

// ---------------------------------------------------------------------------------------------
// Scores
// Mate scores of exact entries are kept as distances from the node; bounds are cut at the mate
// bound instead, so that no bound carries a mate distance.
static int ValueToTable(int value, int kind, int ply) {
    if (kind == TT_UPPER) return std::max(value, -MATE_BOUND);
    if (kind == TT_LOWER) return std::min(value, MATE_BOUND);
    if (value > MATE_BOUND) return value + ply;
    if (value < -MATE_BOUND) return value - ply;
    return value;
}
static int ValueFromTable(int value, int ply) {
    if (value > MATE_BOUND) return value - ply;
    if (value < -MATE_BOUND) return value + ply;
    return value;
}

// ---------------------------------------------------------------------------------------------
// Finding an entry

// The side to move is a third bit in the XOR: in a table of a power of two the two sides to
// move of one position land four entries apart, in separate buckets.
static uint32_t TableIndex(uint64_t key, int side) {
    uint64_t k = key ^ (uint64_t(side) << 2);
    // The default size is tested first: a mask is much cheaper than a division.
    if (TranspositionEntries == TT_DEFAULT_ENTRIES) return uint32_t(k) & uint32_t(TT_DEFAULT_ENTRIES - 1);
    return uint32_t(k) % uint32_t(TranspositionEntries);
}

static uint32_t SideBit(int side) {
    return side ? TT_SIDE_BIT : 0;
}

static bool Matches(const TranspositionEntry& e, uint64_t key, uint32_t sideBit) {
    return e.Key == key && (e.Info & TT_SIDE_BIT) == sideBit;
}

// A bucket is filled from the front, so its first empty entry ends the search.
static TranspositionEntry* FindEntry() {
    if (TranspositionEntries == 0) return nullptr;
    uint64_t key          = PositionKey();
    int side              = thread_board.SideToMove;
    TranspositionEntry* e = TranspositionTable + TableIndex(key, side);
    for (int i = 0; i < TT_BUCKET_SIZE; i++, e++) {
        if (e->Info == 0) return nullptr;
        if (Matches(*e, key, SideBit(side))) return e;
    }
    return nullptr;
}

Move TableMove() {
    const TranspositionEntry* e = FindEntry();
    return e ? Move(e->Info & TT_MOVE_MASK) : 0;
}

int Hashfull() {
    if (TranspositionEntries == 0) return 0;
    return int(std::min<int64_t>(1000, HashfullCount * 1000 / TranspositionEntries));
}

// ---------------------------------------------------------------------------------------------
// Probes

// One stored bound tried as the answer of the node. Bounds only decide at non-PV nodes; an exact
// score decides everywhere. A depth of 0 accepts any stored depth.
static bool BoundDecides(const TranspositionEntry& e, int kind, int depth, int* alpha, int beta, int isPv,
                         int ply) {
    switch (kind) {
    case TT_EXACT:
        if (!(e.EntryFlags & TT_EXACT_VALID) || e.ExactDepth < depth) return false;
        *alpha = ValueFromTable(e.ExactValue, ply);
        return true;
    case TT_LOWER:
        if (isPv || !(e.EntryFlags & TT_LOWER_VALID) || e.LowerDepth < depth || e.LowerValue < beta)
            return false;
        *alpha = e.LowerValue;
        return true;
    case TT_UPPER:
        if (isPv || !(e.EntryFlags & TT_UPPER_VALID) || e.UpperDepth < depth || e.UpperValue > *alpha)
            return false;
        *alpha = e.UpperValue;
        return true;
    }
    return false;
}

// The bound written last is the likeliest to decide, so it is tried first.
static int CutoffTests(const TranspositionEntry& e, int depth, int* alpha, int beta, int* cutoff, int isPv,
                       int ply) {
    const int order[4] = {int((e.Info >> TT_KIND_SHIFT) & 3), TT_EXACT, TT_LOWER, TT_UPPER};
    for (int kind : order) {
        if (BoundDecides(e, kind, depth, alpha, beta, isPv, ply)) {
            *cutoff = 1;
            return kind;
        }
    }
    *cutoff = 0;
    return 1;
}

int TranspositionProbe(int depth, int* alpha, int beta, int* mateThreat, Move* hashMove, int* allowNull,
                       int* cutoff, int isPv, int ply, SingularData* singular) {
    if (singular) *singular = {0, 0, 0};
    TranspositionEntry* e = FindEntry();
    if (!e) {
        *hashMove = 0;
        *cutoff   = 0;
        return 0;
    }
    e->Stamp = SearchStamp;
    if (e->Info & TT_MATE_THREAT) *mateThreat = 1;
    *hashMove = e->Info & TT_MOVE_MASK;

    // A position known to stay below beta gives a null move no hope of failing high.
    if ((e->EntryFlags & TT_UPPER_VALID) && e->UpperValue < beta) *allowNull = 0;
    if ((e->EntryFlags & TT_EXACT_VALID) && ValueFromTable(e->ExactValue, ply) < beta) *allowNull = 0;

    if (singular) {
        if ((e->EntryFlags & TT_LOWER_VALID) && depth <= e->LowerDepth + 8)
            *singular = {1, e->LowerValue, e->LowerDepth};
        if ((e->EntryFlags & TT_EXACT_VALID) && depth <= e->ExactDepth + 8)
            *singular = {1, ValueFromTable(e->ExactValue, ply), e->ExactDepth};
    }
    return CutoffTests(*e, depth, alpha, beta, cutoff, isPv, ply);
}

// Capture-search stores have depth 0, so any entry is deep enough here.
int QuiesceProbe(int* alpha, int beta, Move* hashMove, int* cutoff, int isPv, int ply, int* memo,
                 int* floor) {
    *memo                 = 0;
    *floor                = -MATE_SCORE;
    TranspositionEntry* e = FindEntry();
    if (!e) {
        *hashMove = 0;
        *cutoff   = 0;
        return 0;
    }
    e->Stamp  = SearchStamp;
    *hashMove = e->Info & TT_MOVE_MASK;
    *memo     = e->EntryFlags & TT_MEMO_MASK;
    if (!isPv && (e->EntryFlags & TT_LOWER_VALID)) *floor = e->LowerValue;
    return CutoffTests(*e, 0, alpha, beta, cutoff, isPv, ply);
}

int RootProbe(int* alpha, int beta, Move* hashMove, int* cutoff, int isPv, int ply) {
    int memo, floor;
    return QuiesceProbe(alpha, beta, hashMove, cutoff, isPv, ply, &memo, &floor);
}

// ---------------------------------------------------------------------------------------------
// Store

// An entry with no move and no depth holds next to nothing and is the cheapest to lose.
static int Priority(const TranspositionEntry& e) {
    return (e.Info & TT_MOVE_MASK) || e.UpperDepth || e.LowerDepth || e.ExactDepth;
}

// Entries of older searches go first; among entries of one age the one of lower priority; the
// first one on ties.
static bool BetterVictim(const TranspositionEntry& e, const TranspositionEntry& c) {
    bool eCurrent = e.Stamp == SearchStamp;
    bool cCurrent = c.Stamp == SearchStamp;
    if (cCurrent && !eCurrent) return true;
    return eCurrent == cCurrent && Priority(e) < Priority(c);
}

static void WriteBound(TranspositionEntry& e, int kind, int d, int v) {
    switch (kind) {
    case TT_UPPER:
        e.UpperValue = int16_t(v);
        e.UpperDepth = uint8_t(d);
        e.EntryFlags |= TT_UPPER_VALID;
        break;
    case TT_LOWER:
        e.LowerValue = int16_t(v);
        e.LowerDepth = uint8_t(d);
        e.EntryFlags |= TT_LOWER_VALID;
        break;
    case TT_EXACT:
        e.ExactValue = int16_t(v);
        e.ExactDepth = uint8_t(d);
        e.EntryFlags |= TT_EXACT_VALID;
        break;
    }
}

// A bound of the same kind that is already there and at least as good keeps its place: deeper, or
// as deep and at least as tight. An exact score gives way to any exact score of its depth.
static bool KeepsOldBound(const TranspositionEntry& e, int kind, int d, int v) {
    switch (kind) {
    case TT_UPPER:
        return (e.EntryFlags & TT_UPPER_VALID) &&
               (e.UpperDepth > d || (e.UpperDepth == d && v >= e.UpperValue));
    case TT_LOWER:
        return (e.EntryFlags & TT_LOWER_VALID) &&
               (e.LowerDepth > d || (e.LowerDepth == d && v <= e.LowerValue));
    case TT_EXACT: return (e.EntryFlags & TT_EXACT_VALID) && e.ExactDepth > d;
    }
    return true;
}

void TranspositionStore(int depth, Move move, int value, int kind, int mateThreat, int memo, int ply) {
    if (TranspositionEntries == 0) return;
    uint64_t key     = PositionKey();
    int side         = thread_board.SideToMove;
    uint32_t sideBit = SideBit(side);
    int d            = std::clamp(depth, 0, 255);
    memo &= TT_MEMO_MASK;
    move &= TT_MOVE_MASK;

    TranspositionEntry* e = TranspositionTable + TableIndex(key, side);
    TranspositionEntry* c = nullptr;
    bool found            = false;
    for (int i = 0; i < TT_BUCKET_SIZE; i++, e++) {
        if (e->Info == 0) {
            c = e;
            break;
        }
        if (Matches(*e, key, sideBit)) {
            // What move generation learnt here is kept even when the bound itself is not.
            memo |= e->EntryFlags & TT_MEMO_MASK;
            e->EntryFlags |= uint8_t(memo);
            e->Stamp = SearchStamp;
            if (move == 0) move = e->Info & TT_MOVE_MASK;
            c     = e;
            found = true;
            break;
        }
        if (!c || BetterVictim(*e, *c)) c = e;
    }

    int v         = ValueToTable(value, kind, ply);
    uint32_t info = (uint32_t(kind) << TT_KIND_SHIFT) | move | sideBit | (mateThreat ? TT_MATE_THREAT : 0);

    if (found) {
        c->Stamp = SearchStamp;
        if (KeepsOldBound(*c, kind, d, v)) return;
        WriteBound(*c, kind, d, v);
        c->Info = info;
        c->EntryFlags |= uint8_t(memo);
        return;
    }

    if (c->Info != 0 && c->Stamp == SearchStamp) {
        // The work of this search is not thrown away for a shallower result.
        if (d < std::max({c->UpperDepth, c->LowerDepth, c->ExactDepth})) return;
    } else {
        HashfullCount++;
    }
    *c            = TranspositionEntry{};
    c->Key        = key;
    c->Info       = info;
    c->Stamp      = SearchStamp;
    c->EntryFlags = uint8_t(memo);
    WriteBound(*c, kind, d, v);
}
