#include "tools/bookbuild/bookbuild.h"

#include <algorithm>
#include <cstdio>

#include "board/makemove.h"
#include "book/book.h"
#include "tools/san.h"

void InitBookBuild(BookBuild& build, int plyLimit, int minOccurrences) {
    build.plyLimit       = plyLimit;
    build.minOccurrences = minOccurrences;
    build.positions.clear();
    build.gamesRead    = 0;
    build.gamesSkipped = 0;
    build.movesUnread  = 0;
}
static uint64_t BookLookupKey() {
    u32 first, second;
    ComputeBookKey(first, second);
    if (thread_board.SideToMove == BLACK) first ^= BOOK_BLACK_TO_MOVE;
    return uint64_t(first) << 32 | second;
}

static void CountMove(BookBuild& build, Move move, int result) {
    BuildPosition& position = build.positions[BookLookupKey()];
    position.occurrences++;
    const int from = MoveFrom(move), to = MoveTo(move);
    auto found = std::find_if(position.moves.begin(), position.moves.end(),
                              [&](const BuildMove& m) { return m.from == from && m.to == to; });
    if (found == position.moves.end()) {
        position.moves.push_back(BuildMove{uint8_t(from), uint8_t(to), 0, 0, 0});
        found = position.moves.end() - 1;
    }
    found->played++;
    const bool whiteMoved = thread_board.SideToMove == WHITE;
    if (result == PGN_DRAWN) {
        found->scoreFor++;
        found->scoreAgainst++;
    } else if (result == PGN_WHITE_WON || result == PGN_BLACK_WON) {
        const bool moverWon = (result == PGN_WHITE_WON) == whiteMoved;
        (moverWon ? found->scoreFor : found->scoreAgainst) += 2;
    }
}

bool AddGameToBook(BookBuild& build, const PgnGame& game) {
    build.gamesRead++;
    if (game.fromSetUp || game.moves.empty()) {
        build.gamesSkipped++;
        return false;
    }
    SetStartPosition();
    const int plies = std::min<int>(build.plyLimit, int(game.moves.size()));
    for (int ply = 0; ply < plies; ply++) {
        const Move move = ParseSanMove(game.moves[ply].c_str());
        if (!move) {
            std::printf("Game %d (%s - %s): move %d \"%s\" not understood, rest of the game left out\n",
                        build.gamesRead, game.white.c_str(), game.black.c_str(), ply / 2 + 1,
                        game.moves[ply].c_str());
            build.movesUnread++;
            if (ply == 0) build.gamesSkipped++;
            return ply > 0;
        }
        CountMove(build, move, game.result);
        MakeMove(move, 1);
    }
    return true;
}

// Both counters into 0..254 with the proportions kept; a counter that was not 0 stays at least 1.
static void ScaleCounters(const BuildPosition& position, std::vector<BuildMove>& moves) {
    uint32_t largest = 0;
    for (const BuildMove& m : position.moves) largest = std::max({largest, m.scoreFor, m.scoreAgainst});
    moves = position.moves;
    if (largest <= 254) return;
    for (BuildMove& m : moves) {
        const uint32_t scaledFor     = uint32_t(uint64_t(m.scoreFor) * 254 / largest);
        const uint32_t scaledAgainst = uint32_t(uint64_t(m.scoreAgainst) * 254 / largest);
        m.scoreFor     = std::max(scaledFor, m.scoreFor ? 1u : 0u);
        m.scoreAgainst = std::max(scaledAgainst, m.scoreAgainst ? 1u : 0u);
    }
}

std::vector<uint8_t> EncodeBook(const BookBuild& build, int& positionsWritten) {
    struct Entry {
        u32 first, second;
        const BuildPosition* position;
    };
    std::vector<Entry> entries;
    for (const auto& [key, position] : build.positions)
        if (position.occurrences >= uint32_t(build.minOccurrences))
            entries.push_back(Entry{u32(key >> 32), u32(key), &position});
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return CompareBookKeys(a.first, a.second, b.first, b.second) < 0;
    });
    positionsWritten = int(entries.size());

    std::vector<uint8_t> bytes(BOOK_HEADER_SIZE + entries.size() * BOOK_RECORD_SIZE, 0);
    std::copy(BOOK_MAGIC, BOOK_MAGIC + BOOK_MAGIC_SIZE, bytes.begin());
    WriteLittleEndian32(&bytes[24], 1);
    WriteLittleEndian32(&bytes[28], 0);
    WriteLittleEndian32(&bytes[32], u32(entries.size()));

    std::vector<BuildMove> moves;
    for (size_t i = 0; i < entries.size(); i++) {
        uint8_t* record = &bytes[BOOK_HEADER_SIZE + i * BOOK_RECORD_SIZE];
        WriteLittleEndian32(record, entries[i].first);
        WriteLittleEndian32(record + 4, entries[i].second);
        WriteLittleEndian32(record + 8, u32(bytes.size()));

        // The most played move first, so that a listing reads like the games.
        ScaleCounters(*entries[i].position, moves);
        std::stable_sort(moves.begin(), moves.end(), [](const BuildMove& a, const BuildMove& b) {
            if (a.played != b.played) return a.played > b.played;
            return a.from != b.from ? a.from < b.from : a.to < b.to;
        });
        if (moves.size() > size_t(BOOK_MAX_MOVES)) moves.resize(BOOK_MAX_MOVES);
        bytes.push_back(uint8_t(moves.size()));
        for (const BuildMove& m : moves) {
            const BookMoveEntry entry{m.from, m.to, uint8_t(m.scoreFor), uint8_t(m.scoreAgainst)};
            bytes.insert(bytes.end(), {entry.from, entry.to, entry.scoreFor, entry.scoreAgainst});
        }
    }
    return bytes;
}

bool WriteBookFile(const std::vector<uint8_t>& bytes, const std::string& path) {
    const std::string temporary = path + ".tmp";
    std::FILE* file             = std::fopen(temporary.c_str(), "wb");
    if (!file) return false;
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (std::fclose(file) != 0 || !written || std::rename(temporary.c_str(), path.c_str()) != 0) {
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}
