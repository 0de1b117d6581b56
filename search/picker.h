// The staged move picker of the search and the learning that feeds its scores.
//
// A node never builds its whole move list at once. It asks NextMoveBatch for one batch after the
// other and takes the moves of a batch by selection, so that a node that cuts off on the hash move
// or an early capture never pays for the quiet moves.
#pragma once
#include "board/position.h"

// Stage numbers. NextMoveBatch is handed the last stage and returns the stage of the batch it has
// just appended, which is also where the next call goes on from.
constexpr int STAGE_START            = 14; // nothing generated yet
constexpr int STAGE_EVASIONS         = 12; // all replies to a check, one batch
constexpr int STAGE_CAPTURES         = 11; // captures and promotions, scored
constexpr int STAGE_THREAT_REPLY1    = 10; // single moves out of the small memories ...
constexpr int STAGE_THREAT_REPLY2    = 9;
constexpr int STAGE_KILLER           = 8;
constexpr int STAGE_LAST_MOVE_REPLY1 = 7;
constexpr int STAGE_LAST_MOVE_REPLY2 = 6;
constexpr int STAGE_QUIET            = 2; // quiet moves, safe quiet moves or quiet checks
constexpr int STAGE_DONE             = 0;

// Bits of a node's generation memo (the low five bits of EntryFlags in the table). 1 and 2 are
// MEMO_NO_QUIET_CHECK and MEMO_NO_CAPTURE of search/tt.h.
constexpr int MEMO_SKIP_CAPTURES = 16; // the full capture generator found nothing here

// Appends the next batch behind MoveListTop for the node at Ply. kind is the node's nearAlpha
// (0 or 1); memo points to the node's generation memo. Returns the stage of the batch, or
// STAGE_DONE when no stage is left; a non-zero stage always comes with at least one move.
int NextMoveBatch(int stage, int dropQuiets, int kind, int* memo, int goodCapturesOnly, int quietSubset);

// GenerateQuiet without the moves that lose material by the exchange test.
void GenerateSafeQuiet(int kind);
// Quiet moves that give check (direct or discovered) and lose nothing by the exchange test.
void GenerateQuietChecks(int kind);

// Takes the best-scored entry of MoveList[place, end) into place and returns its move; of equal
// scores the earliest entry wins.
Move PickMove(int place, int end);

// The learning of a quiet move that cut off, and of one tried before it that did not. depth in
// quarter plies; verdict 1 or 0, or UNKNOWN_SEE to have it found here.
void RecordCutoff(int depth, Move move, int kind, int inCheck, int verdict);
void PenalizeMove(int depth, Move move, int kind, int inCheck, int verdict);
