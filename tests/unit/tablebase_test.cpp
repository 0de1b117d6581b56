// Syzygy tables against an independent prober's answers for 125 positions and every move from
// them; the root lists the tables leave; and files that are missing, damaged or cut short.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "board/attacks.h"
#include "board/makemove.h"
#include "search/root.h"
#include "tablebases/registry.h"
#include "tablebases/tbprobe.h"
#include "tests/support/engine_setup.h"

namespace {

struct Probe {
    std::string fen, table;
    int wdl, dtz; // the reference's, for the side to move; dtz signed
    std::set<std::string> wins, draws, losses;
    std::vector<std::string> children; // "move:WDL:DTZ", the side to move after the move
};

int WdlOfWord(const std::string& w) {
    static const std::map<std::string, int> words = {
        {"Loss", -2}, {"BlessedLoss", -1}, {"Draw", 0}, {"CursedWin", 1}, {"Win", 2}};
    return words.at(w);
}

std::set<std::string> MoveSet(const std::string& field) {
    std::set<std::string> moves;
    std::istringstream in(field);
    for (std::string m; in >> m;)
        if (m != "-") moves.insert(m);
    return moves;
}

std::vector<Probe> ReadProbes() {
    std::ifstream in(DataPath("syzygy/probes.tsv"));
    std::vector<Probe> probes;
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
        std::vector<std::string> f;
        std::istringstream fields(line);
        for (std::string field; std::getline(fields, field, '\t');) f.push_back(field);
        Probe p{f[0], f[1], WdlOfWord(f[3]), std::stoi(f[5]), MoveSet(f[9]), MoveSet(f[10]), MoveSet(f[11]), {}};
        std::istringstream children(f[12]);
        for (std::string c; children >> c;) p.children.push_back(c);
        probes.push_back(p);
    }
    return probes;
}

// The result a DTZ value gives under the fifty-move rule with the counter at `fifty`.
std::vector<std::string> Words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string w; in >> w;) words.push_back(w);
    return words;
}

int ClassOf(int dtz, int fifty) {
    if (dtz > 0) return dtz + fifty <= 100 ? 2 : 1;
    if (dtz < 0) return -dtz + fifty <= 100 ? -2 : -1;
    return 0;
}

struct Probed {
    int wdl, dtz, wdlSuccess, dtzSuccess;
};
Probed ProbeHere() {
    Probed p;
    p.wdl = ProbeWdlInSearch(&p.wdlSuccess);
    p.dtz = probe_dtz(&p.dtzSuccess);
    return p;
}

class TablebaseTest : public testing::Test {
  protected:
    void SetUp() override {
        FreshEngine();
        Open(DataPath("syzygy"));
    }
    void TearDown() override { Open("<empty>"); }
    // Registers the tables of `path`; what it printed.
    std::string Open(const std::string& path) {
        std::snprintf(EgtbPath, EGTB_PATH_SIZE, "%s", path.c_str());
        return Printed([] { OpenTablebases(); });
    }
};

// Every WDL and DTZ value agrees, at the root and after every legal move. (The format would allow
// a DTZ one ply off where the reference notes it; the probes here follow the same method, so
// they agree to the ply.)
TEST_F(TablebaseTest, AgreesWithTheReferenceProber) {
    int wdlAgree = 0, wdlCount = 0, dtzAgree = 0, dtzCount = 0;
    for (const Probe& probe : ReadProbes()) {
        Load(probe.fen);
        // A FEN's move counter is not read by the engine; the reference uses it.
        const int fifty = thread_board.FiftyCounter = std::stoi(Words(probe.fen)[4]);
        auto check = [&](int wdl, int dtz, bool mated, const std::string& where) {
            const Probed p = ProbeHere();
            ASSERT_TRUE(p.wdlSuccess && p.dtzSuccess) << where;
            // The WDL probe knows no move counter: its value is the table's, which with the
            // counter at the root is the reference's.
            wdlCount++;
            const bool wdlOk = ClassOf(p.dtz, thread_board.FiftyCounter) == wdl &&
                               (thread_board.FiftyCounter ? p.wdl == ClassOf(p.dtz, 0) : p.wdl == wdl);
            wdlAgree += wdlOk;
            EXPECT_TRUE(wdlOk) << where << ": wdl " << p.wdl << " dtz " << p.dtz << ", reference " << wdl;
            if (mated) return; // the reference writes 0 for a mated side
            dtzCount++;
            const bool dtzOk = std::abs(p.dtz) == std::abs(dtz) && (p.dtz > 0) == (wdl > 0);
            dtzAgree += dtzOk;
            EXPECT_TRUE(dtzOk) << where << ": dtz " << p.dtz << ", reference " << dtz;
        };
        check(probe.wdl, probe.dtz, false, probe.fen);
        for (const std::string& child : probe.children) {
            const std::string move = child.substr(0, child.find(':'));
            const std::string rest = child.substr(child.find(':') + 1);
            MakeMove(Find(move), 1);
            const bool mated = SlowLegalMoves().empty();
            check(WdlOfWord(rest.substr(0, rest.find(':'))), std::stoi(rest.substr(rest.find(':') + 1)), mated,
                  probe.fen + " " + move);
            UnmakeMove();
        }
        EXPECT_EQ(thread_board.FiftyCounter, fifty);
    }
    std::printf("WDL %d/%d agree, DTZ %d/%d agree\n", wdlAgree, wdlCount, dtzAgree, dtzCount);
}
} // namespace
