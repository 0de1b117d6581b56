// The command interpreter shared by the console, xboard and UCI: one chain of keyword tests.
#pragma once
#include <array>
#include <string>

constexpr int MAX_TOKENS = 2048;
extern std::array<std::string, MAX_TOKENS> Tokens;
extern int TokenOffsets[MAX_TOKENS];

// Splits text at any of the delimiters; runs of delimiters count as one and a trailing delimiter
// gives one more, empty token ("go " gives 2, "" gives 1).
int Tokenize(const char* text, const char* delimiters);
// Case-insensitive common-prefix test after leading blanks; 0 when either side is empty.
int MatchCommand(const char* keyword, const char* text);
// A token read as a decimal number: 0 without digits, clamped to the int range.
int TokenNumber(int index);
// The text of CommandLine from token `index` on, blanks included, without trailing blanks: a value
// that may hold blanks (a path, a FEN). The token must exist.
const char* RestOfLine(int index);
// The text behind the first word of a line and its blanks: the argument of a command read
// outside the command loop, where Tokens belong to the command that runs the search.
const char* ArgumentOf(const char* text);
void ExecuteCommand();
