#include "board/position.h"

#include <cstdio>
#include <cstring>

#include "board/geometry.h"

Position thread_board;
GameHistoryRecord History[HISTORY_SIZE];
int HistoryCount;
int HistoryBase;

u64 ZobristPiece[2][8][64];
u64 ZobristCastle[16];
u64 ZobristEnPassant[8];

static const char PieceLetters[9] = ".KNP?RBQ"; // board prints
static const char PromotionLetters[9] = "\0knp?rbq"; // promotion suffixes

// ---------------------------------------------------------------------------------------------
// Zobrist keys: MT19937-64 seeded by its reference array routine, so keys are identical in every
// run and the learning file's stored keys stay valid.

namespace {
constexpr int MT_N = 312;
constexpr int MT_M = 156;
u64 MtState[MT_N];
int MtIndex = MT_N + 1;

void MtSeed(u64 seed) {
    MtState[0] = seed;
    for (MtIndex = 1; MtIndex < MT_N; MtIndex++)
        MtState[MtIndex] = 6364136223846793005ULL * (MtState[MtIndex - 1] ^ (MtState[MtIndex - 1] >> 62)) +
                           (u64)MtIndex;
}

void MtSeedArray(const u64* key, int length) {
    MtSeed(19650218ULL);
    int i = 1, j = 0;
    for (int k = (MT_N > length ? MT_N : length); k; k--) {
        MtState[i] = (MtState[i] ^ ((MtState[i - 1] ^ (MtState[i - 1] >> 62)) * 3935559000370003845ULL)) +
                     key[j] + (u64)j;
        i++;
        j++;
        if (i >= MT_N) {
            MtState[0] = MtState[MT_N - 1];
            i          = 1;
        }
        if (j >= length) j = 0;
    }
    for (int k = MT_N - 1; k; k--) {
        MtState[i] = (MtState[i] ^ ((MtState[i - 1] ^ (MtState[i - 1] >> 62)) * 2862933555777941757ULL)) - (u64)i;
        i++;
        if (i >= MT_N) {
            MtState[0] = MtState[MT_N - 1];
            i          = 1;
        }
    }
    MtState[0] = 1ULL << 63;
}

u64 MtNext() {
    static const u64 mag01[2] = {0ULL, 0xB5026F5AA96619E9ULL};
    constexpr u64 UPPER = 0xFFFFFFFF80000000ULL, LOWER = 0x7FFFFFFFULL;
    if (MtIndex >= MT_N) {
        int i;
        for (i = 0; i < MT_N - MT_M; i++) {
            u64 x      = (MtState[i] & UPPER) | (MtState[i + 1] & LOWER);
            MtState[i] = MtState[i + MT_M] ^ (x >> 1) ^ mag01[x & 1];
        }
        for (; i < MT_N - 1; i++) {
            u64 x      = (MtState[i] & UPPER) | (MtState[i + 1] & LOWER);
            MtState[i] = MtState[i + (MT_M - MT_N)] ^ (x >> 1) ^ mag01[x & 1];
        }
        u64 x             = (MtState[MT_N - 1] & UPPER) | (MtState[0] & LOWER);
        MtState[MT_N - 1] = MtState[MT_M - 1] ^ (x >> 1) ^ mag01[x & 1];
        MtIndex           = 0;
    }
    u64 x = MtState[MtIndex++];
    x ^= (x >> 29) & 0x5555555555555555ULL;
    x ^= (x << 17) & 0x71D67FFFEDA60000ULL;
    x ^= (x << 37) & 0xFFF7EEE000000000ULL;
    x ^= (x >> 43);
    return x;
}
} // namespace

void InitZobristKeys() {
    static const u64 key[4] = {0x12345, 0x23456, 0x34567, 0x45678};
    MtSeedArray(key, 4);
    static const int order[6] = {PAWN, KNIGHT, BISHOP, ROOK, QUEEN, KING};
    std::memset(ZobristPiece, 0, sizeof ZobristPiece);
    for (int sq = 0; sq < 64; sq++)
        for (int piece : order)
            for (int side = WHITE; side <= BLACK; side++) ZobristPiece[side][piece][sq] = MtNext();
    for (u64& k : ZobristCastle) k = MtNext();
    for (u64& k : ZobristEnPassant) k = MtNext();
}
static bool EnPassantPossible() {
    if (HistoryCount == 0) return false;
    Move last = History[HistoryCount - 1].Move;
    if (!IsDoublePawnStep(last)) return false;
    int to        = MoveTo(last);
    u64 neighbour = 0;
    if (FileOf(to) != 0) neighbour |= Bit(to - 1);
    if (FileOf(to) != 7) neighbour |= Bit(to + 1);
    return (thread_board.Pieces[PAWN][thread_board.SideToMove] & neighbour) != 0;
}

