#include "search/search.h"

#include "board/attacks.h"
#include "board/geometry.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/ordering.h"
#include "board/ply.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "eval/material.h"
#include "eval/params.h"
#include "search/extensions.h"
#include "search/picker.h"
#include "search/root.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"

int SelDepth;
// 1 while a singular probe runs: nodes below it do not become singular candidates.
static int SingularRunning;

namespace {

inline bool IsEnPassant(Move m) {
    return MovedPiece(m) == PAWN && !CapturedPiece(m) && ((MoveFrom(m) ^ MoveTo(m)) & 1);
}
// Captures, promotions and en passant: the moves that change material.
inline bool IsTactical(Move m) { return (m & 0x1F8000) || IsEnPassant(m); }
inline int Max(int a, int b) { return a > b ? a : b; }
inline int Min(int a, int b) { return a < b ? a : b; }

// Beyond this many plies checks earn no depth and quiescence tries no quiet checks.
inline int CheckPlyLimit() { return Min(3 * IterationNumber + 2, 90); }

inline int PhaseOfPosition() {
    const int index = thread_board.MaterialIndex;
    return index != MATERIAL_OVERFLOW ? MaterialRecords[index].current_phase : CurrentPhase();
}

inline bool CannotWin(int side) {
    const int index = thread_board.MaterialIndex;
    return index != MATERIAL_OVERFLOW && (MaterialRecords[index].Flags[side] & MATERIAL_CANNOT_WIN);
}

inline bool OnEdge(int square) {
    const int f = FileOf(square), r = RankOf(square);
    return f == 0 || f == 7 || r == 0 || r == 7;
}

inline bool InCorner(int square) { return square == 0 || square == 7 || square == 56 || square == 63; }

// A king in the corner with every flight square taken by its own men or next to the other king.
bool KingCaughtInCorner(int side) {
    const Position& b = thread_board;
    const int king    = b.KingSquare[side];
    if (!InCorner(king)) return false;
    const u64 flights = KingAttacks[king] & ~b.Pieces[0][side] & ~KingAttacks[b.KingSquare[ChangeSide(side)]];
    return flights == 0;
}

// Own pawn on the seventh rank adds 100, else one on the sixth adds 50: the lazy exits do not
// dismiss a side that is about to promote.
int PawnPromotionCredit(int side) {
    const u64 pawns   = thread_board.Pieces[PAWN][side];
    const u64 seventh = side == WHITE ? 0x00FF000000000000ULL : 0x000000000000FF00ULL;
    const u64 sixth   = side == WHITE ? 0x0000FF0000000000ULL : 0x0000000000FF0000ULL;
    if (pawns & seventh) return 100;
    if (pawns & sixth) return 50;
    return 0;
}

// Enough force to make a material lead or deficit stick.
bool StrongForce(int side) {
    const Position& b = thread_board;
    const int pawns   = b.PieceCount[PAWN][side];
    return pawns >= 2 ? b.PiecePoints[side] >= 6 : b.PiecePoints[side] > 9;
}

int ResolveVerdict(Move move, int* see) { return ResolveSee(move, see); }

// Picks the best-scored entry of [index, end) into place index; ties keep the earlier entry.
inline void SelectBest(int index, int end) {
    int best = index;
    for (int i = index + 1; i < end; i++)
        if (MoveList[i].score > MoveList[best].score) best = i;
    if (best != index) {
        const MoveEntry entry = MoveList[best];
        MoveList[best]        = MoveList[index];
        MoveList[index]       = entry;
    }
}

bool InTriedMoves(Move move) {
    const PlyRecord& record = PlyStack[Ply];
    for (int i = 0; i < record.TriedCount; i++)
        if (record.TriedMoves[i] == move) return true;
    return false;
}

// A remembered move word may belong to another position; only one that fits here is searched.
bool FitsHere(Move move) {
    if (!move) return false;
    const int saved = MoveListTop;
    AddMoveIfPlayable(move);
    const bool fits = MoveListTop > saved;
    MoveListTop     = saved;
    return fits;
}

void UpdateCaptureStats(Move move, int side, bool success) {
    const int index = CaptureStatsIndex(move, side);
    if (CaptureStatsStamp[index] != SearchStamp) {
        CaptureStatsStamp[index]     = SearchStamp;
        CaptureStatsTries[index]     = 0;
        CaptureStatsSuccesses[index] = 0;
    }
    CaptureStatsTries[index]++;
    if (success) CaptureStatsSuccesses[index]++;
    if (CaptureStatsTries[index] > 64) {
        CaptureStatsTries[index] /= 2;
        CaptureStatsSuccesses[index] /= 2;
    }
}

// Move-count pruning keeps a late quiet move only when it does something about the threat.
bool AnswersThreat(Move move, Move threat) {
    const int from = MoveFrom(move), to = MoveTo(move);
    const int threatFrom = MoveFrom(threat), threatTo = MoveTo(threat);
    if (from == threatTo) return true;
    if (BetweenMask[threatFrom][threatTo] & ~Bit(threatFrom) & Bit(to)) return true;
    const int attacker = MovedPiece(threat), victim = CapturedPiece(threat);
    if (victim && (attacker == KING || PieceValue[attacker] >= PieceValue[victim])) {
        if (PieceAttacksFrom(to, thread_board.SideToMove, MovedPiece(move)) & Bit(threatTo)) return true;
        if (MoveUnveilsAttackOn(move, threatTo)) return true;
    }
    return false;
}

// clang-format off
constexpr int FutilityA[5] = {0, 81, 323, 484, 2011};
constexpr int FutilityB[5] = {0, 16, 18, 16, 19};
constexpr int FutilityTail[8] = {30, 12, 5, 0, -5, -7, -9, -10};
constexpr int LateMoveLimit[2][32] = {
    {2, 2, 3, 3, 4, 5, 6, 7, 9, 11, 13, 16, 19, 21, 24, 28, 31, 35, 38, 42, 46, 51, 55, 60, 65, 70, 75, 80, 86, 91, 97, 103},
    {3, 4, 5, 6, 8, 10, 12, 15, 18, 21, 25, 29, 33, 37, 42, 47, 52, 57, 62, 68, 74, 81, 87, 94, 101, 108, 115, 123, 131, 139, 147, 156},
};
constexpr int VerifyByMove[8]   = {80, 30, 15, 10, 8, 6, 4, 0};
constexpr int VerifyByDepth[16] = {100, 100, 100, 100, 100, 100, 90, 80, 70, 60, 50, 45, 40, 35, 30, 25};
constexpr int RatioAdjust[11]   = {4, 2, 1, 0, -1, -2, -3, -4, -5, -6, -8};
constexpr int QuietCheckThreat[5] = {-10, -10, 10, 50, 250};
constexpr int QuietCheckDepth[4]  = {50, 150, 250, 700};
constexpr int PassedGain[8]       = {0, 2, 2, 10, 50, 200, 400, 0};
// clang-format on

int FutilityOpponent(int points) {
    static const int table[15] = {528, 528, 528, 119, 119, 160, 64, 95, 88, 67, 54, 33, 33, 33, 33};
    return points >= 15 ? 0 : table[points];
}

int FutilityOwn(int points) {
    static const int table[15] = {381, 381, 381, 128, 128, 201, 121, 121, 80, 58, 50, 57, 58, 50, 1};
    return points >= 15 ? 0 : table[points];
}

// Reduction adjustment by how far the evaluation after the move stays below alpha, in 25ths.
int DeficitAdjust(int bucket) {
    if (bucket <= -13) return -100;
    if (bucket <= -7) return -24;
    if (bucket == -6) return -4;
    if (bucket >= -5 && bucket <= -4) return -3;
    if (bucket >= -3 && bucket <= -2) return -2;
    if (bucket == -1) return 3;
    if (bucket == 0) return 4;
    if (bucket == 1) return 3;
    if (bucket <= 5) return -3;
    if (bucket <= 7) return -4;
    if (bucket <= 11) return -6;
    return -15;
}

inline int SearchOrQuiesce(int alpha, int beta, int depth, int kind) {
    return depth < ONE_PLY ? Quiesce(alpha, beta, 0, kind) : Search(alpha, beta, depth, 1, kind);
}

// The two singular probes: does any move but the hash move reach `score`? 1 when none does.
int SingularProbe(int score, int depth, Move excluded, int nearAlpha) {
    const int first      = MoveListTop;
    const int savedCheck = PlyStack[Ply + 1].InCheck;
    const int us         = thread_board.SideToMove;
    const bool inCheck   = PlyStack[Ply].InCheck != 0;
    SingularRunning      = 1;
    int memo = 0, stage = STAGE_START, quietSeen = 0, made = 0, result = 1, newest = 0;
    int cursor     = first;
    bool batchOver = true;
    for (;;) {
        if (batchOver || cursor >= MoveListTop) {
            // The next batch goes behind whatever is left of the earlier ones.
            const int before = MoveListTop;
            stage            = stage ? NextMoveBatch(stage, 0, nearAlpha, &memo, 0, 0) : 0;
            if (!stage) break;
            newest    = MoveListTop - before;
            batchOver = false;
        }
        if (newest >= 2) SelectBest(cursor, MoveListTop);
        const MoveEntry& entry = MoveList[cursor];
        if (stage == STAGE_CAPTURES && entry.score < 0) {
            batchOver = true;
            continue;
        }
        cursor++;
        const Move move = entry.move;
        if (stage == STAGE_QUIET && !inCheck && ++quietSeen >= 6) break;
        if (move == excluded) continue;
        if (stage == STAGE_QUIET && InTriedMoves(move)) continue;
        MakeMove(move, made == 0);
        if (!inCheck && IsSquareAttacked(ChangeSide(us), thread_board.KingSquare[us])) {
            UnmakeMove();
            continue;
        }
        made++;
        PlyStack[Ply + 1].InCheck = IsSquareAttacked(us, thread_board.KingSquare[ChangeSide(us)]);
        Ply++;
        const int s = -Search(-score, 1 - score, depth, 1, NODE_CUT);
        Ply--;
        UnmakeMove();
        if (s >= score || thread_board.SearchAbort) {
            result = 0;
            break;
        }
    }
    MoveListTop               = first;
    PlyStack[Ply + 1].InCheck = savedCheck;
    SingularRunning           = 0;
    return result;
}

} // namespace

