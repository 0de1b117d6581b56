// Reading the lines of a running search: up to a line with a given start, or for a given time.
#pragma once
#include <chrono>
#include <string>
#include <vector>

#include "tests/e2e/engine_process.h"

inline int64_t SteadyMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

inline bool StartsWith(const std::string& line, const std::string& prefix) {
    return line.compare(0, prefix.size(), prefix) == 0;
}

// Lines up to and including the first that begins with `prefix`; empty when it never came.
inline std::vector<std::string> ReadUntilPrefix(EngineProcess& engine, const std::string& prefix,
                                                int timeoutMs = 5000) {
    std::vector<std::string> lines;
    const int64_t deadline = SteadyMs() + timeoutMs;
    std::string line;
    while (ReadLineFrom(engine, line, int(std::max<int64_t>(1, deadline - SteadyMs())))) {
        lines.push_back(line);
        if (StartsWith(line, prefix)) return lines;
    }
    return {};
}

// Every line that arrives within `ms`.
inline std::vector<std::string> LinesWithin(EngineProcess& engine, int ms) {
    std::vector<std::string> lines;
    const int64_t deadline = SteadyMs() + ms;
    std::string line;
    for (int64_t left = ms; left > 0; left = deadline - SteadyMs()) {
        if (!ReadLineFrom(engine, line, int(left))) break;
        lines.push_back(line);
    }
    return lines;
}

inline int CountPrefix(const std::vector<std::string>& lines, const std::string& prefix) {
    int n = 0;
    for (const std::string& line : lines) n += StartsWith(line, prefix);
    return n;
}

// The words of a line.
inline std::vector<std::string> Words(const std::string& line) {
    std::vector<std::string> words;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && line[i] == ' ') i++;
        size_t j = i;
        while (j < line.size() && line[j] != ' ') j++;
        if (j > i) words.push_back(line.substr(i, j - i));
        i = j;
    }
    return words;
}
