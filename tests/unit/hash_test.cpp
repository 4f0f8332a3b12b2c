// Transposition table and evaluation cache: bounds side by side, replacement, mate scores, sizes.
#include <gtest/gtest.h>

#include <cstdlib>

#include "eval/eval.h"
#include "search/hash.h"
#include "shell/settings.h"
#include "tests/unit/engine_fixture.h"

namespace {

constexpr i32 DEFAULT_ENTRIES = 524288;
constexpr int DEFAULT_MEGABYTES = 13;  // 13 MB / 26 bytes is the default count again

// Five different positions, all with white to move.
const char *const Positions[5] = {
    "4k3/8/8/8/8/8/8/4K3 w - - 0 1",   "4k3/8/8/8/8/8/8/3K4 w - - 0 1", "4k3/8/8/8/8/8/8/2K5 w - - 0 1",
    "4k3/8/8/8/8/8/8/1K6 w - - 0 1",   "4k3/8/8/8/8/8/8/K7 w - - 0 1",
};

struct ProbeResult {
  int kind;
  i32 cutoff, score, mateThreat, allowNull;
  u32 move;
};

class HashTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    ClearHash();
    Settings.HashAge = 7;
    Settings.HashStores = 0;
    Ply = 0;
  }
  void TearDown() override {
    if (Settings.TranspositionSize != DEFAULT_ENTRIES) ResizeHash(DEFAULT_MEGABYTES);
    ClearHash();
    Ply = 1;
  }

  static ProbeResult Probe(int depth, i32 alpha, i32 beta, int isPv = 0) {
    ProbeResult r{};
    r.allowNull = 1;
    r.score = alpha;
    r.kind = ProbeHash(depth, &r.score, &beta, &r.mateThreat, &r.move, &r.allowNull, &r.cutoff, isPv);
    return r;
  }
  static ProbeResult ProbeQuiescence(int depth, i32 alpha, i32 beta, int isPv = 0) {
    ProbeResult r{};
    r.score = alpha;
    r.kind = ProbeHashQuiescence(depth, &r.score, &beta, &r.move, &r.cutoff, isPv);
    return r;
  }
  static bool Known(int side = WHITE) {
    thread_board.SideToMove = side;
    return Probe(0, 0, 1).kind != 0;
  }

  // A real block of one entry and its ten spare ones: every position shares slots 0 to 3.
  static void UseOneEntryTable() {
    std::free(TranspositionTable);
    Settings.TranspositionSize = 1;
    TranspositionTable = static_cast<TranspositionEntry *>(AllocateTableBlock(26 + 260));
    ClearHash();
    Settings.HashAge = 7;
  }
  static void StoreAt(int position, int depth, int moveCount, u16 age) {
    const u16 now = Settings.HashAge;
    Settings.HashAge = age;
    LoadFen(Positions[position]);
    StoreHash(depth, 0, 0, HASH_LOWER, 0, 0, moveCount);
    Settings.HashAge = now;
  }
  static bool KnownAt(int position) {
    LoadFen(Positions[position]);
    return Known();
  }
};

const u32 SomeMove = MakeMove(12, 28, PAWN, NONE);
const u32 OtherMove = MakeMove(6, 21, KNIGHT, NONE);

