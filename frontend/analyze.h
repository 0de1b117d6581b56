// The `analyze` command: the engine analyses the position until told to leave, following the moves,
// take-backs and new games the host sends meanwhile.
#pragma once

void AnalyzeLoop();
