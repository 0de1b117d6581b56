// Gathering the opening positions of games and writing them as a version 1 book.
#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "board/position.h"
#include "tools/pgn.h"

struct BuildMove {
    uint8_t from, to;
    uint32_t played;
    uint32_t scoreFor, scoreAgainst; // half points of the side that played the move, and of its opponent
};

struct BuildPosition {
    uint32_t occurrences; // times the position was left by a move within the ply limit
    std::vector<BuildMove> moves;
};

struct BookBuild {
    int plyLimit;       // moves 1 .. plyLimit of each game go in
    int minOccurrences; // positions seen fewer times stay out
    std::map<uint64_t, BuildPosition> positions; // first key << 32 | second key
    int gamesRead, gamesSkipped, movesUnread;
};

void InitBookBuild(BookBuild& build, int plyLimit, int minOccurrences);
// Plays the game from the initial position up to the ply limit. A move that cannot be read ends
// the game there, with one line naming it. Returns false for a game that was not used at all.
bool AddGameToBook(BookBuild& build, const PgnGame& game);
// The bytes of the book: header, sorted index, move blocks. Counters above 254 are scaled down per
// position, keeping a played move non-zero.
std::vector<uint8_t> EncodeBook(const BookBuild& build, int& positionsWritten);
// Writes through a temporary file and a rename, so a failed run leaves no half book.
bool WriteBookFile(const std::vector<uint8_t>& bytes, const std::string& path);
