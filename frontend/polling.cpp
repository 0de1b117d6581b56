#include "frontend/polling.h"

#include "frontend/settings.h"
#include "search/ply.h"

int PollCountdown = 50000;
int PollInterval  = 50000;

int PollInput() {
    PollCountdown = PollInterval;
    if (NodeLimit && NodeCount >= uint64_t(NodeLimit)) return 1;
    return 0;
}