u64 PositionKey() {
    u64 key = thread_board.HashKey ^ ZobristCastle[thread_board.CastleRights & 15];
    if (EnPassantPossible()) key ^= ZobristEnPassant[FileOf(MoveTo(History[HistoryCount - 1].Move))];
    return key;
}

// ---------------------------------------------------------------------------------------------

void ClearBoard() {
    Position& b = thread_board;
    int side = b.SideToMove, rights = b.CastleRights, abort = b.SearchAbort;
    int kw = b.KingSquare[WHITE], kb = b.KingSquare[BLACK];
    int wp = b.white_phase, bp = b.black_phase, cp = b.current_phase;
    std::memset(&b, 0, sizeof b);
    b.SideToMove           = side;
    b.CastleRights         = rights;
    b.SearchAbort          = abort;
    b.KingSquare[WHITE]    = kw;
    b.KingSquare[BLACK]    = kb;
    b.white_phase          = wp;
    b.black_phase          = bp;
    b.current_phase        = cp;
}

void PutPiece(int square, int side, int piece) {
    Position& b = thread_board;
    u64 bit     = Bit(square);
    int file = FileOf(square), rank = RankOf(square);
    b.MenCount++;
    if (piece != KING) b.Material[side] += PieceValue[piece];
    if (piece == ROOK) b.HeavyCount[side] += 1;
    if (piece == QUEEN) b.HeavyCount[side] += 2;
    if (piece == KNIGHT || piece == BISHOP) b.MinorCount[side] += 1;
    if (side == BLACK)
        b.PstScore += PieceSquareTable[piece][side][square];
    else
        b.PstScore -= PieceSquareTable[piece][side][square];
    b.Pieces[0][side] |= bit;
    b.AllPieces |= bit;
    b.FileOcc[file] |= 1u << rank;
    b.DiagSumOcc[file + rank] |= 1u << rank;
    b.DiagDiffOcc[file - rank + 7] |= 1u << rank;
    b.Board[square] = piece;
    if (piece == KING) {
        b.Pieces[KING][side] = bit;
        b.KingSquare[side]   = square;
        b.HashKey ^= ZobristPiece[side][KING][square];
    } else if (piece == PAWN) {
        b.Pieces[PAWN][side] |= bit;
        b.HashKey ^= ZobristPiece[side][PAWN][square];
        b.PawnHashKey ^= ZobristPiece[side][PAWN][square];
        b.PieceCount[PAWN][side]++;
        if (b.MaterialIndex != MATERIAL_OVERFLOW) b.MaterialIndex += MaterialWeight[PAWN][side];
    } else {
        b.PieceCount[piece][side]++;
        b.Pieces[piece][side] |= bit;
        b.PiecePoints[side] += PiecePointValue[piece];
        if ((piece & 5) == 5) b.StraightSliders ^= bit;
        if ((piece & 6) == 6) b.DiagonalSliders ^= bit;
        b.HashKey ^= ZobristPiece[side][piece][square];
        if (b.MaterialIndex != MATERIAL_OVERFLOW && b.PieceCount[piece][side] < 3)
            b.MaterialIndex += MaterialWeight[piece][side];
        else
            b.MaterialIndex = MATERIAL_OVERFLOW;
    }
}

void SetStartPosition() {
    static const int backRank[8] = {ROOK, KNIGHT, BISHOP, QUEEN, KING, BISHOP, KNIGHT, ROOK};
    HistoryCount = 0;
    HistoryBase  = 0;
    ClearBoard();
    for (int f = 0; f < 8; f++) PutPiece(f, WHITE, backRank[f]);
    for (int f = 0; f < 8; f++) PutPiece(8 + f, WHITE, PAWN);
    for (int f = 0; f < 8; f++) PutPiece(56 + f, BLACK, backRank[f]);
    for (int f = 0; f < 8; f++) PutPiece(48 + f, BLACK, PAWN);
    thread_board.KingSquare[WHITE] = 4;
    thread_board.KingSquare[BLACK] = 60;
    thread_board.SideToMove        = WHITE;
    thread_board.CastleRights      = 15;
}

