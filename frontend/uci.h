// The UCI commands: members of the one keyword chain, with `uci` switching the mode.
#pragma once

void UciCommand();
void SetOptionCommand(int tokenCount);
void UciNewGameCommand();
void PositionCommand(int tokenCount);
// `go` with its limits (UCI) or plain (console and xboard), then the search.
void GoCommand(int tokenCount);
// `stop` and `ponderhit` when no search runs.
void StopCommand();
void PonderHitCommand();
