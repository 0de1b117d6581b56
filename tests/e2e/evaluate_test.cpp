// The `evl` print-out as a user sees it: the start position, a pawn ending with passers on both
// sides, and a third knight that the material table cannot count.
#include <gtest/gtest.h>

#include "tests/e2e/engine_process.h"

namespace {

std::vector<std::string> Printout(const std::string& heuristic, const std::string& passed, const std::string& phases,
                                  const std::string& material, const std::string& ending) {
    return {"Heuristic = " + heuristic,
            passed,
            phases,
            material,
            ending,
            "thread_eval_info.shelter_penalty[BLACK] = 0 thread_eval_info.shelter_penalty[WHITE] = 0",
            "thread_eval_info.danger[BLACK] = 0 thread_eval_info.danger[WHITE] = 0",
            "Attacks[ChangeSide(thread_board.SideToMove)] = 4",
            "Attacks[thread_board.SideToMove] = 4",
            "Shelter[BLACK] = 0 Shelter[WHITE] = 0",
            "Dng = 4"};
}

TEST(EvaluationPrintout, EvlShowsTheTermsOfThePosition) {
    EngineProcess engine = StartEngine(false);
    ASSERT_GT(engine.pid, 0);
    ReadStartup(engine);

    // Even material and a symmetric board: only the tempo of the mover, 9 on a full board.
    EXPECT_EQ(Exchange(engine, "evl"),
              Printout("9", "PassedVector[BLACK] = 00000000 PassedVector[WHITE] = 00000000",
                       "current_phase = 0, black_phase = 0, white_phase = 0",
                       "Material[WHITE] = 3900 thread_board.Material[BLACK] = 3900 EvaluateMaterial() = 0",
                       "ENDING(WHITE) = 0 ENDING(BLACK) = 0"));

    // Black's king stands between White's king and White's pawns, and Black is to move.
    Exchange(engine, "loadfen 8/p6p/3k4/8/8/2K5/5PPP/8 b - - 0 1");
    EXPECT_EQ(Exchange(engine, "evl"),
              Printout("67", "PassedVector[BLACK] = 10000000 PassedVector[WHITE] = 00000100",
                       "current_phase = 256, black_phase = 256, white_phase = 256",
                       "Material[WHITE] = 300 thread_board.Material[BLACK] = 200 EvaluateMaterial() = -100",
                       "ENDING(WHITE) = 1 ENDING(BLACK) = 1"));

    // Three knights: the material is worked out at run time.
    Exchange(engine, "loadfen 4k3/8/8/8/8/8/8/NNN1K3 w - - 0 1");
    EXPECT_EQ(Exchange(engine, "evl"),
              Printout("933", "PassedVector[BLACK] = 00000000 PassedVector[WHITE] = 00000000",
                       "current_phase = 224, black_phase = 256, white_phase = 192",
                       "Material[WHITE] = 900 thread_board.Material[BLACK] = 0 EvaluateMaterial() = -1020",
                       "ENDING(WHITE) = 1 ENDING(BLACK) = 1"));
    EXPECT_EQ(CloseAndWait(engine), 0);
}

} // namespace
