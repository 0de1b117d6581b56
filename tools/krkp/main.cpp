// velumbrak-krkp: solves king and rook against king and pawn and writes the engine's table.
//
//   velumbrak-krkp [-syzygy DIR] [-raw FILE] [-o FILE]
//
// -o writes the packed table as C++ source (the engine's eval/krkp_data.inc); -raw the 524288
// bytes as they lie in memory. With -syzygy every position of the table is checked against the
// KRvKP tables in DIR: a position the table calls won must be won there, a held one not.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "board/geometry.h"
#include "board/position.h"
#include "tablebases/tbprobe.h"
#include "tools/krkp/pack.h"
#include "tools/krkp/solver.h"

namespace {

double Seconds() {
    using namespace std::chrono;
    static const auto start = steady_clock::now();
    return duration<double>(steady_clock::now() - start).count();
}

void Progress(const char* what) { std::fprintf(stderr, "%6.1f s  %s solved\n", Seconds(), what); }

std::string Fen(int rook, int rookKing, int pawn, int pawnKing) {
    char board[64] = {};
    board[rook] = 'r', board[rookKing] = 'k', board[pawn] = 'P', board[pawnKing] = 'K';
    std::string fen;
    for (int rank = 7; rank >= 0; rank--) {
        int empty = 0;
        for (int file = 0; file < 8; file++) {
            const char c = board[rank * 8 + file];
            if (!c) {
                empty++;
                continue;
            }
            if (empty) fen += char('0' + empty), empty = 0;
            fen += c;
        }
        if (empty) fen += char('0' + empty);
        if (rank) fen += '/';
    }
    return fen + " b - - 0 1";
}

// Returns the number of positions that disagree.
long CheckAgainstSyzygy(const std::vector<uint64_t>& table, const char* dir) {
    UseEGTB = 1;
    std::snprintf(EgtbPath, EGTB_PATH_SIZE, "%s", dir);
    OpenTablebases();
    if (TbMaxMen < 4) {
        std::fprintf(stderr, "no 4-man tables in %s\n", dir);
        return -1;
    }
    long agree[2] = {0, 0}, disagree[2] = {0, 0}, cursed = 0, failed = 0;
    for (int rook = 0; rook < 64; rook++)
        for (int rookKing = 0; rookKing < 64; rookKing++)
            for (int pawn = 24; pawn < 56; pawn++) {
                if (pawn % 8 < 4) continue;
                const uint64_t word = table[krkp::KrkpWord(rook, rookKing, pawn)];
                for (int pawnKing = 0; pawnKing < 64; pawnKing++) {
                    if (!krkp::KrkpLegal(rook, rookKing, pawn, pawnKing)) continue;
                    const std::string fen = Fen(rook, rookKing, pawn, pawnKing);
                    if (!SetFen(fen.c_str())) continue;
                    int success     = 0;
                    const int wdl   = ProbeWdlInSearch(&success);
                    if (!success) {
                        failed++;
                        continue;
                    }
                    const int held = int((word >> pawnKing) & 1);
                    const bool ok  = held ? wdl <= 0 : wdl > 0;
                    if (wdl == 1) cursed++;
                    (ok ? agree : disagree)[held]++;
                    if (!ok && disagree[0] + disagree[1] <= 20)
                        std::printf("disagree: %s  table %s, tablebase %d\n", fen.c_str(), held ? "held" : "won", wdl);
                }
            }
    std::printf("won by the table: %ld agree, %ld disagree\n", agree[0], disagree[0]);
    std::printf("held by the table: %ld agree, %ld disagree\n", agree[1], disagree[1]);
    std::printf("wins spoilt by the fifty-move rule among them: %ld; probes failed: %ld\n", cursed, failed);
    return disagree[0] + disagree[1];
}

} // namespace

int main(int argc, char** argv) {
    const char *syzygy = nullptr, *raw = nullptr, *out = nullptr;
    for (int i = 1; i < argc; i++) {
        if (i + 1 < argc && !std::strcmp(argv[i], "-syzygy")) syzygy = argv[++i];
        else if (i + 1 < argc && !std::strcmp(argv[i], "-raw")) raw = argv[++i];
        else if (i + 1 < argc && !std::strcmp(argv[i], "-o")) out = argv[++i];
        else {
            std::printf("usage: velumbrak-krkp [-syzygy DIR] [-raw FILE] [-o FILE]\n");
            return 2;
        }
    }
    InitBoardTables();
    const std::vector<uint64_t> table = krkp::SolveKrkp(Progress);
    if (raw) {
        FILE* f = std::fopen(raw, "wb");
        if (!f) return 1;
        for (uint64_t w : table)
            for (int b = 0; b < 8; b++) std::fputc(int((w >> (8 * b)) & 255), f);
        std::fclose(f);
    }
    if (out && !krkp::WritePackedSource(table, out)) {
        std::fprintf(stderr, "cannot write %s\n", out);
        return 1;
    }
    if (syzygy) return CheckAgainstSyzygy(table, syzygy) == 0 ? 0 : 1;
    return 0;
}
