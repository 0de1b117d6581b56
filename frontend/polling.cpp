#include "frontend/polling.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "board/makemove.h"
#include "board/movegen.h"
#include "frontend/command.h"
#include "frontend/game.h"
#include "frontend/input.h"
#include "frontend/settings.h"
#include "frontend/startup.h"
#include "search/ply.h"
#include "search/report.h"
#include "search/root.h"
#include "search/think.h"

int PollCountdown = 50000;
int PollInterval  = 50000;
int PonderingNow;
Move PredictedMove;
Move ReceivedMove;
int PonderMissed;
int NewGameRequested;
int UndoRequested, ExitAnalysisRequested;
int PonderGuessing;
int GoPonder;
int InputEnded;
int PollIgnoresInput;
int AnalysisEnd = ANALYSIS_BASE;

Move FindAnalysisMove(Move move) {
    if (!move) return 0;
    for (int i = ANALYSIS_BASE; i < AnalysisEnd; i++) {
        const Move candidate = MoveList[i].move;
        if (MoveFrom(candidate) == MoveFrom(move) && MoveTo(candidate) == MoveTo(move) &&
            PromotionPiece(candidate) == PromotionPiece(move))
            return candidate;
    }
    return 0;
}

// A search that only a command can end: no clock, pondering, analysis or an endless UCI search.
static bool EndlessSearch() {
    return DepthLimit != 999 || PonderingNow || GoPonder || OwnClock == 999999999;
}

int PollInput() {
    Position& b = thread_board;
    if (!PollIgnoresInput && !InputEnded && InputPending()) {
        PollCountdown = PollInterval;
        ReadCommandDuringSearch();
        if (b.SearchAbort) return 1;
    }
    if (NodeLimit && NodeCount >= uint64_t(NodeLimit)) return 1;
    if (PonderingNow && PonderGuessing == 1 && ClockCs() - SearchStart > 100) {
        PonderGuessing = 0;
        return 1;
    }
    if (UciMode && --ReportCountdown < 0) ReportProgress();
    PollCountdown = PollInterval;
    if (DepthLimit == 999 && !PonderingNow && !GoPonder) return CheckTime(0);
    return 0;
}

// Giving up a search on the opponent's time: Think then goes on as the case needs.
static void GiveUp() {
    if (PonderingNow) {
        ReceivedMove = 0;
        PonderMissed = 1;
    }
}

static void PrintStatus() {
    const Move current = HistoryCount > RootHistoryCount ? History[RootHistoryCount].Move : 0;
    std::printf("stat01: %d %llu %d %d %d %s\n", ClockCs() - SearchStart, (unsigned long long)NodeCount,
                IterationNumber + 1, RootMoveCount - RootMoveIndex, RootMoveCount, MoveText(current));
    std::fflush(stdout);
}

