// The staged move picker against the generators, the quiet-check generator against a brute-force
// search for checks, and the cutoff learning with the memories it feeds back to the picker.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "board/geometry.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/ordering.h"
#include "board/ply.h"
#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "frontend/command.h"
#include "frontend/game.h"
#include "frontend/input.h"
#include "frontend/settings.h"
#include "search/picker.h"
#include "search/root.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"
#include "tests/unit/slow_movegen.h"
#include "tests/unit/test_main_setup.h"

namespace {

void Load(const std::string& fen) {
    testing::internal::CaptureStdout();
    const bool ok         = SetFen(fen.c_str());
    const std::string out = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ok) << fen << out;
}

Move Word(const char* text) {
    return ParseCoordinateMove(text);
}

// The board part of each line: EPD suites and perft files alike.
std::vector<std::string> ReadPositions(const std::string& relative) {
    std::ifstream in(std::string(TESTDATA_DIR) + "/" + relative);
    std::vector<std::string> fens;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string board, side, castling, passant;
        if (!(fields >> board >> side >> castling >> passant)) continue;
        fens.push_back(board + " " + side + " " + castling + " " + passant + " 0 1");
    }
    return fens;
}

int Us() {
    return thread_board.SideToMove;
}
int Them() {
    return ChangeSide(thread_board.SideToMove);
}
bool SideToMoveInCheck() {
    return IsSquareAttacked(Them(), thread_board.KingSquare[Us()]);
}

bool GivesCheck(Move move) {
    const int us = Us();
    MakeMove(move, 1);
    const bool check = IsSquareAttacked(us, thread_board.KingSquare[ChangeSide(us)]);
    UnmakeMove();
    return check;
}

// Runs a generator above the current top and hands back what it entered.
template <typename Generator> std::vector<MoveEntry> Entries(Generator generate) {
    const int base = MoveListTop;
    generate();
    std::vector<MoveEntry> entries(MoveList + base, MoveList + MoveListTop);
    MoveListTop = base;
    return entries;
}

std::vector<Move> Words(const std::vector<MoveEntry>& entries) {
    std::vector<Move> moves;
    for (const MoveEntry& entry : entries) moves.push_back(entry.move);
    return moves;
}

bool Contains(const std::vector<Move>& moves, Move move) {
    return std::find(moves.begin(), moves.end(), move) != moves.end();
}

std::vector<Move> Sorted(std::vector<Move> moves) {
    std::sort(moves.begin(), moves.end());
    return moves;
}

struct Batch {
    int stage;
    std::vector<MoveEntry> entries;
};

// Walks the stage machine of the node at Ply to its end, taking each batch by selection as the
// search does, and checks what every caller relies on: falling stages, no empty batch.
std::vector<Batch> Drain(int dropQuiets, int kind, int& memo, int goodCapturesOnly, int quietSubset) {
    const int base = MoveListTop;
    std::vector<Batch> batches;
    int stage = STAGE_START;
    for (int guard = 0; guard < 12; guard++) {
        const int first = MoveListTop;
        const int next  = NextMoveBatch(stage, dropQuiets, kind, &memo, goodCapturesOnly, quietSubset);
        if (next == STAGE_DONE) {
            EXPECT_EQ(MoveListTop, first);
            break;
        }
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

std::vector<int> Stages(const std::vector<Batch>& batches) {
    std::vector<int> stages;
    for (const Batch& batch : batches) stages.push_back(batch.stage);
    return stages;
}

class PickerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        if (KingAttacks[0] == 0) GTEST_SKIP() << "geometry tables not built yet";
        ClearPlyStack();
        ClearMoveHistoryAndKillers();
        ClearReplyTablesAndCaptureStats();
        MoveListTop     = 0;
        IterationNumber = 20;
    }
    void TearDown() override {
        ClearPlyStack();
        ClearMoveHistoryAndKillers();
        ClearReplyTablesAndCaptureStats();
        MoveListTop = 0;
    }
    // The node at `ply` for the current position, in check or not as the board says.
    static PlyRecord& Node(int ply) {
        Ply             = ply;
        PlyRecord& node = PlyStack[ply];
        node.InCheck    = SideToMoveInCheck();
        return node;
    }
};

// ---------------------------------------------------------------------------------------------
// The stage machine hands out each move once

