#include "tablebases/tbprobe.h"

#include <cstring>

int UseEGTB;
char EgtbPath[EGTB_PATH_SIZE];
int TbMaxMen;

void SetDefaultTablebaseSettings() {
    UseEGTB = 1;
    std::strcpy(EgtbPath, "<empty>");
    TbMaxMen = 0;
}

int TbHits;
int TbRootSolved;

int ProbeWdlInSearch(int* success) {
    *success = 0;
    return 0;
}
int RootInTablebase;
