// The opening book as a user meets it: books made by the builder program, found by the engine at
// start-up under the default name, listed by `bkm`; and books that are broken or of the old version.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <vector>

#include "tests/e2e/engine_process.h"

namespace {

std::string NewDir() {
    char templ[] = "/tmp/velumbrak-book-e2e-XXXXXX";
    return mkdtemp(templ);
}

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// Runs the builder; false when it failed.
bool BuildBook(const std::string& arguments) {
    const std::string command = std::string("'") + BOOKBUILD_PATH + "' " + arguments + " > /dev/null 2>&1";
    const int status          = std::system(command.c_str());
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

uint32_t Read32(const std::string& bytes, size_t at) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; i--) value = value << 8 | uint8_t(bytes.at(at + i));
    return value;
}

void Write32(std::string& bytes, size_t at, uint32_t value) {
    for (int i = 0; i < 4; i++) bytes.at(at + i) = char(uint8_t(value >> (8 * i)));
}

// Five short games whose book, to three plies, is known move by move.
const char* GAMES = "[Result \"1-0\"]\n\n1. e4 e5 2. Nf3 Nc6 1-0\n\n"
                    "[Result \"1-0\"]\n\n1. e4 e5 2. Nf3 Nf6 1-0\n\n"
                    "[Result \"1/2-1/2\"]\n\n1. e4 c5 2. Nf3 d6 1/2-1/2\n\n"
                    "[Result \"0-1\"]\n\n1. d4 d5 2. c4 e6 0-1\n\n"
                    "[Result \"*\"]\n\n1. c4 e5 *\n";

class BookConsole : public ::testing::Test {
  protected:
    void SetUp() override {
        dir = NewDir();
        WriteText(dir + "/games.pgn", GAMES);
        ASSERT_TRUE(BuildBook("-plies 3 -min 1 -o '" + dir + "/Book.vbk' '" + dir + "/games.pgn'"));
        book = ReadFileText(dir + "/Book.vbk");
    }
    void TearDown() override {
        KillEngine(engine);
        std::filesystem::remove_all(dir);
    }
    // Starts the engine in the book's folder and returns the lines before the settings.
    std::vector<std::string> Start() {
        engine = StartEngine(false, {}, dir);
        std::vector<std::string> startup = ReadStartup(engine);
        std::vector<std::string> bookLines;
        // The lines between the banner and the settings; the values file's line is not the book's.
        for (size_t i = 1; i < startup.size() && startup[i].rfind("Transposition size", 0) != 0; i++)
            if (startup[i] != "Error loading values.txt") bookLines.push_back(startup[i]);
        size_t first = 0;
        while (first < startup.size() && startup[first].rfind("Transposition size", 0) != 0) first++;
        settings.assign(startup.begin() + first, startup.end());
        return bookLines;
    }
    // The `bkm` listing without its first line, which shows the position's hash keys.
    std::vector<std::string> Listing() {
        std::vector<std::string> lines = Exchange(engine, "bkm");
        EXPECT_FALSE(lines.empty());
        if (lines.empty()) return lines;
        EXPECT_EQ(lines[0].rfind("Current nhash1 = ", 0), 0u) << lines[0];
        lines.erase(lines.begin());
        return lines;
    }
    std::string dir, book;
    EngineProcess engine;
    std::vector<std::string> settings;
};

using Lines = std::vector<std::string>;

TEST_F(BookConsole, DefaultBookIsOpenedAndListedMoveByMove) {
    EXPECT_EQ(Start(), Lines{"7 nodes in openings book"});
    EXPECT_EQ(settings.front(), "Transposition size is 524288 entries (12582912 bytes)");
    Exchange(engine, "force");
    EXPECT_EQ(Listing(), (Lines{"3 moves from current pos in book:", "e2e4 83% (not less than 3 game(s))",
                                "c2c4 ?", "d2d4 0% (not less than 1 game(s))"}));
    Exchange(engine, "e2e4");
    EXPECT_EQ(Listing(), (Lines{"2 moves from current pos in book:", "e7e5 0% (not less than 2 game(s))",
                                "c7c5 50% (not less than 1 game(s))"}));
    Exchange(engine, "e7e5");
    EXPECT_EQ(Listing(), (Lines{"1 moves from current pos in book:", "g1f3 100% (not less than 2 game(s))"}));
    Exchange(engine, "g1f3");
    EXPECT_EQ(Listing(), Lines{"No moves from current pos in book"}); // past the third ply
    Exchange(engine, "new");
    Exchange(engine, "force");
    Exchange(engine, "c2c4");
    EXPECT_EQ(Listing(), (Lines{"1 moves from current pos in book:", "e7e5 ?"}));
    // Castling rights and the move count are not part of a book position.
    Exchange(engine, "loadfen rnbqkbnr/pppppppp/8/8/3P4/8/PPP1PPPP/RNBQKBNR b - - 7 30");
    EXPECT_EQ(Listing(), (Lines{"1 moves from current pos in book:", "d7d5 100% (not less than 1 game(s))"}));
    Exchange(engine, "loadfen rnbqkbnr/pppppppp/8/8/3P4/8/PPP1PPPP/RNBQKBNR w KQkq - 0 1");
    EXPECT_EQ(Listing(), Lines{"No moves from current pos in book"});
    EXPECT_EQ(CloseAndWait(engine), 0);
    EXPECT_EQ(ReadFileText(dir + "/Book.vbk"), book);
}

