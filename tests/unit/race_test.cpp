// The pawn race of passers against a bare king: a queen that skewers or picks up loose pawns after both sides
// promote, two passers too far apart for one king, and a king boxed in on its back rank. Each term is seen by
// the score it changes when its table is emptied.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>

#include "eval/eval_tables.h"
#include "tests/unit/endgame_fixture.h"

namespace {

using namespace movetest;

class RaceTest : public EndgameTest {
 protected:
  // What the table's entries give White in `fen`: the score with the table less the score without it, from
  // White's view. The colour-swapped position gets the same for Black, but for the blend's rounding.
  template <size_t N>
  static i32 Share(i32 (&table)[N], const std::string &fen) {
    i32 kept[N];
    std::copy(std::begin(table), std::end(table), kept);
    const i32 with = EvaluateFen(fen), mirroredWith = EvaluateFen(MirrorFen(fen));
    std::fill(std::begin(table), std::end(table), 0);
    const i32 without = EvaluateFen(fen), mirroredWithout = EvaluateFen(MirrorFen(fen));
    std::copy(std::begin(kept), std::end(kept), table);
    EXPECT_NEAR(with - without, mirroredWith - mirroredWithout, 2) << fen;
    return fen.find(" w ") != std::string::npos ? with - without : without - with;
  }
};

TEST_F(RaceTest, QueenSkewersTheKingAndTheNewQueen) {
  // White queens on b8 a move ahead of Black on h1; the black king on h5 stands on the h file between.
  EXPECT_GT(Share(RaceSkewer, "8/8/1P6/7k/8/2K4p/8/8 w - - 0 1"), 300);
  // With the king off the file, or a white pawn closing the file, no skewer.
  EXPECT_EQ(Share(RaceSkewer, "8/8/1P4k1/8/8/2K4p/8/8 w - - 0 1"), 0);
  EXPECT_EQ(Share(RaceSkewer, "8/7P/1P6/7k/8/2K4p/8/8 w - - 0 1"), 0);
  // Black queens on b1 with the king on the a file: checks on a8 and b8 win the new queen.
  EXPECT_GT(Share(RaceSkewerA, "8/8/7P/k7/5K2/1p6/8/8 w - - 0 1"), 300);
  EXPECT_EQ(Share(RaceSkewerA, "8/8/7P/8/5K2/kp6/8/8 w - - 0 1"), 0);
  // The same on the other wing: Black queens on g1, the king on the h file.
  EXPECT_GT(Share(RaceSkewerH, "8/8/P7/7k/2K5/6p1/8/8 w - - 0 1"), 300);
}

TEST_F(RaceTest, QueenChecksAndTakesLoosePawns) {
  // After both promote, the white queen on b8 checks on g8 and then finds the loose pawn on d5.
  EXPECT_GT(Share(RaceLoosePawnsCheck, "8/8/1P4k1/3p4/8/2K4p/8/8 w - - 0 1"), 0);
  // A pawn beside its king isn't loose.
  EXPECT_EQ(Share(RaceLoosePawnsCheck, "8/8/1P4k1/5p2/8/2K4p/8/8 w - - 0 1"), 0);
}

TEST_F(RaceTest, TwoDistantPassersOutrunOneKing) {
  // Neither a4 nor h4 runs from the king on e5 alone, but it can't catch both.
  EXPECT_GT(Share(RaceAlone, "8/8/8/4k3/P6P/8/8/6K1 b - - 0 1"), 0);
  // Neighbours can be stopped together.
  EXPECT_EQ(Share(RaceAlone, "8/8/8/4k3/PP6/8/8/6K1 b - - 0 1"), 0);
}

TEST_F(RaceTest, KingBoxedInOnItsBackRank) {
  // The white king on h1 is held by the pawn on h2 and the king on h3: the f pawn counts as a runner.
  EXPECT_LT(Share(RaceAlone, "8/8/8/8/5p2/7k/7p/7K b - - 0 1"), 0);
  // With the black king beside the file the white king gets out and catches the pawn.
  EXPECT_EQ(Share(RaceAlone, "8/8/8/8/5p2/6k1/7p/7K b - - 0 1"), 0);
}

}  // namespace
