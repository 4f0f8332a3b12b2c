// The search below the horizon: stand pat, captures, mate bounds, draws, quiet checks, table cuts, the
// capture gain estimate and the lazy evaluation; and that no node leaves the stacks out of place.
#include "search/quiescence.h"

#include "eval/eval.h"
#include "search/lazy_eval.h"
#include "search/move_pick.h"
#include "search/search_limits.h"
#include "tests/unit/move_list.h"

using namespace movetest;

namespace {

constexpr int Square(const char *name) { return (name[1] - '1') * 8 + (name[0] - 'a'); }

class QuiescenceTest : public MoveTest {
 protected:
  void SetUp() override {
    MoveTest::SetUp();
    ClearHash();
    ClearEvalCache();
    Settings.Iteration = 5;
    Settings.MaterialWindowLow = -MATE_SCORE;
    Settings.MaterialWindowHigh = MATE_SCORE;
    Settings.TimeCheckCountdown = 1 << 30;
    Settings.SelDepth = 0;
    thread_board.SearchStopped = 0;
    Ply = 1;
  }

  // Loads the position as the root side would see it at Ply, with InCheck set as a parent would.
  void Load(const char *fen) {
    LoadFen(fen);
    Settings.RootSide = thread_board.SideToMove;
    PlyStack[Ply].InCheck = SideToMoveInCheck();
  }

  int Run(int alpha, int beta, int nodeType = NODE_PV) { return Quiescence(alpha, beta, 0, nodeType); }

  int StaticEval() {
    u64 attacks[2];
    return EvaluateLazily(attacks);
  }
};

TEST_F(QuiescenceTest, StandPatAtOrAboveBetaReturnsTheEvaluationWithoutSearchingCaptures) {
  Load("4k3/8/8/3q4/8/8/3R4/4K3 w - - 0 1");  // the queen hangs, but the stand pat already fails high
  const int eval = StaticEval();
  const i32 nodes = Settings.Nodes;
  EXPECT_EQ(Run(eval - 50, eval - 10), eval);
  EXPECT_EQ(Settings.Nodes - nodes, 1);
  EXPECT_EQ(PlyStack[Ply].BestMove, 0u);
}

TEST_F(QuiescenceTest, FailLowReturnsTheBestScoreNotAlpha) {
  Settings.Iteration = 0;
  Load("4k3/8/8/8/8/8/4P3/4K3 w - - 0 1");
  const int eval = StaticEval();
  EXPECT_EQ(Run(eval + 200, eval + 300), eval);
}

// The flags spare later visits a generation known to find nothing; a wrong one hides moves for good.
TEST_F(QuiescenceTest, StoredNodeFlagsTellWhatWasNotFound) {
  Settings.Iteration = 1;
  Load("4k3/8/8/8/8/8/4P3/4K3 w - - 0 1");  // no capture, no advance, no check
  Run(-MATE_SCORE, MATE_SCORE);
  const TranspositionEntry *entry = FindHashEntry();
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->Flags & NODE_FLAG_MASK, NO_QUIET_CHECKS | NO_TACTICAL_MOVES);

  ClearHash();
  Load("4k3/8/8/8/8/3p4/4P3/4K3 w - - 0 1");  // a capture, and no check
  Run(-MATE_SCORE, MATE_SCORE);
  entry = FindHashEntry();
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->Flags & NODE_FLAG_MASK, NO_QUIET_CHECKS);

  ClearHash();
  Load("4k3/8/8/8/8/8/R7/4K3 w - - 0 1");  // a quiet check only
  Run(-MATE_SCORE, MATE_SCORE);
  entry = FindHashEntry();
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->Flags & NODE_FLAG_MASK, NO_TACTICAL_MOVES);
}

TEST_F(QuiescenceTest, HangingPieceIsTakenAndDefendedOneIsNot) {
  Load("4k3/8/8/3r4/8/8/3Q4/4K3 w - - 0 1");
  const int eval = StaticEval();
  EXPECT_GT(Run(-MATE_SCORE, MATE_SCORE), eval + 400);
  EXPECT_EQ(PlyStack[Ply].BestMove, MakeMove(Square("d2"), Square("d5"), QUEEN, ROOK));

  // Queen for a pawn defended by a pawn: standing pat is better.
  SetUp();
  Settings.Iteration = 0;
  Load("4k3/8/4p3/3p4/8/8/3Q4/4K3 w - - 0 1");
  EXPECT_EQ(Run(-MATE_SCORE, MATE_SCORE), StaticEval());
  EXPECT_EQ(PlyStack[Ply].BestMove, 0u);
}

TEST_F(QuiescenceTest, KnightPromotionIsTriedWhenItChecks) {
  Settings.Iteration = 0;
  // e8=N+ forks king and queen; the rooks keep it out of the endings the evaluation answers without its maps.
  Load("8/2qpP1k1/8/r7/8/8/8/1R5K w - - 0 1");
  const int eval = StaticEval();
  EXPECT_GT(Run(-MATE_SCORE, MATE_SCORE), eval + 500);
  EXPECT_EQ(PlyStack[Ply].BestMove, MakeMove(Square("e7"), Square("e8"), PAWN, NONE, KNIGHT));
}

