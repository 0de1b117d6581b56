#include "frontend/game.h"

#include <cstdio>

#include "board/geometry.h"
#include "frontend/settings.h"

int LastScore;
int LastScoreSide;

void NewGame() {
    if (!FritzMode && !UciMode) {
        LastScore     = 0;
        LastScoreSide = 0;
    }
    SetStartPosition();
    MaxDepth  = 998;
    FixedTime = 0;
    MateDepth = 0;
    ForceMode = 0;
    if (!FritzMode && !UciMode) ResetGameMemory();
}

void ResetGameMemory() {
    LastScore        = 0;
    LastScoreSide    = 0;
    BookLearningDone = 0;
}

void LoadFen(const char* text) {
    LastScore     = 0;
    LastScoreSide = 0;
    SetFen(text);
}

int IsCoordinateMove(const char* text) {
    auto file = [](char c) { return ToLowerTable[(unsigned char)c] >= 'a' && ToLowerTable[(unsigned char)c] <= 'h'; };
    auto rank = [](char c) { return c >= '1' && c <= '8'; };
    return text[0] && file(text[0]) && text[1] && rank(text[1]) && text[2] && file(text[2]) && text[3] &&
           rank(text[3]);
}

void PlayTypedMove(const char* line) {
    std::printf("Illegal move: %s\n", line);
    std::fflush(stdout);
}
