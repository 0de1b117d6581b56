#include <cstdlib>
#include <cstring>

#include "frontend/bench.h"
#include "frontend/startup.h"
#include "platform/platform.h"

// `velumbrak bench [depth]` runs the bench and ends, its node count last, as testing frameworks
// expect; every other argument is ignored, since some hosts pass their own.
int main(int argc, char** argv) {
    InitializeEngine();
    if (argc >= 2 && std::strcmp(argv[1], "bench") == 0) {
        BenchCommand(argc >= 3 && std::atoi(argv[2]) > 0 ? std::atoi(argv[2]) : BENCH_DEFAULT_DEPTH);
        ExitProgram(0);
    }
    RunCommandLoop();
}
