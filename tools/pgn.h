// Reading games from PGN text: tag pairs and the main line of moves, nothing else.
#pragma once
#include <string>
#include <vector>

constexpr int PGN_UNKNOWN   = 0;
constexpr int PGN_WHITE_WON = 1;
constexpr int PGN_BLACK_WON = 2;
constexpr int PGN_DRAWN     = 3;

struct PgnGame {
    std::string white, black;
    int result;             // one of the PGN_ results, from the Result tag or the closing marker
    bool fromSetUp;         // a FEN tag: the game does not start from the initial position
    std::string fen;        // the FEN tag's value
    int plyCount;           // the PlyCount tag, 0 without one
    std::vector<std::string> moves; // main-line move texts, move numbers and annotations removed
};

// Position in a PGN text between calls.
struct PgnReader {
    std::string text;
    size_t pos;
};

// Loads a whole file; false when it cannot be read. A byte-order mark at its start is passed over.
bool OpenPgn(PgnReader& reader, const char* path);
// The next game, with comments {...} and ;..., variations (...), NAGs $n, move numbers and
// "%" escape lines skipped. False at the end of the text.
bool ReadPgnGame(PgnReader& reader, PgnGame& game);
