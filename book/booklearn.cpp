#include "book/booklearn.h"

#include <cstdio>

#include "board/makemove.h"
#include "book/book.h"

bool BookLearningDue() { return UseBookLearning && BookLoaded && !BookVersionZero && !BookLearningDone; }

// Two counter bytes in one write, so that a process killed at any moment leaves either the old or
// the new pair, never half of each.
static void WriteCounters(long at, int scoreFor, int scoreAgainst) {
    const uint8_t bytes[2] = {uint8_t(scoreFor), uint8_t(scoreAgainst)};
    std::fflush(BookFile);
    if (std::fseek(BookFile, at, SEEK_SET) == 0) std::fwrite(bytes, 1, 2, BookFile);
    std::fflush(BookFile);
}

void UpdateBookMove(int result, Move move) {
    if (!FindBookPosition()) return;
    static BookMoveBlock block;
    if (!ReadBookMoveBlock(block)) return;
    int match = -1;
    for (int i = 0; i < block.count && match < 0; i++)
        if (block.from[i] == MoveFrom(move) && block.to[i] == MoveTo(move) && block.counter[i] != BOOK_DEAD_MOVE)
            match = i;
    if (match < 0) return;

    auto countersAt = [&](int i) { return block.offset + 1 + long(i) * BOOK_MOVE_SIZE_V1 + 2; };
    int a = block.counter[match] & 0xFF, b = block.counter[match] >> 8;
    if (result == BOOK_RESULT_GOOD) a += 2;
    if (result == BOOK_RESULT_BAD) b += 2;
    if (result == BOOK_RESULT_DRAW) a++, b++;
    if (a < 255 && b < 255) {
        WriteCounters(countersAt(match), a, b);
        return;
    }
    // Every move of the position shrinks alike, which keeps their rates and keeps 255 free for
    // the dead-move mark; a move never played stays so.
    for (int i = 0; i < block.count; i++) {
        const int word = block.counter[i];
        if (i == match || word == BOOK_NEVER_PLAYED || word == BOOK_DEAD_MOVE) continue;
        WriteCounters(countersAt(i), (word & 0xFF) * 2 / 3, (word >> 8) * 2 / 3);
    }
    WriteCounters(countersAt(match), a * 2 / 3, b * 2 / 3);
}

void LearnGameResult(int result) {
    const int start = HistoryCount;
    // Two plies back per step: only the moves of the side to move at the start are touched.
    while (HistoryCount >= HistoryBase + 1) {
        UnmakeMove();
        if (HistoryCount == HistoryBase) break;
        UnmakeMove();
        if (HistoryCount < HistoryBase + 1) break;
        UpdateBookMove(result, History[HistoryCount].Move);
    }
    while (HistoryCount < start) MakeMove(History[HistoryCount].Move, 1);
    BookLearningDone = 1;
}

void LearnGameForEngine(int engineSide, int result) {
    if (!BookLearningDue()) return;
    if (thread_board.SideToMove != engineSide && HistoryCount > HistoryBase) {
        UnmakeMove();
        const Move last = History[HistoryCount].Move;
        LearnGameResult(result);
        MakeMove(last, 1);
    } else {
        LearnGameResult(result);
    }
}
