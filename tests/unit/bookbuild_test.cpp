// The book builder: its SAN and PGN readers, and the books it writes, checked against positions
// and moves counted here by other means (a move writer instead of a move reader, the test's own
// generator and its own decoding of the file).
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

#include "board/makemove.h"
#include "board/movegen.h"
#include "book/book.h"
#include "tests/unit/slow_movegen.h"
#include "tests/unit/test_main_setup.h"
#include "tools/bookbuild/pgn.h"
#include "tools/bookbuild/san.h"

namespace {

std::string SquareName(int square) { return {char('a' + (square & 7)), char('1' + (square >> 3))}; }

// Standard algebraic notation written from the move and the other legal moves, without check marks.
std::string SanOf(Move move, const std::vector<Move>& legal) {
    const int piece = MovedPiece(move), from = MoveFrom(move), to = MoveTo(move);
    if (piece == KING && (to - from == 2 || from - to == 2)) return to > from ? "O-O" : "O-O-O";
    const bool capture = CapturedPiece(move) || (piece == PAWN && (from & 7) != (to & 7));
    std::string san;
    if (piece == PAWN) {
        if (capture) san += char('a' + (from & 7));
    } else {
        san += " KNP RBQ"[piece];
        bool rival = false, rivalFile = false, rivalRank = false;
        for (Move other : legal)
            if (other != move && MovedPiece(other) == piece && MoveTo(other) == to) {
                rival = true;
                rivalFile |= (MoveFrom(other) & 7) == (from & 7);
                rivalRank |= (MoveFrom(other) >> 3) == (from >> 3);
            }
        if (rival && (!rivalFile || rivalRank)) san += char('a' + (from & 7));
        if (rival && rivalFile) san += char('1' + (from >> 3));
    }
    if (capture) san += 'x';
    san += SquareName(to);
    if (PromotionPiece(move)) san += std::string("=") + " KNP RBQ"[PromotionPiece(move)];
    return san;
}

void SetPosition(const std::string& fen) {
    testing::internal::CaptureStdout();
    const bool ok         = SetFen(fen.c_str());
    const std::string out = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ok) << fen << out;
}

std::vector<std::string> EpdFens(const std::string& name) {
    std::vector<std::string> fens;
    std::ifstream in(std::string(TESTDATA_DIR) + "/perft/" + name);
    std::string line;
    while (std::getline(in, line))
        if (!line.empty()) fens.push_back(line.substr(0, line.find(';')));
    return fens;
}

class BookBuildTest : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        MoveListTop = 0;
    }
};

TEST_F(BookBuildTest, SanReaderFindsEveryLegalMoveInEveryWriting) {
    int moves = 0;
    std::vector<std::string> fens = EpdFens("perftsuite.epd");
    for (const std::string& fen : EpdFens("tricky.epd")) fens.push_back(fen);
    // Men that need the rank, or file and rank, to tell them apart.
    for (const char* fen : {"4k3/8/8/R7/8/8/8/R3K3 w - - 0 1", "4k3/8/8/1N6/8/1n6/8/4K3 w - - 0 1",
                            "4k3/8/8/1N6/8/1N6/8/4K3 w - - 0 1", "8/k7/8/8/7Q/8/2K5/4Q2Q w - - 0 1",
                            "4q2q/2k5/8/7q/8/8/K7/8 b - - 0 1"})
        fens.push_back(fen);
    for (const std::string& fen : fens) {
        SetPosition(fen);
        const std::vector<Move> legal = SlowLegalMoves();
        for (Move move : legal) {
            const std::string san = SanOf(move, legal);
            std::vector<std::string> writings = {san, san + "+", san + "#", san + "!?", san + "?!", san + "!!"};
            if (san[0] == 'O') {
                std::string zeros = san;
                std::replace(zeros.begin(), zeros.end(), 'O', '0');
                writings.push_back(zeros);
            } else {
                // Long algebraic, with and without a hyphen, and the capture mark left out.
                const std::string squares = SquareName(MoveFrom(move)) + SquareName(MoveTo(move));
                const std::string letter  = MovedPiece(move) == PAWN ? "" : san.substr(0, 1);
                const std::string promo   = PromotionPiece(move) ? san.substr(san.size() - 2) : "";
                writings.push_back(letter + squares + promo);
                writings.push_back(letter + squares.substr(0, 2) + "-" + squares.substr(2) + promo);
                if (san.find('x') != std::string::npos) {
                    std::string quiet = san;
                    quiet.erase(quiet.find('x'), 1);
                    writings.push_back(quiet);
                    writings.push_back(san + " e.p.");
                    writings.back().erase(writings.back().find(' '), 1);
                }
                if (PromotionPiece(move)) writings.push_back(san.substr(0, san.size() - 2) + san.back());
            }
            for (const std::string& text : writings) {
                ASSERT_EQ(ParseSanMove(text.c_str()), move) << fen << " " << text;
                moves++;
            }
        }
    }
    EXPECT_GT(moves, 15000);
}

