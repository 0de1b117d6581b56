#include "search/tables.h"

#include "board/makemove.h"
#include "board/ordering.h"
#include "eval/evaluate.h"
#include "platform/platform.h"
#include "search/think.h"
#include "search/tt.h"

void AllocateTables() {
    SetTranspositionEntries(TranspositionEntries);
    if (!AllocateEvalCache()) OutOfMemory();
    BuildReversibleMoveTable();
}

void FreeTables() {
    FreeTransposition();
    FreeEvalCache();
    FreeReversibleMoveTable();
}

void ResetAll() {
    ClearTransposition();
    ClearMoveHistoryAndKillers();
    ClearReplyTablesAndCaptureStats();
    ClearEvalCache();
    ForgetLastScore();
}
