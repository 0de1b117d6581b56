#include "frontend/startup.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "board/geometry.h"
#include "board/makemove.h"
#include "board/position.h"
#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "eval/kpk.h"
#include "eval/krkp.h"
#include "eval/sigmoid.h"
#include "eval/values.h"
#include "frontend/command.h"
#include "frontend/config.h"
#include "frontend/game.h"
#include "frontend/input.h"
#include "frontend/searchinput.h"
#include "frontend/settings.h"
#include "frontend/xboard.h"
#include "platform/platform.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"

static const char* OnOff(int flag) { return flag ? "on" : "off"; }

static void PrintSettings() {
    std::printf("Transposition size is %d entries (%lld bytes)\n", int(TranspositionEntries),
                (long long)TranspositionEntries * 24);
    std::printf("Pawn hash size is %d entries (%lld bytes)\n", int(PawnHashEntries), (long long)PawnHashEntries * 22);
    std::printf("Aggressivity = %d (%d)%%\nCowardice = %d (%d)%%\n", Aggressivity, AggressivityHalf, Cowardice,
                CowardiceHalf);
    std::printf("ResignValue = %d\nResignTimes = %d\n", ResignValue, ResignTimes);
    std::printf("UseEGTB = %s\n", OnOff(UseEGTB));
    std::printf("EGTB path = \"%s\"\n", EgtbPath);
    std::printf("UseBookWeights = %s\n", OnOff(UseBookWeights));
    std::printf("UseBookLearning = %s\n", OnOff(UseBookLearning));
    std::printf("BookLearningMode = %s\n", BookLearningMode ? "DISCOVER" : "KILL");
    std::printf("VarietyOfPlay = %d\nBookLearningBound = %d\n", VarietyOfPlay, BookLearningBound);
    std::printf("UseLearning = %s\n", OnOff(UseLearning));
    std::printf("UseLearningData = %s\n", OnOff(UseLearningData));
    std::printf("LogLearningIntoFile = %s\n", OnOff(LogLearningIntoFile));
    std::printf("Pondering = %s\n\n", OnOff(Pondering));
    std::fflush(stdout);
}

// What ExitProgram leaves behind: the tables go back, the book file is closed.
static void ReleaseEverything() {
    FreeTables();
    if (BookLoaded) CloseBook();
    CloseLearnFile();
}

void InitializeEngine() {
    std::atexit(ReleaseEverything);
    // Output may be a pipe: every line goes out at once, and a reader that has gone away ends
    // the process through the failed write instead of a signal.
    std::setvbuf(stdout, nullptr, _IOLBF, 1 << 16);
    std::signal(SIGPIPE, SIG_IGN);

    SetDefaultSettings();
    InputBuffer.clear();
    std::printf("Velumbrak v1.96 [r2358/29.06.2016]\n");

    ShareLoopsWithIdleCoresOnly();
    InitBoardTables();
    LoadEvaluationValues();
    InitSigmoidTables();
    InitKpkTables();
    InitKrkpTable();

    ReadConfigurationFile();
    AllocateTables();
    SeedBookRandom(u32(std::time(nullptr)));
    // The ini file may have opened a book of its own already.
    if (!BookLoaded) OpenBook("Book.vbk");
    PrintSettings();
    OpenLearnFile(LEARN_FILE);
    PostFlag                 = 1;
    OwnClock                 = NO_CLOCK;
    ReadCommandsDuringSearch = ReadSearchInput;
    OpenTablebases();
    NewGame();
}

void RunCommandLoop() {
    for (;;) {
        if (ReadLine(1, CommandLine) < 0) ExitProgram(0);
        ExecuteCommand();
        // A ping that came during the search for the engine's move is answered once it is made.
        SendHeldPongs();
        if (std::ferror(stdout)) ExitProgram(0);
    }
}

