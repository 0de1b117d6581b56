// Think: how long to search, the search itself, the answer, and thinking on the opponent's time;
// the settings and limits the host gives the search, and the flags through which commands that
// arrive during a search reach it.
#pragma once
#include <cstdint>

#include "board/position.h"

// ---- Settings: set at start-up, changed by commands and options ----
extern int MultiPV;       // lines searched at the root
extern int OwnBook;       // book moves may be played
extern int UciPonder;     // the host's Ponder option: it may send `go ponder`
extern int MoveOverhead;  // milliseconds of a UCI clock kept back for the host's lag
extern int PostFlag;      // search reports are printed
extern int UciMode;       // the host speaks UCI: info lines, and bestmove as the answer
extern int PonderEnabled; // the engine may think on the opponent's time now
extern int ResignValue;   // the engine resigns once its score stayed below -ResignValue
extern int ResignTimes;   // for this many of its moves in a row
void SetDefaultSearchSettings();

// ---- Limits, as the host set them ----
// OwnClock, the time left in centiseconds, has two values that are no time at all.
constexpr int NO_CLOCK       = -1;        // no clock: Think searches to MaxDepth
constexpr int INFINITE_CLOCK = 999999999; // `go infinite`: only a command ends the search
// MaxDepth when no depth limit is set.
constexpr int NO_DEPTH_LIMIT = 998;
extern int OwnClock;
extern int Increment; // centiseconds
extern int MovesToGo; // 0: the rest of the game
extern int FixedTime; // centiseconds per move; 0 for none
extern int MaxDepth;
extern int MateDepth; // the moves of a UCI `go mate`; 0 for none
extern int64_t NodeLimit; // 0 for none
// The limits a new game clears: depth, time per move, mate. The clock, the moves to go and the
// increment stay, for the host set them for the whole match.
void ResetGameLimits();
// Every limit off, no clock: a UCI `go` with arguments and `xboard` start from here.
void ResetSearchLimits();

// ---- What the searches of one game remember ----
extern int ForceMode;     // the engine plays no move of its own
extern int LastScore;     // score of the last search, from the view of LastScoreSide
extern int LastScoreSide;
extern Move LastBestMove; // the last move told with bestmove
// The next search starts without the score of an earlier one (a new position, `clean`).
void ForgetLastScore();
// A new game: no killers, no history, no score of an earlier search.
void ResetSearchMemory();

// ---- Commands during a search ----
// The search looks at input every PollInterval nodes.
extern int PollCountdown;
extern int PollInterval;
// What the front end supplies: the reader of the lines that arrive during a search, which acts on
// them through the flags below. It waits at most waitMs for input (0: not at all) and returns 1
// when there was input. Without a reader the search sees no input.
extern int (*ReadCommandsDuringSearch)(int waitMs);
extern int PonderingNow;     // the running search is on the opponent's time
extern Move PredictedMove;   // the opponent's move that search assumes, made on the board
extern Move ReceivedMove;    // a move read during a search
extern int PonderMissed;     // the search on the opponent's time must be given up
extern int NewGameRequested; // `new` arrived during a search
extern int UndoRequested, ExitAnalysisRequested;
extern int GoPonder;         // a UCI `go ponder` search: no answer before ponderhit or stop
extern int InputEnded;       // standard input has ended; the process ends after this search
// 1 while a search must not depend on input (bench): the poll reads nothing, so neither a typed
// line nor the end of input can change the search; node and time limits still apply.
extern int PollIgnoresInput;
// The analysis list: the legal moves of the position pondered on or analysed, from ANALYSIS_BASE.
extern int AnalysisEnd;
// Before a search: no request of a command is pending and the search is not aborted.
void ClearSearchRequests();

// ---- Time ----
// TargetTime and HardTime of a search without a time limit.
constexpr int NO_TIME_LIMIT = 9999999;
extern int SearchStart; // centiseconds
extern int TargetTime;
extern int HardTime;

// The process clock in centiseconds.
int ClockCs();
// TargetTime, HardTime and PollInterval for the coming move, from the clock settings.
void AllocateTime();
// No time limit, and the poll at its widest interval.
void SetNoTimeLimit();
// The time rules; 1 when the search must stop.
int CheckTime(int atIterationStart);
// Called by the search every PollInterval nodes; non-zero means stop the search.
int PollInput();
// The entry of the analysis list with the same from, to and promotion; 0 when none.
Move FindAnalysisMove(Move move);
// Searches, answers with the move, and ponders when allowed. Returns when the engine waits for
// input: 1 when a `new` arrived during the search and the caller must start the new game.
int Think();
// The score as the console prints it: mate scores carry 67 more in size.
int ConsoleScore(int score);
