// Start-up and the command loop.
#pragma once

// Every table, setting and file of start-up, in order, ending with a new game.
void InitializeEngine();
[[noreturn]] void RunCommandLoop();
