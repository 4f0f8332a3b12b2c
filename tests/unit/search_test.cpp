// The main node function: mates by distance, stalemate, repetition and sides that cannot win, the quick
// mate-distance exits, static pruning, limited lists that are no stalemate, won queens, stacks and position
// restored after a search and after a stop, and the same tree twice from cleared tables.
#include "search/no_legal_move.h"
#include "search/search.h"

#include <cstring>

#include "eval/material.h"
#include "search/depth_change.h"
#include "search/lazy_eval.h"
#include "search/quiescence.h"
#include "search/statistics.h"
#include "tests/unit/move_list.h"
#include "tools/bench.h"

using namespace movetest;

namespace {

constexpr int Square(const char *name) { return (name[1] - '1') * 8 + (name[0] - 'a'); }

// Fewest moves of the side to move that force mate, up to `limit`; 0 if none. Built on the reference
// generator so that it shares nothing with the search.
bool ForcesMate(int moves);
bool AllRepliesLose(int moves) {
  const MoveList replies = ReferenceLegalMoves();
  if (replies.empty()) return SideToMoveInCheck();
  if (moves == 0) return false;
  for (u32 reply : replies) {
    make_move(reply, 1);
    const bool mated = ForcesMate(moves);
    unmake_move();
    if (!mated) return false;
  }
  return true;
}
bool ForcesMate(int moves) {
  for (u32 move : ReferenceLegalMoves()) {
    make_move(move, 1);
    const bool mates = AllRepliesLose(moves - 1);
    unmake_move();
    if (mates) return true;
  }
  return false;
}
int MateDistance(int limit) {
  for (int n = 1; n <= limit; n++)
    if (ForcesMate(n)) return n;
  return 0;
}

class SearchTest : public MoveTest {
 protected:
  void SetUp() override {
    MoveTest::SetUp();
    ClearTables();
    Settings.Iteration = 6;
    Settings.MaterialWindowLow = -MATE_SCORE;
    Settings.MaterialWindowHigh = MATE_SCORE;
    Settings.TimeCheckCountdown = 1 << 30;
    Settings.NodeLimit = 0;
    Settings.SelDepth = 0;
    thread_board.SearchStopped = 0;
    SingularActive = 0;
    Ply = 1;
  }
  void TearDown() override {
    thread_board.SearchStopped = 0;
    MoveTest::TearDown();
  }

  static void ClearTables() {
    ClearHash();
    ClearEvalCache();
    ClearPawnHash();
    ClearOrderingStatistics();
    std::memset(PlyStack, 0, sizeof PlyStack);
  }

  // The position as a root child at Ply sees it, with InCheck set as a parent would.
  void Load(const char *fen) {
    LoadFen(fen);
    Settings.RootSide = thread_board.SideToMove;
    PlyStack[Ply].InCheck = SideToMoveInCheck();
  }

  int Run(int plies, int alpha = -MATE_SCORE, int beta = MATE_SCORE, int nodeType = NODE_PV) {
    return Search(alpha, beta, 4 * plies, 1, nodeType);
  }
  u32 Best() const { return PlyStack[Ply].BestMove; }
};

// Mate in n moves from Ply is delivered at Ply + 2n - 1: the score counts the plies to it.
int MateScore(int moves) { return MATE_SCORE - Ply - (2 * moves - 1); }

TEST_F(SearchTest, MatesAreFoundWithTheirDistanceAndNeverCalledFaster) {
  struct Case {
    const char *fen;
    int moves, plies;  // the depth at which deepening finds the shortest mate
    u32 first;         // 0 when several first moves mate as fast
  };
  const Case cases[] = {
      {"6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1", 1, 2, MakeMove(Square("a1"), Square("a8"), ROOK, NONE)},
      {"k7/8/2K5/8/8/8/8/7R w - - 0 1", 2, 4, 0},
      {"8/8/8/8/8/k7/8/KR5R w - - 0 1", 2, 4, 0},
      {"8/8/7k/8/8/8/R7/1R4K1 w - - 0 1", 3, 7, 0},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.fen);
    SetUp();
    Load(c.fen);
    ASSERT_EQ(MateDistance(c.moves), c.moves);
    // Shallower or deeper, pruning may miss a mate, but no search may claim one sooner than it exists.
    for (int plies = 1; plies <= c.plies; plies++) {
      SetUp();
      Load(c.fen);
      EXPECT_LE(Run(plies), MateScore(c.moves)) << plies;
    }
    // Deepening as the root does, each depth ordered by the table entries of the one before, finds it exactly.
    SetUp();
    Load(c.fen);
    for (int plies = 1; plies < c.plies; plies++) Run(plies);
    EXPECT_EQ(Run(c.plies), MateScore(c.moves));
    if (c.first) {
      EXPECT_EQ(Best(), c.first);
    }
  }
}

