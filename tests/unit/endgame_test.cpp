// Endgame knowledge, king safety, piece terms and passers: known endings by score bands, and the evaluation
// over odd random positions.
#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>

#include "eval/eval_tables.h"
#include "tests/unit/endgame_fixture.h"

namespace {

using namespace movetest;

int KingDistance(int a, int b) { return std::max(std::abs(FileOf(a) - FileOf(b)), std::abs(RankOf(a) - RankOf(b))); }

TEST_F(EndgameTest, KingAndPawnAgainstKing) {
  // A won position is worth KpkValue by the pawn's rank; a pawn on e5 with the king in front wins either way.
  EXPECT_EQ(EvaluateFen("4k3/4P3/4K3/8/8/8/8/8 b - - 0 1"), 0);  // stalemate-ish: the king can't take or be driven off
  EXPECT_EQ(EvaluateFen("2k5/4P3/4K3/8/8/8/8/8 w - - 0 1"), 900);
  EXPECT_EQ(EvaluateFen("4k3/8/4K3/4P3/8/8/8/8 w - - 0 1"), 860);
  EXPECT_EQ(EvaluateFen("4k3/8/4K3/4P3/8/8/8/8 b - - 0 1"), -860);
  // Pawn on e2, king e3 against e5: a draw with the pawn's side to move, a win with the other.
  EXPECT_EQ(EvaluateFen("8/8/8/4k3/8/4K3/4P3/8 w - - 0 1"), 0);
  EXPECT_FALSE(thread_eval_info.OtherSideKnown);
  EXPECT_EQ(EvaluateFen("8/8/8/4k3/8/4K3/4P3/8 b - - 0 1"), -800);
  // The same for Black, rotated.
  EXPECT_EQ(EvaluateFen("8/4p3/4k3/8/4K3/8/8/8 b - - 0 1"), 0);
  EXPECT_EQ(EvaluateFen("8/4p3/4k3/8/4K3/8/8/8 w - - 0 1"), -800);
}

TEST_F(EndgameTest, DrawishEndingsScoreNearZero) {
  // A lone bishop or knight against a pawn can't win.
  // The side that cannot win keeps the tempo alone.
  EXPECT_LE(EvaluateFen("8/8/4k3/8/8/3B4/5p2/5K2 w - - 0 1"), 20);
  // Rook pawn with the bishop of the wrong colour, the defending king in the corner.
  EXPECT_LE(std::abs(EvaluateFen("k7/8/1K6/P7/8/8/8/4B3 w - - 0 1")), 20);
  EXPECT_LE(std::abs(EvaluateFen("k7/8/1K6/P7/8/8/8/4B3 b - - 0 1")), 20);
  // Bishops of opposite colours with one pawn: the defending bishop controls the pawn's path.
  EXPECT_EQ(EvaluateFen("b7/8/4k3/8/3P4/2B1K3/8/8 w - - 0 1"), 0);
  // Two bare kings, and rook against bishop and knight without pawns.
  EXPECT_EQ(EvaluateFen("8/8/3k4/8/8/3K4/8/8 w - - 0 1"), 0);
  EXPECT_EQ(EvaluateFen("8/8/3k4/3bn3/8/3K4/8/3R4 w - - 0 1"), 0);
}

// A king on the edge in opposition without a move: stalemate unless a blocked pawn can still capture; a mate is
// scored by the ply and kept out of the cache.
TEST_F(EndgameTest, EdgeStalemateAndMate) {
  EXPECT_EQ(EvaluateFen("k7/8/K7/1p2B3/1P6/8/8/8 b - - 0 1"), 0);
  EXPECT_LT(EvaluateFen("k7/8/K7/1p2B3/1PN5/8/8/8 b - - 0 1"), -300);
  EXPECT_EQ(EvaluateFen("k6R/8/K7/1p2B3/1P6/8/8/8 b - - 0 1"), Ply - MATE_SCORE);
  EXPECT_FALSE(thread_eval_info.Cacheable);
}

TEST_F(EndgameTest, KnownWinsScoreHigh) {
  // K+B+N drives the king to the corner of the bishop's colour: a light bishop and the king on h1 beat a1.
  const i32 corner = EvaluateFen("8/8/8/8/8/3BNK2/8/7k w - - 0 1");
  const i32 wrongCorner = EvaluateFen("8/8/8/8/8/2KBN3/8/k7 w - - 0 1");
  EXPECT_GT(corner, 400);
  EXPECT_GT(corner, wrongCorner);
  // Rook against a bare king: the king on the edge is worth more to the rook's side than in the centre.
  EXPECT_GT(EvaluateFen("k7/8/8/8/8/8/8/3RK3 w - - 0 1"), EvaluateFen("8/8/8/3k4/8/8/8/3RK3 w - - 0 1"));
  EXPECT_GT(EvaluateFen("8/8/8/3k4/8/8/8/3RK3 w - - 0 1"), 500);
  // An unstoppable passer against a pawn whose king can't catch it: the runner's side is far ahead.
  EXPECT_GT(EvaluateFen("8/8/8/P7/8/7k/7p/6K1 w - - 0 1"), 300);
}

TEST_F(EndgameTest, ShelterAndAttackAreReported) {
  // With castling gone, a king on e1 gets one more for its file than one on f1 with the same pawns.
  EvaluateFen("rq2k2r/pppppppp/8/8/8/8/PPP2PPP/4K3 w - - 0 1");
  const int onE = thread_eval_info.shelter_penalty[WHITE];
  EvaluateFen("rq2k2r/pppppppp/8/8/8/8/PPP2PPP/5K2 w - - 0 1");
  EXPECT_NE(onE, thread_eval_info.shelter_penalty[WHITE]);
  // Aggressivity and Cowardice change the shelter score only, not the penalty index.
  const std::string fen = "r1bq1rk1/pp3ppp/2n5/3p4/3P4/2PB1N2/P4PPP/R2QK2R w KQ - 0 1";
  const i32 normal = EvaluateFen(fen, WHITE);
  const int penalty = thread_eval_info.shelter_penalty[WHITE];
  Settings.AggressivityHalf = 150, Settings.CowardiceHalf = 0;
  const i32 bold = EvaluateFen(fen, WHITE);
  EXPECT_EQ(thread_eval_info.shelter_penalty[WHITE], penalty);
  Settings.AggressivityHalf = Settings.CowardiceHalf = 50;
  EXPECT_NE(normal, bold);
  // An attack with queen and pieces on a bare king side gathers danger for the attacker.
  EvaluateFen("r1b2rk1/pp3p1p/2n3pQ/3pN3/3P4/3B4/PP3PPP/R3K2R b KQ - 0 1");
  EXPECT_GT(thread_eval_info.danger[WHITE], thread_eval_info.danger[BLACK]);
  // A defender without enemy force to fear gathers no attack and shows no shelter penalty.
  EvaluateFen("4k3/8/8/8/8/8/PPP5/1K2R3 w - - 0 1");
  EXPECT_EQ(thread_eval_info.shelter_penalty[WHITE], 0);
  EXPECT_EQ(thread_eval_info.danger[BLACK], 0);
}

TEST_F(EndgameTest, PinsAndPassersCount) {
  // The same knight pinned to its king by a bishop costs its side against a bishop that doesn't pin it.
  const i32 pinned = EvaluateFen("r3k3/pp3ppp/2n5/8/B7/8/PP3PPP/4K2R w - - 0 1");
  const i32 free = EvaluateFen("r3k3/pp3ppp/2n5/8/8/8/PPB2PPP/4K2R w - - 0 1");
  EXPECT_NE(pinned, free);
  // A far advanced passer is worth more than the same pawn at home.
  EXPECT_GT(EvaluateFen("6k1/8/1P6/8/8/8/5PPP/6K1 w - - 0 1"), EvaluateFen("6k1/8/8/8/8/8/1P3PPP/6K1 w - - 0 1"));
}

// A random placement of the kings and of `men` (FEN letters), a man dropped where its square is taken or a pawn
// would stand on a back rank; "" when the side not to move is in check.
std::string RandomFen(std::mt19937 &random, const std::string &men, bool kingsApart) {
  char board[64];
  std::fill(board, board + 64, '1');
  const int wk = int(random() % 64);
  int bk;
  do bk = int(random() % 64);
  while (bk == wk || (kingsApart && KingDistance(wk, bk) < 2));
  board[wk] = 'K', board[bk] = 'k';
  for (const char man : men) {
    const int sq = int(random() % 64);
    if (board[sq] != '1' || ((man == 'P' || man == 'p') && (sq < 8 || sq > 55))) continue;
    board[sq] = man;
  }
  std::string fen;
  for (int rank = 7; rank >= 0; rank--) {
    for (int file = 0; file < 8; file++) fen += board[8 * rank + file];
    if (rank) fen += '/';
  }
  fen += random() & 1 ? " b - - 0 1" : " w - - 0 1";
  LoadFen(fen.c_str());
  return IsAttacked(thread_board.SideToMove, thread_board.KingSquare[ChangeSide(thread_board.SideToMove)]) ? "" : fen;
}

// Random positions with odd material: eight queens, pawns on the seventh, crowded kings. Run under the
// sanitizers, this finds any table read out of range.
TEST_F(EndgameTest, OddRandomPositionsEvaluateSafely) {
  std::mt19937 random(11);
  const std::string pieces = "QQQQRRBNNPPPPPPPPqqqqrrbnnpppppppp";
  int evaluated = 0;
  for (int round = 0; round < 3000; round++) {
    std::string men;
    for (int count = int(random() % 30); count > 0; count--) men += pieces[random() % pieces.size()];
    const std::string fen = RandomFen(random, men, false);
    if (fen.empty()) continue;
    const i32 score = EvaluateFen(fen);
    EXPECT_LT(std::abs(score), MATE_SCORE) << fen;
    evaluated++;
  }
  EXPECT_GT(evaluated, 1000);
}

// Few men, where the endgame terms, the race and the scaling ladder all run: the colour-swapped image scores
// alike (two units of rounding, as in the pass itself), and when the pass says that the other side's score is
// known, the evaluation with the other side to move agrees with it.
TEST_F(EndgameTest, FewMenScoreAlikeInTheMirrorAndForTheOtherSide) {
  std::mt19937 random(5);
  const char *const sets[] = {"RR", "R", "Q", "BN", "BB", "RP", "QP", "RPP", "BPP", "NPP", "PPP", "RB", "RN", "QR",
                              "PP", "P", "RBPP", "rP", "rPP", "bPPP", "nP", "pPP", "ppPP", "bBP", "rRP", "qQPP", "nBP",
                              "Qp", "rRPPp", "PPp", "rPPP", "QpP", "Rppp"};
  int compared = 0, otherSide = 0, differences = 0;
  for (int round = 0; round < 40000 && differences < 5; round++) {
    const std::string fen = RandomFen(random, sets[random() % std::size(sets)], true);
    if (fen.empty()) continue;
    const i32 score = EvaluateFen(fen);
    const bool known = thread_eval_info.OtherSideKnown;
    const i32 sum = thread_eval_info.ScoreSum;
    const i32 mirrored = EvaluateFen(MirrorFen(fen));
    compared++;
    if (std::abs(score - mirrored) > 2) differences++, ADD_FAILURE() << fen << ": " << score << " vs " << mirrored;
    std::string other = fen;
    other[other.find(' ') + 1] = thread_board.SideToMove == WHITE ? 'w' : 'b';
    LoadFen(other.c_str());
    if (!known || SideToMoveInCheck() || IsAttacked(thread_board.SideToMove, thread_board.KingSquare[ChangeSide(thread_board.SideToMove)]))
      continue;
    otherSide++;
    const i32 theirs = EvaluateFen(other);
    if (std::abs(theirs - (sum - score)) > 2)
      differences++, ADD_FAILURE() << fen << ": " << score << ", other side " << theirs << " but the sum says " << sum - score;
  }
  EXPECT_GT(compared, 10000);
  EXPECT_GT(otherSide, 1000);
  EXPECT_EQ(differences, 0);
}

}  // namespace
