// Staged move selection, and what the cutoff statistics learn and the next visit reads back.
#include "search/ordering.h"

#include <array>

#include "board/move_scoring.h"
#include "shell/settings.h"
#include "tests/unit/move_list.h"

using namespace movetest;

namespace {

struct Batch {
  int stage;
  MoveList moves;
  std::vector<MoveEntry> entries;
};

struct StageInputs {
  int quietsFutile = 0, nearAlpha = 1, skipBadCaptures = 0, shallow = 0;
  int flags = 0;
};

// Calls NextStage as the move loop does, from `stage` until it says 0, and keeps every batch.
std::vector<Batch> WalkStages(StageInputs &in, int stage = STAGE_START) {
  std::vector<Batch> batches;
  const int start = MoveStackTop;
  for (int calls = 0; calls < 20; calls++) {
    const int top = MoveStackTop;
    stage = NextStage(stage, in.quietsFutile, in.nearAlpha, &in.flags, in.skipBadCaptures, in.shallow);
    std::vector<MoveEntry> entries(MoveStack + top, MoveStack + MoveStackTop);
    batches.push_back({stage, MovesOf(entries), entries});
    if (stage == STAGE_DONE) break;
  }
  MoveStackTop = start;
  return batches;
}

std::vector<Batch> WalkStages() {
  StageInputs in;
  return WalkStages(in);
}

std::vector<int> StagesOf(const std::vector<Batch> &batches) {
  std::vector<int> stages;
  for (const Batch &batch : batches) stages.push_back(batch.stage);
  return stages;
}

const Batch *FindBatch(const std::vector<Batch> &batches, int stage) {
  for (const Batch &batch : batches)
    if (batch.stage == stage) return &batch;
  return nullptr;
}

MoveList TriedMovesHere() {
  const PlyRecord &record = PlyStack[Ply];
  return MoveList(record.TriedMoves, record.TriedMoves + record.TriedCount);
}

// The board stays as it is: only the move words of the history count for the statistics.
void PushHistoryMove(u32 move) { GameHistory[GameHistoryCount++].Move = move; }

u32 &ThreatSlot(int slot, u32 threat, int side) {
  return ThreatReplies[slot][MoveTo(threat)][CompactIndex[MovedPiece(threat)]][CompactIndex[CapturedPiece(threat)]]
                      [side];
}
u32 &CounterSlot(int slot, u32 last, int side) {
  return CounterMoves[slot][MoveTo(last)][CompactIndex[MovedPiece(last)]][side];
}
u32 &FollowUpSlot(int slot, u32 before, int side) {
  return FollowUpTable[slot][MoveTo(before)][CompactIndex[MovedPiece(before)]][side];
}

void ResetSearchStack() {
  for (PlyRecord &record : PlyStack) {
    record.InCheck = 0;
    record.ThreatMove = 0;
    record.TriedCount = 0;
    record.MoveFlags = 0;
    record.FollowUpMove = 0;
    record.DepthChange = 0;
  }
}

// Each colour of a ForBothColours run starts from empty tables at Ply 1.
void StartFresh() {
  ClearOrderingStatistics();
  ClearKillers();
  ResetSearchStack();
  Ply = 1;
}

class OrderingTest : public MoveTest {
 protected:
  void SetUp() override {
    MoveTest::SetUp();
    StartFresh();
    savedIteration = Settings.Iteration;
    Settings.Iteration = 0;
  }
  void TearDown() override {
    StartFresh();
    Settings.Iteration = savedIteration;
    MoveTest::TearDown();
  }
  int savedIteration = 0;
};

// White: Ke1 Ra1 Rh1 Nc3 Pa2 Ph2; black: Ke8 Bb4 Pd5; black's last move was Bf8-b4, pinning the knight.
constexpr const char *kTablesFen = "4k3/8/8/3p4/1b6/2N5/P6P/R3K2R w KQ - 0 1";

}  // namespace

// ---------------------------------------------------------------------------------------------
// The order of the stages and the single moves from the tables

