// The opening book as a user meets it: a book made by the builder program, found at start-up under
// the default name and listed by `bkm`; books of the old version; broken books; learning.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <unistd.h>

#include "tests/support/engine_process.h"

namespace {

// Five short games whose book, to three plies, is known move by move.
const char* GAMES = "[Result \"1-0\"]\n\n1. e4 e5 2. Nf3 Nc6 1-0\n\n[Result \"1-0\"]\n\n1. e4 e5 2. Nf3 Nf6 1-0\n\n"
                    "[Result \"1/2-1/2\"]\n\n1. e4 c5 2. Nf3 d6 1/2-1/2\n\n[Result \"0-1\"]\n\n1. d4 d5 2. c4 e6 0-1\n\n"
                    "[Result \"*\"]\n\n1. c4 e5 *\n";

uint32_t Get32(const std::string& bytes, size_t at) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; i--) value = value << 8 | uint8_t(bytes.at(at + size_t(i)));
    return value;
}
void Put32(std::string& bytes, size_t at, uint32_t value) {
    for (int i = 0; i < 4; i++) bytes.at(at + size_t(i)) = char(value >> (8 * i));
}

class BookConsole : public ::testing::Test {
  protected:
    void SetUp() override {
        dir.Write("games.pgn", GAMES);
        const std::string command = "'" BOOKBUILD_PATH "' -plies 3 -min 1 -o '" + dir.File("Book.vbk") + "' '" +
                                    dir.File("games.pgn") + "' > /dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0);
        book = dir.Read("Book.vbk");
    }
    // Starts the engine in the book's folder: the start-up lines between the banner and the settings.
    Lines Start(const std::string& bytes) {
        dir.Write("Book.vbk", bytes);
        engine = std::make_unique<EngineProcess>(false, std::vector<std::pair<std::string, std::string>>{}, dir.path);
        Lines lines = engine->Startup();
        return lines.size() < 4 ? lines : Lines(lines.begin() + 2, lines.end() - 18);
    }
    // The `bkm` listing without its first line, the position's hash keys.
    Lines Listing() {
        Lines lines = engine->Exchange("bkm");
        EXPECT_EQ(lines.empty() ? "" : lines[0].substr(0, 17), "Current nhash1 = ");
        return lines.empty() ? lines : Lines(lines.begin() + 1, lines.end());
    }
    ScratchDir dir;
    std::string book;
    std::unique_ptr<EngineProcess> engine;
};

TEST_F(BookConsole, DefaultBookIsOpenedAndListedMoveByMove) {
    EXPECT_EQ(Start(book), Lines{"7 nodes in openings book"});
    engine->Exchange("force");
    EXPECT_EQ(Listing(), (Lines{"3 moves from current pos in book:", "e2e4 83% (not less than 3 game(s))", "c2c4 ?",
                                "d2d4 0% (not less than 1 game(s))"}));
    engine->Exchange("e2e4");
    EXPECT_EQ(Listing(), (Lines{"2 moves from current pos in book:", "e7e5 0% (not less than 2 game(s))",
                                "c7c5 50% (not less than 1 game(s))"}));
    engine->Exchange("e7e5");
    EXPECT_EQ(Listing(), (Lines{"1 moves from current pos in book:", "g1f3 100% (not less than 2 game(s))"}));
    engine->Exchange("g1f3");
    EXPECT_EQ(Listing(), Lines{"No moves from current pos in book"}); // past the third ply
    // Castling rights and the move count are not part of a book position.
    engine->Exchange("loadfen rnbqkbnr/pppppppp/8/8/3P4/8/PPP1PPPP/RNBQKBNR b - - 7 30");
    EXPECT_EQ(Listing(), (Lines{"1 moves from current pos in book:", "d7d5 100% (not less than 1 game(s))"}));
    EXPECT_EQ(engine->CloseAndWait(), 0);
    EXPECT_EQ(dir.Read("Book.vbk"), book);
}

