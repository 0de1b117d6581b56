// The board against oracles: published perft counts, a plain square-walking generator, a fresh
// recount of every incremental field, FEN round trips, and the cases generators usually get wrong.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <set>
#include <tuple>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "search/extensions.h"
#include "board/ply.h"
#include "tests/support/engine_setup.h"
#include "tools/perft.h"

namespace {

class MoveGenTest : public ::testing::Test {
  protected:
    void SetUp() override { FreshEngine(); }
};
using BoardTest = MoveGenTest;

// Each position to the deepest depth whose count stays under VELUMBRAK_PERFT_LIMIT leaves
// (default 3 million; 0 means every depth the file gives).
void RunPerftFile(const std::string& name) {
    const char* env              = std::getenv("VELUMBRAK_PERFT_LIMIT");
    const uint64_t limit         = env ? std::strtoull(env, nullptr, 10) : 3000000;
    const std::vector<PerftCase> cases = ReadPerft(name);
    ASSERT_GT(cases.size(), 30u);
    for (const PerftCase& c : cases) {
        Load(c.fen);
        for (size_t d = 1; d <= c.counts.size() && !(limit && c.counts[d - 1] > limit); d++) {
            NodeCount   = 0;
            MoveListTop = 0;
            Perft(int(d));
            ASSERT_EQ(NodeCount, c.counts[d - 1]) << c.fen << " depth " << d;
        }
    }
}

TEST_F(MoveGenTest, PerftSuite) { RunPerftFile("perftsuite.epd"); }
TEST_F(MoveGenTest, TrickyPerft) { RunPerftFile("tricky.epd"); }

// On every node of small trees: the legal list, the evasions in check, the attack test and the
// check tests all agree with the plain generator or with making the move and looking.
void CompareTree(int depth, int& checks) {
    const int us = thread_board.SideToMove, them = ChangeSide(us);
    const std::vector<Move> legal = SlowLegalMoves();
    ASSERT_EQ(LegalMoves(), legal) << PositionText(0);
    for (int sq = 0; sq < 64; sq++)
        for (int side : {WHITE, BLACK})
            ASSERT_EQ(IsSquareAttacked(side, sq) != 0, SlowSquareAttacked(sq, side)) << PositionText(0) << sq;
    if (SlowSquareAttacked(thread_board.KingSquare[us], them)) {
        // The evasions hold every legal move; the one that may be left in is en passant exposing the king.
        MoveListTop = 0;
        GenerateEvasions(14);
        std::set<Move> evasions;
        for (int i = 0; i < MoveListTop; i++) evasions.insert(MoveList[i].move);
        MoveListTop = 0;
        for (Move m : legal) ASSERT_TRUE(evasions.count(m)) << PositionText(0) << MoveText(m);
        for (Move m : evasions) ASSERT_TRUE(std::count(legal.begin(), legal.end(), m) || IsEnPassantMove(m));
    }
    for (Move m : legal) {
        const int gives = MoveGivesCheck(m), uncovers = MoveDiscoversCheck(m);
        MakeMove(m, 1);
        const bool check = SlowSquareAttacked(thread_board.KingSquare[them], us);
        // A discovered check is a check by a man other than the one that moved.
        const bool other = (AttackersOfSquareBy(us, thread_board.KingSquare[them]) & ~Bit(MoveTo(m))) != 0;
        checks += check;
        if (depth > 0) CompareTree(depth - 1, checks);
        UnmakeMove();
        ASSERT_EQ(gives != 0, check) << PositionText(0) << MoveText(m);
        if (uncovers) {
            ASSERT_TRUE(other) << PositionText(0) << MoveText(m);
        }
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST_F(MoveGenTest, EveryNodeAgreesWithThePlainGenerator) {
    int checks = 0;
    for (const PerftCase& c : ReadPerft("tricky.epd")) {
        Load(c.fen);
        CompareTree(1, checks);
    }
    const std::vector<PerftCase> suite = ReadPerft("perftsuite.epd");
    for (size_t i = 0; i < suite.size(); i += 4) {
        Load(suite[i].fen);
        CompareTree(1, checks);
    }
    EXPECT_GT(checks, 500);
}

// A remembered move word (a killer, a table move after a key collision) is offered only when it
// is a pseudo-legal move of this position; en passant never is.
TEST_F(MoveGenTest, RememberedMovesArePlayableOnlyWhereTheyFit) {
    std::vector<Move> pool;
    for (const PerftCase& c : ReadPerft("perftsuite.epd")) {
        Load(c.fen);
        for (Move m : SlowPseudoMoves()) pool.push_back(m);
    }
    int accepted = 0;
    for (const PerftCase& c : ReadPerft("perftsuite.epd")) {
        Load(c.fen);
        std::vector<Move> pseudo = SlowPseudoMoves();
        const std::set<Move> fits(pseudo.begin(), pseudo.end());
        for (size_t i = 0; i < pool.size(); i += 3) {
            const Move m = pool[i];
            MoveListTop  = 0;
            AddMoveIfPlayable(m);
            const bool offered = MoveListTop == 1;
            accepted += offered;
            ASSERT_EQ(offered, fits.count(m) && !IsEnPassantMove(m)) << c.fen << " " << MoveText(m);
        }
    }
    EXPECT_GT(accepted, 1000);
}

// Every view of the position kept by MakeMove equals a fresh build from the men.
void ExpectMatchesRecount(const char* where) {
    Position fresh;
    RecomputePosition(fresh);
    Position now = thread_board;
    // The phases belong to the evaluation, and the castling rights to the game.
    now.white_phase = now.black_phase = now.current_phase = 0;
    fresh.white_phase = fresh.black_phase = fresh.current_phase = 0;
    fresh.CastleRights = now.CastleRights;
    fresh.SideToMove   = now.SideToMove;
    fresh.SearchAbort  = now.SearchAbort;
    ASSERT_EQ(std::memcmp(&now, &fresh, sizeof now), 0) << where;
}

// The position as the repetition rules see it, worked out without the engine's keys: the men, the
// side, the rights, and the file of an en-passant capture the plain generator can make.
std::string Identity() {
    std::string id = PositionText(0);
    id.resize(id.find(' '));
    id.append(" rights").push_back(char('a' + thread_board.CastleRights));
    for (Move m : SlowPseudoMoves())
        if (IsEnPassantMove(m)) id.append(" ep").push_back(char('a' + FileOf(MoveTo(m))));
    return id;
}

// Long random games from the perft positions: after every pseudo-legal move the views match a
// recount, after its unmake the position is back bit for bit, and the position key tells positions
// apart exactly as their identities do.
TEST_F(BoardTest, RandomGamesKeepEveryViewExact) {
    std::mt19937 rng(77);
    std::map<u64, std::string> seen;
    int moves = 0;
    for (const PerftCase& c : ReadPerft("perftsuite.epd")) {
        Load(c.fen);
        for (int ply = 0; ply < 120; ply++) {
            const Position before = thread_board;
            const int count       = HistoryCount;
            const auto [at, fresh] = seen.emplace(PositionKey(), Identity());
            ASSERT_EQ(at->second, Identity()) << "two positions under one key";
            for (Move m : SlowPseudoMoves()) {
                MakeMove(m, 1);
                ExpectMatchesRecount(MoveText(m));
                UnmakeMove();
                ASSERT_EQ(std::memcmp(&before, &thread_board, sizeof before), 0) << c.fen << " " << MoveText(m);
                ASSERT_EQ(HistoryCount, count);
                moves++;
            }
            const std::vector<Move> legal = SlowLegalMoves();
            if (legal.empty()) break;
            const Move m = legal[rng() % legal.size()];
            const int fifty = thread_board.FiftyCounter;
            MakeMove(m, 1);
            const bool resets = MovedPiece(m) == PAWN || CapturedPiece(m) || IsEnPassantMove(m);
            ASSERT_EQ(thread_board.FiftyCounter, resets ? 0 : fifty + 1) << MoveText(m);
        }
        if (HasFailure()) return;
    }
    std::map<std::string, u64> keys;
    for (const auto& [key, id] : seen) ASSERT_TRUE(keys.emplace(id, key).second) << "one position, two keys: " << id;
    EXPECT_GT(moves, 150000);
}

TEST_F(BoardTest, EnPassantChancesAreInTheKeyAndInTheText) {
    // After ...f7f5 the pawn on e5 may take: the same men with the target named in the FEN are the
    // same position; without it, or where no pawn stands beside, the double step changes nothing.
    Load("rnbqkbnr/pppp1ppp/8/4P3/8/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1");
    Play({"f7f5"});
    const u64 afterStep = PositionKey();
    EXPECT_STREQ(PositionText(0), "rnbqkbnr/pppp2pp/8/4Pp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f5 "); // the pawn's square
    Load("rnbqkbnr/pppp2pp/8/4Pp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 2");
    EXPECT_EQ(PositionKey(), afterStep);
    const std::vector<Move> legal = LegalMoves();
    EXPECT_EQ(std::count(legal.begin(), legal.end(), Find("e5f6")), 1);
    Load("rnbqkbnr/pppp2pp/8/4Pp2/8/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2");
    EXPECT_NE(PositionKey(), afterStep);
    Load("rnbqkbnr/pppp1ppp/8/4P3/8/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1");
    Play({"a7a5"});
    const u64 farStep = PositionKey();
    Load("rnbqkbnr/1ppp1ppp/8/p3P3/8/8/PPPP1PPP/RNBQKBNR w KQkq a6 0 2");
    EXPECT_EQ(PositionKey(), farStep);
    Load("rnbqkbnr/1ppp1ppp/8/p3P3/8/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2");
    EXPECT_EQ(PositionKey(), farStep);
    // Rights are in the key, spacing and counters are not.
    Load("r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R w KQkq - 0 1");
    const u64 key = PositionKey();
    Load("  r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R    w   KQkq   -   17   40");
    EXPECT_EQ(PositionKey(), key);
    Load("r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R w KQk - 0 1");
    EXPECT_NE(PositionKey(), key);
}

TEST_F(BoardTest, CastlingRightsFollowTheMenAndTheRookCaptures) {
    Load("r3k3/8/8/8/8/8/8/R2K3R b KQkq - 0 1"); // rights the men do not allow are dropped
    EXPECT_EQ(thread_board.CastleRights, CASTLE_BLACK_QUEEN);
    Load("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    Play({"a1a8"}); // takes the rook on its corner: both a-file rights go
    EXPECT_EQ(thread_board.CastleRights, CASTLE_WHITE_KING | CASTLE_BLACK_KING);
    Play({"e8e7", "a8a1"}); // back on a1: the right does not return
    EXPECT_EQ(thread_board.CastleRights, CASTLE_WHITE_KING);
    Load("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    Play({"e1g1", "e8c8"});
    EXPECT_STREQ(PositionText(0), "2kr3r/8/8/8/8/8/8/R4RK1 w - - ");
    // No castling out of, through or into check; a rook that only crosses an attacked square may.
    const std::vector<std::tuple<const char*, const char*, bool>> castles = {
        {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "e1g1", true}, {"r3k2r/8/8/8/8/8/4r3/R3K2R w KQkq - 0 1", "e1g1", false},
        {"r3k2r/8/8/8/8/8/5r2/R3K2R w KQkq - 0 1", "e1g1", false}, {"r3k2r/8/8/8/8/8/6r1/R3K2R w KQkq - 0 1", "e1g1", false},
        {"r3k2r/8/8/8/8/8/1r6/R3K2R w KQkq - 0 1", "e1c1", true}, {"r3k2r/8/8/8/8/8/2r5/R3K2R w KQkq - 0 1", "e1c1", false}};
    for (const auto& [fen, move, allowed] : castles) {
        Load(fen);
        const std::vector<Move> legal = LegalMoves();
        const Move castle = MakeMoveWord(4, move[2] == 'g' ? 6 : 2, KING);
        EXPECT_EQ(std::count(legal.begin(), legal.end(), castle) == 1, allowed) << fen << " " << move;
    }
}

TEST_F(BoardTest, IllegalFensAreRefusedAndLeaveThePositionAsItWas) {
    const char* base = "r3k2r/pp1n1ppp/2p5/4P3/3p4/8/PPP2PPP/R3K2R b KQkq - 0 1";
    for (const char* fen :
         {"", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR x KQkq - 0 1",
          "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP w KQkq - 0 1", "rnbqkbnrr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w - - 0 1",
          "KKKKKKKK/KKKKKKKK/8/8/8/8/8/k7 w - - 0 1", "P3k3/8/8/8/8/8/8/4K3 w - - 0 1", "4k3/8/8/8/8/8/8/8 w - - 0 1",
          "4k2R/8/8/8/8/8/8/4K3 w - - 0 1", "9/8/8/8/8/8/8/4K3 w - - 0 1"}) {
        Load(base);
        const Position before = thread_board;
        std::string printed;
        EXPECT_FALSE(TryLoad(fen, &printed)) << fen;
        EXPECT_EQ(printed, std::string("Illegal FEN: ") + fen + "\n");
        EXPECT_EQ(std::memcmp(&before, &thread_board, sizeof before), 0) << fen;
    }
}

// Men, rights, en-passant squares and counters changed at random in the suites and random placements:
// every FEN taken gives a board whose views agree and trees run clean, and perft 3 as the peer's.
TEST_F(BoardTest, EveryTakenFenPerftsLikeThePeerEngine) {
    std::mt19937 rng(77);
    const std::vector<std::string> seeds = SuiteFens();
    const std::string men = "KQRBNPkqrbnp", counters[] = {" 0 1", " 12 40", " 150 1", " -3 x", ""};
    std::string input; // for the peer engine
    std::vector<uint64_t> ours, theirs;
    for (int i = 0; i < 4000; i++) {
        std::string board(64, '.'), fen;
        int sq = 56;
        const std::string placement = Words(seeds[rng() % seeds.size()])[0];
        for (char c : placement)
            sq += c == '/' ? -16 : c <= '8' ? c - '0' : (board[sq] = c, 1);
        if (i % 4 == 3) board = std::string(64, '.'), board[rng() % 64] = 'K', board[rng() % 64] = 'k';
        for (int k = i % 4 == 3 ? int(rng() % 24) : 1 + int(rng() % 3); k > 0; k--)
            if (rng() % 2) std::swap(board[rng() % 64], board[rng() % 64]);
            else board[rng() % 64] = rng() % 3 ? men[rng() % men.size()] : '.';
        for (int r = 7; r >= 0; r--) { // empty squares one by one: the parser adds them up
            for (int f = 0; f < 8; f++) fen += board[r * 8 + f] == '.' ? '1' : board[r * 8 + f];
            fen += r ? "/" : "";
        }
        const bool white = rng() % 2;
        fen += white ? " w " : " b ";
        for (char c : std::string("KQkq"))
            if (rng() % 2) fen += c;
        std::string ep = rng() % 4 ? " -" : std::string(" ") + char('a' + rng() % 8) + char('1' + rng() % 8);
        for (sq = 0; sq < 64 && ep == " -"; sq++) // or behind a pawn that may just have stepped twice
            if (board[sq] == (white ? 'p' : 'P') && sq / 8 == (white ? 4 : 3) && rng() % 3 == 0)
                ep = std::string(" ") + char('a' + sq % 8) + (white ? '6' : '3');
        fen += (fen.back() == ' ' ? "-" : "") + ep + counters[rng() % 5];
        for (int e = i % 5 == 4 ? 1 + int(rng() % 4) : 0; e > 0; e--) { // and faults in the text
            const size_t at = rng() % fen.size();
            if (rng() % 4) fen.insert(at, 1, "KQRBNPkqrbnp12345678/ -wbx\t\x80\xff"[rng() % 29]);
            else fen.resize(at + 1);
        }
        const Position before = thread_board;
        if (!TryLoad(fen)) {
            ASSERT_EQ(std::memcmp(&before, &thread_board, sizeof before), 0) << fen;
            continue;
        }
        ExpectMatchesRecount(fen.c_str());
        // The text reads back as the same position; it names the en-passant pawn, a FEN the square behind.
        std::string shown = PositionText(0), text = shown;
        char& epRank     = text[text.size() - 2];
        if (epRank == '4' || epRank == '5') epRank = epRank == '4' ? '3' : '6';
        const Position taken = thread_board;
        Load(text + "0 1");
        ASSERT_EQ(std::memcmp(&taken.Board, &thread_board.Board, sizeof taken.Board), 0) << fen;
        ASSERT_TRUE(PositionText(0) == shown || PositionText(0) == shown + "- ") << fen; // a step no one can take
        NodeCount = MoveListTop = 0;
        Perft(2);
        ExpectMatchesRecount(fen.c_str());
        if (ours.size() < 300 && i % 3 == 0) { // the peer reads the board as the engine took it
            input += "position fen " + text + "0 1\ngo perft 3\n";
            NodeCount = 0;
            Perft(3);
            ours.push_back(NodeCount);
        }
        if (HasFatalFailure()) return;
    }
    ASSERT_EQ(ours.size(), 300u);
    if (!std::filesystem::exists("/usr/games/stockfish")) GTEST_SKIP() << "no peer engine: perft 3 not compared";
    const std::string out = Printed([&] {
        FILE* peer = popen("/usr/games/stockfish", "w");
        std::fputs((input + "quit\n").c_str(), peer);
        EXPECT_EQ(pclose(peer), 0);
    });
    for (size_t at = 0; (at = out.find("Nodes searched: ", at)) != std::string::npos; at++)
        theirs.push_back(std::stoull(out.substr(at + 16)));
    ASSERT_EQ(theirs, ours) << input;
}

TEST_F(BoardTest, ThreefoldCountsOnlyAcrossReversibleMoves) {
    const std::initializer_list<const char*> shuffle = {"g1f3", "g8f6", "f3g1", "f6g8"};
    SetStartPosition();
    Play(shuffle);
    EXPECT_EQ(IsThreefold(), 0); // the second occurrence
    Play(shuffle);
    EXPECT_EQ(IsThreefold(), 1);
    SetStartPosition();
    Play(shuffle);
    Play({"e2e4", "e7e5"}); // a pawn move breaks the stretch, whatever the keys say
    Play(shuffle);
    EXPECT_EQ(IsThreefold(), 0);
    Play(shuffle);
    EXPECT_EQ(IsThreefold(), 1);
}

// Hand-checked exchanges: whether a capture loses nothing.
TEST_F(BoardTest, ExchangeVerdicts) {
    auto see = [](const char* fen, const std::string& move) {
        Load(fen);
        PlyStack[Ply].AttackedBy[WHITE] = PlyStack[Ply].AttackedBy[BLACK] = 0;
        const int from = (move[0] - 'a') + 8 * (move[1] - '1'), to = (move[2] - 'a') + 8 * (move[3] - '1');
        const int promotion = move.size() > 4 ? (move[4] == 'q' ? QUEEN : ROOK) : 0;
        return SeeNotLosing(MakeMoveWord(from, to, thread_board.Board[from], thread_board.Board[to], promotion));
    };
    EXPECT_EQ(see("4k3/8/3p4/4p3/3P4/8/8/4K3 w - - 0 1", "d4e5"), 1);    // pawn for pawn
    EXPECT_EQ(see("4k3/8/3p4/4p3/8/8/8/4Q1K1 w - - 0 1", "e1e5"), 0);    // queen for a defended pawn
    EXPECT_EQ(see("4k3/8/8/8/4n3/5b2/8/4R1K1 w - - 0 1", "e1e4"), 0);    // rook for a defended knight
    EXPECT_EQ(see("4k3/8/8/8/4n3/5b2/4R3/4R1K1 w - - 0 1", "e2e4"), 1);  // a second rook behind it
    EXPECT_EQ(see("4r1k1/8/8/4p3/8/8/4Q3/4R1K1 w - - 0 1", "e2e5"), 0);  // queen for rook and pawn
    EXPECT_EQ(see("4k3/8/8/8/4n3/8/8/4R1K1 w - - 0 1", "e1e4"), 1);      // a free knight
    EXPECT_EQ(see("8/8/8/3k4/4p3/4K3/8/8 w - - 0 1", "e3e4"), 0);        // the king takes a guarded man
    EXPECT_EQ(see("8/8/8/3k4/4p2R/4K3/8/8 w - - 0 1", "h4e4"), 1);       // the enemy king cannot take back
    EXPECT_EQ(see("8/8/8/3k4/4p2R/8/8/4K3 w - - 0 1", "h4e4"), 0);
    EXPECT_EQ(see("4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8r"), 0); // an under-promotion never passes
    EXPECT_EQ(see("4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8q"), 1);
    EXPECT_EQ(see("1k6/8/8/3p4/4P3/8/8/4K3 b - - 0 1", "d5e4"), 1);
    // Through the swap: queen for pawn, queen for queen, rook for queen, and a black rook behind.
    EXPECT_EQ(see("3r2k1/3q4/8/3p4/8/3Q4/8/3R2K1 w - - 0 1", "d3d5"), 0);
    EXPECT_EQ(see("6k1/3q4/8/3p4/8/3Q4/8/3R2K1 w - - 0 1", "d3d5"), 1);
    EXPECT_EQ(see("1k6/8/8/3q4/4P3/5P2/8/4K3 b - - 0 1", "d5e4"), 0);
}

} // namespace