void ReadCommandDuringSearch() {
    Position& b = thread_board;
    std::string line;
    for (;;) {
        if (InputEnded) return;
        const int got = ReadLine(0, line);
        if (got < 0) {
            // The end of input: a search that only a command could end is stopped, a timed one
            // finishes; the command loop then ends the process.
            InputEnded = 1;
            if (EndlessSearch()) {
                // PonderingNow stays: Think must take back the predicted move, not answer it.
                GiveUp();
                GoPonder      = 0;
                b.SearchAbort = 1;
            }
            return;
        }
        if (got == 0) return;
        const char* text = line.c_str();
        if (text[0] == '?' || MatchCommand("stop", text)) {
            GiveUp();
            GoPonder      = 0;
            b.SearchAbort = 1;
            return;
        }
        if (text[0] == '.') {
            PrintStatus();
            return;
        }
        if (MatchCommand("isready", text)) {
            std::printf("readyok\n");
            std::fflush(stdout);
        } else if (MatchCommand("ponderhit", text)) {
            GoPonder = 0;
        } else if (MatchCommand("undo", text)) {
            UndoRequested = 1;
            b.SearchAbort = 1;
            return;
        } else if (MatchCommand("exit", text)) {
            ExitAnalysisRequested = 1;
            b.SearchAbort         = 1;
            return;
        } else if (MatchCommand("new", text)) {
            GiveUp();
            b.SearchAbort    = 1;
            NewGameRequested = 1;
            return;
        } else if (MatchCommand("result", text)) {
            GiveUp();
            b.SearchAbort = 1;
            return;
        } else if (MatchCommand("post", text)) {
            PostFlag = 1;
            GiveUp();
            b.SearchAbort = 1;
            return;
        } else if (MatchCommand("nopost", text)) {
            PostFlag = 0;
            GiveUp();
            b.SearchAbort = 1;
            return;
        } else if (text[0] == 'q') {
            ExitProgram(0);
        } else if (MatchCommand("force", text)) {
            GiveUp();
            ForceMode     = 1;
            b.SearchAbort = 1;
            return;
        } else if (MatchCommand("hard", text)) {
            GiveUp();
            b.SearchAbort = 1;
            if (Pondering) PonderEnabled = 1;
            return;
        } else if (MatchCommand("easy", text)) {
            PonderEnabled = 0;
            GiveUp();
            b.SearchAbort = 1;
            return;
        } else if (MatchCommand("time", text)) {
            OwnClock = line.size() > 5 ? std::atoi(text + 5) : 0;
            if (!PonderingNow) {
                b.SearchAbort = 1;
                return;
            }
        } else if (PonderingNow && MatchCommand("remove", text)) {
            // The host takes back our move on its own turn: give up and leave the line to the
            // command loop, which takes back both moves.
            GiveUp();
            b.SearchAbort = 1;
            InputBuffer.insert(0, line + "\n");
            return;
        } else if (MatchCommand("otim", text)) {
            // The opponent's clock is accepted; nothing reads it.
        } else if (IsCoordinateMove(text)) {
            std::string word(text, line.size() < 5 ? line.size() : 5);
            if (word.size() == 5 && word[4] < 'a') word.resize(4);
            ReceivedMove = FindAnalysisMove(ParseCoordinateMove(word.c_str()));
            if (!ReceivedMove) {
                std::printf("Illegal move: %s\n", text);
                std::fflush(stdout);
                PonderMissed  = 1;
                b.SearchAbort = 1;
            } else if (!PonderingNow) {
                b.SearchAbort = 1; // analysis: AnalyzeLoop takes the move
            } else if (ReceivedMove != PredictedMove) {
                PonderMissed  = 1;
                b.SearchAbort = 1;
            } else {
                PonderingNow = 0; // the predicted move: this search becomes the search for ours
            }
            return;
        }
    }
}

void AnalyzeLoop() {
    Position& b = thread_board;
    std::string line;
    for (;;) {
        b.SearchAbort         = 0;
        NewGameRequested      = 0;
        ExitAnalysisRequested = 0;
        UndoRequested         = 0;
        ReceivedMove          = 0;
        TargetTime = HardTime = 9999999;
        PollInterval          = 50000;
        GenerateLegalMoves(ANALYSIS_BASE);
        AnalysisEnd = MoveListTop;
        MoveListTop = 0;
        SearchStart = ClockCs();
        AnalysisRootSearch(100, 0);
        if (InputEnded) ExitProgram(0);
        if (ReceivedMove) {
            if (IsMoveLegal(ReceivedMove))
                MakeMove(ReceivedMove, 1);
            else
                std::printf("Illegal move: %s\n", MoveText(ReceivedMove));
            continue;
        }
        if (NewGameRequested) {
            NewGame();
            continue;
        }
        if (ExitAnalysisRequested) return;
        if (UndoRequested) {
            TakeBack();
            continue;
        }
        // Stopped by a line that asks nothing of this loop, such as an illegal move: analyse on.
        if (b.SearchAbort) continue;
        // The search ended by itself (a mate, no move, the depth): wait for the next line.
        if (ReadLine(1, line) < 0) ExitProgram(0);
        const char* text = line.c_str();
        if (text[0] == '.') {
            std::printf("stat01: 0 0 0 0 0\n");
            std::fflush(stdout);
        } else if (text[0] == 'q') {
            ExitProgram(0);
        } else if (MatchCommand("exit", text)) {
            return;
        } else if (MatchCommand("new", text)) {
            NewGame();
        } else if (MatchCommand("undo", text)) {
            TakeBack();
        } else if (IsCoordinateMove(text)) {
            const Move move = ParseCoordinateMove(text);
            if (IsMoveLegal(move)) {
                std::printf("move maked...\n");
                std::fflush(stdout);
                MakeMove(move, 1);
            } else {
                std::printf("Illegal move: %s\n", text);
                std::fflush(stdout);
            }
        }
    }
}