TEST_F(BookConsole, OldVersionBookTurnsWeightsAndLearningOff) {
    // The same book with three-byte entries: from, to and a flag (here the first counter).
    const uint32_t nodes = Get32(book, 32);
    std::string old      = book.substr(0, 36 + 12 * nodes);
    Put32(old, 24, 0);
    for (uint32_t i = 0; i < nodes; i++) {
        const uint32_t offset = Get32(book, 36 + 12 * i + 8);
        Put32(old, 36 + 12 * i + 8, uint32_t(old.size()));
        old += book[offset];
        for (int m = 0; m < uint8_t(book[offset]); m++) old += book.substr(offset + 1 + 4 * size_t(m), 3);
    }
    EXPECT_EQ(Start(old), (Lines{"NG: Book learning not supported for book version 0", "7 nodes in openings book"}));
    EXPECT_EQ(Listing(), (Lines{"3 moves from current pos in book:", "e2e4 5", "c2c4 0", "d2d4 0"}));
    EXPECT_EQ(engine->CloseAndWait(), 0);
    EXPECT_EQ(dir.Read("Book.vbk"), old);
}

TEST_F(BookConsole, BrokenBooksAreReportedAndPlayGoesOnWithout) {
    const uint32_t nodes = Get32(book, 32), firstBlock = Get32(book, 44);
    auto patched = [&](size_t at, uint32_t value) {
        std::string bytes = book;
        Put32(bytes, at, value);
        return bytes;
    };
    std::string countPastEnd = book;
    countPastEnd[firstBlock] = char(200);
    const std::string invalid = "Invalid book format";
    for (const auto& [bytes, message] : std::vector<std::pair<std::string, std::string>>{
             {"#" + book.substr(1), invalid}, {book.substr(0, 30), invalid}, {patched(24, 3), "Book version 3 not supported"},
             {book.substr(0, 36 + 12 * nodes - 5), invalid}, {patched(44, uint32_t(book.size()) + 100), invalid},
             {countPastEnd, invalid}, {book.substr(0, book.size() - 2), invalid}}) {
        SCOPED_TRACE(message + ", " + std::to_string(bytes.size()) + " bytes");
        EXPECT_EQ(Start(bytes), Lines{message});
        EXPECT_EQ(Listing(), Lines{"No book loaded..."});
        engine->Exchange("force");
        EXPECT_EQ(engine->Exchange("e2e4"), Lines{});
        EXPECT_EQ(engine->CloseAndWait(), 0);
        EXPECT_EQ(dir.Read("Book.vbk"), bytes);
    }
}

// ------------------------------------------------------------------------------------------------
// Learning: games given up by every protocol's command teach the book, and games with learning on,
// killed at random moments, leave files that open whole.

void BuildBook(const ScratchDir& dir, const std::string& games, const std::string& options) {
    dir.Write("games.pgn", games);
    ASSERT_EQ(std::system(("'" BOOKBUILD_PATH "' " + options + " -o '" + dir.File("Book.vbk") + "' '" +
                           dir.File("games.pgn") + "' > /dev/null").c_str()), 0);
}

