#include "frontend/config.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "frontend/command.h"
#include "frontend/settings.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"

namespace {

constexpr const char* INI_NAME = "Velumbrak.ini";
constexpr int INI_LINE_SIZE    = 250;

void Warn(int lineNumber, const char* text) {
    std::printf("%s(%d) WARNING: %s\n", INI_NAME, lineNumber, text);
    std::fflush(stdout);
}

// on/true and off/false, in any case; any other word is reported and changes nothing.
void SetFlag(int& flag, int lineNumber) {
    const char* word = Tokens[1].c_str();
    if (!strcasecmp(word, "on") || !strcasecmp(word, "true"))
        flag = 1;
    else if (!strcasecmp(word, "off") || !strcasecmp(word, "false"))
        flag = 0;
    else {
        std::printf("%s(%d) WARNING: Token unknown \"%s\"\n", INI_NAME, lineNumber, word);
        std::fflush(stdout);
    }
}

// A percentage 0..300 kept beside its half, the half being what the evaluation reads.
void SetStyle(int& value, int& half, int lineNumber, const char* name) {
    int v = TokenNumber(1);
    char text[96];
    if (v < 0) {
        v = 0;
        std::snprintf(text, sizeof(text), "Incorrect %s setting; set to 0", name);
        Warn(lineNumber, text);
    } else if (v > 300) {
        v = 300;
        std::snprintf(text, sizeof(text), "Incorrect %s setting; set to 300", name);
        Warn(lineNumber, text);
    }
    value = v;
    half  = v / 2;
}

// All of the line behind the key's delimiters, blanks inside included; delimiters at the end
// (a closing quote, trailing blanks) are no part of a name.
void TextValue(const char* line, char* out, size_t size) {
    const char* start = line + TokenOffsets[1];
    size_t length     = std::strlen(start);
    while (length > 0 && std::strchr(" =,\"", start[length - 1])) length--;
    if (length >= size) length = size - 1;
    std::memcpy(out, start, length);
    out[length] = 0;
}

void ApplyLine(const char* line, int lineNumber) {
    if (MatchCommand("TranspositionSizeMb", line)) {
        unsigned mb = unsigned(TokenNumber(1));
        if (mb > 1024) {
            Warn(lineNumber, "Incorrect hash size setting in Velumbrak.ini; set to default");
            TranspositionEntries = 0x80000;
        } else
            TranspositionEntries = (int64_t(mb) << 20) / 24;
    } else if (MatchCommand("TranspositionSize", line)) {
        unsigned exponent = unsigned(TokenNumber(1));
        if (exponent > 25) {
            Warn(lineNumber, "Incorrect hash size setting in Velumbrak.ini; set to default");
            TranspositionEntries = 0x80000;
        } else
            TranspositionEntries = int64_t(1) << exponent;
    } else if (MatchCommand("ResignValue", line)) {
        ResignValue = TokenNumber(1);
    } else if (MatchCommand("ResignTimes", line)) {
        ResignTimes = TokenNumber(1);
    } else if (MatchCommand("PawnHashSizeMb", line)) {
        unsigned mb = unsigned(TokenNumber(1));
        if (mb > 1024) {
            Warn(lineNumber, "Incorrect pawn hash size setting in Velumbrak.ini; set to default");
            PawnHashEntries = 0x80000;
        } else
            PawnHashEntries = (int64_t(mb) << 20) / 22;
    } else if (MatchCommand("PawnHashSize", line)) {
        unsigned exponent = unsigned(TokenNumber(1));
        if (exponent < 12 || exponent > 23) {
            Warn(lineNumber, "Incorrect pawn hash size setting in Velumbrak.ini; set to default");
            PawnHashEntries = 0x80000;
        } else
            PawnHashEntries = int64_t(1) << exponent;
    } else if (MatchCommand("Aggressivity", line)) {
        SetStyle(Aggressivity, AggressivityHalf, lineNumber, "AGGRESSIVITY");
    } else if (MatchCommand("Cowardice", line)) {
        SetStyle(Cowardice, CowardiceHalf, lineNumber, "COWARDICE");
    } else if (MatchCommand("VarietyOfPlay", line)) {
        int v = TokenNumber(1);
        if (v < 0) {
            v = 0;
            Warn(lineNumber, "Incorrect VarietyOfPlay setting; set to 0");
        } else if (v > 100) {
            v = 100;
            Warn(lineNumber, "Incorrect VarietyOfPlay setting; set to 100");
        }
        VarietyOfPlay = v;
    } else if (MatchCommand("BookLearningBound", line)) {
        BookLearningBound = TokenNumber(1);
    } else if (MatchCommand("Learning", line)) {
        SetFlag(UseLearning, lineNumber);
    } else if (MatchCommand("UseBookLearning", line)) {
        SetFlag(UseBookLearning, lineNumber);
    } else if (MatchCommand("Pondering", line)) {
        SetFlag(Pondering, lineNumber);
        // Off is for good: nothing turns pondering on again. On leaves the current state alone.
        if (!Pondering) PonderEnabled = 0;
    } else if (MatchCommand("UseEGTB", line)) {
        SetFlag(UseEGTB, lineNumber);
    } else if (MatchCommand("EGTBPath", line)) {
        TextValue(line, EgtbPath, sizeof(EgtbPath));
    } else if (MatchCommand("OpeningsBook", line)) {
        char name[INI_LINE_SIZE];
        TextValue(line, name, sizeof(name));
        OpenBook(name);
    } else if (MatchCommand("BookLearningMode", line)) {
        const char* word = Tokens[1].c_str();
        if (!strcasecmp(word, "discover"))
            BookLearningMode = 1;
        else if (!strcasecmp(word, "kill"))
            BookLearningMode = 0;
        else {
            std::printf("%s(%d) WARNING: Token unknown \"%s\"\n", INI_NAME, lineNumber, word);
            std::fflush(stdout);
        }
    } else if (MatchCommand("UseLearningData", line)) {
        SetFlag(UseLearningData, lineNumber);
    } else if (MatchCommand("UseBookWeights", line)) {
        SetFlag(UseBookWeights, lineNumber);
    } else if (MatchCommand("LogLearningIntoFile", line)) {
        SetFlag(LogLearningIntoFile, lineNumber);
    }
}

} // namespace

void ReadConfigurationFile() {
    std::FILE* file = std::fopen(INI_NAME, "r");
    if (!file) return;
    char line[INI_LINE_SIZE];
    int lineNumber = 0;
    while (std::fgets(line, sizeof(line), file)) {
        lineNumber++;
        if (line[0] == 0 || line[0] == ';') continue;
        // Control characters end the line, and so does any byte of 128 and above.
        for (char* p = line; *p; p++)
            if ((signed char)*p < 32) {
                *p = 0;
                break;
            }
        if (Tokenize(line, " =\r\n,\"") < 2) continue;
        ApplyLine(line, lineNumber);
    }
    std::fclose(file);
}
