#include "tools/perft.h"

#include <algorithm>
#include <cstdio>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "platform/platform.h"
#include "board/ply.h"

// Pseudo-legal generation with legality settled late: a king capture one ply deeper refutes the
// move before it, and at the last ply the attack test decides.
void Perft(int depth) {
    Position& b     = thread_board;
    const int saved = MoveListTop;
    const int us = b.SideToMove, them = ChangeSide(us);
    GenerateCaptures(b.Pieces[0][them]);
    GeneratePromotions();
    for (int i = saved; i < MoveListTop; i++)
        if (CapturedPiece(MoveList[i].move) == KING) {
            MoveListTop = saved;
            return;
        }
    const int quietStart = MoveListTop;
    GenerateQuiet(1);
    // Castling is generated without a look at the king's own square; out of check it is no move.
    if (MoveListTop > quietStart && MovedPiece(MoveList[quietStart].move) == KING &&
        IsSquareAttacked(them, b.KingSquare[us])) {
        int kept = quietStart;
        for (int i = quietStart; i < MoveListTop; i++) {
            const Move m = MoveList[i].move;
            if (MovedPiece(m) == KING && (MoveTo(m) - MoveFrom(m) == 2 || MoveFrom(m) - MoveTo(m) == 2)) continue;
            MoveList[kept++] = MoveList[i];
        }
        MoveListTop = kept;
    }
    const int end = MoveListTop;
    for (int i = saved; i < end; i++) {
        MakeMove(MoveList[i].move, 1);
        if (depth == 1) {
            if (!IsSquareAttacked(them, b.KingSquare[us])) NodeCount++;
        } else {
            Perft(depth - 1);
        }
        UnmakeMove();
    }
    MoveListTop = saved;
}

void RunPerftCommand(int depth) {
#ifdef VELUMBRAK_FUZZ
    depth = std::min(depth, FUZZ_PERFT_DEPTH);
#endif
    MoveListTop = 0;
    const int64_t tick = ClockMs();
    while (ClockMs() == tick) {}
    const int64_t start = ClockMs();
    NodeCount           = 0;
    if (depth > 0) Perft(depth);
    std::printf("total moves = %llu time = %.2f\n", (unsigned long long)NodeCount, (ClockMs() - start) / 1000.0);
    std::fflush(stdout);
}
