#include "tests/unit/slow_movegen.h"

#include "board/makemove.h"

namespace {
bool OnBoard(int f, int r) { return f >= 0 && f < 8 && r >= 0 && r < 8; }
int ColourAt(int sq) {
    if (!thread_board.Board[sq]) return -1;
    return (thread_board.Pieces[0][BLACK] >> sq) & 1 ? BLACK : WHITE;
}
const int KnightSteps[8][2] = {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
const int KingSteps[8][2]   = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {1, 1}, {1, -1}, {-1, 1}, {-1, -1}};
} // namespace

bool SlowSquareAttacked(int square, int bySide) {
    int f = FileOf(square), r = RankOf(square);
    auto is = [&](int ff, int rr, int piece) {
        return OnBoard(ff, rr) && thread_board.Board[rr * 8 + ff] == piece && ColourAt(rr * 8 + ff) == bySide;
    };
    for (auto& s : KnightSteps)
        if (is(f + s[0], r + s[1], KNIGHT)) return true;
    for (auto& s : KingSteps)
        if (is(f + s[0], r + s[1], KING)) return true;
    int pr = bySide == WHITE ? r - 1 : r + 1;
    if (is(f - 1, pr, PAWN) || is(f + 1, pr, PAWN)) return true;
    for (auto& s : KingSteps) {
        bool straight = s[0] == 0 || s[1] == 0;
        for (int ff = f + s[0], rr = r + s[1]; OnBoard(ff, rr); ff += s[0], rr += s[1]) {
            int sq = rr * 8 + ff;
            if (!thread_board.Board[sq]) continue;
            int p = thread_board.Board[sq];
            if (ColourAt(sq) == bySide && (p == QUEEN || p == (straight ? ROOK : BISHOP))) return true;
            break;
        }
    }
    return false;
}

std::vector<Move> SlowPseudoMoves() {
    std::vector<Move> moves;
    const Position& b = thread_board;
    int us = b.SideToMove, them = ChangeSide(us);
    auto add = [&](int from, int to, int promotion = 0) {
        int victim = b.Board[to];
        moves.push_back(MakeMoveWord(from, to, b.Board[from], victim, promotion));
    };
    for (int from = 0; from < 64; from++) {
        if (ColourAt(from) != us) continue;
        int piece = b.Board[from], f = FileOf(from), r = RankOf(from);
        if (piece == PAWN) {
            int dir = us == WHITE ? 1 : -1, last = us == WHITE ? 7 : 0, home = us == WHITE ? 1 : 6;
            auto pawnTo = [&](int to) {
                if (RankOf(to) == last)
                    for (int p : {QUEEN, ROOK, BISHOP, KNIGHT}) add(from, to, p);
                else
                    add(from, to);
            };
            int one = (r + dir) * 8 + f;
            if (!b.Board[one]) {
                pawnTo(one);
                int two = (r + 2 * dir) * 8 + f;
                if (r == home && !b.Board[two]) add(from, two);
            }
            for (int df : {-1, 1}) {
                if (!OnBoard(f + df, r + dir)) continue;
                int to = (r + dir) * 8 + f + df;
                if (ColourAt(to) == them) pawnTo(to);
            }
            if (HistoryCount > 0) {
                Move last = History[HistoryCount - 1].Move;
                if (IsDoublePawnStep(last) && RankOf(MoveTo(last)) == r &&
                    (FileOf(MoveTo(last)) == f - 1 || FileOf(MoveTo(last)) == f + 1))
                    moves.push_back(MakeMoveWord(from, (r + dir) * 8 + FileOf(MoveTo(last)), PAWN));
            }
        } else if (piece == KNIGHT || piece == KING) {
            for (auto& s : (piece == KNIGHT ? KnightSteps : KingSteps)) {
                if (!OnBoard(f + s[0], r + s[1])) continue;
                int to = (r + s[1]) * 8 + f + s[0];
                if (ColourAt(to) != us) add(from, to);
            }
        } else {
            for (auto& s : KingSteps) {
                bool straight = s[0] == 0 || s[1] == 0;
                if (straight ? !(piece & 1) : !(piece & 2)) continue;
                for (int ff = f + s[0], rr = r + s[1]; OnBoard(ff, rr); ff += s[0], rr += s[1]) {
                    int to = rr * 8 + ff;
                    if (ColourAt(to) == us) break;
                    add(from, to);
                    if (b.Board[to]) break;
                }
            }
        }
    }
    int k = us == WHITE ? 4 : 60;
    if (b.KingSquare[us] == k && !SlowSquareAttacked(k, them)) {
        int kingSide = us == WHITE ? CASTLE_WHITE_KING : CASTLE_BLACK_KING;
        int queenSide = us == WHITE ? CASTLE_WHITE_QUEEN : CASTLE_BLACK_QUEEN;
        if ((b.CastleRights & kingSide) && !b.Board[k + 1] && !b.Board[k + 2] && !SlowSquareAttacked(k + 1, them) &&
            !SlowSquareAttacked(k + 2, them))
            moves.push_back(MakeMoveWord(k, k + 2, KING));
        if ((b.CastleRights & queenSide) && !b.Board[k - 1] && !b.Board[k - 2] && !b.Board[k - 3] &&
            !SlowSquareAttacked(k - 1, them) && !SlowSquareAttacked(k - 2, them))
            moves.push_back(MakeMoveWord(k, k - 2, KING));
    }
    return moves;
}

std::vector<Move> SlowLegalMoves() {
    std::vector<Move> legal;
    for (Move m : SlowPseudoMoves()) {
        int us = thread_board.SideToMove;
        MakeMove(m, 1);
        if (!SlowSquareAttacked(thread_board.KingSquare[us], ChangeSide(us))) legal.push_back(m);
        UnmakeMove();
    }
    return legal;
}
