#include "tools/pgneval.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "board/geometry.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "eval/evaluate.h"
#include "eval/params.h"
#include "tools/pgn.h"
#include "tools/san.h"

PgnEvalCounts PgnCounts;

static const char* const TRAINING_FILE = "my_eval.csv";

// Plays the moves of one game, writing the training lines; false when a move could not be read.
static bool PlayPgnGame(const PgnGame& game, std::FILE* out) {
    if (game.fromSetUp) {
        if (!SetFen(game.fen.c_str())) return false;
    } else {
        SetStartPosition();
    }
    for (const std::string& text : game.moves) {
        int fitting;
        const Move move = ParseSanMove(text.c_str(), &fitting);
        if (!move || HistoryCount >= HISTORY_GAME_LIMIT) {
            if (fitting > 1)
                std::printf("\nAmbigous move: %s...\n", text.c_str());
            else
                std::printf("\nCan't recognize: %s...\n", text.c_str());
            return false;
        }
        // Quiet moves only, and not the first move of a game: that position is no game of its own.
        if (game.result != PGN_UNKNOWN && HistoryCount > HistoryBase && !CapturedPiece(move) && !PromotionPiece(move) &&
            !IsEnPassantMove(move)) {
            const int us      = thread_board.SideToMove;
            const int outcome = game.result == PGN_DRAWN                          ? 0
                                : (game.result == PGN_WHITE_WON) == (us == WHITE) ? 1
                                                                                  : 2;
            std::fprintf(out, "%s;%s;%d;%d;%d\n", PositionText(0), MoveText(move), game.plyCount - HistoryCount,
                         game.plyCount, outcome);
            PgnCounts.lines++;
        }
        MakeMove(move, 1);
        PgnCounts.moves++;
    }
    return true;
}

void RunPgnEvaluation(const char* path) {
    PgnCounts = {};
    PgnReader reader;
    if (!OpenPgn(reader, path)) {
        std::printf("Error opening file %s...\n", path);
        std::fflush(stdout);
        return;
    }
    // One open for the whole run: the lines are the same as with an open per line.
    std::FILE* out = std::fopen(TRAINING_FILE, "a");
    if (!out) {
        std::printf("Error opening file %s...\n", TRAINING_FILE);
        std::fflush(stdout);
        return;
    }
    PgnGame game;
    while (ReadPgnGame(reader, game)) {
        if (!PlayPgnGame(game, out)) PgnCounts.broken++;
        if (++PgnCounts.games % 100 == 0) {
            std::printf("Processed %d games, hit/game = %1.3f...              \r", PgnCounts.games, 0.0);
            std::fflush(stdout);
        }
    }
    std::fclose(out);
    SetStartPosition();
    std::printf("\nProcessed %d games: %d read whole, %d broken; %lld moves, %lld training lines\n",
                PgnCounts.games, PgnCounts.games - PgnCounts.broken, PgnCounts.broken,
                (long long)PgnCounts.moves, (long long)PgnCounts.lines);
    std::fflush(stdout);
}

void RunSelfTest(const char* path, void (*clean)()) {
    InitPieceSquareTables();
    BuildDerivedTables();
    clean();
    RunPgnEvaluation(path);
}

void RunEpdEvaluation(const char* path, const char* out) {
    std::FILE* in = std::fopen(path, "rb");
    if (!in) {
        std::printf("Error opening file %s...\n", path);
        std::fflush(stdout);
        return;
    }
    std::FILE* dump = std::fopen(out, "w");
    if (!dump) {
        std::fclose(in);
        std::printf("Error opening file %s...\n", out);
        std::fflush(stdout);
        return;
    }
    char line[256];
    while (std::fgets(line, sizeof line, in)) {
        // A line too long for a position is passed over whole.
        if (!std::strchr(line, '\n') && !std::feof(in)) {
            for (int c = 0; c != '\n' && c != EOF;) c = std::fgetc(in);
            continue;
        }
        line[std::strcspn(line, "\r\n")] = 0;
        if (!SetFen(line)) continue;
        EngineSide = thread_board.SideToMove;
        int score;
        EvaluateFull(&score);
        std::fprintf(dump, "%s;%d\n", line, score);
    }
    std::fclose(in);
    std::fclose(dump);
    SetStartPosition();
}