// One node with random memories: every pseudo-legal move comes out once (the quiet batch repeats
// the single moves, which the search skips by TriedMoves), the single moves in the stage order.
void CheckNode(std::mt19937& rng, std::vector<Move>& pool, PlyRecord& node) {
    const int us                   = Us();
    const std::vector<Move> quiets = Words(Entries([] { GenerateQuiet(1); }));
    auto remembered                = [&]() -> Move {
        switch (rng() % 4) {
        case 0: return 0;
        case 1: return quiets.empty() ? 0 : quiets[rng() % quiets.size()];
        default: return pool.empty() ? 0 : pool[rng() % pool.size()]; // mostly a word for another position
        }
    };
    node.ThreatMove   = rng() % 2 ? remembered() : 0;
    const Move threat = node.ThreatMove;
    const Move last   = HistoryCount > 0 ? History[HistoryCount - 1].Move : 0;
    Move& t1          = ThreatReply1[MoveTo(threat)][PieceIndex(MovedPiece(threat))][us];
    Move& t2          = ThreatReply2[MoveTo(threat)][PieceIndex(MovedPiece(threat))][us];
    Move& l1          = LastMoveReply1[MoveTo(last)][PieceIndex(MovedPiece(last))][us];
    Move& l2          = LastMoveReply2[MoveTo(last)][PieceIndex(MovedPiece(last))][us];
    t1 = remembered(), t2 = remembered(), node.Killer1[us] = remembered(), l1 = remembered(),
    l2 = remembered();
    // Leftovers of an earlier visit must not hide a move.
    node.TriedCount = 4;
    for (Move& move : node.TriedMoves) move = t2;

    const int kind                   = int(rng() % 2);
    int memo                         = 0;
    const std::vector<Batch> batches = Drain(0, kind, memo, 0, 0);
    const std::vector<Move> pseudo   = Words(Entries([&] {
        GenerateCaptures(thread_board.Pieces[0][Them()]);
        GeneratePromotions();
        GenerateQuiet(kind);
    }));
    std::string where                = PositionText(0);

    if (node.InCheck) {
        ASSERT_EQ(Stages(batches), std::vector<int>{STAGE_EVASIONS}) << where;
        EXPECT_EQ(node.TriedCount, 0);
        const std::vector<Move> evasions = Sorted(Words(batches[0].entries));
        EXPECT_EQ(std::adjacent_find(evasions.begin(), evasions.end()), evasions.end()) << where;
        for (Move move : evasions) EXPECT_TRUE(Contains(pseudo, move)) << where << MoveText(move);
        for (Move move : SlowLegalMoves()) EXPECT_TRUE(Contains(evasions, move)) << where << MoveText(move);
        return;
    }

    // The single moves expected, with playability judged by the full quiet list.
    std::vector<Batch> expected;
    std::vector<Move> tried;
    const std::pair<int, Move> candidates[] = {{STAGE_THREAT_REPLY1, threat ? t1 : 0},
                                               {STAGE_THREAT_REPLY2, threat ? t2 : 0},
                                               {STAGE_KILLER, node.Killer1[us]},
                                               {STAGE_LAST_MOVE_REPLY1, Ply >= 1 ? l1 : 0},
                                               {STAGE_LAST_MOVE_REPLY2, Ply >= 1 ? l2 : 0}};
    const std::vector<MoveEntry> captures   = Entries([&] {
        GenerateCaptures(thread_board.Pieces[0][Them()]);
        GeneratePromotions();
    });
    if (!captures.empty()) expected.push_back({STAGE_CAPTURES, captures});
    for (const auto& [stage, move] : candidates) {
        if (!move || Contains(tried, move) || !Contains(quiets, move)) continue;
        tried.push_back(move);
        expected.push_back({stage, {{move, 0, UNKNOWN_SEE}}});
    }
    if (!quiets.empty()) expected.push_back({STAGE_QUIET, {}});
    ASSERT_EQ(Stages(batches), Stages(expected)) << where;

    std::vector<Move> handedOut;
    for (size_t i = 0; i < batches.size(); i++) {
        const Batch& batch = batches[i];
        if (batch.stage != STAGE_CAPTURES && batch.stage != STAGE_QUIET) {
            ASSERT_EQ(batch.entries.size(), 1u);
            EXPECT_EQ(batch.entries[0].move, expected[i].entries[0].move)
                << where << " stage " << batch.stage;
            EXPECT_EQ(batch.entries[0].score, 0);
            EXPECT_EQ(batch.entries[0].see, UNKNOWN_SEE);
        }
        for (const MoveEntry& entry : batch.entries) {
            const bool skipped = batch.stage == STAGE_QUIET &&
                                 std::find(node.TriedMoves, node.TriedMoves + node.TriedCount, entry.move) !=
                                     node.TriedMoves + node.TriedCount;
            if (!skipped) handedOut.push_back(entry.move);
        }
    }
    EXPECT_EQ(node.TriedCount, int(tried.size()));
    EXPECT_EQ(Sorted(handedOut), Sorted(pseudo)) << where;
    EXPECT_EQ(memo, captures.empty() ? MEMO_NO_CAPTURE | MEMO_SKIP_CAPTURES : 0);

    for (size_t i = 0; i < quiets.size() && pool.size() < 400; i += 7) pool.push_back(quiets[i]);
}