// A plain ray walk: SetFen needs an attack test before (and apart from) the attack tables.
static bool SquareAttackedSlow(int square, int bySide) {
    const Position& b = thread_board;
    auto enemy        = [&](int sq, int piece) {
        return b.Board[sq] == piece && (b.Pieces[0][bySide] & Bit(sq)) != 0;
    };
    int f = FileOf(square), r = RankOf(square);
    static const int knight[8][2] = {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
    for (auto& d : knight) {
        int nf = f + d[0], nr = r + d[1];
        if (nf >= 0 && nf < 8 && nr >= 0 && nr < 8 && enemy(nr * 8 + nf, KNIGHT)) return true;
    }
    for (int df = -1; df <= 1; df++)
        for (int dr = -1; dr <= 1; dr++) {
            if (!df && !dr) continue;
            int nf = f + df, nr = r + dr;
            if (nf >= 0 && nf < 8 && nr >= 0 && nr < 8 && enemy(nr * 8 + nf, KING)) return true;
        }
    int pawnRank = bySide == WHITE ? r - 1 : r + 1;
    for (int df = -1; df <= 1; df += 2) {
        int nf = f + df;
        if (nf >= 0 && nf < 8 && pawnRank >= 0 && pawnRank < 8 && enemy(pawnRank * 8 + nf, PAWN)) return true;
    }
    static const int dirs[8][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {1, 1}, {1, -1}, {-1, 1}, {-1, -1}};
    for (auto& d : dirs) {
        bool straight = d[0] == 0 || d[1] == 0;
        for (int nf = f + d[0], nr = r + d[1]; nf >= 0 && nf < 8 && nr >= 0 && nr < 8; nf += d[0], nr += d[1]) {
            int sq = nr * 8 + nf;
            if (b.Board[sq] == EMPTY) continue;
            if (b.Pieces[0][bySide] & Bit(sq)) {
                int p = b.Board[sq];
                if (p == QUEEN || p == (straight ? ROOK : BISHOP)) return true;
            }
            break;
        }
    }
    return false;
}

static bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// Parses into thread_board; false when the text is no acceptable position.
static bool ParseFen(const char* p) {
    HistoryCount = 0;
    HistoryBase  = 0;
    ClearBoard();
    thread_board.SideToMove   = WHITE;
    thread_board.CastleRights = 0;
    while (IsBlank(*p)) p++;

    int rank = 7, file = 0;
    int kings[2] = {0, 0};
    for (; *p && !IsBlank(*p); p++) {
        char c = *p;
        if (c == '/') {
            if (file != 8 || rank == 0) return false;
            rank--;
            file = 0;
        } else if (c >= '0' && c <= '9') {
            file += c - '0';
            if (file > 8) return false;
        } else {
            const char* letters = "KNP?RBQ";
            const char* hit     = nullptr;
            int side            = WHITE;
            if (c >= 'A' && c <= 'Z') hit = std::strchr(letters, c);
            if (c >= 'a' && c <= 'z') {
                hit  = std::strchr(letters, c - 32);
                side = BLACK;
            }
            if (!hit || *hit == '?') continue; // other characters are ignored
            int piece = int(hit - letters) + 1;
            if (file >= 8) return false;
            if (piece == PAWN && (rank == 0 || rank == 7)) return false;
            if (piece == KING && ++kings[side] > 1) return false;
            PutPiece(rank * 8 + file, side, piece);
            file++;
        }
    }
    if (rank != 0 || file != 8 || kings[WHITE] != 1 || kings[BLACK] != 1) return false;
    // No more men than promotions can make: the evaluation's tables and the move lists count on it.
    for (int side = WHITE; side <= BLACK; side++) {
        auto count     = [&](int piece) { return __builtin_popcountll(thread_board.Pieces[piece][side]); };
        auto beyond    = [&](int piece, int start) { return count(piece) > start ? count(piece) - start : 0; };
        const int made = beyond(QUEEN, 1) + beyond(ROOK, 2) + beyond(BISHOP, 2) + beyond(KNIGHT, 2);
        if (count(PAWN) + made > 8) return false;
    }

    while (IsBlank(*p)) p++;
    if (*p == 'w')
        thread_board.SideToMove = WHITE;
    else if (*p == 'b')
        thread_board.SideToMove = BLACK;
    else
        return false;
    p++;
    if (*p && !IsBlank(*p)) return false;

    while (IsBlank(*p)) p++;
    int rights = 0;
    if (*p == '-') {
        p++;
    } else {
        for (; *p && !IsBlank(*p); p++) {
            if (*p == 'K') rights |= CASTLE_WHITE_KING;
            if (*p == 'Q') rights |= CASTLE_WHITE_QUEEN;
            if (*p == 'k') rights |= CASTLE_BLACK_KING;
            if (*p == 'q') rights |= CASTLE_BLACK_QUEEN;
        }
    }

    while (IsBlank(*p)) p++;
    const Position& b = thread_board;
    if (((p[0] >= 'a' && p[0] <= 'h') || (p[0] >= 'A' && p[0] <= 'H')) && p[1] >= '1' && p[1] <= '8') {
        // Only a double step just played fits: the pawn past the square, the square and the
        // pawn's origin empty. Anything else would let a capture land on a man.
        const int t     = (p[0] | 0x20) - 'a' + (p[1] - '1') * 8;
        const int ahead = b.SideToMove == BLACK ? 8 : -8;
        const int them  = ChangeSide(b.SideToMove);
        if (p[1] != (b.SideToMove == BLACK ? '3' : '6') || !(b.Pieces[PAWN][them] & Bit(t + ahead)) ||
            b.Board[t] != EMPTY || b.Board[t - ahead] != EMPTY)
            return false;
        // Nor could the step have been played with the mover's opponent in check before it.
        Position& w = thread_board;
        auto step   = [&] {
            std::swap(w.Board[t + ahead], w.Board[t - ahead]);
            w.Pieces[0][them] ^= Bit(t + ahead) | Bit(t - ahead);
        };
        step();
        const bool checkedBefore = SquareAttackedSlow(w.KingSquare[w.SideToMove], them);
        step();
        if (checkedBefore) return false;
        History[0]      = GameHistoryRecord{};
        History[0].Move = MakeMoveWord(t - ahead, t + ahead, PAWN);
        HistoryCount    = 1;
    }
    if (HistoryCount == 1) {
        // The record holds the whole position before the double step: pawn back on its origin.
        Move m      = History[0].Move;
        int us      = ChangeSide(b.SideToMove);
        u64 pieceKeyChange = ZobristPiece[us][PAWN][MoveTo(m)] ^ ZobristPiece[us][PAWN][MoveFrom(m)];
        int pstChange      = PieceSquareTable[PAWN][us][MoveFrom(m)] - PieceSquareTable[PAWN][us][MoveTo(m)];
        History[0].HashKey       = b.HashKey ^ pieceKeyChange;
        History[0].PstScore      = b.PstScore + (us == BLACK ? pstChange : -pstChange);
        History[0].MaterialIndex = b.MaterialIndex;
        History[0].FiftyCounter  = 0;
        HistoryBase              = 1;
    }

    if (b.KingSquare[WHITE] != 4) rights &= ~(CASTLE_WHITE_KING | CASTLE_WHITE_QUEEN);
    if (b.KingSquare[BLACK] != 60) rights &= ~(CASTLE_BLACK_KING | CASTLE_BLACK_QUEEN);
    auto rookOn = [&](int sq, int side) { return (b.Pieces[ROOK][side] & Bit(sq)) != 0; };
    if (!rookOn(7, WHITE)) rights &= ~CASTLE_WHITE_KING;
    if (!rookOn(0, WHITE)) rights &= ~CASTLE_WHITE_QUEEN;
    if (!rookOn(63, BLACK)) rights &= ~CASTLE_BLACK_KING;
    if (!rookOn(56, BLACK)) rights &= ~CASTLE_BLACK_QUEEN;
    thread_board.CastleRights = rights;
    if (HistoryCount == 1) History[0].CastleRights = rights;

    int them = ChangeSide(b.SideToMove);
    return !SquareAttackedSlow(b.KingSquare[them], b.SideToMove);
}

bool SetFen(const char* text) {
    static Position savedBoard;
    static GameHistoryRecord savedFirst;
    savedBoard     = thread_board;
    savedFirst     = History[0];
    int savedCount = HistoryCount, savedBase = HistoryBase;
    if (ParseFen(text)) return true;
    thread_board = savedBoard;
    History[0]   = savedFirst;
    HistoryCount = savedCount;
    HistoryBase  = savedBase;
    while (IsBlank(*text)) text++;
    std::printf("Illegal FEN: %s\n", text);
    std::fflush(stdout);
    return false;
}

void PrintBoard() {
    for (int rank = 7; rank >= 0; rank--) {
        char line[20];
        for (int file = 0; file < 8; file++) {
            int sq           = rank * 8 + file;
            line[file * 2]     = (thread_board.Pieces[0][BLACK] & Bit(sq)) ? '*' : ' ';
            line[file * 2 + 1] = PieceLetters[thread_board.Board[sq] & 7];
        }
        line[16] = '\n';
        line[17] = 0;
        std::fputs(line, stdout);
    }
    std::fflush(stdout);
}

const char* PositionText(Move move) {
    static char text[128];
    char* out         = text;
    const Position& b = thread_board;
    for (int rank = 7; rank >= 0; rank--) {
        int empty = 0;
        for (int file = 0; file < 8; file++) {
            int sq = rank * 8 + file;
            int p  = b.Board[sq];
            if (!p) {
                empty++;
                continue;
            }
            if (empty) *out++ = char('0' + empty);
            empty  = 0;
            char c = PieceLetters[p];
            *out++ = (b.Pieces[0][BLACK] & Bit(sq)) ? char(c + 32) : c;
        }
        if (empty) *out++ = char('0' + empty);
        if (rank) *out++ = '/';
    }
    *out++ = ' ';
    *out++ = b.SideToMove == WHITE ? 'w' : 'b';
    *out++ = ' ';
    if (b.CastleRights & 15) {
        if (b.CastleRights & CASTLE_WHITE_KING) *out++ = 'K';
        if (b.CastleRights & CASTLE_WHITE_QUEEN) *out++ = 'Q';
        if (b.CastleRights & CASTLE_BLACK_KING) *out++ = 'k';
        if (b.CastleRights & CASTLE_BLACK_QUEEN) *out++ = 'q';
    } else {
        *out++ = '-';
    }
    *out++    = ' ';
    Move last = HistoryCount ? History[HistoryCount - 1].Move : 0;
    bool keptRankParity =
        last && MovedPiece(last) == PAWN && ((MoveFrom(last) ^ MoveTo(last)) & 8) == 0;
    if (!keptRankParity) {
        *out++ = '-';
        *out++ = ' ';
    } else if (EnPassantPossible()) {
        *out++ = char('a' + FileOf(MoveTo(last)));
        *out++ = char('1' + RankOf(MoveTo(last)));
        *out++ = ' ';
    }
    if (move) {
        *out++ = char('a' + FileOf(MoveFrom(move)));
        *out++ = char('1' + RankOf(MoveFrom(move)));
        *out++ = char('a' + FileOf(MoveTo(move)));
        *out++ = char('1' + RankOf(MoveTo(move)));
    }
    *out = 0;
    return text;
}

void RecomputePosition(Position& out) {
    static Position saved;
    saved = thread_board;
    ClearBoard();
    for (int sq = 0; sq < 64; sq++)
        if (saved.Board[sq]) PutPiece(sq, (saved.Pieces[0][BLACK] & Bit(sq)) ? BLACK : WHITE, saved.Board[sq]);
    thread_board.FiftyCounter = saved.FiftyCounter;
    out                       = thread_board;
    thread_board              = saved;
}

static char* NextTextBuffer() {
    static char buffers[8][8];
    static int next = 0;
    next            = (next + 1) & 7;
    return buffers[next];
}

const char* MoveText(Move move) {
    if (!move) return "0000";
    char* text = NextTextBuffer();
    std::snprintf(text, 8, "%c%c%c%c%c", 'a' + FileOf(MoveFrom(move)), '1' + RankOf(MoveFrom(move)),
                  'a' + FileOf(MoveTo(move)), '1' + RankOf(MoveTo(move)), PromotionLetters[PromotionPiece(move)]);
    return text;
}

const char* MoveTextShort(Move move) {
    char* text = NextTextBuffer();
    std::snprintf(text, 8, "%c%c%c%c", 'a' + FileOf(MoveFrom(move)), '1' + RankOf(MoveFrom(move)),
                  'a' + FileOf(MoveTo(move)), '1' + RankOf(MoveTo(move)));
    return text;
}

const char* MoveTextLong(Move move) {
    if (!move) return "-";
    char* text = NextTextBuffer();
    std::snprintf(text, 8, "%c%c%c%c%c", PieceLetters[MovedPiece(move)], 'a' + FileOf(MoveFrom(move)),
                  '1' + RankOf(MoveFrom(move)), 'a' + FileOf(MoveTo(move)), '1' + RankOf(MoveTo(move)));
    return text;
}
