// libFuzzer targets, one per binary: FUZZ_TARGET names the routine that takes the input. Each input
// runs in a private work folder, the engine opens no path outside it, standard output goes to
// /dev/null unless FUZZ_SHOW_OUTPUT is set, and the game state starts afresh.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "board/geometry.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/ply.h"
#include "book/book.h"
#include "book/booklearn.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "eval/kpk.h"
#include "eval/sigmoid.h"
#include "eval/values.h"
#include "frontend/config.h"
#include "frontend/game.h"
#include "frontend/input.h"
#include "frontend/searchinput.h"
#include "frontend/settings.h"
#include "frontend/startup.h"
#include "search/root.h"
#include "search/search.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/registry.h"
#include "tablebases/tbprobe.h"
#include "tools/pgneval.h"

static bool InsideInput;            // a command may name any path: none with a '/' opens then
static bool ValuesChanged;          // the last input left a values.txt, which `reload` may have read
static int WorkFolder, StartFolder; // an input runs in the first, libFuzzer in the second

// Both linked with --wrap. `reload` without a values.txt would build the start-up tables again,
// at half a second a time under the sanitizers.
extern "C" std::FILE* __real_fopen(const char* path, const char* mode);
extern "C" std::FILE* __wrap_fopen(const char* path, const char* mode) {
    if (InsideInput && std::strchr(path, '/')) return errno = EACCES, nullptr;
    return __real_fopen(path, mode);
}
extern "C" void __real__Z20LoadEvaluationValuesv();
extern "C" void __wrap__Z20LoadEvaluationValuesv() {
    if (!InsideInput || access("values.txt", F_OK) == 0) __real__Z20LoadEvaluationValuesv();
}

static void WriteFile(const std::string& name, const uint8_t* data, size_t size) {
    std::FILE* file = __real_fopen(name.c_str(), "wb");
    if (!file || std::fwrite(data, 1, size, file) != size || std::fclose(file) != 0) std::abort();
}

// Removes the files the input left; true when a values.txt was among them.
static bool WipeWorkFolder() {
    bool values = false;
    DIR* dir    = opendir(".");
    while (dirent* entry = readdir(dir)) {
        values = values || std::strcmp(entry->d_name, "values.txt") == 0;
        if (entry->d_type != DT_DIR) unlink(entry->d_name);
    }
    closedir(dir);
    return values;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    static std::string folder = std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") + "/vfuzzXXXXXX";
    if (!mkdtemp(folder.data())) std::abort();
    std::atexit([] { std::filesystem::remove_all(folder); });
    WorkFolder  = open(folder.c_str(), O_RDONLY | O_DIRECTORY);
    StartFolder = open(".", O_RDONLY | O_DIRECTORY);
    if (!std::getenv("FUZZ_SHOW_OUTPUT")) dup2(open("/dev/null", O_WRONLY), 1);
    if (fchdir(WorkFolder) != 0) std::abort();
    InitBoardTables();
    LoadEvaluationValues();
    InitSigmoidTables();
    InitKpkTables();
    return fchdir(StartFolder);
}

// Default settings, small empty tables, no book, learning file or tablebases, the start position.
static void FreshGame() {
    const int64_t tt = TranspositionEntries, pawns = PawnHashEntries, cache = EvalCacheEntries;
    CloseBook();
    CloseLearnFile();
    SetDefaultSettings();
    // Clearing tables of the default size would cost more than most inputs.
    TranspositionEntries = 1 << 14;
    PawnHashEntries = EvalCacheEntries = 1 << 12;
    if (tt != TranspositionEntries || pawns != PawnHashEntries || cache != EvalCacheEntries || !ReversibleMoveTable)
        AllocateTables();
    std::clearerr(stdout);
    ResetAll();
    ResetSearchMemory();
    ClearPlyStack();
    ClearSearchRequests();
    SeedBookRandom(1);
    SearchMoveCount = PonderingNow = GoPonder = InputEnded = MoveListTop = 0;
    PollIgnoresInput = PostFlag = 1;
    LazyLower = -MATE_SCORE, LazyUpper = MATE_SCORE;
    OwnClock                 = NO_CLOCK;
    ReadCommandsDuringSearch = nullptr;
    OpenTablebases();
    SetStartPosition();
}

// A short search from the current position as `analyze` runs it (the fuzz build caps its nodes).
static void ShortSearch() {
    MoveListTop = 0;
    ClearSearchRequests();
    SearchStart = ClockCs();
    SetNoTimeLimit();
    AnalysisRootSearch(4, 1);
}

// A whole input stream read from descriptor 0 by the command loop; the end of input ends the loop
// as it would end the process.
[[maybe_unused]] static void FuzzInterpreter(const uint8_t* data, size_t size) {
    if (ValuesChanged) LoadEvaluationValues();
    FreshGame();
    WriteFile("input", data, size);
    const int input = open("input", O_RDONLY);
    dup2(input, 0);
    close(input);
    ResetInput();
    OpenBook("Book.vbk");
    OpenLearnFile(LEARN_FILE);
    ReadCommandsDuringSearch = ReadSearchInput;
    PollIgnoresInput         = 0;
    NewGame();
    InsideInput = true;
    try {
        RunCommandLoop();
    } catch (const ProgramExit& exit) {
        if (exit.code != 0) std::abort(); // out of memory, or more tables than the registry holds
    }
    InsideInput = false;
}

// A FEN or EPD line; a position it sets is evaluated and searched.
[[maybe_unused]] static void FuzzFen(const uint8_t* data, size_t size) {
    FreshGame();
    if (!SetFen(std::string(reinterpret_cast<const char*>(data), size).c_str())) return;
    PrintEvaluation();
    ShortSearch();
}

