// The root of a search: game ends by rule with their result texts, the threefold test, and the root
// list with its order, its hash move, killers and the searchmoves restriction; the `moves` listing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "board/makemove.h"
#include "board/position.h"
#include "search/hash.h"
#include "shell/console.h"
#include "shell/settings.h"
#include "tests/unit/move_list.h"
#include "think/root_prep.h"

namespace {

using namespace movetest;

class RootTest : public MoveTest {
 protected:
  void SetUp() override {
    MoveTest::SetUp();
    ClearHash();
    ClearKillers();
    Settings.UciMode = 0;
    Settings.SearchMovesCount = 0;
    Settings.RootSide = WHITE;
    Settings.LastScore = Settings.LastScoreSide = 0;
  }
  void TearDown() override {
    Settings.SearchMovesCount = 0;
    Settings.UciMode = 0;
    ClearHash();
    ClearKillers();
    MoveTest::TearDown();
  }
  // Coordinate moves played from a FEN as the game plays them.
  static void Play(const char *fen, std::vector<const char *> moves) {
    LoadFen(fen);
    for (const char *text : moves) {
      const int from = Sq(text), to = Sq(text + 2);
      MakeGameMove(MakeMove(from, to, thread_board.Board[from], thread_board.Board[to]));
    }
  }
  // PrepareRoot's return value and what it printed.
  static std::pair<int, std::string> Prepare() {
    testing::internal::CaptureStdout();
    const int result = PrepareRoot();
    return {result, testing::internal::GetCapturedStdout()};
  }
};

const char *const Start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
const char *const Kiwipete = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1";

TEST_F(RootTest, GameEndsPrintTheirResultsAndOnlyMateAndStalemateEndTheSearch) {
  struct Case {
    const char *fen;
    int result;
    std::string printed;
  };
  const std::string material = "1/2-1/2 {Draw by insufficient material}\n";
  const Case cases[] = {
      {"rnb1kbnr/pppp1ppp/8/4p3/6Pq/5P2/PPPPP2P/RNBQKBNR w KQkq - 1 3", 1, "0-1 {Black mates}\n"},
      {"R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1", 1, "1-0 {White mates}\n"},
      {"7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", 1, "1/2-1/2 {Stalemate}\n"},
      {"7K/5q2/6k1/8/8/8/8/8 w - - 0 1", 1, "1/2-1/2 {Stalemate}\n"},
      // Both bare-king tests hold: two lines, and the search still has moves.
      {"4k3/8/8/8/8/8/8/4K3 w - - 0 1", 0, material + material},
      {"4k3/8/8/8/8/8/8/4KN2 b - - 0 1", 0, material},
      {"4kb2/8/8/8/8/8/8/4K3 w - - 0 1", 0, material},
      // Material alone decides: two knights, a pawn or a rook are no draw.
      {"4k3/8/8/8/8/8/8/3NKN2 w - - 0 1", 0, ""},
      {"4k3/8/8/8/8/8/4P3/4K3 w - - 0 1", 0, ""},
      {"4k3/8/8/8/8/8/8/4K2r w - - 0 1", 0, ""},
      // A stalemate by king and knight: the draw by material is told first.
      {"7k/5K2/5N2/8/8/8/8/8 b - - 0 1", 1, material + "1/2-1/2 {Stalemate}\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.fen);
    LoadFen(c.fen);
    const auto [result, printed] = Prepare();
    EXPECT_EQ(result, c.result);
    EXPECT_EQ(printed, c.printed);
    EXPECT_EQ(MoveStackTop == 0, c.result == 1);
    // UCI keeps the results quiet but reports the same outcome.
    Settings.UciMode = 1;
    const auto [uciResult, uciPrinted] = Prepare();
    Settings.UciMode = 0;
    EXPECT_EQ(uciResult, c.result);
    EXPECT_EQ(uciPrinted, "");
  }
}

TEST_F(RootTest, ThreefoldNeedsTwoEarlierOccurrencesInOneReversibleStretch) {
  const std::vector<const char *> cycle = {"g1f3", "g8f6", "f3g1", "f6g8"};
  std::vector<const char *> moves;
  for (int round = 1; round <= 2; round++) {
    moves.insert(moves.end(), cycle.begin(), cycle.end());
    Play(Start, moves);
    SCOPED_TRACE(round);
    // The walk reaches back to the first entry of the game for the second earlier occurrence.
    EXPECT_EQ(IsThreefold(), round == 2);
    EXPECT_EQ(Prepare().second, round == 2 ? "1/2-1/2 {Draw by repetition}\n" : "");
  }
  // A pawn move behind the earlier occurrences cuts them off.
  Play(Start, {"e2e4", "e7e5", "g1f3", "g8f6", "f3g1", "f6g8", "g1f3", "g8f6", "f3g1", "f6g8"});
  EXPECT_TRUE(IsThreefold());
  Play(Start, {"g1f3", "g8f6", "f3g1", "f6g8", "e2e4", "e7e5", "g1f3", "g8f6", "f3g1", "f6g8"});
  EXPECT_FALSE(IsThreefold());
  // A castling right lost in between: the same placement with other rights is another position.
  Play("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1",
       {"e1f1", "e8f8", "f1e1", "f8e8", "e1f1", "e8f8", "f1e1", "f8e8", "e1f1", "e8f8", "f1e1", "f8e8"});
  EXPECT_TRUE(IsThreefold()) << "three times without rights";
  Play("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", {"e1f1", "e8f8", "f1e1", "f8e8", "e1f1", "e8f8", "f1e1", "f8e8"});
  EXPECT_FALSE(IsThreefold()) << "the first occurrence had the rights";
}

TEST_F(RootTest, FiftyMovesAreAnnouncedOnePlyAfterTheHundredthReversiblePly) {
  LoadFen("4k3/8/8/8/8/8/8/R3K3 w - - 0 1");
  thread_board.ReversibleMoves = 98;
  const char *moves[] = {"a1a2", "e8e7", "a2a1"};
  const char *expected[] = {"", "", "1/2-1/2 {Draw by the 50-moves rule}\n"};
  for (int i = 0; i < 3; i++) {
    const int from = Sq(moves[i]), to = Sq(moves[i] + 2);
    MakeGameMove(MakeMove(from, to, thread_board.Board[from], NONE));
    SCOPED_TRACE(i);
    EXPECT_EQ(Prepare().second, expected[i]) << thread_board.ReversibleMoves << " reversible plies";
  }
  // A loaded en passant right stands in the history alone: no count of the game before shows through.
  LoadFen("4k3/8/8/8/8/8/8/R3K3 w - - 0 1");
  thread_board.ReversibleMoves = 120;
  MakeGameMove(MakeMove(Sq("e1"), Sq("e2"), KING, NONE));
  LoadFen("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1");
  ASSERT_EQ(GameHistoryCount, 1);
  EXPECT_EQ(Prepare().second, "");
}

// The root list holds every legal move once; tactical moves come before quiet ones, each part sorted by
// its ordering score, and every root score but the first is cleared.
TEST_F(RootTest, RootListHoldsTheLegalMovesTacticalFirstEachPartSorted) {
  const char *fens[] = {Start, Kiwipete, "4k3/1P6/8/3p4/4P3/8/8/4K3 w - - 0 1",
                        "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1"};
  for (const char *fen : fens) {
    SCOPED_TRACE(fen);
    LoadFen(fen);
    const MoveList legal = EngineLegalMoves();
    const MoveList pseudo = EnginePseudoMoves();
    RootScore[3] = 77;
    ASSERT_EQ(Prepare().first, 0);
    const MoveList root = StackMoves(0, MoveStackTop);
    EXPECT_EQ(CompareMoves(legal, root), "");
    size_t firstQuiet = 0;
    while (firstQuiet < root.size() && IsCaptureOrPromotion(root[firstQuiet])) firstQuiet++;
    for (size_t i = firstQuiet; i < root.size(); i++) EXPECT_FALSE(IsCaptureOrPromotion(root[i])) << MoveName(root[i]);
    for (int i = 1; i < MoveStackTop; i++) EXPECT_EQ(RootScore[i], 0);
    // With nothing filtered out, each entry keeps its own score: the order is visible in them.
    if (legal.size() == pseudo.size())
      for (int i = 1; i < MoveStackTop; i++)
        if (size_t(i) != firstQuiet) {
          EXPECT_GE(MoveStack[i - 1].Score, MoveStack[i].Score) << i;
        }
    EXPECT_EQ(Settings.Iteration, 10) << "no hash move: no iteration has run";
  }
}

// Only a set-up position lets the side to move take the king; that is no move, at the root or in any list.
TEST_F(RootTest, TakingTheKingIsNeverOnTheLists) {
  const char *fens[] = {"4k3/4R3/8/8/8/8/8/4K3 w - - 0 1", "8/8/8/3kK3/8/8/8/8 b - - 0 1",
                        "rnbqkb2/pprp1np1/BQKBNR2/8/8/8/8/8 b - - 0 1"};
  for (const char *fen : fens) {
    SCOPED_TRACE(fen);
    LoadFen(fen);
    const MoveList pseudo = EnginePseudoMoves();
    ASSERT_TRUE(std::any_of(pseudo.begin(), pseudo.end(), [](u32 move) { return CapturedPiece(move) == KING; }));
    const MoveList legal = EngineLegalMoves();
    ASSERT_EQ(Prepare().first, 0);
    const MoveList root = StackMoves(0, MoveStackTop);
    EXPECT_EQ(CompareMoves(legal, root), "");
    for (u32 move : root) EXPECT_NE(CapturedPiece(move), KING) << MoveName(move);
  }
}

TEST_F(RootTest, InCheckTheRootListIsTheEvasions) {
  ForEachPosition(CheckSample(), [] {
    const MoveList legal = EngineLegalMoves();
    MoveStackTop = 0;
    testing::internal::CaptureStdout();
    const int result = PrepareRoot();
    testing::internal::GetCapturedStdout();
    std::string report = CompareMoves(legal, StackMoves(0, MoveStackTop));
    if (result != (legal.empty() ? 1 : 0)) report += "wrong result\n";
    return report;
  });
}

TEST_F(RootTest, KillersFollowTheTacticalMovesOnceAndOnlyWhenPlayable) {
  LoadFen(Kiwipete);
  const u32 killer = MakeMove(Sq("a2"), Sq("a3"), PAWN, NONE);
  const u32 unplayable = MakeMove(Sq("c4"), Sq("c5"), BISHOP, NONE);
  PlyStack[0].Killers1[WHITE] = unplayable;
  PlyStack[0].Killers2[WHITE] = killer;
  ASSERT_EQ(Prepare().first, 0);
  const MoveList root = StackMoves(0, MoveStackTop);
  EXPECT_EQ(CompareMoves(EngineLegalMoves(), root), "");
  size_t firstQuiet = 0;
  while (firstQuiet < root.size() && IsCaptureOrPromotion(root[firstQuiet])) firstQuiet++;
  ASSERT_LT(firstQuiet, root.size());
  EXPECT_EQ(root[firstQuiet], killer);
  EXPECT_EQ(PlyStack[0].TriedCount, 1);
  EXPECT_EQ(PlyStack[0].TriedMoves[0], killer);
}

TEST_F(RootTest, HashMoveGoesFirstAndTheTableGivesTheRootEstimate) {
  LoadFen(Kiwipete);
  Settings.LastScore = 40;
  Settings.LastScoreSide = BLACK;
  Settings.RootSide = WHITE;
  ASSERT_EQ(Prepare().first, 0);
  EXPECT_EQ(RootScore[0], -40) << "the last score, seen from the side now to move";
  const MoveList plain = StackMoves(0, MoveStackTop);

  const u32 hashMove = MakeMove(Sq("a2"), Sq("a3"), PAWN, NONE);
  Ply = 0;
  StoreHash(20, hashMove, 123, HASH_EXACT, 0, 0, 0);
  ASSERT_EQ(Prepare().first, 0);
  const MoveList ordered = StackMoves(0, MoveStackTop);
  MoveList expected = {hashMove};
  for (u32 move : plain)
    if (move != hashMove) expected.push_back(move);
  EXPECT_EQ(Names(ordered), Names(expected)) << "the others keep their order";
  EXPECT_EQ(RootScore[0], 123);
  EXPECT_EQ(Settings.Iteration, 0);

  // Only searchmoves are listed, and a hash move outside them changes nothing.
  Settings.SearchMovesCount = 2;
  SearchMoves[0] = MakeMove(Sq("g2"), Sq("g3"), PAWN, NONE);
  SearchMoves[1] = MakeMove(Sq("d5"), Sq("e6"), PAWN, PAWN);
  ASSERT_EQ(Prepare().first, 0);
  EXPECT_EQ(Names(StackMoves(0, MoveStackTop)), Names({SearchMoves[1], SearchMoves[0]}));
  // A move word built on another board matches nothing, and a root without moves ends the search.
  SearchMoves[0] = MakeMove(Sq("g2"), Sq("g3"), KNIGHT, NONE);
  Settings.SearchMovesCount = 1;
  EXPECT_EQ(Prepare().first, 1);
  EXPECT_EQ(MoveStackTop, 0);
}

TEST_F(RootTest, MovesCommandListsTheRootWithItsScores) {
  LoadFen(Kiwipete);
  MoveStackTop = 7;
  testing::internal::CaptureStdout();
  PrintMoves();
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(MoveStackTop, 7);
  ASSERT_EQ(Prepare().first, 0);
  std::string expected = "-------------- Legal moves: ----------------\n";
  char text[8];
  for (int i = 0; i < MoveStackTop; i++)
    expected += std::string(PieceMoveText(text, MoveStack[i].Move)) + " (" + std::to_string(MoveStack[i].Score) + "); ";
  EXPECT_EQ(printed, expected + "\n");
  EXPECT_NE(printed.find("Pd5e6 ("), std::string::npos);
  EXPECT_EQ(MoveStackTop, 48);

  // Mated: the result comes between the heading and the empty list.
  LoadFen("rnb1kbnr/pppp1ppp/8/4p3/6Pq/5P2/PPPPP2P/RNBQKBNR w KQkq - 1 3");
  testing::internal::CaptureStdout();
  PrintMoves();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "-------------- Legal moves: ----------------\n0-1 {Black mates}\n\n");
}

}  // namespace
