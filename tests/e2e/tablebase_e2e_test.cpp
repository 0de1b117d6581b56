// The tables from the outside: found at start-up and by the UCI option, reported by egtbstat and
// in tbhits, and won endings played to mate against a peer engine that has the tables too.
#include <gtest/gtest.h>

#include <unistd.h>

#include "tests/support/engine_process.h"

namespace {

const std::string Tables = DataPath("syzygy");

TEST(Tablebases, FoundAtStartAndByTheOption) {
    EngineProcess engine(false, {{"Velumbrak.ini", "EGTBPath " + Tables + "\n"}});
    ASSERT_FALSE(engine.Startup().empty());
    EXPECT_EQ(engine.Exchange("egtbstat"), (Lines{"info string Found 35 tablebases.", "UseEGTB = TRUE",
                                                  "tb_path = " + Tables, "4 piece EGTB files found"}));
    engine.Send("uci");
    engine.ReadUntil("uciok");
    EXPECT_EQ(engine.Exchange("setoption name SyzygyPath value /nowhere;" + Tables),
              Lines{"info string Found 35 tablebases."});
    // Castling rights keep a position out of the tables, at the root and in the tree.
    for (const char* fen : {"8/8/8/8/8/2k5/8/KBN5 w - - 0 1", "4k3/8/8/8/8/8/8/R3K3 w Q - 0 1"}) {
        const Lines lines = engine.Exchange(std::string("position fen ") + fen + "\ngo depth 6", 20000);
        int hits          = 0;
        for (const std::string& line : lines)
            if (line.find(" tbhits ") != std::string::npos)
                hits += std::stoi(line.substr(line.find(" tbhits ") + 8));
        EXPECT_EQ(hits > 0, fen[0] == '8') << fen;
    }

    EngineProcess off(false, {{"Velumbrak.ini", "UseEGTB off\n"}});
    off.Startup();
    off.Send("uci");
    off.ReadUntil("uciok");
    EXPECT_EQ(off.Exchange("setoption name SyzygyPath value " + Tables + "\negtbstat"),
              (Lines{"UseEGTB = FALSE", "tb_path = <empty>", "EGTB files not found"}));
}

// Stockfish's score after each of our moves: still lost for it, until it is mated.
struct Verdict {
    bool lost = true, mated = false;
    std::string reply;
};
Verdict Defend(EngineProcess& defender, const std::string& position) {
    defender.Send(position);
    defender.Send("go movetime 100");
    Verdict v;
    for (const std::string& line : defender.ReadUntil("bestmove", 10000)) {
        const std::vector<std::string> w = Words(line);
        if (w.size() > 1 && w[0] == "bestmove") v.reply = w[1];
        for (size_t i = 0; i + 2 < w.size(); i++)
            if (w[i] == "score") {
                const int n = std::stoi(w[i + 2]);
                v.mated     = w[i + 1] == "mate" && n == 0;
                v.lost      = w[i + 1] == "mate" ? n <= 0 : n <= -5000;
            }
    }
    return v;
}

TEST(Tablebases, WonEndingsArePlayedToMate) {
    const std::string peer = "/usr/games/stockfish";
    if (access(peer.c_str(), X_OK) != 0) GTEST_SKIP() << "no " << peer << " to play against";
    for (const char* fen : {"8/8/8/8/8/8/1Q6/K6k w - - 0 1", "8/8/8/4k3/8/8/8/R3K3 w - - 0 1",
                            "4k3/8/4K3/4P3/8/8/8/8 w - - 0 1"}) {
        EngineProcess engine, defender(false, {}, "", peer);
        engine.Startup();
        for (EngineProcess* e : {&engine, &defender}) {
            e->Send("uci");
            e->ReadUntil("uciok");
            e->Exchange("setoption name SyzygyPath value " + Tables);
        }
        std::string position = std::string("position fen ") + fen + " moves";
        int hits = 0, plies = 0;
        Verdict verdict;
        while (!verdict.mated && verdict.lost && plies < 200) {
            engine.Send(position);
            engine.Send("go movetime 100");
            const Lines lines = engine.ReadUntil("bestmove", 10000);
            ASSERT_FALSE(lines.empty());
            for (const std::string& line : lines)
                if (line.find(" tbhits ") != std::string::npos)
                    hits += std::stoi(line.substr(line.find(" tbhits ") + 8));
            position += " " + Words(lines.back()).at(1);
            verdict = Defend(defender, position);
            if (!verdict.mated) position += " " + verdict.reply;
            plies += 2;
        }
        EXPECT_TRUE(verdict.mated && verdict.lost) << position;
        EXPECT_GT(hits, 0) << fen;
        std::printf("%s: mate after %d plies\n", fen, plies);
    }
}

} // namespace
