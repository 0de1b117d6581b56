#include "tablebases/tbprobe.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "tablebases/format.h"
#include "tablebases/registry.h"

int UseEGTB;
char EgtbPath[EGTB_PATH_SIZE];
int TbMaxMen;

void SetDefaultTablebaseSettings() {
    UseEGTB = 1;
    std::strcpy(EgtbPath, "<empty>");
    TbMaxMen = 0;
}

void OpenTablebases() {
    if (!UseEGTB) {
        TbMaxMen = 0;
        return;
    }
    init_tablebases(EgtbPath);
    TbMaxMen = TablebaseLargest;
}

int TbHits;
int TbRootSolved;
int RootInTablebase;

// ---------------------------------------------------------------------------------------------
// Table lookups: the position as the table stores it

namespace {

constexpr int PieceOfCode[7] = {0, PAWN, KNIGHT, BISHOP, ROOK, QUEEN, KING};
constexpr char NameLetters[] = "QRBNP";
constexpr int NamePieces[5]  = {QUEEN, ROOK, BISHOP, KNIGHT, PAWN};
// Which value map and which flag a DTZ lookup of a WDL value + 2 uses.
constexpr int WdlToMap[5] = {1, 3, 0, 2, 0};
constexpr int PaFlags[5]  = {8, 0, 0, 0, 4};

void table_name_of_position(char* name, bool swapped) {
    const Position& b = thread_board;
    for (int side = 0; side < 2; side++) {
        *name++          = 'K';
        const int colour = swapped ? 1 - side : side;
        for (int l = 0; l < 5; l++)
            for (int n = 0; n < b.PieceCount[NamePieces[l]][colour]; n++) *name++ = NameLetters[l];
        if (side == 0) *name++ = 'v';
    }
    *name = 0;
}

// How the position maps onto the stored one: which side's stream, and whether colours and
// ranks are turned over.
struct Orientation {
    int stored_side, colour_flip, square_flip;
};

Orientation DecideColours(bool symmetric, bool sameKey) {
    const bool black = thread_board.SideToMove == BLACK;
    if (symmetric) return black ? Orientation{0, 8, 56} : Orientation{0, 0, 0};
    if (sameKey) return Orientation{black ? 1 : 0, 0, 0};
    return Orientation{black ? 0 : 1, 8, 56};
}

// The squares of the men in the order of a section's piece list, from place `i` on.
void FillSquares(const TableSection* s, int men, const Orientation& o, int* squares, int i) {
    while (i < men) {
        const int code = s->pieces[i] ^ o.colour_flip;
        u64 men_       = thread_board.Pieces[PieceOfCode[code & 7]][code >> 3];
        if (!men_) return; // the list was checked against the material when the file was read
        for (; men_ && i < men; men_ &= men_ - 1) squares[i++] = __builtin_ctzll(men_) ^ o.square_flip;
    }
}

// The leading pawns first, the one nearest the edge and the first rank in place 0; its file picks
// the section.
int LeadingPawnFile(const TableSection* first, int leading, const Orientation& o, int* squares) {
    FillSquares(first, leading, o, squares, 0);
    for (int i = 1; i < leading; i++)
        if (LeadPawnIndex[squares[i]] < LeadPawnIndex[squares[0]]) std::swap(squares[0], squares[i]);
    return FoldedFile[squares[0] & 7];
}

TableEntry* LoadedEntry(TableHashSlot* slot, u64 key) {
    TableEntry* e = slot->entry;
    if (e->ready.load(std::memory_order_acquire)) return e;
    std::lock_guard<PlatformMutex> lock(TablebaseMutex);
    if (e->ready.load(std::memory_order_relaxed)) return e;
    char name[16];
    table_name_of_position(name, key != e->key);
    if (!read_wdl_table(e, name)) {
        slot->key = 0;
        return nullptr;
    }
    e->ready.store(1, std::memory_order_release);
    return e;
}

int lookup_wdl_table(int* success) {
    const Position& b = thread_board;
    if (b.MenCount < 3) return 0;
    const u64 key       = material_key(b.PieceCount, false);
    TableHashSlot* slot = find_table(key);
    TableEntry* e       = slot ? LoadedEntry(slot, key) : nullptr;
    if (!e) {
        *success = 0;
        return 0;
    }
    const Orientation o = DecideColours(e->symmetric, key == e->key);
    int squares[TBPIECES];
    const TableSection* s;
    uint64_t index;
    if (e->has_pawns) {
        const int file = LeadingPawnFile(&e->section[0][0], e->pawns[0], o, squares);
        s              = &e->section[file][o.stored_side];
        FillSquares(s, e->men, o, squares, e->pawns[0]);
        index = encode_pawn_index(e->men, e->pawns, s, squares);
    } else {
        s = &e->section[0][o.stored_side];
        FillSquares(s, e->men, o, squares, 0);
        index = encode_piece_index(e->men, e->encoding, s, squares);
    }
    const int value = s->decoder ? read_pairs_value(s->decoder, index) : -1;
    if (value < 0 || value > 4) {
        *success = 0;
        return 0;
    }
    return value - 2;
}

// The DTZ entry of the position's material, loaded on first use; nullptr when there is none.
DtzEntry* FindDtzEntry(u64 key, int* success) {
    int i = 0;
    while (i < DTZ_CACHE_SIZE && DtzCache[i].keys[0] != key && DtzCache[i].keys[1] != key) i++;
    if (i < DTZ_CACHE_SIZE) {
        const DtzCacheSlot hit = DtzCache[i];
        for (; i > 0; i--) DtzCache[i] = DtzCache[i - 1];
        DtzCache[0] = hit;
    } else {
        TableHashSlot* slot = find_table(key);
        if (!slot) {
            *success = 0;
            return nullptr;
        }
        const TableEntry* w = slot->entry;
        if (DtzCache[DTZ_CACHE_SIZE - 1].entry) free_dtz_entry(DtzCache[DTZ_CACHE_SIZE - 1].entry);
        for (int k = DTZ_CACHE_SIZE - 1; k > 0; k--) DtzCache[k] = DtzCache[k - 1];
        DtzCache[0] = DtzCacheSlot{{key, material_key(thread_board.PieceCount, true)}, nullptr};

        char name[16];
        table_name_of_position(name, key != w->key);
        auto* d = static_cast<DtzEntry*>(std::calloc(1, sizeof(DtzEntry)));
        if (!d) OutOfMemory();
        d->mapping = map_table_file(name, ".rtbz");
        if (!d->mapping.data && d->mapping.error) {
            std::free(d);
        } else {
            d->key       = w->key;
            d->men       = w->men;
            d->symmetric = w->symmetric;
            d->has_pawns = w->has_pawns;
            d->encoding  = w->encoding;
            d->pawns[0]  = w->pawns[0];
            d->pawns[1]  = w->pawns[1];
            if (read_dtz_table(d))
                DtzCache[0].entry = d;
            else
                free_dtz_entry(d);
        }
    }
    if (!DtzCache[0].entry) *success = 0;
    return DtzCache[0].entry;
}

int lookup_dtz_table(int wdl, int* success) {
    const u64 key = material_key(thread_board.PieceCount, false);
    DtzEntry* d   = FindDtzEntry(key, success);
    if (!d) return 0;
    const Orientation o = DecideColours(d->symmetric, key == d->key);
    int squares[TBPIECES];
    int file = 0;
    if (d->has_pawns) file = LeadingPawnFile(&d->section[0], d->pawns[0], o, squares);
    const TableSection* s = &d->section[file];
    const int flags       = d->flags[file];
    // The file holds one side to move only.
    if ((d->has_pawns || !d->symmetric) && (flags & 1) != o.stored_side) {
        *success = -1;
        return 0;
    }
    uint64_t index;
    if (d->has_pawns) {
        FillSquares(s, d->men, o, squares, d->pawns[0]);
        index = encode_pawn_index(d->men, d->pawns, s, squares);
    } else {
        FillSquares(s, d->men, o, squares, 0);
        index = encode_piece_index(d->men, d->encoding, s, squares);
    }
    int res = read_pairs_value(s->decoder, index);
    if (res >= 0 && (flags & 2)) {
        const int at = d->map_offset[file][WdlToMap[wdl + 2]];
        res          = res < d->map[at - 1] ? d->map[at + res] : -1;
    }
    if (res < 0) {
        *success = 0;
        return 0;
    }
    if (!(flags & PaFlags[wdl + 2]) || (wdl & 1)) res *= 2;
    return res;
}

// ---------------------------------------------------------------------------------------------
// Probing with captures and en passant

int SideInCheck() {
    const Position& b = thread_board;
    return IsSquareAttacked(ChangeSide(b.SideToMove), b.KingSquare[b.SideToMove]);
}

void GenerateCapturesOrEvasions(int inCheck) {
    if (inCheck) {
        GenerateEvasions(14);
    } else {
        GenerateCaptures(thread_board.Pieces[0][ChangeSide(thread_board.SideToMove)]);
        GeneratePromotions();
    }
}

void GenerateAllMoves(int inCheck) {
    GenerateCapturesOrEvasions(inCheck);
    if (!inCheck) GenerateQuiet(1);
}

// Evasions are legal as generated; otherwise a king must not step into an attack, another man
// must not leave a pin, and en passant, which takes two men off one rank, is tried on the board.
bool IsLegal(Move move, int inCheck) {
    const Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    if (inCheck) return true;
    if (IsEnPassantMove(move)) {
        MakeMove(move, 1);
        const bool legal = !IsSquareAttacked(them, thread_board.KingSquare[us]);
        UnmakeMove();
        return legal;
    }
    if (MovedPiece(move) == KING) return !IsSquareAttacked(them, MoveTo(move));
    return !MoveIsPinned(move);
}

int probe_wdl_ab(int alpha, int beta, int* success) {
    const int top     = MoveListTop;
    const int inCheck = SideInCheck();
    GenerateCapturesOrEvasions(inCheck);
    for (int i = top; i < MoveListTop; i++) {
        const Move move = MoveList[i].move;
        if (!CapturedPiece(move) || !IsLegal(move, inCheck)) continue;
        MakeMove(move, 1);
        const int v = -probe_wdl_ab(-beta, -alpha, success);
        UnmakeMove();
        if (*success == 0) {
            MoveListTop = top;
            return 0;
        }
        if (v > alpha) {
            if (v >= beta) {
                MoveListTop = top;
                *success    = 2;
                return v;
            }
            alpha = v;
        }
    }
    MoveListTop = top;
    const int v = lookup_wdl_table(success);
    if (*success == 0) return 0;
    if (alpha >= v) {
        *success = alpha > 0 ? 2 : 1;
        return alpha;
    }
    *success = 1;
    return v;
}

// The last move was a double step beside a pawn of the side to move. A position set up without
// history knows of none.
bool EnPassantPossible() {
    if (HistoryCount == 0) return false;
    const Move m = History[HistoryCount - 1].Move;
    if (MovedPiece(m) != PAWN || ((MoveFrom(m) ^ MoveTo(m)) & 8)) return false;
    const int to = MoveTo(m);
    u64 beside   = 0;
    if (FileOf(to) > 0) beside |= Bit(to - 1);
    if (FileOf(to) < 7) beside |= Bit(to + 1);
    return (thread_board.Pieces[PAWN][thread_board.SideToMove] & beside) != 0;
}

// The best WDL value the side to move reaches by an en-passant capture (-3 with none), with the
// captures or evasions left on the list from `top` on.
int BestEnPassant(int top, int inCheck, int* success) {
    int best = -3;
    GenerateCapturesOrEvasions(inCheck);
    for (int i = top; i < MoveListTop; i++) {
        const Move move = MoveList[i].move;
        if (!IsEnPassantMove(move) || !IsLegal(move, inCheck)) continue;
        MakeMove(move, 1);
        const int v = -probe_wdl_ab(-2, 2, success);
        UnmakeMove();
        if (*success == 0) return 0;
        if (v > best) best = v;
    }
    return best;
}

// Whether a legal move other than en passant exists; the captures are on the list from `top` on.
bool HasOtherMove(int top, int inCheck) {
    for (int i = top; i < MoveListTop; i++)
        if (!IsEnPassantMove(MoveList[i].move) && IsLegal(MoveList[i].move, inCheck)) return true;
    if (inCheck) return false;
    const int quiet = MoveListTop;
    GenerateQuiet(1);
    for (int i = quiet; i < MoveListTop; i++)
        if (IsLegal(MoveList[i].move, inCheck)) return true;
    return false;
}

int probe_dtz_without_ep(int* success) {
    const int wdl = probe_wdl_ab(-2, 2, success);
    if (*success == 0 || wdl == 0) return 0;
    // A capture that keeps the value zeroes at once.
    if (*success == 2) return wdl == 2 ? 1 : 101;

    const int top     = MoveListTop;
    const int inCheck = SideInCheck();
    if (wdl > 0) {
        // So does a pawn move that keeps it.
        GenerateAllMoves(inCheck);
        for (int i = top; i < MoveListTop; i++) {
            const Move move = MoveList[i].move;
            if (MovedPiece(move) != PAWN || CapturedPiece(move) || IsEnPassantMove(move) ||
                !IsLegal(move, inCheck))
                continue;
            MakeMove(move, 1);
            const int v = -probe_wdl_ab(-2, 1 - wdl, success);
            UnmakeMove();
            if (*success == 0 || v == wdl) {
                MoveListTop = top;
                return *success == 0 ? 0 : wdl == 2 ? 1 : 101;
            }
        }
        MoveListTop = top;
    }

    int dtz = 1 + lookup_dtz_table(wdl, success);
    if (*success >= 0) {
        if (wdl & 1) dtz += 100;
        return wdl >= 0 ? dtz : -dtz;
    }

    // The table stores the other side to move: one ply of search.
    *success = 1;
    int best = wdl > 0 ? 0xFFFF : -1;
    GenerateAllMoves(inCheck);
    for (int i = top; i < MoveListTop; i++) {
        const Move move = MoveList[i].move;
        if (wdl > 0 && (CapturedPiece(move) || MovedPiece(move) == PAWN)) continue;
        if (!IsLegal(move, inCheck)) continue;
        MakeMove(move, 1);
        int v;
        if (wdl > 0) {
            v = -probe_dtz(success);
            if (v > 0 && v + 1 < best) best = v + 1;
        } else if (thread_board.FiftyCounter != 0) {
            v = -probe_dtz(success) - 1;
        } else if (wdl == -2) {
            v = -1;
        } else {
            v = probe_wdl_ab(1, 2, success) == 2 ? 0 : -101;
        }
        UnmakeMove();
        if (*success == 0) {
            MoveListTop = top;
            return 0;
        }
        if (wdl < 0 && v < best) best = v;
    }
    MoveListTop = top;
    return best;
}

} // namespace

