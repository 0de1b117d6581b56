#include "tools/krkp/solver.h"

#include <cstdlib>
#include <vector>

namespace krkp {
namespace {

using u64 = uint64_t;

int FileOf(int s) { return s & 7; }
int RankOf(int s) { return s >> 3; }
u64 Bit(int s) { return 1ULL << s; }

struct Geometry {
    u64 king[64], knight[64];
    u64 between[64][64]; // squares strictly between two squares on a line, else 0
    bool straight[64][64], diagonal[64][64];
    Geometry() {
        for (int a = 0; a < 64; a++) {
            king[a] = knight[a] = 0;
            for (int b = 0; b < 64; b++) {
                const int df = FileOf(b) - FileOf(a), dr = RankOf(b) - RankOf(a);
                const int adf = std::abs(df), adr = std::abs(dr);
                if (a != b && adf <= 1 && adr <= 1) king[a] |= Bit(b);
                if ((adf == 1 && adr == 2) || (adf == 2 && adr == 1)) knight[a] |= Bit(b);
                straight[a][b] = a != b && (df == 0 || dr == 0);
                diagonal[a][b] = a != b && adf == adr;
                between[a][b]  = 0;
                if (straight[a][b] || diagonal[a][b]) {
                    const int sf = (df > 0) - (df < 0), sr = (dr > 0) - (dr < 0);
                    for (int f = FileOf(a) + sf, r = RankOf(a) + sr; f != FileOf(b) || r != RankOf(b); f += sf, r += sr)
                        between[a][b] |= Bit(r * 8 + f);
                }
            }
        }
    }
};
const Geometry& G() {
    static const Geometry g;
    return g;
}

// Does a man of `type` on `from` attack `to` with the men `occ` on the board? A pawn moves up.
bool Attacks(Man type, int from, int to, u64 occ) {
    const Geometry& g = G();
    switch (type) {
    case Man::Knight: return (g.knight[from] >> to) & 1;
    case Man::Rook: return g.straight[from][to] && !(g.between[from][to] & occ);
    case Man::Bishop: return g.diagonal[from][to] && !(g.between[from][to] & occ);
    case Man::Queen: return (g.straight[from][to] || g.diagonal[from][to]) && !(g.between[from][to] & occ);
    case Man::Pawn: return RankOf(to) == RankOf(from) + 1 && std::abs(FileOf(to) - FileOf(from)) == 1;
    default: return false;
    }
}

// The squares a man of `type` may move to from `from` (captures included, own men not removed).
u64 Targets(Man type, int from, u64 occ) {
    u64 set = 0;
    for (int to = 0; to < 64; to++)
        if (to != from && Attacks(type, from, to, occ)) set |= Bit(to);
    return set;
}

// One solved ending: the rook's side (A: king ak, rook r) against the other king bk and its man
// x of type `other`. With a pawn the slice has that one pawn square.
class Slice {
  public:
    Slice(Man other, int pawn) : other_(other), pawn_(pawn), nx_(other == Man::Pawn ? 1 : 64) {
        state_.assign(size_t(2) * 64 * 64 * 64 * nx_, UNKNOWN);
        count_.assign(state_.size(), 0);
    }

    // Exits: A to move after a promotion or a pawn push (lookup in solved tables).
    using Lookup = bool (*)(const void* ctx, Man promoted, int ak, int r, int bk, int x);
    void Solve(Lookup lookup, const void* ctx) {
        lookup_ = lookup, ctx_ = ctx;
        std::vector<uint32_t> stack;
        for (int stm = 0; stm < 2; stm++)
            for (int ak = 0; ak < 64; ak++)
                for (int r = 0; r < 64; r++)
                    for (int bk = 0; bk < 64; bk++)
                        for (int xi = 0; xi < nx_; xi++) {
                            const int x    = nx_ == 1 ? pawn_ : xi;
                            const size_t i = Index(stm, ak, r, bk, x);
                            if (!Legal(stm, ak, r, bk, x)) {
                                state_[i] = ILLEGAL;
                                continue;
                            }
                            state_[i] = stm == 0 ? InitA(ak, r, bk, x) : InitB(i, ak, r, bk, x);
                            if (state_[i] == WIN) stack.push_back(uint32_t(i));
                        }
        while (!stack.empty()) {
            const size_t i = stack.back();
            stack.pop_back();
            int stm, ak, r, bk, x;
            Split(i, stm, ak, r, bk, x);
            if (stm == 1) UnmoveA(ak, r, bk, x, stack);
            else UnmoveB(ak, r, bk, x, stack);
        }
    }

    // The rook's side wins (stm 0: A to move).
    bool Wins(int stm, int ak, int r, int bk, int x) const { return state_[Index(stm, ak, r, bk, x)] == WIN; }
    bool IsLegal(int stm, int ak, int r, int bk, int x) const {
        return state_[Index(stm, ak, r, bk, x)] != ILLEGAL;
    }

  private:
    enum : uint8_t { UNKNOWN, WIN, HELD, ILLEGAL };
    Man other_;
    int pawn_, nx_;
    std::vector<uint8_t> state_, count_;
    Lookup lookup_ = nullptr;
    const void* ctx_ = nullptr;

