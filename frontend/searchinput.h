// Commands that arrive while the engine searches. No thread reads standard input: the search calls
// this reader at its polls and while it waits for the host, and the reader acts on the lines that
// have arrived through the search's request flags, or leaves them for the command loop.
#pragma once

// The search's ReadCommandsDuringSearch: waits at most waitMs for input, then takes every line
// that has arrived. 1 when there was input.
int ReadSearchInput(int waitMs);
