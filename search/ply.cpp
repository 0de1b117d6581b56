#include "search/ply.h"

PlyRecord PlyStack[PLY_STACK_SIZE];
int Ply;
uint64_t NodeCount;