TEST_F(SearchTest, MatedAndStalemated) {
  Load("k7/1Q6/1K6/8/8/8/8/8 b - - 0 1");
  EXPECT_EQ(Run(2), Ply - MATE_SCORE);
  EXPECT_EQ(Best(), 0u);

  SetUp();
  Load("k7/8/1Q6/8/8/8/8/7K b - - 0 1");
  EXPECT_EQ(Run(2), 0);
  // A null window away from zero: the stalemate still scores 0 on the right side of it.
  EXPECT_LE(Run(2, 10, 11, NODE_CUT), 10);
  EXPECT_GE(Run(2, -11, -10, NODE_CUT), -10);

  // Giving stalemate is not winning: the queen must not take the last free square.
  SetUp();
  Load("k7/2Q5/8/1K6/8/8/8/8 w - - 0 1");
  const int v = Run(4);
  EXPECT_GT(v, 0);
  EXPECT_NE(Best(), MakeMove(Square("c7"), Square("b7"), QUEEN, NONE));
}

TEST_F(SearchTest, RepetitionScoresZeroAtOnceAndOnlyWhileRepeated) {
  Load("r3k3/8/8/8/8/8/8/4K2Q w - - 0 1");  // the queen wins the rook, but the position has been here
  const u32 moves[] = {
      MakeMove(Square("e1"), Square("f1"), KING, NONE), MakeMove(Square("e8"), Square("f8"), KING, NONE),
      MakeMove(Square("f1"), Square("e1"), KING, NONE), MakeMove(Square("f8"), Square("e8"), KING, NONE)};
  for (u32 move : moves) make_move(move, 1);
  PlyStack[Ply].InCheck = 0;
  i32 nodes = Settings.Nodes;
  EXPECT_EQ(Run(3), 0);
  EXPECT_EQ(Settings.Nodes - nodes, 1);
  for (int i = 0; i < 4; i++) unmake_move();
  EXPECT_GT(Run(3), 300);
}

// The material table's flags decide; they are set here by hand so that only the search's use of them is tested.
TEST_F(SearchTest, SidesThatCannotWinScoreZeroOffThePrincipalVariation) {
  Load("k7/8/2K5/8/8/8/8/3N4 w - - 0 1");
  MaterialEntry &entry = MaterialTable[thread_board.MaterialIndex];
  const MaterialEntry saved = entry;
  entry.MaterialFlags[WHITE] = entry.MaterialFlags[BLACK] = CANNOT_WIN;
  i32 nodes = Settings.Nodes;
  EXPECT_EQ(Run(4, -50, 50, NODE_CUT), 0);
  EXPECT_EQ(Settings.Nodes - nodes, 1);
  // A PV node searches on.
  nodes = Settings.Nodes;
  Run(4, -50, 50, NODE_PV);
  EXPECT_GT(Settings.Nodes - nodes, 1);

  // Only the side to move cannot win: 0 once alpha asks for a win, unless the enemy king is boxed in a corner.
  entry.MaterialFlags[BLACK] = 0;
  nodes = Settings.Nodes;
  EXPECT_EQ(Run(4, 10, 60, NODE_CUT), 0);
  EXPECT_EQ(Settings.Nodes - nodes, 1);
  ClearTables();  // the first searches left a bound that would answer at once
  nodes = Settings.Nodes;
  Run(4, -60, -10, NODE_CUT);
  EXPECT_GT(Settings.Nodes - nodes, 1);
  entry = saved;

  Load("k7/p1K5/8/8/8/8/8/3N4 w - - 0 1");  // a7 is black's own pawn, b7 and b8 are the white king's
  MaterialEntry &boxed = MaterialTable[thread_board.MaterialIndex];
  const MaterialEntry savedBoxed = boxed;
  boxed.MaterialFlags[WHITE] = CANNOT_WIN;
  boxed.MaterialFlags[BLACK] = 0;
  ClearTables();
  nodes = Settings.Nodes;
  Run(4, 10, 60, NODE_CUT);
  EXPECT_GT(Settings.Nodes - nodes, 1);
  boxed = savedBoxed;
}