TEST_F(HashTest, LowerAndUpperBoundOfOnePositionCutEachAtItsOwnDepth) {
  StoreHash(20, SomeMove, 100, HASH_LOWER, 0, 0, 0);
  StoreHash(8, SomeMove, -50, HASH_UPPER, 0, 0, 0);
  EXPECT_EQ(Settings.HashStores, 1) << "both bounds belong in one entry";
  // Where both would cut, the kind stored last is asked first.
  EXPECT_EQ(Probe(8, -40, 100).kind, HASH_UPPER);

  // Upper bound -50 cuts a window above it up to its own depth only.
  ProbeResult r = Probe(8, -40, 200);
  EXPECT_EQ(r.kind, HASH_UPPER);
  EXPECT_EQ(r.cutoff, 1);
  EXPECT_EQ(r.score, -50);
  r = Probe(9, -40, 200);
  EXPECT_EQ(r.cutoff, 0);
  EXPECT_EQ(r.kind, HASH_UPPER) << "found without a cut";
  EXPECT_EQ(r.score, -40);

  // Lower bound 100 cuts a window below it up to depth 20.
  r = Probe(20, 90, 100);
  EXPECT_EQ(r.kind, HASH_LOWER);
  EXPECT_EQ(r.score, 100);
  EXPECT_EQ(Probe(21, 90, 100).cutoff, 0);

  // Bounds never cut at PV nodes; an exact score does.
  EXPECT_EQ(Probe(8, -40, 200, 1).cutoff, 0);
  EXPECT_EQ(Probe(20, 90, 100, 1).cutoff, 0);
  StoreHash(4, SomeMove, 30, HASH_EXACT, 0, 0, 0);
  r = Probe(4, -1000, 1000, 1);
  EXPECT_EQ(r.kind, HASH_EXACT);
  EXPECT_EQ(r.score, 30);
  EXPECT_EQ(Probe(5, -1000, 1000, 1).cutoff, 0);
}

TEST_F(HashTest, ABoundOfEqualDepthIsReplacedOnlyByATighterOne) {
  StoreHash(8, 0, 50, HASH_UPPER, 0, 0, 0);
  StoreHash(8, 0, 70, HASH_UPPER, 0, 0, 0);
  EXPECT_EQ(Probe(8, 60, 200).score, 50) << "a higher upper bound is no news";
  StoreHash(8, 0, 40, HASH_UPPER, 0, 0, 0);
  EXPECT_EQ(Probe(8, 45, 200).score, 40);

  StoreHash(8, 0, 50, HASH_LOWER, 0, 0, 0);
  StoreHash(8, 0, 30, HASH_LOWER, 0, 0, 0);
  EXPECT_EQ(Probe(8, -200, 40).score, 50) << "a lower lower bound is no news";
  StoreHash(8, 0, 60, HASH_LOWER, 0, 0, 0);
  EXPECT_EQ(Probe(8, -200, 55).score, 60);

  // Depth wins over tightness both ways.
  StoreHash(10, 0, 45, HASH_UPPER, 0, 0, 0);
  EXPECT_EQ(Probe(10, 45, 200).score, 45) << "a deeper bound replaces a tighter one";
  StoreHash(9, 0, -100, HASH_UPPER, 0, 0, 0);
  EXPECT_EQ(Probe(10, 45, 200).score, 45) << "a shallower bound is ignored";
  StoreHash(12, 0, 10, HASH_EXACT, 0, 0, 0);
  StoreHash(11, 0, 20, HASH_EXACT, 0, 0, 0);
  EXPECT_EQ(Probe(12, -200, 200).score, 10);
}

TEST_F(HashTest, MateBoundsAreClippedAndExactMatesMoveWithThePly) {
  Ply = 10;
  StoreHash(8, 0, 31500, HASH_LOWER, 0, 0, 0);
  StoreHash(8, 0, -31500, HASH_UPPER, 0, 0, 0);
  Ply = 4;
  ProbeResult r = Probe(8, -32000, 31000);
  EXPECT_EQ(r.kind, HASH_LOWER);
  EXPECT_EQ(r.score, 31000) << "bounds are clipped, not moved by the ply";
  EXPECT_EQ(Probe(8, -32000, 31002).cutoff, 0);
  r = Probe(8, -31000, 0);
  EXPECT_EQ(r.kind, HASH_UPPER);
  EXPECT_EQ(r.score, -31000);

  // A mate found at ply 10 comes back 6 higher at ply 4: the same mate, nearer the root.
  Ply = 10;
  StoreHash(8, 0, MATE_SCORE - 15, HASH_EXACT, 0, 0, 0);
  Ply = 4;
  EXPECT_EQ(Probe(8, 0, 1).score, MATE_SCORE - 9);
  LoadFen(Positions[1]);
  Ply = 10;
  StoreHash(8, 0, -(MATE_SCORE - 15), HASH_EXACT, 0, 0, 0);
  Ply = 4;
  EXPECT_EQ(Probe(8, 0, 1).score, -(MATE_SCORE - 9));
  EXPECT_EQ(ProbeQuiescence(8, 0, 1).score, -(MATE_SCORE - 9));
  LoadFen(Positions[2]);
  StoreHash(8, 0, 31000, HASH_EXACT, 0, 0, 0);
  Ply = 10;
  EXPECT_EQ(Probe(8, 0, 1).score, 31000) << "31000 itself is no mate score";
}