TEST_F(QuiescenceTest, MateDistanceBoundsComeFirst) {
  Load("4k3/8/8/3r4/8/8/3Q4/4K3 w - - 0 1");
  Ply = 5;
  PlyStack[Ply].InCheck = 0;
  // Not in check: no worse than mated two plies on.
  EXPECT_EQ(Run(-MATE_SCORE, -32695), 5 - 32698);
  // No mate can be faster than the next ply: alpha comes back untouched.
  EXPECT_EQ(Run(32694, MATE_SCORE), 32694);
  EXPECT_EQ(Settings.SelDepth, 5);
}

TEST_F(QuiescenceTest, CheckmateScoresByPlyAndFiftyMovesComesBeforeIt) {
  Ply = 3;
  Load("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1");
  ASSERT_EQ(PlyStack[Ply].InCheck, 1);
  EXPECT_EQ(Run(-MATE_SCORE, MATE_SCORE), 3 - MATE_SCORE);

  thread_board.ReversibleMoves = 100;
  EXPECT_EQ(Run(-MATE_SCORE, MATE_SCORE), 0);
}

TEST_F(QuiescenceTest, StalemateIsNotDetectedOutOfCheck) {
  // The king is stalemated away from the enemy king, where the evaluation knows no stalemate.
  Load("k7/2Q5/8/1K6/8/8/8/8 b - - 0 1");
  ASSERT_EQ(PlyStack[Ply].InCheck, 0);
  const int eval = StaticEval();
  EXPECT_LT(eval, 0);
  EXPECT_EQ(Run(-MATE_SCORE, MATE_SCORE), eval);
}

TEST_F(QuiescenceTest, QuietChecksOnlyAfterTheFirstIterationAndWithinTheLongestPly) {
  const char *backRank = "6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1";
  Settings.Iteration = 0;
  Load(backRank);
  EXPECT_LT(Run(-MATE_SCORE, MATE_SCORE), 2000) << "no quiet check in iteration 0";

  ClearHash();
  Settings.Iteration = 1;
  Load(backRank);
  EXPECT_EQ(Run(-MATE_SCORE, MATE_SCORE), MATE_SCORE - (Ply + 1));
  EXPECT_EQ(PlyStack[Ply].BestMove, MakeMove(Square("a1"), Square("a8"), ROOK, NONE));

  // Beyond the longest ply the same node runs at depth -16: no quiet checks.
  ClearHash();
  Ply = LongestPly() + 1;
  Load(backRank);
  EXPECT_LT(Run(-MATE_SCORE, MATE_SCORE), 2000);
}

TEST_F(QuiescenceTest, StoredExactScoreCutsAtPvNodeButBoundOnlyElsewhere) {
  const char *hanging = "4k3/8/8/3r4/8/8/3Q4/4K3 w - - 0 1";
  Load(hanging);
  StoreHash(0, 0, 123, HASH_EXACT, 0, 0, 0);
  i32 nodes = Settings.Nodes;
  EXPECT_EQ(Run(-1000, 1000), 123);
  EXPECT_EQ(Settings.Nodes - nodes, 1);

  ClearHash();
  Load(hanging);
  // Beta just above the stand pat, so that only the bound could end the node before the capture.
  const int beta = StaticEval() + 20;
  StoreHash(0, 0, beta + 80, HASH_LOWER, 0, 0, 0);
  nodes = Settings.Nodes;
  Run(-1000, beta, NODE_PV);
  EXPECT_GT(Settings.Nodes - nodes, 1) << "a lower bound must not cut at a PV node";
  nodes = Settings.Nodes;
  EXPECT_GE(Run(-1000, beta, NODE_CUT), beta);
  EXPECT_EQ(Settings.Nodes - nodes, 1);
}

TEST_F(QuiescenceTest, CaptureGainFollowsTheMaterialTaken) {
  Load("3qk3/8/8/3r4/4p3/3P4/3R4/3QK3 w - - 0 1");
  const int pawn = CaptureGainEstimate(MakeMove(Square("d3"), Square("e4"), PAWN, PAWN));
  const int rook = CaptureGainEstimate(MakeMove(Square("d2"), Square("d5"), ROOK, ROOK));
  EXPECT_GT(pawn, 50);
  EXPECT_LT(pawn, 250);
  EXPECT_GT(rook, 400);
  EXPECT_LT(rook, 700);

  Load("4k3/1P6/8/8/8/8/8/4K3 w - - 0 1");
  EXPECT_GT(CaptureGainEstimate(MakeMove(Square("b7"), Square("b8"), PAWN, NONE, QUEEN)), 900);
}

