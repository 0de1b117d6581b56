#include "book/learn.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "board/makemove.h"
#include "book/book.h"
#include "platform/platform.h"

int UseLearning;
int UseLearningData;
int LogLearningIntoFile;

void SetDefaultLearningSettings() {
    UseLearning         = 0;
    UseLearningData     = 0;
    LogLearningIntoFile = 0;
}

PendingLearnEntry PendingLearn[LEARN_PENDING_MAX];
int PendingLearnCount;
int LearnLogLineNumber;

static std::FILE* LearnFile;
static bool LearnFileWritable;
static long LearnFileSize;

bool LearnFileOpen() { return LearnFile != nullptr; }

void CloseLearnFile() {
    if (LearnFile) std::fclose(LearnFile);
    LearnFile         = nullptr;
    LearnFileWritable = false;
}

// The unit in which the kernel writes a file back: a cut write leaves a multiple of it.
constexpr long PAGE_SIZE = 4096;

// A file whose every pointer leads to a whole record, along chains that end: anything else is
// refused before the search could follow it.
static bool LearnFileIsSound(const char* path, long& size) {
    MappedFile file = MapFileReadOnly(path);
    size            = long(file.size);
    // A kill can stop the write of the last record at a page boundary; that record was never
    // linked, and the next append writes over it.
    if (size > LEARN_HEADER_SIZE && size % PAGE_SIZE == 0) size -= (size - LEARN_HEADER_SIZE) % LEARN_RECORD_SIZE;
    bool sound      = file.data && size >= LEARN_HEADER_SIZE && (size - LEARN_HEADER_SIZE) % LEARN_RECORD_SIZE == 0 &&
                 std::memcmp(file.data, LEARN_MAGIC, LEARN_MAGIC_SIZE) == 0;
    const long records = sound ? (size - LEARN_HEADER_SIZE) / LEARN_RECORD_SIZE : 0;
    auto validOffset   = [&](u32 at) {
        return at >= u32(LEARN_HEADER_SIZE) && at < u32(size) && (at - LEARN_HEADER_SIZE) % LEARN_RECORD_SIZE == 0;
    };
    long steps = 0;
    for (int bucket = 0; sound && bucket < LEARN_BUCKETS; bucket++) {
        u32 at = ReadLittleEndian32(file.data + LEARN_MAGIC_SIZE + 4 * bucket);
        while (sound && at) {
            // Chains are disjoint, so all of them together visit each record once at most.
            if (!validOffset(at) || ++steps > records) sound = false;
            else if ((ReadLittleEndian32(file.data + at + 12) & 0xFFFF) != u32(bucket)) sound = false;
            else at = ReadLittleEndian32(file.data + at + 20);
        }
    }
    UnmapFile(file);
    return sound;
}

// The empty file is written under another name and renamed, so that no one ever finds half of it.
static bool CreateLearnFile(const char* path) {
    const std::string temporary = std::string(path) + ".tmp";
    std::FILE* file             = std::fopen(temporary.c_str(), "wb");
    if (!file) return false;
    static const uint8_t zeros[4 * LEARN_BUCKETS] = {};
    bool written = std::fwrite(LEARN_MAGIC, 1, LEARN_MAGIC_SIZE, file) == size_t(LEARN_MAGIC_SIZE) &&
                   std::fwrite(zeros, 1, sizeof zeros, file) == sizeof zeros;
    written = std::fclose(file) == 0 && written;
    if (written && std::rename(temporary.c_str(), path) == 0) return true;
    std::remove(temporary.c_str());
    return false;
}

void OpenLearnFile(const char* path) {
    CloseLearnFile();
    PendingLearnCount = 0;
    if (!UseLearning && !UseLearningData) return;
    if (!ReadableFileExists(path)) {
        // Only learning itself makes a file; with the data alone there is nothing to read.
        if (!UseLearning || !CreateLearnFile(path)) return;
    }
    long size;
    if (!LearnFileIsSound(path, size)) {
        std::printf("Invalid learning file \"%s\": not used\n", path);
        std::fflush(stdout);
        return;
    }
    if (UseLearning) {
        std::error_code ignored;
        std::filesystem::resize_file(path, std::uintmax_t(size), ignored);
    }
    LearnFile         = std::fopen(path, UseLearning ? "r+b" : "rb");
    LearnFileWritable = LearnFile && UseLearning;
    if (!LearnFile) LearnFile = std::fopen(path, "rb");
    LearnFileSize = size;
}

