// velumbrak-book: writes an opening book for the engine from PGN games.
//
//   velumbrak-book [-plies N] [-min M] [-o FILE] GAMES.pgn [MORE.pgn ...]
//
// Every position reached within the first N plies (default 16) of the games that occurs at least
// M times (default 2) goes into the book, with each move played there and its results.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "board/geometry.h"
#include "board/position.h"
#include "tools/bookbuild/bookbuild.h"
#include "tools/pgn.h"

namespace {

constexpr int DEFAULT_PLIES      = 16;
constexpr int DEFAULT_MIN        = 2;
constexpr int MAX_PLIES          = 1000; // well inside the game record
constexpr const char* DEFAULT_OUT = "Book.vbk";

int Usage() {
    std::printf("usage: velumbrak-book [-plies N] [-min M] [-o FILE] GAMES.pgn [MORE.pgn ...]\n"
                "  -plies N  positions of the first N plies of each game (1-%d, default %d)\n"
                "  -min M    only positions that occur at least M times (default %d)\n"
                "  -o FILE   the book to write (default %s)\n",
                MAX_PLIES, DEFAULT_PLIES, DEFAULT_MIN, DEFAULT_OUT);
    return 2;
}

bool ReadNumber(const char* text, int low, int high, int& value) {
    char* end;
    const long number = std::strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || number < low || number > high) return false;
    value = int(number);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    int plies = DEFAULT_PLIES, minimum = DEFAULT_MIN;
    std::string out = DEFAULT_OUT;
    std::vector<const char*> inputs;
    for (int i = 1; i < argc; i++) {
        const bool hasValue = i + 1 < argc;
        if (std::strcmp(argv[i], "-plies") == 0 && hasValue) {
            if (!ReadNumber(argv[++i], 1, MAX_PLIES, plies)) return Usage();
        } else if (std::strcmp(argv[i], "-min") == 0 && hasValue) {
            if (!ReadNumber(argv[++i], 1, 1 << 30, minimum)) return Usage();
        } else if (std::strcmp(argv[i], "-o") == 0 && hasValue) {
            out = argv[++i];
        } else if (argv[i][0] == '-') {
            return Usage();
        } else {
            inputs.push_back(argv[i]);
        }
    }
    if (inputs.empty()) return Usage();

    InitBoardTables();

    static BookBuild build;
    InitBookBuild(build, plies, minimum);
    for (const char* path : inputs) {
        PgnReader reader;
        if (!OpenPgn(reader, path)) {
            std::printf("Error opening file %s...\n", path);
            return 1;
        }
        PgnGame game;
        while (ReadPgnGame(reader, game)) AddGameToBook(build, game);
    }

    int positions                    = 0;
    const std::vector<uint8_t> bytes = EncodeBook(build, positions);
    if (!WriteBookFile(bytes, out)) {
        std::printf("Error writing %s\n", out.c_str());
        return 1;
    }
    std::printf("%d games read, %d left out; %d positions within %d plies, %d of them seen at least %d times\n",
                build.gamesRead, build.gamesSkipped, int(build.positions.size()), plies, positions, minimum);
    std::printf("%s written, %zu bytes\n", out.c_str(), bytes.size());
    return 0;
}
