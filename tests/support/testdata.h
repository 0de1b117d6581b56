// The data files under tests/data, files in scratch folders, for unit and end-to-end tests alike.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

inline std::string DataPath(const std::string& relative) { return std::string(TESTDATA_DIR) + "/" + relative; }

inline std::string ReadFileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The blank-separated words of a line.
inline std::vector<std::string> Words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

inline void WriteFileText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

// One line of an EPD or perft file: its first four fields as a FEN (counters 0 1) and the rest.
struct EpdLine {
    std::string fen, operations;
};

inline std::vector<EpdLine> ReadEpd(const std::string& relative) {
    std::ifstream in(DataPath(relative));
    std::vector<EpdLine> lines;
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::istringstream fields(line);
        std::string board, side, castling, passant;
        if (!(fields >> board >> side >> castling >> passant)) continue;
        std::string rest;
        std::getline(fields, rest);
        lines.push_back({board + " " + side + " " + castling + " " + passant + " 0 1", rest});
    }
    return lines;
}

// The counts of a perft file: counts[d - 1] for depth d.
struct PerftCase {
    std::string fen;
    std::vector<uint64_t> counts;
};

inline std::vector<PerftCase> ReadPerft(const std::string& name) {
    std::vector<PerftCase> cases;
    for (const EpdLine& line : ReadEpd("perft/" + name)) {
        PerftCase c{line.fen, {}};
        for (size_t at = line.operations.find(";D"); at != std::string::npos; at = line.operations.find(";D", at + 1)) {
            std::istringstream fields(line.operations.substr(at + 2));
            size_t depth;
            uint64_t count;
            fields >> depth >> count;
            c.counts.resize(std::max(c.counts.size(), depth));
            c.counts[depth - 1] = count;
        }
        cases.push_back(c);
    }
    return cases;
}

// Every position of the EPD suites, in file order.
inline std::vector<std::string> SuiteFens() {
    std::vector<std::string> fens;
    for (const char* suite : {"bratko-kopec", "ccr-one-hour", "ecm", "sts1-15_lan_v3", "wac"})
        for (const EpdLine& line : ReadEpd(std::string("epd/") + suite + ".epd")) fens.push_back(line.fen);
    return fens;
}

// A fresh temporary folder, removed at the end; `enter` makes it current meanwhile, for code that
// reads its files from the current folder.
struct ScratchDir {
    std::string path;
    std::filesystem::path previous;
    explicit ScratchDir(bool enter = false) {
        char name[] = "/tmp/velumbrak-test-XXXXXX";
        path        = mkdtemp(name);
        if (enter) {
            previous = std::filesystem::current_path();
            std::filesystem::current_path(path);
        }
    }
    ~ScratchDir() {
        if (!previous.empty()) std::filesystem::current_path(previous);
        std::filesystem::remove_all(path);
    }
    std::string File(const std::string& name) const { return path + "/" + name; }
    void Write(const std::string& name, const std::string& text) const { WriteFileText(File(name), text); }
    std::string Read(const std::string& name) const { return ReadFileText(File(name)); }
    void Remove(const std::string& name) const { std::filesystem::remove(File(name)); }
};
