#include "platform/platform.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <omp.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

void ExitProgram(int code) {
    std::fflush(stdout);
#ifdef VELUMBRAK_FUZZ
    throw ProgramExit{code};
#else
    std::exit(code);
#endif
}

void OutOfMemory() {
    std::printf("An error occured while memory allocation!\n");
    ExitProgram(1);
}

static const std::chrono::steady_clock::time_point ProcessStart = std::chrono::steady_clock::now();

int64_t ClockMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 ProcessStart)
        .count();
}

bool WaitStdin(int timeout_ms) {
    pollfd pfd{0, POLLIN, 0};
    int r = poll(&pfd, 1, timeout_ms);
    // End of input and errors count as "ready" so that the following read sees them.
    return r > 0 && (pfd.revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL)) != 0;
}

bool StdinReady() { return WaitStdin(0); }

bool StdinIsTerminal() { return isatty(0) != 0; }

MappedFile MapFileReadOnly(const char* path) {
    MappedFile file{nullptr, 0, 0};
    int fd = open(path, O_RDONLY);
    if (fd < 0) {
        file.error = errno;
        return file;
    }
    struct stat st;
    if (fstat(fd, &st) != 0) {
        file.error = errno;
    } else if (!S_ISREG(st.st_mode)) {
        file.error = ENOENT; // a directory of that name is no file
    } else if (st.st_size > 0) {
        void* p = mmap(nullptr, (size_t)st.st_size, PROT_READ, MAP_SHARED, fd, 0);
        if (p != MAP_FAILED) {
            file.data = static_cast<const uint8_t*>(p);
            file.size = (size_t)st.st_size;
        } else {
            file.error = errno;
        }
    }
    close(fd);
    return file;
}

bool ReadableFileExists(const char* path) {
    int fd = open(path, O_RDONLY);
    if (fd < 0) return false;
    struct stat st;
    const bool regular = fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    close(fd);
    return regular;
}

void UnmapFile(MappedFile& file) {
    if (file.data) munmap(const_cast<uint8_t*>(file.data), file.size);
    file.data = nullptr;
    file.size = 0;
}

void ShareLoopsWithIdleCoresOnly() {
    if (!std::getenv("OMP_DYNAMIC")) omp_set_dynamic(1);
}

void ReleaseLoopThreads() { omp_pause_resource_all(omp_pause_soft); }

void AdviseLargePages(void* begin, size_t bytes) {
    // Only the whole 2 MiB pages inside the block can be backed by large pages.
    constexpr uintptr_t LARGE = uintptr_t(2) << 20;
    uintptr_t first = (uintptr_t(begin) + LARGE - 1) & ~(LARGE - 1);
    uintptr_t last  = (uintptr_t(begin) + bytes) & ~(LARGE - 1);
#ifdef MADV_HUGEPAGE
    if (last > first) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#endif
}
