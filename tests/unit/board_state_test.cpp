// Position keys, and the incremental board record through make_move and unmake_move, against a model
// that the tests move themselves and recompute from scratch.
#include <algorithm>
#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "board/mt19937_64.h"
#include "tests/unit/board_oracle.h"
#include "tests/unit/engine_fixture.h"

namespace {

constexpr int Sq(const char *name) { return (name[1] - '1') * 8 + (name[0] - 'a'); }

const u64 kKeySeed[4] = {0x12345, 0x23456, 0x34567, 0x45678};

// Loads `fen`, then plays the space-separated moves, each with save 1, checking the record against the
// model after every one. Returns false (with a failure added) if a move is missing or the record is off.
bool PlayLine(const std::string &fen, const std::string &line) {
  oracle::LoadFenExact(fen);
  oracle::Position p = oracle::FromFen(fen);
  std::istringstream moves(line);
  for (std::string text; moves >> text;) {
    const u32 move = oracle::FindMove(text);
    if (!move) {
      ADD_FAILURE() << fen << ": " << text << " is not a legal move here";
      return false;
    }
    make_move(move, 1);
    oracle::Apply(p, move);
    const std::string diff = oracle::Differences(p);
    if (!diff.empty()) {
      ADD_FAILURE() << fen << ": after " << text << "\n" << diff;
      return false;
    }
  }
  return true;
}

u64 ExpectedFullKey(int enPassantFile) {
  u64 key = thread_board.PositionKey ^ CastlingKeys[thread_board.CastlingFlags];
  return enPassantFile >= 0 ? key ^ EnPassantKeys[enPassantFile] : key;
}

// Positions for the playouts: the usual perft positions and others rich in castling, en passant and
// promotions, several of which reach three pieces of a kind.
const char *const kPlayoutFens[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
    "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
    "r3k1Nr/Pppp1ppp/1b3n2/nPP3N1/BB2b3/2q5/Pp1P2PP/R2Q1RK1 b kq - 1 3",
    "4k2b/2Bn1p2/r4np1/Pppppb2/4P1p1/P1P2N1R/3P1PB1/RN1QK3 w Q b6 0 22",
    "8/1P2R3/8/8/6P1/3p4/1K2r3/5k2 w - - 7 28",
    "1r2k2r/PpB4p/7p/1Pb1p3/P1nP3P/5q2/4b1P1/Rn4K1 b - - 0 20",
    "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1",
    "r3k2r/pPppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q2/PpPBBPPP/R3K2R w KQkq - 0 1",
};

}  // namespace

// ---------------------------------------------------------------- keys

TEST(KeyGenerator, SeededTwisterGivesTheReferenceOutputs) {
  Mt19937_64 generator;
  generator.SeedByArray(kKeySeed, 4);
  EXPECT_EQ(generator.Next(), 7266447313870364031ULL);
  EXPECT_EQ(generator.Next(), 4946485549665804864ULL);
  EXPECT_EQ(generator.Next(), 16945909448695747420ULL);
}

TEST_F(EngineTest, KeysAreDrawnSquareBySquareInTheFixedOrder) {
  EXPECT_EQ(PieceKeys[WHITE][PAWN][0], 7266447313870364031ULL);
  EXPECT_EQ(PieceKeys[BLACK][PAWN][0], 4946485549665804864ULL);
  EXPECT_EQ(PieceKeys[WHITE][KNIGHT][0], 16945909448695747420ULL);
  // Twelve draws per square (pawn, knight, bishop, rook, queen, king; white before black), then castling,
  // then en passant: 792 in all.
  Mt19937_64 generator;
  generator.SeedByArray(kKeySeed, 4);
  u64 pieceKeys[2][8][64] = {}, castlingKeys[16], enPassantKeys[8];
  for (int sq = 0; sq < 64; sq++)
    for (int piece : {PAWN, KNIGHT, BISHOP, ROOK, QUEEN, KING})
      for (int side : {WHITE, BLACK}) pieceKeys[side][piece][sq] = generator.Next();
  for (u64 &key : castlingKeys) key = generator.Next();
  for (u64 &key : enPassantKeys) key = generator.Next();
  EXPECT_EQ(std::memcmp(pieceKeys, PieceKeys, sizeof pieceKeys), 0);  // rows 0 and 4 stay zero as well
  EXPECT_EQ(std::memcmp(castlingKeys, CastlingKeys, sizeof castlingKeys), 0);
  EXPECT_EQ(std::memcmp(enPassantKeys, EnPassantKeys, sizeof enPassantKeys), 0);
  // The learning file depends on these keys: drawing them again gives the same tables.
  const u64 first = PieceKeys[WHITE][PAWN][0], last = EnPassantKeys[7];
  InitRandomKeys();
  EXPECT_EQ(PieceKeys[WHITE][PAWN][0], first);
  EXPECT_EQ(EnPassantKeys[7], last);
}

