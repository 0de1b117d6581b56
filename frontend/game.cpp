#include "frontend/game.h"

#include <cstdio>

#include "board/geometry.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "book/book.h"
#include "book/booklearn.h"
#include "eval/evaluate.h"
#include "frontend/settings.h"
#include "search/think.h"

void NewGame() {
    // The game that ends here teaches the book while its moves are still on the board.
    if (!FritzMode && !UciMode) LearnGivenUpGame();
    SetStartPosition();
    ResetGameLimits();
    ForceMode = 0;
    if (!FritzMode && !UciMode) ResetGameMemory();
}

void LearnGivenUpGame() { LearnGameForEngine(EngineSide, BOOK_RESULT_DRAW); }

void ResetGameMemory() {
    ResetSearchMemory();
    BookLearningDone = 0;
}

void LoadFen(const char* text) {
    ForgetLastScore();
    SetFen(text);
}

static char Lower(char c) { return char(ToLowerTable[(unsigned char)c]); }

int IsCoordinateMove(const char* text) {
    auto file = [](char c) { return Lower(c) >= 'a' && Lower(c) <= 'h'; };
    auto rank = [](char c) { return c >= '1' && c <= '8'; };
    return text[0] && file(text[0]) && text[1] && rank(text[1]) && text[2] && file(text[2]) && text[3] &&
           rank(text[3]);
}

Move ParseCoordinateMove(const char* text) {
    const int from = (Lower(text[0]) - 'a') + (text[1] - '1') * 8;
    const int to   = (Lower(text[2]) - 'a') + (text[3] - '1') * 8;
    int promotion  = 0;
    switch (Lower(text[4])) {
    case 'q': promotion = QUEEN; break;
    case 'r': promotion = ROOK; break;
    case 'b': promotion = BISHOP; break;
    case 'n': promotion = KNIGHT; break;
    default: break;
    }
    return MakeMoveWord(from, to, thread_board.Board[from], thread_board.Board[to], promotion);
}

bool PlayGameMove(const char* line) {
    // Room is kept for the deepest search line behind the game.
    if (IsCoordinateMove(line) && HistoryCount <= HISTORY_GAME_LIMIT) {
        const Move move = ParseCoordinateMove(line);
        if (IsMoveLegal(move)) {
            MakeMove(move, 1);
            return true;
        }
    }
    std::printf("Illegal move: %s\n", line);
    std::fflush(stdout);
    return false;
}

void TakeBack() {
    if (HistoryCount > HistoryBase) UnmakeMove();
}
