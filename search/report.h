// What the engine prints about a running search: the principal variation as the table gives it,
// UCI info lines and the console's progress lines.
#pragma once
#include <cstdint>

// Polls left until the next "info nps" line.
extern int ReportCountdown;

// Every search starts the throttle of its early reports afresh.
void ResetReportThrottle();
// Prints the line of root move `index` as " %s" words, read from the transposition table.
void PrintPv(int index);
void ReportUci(int force, int boundKind, int withPv);
void ReportMultiPv(int line, int boundKind);
void ReportConsole(int force);
// "info nps ... nodes ... tbhits ... hashfull ..." for UCI hosts.
void ReportProgress();
