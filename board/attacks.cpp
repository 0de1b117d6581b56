#include "board/attacks.h"

#include <initializer_list>

#include "board/ply.h"

int IsSquareAttacked(int bySide, int square) {
    const Position& b = thread_board;
    const u64 pawnSources = bySide == BLACK ? WhitePawnAttacks[square] : BlackPawnAttacks[square];
    if (b.Pieces[PAWN][bySide] & pawnSources) return 1;
    if (b.Pieces[KNIGHT][bySide] & KnightAttacks[square]) return 1;
    if (b.Pieces[KING][bySide] & KingAttacks[square]) return 1;
    const u64 straight = b.Pieces[ROOK][bySide] | b.Pieces[QUEEN][bySide];
    if ((RookPseudoAttacks[square] & straight) && (RookAttacks(square) & straight)) return 1;
    const u64 diagonal = b.Pieces[BISHOP][bySide] | b.Pieces[QUEEN][bySide];
    if ((BishopPseudoAttacks[square] & diagonal) && (BishopAttacks(square) & diagonal)) return 1;
    return 0;
}

u64 AttackersOfSquareBy(int side, int square) {
    const Position& b = thread_board;
    const u64 pawnSources = side == BLACK ? WhitePawnAttacks[square] : BlackPawnAttacks[square];
    return (b.Pieces[PAWN][side] & pawnSources) | (b.Pieces[KNIGHT][side] & KnightAttacks[square]) |
           (b.Pieces[KING][side] & KingAttacks[square]) |
           (RookAttacks(square) & (b.Pieces[ROOK][side] | b.Pieces[QUEEN][side])) |
           (BishopAttacks(square) & (b.Pieces[BISHOP][side] | b.Pieces[QUEEN][side]));
}
int SquareIsPinned(int square) {
    const Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    const int direction = DirectionTable[square][b.KingSquare[us]];
    if (!direction) return 0;
    const u64 line = LineAttacks(square, direction);
    if (!(line & Bit(b.KingSquare[us]))) return 0;
    const bool straight = direction == 1 || direction == -1 || direction == 8 || direction == -8;
    const u64 pinners   = b.Pieces[QUEEN][them] | (straight ? b.Pieces[ROOK][them] : b.Pieces[BISHOP][them]);
    return (line & pinners) ? 1 : 0;
}

int MoveIsPinned(Move move) {
    const int from = MoveFrom(move), to = MoveTo(move);
    const int k      = thread_board.KingSquare[thread_board.SideToMove];
    const int along  = DirectionTable[to][from], toKing = DirectionTable[from][k];
    if ((along < 0 ? -along : along) == (toKing < 0 ? -toKing : toKing)) return 0;
    return SquareIsPinned(from);
}
static u64 AddXRay(u64 attackers, int square, int direction) {
    const Position& b = thread_board;
    switch (direction) {
    case 1: return attackers | (RankAttacksFrom(square) & b.StraightSliders & RayWest[square]);
    case -1: return attackers | (RankAttacksFrom(square) & b.StraightSliders & RayEast[square]);
    case 8: return attackers | (FileAttacksFrom(square) & b.StraightSliders & RaySouth[square]);
    case -8: return attackers | (FileAttacksFrom(square) & b.StraightSliders & RayNorth[square]);
    case 9: return attackers | (DiagA1H8AttacksFrom(square) & b.DiagonalSliders & RaySouthWest[square]);
    case -9: return attackers | (DiagA1H8AttacksFrom(square) & b.DiagonalSliders & RayNorthEast[square]);
    case 7: return attackers | (DiagA8H1AttacksFrom(square) & b.DiagonalSliders & RaySouthEast[square]);
    case -7: return attackers | (DiagA8H1AttacksFrom(square) & b.DiagonalSliders & RayNorthWest[square]);
    default: return attackers;
    }
}

namespace {
constexpr int SwapOrder[6] = {PAWN, KNIGHT, BISHOP, ROOK, QUEEN, KING};

// Takes the cheapest man of `side` out of `attackers`, unveiling what stood behind it; its exchange
// value, or 0 when the side has none left.
inline int TakeCheapest(u64& attackers, int side, int target) {
    const Position& b = thread_board;
    for (int piece : SwapOrder) {
        const u64 set = attackers & b.Pieces[piece][side];
        if (!set) continue;
        const int square = __builtin_ctzll(set);
        attackers ^= Bit(square);
        if (piece != KNIGHT && piece != KING) attackers = AddXRay(attackers, square, DirectionTable[target][square]);
        return SeeValue[piece];
    }
    return 0;
}
} // namespace