// Side and sign errors show up as a difference between a position and its mirror image.
TEST_F(QuiescenceTest, CaptureGainIsTheSameForTheMirroredPosition) {
  int compared = 0;
  for (const SamplePosition &position : WalkSample()) {
    Reach(position);
    const std::string fen = CurrentFen();
    const MoveList captures =
        Filter(EnginePseudoMoves(), [](u32 m) { return IsCaptureOrPromotion(m) || IsEnPassant(m); });
    std::vector<int> gains;
    for (u32 move : captures) gains.push_back(CaptureGainEstimate(move));
    LoadFen(MirrorFen(fen).c_str());
    for (size_t i = 0; i < captures.size(); i++, compared++)
      ASSERT_EQ(CaptureGainEstimate(MirrorMove(captures[i])), gains[i]) << fen << " " << MoveName(captures[i]);
  }
  EXPECT_GT(compared, 100);
}

// Long capture sequences and checks: every node must give back Ply, the move stack and the board.
TEST_F(QuiescenceTest, NodesLeaveTheStacksAsTheyFoundThem) {
  Settings.Iteration = 30;
  std::vector<SamplePosition> positions = WalkSample();
  for (const SamplePosition &position : CheckSample()) positions.push_back(position);
  for (const char *fen : {"r3k2r/1b4bq/8/8/8/8/7B/R3K2R w KQkq - 0 1",
                          "2r1r1k1/pb1q1ppp/1p1b1n2/3pN3/2pP1B2/2P1P1Q1/PPB2PPP/R3R1K1 w - - 0 1",
                          "q3k2q/8/8/3QQ3/3qq3/8/8/Q3K2Q w - - 0 1"})
    positions.push_back({fen, {}});
  int deepest = 0;
  for (const SamplePosition &position : positions) {
    Reach(position);
    Ply = 1;
    PlyStack[Ply].InCheck = SideToMoveInCheck();
    Settings.RootSide = thread_board.SideToMove;
    MoveStackTop = 7;
    const int history = GameHistoryCount;
    const u64 key = thread_board.PositionKey;
    Settings.SelDepth = 0;
    const int v = Run(-MATE_SCORE, MATE_SCORE);
    ASSERT_EQ(Ply, 1) << Describe(position);
    ASSERT_EQ(MoveStackTop, 7) << Describe(position);
    ASSERT_EQ(GameHistoryCount, history) << Describe(position);
    ASSERT_EQ(thread_board.PositionKey, key) << Describe(position);
    ASSERT_LT(Settings.SelDepth, PLY_STACK_SIZE) << Describe(position);
    deepest = std::max(deepest, int(Settings.SelDepth));
    ASSERT_GT(v, -MATE_SCORE) << Describe(position);
    ASSERT_LT(v, MATE_SCORE) << Describe(position);
  }
  EXPECT_GE(deepest, 16) << "the sample should reach lines of checks well below the root";
}

TEST_F(QuiescenceTest, LazyEvaluationByTheRootWindowAndItsSide) {
  Settings.MaterialWindowLow = -1000;
  Settings.MaterialWindowHigh = 100;
  // White a queen up, with pieces enough to win; Black's pawn one step from promotion takes 100 off.
  LoadFen("r3k3/8/8/8/8/8/1p6/Q2RK3 w - - 0 1");
  Settings.RootSide = WHITE;
  u64 attacks[2] = {1, 1};
  EXPECT_EQ(EvaluateLazily(attacks), 800 - 100);
  EXPECT_EQ(attacks[WHITE] | attacks[BLACK], 0u);
  i32 balance;
  EXPECT_TRUE(MaterialIsDecisive(&balance));

  // Seen from the other root side, White's window is [-100, 1000]: 800 needs a full evaluation.
  Settings.RootSide = BLACK;
  EXPECT_FALSE(MaterialIsDecisive(&balance));
  EvaluateLazily(attacks);
  EXPECT_NE(attacks[WHITE] | attacks[BLACK], 0u);

  // Below the window but the opponent is too weak to count: no lazy result.
  Settings.RootSide = WHITE;
  Settings.MaterialWindowLow = -100;
  LoadFen("4k3/8/8/8/8/8/8/Q3K3 b - - 0 1");
  EXPECT_FALSE(MaterialIsDecisive(&balance));
}

TEST_F(QuiescenceTest, EvaluationShrinksWithTheFiftyMoveCount) {
  LoadFen("4k3/pp6/8/8/8/8/PP6/2R1K3 w - - 0 1");
  const int fresh = StaticEval();
  thread_board.ReversibleMoves = 58;
  EXPECT_EQ(StaticEval(), (156 * fresh) >> 8);
  thread_board.ReversibleMoves = 8;
  EXPECT_EQ(StaticEval(), fresh);
}

TEST(MovePick, HighestScoreComesFirstAndTiesKeepTheirOrder) {
  MoveStackTop = 0;
  for (int score : {5, 9, 3, 9, 7}) {
    MoveStack[MoveStackTop] = MoveEntry{u32(score * 100 + MoveStackTop), score, 0};
    MoveStackTop++;
  }
  std::vector<u32> order;
  for (int i = 0; i < MoveStackTop; i++) {
    PickBestMove(i);
    order.push_back(MoveStack[i].Move);
  }
  EXPECT_EQ(order, (std::vector<u32>{901, 903, 704, 500, 302}));
  MoveStackTop = 0;
}

}  // namespace
