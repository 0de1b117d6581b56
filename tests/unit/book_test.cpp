// The opening book: the builder's SAN reader against a SAN writer of the test's own; books written
// by the builder program from PGN (comments, variations, set-up games) against an independent
// count of the same games and the test's own decoding; the engine's lookup, choice and refusal of
// broken books.
#include <gtest/gtest.h>

#include <array>
#include <map>
#include <random>
#include <set>
#include <tuple>
#include <sys/wait.h>

#include "board/makemove.h"
#include "book/book.h"
#include "book/booklearn.h"
#include "book/learn.h"
#include "frontend/settings.h"
#include "tests/support/engine_setup.h"
#include "tools/san.h"

namespace {

std::string SquareName(int sq) { return {char('a' + (sq & 7)), char('1' + (sq >> 3))}; }

// Standard algebraic notation written from the move and the other legal moves, without check marks.
std::string SanOf(Move move, const std::vector<Move>& legal) {
    const int piece = MovedPiece(move), from = MoveFrom(move), to = MoveTo(move);
    if (piece == KING && (to - from == 2 || from - to == 2)) return to > from ? "O-O" : "O-O-O";
    const bool capture = CapturedPiece(move) || IsEnPassantMove(move);
    std::string san;
    if (piece == PAWN && capture) san += char('a' + (from & 7));
    if (piece != PAWN) {
        san += " KNP RBQ"[piece];
        bool rival = false, sameFile = false, sameRank = false;
        for (Move other : legal)
            if (other != move && MovedPiece(other) == piece && MoveTo(other) == to) {
                rival = true;
                sameFile |= (MoveFrom(other) & 7) == (from & 7);
                sameRank |= (MoveFrom(other) >> 3) == (from >> 3);
            }
        if (rival && (!sameFile || sameRank)) san += char('a' + (from & 7));
        if (rival && sameFile) san += char('1' + (from >> 3));
    }
    san += (capture ? "x" : "") + SquareName(to);
    if (PromotionPiece(move)) san += std::string("=") + " KNP RBQ"[PromotionPiece(move)];
    return san;
}

class BookTest : public ::testing::Test {
  protected:
    void SetUp() override { FreshEngine(); }
    void TearDown() override { CloseBook(); }
    ScratchDir dir;
};

TEST_F(BookTest, SanReaderFindsEveryLegalMoveInEveryWriting) {
    std::vector<std::string> fens = {"4k3/8/8/R7/8/8/8/R3K3 w - - 0 1", "8/k7/8/8/7Q/8/2K5/4Q2Q w - - 0 1",
                                     "4q2q/2k5/8/7q/8/8/K7/8 b - - 0 1", "4k3/8/8/1N6/8/1N6/8/4K3 w - - 0 1"};
    for (const char* file : {"perftsuite.epd", "tricky.epd"})
        for (const PerftCase& c : ReadPerft(file)) fens.push_back(c.fen);
    int read = 0;
    for (const std::string& fen : fens) {
        Load(fen);
        const std::vector<Move> legal = SlowLegalMoves();
        for (Move move : legal) {
            const std::string san = SanOf(move, legal);
            std::vector<std::string> writings = {san, san + "+", san + "#", san + "!?", san + "??"};
            if (san[0] == 'O') {
                writings.push_back(san == "O-O" ? "0-0" : "0-0-0");
            } else {
                // Long algebraic with and without a hyphen, and without the capture mark or the '='.
                const std::string letter = MovedPiece(move) == PAWN ? "" : san.substr(0, 1);
                const std::string promo  = PromotionPiece(move) ? san.substr(san.size() - 2) : "";
                writings.push_back(letter + SquareName(MoveFrom(move)) + SquareName(MoveTo(move)) + promo);
                writings.push_back(letter + SquareName(MoveFrom(move)) + "-" + SquareName(MoveTo(move)) + promo);
                if (san.find('x') != std::string::npos) writings.push_back(san.substr(0, san.find('x')) + san.substr(san.find('x') + 1));
                if (PromotionPiece(move)) writings.push_back(san.substr(0, san.size() - 2) + san.back());
            }
            for (const std::string& text : writings) {
                ASSERT_EQ(ParseSanMove(text.c_str()), move) << fen << " " << text;
                read++;
            }
        }
    }
    EXPECT_GT(read, 10000);
    Load("r3k2r/8/8/8/8/2N1N3/8/R3K2R w KQkq - 0 1"); // what names no single legal move
    for (const char* text : {"Nd5", "", "+", "Zf3", "e9", "Ke3x", "Qd1", "e4=Q", "O-O-O-O", "N3", "a1b1c1", "Red5"})
        EXPECT_EQ(ParseSanMove(text), 0u) << text;
    Load("4k3/P7/8/8/8/8/8/4K3 w - - 0 1"); // a pawn on the last rank without a piece named is a queen
    EXPECT_EQ(ParseSanMove("a8"), Find("a7a8q"));
    EXPECT_EQ(ParseSanMove("a8=K"), 0u);
}

// ------------------------------------------------------------------------------------------------
// Books of the builder program against the test's own count and decoding.

int RunBuilder(const std::string& arguments, std::string& out, const ScratchDir& dir) {
    const int status = std::system(("'" BOOKBUILD_PATH "' " + arguments + " > '" + dir.File("log") + "' 2>&1").c_str());
    out              = dir.Read("log");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

struct Counted {
    int occurrences = 0;
    std::string fen;
    std::map<std::pair<int, int>, std::array<int, 3>> moves; // played, score for, score against
};
using Count = std::map<std::pair<u32, u32>, Counted>;

std::pair<u32, u32> LookupKeys() {
    u32 first, second;
    ComputeBookKey(first, second);
    return {thread_board.SideToMove == BLACK ? first ^ BOOK_BLACK_TO_MOVE : first, second};
}

// Tag lines open a game; comments, variations, NAGs, move numbers and results are cut out; the
// moves are matched against the SAN writer.
void CountGames(const std::string& text, int plies, Count& count) {
    std::string clean;
    for (size_t i = 0, depth = 0; i < text.size(); i++) {
        if (text[i] == '{') i = text.find('}', i);
        else if (text[i] == ';' || (text[i] == '%' && (i == 0 || text[i - 1] == '\n'))) i = text.find('\n', i) - 1;
        else if (text[i] == '(') depth++;
        else if (text[i] == ')') depth--;
        else if (depth == 0) clean += text[i] == '\r' ? ' ' : text[i];
    }
    std::istringstream lines(clean);
    std::vector<std::pair<std::string, std::string>> games; // result, moves; a set-up game has result "fen"
    bool inMoves = true;
    for (std::string line; std::getline(lines, line);) {
        if (line.find_first_not_of(" \t") == std::string::npos) continue;
        if (line[0] == '[') {
            if (inMoves) games.emplace_back();
            inMoves = false;
            if (line.rfind("[Result \"", 0) == 0 && games.back().first != "fen") games.back().first = line.substr(9, line.find('"', 9) - 9);
            if (line.rfind("[FEN ", 0) == 0) games.back().first = "fen";
        } else {
            inMoves = true;
            games.back().second += " " + line;
        }
    }
    for (const auto& [result, moves] : games) {
        if (result == "fen") continue;
        SetStartPosition();
        std::istringstream words(moves);
        for (std::string word; count.size() < 100000 && HistoryCount < plies && words >> word;) {
            if (word == "1-0" || word == "0-1" || word == "1/2-1/2" || word == "*") continue;
            word.erase(0, word.find_first_not_of("0123456789."));
            while (!word.empty() && std::string("+#!?").find(word.back()) != std::string::npos) word.pop_back();
            if (word.empty() || word[0] == '$') continue;
            const std::vector<Move> legal = SlowLegalMoves();
            Move played = 0;
            for (Move m : legal)
                if (SanOf(m, legal) == word) played = m;
            ASSERT_NE(played, 0u) << "no legal move " << word << " in " << PositionText(0);
            Counted& position = count[LookupKeys()];
            position.occurrences++;
            std::istringstream text(PositionText(0));
            std::string board, side;
            text >> board >> side;
            position.fen = board + " " + side + " - - 0 1";
            auto& m = position.moves[{MoveFrom(played), MoveTo(played)}];
            m[0]++;
            const bool white = thread_board.SideToMove == WHITE;
            if (result == "1/2-1/2") m[1]++, m[2]++;
            if (result == "1-0" || result == "0-1") m[(result == "1-0") == white ? 1 : 2] += 2;
            MakeMove(played, 1);
        }
    }
}

u32 Get32(const std::string& bytes, size_t at) {
    return ReadLittleEndian32(reinterpret_cast<const uint8_t*>(bytes.data()) + at);
}

// The book holds exactly the positions seen at least `minimum` times, in signed key order, each with
// the moves played there, the most played first, and their counters; the engine finds every one.
void ExpectBookMatchesCount(const std::string& path, const Count& count, int minimum) {
    const std::string bytes = ReadFileText(path);
    ASSERT_EQ(bytes.substr(0, BOOK_MAGIC_SIZE), BOOK_MAGIC);
    ASSERT_EQ(Get32(bytes, 24), 1u);
    const u32 nodes = Get32(bytes, 32);
    EXPECT_EQ(Printed([&] { OpenBook(path.c_str()); }), std::to_string(nodes) + " nodes in openings book\n");
    size_t expected = 0;
    for (const auto& [keys, position] : count) expected += position.occurrences >= minimum;
    EXPECT_EQ(nodes, expected);
    for (u32 i = 0; i < nodes; i++) {
        const size_t record = 36 + 12 * i, offset = Get32(bytes, record + 8);
        const std::pair<u32, u32> keys{Get32(bytes, record), Get32(bytes, record + 4)};
        if (i) {
            EXPECT_LT(CompareBookKeys(Get32(bytes, record - 12), Get32(bytes, record - 8), keys.first, keys.second), 0);
        }
        ASSERT_TRUE(count.count(keys)) << "a position no game had";
        const Counted& position = count.at(keys);
        EXPECT_GE(position.occurrences, minimum);
        ASSERT_EQ(uint8_t(bytes.at(offset)), position.moves.size());
        int lastPlayed = 1 << 30;
        for (size_t m = 0; m < position.moves.size(); m++) {
            const size_t entry = offset + 1 + 4 * m;
            const auto& c = position.moves.at({uint8_t(bytes[entry]), uint8_t(bytes[entry + 1])});
            EXPECT_LE(c[0], lastPlayed);
            lastPlayed = c[0];
            EXPECT_EQ(uint8_t(bytes[entry + 2]), c[1]);
            EXPECT_EQ(uint8_t(bytes[entry + 3]), c[2]);
        }
    }
    // The engine's own search of the file finds the positions in the book, and lands on their blocks.
    for (const auto& [keys, position] : count) {
        Load(position.fen);
        ASSERT_EQ(FindBookPosition() != 0, position.occurrences >= minimum) << position.fen;
        if (position.occurrences < minimum) continue;
        BookMoveBlock block;
        ASSERT_TRUE(ReadBookMoveBlock(block));
        ASSERT_EQ(block.count, int(position.moves.size())) << position.fen;
        for (int m = 0; m < block.count; m++) {
            const auto& c = position.moves.at({block.from[m], block.to[m]});
            EXPECT_EQ(block.counter[m], c[1] | c[2] << 8) << position.fen;
        }
    }
}

const char* HAND_PGN = "[Result \"1-0\"]\n\n1. e4 e5 2. Nf3 {a (comment) [x]} Nc6 3. Bb5 a6 (3... Nf6 4. O-O) 4. Ba4\n"
                       "Nf6 5. O-O Be7 $1 6. Re1 b5 7. Bb3 d6 1-0\n\n"
                       "[Result \"0-1\"]\n\n1.e4 e5 2.Nf3 Nc6 3.Bb5 Nf6 4.O-O Nxe4 5.d4 Nd6 6.Bxc6 dxc6 0-1\n\n"
                       "[Result \"1/2-1/2\"]\n\n% escaped\n1. d4 d5 2. c4 e6 3. Nc3 Nf6 ; rest 4. Bg5\n4. Bg5 Be7 1/2-1/2\n\n"
                       "[Result \"*\"]\n\n1. e4 c5 2. Nf3!? d6 3. d4 cxd4 4. Nxd4 Nf6 *\n\n"
                       "[Result \"1-0\"]\n\n1. e4 d5 2. exd5 c6 3. dxc6 Nf6 4. cxb7 Nbd7 5. bxa8=Q 1-0\n\n"
                       "[Result \"1/2-1/2\"]\n\n1. Nf3 Nf6 2. Ng1 Ng8 3. Nf3 Nf6 4. Ng1 Ng8 5. e4 1/2-1/2\n\n"
                       "[SetUp \"1\"]\n[FEN \"4k3/8/8/8/8/8/8/4K2R w K - 0 1\"]\n[Result \"1-0\"]\n\n1. O-O Kd7 1-0\n";

TEST_F(BookTest, BuiltBooksHoldExactlyTheOpeningsOfTheirGames) {
    dir.Write("hand.pgn", HAND_PGN);
    const std::string tcec = DataPath("pgn/TCEC_Season_4_-_Superfinal-first10.pgn");
    for (const auto& [plies, minimum, engineGames] : std::vector<std::tuple<int, int, bool>>{{10, 1, false}, {3, 1, false}, {16, 2, false}, {14, 2, true}}) {
        SCOPED_TRACE(std::to_string(plies) + " plies, at least " + std::to_string(minimum));
        std::string out;
        const std::string inputs = "'" + dir.File("hand.pgn") + "'" + (engineGames ? " '" + tcec + "'" : "");
        ASSERT_EQ(RunBuilder("-plies " + std::to_string(plies) + " -min " + std::to_string(minimum) + " -o '" +
                                 dir.File("b.vbk") + "' " + inputs, out, dir), 0) << out;
        EXPECT_NE(out.find(engineGames ? "17 games read, 1 left out" : "7 games read, 1 left out"), std::string::npos) << out;
        Count count;
        ASSERT_NO_FATAL_FAILURE(CountGames(HAND_PGN, plies, count));
        if (engineGames) {
            ASSERT_NO_FATAL_FAILURE(CountGames(ReadFileText(tcec), plies, count));
        }
        ExpectBookMatchesCount(dir.File("b.vbk"), count, minimum);
        CloseBook();
    }
}

TEST_F(BookTest, LargeCountersAreScaledPerPositionAndBadRunsWriteNothing) {
    std::string pgn;
    for (int i = 0; i < 200; i++) pgn += "[Result \"1-0\"]\n\n1. e4 e5 1-0\n\n";
    for (int i = 0; i < 100; i++) pgn += "[Result \"0-1\"]\n\n1. d4 d5 0-1\n\n";
    pgn += "[Result \"*\"]\n\n1. c4 *\n\n";
    dir.Write("many.pgn", pgn);
    std::string out;
    ASSERT_EQ(RunBuilder("-plies 2 -min 1 -o '" + dir.File("many.vbk") + "' '" + dir.File("many.pgn") + "'", out, dir), 0);
    Printed([&] { OpenBook(dir.File("many.vbk").c_str()); });
    SetStartPosition(); // e4 400/0, d4 0/200... scaled alike so that the largest is 254
    ASSERT_TRUE(FindBookPosition());
    BookMoveBlock block;
    ASSERT_TRUE(ReadBookMoveBlock(block));
    ASSERT_EQ(block.count, 3);
    EXPECT_EQ(block.counter[0], 254);
    EXPECT_EQ(block.counter[1], (254 * 200 / 400) << 8);
    EXPECT_EQ(block.counter[2], 0);
    Play({"d2d4"}); // d5 200/0 fits as it is
    ASSERT_TRUE(FindBookPosition());
    ASSERT_TRUE(ReadBookMoveBlock(block));
    EXPECT_EQ(block.counter[0], 200);

    EXPECT_EQ(RunBuilder("-o '" + dir.File("never.vbk") + "' '" + dir.File("missing.pgn") + "'", out, dir), 1);
    EXPECT_EQ(out, "Error opening file " + dir.File("missing.pgn") + "...\n");
    for (const char* bad : {"", "-plies 0 x.pgn", "-min x x.pgn", "-frobnicate x.pgn"}) EXPECT_EQ(RunBuilder(bad, out, dir), 2) << bad;
    EXPECT_EQ(RunBuilder("-o '" + dir.File("no/such/dir.vbk") + "' '" + dir.File("many.pgn") + "'", out, dir), 1);
    EXPECT_NE(out.find("Error writing"), std::string::npos);
    EXPECT_FALSE(std::ifstream(dir.File("never.vbk")).good());
}

// ------------------------------------------------------------------------------------------------
// The engine's side: choice among the moves, legality, broken files.

// A book of positions and their moves as the test writes it: from-to text and two counters.
using HandBook = std::vector<std::pair<std::string, std::vector<std::tuple<std::string, int, int>>>>;
std::string MakeBook(const HandBook& positions, bool signedOrder = true) {
    std::vector<std::tuple<u32, u32, std::string>> records;
    for (const auto& [fen, moves] : positions) {
        Load(fen);
        std::string block(1, char(moves.size()));
        for (const auto& [text, a, b] : moves)
            block += {char(text[0] - 'a' + 8 * (text[1] - '1')), char(text[2] - 'a' + 8 * (text[3] - '1')), char(a), char(b)};
        records.emplace_back(LookupKeys().first, LookupKeys().second, block);
    }
    std::sort(records.begin(), records.end(), [&](const auto& x, const auto& y) {
        const int order = CompareBookKeys(std::get<0>(x), std::get<1>(x), std::get<0>(y), std::get<1>(y));
        return signedOrder ? order < 0 : std::tie(std::get<0>(x), std::get<1>(x)) < std::tie(std::get<0>(y), std::get<1>(y));
    });
    auto put = [](std::string& bytes, u32 v) { for (int i = 0; i < 4; i++) bytes += char(v >> (8 * i)); };
    std::string bytes = BOOK_MAGIC, blocks;
    put(bytes, 1);
    put(bytes, 0);
    put(bytes, u32(records.size()));
    for (const auto& [first, second, block] : records) {
        put(bytes, first);
        put(bytes, second);
        put(bytes, u32(36 + 12 * records.size() + blocks.size()));
        blocks += block;
    }
    return bytes + blocks;
}

// The bytes with one 32-bit word changed.
std::string Patched(std::string bytes, size_t at, u32 value) {
    for (int i = 0; i < 4; i++) bytes[at + i] = char(value >> (8 * i));
    return bytes;
}

const char* START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

std::set<std::string> Chosen(int picks = 300) {
    std::set<std::string> chosen;
    for (int i = 0; i < picks; i++) chosen.insert(MoveText(PickBookMove()));
    return chosen;
}

TEST_F(BookTest, ChoiceFollowsRatesVarietyAndMode) {
    // Rates: e2e4 600, d2d4 540, g1f3 539, c2c4 never played, b1c3 never to be played.
    dir.Write("b.vbk", MakeBook({{START, {{"b1c3", 255, 255}, {"e2e4", 6, 4}, {"d2d4", 27, 23}, {"g1f3", 34, 29}, {"c2c4", 0, 0}}},
                                 {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1", {{"e7e5", 2, 2}, {"c7c5", 3, 1}, {"e7e6", 1, 3}}}}));
    EXPECT_EQ(Printed([&] { OpenBook(dir.File("b.vbk").c_str()); }), "2 nodes in openings book\n");
    SeedBookRandom(12345);
    Load(START);
    for (const auto& [variety, kept] : std::vector<std::pair<int, std::set<std::string>>>{
             {0, {"e2e4"}}, {10, {"e2e4", "d2d4"}}, {100, {"e2e4", "d2d4", "g1f3", "c2c4"}}}) {
        VarietyOfPlay = variety;
        EXPECT_EQ(Chosen(), kept) << "variety " << variety;
    }
    UseBookWeights = 0; // every live move alike
    EXPECT_EQ(Chosen(), (std::set<std::string>{"e2e4", "d2d4", "g1f3", "c2c4"}));
    UseBookWeights   = 1;
    BookLearningMode = 1; // discover: the least tested move, the better rate among equals
    EXPECT_EQ(Chosen(20), std::set<std::string>{"c2c4"});
    Play({"e2e4"});
    EXPECT_EQ(Chosen(20), std::set<std::string>{"c7c5"});
}

TEST_F(BookTest, BookMovesAreLegalMovesOrNothing) {
    dir.Write("b.vbk", MakeBook({{"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", {{"e1g1", 2, 0}}},
                                 {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", {{"a7a8", 2, 0}}},
                                 {"4k3/8/8/3pP3/8/8/8/4K3 w - - 0 2", {{"e5d6", 2, 0}}},
                                 {START, {{"e4e5", 2, 0}, {"e1e2", 2, 0}}}}));
    Printed([&] { OpenBook(dir.File("b.vbk").c_str()); });
    Load("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1"); // the rights are not in the key: castle only where allowed
    EXPECT_STREQ(MoveText(PickBookMove()), "e1g1");
    Load("r3k2r/8/8/8/8/8/8/R3K2R w kq - 0 1");
    EXPECT_EQ(PickBookMove(), 0u);
    Load("4k3/P7/8/8/8/8/8/4K3 w - - 0 1"); // a pawn reaching the last rank becomes a queen
    EXPECT_EQ(PickBookMove(), Find("a7a8q"));
    Load("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 2"); // en passant only just after the double step
    EXPECT_EQ(PickBookMove(), Find("e5d6"));
    Load("4k3/8/8/3pP3/8/8/8/4K3 w - - 0 2");
    EXPECT_EQ(PickBookMove(), 0u);
    Load(START); // moves of another position under the same keys: nothing, and nothing changed
    const u64 key = thread_board.HashKey;
    EXPECT_EQ(PickBookMove(), 0u);
    EXPECT_EQ(thread_board.HashKey, key);
    EXPECT_EQ(HistoryCount, 0);
}

// Every kind of broken file: the message, no book, no move, and the file left as it was.
TEST_F(BookTest, BrokenBooksAreRefusedAndLeftUntouched) {
    const HandBook two = {{START, {{"e2e4", 2, 0}, {"d2d4", 1, 1}}},
                          {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1", {{"e7e5", 2, 0}}}};
    const std::string good = MakeBook(two);
    ASSERT_EQ(good.size(), 36u + 24 + 9 + 5);
    auto patch = [&](size_t at, u32 value) { return Patched(good, at, value); };
    std::string swapped = good;
    std::swap_ranges(swapped.begin() + 36, swapped.begin() + 48, swapped.begin() + 48);
    const std::string invalid = "Invalid book format\n";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", invalid}, {"#" + good.substr(1), invalid}, {good.substr(0, 27), invalid}, {good.substr(0, 35), invalid},
        {patch(24, 2), "Book version 2 not supported\n"}, {patch(24, 0xFFFFFFFF), "Book version -1 not supported\n"},
        {good.substr(0, 54), invalid}, {patch(32, 3), invalid}, {patch(32, 0xFFFFFFFF), invalid},
        {patch(44, u32(good.size())), invalid}, {patch(44, 12), invalid}, {patch(44, 48), invalid},
        {good.substr(0, 60) + char(9) + good.substr(61), invalid}, {good.substr(0, good.size() - 1), invalid},
        {good.substr(0, 63), invalid}, {swapped, invalid}, {good.substr(0, 48) + good.substr(36, 12) + good.substr(60), invalid},
        {MakeBook(two, false) == good ? "" : MakeBook(two, false), invalid}};
    for (size_t i = 0; i < cases.size(); i++) {
        SCOPED_TRACE("case " + std::to_string(i));
        dir.Write("good.vbk", good);
        EXPECT_EQ(Printed([&] { OpenBook(dir.File("good.vbk").c_str()); }), "2 nodes in openings book\n");
        dir.Write("broken.vbk", cases[i].first);
        EXPECT_EQ(Printed([&] { OpenBook(dir.File("broken.vbk").c_str()); }), cases[i].second);
        EXPECT_EQ(BookLoaded, 0);
        Load(START);
        EXPECT_EQ(PickBookMove(), 0u);
        EXPECT_EQ(dir.Read("broken.vbk"), cases[i].first);
    }
    EXPECT_EQ(Printed([&] { OpenBook(dir.File("none.vbk").c_str()); }), "Error opening \"" + dir.File("none.vbk") + "\"!\n");
    EXPECT_EQ(Printed([&] { OpenBook(dir.path.c_str()); }), invalid); // a folder opens but is no book
}

// The counters of one book move of a position, "for/against".
std::string CountersOf(const std::string& fen, const std::string& move) {
    Load(fen);
    BookMoveBlock block;
    for (int i = 0; FindBookPosition() && ReadBookMoveBlock(block) && i < block.count; i++)
        if (MoveText(MakeMoveWord(block.from[i], block.to[i], 0, 0)) == move)
            return std::to_string(block.counter[i] & 0xFF) + "/" + std::to_string(block.counter[i] >> 8);
    return "absent";
}

TEST_F(BookTest, LearningCreditsTheWalkingSidesMovesAndScalesPastTheLimit) {
    const char* afterE4 = "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1";
    const char* afterE5 = "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2";
    dir.Write("b.vbk", MakeBook({{START, {{"e2e4", 10, 4}}}, {afterE4, {{"e7e5", 3, 3}}},
                                 {afterE5, {{"f1c4", 30, 61}, {"g1f3", 254, 10}, {"b1c3", 0, 0}, {"f2f4", 255, 255}}},
                                 {"rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 2", {{"b8c6", 8, 8}}}}));
    Printed([&] { OpenBook(dir.File("b.vbk").c_str()); });
    auto game = [] { BookLearningDone = 0, Load(START), Play({"e2e4", "e7e5", "g1f3", "b8c6"}); };
    // White to move: Nf3 is credited and its 256 scales the position; the first move is never
    // reached, Black's moves stay, and the game is as it was.
    game();
    const u64 key = thread_board.HashKey;
    LearnGameResult(BOOK_RESULT_GOOD);
    EXPECT_TRUE(thread_board.HashKey == key && HistoryCount == 4 && !BookLearningDue());
    EXPECT_EQ(CountersOf(afterE5, "g1f3") + CountersOf(afterE5, "f1c4") + CountersOf(afterE5, "b1c3") +
                  CountersOf(afterE5, "f2f4") + CountersOf(START, "e2e4") + CountersOf(afterE4, "e7e5"),
              "170/620/400/0255/25510/43/3");
    game(); // the engine's side walks from one move earlier when the opponent is to move
    LearnGameForEngine(BLACK, BOOK_RESULT_BAD);
    EXPECT_EQ(CountersOf(afterE4, "e7e5") + CountersOf(afterE5, "g1f3"), "3/5170/6");
}

// ------------------------------------------------------------------------------------------------
// Position learning on disk: the file made, found, refreshed, refused and left alone; falls that
// wait for confirmation; writers of both files killed at random moments.

struct LearnTest : BookTest {
    void TearDown() override { CloseLearnFile(), BookTest::TearDown(), SetDefaultLearningSettings(); }
    ScratchDir here{true}; // learn.log goes to the current folder
    std::string Open() { return Printed([] { OpenLearnFile("Learn.vb1"); }); }
    size_t Records() { return (here.Read("Learn.vb1").size() - 262167) / 24; }
};

void Learn(int depth, int score) {
    LearnQueue(LearnKey1(thread_board.HashKey), LearnKey2(thread_board.HashKey), 0, 0, score, depth);
    LearnFlushPending();
}

TEST_F(LearnTest, OnlyLearningMakesAndWritesTheFile) {
    EXPECT_EQ(Open(), "");
    UseLearningData = 1; // the data alone read, and a missing file stays missing
    EXPECT_EQ(Open(), "");
    EXPECT_TRUE(std::filesystem::is_empty(here.path));
    UseLearning = LogLearningIntoFile = 1;
    Open();
    EXPECT_EQ(here.Read("Learn.vb1"), "Velumbrak learning file" + std::string(262144, '\0'));
    Load("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 3");
    Learn(30, -120);
    Load("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 2 3"); // the men alone make the key
    Learn(38, -300);
    UseLearning = 0;
    Open();
    int depth, score;
    ASSERT_TRUE(LearnProbe(&depth, &score));
    EXPECT_EQ(depth * 1000 + score, 38000 - 300);
    const std::string file = here.Read("Learn.vb1");
    Learn(50, 1);
    EXPECT_TRUE(here.Read("Learn.vb1") == file);
    EXPECT_EQ(here.Read("learn.log"), "0\tAdd: Depth = 30\tOldEvaluation = 0\tEvaluaton = -120\tFEN = "
                                     "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - \n1\tRefresh: Depth = 38\t"
                                     "OldEvaluation = 0\tEvaluaton = -300\tFEN = r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/"
                                     "RNBQKB1R b KQkq - \n");
}

TEST_F(LearnTest, DamagedFilesAreReportedInOneLineAndNeverWritten) {
    UseLearning = UseLearningData = 1;
    Open();
    Learn(30, 5);
    CloseLearnFile();
    const std::string good = here.Read("Learn.vb1");
    const u32 slot         = 23 + 4 * (LearnKey1(thread_board.HashKey) & 0xFFFF);
    auto patch             = [&](size_t at, u32 value) { return Patched(good, at, value); };
    int index = 0;
    for (const std::string& bad : {std::string(), good.substr(0, 262166), good.substr(0, 262177), good + "xy",
                                   "v" + good.substr(1), patch(slot, 262191), patch(slot, 262168),
                                   patch(262187, 262167), patch(slot < 262160 ? slot + 4 : 23, 262167)}) {
        SCOPED_TRACE("case " + std::to_string(index++));
        here.Write("Learn.vb1", bad);
        EXPECT_EQ(Open(), "Invalid learning file \"Learn.vb1\": not used\n");
        Learn(40, 9);
        int depth, score;
        EXPECT_FALSE(LearnFileOpen() || LearnProbe(&depth, &score) || here.Read("Learn.vb1") != bad);
    }
}

// White fell between its last two moves; the last three scores are given.
int AfterMove(int older, int previous, int last, int iteration, bool sameGame = true) {
    u64 keys[10]   = {0, 0, 0, 0, 0, 0, 0, 0, sameGame ? History[HistoryCount - 2].HashKey : 0, thread_board.HashKey};
    int scores[10] = {0, 0, 0, 0, 0, 0, 0, older, previous, last}, book[10] = {};
    LearnAfterMove({scores, keys, book, last, iteration});
    return PendingLearnCount;
}

TEST_F(LearnTest, AFallWaitsForTheNextMoveToConfirmIt) {
    UseLearning = UseLearningData = 1;
    Open();
    Load(START);
    Play({"e2e4", "e7e5", "g1f3", "b8c6", "f1b5"});
    const u64 key = thread_board.HashKey;
    EXPECT_EQ(AfterMove(100, 100, 60, 7) + AfterMove(100, 100, 59, 7, false) + AfterMove(100, 100, 59, 6), 0);
    ASSERT_EQ(AfterMove(100, 100, 59, 7), 1);
    EXPECT_EQ(thread_board.HashKey, key);
    EXPECT_STREQ(MoveText(PendingLearn[0].move), "g1f3"); // chosen where the fall began
    EXPECT_EQ(AfterMove(-20, 100, 59, 8) + AfterMove(-20, 100, 59, 8) + AfterMove(-20, 100, 59, 8), 2 + 3 + 3);
    EXPECT_EQ(AfterMove(100, 59, -400, 6), 3);
    EXPECT_EQ(Records(), 0u);
    EXPECT_EQ(AfterMove(100, 59, -401, 6), 0); // confirmed: all three go to the file
    EXPECT_EQ(Records(), 1u);
    EXPECT_EQ(AfterMove(100, 100, 59, 8), 0); // stored as deep already
    EXPECT_EQ(AfterMove(100, 100, 59, 9), 1);
    EXPECT_EQ(AfterMove(0, 0, 0, 9), 0); // the score came back: nothing is learnt
}

// Writers of both files killed at random moments, 60 times: each time both files open again with
// whole records, and only the book's counters ever change.
TEST_F(LearnTest, WritersKilledAtRandomLeaveFilesThatOpen) {
    UseLearning = UseLearningData = 1;
    Load(START);
    const std::string book = MakeBook({{START, {{"e2e4", 64, 2}, {"d2d4", 1, 1}, {"g1f3", 0, 0}}}});
    here.Write("Book.vbk", book);
    std::mt19937 random(20240611);
    for (int round = 0; round < 60; round++) {
        const unsigned seed = random();
        const pid_t child   = fork();
        if (child == 0) {
            std::mt19937 mine(seed);
            Printed([] { OpenLearnFile("Learn.vb1"), OpenBook("Book.vbk"); });
            for (;;) {
                for (int i = 0; i < 3; i++) LearnQueue(mine(), mine(), mine(), 0, int(mine() % 999), 6 + int(mine() % 80));
                LearnFlushPending();
                UpdateBookMove(int(mine() % 3), Find(mine() % 2 ? "e2e4" : "d2d4"));
            }
        }
        usleep(useconds_t(2000 + random() % 20000));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        ASSERT_EQ(Open(), "") << "after kill " << round;
        ASSERT_EQ((here.Read("Learn.vb1").size() - 262167) % 24, 0u);
        ASSERT_EQ(Printed([] { OpenBook("Book.vbk"); }), "1 nodes in openings book\n");
        std::string now = here.Read("Book.vbk");
        for (size_t at : {51, 52, 55, 56}) now[at] = book[at];
        ASSERT_TRUE(now == book);
    }
    EXPECT_GT(Records(), 60u);
}

} // namespace
