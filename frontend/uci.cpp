#include "frontend/uci.h"

#include <cstdio>
#include <cstring>

#include "board/makemove.h"
#include "board/movegen.h"
#include "book/book.h"
#include "eval/evaluate.h"
#include "frontend/command.h"
#include "frontend/game.h"
#include "frontend/input.h"
#include "search/root.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"

void UciCommand() {
    std::printf("id name Velumbrak 1.96\n");
    std::printf("id author Ilvar T. Dromsen\n");
    std::printf("option name Hash type spin default 10 min 0 max 1024\n");
    std::printf("option name PawnHash type spin default 7 min 0 max 1024\n");
    std::printf("option name SyzygyPath type string default <empty>\n");
    std::printf("option name OpeningsBook type string default Book.vbk\n");
    std::printf("option name OwnBook type check default true\n");
    std::printf("option name MultiPV type spin default 1 min 1 max 1024\n");
    std::printf("option name Aggressivity type spin default %d min 0 max 300\n", Aggressivity);
    std::printf("option name Defensivity type spin default %d min 0 max 300\n", Cowardice);
    std::printf("option name Clear Hash type button\n");
    std::printf("option name Ponder type check default true\n");
    std::printf("option name Move Overhead type spin default 10 min 0 max 5000\n");
    std::printf("uciok\n");
    std::fflush(stdout);
    UciMode       = 1;
    PonderEnabled = 0;
}

static int MegabytesOf(int index) {
    const int mb = TokenNumber(index);
    return mb < 0 ? 0 : mb > 1024 ? 1024 : mb;
}

void SetOptionCommand(int n) {
    if (n < 3 || !MatchCommand("name", Tokens[1].c_str())) return;
    const char* name = Tokens[2].c_str();
    if (MatchCommand("Clear", name)) {
        if (MatchCommand("Hash", Tokens[3].c_str())) ClearTransposition();
        return;
    }
    if (MatchCommand("Move", name)) {
        if (n >= 6 && MatchCommand("Overhead", Tokens[3].c_str()) && MatchCommand("value", Tokens[4].c_str())) {
            const int ms = TokenNumber(5);
            MoveOverhead = ms < 0 ? 0 : ms > 5000 ? 5000 : ms;
        }
        return;
    }
    // Every other option needs its value word; a line without it is dropped.
    if (n < 5 || !MatchCommand("value", Tokens[3].c_str())) return;
    if (MatchCommand("Aggressivity", name)) {
        Aggressivity     = TokenNumber(4);
        AggressivityHalf = Aggressivity / 2;
    } else if (MatchCommand("Defensivity", name)) {
        Cowardice     = TokenNumber(4);
        CowardiceHalf = Cowardice / 2;
    } else if (MatchCommand("MultiPV", name)) {
        MultiPV = TokenNumber(4);
    } else if (MatchCommand("Hash", name)) {
        SetTranspositionSize(MegabytesOf(4));
    } else if (MatchCommand("PawnHash", name)) {
        SetPawnHashSize(MegabytesOf(4));
    } else if (MatchCommand("Ponder", name)) {
        // Only recorded: the engine ponders whenever the host sends `go ponder`.
        if (MatchCommand("false", Tokens[4].c_str())) UciPonder = 0;
        if (MatchCommand("true", Tokens[4].c_str())) UciPonder = 1;
    } else if (MatchCommand("OwnBook", name)) {
        if (MatchCommand("false", Tokens[4].c_str())) OwnBook = 0;
        if (MatchCommand("true", Tokens[4].c_str())) OwnBook = 1;
    } else if (MatchCommand("SyzygyPath", name)) {
        if (UseEGTB) {
            std::snprintf(EgtbPath, EGTB_PATH_SIZE, "%s", RestOfLine(4));
            OpenTablebases();
        }
    } else if (MatchCommand("OpeningsBook", name)) {
        OpenBook(RestOfLine(4));
    }
}

void UciNewGameCommand() {
    LastBestMove = 0;
    LearnGivenUpGame();
    ResetGameMemory();
}

void PositionCommand(int n) {
    LastBestMove = 0;
    if (MatchCommand("startpos", Tokens[1].c_str())) {
        NewGame();
    } else if (MatchCommand("fen", Tokens[1].c_str())) {
        const char* at = std::strstr(CommandLine.c_str(), "fen");
        if (!at) at = CommandLine.c_str() + TokenOffsets[1];
        std::string fen(at + 3);
        // The FEN ends where the move list begins.
        const size_t moves = fen.find(" moves");
        if (moves != std::string::npos) fen.resize(moves);
        LoadFen(fen.c_str());
    }
    if (n < 4) return;
    int i = 2;
    while (i < n && !MatchCommand("moves", Tokens[i].c_str())) i++;
    for (i++; i < n; i++) {
        const char* word = Tokens[i].c_str();
        if (!IsCoordinateMove(word) || HistoryCount > HISTORY_GAME_LIMIT) continue;
        const Move move = ParseCoordinateMove(word);
        if (IsMoveLegal(move)) MakeMove(move, 1);
    }
}

void GoCommand(int n) {
    ForceMode       = 0;
    GoPonder        = 0;
    SearchMoveCount = 0;
    if (n > 1) {
        // Without a clock for the side to move the search runs by depth, nodes, time or stop.
        ResetSearchLimits();
        const bool white = thread_board.SideToMove == WHITE;
        for (int i = 1; i < n; i++) {
            const char* word = Tokens[i].c_str();
            const int value  = i + 1 < n ? TokenNumber(i + 1) : 0;
            if (MatchCommand("btime", word)) {
                if (!white) OwnClock = value / 10;
                i++;
            } else if (MatchCommand("wtime", word)) {
                if (white) OwnClock = value / 10;
                i++;
            } else if (MatchCommand("binc", word)) {
                if (!white) Increment = value / 10;
                i++;
            } else if (MatchCommand("winc", word)) {
                if (white) Increment = value / 10;
                i++;
            } else if (MatchCommand("movestogo", word)) {
                MovesToGo = value;
                i++;
            } else if (MatchCommand("depth", word)) {
                MaxDepth = value;
                i++;
            } else if (MatchCommand("nodes", word)) {
                NodeLimit = value;
                i++;
            } else if (MatchCommand("movetime", word)) {
                FixedTime = value / 10;
                i++;
            } else if (MatchCommand("mate", word)) {
                MateDepth = value;
                i++;
            } else if (MatchCommand("infinite", word)) {
                OwnClock = INFINITE_CLOCK;
            } else if (MatchCommand("searchmoves", word)) {
                for (i++; i < n; i++)
                    if (IsCoordinateMove(Tokens[i].c_str()) && SearchMoveCount < MAX_ROOT_MOVES)
                        SearchMoves[SearchMoveCount++] = ParseCoordinateMove(Tokens[i].c_str());
            } else if (MatchCommand("ponder", word)) {
                GoPonder = 1;
            }
        }
    }
    if (Think()) NewGame();
}

void StopCommand() {
    if (!LastBestMove) return;
    std::printf("bestmove %s\n", MoveText(LastBestMove));
    std::fflush(stdout);
}

void PonderHitCommand() {
    if (!GoPonder) return;
    const Move best = MoveList[0].move;
    MakeMove(best, 1);
    GoPonder     = 0;
    LastBestMove = best;
    if (PonderMove && IsMoveLegal(PonderMove))
        std::printf("bestmove %s ponder %s\n", MoveText(best), MoveText(PonderMove));
    else
        std::printf("bestmove %s\n", MoveText(best));
    std::fflush(stdout);
}