TEST_F(OrderingTest, StagesServeCapturesThenEachTableMoveAloneThenQuiets) {
  ForBothColours(kTablesFen, [](auto sq) {
    StartFresh();
    const int us = thread_board.SideToMove;
    const u32 last = MakeMove(sq("f8"), sq("b4"), BISHOP, NONE);
    PushHistoryMove(last);
    const u32 threat = MakeMove(sq("b4"), sq("c3"), BISHOP, KNIGHT);
    const u32 reply1 = MakeMove(sq("a2"), sq("a3"), PAWN, NONE), reply2 = MakeMove(sq("c3"), sq("e2"), KNIGHT, NONE);
    const u32 killer = MakeMove(sq("a1"), sq("b1"), ROOK, NONE);
    const u32 counter1 = MakeMove(sq("h2"), sq("h4"), PAWN, NONE), counter2 = MakeMove(sq("h1"), sq("g1"), ROOK, NONE);
    PlyStack[Ply].ThreatMove = threat;
    ThreatSlot(0, threat, us) = reply1;
    ThreatSlot(1, threat, us) = reply2;
    PlyStack[Ply].Killers1[us] = killer;
    CounterSlot(0, last, us) = counter1;
    CounterSlot(1, last, us) = counter2;

    const auto batches = WalkStages();
    ASSERT_EQ(StagesOf(batches), (std::vector<int>{11, 10, 9, 8, 7, 6, 2, 0}));
    EXPECT_EQ(batches[0].moves, MoveList{MakeMove(sq("c3"), sq("d5"), KNIGHT, PAWN)});
    const MoveList singles[] = {{reply1}, {reply2}, {killer}, {counter1}, {counter2}};
    for (int i = 0; i < 5; i++) {
      EXPECT_EQ(batches[i + 1].moves, singles[i]) << "stage " << batches[i + 1].stage;
      EXPECT_EQ(batches[i + 1].entries[0].Score, 0);
      EXPECT_EQ(batches[i + 1].entries[0].Safety, UNKNOWN_SAFETY);
    }
    // The quiet generator repeats them; TriedMoves is what lets the loop skip them there.
    EXPECT_EQ(TriedMovesHere(), (MoveList{reply1, reply2, killer, counter1, counter2}));
    for (u32 move : TriedMovesHere()) EXPECT_TRUE(Contains(batches[6].moves, move)) << MoveName(move);
    EXPECT_TRUE(batches.back().moves.empty());
  });
}

TEST_F(OrderingTest, AMoveStoredInSeveralTablesIsServedOnce) {
  ForBothColours(kTablesFen, [](auto sq) {
    StartFresh();
    const int us = thread_board.SideToMove;
    const u32 last = MakeMove(sq("f8"), sq("b4"), BISHOP, NONE);
    PushHistoryMove(last);
    const u32 threat = MakeMove(sq("b4"), sq("c3"), BISHOP, KNIGHT);
    const u32 shared = MakeMove(sq("a2"), sq("a3"), PAWN, NONE), other = MakeMove(sq("c3"), sq("e2"), KNIGHT, NONE);
    const u32 lastOne = MakeMove(sq("h1"), sq("g1"), ROOK, NONE);
    PlyStack[Ply].ThreatMove = threat;
    ThreatSlot(0, threat, us) = shared;
    ThreatSlot(1, threat, us) = other;
    PlyStack[Ply].Killers1[us] = shared;
    CounterSlot(0, last, us) = other;
    CounterSlot(1, last, us) = lastOne;

    const auto batches = WalkStages();
    EXPECT_EQ(StagesOf(batches), (std::vector<int>{11, 10, 9, 6, 2, 0}));
    EXPECT_EQ(TriedMovesHere(), (MoveList{shared, other, lastOne}));
  });
}

TEST_F(OrderingTest, StoredMovesThatCannotBePlayedHereLeaveNoTrace) {
  // Only the king side castling right is left.
  ForBothColours("4k3/8/8/3p4/1b6/2N5/P6P/R3K2R w K - 0 1", [](auto sq) {
    StartFresh();
    const int us = thread_board.SideToMove;
    const u32 last = MakeMove(sq("f8"), sq("b4"), BISHOP, NONE);
    PushHistoryMove(last);
    const u32 threat = MakeMove(sq("b4"), sq("c3"), BISHOP, KNIGHT);
    PlyStack[Ply].ThreatMove = threat;
    ThreatSlot(0, threat, us) = MakeMove(sq("b1"), sq("c3"), KNIGHT, NONE);  // no knight on b1
    ThreatSlot(1, threat, us) = MakeMove(sq("a1"), sq("a3"), ROOK, NONE);    // the a-pawn is in the way
    PlyStack[Ply].Killers1[us] = MakeMove(sq("e1"), sq("c1"), KING, NONE);   // castling right gone
    CounterSlot(0, last, us) = MakeMove(sq("c3"), sq("d5"), KNIGHT, NONE);   // d5 is not empty
    const u32 playable = MakeMove(sq("h2"), sq("h4"), PAWN, NONE);
    CounterSlot(1, last, us) = playable;

    const auto batches = WalkStages();
    EXPECT_EQ(StagesOf(batches), (std::vector<int>{11, 6, 2, 0}));
    EXPECT_EQ(TriedMovesHere(), MoveList{playable});
  });
}