TEST_F(HashTest, SideToMoveSeparatesEntriesOfOneKey) {
  StoreHash(4, SomeMove, 100, HASH_EXACT, 0, 0, 0);
  EXPECT_FALSE(Known(BLACK));
  StoreHash(4, OtherMove, -100, HASH_EXACT, 0, 0, 0);
  thread_board.SideToMove = WHITE;
  EXPECT_EQ(Probe(4, 0, 1).score, 100);
  EXPECT_EQ(HashMoveOfPosition(), SomeMove);
  thread_board.SideToMove = BLACK;
  EXPECT_EQ(Probe(4, 0, 1).score, -100);
  EXPECT_EQ(HashMoveOfPosition(), OtherMove);
}

TEST_F(HashTest, AKnownPositionKeepsItsMoveAndGathersNodeFlags) {
  StoreHash(6, SomeMove, 10, HASH_LOWER, 1, NO_QUIET_CHECKS, 0);
  StoreHash(2, 0, 5, HASH_UPPER, 0, NO_TACTICAL_MOVES, 0);
  ProbeResult r = Probe(2, 0, 100);
  EXPECT_EQ(r.move, SomeMove);
  EXPECT_EQ(HashFlags, NO_QUIET_CHECKS | NO_TACTICAL_MOVES);
  EXPECT_EQ(r.mateThreat, 0) << "the last store's info has no mate threat";
  // A store that loses to the stored bound still leaves its node flags.
  StoreHash(1, OtherMove, 100, HASH_UPPER, 1, NO_CAPTURES_FOUND, 0);
  r = Probe(2, 0, 100);
  EXPECT_EQ(HashFlags, NO_QUIET_CHECKS | NO_TACTICAL_MOVES | NO_CAPTURES_FOUND);
  EXPECT_EQ(r.move, SomeMove) << "a store that changes no bound leaves the info";
  StoreHash(6, OtherMove, 20, HASH_LOWER, 1, 0, 0);
  r = Probe(2, 0, 100);
  EXPECT_EQ(r.move, OtherMove);
  EXPECT_EQ(r.mateThreat, 1);
}

TEST_F(HashTest, ProbeTellsNullMoveAndSingularCandidates) {
  StoreHash(24, SomeMove, 80, HASH_LOWER, 0, 0, 0);
  ProbeResult r = Probe(32, 0, 1000);
  EXPECT_EQ(r.cutoff, 0);
  EXPECT_EQ(r.allowNull, 1);
  EXPECT_EQ(SingularKnown, 1) << "two plies shallower is deep enough";
  EXPECT_EQ(SingularScore, 80);
  EXPECT_EQ(SingularDepth, 24);
  Probe(33, 0, 1000);
  EXPECT_EQ(SingularKnown, 0);

  // An upper or exact score below beta forbids the null move.
  StoreHash(2, 0, 50, HASH_UPPER, 0, 0, 0);
  EXPECT_EQ(Probe(32, 0, 51).allowNull, 0);
  EXPECT_EQ(Probe(32, 0, 50).allowNull, 1);
  StoreHash(26, 0, 60, HASH_EXACT, 0, 0, 0);
  EXPECT_EQ(Probe(32, 0, 61).allowNull, 0);
  EXPECT_EQ(SingularScore, 60) << "the exact score is preferred to the lower bound";
  EXPECT_EQ(SingularDepth, 26);

  LoadFen(Positions[1]);
  Probe(4, 0, 1);
  EXPECT_EQ(SingularKnown, 0) << "cleared by a probe that finds nothing";
}

