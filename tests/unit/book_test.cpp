// The opening book as the engine reads it: keys, the binary search in the file, the choice among
// the moves, the listing, and books that must be refused without harm.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "board/movegen.h"
#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "frontend/game.h"
#include "frontend/settings.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"
#include "tests/unit/test_main_setup.h"

namespace {

// A position and its move entries as the test writes them: from, to, and either the two counters
// (version 1) or the flag (version 0).
struct HandEntry {
    std::string square; // "e2e4"
    int a;
    int b;
};
struct HandPosition {
    std::string fen;
    std::vector<HandEntry> moves;
};

int SquareOf(const std::string& text, int at) { return (text[at] - 'a') + (text[at + 1] - '1') * 8; }

void Put32(std::vector<uint8_t>& bytes, uint32_t value) {
    bytes.push_back(uint8_t(value));
    bytes.push_back(uint8_t(value >> 8));
    bytes.push_back(uint8_t(value >> 16));
    bytes.push_back(uint8_t(value >> 24));
}

void SetPosition(const std::string& fen) {
    testing::internal::CaptureStdout();
    const bool ok        = SetFen(fen.c_str());
    const std::string out = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ok) << fen << out;
}

// The keys under which the engine looks the current position up.
std::pair<uint32_t, uint32_t> LookupKeys() {
    u32 first, second;
    ComputeBookKey(first, second);
    if (thread_board.SideToMove == BLACK) first ^= 131313131u;
    return {first, second};
}

// The test's own writer of the file layout; signedOrder false sorts the index as unsigned numbers.
std::vector<uint8_t> MakeBook(const std::vector<HandPosition>& positions, int version, bool signedOrder = true) {
    struct Record {
        uint32_t first, second;
        const HandPosition* position;
    };
    std::vector<Record> records;
    for (const HandPosition& p : positions) {
        SetPosition(p.fen);
        auto [first, second] = LookupKeys();
        records.push_back({first, second, &p});
    }
    std::sort(records.begin(), records.end(), [&](const Record& x, const Record& y) {
        if (signedOrder)
            return std::make_pair(int32_t(x.first), int32_t(x.second)) < std::make_pair(int32_t(y.first), int32_t(y.second));
        return std::make_pair(x.first, x.second) < std::make_pair(y.first, y.second);
    });
    std::vector<uint8_t> bytes;
    const std::string magic = "~Velumbrak openings book";
    bytes.insert(bytes.end(), magic.begin(), magic.end());
    Put32(bytes, uint32_t(version));
    Put32(bytes, 0xDEADBEEF); // not used, so anything
    Put32(bytes, uint32_t(records.size()));
    uint32_t offset = uint32_t(36 + 12 * records.size());
    std::vector<uint8_t> blocks;
    for (const Record& r : records) {
        Put32(bytes, r.first);
        Put32(bytes, r.second);
        Put32(bytes, offset + uint32_t(blocks.size()));
        blocks.push_back(uint8_t(r.position->moves.size()));
        for (const HandEntry& m : r.position->moves) {
            blocks.push_back(uint8_t(SquareOf(m.square, 0)));
            blocks.push_back(uint8_t(SquareOf(m.square, 2)));
            blocks.push_back(uint8_t(m.a));
            if (version == 1) blocks.push_back(uint8_t(m.b));
        }
    }
    bytes.insert(bytes.end(), blocks.begin(), blocks.end());
    return bytes;
}

std::string TempDirName;

void RemoveTempDir() { std::filesystem::remove_all(TempDirName); }

std::string TempDir() {
    std::string& dir = TempDirName;
    if (dir.empty()) {
        char templ[] = "/tmp/velumbrak-book-unit-XXXXXX";
        dir          = mkdtemp(templ);
        std::atexit(RemoveTempDir);
    }
    return dir;
}

std::string WriteFile(const std::string& name, const std::vector<uint8_t>& bytes) {
    const std::string path = TempDir() + "/" + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return path;
}

std::vector<uint8_t> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

std::string Open(const std::string& path) {
    testing::internal::CaptureStdout();
    OpenBook(path.c_str());
    return testing::internal::GetCapturedStdout();
}

std::string Listing() {
    testing::internal::CaptureStdout();
    PrintBookMoves();
    return testing::internal::GetCapturedStdout();
}

