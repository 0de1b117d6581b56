#include "search/tables.h"

#include <algorithm>

#include "board/makemove.h"
#include "board/ordering.h"
#include "eval/evaluate.h"
#include "eval/pawns.h"
#include "platform/platform.h"
#include "search/think.h"
#include "search/tt.h"

void AllocateTables() {
    SetTranspositionEntries(TranspositionEntries);
    if (!AllocatePawnHash()) OutOfMemory();
    if (!AllocateEvalCache()) OutOfMemory();
    BuildReversibleMoveTable();
}

void FreeTables() {
    FreeTransposition();
    FreePawnHash();
    FreeEvalCache();
    FreeReversibleMoveTable();
}

void ResetAll() {
    ClearTransposition();
    ClearMoveHistoryAndKillers();
    ClearReplyTablesAndCaptureStats();
    ClearPawnHash();
    ClearEvalCache();
    ForgetLastScore();
}

void SetPawnHashSize(int mb) {
    PawnHashEntries = (int64_t(std::clamp(mb, 0, 1024)) << 20) / int64_t(sizeof(PawnHashEntry));
    if (!AllocatePawnHash()) OutOfMemory();
}

void SetTableMemory(int mb) {
    // Half for the transposition table, three eighths for the evaluation cache, an eighth for the
    // pawn hash: at xboard's usual 64 MB the evaluation cache is about its start-up size. Spare
    // entries behind each table count within the share.
    const int64_t bytes = int64_t(std::clamp(mb, 0, 2 * TT_MAX_MB)) << 20;
    auto entries = [](int64_t share, int64_t entrySize, int64_t spare) {
        return std::max<int64_t>(share / entrySize - spare, 0);
    };
    SetTranspositionEntries(entries(bytes / 2, sizeof(TranspositionEntry), TT_SPARE_ENTRIES));
    EvalCacheEntries = entries(bytes / 8 * 3, sizeof(EvalCacheEntry), EVAL_CACHE_SPARE);
    PawnHashEntries  = entries(bytes / 8, sizeof(PawnHashEntry), PAWN_HASH_SPARE);
    if (!AllocateEvalCache() || !AllocatePawnHash()) OutOfMemory();
}
