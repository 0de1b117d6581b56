#include "eval/pawns.h"

#include <bit>
#include <cstdlib>
#include <cstring>

#include "board/geometry.h"
#include "eval/evaluate.h"
#include "eval/params.h"
#include "eval/trace.h"

int64_t PawnHashEntries;

// PawnHashEntries + PAWN_HASH_SPARE entries; null while the table is off.
static PawnHashEntry* PawnHash;

// ---------------------------------------------------------------------------------------------
// The table

int AllocatePawnHash() {
    FreePawnHash();
    if (PawnHashEntries <= 0) {
        PawnHashEntries = 0;
        ClearPawnHash();
        return 1;
    }
    PawnHash = static_cast<PawnHashEntry*>(
        std::calloc(size_t(PawnHashEntries + PAWN_HASH_SPARE), sizeof(PawnHashEntry)));
    if (PawnHash) ClearPawnHash();
    return PawnHash != nullptr;
}

void FreePawnHash() {
    std::free(PawnHash);
    PawnHash = nullptr;
}

void ClearPawnHash() {
    // A structure without pawns has key 0: neither an empty slot nor the memo may claim it.
    thread_eval_info.PawnMemo.PawnKey = ~0ULL;
    if (!PawnHash) return;
    std::memset(static_cast<void*>(PawnHash), 0,
                size_t(PawnHashEntries + PAWN_HASH_SPARE) * sizeof(PawnHashEntry));
    PawnHash[0].PawnKey = ~0ULL;
}

static PawnHashEntry* PawnSlot(u64 key) {
    // The default size is tested first: a mask is much cheaper than a division.
    if (PawnHashEntries == PAWN_HASH_DEFAULT) return PawnHash + (key & uint64_t(PAWN_HASH_DEFAULT - 1));
    return PawnHash + uint32_t(key) % uint32_t(PawnHashEntries);
}

// ---------------------------------------------------------------------------------------------
// Pawn structure

namespace {

constexpr u64 FILE_A = 0x0101010101010101ULL;
constexpr u64 RankMask(int rank) {
    return 0xFFULL << (8 * rank);
}
constexpr u64 FilesFrom(int first, int last) {
    u64 files = 0;
    for (int f = first; f <= last; f++) files |= FILE_A << f;
    return files;
}

// The board as one side sees it: ahead is towards the enemy's first rank. Tables of 64 squares
// are written for a black pawn; a white pawn reads the square turned by 180 degrees.
struct Outlook {
    int side;
    u64 own, enemy;

