// FEN reading and move text, with malformed FENs that must leave a record consistent with itself.
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "shell/settings.h"
#include "tests/unit/board_oracle.h"
#include "tests/unit/engine_fixture.h"
#include "tools/perft.h"

namespace {

constexpr int Sq(const char *name) { return (name[1] - '1') * 8 + (name[0] - 'a'); }

int CountEnPassantMoves() {
  int count = 0;
  for (u32 move : oracle::LegalMoveList()) count += IsEnPassant(move);
  return count;
}

}  // namespace

TEST_F(EngineTest, StartPositionThroughFenEqualsSetStartPosition) {
  SetStartPosition();
  const BoardRecord viaStart = oracle::SaveRecord();
  const u64 fullKey = FullKey();
  oracle::LoadFenExact("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
  EXPECT_EQ(oracle::RecordDifferences(viaStart, thread_board), "");
  EXPECT_EQ(thread_board.PositionKey, viaStart.PositionKey);
  EXPECT_EQ(thread_board.PawnKey, viaStart.PawnKey);
  EXPECT_EQ(thread_board.PstScore, viaStart.PstScore);
  EXPECT_EQ(thread_board.MaterialIndex, viaStart.MaterialIndex);
  EXPECT_EQ(FullKey(), fullKey);
  EXPECT_EQ(GameHistoryCount, 0);
}

TEST_F(EngineTest, CastlingFieldKeepsOnlyRightsWithKingAndRookAtHome) {
  const struct {
    const char *fen;
    int flags;
  } cases[] = {
      {"r3k2r/8/8/8/8/8/8/R2K3R w KQkq - 0 1", 12},  // white king on d1
      {"r3k3/8/8/8/8/8/8/R3K2R w KQkq - 0 1", 11},   // no rook on h8
      {"1r2k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", 7},  // no rook on a8
      {"r3k2r/8/8/8/8/8/8/R3K1R1 w KQkq - 0 1", 14}, // no rook on h1
      {"r3k2r/8/8/8/8/8/8/R3K2R w Kq - 0 1", 9},
      {"r3k2r/8/8/8/8/8/8/R3K2R w qkQK - 0 1", 15},
      {"r3k2r/8/8/8/8/8/8/R3K2R w KxQ7 - 0 1", 3},    // unknown letters are skipped
      {"r3k2r/8/8/8/8/8/8/R3K2R w - - 0 1", 0},
      {"4k3/8/8/8/8/8/8/4K3 w KQkq - 0 1", 0},
      // No white king at all: a right left standing would let the generator castle a king that is not there.
      {"r3k2r/8/8/8/8/8/8/R6R w KQkq - 0 1", 12},
  };
  for (const auto &c : cases) {
    oracle::LoadFenExact(c.fen);
    EXPECT_EQ(thread_board.CastlingFlags, c.flags) << c.fen;
  }
}

TEST_F(EngineTest, EnPassantFieldNeedsThePawnThatMoved) {
  const struct {
    const char *fen;
    int historyCount, enPassantFile, enPassantMoves;
  } cases[] = {
      {"rnbqkbnr/ppp1pppp/8/8/3pP3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1", 1, 4, 1},
      {"rnbqkbnr/pppp1ppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1", 1, -1, 0},  // no taker
      {"rnbqkbnr/ppp1pppp/8/8/3p4/8/PPPPPPPP/RNBQKBNR b KQkq e3 0 1", 0, -1, 0},  // no pawn on e4
      {"rnbqkbnr/ppp1pppp/8/8/3pP3/8/PPPP1PPP/RNBQKBNR b KQkq E3 0 1", 1, 4, 1},  // file letter in capitals
      {"rnbqkbnr/ppp1pppp/8/8/3pP3/8/PPPP1PPP/RNBQKBNR b KQkq e6 0 1", 0, -1, 0},  // wrong rank for the side
      {"rnbqkbnr/ppp1pppp/8/8/3pP3/8/PPPP1PPP/RNBQKBNR w KQkq e3 0 1", 0, -1, 0},
      {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq e6 0 1", 0, -1, 0},  // no black pawn on e5
      {"rnbqkbnr/ppp1pppp/8/8/3pP3/8/PPPP1PPP/RNBQKBNR b KQkq e 0 1", 0, -1, 0},
      {"rnbqkbnr/ppp1pppp/8/8/3pP3/8/PPPP1PPP/RNBQKBNR b KQkq e", 0, -1, 0},
      {"rnbqkbnr/ppp1pppp/8/8/3pP3/8/PPPP1PPP/RNBQKBNR b KQkq i3 0 1", 0, -1, 0},
      {"rnbqkbnr/pppp1ppp/8/3Pp3/8/8/PPP1PPPP/RNBQKBNR w KQkq e6 0 2", 1, 4, 1},
      {"rnbqkbnr/pp1p1ppp/8/2PPp3/8/8/PP2PPPP/RNBQKBNR w KQkq e6 0 2", 1, 4, 1},
      {"rnbqkbnr/pppp1ppp/8/3PpP2/8/8/PPP1P1PP/RNBQKBNR w KQkq e6 0 2", 1, 4, 2},
  };
  for (const auto &c : cases) {
    oracle::LoadFenExact(c.fen);
    EXPECT_EQ(GameHistoryCount, c.historyCount) << c.fen;
    u64 expected = thread_board.PositionKey ^ CastlingKeys[thread_board.CastlingFlags];
    if (c.enPassantFile >= 0) expected ^= EnPassantKeys[c.enPassantFile];
    EXPECT_EQ(FullKey(), expected) << c.fen;
    EXPECT_EQ(CountEnPassantMoves(), c.enPassantMoves) << c.fen;
    if (c.historyCount == 1) {
      const u32 pushed = GameHistory[0].Move;
      const bool blackToMove = thread_board.SideToMove == BLACK;
      EXPECT_EQ(pushed, blackToMove ? MakeMove(Sq("e2"), Sq("e4"), PAWN, NONE) : MakeMove(Sq("e7"), Sq("e5"), PAWN, NONE))
          << c.fen;
    }
  }
}

TEST_F(EngineTest, OnlyLowerCaseWMeansWhite) {
  const struct {
    const char *side;
    int expected;
  } cases[] = {{"w", WHITE}, {"b", BLACK}, {"B", BLACK}, {"x", BLACK}, {"W", BLACK}};
  for (const auto &c : cases) {
    oracle::LoadFenExact(std::string("4k3/8/8/8/8/8/8/4K3 ") + c.side + " - - 0 1");
    EXPECT_EQ(thread_board.SideToMove, c.expected) << "side field " << c.side;
  }
}

TEST_F(EngineTest, PieceLettersOfFenAndEdit) {
  const struct {
    char letter;
    int piece, side;
  } known[] = {{'K', KING, WHITE},   {'k', KING, BLACK},   {'N', KNIGHT, WHITE}, {'n', KNIGHT, BLACK},
               {'P', PAWN, WHITE},   {'p', PAWN, BLACK},   {'R', ROOK, WHITE},   {'r', ROOK, BLACK},
               {'B', BISHOP, WHITE}, {'b', BISHOP, BLACK}, {'Q', QUEEN, WHITE},  {'q', QUEEN, BLACK}};
  for (const auto &k : known) {
    int piece = -1, side = -1;
    EXPECT_TRUE(PieceFromLetter(k.letter, piece, side)) << k.letter;
    EXPECT_EQ(piece, k.piece) << k.letter;
    EXPECT_EQ(side, k.side) << k.letter;
  }
  for (char other : {'\0', 'x', 'X', '?', '.', '1', ' ', char(0xEB)}) {
    int piece = -1, side = -1;
    EXPECT_FALSE(PieceFromLetter(other, piece, side)) << int(other);
  }
}

TEST_F(EngineTest, NewPositionsResetTheLastScoreAndKillers) {
  const SettingsRecord saved = Settings;
  Settings.UciMode = 1;
  Settings.LastScore = 55;
  SetStartPosition();
  EXPECT_EQ(Settings.LastScore, 55);  // kept in UCI mode
  Settings.UciMode = 0;
  Settings.FritzMode = 0;
  SetStartPosition();
  EXPECT_EQ(Settings.LastScore, 0);
  Settings.UciMode = 1;
  Settings.LastScore = 55;
  Settings.LastScoreSide = 1;
  oracle::LoadFenExact("4k3/8/8/8/8/8/8/4K3 w - - 0 1");
  EXPECT_EQ(Settings.LastScore, 0);  // a FEN always resets it
  EXPECT_EQ(Settings.LastScoreSide, 0);
  Settings = saved;

  PlyStack[0].Killers1[WHITE] = PlyStack[PLY_STACK_SIZE - 1].Killers2[BLACK] = 0x1234;
  PlyStack[7].BestMove = 0x777;
  ClearKillers();
  EXPECT_EQ(PlyStack[0].Killers1[WHITE], 0u);
  EXPECT_EQ(PlyStack[PLY_STACK_SIZE - 1].Killers2[BLACK], 0u);
  EXPECT_EQ(PlyStack[7].BestMove, 0x777u);  // only the killers
  PlyStack[7].BestMove = 0;
}

TEST_F(EngineTest, ThirdPieceOfAKindOverflowsTheMaterialIndex) {
  oracle::LoadFenExact("4k3/8/8/8/8/8/8/NN2K3 w - - 0 1");
  EXPECT_EQ(thread_board.MaterialIndex, 2 * 729);
  oracle::LoadFenExact("4k3/8/8/8/8/8/8/NNN1K3 w - - 0 1");
  EXPECT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW);
  oracle::LoadFenExact("4k3/8/8/8/8/8/8/NNN1K3 w - - 0 1");
  EXPECT_EQ(oracle::Differences(oracle::FromFen("4k3/8/8/8/8/8/8/NNN1K3 w - - 0 1")), "");
}

TEST_F(EngineTest, MoveTextForms) {
  char buffer[8];
  auto text = [&](u32 move) {
    std::memset(buffer, 'x', sizeof buffer);
    return std::string(MoveText(buffer, move));
  };
  auto pieceText = [&](u32 move) {
    std::memset(buffer, 'x', sizeof buffer);
    return std::string(PieceMoveText(buffer, move));
  };
  EXPECT_EQ(text(0), "0000");
  EXPECT_EQ(pieceText(0), "-");
  EXPECT_EQ(text(MakeMove(Sq("e2"), Sq("e4"), PAWN, NONE)), "e2e4");
  EXPECT_EQ(text(MakeMove(Sq("a1"), Sq("h8"), BISHOP, ROOK)), "a1h8");
  EXPECT_EQ(text(MakeMove(Sq("e7"), Sq("e8"), PAWN, NONE, QUEEN)), "e7e8q");
  EXPECT_EQ(text(MakeMove(Sq("b2"), Sq("a1"), PAWN, ROOK, KNIGHT)), "b2a1n");
  EXPECT_EQ(text(MakeMove(Sq("g7"), Sq("h8"), PAWN, BISHOP, ROOK)), "g7h8r");
  EXPECT_EQ(text(MakeMove(Sq("c2"), Sq("c1"), PAWN, NONE, BISHOP)), "c2c1b");
  EXPECT_EQ(pieceText(MakeMove(Sq("g1"), Sq("f3"), KNIGHT, NONE)), "Ng1f3");
  EXPECT_EQ(pieceText(MakeMove(Sq("e2"), Sq("e4"), PAWN, NONE)), "Pe2e4");
  EXPECT_EQ(pieceText(MakeMove(Sq("e1"), Sq("g1"), KING, NONE)), "Ke1g1");
  EXPECT_EQ(pieceText(MakeMove(Sq("h8"), Sq("h1"), QUEEN, ROOK)), "Qh8h1");

  EXPECT_TRUE(IsMoveText("e2e4"));
  EXPECT_TRUE(IsMoveText("E2E4"));
  EXPECT_TRUE(IsMoveText("a1h8 and more"));
  EXPECT_FALSE(IsMoveText("e2e9"));
  EXPECT_FALSE(IsMoveText("i2e4"));
  EXPECT_FALSE(IsMoveText("e0e4"));
  // Short texts: the test must stop at the terminator (exactly sized heap copies catch a read beyond it).
  for (const char *shortText : {"", "e", "e2", "e2e"}) {
    std::vector<char> exact(shortText, shortText + std::strlen(shortText) + 1);
    EXPECT_FALSE(IsMoveText(exact.data())) << shortText;
  }
}

// ---------------------------------------------------------------- malformed FENs

namespace {

struct BadFen {
  const char *what;
  std::string fen;
  std::function<void()> expect;  // what is known of the result, if anything
  bool extraPawns = false;       // more than eight pawns of a side: the index may stay overflowing
};

int board(const char *square) { return thread_board.Board[Sq(square)]; }

const std::string kStart = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR";

std::vector<BadFen> BadFens() {
  SetStartPosition();
  const u64 startKey = thread_board.PositionKey;
  return {
      {"empty text", "", [] { EXPECT_EQ(thread_board.PieceTotal, 0); }},
      {"blanks only", "   ", [] { EXPECT_EQ(thread_board.PieceTotal, 0); }},
      {"placement only", kStart, [=] { EXPECT_EQ(thread_board.PositionKey, startKey); }},
      {"placement and side", kStart + " w",
       [=] {
         EXPECT_EQ(thread_board.PositionKey, startKey);
         EXPECT_EQ(thread_board.SideToMove, WHITE);
         EXPECT_EQ(thread_board.CastlingFlags, 0);  // no field, no rights, whatever the last position had
         EXPECT_EQ(GameHistoryCount, 0);
       }},
      {"placement, side and castling", kStart + " w KQkq",
       [] { EXPECT_EQ(thread_board.CastlingFlags, 15); }},
      {"placement, side and a blank", kStart + " b ", [] { EXPECT_EQ(thread_board.SideToMove, BLACK); }},
      {"ninth piece on rank 8", "rnbqkbnrr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
       [] { EXPECT_EQ(thread_board.PieceTotal, 32); }},
      {"ninth piece on rank 1", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNRR w KQkq - 0 1",
       [] { EXPECT_EQ(thread_board.PieceTotal, 32); }},
      {"digits past the end of a rank", "rnbqkbnr/pppppppp/7p1p/44p/9p/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
       [] { EXPECT_EQ(thread_board.PieceTotal, 33); }},
      {"digits past h1", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBN9R w KQkq - 0 1",
       [] { EXPECT_EQ(board("h1"), NONE); }},
      {"more than eight ranks", kStart + "/PPPPPPPP/8 w KQkq - 0 1",
       [=] { EXPECT_EQ(thread_board.PositionKey, startKey); }},
      {"many ranks of digits", "8/8/8/8/8/8/8/8/8/8/8/8/8/8/8/8/8/8 w - - 0 1",
       [] { EXPECT_EQ(thread_board.PieceTotal, 0); }},
      {"placement stopping short", "rnbqkbnr/pppppppp w KQkq - 0 1",
       [] {
         EXPECT_EQ(thread_board.PieceTotal, 16);
         EXPECT_EQ(thread_board.CastlingFlags, 12);
         EXPECT_EQ(thread_board.Pieces[WHITE], 0u);
       }},
      {"rank stopping short", "rnbqkbnr/pppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
       [] {
         EXPECT_EQ(thread_board.PieceTotal, 28);
         EXPECT_EQ(board("e7"), NONE);
       }},
      {"unknown letters", "rnbqkbnr/ppppxppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
       [] {  // skipped without moving on a file
         EXPECT_EQ(board("g7"), PAWN);
         EXPECT_EQ(board("h7"), NONE);
         EXPECT_EQ(thread_board.PieceCount[PAWN][BLACK], 7);
       }},
      {"bytes above 127", "rnbqkbnr/pppp\xC3\xA9ppp/8/8/8/8/PPPPPPPP/RNBQKBNR \xFF KQkq \xE9\x33 0 1",
       [] { EXPECT_EQ(thread_board.PieceCount[PAWN][BLACK], 7); }},
      {"nine white pawns", "4k3/8/8/8/8/P7/PPPPPPPP/4K3 w - - 0 1",
       [] { EXPECT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW); }, true},
      {"nine pawns of each side", "4k3/pppppppp/p7/8/8/P7/PPPPPPPP/4K3 b - - 0 1",
       [] { EXPECT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW); }, true},
      {"sixteen white pawns", "4k3/PPPPPPPP/8/8/8/8/PPPPPPPP/4K3 w - - 0 1",
       [] { EXPECT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW); }, true},
      {"pawns on the back ranks", "P3k2p/8/8/8/8/8/8/p3K2P w - - 0 1", [] {}},
      {"three queens", "4k3/8/8/8/8/8/8/QQQ1K3 w - - 0 1",
       [] { EXPECT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW); }},
      {"no white king", "4k3/pppppppp/8/8/8/8/PPPPPPPP/R6R w KQkq - 0 1",
       [] { EXPECT_EQ(thread_board.CastlingFlags, 0); }},
      {"no kings at all", "8/pppppppp/8/8/8/8/PPPPPPPP/8 w - - 0 1", [] {}},
      {"no black king, black to move", "8/8/8/8/8/8/8/R3K2R b KQ - 0 1", [] {}},
      {"two white kings", "K6K/8/8/8/8/8/8/4k3 w - - 0 1",
       [] {
         EXPECT_EQ(thread_board.KingSquare[WHITE], Sq("a8"));
         EXPECT_EQ(board("h8"), NONE);
         EXPECT_EQ(thread_board.PieceTotal, 2);
       }},
      {"two kings each", "k3k3/8/8/8/8/8/8/R3K2K w KQ - 0 1",
       [] {
         EXPECT_EQ(thread_board.KingSquare[BLACK], Sq("a8"));
         EXPECT_EQ(thread_board.KingSquare[WHITE], Sq("e1"));
         EXPECT_EQ(board("e8"), NONE);
         EXPECT_EQ(board("h1"), NONE);
       }},
      {"side not to move in check", "4k3/4R3/8/8/8/8/8/4K3 w - - 0 1", [] {}},
      {"side not to move in check twice", "3rk3/8/8/8/8/8/3p4/r3K2R b K - 0 1", [] {}},
      {"kings side by side", "8/8/8/3kK3/8/8/8/8 w - - 0 1", [] {}},
      {"en passant field ending the text", "4k3/8/8/3pP3/8/8/8/4K3 w - d6", [] { EXPECT_EQ(GameHistoryCount, 1); }},
      {"en passant on the edge", "4k3/8/8/7p/P7/8/8/4K3 w - h6 0 1", [] { EXPECT_EQ(GameHistoryCount, 1); }},
  };
}