TEST_F(OrderingTest, CounterMovesFollowTheLastMoveAndAreNotAskedAtTheRoot) {
  ForBothColours(kTablesFen, [](auto sq) {
    StartFresh();
    const int us = thread_board.SideToMove;
    const u32 last = MakeMove(sq("f8"), sq("b4"), BISHOP, NONE);
    PushHistoryMove(last);
    const u32 answer = MakeMove(sq("h2"), sq("h4"), PAWN, NONE);
    CounterSlot(0, last, us) = answer;
    // Same square reached by another piece, and the same piece on another square: other keys.
    CounterSlot(0, MakeMove(sq("f8"), sq("b4"), KNIGHT, NONE), us) = MakeMove(sq("h1"), sq("g1"), ROOK, NONE);
    CounterSlot(0, MakeMove(sq("f8"), sq("c5"), BISHOP, NONE), us) = MakeMove(sq("a1"), sq("b1"), ROOK, NONE);
    // A counter move stored for the other side is not ours.
    CounterSlot(1, last, ChangeSide(us)) = MakeMove(sq("a1"), sq("d1"), ROOK, NONE);

    auto batches = WalkStages();
    EXPECT_EQ(StagesOf(batches), (std::vector<int>{11, 7, 2, 0}));
    EXPECT_EQ(TriedMovesHere(), MoveList{answer});

    Ply = 0;
    batches = WalkStages();
    EXPECT_EQ(StagesOf(batches), (std::vector<int>{11, 2, 0}));
    Ply = 1;
  });
}

TEST_F(OrderingTest, InCheckOneBatchOfEvasionsAndNothingFromTheTables) {
  // The bishop checks along b4-e1; the killer Rh1-g1 could be played but is no reply.
  ForBothColours("4k3/8/8/8/1b6/8/P6P/R3K2R w KQ - 0 1", [](auto sq) {
    StartFresh();
    const int us = thread_board.SideToMove;
    PlyStack[Ply].InCheck = 1;
    PlyStack[Ply].Killers1[us] = MakeMove(sq("h1"), sq("g1"), ROOK, NONE);
    PlyStack[Ply].TriedCount = 3;
    const MoveList evasions = MovesOf(GenerateEntries([] { GenerateEvasionsNow(); }));
    ASSERT_FALSE(evasions.empty());

    const auto batches = WalkStages();
    ASSERT_EQ(StagesOf(batches), (std::vector<int>{12, 0}));
    EXPECT_EQ(batches[0].moves, evasions);
    EXPECT_EQ(PlyStack[Ply].TriedCount, 0);
  });
}

// ---------------------------------------------------------------------------------------------
// The capture stage and its node flags

TEST_F(OrderingTest, LosingCapturesAreLeftOutOnlyWhenAsked) {
  // hxg3 wins a knight; Qxd5 loses the queen to c6xd5.
  ForBothColours("4k3/8/2p5/3p4/8/6n1/7P/3QK3 w - - 0 1", [](auto sq) {
    StartFresh();
    const u32 good = MakeMove(sq("h2"), sq("g3"), PAWN, KNIGHT), bad = MakeMove(sq("d1"), sq("d5"), QUEEN, PAWN);
    StageInputs all;
    auto batches = WalkStages(all);
    ASSERT_EQ(batches[0].stage, STAGE_CAPTURES);
    EXPECT_EQ(CompareMoves({good, bad}, batches[0].moves), "");
    const MoveEntry *losing = FindEntry(batches[0].entries, bad);
    ASSERT_NE(losing, nullptr);
    EXPECT_EQ(losing->Safety, 0);
    EXPECT_LT(losing->Score, 0);

    StageInputs goodOnly;
    goodOnly.skipBadCaptures = 1;
    batches = WalkStages(goodOnly);
    ASSERT_EQ(batches[0].stage, STAGE_CAPTURES);
    EXPECT_EQ(batches[0].moves, MoveList{good});
    EXPECT_EQ(all.flags | goodOnly.flags, 0);
  });
}