// values.txt and every table built from it. Nothing is evaluated: weights thousands of times those
// of a tuned file overflow the evaluation's sums, which is no fault of the reader.
[[maybe_unused]] static void FuzzValues(const uint8_t* data, size_t size) {
    WriteFile("values.txt", data, size);
    LoadEvaluationValues();
}

// Velumbrak.ini as start-up reads it, then the tables, tablebases and learning file it sets up.
[[maybe_unused]] static void FuzzIni(const uint8_t* data, size_t size) {
    FreshGame();
    WriteFile("Velumbrak.ini", data, size);
    InsideInput = true;
    ReadConfigurationFile();
    InsideInput = false;
    AllocateTables();
    OpenTablebases();
    OpenLearnFile(LEARN_FILE);
    ShortSearch();
}

// The book: listed and played from in four games, each of which teaches it a result.
[[maybe_unused]] static void FuzzBook(const uint8_t* data, size_t size) {
    FreshGame();
    WriteFile("Book.vbk", data, size);
    OpenBook("Book.vbk");
    for (int game = 0; game < 4 && BookLoaded; game++) {
        SetStartPosition();
        BookLearningDone = 0;
        UseBookWeights   = game & 1;
        for (int ply = 0; ply < 8; ply++) {
            PrintBookMoves();
            const Move move = PickBookMove();
            if (!move) break;
            MakeMove(move, 1);
        }
        LearnGameResult(game < 2 ? BOOK_RESULT_GOOD : BOOK_RESULT_BAD);
    }
}

// The learning file: the keys of its first records and one more looked up, then written as new
// or refreshed records and looked up again.
[[maybe_unused]] static void FuzzLearn(const uint8_t* data, size_t size) {
    FreshGame();
    WriteFile(LEARN_FILE, data, size);
    UseLearning = UseLearningData = 1;
    OpenLearnFile(LEARN_FILE);
    if (!LearnFileOpen()) return;
    std::vector<std::pair<u32, u32>> keys = {{0x12345678, 0x9abcdef0}};
    for (size_t at = LEARN_HEADER_SIZE; at + LEARN_RECORD_SIZE <= size && keys.size() < 16; at += LEARN_RECORD_SIZE)
        keys.emplace_back(ReadLittleEndian32(data + at + 12), ReadLittleEndian32(data + at + 16));
    LearnRecord record;
    long offset;
    for (auto [key1, key2] : keys) {
        LearnFind(key1, key2, record, offset);
        LearnQueue(key1, key2, 0x1234, 50, -200, 30);
    }
    LearnFlushPending();
    for (auto [key1, key2] : keys) LearnFind(key1, key2, record, offset);
    int depth, score;
    LearnProbe(&depth, &score);
}

// One Syzygy file: the first byte picks the material and WDL or DTZ, the rest is the file; the other
// file of the pair is the real one. Positions of the material are probed and two searched.
[[maybe_unused]] static void FuzzSyzygy(const uint8_t* data, size_t size) {
    static std::vector<std::string> materials;
    if (materials.empty())
        for (auto& entry : std::filesystem::directory_iterator(TESTDATA_DIR "/syzygy"))
            if (entry.path().extension() == ".rtbw") materials.push_back(entry.path().stem());
    std::sort(materials.begin(), materials.end());
    if (size == 0) return;
    init_tablebases("<empty>"); // the last input's file is unmapped
    std::filesystem::remove_all("tb");
    mkdir("tb", 0700);
    const std::string name = materials[data[0] / 2 % materials.size()];
    const std::string real = name + (data[0] & 1 ? ".rtbw" : ".rtbz");
    WriteFile("tb/" + name + (data[0] & 1 ? ".rtbz" : ".rtbw"), data + 1, size - 1);
    if (symlink((TESTDATA_DIR "/syzygy/" + real).c_str(), ("tb/" + real).c_str()) != 0) std::abort();
    FreshGame();
    std::strcpy(EgtbPath, "tb");
    OpenTablebases();
    u32 seed = 12345;
    for (int attempt = 0, searched = 0; attempt < 64; attempt++) {
        // The men on squares from a fixed sequence; boards SetFen refuses are skipped.
        ClearBoard();
        int side = WHITE;
        for (char c : name) {
            if (c == 'v') side = BLACK;
            int square;
            do square = int((seed = seed * 214013u + 2531011u) >> 16) & 63;
            while (thread_board.Board[square] || (c == 'P' && (square < 8 || square >= 56)));
            if (c != 'v') PutPiece(square, side, int(std::strchr("?KNP?RBQ", c) - "?KNP?RBQ"));
        }
        thread_board.SideToMove   = attempt & 1;
        thread_board.CastleRights = HistoryCount = 0;
        if (!SetFen(PositionText(0))) continue;
        int success;
        ProbeWdlInSearch(&success);
        probe_dtz(&success);
        if (searched++ < 2) ShortSearch();
    }
}

// PGN text played through pgneval: tags, SAN moves, set-up positions, the training lines.
[[maybe_unused]] static void FuzzPgn(const uint8_t* data, size_t size) {
    FreshGame();
    WriteFile("games.pgn", data, size);
    RunPgnEvaluation("games.pgn");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (fchdir(WorkFolder) != 0) std::abort(); // libFuzzer's corpus paths stay relative to its start
    FUZZ_TARGET(data, size);
    ValuesChanged = WipeWorkFolder();
    return fchdir(StartFolder);
}
