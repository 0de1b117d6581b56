// The few services the engine needs from the operating system: a clock, a non-blocking look at
// standard input, read-only file mapping and a mutex. Nothing else in the tree calls the OS directly
// except plain stdio.
#pragma once
#include <cstddef>
#include <cstdint>
#include <mutex>

// Ends the process with `code`. Standard output is flushed first; whatever the layers above must
// close or release on the way out they hand to std::atexit.
[[noreturn]] void ExitProgram(int code);

#ifdef VELUMBRAK_FUZZ
// A fuzzing build runs one input after another in one process: leaving the program throws this
// back to the harness, and searches and perft stay small so that thousands of inputs fit a minute.
struct ProgramExit {
    int code;
};
constexpr uint64_t FUZZ_NODE_CAP    = 250;
constexpr int FUZZ_PERFT_DEPTH      = 2;
#endif
// A block the engine cannot do without could not be had: says so and ends the process with 1.
[[noreturn]] void OutOfMemory();

// Milliseconds since the process started (monotonic, wall time: never CPU time).
int64_t ClockMs();

// True when a read of descriptor 0 would not block: bytes waiting, end of input or an error.
// Works the same on a pipe, a file and a terminal; the terminal mode is left alone.
bool StdinReady();

// Waits at most timeout_ms for standard input to become ready; true when it is.
bool WaitStdin(int timeout_ms);

// True when standard input is a terminal.
bool StdinIsTerminal();

// A whole file mapped read-only. data is nullptr when the file is missing, is no regular file, is
// empty or cannot be mapped; error is then the system's error number (0 for an empty file).
struct MappedFile {
    const uint8_t* data;
    size_t size;
    int error;
};

MappedFile MapFileReadOnly(const char* path);
// True when `path` names a regular file that can be opened for reading.
bool ReadableFileExists(const char* path);
void UnmapFile(MappedFile& file);

// Asks for large pages under a big table about to be filled: a few faults instead of thousands at
// start-up, and fewer TLB misses in the search. A hint only; where it is refused nothing changes.
void AdviseLargePages(void* begin, size_t bytes);

// The parallel start-up loops take a second thread only for a core the load average leaves free:
// on a busy machine the thread waits longer for a core than its share of a loop takes, and the
// first thread spins meanwhile. An OMP_DYNAMIC set in the environment stands.
void ShareLoopsWithIdleCoresOnly();
// Ends the threads of the parallel start-up loops once a table is built. Left alone, libgomp's idle
// threads spin for milliseconds after every parallel loop before they sleep, which costs more CPU
// than the loops themselves; a later parallel loop starts new ones.
void ReleaseLoopThreads();

using PlatformMutex = std::mutex;