int SeeCore(int from, int to, int moved, int victim, int promotion, bool useAttackMaps) {
    const Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    const u64 target = Bit(to);

    // A move onto a square the enemy does not attack, from a square whose leaving unveils nothing.
    if (useAttackMaps) {
        const u64 enemyMap = PlyStack[Ply].AttackedBy[them];
        if (enemyMap && !(enemyMap & target) && (!(enemyMap & Bit(from)) || moved == KNIGHT))
            return (promotion && promotion != QUEEN) ? 0 : 1;
    }

    // Under-promotions are never worth an exchange test.
    if (promotion && promotion != QUEEN) return 0;
    int risk, gain;
    if (promotion == QUEEN) {
        risk = SeeValue[QUEEN];
        gain = SeeValue[victim] + risk - 1;
    } else {
        risk = SeeValue[moved];
        gain = SeeValue[victim];
    }
    if (gain >= risk) return 1;

    // Nothing of the enemy's stands where it could ever reach the square, not even through the
    // square being left: nothing can take back.
    const u64 enemy      = b.Pieces[0][them];
    const u64 diagonals  = BishopPseudoAttacks[to] & b.DiagonalSliders;
    const u64 straights  = RookPseudoAttacks[to] & b.StraightSliders;
    const u64 theirPawns = b.Pieces[PAWN][them] & (them == BLACK ? WhitePawnAttacks[to] : BlackPawnAttacks[to]);
    if (!theirPawns && !((diagonals | straights) & enemy) &&
        !(KnightAttacks[to] & b.Pieces[KNIGHT][them]) && !(KingAttacks[to] & b.Pieces[KING][them]))
        return 1;

    // Cheap refutations: a cheaper enemy man that takes back settles it without a swap.
    const int deficit = risk - gain;
    if (deficit >= 2 && theirPawns) return 0;
    u64 attackers = theirPawns;
    const u64 knights = KnightAttacks[to] & (b.Pieces[KNIGHT][WHITE] | b.Pieces[KNIGHT][BLACK]);
    attackers |= knights;
    if (deficit >= 4 && (knights & b.Pieces[KNIGHT][them])) return 0;
    if (diagonals) attackers |= BishopAttacks(to) & b.DiagonalSliders;
    if (deficit >= 4 && (attackers & b.Pieces[BISHOP][them])) return 0;
    if (straights) attackers |= RookAttacks(to) & b.StraightSliders;
    if (deficit >= 6 && (attackers & b.Pieces[ROOK][them])) return 0;
    const u64 ourPawns = b.Pieces[PAWN][us] & (us == WHITE ? BlackPawnAttacks[to] : WhitePawnAttacks[to]);
    if (risk < 9 && gain > 0 && ourPawns) return 1;
    attackers |= ourPawns;

    attackers |= KingAttacks[to] & (b.Pieces[KING][WHITE] | b.Pieces[KING][BLACK]);
    attackers &= ~(Bit(from) | target);
    attackers = AddXRay(attackers, from, DirectionTable[to][from]);
    if (!attackers) return 1;

    // The swap, cheapest man first on each side, until one side would stop with a gain.
    int balance = gain - risk;
    for (;;) {
        const int theirs = TakeCheapest(attackers, them, to);
        if (!theirs) return 1;
        balance += theirs;
        if (balance < 0) return 0;
        const int ours = TakeCheapest(attackers, us, to);
        if (!ours) return 0;
        // Our king may take only a man its counterpart did not defend: above 100 the enemy king took last.
        if (ours == SeeValue[KING] && balance > 100) return 1;
        balance -= ours;
        if (balance >= 0) return 1;
    }
}

int SeeNotLosing(Move move) {
    return SeeCore(MoveFrom(move), MoveTo(move), MovedPiece(move), CapturedPiece(move), PromotionPiece(move), true);
}

int CaptureSeeNotLosing(int to, int from, int moved, int victim, int promotion) {
    return SeeCore(from, to, moved, victim, promotion, false);
}