TEST_F(HashTest, QuiescenceTakesAFloorFromALowerBoundBelowBeta) {
  StoreHash(-12, SomeMove, 50, HASH_LOWER, 0, NO_QUIET_CHECKS, 0);
  ProbeResult r = ProbeQuiescence(-12, -10, 100);
  EXPECT_EQ(r.cutoff, 0);
  EXPECT_EQ(HashBound, 50);
  EXPECT_EQ(HashFlags, NO_QUIET_CHECKS);
  EXPECT_EQ(r.move, SomeMove);
  ProbeQuiescence(-12, -10, 100, 1);
  EXPECT_EQ(HashBound, -MATE_SCORE) << "no floor at PV nodes";
  ProbeQuiescence(-11, -10, 100);
  EXPECT_EQ(HashBound, -MATE_SCORE) << "depth -12 is stored as byte 0 and serves depth -12 only";
  EXPECT_EQ(ProbeQuiescence(-12, -10, 50).score, 50);

  StoreHash(-12, 0, -20, HASH_UPPER, 0, 0, 0);
  ProbeQuiescence(-12, -30, 100);
  EXPECT_EQ(HashBound, 50) << "an upper bound is no floor";
  LoadFen(Positions[1]);
  ProbeQuiescence(-12, -30, 100);
  EXPECT_EQ(HashBound, -MATE_SCORE);
  EXPECT_EQ(HashFlags, 0);
}

TEST_F(HashTest, OlderEntriesGoFirstThenTheCheapest) {
  UseOneEntryTable();
  StoreAt(0, 10, 5, 7);
  StoreAt(1, 30, 9, 6);  // older, though deeper and dearer
  StoreAt(2, 10, 2, 7);
  StoreAt(3, 10, 7, 7);
  EXPECT_EQ(Settings.HashStores, 4);
  StoreAt(4, 1, 0, 7);
  EXPECT_FALSE(KnownAt(1));
  EXPECT_TRUE(KnownAt(0) && KnownAt(2) && KnownAt(3) && KnownAt(4));
  EXPECT_EQ(Settings.HashStores, 5) << "an older entry counts as free";

  // All of this search: the one with the fewest moves tried goes, if it is not deeper.
  StoreAt(1, 10, 3, 7);
  EXPECT_FALSE(KnownAt(4));
  EXPECT_EQ(Settings.HashStores, 5) << "an entry of this search is not counted again";
  StoreAt(4, 9, 0, 7);
  EXPECT_FALSE(KnownAt(4)) << "the cheapest entry is deeper: nothing is written";
  EXPECT_TRUE(KnownAt(0) && KnownAt(1) && KnownAt(2) && KnownAt(3));
  StoreAt(4, 10, 0, 7);
  EXPECT_FALSE(KnownAt(2));
  EXPECT_TRUE(KnownAt(4));
  EXPECT_EQ(HashFull(), 5000) << "the share may pass 1000";
}

TEST_F(HashTest, AmongEqualEntriesTheEarliestGoesAndAProbeRefreshesTheAge) {
  UseOneEntryTable();
  for (int p = 0; p < 4; p++) StoreAt(p, 10, 4, 6);
  // A probe makes its entry young again, so it outlives the other old ones.
  Settings.HashAge = 7;
  LoadFen(Positions[0]);
  EXPECT_EQ(HashMoveOfPosition(), 0u);
  StoreAt(4, 10, 4, 7);
  EXPECT_TRUE(KnownAt(0));
  EXPECT_FALSE(KnownAt(1)) << "the first of equal old entries is taken";
  EXPECT_TRUE(KnownAt(2) && KnownAt(3) && KnownAt(4));
}

