// Input during a search: no thread reads standard input, the search looks at it every
// PollInterval nodes and acts on the lines that have arrived. Also the xboard pondering
// handshake and the analysis mode.
#pragma once
#include "board/position.h"

extern int PollCountdown;
extern int PollInterval;

// Flags shared with Think; all but the settings they change are cleared per search.
extern int PonderingNow;     // the running search is on the opponent's time
extern Move PredictedMove;   // the opponent's move that search assumes, made on the board
extern Move ReceivedMove;    // a move read during a search
extern int PonderMissed;     // the search on the opponent's time must be given up
extern int NewGameRequested; // `new` arrived during a search
extern int UndoRequested, ExitAnalysisRequested;
extern int PonderGuessing;   // a short search to find a move to ponder on
extern int GoPonder;         // a UCI `go ponder` search: no answer before ponderhit or stop
extern int InputEnded;       // standard input has ended; the process ends after this search
// 1 while a search must not depend on input (bench): the poll reads nothing, so neither a typed
// line nor the end of input can change the search; node and time limits still apply.
extern int PollIgnoresInput;
// The analysis list: the legal moves of the position pondered on or analysed, from ANALYSIS_BASE.
extern int AnalysisEnd;

// Non-zero means stop the search.
int PollInput();
// Takes every line that has arrived and acts on it, or leaves it for the command loop.
void ReadCommandDuringSearch();
// The entry of the analysis list with the same from, to and promotion; 0 when none.
Move FindAnalysisMove(Move move);
// The `analyze` command.
void AnalyzeLoop();
