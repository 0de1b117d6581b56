// Runs the real engine binary as a child process, over a pipe or a pseudo-terminal, in a fresh
// temporary working directory, and talks to it line by line with time-outs.
#pragma once
#include <string>
#include <vector>

struct EngineProcess {
    int pid      = -1;
    int inputFd  = -1; // we write the engine's standard input here
    int outputFd = -1; // and read its standard output here
    bool terminal = false;
    std::string pending; // bytes read but not yet returned as lines
    std::string workDir;
};

// Starts the engine in workDir (a new temporary directory when empty). The files given as
// (name, content) pairs are written there first.
EngineProcess StartEngine(bool terminal, const std::vector<std::pair<std::string, std::string>>& files = {},
                          const std::string& workDir = "");
void SendLine(EngineProcess& engine, const std::string& line);
void SendRaw(EngineProcess& engine, const std::string& bytes);
// One line without its line feed; false on time-out or end of output.
bool ReadLineFrom(EngineProcess& engine, std::string& line, int timeoutMs = 5000);
// Lines up to and including the first one equal to `last`; empty when it never came.
std::vector<std::string> ReadUntil(EngineProcess& engine, const std::string& last, int timeoutMs = 5000);
// Reads the banner and the settings print-out up to its closing empty line.
std::vector<std::string> ReadStartup(EngineProcess& engine);
// Sends "isready" and returns every line before "readyok".
std::vector<std::string> Exchange(EngineProcess& engine, const std::string& command, int timeoutMs = 5000);
// Closes the engine's input; returns its exit code, or -1 when it did not end in time.
int CloseAndWait(EngineProcess& engine, int timeoutMs = 5000);
int WaitExit(EngineProcess& engine, int timeoutMs = 5000);
void KillEngine(EngineProcess& engine);
std::string ReadFileText(const std::string& path);