std::string HashLine() {
    char line[80];
    std::snprintf(line, sizeof line, "Current nhash1 = %d, nhash2 = %d\n", int(uint32_t(thread_board.HashKey)),
                  int(uint32_t(thread_board.HashKey >> 16)));
    return line;
}

// The generator of the book choice, written out again from its definition.
struct ReferenceRandom {
    uint32_t state;
    int Next() {
        state = state * 214013u + 2531011u;
        return int((state >> 16) & 0x7FFF);
    }
};

Move Coordinate(const std::string& text) {
    const int from = SquareOf(text, 0), to = SquareOf(text, 2);
    return MakeMoveWord(from, to, thread_board.Board[from], thread_board.Board[to]);
}

const char* START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

class BookTest : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        CloseBook();
        UseBookWeights   = 1;
        UseBookLearning  = 1;
        VarietyOfPlay    = 10;
        BookLearningMode = 0;
        MoveListTop      = 0;
    }
    void TearDown() override {
        CloseBook();
        UseBookWeights  = 1;
        UseBookLearning = 1;
    }
    // Loads a hand-made book and expects the node line.
    void Load(const std::vector<HandPosition>& positions, int version = 1) {
        const std::string path = WriteFile("hand.vbk", MakeBook(positions, version));
        std::string expected   = version == 0 ? "NG: Book learning not supported for book version 0\n" : "";
        expected += std::to_string(positions.size()) + " nodes in openings book\n";
        ASSERT_EQ(Open(path), expected);
        ASSERT_EQ(BookLoaded, 1);
    }
};

TEST_F(BookTest, KeyTablesAreFixedAndDistinct) {
    EXPECT_EQ(BookKeyWhite1[KING][0], 0x4C73E605u);
    EXPECT_EQ(BookKeyWhite1[KING][2], 0x9D144DF4u);
    EXPECT_EQ(BookKeyBlack1[KING][1], 0xCDB1711Cu);
    EXPECT_EQ(BookKeyWhite2[KING][1], 0xB4310EAAu);
    EXPECT_EQ(BookKeyBlack2[KING][2], 0xC77261F5u);
    std::set<uint32_t> seen;
    for (const BookKeyTable* table : {&BookKeyWhite1, &BookKeyBlack1, &BookKeyWhite2, &BookKeyBlack2})
        for (int piece : {KING, KNIGHT, PAWN, ROOK, BISHOP, QUEEN})
            for (int square = 0; square < 64; square++) seen.insert((*table)[piece][square]);
    EXPECT_EQ(seen.size(), 4u * 6 * 64);
}

TEST_F(BookTest, KeysIgnoreCastlingEnPassantAndSeparateTheSideToMove) {
    SetPosition("r3k2r/8/8/3pP3/8/8/8/R3K2R w KQkq d6 0 1");
    const auto withRights = LookupKeys();
    SetPosition("r3k2r/8/8/3pP3/8/8/8/R3K2R w - - 0 40");
    EXPECT_EQ(LookupKeys(), withRights);
    SetPosition("r3k2r/8/8/3pP3/8/8/8/R3K2R b - - 0 1");
    const auto blackToMove = LookupKeys();
    EXPECT_NE(blackToMove.first, withRights.first);
    EXPECT_EQ(blackToMove.second, withRights.second);
    u32 first, second;
    ComputeBookKey(first, second);
    EXPECT_EQ(first ^ 0x7D3ADEBu, blackToMove.first);

    // The key is the XOR of the men's numbers, whatever the order they were put on the board.
    SetPosition("4k3/8/8/8/8/8/8/4K2R w - - 0 1");
    ComputeBookKey(first, second);
    EXPECT_EQ(first, BookKeyWhite1[KING][4] ^ BookKeyWhite1[ROOK][7] ^ BookKeyBlack1[KING][60]);
    EXPECT_EQ(second, BookKeyWhite2[KING][4] ^ BookKeyWhite2[ROOK][7] ^ BookKeyBlack2[KING][60]);
}

