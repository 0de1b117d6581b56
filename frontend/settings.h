// Settings the user can see and change, and the per-game state of the front end.
#pragma once
#include <cstdint>

#include "board/position.h"

// Settings (start-up print-out, Velumbrak.ini, UCI options).
extern int OwnBook;
extern int MultiPV;
extern int UseLearning;
extern int UseLearningData;
extern int LogLearningIntoFile;
extern int Pondering;
extern int UseEGTB;
constexpr int EGTB_PATH_SIZE = 1024;
extern char EgtbPath[EGTB_PATH_SIZE];
extern int Aggressivity, AggressivityHalf;
extern int Cowardice, CowardiceHalf;
extern int ResignValue;
extern int ResignTimes;
extern int UseBookWeights;
extern int UseBookLearning;
extern int BookLearningMode;
extern int VarietyOfPlay;
extern int BookLearningBound;
extern int64_t TranspositionEntries;
extern int64_t PawnHashEntries;
extern int64_t EvalCacheEntries;
extern int TbMaxMen;

// Front-end state.
extern int PostFlag;
extern int OwnClock;
extern int Increment;
extern int MovesToGo;
extern int FixedTime;
extern int MaxDepth;
extern int MateDepth;
extern int64_t NodeLimit;
extern int UciMode;
extern int FritzMode;
extern int PonderEnabled;
extern int ForceMode;
extern Move LastBestMove;
extern int BookLearningDone;

// Steps 2 and 6 of start-up: every setting and state above back to its compiled-in default.
void SetDefaultSettings();
void SetDefaultSizesAndStyle();
