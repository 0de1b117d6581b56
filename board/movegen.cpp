#include "board/movegen.h"

#include <initializer_list>

#include "board/attacks.h"
#include "board/geometry.h"
#include "board/makemove.h"
#include "board/ordering.h"
#include "board/ply.h"

MoveEntry MoveList[MOVE_LIST_SIZE];
int MoveListTop;

namespace {

// King 950 so that a king capture sorts behind every other capture of the same victim.
constexpr int CaptureValue[8] = {0, 950, 300, 100, 0, 500, 300, 900};
constexpr int BadCaptureScale[17] = {-128000, -64000, -32000, 0,     10000, 20000, 30000, 40000, 50000,
                                     50000,   50000,  50000,  50000, 50000, 50000, 50000, 50000};
constexpr int EVASION_CAPTURE_BONUS = 0x20027100;
constexpr int EN_PASSANT_SCORE      = 100901;


// Success rate 0-16 of this kind of losing capture in the current search.
int CaptureRate(Move move) {
    const int index = CaptureStatsIndex(move, thread_board.SideToMove);
    if (CaptureStatsStamp[index] != SearchStamp) {
        CaptureStatsStamp[index]     = SearchStamp;
        CaptureStatsTries[index]     = 0;
        CaptureStatsSuccesses[index] = 0;
        return 0;
    }
    const int tries = CaptureStatsTries[index];
    if (tries <= 8) return 0;
    return ((CaptureStatsSuccesses[index] * 256) / tries) >> 4;
}

inline int Verdict(Move move) {
    if (MovedPiece(move) == KING || IsEnPassantMove(move)) return 1;
    return SeeNotLosing(move);
}

int CaptureScore(Move move, int verdict) {
    if (IsEnPassantMove(move)) return EN_PASSANT_SCORE;
    const int base = 10 * CaptureValue[CapturedPiece(move)] - CaptureValue[MovedPiece(move)];
    if (verdict) return base + (PromotionPiece(move) ? 108000 : 100000);
    const int promotion = PromotionPiece(move);
    const int rate      = (promotion && promotion != QUEEN) ? 0 : CaptureRate(move);
    return base + BadCaptureScale[rate];
}

void AddMove(Move move) {
    const int good = Verdict(move);
    int score;
    if (move & 0x1F8000) {
        score = CaptureScore(move, good);
        if (score > 0) score += EVASION_CAPTURE_BONUS;
    } else if (IsEnPassantMove(move)) {
        score = EN_PASSANT_SCORE + EVASION_CAPTURE_BONUS;
    } else {
        const int us = thread_board.SideToMove;
        score        = HistoryEntry(good, 2, move, us);
        if (HistoryCount > 0) {
            const int lastTo = MoveTo(History[HistoryCount - 1].Move);
            const int king   = thread_board.KingSquare[us];
            if (EvasionReply1[lastTo][king][us] == move)
                score += 80000;
            else if (EvasionReply2[lastTo][king][us] == move)
                score += 40000;
        }
    }
    PushMove(move, score, good);
}

inline u64 PieceAttacks(int piece, int square, int side) {
    switch (piece) {
    case PAWN: return side == WHITE ? WhitePawnAttacks[square] : BlackPawnAttacks[square];
    case KNIGHT: return KnightAttacks[square];
    case BISHOP: return BishopAttacks(square);
    case ROOK: return RookAttacks(square);
    case QUEEN: return QueenAttacks(square);
    default: return KingAttacks[square];
    }
}

// Every capture onto `targets` in generation order, handed to `add`.
template <typename Adder> void GenerateCaptureMoves(u64 targets, Adder add) {
    const Position& b = thread_board;
    const int us = b.SideToMove;
    const u64 lastRankFrom = us == WHITE ? 0x00FF000000000000ULL : 0x000000000000FF00ULL;
    for (u64 pawns = b.Pieces[PAWN][us]; pawns; pawns &= pawns - 1) {
        const int from = __builtin_ctzll(pawns);
        for (u64 hits = PieceAttacks(PAWN, from, us) & targets; hits; hits &= hits - 1) {
            const int to = __builtin_ctzll(hits);
            if (Bit(from) & lastRankFrom) {
                for (int promotion : {QUEEN, KNIGHT, ROOK, BISHOP})
                    add(MakeMoveWord(from, to, PAWN, b.Board[to], promotion));
            } else {
                add(MakeMoveWord(from, to, PAWN, b.Board[to]));
            }
        }
    }
    if (HistoryCount > 0) {
        const Move last = History[HistoryCount - 1].Move;
        const int step  = us == WHITE ? MoveFrom(last) - MoveTo(last) : MoveTo(last) - MoveFrom(last);
        if (MovedPiece(last) == PAWN && step == 16) {
            const int pawn   = MoveTo(last);
            const int behind = us == WHITE ? pawn + 8 : pawn - 8;
            if (FileOf(pawn) > 0 && (b.Pieces[PAWN][us] & Bit(pawn - 1))) add(MakeMoveWord(pawn - 1, behind, PAWN));
            if (FileOf(pawn) < 7 && (b.Pieces[PAWN][us] & Bit(pawn + 1))) add(MakeMoveWord(pawn + 1, behind, PAWN));
        }
    }
    for (int piece : {KNIGHT, BISHOP, ROOK, QUEEN, KING})
        for (u64 men = b.Pieces[piece][us]; men; men &= men - 1) {
            const int from = __builtin_ctzll(men);
            for (u64 hits = PieceAttacks(piece, from, us) & targets; hits; hits &= hits - 1) {
                const int to = __builtin_ctzll(hits);
                add(MakeMoveWord(from, to, piece, b.Board[to]));
            }
        }
}

// Castling squares of one side: king from, king to, squares that must be empty, squares that must
// not be attacked.
struct CastlingRule {
    int right;
    Move move;
    u64 empty;
    int safe1, safe2;
};
constexpr CastlingRule CastlingRules[2][2] = {
    {{CASTLE_WHITE_KING, 4484, Bit(5) | Bit(6), 5, 6}, {CASTLE_WHITE_QUEEN, 4228, Bit(1) | Bit(2) | Bit(3), 3, 2}},
    {{CASTLE_BLACK_KING, 8124, Bit(61) | Bit(62), 61, 62},
     {CASTLE_BLACK_QUEEN, 7868, Bit(57) | Bit(58) | Bit(59), 59, 58}},
};

inline bool CastlingAllowed(const CastlingRule& rule) {
    const Position& b = thread_board;
    const int them    = ChangeSide(b.SideToMove);
    return (b.CastleRights & rule.right) && !(b.AllPieces & rule.empty) && !IsSquareAttacked(them, rule.safe1) &&
           !IsSquareAttacked(them, rule.safe2);
}

} // namespace

