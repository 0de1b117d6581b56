#include "search/picker.h"

#include <utility>

#include "board/attacks.h"
#include "board/geometry.h"
#include "board/movegen.h"
#include "board/ordering.h"
#include "board/ply.h"
#include "search/root.h"
#include "search/tt.h"

namespace {

constexpr u64 RANK_2 = 0x000000000000FF00ULL;
constexpr u64 RANK_7 = 0x00FF000000000000ULL;
constexpr u64 RANK_1 = 0x00000000000000FFULL;
constexpr u64 RANK_8 = 0xFF00000000000000ULL;

// Share of the way a history entry moves on a cutoff or a failure, in 1/1024, by depth / 4.
constexpr int HistoryRate[16] = {15,  57,  119, 155, 181, 200, 217, 230,
                                 242, 253, 262, 271, 278, 286, 292, 298};
constexpr int HistoryRateAt(int depth) {
    const int index = depth / 4;
    return HistoryRate[index < 0 ? 0 : index > 15 ? 15 : index];
}

// The moves of a history entry move a share of the way towards this on a cutoff.
constexpr int HISTORY_CEILING = 32700;


bool WasTried(const PlyRecord& node, Move move) {
    for (int i = 0; i < node.TriedCount; i++)
        if (node.TriedMoves[i] == move) return true;
    return false;
}

// One move out of a memory: entered when it can be played here and was not offered already.
bool OfferRemembered(PlyRecord& node, Move move) {
    if (!move || WasTried(node, move)) return false;
    const int before = MoveListTop;
    AddMoveIfPlayable(move);
    if (MoveListTop == before) return false;
    node.TriedMoves[node.TriedCount++] = move;
    return true;
}

// Promotions without capture. Far from the root only the queen and a checking knight are worth a
// place; the other under-promotions come back when the iteration has grown deep enough.
void AddQuietPromotions(bool allFour) {
    const Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    const u64 enemyKing = b.Pieces[KING][them];
    for (u64 pawns = b.Pieces[PAWN][us] & (us == WHITE ? RANK_7 : RANK_2); pawns; pawns &= pawns - 1) {
        const int from = __builtin_ctzll(pawns);
        const int to   = us == WHITE ? from + 8 : from - 8;
        if (b.Board[to]) continue;
        if (allFour) {
            for (int promotion : {QUEEN, ROOK, KNIGHT, BISHOP})
                AddCapture(MakeMoveWord(from, to, PAWN, 0, promotion));
        } else {
            AddCapture(MakeMoveWord(from, to, PAWN, 0, QUEEN));
            if (KnightAttacks[to] & enemyKing) AddCapture(MakeMoveWord(from, to, PAWN, 0, KNIGHT));
        }
    }
}

// The first man beyond `man` on its line through `king`, as a bit; 0 when the line runs out.
inline u64 ManBehind(int king, int man) {
    return LineAttacks(man, DirectionTable[king][man]) & ~BetweenMask[king][man] & thread_board.AllPieces;
}

static void AddSafeQuiet(Move move, int kind) {
    if (MovedPiece(move) != KING && !SeeNotLosing(move)) return;
    PushMove(move, QuietScore(move, kind, 1), 1);
}

inline void AddSafeTargets(int from, int piece, u64 targets, int kind) {
    for (; targets; targets &= targets - 1)
        AddSafeQuiet(MakeMoveWord(from, __builtin_ctzll(targets), piece), kind);
}

// A pawn that uncovers a check by stepping off its line: the single step, and the double step
// from the home rank.
inline void AddPawnSteps(int from, int kind) {
    const Position& b  = thread_board;
    const int us       = b.SideToMove;
    const int forward  = us == WHITE ? 8 : -8;
    const int one      = from + forward;
    const u64 lastRank = us == WHITE ? RANK_8 : RANK_1;
    if (b.Board[one] || (lastRank & Bit(one))) return;
    AddSafeQuiet(MakeMoveWord(from, one, PAWN), kind);
    if ((Bit(from) & (us == WHITE ? RANK_2 : RANK_7)) && !b.Board[one + forward])
        AddSafeQuiet(MakeMoveWord(from, one + forward, PAWN), kind);
}

struct CastlingCheck {
    Move move;
    int rookTo;
};
// King side first, then queen side.
constexpr CastlingCheck CastlingChecks[2][2] = {{{4484, 5}, {4228, 3}}, {{8124, 61}, {7868, 59}}};

int ResolveVerdict(Move move, int verdict) {
    if (verdict != UNKNOWN_SEE) return verdict;
    if (MovedPiece(move) == KING || IsEnPassantMove(move)) return 1;
    return SeeNotLosing(move);
}

// Newest first: a new move pushes the first entry to the second place; a repeat changes nothing.
inline void Remember(Move& first, Move& second, Move move) {
    if (first == move) return;
    second = first;
    first  = move;
}

int& LearntEntry(Move move, int kind, int inCheck, int verdict) {
    return HistoryEntry(ResolveVerdict(move, verdict), inCheck ? 2 : (kind & 1), move,
                        thread_board.SideToMove);
}

} // namespace

