// The endgame rules that decide or scale a score by the placement of a few men: a rook against pawns by the
// K+R against K+P bitbase, a queen against a pawn on the seventh, two pawns blockaded by king and bishop, and
// three pawns with little force. Each is seen from both colours.
#include <gtest/gtest.h>

#include <string>

#include "eval/eval_tables.h"
#include "eval/rook_pawns.h"
#include "tests/unit/endgame_fixture.h"

namespace {

using namespace movetest;

int Holds(const std::string &fen, const char *pawn, const char *rook) {
  LoadFen(fen.c_str());
  return RookHoldsPawn(Sq(pawn), Sq(rook));
}

TEST_F(EndgameTest, RookHoldsPawnByTheBitbase) {
  // The rook's side to move: the bitbase, or no verdict below its ranks.
  EXPECT_EQ(Holds("8/8/8/8/8/2pk4/8/R6K w - - 0 1", "c3", "a1"), HOLDS_DRAW);
  EXPECT_EQ(Holds("8/8/8/8/2pk4/8/8/R6K w - - 0 1", "c4", "a1"), HOLDS_LOST);
  EXPECT_EQ(Holds("8/2p5/8/3k4/8/8/8/R6K w - - 0 1", "c7", "a1"), HOLDS_UNKNOWN);
  // The pawn's side to move: a step or a king move into a held position, or the rook taken.
  EXPECT_EQ(Holds("8/8/8/8/1pk5/8/8/3R3K b - - 0 1", "b4", "d1"), HOLDS_DRAW);
  EXPECT_EQ(Holds("8/8/8/8/2pk4/8/8/R6K b - - 0 1", "c4", "a1"), HOLDS_DRAW);
  EXPECT_EQ(Holds("8/8/8/8/8/2p5/2K5/R3k3 b - - 0 1", "c3", "a1"), HOLDS_LOST);
  EXPECT_EQ(Holds("8/8/8/8/8/8/1kR5/2p4K b - - 0 1", "c1", "c2"), HOLDS_DRAW);
  // On the start rank only the double step can reach the table; a pinned pawn has no verdict.
  EXPECT_EQ(Holds("8/2p5/8/3k4/8/8/8/R6K b - - 0 1", "c7", "a1"), HOLDS_UNKNOWN);
  EXPECT_EQ(Holds("8/8/k1p4R/8/8/8/8/7K b - - 0 1", "c6", "h6"), HOLDS_UNKNOWN);
  // The same for a white pawn against a black rook.
  EXPECT_EQ(Holds(MirrorFen("8/8/8/8/8/2pk4/8/R6K w - - 0 1"), "c6", "a8"), HOLDS_DRAW);
  EXPECT_EQ(Holds(MirrorFen("8/8/8/8/2pk4/8/8/R6K w - - 0 1"), "c5", "a8"), HOLDS_LOST);
}

TEST_F(EndgameTest, RookAgainstPawns) {
  for (bool mirrored : {false, true}) {
    auto eval = [&](const std::string &fen) { return EvaluateFen(mirrored ? MirrorFen(fen) : fen); };
    // One pawn held: a draw; not held: the rook wins.
    EXPECT_EQ(eval("8/8/8/8/8/2pk4/8/R6K w - - 0 1"), 0);
    EXPECT_EQ(eval("8/8/8/8/8/2pk4/8/R6K b - - 0 1"), 0);
    EXPECT_GT(eval("8/8/8/8/2pk4/8/8/R6K w - - 0 1"), 550);
    EXPECT_FALSE(thread_eval_info.OtherSideKnown);
    // Two pawns, one of them held: a small score for the rook's side, less with the rearmost pawn further up.
    const i32 low = eval("8/8/8/8/8/2pk4/7p/R6K w - - 0 1");
    EXPECT_LT(std::abs(low), 200);
    EXPECT_GT(eval("8/8/8/8/2p5/3k4/7p/R6K w - - 0 1"), low);
  }
}

TEST_F(EndgameTest, QueenAgainstPawnOnTheSeventh) {
  for (bool mirrored : {false, true}) {
    auto eval = [&](const std::string &fen) { return EvaluateFen(mirrored ? MirrorFen(fen) : fen); };
    // The queen's king too far: rook and bishop pawns draw; near enough, the queen wins.
    EXPECT_EQ(eval("K7/8/8/8/8/8/6kp/1Q6 b - - 0 1"), 0);
    EXPECT_FALSE(thread_eval_info.OtherSideKnown);
    EXPECT_EQ(eval("K7/8/8/8/8/8/pk6/4Q3 w - - 0 1"), 0);
    EXPECT_LT(eval("8/8/8/8/5K2/8/6kp/1Q6 b - - 0 1"), -700);
    // Bishop pawn with its king beside it: a draw only if the queen doesn't cover both squares in front of the
    // king's path, g1 and g2.
    EXPECT_EQ(eval("K7/8/8/8/8/8/5p1k/1Q6 w - - 0 1"), 0);
    EXPECT_NE(eval("K5Q1/8/8/8/8/8/5p1k/8 w - - 0 1"), 0);
  }
}

TEST_F(EndgameTest, BishopAndKingBlockadeTwoPawns) {
  for (bool mirrored : {false, true}) {
    auto eval = [&](const std::string &fen) { return EvaluateFen(mirrored ? MirrorFen(fen) : fen); };
    // Bishops of opposite colours, pawns c4 and d3 on the light squares, the king on d2 and the dark bishop
    // on c3's diagonal hold them.
    EXPECT_EQ(eval("8/8/6b1/5k2/2p5/3p4/3K4/B7 w - - 0 1"), 0);
    EXPECT_EQ(eval("8/8/6b1/5k2/2p5/3p4/3K4/B7 b - - 0 1"), 0);
    // Not with the king elsewhere, nor with the pawns' king about to take the bishop.
    EXPECT_NE(eval("8/8/6b1/5k2/2p5/3p4/4K3/B7 w - - 0 1"), 0);
    EXPECT_NE(eval("8/8/6b1/8/2p5/3p4/1k1K4/B7 b - - 0 1"), 0);
  }
}

// Three pawns with a rook or a bishop each: the factor applies only when no pawn of the side with two gets away.
TEST_F(EndgameTest, ThreePawnsWithLittleForceScaleDown) {
  auto scales = [&](int factor, const std::string &fen) {
    return EvalWith(EndingScale[factor], 0, fen) != EvalWith(EndingScale[factor], 256, fen);
  };
  for (bool mirrored : {false, true}) {
    auto fen = [&](const std::string &f) { return mirrored ? MirrorFen(f) : f; };
    // Rooks: the defending king in front of both pawns, or away from one of them.
    EXPECT_TRUE(scales(16, fen("8/8/3r4/1pk5/8/1PP5/1K6/7R w - - 0 1")));
    EXPECT_FALSE(scales(16, fen("3r4/7k/8/1p6/8/1PP5/1K6/7R w - - 0 1")));
    // Bishops: a passer of the side with two pawns takes the other factor; a runner escapes it.
    EXPECT_TRUE(scales(15, fen("5b2/8/1k6/4p3/P3P3/3K4/8/6B1 w - - 0 1")));
    EXPECT_FALSE(scales(15, fen("5b1k/8/8/4p3/P3P3/3K4/8/6B1 w - - 0 1")));
    // Knights are never scaled by this rule.
    EXPECT_FALSE(scales(16, fen("8/8/3n4/1pk5/8/1PP5/1K6/7N w - - 0 1")));
  }
}

// Two pawns against one, no passer, two minors a side: a runner among the two takes the running factor.
TEST_F(EndgameTest, TwoPawnsAgainstOneRunWithARunner) {
  auto scales = [&](int factor, const std::string &fen) {
    return EvalWith(EndingScale[factor], 0, fen) != EvalWith(EndingScale[factor], 256, fen);
  };
  for (bool mirrored : {false, true}) {
    auto fen = [&](const std::string &f) { return mirrored ? MirrorFen(f) : f; };
    EXPECT_TRUE(scales(7, fen("7k/4b3/5n2/1p6/P1P5/8/3BN3/2K5 w - - 0 1")));
    EXPECT_FALSE(scales(7, fen("8/1k2b3/5n2/1p6/P1P5/8/3BN3/2K5 w - - 0 1")));
    EXPECT_TRUE(scales(8, fen("8/1k2b3/5n2/1p6/P1P5/8/3BN3/2K5 w - - 0 1")) ||
                scales(9, fen("8/1k2b3/5n2/1p6/P1P5/8/3BN3/2K5 w - - 0 1")));
  }
}

}  // namespace
