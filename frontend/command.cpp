#include "frontend/command.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <csignal>

#include "board/geometry.h"
#include "board/movegen.h"
#include "board/position.h"
#include "book/book.h"
#include "eval/evaluate.h"
#include "eval/values.h"
#include "frontend/analyze.h"
#include "frontend/bench.h"
#include "frontend/demo.h"
#include "frontend/edit.h"
#include "frontend/game.h"
#include "frontend/input.h"
#include "frontend/settings.h"
#include "frontend/uci.h"
#include "frontend/xboard.h"
#include "platform/platform.h"
#include "search/root.h"
#include "search/tables.h"
#include "search/think.h"
#include "tablebases/tbprobe.h"
#include "tools/perft.h"
#include "tools/pgneval.h"

std::array<std::string, MAX_TOKENS> Tokens;
int TokenOffsets[MAX_TOKENS];

int Tokenize(const char* text, const char* delimiters) {
    for (std::string& token : Tokens) token.clear();
    int cell     = 0;
    bool inToken = false;
    for (int i = 0; text[i]; i++) {
        if (!std::strchr(delimiters, text[i])) {
            if (cell >= MAX_TOKENS) break;
            if (!inToken) TokenOffsets[cell] = i;
            inToken = true;
            Tokens[cell] += text[i];
        } else if (inToken) {
            inToken = false;
            cell++;
        }
    }
    // A trailing delimiter (a space, or the CR of a CR LF host) opens no further token.
    if (inToken) cell++;
    return cell == 0 ? 1 : cell < MAX_TOKENS ? cell : MAX_TOKENS;
}

int MatchCommand(const char* keyword, const char* text) {
    while (*keyword == ' ') keyword++;
    while (*text == ' ') text++;
    if (!*keyword || !*text) return 0;
    for (; *keyword && *text; keyword++, text++)
        if (ToLowerTable[(unsigned char)*keyword] != ToLowerTable[(unsigned char)*text]) return 0;
    return 1;
}

int TokenNumber(int index) {
    long value = std::strtol(Tokens[index].c_str(), nullptr, 10);
    if (value > INT_MAX) return INT_MAX;
    if (value < INT_MIN) return INT_MIN;
    return int(value);
}

const char* RestOfLine(int index) {
    static std::string rest;
    rest = CommandLine.substr((size_t)TokenOffsets[index]);
    while (!rest.empty() && rest.back() == ' ') rest.pop_back();
    return rest.c_str();
}

const char* ArgumentOf(const char* text) {
    while (*text == ' ') text++;
    while (*text && *text != ' ') text++;
    while (*text == ' ') text++;
    return text;
}

// A keyword that must stand alone: "stop" is not "st", "ucinewgame" is not "uci".
static bool IsWholeWord(const char* keyword, const char* line) {
    return MatchCommand(keyword, line) && Tokens[0].size() == std::strlen(keyword);
}

static const char* const HelpLines[] = {
    "analyze ................... Enters analyze mode",
    "black ..................... Sets black to move and engine side to white",
    "brd ....................... Prints a board",
    "bkm ....................... Prints book moves for current position",
    "easy ...................... Toggles pondering off",
    "edit ...................... Edit board position",
    "egtbstat .................. Displays current EGTB status",
    "epdevl <f> ................ Produces static evaluations for EPD-file <f>",
    "evl ....................... Shows static evaluation for current position",
    "force ..................... Toggles autoplay off",
    "go ........................ Starts search",
    "hard ...................... Toggles pondering on",
    "help ...................... Displays this help",
    "level <m> <t> <i> ......... Sets ICS time controls",
    "loadfen <e> ............... Sets FEN-position <e>",
    "moves ..................... Displays all legal moves with ranking priorities",
    "mvd ....................... Shows position flags",
    "new ....................... Starts a new game",
    "nopost .................... Toggles silent mode on",
    "perft <d> ................. Tests the move generator/make_move with depth <d>",
    "post ...................... Toggles silent mode off",
    "q[uit] .................... Exits Velumbrak",
    "remove .................... Un-makes last moves of each side",
    "sd <d> .................... Sets max search depth to <d>",
    "st <t> .................... Sets max search time to <t>",
    "time <t> .................. Sets remaining game time in milliseconds to <t>",
    "uci ....................... UCI mode",
    "undo ...................... Un-makes last move of one side",
    "white ..................... Sets white to move and engine side to black\n",
};

