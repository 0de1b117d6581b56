// The `analyze` command: the engine analyses the position until told to leave, following the moves,
// take-backs and new games the host sends meanwhile.
#pragma once
#include <string>

extern int Analyzing;           // AnalyzeLoop runs
extern std::string AnalysisFen; // a position set by `setboard` during the analysis search

void AnalyzeLoop();