int NextMoveBatch(int stage, int dropQuiets, int kind, int* memo, int goodCapturesOnly, int quietSubset) {
    PlyRecord& node = PlyStack[Ply];
    const int first = MoveListTop;

    // In check the evasions are the whole list.
    if (node.InCheck) {
        if (stage != STAGE_START) return STAGE_DONE;
        node.TriedCount = 0;
        return GenerateEvasions(STAGE_START);
    }

    const Position& b = thread_board;
    const int us      = b.SideToMove;

    if (stage >= STAGE_EVASIONS && !(*memo & MEMO_SKIP_CAPTURES)) {
        const u64 enemyMen = b.Pieces[0][ChangeSide(us)];
        if (goodCapturesOnly) {
            GenerateGoodCaptures(enemyMen);
            AddQuietPromotions(false);
        } else {
            GenerateCaptures(enemyMen);
            AddQuietPromotions(Ply <= IterationNumber / 2);
        }
        if (MoveListTop > first) return STAGE_CAPTURES;
        // Only the full generator may tell later visits that there is nothing to capture at all.
        *memo |= MEMO_NO_CAPTURE;
        if (!goodCapturesOnly) *memo |= MEMO_SKIP_CAPTURES;
    }

    // The answers that refuted the opponent's threat elsewhere, found by the null-move search.
    const Move threat = node.ThreatMove;
    if (stage >= STAGE_CAPTURES) {
        node.TriedCount = 0;
        if (threat && OfferRemembered(node, ThreatReply1[MoveTo(threat)][PieceIndex(MovedPiece(threat))][us]))
            return STAGE_THREAT_REPLY1;
    }
    if (stage >= STAGE_THREAT_REPLY1 && threat &&
        OfferRemembered(node, ThreatReply2[MoveTo(threat)][PieceIndex(MovedPiece(threat))][us]))
        return STAGE_THREAT_REPLY2;

    if (stage >= STAGE_THREAT_REPLY2 && OfferRemembered(node, node.Killer1[us])) return STAGE_KILLER;

    // Answers to the opponent's last move; the root has none of its own.
    if (Ply >= 1 && HistoryCount > 0) {
        const Move last = History[HistoryCount - 1].Move;
        const int to = MoveTo(last), index = PieceIndex(MovedPiece(last));
        if (stage >= STAGE_KILLER && OfferRemembered(node, LastMoveReply1[to][index][us]))
            return STAGE_LAST_MOVE_REPLY1;
        if (stage >= STAGE_LAST_MOVE_REPLY1 && OfferRemembered(node, LastMoveReply2[to][index][us]))
            return STAGE_LAST_MOVE_REPLY2;
    }

    if (stage <= STAGE_QUIET) return STAGE_DONE;
    if (dropQuiets) {
        if (*memo & MEMO_NO_QUIET_CHECK) return STAGE_DONE;
        GenerateQuietChecks(kind);
    } else if (quietSubset) {
        GenerateSafeQuiet(kind);
    } else {
        GenerateQuiet(kind);
    }
    return MoveListTop > first ? STAGE_QUIET : STAGE_DONE;
}