    size_t Index(int stm, int ak, int r, int bk, int x) const {
        return ((((size_t(stm) * 64 + ak) * 64 + r) * 64 + bk) * nx_) + (nx_ == 1 ? 0 : x);
    }
    void Split(size_t i, int& stm, int& ak, int& r, int& bk, int& x) const {
        x = nx_ == 1 ? pawn_ : int(i % 64);
        i /= nx_;
        bk = int(i % 64), i /= 64;
        r  = int(i % 64), i /= 64;
        ak = int(i % 64), i /= 64;
        stm = int(i);
    }

    bool AttackedByA(int sq, int ak, int r, u64 occ) const {
        return ((G().king[ak] >> sq) & 1) || (r >= 0 && Attacks(Man::Rook, r, sq, occ));
    }
    bool AttackedByB(int sq, int bk, int x, u64 occ) const {
        return ((G().king[bk] >> sq) & 1) || (x >= 0 && Attacks(other_, x, sq, occ));
    }
    bool Legal(int stm, int ak, int r, int bk, int x) const {
        if (ak == r || ak == bk || ak == x || r == bk || r == x || bk == x) return false;
        if ((G().king[ak] >> bk) & 1) return false;
        const u64 occ = Bit(ak) | Bit(r) | Bit(bk) | Bit(x);
        return stm == 0 ? !AttackedByA(bk, ak, r, occ) : !AttackedByB(ak, bk, x, occ);
    }

    // King and rook against a bare king, the bare king to move: won unless it is stalemated or
    // takes the rook (with the strong side to move every such position is won).
    bool KrkWins(int ak, int r, int bk) const {
        const u64 occ = Bit(ak) | Bit(r) | Bit(bk);
        bool moves    = false;
        for (u64 set = G().king[bk]; set; set &= set - 1) {
            const int to = __builtin_ctzll(set);
            if (to == ak) continue;
            const u64 after = (occ & ~Bit(bk)) | Bit(to);
            if (to == r) {
                if (!((G().king[ak] >> to) & 1)) return false;
                continue;
            }
            if (!AttackedByA(to, ak, r, after)) moves = true;
        }
        return moves || AttackedByA(bk, ak, r, occ);
    }

    uint8_t InitA(int ak, int r, int bk, int x) const {
        const u64 occ = Bit(ak) | Bit(r) | Bit(bk) | Bit(x);
        // Taking the man leaves rook against bare king; any such legal capture decides.
        for (u64 set = G().king[ak]; set; set &= set - 1) {
            const int to = __builtin_ctzll(set);
            if (to != x) continue;
            const u64 after = (occ & ~Bit(ak) & ~Bit(x)) | Bit(to);
            if (!AttackedByB(to, bk, -1, after) && KrkWins(to, r, bk)) return WIN;
        }
        if (Attacks(Man::Rook, r, x, occ)) {
            const u64 after = (occ & ~Bit(r) & ~Bit(x)) | Bit(x);
            if (!AttackedByB(ak, bk, -1, after) && KrkWins(ak, x, bk)) return WIN;
        }
        return UNKNOWN;
    }

    uint8_t InitB(size_t i, int ak, int r, int bk, int x) {
        const u64 occ = Bit(ak) | Bit(r) | Bit(bk) | Bit(x);
        int internal = 0;
        bool any     = false;
        // King moves; taking the rook leaves A a bare king.
        for (u64 set = G().king[bk]; set; set &= set - 1) {
            const int to = __builtin_ctzll(set);
            if (to == x || to == ak) continue;
            const int rr    = to == r ? -1 : r;
            const u64 after = (occ & ~Bit(bk)) | Bit(to);
            if (AttackedByA(to, ak, rr, after)) continue;
            any = true;
            if (rr < 0) return HELD;
            internal++;
        }
        if (other_ == Man::Pawn) {
            // Taking the rook, with or without promotion, holds.
            if (Attacks(Man::Pawn, x, r, occ) && !AttackedByA(bk, ak, -1, occ & ~Bit(x))) return HELD;
            const int to = x + 8;
            if (!((occ >> to) & 1)) {
                const u64 after = (occ & ~Bit(x)) | Bit(to);
                if (!AttackedByA(bk, ak, r, after)) {
                    any = true;
                    if (RankOf(to) == 7) {
                        for (Man m : {Man::Queen, Man::Rook, Man::Bishop, Man::Knight})
                            if (!lookup_(ctx_, m, ak, r, bk, to)) return HELD;
                    } else if (!lookup_(ctx_, Man::Pawn, ak, r, bk, to)) {
                        return HELD;
                    }
                }
            }
        } else {
            for (u64 set = Targets(other_, x, occ); set; set &= set - 1) {
                const int to = __builtin_ctzll(set);
                if (to == ak || to == bk) continue;
                const int rr    = to == r ? -1 : r;
                const u64 after = (occ & ~Bit(x)) | Bit(to);
                if (AttackedByA(bk, ak, rr, after)) continue;
                any = true;
                if (rr < 0) return HELD;
                internal++;
            }
        }
        if (!any) return AttackedByA(bk, ak, r, occ) ? WIN : HELD; // mate or stalemate
        count_[i] = uint8_t(internal);
        return internal == 0 ? WIN : UNKNOWN;
    }

