#include "eval/evaluate.h"

#include <cstddef>
#include <cstring>

#include "search/root.h"

EvalInfo thread_eval_info;
int LazyLower = -32700, LazyUpper = 32700;

int CurrentPhase() {
    const Position& b = thread_board;
    const int w       = b.MinorCount[WHITE] + b.MinorCount[BLACK] + 2 * (b.HeavyCount[WHITE] + b.HeavyCount[BLACK]);
    return ((w < 24 ? 24 - w : 0) * 256 + 12) / 24;
}

// Material and piece-square terms only, until the remaining terms arrive.
void EvaluateFull(int* result) {
    Position& b      = thread_board;
    EvalInfo& info   = thread_eval_info;
    std::memset(&info.FinalScore, 0, sizeof info - offsetof(EvalInfo, FinalScore));
    info.SideIndependent = 1;
    info.Cacheable       = 1;
    info.MaterialScore   = b.Material[BLACK] - b.Material[WHITE];
    b.current_phase      = CurrentPhase();
    const int packed     = info.MaterialScore * 0x10001 + b.PstScore;
    const int mg         = (packed + 0x8000) >> 16;
    const int eg         = int16_t(packed & 0xFFFF);
    int score            = (mg * (256 - b.current_phase) + eg * b.current_phase) / 256;
    const int tempo      = 8 - ((b.current_phase - 1) >> 6);
    score += b.SideToMove == BLACK ? tempo : -tempo;
    info.FinalScore = score;
    *result         = b.SideToMove == BLACK ? score : -score;
}

int Evaluate() {
    int value;
    EvaluateFull(&value);
    const int fifty = thread_board.FiftyCounter - 8;
    const int f     = 256 - 2 * (fifty > 0 ? fifty : 0);
    return value * f / 256;
}
