// The real engine binary as a child process, over a pipe or a pseudo-terminal, in a folder of its
// own, talked to line by line with time-outs.
#pragma once
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/testdata.h"

using Lines = std::vector<std::string>;

// A sanitized engine answers several times later, more so on a busy machine: the time-outs of the
// reads below and the limits tests put on how soon it answers stretch by this factor.
constexpr int kSlowdown = ENGINE_SLOWDOWN;

struct EngineProcess {
    int pid = -1, inputFd = -1, outputFd = -1;
    bool terminal = false;
    std::string pending; // read but not yet returned as lines
    ScratchDir dir;      // the engine's working folder

    // Starts the engine; the files (name, content) are written to its folder first. `folder`
    // other than empty runs it there instead; `program` another engine.
    explicit EngineProcess(bool terminal = false, const std::vector<std::pair<std::string, std::string>>& files = {},
                           const std::string& folder = "", const std::string& program = ENGINE_PATH);
    ~EngineProcess();
    EngineProcess(const EngineProcess&) = delete;

    void Send(const std::string& line) { SendRaw(line + "\n"); }
    void SendRaw(const std::string& bytes);
    // One line without its line feed; false on time-out or the end of output.
    bool ReadLine(std::string& line, int timeoutMs = 5000);
    // Lines up to and including the first that starts with `prefix` (or equals it when `whole`);
    // empty when it never came.
    Lines ReadUntil(const std::string& prefix, int timeoutMs = 5000, bool whole = false);
    // The start-up print-out up to its closing empty line.
    Lines Startup() { return ReadUntil("", 10000, true); }
    // Sends the command and "isready"; every line before "readyok".
    Lines Exchange(const std::string& command, int timeoutMs = 5000);
    // Every line that arrives within `ms`.
    Lines LinesWithin(int ms);
    // Closes the input (^D on a terminal); the exit code, or -1 when the process did not end.
    int CloseAndWait(int timeoutMs = 5000);
    int WaitExit(int timeoutMs = 5000);
    std::string workDir;
};

int64_t SteadyMs();
bool StartsWith(const std::string& line, const std::string& prefix);
int CountPrefix(const Lines& lines, const std::string& prefix);
