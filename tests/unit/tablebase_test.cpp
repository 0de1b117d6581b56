// Syzygy tables against an independent prober's answers for 125 positions and every move from
// them; the root lists the tables leave; and files that are missing, damaged or cut short.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "search/root.h"
#include "tablebases/registry.h"
#include "tablebases/tbprobe.h"
#include "tests/support/engine_setup.h"

namespace {

struct Probe {
    std::string fen, table, best;
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
        Probe p{f[0],           f[1],           f[8], WdlOfWord(f[3]), std::stoi(f[5]), MoveSet(f[9]),
                MoveSet(f[10]), MoveSet(f[11]), {}};
        std::istringstream children(f[12]);
        for (std::string c; children >> c;) p.children.push_back(c);
        probes.push_back(p);
    }
    return probes;
}

// The result a DTZ value gives under the fifty-move rule with the counter at `fifty`.
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
            check(WdlOfWord(rest.substr(0, rest.find(':'))), std::stoi(rest.substr(rest.find(':') + 1)),
                  mated, probe.fen + " " + move);
            UnmakeMove();
        }
        EXPECT_EQ(thread_board.FiftyCounter, fifty);
    }
    std::printf("WDL %d/%d agree, DTZ %d/%d agree\n", wdlAgree, wdlCount, dtzAgree, dtzCount);
}

// The root keeps exactly the moves that win, or that draw; a lost root keeps the longest
// resistance or, while the fifty-move budget allows, every move; the reference's own choice
// always stays.
TEST_F(TablebaseTest, RootKeepsTheMovesThatKeepTheResult) {
    for (const Probe& probe : ReadProbes()) {
        Load(probe.fen);
        thread_board.FiftyCounter = std::stoi(Words(probe.fen)[4]);
        SearchToDepth(1);
        std::set<std::string> kept;
        for (int i = 0; i < RootMoveCount; i++) kept.insert(MoveText(MoveList[i].move));
        EXPECT_TRUE(RootInTablebase && TbRootSolved) << probe.fen;
        EXPECT_EQ(kept.count(probe.best), 1u) << probe.fen;
        if (thread_board.FiftyCounter) continue;
        const std::set<std::string>& expected = probe.wdl > 0    ? probe.wins
                                                : probe.wdl == 0 ? probe.draws
                                                                 : kept;
        EXPECT_EQ(kept, expected) << probe.fen;
        EXPECT_TRUE(std::includes(probe.losses.begin(), probe.losses.end(), kept.begin(), kept.end()) ||
                    probe.wdl >= 0);
    }
}

// A check is mate exactly when the plain generator finds no legal move, two plies deep from the
// perft suites, the tactical suite and the table positions.
TEST_F(TablebaseTest, CheckmateTestMatchesTheMoveList) {
    std::vector<std::string> fens;
    for (const char* suite : {"perftsuite.epd", "tricky.epd"})
        for (const PerftCase& c : ReadPerft(suite)) fens.push_back(c.fen);
    for (const EpdLine& line : ReadEpd("epd/wac.epd")) fens.push_back(line.fen);
    for (const Probe& probe : ReadProbes()) fens.push_back(probe.fen);
    int mates = 0;
    for (const std::string& fen : fens) {
        Load(fen);
        for (Move m1 : LegalMoves()) {
            MakeMove(m1, 1);
            for (Move m2 : LegalMoves()) {
                MakeMove(m2, 1);
                const int us = thread_board.SideToMove;
                if (IsSquareAttacked(ChangeSide(us), thread_board.KingSquare[us])) {
                    const bool mated = SlowLegalMoves().empty();
                    mates += mated;
                    EXPECT_EQ(is_checkmated() != 0, mated) << PositionText(0);
                }
                UnmakeMove();
            }
            UnmakeMove();
        }
    }
    EXPECT_GE(mates, 100) << mates;
}