TEST_F(BookBuildTest, SanReaderRefusesWhatNamesNoSingleMove) {
    SetPosition("r3k2r/8/8/8/8/2N1N3/8/R3K2R w KQkq - 0 1");
    for (const char* text : {"Nd5", "", "+", "Zf3", "e9", "Nxd5", "Ke3x", "Qd1", "e4=Q", "Ncd5=Q",
                             "O-O-O-O", "N3", "Pe4", "a1b1c1"})
        EXPECT_EQ(ParseSanMove(text), 0u) << text;
    EXPECT_EQ(ParseSanMove("Ncd5"), MakeMoveWord(18, 35, KNIGHT));
    EXPECT_EQ(ParseSanMove("Red5"), 0u);
    EXPECT_EQ(ParseSanMove("Rad1"), MakeMoveWord(0, 3, ROOK));
    EXPECT_EQ(ParseSanMove("O-O"), MakeMoveWord(4, 6, KING));
    // A pawn that reaches the last rank without a piece named becomes a queen.
    SetPosition("4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(ParseSanMove("a8"), MakeMoveWord(48, 56, PAWN, EMPTY, QUEEN));
    EXPECT_EQ(ParseSanMove("a8=N"), MakeMoveWord(48, 56, PAWN, EMPTY, KNIGHT));
    EXPECT_EQ(ParseSanMove("a8=K"), 0u);
}

TEST_F(BookBuildTest, PgnReaderKeepsTheMainLineOnly) {
    PgnReader reader;
    reader.text =
        "% a comment line for tools\n"
        "[Event \"one\"]\n[White \"W \\\"quoted\\\"\"]\n[Black \"B\"]\n[Result \"1-0\"]\n\n"
        "1.e4 e5 2. Nf3 {comment with ( and [ inside} Nc6 $1 3.Bb5!? a6 (3... Nf6 4. O-O (4. d3 d6)) "
        "4. Ba4 ; to the end of the line 5. xx\n"
        "4... Nf6 5. O-O 1-0\n"
        "[Event \"two\"]\n[Result \"*\"]\n1. d4 d5 0-1\n"
        "\n1. c4 e5\n\n"
        "[Event \"four\"]\n[SetUp \"1\"]\n[FEN \"4k3/8/8/8/8/8/8/4K2R w K - 0 1\"]\n1. O-O Kd7 1/2-1/2\n";
    reader.pos = 0;
    PgnGame game;
    ASSERT_TRUE(ReadPgnGame(reader, game));
    EXPECT_EQ(game.white, "W \"quoted\"");
    EXPECT_EQ(game.result, PGN_WHITE_WON);
    EXPECT_FALSE(game.fromSetUp);
    EXPECT_EQ(game.moves, (std::vector<std::string>{"e4", "e5", "Nf3", "Nc6", "Bb5!?", "a6", "Ba4", "Nf6", "O-O"}));
    ASSERT_TRUE(ReadPgnGame(reader, game));
    EXPECT_EQ(game.result, PGN_UNKNOWN); // the tag wins over the closing marker
    EXPECT_EQ(game.moves, (std::vector<std::string>{"d4", "d5"}));
    ASSERT_TRUE(ReadPgnGame(reader, game)); // no tags, no result
    EXPECT_EQ(game.result, PGN_UNKNOWN);
    EXPECT_EQ(game.moves, (std::vector<std::string>{"c4", "e5"}));
    ASSERT_TRUE(ReadPgnGame(reader, game));
    EXPECT_TRUE(game.fromSetUp);
    EXPECT_EQ(game.result, PGN_DRAWN);
    EXPECT_FALSE(ReadPgnGame(reader, game));
}

// ------------------------------------------------------------------------------------------------
// Books written by the builder program, against an independent count of the same games.

std::string TempDirName;

void RemoveTempDir() { std::filesystem::remove_all(TempDirName); }

std::string TempDir() {
    std::string& dir = TempDirName;
    if (dir.empty()) {
        char templ[] = "/tmp/velumbrak-bookbuild-XXXXXX";
        dir          = mkdtemp(templ);
        std::atexit(RemoveTempDir);
    }
    return dir;
}

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Runs the builder; returns its exit code, with its output in `out`.
int RunBuilder(const std::string& arguments, std::string& out) {
    const std::string log = TempDir() + "/builder.log";
    const int status = std::system((std::string("'") + BOOKBUILD_PATH + "' " + arguments + " > '" + log + "' 2>&1").c_str());
    out = ReadText(log);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

struct Counted {
    int played = 0, scoreFor = 0, scoreAgainst = 0;
};
struct CountedPosition {
    int occurrences = 0;
    std::map<std::pair<int, int>, Counted> moves;
};

// Board and side, as the book sees a position (no castling, no en passant).
std::string BoardText() {
    std::string fen;
    for (int rank = 7; rank >= 0; rank--) {
        int empty = 0;
        for (int file = 0; file < 8; file++) {
            const int square = rank * 8 + file;
            const int piece  = thread_board.Board[square];
            if (!piece) {
                empty++;
                continue;
            }
            if (empty) fen += char('0' + empty);
            empty = 0;
            const char letter = " KNP RBQ"[piece];
            fen += (thread_board.Pieces[0][BLACK] >> square) & 1 ? char(letter + 32) : letter;
        }
        if (empty) fen += char('0' + empty);
        if (rank) fen += '/';
    }
    return fen + (thread_board.SideToMove == WHITE ? " w - - 0 1" : " b - - 0 1");
}

// Splits PGN text into games of (result, move texts) line by line: tag lines open a game, comments
// and variations are cut out before the move text is split into words.
void CountGames(const std::string& text, int plies, std::map<std::string, CountedPosition>& counted) {
    struct Game {
        std::string result, moveText;
        bool setUp = false;
    };
    std::vector<Game> games;
    std::string clean;
    int depth = 0;
    for (size_t i = 0; i < text.size(); i++) {
        const char c = text[i];
        if (c == '{') {
            i = text.find('}', i);
            if (i == std::string::npos) break;
        } else if (c == ';' || (c == '%' && (i == 0 || text[i - 1] == '\n'))) {
            i = text.find('\n', i) - 1;
        } else if (c == '(' ) {
            depth++;
        } else if (c == ')') {
            depth--;
        } else if (depth == 0) {
            clean += c == '\r' ? ' ' : c;
        }
    }
    std::istringstream lines(clean);
    std::string line;
    bool inMoves = true;
    while (std::getline(lines, line)) {
        if (line.find_first_not_of(" \t") == std::string::npos) continue;
        if (line[0] == '[') {
            if (inMoves) games.emplace_back();
            inMoves = false;
            if (line.rfind("[Result \"", 0) == 0) games.back().result = line.substr(9, line.find('"', 9) - 9);
            if (line.rfind("[FEN ", 0) == 0) games.back().setUp = true;
        } else {
            inMoves = true;
            if (games.empty()) games.emplace_back();
            games.back().moveText += " " + line;
        }
    }
    for (const Game& game : games) {
        if (game.setUp) continue;
        SetStartPosition();
        std::istringstream words(game.moveText);
        std::string word;
        int ply = 0;
        while (ply < plies && words >> word) {
            const size_t digits = word.find_first_not_of("0123456789");
            if (digits != std::string::npos && word[digits] == '.') {
                const size_t move = word.find_first_not_of("0123456789.");
                word              = move == std::string::npos ? "" : word.substr(move);
            }
            if (word.empty() || word == "..." || word[0] == '$' || word == "1-0" || word == "0-1" ||
                word == "1/2-1/2" || word == "*" || word.find_first_not_of("0123456789.") == std::string::npos)
                continue;
            while (std::string("+#!?").find(word.back()) != std::string::npos) word.pop_back();
            const std::vector<Move> legal = SlowLegalMoves();
            Move played = 0;
            for (Move move : legal)
                if (SanOf(move, legal) == word) {
                    ASSERT_EQ(played, 0u) << word;
                    played = move;
                }
            ASSERT_NE(played, 0u) << "no legal move " << word << " in " << BoardText();
            CountedPosition& position = counted[BoardText()];
            position.occurrences++;
            Counted& move = position.moves[{MoveFrom(played), MoveTo(played)}];
            move.played++;
            const bool white = thread_board.SideToMove == WHITE;
            if (game.result == "1/2-1/2") {
                move.scoreFor++;
                move.scoreAgainst++;
            } else if (game.result == "1-0" || game.result == "0-1") {
                ((game.result == "1-0") == white ? move.scoreFor : move.scoreAgainst) += 2;
            }
            MakeMove(played, 1);
            ply++;
        }
    }
}

struct DecodedMove {
    int from, to, scoreFor, scoreAgainst;
};

// The test's own reading of a version 1 book: keys to move lists, in file order.
std::map<std::pair<uint32_t, uint32_t>, std::vector<DecodedMove>> DecodeBook(const std::string& bytes) {
    std::map<std::pair<uint32_t, uint32_t>, std::vector<DecodedMove>> book;
    auto u8  = [&](size_t at) { return uint32_t(uint8_t(bytes.at(at))); };
    auto u32 = [&](size_t at) { return u8(at) | u8(at + 1) << 8 | u8(at + 2) << 16 | u8(at + 3) << 24; };
    EXPECT_EQ(bytes.substr(0, 24), "~Velumbrak openings book");
    EXPECT_EQ(u32(24), 1u);
    const uint32_t nodes = u32(32);
    int32_t lastFirst = INT32_MIN, lastSecond = INT32_MIN;
    for (uint32_t i = 0; i < nodes; i++) {
        const size_t record = 36 + 12 * i;
        const uint32_t first = u32(record), second = u32(record + 4), offset = u32(record + 8);
        EXPECT_TRUE(i == 0 || std::make_pair(int32_t(first), int32_t(second)) > std::make_pair(lastFirst, lastSecond));
        lastFirst  = int32_t(first);
        lastSecond = int32_t(second);
        EXPECT_GE(offset, 36 + 12 * nodes);
        std::vector<DecodedMove>& moves = book[{first, second}];
        for (uint32_t m = 0; m < u8(offset); m++) {
            const size_t entry = offset + 1 + 4 * m;
            moves.push_back({int(u8(entry)), int(u8(entry + 1)), int(u8(entry + 2)), int(u8(entry + 3))});
        }
    }
    return book;
}

std::pair<uint32_t, uint32_t> LookupKeys() {
    u32 first, second;
    ComputeBookKey(first, second);
    if (thread_board.SideToMove == BLACK) first ^= 0x7D3ADEB;
    return {first, second};
}

// The book holds exactly the counted positions seen at least `minimum` times, each with exactly the
// moves played there and their counters; and the engine finds each of them.
void ExpectBookMatchesCount(const std::string& bookPath, const std::map<std::string, CountedPosition>& counted,
                            int minimum, size_t& held) {
    const auto book = DecodeBook(ReadText(bookPath));
    held            = book.size();
    size_t expectedPositions = 0;
    testing::internal::CaptureStdout();
    OpenBook(bookPath.c_str());
    const std::string opened = testing::internal::GetCapturedStdout();
    EXPECT_EQ(opened, std::to_string(book.size()) + " nodes in openings book\n");
    for (const auto& [fen, position] : counted) {
        SetPosition(fen);
        const auto keys = LookupKeys();
        const auto found = book.find(keys);
        if (position.occurrences < minimum) {
            EXPECT_TRUE(found == book.end()) << fen;
            EXPECT_FALSE(FindBookPosition()) << fen;
            continue;
        }
        expectedPositions++;
        ASSERT_TRUE(found != book.end()) << fen;
        std::map<std::pair<int, int>, Counted> inBook;
        int lastPlayed = 1 << 30;
        for (const DecodedMove& m : found->second) {
            const Counted& c = position.moves.count({m.from, m.to}) ? position.moves.at({m.from, m.to}) : Counted{};
            EXPECT_LE(c.played, lastPlayed) << fen << ": the most played move comes first";
            lastPlayed = c.played;
            inBook[{m.from, m.to}] = Counted{c.played, m.scoreFor, m.scoreAgainst};
        }
        ASSERT_EQ(inBook.size(), position.moves.size()) << fen;
        for (const auto& [squares, c] : position.moves) {
            ASSERT_TRUE(inBook.count(squares)) << fen << " " << SquareName(squares.first) << SquareName(squares.second);
            EXPECT_EQ(inBook[squares].scoreFor, c.scoreFor) << fen;
            EXPECT_EQ(inBook[squares].scoreAgainst, c.scoreAgainst) << fen;
        }
        // The engine's own search of the file lands on the same block.
        ASSERT_TRUE(FindBookPosition()) << fen;
        BookMoveBlock block;
        ASSERT_TRUE(ReadBookMoveBlock(block));
        ASSERT_EQ(block.count, int(found->second.size()));
        for (int i = 0; i < block.count; i++) {
            EXPECT_EQ(block.from[i], found->second[i].from);
            EXPECT_EQ(block.counter[i], found->second[i].scoreFor | found->second[i].scoreAgainst << 8);
        }
    }
    EXPECT_EQ(book.size(), expectedPositions);
    CloseBook();
}

const char* HAND_PGN = R"([Event "Hand 1"]
[White "A"]
[Black "B"]
[Result "1-0"]

1. e4 e5 2. Nf3 {a comment (with parens) [and brackets]} Nc6 3. Bb5 a6 (3... Nf6 4. O-O (4. d3)) 4. Ba4
Nf6 5. O-O Be7 $1 6. Re1 b5 7. Bb3 d6 1-0

[Event "Hand 2"]
[Result "0-1"]

1.e4 e5 2.Nf3 Nc6 3.Bb5 Nf6 4.O-O Nxe4 5.d4 Nd6 6.Bxc6 dxc6 7.dxe5 Nf5 8.Qxd8+ Kxd8 0-1

[Event "Hand 3"]
[Result "1/2-1/2"]

% an escaped line
1. d4 d5 2. c4 e6 3. Nc3 Nf6 ; the rest of this line is a comment 4. Bg5
4. Bg5 Be7 5. Nf3 Nbd7 1/2-1/2

[Event "Hand 4"]
[Result "*"]

1. e4 c5 2. Nf3!? d6 3. d4 cxd4 4. Nxd4 Nf6 5. Nc3 a6 *

[Event "Hand 5"]
[Result "1-0"]

1. e4 d5 2. exd5 c6 3. dxc6 Nf6 4. cxb7 Nbd7 5. bxa8=Q 1-0

[Event "Hand 6"]
[Result "1/2-1/2"]

1. Nf3 Nf6 2. Ng1 Ng8 3. Nf3 Nf6 4. Ng1 Ng8 5. e4 1/2-1/2

[Event "From a set-up position"]
[SetUp "1"]
[FEN "4k3/8/8/8/8/8/8/4K2R w K - 0 1"]
[Result "1-0"]

1. O-O Kd7 1-0
)";

TEST_F(BookBuildTest, BookOfHandWrittenGamesHoldsExactlyTheirOpenings) {
    const std::string pgn = TempDir() + "/hand.pgn";
    std::ofstream(pgn) << HAND_PGN;
    for (const auto& [plies, minimum] : std::vector<std::pair<int, int>>{{10, 1}, {16, 2}, {3, 1}}) {
        SCOPED_TRACE(std::to_string(plies) + " plies, at least " + std::to_string(minimum));
        const std::string book = TempDir() + "/hand.vbk";
        std::string out;
        ASSERT_EQ(RunBuilder("-plies " + std::to_string(plies) + " -min " + std::to_string(minimum) + " -o '" +
                                 book + "' '" + pgn + "'",
                             out),
                  0)
            << out;
        EXPECT_NE(out.find("7 games read, 1 left out"), std::string::npos) << out;
        std::map<std::string, CountedPosition> counted;
        ASSERT_NO_FATAL_FAILURE(CountGames(ReadText(pgn), plies, counted));
        size_t held;
        ExpectBookMatchesCount(book, counted, minimum, held);
        EXPECT_GT(held, 4u);
    }
}

TEST_F(BookBuildTest, BookOfEngineGamesHoldsExactlyTheirOpenings) {
    const std::string tcec = std::string(TESTDATA_DIR) + "/pgn/TCEC_Season_4_-_Superfinal.pgn";
    const std::string hand = TempDir() + "/hand2.pgn";
    std::ofstream(hand) << HAND_PGN;
    const std::string book = TempDir() + "/tcec.vbk";
    std::string out;
    ASSERT_EQ(RunBuilder("-plies 14 -min 2 -o '" + book + "' '" + tcec + "' '" + hand + "'", out), 0) << out;
    EXPECT_NE(out.find("55 games read, 1 left out"), std::string::npos) << out;
    std::map<std::string, CountedPosition> counted;
    ASSERT_NO_FATAL_FAILURE(CountGames(ReadText(tcec), 14, counted));
    ASSERT_NO_FATAL_FAILURE(CountGames(HAND_PGN, 14, counted));
    // The counters of these games stay small enough to be stored as they are.
    for (const auto& [fen, position] : counted)
        for (const auto& [squares, c] : position.moves) ASSERT_LE(std::max(c.scoreFor, c.scoreAgainst), 254);
    size_t held;
    ExpectBookMatchesCount(book, counted, 2, held);
    EXPECT_GT(held, 200u);
}

TEST_F(BookBuildTest, LargeCountersAreScaledPerPosition) {
    std::string pgn;
    for (int i = 0; i < 200; i++) pgn += "[Result \"1-0\"]\n\n1. e4 e5 1-0\n\n";
    for (int i = 0; i < 100; i++) pgn += "[Result \"0-1\"]\n\n1. d4 d5 0-1\n\n";
    for (int i = 0; i < 3; i++) pgn += "[Result \"*\"]\n\n1. c4 *\n\n";
    pgn += "[Result \"1/2-1/2\"]\n\n1. d4 Nf6 1/2-1/2\n\n";
    const std::string path = TempDir() + "/many.pgn", book = TempDir() + "/many.vbk";
    std::ofstream(path) << pgn;
    std::string out;
    ASSERT_EQ(RunBuilder("-plies 2 -min 1 -o '" + book + "' '" + path + "'", out), 0) << out;
    const auto decoded = DecodeBook(ReadText(book));
    auto movesAt = [&](const std::string& fen) {
        SetPosition(fen);
        return decoded.at(LookupKeys());
    };
    // Start: e4 400/0, d4 1/201, c4 0/0; the largest counter becomes 254.
    const auto start = movesAt("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    ASSERT_EQ(start.size(), 3u);
    EXPECT_EQ((std::vector<int>{start[0].from, start[0].to, start[0].scoreFor, start[0].scoreAgainst}),
              (std::vector<int>{12, 28, 254, 0}));
    EXPECT_EQ((std::vector<int>{start[1].from, start[1].to, start[1].scoreFor, start[1].scoreAgainst}),
              (std::vector<int>{11, 27, 1, 254 * 201 / 400}));
    EXPECT_EQ((std::vector<int>{start[2].from, start[2].to, start[2].scoreFor, start[2].scoreAgainst}),
              (std::vector<int>{10, 26, 0, 0}));
    // After d4: d5 200/0 and Nf6 1/1 fit as they are.
    const auto afterD4 = movesAt("rnbqkbnr/pppppppp/8/8/3P4/8/PPP1PPPP/RNBQKBNR b KQkq - 0 1");
    ASSERT_EQ(afterD4.size(), 2u);
    EXPECT_EQ(afterD4[0].scoreFor, 200);
    EXPECT_EQ(afterD4[1].scoreFor, 1);
    EXPECT_EQ(afterD4[1].scoreAgainst, 1);
}

TEST_F(BookBuildTest, BuilderRefusesBadArgumentsAndWritesNothing) {
    const std::string book = TempDir() + "/never.vbk";
    std::string out;
    EXPECT_EQ(RunBuilder("-o '" + book + "' '" + TempDir() + "/missing.pgn'", out), 1);
    EXPECT_EQ(out, "Error opening file " + TempDir() + "/missing.pgn...\n");
    EXPECT_EQ(RunBuilder("", out), 2);
    EXPECT_EQ(RunBuilder("-plies 0 x.pgn", out), 2);
    EXPECT_EQ(RunBuilder("-min x x.pgn", out), 2);
    EXPECT_EQ(RunBuilder("-frobnicate x.pgn", out), 2);
    EXPECT_EQ(RunBuilder("-o '" + TempDir() + "/no/such/dir.vbk' '" + std::string(TESTDATA_DIR) +
                             "/openings/gaviota-starters.pgn'",
                         out),
              1);
    EXPECT_NE(out.find("Error writing"), std::string::npos);
    EXPECT_FALSE(std::ifstream(book).good());
}

} // namespace