    int Ahead(int s) const { return side == WHITE ? s + 8 : s - 8; }
    // What a pawn of this side on s attacks: also the squares from which an enemy pawn attacks s.
    u64 Forward(int s) const { return side == WHITE ? WhitePawnAttacks[s] : BlackPawnAttacks[s]; }
    // Diagonally behind s, where the pawns that defend it stand.
    u64 BehindDiagonals(int s) const { return side == WHITE ? BlackPawnAttacks[s] : WhitePawnAttacks[s]; }
    u64 FileAhead(int s) const { return side == WHITE ? FileAbove[s] : FileBelow[s]; }
    u64 FileBehind(int s) const { return side == WHITE ? FileBelow[s] : FileAbove[s]; }
    u64 RanksAhead(int s) const { return side == WHITE ? RanksAbove[s] : RanksBelow[s]; }
    u64 RanksBehind(int s) const { return side == WHITE ? RanksBelow[s] : RanksAbove[s]; }
    u64 PassedMask(int s) const { return side == WHITE ? PassedMaskWhite[s] : PassedMaskBlack[s]; }
    int RelativeRank(int s) const { return side == WHITE ? RankOf(s) : 7 - RankOf(s); }
    int Index(int s) const { return side == BLACK ? s : 63 - s; }
};

// No friend beside or behind it on the next files holds it, unless it can step up to one: a
// pawn diagonally ahead that it reaches in one safe step, or from its home rank one two ranks
// ahead that it reaches in a safe double step. Even then a lever it faces now leaves it backward.
bool IsBackward(const Outlook& o, int s) {
    const u64 all     = o.own | o.enemy;
    const u64 forward = o.Forward(s);
    const bool lever  = (o.enemy & forward) != 0;
    const int stop    = o.Ahead(s);
    if ((o.own & forward) && !(all & Bit(stop)) && !(o.enemy & o.Forward(stop))) return lever;
    const int fourth = o.side == WHITE ? 3 : 4;
    if (o.RelativeRank(s) == 1 && (o.own & NeighbourFiles[s] & RankMask(fourth))) {
        const int next = o.Ahead(stop);
        if (!(all & (Bit(stop) | Bit(next))) && !(o.enemy & (o.Forward(stop) | o.Forward(next))))
            return lever;
    }
    return true;
}

// A pawn deep in the enemy camp blocked by an enemy pawn that no other enemy pawn backs up: a
// friend diagonally behind it that nothing can stop on its own file or the next file out can
// break through.
bool HasLeverSupport(const Outlook& o, int s) {
    const int stop = o.Ahead(s);
    if (!(o.enemy & Bit(stop)) || (o.enemy & o.PassedMask(stop))) return false;
    for (u64 friends = o.own & o.BehindDiagonals(s); friends; friends &= friends - 1) {
        const int q = std::countr_zero(friends), file = FileOf(q);
        if (o.enemy & o.FileAhead(q)) continue;
        const int beyond = file > FileOf(s) ? file + 1 : file - 1;
        if (beyond >= 0 && beyond <= 7 && (o.enemy & (FILE_A << beyond) & o.RanksAhead(q))) continue;
        return true;
    }
    return false;
}

// Every pawn of one side, as a packed pair from that side's view; the files, passers and weak
// files go into the memo.
int32_t ScoreSide(const Outlook& o, PawnHashEntry& memo) {
    const int side = o.side;
    const u64 all  = o.own | o.enemy;
    int32_t sum    = 0;
    [[maybe_unused]] const int view = side == BLACK ? 1 : -1; // for the tuner's trace
    for (u64 set = o.own; set; set &= set - 1) {
        const int s = std::countr_zero(set), at = o.Index(s);
        const uint8_t file   = uint8_t(1 << FileOf(s));
        const u64 neighbours = o.own & NeighbourFiles[s];
        const u64 level      = RankMask(RankOf(s));
        memo.PawnFiles[side] |= file;

        if ((neighbours & level) || (o.own & o.BehindDiagonals(s))) {
            sum += PawnConnected[at];
            TRACE_TERM(PawnConnected[at], view);
        }
        const bool doubled  = (o.own & o.FileBehind(s)) != 0;
        const bool isolated = neighbours == 0;
        const bool backward = !isolated && !(neighbours & (level | o.RanksBehind(s))) && IsBackward(o, s);
        const bool open     = !(all & o.FileAhead(s));

        // Nothing ahead on its file: passed, or a candidate when its friends outnumber the enemy
        // pawns that guard its path, and its defenders the pawns that attack it now.
        bool candidate = false;
        if (open) {
            if (!(o.enemy & o.PassedMask(s))) {
                memo.PassedVector[side] |= file;
            } else {
                const int supporters = PopCount(neighbours & (level | o.RanksBehind(s)));
                const int sentries   = PopCount(o.enemy & NeighbourFiles[s] & o.RanksAhead(s));
                candidate            = supporters >= sentries &&
                            PopCount(o.own & o.BehindDiagonals(s)) >= PopCount(o.enemy & o.Forward(s));
            }
        }
        if (o.RelativeRank(s) >= 5 && HasLeverSupport(o, s)) {
            sum += PawnLeverSupport[at];
            TRACE_TERM(PawnLeverSupport[at], view);
        }

        if (doubled) {
            sum -= PawnDoubled[at];
            TRACE_TERM(PawnDoubled[at], -view);
        }
        if (isolated) {
            if (open) memo.WeakFiles[side] |= file;
            const int32_t& term = open ? PawnIsolatedOpen[at] : PawnIsolatedClosed[at];
            sum -= term;
            TRACE_TERM(term, -view);
        } else if (backward) {
            if (open) memo.WeakFiles[side] |= file;
            const int32_t& term = open ? PawnBackwardOpen[at] : PawnBackwardClosed[at];
            sum -= term;
            TRACE_TERM(term, -view);
        }
        if (candidate) {
            sum += PawnCandidate[at];
            TRACE_TERM(PawnCandidate[at], view);
        }
    }
    return sum;
}

int Span(int files) {
    return files ? LastBit8[files] - FirstBit8[files] + 1 : 0;
}

// The structure of thread_board scored from nothing into the memo.
void ScoreStructure() {
    const Position& b   = thread_board;
    PawnHashEntry& memo = thread_eval_info.PawnMemo;
    const u64 white = b.Pieces[PAWN][WHITE], black = b.Pieces[PAWN][BLACK];
    std::memset(static_cast<void*>(&memo), 0, sizeof(memo));
    memo.PawnKey = b.PawnHashKey;
    EvaluatePawnShelter();
    int32_t score = ScoreSide({BLACK, black, white}, memo) - ScoreSide({WHITE, white, black}, memo);
    score += PawnSpan[Span(memo.PawnFiles[BLACK])] - PawnSpan[Span(memo.PawnFiles[WHITE])];
    score += PassedSpan[Span(memo.PassedVector[BLACK])] - PassedSpan[Span(memo.PassedVector[WHITE])];
    TRACE_TERM(PawnSpan[Span(memo.PawnFiles[BLACK])], 1);
    TRACE_TERM(PawnSpan[Span(memo.PawnFiles[WHITE])], -1);
    TRACE_TERM(PassedSpan[Span(memo.PassedVector[BLACK])], 1);
    TRACE_TERM(PassedSpan[Span(memo.PassedVector[WHITE])], -1);
    memo.PawnScore = score;
}

// The enemy pawns storming one wing of `side`, by how near they stand to its home rank and
// whether they touch its cover, are held by it or pass it by.
int Storm(int side, u64 stormFiles, u64 coverFiles) {
    const Position& b = thread_board;
    const int enemy   = ChangeSide(side);
    const u64 cover   = b.Pieces[PAWN][side] & coverFiles;
    const u64 zone    = side == WHITE ? RankMask(1) | RankMask(2) | RankMask(3) | RankMask(4)
                                      : RankMask(3) | RankMask(4) | RankMask(5) | RankMask(6);
    int sum           = 0;
    for (u64 set = b.Pieces[PAWN][enemy] & stormFiles & zone; set; set &= set - 1) {
        const int s       = std::countr_zero(set);
        const int near    = side == WHITE ? 4 - RankOf(s) : RankOf(s) - 3;
        const u64 attacks = enemy == BLACK ? BlackPawnAttacks[s] : WhitePawnAttacks[s];
        const int front   = enemy == BLACK ? s - 8 : s + 8;
        if (attacks & cover)
            sum += StormContact[near];
        else if (cover & Bit(front))
            sum += StormBlocked[near];
        else
            sum += StormFree[near];
    }
    return sum;
}

} // namespace