// Damaged files: each is found on the path but never read past its end; the probe fails, says
// so once, and the other tables still answer.
TEST_F(TablebaseTest, MissingEmptyDamagedAndCutFilesAreNoTables) {
    EXPECT_EQ(Open("/nonexistent/tables"), "info string Found 0 tablebases.\n");
    EXPECT_EQ(TbMaxMen, 0);
    EXPECT_EQ(Open(""), "");
    ScratchDir a, b;
    for (const char* name : {"KQvK.rtbw", "KQvK.rtbz", "KPvK.rtbw", "KPvK.rtbz"})
        std::filesystem::copy_file(DataPath("syzygy/") + name, a.File(name));
    for (const char* name : {"KRvK.rtbw", "KRvK.rtbz"})
        std::filesystem::copy_file(DataPath("syzygy/") + name, b.File(name));
    EXPECT_EQ(Open(a.path + ";;" + b.path), "info string Found 3 tablebases.\n");
    EXPECT_EQ(Open(a.path + ":" + b.path), "info string Found 3 tablebases.\n");
    const std::string kqk = "8/8/8/8/8/8/1Q6/K6k w - - 0 1", kpk = "4k3/8/4K3/4P3/8/8/8/8 w - - 0 1";
    // The probe of the table's position with `bytes` as the file: what it said, and its value, or
    // -9 when it failed.
    auto probeWith = [&](const std::string& name, const std::string& bytes) {
        a.Write(name, bytes);
        Open(a.path + ";" + b.path);
        Load(name[1] == 'Q' ? kqk : kpk);
        Probed p;
        const std::string said = Printed([&] { p = ProbeHere(); });
        Load("8/8/8/4k3/8/8/8/R3K3 w - - 0 1");
        EXPECT_EQ(ProbeHere().dtz, 27) << "the sound table on the other path";
        const bool dtz = name.back() == 'z';
        return std::make_pair((dtz ? p.dtzSuccess : p.wdlSuccess) ? (dtz ? p.dtz : p.wdl) : -9, said);
    };
    for (const std::string name : {"KQvK.rtbw", "KQvK.rtbz", "KPvK.rtbw", "KPvK.rtbz"}) {
        const std::string whole = ReadFileText(DataPath("syzygy/") + name);
        const int sound         = probeWith(name, whole).first;
        std::string damaged     = whole;
        damaged[0] ^= 1;
        EXPECT_EQ(probeWith(name, damaged), std::make_pair(-9, std::string("Corrupted table.\n"))) << name;
        damaged     = whole;
        damaged[13] = damaged[14] = damaged[15] = char(0x7F); // block count of the first stream
        EXPECT_EQ(probeWith(name, damaged).first, -9) << name;
        // A file cut short fails unless only bytes that no value needs were cut.
        for (size_t cut = 0; cut < whole.size(); cut += cut < 300 ? 1 : 97) {
            const int v = probeWith(name, whole.substr(0, cut)).first;
            EXPECT_TRUE(v == -9 || v == sound) << name << " cut at " << cut;
        }
        // Damaged data of the right size decodes to something or fails, and reads nothing else.
        for (size_t i = 600; i < whole.size(); i++) damaged[i] = char(whole[i] * 7 + 1);
        probeWith(name, damaged);
        a.Write(name, whole);
    }
    a.Remove("KQvK.rtbz");
    Open(a.path);
    Load(kqk);
    const Probed p = ProbeHere();
    EXPECT_EQ(std::make_pair(p.wdlSuccess, p.dtzSuccess), std::make_pair(1, 0));
}

// Every material up to six men registers, however the name puts its sides.
TEST_F(TablebaseTest, EveryMaterialUpToSixMenRegisters) {
    ScratchDir dir;
    std::vector<std::string> sides{""};
    for (size_t at = 0; at < sides.size(); at++)
        for (char c : std::string("QRBNP"))
            if (sides[at].size() < 4 &&
                (sides[at].empty() ||
                 std::string("QRBNP").find(c) >= std::string("QRBNP").find(sides[at].back())))
                sides.push_back(sides[at] + c);
    for (const std::string& left : sides)
        for (const std::string& right : sides)
            if (!left.empty() && left.size() + right.size() <= 4)
                dir.Write("K" + left + "vK" + right + ".rtbw", "");
    EXPECT_EQ(Open(dir.path), "info string Found 510 tablebases.\n");
    EXPECT_EQ(TbMaxMen, 6);
}

// Speed, not a check: registering the 70 files, and WDL probes per second over the 125 positions
// with every table loaded.
TEST_F(TablebaseTest, DISABLED_MeasureSpeed) {
    using Clock = std::chrono::steady_clock;
    auto since  = [](Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); };
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < 100; i++) Open(DataPath("syzygy"));
    const double openSeconds        = since(start) / 100;
    const std::vector<Probe> probes = ReadProbes();
    for (const Probe& probe : probes) Load(probe.fen), ProbeHere();
    double seconds = 0;
    int success;
    for (const Probe& probe : probes) {
        Load(probe.fen);
        const Clock::time_point t = Clock::now();
        for (int i = 0; i < 2000; i++) ProbeWdlInSearch(&success);
        seconds += since(t);
    }
    std::printf("registration %.3f ms; %.0f WDL probes per second\n", openSeconds * 1000,
                2000 * probes.size() / seconds);
}
} // namespace
