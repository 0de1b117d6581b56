#include "frontend/analyze.h"

#include <cstdio>
#include <string>

#include "board/makemove.h"
#include "board/movegen.h"
#include "frontend/command.h"
#include "frontend/game.h"
#include "frontend/input.h"
#include "frontend/xboard.h"
#include "platform/platform.h"
#include "search/root.h"
#include "search/think.h"

int Analyzing;
std::string AnalysisFen;

void AnalyzeLoop() {
    Position& b = thread_board;
    std::string line;
    Analyzing = 1;
    for (;;) {
        ClearSearchRequests();
        SetNoTimeLimit();
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
        if (!AnalysisFen.empty()) {
            LoadFen(AnalysisFen.c_str());
            AnalysisFen.clear();
            continue;
        }
        if (NewGameRequested) {
            NewGame();
            continue;
        }
        if (ExitAnalysisRequested) break;
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
            break;
        } else if (MatchCommand("ping", text)) {
            PingCommand(ArgumentOf(text));
        } else if (MatchCommand("setboard", text)) {
            LoadFen(ArgumentOf(text));
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
    Analyzing = 0;
}