int OpponentHasBigCapture(int value) {
    if (value > 900) return 0;
    const Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    u64 targets = b.Pieces[0][them];
    if (value > 100) targets &= ~b.Pieces[PAWN][them];
    for (u64 men = b.Pieces[0][us]; men; men &= men - 1) {
        const int from  = __builtin_ctzll(men);
        const int piece = b.Board[from];
        u64 attacks;
        switch (piece) {
        case PAWN: attacks = us == WHITE ? WhitePawnAttacks[from] : BlackPawnAttacks[from]; break;
        case KNIGHT: attacks = KnightAttacks[from]; break;
        case KING: attacks = KingAttacks[from]; break;
        case BISHOP: attacks = BishopAttacks(from); break;
        case ROOK: attacks = RookAttacks(from); break;
        default: attacks = QueenAttacks(from); break;
        }
        for (u64 hits = attacks & targets; hits; hits &= hits - 1) {
            const int to     = __builtin_ctzll(hits);
            const int victim = b.Board[to];
            if (PieceValue[victim] < value) continue;
            if (PieceValue[victim] >= PieceValue[piece] || CaptureSeeNotLosing(to, from, piece, victim, 0)) return 1;
        }
    }
    return 0;
}

int is_checkmated() {
    const Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    const int king     = b.KingSquare[us];
    const u64 checkers = AttackersOfSquareBy(them, king);
    const bool twoCheckers = (checkers & (checkers - 1)) != 0;
    // Squares a man may go to to end the check, and the lines the king cannot step back along.
    u64 targets = 0;
    int lines[2] = {0, 0}, lineCount = 0;
    for (u64 c = checkers; c; c &= c - 1) {
        const int checker = __builtin_ctzll(c);
        const bool slider = (b.Board[checker] & 4) != 0;
        if (slider) lines[lineCount++] = DirectionTable[checker][king];
        if (!twoCheckers) targets = Bit(checker) | (slider ? BetweenMask[checker][king] : 0);
    }
    for (u64 steps = KingAttacks[king] & ~b.Pieces[0][us]; steps; steps &= steps - 1) {
        const int to        = __builtin_ctzll(steps);
        const int direction = DirectionTable[king][to];
        if (IsSquareAttacked(them, to)) continue;
        if ((lineCount > 0 && direction == lines[0]) || (lineCount > 1 && direction == lines[1])) continue;
        return 0;
    }
    if (twoCheckers) return 1;

    for (int piece : {KNIGHT, BISHOP, ROOK, QUEEN})
        for (u64 men = b.Pieces[piece][us]; men; men &= men - 1) {
            const int from = __builtin_ctzll(men);
            u64 reach;
            switch (piece) {
            case KNIGHT: reach = KnightAttacks[from]; break;
            case BISHOP: reach = BishopAttacks(from); break;
            case ROOK: reach = RookAttacks(from); break;
            default: reach = QueenAttacks(from); break;
            }
            if ((reach & targets) && !SquareIsPinned(from)) return 0;
        }
    // Pawns: a step or a double step onto the checking line, or a capture of the checker.
    const int forward  = us == WHITE ? 8 : -8;
    const u64 homeRank = us == WHITE ? 0xFF00ULL : 0x00FF000000000000ULL;
    const int checker  = __builtin_ctzll(checkers);
    for (u64 pawns = b.Pieces[PAWN][us]; pawns; pawns &= pawns - 1) {
        const int from = __builtin_ctzll(pawns);
        const int one  = from + forward;
        bool ends      = (targets & Bit(one)) && !b.Board[one];
        ends |= (homeRank & Bit(from)) && !b.Board[one] && (targets & Bit(one + forward)) && !b.Board[one + forward];
        ends |= ((us == WHITE ? WhitePawnAttacks[from] : BlackPawnAttacks[from]) & Bit(checker)) != 0;
        if (HistoryCount > 0) {
            const Move last = History[HistoryCount - 1].Move;
            ends |= IsDoublePawnStep(last) && MoveTo(last) == checker && RankOf(from) == RankOf(checker) &&
                    (from == checker - 1 || from == checker + 1);
        }
        if (ends && !SquareIsPinned(from)) return 0;
    }
    return 1;
}
