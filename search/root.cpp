#include "search/root.h"

#include <algorithm>
#include <cstdio>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "frontend/game.h"
#include "frontend/settings.h"
#include "search/ply.h"

int RootScores[MAX_ROOT_MOVES];
int RootGivesCheck[MAX_ROOT_MOVES];
int RootMoveIndex;
int RootMoveCount;
int IterationNumber;
int EngineSide;
Move EasyMove;
int SearchesPlayed;
Move SearchMoves[MAX_ROOT_MOVES];
int SearchMoveCount;

namespace {

void TellResult(const char* line) {
    if (UciMode) return;
    std::printf("%s\n", line);
    std::fflush(stdout);
}

void SortByScore(int first, int last) {
    std::stable_sort(MoveList + first, MoveList + last,
                     [](const MoveEntry& a, const MoveEntry& b) { return a.score > b.score; });
}

bool InSearchMoves(Move move) {
    for (int i = 0; i < SearchMoveCount; i++)
        if (SearchMoves[i] == move) return true;
    return false;
}

} // namespace

// A game that is drawn by rule is told; the host decides whether it ends there.
void TellDrawnGame() {
    const Position& b = thread_board;
    bool insufficient = false;
    if (b.Material[BLACK] == 0 && b.Material[WHITE] <= 300 && !b.Pieces[PAWN][WHITE]) insufficient = true;
    if (b.Material[WHITE] == 0 && b.Material[BLACK] <= 300 && !b.Pieces[PAWN][BLACK]) insufficient = true;
    if (insufficient) TellResult("1/2-1/2 {Draw by insufficient material}");
    if (IsThreefold()) TellResult("1/2-1/2 {Draw by repetition}");
    if (HistoryCount && History[HistoryCount - 1].FiftyCounter >= 100) TellResult("1/2-1/2 {Draw by the 50-moves rule}");
}

int PrepareRootMoves() {
    Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    TellDrawnGame();

    MoveListTop = 0;
    Ply         = 0;
    Move hashMove = 0;
    RootScores[0] = LastScoreSide == EngineSide ? LastScore : -LastScore;

    const int savedIteration = IterationNumber;
    IterationNumber          = 10;
    const int inCheck        = IsSquareAttacked(them, b.KingSquare[us]);
    PlyStack[0].InCheck      = inCheck;
    PlyStack[0].AttackedBy[0] = PlyStack[0].AttackedBy[1] = 0;

    if (inCheck) {
        GenerateEvasions(14);
        SortByScore(0, MoveListTop);
    } else {
        GenerateCaptures(b.Pieces[0][them]);
        GeneratePromotions();
        SortByScore(0, MoveListTop);
        const Move killer1 = PlyStack[0].Killer1[us], killer2 = PlyStack[0].Killer2[us];
        const int killersStart = MoveListTop;
        AddMoveIfPlayable(killer1);
        if (killer2 != killer1) AddMoveIfPlayable(killer2);
        const int quietStart = MoveListTop;
        GenerateQuiet(1);
        int kept = quietStart;
        for (int i = quietStart; i < MoveListTop; i++) {
            bool isKiller = false;
            for (int k = killersStart; k < quietStart; k++) isKiller |= MoveList[k].move == MoveList[i].move;
            if (!isKiller) MoveList[kept++] = MoveList[i];
        }
        MoveListTop = kept;
        SortByScore(quietStart, MoveListTop);
    }
    IterationNumber = savedIteration;

    // Keep the legal moves, note checks and the one obvious recapture.
    const Move last      = HistoryCount ? History[HistoryCount - 1].Move : 0;
    const bool recapture = last && CapturedPiece(last);
    int recaptures = 0, kept = 0;
    EasyMove       = 0;
    for (int i = 0; i < MoveListTop && kept < MAX_ROOT_MOVES; i++) {
        const MoveEntry entry = MoveList[i];
        if (SearchMoveCount && !InSearchMoves(entry.move)) continue;
        MakeMove(entry.move, 1);
        const bool legal = !IsSquareAttacked(them, b.KingSquare[us]);
        const int check  = legal && IsSquareAttacked(us, b.KingSquare[them]);
        UnmakeMove();
        if (!legal) continue;
        if (recapture && MoveTo(entry.move) == MoveTo(last) && entry.score >= 1) {
            recaptures++;
            EasyMove = entry.move;
        }
        RootGivesCheck[kept] = check;
        if (kept) RootScores[kept] = 0;
        MoveList[kept++] = entry;
    }
    MoveListTop   = kept;
    RootMoveCount = kept;
    if (recaptures != 1) EasyMove = 0;

    for (int i = 1; hashMove && i < MoveListTop; i++)
        if (MoveList[i].move == hashMove) {
            const MoveEntry entry = MoveList[i];
            const int check       = RootGivesCheck[i];
            for (int j = i; j > 0; j--) {
                MoveList[j]       = MoveList[j - 1];
                RootGivesCheck[j] = RootGivesCheck[j - 1];
            }
            MoveList[0]       = entry;
            RootGivesCheck[0] = check;
            break;
        }

    if (MoveListTop == 0) {
        if (inCheck)
            TellResult(us == BLACK ? "1-0 {White mates}" : "0-1 {Black mates}");
        else
            TellResult("1/2-1/2 {Stalemate}");
        return 1;
    }
    return 0;
}
