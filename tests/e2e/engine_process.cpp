#include "tests/e2e/engine_process.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <pty.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

static int64_t NowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

EngineProcess StartEngine(bool terminal, const std::vector<std::pair<std::string, std::string>>& files,
                          const std::string& workDir) {
    std::signal(SIGPIPE, SIG_IGN);
    EngineProcess engine;
    engine.terminal = terminal;
    if (workDir.empty()) {
        char templ[] = "/tmp/velumbrak-e2e-XXXXXX";
        engine.workDir = mkdtemp(templ);
    } else {
        engine.workDir = workDir;
    }
    for (auto& [name, content] : files) {
        std::ofstream out(engine.workDir + "/" + name, std::ios::binary);
        out << content;
    }

    int childIn = -1, childOut = -1;
    if (terminal) {
        int master, slave;
        if (openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) return engine;
        termios tio;
        tcgetattr(slave, &tio);
        // A line-editing terminal as a person has it, minus echo and CR/LF translation, so that we
        // read exactly what the engine writes and ^D at a line start is the end of input.
        tio.c_lflag &= ~(ECHO | ECHONL | ECHOCTL);
        tio.c_oflag &= ~OPOST;
        tio.c_iflag &= ~(ICRNL | INLCR | IGNCR);
        tcsetattr(slave, TCSANOW, &tio);
        fcntl(master, F_SETFD, FD_CLOEXEC);
        engine.inputFd = engine.outputFd = master;
        childIn = childOut = slave;
    } else {
        int toEngine[2], fromEngine[2];
        if (pipe2(toEngine, O_CLOEXEC) != 0 || pipe2(fromEngine, O_CLOEXEC) != 0) return engine;
        engine.inputFd  = toEngine[1];
        engine.outputFd = fromEngine[0];
        childIn         = toEngine[0];
        childOut        = fromEngine[1];
    }
    engine.pid = fork();
    if (engine.pid == 0) {
        if (terminal) setsid();
        dup2(childIn, 0);
        dup2(childOut, 1);
        dup2(childOut, 2);
        if (terminal) ioctl(0, TIOCSCTTY, 0);
        if (chdir(engine.workDir.c_str()) != 0) _exit(127);
        execl(ENGINE_PATH, ENGINE_PATH, (char*)nullptr);
        _exit(127);
    }
    close(childIn);
    if (childOut != childIn) close(childOut);
    return engine;
}

void SendRaw(EngineProcess& engine, const std::string& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = write(engine.inputFd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;
        done += (size_t)n;
    }
}

void SendLine(EngineProcess& engine, const std::string& line) { SendRaw(engine, line + "\n"); }

bool ReadLineFrom(EngineProcess& engine, std::string& line, int timeoutMs) {
    int64_t deadline = NowMs() + timeoutMs;
    for (;;) {
        size_t feed = engine.pending.find('\n');
        if (feed != std::string::npos) {
            line = engine.pending.substr(0, feed);
            engine.pending.erase(0, feed + 1);
            return true;
        }
        int64_t left = deadline - NowMs();
        if (left <= 0) return false;
        pollfd pfd{engine.outputFd, POLLIN, 0};
        if (poll(&pfd, 1, (int)left) <= 0) continue;
        char buffer[65536];
        ssize_t n = read(engine.outputFd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        engine.pending.append(buffer, (size_t)n);
    }
}

std::vector<std::string> ReadUntil(EngineProcess& engine, const std::string& last, int timeoutMs) {
    std::vector<std::string> lines;
    int64_t deadline = NowMs() + timeoutMs;
    std::string line;
    while (ReadLineFrom(engine, line, (int)std::max<int64_t>(1, deadline - NowMs()))) {
        lines.push_back(line);
        if (line == last) return lines;
    }
    return {};
}

std::vector<std::string> ReadStartup(EngineProcess& engine) { return ReadUntil(engine, "", 10000); }

std::vector<std::string> Exchange(EngineProcess& engine, const std::string& command, int timeoutMs) {
    SendLine(engine, command);
    SendLine(engine, "isready");
    std::vector<std::string> lines = ReadUntil(engine, "readyok", timeoutMs);
    if (!lines.empty()) lines.pop_back();
    return lines;
}

int WaitExit(EngineProcess& engine, int timeoutMs) {
    int64_t deadline = NowMs() + timeoutMs;
    for (;;) {
        int status;
        pid_t r = waitpid(engine.pid, &status, WNOHANG);
        if (r == engine.pid) {
            engine.pid = -1;
            close(engine.outputFd);
            if (engine.inputFd != engine.outputFd) close(engine.inputFd);
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        if (NowMs() > deadline) return -1;
        // Keep draining output so the engine never blocks on a full pipe.
        pollfd pfd{engine.outputFd, POLLIN, 0};
        if (poll(&pfd, 1, 10) > 0) {
            char buffer[65536];
            ssize_t n = read(engine.outputFd, buffer, sizeof buffer);
            if (n > 0) engine.pending.append(buffer, (size_t)n);
        }
    }
}

int CloseAndWait(EngineProcess& engine, int timeoutMs) {
    if (engine.terminal) {
        // A terminal signals the end of input with its end-of-file character.
        SendRaw(engine, std::string(1, (char)4));
    } else {
        close(engine.inputFd);
        engine.inputFd = -1;
    }
    return WaitExit(engine, timeoutMs);
}

void KillEngine(EngineProcess& engine) {
    if (engine.pid > 0) {
        kill(engine.pid, SIGKILL);
        WaitExit(engine, 2000);
    }
}

std::string ReadFileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}
