#include "board/makemove.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/geometry.h"
#include "platform/platform.h"

// AND mask of castling rights for a move from or to each square.
// clang-format off
static const int8_t CastleMask[64] = {
    ~2, -1, -1, -1, ~3, -1, -1, ~1,
    -1, -1, -1, -1, -1, -1, -1, -1,
    -1, -1, -1, -1, -1, -1, -1, -1,
    -1, -1, -1, -1, -1, -1, -1, -1,
    -1, -1, -1, -1, -1, -1, -1, -1,
    -1, -1, -1, -1, -1, -1, -1, -1,
    -1, -1, -1, -1, -1, -1, -1, -1,
    ~8, -1, -1, -1, ~12, -1, -1, ~4,
};
// clang-format on

ReversibleBucket* ReversibleMoveTable;

// After a third piece of a kind leaves the board the index can count the material again.
static void RecomputeMaterialIndex() {
    Position& b                = thread_board;
    static const int pieces[4] = {QUEEN, ROOK, BISHOP, KNIGHT};
    int index                  = 0;
    for (int piece : pieces)
        for (int side = WHITE; side <= BLACK; side++) {
            if (b.PieceCount[piece][side] >= 3) {
                b.MaterialIndex = MATERIAL_OVERFLOW;
                return;
            }
            index += b.PieceCount[piece][side] * MaterialWeight[piece][side];
        }
    index += b.PieceCount[PAWN][WHITE] * MaterialWeight[PAWN][WHITE] +
             b.PieceCount[PAWN][BLACK] * MaterialWeight[PAWN][BLACK];
    if (index > MATERIAL_OVERFLOW) {
        std::printf("Error when indexing material!\n");
        std::fflush(stdout);
    }
    b.MaterialIndex = index;
}

namespace {

inline void SetLineBits(Position& b, int sq) {
    int file = FileOf(sq), rank = RankOf(sq);
    b.FileOcc[file] |= 1u << rank;
    b.DiagSumOcc[file + rank] |= 1u << rank;
    b.DiagDiffOcc[file - rank + 7] |= 1u << rank;
}

inline void ClearLineBits(Position& b, int sq) {
    int file = FileOf(sq), rank = RankOf(sq);
    b.FileOcc[file] &= ~(1u << rank);
    b.DiagSumOcc[file + rank] &= ~(1u << rank);
    b.DiagDiffOcc[file - rank + 7] &= ~(1u << rank);
}

// Slider boards follow the bits of the piece code: bit 0 straight, bit 1 diagonal.
inline void ToggleSlider(Position& b, int piece, u64 bits) {
    if (piece & 4) {
        if (piece & 1) b.StraightSliders ^= bits;
        if (piece & 2) b.DiagonalSliders ^= bits;
    }
}

// Piece-square sums are kept as Black's total minus White's.
inline int PstSigned(int piece, int side, int sq) {
    return side == BLACK ? PieceSquareTable[piece][side][sq] : -PieceSquareTable[piece][side][sq];
}

inline void AddPieceCounters(Position& b, int piece, int side, int sign) {
    b.Material[side] += sign * PieceValue[piece];
    b.PiecePoints[side] += sign * PiecePointValue[piece];
    if (piece == ROOK) b.HeavyCount[side] += sign;
    if (piece == QUEEN) b.HeavyCount[side] += 2 * sign;
    if (piece == KNIGHT || piece == BISHOP) b.MinorCount[side] += sign;
}

// The rook's part of castling: from and to of the rook for a king move e1-g1, e1-c1, e8-g8, e8-c8.
inline void CastlingRookSquares(int kingFrom, int kingTo, int& rookFrom, int& rookTo) {
    if (kingTo > kingFrom) {
        rookFrom = kingFrom + 3;
        rookTo   = kingFrom + 1;
    } else {
        rookFrom = kingFrom - 4;
        rookTo   = kingFrom - 1;
    }
}

inline bool IsCastling(int us, int from, int to) {
    return from == (us == WHITE ? 4 : 60) && (to - from == 2 || from - to == 2);
}

} // namespace