static bool ReadWord(long at, u32& value) {
    uint8_t bytes[4];
    if (std::fseek(LearnFile, at, SEEK_SET) != 0 || std::fread(bytes, 1, 4, LearnFile) != 4) return false;
    value = ReadLittleEndian32(bytes);
    return true;
}

static bool WriteBytes(long at, const uint8_t* bytes, size_t count) {
    std::fflush(LearnFile);
    const bool done = std::fseek(LearnFile, at, SEEK_SET) == 0 && std::fwrite(bytes, 1, count, LearnFile) == count;
    return std::fflush(LearnFile) == 0 && done;
}

static long BucketSlot(u32 key1) { return LEARN_MAGIC_SIZE + 4L * (key1 & 0xFFFF); }

static bool IsRecordOffset(u32 at) {
    return at >= u32(LEARN_HEADER_SIZE) && long(at) + LEARN_RECORD_SIZE <= LearnFileSize &&
           (at - LEARN_HEADER_SIZE) % LEARN_RECORD_SIZE == 0;
}

int LearnFind(u32 key1, u32 key2, LearnRecord& record, long& offset) {
    offset = 0;
    if (!LearnFile) return 0;
    u32 at;
    if (!ReadWord(BucketSlot(key1), at)) return 0;
    // A chain is never longer than the file has records; the bound keeps a damaged link from
    // holding the search.
    for (long steps = (LearnFileSize - LEARN_HEADER_SIZE) / LEARN_RECORD_SIZE; at && steps >= 0; steps--) {
        uint8_t bytes[LEARN_RECORD_SIZE];
        if (!IsRecordOffset(at) || std::fseek(LearnFile, long(at), SEEK_SET) != 0 ||
            std::fread(bytes, 1, LEARN_RECORD_SIZE, LearnFile) != size_t(LEARN_RECORD_SIZE))
            return 0;
        record.depth = int32_t(ReadLittleEndian32(bytes));
        record.score = int32_t(ReadLittleEndian32(bytes + 4));
        record.move  = ReadLittleEndian32(bytes + 8);
        record.key1  = ReadLittleEndian32(bytes + 12);
        record.key2  = ReadLittleEndian32(bytes + 16);
        record.next  = ReadLittleEndian32(bytes + 20);
        if (record.key1 == key1 && record.key2 == key2) {
            offset = long(at);
            return 1;
        }
        at = record.next;
    }
    return 0;
}

int LearnProbe(int* depth, int* score) {
    LearnRecord record;
    long offset;
    if (!LearnFind(LearnKey1(thread_board.HashKey), LearnKey2(thread_board.HashKey), record, offset)) return 0;
    *depth = record.depth;
    *score = record.score;
    return 1;
}

static void EncodeRecord(uint8_t* bytes, const PendingLearnEntry& entry, u32 next) {
    const u32 words[6] = {u32(entry.depth), u32(entry.newScore), entry.move, entry.key1, entry.key2, next};
    for (int i = 0; i < 6; i++) WriteLittleEndian32(bytes + 4 * i, words[i]);
}

// The record goes to the end of the file first, and only then is it linked to the end of its
// chain: a process killed in between leaves a record that nothing reaches, never a link to
// nothing.
static void LearnAppend(const PendingLearnEntry& entry) {
    const long end = LearnFileSize;
    uint8_t bytes[LEARN_RECORD_SIZE];
    EncodeRecord(bytes, entry, 0);
    if (!WriteBytes(end, bytes, LEARN_RECORD_SIZE)) return;
    LearnFileSize = end + LEARN_RECORD_SIZE;
    long slot     = BucketSlot(entry.key1);
    u32 at;
    for (long steps = (end - LEARN_HEADER_SIZE) / LEARN_RECORD_SIZE; steps >= 0; steps--) {
        if (!ReadWord(slot, at)) return;
        if (!at) break;
        if (!IsRecordOffset(at)) return;
        slot = long(at) + 20;
    }
    uint8_t link[4];
    WriteLittleEndian32(link, u32(end));
    WriteBytes(slot, link, 4);
}