TEST_F(HashTest, EntriesStartingAtTheLastIndexStayInTheBlock) {
  // Four keys of the last index of the masked default table fill it and the three slots behind it.
  const u64 castling = CastlingKeys[thread_board.CastlingFlags];
  for (u64 high = 1; high <= 5; high++) {
    thread_board.PositionKey = (high << 40 | 0x7FFFF) ^ castling;
    StoreHash(10, u32(high), 0, HASH_EXACT, 0, 0, 0);
  }
  for (u64 high = 2; high <= 5; high++) {
    thread_board.PositionKey = (high << 40 | 0x7FFFF) ^ castling;
    EXPECT_EQ(HashMoveOfPosition(), u32(high));
  }
  thread_board.PositionKey = (u64(1) << 40 | 0x7FFFF) ^ castling;
  EXPECT_EQ(HashMoveOfPosition(), 0u) << "the fifth key takes the first of the four slots";

  // Black's start is moved by 4: this key starts at index 0, on the slot whose key the clearing set to ones.
  thread_board.SideToMove = BLACK;
  thread_board.PositionKey = (u64(9) << 40 | 4) ^ castling;
  StoreHash(10, 9, 0, HASH_EXACT, 0, 0, 0);
  EXPECT_EQ(HashMoveOfPosition(), 9u);
}

TEST_F(HashTest, SizesZeroOneAndAThousandMegabytesAndBack) {
  ResizeHash(0);
  EXPECT_EQ(Settings.TranspositionSize, 0);
  StoreHash(4, SomeMove, 10, HASH_EXACT, 0, NO_QUIET_CHECKS, 0);
  ProbeResult r = Probe(4, 0, 1);
  EXPECT_EQ(r.kind, 0);
  EXPECT_EQ(r.cutoff, 0);
  EXPECT_EQ(HashFlags, 0);
  EXPECT_EQ(ProbeHashQuiescence(4, &r.score, &r.score, &r.move, &r.cutoff, 0), 0);
  EXPECT_EQ(HashBound, -MATE_SCORE);
  EXPECT_EQ(HashMoveOfPosition(), 0u);
  EXPECT_EQ(HashFull(), 0);

  ResizeHash(1);
  EXPECT_EQ(Settings.TranspositionSize, (1 << 20) / 26);
  EXPECT_EQ(Settings.HashAge, 0);
  for (int p = 0; p < 5; p++) {
    LoadFen(Positions[p]);
    StoreHash(4, u32(p + 1), 10 * p, HASH_EXACT, 0, 0, 0);
  }
  for (int p = 0; p < 5; p++) {
    LoadFen(Positions[p]);
    EXPECT_EQ(Probe(4, -1000, 1000).score, 10 * p);
  }

  // The largest size offered, indexed by remainder like every size but the default.
  ResizeHash(1024);
  EXPECT_EQ(Settings.TranspositionSize, (i64(1024) << 20) / 26);
  for (int p = 0; p < 5; p++) {
    LoadFen(Positions[p]);
    StoreHash(4, u32(p + 1), 10 * p, HASH_EXACT, 0, 0, 0);
  }
  for (int p = 0; p < 5; p++) {
    LoadFen(Positions[p]);
    EXPECT_EQ(HashMoveOfPosition(), u32(p + 1));
  }

  ResizeHash(DEFAULT_MEGABYTES);
  EXPECT_EQ(Settings.TranspositionSize, DEFAULT_ENTRIES);
  EXPECT_FALSE(Known()) << "a resized table starts empty";
  StoreHash(4, SomeMove, 10, HASH_EXACT, 0, 0, 0);
  EXPECT_EQ(HashMoveOfPosition(), SomeMove);
}

TEST_F(HashTest, ClearEmptiesTheTableAndResetsTheAge) {
  StoreHash(4, SomeMove, 10, HASH_EXACT, 0, 0, 0);
  ClearHash();
  EXPECT_EQ(Settings.HashAge, 0);
  EXPECT_FALSE(Known());
  EXPECT_EQ(HashMoveOfPosition(), 0u);
}

class EvalCacheTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    ClearEvalCache();
    thread_eval_info = EvalInfo{};
    thread_eval_info.Cacheable = 1;
    thread_eval_info.OtherSideKnown = 1;
    thread_eval_info.ScoreSum = 40;
    thread_eval_info.MaterialScore = 300;
    thread_eval_info.ScaleTrace = 6300;
    thread_eval_info.Attacks[WHITE] = 0xFF00;
    thread_eval_info.Attacks[BLACK] = 0xFF000000000000;
  }
  void TearDown() override {
    Settings.EvalCacheSize = DEFAULT_ENTRIES;
    ClearEvalCache();
  }
  static bool Read(int side, i32 *score) {
    thread_board.SideToMove = side;
    thread_eval_info = EvalInfo{};
    return ReadEvalCache(score);
  }
};

TEST_F(EvalCacheTest, AStoreServesBothSidesWhenTheOtherScoreIsKnown) {
  StoreEvalCache(25);
  i32 score = 0;
  ASSERT_TRUE(Read(WHITE, &score));
  EXPECT_EQ(score, 25);
  EXPECT_EQ(thread_eval_info.Attacks[WHITE], 0xFF00u);
  EXPECT_EQ(thread_eval_info.Attacks[BLACK], 0xFF000000000000u);
  EXPECT_EQ(thread_eval_info.MaterialScore, 300);
  EXPECT_EQ(thread_eval_info.ScaleTrace, 6300);
  ASSERT_TRUE(Read(BLACK, &score));
  EXPECT_EQ(score, 15);
}

TEST_F(EvalCacheTest, AnUnknownOtherSideIsFilledLaterWithoutTouchingTheRest) {
  thread_eval_info.OtherSideKnown = 0;
  StoreEvalCache(25);
  i32 score = 0;
  EXPECT_FALSE(Read(BLACK, &score)) << "a hit with the unknown mark runs the evaluation";
  EXPECT_EQ(thread_eval_info.MaterialScore, 300) << "the hit still hands over the attacks and material";
  thread_eval_info.Cacheable = 1;
  thread_eval_info.MaterialScore = 1;
  thread_eval_info.Attacks[WHITE] = 1;
  StoreEvalCache(-7);
  ASSERT_TRUE(Read(BLACK, &score));
  EXPECT_EQ(score, -7);
  EXPECT_EQ(thread_eval_info.MaterialScore, 300);
  EXPECT_EQ(thread_eval_info.Attacks[WHITE], 0xFF00u);
  ASSERT_TRUE(Read(WHITE, &score));
  EXPECT_EQ(score, 25);
}

TEST_F(EvalCacheTest, UncacheableScoresAndOtherCastlingRightsMiss) {
  thread_eval_info.Cacheable = 0;
  StoreEvalCache(25);
  i32 score = 0;
  EXPECT_FALSE(Read(WHITE, &score));
  thread_eval_info = EvalInfo{};
  thread_eval_info.Cacheable = 1;
  StoreEvalCache(25);
  thread_board.CastlingFlags = 3;
  EXPECT_FALSE(Read(WHITE, &score));
  EXPECT_EQ(thread_eval_info.ScaleTrace, 0) << "a miss hands over nothing";
}

TEST_F(EvalCacheTest, OtherSizesTakeTheRemainderAndASlotGoesToTheNewest) {
  Settings.EvalCacheSize = 1;
  StoreEvalCache(25);
  LoadFen("4k3/8/8/8/8/8/8/4K3 w - - 0 1");
  i32 score = 0;
  EXPECT_FALSE(Read(WHITE, &score));
  thread_eval_info.Cacheable = 1;
  StoreEvalCache(33);
  ASSERT_TRUE(Read(WHITE, &score));
  EXPECT_EQ(score, 33);
  SetStartPosition();
  EXPECT_FALSE(Read(WHITE, &score)) << "no age: the later position took the slot";

  Settings.EvalCacheSize = 0;
  thread_eval_info.Cacheable = 1;
  StoreEvalCache(25);
  EXPECT_FALSE(Read(WHITE, &score)) << "no cache at size 0";
}

}  // namespace
