#include "frontend/game.h"

#include <cstdio>
#include <cstring>

#include "board/geometry.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "frontend/input.h"
#include "frontend/polling.h"
#include "frontend/settings.h"
#include "frontend/startup.h"
#include "search/think.h"
#include "search/tt.h"
#include "search/ordering.h"
#include "search/root.h"

int LastScore;
int LastScoreSide;

void NewGame() {
    if (!FritzMode && !UciMode) {
        LastScore     = 0;
        LastScoreSide = 0;
    }
    SetStartPosition();
    MaxDepth  = 998;
    FixedTime = 0;
    MateDepth = 0;
    ForceMode = 0;
    if (!FritzMode && !UciMode) ResetGameMemory();
}

void ResetGameMemory() {
    ClearMoveHistoryAndKillers();
    LastScore        = 0;
    LastScoreSide    = 0;
    SearchesPlayed   = 0;
    BookLearningDone = 0;
}

void LoadFen(const char* text) {
    LastScore     = 0;
    LastScoreSide = 0;
    SetFen(text);
}

static char Lower(char c) { return char(ToLowerTable[(unsigned char)c]); }

int IsCoordinateMove(const char* text) {
    auto file = [](char c) { return Lower(c) >= 'a' && Lower(c) <= 'h'; };
    auto rank = [](char c) { return c >= '1' && c <= '8'; };
    return text[0] && file(text[0]) && text[1] && rank(text[1]) && text[2] && file(text[2]) && text[3] &&
           rank(text[3]);
}

Move ParseCoordinateMove(const char* text) {
    const int from = (Lower(text[0]) - 'a') + (text[1] - '1') * 8;
    const int to   = (Lower(text[2]) - 'a') + (text[3] - '1') * 8;
    int promotion  = 0;
    switch (Lower(text[4])) {
    case 'q': promotion = QUEEN; break;
    case 'r': promotion = ROOK; break;
    case 'b': promotion = BISHOP; break;
    case 'n': promotion = KNIGHT; break;
    default: break;
    }
    return MakeMoveWord(from, to, thread_board.Board[from], thread_board.Board[to], promotion);
}

bool PlayGameMove(const char* line) {
    // Room is kept for the deepest search line behind the game.
    if (IsCoordinateMove(line) && HistoryCount <= HISTORY_GAME_LIMIT) {
        const Move move = ParseCoordinateMove(line);
        if (IsMoveLegal(move)) {
            MakeMove(move, 1);
            return true;
        }
    }
    std::printf("Illegal move: %s\n", line);
    std::fflush(stdout);
    return false;
}

void TakeBack() {
    if (HistoryCount > HistoryBase) UnmakeMove();
}

void PrintLegalMoves() {
    const int saved = MoveListTop;
    MoveListTop     = 0;
    std::printf("-------------- Legal moves: ----------------\n");
    PrepareRootMoves();
    for (int i = 0; i < MoveListTop; i++) std::printf("%s (%d); ", MoveTextLong(MoveList[i].move), MoveList[i].score);
    std::printf("\n");
    std::fflush(stdout);
    MoveListTop = saved;
}

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
    int colour = WHITE;
    for (;;) {
        const char c = Lower(ReadEditChar());
        if (c == '.') break;
        if (c == ' ' || c == '\r' || c == '\n') continue;
        if (c == 'c') {
            colour = ChangeSide(colour);
        } else if (c == '#') {
            ClearBoard();
        } else if (std::strchr("bknpqrx", c)) {
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
    HistoryBase    = 0;
    ClearMoveHistoryAndKillers();
    SearchStamp += 3;
}

static bool DemoGameOver(int countBefore) {
    const Position& b = thread_board;
    if (HistoryCount == countBefore) return true;
    const bool whiteBare = b.Material[WHITE] == 0, blackBare = b.Material[BLACK] == 0;
    if ((whiteBare && b.Material[BLACK] <= 300 && !b.Pieces[PAWN][BLACK]) ||
        (blackBare && b.Material[WHITE] <= 300 && !b.Pieces[PAWN][WHITE]))
        return true;
    if (IsThreefold()) return true;
    return HistoryCount && History[HistoryCount - 1].FiftyCounter >= 100;
}

void RunDemo() {
    std::FILE* file = std::fopen("openings.epd", "r");
    const int savedPonder = PonderEnabled;
    if (!file) {
        std::printf("Error opening file openings.epd...\n");
        std::fflush(stdout);
        return;
    }
    PonderEnabled = 0;
    char line[256];
    int games = 0;
    while (std::fgets(line, sizeof line, file)) {
        if (!SetFen(line)) continue;
        std::printf("-------------- Game #%d --------------\n", ++games);
        std::fflush(stdout);
        for (;;) {
            GoPonder        = 0;
            SearchMoveCount = 0;
            const int before = HistoryCount;
            Think();
            if (DemoGameOver(before) || InputEnded) break;
        }
        if (InputEnded) break;
    }
    PonderEnabled = savedPonder;
    std::fclose(file);
}
