#include "tests/support/engine_process.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

int64_t SteadyMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool StartsWith(const std::string& line, const std::string& prefix) { return line.rfind(prefix, 0) == 0; }

int CountPrefix(const Lines& lines, const std::string& prefix) {
    int n = 0;
    for (const std::string& line : lines) n += StartsWith(line, prefix);
    return n;
}


EngineProcess::EngineProcess(bool term, const std::vector<std::pair<std::string, std::string>>& files,
                             const std::string& folder, const std::string& program)
    : terminal(term), workDir(folder.empty() ? dir.path : folder) {
    std::signal(SIGPIPE, SIG_IGN);
    for (auto& [name, content] : files) WriteFileText(workDir + "/" + name, content);
    int childIn = -1, childOut = -1;
    if (terminal) {
        int master, slave;
        if (openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) return;
        termios tio;
        tcgetattr(slave, &tio);
        // A line-editing terminal as a person has it, minus echo and CR/LF translation, so that we
        // read exactly what the engine writes and ^D at a line start is the end of input.
        tio.c_lflag &= ~(ECHO | ECHONL | ECHOCTL);
        tio.c_oflag &= ~OPOST;
        tio.c_iflag &= ~(ICRNL | INLCR | IGNCR);
        tcsetattr(slave, TCSANOW, &tio);
        fcntl(master, F_SETFD, FD_CLOEXEC);
        inputFd = outputFd = master;
        childIn = childOut = slave;
    } else {
        int toEngine[2], fromEngine[2];
        if (pipe2(toEngine, O_CLOEXEC) != 0 || pipe2(fromEngine, O_CLOEXEC) != 0) return;
        inputFd  = toEngine[1];
        outputFd = fromEngine[0];
        childIn  = toEngine[0];
        childOut = fromEngine[1];
    }
    pid = fork();
    if (pid == 0) {
        if (terminal) setsid();
        dup2(childIn, 0);
        dup2(childOut, 1);
        dup2(childOut, 2);
        if (terminal) ioctl(0, TIOCSCTTY, 0);
        if (chdir(workDir.c_str()) != 0) _exit(127);
        execl(program.c_str(), program.c_str(), (char*)nullptr);
        _exit(127);
    }
    close(childIn);
    if (childOut != childIn) close(childOut);
}

EngineProcess::~EngineProcess() {
    if (pid > 0) {
        kill(pid, SIGKILL);
        WaitExit(2000);
    }
}

void EngineProcess::SendRaw(const std::string& bytes) {
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t n = write(inputFd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;
        done += size_t(n);
    }
}

bool EngineProcess::ReadLine(std::string& line, int timeoutMs) {
    const int64_t deadline = SteadyMs() + int64_t(timeoutMs) * kSlowdown;
    for (;;) {
        const size_t feed = pending.find('\n');
        if (feed != std::string::npos) {
            line = pending.substr(0, feed);
            pending.erase(0, feed + 1);
            return true;
        }
        const int64_t left = deadline - SteadyMs();
        if (left <= 0 || outputFd < 0) return false;
        pollfd pfd{outputFd, POLLIN, 0};
        if (poll(&pfd, 1, int(left)) <= 0) continue;
        char buffer[65536];
        const ssize_t n = read(outputFd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        pending.append(buffer, size_t(n));
    }
}

Lines EngineProcess::ReadUntil(const std::string& prefix, int timeoutMs, bool whole) {
    Lines lines;
    const int64_t deadline = SteadyMs() + int64_t(timeoutMs) * kSlowdown;
    for (std::string line; ReadLine(line, int(std::max<int64_t>(1, (deadline - SteadyMs()) / kSlowdown)));) {
        lines.push_back(line);
        if (whole ? line == prefix : StartsWith(line, prefix)) return lines;
    }
    return {};
}

Lines EngineProcess::Exchange(const std::string& command, int timeoutMs) {
    Send(command);
    Send("isready");
    Lines lines = ReadUntil("readyok", timeoutMs, true);
    if (!lines.empty()) lines.pop_back();
    return lines;
}

Lines EngineProcess::LinesWithin(int ms) {
    Lines lines;
    const int64_t deadline = SteadyMs() + ms;
    std::string line;
    for (int64_t left = ms; left > 0 && ReadLine(line, int((left + kSlowdown - 1) / kSlowdown)); left = deadline - SteadyMs())
        lines.push_back(line);
    return lines;
}

int EngineProcess::WaitExit(int timeoutMs) {
    const int64_t deadline = SteadyMs() + int64_t(timeoutMs) * kSlowdown;
    for (;;) {
        int status;
        if (waitpid(pid, &status, WNOHANG) == pid) {
            pid = -1;
            // What the engine wrote last stays readable in `pending`.
            for (char buffer[65536]; outputFd >= 0;) {
                const ssize_t n = read(outputFd, buffer, sizeof buffer);
                if (n <= 0) break;
                pending.append(buffer, size_t(n));
            }
            close(outputFd);
            if (inputFd != outputFd && inputFd >= 0) close(inputFd);
            outputFd = inputFd = -1;
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        if (SteadyMs() > deadline) return -1;
        // Keep draining output so that the engine never blocks on a full pipe.
        pollfd pfd{outputFd, POLLIN, 0};
        if (poll(&pfd, 1, 10) > 0) {
            char buffer[65536];
            const ssize_t n = read(outputFd, buffer, sizeof buffer);
            if (n > 0) pending.append(buffer, size_t(n));
        }
    }
}

int EngineProcess::CloseAndWait(int timeoutMs) {
    if (terminal) {
        SendRaw(std::string(1, char(4))); // the terminal's end-of-file character
    } else {
        close(inputFd);
        inputFd = -1;
    }
    return WaitExit(timeoutMs);
}