// The full generator and a compaction give the same entries in the same order as a generator of
// its own would, and keep the castling rules in one place.
void GenerateSafeQuiet(int kind) {
    const int first = MoveListTop;
    GenerateQuiet(kind);
    int kept = first;
    for (int i = first; i < MoveListTop; i++)
        if (MoveList[i].see) MoveList[kept++] = MoveList[i];
    MoveListTop = kept;
}

void GenerateQuietChecks(int kind) {
    const Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    const int k         = b.KingSquare[them];
    const u64 empty     = ~b.AllPieces;
    const u64 own       = b.Pieces[0][us];
    const u64 diagonal  = BishopAttacks(k);
    const u64 straight  = RookAttacks(k);
    const u64 knightRim = KnightAttacks[k];

    // Own men that uncover a check from an own slider behind them when they leave their line.
    const u64 ownDiagonal = b.Pieces[BISHOP][us] | b.Pieces[QUEEN][us];
    const u64 ownStraight = b.Pieces[ROOK][us] | b.Pieces[QUEEN][us];
    u64 uncoverDiagonal = 0, uncoverStraight = 0;
    for (u64 men = diagonal & own; men; men &= men - 1) {
        const int man = __builtin_ctzll(men);
        if (ManBehind(k, man) & ownDiagonal) uncoverDiagonal |= Bit(man);
    }
    for (u64 men = straight & own; men; men &= men - 1) {
        const int man = __builtin_ctzll(men);
        if (ManBehind(k, man) & ownStraight) uncoverStraight |= Bit(man);
    }

    // Queens and rooks. A rook never stays on a diagonal, so each of its moves uncovers a check.
    if (b.HeavyCount[us] > 0) {
        for (u64 men = b.Pieces[QUEEN][us]; men; men &= men - 1) {
            const int from    = __builtin_ctzll(men);
            const u64 targets = QueenAttacks(from) & empty;
            AddSafeTargets(from, QUEEN, targets & diagonal, kind);
            AddSafeTargets(from, QUEEN, targets & straight, kind);
        }
        for (u64 men = b.Pieces[ROOK][us]; men; men &= men - 1) {
            const int from    = __builtin_ctzll(men);
            const u64 targets = RookAttacks(from) & empty;
            AddSafeTargets(from, ROOK, (uncoverDiagonal & Bit(from)) ? targets : targets & straight, kind);
        }
    }

    // Bishops and knights, by the same reasoning.
    if (b.MinorCount[us] > 0) {
        for (u64 men = b.Pieces[BISHOP][us]; men; men &= men - 1) {
            const int from    = __builtin_ctzll(men);
            const u64 targets = BishopAttacks(from) & empty;
            AddSafeTargets(from, BISHOP, (uncoverStraight & Bit(from)) ? targets : targets & diagonal, kind);
        }
        for (u64 men = b.Pieces[KNIGHT][us]; men; men &= men - 1) {
            const int from      = __builtin_ctzll(men);
            const u64 targets   = KnightAttacks[from] & empty;
            const bool uncovers = (uncoverDiagonal | uncoverStraight) & Bit(from);
            AddSafeTargets(from, KNIGHT, uncovers ? targets : targets & knightRim, kind);
        }
    }

    // Pawns: steps onto a square that attacks the king, and steps off a line of an own slider.
    const u64 pawns = b.Pieces[PAWN][us];
    if (pawns) {
        const int forward  = us == WHITE ? 8 : -8;
        const u64 homeRank = us == WHITE ? RANK_2 : RANK_7;
        // No pawn steps onto or from an edge rank here: the last rank is left to the promotions.
        const u64 checking =
            (us == WHITE ? BlackPawnAttacks[k] : WhitePawnAttacks[k]) & empty & ~(RANK_1 | RANK_8);
        for (u64 squares = checking; squares; squares &= squares - 1) {
            const int to = __builtin_ctzll(squares);
            if (pawns & Bit(to - forward)) AddSafeQuiet(MakeMoveWord(to - forward, to, PAWN), kind);
        }
        if (RankOf(k) == (us == WHITE ? 4 : 3)) {
            for (u64 squares = checking; squares; squares &= squares - 1) {
                const int to = __builtin_ctzll(squares), from = to - 2 * forward;
                if ((pawns & homeRank & Bit(from)) && !b.Board[to - forward])
                    AddSafeQuiet(MakeMoveWord(from, to, PAWN), kind);
            }
        }
        if (b.HeavyCount[us] > 0)
            for (u64 men = pawns & uncoverStraight & (RANK_1 << (k & 56)); men; men &= men - 1)
                AddPawnSteps(__builtin_ctzll(men), kind);
        for (u64 men = pawns & uncoverDiagonal; men; men &= men - 1) AddPawnSteps(__builtin_ctzll(men), kind);
    }

    // The king uncovers a check by stepping off its line; a king move never loses the exchange.
    const int king = b.KingSquare[us];
    if ((uncoverDiagonal | uncoverStraight) & Bit(king)) {
        const int line = DirectionTable[k][king];
        for (u64 steps = KingAttacks[king] & empty; steps; steps &= steps - 1) {
            const int to = __builtin_ctzll(steps);
            if (DirectionTable[k][to] != line) AddQuiet(MakeMoveWord(king, to, KING), kind);
        }
    }

    // Castling whose rook checks from its new square, seen with the king still at home.
    for (const CastlingCheck& castling : CastlingChecks[us]) {
        if (!(RookAttacks(castling.rookTo) & Bit(k))) continue;
        const int before = MoveListTop;
        AddMoveIfPlayable(castling.move);
        if (MoveListTop == before) continue;
        MoveList[before].score = QuietScore(castling.move, kind, 1);
        MoveList[before].see   = 1;
    }
}