void AddGoodCapture(Move move) {
    if (!Verdict(move)) return;
    PushMove(move, CaptureScore(move, 1), 1);
}

void AddCapture(Move move) {
    const int verdict = Verdict(move);
    PushMove(move, CaptureScore(move, verdict), verdict);
}

int QuietScore(Move move, int kind, int good) {
    const int us = thread_board.SideToMove;
    int score    = HistoryEntry(good, kind, move, us);
    if (HistoryCount >= 2) {
        const Move own = History[HistoryCount - 2].Move;
        const int to = MoveTo(own), index = PieceIndex(MovedPiece(own));
        if (FollowUp1[to][index][us] == move)
            score += (score * 148) >> 8;
        else if (FollowUp2[to][index][us] == move)
            score += (score * 138) >> 8;
    }
    return score;
}

void AddQuiet(Move move, int kind) {
    const int good = MovedPiece(move) == KING ? 1 : SeeNotLosing(move);
    PushMove(move, QuietScore(move, kind, good), good);
}

void GenerateCaptures(u64 targets) { GenerateCaptureMoves(targets, AddCapture); }

void GenerateGoodCaptures(u64 targets) { GenerateCaptureMoves(targets, AddGoodCapture); }

void GeneratePromotions() {
    const Position& b = thread_board;
    const int us      = b.SideToMove;
    const u64 seventh = us == WHITE ? 0x00FF000000000000ULL : 0x000000000000FF00ULL;
    for (u64 pawns = b.Pieces[PAWN][us] & seventh; pawns; pawns &= pawns - 1) {
        const int from = __builtin_ctzll(pawns);
        const int to   = us == WHITE ? from + 8 : from - 8;
        if (b.Board[to]) continue;
        for (int promotion : {QUEEN, ROOK, KNIGHT, BISHOP}) AddCapture(MakeMoveWord(from, to, PAWN, 0, promotion));
    }
}