void MakeMove(Move move, int save) {
    Position& b      = thread_board;
    const int us     = b.SideToMove, them = ChangeSide(us);
    const int from   = MoveFrom(move), to = MoveTo(move);
    const int moved  = MovedPiece(move), captured = CapturedPiece(move), promotion = PromotionPiece(move);
    const u64 fromBit = Bit(from), toBit = Bit(to), both = fromBit | toBit;
    GameHistoryRecord& record = History[HistoryCount];
    const int fiftyAtEntry    = b.FiftyCounter;

    if (save) {
        record.HashKey       = b.HashKey;
        record.FiftyCounter  = b.FiftyCounter;
        record.CastleRights  = b.CastleRights;
        record.MaterialIndex = b.MaterialIndex;
        record.PstScore      = b.PstScore;
    }

    ToggleSlider(b, moved, both);
    b.AllPieces ^= both;
    b.Pieces[0][us] ^= both;
    b.Pieces[moved][us] ^= both;
    b.HashKey ^= ZobristPiece[us][moved][from] ^ ZobristPiece[us][moved][to];
    ClearLineBits(b, from);
    b.Board[from] = EMPTY;
    b.Board[to]   = moved;
    SetLineBits(b, to);
    b.PstScore += PstSigned(moved, us, to) - PstSigned(moved, us, from);

    if (captured) {
        b.AllPieces |= toBit;
        b.Pieces[0][them] &= ~toBit;
        b.MenCount--;
        b.FiftyCounter = 0;
        b.PstScore -= PstSigned(captured, them, to);
        b.PieceCount[captured][them]--;
        b.Pieces[captured][them] ^= toBit;
        b.HashKey ^= ZobristPiece[them][captured][to];
        if (captured != KING) AddPieceCounters(b, captured, them, -1);
        ToggleSlider(b, captured, toBit);
        if (captured == PAWN) b.PawnHashKey ^= ZobristPiece[them][PAWN][to];
        if (captured == ROOK) b.CastleRights &= CastleMask[to];
        if (b.MaterialIndex != MATERIAL_OVERFLOW)
            b.MaterialIndex -= MaterialWeight[captured][them];
        else if (captured != PAWN && b.PieceCount[captured][them] == 2)
            RecomputeMaterialIndex(); // the third piece of a type has gone: the exact index is back
    } else {
        b.FiftyCounter = fiftyAtEntry + 1;
    }

    if (moved == PAWN) {
        b.FiftyCounter = 0;
        b.PawnHashKey ^= ZobristPiece[us][PAWN][from];
        if (promotion) {
            b.Pieces[PAWN][us] &= ~toBit;
            b.PieceCount[PAWN][us]--;
            b.HashKey ^= ZobristPiece[us][PAWN][to];
            b.Board[to] = promotion;
            b.PstScore += PstSigned(promotion, us, to) - PstSigned(PAWN, us, to);
            b.Pieces[promotion][us] |= toBit;
            b.PieceCount[promotion][us]++;
            b.HashKey ^= ZobristPiece[us][promotion][to];
            ToggleSlider(b, promotion, toBit);
            AddPieceCounters(b, promotion, us, 1);
            b.Material[us] -= PieceValue[PAWN];
            if (b.MaterialIndex != MATERIAL_OVERFLOW && b.PieceCount[promotion][us] < 3)
                b.MaterialIndex += MaterialWeight[promotion][us] - MaterialWeight[PAWN][us];
            else
                b.MaterialIndex = MATERIAL_OVERFLOW;
        } else {
            b.PawnHashKey ^= ZobristPiece[us][PAWN][to];
            if (!captured && ((from ^ to) & 1)) {
                const int victim   = (from & 56) ^ (to & 7);
                const u64 victimBit = Bit(victim);
                b.Board[victim]     = EMPTY;
                ClearLineBits(b, victim);
                b.AllPieces &= ~victimBit;
                b.Pieces[0][them] &= ~victimBit;
                b.Pieces[PAWN][them] &= ~victimBit;
                b.PstScore -= PstSigned(PAWN, them, victim);
                b.HashKey ^= ZobristPiece[them][PAWN][victim];
                b.PawnHashKey ^= ZobristPiece[them][PAWN][victim];
                b.MenCount--;
                b.PieceCount[PAWN][them]--;
                b.Material[them] -= PieceValue[PAWN];
                if (b.MaterialIndex != MATERIAL_OVERFLOW) b.MaterialIndex -= MaterialWeight[PAWN][them];
            }
        }
    } else if (moved == ROOK) {
        b.CastleRights &= CastleMask[from];
    } else if (moved == KING) {
        b.KingSquare[us] = to;
        b.CastleRights &= CastleMask[from];
        if (IsCastling(us, from, to)) {
            int rookFrom, rookTo;
            CastlingRookSquares(from, to, rookFrom, rookTo);
            const u64 rookBits = Bit(rookFrom) | Bit(rookTo);
            b.HashKey ^= ZobristPiece[us][ROOK][rookFrom] ^ ZobristPiece[us][ROOK][rookTo];
            b.PstScore += PstSigned(ROOK, us, rookTo) - PstSigned(ROOK, us, rookFrom);
            b.Board[rookFrom] = EMPTY;
            b.Board[rookTo]   = ROOK;
            b.AllPieces ^= rookBits;
            b.Pieces[0][us] ^= rookBits;
            b.Pieces[ROOK][us] ^= rookBits;
            b.StraightSliders ^= rookBits;
            ClearLineBits(b, rookFrom);
            SetLineBits(b, rookTo);
        }
    }

    record.Move = move;
    HistoryCount++;
    b.SideToMove = them;
}