// Depth, score, move and keys in one write; the link to the next record stays.
static void LearnRewrite(const PendingLearnEntry& entry, long offset) {
    uint8_t bytes[LEARN_RECORD_SIZE];
    EncodeRecord(bytes, entry, 0);
    WriteBytes(offset, bytes, LEARN_RECORD_SIZE - 4);
}

static void LearnLogLine(const char* tag, const PendingLearnEntry& entry) {
    std::FILE* log = std::fopen("learn.log", "a");
    if (!log) return;
    std::fprintf(log, "%d%c%s Depth = %d%cOldEvaluation = %d%cEvaluaton = %d%cFEN = %s\n", LearnLogLineNumber++, '\t',
                 tag, entry.depth, '\t', entry.oldScore, '\t', entry.newScore, '\t', entry.text);
    std::fclose(log);
}

static void LearnAddOrRefresh(const PendingLearnEntry& entry) {
    LearnRecord record;
    long offset;
    if (!LearnFind(entry.key1, entry.key2, record, offset)) {
        if (LogLearningIntoFile) LearnLogLine("Add:", entry);
        LearnAppend(entry);
    } else {
        if (LogLearningIntoFile) LearnLogLine("Refresh:", entry);
        LearnRewrite(entry, offset);
    }
}

void LearnFlushPending() {
    if (LearnFileWritable)
        for (int i = 0; i < PendingLearnCount; i++) LearnAddOrRefresh(PendingLearn[i]);
    PendingLearnCount = 0;
}

void LearnQueue(u32 key1, u32 key2, Move move, int oldScore, int newScore, int depth) {
    if (PendingLearnCount >= LEARN_PENDING_MAX) return;
    PendingLearnEntry& entry = PendingLearn[PendingLearnCount++];
    entry                    = {key1, key2, depth, oldScore, newScore, move, {}};
    std::snprintf(entry.text, sizeof entry.text, "%s", PositionText(move));
}

void LearnAfterMove(const LearnMoveFacts& facts) {
    if (!LearnFileWritable) return;
    const int* scores = facts.recentScores;
    const Position& b = thread_board;
    // A fall waits for the next move: it is learnt only when the score went on down.
    if (PendingLearnCount && facts.rootScore < -400)
        LearnFlushPending();
    else if ((scores[7] >= -9 && scores[8] >= -9 && scores[9] >= -9) || facts.recentBook[9])
        PendingLearnCount = 0;

    // A new fall between the last two own moves of one unbroken game, out of the book.
    if (HistoryCount - 3 < HistoryBase || facts.recentBook[8] || facts.recentBook[9]) return;
    if (scores[8] <= -180 || scores[9] >= 520 || scores[9] - scores[8] >= -40 || facts.iterationNumber <= 6) return;
    if (b.HashKey != facts.recentKeys[9] || History[HistoryCount - 2].HashKey != facts.recentKeys[8]) return;

    // Back to the position in which the previous own move was chosen.
    Move moves[3];
    for (int i = 2; i >= 0; i--) {
        UnmakeMove();
        moves[i] = History[HistoryCount].Move;
    }
    if (b.PiecePoints[WHITE] > 13 && b.PiecePoints[BLACK] > 13 && b.FiftyCounter < 70 && HistoryCount < 100 &&
        PendingLearnCount < LEARN_PENDING_MAX) {
        const int code = facts.iterationNumber * 4 + 2;
        LearnRecord record;
        long offset;
        const u32 key1 = LearnKey1(b.HashKey), key2 = LearnKey2(b.HashKey);
        if (!LearnFind(key1, key2, record, offset) || record.depth < code)
            LearnQueue(key1, key2, moves[0], scores[8], scores[9], code);
    }
    for (Move move : moves) MakeMove(move, 1);
}
