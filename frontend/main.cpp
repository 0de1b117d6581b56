#include "frontend/startup.h"

int main() {
    InitializeEngine();
    RunCommandLoop();
}