TEST_F(OrderingTest, NodeFlagsRecordAnEmptyCaptureStageAndSkipItNextTime) {
  StageInputs complete;
  EXPECT_EQ(WalkStages(complete)[0].stage, STAGE_QUIETS);
  EXPECT_EQ(complete.flags, NODE_FLAG_NO_TACTICAL | NODE_FLAG_NO_CAPTURE);

  // Good captures only: no proof that the position has no capture at all.
  StageInputs goodOnly;
  goodOnly.skipBadCaptures = 1;
  WalkStages(goodOnly);
  EXPECT_EQ(goodOnly.flags, NODE_FLAG_NO_TACTICAL);

  // The flags came from the table: captures are on the board but are not generated.
  LoadFen("4k3/8/2p5/3p4/8/6n1/7P/3QK3 w - - 0 1");
  StageInputs known;
  known.flags = NODE_FLAG_NO_TACTICAL | NODE_FLAG_NO_CAPTURE;
  EXPECT_EQ(StagesOf(WalkStages(known)), (std::vector<int>{2, 0}));

  // Bit 1 alone (left by the quiescence search) does not stop the complete generation.
  StageInputs partly;
  partly.flags = NODE_FLAG_NO_TACTICAL;
  EXPECT_EQ(WalkStages(partly)[0].stage, STAGE_CAPTURES);
}

TEST_F(OrderingTest, FarFromTheRootOnlyTheQueenAndACheckingKnightArePromotedTo) {
  ForBothColours("8/1P1k4/8/8/8/8/8/4K3 w - - 0 1", [](auto sq) {
    StartFresh();
    auto promotion = [&](int piece) { return MakeMove(sq("b7"), sq("b8"), PAWN, NONE, piece); };
    Settings.Iteration = 1;  // Ply 1 is beyond Iteration / 2
    auto batches = WalkStages();
    ASSERT_EQ(batches[0].stage, STAGE_CAPTURES);
    EXPECT_EQ(batches[0].moves, (MoveList{promotion(QUEEN), promotion(KNIGHT)}));
    const MoveEntry &knight = batches[0].entries[1];
    EXPECT_EQ(knight.Safety, 0);
    EXPECT_LT(knight.Score, 0);

    Settings.Iteration = 2;  // Ply 1 is not beyond Iteration / 2: all four
    batches = WalkStages();
    EXPECT_EQ(batches[0].moves, (MoveList{promotion(QUEEN), promotion(ROOK), promotion(KNIGHT), promotion(BISHOP)}));

    StageInputs goodOnly;
    goodOnly.skipBadCaptures = 1;
    batches = WalkStages(goodOnly);
    EXPECT_EQ(batches[0].moves, (MoveList{promotion(QUEEN), promotion(KNIGHT)}));
  });
  // A knight that gives no check is not offered.
  Settings.Iteration = 0;
  LoadFen("8/1P5k/8/8/8/8/8/4K3 w - - 0 1");
  EXPECT_EQ(WalkStages()[0].moves, MoveList{MakeMove(Sq("b7"), Sq("b8"), PAWN, NONE, QUEEN)});
}

// ---------------------------------------------------------------------------------------------
// The quiet stage

TEST_F(OrderingTest, FutileQuietsLeaveSafePushesToTheSeventhAndSafeChecks) {
  // c6-c7 is safe, h6-h7 loses the pawn to the king (and would check); Ra8 and Rg2 check safely.
  ForBothColours("6k1/8/2P4P/8/8/8/R7/4K3 w - - 0 1", [](auto sq) {
    StartFresh();
    const u32 push = MakeMove(sq("c6"), sq("c7"), PAWN, NONE);
    StageInputs futile;
    futile.quietsFutile = 1;
    auto batches = WalkStages(futile);
    ASSERT_EQ(StagesOf(batches), (std::vector<int>{2, 0}));
    const MoveList expected = {push, MakeMove(sq("a2"), sq("a8"), ROOK, NONE),
                               MakeMove(sq("a2"), sq("g2"), ROOK, NONE)};
    EXPECT_EQ(CompareMoves(expected, batches[0].moves), "");
    const MoveEntry *pushEntry = FindEntry(batches[0].entries, push);
    ASSERT_NE(pushEntry, nullptr);
    EXPECT_EQ(pushEntry->Score, EN_PASSANT_SCORE);
    EXPECT_EQ(pushEntry->Safety, 1);

    StageInputs noChecks;
    noChecks.quietsFutile = 1;
    noChecks.flags = NODE_FLAG_NO_QUIET_CHECK;
    batches = WalkStages(noChecks);
    EXPECT_EQ(batches[0].moves, MoveList{push});
  });
  LoadFen("6k1/8/7P/8/8/8/8/4K3 w - - 0 1");
  StageInputs nothing;
  nothing.quietsFutile = 1;
  EXPECT_EQ(StagesOf(WalkStages(nothing)), (std::vector<int>{0}));
}