// 1 when the fifty-move rule or a repetition in the game or the tree makes the node a draw.
static int DrawByRule(int beta) {
    const Position& b = thread_board;
    if (b.FiftyCounter < 3) return 0;
    if (b.FiftyCounter >= 100) return 1;
    const int n   = HistoryCount;
    const u64 key = b.HashKey;
    if (n < 3) return 0;
    u64 x = History[n - 1].HashKey ^ key;
    int i = n - 3;
    for (;;) {
        // The opponent's moves since record i cancel out: can one reversible move of ours bring
        // back the position of record i?
        if (beta <= 0) {
            x ^= History[i].HashKey ^ History[i + 1].HashKey;
            if (x == 0 && ReversibleMoveTable) {
                const u64 e                    = key ^ History[i].HashKey;
                const ReversibleBucket& bucket = ReversibleMoveTable[e & (REVERSIBLE_BUCKETS - 1)];
                for (int slot = 0; slot < 4; slot++) {
                    if (!bucket.Moves[slot] || bucket.Keys[slot] != e) continue;
                    const Move m    = bucket.Moves[slot];
                    const int piece = MovedPiece(m);
                    for (int direction = 0; direction < 2; direction++) {
                        const int from = direction ? MoveTo(m) : MoveFrom(m);
                        const int to   = direction ? MoveFrom(m) : MoveTo(m);
                        if (b.Board[from] != piece || b.Board[to] != EMPTY ||
                            !(b.Pieces[0][b.SideToMove] & Bit(from)))
                            continue;
                        if (!(BetweenMask[from][to] & ~Bit(from) & b.AllPieces)) return 1;
                        break;
                    }
                    break;
                }
            }
        }
        if (i - 1 < 0) return 0;
        if (!IsReversibleMove(History[i - 1].Move)) return 0;
        if (key == History[i - 1].HashKey) return 1;
        i -= 2;
        if (i < 0 || !IsReversibleMove(History[i].Move)) return 0;
    }
}