void UnmakeMove() {
    Position& b = thread_board;
    HistoryCount--;
    b.SideToMove                    = ChangeSide(b.SideToMove);
    const GameHistoryRecord& record = History[HistoryCount];
    const Move move                 = record.Move;
    const int us = b.SideToMove, them = ChangeSide(us);
    const int from = MoveFrom(move), to = MoveTo(move);
    const int moved = MovedPiece(move), captured = CapturedPiece(move), promotion = PromotionPiece(move);
    const u64 fromBit = Bit(from), toBit = Bit(to), both = fromBit | toBit;

    if (moved == KING) {
        b.KingSquare[us] = from;
        if (IsCastling(us, from, to)) {
            int rookFrom, rookTo;
            CastlingRookSquares(from, to, rookFrom, rookTo);
            const u64 rookBits = Bit(rookFrom) | Bit(rookTo);
            b.Board[rookTo]    = EMPTY;
            b.Board[rookFrom]  = ROOK;
            b.AllPieces ^= rookBits;
            b.Pieces[0][us] ^= rookBits;
            b.Pieces[ROOK][us] ^= rookBits;
            b.StraightSliders ^= rookBits;
            ClearLineBits(b, rookTo);
            SetLineBits(b, rookFrom);
        }
    }
    if (promotion) {
        b.Pieces[promotion][us] &= ~toBit;
        b.PieceCount[promotion][us]--;
        ToggleSlider(b, promotion, toBit);
        AddPieceCounters(b, promotion, us, -1);
        b.Material[us] += PieceValue[PAWN];
        b.Pieces[PAWN][us] |= toBit;
        b.PieceCount[PAWN][us]++;
    }

    ToggleSlider(b, moved, both);
    b.AllPieces ^= both;
    b.Pieces[0][us] ^= both;
    b.Pieces[moved][us] ^= both;
    b.Board[from] = moved;
    b.Board[to]   = EMPTY;
    SetLineBits(b, from);
    ClearLineBits(b, to);
    if (moved == PAWN) b.PawnHashKey ^= ZobristPiece[us][PAWN][from] ^ (promotion ? 0 : ZobristPiece[us][PAWN][to]);

    if (captured) {
        b.AllPieces |= toBit;
        b.Pieces[0][them] |= toBit;
        b.Pieces[captured][them] |= toBit;
        b.PieceCount[captured][them]++;
        b.Board[to] = captured;
        SetLineBits(b, to);
        b.MenCount++;
        if (captured != KING) AddPieceCounters(b, captured, them, 1);
        ToggleSlider(b, captured, toBit);
        if (captured == PAWN) b.PawnHashKey ^= ZobristPiece[them][PAWN][to];
    } else if (moved == PAWN && ((from ^ to) & 1)) {
        const int victim    = (from & 56) ^ (to & 7);
        const u64 victimBit = Bit(victim);
        b.Board[victim]     = PAWN;
        SetLineBits(b, victim);
        b.AllPieces |= victimBit;
        b.Pieces[0][them] |= victimBit;
        b.Pieces[PAWN][them] |= victimBit;
        b.PawnHashKey ^= ZobristPiece[them][PAWN][victim];
        b.MenCount++;
        b.PieceCount[PAWN][them]++;
        b.Material[them] += PieceValue[PAWN];
    }

    b.CastleRights  = record.CastleRights;
    b.FiftyCounter  = record.FiftyCounter;
    b.PstScore      = record.PstScore;
    b.HashKey       = record.HashKey;
    b.MaterialIndex = record.MaterialIndex;
}

