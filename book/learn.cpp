#include "book/learn.h"

int UseLearning;
int UseLearningData;
int LogLearningIntoFile;

void SetDefaultLearningSettings() {
    UseLearning         = 0;
    UseLearningData     = 0;
    LogLearningIntoFile = 0;
}

int LearnProbe(int* depth, int* score) {
    *depth = 0;
    *score = 0;
    return 0;
}
