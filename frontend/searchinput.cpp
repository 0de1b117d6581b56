#include "frontend/searchinput.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "board/makemove.h"
#include "board/movegen.h"
#include "frontend/analyze.h"
#include "frontend/command.h"
#include "frontend/game.h"
#include "frontend/input.h"
#include "frontend/settings.h"
#include "frontend/xboard.h"
#include "platform/platform.h"
#include "board/ply.h"
#include "search/report.h"
#include "search/root.h"
#include "search/think.h"

// A search that only a command can end: no clock, pondering, analysis or an endless UCI search.
static bool EndlessSearch() {
    return DepthLimit != DEPTH_BY_CLOCK || PonderingNow || GoPonder || OwnClock == INFINITE_CLOCK;
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

static void ReadCommandDuringSearch() {
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
        } else if (MatchCommand("ping", text)) {
            PingDuringSearch(ArgumentOf(text), PonderingNow || GoPonder || Analyzing || OwnClock == INFINITE_CLOCK);
        } else if (Analyzing && MatchCommand("setboard", text) && *ArgumentOf(text)) {
            AnalysisFen   = ArgumentOf(text);
            b.SearchAbort = 1;
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

int ReadSearchInput(int waitMs) {
    if (PonderingNow) SendHeldPongs(); // the move is out
    if (!InputPending() && !(waitMs > 0 && WaitStdin(waitMs))) return 0;
    ReadCommandDuringSearch();
    return 1;
}