TEST_F(OrderingTest, ShallowNodesGetOnlyQuietsThatHold) {
  // Qd1-d4 walks into the e5 pawn.
  ForBothColours("4k3/8/8/4p3/8/8/8/3QK3 w - - 0 1", [](auto sq) {
    StartFresh();
    const u32 losing = MakeMove(sq("d1"), sq("d4"), QUEEN, NONE), holding = MakeMove(sq("d1"), sq("d3"), QUEEN, NONE);
    StageInputs deep;
    auto batches = WalkStages(deep);
    const Batch *quiets = FindBatch(batches, STAGE_QUIETS);
    ASSERT_NE(quiets, nullptr);
    EXPECT_TRUE(Contains(quiets->moves, losing));

    StageInputs shallow;
    shallow.shallow = 1;
    batches = WalkStages(shallow);
    quiets = FindBatch(batches, STAGE_QUIETS);
    ASSERT_NE(quiets, nullptr);
    EXPECT_FALSE(Contains(quiets->moves, losing));
    EXPECT_TRUE(Contains(quiets->moves, holding));
  });
}

// ---------------------------------------------------------------------------------------------
// UpdateMoveStatistics

TEST_F(OrderingTest, HistoryCellMovesTowardsTheLimitByTheDepthStep) {
  const u32 move = MakeMove(Sq("g1"), Sq("f3"), KNIGHT, NONE);
  // Fresh cell: 32700 * step >> 9, step (i + 1)^2 with i = clamp((depth + 4) / 4, 0, 16).
  const struct { int depth, expected; } cases[] = {{-20, 63}, {-7, 63}, {0, 255}, {8, 1021}, {60, 18457}, {200, 18457}};
  for (const auto &c : cases) {
    ClearHistoryTable();
    UpdateMoveStatistics(c.depth, move, 1, 0, 1);
    EXPECT_EQ(HistoryCell(move, 1, 1, WHITE), c.expected) << "depth " << c.depth;
  }
  // A second update moves by the remaining distance, not by a fixed amount.
  UpdateMoveStatistics(0, move, 1, 0, 1);
  EXPECT_EQ(HistoryCell(move, 1, 1, WHITE), 18457 + (((32700 - 18457) * 4) >> 9));

  // Many updates come close to the limit and never pass it; a cell at the limit stays.
  for (int i = 0; i < 500; i++) UpdateMoveStatistics(64, move, 0, 0, 1);
  EXPECT_LE(HistoryCell(move, 1, 0, WHITE), HISTORY_LIMIT);
  EXPECT_GE(HistoryCell(move, 1, 0, WHITE), HISTORY_LIMIT - 2);
  HistoryCell(move, 1, 0, WHITE) = HISTORY_LIMIT;
  UpdateMoveStatistics(64, move, 0, 0, 1);
  EXPECT_EQ(HistoryCell(move, 1, 0, WHITE), HISTORY_LIMIT);
}

TEST_F(OrderingTest, HistoryCellIsChosenBySliceSafetyAndSide) {
  // Qd1-d4 walks into the e5 pawn: unknown safety is worked out as 0.
  ForBothColours("4k3/8/8/4p3/8/8/8/3QK3 w - - 0 1", [](auto sq) {
    StartFresh();
    const int us = thread_board.SideToMove;
    const u32 losing = MakeMove(sq("d1"), sq("d4"), QUEEN, NONE);
    auto changedCells = [&](u32 move) {
      std::vector<std::array<int, 3>> changed;
      for (int safety : {0, 1})
        for (int slice : {0, 1, 2})
          for (int side : {WHITE, BLACK})
            if (HistoryCell(move, safety, slice, side)) changed.push_back({safety, slice, side});
      return changed;
    };
    UpdateMoveStatistics(8, losing, 0, 0, UNKNOWN_SAFETY);
    EXPECT_EQ(changedCells(losing), (std::vector<std::array<int, 3>>{{0, 0, us}}));
    ClearHistoryTable();
    UpdateMoveStatistics(8, losing, 1, 1, 1);
    EXPECT_EQ(changedCells(losing), (std::vector<std::array<int, 3>>{{1, 2, us}}));
  });
}

