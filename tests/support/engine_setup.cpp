#include "tests/support/engine_setup.h"

#include <algorithm>
#include <cctype>

#include "board/geometry.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/ordering.h"
#include "board/ply.h"
#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "eval/kpk.h"
#include "eval/krkp.h"
#include "eval/sigmoid.h"
#include "eval/values.h"
#include "frontend/game.h"
#include "frontend/settings.h"
#include "search/root.h"
#include "search/search.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"

void FreshEngine() {
    static bool built = false;
    if (!built) {
        built = true;
        InitBoardTables();
        Printed([] { LoadEvaluationValues(); }); // no values.txt here: the compiled-in weights
        InitSigmoidTables();
        InitKpkTables();
        InitKrkpTable();
    }
    CloseBook();
    SetDefaultSettings();
    // A test may have resized the tables: they are made again at the default sizes.
    SetTranspositionEntries(TranspositionEntries);
    if (!AllocatePawnHash() || !AllocateEvalCache()) FAIL() << "no pawn hash or evaluation cache";
    if (!ReversibleMoveTable) BuildReversibleMoveTable();
    ResetAll();
    ResetSearchMemory();
    ClearPlyStack();
    ClearSearchRequests();
    SearchMoveCount          = 0;
    PollIgnoresInput         = 0;
    PonderingNow = GoPonder  = 0;
    InputEnded               = 0;
    ReadCommandsDuringSearch = nullptr;
    LazyLower                = -MATE_SCORE;
    LazyUpper                = MATE_SCORE;
    MoveListTop              = 0;
    SetStartPosition();
}

bool TryLoad(const std::string& fen, std::string* printed) {
    bool ok               = false;
    const std::string out = Printed([&] { ok = SetFen(fen.c_str()); });
    if (printed) *printed = out;
    return ok;
}

void Load(const std::string& fen) {
    ASSERT_TRUE(SetFen(fen.c_str())) << fen; // a legal FEN prints nothing
}

std::vector<Move> LegalMoves() {
    const int base = MoveListTop;
    GenerateLegalMoves(LEGAL_TEST_BASE);
    std::vector<Move> moves(MoveListTop - LEGAL_TEST_BASE);
    for (size_t i = 0; i < moves.size(); i++) moves[i] = MoveList[LEGAL_TEST_BASE + i].move;
    MoveListTop = base;
    std::sort(moves.begin(), moves.end());
    return moves;
}

Move Find(const std::string& text) {
    for (Move m : SlowLegalMoves())
        if (MoveText(m) == text) return m;
    ADD_FAILURE() << "no legal move " << text << " in " << PositionText(0);
    return 0;
}

void Play(std::initializer_list<const char*> moves) {
    for (const char* text : moves) MakeMove(Find(text), 1);
}

// ---------------------------------------------------------------------------------------------
// The plain generator

namespace {
bool OnBoard(int f, int r) { return f >= 0 && f < 8 && r >= 0 && r < 8; }
int ColourAt(int sq) {
    if (!thread_board.Board[sq]) return -1;
    return (thread_board.Pieces[0][BLACK] >> sq) & 1 ? BLACK : WHITE;
}
const int KnightSteps[8][2] = {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
const int KingSteps[8][2]   = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {1, 1}, {1, -1}, {-1, 1}, {-1, -1}};
} // namespace

bool SlowSquareAttacked(int square, int bySide) {
    const int f = FileOf(square), r = RankOf(square);
    auto is = [&](int ff, int rr, int piece) {
        return OnBoard(ff, rr) && thread_board.Board[rr * 8 + ff] == piece && ColourAt(rr * 8 + ff) == bySide;
    };
    for (auto& s : KnightSteps)
        if (is(f + s[0], r + s[1], KNIGHT)) return true;
    for (auto& s : KingSteps)
        if (is(f + s[0], r + s[1], KING)) return true;
    const int pr = bySide == WHITE ? r - 1 : r + 1;
    if (is(f - 1, pr, PAWN) || is(f + 1, pr, PAWN)) return true;
    for (auto& s : KingSteps) {
        const bool straight = s[0] == 0 || s[1] == 0;
        for (int ff = f + s[0], rr = r + s[1]; OnBoard(ff, rr); ff += s[0], rr += s[1]) {
            const int sq = rr * 8 + ff, p = thread_board.Board[sq];
            if (!p) continue;
            if (ColourAt(sq) == bySide && (p == QUEEN || p == (straight ? ROOK : BISHOP))) return true;
            break;
        }
    }
    return false;
}

