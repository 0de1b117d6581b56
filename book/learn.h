// Positions learnt from earlier games, as the search consults them.
#pragma once

// ---- Settings: set at start-up, changed by the ini file ----
extern int UseLearning;         // positions are learnt from search results
extern int UseLearningData;     // learnt positions are consulted by the search
extern int LogLearningIntoFile; // learning events go to the text log
void SetDefaultLearningSettings();

// 1 when the current position is stored; its depth and score are given back.
int LearnProbe(int* depth, int* score);
