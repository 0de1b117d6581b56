// Piece terms and passed pawns, each shown on a position built for it; the king-and-pawn tables
// against the Syzygy table of the ending; the exchange-test shortcut of the attack maps against
// the full test.
#include <gtest/gtest.h>

#include <chrono>
#include <initializer_list>
#include <utility>

#include "board/attacks.h"
#include "board/ply.h"
#include "eval/evaluate.h"
#include "eval/kpk.h"
#include "eval/params.h"
#include "search/search.h"
#include "tablebases/tbprobe.h"
#include "tests/support/engine_setup.h"

namespace {

class PiecesPassedTest : public ::testing::Test {
  protected:
    void SetUp() override { FreshEngine(); }
    void TearDown() override { RestoreDefaultParameters(), BuildDerivedTables(), PackEvaluationTables(); }
};

int FullFromBlack(const std::string& fen) {
    Load(fen);
    EngineSide = thread_board.SideToMove;
    int result = EVAL_UNKNOWN;
    EvaluateFull(&result);
    return thread_eval_info.FinalScore;
}

// What the parameters add to the score of the position, from Black's view: the score with them
// at 40 less the score with them at 0. Their own values are put back.
int Effect(const std::string& fen, std::initializer_list<std::pair<int32_t*, int>> params) {
    std::vector<int32_t> saved;
    auto set = [&](int value) {
        for (auto [p, n] : params) std::fill(p, p + n, value);
        BuildDerivedTables();
        PackEvaluationTables();
    };
    for (auto [p, n] : params) saved.insert(saved.end(), p, p + n);
    set(0);
    const int without = FullFromBlack(fen);
    set(40);
    const int with = FullFromBlack(fen);
    size_t k = 0;
    for (auto [p, n] : params)
        for (int i = 0; i < n; i++) p[i] = saved[k++];
    BuildDerivedTables();
    PackEvaluationTables();
    return with - without;
}
template <size_t N> std::pair<int32_t*, int> All(int32_t (&table)[N]) {
    return {table, int(N)};
}
std::pair<int32_t*, int> One(int32_t& value) {
    return {&value, 1};
}

TEST_F(PiecesPassedTest, RooksQueensAndPins) {
    // Black's rook on the open d file; on its seventh rank only with White's king at home or a
    // white pawn there; the file term either way.
    EXPECT_GT(Effect("6k1/8/8/8/8/8/8/3r2K1 w - - 0 1", {All(RookOpenFileMg), All(RookOpenFileEg)}), 0);
    EXPECT_EQ(Effect("6k1/8/8/8/8/8/8/3r2K1 w - - 0 1", {All(RookHalfOpenMg), All(RookHalfOpenEg)}), 0);
    EXPECT_GT(Effect("6k1/8/8/8/8/3P4/8/3r2K1 w - - 0 1", {All(RookHalfOpenMg), All(RookHalfOpenEg)}), 0);
    EXPECT_GT(Effect("6k1/8/8/8/8/8/3r4/6K1 w - - 0 1", {One(RookOnSeventhMg), One(RookOnSeventhEg)}), 0);
    EXPECT_EQ(Effect("6k1/8/8/8/8/6K1/3r4/8 w - - 0 1", {One(RookOnSeventhMg), One(RookOnSeventhEg)}), 0);
    EXPECT_GT(Effect("6k1/8/8/8/8/6K1/3r4/8 w - - 0 1", {All(RookOpenFileMg), All(RookOpenFileEg)}), 0);
    EXPECT_GT(Effect("6k1/8/8/8/8/6K1/3r1P2/8 w - - 0 1", {One(RookOnSeventhMg), One(RookOnSeventhEg)}), 0);
    // A battery on the seventh, and a queen there beside a rook.
    EXPECT_GT(Effect("6k1/8/8/8/8/8/1r1r4/6K1 w - - 0 1", {One(RookSeventhBatteryMg), One(RookSeventhBatteryEg)}), 0);
    EXPECT_GT(Effect("6k1/8/8/8/8/8/1r1q4/6K1 w - - 0 1", {One(QueenSeventhBatteryMg), One(QueenSeventhBatteryEg)}), 0);
    // White's rook pins the knight to Black's king; a second man between breaks the pin.
    EXPECT_LT(Effect("4k3/8/8/4n3/8/8/8/4R1K1 w - - 0 1", {All(PinSourceMg[0]), All(PinSourceEg[0])}), 0);
    EXPECT_EQ(thread_eval_info.WeakMenMaps[BLACK], Bit(36));
    EXPECT_EQ(Effect("4k3/4p3/8/4n3/8/8/8/4R1K1 w - - 0 1", {All(PinSourceMg[0]), All(PinSourceEg[0])}), 0);
    EXPECT_EQ(Effect("4k3/8/8/4N3/8/8/8/4R1K1 w - - 0 1", {All(PinSourceMg[0]), All(PinSourceEg[0])}), 0); // its own man
    EXPECT_GT(Effect("3qk3/ppp5/8/8/1b6/2N5/PP3PPP/3QK3 w - - 0 1", {All(PinSourceMg[1]), All(PinSourceEg[1])}), 0);
    EXPECT_TRUE(thread_eval_info.WeakMenMaps[WHITE] & Bit(18));
}

TEST_F(PiecesPassedTest, KnightsAndBishops) {
    // Trapped: never on c3 to f6; in the corner with no square to go to, it pays.
    EXPECT_EQ(Effect("4k3/8/8/8/8/2n5/8/4K3 w - - 0 1", {One(KnightTrapStart)}), 0);
    EXPECT_LT(Effect("4k3/7p/8/8/8/1P6/2P5/n3K3 w - - 0 1", {One(KnightTrapStart)}), 0);
    EXPECT_EQ(Effect("4k3/8/8/8/8/8/8/n3K3 w - - 0 1", {One(KnightTrapStart)}), 0) << "room on the empty board";
    EXPECT_LT(Effect("4k3/7p/8/8/8/1P6/b7/4K3 w - - 0 1", {One(BishopTrappedMg), One(BishopTrappedEg)}), 0);
    EXPECT_GT(Effect("4k3/B7/1p6/8/8/8/7P/4K3 w - - 0 1", {One(BishopTrappedMg), One(BishopTrappedEg)}), 0) << "White's on a7";
    // Outposts: one defender and White's bishop on the square's colour contests it; two
    // defenders, or no such bishop, hold it. A white pawn that could attack the square spoils it.
    const char* contested = "4k3/8/8/4p3/3n4/8/8/2B1K3 w - - 0 1";
    EXPECT_GT(Effect(contested, {All(KnightOutpostContestedMg), All(KnightOutpostContestedEg)}), 0);
    EXPECT_EQ(Effect(contested, {All(KnightOutpostDefendedMg), All(KnightOutpostDefendedEg)}), 0);
    EXPECT_GT(Effect("4k3/8/8/2p1p3/3n4/8/8/2B1K3 w - - 0 1", {All(KnightOutpostDefendedMg), All(KnightOutpostDefendedEg)}), 0);
    EXPECT_GT(Effect("4k3/8/8/4p3/3n4/8/8/3BK3 w - - 0 1", {All(KnightOutpostDefendedMg), All(KnightOutpostDefendedEg)}), 0);
    EXPECT_EQ(Effect("4k3/8/8/4p3/3n4/8/2P5/3BK3 w - - 0 1", {All(KnightOutpostMg), All(KnightOutpostEg)}), 0);
    EXPECT_LT(Effect("4k3/p7/8/8/8/3N4/P7/4K3 w - - 0 1", {All(KnightOutpostMg), All(KnightOutpostEg)}), 0) << "White's from its third rank";
    // The fianchetto needs the pawn on g6 and g7 free of pawns.
    EXPECT_GT(Effect("5bk1/5p1p/6p1/8/8/8/5PPP/3QR1K1 b - - 0 1", {One(FianchettoKingMg), One(FianchettoKingEg)}), 0);
    EXPECT_EQ(Effect("5bk1/5ppp/6p1/8/8/8/5PPP/3QR1K1 b - - 0 1", {One(FianchettoKingMg), One(FianchettoKingEg)}), 0);
    // A lone bishop and its own pawns on its colour; both wings against a knight.
    EXPECT_LT(Effect("4k3/8/8/8/8/2p5/8/2b1K3 w - - 0 1", {One(BadBishopPawnMg), One(BadBishopPawnEg)}), 0);
    EXPECT_GT(Effect("4k3/p6p/8/8/8/8/P6P/1b2KN2 w - - 0 1", {One(BishopBothWingsMg), One(BishopBothWingsEg)}), 0);
    EXPECT_EQ(Effect("4k3/p6p/8/8/8/8/P6P/1b2KB2 w - - 0 1", {One(BishopBothWingsMg), One(BishopBothWingsEg)}), 0);
}

TEST_F(PiecesPassedTest, ThreatsLoosePawnsAndDevelopment) {
    // A knight attacked by a pawn, a rook by a knight though defended, an undefended bishop.
    FullFromBlack("4k3/8/8/3p4/4N3/8/8/4K3 w - - 0 1");
    EXPECT_EQ(thread_eval_info.ThreatCount[WHITE] * 10 + thread_eval_info.ThreatCount[BLACK], 10);
    FullFromBlack("4k3/8/8/4n3/8/3R3b/3K4/8 w - - 0 1");
    EXPECT_EQ(thread_eval_info.ThreatCount[WHITE] * 10 + thread_eval_info.ThreatCount[BLACK], 11);
    // The difference of the counts indexes the table; past eight it stays at the end.
    EXPECT_GT(Effect("4k3/8/8/3p4/4N3/8/7P/4K3 w - - 0 1", {{ThreatTableMg + 9, 8}}), 0);
    // A lone white pawn on e5 no pawn defends, White short of pieces (against two minors, which
    // can win, so that no drawn-ending rule hides it); one defended is no case.
    EXPECT_GT(Effect("4k2n/8/8/4P3/8/8/8/4K2b w - - 0 1", {{&LoosePawnTable[0][0][0], 144}}), 0);
    EXPECT_EQ(Effect("4k2n/8/8/4P3/8/8/8/R2QK3 w - - 0 1", {{&LoosePawnTable[0][0][0], 144}}), 0);
    // Every man at home: the class comes from the table and weighs the home pawns.
    DevelopmentTable[63] = 5;
    EXPECT_EQ(Effect("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", {All(HomePawnsMg), All(HomePawnsEg)}), 0);
    EXPECT_LT(Effect("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/R2QK2R w KQkq - 0 1", {All(HomePawnsMg), All(HomePawnsEg)}), 0);
    EXPECT_EQ(thread_eval_info.DevelopmentClass[BLACK] * 10 + thread_eval_info.DevelopmentClass[WHITE], 50);
}

TEST_F(PiecesPassedTest, PassedPawnsAndRaces) {
    // One value per file, for the pawn nearer to promotion.
    EXPECT_EQ(Effect("4k3/8/3p4/8/8/3p4/8/4K2R w - - 0 1", {All(PassedMg), All(PassedEg)}),
              Effect("4k3/8/8/8/8/3p4/8/4K2R w - - 0 1", {All(PassedMg), All(PassedEg)}));
    // Equal piece points read the middle force entry.
    EXPECT_GT(Effect("r3k3/8/8/8/3p4/8/8/4K2R w - - 0 1", {{PassedForceMg + 6, 1}, {PassedForceEg + 6, 1}}), 0);
    EXPECT_EQ(Effect("4k3/8/8/8/3p4/8/8/4K2R w - - 0 1", {{PassedForceMg + 6, 1}, {PassedForceEg + 6, 1}}), 0);
    // A rook behind its passer, seeing it.
    EXPECT_GT(Effect("4k3/8/8/3r4/3p4/8/8/4K2R w - - 0 1", {All(RookBehindPasserMg), All(RookBehindPasserEg)}), 0);
    EXPECT_EQ(Effect("4k3/8/3r4/3n4/3p4/8/8/4K2R w - - 0 1", {All(RookBehindPasserMg), All(RookBehindPasserEg)}), 0);
    // A lone knight far from a black pawn outside White's king's square: Black's runner alone.
    EXPECT_GT(Effect("4k3/8/8/8/p7/8/8/4K2N b - - 0 1", {All(RaceSource[6])}), 0);
    EXPECT_EQ(Effect("4k3/8/8/8/p7/8/8/4K2N w - - 0 1", {All(RaceSource[6])}), 0) << "the king catches it";
    EXPECT_EQ(Effect("4k3/8/8/8/p7/8/8/1N2K3 b - - 0 1", {All(RaceSource[6])}), 0) << "the knight catches it";
    // Two white pawns far apart against a lone king that stands in both squares.
    EXPECT_LT(Effect("8/8/2k5/P3P3/8/8/8/7K w - - 0 1", {All(RaceSource[6])}), 0);
    EXPECT_EQ(Effect("8/8/3k4/PP6/8/8/8/7K w - - 0 1", {All(RaceSource[6])}), 0) << "side by side";
    // Both queen together: White first, with check.
    EXPECT_LT(Effect("7k/P7/8/8/8/8/1p6/7K w - - 0 1", {All(RaceSource[1])}), 0);
    EXPECT_EQ(Effect("8/P5k1/8/8/8/8/1p6/7K w - - 0 1", {All(RaceSource[1])}), 0);
}

// Every legal position of king and pawn against king, White's pawn, either side to move: the
// table wins exactly where the Syzygy table says the pawn's side wins.
TEST_F(PiecesPassedTest, KingAndPawnAgainstKingAgreesWithTheTablebase) {
    const auto start = std::chrono::steady_clock::now();
    InitKpkTables();
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
#ifdef NDEBUG
    EXPECT_LT(ms, 300.0); // 100 ms on an idle machine; the tests share it
#endif
    std::snprintf(EgtbPath, EGTB_PATH_SIZE, "%s", DataPath("syzygy").c_str());
    Printed([] { OpenTablebases(); });
    const char* files = "abcdefgh";
    int checked = 0, wins = 0;
    for (int pawn = 8; pawn < 56; pawn++)
        for (int wk = 0; wk < 64; wk++)
            for (int bk = 0; bk < 64; bk++)
                for (int t = 0; t < 2; t++) {
                    if (wk == bk || wk == pawn || bk == pawn || (KingAttacks[wk] & Bit(bk))) continue;
                    if (t == 0 && (WhitePawnAttacks[pawn] & Bit(bk))) continue;
                    char board[64];
                    std::fill(board, board + 64, '1');
                    board[wk] = 'K', board[bk] = 'k', board[pawn] = 'P';
                    std::string fen;
                    for (int rank = 7; rank >= 0; rank--) {
                        fen.append(board + rank * 8, 8);
                        if (rank) fen += '/';
                    }
                    Load(fen + (t ? " b" : " w") + " - - 0 1");
                    int success = 0;
                    const int wdl = ProbeWdlInSearch(&success);
                    ASSERT_TRUE(success) << fen;
                    const bool won = t == 0 ? wdl > 0 : wdl < 0;
                    ASSERT_EQ(KpkBit(KpkExact, KpkIndex(t, pawn, wk, bk)), int(won))
                        << fen << (t ? " b" : " w") << " pawn on " << files[pawn & 7] << (pawn >> 3) + 1;
                    checked++;
                    wins += won;
                }
    std::printf("%d positions, %d won, tables built in %.1f ms\n", checked, wins, ms);
    std::snprintf(EgtbPath, EGTB_PATH_SIZE, "%s", "<empty>");
    Printed([] { OpenTablebases(); });
}

// Where the attack maps answer a capture's exchange test at once, the full test agrees.
TEST_F(PiecesPassedTest, TheMapShortcutAgreesWithTheExchangeTest) {
    int answered = 0;
    for (const std::string& fen : SuiteFens()) {
        FullFromBlack(fen);
        Ply                         = 1;
        PlyStack[Ply].AttackedBy[0] = thread_eval_info.AttackMaps[0];
        PlyStack[Ply].AttackedBy[1] = thread_eval_info.AttackMaps[1];
        for (Move m : LegalMoves()) {
            if (!CapturedPiece(m)) continue;
            const int args[5] = {MoveFrom(m), MoveTo(m), MovedPiece(m), CapturedPiece(m), PromotionPiece(m)};
            const int quick = SeeCore(args[0], args[1], args[2], args[3], args[4], true);
            ASSERT_EQ(quick, SeeCore(args[0], args[1], args[2], args[3], args[4], false)) << fen << " " << m;
            answered++;
        }
        PlyStack[Ply].AttackedBy[0] = PlyStack[Ply].AttackedBy[1] = 0;
        Ply                         = 0;
    }
    EXPECT_GT(answered, 5000);
}

} // namespace