TEST_F(BookConsole, BookOfEngineGamesListsTheirFirstMoves) {
    const std::string tcec = std::string(TESTDATA_DIR) + "/pgn/TCEC_Season_4_-_Superfinal.pgn";
    ASSERT_TRUE(BuildBook("-plies 10 -min 2 -o '" + dir + "/Book.vbk' '" + tcec + "'"));
    const std::string bytes = ReadFileText(dir + "/Book.vbk");
    EXPECT_EQ(Start(), Lines{std::to_string(Read32(bytes, 32)) + " nodes in openings book"});
    const Lines listing = Listing();
    // 24 games open 1.e4 and 12 open 1.d4; 1.Nc3 comes from games whose knights went home again.
    ASSERT_EQ(listing.size(), 8u);
    EXPECT_EQ(listing[0], "7 moves from current pos in book:");
    EXPECT_EQ(listing[1].substr(0, 5), "e2e4 ");
    EXPECT_NE(listing[1].find("(not less than 24 game(s))"), std::string::npos);
    EXPECT_EQ(listing[2].substr(0, 5), "d2d4 ");
    EXPECT_NE(listing[2].find("(not less than 12 game(s))"), std::string::npos);
}

TEST_F(BookConsole, OldVersionBookTurnsWeightsAndLearningOff) {
    // The same book with three-byte entries: from, to and a flag (here the first counter).
    const uint32_t nodes = Read32(book, 32);
    std::string old      = book.substr(0, 36 + 12 * nodes);
    Write32(old, 24, 0);
    for (uint32_t i = 0; i < nodes; i++) {
        const uint32_t offset = Read32(book, 36 + 12 * i + 8);
        Write32(old, 36 + 12 * i + 8, uint32_t(old.size()));
        const int count = uint8_t(book[offset]);
        old += book[offset];
        for (int m = 0; m < count; m++) old += book.substr(offset + 1 + 4 * m, 3);
    }
    WriteText(dir + "/Book.vbk", old);
    EXPECT_EQ(Start(), (Lines{"NG: Book learning not supported for book version 0", "7 nodes in openings book"}));
    EXPECT_NE(std::find(settings.begin(), settings.end(), "UseBookWeights = off"), settings.end());
    EXPECT_NE(std::find(settings.begin(), settings.end(), "UseBookLearning = off"), settings.end());
    EXPECT_EQ(Listing(), (Lines{"3 moves from current pos in book:", "e2e4 5", "c2c4 0", "d2d4 0"}));
    EXPECT_EQ(CloseAndWait(engine), 0);
    EXPECT_EQ(ReadFileText(dir + "/Book.vbk"), old);
}

TEST_F(BookConsole, BrokenBooksAreReportedAndPlayGoesOnWithout) {
    const uint32_t nodes = Read32(book, 32);
    const size_t firstBlock = Read32(book, 44);
    auto patched = [&](size_t at, uint32_t value) {
        std::string bytes = book;
        Write32(bytes, at, value);
        return bytes;
    };
    std::string badMagic = book;
    badMagic[0]          = '#';
    std::string countPastEnd = book;
    countPastEnd[firstBlock] = char(200);
    const std::string invalid = "Invalid book format";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {badMagic, invalid},
        {book.substr(0, 30), invalid},
        {patched(24, 3), "Book version 3 not supported"},
        {book.substr(0, 36 + 12 * nodes - 5), invalid},
        {patched(44, uint32_t(book.size()) + 100), invalid},
        {countPastEnd, invalid},
        {book.substr(0, book.size() - 2), invalid},
    };
    for (const auto& [bytes, message] : cases) {
        SCOPED_TRACE(message + ", " + std::to_string(bytes.size()) + " bytes");
        WriteText(dir + "/Book.vbk", bytes);
        EXPECT_EQ(Start(), Lines{message});
        EXPECT_EQ(settings.size(), 18u);
        EXPECT_EQ(Listing(), Lines{"No book loaded..."});
        Exchange(engine, "force");
        EXPECT_EQ(Exchange(engine, "e2e4"), Lines{});
        EXPECT_EQ(CloseAndWait(engine), 0);
        EXPECT_EQ(ReadFileText(dir + "/Book.vbk"), bytes);
    }
}

} // namespace