int CaptureGain(Move move) {
    const Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move);
    const int promotion = PromotionPiece(move);
    const int captured  = IsEnPassant(move) ? PAWN : CapturedPiece(move);
    const int victimSquare = IsEnPassant(move) ? ((from & 56) ^ (to & 7)) : to;
    int gain = PieceValue[captured];

    const int index = b.MaterialIndex;
    if (index != MATERIAL_OVERFLOW) {
        const int after  = index - MaterialWeight[captured][them];
        const int change = MaterialRecords[after].Imbalance - MaterialRecords[index].Imbalance;
        gain += us == BLACK ? change : -change;
    } else if (captured != PAWN) {
        gain += 120 + ImbalanceMg[0];
    }
    if (b.PiecePoints[them] - PiecePointValue[captured] < 6) gain += 25;
    if (captured == QUEEN && b.PieceCount[QUEEN][them] == 1) gain += 25;

    if (promotion) {
        gain += 900;
    } else {
        if (moved == PAWN) {
            const u64 mask = us == WHITE ? PassedMaskWhite[to] : PassedMaskBlack[to];
            if (!(mask & b.Pieces[PAWN][them])) gain += PassedGain[us == WHITE ? RankOf(to) : 7 - RankOf(to)];
        }
        if (captured == PAWN) {
            const u64 mask = them == WHITE ? PassedMaskWhite[victimSquare] : PassedMaskBlack[victimSquare];
            if (!(mask & b.Pieces[PAWN][us]))
                gain += PassedGain[them == WHITE ? RankOf(victimSquare) : 7 - RankOf(victimSquare)];
        }
    }

    const int arriving = promotion ? promotion : moved;
    const int f        = PhaseOfPosition();
    const int e = PstEg16[captured][them][to] + PstEg16[arriving][us][to] - PstEg16[moved][us][from];
    const int m = PstMg16[captured][them][to] + PstMg16[arriving][us][to] - PstMg16[moved][us][from];
    gain += (e * f + m * (256 - f)) >> 8;
    if (arriving == QUEEN) gain += captured == PAWN ? 100 : 160;
    return gain;
}