TEST_F(SearchTest, MateDistanceExitsComeBeforeAnyMove) {
  Load("6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1");
  Ply = 3;
  PlyStack[Ply].InCheck = 0;
  const i32 nodes = Settings.Nodes;
  // No mate can come sooner than the next ply.
  EXPECT_EQ(Run(4, MATE_SCORE - 1 - Ply, MATE_SCORE), MATE_SCORE - 1 - Ply);
  // Not in check: nothing worse than being mated two plies on.
  EXPECT_EQ(Run(4, -MATE_SCORE, Ply - MATE_SCORE + 1), Ply - MATE_SCORE + 2);
  EXPECT_EQ(Settings.Nodes - nodes, 2);
  EXPECT_EQ(Best(), 0u);
}

TEST_F(SearchTest, HangingQueenIsTaken) {
  Load("4k3/8/8/3q4/8/8/3R4/4K3 w - - 0 1");
  EXPECT_GT(Run(3), 400);
  EXPECT_EQ(Best(), MakeMove(Square("d2"), Square("d5"), ROOK, QUEEN));

  // The same for Black: the knight takes and keeps knight and pawn, a won ending.
  SetUp();
  Load("4k3/7p/2n5/8/3Q4/8/8/K7 b - - 0 1");
  EXPECT_GT(Run(3), 250);
  EXPECT_EQ(Best(), MakeMove(Square("c6"), Square("d4"), KNIGHT, QUEEN));
}

// Far above beta a shallow non-PV node stands pat on its evaluation, unless the move into it made a threat.
TEST_F(SearchTest, StaticPruningBelowThreePliesOffThePrincipalVariation) {
  Load("4k3/pppp4/8/8/8/8/3QQ3/4K3 w - - 0 1");
  u64 attacks[2];
  const int staticEval = EvaluateLazily(attacks);
  const int beta = staticEval - 200;
  i32 nodes = Settings.Nodes;
  EXPECT_EQ(Run(1, beta - 1, beta, NODE_CUT), beta);
  EXPECT_EQ(Settings.Nodes - nodes, 1);
  // A PV node and a node behind a threat search their moves.
  ClearTables();
  nodes = Settings.Nodes;
  Run(1, beta - 1, beta, NODE_PV);
  EXPECT_GT(Settings.Nodes - nodes, 1);
  ClearTables();
  PlyStack[Ply - 1].MoveFlags = MF_THREAT;
  nodes = Settings.Nodes;
  Run(1, beta - 1, beta, NODE_CUT);
  EXPECT_GT(Settings.Nodes - nodes, 1);
  PlyStack[Ply - 1].MoveFlags = 0;
  // Three plies are never pruned this way, however high the evaluation.
  ClearTables();
  nodes = Settings.Nodes;
  Run(3, beta - 1, beta, NODE_CUT);
  EXPECT_GT(Settings.Nodes - nodes, 1);
}

