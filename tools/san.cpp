#include "tools/san.h"

#include <cctype>
#include <cstring>
#include <string>

#include "board/movegen.h"

namespace {

// The book builder owns the whole move list; any base will do.
constexpr int SAN_LIST_BASE = 0;

int PieceOfLetter(char letter) {
    switch (letter) {
    case 'K': return KING;
    case 'Q': return QUEEN;
    case 'R': return ROOK;
    case 'B': return BISHOP;
    case 'N': return KNIGHT;
    default: return EMPTY;
    }
}

bool IsFileLetter(char c) { return c >= 'a' && c <= 'h'; }
bool IsRankDigit(char c) { return c >= '1' && c <= '8'; }

// Collects the one legal move that fits; a second one makes the text ambiguous.
struct SanMatch {
    Move move  = 0;
    int found  = 0;
    void Add(Move candidate) {
        move = candidate;
        found++;
    }
    Move Result() const { return found == 1 ? move : 0; }
};

Move ParseCastling(const std::string& text, int* fitting) {
    const bool kingSide  = text == "O-O" || text == "0-0";
    const bool queenSide = text == "O-O-O" || text == "0-0-0";
    if (!kingSide && !queenSide) return 0;
    const int from = thread_board.KingSquare[thread_board.SideToMove];
    const int to   = kingSide ? from + 2 : from - 2;
    GenerateLegalMoves(SAN_LIST_BASE);
    SanMatch match;
    for (int i = SAN_LIST_BASE; i < MoveListTop; i++) {
        const Move move = MoveList[i].move;
        if (MovedPiece(move) == KING && MoveFrom(move) == from && MoveTo(move) == to) match.Add(move);
    }
    if (fitting) *fitting = match.found;
    return match.Result();
}

} // namespace

Move ParseSanMove(const char* input, int* fitting) {
    if (fitting) *fitting = 0;
    std::string text(input);
    // Annotations and check marks say nothing about the move.
    if (text.size() > 4 && text.compare(text.size() - 4, 4, "e.p.") == 0) text.resize(text.size() - 4);
    while (!text.empty() && std::strchr("+#!?", text.back())) text.pop_back();
    if (text.empty()) return 0;
    if (text[0] == 'O' || text[0] == '0') return ParseCastling(text, fitting);

    size_t pos  = 0;
    int piece   = PieceOfLetter(text[0]);
    if (piece != EMPTY)
        pos = 1;
    else
        piece = PAWN;

    // Promotion at the end: "=Q" or a bare letter behind the square.
    int promotion = EMPTY;
    if (piece == PAWN && text.size() >= 3 && !IsRankDigit(text.back())) {
        promotion = PieceOfLetter(char(std::toupper((unsigned char)text.back())));
        if (promotion == EMPTY || promotion == KING) return 0;
        text.pop_back();
        if (!text.empty() && text.back() == '=') text.pop_back();
    }

    bool capture = false;
    std::string squares;
    for (; pos < text.size(); pos++) {
        const char c = text[pos];
        if (c == 'x' || c == ':')
            capture = true;
        else if (c == '-')
            continue;
        else if (IsFileLetter(c) || IsRankDigit(c))
            squares += c;
        else
            return 0;
    }
    if (squares.size() < 2 || squares.size() > 4) return 0;
    const char toFile = squares[squares.size() - 2], toRank = squares[squares.size() - 1];
    if (!IsFileLetter(toFile) || !IsRankDigit(toRank)) return 0;
    const int to = (toFile - 'a') + (toRank - '1') * 8;
    int fromFile = -1, fromRank = -1;
    for (size_t i = 0; i + 2 < squares.size(); i++) {
        const char c = squares[i];
        if (IsFileLetter(c) && fromFile < 0 && fromRank < 0)
            fromFile = c - 'a';
        else if (IsRankDigit(c) && fromRank < 0)
            fromRank = c - '1';
        else
            return 0;
    }
    if (promotion != EMPTY && piece != PAWN) return 0;
    const bool lastRank = to >= 56 || to < 8;
    if (piece == PAWN && lastRank && promotion == EMPTY) promotion = QUEEN;

    GenerateLegalMoves(SAN_LIST_BASE);
    SanMatch match;
    for (int i = SAN_LIST_BASE; i < MoveListTop; i++) {
        const Move move = MoveList[i].move;
        const int from  = MoveFrom(move);
        if (MovedPiece(move) != piece || MoveTo(move) != to || PromotionPiece(move) != promotion) continue;
        if (fromFile >= 0 && FileOf(from) != fromFile) continue;
        if (fromRank >= 0 && RankOf(from) != fromRank) continue;
        const bool takes = CapturedPiece(move) != EMPTY || (piece == PAWN && FileOf(from) != FileOf(to));
        if (capture && !takes) continue;
        match.Add(move);
    }
    if (fitting) *fitting = match.found;
    return match.Result();
}