int IsThreefold() {
    const int n      = HistoryCount;
    const int rights = thread_board.CastleRights;
    auto quiet       = [&](int i) { return IsReversibleMove(History[i].Move) && History[i].CastleRights == rights; };
    if (n < 4) return 0;
    if (!quiet(n - 1) || !quiet(n - 2)) return 0;
    int matches = 0;
    for (int i = n - 4; i >= 0; i -= 2) {
        if (!quiet(i) || !quiet(i + 1)) return 0;
        if (History[i].HashKey == thread_board.HashKey && ++matches == 2) return 1;
    }
    return 0;
}

void BuildReversibleMoveTable() {
    if (!ReversibleMoveTable)
        ReversibleMoveTable =
            static_cast<ReversibleBucket*>(std::calloc(REVERSIBLE_BUCKETS, sizeof(ReversibleBucket)));
    if (!ReversibleMoveTable) OutOfMemory();
    std::memset(ReversibleMoveTable, 0, REVERSIBLE_BUCKETS * sizeof(ReversibleBucket));
    for (int a = 0; a < 64; a++) {
        const u64 diagonals = BishopPseudoAttacks[a], lines = RookPseudoAttacks[a];
        const struct {
            int piece;
            u64 targets;
        } walks[6] = {{KING, KingAttacks[a]}, {KNIGHT, KnightAttacks[a]}, {BISHOP, diagonals},
                      {QUEEN, diagonals},     {ROOK, lines},              {QUEEN, lines}};
        for (const auto& walk : walks)
            for (u64 targets = walk.targets; targets; targets &= targets - 1) {
                const int b = __builtin_ctzll(targets);
                for (int side = WHITE; side <= BLACK; side++) {
                    const u64 key =
                        ZobristPiece[side][walk.piece][a] ^ ZobristPiece[side][walk.piece][b];
                    const uint16_t move = uint16_t(MakeMoveWord(a, b, walk.piece));
                    ReversibleBucket& bucket = ReversibleMoveTable[key & (REVERSIBLE_BUCKETS - 1)];
                    int slot                 = 0;
                    while (slot < 4 && bucket.Moves[slot] && bucket.Keys[slot] != key) slot++;
                    if (slot < 4) {
                        bucket.Keys[slot]  = key;
                        bucket.Moves[slot] = move;
                    } else {
                        std::printf("[%d: %s, prev: %s, %s]\n", int(key & (REVERSIBLE_BUCKETS - 1)),
                                    MoveTextLong(move), MoveTextLong(bucket.Moves[0]),
                                    MoveTextLong(bucket.Moves[1]));
                    }
                }
            }
    }
}

void FreeReversibleMoveTable() {
    std::free(ReversibleMoveTable);
    ReversibleMoveTable = nullptr;
}