static void PrintHelp() {
    std::printf("Velumbrak commands:\n%s\n", std::string(78, '-').c_str());
    for (const char* line : HelpLines) {
        std::puts(line);
        // A person at a terminal reads the first page before the rest scrolls by; a pipe must
        // not lose its next command to the pause.
        if (std::strncmp(line, "nopost", 6) == 0 && StdinIsTerminal()) {
            std::printf("\nPress <enter> to continue....");
            std::fflush(stdout);
            std::string answer;
            if (ReadLine(1, answer) < 0) ExitProgram(0);
            std::printf("\n");
        }
    }
    std::fflush(stdout);
}

// The `moves` command: the legal moves in search order with their ordering scores.
static void PrintLegalMoves() {
    const int saved = MoveListTop;
    MoveListTop     = 0;
    std::printf("-------------- Legal moves: ----------------\n");
    PrepareRootMoves();
    for (int i = 0; i < MoveListTop; i++) std::printf("%s (%d); ", MoveTextLong(MoveList[i].move), MoveList[i].score);
    std::printf("\n");
    std::fflush(stdout);
    MoveListTop = saved;
}

static void SetLevel(int n) {
    MovesToGo = TokenNumber(1);
    if (n == 4) Increment = TokenNumber(3) * 100;
    if (n >= 5) Increment = TokenNumber(4) * 100;
}

static void PrintEgtbStatus() {
    std::printf("UseEGTB = %s\ntb_path = %s\n", UseEGTB ? "TRUE" : "FALSE", EgtbPath);
    if (TbMaxMen)
        std::printf("%d piece EGTB files found\n", TbMaxMen);
    else
        std::printf("EGTB files not found\n");
    std::fflush(stdout);
}

