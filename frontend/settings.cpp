#include "frontend/settings.h"

#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "search/think.h"
#include "tablebases/tbprobe.h"

int Pondering;
int FritzMode;

void SetDefaultSettings() {
    SetDefaultSearchSettings();
    SetDefaultEvalSettings();
    SetDefaultBookSettings();
    SetDefaultLearningSettings();
    SetDefaultTablebaseSettings();
    Pondering = 1;
    FritzMode = 0;
}
