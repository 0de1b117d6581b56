// Engine set-up for the unit tests, in one place: the start-up tables built once, a fresh game
// with default settings and empty tables, positions loaded, quiet searches, and a plain second
// move generator to check the real one against.
#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "board/position.h"
#include "tests/support/testdata.h"

// Start-up tables (once), default settings and sizes, empty tables and memories, the start position.
void FreshEngine();

// Loads a FEN as `loadfen` does; a refused FEN fails the test.
void Load(const std::string& fen);
// The same without the failure: whether it was taken, and what was printed.
bool TryLoad(const std::string& fen, std::string* printed = nullptr);
// The legal move with this coordinate text ("e7e8q"); fails the test when there is none.
Move Find(const std::string& text);
void Play(std::initializer_list<const char*> moves);
// The engine's legal moves, sorted.
std::vector<Move> LegalMoves();

// What a call prints on standard output.
template <typename F> std::string Printed(F&& f) {
    testing::internal::CaptureStdout();
    f();
    return testing::internal::GetCapturedStdout();
}

// The plain generator: square-by-square walks over Board, no tables.
bool SlowSquareAttacked(int square, int bySide);
std::vector<Move> SlowPseudoMoves(); // castling only through empty, unattacked squares
std::vector<Move> SlowLegalMoves();  // sorted

// Colours exchanged and the board turned over; side, rights and en-passant square follow.
std::string Mirrored(const std::string& fen);

// A search to a fixed depth that nothing outside can steer: no book, no clock, no input, no
// output; the tables are cleared first unless `clean` is false. MultiPV, MateDepth and the
// searchmoves list are left as the test set them.
struct SearchOutcome {
    Move best      = 0;
    int score      = 0;
    uint64_t nodes = 0;
    int over       = 0; // the game was over at the root
};
SearchOutcome SearchToDepth(int depth, bool clean = true, int64_t nodeLimit = 0);
// One node searched on its own as the root would enter it at ply 1.
int SearchNode(int alpha, int beta, int depth, int kind, int64_t nodeLimit = 0);