    // P (B to move) is won: every A move into it from a legal position wins there.
    void UnmoveA(int ak, int r, int bk, int x, std::vector<uint32_t>& stack) {
        const u64 occ = Bit(ak) | Bit(r) | Bit(bk) | Bit(x);
        auto mark     = [&](int nak, int nr) {
            if (!Legal(0, nak, nr, bk, x)) return;
            const size_t q = Index(0, nak, nr, bk, x);
            if (state_[q] == UNKNOWN) {
                state_[q] = WIN;
                stack.push_back(uint32_t(q));
            }
        };
        for (u64 set = G().king[ak] & ~occ; set; set &= set - 1) mark(__builtin_ctzll(set), r);
        for (u64 set = Targets(Man::Rook, r, occ) & ~occ; set; set &= set - 1) mark(ak, __builtin_ctzll(set));
    }

    // P (A to move) is won: a B move into it is one escape fewer.
    void UnmoveB(int ak, int r, int bk, int x, std::vector<uint32_t>& stack) {
        const u64 occ = Bit(ak) | Bit(r) | Bit(bk) | Bit(x);
        auto step     = [&](int nbk, int nx) {
            if (!Legal(1, ak, r, nbk, nx)) return;
            const size_t q = Index(1, ak, r, nbk, nx);
            if (state_[q] == UNKNOWN && --count_[q] == 0) {
                state_[q] = WIN;
                stack.push_back(uint32_t(q));
            }
        };
        for (u64 set = G().king[bk] & ~occ; set; set &= set - 1) step(__builtin_ctzll(set), x);
        if (other_ != Man::Pawn)
            for (u64 set = Targets(other_, x, occ) & ~occ; set; set &= set - 1) step(bk, __builtin_ctzll(set));
    }
};

struct Solved {
    Slice* promoted[4]; // queen, rook, bishop, knight
    Slice* next;        // the pawn one square on
};

bool Lookup(const void* ctx, Man m, int ak, int r, int bk, int x) {
    const Solved& s = *static_cast<const Solved*>(ctx);
    switch (m) {
    case Man::Queen: return s.promoted[0]->Wins(0, ak, r, bk, x);
    case Man::Rook: return s.promoted[1]->Wins(0, ak, r, bk, x);
    case Man::Bishop: return s.promoted[2]->Wins(0, ak, r, bk, x);
    case Man::Knight: return s.promoted[3]->Wins(0, ak, r, bk, x);
    default: return s.next->Wins(0, ak, r, bk, x);
    }
}

} // namespace

std::vector<uint64_t> SolveKrkp(void (*progress)(const char*)) {
    Slice queen(Man::Queen, 0), rook(Man::Rook, 0), bishop(Man::Bishop, 0), knight(Man::Knight, 0);
    const char* names[4] = {"queen", "rook", "bishop", "knight"};
    Slice* promoted[4]   = {&queen, &rook, &bishop, &knight};
    for (int k = 0; k < 4; k++) {
        promoted[k]->Solve(Lookup, nullptr);
        if (progress) progress(names[k]);
    }
    std::vector<uint64_t> table(KRKP_WORDS, 0);
    for (int file = 4; file < 8; file++) {
        std::vector<Slice*> done;
        Slice* next = nullptr;
        for (int rank = 6; rank >= 3; rank--) {
            const int pawn = rank * 8 + file;
            auto* slice    = new Slice(Man::Pawn, pawn);
            Solved ctx{{&queen, &rook, &bishop, &knight}, next};
            slice->Solve(Lookup, &ctx);
            for (int r = 0; r < 64; r++)
                for (int ak = 0; ak < 64; ak++) {
                    uint64_t word = 0;
                    for (int bk = 0; bk < 64; bk++)
                        if (slice->IsLegal(0, ak, r, bk, pawn) && !slice->Wins(0, ak, r, bk, pawn)) word |= Bit(bk);
                    table[KrkpWord(r, ak, pawn)] = word;
                }
            done.push_back(slice);
            next = slice;
        }
        for (Slice* s : done) delete s;
        if (progress) progress("pawn file");
    }
    return table;
}

bool KrkpLegal(int rook, int rookKing, int pawn, int pawnKing) {
    const int sq[4] = {rook, rookKing, pawn, pawnKing};
    for (int i = 0; i < 4; i++)
        for (int j = i + 1; j < 4; j++)
            if (sq[i] == sq[j]) return false;
    if ((G().king[rookKing] >> pawnKing) & 1) return false;
    // The rook's side moves, so the pawn's king may not stand in check.
    const u64 occ = Bit(rook) | Bit(rookKing) | Bit(pawn) | Bit(pawnKing);
    return !Attacks(Man::Rook, rook, pawnKing, occ);
}

} // namespace krkp