// Passing still leaves the opponent below beta: the node returns beta itself and stores it as a lower bound.
TEST_F(SearchTest, NullMoveFailHighReturnsBetaWithoutAMove) {
  Load("4k3/pppp4/8/8/8/8/3QQ3/4K3 w - - 0 1");
  u64 attacks[2];
  const int beta = EvaluateLazily(attacks) - 200;
  EXPECT_EQ(Run(3, beta - 1, beta, NODE_CUT), beta);
  EXPECT_EQ(Best(), 0u);  // the null move refuted nothing
  const TranspositionEntry *entry = FindHashEntry();
  ASSERT_NE(entry, nullptr);
  ASSERT_TRUE(entry->Flags & LOWER_VALID);
  EXPECT_EQ(entry->LowerScore, beta);
  // No null move at a PV node: a real move fails high.
  ClearTables();
  EXPECT_GE(Run(3, beta - 1, beta, NODE_PV), beta);
  EXPECT_NE(Best(), 0u);
}

// The last plies of the stack are never searched into: the node answers with the static evaluation.
TEST_F(SearchTest, NodeAtTheEndOfThePlyStackReturnsTheEvaluation) {
  Load("4k3/8/8/3q4/8/8/3R4/4K3 w - - 0 1");
  u64 attacks[2];
  const int eval = EvaluateLazily(attacks);
  Ply = PLY_STACK_SIZE - 2;
  const i32 nodes = Settings.Nodes;
  EXPECT_EQ(Run(4), eval);
  EXPECT_EQ(Settings.Nodes, nodes);
  EXPECT_EQ(MoveStackTop, 0);
}

TEST_F(SearchTest, QuiescenceAtTheEndOfEitherStackReturnsTheEvaluation) {
  Load("4k3/8/8/3q4/8/8/3R4/4K3 w - - 0 1");
  u64 attacks[2];
  const int eval = EvaluateLazily(attacks);
  Ply = PLY_STACK_SIZE - 2;
  EXPECT_EQ(Quiescence(-MATE_SCORE, MATE_SCORE, 0, NODE_PV), eval);
  Ply = 1;
  MoveStackTop = 14000;
  EXPECT_EQ(Quiescence(-MATE_SCORE, MATE_SCORE, 0, NODE_PV), eval);
  EXPECT_EQ(MoveStackTop, 14000);
  MoveStackTop = 0;
}

// Long checking sequences, floods of promotions and captures, and the widest move list: deep iterations
// stay inside PlyStack and MoveStack (the sanitizer build watches every write) and leave them as found.
TEST_F(SearchTest, CheckingLinesAndCaptureFloodsStayInsideTheStacks) {
  const char *const positions[] = {
      "R6R/3Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBNN1KB1 w - - 0 1",  // 218 moves
      "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1",                // promotions on both wings
      "Q6k/8/8/8/8/8/8/q6K w - - 0 1",                          // checks for either side on every move
      "1q4k1/5ppp/8/8/8/8/5PPP/1Q4K1 w - - 0 1",                // back ranks open to checks
      "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
  };
  const SettingsRecord saved = QuietFixedDepthSettings();
  for (const char *fen : positions) {
    SCOPED_TRACE(fen);
    Settings.NodeLimit = 200000;
    SearchFromClearedTables(fen, 40);
    EXPECT_LT(Settings.SelDepth, PLY_STACK_SIZE - 1);
    EXPECT_EQ(CurrentFen(), fen);
    EXPECT_EQ(GameHistoryCount, 0);
  }
  Settings = saved;
}

// With quiet moves futile only checks are generated; an empty list then is no stalemate.
TEST_F(SearchTest, EmptyListOfALimitedNodeIsNoStalemate) {
  Load("k7/8/8/8/8/6q1/8/N6K w - - 0 1");  // the knight can move, but gives no check and takes nothing
  // The window asks for no win, so that a flag that the knight cannot win stays out of it.
  EXPECT_EQ(Run(1, -500, -499, NODE_CUT), -500);
  // The true stalemate with the same window.
  Load("k7/8/8/8/8/6q1/8/7K w - - 0 1");
  EXPECT_EQ(Run(1, -500, -499, NODE_CUT), 0);
}