int Quiesce(int alpha, int beta, int qdepth, int nodeKind) {
    Position& b        = thread_board;
    const int p        = Ply;
    PlyRecord& node    = PlyStack[p];
    const int us       = b.SideToMove, them = ChangeSide(us);
    const bool inCheck = node.InCheck != 0;
    int a = alpha, best = -MATE_SCORE;
    Move bm       = 0;
    node.BestMove = 0;

    if (p > SelDepth) SelDepth = p;
    NodeCount++;
    PollCountdown--;
    if (p >= MAX_SEARCH_PLY) return Evaluate();

    // Mate distance: nothing better than mate next move can come from here.
    int m = p - 2 * node.InCheck - (MATE_SCORE - 2);
    if (m > -MATE_SCORE) {
        best = m;
        if (m > a) {
            if (m >= beta) return m;
            a = m;
        }
    }
    if (a >= MATE_SCORE - 1 - p) return a;
    if (DrawByRule(beta)) return 0;

    const int limit = CheckPlyLimit();
    const int q     = p > limit ? -16 : qdepth;

    // Material alone already beyond the window the root expects.
    {
        int material = b.Material[us] - b.Material[them];
        const int lo = us == EngineSide ? LazyLower : -LazyUpper;
        const int hi = us == EngineSide ? LazyUpper : -LazyLower;
        bool open    = false;
        if (material < lo) {
            open = StrongForce(them);
            const int credit = PawnPromotionCredit(us);
            material += credit;
            if (credit && material >= lo) open = false;
        } else if (material > hi) {
            open = StrongForce(us);
            const int credit = PawnPromotionCredit(them);
            material -= credit;
            if (credit && material <= hi) open = false;
        }
        if (open && material >= beta) return material;
    }

    Move hashMove = 0;
    int cutoff = 0, memo = 0, floor = -MATE_SCORE;
    QuiesceProbe(&a, beta, &hashMove, &cutoff, nodeKind == NODE_PV, p, &memo, &floor);
    if (cutoff) {
        node.BestMove = hashMove;
        return a;
    }
    if (hashMove && !FitsHere(hashMove)) hashMove = 0;
    if (floor > best) {
        best = floor;
        bm   = hashMove;
    }
    node.Flags         = 0;
    node.AttackedBy[0] = node.AttackedBy[1] = 0;

    int e = -MATE_SCORE;
    if (!inCheck) {
        e                  = Evaluate();
        node.AttackedBy[0] = thread_eval_info.AttackMaps[0];
        node.AttackedBy[1] = thread_eval_info.AttackMaps[1];
        if (e > best) {
            best = e;
            if (e > a) {
                a = e;
                if (e >= beta) return e;
            }
        }
    }
    const int alphaAfterStandPat = a;

    int tryChecks = 0;
    if (IterationNumber != 0 && p <= limit && q >= -8 && !inCheck &&
        QuietCheckThreat[Min(thread_eval_info.ThreatCount[us], 4)] + (nodeKind == NODE_PV ? 50 : 0) +
                QuietCheckDepth[Min(q / 4 + 2, 3)] + e >
            a) {
        tryChecks = 1;
    } else if (p < limit && !inCheck && p >= 2 && !(PlyStack[p - 2].Flags & FLAG_QUIET_CHECKS)) {
        node.Flags |= FLAG_QUIET_CHECKS;
        tryChecks = 1;
    }
    if (memo & MEMO_NO_QUIET_CHECK) tryChecks = 0;

    if (hashMove && !IsTactical(hashMove) && !(tryChecks && p <= limit)) hashMove = 0;
    int made = 0;
    if (hashMove) {
        const int check         = MoveGivesCheck(hashMove);
        PlyStack[p + 1].InCheck = check;
        MakeMove(hashMove, 1);
        if (IsSquareAttacked(them, b.KingSquare[us])) {
            UnmakeMove();
            hashMove = 0;
        } else {
            made++;
            const int c = (check && p + 1 < limit) ? 4 : 0;
            Ply++;
            const int s = -Quiesce(-beta, -a, q + c - 2, -nodeKind);
            Ply--;
            UnmakeMove();
            if (s >= beta) {
                TranspositionStore(0, hashMove, s, TT_LOWER, 0, memo, p);
                node.BestMove = hashMove;
                if (!IsTactical(hashMove)) {
                    int see = UNKNOWN_SEE;
                    RecordCutoff(q, hashMove, 1, inCheck, ResolveVerdict(hashMove, &see));
                }
                return s;
            }
            if (s > best) {
                best = s;
                bm   = hashMove;
                a    = Max(a, s);
            }
        }
    }

    node.ThreatMove = 0;
    const int first = MoveListTop;
    int evasions    = 0;
    if (!inCheck) {
        if (!(memo & MEMO_NO_CAPTURE)) {
            GenerateGoodCaptures(b.Pieces[0][them]);
            const u64 seventh = us == WHITE ? 0x00FF000000000000ULL : 0x000000000000FF00ULL;
            const int forward = us == WHITE ? 8 : -8;
            for (u64 pawns = b.Pieces[PAWN][us] & seventh; pawns; pawns &= pawns - 1) {
                const int from = __builtin_ctzll(pawns), to = from + forward;
                if (b.Board[to]) continue;
                AddGoodCapture(MakeMoveWord(from, to, PAWN, 0, QUEEN));
                if (KnightAttacks[to] & Bit(b.KingSquare[them])) AddGoodCapture(MakeMoveWord(from, to, PAWN, 0, KNIGHT));
            }
            if (MoveListTop == first) memo |= MEMO_NO_CAPTURE;
        }
    } else {
        GenerateEvasions(STAGE_START);
        evasions = MoveListTop - first;
        if (!evasions) return p - MATE_SCORE;
        // A quiet check of the once-in-two-plies route is answered at once by any safe evasion.
        if (evasions >= 2 && p >= 1 && HistoryCount > 0 && (PlyStack[p - 1].Flags & FLAG_QUIET_CHECKS) &&
            !IsTactical(History[HistoryCount - 1].Move)) {
            for (int i = first; i < MoveListTop; i++)
                if (MoveList[i].see != 0) {
                    MoveListTop = first;
                    return beta;
                }
        }
    }
    const int step = (inCheck && evasions == 1 && p < limit) ? 0 : -4;

    const int enemyPoints = b.PiecePoints[them];
    for (int cursor = first; cursor < MoveListTop; cursor++) {
        SelectBest(cursor, MoveListTop);
        const MoveEntry entry = MoveList[cursor];
        const Move move       = entry.move;
        if (move == hashMove) continue;
        if (!inCheck) {
            if (MoveIsPinned(move)) continue;
            if (MovedPiece(move) == KING && IsSquareAttacked(them, MoveTo(move))) continue;
        }
        const int check         = MoveGivesCheck(move);
        PlyStack[p + 1].InCheck = check;
        if (!check && nodeKind != NODE_PV) {
            if (inCheck) {
                if (!(move & 0x1F8000) && entry.see == 0 && made) continue;
            } else {
                const int promotion = PromotionPiece(move);
                if (promotion && promotion != QUEEN) continue;
                const int g = CaptureGain(move);
                const int f = a - e - g;
                if (f >= 58) {
                    if (g >= 478) {
                        if (f >= 395) continue;
                    } else if (f >= 113 && (enemyPoints >= 10 || e < -498)) {
                        continue;
                    }
                }
            }
        }
        MakeMove(move, made == 0);
        if (!inCheck && IsEnPassant(move) && IsSquareAttacked(them, b.KingSquare[us])) {
            UnmakeMove();
            continue;
        }
        made++;
        const int c = (check && p + 1 < limit) ? 4 : 0;
        Ply++;
        const int s = -Quiesce(-beta, -a, q + step + c - 4, -nodeKind);
        Ply--;
        if (CapturedPiece(move) && !inCheck && !check && entry.score < 100000) {
            UpdateCaptureStats(move, us, s > a);
        }
        UnmakeMove();
        if (s > best) {
            best = s;
            bm   = move;
            if (s > a) {
                a = s;
                if (s >= beta) {
                    TranspositionStore(0, bm, s, TT_LOWER, 0, memo, p);
                    node.BestMove = bm;
                    if (inCheck && !IsTactical(bm)) {
                        for (int i = first; i < cursor; i++)
                            if (!IsTactical(MoveList[i].move) && MoveList[i].move != hashMove)
                                PenalizeMove(0, MoveList[i].move, 2, 1, MoveList[i].see);
                        int see = entry.see;
                        RecordCutoff(q, bm, 1, 1, ResolveVerdict(bm, &see));
                    }
                    MoveListTop = first;
                    return s;
                }
            }
        }
    }
    MoveListTop = first;

    if (tryChecks) {
        GenerateQuietChecks(e + 100 < a ? 0 : 1);
        if (MoveListTop == first) memo |= MEMO_NO_QUIET_CHECK;
        const int w = p + 1 < limit ? 0 : 4;
        for (int cursor = first; cursor < MoveListTop; cursor++) {
            SelectBest(cursor, MoveListTop);
            const Move move = MoveList[cursor].move;
            if (move == hashMove || MoveIsPinned(move)) continue;
            if (MovedPiece(move) == KING && IsSquareAttacked(them, MoveTo(move))) continue;
            MakeMove(move, made == 0);
            made++;
            PlyStack[p + 1].InCheck = 1;
            Ply++;
            const int s = -Quiesce(-beta, -a, q - w, -nodeKind);
            Ply--;
            UnmakeMove();
            if (s > best) {
                best = s;
                bm   = move;
                if (s > a) {
                    a = s;
                    if (s >= beta) {
                        MoveListTop = first;
                        TranspositionStore(0, bm, s, TT_LOWER, 0, memo, p);
                        node.BestMove = bm;
                        return s;
                    }
                }
            }
        }
        MoveListTop = first;
    }

    if (a > alphaAfterStandPat) {
        TranspositionStore(0, bm, a, TT_EXACT, 0, memo, p);
        node.BestMove = bm;
        return best;
    }
    TranspositionStore(0, bm, best, TT_UPPER, 0, memo, p);
    return best;
}

