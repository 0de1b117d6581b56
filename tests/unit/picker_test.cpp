// The staged move picker against the generators, the quiet-check generator against a brute-force
// search for checks, and the cutoff memories that the picker reads back.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "frontend/command.h"
#include "frontend/input.h"
#include "board/ordering.h"
#include "search/picker.h"
#include "board/ply.h"
#include "search/root.h"
#include "tests/support/engine_setup.h"

namespace {

// Runs a generator above the current top and hands back what it entered.
template <typename Generator> std::vector<MoveEntry> Entries(Generator generate) {
    const int base = MoveListTop;
    generate();
    std::vector<MoveEntry> entries(MoveList + base, MoveList + MoveListTop);
    MoveListTop = base;
    return entries;
}

std::vector<Move> Sorted(const std::vector<MoveEntry>& entries) {
    std::vector<Move> moves;
    for (const MoveEntry& e : entries) moves.push_back(e.move);
    std::sort(moves.begin(), moves.end());
    return moves;
}

struct Batch {
    int stage;
    std::vector<MoveEntry> entries;
};

// Walks the stage machine of the node at Ply to its end, taking each batch by selection as the
// search does: falling stages, no empty batch, scores in falling order.
std::vector<Batch> Drain(int dropQuiets, int kind, int& memo, int goodCapturesOnly, int quietSubset) {
    const int base = MoveListTop;
    std::vector<Batch> batches;
    for (int stage = STAGE_START, guard = 0; guard < 12; guard++) {
        const int first = MoveListTop;
        const int next  = NextMoveBatch(stage, dropQuiets, kind, &memo, goodCapturesOnly, quietSubset);
        if (next == STAGE_DONE) break;
        EXPECT_LT(next, stage);
        EXPECT_GT(MoveListTop, first) << "stage " << next << " came with an empty batch";
        Batch batch{next, {}};
        for (int place = first; place < MoveListTop; place++) {
            PickMove(place, MoveListTop);
            if (place > first) {
                EXPECT_LE(MoveList[place].score, MoveList[place - 1].score);
            }
            batch.entries.push_back(MoveList[place]);
        }
        batches.push_back(batch);
        stage = next;
    }
    MoveListTop = base;
    return batches;
}

class PickerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        FreshEngine();
        IterationNumber = 20;
    }
    // The node at `ply` for the current position, in check or not as the board says.
    static PlyRecord& Node(int ply) {
        Ply          = ply;
        PlyStack[ply].InCheck = IsSquareAttacked(ChangeSide(thread_board.SideToMove), thread_board.KingSquare[thread_board.SideToMove]);
        return PlyStack[ply];
    }
};

// One node with random memories (mostly move words of other positions, as after a collision):
// every pseudo-legal move comes out once; in check exactly the evasions, which hold every legal move.
void CheckNode(std::mt19937& rng, std::vector<Move>& pool, PlyRecord& node) {
    const int us = thread_board.SideToMove;
    auto remembered = [&]() -> Move { return rng() % 4 == 0 || pool.empty() ? 0 : pool[rng() % pool.size()]; };
    node.ThreatMove  = rng() % 2 ? remembered() : 0;
    const Move last  = HistoryCount > 0 ? History[HistoryCount - 1].Move : 0;
    ThreatReply1[MoveTo(node.ThreatMove)][PieceIndex(MovedPiece(node.ThreatMove))][us] = remembered();
    ThreatReply2[MoveTo(node.ThreatMove)][PieceIndex(MovedPiece(node.ThreatMove))][us] = remembered();
    LastMoveReply1[MoveTo(last)][PieceIndex(MovedPiece(last))][us] = remembered();
    LastMoveReply2[MoveTo(last)][PieceIndex(MovedPiece(last))][us] = remembered();
    node.Killer1[us] = remembered();
    node.TriedCount  = 4; // leftovers of an earlier visit must not hide a move
    const int kind   = int(rng() % 2);
    int memo         = 0;
    const std::vector<Batch> batches = Drain(0, kind, memo, 0, 0);
    const std::vector<MoveEntry> pseudo = Entries([&] {
        GenerateCaptures(thread_board.Pieces[0][ChangeSide(us)]);
        GeneratePromotions();
        GenerateQuiet(kind);
    });
    const std::string where = PositionText(0);
    if (node.InCheck) {
        ASSERT_EQ(batches.size(), 1u) << where;
        ASSERT_EQ(batches[0].stage, STAGE_EVASIONS);
        const std::vector<Move> evasions = Sorted(batches[0].entries), all = Sorted(pseudo);
        EXPECT_EQ(std::adjacent_find(evasions.begin(), evasions.end()), evasions.end()) << where;
        EXPECT_TRUE(std::includes(all.begin(), all.end(), evasions.begin(), evasions.end())) << where;
        const std::vector<Move> legal = SlowLegalMoves();
        EXPECT_TRUE(std::includes(evasions.begin(), evasions.end(), legal.begin(), legal.end())) << where;
        return;
    }
    // The single-move stages come before the quiet batch, which repeats them: the search skips
    // those by TriedMoves.
    std::vector<MoveEntry> handedOut;
    for (const Batch& batch : batches) {
        if (batch.stage != STAGE_CAPTURES && batch.stage != STAGE_QUIET) {
            EXPECT_EQ(batch.entries.size(), 1u);
        }
        for (const MoveEntry& e : batch.entries)
            if (batch.stage != STAGE_QUIET || !std::count(node.TriedMoves, node.TriedMoves + node.TriedCount, e.move))
                handedOut.push_back(e);
    }
    EXPECT_EQ(Sorted(handedOut), Sorted(pseudo)) << where;
    for (const MoveEntry& e : pseudo)
        if (!CapturedPiece(e.move) && rng() % 5 == 0 && pool.size() < 400) pool.push_back(e.move);
}