int ShelterFileCode(int side, int file) {
    const Position& b = thread_board;
    const u64 own     = b.Pieces[PAWN][side] & (FILE_A << file);
    int code          = 3;
    for (int step = 2; step >= 0; step--)
        if (own & RankMask(side == WHITE ? 1 + step : 6 - step)) code = step;
    if (!(b.Pieces[PAWN][ChangeSide(side)] & (FILE_A << file))) code += 4;
    return code;
}

void EvaluatePawnShelter() {
    PawnHashEntry& memo = thread_eval_info.PawnMemo;
    for (int side = WHITE; side <= BLACK; side++) {
        auto code      = [side](int file) { return ShelterFileCode(side, file); };
        const int king = ShelterTable[code(5) | code(6) << 3 | code(7) << 6] +
                         Storm(side, FilesFrom(4, 7), FilesFrom(5, 7));
        const int queen = ShelterTable[code(2) | code(1) << 3 | code(0) << 6] +
                          Storm(side, FilesFrom(0, 3), FilesFrom(0, 2));
        memo.WingShelter[side][0] = uint8_t(king);
        memo.WingShelter[side][1] = uint8_t(queen);
    }
}

void EvaluatePawns() {
    const Position& b   = thread_board;
    EvalInfo& e         = thread_eval_info;
    PawnHashEntry& memo = e.PawnMemo;
    const u64 key       = b.PawnHashKey;
    if (!PawnHash) {
        ScoreStructure();
    } else if (memo.PawnKey != key) {
        // A search that touches no pawn finds the structure in the memo as it stands.
        PawnHashEntry* slot = PawnSlot(key);
        if (slot->PawnKey == key) {
            memo = *slot;
        } else {
            ScoreStructure();
            *slot = memo;
        }
    }
    e.PackedScore += memo.PawnScore;
    for (int side = WHITE; side <= BLACK; side++) {
        u64 files = 0;
        for (int set = memo.PassedVector[side]; set; set &= set - 1)
            files |= FILE_A << std::countr_zero(unsigned(set));
        e.PassedPawns[side] = b.Pieces[PAWN][side] & files;
    }
}
