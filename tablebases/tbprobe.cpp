#include "tablebases/tbprobe.h"

int TbHits;
int TbRootSolved;

int ProbeWdlInSearch(int* success) {
    *success = 0;
    return 0;
}
int RootInTablebase;