TEST_F(OrderingTest, CutoffTablesKeepTheLastTwoDifferentMoves) {
  ForBothColours(kTablesFen, [](auto sq) {
    StartFresh();
    const int us = thread_board.SideToMove;
    const u32 before = MakeMove(sq("e2"), sq("c3"), KNIGHT, NONE);  // our own previous move
    const u32 last = MakeMove(sq("f8"), sq("b4"), BISHOP, NONE);
    PushHistoryMove(before);
    PushHistoryMove(last);
    const u32 threat = MakeMove(sq("b4"), sq("c3"), BISHOP, KNIGHT);
    PlyStack[Ply].ThreatMove = threat;
    const u32 a = MakeMove(sq("a2"), sq("a3"), PAWN, NONE), b = MakeMove(sq("a1"), sq("b1"), ROOK, NONE);

    auto expectSlots = [&](u32 first, u32 second) {
      const PlyRecord &record = PlyStack[Ply];
      EXPECT_EQ(record.Killers1[us], first);
      EXPECT_EQ(record.Killers2[us], second);
      EXPECT_EQ(CounterSlot(0, last, us), first);
      EXPECT_EQ(CounterSlot(1, last, us), second);
      EXPECT_EQ(FollowUpSlot(0, before, us), first);
      EXPECT_EQ(FollowUpSlot(1, before, us), second);
      EXPECT_EQ(ThreatSlot(0, threat, us), first);
      EXPECT_EQ(ThreatSlot(1, threat, us), second);
    };
    UpdateMoveStatistics(8, a, 1, 0, 1);
    expectSlots(a, 0);
    UpdateMoveStatistics(8, b, 1, 0, 1);
    expectSlots(b, a);
    UpdateMoveStatistics(8, b, 1, 0, 1);  // a repeat leaves the second slot alone
    expectSlots(b, a);
    UpdateMoveStatistics(8, a, 1, 0, 1);
    expectSlots(a, b);
    // The other side's cells stay empty.
    EXPECT_EQ(PlyStack[Ply].Killers1[ChangeSide(us)], 0u);
    EXPECT_EQ(CounterSlot(0, last, ChangeSide(us)), 0u);
  });
}

TEST_F(OrderingTest, TablesWithoutTheirKeyMoveAreLeftAlone) {
  const u32 move = MakeMove(Sq("g1"), Sq("f3"), KNIGHT, NONE);
  UpdateMoveStatistics(8, move, 1, 0, 1);  // no history, no threat: killers only
  EXPECT_EQ(PlyStack[Ply].Killers1[WHITE], move);
  u32 anyCounter = 0;
  for (auto &slot : CounterMoves)
    for (auto &square : slot)
      for (auto &piece : square) anyCounter |= piece[WHITE];
  EXPECT_EQ(anyCounter, 0u);

  // One move of history: a counter move, but no follow-up.
  const u32 last = MakeMove(Sq("e7"), Sq("e5"), PAWN, NONE);
  PushHistoryMove(last);
  UpdateMoveStatistics(8, move, 1, 0, 1);
  EXPECT_EQ(CounterSlot(0, last, WHITE), move);
  u32 anyFollowUp = 0;
  for (auto &slot : FollowUpTable)
    for (auto &square : slot)
      for (auto &piece : square) anyFollowUp |= piece[WHITE];
  EXPECT_EQ(anyFollowUp, 0u);
}

