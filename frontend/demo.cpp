#include "frontend/demo.h"

#include <cstdio>

#include "board/makemove.h"
#include "frontend/game.h"
#include "search/root.h"
#include "search/think.h"

static bool DemoGameOver(int countBefore) {
    const Position& b = thread_board;
    if (HistoryCount == countBefore) return true;
    const bool whiteBare = b.Material[WHITE] == 0, blackBare = b.Material[BLACK] == 0;
    if ((whiteBare && b.Material[BLACK] <= 300 && !b.Pieces[PAWN][BLACK]) ||
        (blackBare && b.Material[WHITE] <= 300 && !b.Pieces[PAWN][WHITE]))
        return true;
    if (IsThreefold()) return true;
    return HistoryCount && History[HistoryCount - 1].FiftyCounter >= 100;
}

void RunDemo() {
    std::FILE* file = std::fopen("openings.epd", "r");
    const int savedPonder = PonderEnabled;
    if (!file) {
        std::printf("Error opening file openings.epd...\n");
        std::fflush(stdout);
        return;
    }
    PonderEnabled = 0;
    char line[256];
    int games = 0;
    while (std::fgets(line, sizeof line, file)) {
        if (!SetFen(line)) continue;
        std::printf("-------------- Game #%d --------------\n", ++games);
        std::fflush(stdout);
        for (;;) {
            GoPonder        = 0;
            SearchMoveCount = 0;
            const int before = HistoryCount;
            if (Think()) NewGame();
            if (DemoGameOver(before) || InputEnded) break;
        }
        if (InputEnded) break;
    }
    PonderEnabled = savedPonder;
    std::fclose(file);
}
