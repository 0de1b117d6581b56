#include "board/ply.h"

#include <cstring>

PlyRecord PlyStack[PLY_STACK_SIZE];
int Ply;
uint64_t NodeCount;

void ClearPlyStack() {
    std::memset(PlyStack, 0, sizeof PlyStack);
    Ply = 0;
}