TEST_F(OrderingTest, InCheckACutoffTeachesTheCheckRepliesThatTheEvasionsRead) {
  // Black's last move Bf8-b4 gave check.
  ForBothColours("4k3/8/8/8/1b6/8/P6P/R3K2R w KQ - 0 1", [](auto sq) {
    StartFresh();
    const int us = thread_board.SideToMove;
    PushHistoryMove(MakeMove(sq("f8"), sq("b4"), BISHOP, NONE));
    PlyStack[Ply].InCheck = 1;
    PlyStack[Ply].ThreatMove = MakeMove(sq("b4"), sq("e1"), BISHOP, KING);
    const u32 first = MakeMove(sq("e1"), sq("f1"), KING, NONE), second = MakeMove(sq("e1"), sq("e2"), KING, NONE);
    UpdateMoveStatistics(8, first, 1, 1, 1);
    UpdateMoveStatistics(8, second, 1, 1, 1);

    const auto evasions = GenerateEntries([] { GenerateEvasionsNow(); });
    const MoveEntry *a = FindEntry(evasions, first), *b = FindEntry(evasions, second);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    auto history = [&](u32 move) {
      const int cell = HistoryCell(move, 1, 2, us);
      return cell + (cell >> 2);
    };
    EXPECT_EQ(b->Score, history(second) + 80000);
    EXPECT_EQ(a->Score, history(first) + 40000);
    // Killers and the other tables are for quiet positions only.
    EXPECT_EQ(PlyStack[Ply].Killers1[us], 0u);
    EXPECT_EQ(ThreatSlot(0, PlyStack[Ply].ThreatMove, us), 0u);
  });
}

TEST_F(OrderingTest, WhatACutoffLearnsIsServedAtTheNextVisit) {
  ForBothColours(kTablesFen, [](auto sq) {
    StartFresh();
    const u32 before = MakeMove(sq("e2"), sq("c3"), KNIGHT, NONE);
    PushHistoryMove(before);
    PushHistoryMove(MakeMove(sq("f8"), sq("b4"), BISHOP, NONE));
    PlyStack[Ply].ThreatMove = MakeMove(sq("b4"), sq("c3"), BISHOP, KNIGHT);
    const u32 x = MakeMove(sq("a2"), sq("a3"), PAWN, NONE), y = MakeMove(sq("a1"), sq("b1"), ROOK, NONE);
    UpdateMoveStatistics(8, x, 1, 0, UNKNOWN_SAFETY);
    UpdateMoveStatistics(8, y, 1, 0, UNKNOWN_SAFETY);

    const auto batches = WalkStages();
    EXPECT_EQ(StagesOf(batches), (std::vector<int>{11, 10, 9, 2, 0}));
    EXPECT_EQ(TriedMovesHere(), (MoveList{y, x}));
    // The follow-up of our own previous move lifts y's history score among the quiets.
    const MoveEntry *entry = FindEntry(batches[3].entries, y);
    ASSERT_NE(entry, nullptr);
    const int us = thread_board.SideToMove;
    const int s = HistoryCell(y, 1, 1, us) + (HistoryCell(y, 1, 0, us) >> 2);
    EXPECT_GT(s, 0);
    EXPECT_EQ(entry->Score, s + ((s * 148) >> 8));
  });
}

// ---------------------------------------------------------------------------------------------
// Weakening of the quiet moves tried before a cutoff

TEST_F(OrderingTest, EarlierQuietEntriesLoseHistoryCapturesAndPromotionsDoNot) {
  // d1-d4 loses the queen to the c5 pawn; exd6 is en passant.
  LoadFen("4k3/8/8/2ppP3/8/8/8/3QK3 w - d6 0 1");
  const u32 quiet = MakeMove(Sq("e1"), Sq("f2"), KING, NONE);
  const u32 unknownUnsafe = MakeMove(Sq("d1"), Sq("d4"), QUEEN, NONE);
  const u32 capture = MakeMove(Sq("d1"), Sq("d5"), QUEEN, PAWN);
  const u32 enPassant = MakeMove(Sq("e5"), Sq("d6"), PAWN, NONE);
  const u32 beyond = MakeMove(Sq("e1"), Sq("e2"), KING, NONE);
  const int first = MoveStackTop = 100;
  for (const MoveEntry &entry :
       {MoveEntry{quiet, 500, 1}, MoveEntry{capture, 100000, 1}, MoveEntry{enPassant, 100901, 1},
        MoveEntry{unknownUnsafe, 0, UNKNOWN_SAFETY}, MoveEntry{beyond, 300, 1}})
    MoveStack[MoveStackTop++] = entry;
  for (u32 move : {quiet, unknownUnsafe, capture, enPassant, beyond})
    for (int safety : {0, 1})
      for (int slice : {0, 1, 2}) HistoryCell(move, safety, slice, WHITE) = 10000;

  WeakenEarlierQuiets(first, first + 4, 289, 1);
  const int weakened = 10000 - ((289 * 10000) >> 9);
  EXPECT_EQ(HistoryCell(quiet, 1, 1, WHITE), weakened);
  EXPECT_EQ(HistoryCell(unknownUnsafe, 0, 1, WHITE), weakened);
  EXPECT_EQ(HistoryCell(unknownUnsafe, 1, 1, WHITE), 10000);
  for (u32 move : {capture, enPassant, beyond})
    for (int safety : {0, 1}) EXPECT_EQ(HistoryCell(move, safety, 1, WHITE), 10000) << MoveName(move);
  for (int slice : {0, 2}) EXPECT_EQ(HistoryCell(quiet, 1, slice, WHITE), 10000);
  MoveStackTop = 0;
}

