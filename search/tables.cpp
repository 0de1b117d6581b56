#include "search/tables.h"

#include <algorithm>

#include "board/makemove.h"
#include "board/ordering.h"
#include "eval/evaluate.h"
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
