// The words of xboard's second protocol version: the feature list, ping, setboard, memory, the
// tablebase path and the engine options. The rest of xboard's commands are console words.
#pragma once

// `protover N`: from version 2 on, the features and one option line per setting, then done=1.
void ProtoverCommand(int version);
// `ping N` from the command loop: every earlier command is done, so pong at once.
void PingCommand(const char* number);
// `ping N` during a search. The answer may not come before the engine's move: during a search
// for its own move it is held until the move is out; on the opponent's time, in analysis or in
// an endless search it comes at once.
void PingDuringSearch(const char* number, bool moveIsOut);
// The held answers, now that the move is out.
void SendHeldPongs();
// `memory N`: every hash table made again within N megabytes together.
void MemoryCommand(int megabytes);
// `egtpath syzygy PATH`.
void EgtPathCommand(int tokenCount);
// `option NAME=VALUE`, for the settings the feature list offers.
void XboardOptionCommand(const char* text);
