// What the move ordering learns during a game: the cutoff history of quiet moves, the success
// rates of losing captures and the small memories of good replies. The search writes them; the
// move generators read them to score the moves they make, so they live with the board.
#pragma once
#include <cstdint>

#include "board/position.h"

// Generation of the searches: +1 per search, +3 after board editing, 0 when the transposition
// table is cleared. The table ages its entries by it, and the capture statistics start afresh
// with every new value.
extern uint16_t SearchStamp;

// Piece code -> index 1-6 for king, knight, pawn, rook, bishop, queen.
constexpr int PieceIndex(int piece) { return piece < 4 ? piece : piece - 1; }
// Piece code -> history class: king and knight, pawn and bishop, rook, queen.
constexpr int HistoryClass[8] = {0, 0, 0, 1, 0, 2, 1, 3};

// [good][kind][class][from and to][side]: a running estimate of a move's chance to cut off.
extern int MoveHistory[2][3][4][4096][2];
static_assert(sizeof(MoveHistory) == 0xC0000, "history table size");

inline int& HistoryEntry(int good, int kind, Move move, int side) {
    return MoveHistory[good][kind][HistoryClass[MovedPiece(move)]][move & 0xFFF][side];
}

constexpr int CAPTURE_STATS_SIZE = 1 << 19;
extern int CaptureStatsStamp[CAPTURE_STATS_SIZE];
extern int CaptureStatsTries[CAPTURE_STATS_SIZE];
extern int CaptureStatsSuccesses[CAPTURE_STATS_SIZE];

// The side overlaps the from field on purpose: this is the index every user agrees on.
inline int CaptureStatsIndex(Move move, int side) {
    return (CapturedPiece(move) * 8 + MovedPiece(move)) | (MoveTo(move) << 6) | (MoveFrom(move) << 12) | (side << 13);
}

// Reply memories, newest first: [to square][piece index][side], or for evasions
// [to square][king square][side].
extern Move LastMoveReply1[64][7][2], LastMoveReply2[64][7][2];
extern Move FollowUp1[64][7][2], FollowUp2[64][7][2];
extern Move ThreatReply1[64][7][2], ThreatReply2[64][7][2];
extern Move EvasionReply1[64][64][2], EvasionReply2[64][64][2];


void ClearMoveHistoryAndKillers();
void ClearReplyTablesAndCaptureStats();
