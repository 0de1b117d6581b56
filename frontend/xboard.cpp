#include "frontend/xboard.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>

#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "eval/pawns.h"
#include "frontend/command.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"

namespace {

// A setting the GUI may change: a number in a range, or a switch (range 0 to 1). A style weight
// keeps its half beside it, the half being what the evaluation reads.
struct XboardOption {
    const char* name;
    int* value;
    int min, max;
    int* half;
};

// ResignValue at its maximum keeps the engine from ever resigning: no score falls that low.
const XboardOption Options[] = {
    {"Aggressivity", &Aggressivity, 0, 300, &AggressivityHalf},
    {"Cowardice", &Cowardice, 0, 300, &CowardiceHalf},
    {"ResignValue", &ResignValue, 0, 32767, nullptr},
    {"ResignTimes", &ResignTimes, 1, 10, nullptr},
    {"OwnBook", &OwnBook, 0, 1, nullptr},
    {"Learning", &UseLearning, 0, 1, nullptr},
    {"UseLearningData", &UseLearningData, 0, 1, nullptr},
    {"LogLearningIntoFile", &LogLearningIntoFile, 0, 1, nullptr},
    {"UseBookLearning", &UseBookLearning, 0, 1, nullptr},
};
constexpr const char* BOOK_OPTION = "OpeningsBook";

std::string HeldPongs;

} // namespace

void ProtoverCommand(int version) {
    if (version < 2) return;
    // colors=0: `white` and `black` set the side to move here, not the engine's colour.
    std::printf("feature myname=\"Velumbrak 1.96\" setboard=1 ping=1 usermove=0 sigint=0 sigterm=0 analyze=1"
                " colors=0 memory=1 egt=\"syzygy\" name=1\n");
    for (const XboardOption& o : Options) {
        const int shown = std::clamp(*o.value, o.min, o.max);
        if (o.max == 1)
            std::printf("feature option=\"%s -check %d\"\n", o.name, shown);
        else
            std::printf("feature option=\"%s -spin %d %d %d\"\n", o.name, shown, o.min, o.max);
    }
    std::printf("feature option=\"%s -file Book.vbk\"\n", BOOK_OPTION);
    std::printf("feature done=1\n");
    std::fflush(stdout);
}

void PingCommand(const char* number) {
    SendHeldPongs();
    std::printf("pong %s\n", number);
    std::fflush(stdout);
}

void PingDuringSearch(const char* number, bool moveIsOut) {
    if (moveIsOut) {
        PingCommand(number);
        return;
    }
    HeldPongs += std::string("pong ") + number + "\n";
}

void SendHeldPongs() {
    if (HeldPongs.empty()) return;
    std::fputs(HeldPongs.c_str(), stdout);
    std::fflush(stdout);
    HeldPongs.clear();
}

void MemoryCommand(int megabytes) {
    SetTableMemory(megabytes);
    std::printf("Transposition size is %lld entries (%lld bytes)\n", (long long)TranspositionEntries,
                (long long)TranspositionEntries * 24);
    std::printf("Pawn hash size is %lld entries (%lld bytes)\n", (long long)PawnHashEntries,
                (long long)PawnHashEntries * 22);
    std::printf("Evaluation cache size is %lld entries (%lld bytes)\n", (long long)EvalCacheEntries,
                (long long)EvalCacheEntries * 48);
    std::fflush(stdout);
}

void EgtPathCommand(int n) {
    // Only Syzygy tables are read; a path of another kind is not ours.
    if (n < 3 || strcasecmp(Tokens[1].c_str(), "syzygy") != 0 || !UseEGTB) return;
    std::snprintf(EgtbPath, EGTB_PATH_SIZE, "%s", RestOfLine(2));
    OpenTablebases();
}

void XboardOptionCommand(const char* text) {
    const char* equals = std::strchr(text, '=');
    if (!equals) return;
    std::string name(text, size_t(equals - text));
    while (!name.empty() && name.back() == ' ') name.pop_back();
    std::string value(equals + 1);
    while (!value.empty() && value.back() == ' ') value.pop_back();
    if (!strcasecmp(name.c_str(), BOOK_OPTION)) {
        OpenBook(value.c_str());
        return;
    }
    for (const XboardOption& o : Options) {
        if (strcasecmp(name.c_str(), o.name) != 0) continue;
        *o.value = int(std::clamp(std::strtol(value.c_str(), nullptr, 10), long(o.min), long(o.max)));
        if (o.half) *o.half = *o.value / 2;
        // The learning file follows its switches: opened, made or closed as they now ask.
        if (o.value == &UseLearning || o.value == &UseLearningData) OpenLearnFile(LEARN_FILE);
    }
}
