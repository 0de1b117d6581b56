#include "board/ordering.h"

#include <cstring>

#include "board/ply.h"

uint16_t SearchStamp;
int MoveHistory[2][3][4][4096][2];
int CaptureStatsStamp[CAPTURE_STATS_SIZE];
int CaptureStatsTries[CAPTURE_STATS_SIZE];
int CaptureStatsSuccesses[CAPTURE_STATS_SIZE];
Move LastMoveReply1[64][7][2], LastMoveReply2[64][7][2];
Move FollowUp1[64][7][2], FollowUp2[64][7][2];
Move ThreatReply1[64][7][2], ThreatReply2[64][7][2];
Move EvasionReply1[64][64][2], EvasionReply2[64][64][2];

void ClearMoveHistoryAndKillers() {
    std::memset(MoveHistory, 0, sizeof MoveHistory);
    for (PlyRecord& record : PlyStack) {
        record.Killer1[0] = record.Killer1[1] = 0;
        record.Killer2[0] = record.Killer2[1] = 0;
    }
}

void ClearReplyTablesAndCaptureStats() {
    std::memset(LastMoveReply1, 0, sizeof LastMoveReply1);
    std::memset(LastMoveReply2, 0, sizeof LastMoveReply2);
    std::memset(FollowUp1, 0, sizeof FollowUp1);
    std::memset(FollowUp2, 0, sizeof FollowUp2);
    std::memset(ThreatReply1, 0, sizeof ThreatReply1);
    std::memset(ThreatReply2, 0, sizeof ThreatReply2);
    std::memset(EvasionReply1, 0, sizeof EvasionReply1);
    std::memset(EvasionReply2, 0, sizeof EvasionReply2);
    std::memset(CaptureStatsStamp, 0, sizeof CaptureStatsStamp);
    std::memset(CaptureStatsTries, 0, sizeof CaptureStatsTries);
    std::memset(CaptureStatsSuccesses, 0, sizeof CaptureStatsSuccesses);
}