TEST_F(PickerTest, EveryPseudoLegalMoveComesOutOnceInStageOrder) {
    std::mt19937 rng(20240611);
    std::vector<Move> pool;
    std::vector<PerftCase> cases = ReadPerft("perftsuite.epd");
    for (const PerftCase& c : ReadPerft("tricky.epd")) cases.push_back(c);
    int nodes = 0, inCheck = 0;
    for (const PerftCase& c : cases) {
        Load(c.fen);
        CheckNode(rng, pool, Node(0));
        for (Move move : LegalMoves()) {
            MakeMove(move, 1);
            PlyRecord& node = Node(1 + int(rng() % 6));
            inCheck += node.InCheck;
            CheckNode(rng, pool, node);
            nodes++;
            Ply = 0;
            UnmakeMove();
            if (HasFatalFailure()) return;
        }
    }
    EXPECT_GT(nodes, 1500);
    EXPECT_GT(inCheck, 100);
}

// The quiet checks are the safe quiet moves that give check, as a brute-force look finds them,
// with their quiet scores; left out are only castling that checks along the back rank and a king
// step next to the other king.
TEST_F(PickerTest, QuietChecksAreTheSafeQuietMovesThatCheck) {
    std::mt19937 rng(99);
    for (auto& table : MoveHistory)
        for (auto& byKind : table)
            for (auto& byClass : byKind)
                for (auto& entry : byClass) entry[0] = int(rng() % 32700), entry[1] = int(rng() % 32700);
    int positions = 0, checks = 0;
    auto compare = [&](int kind) {
        const int us = thread_board.SideToMove, them = ChangeSide(us), k = thread_board.KingSquare[them];
        std::map<Move, int> brute;
        for (const MoveEntry& e : Entries([&] { GenerateQuiet(kind); })) {
            if (e.see != 1) continue;
            MakeMove(e.move, 1);
            if (SlowSquareAttacked(thread_board.KingSquare[them], us)) brute[e.move] = e.score;
            UnmakeMove();
        }
        for (const MoveEntry& e : Entries([&] { GenerateQuietChecks(kind); })) {
            ASSERT_TRUE(brute.count(e.move)) << PositionText(0) << " not a safe quiet check: " << MoveText(e.move);
            EXPECT_EQ(e.score, brute[e.move]) << PositionText(0) << MoveText(e.move);
            EXPECT_EQ(e.see, 1);
            brute.erase(e.move);
            checks++;
        }
        for (const auto& [move, score] : brute) {
            const bool castling = MovedPiece(move) == KING && (MoveTo(move) ^ MoveFrom(move)) == 2;
            const bool contact  = MovedPiece(move) == KING && (KingAttacks[MoveTo(move)] & Bit(k));
            EXPECT_TRUE((castling && RankOf(k) == RankOf(MoveFrom(move))) || contact)
                << PositionText(0) << " missed: " << MoveText(move);
        }
        positions++;
    };
    for (const std::string& fen : SuiteFens()) {
        Load(fen);
        if (!Node(3).InCheck) compare(1);
        if (positions % 4) continue;
        for (Move move : LegalMoves()) { // one move later far more checks and discovered checks
            MakeMove(move, 1);
            if (!Node(4).InCheck) compare(int(move & 1));
            UnmakeMove();
        }
        if (HasFailure()) return;
    }
    EXPECT_GT(checks, 3000);
}

