#include "frontend/settings.h"

#include <cstring>

int OwnBook;
int MultiPV;
int UseLearning;
int UseLearningData;
int LogLearningIntoFile;
int Pondering;
int UseEGTB;
char EgtbPath[EGTB_PATH_SIZE];
int Aggressivity, AggressivityHalf;
int Cowardice, CowardiceHalf;
int ResignValue;
int ResignTimes;
int UseBookWeights;
int UseBookLearning;
int BookLearningMode;
int VarietyOfPlay;
int BookLearningBound;
int64_t TranspositionEntries;
int64_t PawnHashEntries;
int64_t EvalCacheEntries;
int TbMaxMen;

int PostFlag;
int OwnClock;
int Increment;
int MovesToGo;
int FixedTime;
int MaxDepth;
int MateDepth;
int64_t NodeLimit;
int UciMode;
int FritzMode;
int PonderEnabled;
int ForceMode;
Move LastBestMove;
int BookLearningDone;

void SetDefaultSettings() {
    OwnBook      = 1;
    LastBestMove = 0;
    MultiPV      = 1;
    std::strcpy(EgtbPath, "<empty>");
    UseLearning         = 0;
    UseLearningData     = 0;
    LogLearningIntoFile = 0;
    BookLearningDone    = 1;
    Pondering           = 1;
    PonderEnabled       = 1;
    UseEGTB             = 1;
    UciMode             = 0;
    FritzMode           = 0;
    ForceMode           = 0;
    PostFlag            = 1;
    OwnClock            = -1;
    Increment           = 0;
    MovesToGo           = 0;
    FixedTime           = 0;
    MaxDepth            = 998;
    MateDepth           = 0;
    NodeLimit           = 0;
    TbMaxMen            = 0;
}

void SetDefaultSizesAndStyle() {
    TranspositionEntries = 0x80000;
    PawnHashEntries      = 0x40000;
    EvalCacheEntries     = 0x80000;
    Aggressivity         = 100;
    AggressivityHalf     = 50;
    Cowardice            = 100;
    CowardiceHalf        = 50;
    ResignValue          = 800;
    ResignTimes          = 3;
    BookLearningMode     = 0;
    UseBookLearning      = 1;
    UseBookWeights       = 1;
    BookLearningBound    = 400;
    VarietyOfPlay        = 10;
}
