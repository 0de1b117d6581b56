// Positions learnt from earlier games, as the search consults them.
#pragma once

// 1 when the current position is stored; its depth and score are given back.
int LearnProbe(int* depth, int* score);