std::vector<Move> SlowPseudoMoves() {
    std::vector<Move> moves;
    const Position& b = thread_board;
    const int us = b.SideToMove, them = ChangeSide(us);
    auto add = [&](int from, int to, int promotion = 0) {
        moves.push_back(MakeMoveWord(from, to, b.Board[from], b.Board[to], promotion));
    };
    for (int from = 0; from < 64; from++) {
        if (ColourAt(from) != us) continue;
        const int piece = b.Board[from], f = FileOf(from), r = RankOf(from);
        if (piece == PAWN) {
            const int dir = us == WHITE ? 1 : -1, last = us == WHITE ? 7 : 0, home = us == WHITE ? 1 : 6;
            auto pawnTo = [&](int to) {
                if (RankOf(to) != last) return add(from, to);
                for (int p : {QUEEN, ROOK, BISHOP, KNIGHT}) add(from, to, p);
            };
            const int one = (r + dir) * 8 + f, two = (r + 2 * dir) * 8 + f;
            if (!b.Board[one]) {
                pawnTo(one);
                if (r == home && !b.Board[two]) add(from, two);
            }
            for (int df : {-1, 1})
                if (OnBoard(f + df, r + dir) && ColourAt((r + dir) * 8 + f + df) == them) pawnTo((r + dir) * 8 + f + df);
            if (HistoryCount > 0) {
                const Move lastMove = History[HistoryCount - 1].Move;
                const int to = MoveTo(lastMove);
                if (IsDoublePawnStep(lastMove) && RankOf(to) == r && (FileOf(to) == f - 1 || FileOf(to) == f + 1))
                    moves.push_back(MakeMoveWord(from, (r + dir) * 8 + FileOf(to), PAWN));
            }
        } else if (piece == KNIGHT || piece == KING) {
            for (auto& s : (piece == KNIGHT ? KnightSteps : KingSteps))
                if (OnBoard(f + s[0], r + s[1]) && ColourAt((r + s[1]) * 8 + f + s[0]) != us)
                    add(from, (r + s[1]) * 8 + f + s[0]);
        } else {
            for (auto& s : KingSteps) {
                const bool straight = s[0] == 0 || s[1] == 0;
                if (straight ? piece == BISHOP : piece == ROOK) continue;
                for (int ff = f + s[0], rr = r + s[1]; OnBoard(ff, rr); ff += s[0], rr += s[1]) {
                    if (ColourAt(rr * 8 + ff) == us) break;
                    add(from, rr * 8 + ff);
                    if (b.Board[rr * 8 + ff]) break;
                }
            }
        }
    }
    const int k = us == WHITE ? 4 : 60;
    if (b.KingSquare[us] == k && !SlowSquareAttacked(k, them)) {
        const int kingSide = us == WHITE ? CASTLE_WHITE_KING : CASTLE_BLACK_KING;
        const int queenSide = us == WHITE ? CASTLE_WHITE_QUEEN : CASTLE_BLACK_QUEEN;
        if ((b.CastleRights & kingSide) && !b.Board[k + 1] && !b.Board[k + 2] && !SlowSquareAttacked(k + 1, them) &&
            !SlowSquareAttacked(k + 2, them))
            moves.push_back(MakeMoveWord(k, k + 2, KING));
        if ((b.CastleRights & queenSide) && !b.Board[k - 1] && !b.Board[k - 2] && !b.Board[k - 3] &&
            !SlowSquareAttacked(k - 1, them) && !SlowSquareAttacked(k - 2, them))
            moves.push_back(MakeMoveWord(k, k - 2, KING));
    }
    return moves;
}

std::vector<Move> SlowLegalMoves() {
    std::vector<Move> legal;
    const int us = thread_board.SideToMove;
    for (Move m : SlowPseudoMoves()) {
        MakeMove(m, 1);
        if (!SlowSquareAttacked(thread_board.KingSquare[us], ChangeSide(us))) legal.push_back(m);
        UnmakeMove();
    }
    std::sort(legal.begin(), legal.end());
    return legal;
}

std::string Mirrored(const std::string& fen) {
    std::istringstream fields(fen);
    std::string board, side, castle, ep;
    fields >> board >> side >> castle >> ep;
    auto swapCase = [](char c) { return char(std::isupper(c) ? std::tolower(c) : std::toupper(c)); };
    std::vector<std::string> ranks;
    std::istringstream rows(board);
    for (std::string row; std::getline(rows, row, '/');) ranks.insert(ranks.begin(), row);
    std::string turned;
    for (const std::string& row : ranks) {
        if (!turned.empty()) turned += '/';
        for (char c : row) turned += swapCase(c);
    }
    std::string rights;
    for (char c : std::string("KQkq"))
        if (castle.find(swapCase(c)) != std::string::npos) rights += c;
    if (ep != "-") ep[1] = ep[1] == '3' ? '6' : '3';
    return turned + (side == "w" ? " b " : " w ") + (rights.empty() ? "-" : rights) + " " + ep + " 0 1";
}

// ---------------------------------------------------------------------------------------------
// Searches

static void QuietSearchSettings(int64_t nodeLimit) {
    UciMode = PostFlag = OwnBook = UseLearningData = 0;
    PonderingNow = GoPonder = 0;
    OwnClock = -1;
    FixedTime        = 0;
    NodeLimit        = nodeLimit;
    PollIgnoresInput = 1;
    PollInterval     = nodeLimit ? 1 : 50000;
    PollCountdown    = PollInterval;
}

SearchOutcome SearchToDepth(int depth, bool clean, int64_t nodeLimit) {
    QuietSearchSettings(nodeLimit);
    if (clean) ResetAll();
    thread_board.SearchAbort = 0;
    SearchStart              = ClockCs();
    SearchOutcome outcome;
    Printed([&] { outcome.over = AnalysisRootSearch(depth, 0); });
    outcome.best     = MoveList[0].move;
    outcome.score    = RootScores[0];
    outcome.nodes    = NodeCount;
    NodeLimit        = 0;
    PollIgnoresInput = 0;
    return outcome;
}

int SearchNode(int alpha, int beta, int depth, int kind, int64_t nodeLimit) {
    Position& b = thread_board;
    QuietSearchSettings(nodeLimit);
    DepthLimit          = 100;
    IterationNumber     = 5;
    EngineSide          = b.SideToMove;
    RootHistoryCount    = HistoryCount;
    NodeCount           = 0;
    b.SearchAbort       = 0;
    Ply                 = 1;
    PlyStack[0].Flags   = 0;
    PlyStack[1].InCheck = SlowSquareAttacked(b.KingSquare[b.SideToMove], ChangeSide(b.SideToMove));
    const int score     = Search(alpha, beta, depth, 1, kind);
    NodeLimit           = 0;
    PollIgnoresInput    = 0;
    return score;
}
