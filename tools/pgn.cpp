#include "tools/pgn.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

bool OpenPgn(PgnReader& reader, const char* path) {
    reader.text.clear();
    reader.pos      = 0;
    std::FILE* file = std::fopen(path, "rb");
    if (!file) return false;
    char buffer[1 << 16];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0) reader.text.append(buffer, got);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (reader.text.compare(0, 3, "\xEF\xBB\xBF") == 0) reader.pos = 3;
    return !failed;
}

static int ResultOfText(const std::string& text) {
    if (text == "1-0") return PGN_WHITE_WON;
    if (text == "0-1") return PGN_BLACK_WON;
    if (text == "1/2-1/2") return PGN_DRAWN;
    return PGN_UNKNOWN;
}

static bool IsResultMarker(const std::string& token) {
    return token == "1-0" || token == "0-1" || token == "1/2-1/2" || token == "*";
}

// [Name "value"], with \" and \\ inside the value.
static void ReadTag(PgnReader& reader, PgnGame& game, bool& resultTagSeen) {
    const std::string& text = reader.text;
    size_t& pos             = reader.pos;
    pos++; // '['
    std::string name, value;
    while (pos < text.size() && std::isspace((unsigned char)text[pos])) pos++;
    while (pos < text.size() && !std::isspace((unsigned char)text[pos]) && text[pos] != '"' && text[pos] != ']')
        name += text[pos++];
    while (pos < text.size() && text[pos] != '"' && text[pos] != ']' && text[pos] != '\n') pos++;
    if (pos < text.size() && text[pos] == '"') {
        pos++;
        while (pos < text.size() && text[pos] != '"' && text[pos] != '\n') {
            if (text[pos] == '\\' && pos + 1 < text.size()) pos++;
            value += text[pos++];
        }
    }
    while (pos < text.size() && text[pos] != ']' && text[pos] != '\n') pos++;
    if (pos < text.size() && text[pos] == ']') pos++;

    if (name == "White") game.white = value;
    if (name == "Black") game.black = value;
    if (name == "FEN") {
        game.fromSetUp = true;
        game.fen       = value;
    }
    if (name == "PlyCount") game.plyCount = std::atoi(value.c_str());
    if (name == "Result") {
        game.result   = ResultOfText(value);
        resultTagSeen = true;
    }
}

bool ReadPgnGame(PgnReader& reader, PgnGame& game) {
    game = PgnGame{};
    const std::string& text = reader.text;
    size_t& pos             = reader.pos;
    bool started = false, inMoves = false, resultTagSeen = false;
    int variationDepth = 0;

    while (pos < text.size()) {
        const char c = text[pos];
        if (c == '%' && (pos == 0 || text[pos - 1] == '\n')) {
            while (pos < text.size() && text[pos] != '\n') pos++;
        } else if (std::isspace((unsigned char)c)) {
            pos++;
        } else if (c == '{') {
            while (pos < text.size() && text[pos] != '}') pos++;
            pos++;
        } else if (c == ';') {
            while (pos < text.size() && text[pos] != '\n') pos++;
        } else if (c == '(') {
            variationDepth++;
            pos++;
        } else if (c == ')') {
            if (variationDepth > 0) variationDepth--;
            pos++;
        } else if (c == '[' && variationDepth == 0) {
            // A tag after move text begins the next game.
            if (inMoves) return true;
            started = true;
            ReadTag(reader, game, resultTagSeen);
        } else {
            std::string token;
            while (pos < text.size() && !std::isspace((unsigned char)text[pos]) &&
                   !std::strchr("{}()[];", text[pos]))
                token += text[pos++];
            if (token.empty()) { // a stray closing bracket
                pos++;
                continue;
            }
            started = inMoves = true;
            // Variations, numeric and glyph annotations ("$14", "!?" standing alone) are no moves.
            if (variationDepth > 0 || token[0] == '$' || token.find_first_not_of("!?") == std::string::npos)
                continue;
            if (IsResultMarker(token)) {
                if (!resultTagSeen) game.result = ResultOfText(token);
                return true;
            }
            // Move numbers, also glued to the move: "12.", "12...", "1.d4".
            size_t skip = 0;
            while (skip < token.size() && std::isdigit((unsigned char)token[skip])) skip++;
            if (skip < token.size() && token[skip] == '.') {
                while (skip < token.size() && token[skip] == '.') skip++;
                token.erase(0, skip);
            } else if (skip == token.size()) {
                continue;
            }
            while (!token.empty() && token[0] == '.') token.erase(0, 1);
            if (!token.empty()) game.moves.push_back(token);
        }
    }
    return started;
}