void GenerateQuiet(int kind) {
    const Position& b = thread_board;
    const int us      = b.SideToMove;
    for (const CastlingRule& rule : CastlingRules[us])
        if (CastlingAllowed(rule)) PushMove(rule.move, QuietScore(rule.move, kind, 1), 1);

    const u64 empty    = ~b.AllPieces;
    const u64 lastRank = us == WHITE ? 0xFF00000000000000ULL : 0xFFULL;
    const u64 homeRank = us == WHITE ? 0xFF00ULL : 0x00FF000000000000ULL;
    for (int piece : {KNIGHT, BISHOP, PAWN, ROOK, QUEEN, KING})
        for (u64 men = b.Pieces[piece][us]; men; men &= men - 1) {
            const int from = __builtin_ctzll(men);
            if (piece == PAWN) {
                const int one = us == WHITE ? from + 8 : from - 8;
                if (!(empty & Bit(one)) || (lastRank & Bit(one))) continue;
                AddQuiet(MakeMoveWord(from, one, PAWN), kind);
                const int two = us == WHITE ? from + 16 : from - 16;
                if ((homeRank & Bit(from)) && (empty & Bit(two))) AddQuiet(MakeMoveWord(from, two, PAWN), kind);
                continue;
            }
            for (u64 hits = PieceAttacks(piece, from, us) & empty; hits; hits &= hits - 1)
                AddQuiet(MakeMoveWord(from, __builtin_ctzll(hits), piece), kind);
        }
}

int GenerateEvasions(int stage) {
    if (stage != 14) return 0;
    const Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    const int k         = b.KingSquare[us];
    const u64 checkers  = AttackersOfSquareBy(them, k);
    const int first     = MoveListTop;
    const bool double_  = (checkers & (checkers - 1)) != 0;
    int forbidden[2]    = {0, 0};
    int forbiddenCount  = 0;
    u64 targets         = 0;
    for (u64 c = checkers; c; c &= c - 1) {
        const int attacker = __builtin_ctzll(c);
        if (b.Board[attacker] & 4) forbidden[forbiddenCount++] = DirectionTable[k][attacker];
        if (!double_) targets = Bit(attacker) | BetweenMask[attacker][k];
    }

    // King steps: off the checking lines, onto squares the enemy does not reach.
    for (u64 steps = KingAttacks[k] & ~b.Pieces[0][us]; steps; steps &= steps - 1) {
        const int to   = __builtin_ctzll(steps);
        const int step = DirectionTable[to][k];
        if ((forbiddenCount > 0 && step == forbidden[0]) || (forbiddenCount > 1 && step == forbidden[1])) continue;
        if (IsSquareAttacked(them, to)) continue;
        const Move move = MakeMoveWord(k, to, KING, b.Board[to]);
        if (b.Board[to]) {
            PushMove(move, CaptureScore(move, 1) + EVASION_CAPTURE_BONUS, 1);
        } else {
            int score = HistoryEntry(1, 2, move, us);
            if (HistoryCount > 0) {
                const int lastTo = MoveTo(History[HistoryCount - 1].Move);
                if (EvasionReply1[lastTo][k][us] == move)
                    score += 80000;
                else if (EvasionReply2[lastTo][k][us] == move)
                    score += 40000;
            }
            PushMove(move, score, 1);
        }
    }
    if (double_) return MoveListTop > first ? 12 : 0;

    // Captures of the checker and interpositions by pieces that are not pinned.
    for (int piece : {KNIGHT, BISHOP, ROOK, QUEEN})
        for (u64 men = b.Pieces[piece][us]; men; men &= men - 1) {
            const int from = __builtin_ctzll(men);
            const u64 hits = PieceAttacks(piece, from, us) & targets;
            if (!hits || SquareIsPinned(from)) continue;
            for (u64 h = hits; h; h &= h - 1) {
                const int to = __builtin_ctzll(h);
                AddMove(MakeMoveWord(from, to, piece, b.Board[to]));
            }
        }

    // Pawn steps onto the empty squares of the checking line: double steps first.
    const u64 blocks   = targets & ~b.AllPieces;
    const u64 lastRank = us == WHITE ? 0xFF00000000000000ULL : 0xFFULL;
    const int forward  = us == WHITE ? 8 : -8;
    auto addPawnMove   = [&](int from, int to, int victim) {
        if (Bit(to) & lastRank)
            for (int promotion : {QUEEN, ROOK, BISHOP, KNIGHT}) AddMove(MakeMoveWord(from, to, PAWN, victim, promotion));
        else
            AddMove(MakeMoveWord(from, to, PAWN, victim));
    };
    const u64 homeRank = us == WHITE ? 0xFF00ULL : 0x00FF000000000000ULL;
    for (u64 pawns = b.Pieces[PAWN][us] & homeRank; pawns; pawns &= pawns - 1) {
        const int from = __builtin_ctzll(pawns);
        const int two  = from + 2 * forward;
        if ((blocks & Bit(two)) && !b.Board[from + forward] && !SquareIsPinned(from))
            AddMove(MakeMoveWord(from, two, PAWN));
    }
    for (u64 pawns = b.Pieces[PAWN][us]; pawns; pawns &= pawns - 1) {
        const int from = __builtin_ctzll(pawns);
        const int one  = from + forward;
        if ((blocks & Bit(one)) && !SquareIsPinned(from)) addPawnMove(from, one, 0);
    }

    // A checking pawn that has just made its double step can be taken en passant.
    const int attacker = __builtin_ctzll(checkers);
    if (HistoryCount > 0) {
        const Move last = History[HistoryCount - 1].Move;
        if (IsDoublePawnStep(last) && MoveTo(last) == attacker) {
            const int behind = attacker + forward;
            if (FileOf(attacker) > 0 && (b.Pieces[PAWN][us] & Bit(attacker - 1)) && !SquareIsPinned(attacker - 1))
                AddMove(MakeMoveWord(attacker - 1, behind, PAWN));
            if (FileOf(attacker) < 7 && (b.Pieces[PAWN][us] & Bit(attacker + 1)) && !SquareIsPinned(attacker + 1))
                AddMove(MakeMoveWord(attacker + 1, behind, PAWN));
        }
    }

    // Pawns that take the checker.
    const u64 takers = b.Pieces[PAWN][us] & (us == WHITE ? BlackPawnAttacks[attacker] : WhitePawnAttacks[attacker]);
    for (u64 pawns = takers; pawns; pawns &= pawns - 1) {
        const int from = __builtin_ctzll(pawns);
        if (!SquareIsPinned(from)) addPawnMove(from, attacker, b.Board[attacker]);
    }
    return MoveListTop > first ? 12 : 0;
}