void ExecuteCommand() {
    const char* line = CommandLine.c_str();
    int n            = Tokenize(line, MatchCommand("level", line) ? " :" : " ");

    if (MatchCommand("pgneval", line)) {
        RunPgnEvaluation(n >= 2 ? Tokens[1].c_str() : "source.pgn");
    } else if (MatchCommand("q", line)) {
        ExitProgram(0);
    } else if (MatchCommand("clean", line)) {
        ResetAll();
    } else if (MatchCommand("reload", line)) {
        LoadEvaluationValues();
    } else if (IsCoordinateMove(line)) {
        // The engine answers at once unless in force mode.
        if (PlayGameMove(line) && !ForceMode) {
            GoPonder        = 0;
            SearchMoveCount = 0;
            if (Think()) NewGame();
        }
    } else if (MatchCommand("help", line)) {
        PrintHelp();
    } else if (MatchCommand("new", line)) {
        NewGame();
    } else if (MatchCommand("post", line)) {
        PostFlag = 1;
    } else if (MatchCommand("reset", line)) {
        if (RootScores[0] == 0) LearnGivenUpGame();
        ResetGameMemory();
    } else if (MatchCommand("level", line) && n >= 2) {
        SetLevel(n);
    } else if (MatchCommand("moves", line)) {
        PrintLegalMoves();
    } else if (MatchCommand("edit", line)) {
        EditBoard();
    } else if (MatchCommand("loadfen", line)) {
        LoadFen(CommandLine.size() > 8 ? line + 8 : "");
    } else if (MatchCommand("epdevl", line) && n >= 2) {
        RunEpdEvaluation(Tokens[1].c_str(), n >= 3 ? Tokens[2].c_str() : "out.epd");
    } else if (MatchCommand("selftest", line)) {
        RunSelfTest(n >= 2 ? Tokens[1].c_str() : "source.pgn", ResetAll);
    } else if (MatchCommand("nopost", line)) {
        PostFlag = 0;
    } else if (MatchCommand("perft", line) && n >= 2) {
        RunPerftCommand(TokenNumber(1));
    } else if (MatchCommand("sd", line) && n >= 2) {
        MaxDepth = TokenNumber(1);
    } else if (IsWholeWord("stop", line)) {
        StopCommand();
    } else if (MatchCommand("st", line) && n >= 2) {
        FixedTime = TokenNumber(1) * 100;
    } else if (MatchCommand("go", line)) {
        GoCommand(n);
    } else if (MatchCommand("ponderhit", line) && GoPonder) {
        PonderHitCommand();
    } else if (MatchCommand("white", line)) {
        thread_board.SideToMove = WHITE;
    } else if (MatchCommand("remove", line)) {
        TakeBack();
        TakeBack();
    } else if (MatchCommand("analyze", line)) {
        AnalyzeLoop();
    } else if (MatchCommand("black", line)) {
        thread_board.SideToMove = BLACK;
    } else if (MatchCommand("force", line)) {
        ForceMode = 1;
    } else if (MatchCommand("brd", line)) {
        PrintBoard();
    } else if (MatchCommand("time", line) && n >= 2) {
        OwnClock = TokenNumber(1);
    } else if (MatchCommand("otime", line) && n >= 2) {
        // The opponent's clock is accepted; nothing reads it.
    } else if (MatchCommand("easy", line)) {
        PonderEnabled = 0;
    } else if (MatchCommand("hard", line)) {
        if (Pondering) PonderEnabled = 1;
    } else if (MatchCommand("evl", line)) {
        PrintEvaluation();
    } else if (MatchCommand("undo", line)) {
        TakeBack();
    } else if (MatchCommand("fritz", line)) {
        FritzMode = 1;
    } else if (MatchCommand("xboard", line)) {
        ResetSearchLimits();
        UciMode       = 0;
        PonderEnabled = Pondering;
        // xboard hosts send SIGINT to interrupt thinking; the poll handles that through input.
        std::signal(SIGINT, SIG_IGN);
    } else if (MatchCommand("mvd", line)) {
        std::printf("castling flags = %d\n", thread_board.CastleRights);
        std::fflush(stdout);
    } else if (MatchCommand("demo", line)) {
        RunDemo();
    } else if (MatchCommand("bkm", line)) {
        PrintBookMoves();
    } else if (IsWholeWord("ucinewgame", line)) {
        UciNewGameCommand();
    } else if (MatchCommand("uci", line)) {
        UciCommand();
    } else if (MatchCommand("setoption", line)) {
        SetOptionCommand(n);
    } else if (MatchCommand("isready", line)) {
        std::printf("readyok\n");
        std::fflush(stdout);
    } else if (MatchCommand("egtbstat", line)) {
        PrintEgtbStatus();
    } else if (MatchCommand("position", line) && n >= 2) {
        PositionCommand(n);
    } else if (MatchCommand("debug", line) && n >= 2) {
        // "debug on" and "debug off" are accepted and change nothing.
    } else if (MatchCommand("bench", line)) {
        BenchCommand(n >= 2 && TokenNumber(1) > 0 ? TokenNumber(1) : BENCH_DEFAULT_DEPTH);
    } else if (MatchCommand("protover", line) && n >= 2) {
        ProtoverCommand(TokenNumber(1));
    } else if (MatchCommand("ping", line)) {
        PingCommand(Tokens[1].c_str());
    } else if (MatchCommand("setboard", line) && n >= 2) {
        LoadFen(RestOfLine(1));
    } else if (MatchCommand("memory", line) && n >= 2) {
        MemoryCommand(TokenNumber(1));
    } else if (MatchCommand("egtpath", line)) {
        EgtPathCommand(n);
    } else if (MatchCommand("option", line) && n >= 2) {
        XboardOptionCommand(RestOfLine(1));
    }
    // xboard's `accepted` and `rejected` of the features, `name` of the opponent and its other
    // words that change nothing here match no keyword: they pass without a word.
}