struct Snapshot {
  i32 ply, top, history, side, reversible;
  u64 key, fullKey, occupied, pawnKey;
};
Snapshot Take() {
  const BoardRecord &b = thread_board;
  return Snapshot{Ply,           MoveStackTop, GameHistoryCount, b.SideToMove, b.ReversibleMoves,
                  b.PositionKey, FullKey(),    b.Occupied,       b.PawnKey};
}

void ExpectRestored(const Snapshot &a) {
  const Snapshot b = Take();
  EXPECT_EQ(b.ply, a.ply);
  EXPECT_EQ(b.top, a.top);
  EXPECT_EQ(b.history, a.history);
  EXPECT_EQ(b.side, a.side);
  EXPECT_EQ(b.reversible, a.reversible);
  EXPECT_EQ(b.key, a.key);
  EXPECT_EQ(b.fullKey, a.fullKey);
  EXPECT_EQ(b.occupied, a.occupied);
  EXPECT_EQ(b.pawnKey, a.pawnKey);
}

const char *const MIDDLEGAMES[] = {
    "r1bqkb1r/pppp1ppp/2n2n2/4p3/2B1P3/5N2/PPPP1PPP/RNBQK2R w KQkq - 4 4",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "r2q1rk1/pP1p2pp/Q4n2/bbp1p3/Np6/1B3NBn/pPPP1PPP/R3K2R b KQ - 0 1",
};

TEST_F(SearchTest, StacksAndPositionComeBackAfterSearchAndAfterAStop) {
  for (const char *fen : MIDDLEGAMES) {
    SCOPED_TRACE(fen);
    SetUp();
    Load(fen);
    MoveStackTop = 40;  // a parent's list lies below
    const Snapshot before = Take();
    Run(4);
    ExpectRestored(before);
    EXPECT_EQ(thread_board.SearchStopped, 0);
    // Non-PV windows reach the null move, reductions and the probes.
    Run(5, -30, -29, NODE_CUT);
    ExpectRestored(before);
    Run(5, 20, 21, NODE_ALL);
    ExpectRestored(before);

    // A stop from the node limit unwinds every level; the root puts the move stack back itself.
    ClearTables();
    Settings.Nodes = 0;
    Settings.NodeLimit = 200;
    Settings.TimeCheckCountdown = 250;
    Settings.TimeCheckInterval = 10;
    EXPECT_EQ(Run(6), 0);
    EXPECT_EQ(thread_board.SearchStopped, 1);
    MoveStackTop = before.top;
    ExpectRestored(before);
    thread_board.SearchStopped = 0;
    Settings.NodeLimit = 0;
    Settings.TimeCheckCountdown = 1 << 30;
  }
}

TEST_F(SearchTest, SameTreeTwiceFromClearedTables) {
  for (const char *fen : MIDDLEGAMES) {
    SCOPED_TRACE(fen);
    i32 nodes[2], scores[2];
    u32 best[2];
    for (int run = 0; run < 2; run++) {
      SetUp();
      Load(fen);
      Settings.Nodes = 0;
      scores[run] = Run(4);
      nodes[run] = Settings.Nodes;
      best[run] = Best();
    }
    EXPECT_EQ(nodes[0], nodes[1]);
    EXPECT_EQ(scores[0], scores[1]);
    EXPECT_EQ(best[0], best[1]);
    EXPECT_NE(best[0], 0u);
  }
}

TEST_F(SearchTest, NoLegalMoveOnlyWhenNothingCanMoveAndTheStackStays) {
  Load("k7/8/1Q6/8/8/8/8/7K b - - 0 1");
  MoveStackTop = 7;
  EXPECT_EQ(HasNoLegalMove(), 1);
  EXPECT_EQ(MoveStackTop, 7);
  Load("k7/8/1Q6/8/8/8/p7/7K b - - 0 1");
  EXPECT_EQ(HasNoLegalMove(), 0);
  Load("k7/8/1Q6/8/8/8/p7/7K w - - 0 1");
  EXPECT_EQ(HasNoLegalMove(), 0);
  EXPECT_EQ(MoveStackTop, 7);
}

}  // namespace