void AddMoveIfPlayable(Move move) {
    const Position& b = thread_board;
    const int us = b.SideToMove;
    const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move);
    if (!move) return;

    if (moved == KING && from == (us == WHITE ? 4 : 60) && (to - from == 2 || from - to == 2)) {
        for (const CastlingRule& rule : CastlingRules[us])
            if (rule.move == move && b.Board[from] == KING && CastlingAllowed(rule)) PushMove(move, 0, UNKNOWN_SEE);
        return;
    }
    if (b.Board[from] != moved || b.Board[to] != CapturedPiece(move)) return;
    if (!(b.Pieces[0][us] & Bit(from)) || (b.Pieces[0][us] & Bit(to))) return;
    if (CapturedPiece(move) && !(b.Pieces[0][ChangeSide(us)] & Bit(to))) return;
    if (BetweenMask[to][from] & b.AllPieces & ~Bit(to)) return;
    if (moved == PAWN) {
        // A remembered word may be a pawn move of another position: only a true pawn move here
        // may reach MakeMove, which would otherwise take an en-passant victim that is not there.
        const int forward  = us == WHITE ? 8 : -8;
        const bool last    = RankOf(to) == (us == WHITE ? 7 : 0);
        if (last != (PromotionPiece(move) != 0)) return;
        if (CapturedPiece(move)) {
            if (!(PieceAttacks(PAWN, from, us) & Bit(to))) return;
        } else if (to == from + forward) {
        } else if (to == from + 2 * forward && RankOf(from) == (us == WHITE ? 1 : 6)) {
        } else {
            return; // en passant is never remembered as a quiet move
        }
    } else if (PromotionPiece(move)) {
        return;
    }
    PushMove(move, 0, UNKNOWN_SEE);
}

void GenerateLegalMoves(int start) {
    MoveListTop       = start;
    const int saved   = Ply;
    Ply               = 160;
    const int us      = thread_board.SideToMove;
    const int inCheck = IsSquareAttacked(ChangeSide(us), thread_board.KingSquare[us]);
    PlyStack[Ply].InCheck       = inCheck;
    PlyStack[Ply].AttackedBy[0] = PlyStack[Ply].AttackedBy[1] = 0;

    GenerateCaptures(thread_board.Pieces[0][ChangeSide(us)]);
    GeneratePromotions();
    GenerateQuiet(1);

    int kept = start;
    for (int i = start; i < MoveListTop; i++) {
        const Move move = MoveList[i].move;
        if (MovedPiece(move) == KING && (MoveTo(move) - MoveFrom(move) == 2 || MoveFrom(move) - MoveTo(move) == 2) &&
            inCheck)
            continue;
        MakeMove(move, 1);
        const bool legal = !IsSquareAttacked(ChangeSide(us), thread_board.KingSquare[us]);
        UnmakeMove();
        if (legal) MoveList[kept++].move = move;
    }
    MoveListTop = kept;
    Ply         = saved;
}

int IsMoveLegal(Move move) {
    const int saved = MoveListTop;
    GenerateLegalMoves(LEGAL_TEST_BASE);
    int found = 0;
    for (int i = LEGAL_TEST_BASE; i < MoveListTop; i++)
        if (MoveList[i].move == move && CapturedPiece(move) != KING) found = 1;
    MoveListTop = saved;
    return found;
}
