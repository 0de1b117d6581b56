#include "frontend/edit.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "board/geometry.h"
#include "board/ordering.h"
#include "frontend/input.h"
#include "platform/platform.h"

static char Lower(char c) { return char(ToLowerTable[(unsigned char)c]); }

// One character of input, read through InputBuffer like every other reader.
static char ReadEditChar() {
    while (InputBuffer.empty())
        if (!ReadInput()) ExitProgram(0);
    const char c = InputBuffer[0];
    InputBuffer.erase(0, 1);
    return c;
}

static void RemoveMan(int square) {
    if (!thread_board.Board[square]) return;
    static Position saved;
    saved = thread_board;
    ClearBoard();
    for (int sq = 0; sq < 64; sq++)
        if (saved.Board[sq] && sq != square)
            PutPiece(sq, (saved.Pieces[0][BLACK] & Bit(sq)) ? BLACK : WHITE, saved.Board[sq]);
}

void EditBoard() {
    // The edited men are taken as a FEN would be: a board SetFen refuses leaves this one.
    static Position before;
    before                 = thread_board;
    const int beforeCount  = HistoryCount, beforeBase = HistoryBase;
    int colour = WHITE;
    for (;;) {
        const char c = Lower(ReadEditChar());
        if (c == '.') break;
        if (c == ' ' || c == '\r' || c == '\n') continue;
        if (c == 'c') {
            colour = ChangeSide(colour);
        } else if (c == '#') {
            ClearBoard();
        } else if (c && std::strchr("bknpqrx", c)) { // a NUL byte would match the terminator
            const char file = Lower(ReadEditChar()), rank = ReadEditChar();
            if (file < 'a' || file > 'h' || rank < '1' || rank > '8') {
                std::printf("Error\n");
                std::fflush(stdout);
                continue;
            }
            const int square = (file - 'a') + (rank - '1') * 8;
            RemoveMan(square);
            if (c != 'x') {
                static const char letters[] = "?knp?rbq";
                const int piece             = int(std::strchr(letters + 1, c) - letters);
                PutPiece(square, colour, piece);
            }
        } else {
            std::printf("Error\n");
            std::fflush(stdout);
        }
    }
    // Rights where king and rook stand on their home squares.
    Position& b    = thread_board;
    int rights     = 0;
    auto stands    = [&](int sq, int side, int piece) { return b.Board[sq] == piece && (b.Pieces[0][side] & Bit(sq)); };
    if (stands(4, WHITE, KING)) rights |= (stands(7, WHITE, ROOK) ? 1 : 0) | (stands(0, WHITE, ROOK) ? 2 : 0);
    if (stands(60, BLACK, KING)) rights |= (stands(63, BLACK, ROOK) ? 4 : 0) | (stands(56, BLACK, ROOK) ? 8 : 0);
    b.CastleRights = rights;
    HistoryCount   = 0;
    std::string fen = PositionText(0);
    while (!fen.empty() && fen.back() == ' ') fen.pop_back();
    thread_board = before;
    HistoryCount = beforeCount;
    HistoryBase  = beforeBase;
    if (!SetFen(fen.c_str())) return;
    ClearMoveHistoryAndKillers();
    SearchStamp += 3;
}