int Search(int alpha, int beta, int depth, int allowNull, int nodeKind) {
    Position& b     = thread_board;
    const int p     = Ply;
    PlyRecord& node = PlyStack[p];
    const int us = b.SideToMove, them = ChangeSide(us);
    const int k        = nodeKind;
    const bool isPv    = k == NODE_PV;
    const bool inCheck = node.InCheck != 0;
    const int entryAlpha = alpha;
    int a = alpha, d = depth;

    // Entry: mate distance, counters and the poll.
    node.BestMove = 0;
    int mateThreat = 0, singularCandidate = 0, singularBase = 0, pawnless = 0;
    const int worst = p - 2 * node.InCheck - (MATE_SCORE - 2);
    if (worst > a) {
        if (worst >= beta) return worst;
        a = worst;
    }
    if (a >= MATE_SCORE - 1 - p) return a;
    if (p > SelDepth) SelDepth = p;
    NodeCount++;
    if (--PollCountdown < 0 && PollInput()) {
        b.SearchAbort = 1;
        return 0;
    }
    if (p >= MAX_SEARCH_PLY) return Evaluate();

    // Endgame shortcuts: dead draws and kings that cannot be caught in a mating net.
    const int w = b.PiecePoints[WHITE], v = b.PiecePoints[BLACK];
    const bool shortcuts = w < 11 && v < 11 && !isPv;
    if (shortcuts) {
        if (CannotWin(WHITE) && CannotWin(BLACK) && b.Material[WHITE] + b.Material[BLACK] < 600) return 0;
        const bool noPawns = !(b.Pieces[PAWN][WHITE] | b.Pieces[PAWN][BLACK]);
        if (d >= 17 && w == v && v <= 9 && noPawns) {
            if (!OnEdge(b.KingSquare[WHITE]) && !OnEdge(b.KingSquare[BLACK]))
                d = 16;
            else
                d = Min(d, 36);
        }
        if (a >= 0 && CannotWin(us) && b.PiecePoints[us] < 6 && !KingCaughtInCorner(them)) return 0;
        if (beta <= 0 && CannotWin(them) && b.PiecePoints[them] < 6 && !KingCaughtInCorner(us)) return 0;
    }

    // Draws by rule.
    if (DrawByRule(beta)) return 0;

    if (shortcuts && !(b.Pieces[PAWN][WHITE] | b.Pieces[PAWN][BLACK]) && (CannotWin(WHITE) || CannotWin(BLACK)) &&
        Min(w, v) < 9) {
        const int kw = b.KingSquare[WHITE], kb = b.KingSquare[BLACK];
        const int distance = Max(Max(FileOf(kw) - FileOf(kb), FileOf(kb) - FileOf(kw)),
                                 Max(RankOf(kw) - RankOf(kb), RankOf(kb) - RankOf(kw)));
        if ((!OnEdge(kw) && !OnEdge(kb)) || distance > 3) pawnless = 1;
    }

    // Probes: table, tablebases, learnt positions.
    const int nullDepth = (b.PiecePoints[us] > 8 && d >= 24) ? d - 20 : d - 16;
    Move hashMove = 0;
    int cutoff = 0;
    SingularData singular{0, 0, 0};
    TranspositionProbe(d, &a, beta, &mateThreat, &hashMove, &allowNull, &cutoff, isPv, p, &singular);
    if (cutoff) {
        node.BestMove = hashMove;
        return a;
    }
    if (hashMove && !FitsHere(hashMove)) hashMove = 0;
    if (d >= 32 && singular.Valid && singular.Depth >= d - 12 && !SingularRunning && (isPv || k == NODE_CUT)) {
        singularCandidate = 1;
        singularBase      = singular.Value;
    }
    if (!TbRootSolved && b.MenCount <= TbMaxMen && b.FiftyCounter == 0 && b.CastleRights == 0) {
        int success      = 0;
        const int result = ProbeWdlInSearch(&success);
        if (success) {
            TbHits++;
            int value = 2 * result;
            if (result == 2) value = TB_WIN_SCORE - p;
            if (result == -2) value = p - TB_WIN_SCORE;
            TranspositionStore(d + 24, hashMove, value, TT_EXACT, 0, 0, p);
            return value;
        }
    }
    if (d > 24 && UseLearningData && us == EngineSide && HistoryCount < 120 && w >= 15 && v >= 15 &&
        b.FiftyCounter < 70) {
        int learntDepth, learntScore;
        if (LearnProbe(&learntDepth, &learntScore) && learntDepth >= d) return learntScore;
    }

    // Static evaluation and the static null move.
    const int e        = Evaluate();
    const int phase    = PhaseOfPosition();
    node.StaticEval    = e;
    node.AttackedBy[0] = thread_eval_info.AttackMaps[0];
    node.AttackedBy[1] = thread_eval_info.AttackMaps[1];
    if (d < 8 && !inCheck && beta <= e - 40 && !isPv && !(p > 0 && (PlyStack[p - 1].Flags & FLAG_SAFE_THREAT)))
        return beta;
    const u64 weakMen[2] = {thread_eval_info.WeakMenMaps[0], thread_eval_info.WeakMenMaps[1]};
    const int nearAlpha  = e + 100 < a ? 0 : 1;
    int memo             = 0;

    // Null move, searched by its own deepening in steps of one ply.
    Move threat = 0;
    if (allowNull && a < MATE_BOUND && beta >= -(MATE_BOUND - 1) && b.PiecePoints[us] != 0 &&
        !(b.PiecePoints[us] < 6 && d > 24) && !isPv && !inCheck) {
        const int gap = a - e;
        bool skip     = (d >= 8 && gap >= 20) || (d < 8 && gap >= 5);
        if (!skip && nullDepth < 4) {
            if (e < beta) {
                skip = true;
            } else {
                b.SideToMove = them;
                skip         = OpponentHasBigCapture(e - beta) != 0;
                b.SideToMove = us;
            }
        }
        if (!skip) {
            const int savedFifty = b.FiftyCounter;
            b.SideToMove         = them;
            History[HistoryCount].Move         = 0;
            History[HistoryCount].FiftyCounter = savedFifty;
            History[HistoryCount].HashKey      = b.HashKey;
            HistoryCount++;
            b.FiftyCounter          = 0;
            PlyStack[p + 1].InCheck = 0;
            node.Flags              = 0;
            Ply++;
            int s = 0;
            for (int r = nullDepth % 4;; r += 4) {
                s = r < 4 ? -Quiesce(-beta, -beta + 1, 0, NODE_CUT) : -Search(-beta, -beta + 1, r, 0, NODE_CUT);
                if (b.SearchAbort || s < beta || r + 4 > nullDepth) break;
            }
            Ply--;
            HistoryCount--;
            b.SideToMove   = us;
            b.FiftyCounter = savedFifty;
            threat         = PlyStack[p + 1].BestMove;
            if (b.SearchAbort) return 0;
            if (s >= beta) {
                TranspositionStore(d, 0, beta, TT_LOWER, mateThreat, memo, p);
                return beta;
            }
            if (s == p + 1 - (MATE_SCORE - 1)) mateThreat = 1;
        }
    }

    // Move list and in-check nodes.
    node.ThreatMove         = threat;
    const int limit         = CheckPlyLimit();
    const int fullExtension = isPv ? p < limit : (p < limit && p <= 2 * IterationNumber);
    const int first         = MoveListTop;
    int stage               = STAGE_START;
    Move singleReply        = 0;
    if (inCheck) {
        node.TriedCount = 0;
        GenerateEvasions(STAGE_START);
        const int count = MoveListTop - first;
        if (count == 0) return p - MATE_SCORE;
        stage = STAGE_EVASIONS;
        if (count == 1) {
            const Move only = MoveList[first].move;
            const bool ordinary =
                HistoryCount < 2 || (CapturedPiece(only) == QUEEN && !PromotionPiece(History[HistoryCount - 2].Move));
            if (!ordinary) {
                singleReply = only;
                if (!hashMove) hashMove = only;
            }
        }
    }
    if (p > 0 && (PlyStack[p - 1].Flags & FLAG_REDUCED) && mateThreat) d += 4;

    // Internal iterative deepening finds a first move where the table has none.
    if (d >= 20 && !hashMove && !(k == NODE_ALL && a >= e + 50)) {
        if (!isPv) {
            const int r = Min(Max(d - 40, 4), 8);
            int s       = Search(a - 100, beta, r, 0, k);
            if (!b.SearchAbort && s <= a - 100) s = Search(-MATE_SCORE, beta, r, 0, k);
        } else {
            const int r = d - 16;
            const int s = Search(a - 20, beta + 20, r, 0, NODE_PV);
            if (!b.SearchAbort && s <= a - 20) Search(a - 120, beta, r, 0, NODE_PV);
            if (!b.SearchAbort && s <= a - 120) Search(-MATE_SCORE, beta, r, 0, NODE_PV);
        }
        if (b.SearchAbort) {
            MoveListTop = first;
            return 0;
        }
        hashMove        = node.BestMove;
        node.BestMove   = 0;
        node.ThreatMove = threat;
        if (hashMove && !FitsHere(hashMove)) hashMove = 0;
    }

    // The hash move is searched before anything is generated.
    int searchBeta = beta, made = 0, counted = 0, captureFailed = 0;
    Move best      = 0;
    int hashSee    = 0;
    if (hashMove) {
        hashSee = UNKNOWN_SEE;
        ResolveSee(hashMove, &hashSee);
        int x = ComputeExtension(fullExtension, mateThreat, d, hashMove == singleReply, hashMove, MATE_SCORE, isPv,
                                 weakMen, entryAlpha - e, &hashSee);
        if (singularCandidate && x < 0 && p < 100) {
            // A hash move that no other move comes near earns the depth of the node.
            const int S        = singularBase - d / 2;
            int isSingular     = 0;
            const int flags    = node.Flags;
            const int nextFlag = PlyStack[p + 1].InCheck;
            if (d >= 36) {
                isSingular = SingularProbe(S - 60, ONE_PLY, hashMove, nearAlpha);
                if (!isSingular && !b.SearchAbort) isSingular = SingularProbe(S - 10, Max(d - 28, 4), hashMove, nearAlpha);
            } else {
                isSingular = SingularProbe(S - 10, Max(d - 28, 4), hashMove, nearAlpha);
            }
            node.Flags              = flags;
            PlyStack[p + 1].InCheck = nextFlag;
            if (b.SearchAbort) {
                MoveListTop = first;
                return 0;
            }
            if (isSingular) x = Min(x + (fullExtension ? 4 : 2), 0);
        }
        MakeMove(hashMove, 1);
        if (IsSquareAttacked(them, b.KingSquare[us])) {
            UnmakeMove(); // a key collision handed us a move that is not legal here
            hashMove = 0;
        } else {
            made++;
            Ply++;
            const int s = -SearchOrQuiesce(-beta, -a, d + x, -k);
            Ply--;
            UnmakeMove();
            if (b.SearchAbort) {
                MoveListTop = first;
                return 0;
            }
            if (s >= beta) {
                if (!IsTactical(hashMove)) RecordCutoff(d, hashMove, nearAlpha, inCheck, hashSee);
                TranspositionStore(d, hashMove, s, TT_LOWER, mateThreat, memo, p);
                node.BestMove = hashMove;
                MoveListTop   = first;
                return s;
            }
            if (s > a) {
                a    = s;
                best = hashMove;
            }
            searchBeta = a + 1;
            if (PieceValue[CapturedPiece(hashMove)] > PieceValue[MovedPiece(hashMove)] && e + 50 < entryAlpha)
                captureFailed = 1;
        }
    }

    // Futility and the generation limits of shallow nodes.
    int futilityArmed = 0, dropQuiets = 0, goodCapturesOnly = 0, quietSubset = 0, margin = 0;
    if (d < 20 && entryAlpha > -32499 && entryAlpha < 32499 && (w || v)) {
        const int q = d / 4;
        margin = ((FutilityA[q] * 100) >> 8) - ((FutilityB[q] * FutilityOpponent(b.PiecePoints[them])) >> 8) -
                 ((FutilityB[q] * FutilityOwn(b.PiecePoints[us])) >> 8);
        if (!isPv) margin += 30;
        futilityArmed = 1;
        dropQuiets    = e < entryAlpha - margin;
        if (d < 8) {
            goodCapturesOnly = entryAlpha > e - 100;
            quietSubset      = 1;
        } else if (d < 12) {
            quietSubset = 1;
        }
    }
    int batchStart = first;
    if (stage == STAGE_START) {
        node.TriedCount = 0;
        stage = NextMoveBatch(STAGE_START, dropQuiets, nearAlpha, &memo, goodCapturesOnly, quietSubset);
        if (!stage) {
            MoveListTop = first;
            if (made) {
                // Only the hash move exists here.
                if (a > entryAlpha) {
                    node.BestMove = best;
                    TranspositionStore(d, best, a, TT_EXACT, mateThreat, memo, p);
                    return a;
                }
                TranspositionStore(d, hashMove, a, TT_UPPER, mateThreat, memo, p);
                return a;
            }
            if (!dropQuiets && !goodCapturesOnly && !quietSubset) return 0;
            TranspositionStore(d, 0, entryAlpha, TT_UPPER, mateThreat, memo, p);
            return entryAlpha;
        }
    }

    int lateCount = 0, quietCount = 0;
    const int mayReduce = d >= 8 && p > 0;
    const int improving = p < 2 || PlyStack[p - 2].StaticEval <= e || PlyStack[p - 2].InCheck;
    const int firstMoves = isPv ? 2 : 1;
    int bestSee = 0;
    int cursor = first, deferStart = -1, deferEnd = -1, inDeferred = 0;

    for (;;) {
        if (!inDeferred && cursor >= MoveListTop) {
            const int next =
                stage ? NextMoveBatch(stage, dropQuiets, nearAlpha, &memo, goodCapturesOnly, quietSubset) : 0;
            if (next) {
                stage      = next;
                batchStart = cursor;
            } else if (deferStart >= 0) {
                // The captures that lose material come after everything else.
                inDeferred = 1;
                stage      = STAGE_CAPTURES;
                cursor     = deferStart;
                batchStart = deferStart;
            } else {
                break;
            }
            continue;
        }
        const int end = inDeferred ? deferEnd : MoveListTop;
        if (cursor >= end) break;
        SelectBest(cursor, end);
        MoveEntry& entry = MoveList[cursor];
        if (stage == STAGE_CAPTURES && !inDeferred && entry.score < 0) {
            deferStart = cursor;
            deferEnd   = MoveListTop;
            cursor     = MoveListTop;
            continue;
        }
        const int index = cursor++;
        const Move move = entry.move;
        const int h     = entry.score;
        if (move == hashMove) continue;
        if (stage == STAGE_QUIET && InTriedMoves(move)) continue;
        if (MovedPiece(move) == KING && IsSquareAttacked(them, MoveTo(move))) continue;
        if (MoveIsPinned(move)) continue;

        int x = ComputeExtension(fullExtension, 0, d, move == singleReply, move, h, isPv, weakMen, entryAlpha - e,
                                 &entry.see);
        int pawnlessCut = 0;
        if (pawnless && made >= 1 && !IsTactical(move)) {
            x -= 4;
            pawnlessCut = 1;
        }

        // Pruning of late quiet moves: by count, unless they answer the threat, and by futility.
        if (stage == STAGE_QUIET) {
            quietCount++;
            if (!isPv && a >= -29999 && h < 30000 && d < 64 && node.Flags == 0 &&
                quietCount >= LateMoveLimit[improving][d / 2]) {
                if (!threat || entry.see == 0 || !AnswersThreat(move, threat)) continue;
            }
        }
        if (futilityArmed && !IsTactical(move) && node.Flags == 0 &&
            (stage == STAGE_QUIET || stage == STAGE_EVASIONS)) {
            const int c7      = Min(quietCount, 7);
            const int moved   = MovedPiece(move);
            const int gainEg  = PstEg16[moved][us][MoveTo(move)] - PstEg16[moved][us][MoveFrom(move)];
            const int gainMg  = PstMg16[moved][us][MoveTo(move)] - PstMg16[moved][us][MoveFrom(move)];
            const int gain    = (gainEg * phase + gainMg * (256 - phase)) >> 8;
            if (FutilityTail[c7] + e + ((margin * 32) >> 8) + ((Max(h, 0) * 26) >> 8) + gain < a) {
                counted++;
                continue;
            }
        }

        MakeMove(move, made == 0);
        if (!inCheck && IsEnPassant(move) && IsSquareAttacked(them, b.KingSquare[us])) {
            UnmakeMove();
            continue;
        }
        made++;
        const int givesCheck = PlyStack[p + 1].InCheck;
        int s                = 0;
        bool fullSearch      = true;
        bool reduced         = false;

        // Late-move reduction.
        if (mayReduce && move != singleReply &&
            (stage == STAGE_QUIET || (stage == STAGE_EVASIONS && !IsTactical(move)))) {
            const int l = ++lateCount;
            if (l > firstMoves || captureFailed) {
                reduced         = true;
                const int E     = -Evaluate();
                const int rise  = Max(E - e, 0);
                const int deficit = a - E;
                int R;
                if (deficit > 300)
                    R = k == NODE_ALL ? l + 7 : (isPv ? l - 8 : l - 4);
                else
                    R = k == NODE_ALL ? l + 7 : (isPv ? l - 33 : l - 13);
                if (givesCheck && k != NODE_ALL) R -= 9;
                R -= DeficitAdjust(Min(Max(deficit / 25, -20), 20));
                const int mover      = us;
                const int afterSide  = them;
                const int phaseClass =
                    (b.PiecePoints[afterSide] > EndgamePoints &&
                     (b.PieceCount[QUEEN][afterSide] || b.PiecePoints[afterSide] > EndingPointsNoQueen))
                        ? 0
                        : 1;
                const uint32_t ratio =
                    PruneRatio[phaseClass][HistoryClass[MovedPiece(move)]][MoveFrom(move)][MoveTo(move)][mover];
                R += RatioAdjust[ratio > 10 ? 10 : ratio];
                node.Flags |= FLAG_REDUCED;
                int y = R > -34 ? x - 8 : x - 4;
                bool toItem4 = false;
                if (R > -3) {
                    if (l >= 3)
                        y -= 4;
                    else
                        toItem4 = true;
                }
                if (!toItem4 && R > 25) {
                    if (l >= 5) {
                        y -= 4;
                        if (R > 42) y -= 4;
                    } else {
                        toItem4 = true;
                    }
                }
                if (!toItem4) {
                    if (d + y >= 8 && l >= 13 && p > 0 && E < PlyStack[p - 1].StaticEval && stage != STAGE_EVASIONS &&
                        !(p > 1 && PlyStack[p - 2].InCheck))
                        y -= 4;
                    if (d + y >= 8 && p >= 4 && E - 30 >= PlyStack[p - 3].StaticEval && l >= 17 && h < 1) y -= 4;
                }
                if (entry.see != 0 && d + y < 4) y = 4 - d;
                if (y < -8) {
                    if (givesCheck)
                        y = -8;
                    else if (deficit > 0 && deficit < rise && rise >= 6 && l < 16)
                        y = -8;
                }
                Ply++;
                s = -SearchOrQuiesce(-a - 1, -a, d + y, k == NODE_ALL ? NODE_CUT : NODE_ALL);
                Ply--;
                node.Flags &= ~FLAG_REDUCED;
                if (b.SearchAbort) {
                    UnmakeMove();
                    MoveListTop = first;
                    return 0;
                }
                fullSearch = s > a;
            }
        }

        const int D = d + x;
        if (fullSearch) {
            const int childKind = made == 1 ? -k : NODE_CUT;
            bool plain          = true;
            if (!reduced) {
                const bool direct = PieceValue[CapturedPiece(move)] + e >= entryAlpha && index - first < 3 && entry.see != 0;
                if (!direct && childKind != NODE_PV && searchBeta == a + 1 && D >= 16 && node.Flags <= 32 &&
                    !(node.Flags != 0 && entry.see != 0)) {
                    // Verification: a cheap search with a margin refutes most later moves.
                    const int u     = -a - 1;
                    const int vMarg = VerifyByMove[Min(index - first, 7)] + VerifyByDepth[Min(D / 4, 15)];
                    Ply++;
                    const int s1 = Search(u + vMarg, u + vMarg + 1, 0, 1, NODE_CUT);
                    if (!b.SearchAbort && s1 >= u + vMarg + 1) {
                        const int z  = ((D / 6) / 4) * 4;
                        const int s2 = Search(u + vMarg, u + vMarg + 1, D - z - 12, 1, NODE_CUT);
                        if (!b.SearchAbort && s2 >= u + vMarg + 1) {
                            s     = -s2;
                            plain = false;
                        }
                    }
                    Ply--;
                    if (b.SearchAbort) plain = false;
                }
            }
            if (plain && !b.SearchAbort) {
                Ply++;
                s = -SearchOrQuiesce(-searchBeta, -a, D, childKind);
                Ply--;
            }
        }

        if (CapturedPiece(move) && !inCheck && !givesCheck && h < 100000) {
            UpdateCaptureStats(move, us, s > a);
        }
        if (!b.SearchAbort && s > a) {
            Ply++;
            if (pawnlessCut) {
                s = -SearchOrQuiesce(-beta, -a, D + 4, isPv ? NODE_PV : NODE_ALL);
            } else if (s < beta && beta > searchBeta) {
                s = -SearchOrQuiesce(-beta, -s, D, NODE_PV);
            }
            Ply--;
        }
        UnmakeMove();
        if (b.SearchAbort) {
            MoveListTop = first;
            return 0;
        }

        if (s > a) {
            best    = move;
            bestSee = entry.see;
            if (s >= beta) {
                // Cutoff: the quiet moves tried before it lose some of their standing.
                if (!IsTactical(move)) {
                    const int kind = inCheck ? 2 : nearAlpha;
                    for (int i = batchStart; i < index; i++) {
                        const Move earlier = MoveList[i].move;
                        if (stage == STAGE_EVASIONS && IsTactical(earlier)) continue;
                        PenalizeMove(d, earlier, kind, inCheck, MoveList[i].see);
                    }
                    RecordCutoff(d, move, nearAlpha, inCheck, bestSee);
                }
                TranspositionStore(d, move, s, TT_LOWER, mateThreat, memo, p);
                MoveListTop   = first;
                node.BestMove = move;
                return s;
            }
            a = s;
        }
        searchBeta = a + 1;
        if (PieceValue[CapturedPiece(move)] > PieceValue[MovedPiece(move)] && e + 50 < entryAlpha) captureFailed = 1;
    }

    MoveListTop = first;
    if (!made && !counted && !dropQuiets && !goodCapturesOnly && !quietSubset) return 0;
    if (a > entryAlpha) {
        node.BestMove = best;
        TranspositionStore(d, best, a, TT_EXACT, mateThreat, memo, p);
        return a;
    }
    TranspositionStore(d, best ? best : hashMove, a, TT_UPPER, mateThreat, memo, p);
    return a;
}
