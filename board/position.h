// The one position of the program, the game history that goes with it, Zobrist keys and the text
// forms of a position. Everything that looks at or changes a position works on thread_board in place.
#pragma once
#include <cstdint>

using u64 = uint64_t;
using u32 = uint32_t;
using Move = uint32_t;

constexpr int WHITE = 0;
constexpr int BLACK = 1;
constexpr int ChangeSide(int side) { return 1 - side; }

// Piece codes carry no colour. Bit 2 marks a slider; of a slider, bit 0 = straight, bit 1 = diagonal.
constexpr int EMPTY  = 0;
constexpr int KING   = 1;
constexpr int KNIGHT = 2;
constexpr int PAWN   = 3;
constexpr int ROOK   = 5;
constexpr int BISHOP = 6;
constexpr int QUEEN  = 7;

constexpr int PieceValue[8] = {0, 10000, 300, 100, 0, 500, 300, 900};
constexpr int PiecePointValue[8] = {0, 0, 3, 0, 0, 5, 3, 9};

constexpr int FileOf(int sq) { return sq & 7; }
constexpr int RankOf(int sq) { return sq >> 3; }
constexpr u64 Bit(int sq) { return 1ULL << sq; }

// Move word: from 0-5, to 6-11, moved 12-14, captured 15-17, promotion 18-20. No flags: castling,
// en passant and double steps are recognised from the fields.
constexpr int MoveFrom(Move m) { return m & 0x3F; }
constexpr int MoveTo(Move m) { return (m >> 6) & 0x3F; }
constexpr int MovedPiece(Move m) { return (m >> 12) & 7; }
constexpr int CapturedPiece(Move m) { return (m >> 15) & 7; }
constexpr int PromotionPiece(Move m) { return (m >> 18) & 7; }
constexpr Move MakeMoveWord(int from, int to, int moved, int captured = 0, int promotion = 0) {
    return Move(from | (to << 6) | (moved << 12) | (captured << 15) | (promotion << 18));
}
constexpr bool IsDoublePawnStep(Move m) {
    return MovedPiece(m) == PAWN && (MoveFrom(m) - MoveTo(m) == 16 || MoveTo(m) - MoveFrom(m) == 16);
}
// En passant has no flag: a pawn that changes file without a captured piece.
constexpr bool IsEnPassantMove(Move m) {
    return MovedPiece(m) == PAWN && CapturedPiece(m) == 0 && ((MoveFrom(m) ^ MoveTo(m)) & 1);
}
// Reversible for repetition: no capture, no promotion, no pawn move, no null move.
constexpr bool IsReversibleMove(Move m) { return m != 0 && (m & 0x1F8000) == 0 && (m & 0x7000) != 0x3000; }

constexpr int CASTLE_WHITE_KING  = 1;
constexpr int CASTLE_WHITE_QUEEN = 2;
constexpr int CASTLE_BLACK_KING  = 4;
constexpr int CASTLE_BLACK_QUEEN = 8;

// MaterialIndex: mixed radix over the ten piece counts; 531441 once a third piece of a type appears.
constexpr int MATERIAL_OVERFLOW = 531441;
// Weight of one piece of [code][side] in MaterialIndex (kings and unused codes weigh nothing).
constexpr int MaterialWeight[8][2] = {{0, 0},       {0, 0}, {729, 2187}, {6561, 59049},
                                      {0, 0},       {9, 27}, {81, 243},  {1, 3}};

struct Position {
    int HeavyCount[2];
    int MinorCount[2];
    int MenCount;
    int white_phase, black_phase, current_phase;
    int CastleRights;
    int PstScore;
    int MaterialIndex;
    int FiftyCounter;
    int SearchAbort;
    int SideToMove;
    u64 Pieces[8][2];
    u64 AllPieces;
    u32 FileOcc[8];
    u32 DiagSumOcc[16];
    u32 DiagDiffOcc[16];
    int KingSquare[2];
    u64 StraightSliders;
    u64 DiagonalSliders;
    int PieceCount[8][2];
    int Board[64];
    u64 HashKey;
    u64 PawnHashKey;
    int Material[2];
    int PiecePoints[2];
};

extern Position thread_board;

// State of the position just before the move of the same record was made.
struct GameHistoryRecord {
    u64 HashKey;
    int FiftyCounter;
    ::Move Move;
    int CastleRights;
    int MaterialIndex;
    int PstScore;
};

// Room for a long game plus the deepest search line; game moves stop at HISTORY_GAME_LIMIT.
constexpr int HISTORY_SIZE       = 2048;
constexpr int HISTORY_GAME_LIMIT = HISTORY_SIZE - 256;

extern GameHistoryRecord History[HISTORY_SIZE];
extern int HistoryCount;
// Take-backs never go below this record: 1 when a FEN left a record for its en-passant target.
extern int HistoryBase;

extern u64 ZobristPiece[2][8][64];
extern u64 ZobristCastle[16];
extern u64 ZobristEnPassant[8];

void InitZobristKeys();
u64 PositionKey();

void ClearBoard();
void PutPiece(int square, int side, int piece);
void SetStartPosition();
// Returns false and prints "Illegal FEN: <text>" when the text is no playable position; the
// position is then left as it was.
bool SetFen(const char* text);
void PrintBoard();
const char* PositionText(Move move);
// Board and counters rebuilt from the men alone; used to check the incremental fields.
void RecomputePosition(Position& out);

// Text forms of a move. Each returns one of a few rotating static buffers, so several may stand in
// one printf. MoveText: "e7e8q", "0000" for no move; MoveTextShort: "e7e8"; MoveTextLong: "Pe7e8",
// "-" for no move.
const char* MoveText(Move move);
const char* MoveTextShort(Move move);
const char* MoveTextLong(Move move);
