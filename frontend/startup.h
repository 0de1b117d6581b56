// Start-up, the command loop and the one way out of the process.
#pragma once

// Every table, setting and file of start-up, in order, ending with a new game.
void InitializeEngine();
[[noreturn]] void RunCommandLoop();
[[noreturn]] void ExitProgram(int code);