// Every generated move must fit the board: a piece of the mover on `from`, the captured field what stands
// on `to` (empty for en passant), never a piece of the mover taken.
std::string MovesThatDoNotFit(const std::vector<u32> &moves) {
  const BoardRecord &b = thread_board;
  const int us = b.SideToMove;
  std::string bad;
  for (u32 move : moves) {
    const int from = MoveFrom(move), to = MoveTo(move);
    const bool fits = b.Board[from] == MovedPiece(move) && (b.Pieces[us] >> from & 1) &&
                      !(b.Pieces[us] >> to & 1) && CapturedPiece(move) == b.Board[to];
    if (!fits) bad += oracle::Text(move) + " ";
  }
  return bad;
}

}  // namespace

TEST_F(EngineTest, MalformedFensLeaveAConsistentRecordAndPlayableMoves) {
  oracle::PlayoutStats stats;
  u64 seed = 1;
  for (const BadFen &bad : BadFens()) {
    SCOPED_TRACE(std::string(bad.what) + ": \"" + bad.fen + "\"");
    SetStartPosition();  // something to leak: castling rights, king squares, a full board
    oracle::LoadFenExact(bad.fen);
    oracle::CheckOptions options;
    options.stickyOverflow = bad.extraPawns;
    const oracle::Position loaded = oracle::FromBoard();
    EXPECT_EQ(oracle::Differences(loaded, options), "");
    EXPECT_TRUE(thread_board.MaterialIndex >= 0 && thread_board.MaterialIndex <= MATERIAL_OVERFLOW)
        << thread_board.MaterialIndex;
    EXPECT_LE(PopCount(thread_board.Kings[WHITE]), 1);
    EXPECT_LE(PopCount(thread_board.Kings[BLACK]), 1);
    bad.expect();

    // Every legal move fits the board and is taken back exactly.
    const std::vector<u32> moves = oracle::LegalMoveList();
    EXPECT_EQ(MovesThatDoNotFit(moves), "");
    for (size_t i = 0; i < moves.size(); i++) {
      const BoardRecord saved = oracle::SaveRecord();
      make_move(moves[i], i == 0);
      unmake_move();
      EXPECT_TRUE(oracle::SameBytes(saved)) << "taking back " << oracle::Text(moves[i]) << "\n"
                                            << oracle::RecordDifferences(saved, thread_board);
    }

    // A few plies of perft, which must leave the record as it found it.
    const BoardRecord beforePerft = oracle::SaveRecord();
    const int historyCount = GameHistoryCount;
    for (int depth = 1; depth <= 3; depth++) {
      MoveStackTop = 0;
      PerftCount = 0;
      Perft(depth);
      EXPECT_GE(PerftCount, 0);
      EXPECT_EQ(MoveStackTop, 0);
    }
    EXPECT_TRUE(oracle::SameBytes(beforePerft)) << oracle::RecordDifferences(beforePerft, thread_board);
    EXPECT_EQ(GameHistoryCount, historyCount);

    // Short random games on top, checked move by move like the well-formed positions.
    EXPECT_TRUE(oracle::RunPlayouts(bad.fen, loaded, 6, 12, seed++, options, stats));
  }
}