TEST_F(BookTest, BinarySearchFindsEveryPositionInSignedKeyOrder) {
    // Many positions with both sides to move give keys on both sides of the sign bit.
    std::vector<HandPosition> positions;
    std::vector<std::string> absent;
    std::ifstream suite(std::string(TESTDATA_DIR) + "/perft/perftsuite.epd");
    std::string line;
    std::set<std::pair<uint32_t, uint32_t>> keys; // the same men with other rights are one position
    int index = 0;
    while (std::getline(suite, line)) {
        std::string fen = line.substr(0, line.find(';'));
        for (const char* side : {" w ", " b "}) {
            std::string f = fen;
            f.replace(f.find(' '), 3, side);
            // Positions where the side not to move would be in check cannot be set; skip them.
            testing::internal::CaptureStdout();
            const bool ok = SetFen(f.c_str());
            testing::internal::GetCapturedStdout();
            if (!ok || !keys.insert(LookupKeys()).second) continue;
            if (index++ % 5 == 4)
                absent.push_back(f);
            else
                positions.push_back({f, {{"a1a2", 2, 0}}});
        }
    }
    int negative = 0;
    for (const HandPosition& p : positions) {
        SetPosition(p.fen);
        negative += int32_t(LookupKeys().first) < 0;
    }
    ASSERT_GT(negative, 10);
    ASSERT_LT(negative, int(positions.size()) - 10);

    ASSERT_NO_FATAL_FAILURE(Load(positions));
    EXPECT_EQ(BookNodes, int(positions.size()) + 3);
    for (const HandPosition& p : positions) {
        SetPosition(p.fen);
        ASSERT_TRUE(FindBookPosition()) << p.fen;
        // The read position is left on the offset field: the block behind it is this position's.
        BookMoveBlock block;
        ASSERT_TRUE(ReadBookMoveBlock(block));
        EXPECT_EQ(block.count, 1);
        EXPECT_EQ(block.from[0], 0);
        EXPECT_EQ(block.to[0], 8);
        EXPECT_EQ(block.counter[0], 2);
    }
    for (const std::string& fen : absent) {
        SetPosition(fen);
        EXPECT_FALSE(FindBookPosition()) << fen;
    }

    // The same records in unsigned order are out of order for the engine, and are refused.
    const std::string path = WriteFile("unsigned.vbk", MakeBook(positions, 1, false));
    EXPECT_EQ(Open(path), "Invalid book format\n");
    EXPECT_EQ(BookLoaded, 0);
}

TEST_F(BookTest, EmptyBookLoadsAndFindsNothing) {
    Load({});
    SetPosition(START);
    EXPECT_FALSE(FindBookPosition());
    EXPECT_EQ(PickBookMove(), 0u);
    EXPECT_EQ(Listing(), HashLine() + "No moves from current pos in book\n");
}

TEST_F(BookTest, ChoiceFollowsRatesAndVarietyWithAFixedSeed) {
    // Rates: e2e4 600, d2d4 540, g1f3 539, c2c4 never played (500), b1c3 dead.
    Load({{START, {{"b1c3", 255, 255}, {"e2e4", 6, 4}, {"d2d4", 27, 23}, {"g1f3", 34, 29}, {"c2c4", 0, 0}}}});
    SetPosition(START);
    const std::vector<std::pair<int, std::vector<std::string>>> cases = {
        {10, {"e2e4", "d2d4"}}, // threshold 540: 539 just misses
        {0, {"e2e4"}},
        {100, {"e2e4", "d2d4", "g1f3", "c2c4"}},
        {17, {"e2e4", "d2d4", "g1f3", "c2c4"}}, // threshold 498
        {16, {"e2e4", "d2d4", "g1f3"}},         // threshold 504
    };
    for (const auto& [variety, kept] : cases) {
        VarietyOfPlay = variety;
        SeedBookRandom(12345);
        ReferenceRandom reference{12345};
        std::set<std::string> chosen;
        for (int i = 0; i < 200; i++) {
            const Move move = PickBookMove();
            ASSERT_EQ(move, Coordinate(kept[reference.Next() % kept.size()])) << "variety " << variety;
            chosen.insert(MoveText(move));
        }
        EXPECT_EQ(chosen.size(), kept.size()) << "variety " << variety;
    }

    // Without weights every live move is as likely; the dead one never comes.
    UseBookWeights = 0;
    SeedBookRandom(777);
    ReferenceRandom reference{777};
    const std::vector<std::string> live = {"e2e4", "d2d4", "g1f3", "c2c4"};
    for (int i = 0; i < 200; i++) ASSERT_EQ(PickBookMove(), Coordinate(live[reference.Next() % 4]));
}