// The good captures are the captures of the full batch without the losing ones; the quiet subset is
// the quiet list without the losing moves, in the same order with the same scores.
TEST_F(PickerTest, SubsetsLeaveOutExactlyTheLosingMoves) {
    int dropped = 0;
    for (const EpdLine& line : ReadEpd("epd/wac.epd")) {
        Load(line.fen);
        if (Node(2).InCheck) continue;
        int memo = 0;
        const std::vector<Batch> full = Drain(0, 1, memo, 0, 0);
        memo                          = 0;
        const std::vector<Batch> good = Drain(0, 1, memo, 1, 0);
        std::vector<MoveEntry> kept;
        if (!full.empty() && full[0].stage == STAGE_CAPTURES)
            for (const MoveEntry& e : full[0].entries)
                if (e.see != 0 && CapturedPiece(e.move)) kept.push_back(e);
        std::vector<MoveEntry> goodCaptures;
        if (!good.empty() && good[0].stage == STAGE_CAPTURES)
            for (const MoveEntry& e : good[0].entries)
                if (CapturedPiece(e.move)) goodCaptures.push_back(e);
        EXPECT_EQ(Sorted(goodCaptures), Sorted(kept)) << line.fen;

        const std::vector<MoveEntry> all = Entries([] { GenerateQuiet(1); });
        const std::vector<MoveEntry> safe = Entries([] { GenerateSafeQuiet(1); });
        std::vector<MoveEntry> safeAll;
        for (const MoveEntry& e : all)
            if (e.see == 1) safeAll.push_back(e);
        ASSERT_EQ(safe.size(), safeAll.size()) << line.fen;
        for (size_t i = 0; i < safe.size(); i++) {
            EXPECT_EQ(safe[i].move, safeAll[i].move);
            EXPECT_EQ(safe[i].score, safeAll[i].score);
        }
        dropped += int(all.size() - safe.size());
    }
    EXPECT_GT(dropped, 300);
}

// A cutoff fills the killers, the replies to the last move, the follow-ups and the threat replies;
// the picker offers them back; history stays within its range; `clean` forgets them all.
TEST_F(PickerTest, CutoffMemoriesAreOfferedBackAndCleanForgetsThem) {
    SetStartPosition();
    Play({"e2e4", "e7e5"});
    PlyRecord& node = Node(3);
    node.ThreatMove = MakeMoveWord(59, 31, QUEEN); // ...Qd8-h4
    const Move nf3 = Find("g1f3"), nc3 = Find("b1c3");
    RecordCutoff(12, nc3, 1, 0, 1);
    RecordCutoff(12, nf3, 1, 0, 1);
    RecordCutoff(12, nf3, 1, 0, 1); // a repeat keeps the older move in second place
    EXPECT_EQ(node.Killer1[WHITE], nf3);
    EXPECT_EQ(node.Killer2[WHITE], nc3);
    EXPECT_EQ(LastMoveReply1[36][PieceIndex(PAWN)][WHITE], nf3);
    EXPECT_EQ(LastMoveReply2[36][PieceIndex(PAWN)][WHITE], nc3);
    EXPECT_EQ(FollowUp1[28][PieceIndex(PAWN)][WHITE], nf3);
    EXPECT_EQ(ThreatReply1[31][PieceIndex(QUEEN)][WHITE], nf3);
    int memo = 0;
    std::vector<Batch> batches = Drain(0, 1, memo, 0, 0);
    ASSERT_GE(batches.size(), 2u);
    EXPECT_EQ(batches[0].stage, STAGE_THREAT_REPLY1);
    EXPECT_EQ(batches[0].entries[0].move, nf3);
    node.ThreatMove = 0;
    batches         = Drain(0, 1, memo, 0, 0);
    EXPECT_EQ(batches[0].stage, STAGE_KILLER);
    EXPECT_EQ(batches[0].entries[0].move, nf3);
    EXPECT_GT(HistoryEntry(1, 1, nf3, WHITE), HistoryEntry(1, 1, nc3, WHITE));

    int& h = HistoryEntry(1, 1, nf3, WHITE);
    for (int i = 0; i < 500; i++) RecordCutoff(60, nf3, 1, 0, 1);
    EXPECT_LE(h, 32700);
    EXPECT_GT(h, 32000);
    for (int i = 0; i < 500; i++) PenalizeMove(60, nf3, 1, 0, 1);
    EXPECT_GE(h, 0);
    EXPECT_LT(h, 100);

    CommandLine = "clean";
    ExecuteCommand();
    EXPECT_EQ(node.Killer1[WHITE] | LastMoveReply1[36][PieceIndex(PAWN)][WHITE] |
                  FollowUp1[28][PieceIndex(PAWN)][WHITE] | ThreatReply1[31][PieceIndex(QUEEN)][WHITE],
              0u);
    RecordCutoff(12, nc3, 1, 0, 1);
    EXPECT_EQ(HistoryEntry(1, 1, nf3, WHITE), 0);
}

} // namespace
