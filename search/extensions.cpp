#include "search/extensions.h"

#include "board/attacks.h"
#include "board/geometry.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/ply.h"
#include "search/search.h"

u64 PieceAttacksFrom(int square, int side, int piece) {
    switch (piece) {
    case KING: return KingAttacks[square];
    case KNIGHT: return KnightAttacks[square];
    case PAWN: return side == WHITE ? WhitePawnAttacks[square] : BlackPawnAttacks[square];
    case ROOK: return RookAttacks(square);
    case BISHOP: return BishopAttacks(square);
    case QUEEN: return QueenAttacks(square);
    default: return 0;
    }
}

static int Abs(int x) { return x < 0 ? -x : x; }

int MoveUnveilsAttackOn(Move move, int square) {
    const Position& b = thread_board;
    const int from = MoveFrom(move), to = MoveTo(move), us = b.SideToMove;
    const int toTarget = DirectionTable[from][square];
    const int along    = DirectionTable[to][from];
    if (!toTarget || Abs(toTarget) == Abs(along)) return 0;
    const u64 line = LineAttacks(from, toTarget);
    if (!(line & Bit(square))) return 0;
    const bool straight = Abs(toTarget) == 1 || Abs(toTarget) == 8;
    const u64 sliders   = b.Pieces[QUEEN][us] | (straight ? b.Pieces[ROOK][us] : b.Pieces[BISHOP][us]);
    return (line & sliders) ? 1 : 0;
}

int MoveDiscoversCheck(Move move) {
    const Position& b = thread_board;
    return MoveUnveilsAttackOn(move, b.KingSquare[ChangeSide(b.SideToMove)]);
}

int MoveGivesCheck(Move move) {
    Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move), promotion = PromotionPiece(move);
    const int king = b.KingSquare[them];

    if (moved == KING) {
        if (Abs(to - from) == 2) {
            // The castling rook lands next to the king's to-square, on the side of its from-square;
            // along the home rank the king's own square opens up as well.
            const int rookTo = to > from ? to - 1 : to + 1;
            if (RookAttacks(rookTo) & Bit(king)) return 1;
            return RankOf(king) == RankOf(from) && !(BetweenMask[from][king] & b.AllPieces & ~Bit(from));
        }
        return MoveDiscoversCheck(move);
    }
    if (promotion) {
        if (PieceAttacksFrom(to, us, promotion) & Bit(king)) return 1;
        // The pawn's own square is empty once it has promoted.
        const int beyond = DirectionTable[king][to];
        if (beyond && beyond == DirectionTable[from][to] && (promotion & 4)) {
            const bool straight = Abs(beyond) == 1 || Abs(beyond) == 8;
            if ((straight && (promotion & 1)) || (!straight && (promotion & 2))) {
                if (LineAttacks(from, beyond) & Bit(king)) return 1;
            }
        }
        return MoveDiscoversCheck(move);
    }
    if (PieceAttacksFrom(to, us, moved) & Bit(king)) return 1;
    if (moved == PAWN && !CapturedPiece(move) && ((from ^ to) & 1)) {
        MakeMove(move, 1);
        const int check = IsSquareAttacked(us, king);
        UnmakeMove();
        return check;
    }
    return MoveDiscoversCheck(move);
}

int ResolveSee(Move move, int* seeWord) {
    if (*seeWord == UNKNOWN_SEE) {
        *seeWord = (MovedPiece(move) == KING || IsEnPassantMove(move)) ? 1 : SeeNotLosing(move);
    }
    return *seeWord;
}

// Captured pieces of the same class count as a recapture: pawn; knight or bishop; rook; queen; king.
static int RecaptureClass(int piece) { return piece == BISHOP ? KNIGHT : piece; }

int ComputeExtension(int fullExtensions, int mateThreat, int depth, int singleReply, Move move, int moveScore,
                     int isPv, const u64* weakMen, int alphaGap, int* seeWord) {
    const Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    const int p = Ply;
    const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move), captured = CapturedPiece(move);
    int x    = singleReply ? 0 : -ONE_PLY;
    int bits = singleReply ? FLAG_SINGLE_REPLY : 0;
    int cap  = 0;

    if (mateThreat) {
        x += fullExtensions ? 3 : 1;
        bits |= FLAG_MATE_THREAT;
    }
    if (captured && moveScore >= 0) {
        const int v = PieceValue[captured];
        // Taking the last piece leads into a pawn ending: the one case where the child goes deeper.
        if (v >= 101 && !PromotionPiece(move) &&
            b.PiecePoints[WHITE] + b.PiecePoints[BLACK] == PiecePointValue[captured]) {
            cap = 4;
            x += fullExtensions ? 4 : 2;
            bits |= FLAG_LAST_PIECE;
        }
        if (v + 60 > alphaGap) {
            bits |= FLAG_SINGLE_REPLY;
            if (HistoryCount) {
                const Move last = History[HistoryCount - 1].Move;
                if (MoveTo(last) == to && p > 0 && !(PlyStack[p - 1].Flags & FLAG_RECAPTURE) &&
                    RecaptureClass(captured) == RecaptureClass(CapturedPiece(last)) && alphaGap >= -119) {
                    bits |= FLAG_RECAPTURE;
                    x += fullExtensions ? 3 : 1;
                }
            }
        }
    }
    PlyStack[p].Flags = bits;

    const int check        = MoveGivesCheck(move);
    PlyStack[p + 1].InCheck = check;
    if (check) {
        if (ResolveSee(move, seeWord) || MoveDiscoversCheck(move) || isPv) x += fullExtensions ? 4 : 2;
        PlyStack[p].Flags |= FLAG_CHECK;
    }
    if (moveScore < 0) return x < cap ? x : cap;

    // Passed pawn pushes into the far half, and moves that attack weak or valuable men.
    int threats = 0;
    bool toStep9 = false;
    if (moved == PAWN) {
        const int relativeRank = us == WHITE ? RankOf(to) : 7 - RankOf(to);
        const u64 mask         = us == WHITE ? PassedMaskWhite[to] : PassedMaskBlack[to];
        if (relativeRank >= 3 && !(mask & b.Pieces[PAWN][them])) {
            PlyStack[p].Flags |= FLAG_PASSER_PUSH;
            threats = 1;
            if (isPv && relativeRank >= 5) {
                threats = 2;
                toStep9 = true;
            }
        }
    }
    if (!toStep9) {
        const u64 targets = PieceAttacksFrom(to, us, moved) & b.Pieces[0][them];
        if (alphaGap < 220 && (targets & weakMen[them])) {
            threats = 2;
        } else {
            for (u64 t = targets; t; t &= t - 1) {
                const int s      = __builtin_ctzll(t);
                const int victim = b.Board[s];
                if (PieceValue[victim] + 120 > alphaGap && CaptureSeeNotLosing(s, from, moved, victim, 0)) {
                    if (++threats > 1) break;
                }
            }
        }
        if (threats == 0) return x < cap ? x : cap;
    }
    if (!ResolveSee(move, seeWord)) return x < cap ? x : cap;
    PlyStack[p].Flags |= FLAG_SAFE_THREAT;
    if (threats >= 2 && depth + x < ONE_PLY) {
        const int y = x + (fullExtensions ? 4 : 2);
        return y < cap ? y : cap;
    }
    return x < cap ? x : cap;
}
