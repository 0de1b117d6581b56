#include "eval/endgame.h"

#include <algorithm>
#include <cstdlib>

#include "board/attacks.h"
#include "board/geometry.h"
#include "board/ply.h"
#include "eval/evaluate.h"
#include "eval/kpk.h"
#include "eval/krkp.h"
#include "eval/material.h"
#include "eval/params.h"

namespace {

// ---------------------------------------------------------------------------------------------
// Geometry from a side's point of view

int Distance(int a, int b) { return std::max(std::abs(FileOf(a) - FileOf(b)), std::abs(RankOf(a) - RankOf(b))); }
int Forward(int side) { return side == WHITE ? 8 : -8; }
int RelativeRank(int side, int square) { return side == WHITE ? RankOf(square) : 7 - RankOf(square); }
// The board as `side` sees it when the rule is told for White: turned upside down for Black.
int Relative(int side, int square) { return side == WHITE ? square : square ^ 56; }
u64 FileAhead(int side, int square) { return side == WHITE ? FileAbove[square] : FileBelow[square]; }
u64 PassedMask(int side, int square) { return side == WHITE ? PassedMaskWhite[square] : PassedMaskBlack[square]; }
u64 PawnAttacksFrom(int side, int square) { return side == WHITE ? WhitePawnAttacks[square] : BlackPawnAttacks[square]; }
int Lowest(u64 set) { return __builtin_ctzll(set); }
int Highest(u64 set) { return 63 - __builtin_clzll(set); }
// The lowest and highest square of a set in a rule told for Black; for White the same squares of
// the board turned upside down, so that men on one rank are taken in the mirrored order.
int LowestSeen(int side, u64 set) { return side == BLACK ? Lowest(set) : Lowest(__builtin_bswap64(set)) ^ 56; }
int HighestSeen(int side, u64 set) { return side == BLACK ? Highest(set) : Highest(__builtin_bswap64(set)) ^ 56; }

bool IsPassed(int side, int square) {
    return !(PassedMask(side, square) & thread_board.Pieces[PAWN][ChangeSide(side)]);
}
bool Bare(int side) { return thread_board.Pieces[0][side] == thread_board.Pieces[KING][side]; }
bool OppositeBishops() {
    const u64 w = thread_board.Pieces[BISHOP][WHITE], b = thread_board.Pieces[BISHOP][BLACK];
    return w && b && !((w & DarkSquares) ? (b & DarkSquares) : (b & LightSquares));
}
int Scale(int value, int factor) { return ScaleScore(value, factor, 8); }

// A value from `side`'s view as the side to move sees it.
int ForMover(int side, int value) { return thread_board.SideToMove == side ? value : -value; }

// ---------------------------------------------------------------------------------------------
// Verdicts of EvaluateEnding. Each returns true with *result set (side to move's view) when the
// position is decided.

// King and pawn against king, by the solved ending.
bool KingPawnKing(int* result) {
    const Position& b = thread_board;
    const int side    = b.Pieces[PAWN][WHITE] ? WHITE : BLACK;
    int pawn = Lowest(b.Pieces[PAWN][side]), own = b.KingSquare[side], other = b.KingSquare[ChangeSide(side)];
    if (side == BLACK) pawn = 63 - pawn, own = 63 - own, other = 63 - other;
    const int both = KpkPair(KpkExact, pawn, own, other);
    if (both == 1 || both == 2) thread_eval_info.SideIndependent = 0;
    const int t = b.SideToMove == side ? 0 : 1;
    *result     = (both >> t) & 1 ? ForMover(side, KpkWin[RankOf(pawn) - 1]) : 0;
    return true;
}

// A lone passer held by the king in front of it, against pawns of which some run.
bool LonePawnAgainstRunners(int lone, int* result) {
    const Position& b  = thread_board;
    const int runners  = ChangeSide(lone);
    if (b.PieceCount[PAWN][lone] != 1 || b.PieceCount[PAWN][runners] == 0) return false;
    const int pawn = Lowest(b.Pieces[PAWN][lone]);
    if (!IsPassed(lone, pawn) || !(FileAhead(lone, pawn) & Bit(b.KingSquare[runners]))) return false;
    int s    = -RunBase;
    bool ran = false;
    for (u64 set = b.Pieces[PAWN][runners]; set; set &= set - 1) {
        const int q = Lowest(set);
        s += RunPawn;
        if (IsPassed(runners, q) && !(FileAhead(runners, q) & b.Pieces[0][runners]) &&
            PawnRuns(runners, q, b.KingSquare[runners], b.KingSquare[lone])) {
            s += RunAdvance[RelativeRank(runners, q) - 1];
            ran = true;
        }
    }
    if (!ran) return false;
    *result = ForMover(runners, s + RunFinal);
    return true;
}

// Opposite bishops, two connected pawns against none that the king and bishop blockade.
bool BlockadedPair(int pawnSide, int* result) {
    const Position& b = thread_board;
    const int defender = ChangeSide(pawnSide);
    if (b.PieceCount[PAWN][pawnSide] != 2 || b.PieceCount[PAWN][defender] != 0) return false;
    const u64 pawns = b.Pieces[PAWN][pawnSide];
    const u64 own   = (b.Pieces[BISHOP][pawnSide] & DarkSquares) ? DarkSquares : LightSquares;
    if (pawns & ~own) return false;
    // Told for pawns running down the board: White's are seen upside down.
    auto seen        = [&](int square) { return pawnSide == BLACK ? square : square ^ 56; };
    int lo = seen(Lowest(pawns)), hi = seen(Highest(pawns));
    if (lo > hi) std::swap(lo, hi);
    const int king   = seen(b.KingSquare[defender]);
    const int bishop = Lowest(b.Pieces[BISHOP][defender]);
    // The bishop's diagonals as far as they are free, and its own square.
    const u64 D      = BishopAttacks(bishop) | Bit(bishop);
    auto inD         = [&](int seenSquare) { return (D & Bit(seen(seenSquare))) != 0; };
    bool blockade    = false;
    if (FileOf(lo) == 0 && FileOf(hi) == 1 && hi == lo + 9 && king == hi - 8) blockade = true;
    if (FileOf(lo) == 7 && FileOf(hi) == 6 && hi == lo + 7 && king == hi - 8) blockade = true;
    if (hi == lo + 9 || hi == lo + 7) {
        if (king == lo - 8 && inD(hi - 8)) blockade = true;
        if (king == hi - 8 && inD(lo - 8)) blockade = true;
    }
    if (!blockade) return false;
    thread_eval_info.SideIndependent = 0;
    // With the pawns' side to move its king may still take the bishop.
    if (b.SideToMove == pawnSide && (KingAttacks[b.KingSquare[pawnSide]] & Bit(bishop))) return false;
    *result = 0;
    return true;
}

// One minor each and one pawn.
bool MinorAgainstMinorAndPawn(int* result) {
    const Position& b  = thread_board;
    const int side     = b.Pieces[PAWN][WHITE] ? WHITE : BLACK;
    const int other    = ChangeSide(side);
    const int pawn     = Lowest(b.Pieces[PAWN][side]);
    EvalInfo& e        = thread_eval_info;
    if (OppositeBishops()) {
        e.SideIndependent = 0;
        // A tempo behind counts as a rank behind.
        const int q = b.SideToMove == side ? pawn : pawn - Forward(side);
        if (FileAhead(side, q) & BishopAttacks(Lowest(b.Pieces[BISHOP][other]))) return *result = 0, true;
        if (RelativeRank(side, q) < 5 && (FileAhead(side, q) & Bit(b.KingSquare[other]))) return *result = 0, true;
        return false;
    }
    if (!b.Pieces[BISHOP][side] || !b.Pieces[KNIGHT][other]) return false;
    e.SideIndependent = 0;
    const int own = b.KingSquare[side], knight = Lowest(b.Pieces[KNIGHT][other]);
    if (PawnRuns(side, pawn, own, b.KingSquare[other])) return false;
    int t = pawn;
    if (b.SideToMove == side) {
        const int next = pawn + Forward(side);
        if (!(b.AllPieces & Bit(next))) {
            t = next;
            if (RelativeRank(side, pawn) == 1 && !(b.AllPieces & Bit(next + Forward(side)))) t = next + Forward(side);
        }
    }
    if (RelativeRank(side, t) == 7) {
        if (KnightAttacks[knight] & Bit(t)) return *result = 0, true;
        if ((KingAttacks[own] & Bit(t)) || (BishopAttacks(Lowest(b.Pieces[BISHOP][side])) & Bit(t))) return false;
        return *result = 0, true;
    }
    const bool caught = side == WHITE ? (KnightIntercept[63 - t][63 - own] >> (63 - knight)) & 1
                                      : (KnightIntercept[t][own] >> knight) & 1;
    if (caught) return *result = 0, true;
    return false;
}

// Only the king can move, in an edge pattern where mate and stalemate come about.
bool KingAloneMoves(int* result) {
    const Position& b = thread_board;
    for (int side = WHITE; side <= BLACK; side++) {
        const int other = ChangeSide(side);
        const u64 pawns = b.Pieces[PAWN][side];
        const u64 steps = side == WHITE ? pawns << 8 : pawns >> 8;
        if (b.Material[side] != 0 && (b.PiecePoints[side] != 0 || (steps & ~b.AllPieces))) continue;
        const int king = b.KingSquare[side];
        if (!(KingOppositionMask[king] & Bit(63 - b.KingSquare[other]))) continue;
        thread_eval_info.SideIndependent = 0;
        if (b.SideToMove != side) continue;
        for (u64 set = KingAttacks[king] & ~KingAttacks[b.KingSquare[other]] & ~b.Pieces[0][side]; set; set &= set - 1)
            if (!IsSquareAttacked(other, Lowest(set))) return false;
        *result = IsSquareAttacked(other, king) ? Ply - 32700 : 0;
        return true;
    }
    return false;
}

// Rook against pawns and no pieces. Returns true with a final value; else *score gets the
// correction from Black's view.
bool RookAgainstPawns(int rookSide, int* result, int* score) {
    const Position& b = thread_board;
    const int side    = ChangeSide(rookSide); // the pawns'
    EvalInfo& e       = thread_eval_info;
    e.SideIndependent = 0;
    const int rook = Lowest(b.Pieces[ROOK][rookSide]);
    const int king = b.KingSquare[side];
    int visited = 0, loose = 0, runners = 0, draws = 0;
    // The most advanced first.
    for (u64 set = b.Pieces[PAWN][side]; set;) {
        const int q = LowestSeen(side, set);
        set &= ~Bit(q);
        visited++;
        if (!(FileAhead(side, q) & KingAttacks[king])) {
            loose++;
            runners += PawnRuns(side, q, king, b.KingSquare[rookSide]);
        }
        if (EvaluateKrkp(q, rook) == 1 && ++draws > 2) break;
    }
    const int pawns = b.PieceCount[PAWN][side];
    int v           = 0;
    if (draws == 0) {
        if (visited == 1) v = -RookPawnsOne;
        else if (runners == 0) v = -pawns * (loose == 0 ? RookPawnsEscorted : RookPawnsLoose);
    } else if (draws == 1) {
        if (visited == 1) return *result = 0, true;
        const int pawn = HighestSeen(side, b.Pieces[PAWN][side]); // the rearmost
        v = pawns * RookPawnsCount / 256 + RelativeRank(side, pawn) * RookPawnsAdvance / 256 - RookPawnsBase;
        if (std::abs(FileOf(pawn) - FileOf(king)) <= 1) v += RookPawnsNear;
        *result = ForMover(side, v);
        return true;
    } else {
        v = draws == 2 ? RookPawnsTwoDraws : RookPawnsManyDraws;
    }
    *score = side == BLACK ? v : -v;
    return false;
}

// Queen against a pawn on its seventh with its king beside it: the rook's and bishop's pawns
// draw when the queen's king is too far away. Told for White's queen.
bool QueenAgainstSeventh(int queenSide, int* result) {
    const Position& b = thread_board;
    const int side    = ChangeSide(queenSide);
    const int r       = queenSide; // White's queen: the board as it is
    const int pawn    = Relative(r, Lowest(b.Pieces[PAWN][side]));
    if (RankOf(pawn) != 1) return false;
    const int pk = Relative(r, b.KingSquare[side]), qk = Relative(r, b.KingSquare[queenSide]);
    const int kf = FileOf(qk), kr = RankOf(qk);
    if (RankOf(pk) > 1) return false;
    const bool queenMoves = b.SideToMove == queenSide;
    const u64 queen       = QueenAttacks(Lowest(b.Pieces[QUEEN][queenSide]));
    auto attacks          = [&](int square) { return (queen & Bit(Relative(r, square))) != 0; };
    constexpr int B1 = 1, C1 = 2, F1 = 5, G1 = 6, B2 = 9, G2 = 14, D4 = 27, E4 = 28, F4 = 29, D5 = 35, E5 = 36,
                  F5 = 37;
    EvalInfo& e = thread_eval_info;
    bool draw   = false;
    switch (FileOf(pawn)) {
    case 7:
        if (FileOf(pk) < 5) return false;
        e.SideIndependent = 0;
        draw              = queenMoves ? kf < 3 || kr > 4 : kf < 4 || kr > 3;
        break;
    case 0:
        if (FileOf(pk) > 2) return false;
        e.SideIndependent = 0;
        draw              = queenMoves ? kf > 4 || kr > 4 : kf > 3 || kr > 3;
        break;
    case 5:
        if (FileOf(pk) < 5) return false;
        if (pk == F1) {
            e.SideIndependent = 0;
            draw = queenMoves ? kf < 3 || kr > 4 || qk == D5 : kf < 5 || kr > 3 || qk == E4 || qk == F4;
        } else {
            draw = !(kf >= 4 && kr < 4 && qk != E4) && !(attacks(G1) && attacks(G2));
        }
        break;
    case 2:
        if (FileOf(pk) > 2) return false;
        if (pk == C1) {
            e.SideIndependent = 0;
            draw = queenMoves ? kf > 5 || kr > 4 || qk == E5 || qk == F5
                              : !(kf < 4 && kr < 4 && qk != D4) && !(attacks(B1) && attacks(B2));
        } else {
            draw = kf > 3 || kr > 3 || qk == D4;
        }
        break;
    default: return false;
    }
    if (draw) *result = 0;
    return draw;
}

// Bishop of the wrong colour for the rook pawns, or too little to mate: sets CannotWin[side].
void WrongBishop(int side) {
    const Position& b = thread_board;
    const int other   = ChangeSide(side);
    if (b.PieceCount[PAWN][side] >= 3 || b.Pieces[ROOK][side] || b.Pieces[QUEEN][side] || b.Pieces[KNIGHT][side])
        return;
    EvalInfo& e       = thread_eval_info;
    const u64 pawns   = b.Pieces[PAWN][side];
    const u64 bishops = b.Pieces[BISHOP][side];
    if (!pawns) {
        if (!((bishops & DarkSquares) && (bishops & LightSquares))) e.CannotWin[side] = 1;
        return;
    }
    constexpr u64 FILE_A = 0x0101010101010101ULL, FILE_H = FILE_A << 7;
    int corner;
    if (!(pawns & ~FILE_A)) corner = side == WHITE ? 56 : 0;
    else if (!(pawns & ~FILE_H)) corner = side == WHITE ? 63 : 7;
    else return;
    if (bishops & ((Bit(corner) & LightSquares) ? LightSquares : DarkSquares)) return;
    int d = Distance(b.KingSquare[other], corner), own = Distance(b.KingSquare[side], corner);
    if (d < 2) {
        e.CannotWin[side] = 1;
        return;
    }
    e.SideIndependent = 0;
    if (b.SideToMove == other) d--;
    else own--;
    const int front = side == WHITE ? Highest(pawns) : Lowest(pawns); // one file: no ties
    if (d < own && !PawnRuns(side, front, b.KingSquare[side], b.KingSquare[other]))
        e.CannotWin[side] = 1;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Rook against one pawn

int EvaluateKrkp(int pawn, int rook) {
    const Position& b  = thread_board;
    const int side     = (b.Pieces[PAWN][WHITE] & Bit(pawn)) ? WHITE : BLACK;
    const int rookSide = ChangeSide(side);
    const int pk = b.KingSquare[side], rk = b.KingSquare[rookSide];
    // The table is told for White's pawn: Black's is looked up with the board turned about.
    auto held = [&](int p, int king) {
        return side == WHITE ? KrkpHeld(rook, rk, p, king) : KrkpHeld(63 - rook, 63 - rk, 63 - p, 63 - king);
    };
    const int rank = RelativeRank(side, pawn);
    if (b.SideToMove == rookSide) return rank < 3 ? 2 : held(pawn, pk);

    // The rook is lost.
    if ((KingAttacks[pk] & Bit(rook)) && !(KingAttacks[rk] & Bit(rook))) return 1;
    if (PawnAttacksFrom(side, pawn) & Bit(rook)) return 1;

    const int next      = pawn + Forward(side);
    const u64 rookRank  = RankAttacksFrom(rook);
    const bool rankChk  = (rookRank & Bit(pk)) != 0;
    const bool fileChk  = (FileAttacksFrom(rook) & Bit(pk)) != 0;
    const bool pinned   = (rookRank & Bit(pawn)) && (RankAttacksFrom(pawn) & Bit(pk));
    // A push is a legal move when no check stands or the pawn steps into the checking line.
    auto pushAllowed = [&](int to) {
        return !(b.AllPieces & Bit(to)) && (!(rankChk || fileChk) || (BetweenMask[rook][pk] & Bit(to)));
    };
    if (rank == 2) {
        if ((b.AllPieces & Bit(next)) || pinned) return 2;
        return pushAllowed(next) && held(next, pk) ? 1 : 2;
    }
    if (rank == 1) {
        const int far = next + Forward(side);
        if ((b.AllPieces & (Bit(next) | Bit(far))) || pinned) return 2;
        // One step on leaves the pawn below the table's ranks: only the double step is looked up.
        return pushAllowed(far) && held(far, pk) ? 1 : 2;
    }
    if (rank == 6) {
        // Promoting into the checking rank with the king guarding the new piece.
        if (rankChk && !fileChk && !(b.AllPieces & Bit(next)) && (BetweenMask[rook][pk] & Bit(next)) &&
            (KingAttacks[pk] & Bit(next)) && !(KingAttacks[rk] & Bit(next)))
            return 1;
    } else if (!(b.AllPieces & Bit(next)) && !pinned && !fileChk) {
        if ((!rankChk || (BetweenMask[rook][pk] & Bit(next))) && held(next, pk)) return 1;
    }

    // King moves. A king in check cannot step back along the checking line.
    u64 attacked = RookAttacks(rook) | KingAttacks[rk];
    if (rankChk || fileChk) {
        const int df = (FileOf(pk) > FileOf(rook)) - (FileOf(pk) < FileOf(rook));
        const int dr = (RankOf(pk) > RankOf(rook)) - (RankOf(pk) < RankOf(rook));
        const int f = FileOf(pk) + df, r = RankOf(pk) + dr;
        if (f >= 0 && f < 8 && r >= 0 && r < 8) attacked |= Bit(r * 8 + f);
    }
    const u64 moves = KingAttacks[pk] & ~attacked & ~b.Pieces[0][side];
    if (!moves) return 0;
    for (u64 set = moves; set; set &= set - 1)
        if (held(pawn, Lowest(set))) return 1;
    return 0;
}

// ---------------------------------------------------------------------------------------------
// EvaluateEnding

int EvaluateEnding(int* result, int* final) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    const int w = b.PiecePoints[WHITE], bl = b.PiecePoints[BLACK];
    const int pawnsW = b.PieceCount[PAWN][WHITE], pawnsB = b.PieceCount[PAWN][BLACK];
    *result = 0;
    *final  = 1;

    // Neither side can mate.
    const uint8_t* flags = MaterialRecords[b.MaterialIndex].Flags;
    for (int side = WHITE; side <= BLACK; side++)
        e.CannotWin[side] = b.MaterialIndex == MATERIAL_OVERFLOW ? 0 : flags[side] & MATERIAL_CANNOT_WIN;
    if (e.CannotWin[WHITE] && e.CannotWin[BLACK]) return 0;
    // Equal pieces and no pawn.
    if (!e.AllPawns && w == bl) return 0;

    if (w == 0 && bl == 0) {
        if (pawnsW + pawnsB == 1 && KingPawnKing(result)) return 0;
        if (LonePawnAgainstRunners(WHITE, result) || LonePawnAgainstRunners(BLACK, result)) return 0;
    }
    if (w == 3 && bl == 3) {
        if (OppositeBishops() && (BlockadedPair(BLACK, result) || BlockadedPair(WHITE, result))) return 0;
        if (pawnsW + pawnsB == 1 && MinorAgainstMinorAndPawn(result)) return 0;
    }
    if (KingAloneMoves(result)) return 0;

    int score = 0;
    for (int rookSide = WHITE; rookSide <= BLACK; rookSide++) {
        const int other = ChangeSide(rookSide);
        if (b.PiecePoints[rookSide] == 5 && !b.Pieces[PAWN][rookSide] && b.PiecePoints[other] == 0 &&
            b.Pieces[PAWN][other] && RookAgainstPawns(rookSide, result, &score))
            return 0;
    }
    for (int queenSide = WHITE; queenSide <= BLACK; queenSide++) {
        const int other = ChangeSide(queenSide);
        if (b.Material[queenSide] == 900 && b.Pieces[QUEEN][queenSide] && b.Material[other] == 100 &&
            b.Pieces[PAWN][other] && QueenAgainstSeventh(queenSide, result))
            return 0;
    }
    WrongBishop(WHITE);
    WrongBishop(BLACK);
    if (e.CannotWin[WHITE] && e.CannotWin[BLACK]) return 0;

    ReadMaterialRecord();
    score += e.MaterialScore;

    // Mating force against a bare king; bishop and knight drive it to a corner of the bishop's
    // colour, other forces to any edge.
    bool bishopKnight = false;
    for (int side = BLACK; side >= WHITE; side--) {
        const int weak = ChangeSide(side);
        if (b.PiecePoints[side] < 5 || !Bare(weak)) continue;
        int v = BareKingBonus;
        if (b.Material[side] == 600 && b.Pieces[BISHOP][side] && b.Pieces[KNIGHT][side]) {
            bishopKnight = true;
            const bool dark = (b.Pieces[BISHOP][side] & DarkSquares) != 0;
            const int k     = b.KingSquare[weak];
            const int m     = dark ? std::min(Distance(k, 0), Distance(k, 63)) : std::min(Distance(k, 56), Distance(k, 7));
            v += KbnkBase - KbnkScale * m;
        }
        score += side == BLACK ? v : -v;
    }
    if (!bishopKnight) {
        if (!pawnsW && bl - w >= 3) score += MatingCorner[b.KingSquare[WHITE]];
        else if (!pawnsB && w - bl >= 3) score -= MatingCorner[b.KingSquare[BLACK]];
    }

    // A knight is slow to serve pawns on both wings.
    constexpr u64 QUEEN_WING = 0x0707070707070707ULL, KING_WING = 0xE0E0E0E0E0E0E0E0ULL;
    if ((e.AllPawns & QUEEN_WING) && (e.AllPawns & KING_WING)) {
        for (int side = WHITE; side <= BLACK; side++) {
            const int other = ChangeSide(side);
            if (!b.Pieces[KNIGHT][side] || b.PiecePoints[side] >= 9) continue;
            int v = 0;
            if (b.PiecePoints[side] < b.PiecePoints[other]) {
                v += KnightWingsBehind;
                if (b.PiecePoints[side] == 3) v += KnightWingsAlone;
            }
            if (b.HeavyCount[side] < b.HeavyCount[other]) v += KnightWingsHeavy;
            score += side == WHITE ? v : -v;
        }
    }

    // A lone knight by its distance from its own king.
    if (w == 3 && !pawnsW && b.PieceCount[KNIGHT][WHITE] == 1)
        score += LoneKnightDistance[Distance(Lowest(b.Pieces[KNIGHT][WHITE]), b.KingSquare[WHITE])];
    else if (bl == 3 && !pawnsB && b.PieceCount[KNIGHT][BLACK] == 1)
        score -= LoneKnightDistance[Distance(Lowest(b.Pieces[KNIGHT][BLACK]), b.KingSquare[BLACK])];

    *final = 0;
    return score;
}

// ---------------------------------------------------------------------------------------------
// Scaling

namespace {

// Three pawns, none passed, even pieces: the side with the extra pawn often cannot break through.
// Told for `many`, the side with two or more pawns.
int ScaleThreePawns(int s) {
    const Position& b      = thread_board;
    const EvalInfo& e      = thread_eval_info;
    const int many         = b.PieceCount[PAWN][BLACK] >= 2 ? BLACK : WHITE;
    const int few          = ChangeSide(many);
    const int w            = b.PiecePoints[few];
    if (e.PawnMemo.PassedVector[WHITE] || e.PawnMemo.PassedVector[BLACK]) return s;
    if (b.PiecePoints[WHITE] != b.PiecePoints[BLACK] || b.MinorCount[WHITE] != b.MinorCount[BLACK]) return s;
    const u64 pawns = b.Pieces[PAWN][many];
    const int lo = LowestSeen(many, pawns), hi = HighestSeen(many, pawns);
    const int king = b.KingSquare[few];
    const int h = b.HeavyCount[few], m = b.MinorCount[few];
    if ((h == 0 && m >= 2) || (h > 0 && m > 0)) {
        if (b.HeavyCount[WHITE] != b.HeavyCount[BLACK]) return s;
        bool free;
        if (h > 0) {
            free = !(PassedMask(many, lo) & Bit(king)) && !(PassedMask(many, hi) & Bit(king));
        } else {
            const int runsLo = PawnRunsRaw(many, lo, b.KingSquare[many], king);
            const int runsHi = PawnRunsRaw(many, hi, b.KingSquare[many], king);
            free             = runsLo || runsHi;
        }
        const bool near = (KingAttacks[king] & b.Pieces[PAWN][few]) != 0;
        int factor;
        if (b.Pieces[BISHOP][few]) factor = free ? ThreePawnsFreeBishop : near ? ThreePawnsNearBishop : ThreePawnsFarBishop;
        else factor = free ? ThreePawnsFree : near ? ThreePawnsNear : ThreePawnsFar;
        return Scale(s, factor);
    }
    if (w >= 1 && w <= 9 && (PassedMask(many, lo) & Bit(king)) && (PassedMask(many, hi) & Bit(king)))
        return Scale(s, ThreePawnsKingAhead);
    return s;
}

} // namespace

void ApplyScalingRules(int* score) {
    const Position& b = thread_board;
    EvalInfo& e       = thread_eval_info;
    const int w = b.PiecePoints[WHITE], bl = b.PiecePoints[BLACK];
    const int R      = e.RawScore;
    const int pawns  = b.PieceCount[PAWN][WHITE] + b.PieceCount[PAWN][BLACK];
    int s            = *score;
    auto scale       = [&](int factor) {
        s           = Scale(s, factor);
        e.MirrorSum = Scale(e.MirrorSum, factor);
    };

    // Three pawns.
    if (pawns == 3) {
        e.SideIndependent = 0;
        s                 = ScaleThreePawns(s);
    }

    // One pawn and even pieces: how far the defending king stands from the pawn's path.
    if (pawns == 1) {
        e.SideIndependent = 0;
        if (w == bl && b.HeavyCount[WHITE] == b.HeavyCount[BLACK]) {
            const int side = b.Pieces[PAWN][WHITE] ? WHITE : BLACK, other = ChangeSide(side);
            const int pawn = Lowest(b.Pieces[PAWN][side]);
            const int king = b.KingSquare[other];
            const int h = b.HeavyCount[WHITE], m = b.MinorCount[WHITE];
            if ((h > 0 && m > 0) || (h == 0 && m >= 2)) {
                const bool free = h > 0 ? !(PassedMask(side, pawn) & Bit(king))
                                        : PawnRunsRaw(side, pawn, b.KingSquare[side], king) != 0;
                if (b.Pieces[BISHOP][other]) s = Scale(s, free ? OnePawnFreeBishop : OnePawnStoppedBishop);
                else s = Scale(s, free ? OnePawnFree : OnePawnStopped);
            } else if (w >= 1 && w <= 9) {
                s = Scale(s, (PassedMask(side, pawn) & Bit(king)) ? OnePawnKingAhead : OnePawnKingAside);
            }
        }
    }

    // The side ahead has only pawns that the other king stands in front of.
    if ((bl >= w && R < 0 && !(b.Pieces[PAWN][WHITE] & ~PassedMaskBlack[b.KingSquare[BLACK]])) ||
        (w >= bl && R > 0 && !(b.Pieces[PAWN][BLACK] & ~PassedMaskWhite[b.KingSquare[WHITE]])))
        scale(PawnsBehindKing);

    if ((e.CannotWin[BLACK] && R > 0) || (e.CannotWin[WHITE] && R < 0)) s = e.MirrorSum = 0;

    // Rook and pawn against rook.
    const bool rookAndPawn = w == 5 && bl == 5 && pawns == 1;
    if (rookAndPawn) {
        const int side = b.Pieces[PAWN][WHITE] ? WHITE : BLACK, other = ChangeSide(side);
        const int pawn = Lowest(b.Pieces[PAWN][side]);
        const int king = b.KingSquare[other];
        const int d    = std::abs(FileOf(king) - FileOf(pawn));
        if (d <= 1 && RelativeRank(side, king) > RelativeRank(side, pawn)) {
            const int file = FileOf(pawn);
            scale(file == 0 || file == 7   ? RookPawnFrontRookFile
                  : file == 1 || file == 6 ? RookPawnFrontKnightFile
                                           : RookPawnFrontOther);
        } else if (d <= 1 && RankOf(king) == RankOf(pawn)) {
        } else if (!(KingAttacks[b.KingSquare[side]] & Bit(pawn))) {
            scale(RookPawnNoEscort);
        } else if (d + 1 < 7 - RelativeRank(side, pawn)) {
            scale(RookPawnRace);
        } else {
            const int rookFile = FileOf(Lowest(b.Pieces[ROOK][side]));
            const int lo = std::min(FileOf(king), FileOf(pawn)), hi = std::max(FileOf(king), FileOf(pawn));
            scale(rookFile > lo && rookFile < hi ? RookPawnCutOff : RookPawnNotCut);
        }
    }

    // Two pawns against one where the extra pawn does not get through.
    if (!rookAndPawn && w == bl && w <= 5 && pawns == 3 && PopCount8[e.PawnMemo.PassedVector[WHITE]] <= 1 &&
        PopCount8[e.PawnMemo.PassedVector[BLACK]] <= 1 && !b.Pieces[KNIGHT][WHITE] && !b.Pieces[KNIGHT][BLACK]) {
        const int side = b.PieceCount[PAWN][WHITE] >= 2 ? WHITE : BLACK, other = ChangeSide(side);
        const int files = e.PawnMemo.PawnFiles[side];
        if (w != 0 || files == 0x03 || files == 0xC0) {
            e.SideIndependent = 0;
            bool held         = true;
            for (u64 set = b.Pieces[PAWN][side]; set && held; set &= set - 1) {
                const int q = Lowest(set);
                held = w == 5 ? (PassedMask(side, q) & Bit(b.KingSquare[other])) != 0
                              : !PawnRuns(side, q, b.KingSquare[side], b.KingSquare[other]);
            }
            if (held) {
                if (w == 0) scale(TwoOnOnePawnEnding);
                else scale(e.PawnMemo.PassedVector[other] ? TwoOnOnePassed : TwoOnOneHeld);
            }
        }
    }

    // Bishops of opposite colours.
    if (!rookAndPawn && w <= 11 && bl <= 11 && b.PieceCount[BISHOP][WHITE] == 1 && b.PieceCount[BISHOP][BLACK] == 1 &&
        OppositeBishops()) {
        const int pd = std::abs(b.PieceCount[PAWN][WHITE] - b.PieceCount[PAWN][BLACK]);
        if (pd > 2) {
            if (w == 3 && bl == 3) {
                scale(OppositeBishopsFar);
            } else if (w == bl) {
                const int material = e.MaterialScore;
                s = (w == 8 ? Scale(material, OppositeBishopsRooks) : material) + Scale(s - material, OppositeBishopsMixed);
                e.MirrorSum = Scale(e.MirrorSum, OppositeBishopsMixed);
            }
        } else if (w == 3 && bl == 3) {
            scale(OppositeBishopsNear);
        }
    }

    // The side ahead has no pawn: by the pieces left.
    if (R != 0) {
        const int S = R > 0 ? BLACK : WHITE, D = ChangeSide(S);
        const int sp = b.PiecePoints[S], dp = b.PiecePoints[D];
        int factor = 0;
        if (!e.AllPawns && w == bl) {
            factor = NoPawnsEqual;
        } else if (!b.Pieces[PAWN][S]) {
            const int king = b.KingSquare[D];
            const u64 rook = b.Pieces[ROOK][S];
            // The defending king on an edge, cut off by the rook on the line next to it.
            const bool edge = rook && ((FileOf(king) == 0 && (rook & (0x0202020202020202ULL))) ||
                                       (FileOf(king) == 7 && (rook & (0x4040404040404040ULL))) ||
                                       (RankOf(king) == 0 && (rook & (0xFFULL << 8))) ||
                                       (RankOf(king) == 7 && (rook & (0xFFULL << 48))));
            if (sp == 12 && dp == 9) factor = NoPawns12v9;
            else if (sp == 8 && dp == 5 && b.Pieces[BISHOP][S]) factor = edge ? NoPawns8v5BishopEdge : NoPawns8v5Bishop;
            else if (sp == 8 && dp == 5 && b.Pieces[KNIGHT][S]) factor = edge ? NoPawns8v5KnightEdge : NoPawns8v5Knight;
            else if (sp == 8 && dp == 6) factor = NoPawns8v6;
            else if (sp == 6 && dp == 6) factor = NoPawns6v6;
            else if (sp == 6 && dp == 5) factor = NoPawns6v5;
            else if (sp == 6 && dp == 3 && b.Pieces[BISHOP][D]) factor = NoPawns6v3Bishop;
            else if (sp == 6 && dp == 3 && b.Pieces[KNIGHT][D] && b.Pieces[KNIGHT][S]) factor = NoPawns6v3Knight;
            else if (sp == 6 && dp == 3 && b.Pieces[KNIGHT][D] && b.PieceCount[BISHOP][S] == 2) factor = NoPawns6v3Bishops;
            else if (sp == 5 && dp == 5) factor = NoPawns5v5;
            else if (sp == 5 && dp == 3 && b.Pieces[BISHOP][D]) factor = NoPawns5v3Bishop;
            else if (sp == 5 && dp == 3 && b.Pieces[KNIGHT][D]) factor = NoPawns5v3Knight;
            else if (sp == 3 && dp == 3) factor = NoPawns3v3;
        }
        if (factor) scale(factor);
    }
    *score = s;
}