// ---------------------------------------------------------------------------------------------
// Capture statistics

TEST_F(OrderingTest, CountedTriesAreWhatTheCaptureScoresRead) {
  // hxg3 holds; Qxd5 loses to c6xd5 until its record earns it a try among the good captures.
  ForBothColours("4k3/8/2p5/3p4/8/6n1/7P/3QK3 w - - 0 1", [](auto sq) {
    StartFresh();
    const int us = thread_board.SideToMove;
    const u32 good = MakeMove(sq("h2"), sq("g3"), PAWN, KNIGHT), bad = MakeMove(sq("d1"), sq("d5"), QUEEN, PAWN);
    for (int i = 0; i < 9; i++) {
      CountCaptureTry(good, us, 1, 0, 1);
      CountCaptureTry(bad, us, 0, 0, i < 3);
    }
    const auto captures =
        GenerateEntries([] { GenerateCaptures(thread_board.Pieces[ChangeSide(thread_board.SideToMove)]); });
    const MoveEntry *goodEntry = FindEntry(captures, good), *badEntry = FindEntry(captures, bad);
    ASSERT_NE(goodEntry, nullptr);
    ASSERT_NE(badEntry, nullptr);
    EXPECT_EQ(goodEntry->Score, 3000 - 100 + 120 + 100000);  // rate 256
    EXPECT_EQ(badEntry->Safety, 2);                          // rate 85: bonus 20000
    EXPECT_EQ(badEntry->Score, 1000 - 900 + 20000);
    // A try with Safety 2 is counted where the losing capture's record is.
    CountCaptureTry(bad, us, 2, 0, 0);
    EXPECT_EQ(CaptureTried[CaptureStatisticsIndex(bad, us, 0)], 10);
  });
}

TEST_F(OrderingTest, OnlyCapturesWithoutCheckAreCountedAndTriesAreHalvedPast256) {
  const u32 capture = MakeMove(Sq("d1"), Sq("d5"), QUEEN, PAWN);
  const int index = CaptureStatisticsIndex(capture, WHITE, 1);
  CountCaptureTry(capture, WHITE, 1, 1, 1);                                    // check involved
  CountCaptureTry(MakeMove(Sq("e5"), Sq("d6"), PAWN, NONE), WHITE, 1, 0, 1);   // en passant
  CountCaptureTry(MakeMove(Sq("d1"), Sq("d4"), QUEEN, NONE), WHITE, 1, 0, 1);  // quiet
  EXPECT_EQ(CaptureTried[index], 0);
  for (int i = 0; i < CAPTURE_STATS_SIZE; i++) ASSERT_EQ(CaptureTried[i] | CaptureCutoffs[i], 0) << i;

  // Unknown safety counts as safe.
  CountCaptureTry(capture, WHITE, UNKNOWN_SAFETY, 0, 1);
  EXPECT_EQ(CaptureTried[index], 1);
  EXPECT_EQ(CaptureCutoffs[index], 1);

  CaptureTried[index] = 255;
  CaptureCutoffs[index] = 101;
  CountCaptureTry(capture, WHITE, 1, 0, 0);
  EXPECT_EQ(CaptureTried[index], 256);
  EXPECT_EQ(CaptureCutoffs[index], 101);
  CountCaptureTry(capture, WHITE, 1, 0, 1);
  EXPECT_EQ(CaptureTried[index], 128);
  EXPECT_EQ(CaptureCutoffs[index], 51);
}