// The engine plays Black from the book (lost twice: 0%) for three moves, and the game is given up.
// Its last move is not reached by the walk; the two before it count as draws.
TEST(Learning, GivenUpGamesTeachTheBookAsDraws) {
    for (const std::string ending : {"ucinewgame", "new", "reset", "off"}) {
        SCOPED_TRACE(ending);
        ScratchDir dir;
        ASSERT_NO_FATAL_FAILURE(BuildBook(dir, "[Result \"1-0\"]\n1. e4 e5 2. Nf3 Nc6 3. Bb5 a6 1-0\n"
                                          "[Result \"1-0\"]\n1. e4 e5 2. Nf3 Nc6 3. Bb5 a6 1-0\n", "-plies 6 -min 1"));
        if (ending == "off") dir.Write("Velumbrak.ini", "UseBookLearning off\n");
        const std::string book = dir.Read("Book.vbk");
        EngineProcess engine(false, {}, dir.path);
        engine.Startup();
        if (ending == "ucinewgame") {
            engine.Send("uci");
            engine.ReadUntil("uciok");
            std::string moves = "position startpos moves e2e4";
            for (const char* white : {" g1f3", " f1b5", ""}) {
                engine.Send(moves + "\ngo depth 2");
                moves += " " + Words(engine.ReadUntil("bestmove").back()).at(1) + white;
            }
        } else {
            for (const char* white : {"easy\nsd 2\ne2e4", "g1f3", "f1b5"}) engine.Exchange(white);
        }
        engine.Exchange(ending == "off" ? "new" : ending);
        const bool learns = ending != "off";
        for (const auto& [fen, counts] : std::vector<std::pair<std::string, std::string>>{
                 {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1", learns ? "e7e5 16% (not less than 3" : "e7e5 0% (not less than 2"},
                 {"rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 2", learns ? "b8c6 16% (not less than 3" : "b8c6 0% (not less than 2"},
                 {"r1bqkbnr/pppp1ppp/2n5/1B2p3/4P3/5N2/PPPP1PPP/RNBQK2R b KQkq - 3 3", "a7a6 0% (not less than 2"}}) {
            const Lines lines = engine.Exchange("force\nloadfen " + fen + "\nbkm");
            EXPECT_EQ(lines.size() == 3 ? lines[2] : "", counts + " game(s))");
        }
        EXPECT_EQ(engine.CloseAndWait(), 0);
        EXPECT_EQ(dir.Read("Book.vbk") == book, !learns);
        EXPECT_FALSE(std::filesystem::exists(dir.File("Learn.vb1")));
    }
}

// 12 rounds (or VELUMBRAK_SOAK_ROUNDS) of self-play from the book with both kinds of learning on,
// each killed with SIGKILL at a random moment: every start opens both files with whole records.
TEST(Learning, EnginesKilledDuringGamesLeaveFilesThatOpen) {
    ScratchDir dir;
    ASSERT_NO_FATAL_FAILURE(BuildBook(dir, ReadFileText(DataPath("pgn/TCEC_Season_4_-_Superfinal-first10.pgn")), "-plies 8"));
    dir.Write("Velumbrak.ini", "Learning on\nUseLearningData on\nLogLearningIntoFile on\nBookLearningBound 30\n");
    std::mt19937 random(7);
    const int rounds = std::getenv("VELUMBRAK_SOAK_ROUNDS") ? std::atoi(std::getenv("VELUMBRAK_SOAK_ROUNDS")) : 12;
    int moves = 0;
    for (int round = 0; round < rounds; round++) {
        EngineProcess engine(false, {}, dir.path);
        const std::string start = ::testing::PrintToString(engine.Startup());
        ASSERT_TRUE(start.find("nodes in openings book") != std::string::npos && start.find("Invalid") == std::string::npos) << start;
        const size_t size = ReadFileText(dir.File("Learn.vb1")).size();
        ASSERT_TRUE(size == 0 || (size >= 262167 && (size - 262167) % 24 == 0)) << size;
        const int64_t end = SteadyMs() + int64_t(random() % 700);
        engine.Send("easy\nsd 6\ngo");
        for (std::string line; SteadyMs() < end && engine.ReadLine(line, 3000);)
            if (StartsWith(line, "move ") && ++moves) engine.Send("go");
            else if (StartsWith(line, "1-0") || StartsWith(line, "0-1") || StartsWith(line, "1/2")) engine.Send("new\nsd 6\ngo");
    } // SIGKILL, wherever the engine stands
    std::printf("%d moves; Learn.vb1 %zu bytes\n", moves, ReadFileText(dir.File("Learn.vb1")).size());
    EXPECT_GT(moves, 2 * rounds);
}

} // namespace
