// Standard input, read only through InputBuffer: the main loop, the reader during a search and
// the console readers all take their lines from it, so nothing read early is lost.
#pragma once
#include <string>

// Lines up to this length are accepted; longer ones are dropped with one line of complaint.
constexpr size_t MAX_LINE_LENGTH = 1 << 20;
// One read delivers at most this many bytes.
constexpr size_t READ_CHUNK = 4096;

extern std::string InputBuffer;
extern std::string CommandLine;

// Forgets what was read and that the input ended: a new stream on descriptor 0 starts afresh.
void ResetInput();
// One blocking read appended to InputBuffer; false at the end of input or on a read error.
bool ReadInput();
// A line or bytes (or the end of input) can be read without blocking.
int InputPending();
// Moves the first line of InputBuffer into destination: line feed removed, carriage returns made
// blanks. 1 for a line, 0 when wait is 0 and no line is there, -1 when input has ended.
int ReadLine(int wait, std::string& destination);