TEST_F(EngineTest, FullKeyTakesEnPassantOnlyWithAPawnBeside) {
  const struct {
    const char *fen;
    int enPassantFile;  // -1: no en passant part
  } cases[] = {
      {"4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1", 4},
      {"4k3/8/8/8/3pPp2/8/8/4K3 b - e3 0 1", 4},  // two takers, one key
      {"4k3/8/8/8/4P3/8/8/4K3 b - e3 0 1", -1},
      {"4k3/8/8/8/3PP3/8/8/4K3 b - e3 0 1", -1},  // the neighbour is the mover's own colour
      {"4k3/8/8/8/P7/7p/8/4K3 b - a3 0 1", -1},   // h3 is not beside a4
      {"4k3/8/8/p7/7P/8/8/4K3 b - h3 0 1", -1},   // a5 is not beside h4
      {"4k3/8/8/3Pp3/8/8/8/4K3 w - e6 0 1", 4},
      {"4k3/8/P7/7p/8/8/8/4K3 w - h6 0 1", -1},
      {"4k3/8/8/p7/7P/8/8/4K3 w - a6 0 1", -1},
      {"r3k2r/8/8/8/1pP5/8/8/R3K2R b KQkq c3 0 1", 2},
      // Taking would expose the black king on a4 to the rook: the key looks at adjacency only.
      {"8/8/8/8/k2pP2R/8/8/4K3 b - e3 0 1", 4},
  };
  for (const auto &c : cases) {
    oracle::LoadFenExact(c.fen);
    EXPECT_EQ(FullKey(), ExpectedFullKey(c.enPassantFile)) << c.fen;
  }
  // The same through a move: only a pawn beside the landing square adds the key.
  SetStartPosition();
  make_move(oracle::FindMove("e2e4"), 1);
  EXPECT_EQ(FullKey(), ExpectedFullKey(-1));
  oracle::LoadFenExact("rnbqkbnr/ppp1pppp/8/8/3p4/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
  make_move(oracle::FindMove("e2e4"), 1);
  EXPECT_EQ(FullKey(), ExpectedFullKey(4));
  make_move(oracle::FindMove("g8f6"), 1);
  EXPECT_EQ(FullKey(), ExpectedFullKey(-1));
}

TEST_F(EngineTest, FullKeyIgnoresHowAPlacementWasReached) {
  // After 1.e4: by the double step, by a FEN with and without the en passant field, and by e3-e4.
  SetStartPosition();
  make_move(oracle::FindMove("e2e4"), 1);
  const u64 byDoubleStep = FullKey();
  oracle::LoadFenExact("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1");
  EXPECT_EQ(FullKey(), byDoubleStep);
  oracle::LoadFenExact("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1");
  EXPECT_EQ(GameHistoryCount, 1);
  EXPECT_EQ(FullKey(), byDoubleStep);
  oracle::LoadFenExact("rnbqkbnr/pppppppp/8/8/8/4P3/PPPP1PPP/RNBQKBNR w KQkq - 0 1");
  make_move(oracle::FindMove("e3e4"), 1);
  EXPECT_EQ(FullKey(), byDoubleStep);

  // The side to move is not in either key.
  oracle::LoadFenExact("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 0 1");
  const u64 placement = thread_board.PositionKey, full = FullKey();
  oracle::LoadFenExact("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 0 1");
  EXPECT_EQ(thread_board.PositionKey, placement);
  EXPECT_EQ(FullKey(), full);
  // Castling rights are: even "no rights" changes the key.
  oracle::LoadFenExact("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b - - 0 1");
  EXPECT_EQ(thread_board.PositionKey, placement);
  EXPECT_EQ(FullKey(), full ^ CastlingKeys[15] ^ CastlingKeys[0]);
  EXPECT_NE(CastlingKeys[0], 0u);
}

// ---------------------------------------------------------------- incremental state

TEST_F(EngineTest, StartPositionRecord) {
  EXPECT_EQ(oracle::Differences(oracle::FromFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1")), "");
  EXPECT_EQ(thread_board.PieceTotal, 32);
  EXPECT_EQ(thread_board.Material[WHITE], 3900);
  EXPECT_EQ(thread_board.Material[BLACK], 3900);
  EXPECT_EQ(thread_board.PieceMaterial[WHITE], 31);
  EXPECT_EQ(thread_board.PieceMaterial[BLACK], 31);
  EXPECT_EQ(thread_board.MaterialIndex, 531436);
  EXPECT_EQ(thread_board.CastlingFlags, 15);
  EXPECT_EQ(thread_board.PstScore, 0);  // the tables are mirrored, so the sides cancel
}

TEST_F(EngineTest, LoadedPositionsMatchTheRecomputation) {
  for (const char *fen : kPlayoutFens) {
    oracle::LoadFenExact(fen);
    EXPECT_EQ(oracle::Differences(oracle::FromFen(fen)), "") << fen;
  }
}

TEST_F(EngineTest, RandomPlayoutsKeepEveryFieldRight) {
  oracle::PlayoutStats stats;
  u64 seed = 0x5EED;
  for (const char *fen : kPlayoutFens)
    ASSERT_TRUE(oracle::RunPlayouts(fen, oracle::FromFen(fen), 150, 24, seed++, {}, stats));
  // The playouts must have gone through the special cases, or they prove little.
  EXPECT_GT(stats.plies, 30000);
  EXPECT_GT(stats.castlings, 400);
  EXPECT_GT(stats.enPassants, 80);
  EXPECT_GT(stats.promotions, 1000);
  EXPECT_GT(stats.promotionCaptures, 300);
  EXPECT_GT(stats.overflowMakes, 1000);
  EXPECT_GT(stats.overflowRecoveries, 300);
}

// Every legal move of positions that hold all the special kinds: the first made with save 1, the siblings
// with save 0, each compared with the model and taken back byte for byte.
TEST_F(EngineTest, EveryMoveOfSpecialPositionsIsMadeAndTakenBackExactly) {
  const char *const fens[] = {
      "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1",
      "r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1",
      "r1n1k3/1P6/8/8/8/8/1p6/R1N1K3 w - - 0 1",
      "r1n1k3/1P6/8/8/8/8/1p6/R1N1K3 b - - 0 1",
      "4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1",
      "4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1",
      "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
      "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
  };
  std::set<int> castlingTargets;
  std::set<std::tuple<int, int, bool>> promotions;  // side, piece, capture
  std::set<int> enPassantSides;
  for (const char *fen : fens) {
    oracle::LoadFenExact(fen);
    const oracle::Position model = oracle::FromFen(fen);
    const int side = thread_board.SideToMove;
    const std::vector<u32> moves = oracle::LegalMoveList();
    ASSERT_FALSE(moves.empty()) << fen;
    for (size_t i = 0; i < moves.size(); i++) {
      const u32 move = moves[i];
      const BoardRecord saved = oracle::SaveRecord();
      const int count = GameHistoryCount;
      make_move(move, i == 0);
      oracle::Position next = model;
      ASSERT_TRUE(oracle::Apply(next, move)) << fen << " " << oracle::Text(move);
      ASSERT_EQ(oracle::Differences(next), "") << fen << " after " << oracle::Text(move) << " save " << (i == 0);
      unmake_move();
      ASSERT_TRUE(oracle::SameBytes(saved)) << fen << " after taking back " << oracle::Text(move) << "\n"
                                            << oracle::RecordDifferences(saved, thread_board);
      ASSERT_EQ(GameHistoryCount, count);
      if (oracle::IsCastling(move)) castlingTargets.insert(MoveTo(move));
      if (PromotionPiece(move)) promotions.insert({side, PromotionPiece(move), CapturedPiece(move) != 0});
      if (IsEnPassant(move)) enPassantSides.insert(side);
    }
  }
  EXPECT_EQ(castlingTargets, (std::set<int>{Sq("c1"), Sq("g1"), Sq("c8"), Sq("g8")}));
  EXPECT_EQ(promotions.size(), 16u);  // four pieces, with and without capture, both sides
  EXPECT_EQ(enPassantSides.size(), 2u);
}

// ---------------------------------------------------------------- make and unmake: special rules

TEST_F(EngineTest, CastlingRightsFollowKingsAndRooks) {
  const char *white = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1";
  const char *black = "r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1";
  const struct {
    const char *fen, *line;
    int flags;
  } cases[] = {
      {white, "h1h2", 14},          {white, "h1h2 a8b8 h2h1", 6},  // a rook back at home stays without the right
      {white, "a1b1", 13},          {white, "e1e2", 12},
      {white, "e1f1", 12},          {white, "a1a8", 5},  // the rook taken on a8 loses black's queen side
      {white, "h1h8", 10},          {white, "e1g1", 12},
      {white, "e1c1", 12},          {black, "h8h1", 10},
      {black, "a8a1", 5},           {black, "e8d8", 3},
      {black, "e8g8", 3},           {black, "e8c8", 3},
      {"r3k3/1P6/8/8/8/8/8/4K3 w q - 0 1", "b7a8q", 0},  // a promotion that takes on a8
      {"r3k3/1P6/8/8/8/8/8/4K3 w q - 0 1", "b7a8n", 0},
      {"4k3/8/8/8/8/8/6p1/4K2R b K - 0 1", "g2h1r", 0},
  };
  for (const auto &c : cases) {
    if (!PlayLine(c.fen, c.line)) continue;
    EXPECT_EQ(thread_board.CastlingFlags, c.flags) << c.fen << ": " << c.line;
  }
}

TEST_F(EngineTest, CastlingMovesTheRookAndDoesNotResetTheReversibleCount) {
  const struct {
    const char *line, *rookFrom, *rookTo, *kingTo;
    int reversible;
  } cases[] = {
      {"e1g1", "h1", "f1", "g1", 1},
      {"e1c1", "a1", "d1", "c1", 1},
      {"a1b1 e8g8", "h8", "f8", "g8", 2},
      {"h1g1 e8c8", "a8", "d8", "c8", 2},
  };
  for (const auto &c : cases) {
    if (!PlayLine("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", c.line)) continue;
    EXPECT_EQ(thread_board.Board[Sq(c.rookFrom)], NONE) << c.line;
    EXPECT_EQ(thread_board.Board[Sq(c.rookTo)], ROOK) << c.line;
    EXPECT_EQ(thread_board.Board[Sq(c.kingTo)], KING) << c.line;
    EXPECT_EQ(thread_board.ReversibleMoves, c.reversible) << c.line;
  }
}

TEST_F(EngineTest, EnPassantChangesThePawnKeyByThreeKeys) {
  const struct {
    const char *fen, *doubleStep, *capture, *from, *to, *victim;
  } cases[] = {
      {"4k3/3p4/8/4P3/8/8/8/4K3 b - - 0 1", "d7d5", "e5d6", "e5", "d6", "d5"},
      {"4k3/8/8/8/3p4/8/4P3/4K3 w - - 0 1", "e2e4", "d4e3", "d4", "e3", "e4"},
  };
  for (const auto &c : cases) {
    if (!PlayLine(c.fen, c.doubleStep)) continue;
    const int us = thread_board.SideToMove, them = us ^ 1;
    const u64 pawnKey = thread_board.PawnKey, positionKey = thread_board.PositionKey;
    const int blackMaterial = thread_board.Material[them], total = thread_board.PieceTotal;
    const u64 threeKeys =
        PieceKeys[us][PAWN][Sq(c.from)] ^ PieceKeys[us][PAWN][Sq(c.to)] ^ PieceKeys[them][PAWN][Sq(c.victim)];
    const u32 capture = oracle::FindMove(c.capture);
    ASSERT_TRUE(IsEnPassant(capture)) << c.capture;
    make_move(capture, 1);
    EXPECT_EQ(thread_board.PawnKey, pawnKey ^ threeKeys) << c.capture;
    EXPECT_EQ(thread_board.PositionKey, positionKey ^ threeKeys) << c.capture;
    EXPECT_EQ(thread_board.Board[Sq(c.victim)], NONE) << c.capture;
    EXPECT_EQ(thread_board.Material[them], blackMaterial - 100) << c.capture;
    EXPECT_EQ(thread_board.PieceTotal, total - 1) << c.capture;
    unmake_move();
    EXPECT_EQ(thread_board.PawnKey, pawnKey) << c.capture;
    EXPECT_EQ(thread_board.Board[Sq(c.victim)], PAWN) << c.capture;
  }
}

TEST_F(EngineTest, MaterialIndexOverflowsAtThreeOfAKindAndComesBack) {
  constexpr int overflow = MATERIAL_OVERFLOW;
  // Index weights: white queen 1, black rook 27, white pawn 6561.
  const struct {
    const char *fen;
    std::vector<std::pair<const char *, int>> steps;  // move, MaterialIndex after it
    int before;
  } cases[] = {
      // A third queen overflows; taking one gives a true index again.
      {"1r2k3/P7/8/8/8/8/8/QQ2K3 w - - 0 1", {{"a7a8q", overflow}, {"b8a8", 2 + 27}}, 2 + 27 + 6561},
      // Not while another count stands at three.
      {"1r2k3/P7/8/8/8/8/8/QQ1NNNK1 w - - 0 1", {{"a7a8q", overflow}, {"b8a8", overflow}}, overflow},
      // The fourth queen going leaves three: still overflowing, until the next one goes.
      {"1r2k3/P7/8/8/8/8/8/QQQ1K3 w - - 0 1",
       {{"a7a8q", overflow}, {"b8a8", overflow}, {"e1e2", overflow}, {"a8a1", 2 + 27}},
       overflow},
      // A pawn taken while overflowing leaves the index alone; the later recount leaves the pawn out.
      {"r3k3/8/8/3p4/4P3/8/8/QQQ1K3 w - - 0 1", {{"e4d5", overflow}, {"a8a1", 2 + 27 + 6561}}, overflow},
      // Black's counts overflow the same way.
      {"qq2k3/8/8/8/8/8/p7/1R2K3 b - - 0 1", {{"a2a1q", overflow}, {"b1a1", 6 + 9}}, 6 + 9 + 59049},
  };
  for (const auto &c : cases) {
    oracle::LoadFenExact(c.fen);
    EXPECT_EQ(thread_board.MaterialIndex, c.before) << c.fen;
    std::vector<int> indexBefore;
    std::string line;
    for (const auto &[text, index] : c.steps) {
      indexBefore.push_back(thread_board.MaterialIndex);
      line += std::string(" ") + text;
      const u32 move = oracle::FindMove(text);
      ASSERT_NE(move, 0u) << c.fen << ":" << line;
      make_move(move, 1);
      EXPECT_EQ(thread_board.MaterialIndex, index) << c.fen << ":" << line;
    }
    // Taking the moves back restores each index from the snapshot.
    while (!indexBefore.empty()) {
      unmake_move();
      EXPECT_EQ(thread_board.MaterialIndex, indexBefore.back()) << c.fen;
      indexBefore.pop_back();
    }
  }
}

// ---------------------------------------------------------------- moves of the game

TEST_F(EngineTest, TakingBackStopsAtTheEnPassantEntryOfAFen) {
  const char *fen = "rnbqkbnr/ppp1pppp/8/8/3pP3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1";
  oracle::LoadFenExact(fen);
  const BoardRecord loaded = oracle::SaveRecord();
  ASSERT_EQ(GameHistoryCount, 1);
  TakeBackGameMove();  // the pushed entry holds a bare move word, no snapshot
  EXPECT_EQ(GameHistoryCount, 1);
  EXPECT_TRUE(oracle::SameBytes(loaded));
  MakeGameMove(oracle::FindMove("d4e3"));
  EXPECT_EQ(GameHistoryCount, 2);
  TakeBackGameMove();
  TakeBackGameMove();
  EXPECT_EQ(GameHistoryCount, 1);
  EXPECT_TRUE(oracle::SameBytes(loaded)) << oracle::RecordDifferences(loaded, thread_board);
}

TEST_F(EngineTest, LongGamesKeepTheLatestHistoryAndCanStillBeTakenBack) {
  // Knights out and back for 700 plies, more than the history holds, from a FEN whose en passant entry
  // cannot be taken back.
  const char *fen = "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1";
  const char *const cycle[4] = {"g8f6", "g1f3", "f6g8", "f3g1"};
  oracle::LoadFenExact(fen);
  ASSERT_EQ(GameHistoryFloor, 1);
  oracle::Position model = oracle::FromFen(fen);
  std::vector<oracle::Position> models{model};
  int highest = 0;
  for (int ply = 0; ply < 700; ply++) {
    const u64 keyBefore = thread_board.PositionKey;
    const u32 move = oracle::FindMove(cycle[ply % 4]);
    ASSERT_NE(move, 0u) << ply;
    MakeGameMove(move);
    oracle::Apply(model, move);
    models.push_back(model);
    highest = std::max(highest, GameHistoryCount);
    ASSERT_EQ(oracle::Differences(model), "") << "ply " << ply;
    // The newest entries survive any trimming: they are what the repetition test reads.
    ASSERT_GT(GameHistoryCount, 0);
    ASSERT_EQ(GameHistory[GameHistoryCount - 1].Move, move) << ply;
    ASSERT_EQ(GameHistory[GameHistoryCount - 1].Key, keyBefore) << ply;
  }
  // Room must be left above the game for the plies of a search.
  EXPECT_LE(highest + PLY_STACK_SIZE, GAME_HISTORY_SIZE);
  // Every entry still kept is a real move and can be taken back, each to the position it came from.
  const int kept = GameHistoryCount;
  for (int back = 1; back <= kept; back++) {
    TakeBackGameMove();
    ASSERT_EQ(GameHistoryCount, kept - back);
    ASSERT_EQ(oracle::Differences(models[models.size() - 1 - back]), "") << "taken back " << back;
  }
}