TEST_F(PickerTest, EveryPseudoLegalMoveComesOutOnceInStageOrder) {
    std::mt19937 rng(20240611);
    std::vector<Move> pool;
    std::vector<std::string> fens         = ReadPositions("perft/perftsuite.epd");
    const std::vector<std::string> tricky = ReadPositions("perft/tricky.epd");
    fens.insert(fens.end(), tricky.begin(), tricky.end());
    ASSERT_GT(fens.size(), 150u);
    int nodes = 0, inCheck = 0;
    for (const std::string& fen : fens) {
        Load(fen);
        IterationNumber = 20;
        CheckNode(rng, pool, Node(0));
        GenerateLegalMoves(1000);
        std::vector<Move> moves;
        for (int i = 1000; i < MoveListTop; i++) moves.push_back(MoveList[i].move);
        MoveListTop = 0;
        for (Move move : moves) {
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

// ---------------------------------------------------------------------------------------------
// Edge cases of the stage machine

TEST_F(PickerTest, AMemoryThatCannotBePlayedIsPassedInTheSameCall) {
    SetStartPosition();
    MakeMove(Word("e2e4"), 1);
    PlyRecord& node     = Node(1);
    node.Killer1[BLACK] = MakeMoveWord(45, 35, KNIGHT); // Nf6-d5 of another game: no knight on f6
    const Move e4       = History[HistoryCount - 1].Move;
    LastMoveReply1[MoveTo(e4)][PieceIndex(PAWN)][BLACK] = Word("g8f6");
    int memo                                            = 0;
    EXPECT_EQ(NextMoveBatch(STAGE_START, 0, 1, &memo, 0, 0), STAGE_LAST_MOVE_REPLY1);
    ASSERT_EQ(MoveListTop, 1);
    EXPECT_EQ(MoveList[0].move, Word("g8f6"));
    EXPECT_EQ(memo, MEMO_NO_CAPTURE | MEMO_SKIP_CAPTURES);
    EXPECT_EQ(NextMoveBatch(STAGE_LAST_MOVE_REPLY1, 0, 1, &memo, 0, 0), STAGE_QUIET);
    EXPECT_EQ(MoveListTop, 1 + 20);
}

TEST_F(PickerTest, TheSameMoveInTwoMemoriesIsOfferedOnce) {
    SetStartPosition();
    MakeMove(Word("e2e4"), 1);
    PlyRecord& node                             = Node(1);
    const Move nf6                              = Word("g8f6");
    node.Killer1[BLACK]                         = nf6;
    LastMoveReply1[28][PieceIndex(PAWN)][BLACK] = nf6;
    LastMoveReply2[28][PieceIndex(PAWN)][BLACK] = Word("b8c6");
    int memo                                    = 0;
    const std::vector<Batch> batches            = Drain(0, 1, memo, 0, 0);
    EXPECT_EQ(Stages(batches), (std::vector<int>{STAGE_KILLER, STAGE_LAST_MOVE_REPLY2, STAGE_QUIET}));
    EXPECT_EQ(node.TriedCount, 2);
    EXPECT_EQ(node.TriedMoves[0], nf6);
}

TEST_F(PickerTest, ThreatRepliesComeFirstAndOnlyWithAThreat) {
    Load("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
    PlyRecord& node                             = Node(4);
    const Move threat                           = MakeMoveWord(42, 27, KNIGHT); // ...Nc6-d4
    ThreatReply1[27][PieceIndex(KNIGHT)][WHITE] = Word("f3d4");
    ThreatReply2[27][PieceIndex(KNIGHT)][WHITE] = Word("c2c3");
    node.Killer1[WHITE]                         = Word("c2c3");
    int memo                                    = 0;
    node.ThreatMove                             = threat;
    EXPECT_EQ(Stages(Drain(0, 1, memo, 0, 0)),
              (std::vector<int>{STAGE_CAPTURES, STAGE_THREAT_REPLY1, STAGE_THREAT_REPLY2, STAGE_QUIET}));
    node.ThreatMove = 0;
    EXPECT_EQ(Stages(Drain(0, 1, memo, 0, 0)), (std::vector<int>{STAGE_CAPTURES, STAGE_KILLER, STAGE_QUIET}));
}

TEST_F(PickerTest, DropQuietsEndsAfterTheSingleMovesWhenNoQuietCheckIsKnown) {
    // White can check with Bb5+ and Qh5 is no check; the killer is a quiet non-check.
    Load("rnbqkbnr/ppp2ppp/8/3pp3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 3");
    PlyRecord& node     = Node(2);
    node.Killer1[WHITE] = Word("g1f3");
    int memo            = MEMO_NO_QUIET_CHECK;
    EXPECT_EQ(Stages(Drain(1, 1, memo, 0, 0)), (std::vector<int>{STAGE_CAPTURES, STAGE_KILLER}));
    memo                             = 0;
    const std::vector<Batch> batches = Drain(1, 1, memo, 0, 0);
    ASSERT_EQ(Stages(batches), (std::vector<int>{STAGE_CAPTURES, STAGE_KILLER, STAGE_QUIET}));
    EXPECT_EQ(Words(batches[2].entries), std::vector<Move>{Word("f1b5")});
}

TEST_F(PickerTest, InCheckTheEvasionsAreTheOnlyBatch) {
    Load("rnbqkbnr/ppp2ppp/8/1B1pp3/4P3/8/PPPP1PPP/RNBQK1NR b KQkq - 1 3");
    PlyRecord& node     = Node(3);
    node.Killer1[BLACK] = Word("c7c6");
    node.TriedCount     = 3;
    int memo            = 0;
    EXPECT_EQ(NextMoveBatch(STAGE_START, 0, 1, &memo, 0, 0), STAGE_EVASIONS);
    const int top = MoveListTop;
    EXPECT_EQ(top, int(SlowLegalMoves().size()));
    EXPECT_EQ(node.TriedCount, 0);
    EXPECT_EQ(NextMoveBatch(STAGE_EVASIONS, 0, 1, &memo, 0, 0), STAGE_DONE);
    EXPECT_EQ(NextMoveBatch(STAGE_CAPTURES, 0, 1, &memo, 0, 0), STAGE_DONE);
    EXPECT_EQ(MoveListTop, top);
    EXPECT_EQ(memo, 0);
}

TEST_F(PickerTest, TheRootHasNoAnswersToTheLastMove) {
    SetStartPosition();
    MakeMove(Word("e2e4"), 1);
    LastMoveReply1[28][PieceIndex(PAWN)][BLACK] = Word("c7c5");
    LastMoveReply2[28][PieceIndex(PAWN)][BLACK] = Word("e7e5");
    int memo                                    = 0;
    Node(0);
    EXPECT_EQ(Stages(Drain(0, 1, memo, 0, 0)), std::vector<int>{STAGE_QUIET});
    Node(1);
    EXPECT_EQ(Stages(Drain(0, 1, memo, 0, 0)),
              (std::vector<int>{STAGE_LAST_MOVE_REPLY1, STAGE_LAST_MOVE_REPLY2, STAGE_QUIET}));
    // A stage below the single moves ends the machine at once.
    EXPECT_EQ(NextMoveBatch(STAGE_QUIET, 0, 1, &memo, 0, 0), STAGE_DONE);
    EXPECT_EQ(MoveListTop, 0);
}

TEST_F(PickerTest, GoodCapturesOnlyLeavesOutLosingCapturesAndKeepsTheMemoOpen) {
    // exd5 trades; Nxe5, Qxe5, Qxf7 and Qxh7 lose material.
    Load("r1bqkbnr/pppp1ppp/2n5/3pp2Q/4P3/5N2/PPPP1PPP/RNB1KB1R w KQkq - 0 4");
    Node(2);
    int memo                      = 0;
    const std::vector<Batch> full = Drain(0, 1, memo, 0, 0);
    const std::vector<Batch> good = Drain(0, 1, memo, 1, 0);
    ASSERT_EQ(full[0].stage, STAGE_CAPTURES);
    ASSERT_EQ(good[0].stage, STAGE_CAPTURES);
    int losing = 0;
    for (const MoveEntry& entry : full[0].entries) losing += entry.see == 0;
    EXPECT_GE(losing, 2);
    for (const MoveEntry& entry : good[0].entries) {
        EXPECT_EQ(entry.see, 1) << MoveText(entry.move);
        EXPECT_GE(entry.score, 0) << MoveText(entry.move); // nothing to defer behind the quiet moves
    }
    EXPECT_EQ(good[0].entries.size(), full[0].entries.size() - losing);

    // Only losing captures: the good generator finds none, but the full one must still run later.
    Load("4k3/8/8/8/2p5/3p4/8/3QK3 w - - 0 1"); // Qxd3 alone, and c4 takes back
    Node(2);
    memo = 0;
    EXPECT_EQ(Stages(Drain(0, 1, memo, 1, 0)), std::vector<int>{STAGE_QUIET});
    EXPECT_EQ(memo, MEMO_NO_CAPTURE);
    EXPECT_EQ(Drain(0, 1, memo, 0, 0)[0].stage, STAGE_CAPTURES);

    // The full generator's "nothing" is remembered and skips capture generation next time.
    Load("4k3/8/8/8/8/8/3P4/4K3 w - - 0 1");
    Node(2);
    memo = 0;
    EXPECT_EQ(Stages(Drain(0, 1, memo, 0, 0)), std::vector<int>{STAGE_QUIET});
    EXPECT_EQ(memo, MEMO_NO_CAPTURE | MEMO_SKIP_CAPTURES);
    Load("4k3/8/8/7n/8/8/8/4K2R w - - 0 1"); // Rxh5 exists now, but the memo says not to look
    Node(2);
    EXPECT_EQ(Stages(Drain(0, 1, memo, 0, 0)), std::vector<int>{STAGE_QUIET});
}

TEST_F(PickerTest, FarFromTheRootOnlyQueenAndCheckingKnightPromotions) {
    IterationNumber = 10;
    auto promotions = [](int ply, int goodOnly) {
        Node(ply);
        int memo                         = 0;
        const std::vector<Batch> batches = Drain(0, 1, memo, goodOnly, 0);
        EXPECT_EQ(batches[0].stage, STAGE_CAPTURES);
        std::vector<Move> moves;
        for (const MoveEntry& entry : batches[0].entries) moves.push_back(entry.move);
        return moves;
    };
    const Move q = MakeMoveWord(52, 60, PAWN, 0, QUEEN), r = MakeMoveWord(52, 60, PAWN, 0, ROOK);
    const Move n = MakeMoveWord(52, 60, PAWN, 0, KNIGHT), b = MakeMoveWord(52, 60, PAWN, 0, BISHOP);
    // e8=N would check the king on f6.
    Load("8/4P3/5k2/8/8/8/8/K7 w - - 0 1");
    EXPECT_EQ(Sorted(promotions(12, 0)), Sorted({q, n}));
    EXPECT_EQ(Sorted(promotions(12, 1)), Sorted({q, n}));
    // Near the root all four, in the order the search tries equal scores.
    Node(5);
    const std::vector<MoveEntry> near = Entries([] {
        int memo = 0;
        NextMoveBatch(STAGE_START, 0, 1, &memo, 0, 0);
    });
    EXPECT_EQ(Words(near), (std::vector<Move>{q, r, n, b}));
    // No check from e8: the queen alone.
    Load("8/4P3/8/2k5/8/8/8/K7 w - - 0 1");
    EXPECT_EQ(promotions(12, 0), std::vector<Move>{q});
    EXPECT_EQ(promotions(12, 1), std::vector<Move>{q});
    EXPECT_EQ(promotions(5, 0).size(), 4u);
    // Captures that promote keep all four at any distance.
    Load("3r4/4P3/8/2k5/8/8/8/K7 w - - 0 1");
    EXPECT_EQ(promotions(12, 0).size(), 4u + 1u);
}

TEST_F(PickerTest, TheQuietSubsetIsTheQuietListWithoutLosingMoves) {
    std::mt19937 rng(7);
    for (auto& entry : MoveHistory[0][0][0]) entry[0] = entry[1] = int(rng() % 32700);
    std::memcpy(MoveHistory[1], MoveHistory[0], sizeof MoveHistory[0]);
    for (auto& entry : MoveHistory[1][1][1]) entry[0] = entry[1] = int(rng() % 32700);
    int compared = 0;
    for (const std::string& fen : ReadPositions("epd/wac.epd")) {
        Load(fen);
        Node(3);
        const std::vector<MoveEntry> all  = Entries([] { GenerateQuiet(1); });
        const std::vector<MoveEntry> safe = Entries([] { GenerateSafeQuiet(1); });
        std::vector<MoveEntry> kept;
        for (const MoveEntry& entry : all)
            if (entry.see == 1) kept.push_back(entry);
        ASSERT_EQ(safe.size(), kept.size()) << fen;
        for (size_t i = 0; i < safe.size(); i++) {
            EXPECT_EQ(safe[i].move, kept[i].move);
            EXPECT_EQ(safe[i].score, kept[i].score);
        }
        compared += int(all.size() - safe.size());
        int memo                         = 0;
        const std::vector<Batch> batches = Drain(0, 1, memo, 0, 1);
        if (!batches.empty() && batches.back().stage == STAGE_QUIET) {
            EXPECT_EQ(Sorted(Words(batches.back().entries)), Sorted(Words(kept)));
        }
    }
    EXPECT_GT(compared, 300); // enough losing quiet moves were dropped to mean something
}

TEST_F(PickerTest, SelectionTakesTheHighestScoreAndTheEarliestOfATie) {
    const Move a = 1, b = 2, c = 3, d = 4;
    MoveList[0] = {a, 5, 1};
    MoveList[1] = {b, 5, 1};
    MoveList[2] = {c, 9, 1};
    MoveList[3] = {d, -3, 0};
    std::vector<Move> order;
    for (int place = 0; place < 4; place++) order.push_back(PickMove(place, 4));
    // c comes to the front by a swap with a, so b now stands before a and wins the tie.
    EXPECT_EQ(order, (std::vector<Move>{c, b, a, d}));
}

// ---------------------------------------------------------------------------------------------
// Quiet checks

struct QuietCheckTally {
    int positions = 0, checks = 0, discovered = 0, castlingMissed = 0, kingContacts = 0;
};

void CompareQuietChecks(QuietCheckTally& tally, int kind) {
    const int us = Us(), them = Them();
    const std::vector<MoveEntry> offered = Entries([&] { GenerateQuietChecks(kind); });
    std::map<Move, int> brute; // quiet, no loss by the exchange test, check: the move and its score
    for (const MoveEntry& entry : Entries([&] { GenerateQuiet(kind); }))
        if (entry.see == 1 && GivesCheck(entry.move)) brute[entry.move] = entry.score;
    const std::string where = PositionText(0);
    std::vector<Move> seen;
    for (const MoveEntry& entry : offered) {
        const Move move = entry.move;
        EXPECT_FALSE(Contains(seen, move)) << where << " twice: " << MoveText(move);
        seen.push_back(move);
        EXPECT_EQ(thread_board.Board[MoveTo(move)], EMPTY) << where << MoveText(move);
        EXPECT_EQ(CapturedPiece(move) | PromotionPiece(move), 0) << where << MoveText(move);
        EXPECT_EQ(entry.see, 1) << where << MoveText(move);
        EXPECT_TRUE(GivesCheck(move)) << where << MoveText(move);
        MakeMove(move, 1);
        tally.discovered +=
            (AttackersOfSquareBy(us, thread_board.KingSquare[them]) & ~Bit(MoveTo(move))) != 0;
        UnmakeMove();
        const auto found = brute.find(move);
        if (found == brute.end()) {
            ADD_FAILURE() << where << " not a safe quiet check: " << MoveText(move);
            continue;
        }
        EXPECT_EQ(entry.score, found->second) << where << MoveText(move);
    }
    // What the generator leaves out: castling whose rook checks along the back rank through the
    // square the king has just left (the rook's check is judged with the king at home), and a king
    // step next to the other king, which attacks it but can never be played.
    const int k = thread_board.KingSquare[them];
    for (const auto& [move, score] : brute) {
        if (Contains(seen, move)) continue;
        const bool castling = MovedPiece(move) == KING && (MoveTo(move) ^ MoveFrom(move)) == 2;
        const bool backRank = RankOf(k) == (us == WHITE ? 0 : 7);
        if (castling && backRank)
            tally.castlingMissed++;
        else if (MovedPiece(move) == KING && (KingAttacks[MoveTo(move)] & Bit(k)))
            tally.kingContacts++;
        else
            ADD_FAILURE() << where << " missed: " << MoveText(move);
    }
    tally.positions++;
    tally.checks += int(offered.size());
}

TEST_F(PickerTest, QuietChecksAgainstAllSafeQuietChecksOfTheTestSuites) {
    std::mt19937 rng(99);
    for (auto& table : MoveHistory)
        for (auto& byKind : table)
            for (auto& byClass : byKind)
                for (auto& entry : byClass) entry[0] = int(rng() % 32700), entry[1] = int(rng() % 32700);
    QuietCheckTally tally;
    for (const char* suite :
         {"epd/bratko-kopec.epd", "epd/ccr-one-hour.epd", "epd/ecm.epd", "epd/sts1-15_lan_v3.epd",
          "epd/wac.epd", "perft/perftsuite.epd", "perft/tricky.epd"}) {
        const std::vector<std::string> fens = ReadPositions(suite);
        ASSERT_FALSE(fens.empty()) << suite;
        for (const std::string& fen : fens) {
            Load(fen);
            Node(3);
            if (!PlyStack[3].InCheck) CompareQuietChecks(tally, 1);
            // The positions one move later give far more checks and discovered checks.
            GenerateLegalMoves(1000);
            std::vector<Move> moves;
            for (int i = 1000; i < MoveListTop; i++) moves.push_back(MoveList[i].move);
            MoveListTop = 0;
            for (Move move : moves) {
                MakeMove(move, 1);
                if (!Node(4).InCheck) CompareQuietChecks(tally, int(move & 1));
                UnmakeMove();
            }
            if (HasFailure()) return;
        }
    }
    std::printf("quiet checks: %d positions, %d checks (%d discovered); left out %d back-rank castling "
                "checks and %d king "
                "steps next to the other king\n",
                tally.positions, tally.checks, tally.discovered, tally.castlingMissed, tally.kingContacts);
    EXPECT_GT(tally.positions, 50000);
    EXPECT_GT(tally.checks, 10000);
    EXPECT_GT(tally.discovered, 100);
}

TEST_F(PickerTest, QuietChecksFindDiscoveriesAndLeaveOutBackRankCastling) {
    struct Case {
        const char* fen;
        std::vector<const char*> checks; // in generation order
    };
    const Case cases[] = {
        // Rook in front of the bishop: every rook move uncovers; the knight only checks directly.
        {"7k/8/8/8/3R4/8/1B6/K3N3 w - - 0 1",
         {"d4d3", "d4d2", "d4d1", "d4a4", "d4b4", "d4c4", "d4e4", "d4f4", "d4g4", "d4h4", "d4d5", "d4d6",
          "d4d7", "d4d8"}},
        {"7k/8/8/8/3R4/8/1B6/K5N1 w - - 0 1",
         {"d4d3", "d4d2", "d4d1", "d4a4", "d4b4", "d4c4", "d4e4", "d4f4", "d4g4", "d4h4", "d4d5", "d4d6",
          "d4d7", "d4d8"}},
        {"7k/8/8/4N3/8/8/1B6/K7 w - - 0 1", {"e5c4", "e5c6", "e5d3", "e5d7", "e5f3", "e5f7", "e5g4", "e5g6"}},
        {"7k/8/8/8/8/8/8/K5N1 w - - 0 1", {}},
        {"7k/8/3N4/8/7N/8/8/K7 w - - 0 1", {"d6f7", "h4g6"}},
        // A pawn on the king's rank before a rook: both steps. The king before a bishop: off the diagonal.
        {"8/8/8/8/8/8/R1P4k/K7 w - - 0 1", {"c2c3", "c2c4"}},
        {"7k/8/8/8/8/8/1K6/B7 w - - 0 1", {"b2a2", "b2c2", "b2a3", "b2b3", "b2b1", "b2c1"}},
        // Double step onto a checking square against a king on the fifth rank.
        {"8/8/8/4k3/8/2P5/3P4/K7 w - - 0 1", {"d2d4"}},
        {"8/8/8/4k3/8/8/3P4/K7 w - - 0 1", {}}, // the king takes it
        // Castling checks up the f-file and the d-file.
        {"5k2/8/8/8/8/8/8/4K2R w K - 0 1", {"h1h8", "h1f1", "e1g1"}},
        {"3k4/8/8/8/8/8/8/R3K3 w Q - 0 1", {"a1a8", "a1d1", "e1c1"}},
        {"r3k3/8/8/8/8/8/8/3K4 b q - 0 1", {"a8a1", "a8d8", "e8c8"}},
        // Along the back rank castling is not seen (the rook is judged with the king at home); the
        // king's own steps off the rank are.
        {"8/8/8/8/8/8/8/R3K1k1 w Q - 0 1", {"e1d2", "e1e2", "e1f2"}},
    };
    for (const Case& c : cases) {
        Load(c.fen);
        Node(3);
        std::vector<Move> expected;
        for (const char* text : c.checks) expected.push_back(Word(text));
        EXPECT_EQ(Sorted(Words(Entries([] { GenerateQuietChecks(1); }))), Sorted(expected)) << c.fen;
    }
    Load("8/8/8/8/8/8/8/R3K1k1 w Q - 0 1");
    EXPECT_TRUE(GivesCheck(Word("e1c1"))); // a real check, and the one kind the generator skips
}

// ---------------------------------------------------------------------------------------------
// Learning from cutoffs

TEST_F(PickerTest, HistoryMovesAShareOfTheWayByDepth) {
    Load("4k3/8/8/8/8/8/8/4K1N1 w - - 0 1");
    Node(2);
    const Move nf3 = Word("g1f3");
    int& h         = HistoryEntry(1, 1, nf3, WHITE);
    RecordCutoff(0, nf3, 1, 0, 1);
    EXPECT_EQ(h, 479); // 32700 * 15 / 1024
    RecordCutoff(3, nf3, 1, 0, 1);
    EXPECT_EQ(h, 479 + 471); // still depth class 0
    h = 0;
    RecordCutoff(4, nf3, 1, 0, 1);
    EXPECT_EQ(h, 1820);
    h = 0;
    RecordCutoff(63, nf3, 1, 0, 1);
    EXPECT_EQ(h, 9516);
    h = 0;
    RecordCutoff(4000, nf3, 1, 0, 1);
    EXPECT_EQ(h, 9516); // the last class holds for any depth beyond it
    h = 0;
    RecordCutoff(-20, nf3, 1, 0, 1);
    EXPECT_EQ(h, 479);

    h = 10000;
    PenalizeMove(20, nf3, 1, 0, 1);
    EXPECT_EQ(h, 8047);
    h = 32700;
    PenalizeMove(60, nf3, 1, 0, 1);
    EXPECT_EQ(h, 23184);

    // Neither way leaves the range: a cutoff never passes 32700, a failure never goes below 0.
    h = 0;
    for (int i = 0; i < 500; i++) RecordCutoff(60, nf3, 1, 0, 1);
    EXPECT_LE(h, 32700);
    EXPECT_GE(h, 32697);
    for (int i = 0; i < 500; i++) PenalizeMove(60, nf3, 1, 0, 1);
    EXPECT_GE(h, 0);
    EXPECT_LE(h, 3);
}

TEST_F(PickerTest, TheLearntEntryFollowsVerdictKindCheckAndPiece) {
    // Black to move; d5 is attacked by the pawn on e4, e6 is not.
    Load("4k3/8/2n5/8/4P3/8/8/4K3 b - - 0 1");
    Node(2);
    const Move nd4 = Word("c6d4"), nb4 = Word("c6b4"), kd7 = Word("e8d7");
    RecordCutoff(8, nd4, 0, 0, 1);
    EXPECT_EQ(HistoryEntry(1, 0, nd4, BLACK), 3800); // class 2: 32700 * 119 / 1024
    RecordCutoff(8, nd4, 3, 0, 0);                   // only the low bit of kind counts
    EXPECT_EQ(HistoryEntry(0, 1, nd4, BLACK), 3800);
    RecordCutoff(8, nd4, 1, 1, 0); // in check: the evasion slot, whatever the kind
    EXPECT_EQ(HistoryEntry(0, 2, nd4, BLACK), 3800);
    EXPECT_EQ(HistoryEntry(0, 1, nd4, BLACK), 3800);
    // An open verdict is found here: the knight on d5 would be lost, on b4 it is safe.
    const Move nd5 = Word("c6d5");
    RecordCutoff(8, nd5, 1, 0, UNKNOWN_SEE);
    EXPECT_EQ(HistoryEntry(0, 1, nd5, BLACK), 3800);
    EXPECT_EQ(HistoryEntry(1, 1, nd5, BLACK), 0);
    RecordCutoff(8, nb4, 1, 0, UNKNOWN_SEE);
    EXPECT_EQ(HistoryEntry(1, 1, nb4, BLACK), 3800);
    // A king move counts as safe without a test.
    RecordCutoff(8, kd7, 1, 0, UNKNOWN_SEE);
    EXPECT_EQ(HistoryEntry(1, 1, kd7, BLACK), 3800);
    // The king and the knight share one class but never a from-to pair; the white side has its own.
    EXPECT_EQ(MoveHistory[1][1][0][kd7 & 0xFFF][BLACK], 3800);
    EXPECT_EQ(MoveHistory[1][1][0][kd7 & 0xFFF][WHITE], 0);

    // En passant counts as safe even where the exchange test would call it losing.
    Load("4k3/8/8/8/5p2/8/3PP3/4K3 w - - 0 1");
    MakeMove(Word("e2e4"), 1);
    Node(2);
    const Move ep = Word("f4e3");
    ASSERT_EQ(SeeNotLosing(ep), 0);
    HistoryEntry(1, 1, ep, BLACK) = 1000;
    PenalizeMove(8, ep, 1, 0, UNKNOWN_SEE);
    EXPECT_EQ(HistoryEntry(1, 1, ep, BLACK), 1000 - ((119 * 1000) >> 10));
    EXPECT_EQ(HistoryEntry(0, 1, ep, BLACK), 0);
}

TEST_F(PickerTest, ACutoffFillsTheMemoriesThatThePickerReadsBack) {
    SetStartPosition();
    MakeMove(Word("e2e4"), 1);
    MakeMove(Word("e7e5"), 1);
    PlyRecord& node   = Node(3);
    const Move threat = MakeMoveWord(59, 31, QUEEN); // ...Qd8-h4
    node.ThreatMove   = threat;
    const Move nf3 = Word("g1f3"), nc3 = Word("b1c3");

    RecordCutoff(12, nc3, 1, 0, 1);
    RecordCutoff(12, nf3, 1, 0, 1);
    RecordCutoff(12, nf3, 1, 0, 1); // a repeat keeps the older move in second place
    EXPECT_EQ(node.Killer1[WHITE], nf3);
    EXPECT_EQ(node.Killer2[WHITE], nc3);
    EXPECT_EQ(node.Killer1[BLACK], 0u);
    EXPECT_EQ(LastMoveReply1[36][PieceIndex(PAWN)][WHITE], nf3); // after ...e5
    EXPECT_EQ(LastMoveReply2[36][PieceIndex(PAWN)][WHITE], nc3);
    EXPECT_EQ(FollowUp1[28][PieceIndex(PAWN)][WHITE], nf3); // after own e4
    EXPECT_EQ(FollowUp2[28][PieceIndex(PAWN)][WHITE], nc3);
    EXPECT_EQ(ThreatReply1[31][PieceIndex(QUEEN)][WHITE], nf3);
    EXPECT_EQ(ThreatReply2[31][PieceIndex(QUEEN)][WHITE], nc3);
    for (const auto& byTo : EvasionReply1)
        for (const auto& byKing : byTo) EXPECT_EQ(byKing[WHITE] | byKing[BLACK], 0u);

    // The picker offers them back: threat replies first, the killer already tried.
    int memo                   = 0;
    std::vector<Batch> batches = Drain(0, 1, memo, 0, 0);
    EXPECT_EQ(Stages(batches), (std::vector<int>{STAGE_THREAT_REPLY1, STAGE_THREAT_REPLY2, STAGE_QUIET}));
    // Another node after the same two moves reads the follow-up bonus into the quiet scores.
    node.ThreatMove     = 0;
    node.Killer1[WHITE] = node.Killer2[WHITE] = 0;
    batches                                   = Drain(0, 1, memo, 0, 0);
    ASSERT_EQ(Stages(batches),
              (std::vector<int>{STAGE_LAST_MOVE_REPLY1, STAGE_LAST_MOVE_REPLY2, STAGE_QUIET}));
    const int h = HistoryEntry(1, 1, nf3, WHITE);
    EXPECT_EQ(batches[2].entries[0].move, nf3);
    EXPECT_EQ(batches[2].entries[0].score, h + ((h * 148) >> 8));

    // Without a game record only the killers learn.
    ClearReplyTablesAndCaptureStats();
    Load("4k3/8/8/8/8/8/8/4K1N1 w - - 0 1");
    ASSERT_EQ(HistoryCount, 0);
    PlyRecord& fresh = Node(5);
    fresh.ThreatMove = 0;
    RecordCutoff(12, nf3, 1, 0, 1);
    EXPECT_EQ(fresh.Killer1[WHITE], nf3);
    for (int to = 0; to < 64; to++)
        for (int piece = 0; piece < 7; piece++) {
            EXPECT_EQ(LastMoveReply1[to][piece][WHITE] | FollowUp1[to][piece][WHITE] |
                          ThreatReply1[to][piece][WHITE],
                      0u);
        }
}

TEST_F(PickerTest, InCheckACutoffTeachesOnlyTheEvasionReplies) {
    Load("4k3/8/8/8/8/8/8/R4K2 w - - 0 1");
    MakeMove(Word("a1e1"), 1);
    PlyRecord& node = Node(3);
    ASSERT_TRUE(node.InCheck);
    node.ThreatMove = Word("e8d8");
    const Move kd7 = Word("e8d7"), kf7 = Word("e8f7"), kf8 = Word("e8f8");
    RecordCutoff(8, kf7, 1, 1, 1);
    RecordCutoff(8, kd7, 1, 1, UNKNOWN_SEE);
    EXPECT_EQ(EvasionReply1[4][60][BLACK], kd7); // after Re1+ to e1, king on e8
    EXPECT_EQ(EvasionReply2[4][60][BLACK], kf7);
    EXPECT_EQ(HistoryEntry(1, 2, kd7, BLACK), 3800);
    EXPECT_EQ(HistoryEntry(1, 1, kd7, BLACK), 0);
    EXPECT_EQ(node.Killer1[BLACK] | node.Killer2[BLACK], 0u);
    EXPECT_EQ(LastMoveReply1[4][PieceIndex(ROOK)][BLACK], 0u);
    EXPECT_EQ(FollowUp1[0][0][BLACK], 0u);
    EXPECT_EQ(ThreatReply1[59][PieceIndex(KING)][BLACK], 0u);

    // The evasion generator reads them back as bonuses.
    int memo                         = 0;
    const std::vector<Batch> batches = Drain(0, 1, memo, 0, 0);
    ASSERT_EQ(Stages(batches), std::vector<int>{STAGE_EVASIONS});
    ASSERT_EQ(batches[0].entries.size(), 4u); // Kd7, Kd8, Kf7, Kf8
    EXPECT_EQ(batches[0].entries[0].move, kd7);
    EXPECT_EQ(batches[0].entries[0].score, 3800 + 80000);
    EXPECT_EQ(batches[0].entries[1].move, kf7);
    EXPECT_EQ(batches[0].entries[1].score, 3800 + 40000);
    for (const MoveEntry& entry : batches[0].entries)
        if (entry.move == kf8) {
            EXPECT_EQ(entry.score, 0);
        }
}

TEST_F(PickerTest, APenaltyChangesOneEntryAndNothingElse) {
    SetStartPosition();
    MakeMove(Word("d2d4"), 1);
    MakeMove(Word("d7d5"), 1);
    PlyRecord& node = Node(2);
    node.ThreatMove = Word("c8f5");
    std::mt19937 rng(5);
    for (auto& table : MoveHistory)
        for (auto& byKind : table)
            for (auto& byClass : byKind)
                for (auto& entry : byClass) entry[0] = int(rng() % 32700), entry[1] = int(rng() % 32700);
    const Move bf4 = Word("c1f4");
    std::vector<int> before(sizeof MoveHistory / sizeof(int));
    std::memcpy(before.data(), MoveHistory, sizeof MoveHistory);
    int& h        = HistoryEntry(1, 1, bf4, WHITE);
    const int old = h;
    PenalizeMove(16, bf4, 1, 0, UNKNOWN_SEE);
    EXPECT_EQ(h, old - ((181 * old) >> 10));
    h = old;
    EXPECT_EQ(std::memcmp(before.data(), MoveHistory, sizeof MoveHistory), 0);
    EXPECT_EQ(node.Killer1[WHITE] | node.Killer2[WHITE], 0u);
    for (int to = 0; to < 64; to++)
        for (int piece = 0; piece < 7; piece++)
            EXPECT_EQ(LastMoveReply1[to][piece][WHITE] | FollowUp1[to][piece][WHITE] |
                          ThreatReply1[to][piece][WHITE],
                      0u);
}

// ---------------------------------------------------------------------------------------------
// The clean command forgets what the ordering learnt

TEST_F(PickerTest, CleanClearsKillersHistoryRepliesAndCaptureStats) {
    SetStartPosition();
    MakeMove(Word("e2e4"), 1);
    MakeMove(Word("e7e5"), 1);
    PlyRecord& node = Node(7);
    node.ThreatMove = Word("d8h4");
    RecordCutoff(40, Word("g1f3"), 1, 0, 1);
    CaptureStatsTries[1234] = CaptureStatsSuccesses[1234] = CaptureStatsStamp[1234] = 9;
    EvasionReply2[3][4][BLACK]                                                      = 77;
    CommandLine                                                                     = "clean";
    ExecuteCommand();
    EXPECT_EQ(node.Killer1[WHITE], 0u);
    EXPECT_EQ(HistoryEntry(1, 1, Word("g1f3"), WHITE), 0);
    EXPECT_EQ(LastMoveReply1[36][PieceIndex(PAWN)][WHITE], 0u);
    EXPECT_EQ(FollowUp1[28][PieceIndex(PAWN)][WHITE], 0u);
    EXPECT_EQ(ThreatReply1[31][PieceIndex(QUEEN)][WHITE], 0u);
    EXPECT_EQ(EvasionReply2[3][4][BLACK], 0u);
    EXPECT_EQ(CaptureStatsTries[1234] | CaptureStatsSuccesses[1234] | CaptureStatsStamp[1234], 0);
}

} // namespace