Move PickMove(int place, int end) {
    int best = place;
    for (int i = place + 1; i < end; i++)
        if (MoveList[i].score > MoveList[best].score) best = i;
    if (best != place) std::swap(MoveList[place], MoveList[best]);
    return MoveList[place].move;
}

void RecordCutoff(int depth, Move move, int kind, int inCheck, int verdict) {
    int& h = LearntEntry(move, kind, inCheck, verdict);
    h += ((HISTORY_CEILING - h) * HistoryRateAt(depth)) >> 10;

    const int us    = thread_board.SideToMove;
    PlyRecord& node = PlyStack[Ply];
    if (inCheck) {
        if (HistoryCount > 0) {
            const int to   = MoveTo(History[HistoryCount - 1].Move);
            const int king = thread_board.KingSquare[us];
            Remember(EvasionReply1[to][king][us], EvasionReply2[to][king][us], move);
        }
        return;
    }
    Remember(node.Killer1[us], node.Killer2[us], move);
    if (HistoryCount > 0) {
        const Move last = History[HistoryCount - 1].Move;
        const int to = MoveTo(last), index = PieceIndex(MovedPiece(last));
        Remember(LastMoveReply1[to][index][us], LastMoveReply2[to][index][us], move);
    }
    if (HistoryCount > 1) {
        const Move own = History[HistoryCount - 2].Move;
        const int to = MoveTo(own), index = PieceIndex(MovedPiece(own));
        Remember(FollowUp1[to][index][us], FollowUp2[to][index][us], move);
    }
    if (const Move threat = node.ThreatMove) {
        const int to = MoveTo(threat), index = PieceIndex(MovedPiece(threat));
        Remember(ThreatReply1[to][index][us], ThreatReply2[to][index][us], move);
    }
}

void PenalizeMove(int depth, Move move, int kind, int inCheck, int verdict) {
    int& h = LearntEntry(move, kind, inCheck, verdict);
    h -= (HistoryRateAt(depth) * h) >> 10;
}
