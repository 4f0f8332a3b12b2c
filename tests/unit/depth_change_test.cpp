// Depth changes of a move, the flags and the follow-up it leaves, and the line tests behind them.
#include "search/depth_change.h"

#include "search/statistics.h"
#include "tests/unit/move_list.h"

using namespace movetest;

namespace {

struct Inputs {
  bool near = true, mateThreat = false;
  int depth = 16;
  bool singleReply = false;
  int score = 0;
  bool isPv = false;
  int gap = 0;
  int safety = UNKNOWN_SAFETY;
  bool first = false;
};

struct Outcome {
  int change, bonus, safety;
  u32 flags, followUp;
  int childInCheck;
};

// Runs MoveDepthChange at Ply with marks in the fields it must overwrite.
Outcome Change(u32 move, Inputs in = {}) {
  PlyStack[Ply].FollowUpMove = 0xDEAD;
  PlyStack[Ply].MoveFlags = 0xFFFF;
  PlyStack[Ply + 1].InCheck = -1;
  Outcome out{};
  int bonus = 0, safety = in.safety;
  out.change = MoveDepthChange(in.near, in.mateThreat, in.depth, in.singleReply, move, in.score, in.isPv, &bonus,
                               in.gap, &safety, in.first);
  out.bonus = bonus;
  out.safety = safety;
  out.flags = PlyStack[Ply].MoveFlags;
  out.followUp = PlyStack[Ply].FollowUpMove;
  out.childInCheck = PlyStack[Ply + 1].InCheck;
  return out;
}

void PushHistoryMove(u32 move) { GameHistory[GameHistoryCount++].Move = move; }

// Two plies above that went one ply down each: no limit from them.
void ResetPlies() {
  for (PlyRecord &record : PlyStack) {
    record.DepthChange = -4;
    record.MoveFlags = 0;
    record.FollowUpMove = 0;
    record.InCheck = 0;
  }
  Ply = 2;
}

class DepthChangeTest : public MoveTest {
 protected:
  void SetUp() override {
    MoveTest::SetUp();
    ResetPlies();
  }
  void TearDown() override {
    ResetPlies();
    MoveTest::TearDown();
  }
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// Checks and the limit from the plies above

TEST_F(DepthChangeTest, ChecksAreExtendedByKindAndLosingOnesOnlyWhenDiscovered) {
  // Ra1xa8 takes with check along the eighth rank; Bd3-b5 checks; Ne4-c3 uncovers the rook on e1.
  ForBothColours("n3k3/8/8/8/4N3/3B4/8/R3R1K1 w - - 0 1", [](auto sq) {
    ResetPlies();
    const u32 captureCheck = MakeMove(sq("a1"), sq("a8"), ROOK, KNIGHT);
    const u32 plain = MakeMove(sq("g1"), sq("g2"), KING, NONE);
    const u32 direct = MakeMove(sq("d3"), sq("b5"), BISHOP, NONE);
    const u32 discovered = MakeMove(sq("e4"), sq("c3"), KNIGHT, NONE);

    Outcome o = Change(plain);
    EXPECT_EQ(o.change, -4);
    EXPECT_EQ(o.flags, 0u);
    EXPECT_EQ(o.childInCheck, 0);
    EXPECT_EQ(o.followUp, 0u);

    o = Change(captureCheck, {.near = false, .score = 100000});
    EXPECT_EQ(o.change, 0) << "a capture with check";
    EXPECT_EQ(o.flags & MF_CHECK, MF_CHECK);
    EXPECT_EQ(o.childInCheck, 1);
    EXPECT_EQ(o.safety, 1) << "worked out for a check";

    o = Change(direct, {.near = false});
    EXPECT_EQ(o.change, -2) << "a quiet check far from the root";
    EXPECT_EQ(Change(direct).change, 0);

    o = Change(direct, {.score = -1});
    EXPECT_EQ(o.change, -4) << "a losing check";
    EXPECT_EQ(o.flags & MF_CHECK, MF_CHECK);
    EXPECT_EQ(o.childInCheck, 1);
    o = Change(discovered, {.score = -1});
    EXPECT_EQ(o.change, 0) << "a losing discovered check";
    EXPECT_EQ(o.flags & MF_CHECK, MF_CHECK);
  });
}

TEST_F(DepthChangeTest, TwoExtendedPliesAboveCapTheChangeAtMinusTwo) {
  LoadFen("4k3/8/8/8/8/8/8/R3K3 w - - 0 1");
  const u32 check = MakeMove(Sq("a1"), Sq("a8"), ROOK, NONE), plain = MakeMove(Sq("a1"), Sq("a2"), ROOK, NONE);
  PlyStack[0].DepthChange = 0;
  PlyStack[1].DepthChange = 0;
  EXPECT_EQ(Change(check).change, -2);
  EXPECT_EQ(Change(plain, {.singleReply = true}).change, -2);
  EXPECT_EQ(Change(plain, {.singleReply = true}).flags, MF_FORCING);
  EXPECT_EQ(Change(plain).change, -4);

  PlyStack[0].DepthChange = 2;
  PlyStack[1].DepthChange = -2;  // sum 0 still counts
  EXPECT_EQ(Change(check).change, -2);
  PlyStack[0].DepthChange = 1;  // sum -1: free again
  EXPECT_EQ(Change(check).change, 0);
  EXPECT_EQ(Change(plain, {.singleReply = true}).change, 0);

  // One ply from the root there are not two plies above.
  Ply = 1;
  PlyStack[0].DepthChange = 0;
  EXPECT_EQ(Change(check).change, 0);
}

// ---------------------------------------------------------------------------------------------
// Captures, recaptures and mate threats

TEST_F(DepthChangeTest, RecapturesOfLikeForLikeAreMarkedAndExtendedAtPvNodesOnly) {
  // Black's bishop has just taken a knight on d5; the rook takes it back.
  ForBothColours("4k3/8/8/3b4/8/8/8/3RK3 w - - 0 1", [](auto sq) {
    ResetPlies();
    const u32 recapture = MakeMove(sq("d1"), sq("d5"), ROOK, BISHOP);
    PushHistoryMove(MakeMove(sq("f7"), sq("d5"), BISHOP, KNIGHT));
    const Inputs good{.score = 100000};

    Outcome o = Change(recapture, good);
    EXPECT_EQ(o.flags, MF_RECAPTURE | MF_FORCING);
    EXPECT_EQ(o.change, -4) << "marked, but no depth off the PV";
    EXPECT_EQ(Change(recapture, {.score = 100000, .isPv = true}).change, -1);
    EXPECT_EQ(Change(recapture, {.near = false, .score = 100000, .isPv = true}).change, -3);

    // The window: a gap at the floor, or one beyond what the capture brings back.
    EXPECT_EQ(Change(recapture, {.score = 100000, .gap = -99}).flags, MF_RECAPTURE | MF_FORCING);
    EXPECT_EQ(Change(recapture, {.score = 100000, .gap = -100}).flags, MF_FORCING);
    EXPECT_EQ(Change(recapture, {.score = 100000, .gap = 349}).flags, MF_RECAPTURE | MF_FORCING);
    EXPECT_EQ(Change(recapture, {.score = 100000, .gap = 350}).flags, 0u);
    EXPECT_EQ(Change(recapture, {.score = -1}).flags, 0u) << "a losing capture";

    // A recapture right after a recapture is not marked again.
    PlyStack[Ply - 1].MoveFlags = MF_RECAPTURE;
    EXPECT_EQ(Change(recapture, good).flags, MF_FORCING);
    PlyStack[Ply - 1].MoveFlags = 0;

    // Unlike classes: the last capture took a rook.
    GameHistory[GameHistoryCount - 1].Move = MakeMove(sq("f7"), sq("d5"), BISHOP, ROOK);
    EXPECT_EQ(Change(recapture, good).flags, MF_FORCING);
    // The last move went elsewhere.
    GameHistory[GameHistoryCount - 1].Move = MakeMove(sq("f7"), sq("e6"), BISHOP, KNIGHT);
    EXPECT_EQ(Change(recapture, good).flags, MF_FORCING);
  });
}

TEST_F(DepthChangeTest, AMateThreatExtendsTheExpectedMoveAndKeepsTheRestForARetry) {
  LoadFen("4k3/8/8/8/8/8/p7/R3K3 w - - 0 1");
  const u32 quiet = MakeMove(Sq("a1"), Sq("b1"), ROOK, NONE), capture = MakeMove(Sq("a1"), Sq("a2"), ROOK, PAWN);
  Outcome o = Change(quiet, {.mateThreat = true});
  EXPECT_EQ(o.flags, MF_MATE_THREAT);
  EXPECT_EQ(o.change, -4);
  EXPECT_EQ(o.bonus, 3);
  o = Change(quiet, {.near = false, .mateThreat = true});
  EXPECT_EQ(o.bonus, 1);

  o = Change(quiet, {.mateThreat = true, .isPv = true});
  EXPECT_EQ(o.change, -1);
  EXPECT_EQ(o.bonus, 0);
  o = Change(quiet, {.mateThreat = true, .first = true});
  EXPECT_EQ(o.change, -1) << "the first quiet move off the PV";
  o = Change(capture, {.mateThreat = true, .score = 100000, .gap = 500, .first = true});
  EXPECT_EQ(o.change, -4) << "a first capture off the PV keeps it";
  EXPECT_EQ(o.bonus, 3);
}

// ---------------------------------------------------------------------------------------------
// Passed pawns and promotions

TEST_F(DepthChangeTest, APassedPawnPushCarriesItsNextPushAsTheThreat) {
  ForBothColours("4k3/8/P7/8/8/8/8/4K3 w - - 0 1", [](auto sq) {
    ResetPlies();
    const u32 push = MakeMove(sq("a6"), sq("a7"), PAWN, NONE);
    Outcome o = Change(push, {.depth = 4, .isPv = true});
    EXPECT_EQ(o.followUp, MakeMove(sq("a7"), sq("a8"), PAWN, NONE, QUEEN));
    EXPECT_EQ(o.flags, MF_PASSED | MF_THREAT);
    EXPECT_EQ(o.change, 0) << "near the leaves of the PV";
    EXPECT_EQ(Change(push, {.near = false, .depth = 4, .isPv = true}).change, -2);
    EXPECT_EQ(Change(push, {.depth = 8, .isPv = true}).change, -4);
    o = Change(push, {.depth = 4});
    EXPECT_EQ(o.change, -4) << "off the PV the push is a threat, not an extension";
    EXPECT_EQ(o.flags, MF_PASSED | MF_THREAT);

    // Outside the window the flags stay, the depth does not change.
    o = Change(push, {.depth = 4, .isPv = true, .gap = 1000});
    EXPECT_EQ(o.flags, MF_PASSED | MF_THREAT);
    EXPECT_EQ(o.change, -4);
    // A push known to lose the pawn is nothing.
    o = Change(push, {.depth = 4, .isPv = true, .safety = 0});
    EXPECT_EQ(o.flags, 0u);
    EXPECT_EQ(o.followUp, 0u);
  });
}

TEST_F(DepthChangeTest, OnlyPawnsPassedAndAdvancedCount) {
  // Landing on the fifth rank: a threat, but no extension even at the PV.
  ForBothColours("4k3/8/8/8/P7/8/8/4K3 w - - 0 1", [](auto sq) {
    ResetPlies();
    const Outcome o = Change(MakeMove(sq("a4"), sq("a5"), PAWN, NONE), {.depth = 4, .isPv = true});
    EXPECT_EQ(o.flags, MF_PASSED | MF_THREAT);
    EXPECT_EQ(o.change, -4);
  });
  ForBothColours("n3k3/1p6/P7/8/8/8/P6P/4K3 w - - 0 1", [](auto sq) {
    ResetPlies();
    // An enemy pawn ahead on a neighbouring file: not passed.
    EXPECT_EQ(Change(MakeMove(sq("a6"), sq("a7"), PAWN, NONE)).flags, 0u);
    // Landing on the third rank is too early.
    Outcome o = Change(MakeMove(sq("h2"), sq("h3"), PAWN, NONE));
    EXPECT_EQ(o.flags, 0u);
    EXPECT_EQ(o.followUp, 0u);
    // Landing on the fourth rank counts.
    o = Change(MakeMove(sq("h2"), sq("h4"), PAWN, NONE));
    EXPECT_EQ(o.flags, MF_PASSED | MF_THREAT);
    EXPECT_EQ(o.followUp, MakeMove(sq("h4"), sq("h5"), PAWN, NONE));
  });
  // A blocked square in front: passed, but no push to follow.
  ForBothColours("n3k3/8/P7/8/8/8/8/4K3 w - - 0 1", [](auto sq) {
    ResetPlies();
    const Outcome o = Change(MakeMove(sq("a6"), sq("a7"), PAWN, NONE));
    EXPECT_EQ(o.flags, MF_PASSED | MF_THREAT);
    EXPECT_EQ(o.followUp, 0u);
  });
}

TEST_F(DepthChangeTest, QueenPromotionsAreForcingUnderPromotionsAreNot) {
  ForBothColours("8/P7/7k/8/8/8/8/4K3 w - - 0 1", [](auto sq) {
    ResetPlies();
    Outcome o = Change(MakeMove(sq("a7"), sq("a8"), PAWN, NONE, QUEEN), {.depth = 4, .score = 100000, .isPv = true});
    EXPECT_EQ(o.flags, MF_FORCING | MF_THREAT);
    EXPECT_EQ(o.safety, 1);
    EXPECT_EQ(o.change, 0);
    o = Change(MakeMove(sq("a7"), sq("a8"), PAWN, NONE, ROOK), {.depth = 4, .score = -128100, .isPv = true});
    EXPECT_EQ(o.flags, 0u);
    EXPECT_EQ(o.safety, 0);
    EXPECT_EQ(o.change, -4);
  });
  // A queen promotion that the rook on b8 takes: no forcing flag, no threat.
  ForBothColours("1r6/P7/7k/8/8/8/8/4K3 w - - 0 1", [](auto sq) {
    ResetPlies();
    const Outcome o = Change(MakeMove(sq("a7"), sq("a8"), PAWN, NONE, QUEEN), {.depth = 4, .isPv = true});
    EXPECT_EQ(o.safety, 0);
    EXPECT_EQ(o.flags, 0u);
    EXPECT_EQ(o.followUp, 0u);
  });
  // The queen checks through the square the pawn leaves.
  ForBothColours("8/P7/8/8/8/8/8/k3K3 w - - 0 1", [](auto sq) {
    ResetPlies();
    const Outcome o = Change(MakeMove(sq("a7"), sq("a8"), PAWN, NONE, QUEEN), {.score = 100000});
    EXPECT_EQ(o.childInCheck, 1);
    EXPECT_EQ(o.flags & MF_CHECK, MF_CHECK);
  });
}

// ---------------------------------------------------------------------------------------------
// Threats on pieces

TEST_F(DepthChangeTest, AttacksThatWinMaterialMakeAThreatAndAForkExtends) {
  // Ne3-d5 attacks the queen on f6 and the rook on c7.
  ForBothColours("4k3/2r5/5q2/8/8/4N3/8/4K3 w - - 0 1", [](auto sq) {
    ResetPlies();
    const u32 fork = MakeMove(sq("e3"), sq("d5"), KNIGHT, NONE);
    const u32 takeRook = MakeMove(sq("d5"), sq("c7"), KNIGHT, ROOK),
              takeQueen = MakeMove(sq("d5"), sq("f6"), KNIGHT, QUEEN);
    Outcome o = Change(fork, {.depth = 4, .isPv = true});
    EXPECT_EQ(o.flags, MF_THREAT);
    EXPECT_EQ(o.change, 0);
    EXPECT_EQ(o.safety, 1);
    // The follow-up is the capture found last, walking squares upwards.
    const bool whiteView = sq("a1") == 0;
    EXPECT_EQ(o.followUp, whiteView ? takeRook : takeQueen);
    EXPECT_EQ(Change(fork, {.depth = 4}).change, -4);
    EXPECT_EQ(Change(fork, {.depth = 8, .isPv = true}).change, -4);

    // Far below alpha only the queen is worth the threat.
    o = Change(fork, {.depth = 4, .isPv = true, .gap = 700});
    EXPECT_EQ(o.flags, MF_THREAT);
    EXPECT_EQ(o.followUp, takeQueen);
    EXPECT_EQ(o.change, -4);
    o = Change(fork, {.gap = 1000});
    EXPECT_EQ(o.flags, 0u);
    EXPECT_EQ(o.followUp, 0u);
    EXPECT_EQ(o.safety, UNKNOWN_SAFETY) << "not worked out when nothing depends on it";
  });
}

TEST_F(DepthChangeTest, TheWalkStopsAtTheSecondThreatAndPawnsNeedLess) {
  // From d5 the knight attacks the bishop on b4, the queen on f6 and the rook on c7; the queen is
  // the second found from either side of the board.
  ForBothColours("4k3/2r5/5q2/8/1b6/4N3/8/7K w - - 0 1", [](auto sq) {
    ResetPlies();
    const Outcome o = Change(MakeMove(sq("e3"), sq("d5"), KNIGHT, NONE));
    EXPECT_EQ(o.flags, MF_THREAT);
    EXPECT_EQ(o.followUp, MakeMove(sq("d5"), sq("f6"), KNIGHT, QUEEN));
  });
  // An undefended pawn is worth a threat while alpha lies less than 150 above the evaluation.
  ForBothColours("4k3/8/8/3p4/8/8/8/4KN2 w - - 0 1", [](auto sq) {
    ResetPlies();
    const u32 move = MakeMove(sq("f1"), sq("e3"), KNIGHT, NONE);
    Outcome o = Change(move, {.gap = 149});
    EXPECT_EQ(o.flags, MF_THREAT);
    EXPECT_EQ(o.followUp, MakeMove(sq("e3"), sq("d5"), KNIGHT, PAWN));
    EXPECT_EQ(Change(move, {.gap = 150}).flags, 0u);
  });
}

TEST_F(DepthChangeTest, AThreatFromASquareThatLosesThePieceIsDropped) {
  // The e6 pawn guards d5; a knight that only attacks a defended pawn threatens nothing.
  ForBothColours("4k3/2r5/4pq2/8/8/4N3/8/4K3 w - - 0 1", [](auto sq) {
    ResetPlies();
    Outcome o = Change(MakeMove(sq("e3"), sq("d5"), KNIGHT, NONE), {.isPv = true});
    EXPECT_EQ(o.safety, 0);
    EXPECT_EQ(o.flags, 0u);
    EXPECT_EQ(o.followUp, 0u);
    o = Change(MakeMove(sq("e3"), sq("d5"), KNIGHT, NONE), {.safety = 0});
    EXPECT_EQ(o.flags, 0u);
    EXPECT_EQ(o.followUp, 0u);
    // From g4 the knight attacks only the queen: one threat, and the follow-up takes it.
    o = Change(MakeMove(sq("e3"), sq("g4"), KNIGHT, NONE));
    EXPECT_EQ(o.flags, MF_THREAT);
    EXPECT_EQ(o.followUp, MakeMove(sq("g4"), sq("f6"), KNIGHT, QUEEN));
  });
  ForBothColours("4k3/8/4p3/3p4/8/8/8/4KN2 w - - 0 1", [](auto sq) {
    ResetPlies();
    const Outcome o = Change(MakeMove(sq("f1"), sq("e3"), KNIGHT, NONE));
    EXPECT_EQ(o.flags, 0u) << "the d5 pawn is defended";
  });
}

// ---------------------------------------------------------------------------------------------
// Line tests against a make-and-look oracle

TEST_F(DepthChangeTest, GivesCheckAndTheChildsInCheckAgreeWithMakingTheMove) {
  int checks = 0;
  ForEachPosition(WalkSample(), [&] {
    if (SideToMoveInCheck()) return std::string();
    std::string report;
    for (u32 move : ReferenceLegalMoves()) {
      const bool expected = movetest::GivesCheck(move);
      checks += expected;
      if (::GivesCheck(move) != expected) report += MoveName(move) + ": GivesCheck wrong\n";
      ResetPlies();
      int bonus = 0, safety = UNKNOWN_SAFETY;
      MoveDepthChange(true, false, 16, false, move, 0, false, &bonus, 0, &safety, false);
      if (PlyStack[Ply + 1].InCheck != int(expected)) report += MoveName(move) + ": child InCheck wrong\n";
      if (bool(PlyStack[Ply].MoveFlags & MF_CHECK) != expected) report += MoveName(move) + ": MF_CHECK wrong\n";
    }
    return report;
  });
  EXPECT_GT(checks, 500);
}

TEST_F(DepthChangeTest, IsPinnedIsTheLegalityOfEveryOtherMoveOutOfCheck) {
  int pinned = 0;
  ForEachPosition(WalkSample(), [&] {
    if (SideToMoveInCheck()) return std::string();
    std::string report;
    for (u32 move : ReferencePseudoMoves()) {
      if (MovedPiece(move) == KING || IsEnPassant(move)) continue;
      const bool exposes = !KeepsOwnKingSafe(move);
      pinned += exposes;
      if (IsPinned(move) != exposes) report += MoveName(move) + (exposes ? ": exposes the king\n" : ": is legal\n");
    }
    return report;
  });
  EXPECT_GT(pinned, 20);
}

TEST_F(DepthChangeTest, DiscoversCheckIsACheckByAnotherPieceOpenedByTheMove) {
  int discovered = 0;
  ForEachPosition(WalkSample(), [&] {
    if (SideToMoveInCheck()) return std::string();
    std::string report;
    const int us = thread_board.SideToMove;
    for (u32 move : ReferenceLegalMoves()) {
      if (IsCastling(move) || IsEnPassant(move)) continue;
      make_move(move, 1);
      const Mailbox box = CurrentMailbox();
      const int enemyKing = thread_board.KingSquare[ChangeSide(us)];
      bool opened = false;
      for (int sq = 0; sq < 64; sq++)
        opened |= sq != MoveTo(move) && box.colour[sq] == us && MailboxPieceAttacks(box, sq, enemyKing);
      unmake_move();
      discovered += opened;
      if (DiscoversCheck(move) != opened) report += MoveName(move) + ": DiscoversCheck wrong\n";
    }
    return report;
  });
  EXPECT_GT(discovered, 5);
}

TEST_F(DepthChangeTest, CastlingAndEnPassantChecks) {
  const struct {
    const char *fen, *from, *to;
    bool check;
  } cases[] = {
      {"5k2/8/8/8/8/8/8/4K2R w K - 0 1", "e1", "g1", true},  // the rook lands on the king's file
      {"k7/8/8/8/8/8/8/4K2R w K - 0 1", "e1", "g1", false},
      {"8/8/8/8/8/8/8/1k2K2R w K - 0 1", "e1", "g1", true},  // along the rank the king leaves
      {"8/8/8/8/8/8/8/R3K1k1 w Q - 0 1", "e1", "c1", true},
      {"8/8/8/k2pP2R/8/8/8/4K3 w - d6 0 1", "e5", "d6", true},  // both pawns leave the rank
      {"8/8/8/3pP3/8/8/8/k3K3 w - d6 0 1", "e5", "d6", false},
  };
  for (const auto &c : cases) {
    ForBothColours(c.fen, [&](auto sq) {
      const int moved = c.from[1] == '1' ? KING : PAWN;
      const u32 move = MakeMove(sq(c.from), sq(c.to), moved, NONE);
      ASSERT_TRUE(Contains(ReferenceLegalMoves(), move)) << MoveName(move);
      EXPECT_EQ(::GivesCheck(move), c.check) << MoveName(move);
      EXPECT_EQ(movetest::GivesCheck(move), c.check) << MoveName(move);
    });
  }
}

// ---------------------------------------------------------------------------------------------
// Answers to a threat

TEST_F(DepthChangeTest, AThreatIsAnsweredByLeavingDefendingOrBlocking) {
  // Black's knight threatens Nd5xe3, a bishop for a knight: a defender answers it.
  ForBothColours("4k3/8/8/3n4/8/4B3/4N3/5K2 w - - 0 1", [](auto sq) {
    const u32 threat = MakeMove(sq("d5"), sq("e3"), KNIGHT, BISHOP);
    EXPECT_TRUE(AnswersThreat(MakeMove(sq("e3"), sq("g5"), BISHOP, NONE), threat)) << "leaves";
    EXPECT_TRUE(AnswersThreat(MakeMove(sq("f1"), sq("f2"), KING, NONE), threat)) << "defends";
    EXPECT_FALSE(AnswersThreat(MakeMove(sq("f1"), sq("g1"), KING, NONE), threat));
    EXPECT_FALSE(AnswersThreat(MakeMove(sq("e2"), sq("d4"), KNIGHT, NONE), threat)) << "next to a knight's path";
  });
  // The knight on e2 stands in front of the rook: stepping aside defends e3.
  ForBothColours("4k3/8/8/3n4/8/4B3/4N3/4RK2 w - - 0 1", [](auto sq) {
    const u32 threat = MakeMove(sq("d5"), sq("e3"), KNIGHT, BISHOP);
    EXPECT_TRUE(AnswersThreat(MakeMove(sq("e2"), sq("c3"), KNIGHT, NONE), threat));
  });
  // A pawn taking a bishop: defending does not help.
  ForBothColours("4k3/8/8/8/3p4/4B3/8/5K2 w - - 0 1", [](auto sq) {
    const u32 threat = MakeMove(sq("d4"), sq("e3"), PAWN, BISHOP);
    EXPECT_FALSE(AnswersThreat(MakeMove(sq("f1"), sq("f2"), KING, NONE), threat));
    EXPECT_TRUE(AnswersThreat(MakeMove(sq("e3"), sq("f4"), BISHOP, NONE), threat));
  });
  // A rook along the a-file is blocked by a piece in between, not by one that stays off the line.
  ForBothColours("r3k3/8/8/8/8/8/1B6/R4K2 w - - 0 1", [](auto sq) {
    const u32 threat = MakeMove(sq("a8"), sq("a1"), ROOK, ROOK);
    EXPECT_TRUE(AnswersThreat(MakeMove(sq("b2"), sq("a3"), BISHOP, NONE), threat));
    EXPECT_FALSE(AnswersThreat(MakeMove(sq("b2"), sq("d4"), BISHOP, NONE), threat));
  });
  // The king as capturer is deterred by any defender.
  ForBothColours("4k3/8/8/8/3N4/8/1k6/R4K2 w - - 0 1", [](auto sq) {
    const u32 threat = MakeMove(sq("b2"), sq("a1"), KING, ROOK);
    EXPECT_TRUE(AnswersThreat(MakeMove(sq("d4"), sq("c2"), KNIGHT, NONE), threat));
    EXPECT_FALSE(AnswersThreat(MakeMove(sq("f1"), sq("e1"), KING, NONE), threat));
  });
}