TEST_F(BookTest, DiscoverModeTriesTheLeastTestedMove) {
    BookLearningMode = 1;
    Load({{START, {{"e2e4", 6, 4}, {"d2d4", 0, 0}, {"b1c3", 255, 255}}},
          {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1",
           {{"e7e5", 2, 2}, {"c7c5", 3, 1}, {"e7e6", 1, 3}, {"d7d5", 40, 0}, {"c7c6", 255, 255}}},
          {"rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2",
           {{"g1f3", 2, 2}, {"f1c4", 1, 1}, {"b1c3", 4, 4}, {"d2d4", 255, 255}}},
          {"rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 2", {{"b8c6", 255, 255}}}});
    SetPosition(START);
    EXPECT_EQ(PickBookMove(), Coordinate("d2d4")); // never played: no tests at all
    SetPosition("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1");
    EXPECT_EQ(PickBookMove(), Coordinate("c7c5")); // four tests each: the better rate
    SetPosition("rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2");
    EXPECT_EQ(PickBookMove(), Coordinate("f1c4")); // fewest tests, though the rates are all equal
    SetPosition("rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 2");
    EXPECT_EQ(PickBookMove(), 0u); // only dead moves
}

TEST_F(BookTest, BookMovesAreLegalMoveWordsOrNothing) {
    Load({// Castling rights are not in the key: the castle is only played where it is allowed.
          {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", {{"e1g1", 2, 0}}},
          // A pawn that reaches the last rank becomes a queen, for either side.
          {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", {{"a7a8", 2, 0}}},
          {"4k3/8/8/8/8/8/7p/4K3 b - - 0 1", {{"h2h1", 2, 0}}},
          // A wrong move for the position (a collision) gives nothing and changes nothing.
          {START, {{"e4e5", 2, 0}, {"e1e2", 2, 0}}},
          {"4k3/8/8/3pP3/8/8/8/4K3 w - - 0 2", {{"e5d6", 2, 0}}}});
    SetPosition("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    EXPECT_EQ(PickBookMove(), MakeMoveWord(4, 6, KING));
    SetPosition("r3k2r/8/8/8/8/8/8/R3K2R w kq - 0 1");
    EXPECT_EQ(PickBookMove(), 0u);
    SetPosition("4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    const Move promotion = PickBookMove();
    EXPECT_EQ(promotion, MakeMoveWord(48, 56, PAWN, EMPTY, QUEEN));
    EXPECT_STREQ(MoveText(promotion), "a7a8q");
    SetPosition("4k3/8/8/8/8/8/7p/4K3 b - - 0 1");
    EXPECT_EQ(PickBookMove(), MakeMoveWord(15, 7, PAWN, EMPTY, QUEEN));

    SetPosition(START);
    const u64 key = thread_board.HashKey;
    EXPECT_EQ(PickBookMove(), 0u);
    EXPECT_EQ(thread_board.HashKey, key);
    EXPECT_EQ(HistoryCount, 0);

    // En passant is a book move only where the double step has just been made.
    SetPosition("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 2");
    EXPECT_EQ(PickBookMove(), MakeMoveWord(36, 43, PAWN));
    SetPosition("4k3/8/8/3pP3/8/8/8/4K3 w - - 0 2");
    EXPECT_EQ(PickBookMove(), 0u);
}

TEST_F(BookTest, ListingShowsEveryMoveInFileOrder) {
    SetPosition(START);
    EXPECT_EQ(Listing(), HashLine() + "No book loaded...\n");
    Load({{START, {{"e2e4", 6, 4}, {"d2d4", 0, 0}, {"b1c3", 255, 255}, {"g1f3", 1, 0}, {"c2c4", 254, 254}}}});
    SetPosition(START);
    EXPECT_EQ(Listing(), HashLine() +
                             "5 moves from current pos in book:\n"
                             "e2e4 60% (not less than 5 game(s))\n"
                             "d2d4 ?\n"
                             "b1c3 -\n"
                             "g1f3 100% (not less than 0 game(s))\n"
                             "c2c4 50% (not less than 254 game(s))\n");
    SetPosition("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1");
    EXPECT_EQ(Listing(), HashLine() + "No moves from current pos in book\n");
}

TEST_F(BookTest, VersionZeroBookPlaysWithoutWeightsOrLearning) {
    Load({{START, {{"e2e4", 3, 0}, {"d2d4", 255, 0}, {"g1f3", 0, 0}, {"c2c4", 254, 0}}}}, 0);
    EXPECT_EQ(BookVersionZero, 1);
    EXPECT_EQ(UseBookWeights, 0);
    EXPECT_EQ(UseBookLearning, 0);
    SetPosition(START);
    EXPECT_EQ(Listing(), HashLine() +
                             "4 moves from current pos in book:\n"
                             "e2e4 3\n"
                             "d2d4 255\n"
                             "g1f3 0\n"
                             "c2c4 254\n");
    SeedBookRandom(99);
    ReferenceRandom reference{99};
    const std::vector<std::string> live = {"e2e4", "g1f3", "c2c4"};
    for (int i = 0; i < 100; i++) ASSERT_EQ(PickBookMove(), Coordinate(live[reference.Next() % 3]));

    // A version 1 book opened next clears the mark.
    Load({{START, {{"e2e4", 2, 0}}}});
    EXPECT_EQ(BookVersionZero, 0);
}

// Every kind of broken file: the message, no book, no lookup, and the file as it was.
TEST_F(BookTest, BrokenBooksAreRefusedAndLeftUntouched) {
    const std::vector<HandPosition> two = {{START, {{"e2e4", 2, 0}, {"d2d4", 1, 1}}},
                                           {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1",
                                            {{"e7e5", 2, 0}}}};
    const std::vector<uint8_t> good = MakeBook(two, 1);
    ASSERT_EQ(good.size(), 36u + 24 + 9 + 5);
    auto cut = [&](size_t size) { return std::vector<uint8_t>(good.begin(), good.begin() + long(size)); };
    auto patch = [&](size_t at, uint32_t value) {
        std::vector<uint8_t> bytes = good;
        for (int i = 0; i < 4; i++) bytes[at + i] = uint8_t(value >> (8 * i));
        return bytes;
    };
    std::vector<uint8_t> badMagic = good;
    badMagic[3] ^= 0x20;
    std::vector<uint8_t> countPastEnd = good;
    countPastEnd[36 + 24] = 9; // the first block claims 9 moves
    std::vector<uint8_t> duplicate = good;
    std::copy(good.begin() + 36, good.begin() + 44, duplicate.begin() + 48);
    std::vector<uint8_t> swapped = good;
    std::swap_ranges(swapped.begin() + 36, swapped.begin() + 48, swapped.begin() + 48);

    const std::string invalid = "Invalid book format\n";
    const std::vector<std::pair<std::vector<uint8_t>, std::string>> cases = {
        {{}, invalid},
        {badMagic, invalid},
        {cut(20), invalid},
        {cut(27), invalid},
        {cut(30), invalid},
        {cut(35), invalid},
        {patch(24, 2), "Book version 2 not supported\n"},
        {patch(24, 0xFFFFFFFF), "Book version -1 not supported\n"},
        {cut(36 + 18), invalid},          // index cut inside its second record
        {patch(32, 3), invalid},          // one record more than the file holds
        {patch(32, 0xFFFFFFFF), invalid}, // a node count far past the end
        {patch(44, uint32_t(good.size())), invalid}, // block offset at the end of the file
        {patch(44, 0x7FFFFFF0), invalid},
        {patch(44, 12), invalid},  // block offset inside the header
        {patch(44, 48), invalid},  // block offset inside the index
        {countPastEnd, invalid},
        {cut(good.size() - 1), invalid}, // last move entry cut short
        {cut(36 + 24 + 3), invalid},     // a block cut inside its first entry
        {swapped, invalid},              // index out of order
        {duplicate, invalid},            // one position twice
    };
    int index = 0;
    for (const auto& [bytes, message] : cases) {
        SCOPED_TRACE("case " + std::to_string(index));
        // A sound book is open first: the broken one closes it and leaves none.
        Load(two);
        const std::string path = WriteFile("broken" + std::to_string(index++) + ".vbk", bytes);
        const std::string out  = Open(path);
        EXPECT_EQ(out, message);
        EXPECT_EQ(BookLoaded, 0);
        EXPECT_EQ(BookFile, nullptr);
        SetPosition(START);
        EXPECT_EQ(PickBookMove(), 0u);
        EXPECT_EQ(Listing(), HashLine() + "No book loaded...\n");
        EXPECT_EQ(ReadFile(path), bytes);
    }

    const std::string missing = TempDir() + "/no such book.vbk";
    EXPECT_EQ(Open(missing), "Error opening \"" + missing + "\"!\n");
    EXPECT_EQ(BookLoaded, 0);
    // A directory opens but cannot be read as a book.
    EXPECT_EQ(Open(TempDir()), invalid);
    EXPECT_EQ(BookLoaded, 0);
}

} // namespace