int ProbeWdlInSearch(int* success) {
    *success    = 1;
    const int v = probe_wdl_ab(-2, 2, success);
    if (!EnPassantPossible() || *success == 0) return *success ? v : 0;

    const int top     = MoveListTop;
    const int inCheck = SideInCheck();
    const int bestEp  = BestEnPassant(top, inCheck, success);
    int result        = v;
    if (*success == 0)
        result = 0;
    else if (bestEp == -3 || (v != 0 && bestEp < v))
        result = v;
    else if (bestEp >= v)
        result = bestEp;
    // A draw that holds only if a move other than the losing en passant exists.
    else if (!HasOtherMove(top, inCheck))
        result = bestEp;
    MoveListTop = top;
    return result;
}

int probe_dtz(int* success) {
    *success    = 1;
    const int v = probe_dtz_without_ep(success);
    if (!EnPassantPossible() || *success == 0) return *success ? v : 0;

    const int top     = MoveListTop;
    const int inCheck = SideInCheck();
    const int bestEp  = BestEnPassant(top, inCheck, success);
    int result        = v;
    if (*success == 0) {
        result = 0;
    } else if (bestEp != -3) {
        const int w = WdlToDtz[bestEp + 2];
        if (v < -100)
            result = w >= 0 ? w : v;
        else if (v < 0)
            result = w;
        else if (v > 100)
            result = w > 0 ? w : v;
        else if (v > 0)
            result = w == 1 ? w : v;
        else
            result = w >= 0 || !HasOtherMove(top, inCheck) ? w : v;
    }
    MoveListTop = top;
    return result;
}
