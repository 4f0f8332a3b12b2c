// The evasion generator: legal, complete, scored with captures ahead of quiet replies; IsPinnedPiece.
#include "board/move_scoring.h"
#include "tests/unit/move_list.h"

using namespace movetest;

namespace {

constexpr int EN_PASSANT_EVASION_SCORE = 100901 + EVASION_CAPTURE_OFFSET;

std::vector<MoveEntry> Evasions(int *returned = nullptr) {
  return GenerateEntries([returned] {
    const int result = GenerateEvasionsNow();
    if (returned) *returned = result;
  });
}

bool IsQuietReply(u32 move) { return !IsCaptureOrPromotion(move) && !IsEnPassant(move); }

// The score of a capture or promotion with empty statistics: safe ones are lifted above every quiet reply.
int ExpectedCaptureEvasionScore(u32 move, int safety) {
  if (IsEnPassant(move)) return EN_PASSANT_EVASION_SCORE;
  const int base = CaptureValue[CapturedPiece(move)] * 10 - CaptureValue[MovedPiece(move)];
  if (safety != 1) return base - 128000;
  return base - 40 + (PromotionPiece(move) ? 108000 : 100000) + EVASION_CAPTURE_OFFSET;
}

}  // namespace

TEST_F(MoveTest, EvasionsAreExactlyTheLegalMovesInEveryCheck) {
  int doubleChecks = 0, enPassantReplies = 0, mates = 0;
  ASSERT_GT(CheckSample().size(), 1000u);
  ForEachPosition(CheckSample(), [&] {
    int returned = -1;
    const auto entries = Evasions(&returned);
    const MoveList moves = MovesOf(entries);
    std::string report = CompareMoves(ReferenceLegalMoves(), moves);
    const std::string againstLegalMoves = CompareMoves(EngineLegalMoves(), moves);
    if (!againstLegalMoves.empty()) report += "against LegalMoves: " + againstLegalMoves;
    if (returned != (moves.empty() ? 0 : 12)) report += "returned " + std::to_string(returned) + "\n";
    const bool doubleCheck = CheckerCount() > 1;
    doubleChecks += doubleCheck;
    mates += moves.empty();
    int bestQuiet = INT32_MIN, worstLiftedCapture = INT32_MAX;
    for (const MoveEntry &entry : entries) {
      const std::string name = MoveName(entry.Move);
      enPassantReplies += IsEnPassant(entry.Move);
      if (doubleCheck && MovedPiece(entry.Move) != KING) report += name + ": not a king move in double check\n";
      if (entry.Safety != ExpectedSafety(entry.Move))
        report += name + ": safety " + std::to_string(entry.Safety) + " differs from the exchange test\n";
      if (IsQuietReply(entry.Move)) {
        bestQuiet = std::max(bestQuiet, entry.Score);
        continue;
      }
      const int expected = ExpectedCaptureEvasionScore(entry.Move, entry.Safety);
      if (entry.Score != expected)
        report += name + ": score " + std::to_string(entry.Score) + ", expected " + std::to_string(expected) + "\n";
      if (entry.Score > 0) worstLiftedCapture = std::min(worstLiftedCapture, entry.Score);
    }
    if (worstLiftedCapture <= bestQuiet) report += "a quiet reply scores as high as a winning capture\n";
    return report;
  });
  // The sample must reach the rarer shapes of check for the oracle to mean something.
  EXPECT_GE(doubleChecks, 20);
  EXPECT_GT(enPassantReplies, 0);
  EXPECT_GT(mates, 0);
}

TEST_F(MoveTest, DoubleCheckLeavesOnlyTheKingSteps) {
  // Rook on a1 and knight on d3 both check; the queen could take the knight, but may not.
  ForBothColours("4k3/8/8/8/3Q4/3n4/8/r3K3 w - - 0 1", [](auto sq) {
    const MoveList expected = {MakeMove(sq("e1"), sq("d2"), KING, NONE), MakeMove(sq("e1"), sq("e2"), KING, NONE)};
    EXPECT_EQ(CompareMoves(expected, MovesOf(Evasions())), "");
  });
}

TEST_F(MoveTest, TripleCheckOfASetUpPositionStillKeepsTheKingOffEveryLine) {
  // Knight b7, bishop c7 and pawn e7 all check: the bishop sorts between the other two checkers, and e5 behind
  // the king on its diagonal stays forbidden.
  ForBothColours("7k/1nb1p3/3K4/8/8/8/8/8 w - - 0 1", [](auto sq) {
    const MoveList moves = MovesOf(Evasions());
    EXPECT_FALSE(Contains(moves, MakeMove(sq("d6"), sq("e5"), KING, NONE))) << Names(moves);
    EXPECT_EQ(CompareMoves(ReferenceLegalMoves(), moves), "");
  });
}

TEST_F(MoveTest, KingMayNotStepBackAlongTheCheckingLine) {
  // f1 lies behind the king on the rook's rank: a lookup that kept the king as a blocker would allow it.
  ForBothColours("4k3/8/8/8/8/8/8/r3K3 w - - 0 1", [](auto sq) {
    const MoveList moves = MovesOf(Evasions());
    EXPECT_FALSE(Contains(moves, MakeMove(sq("e1"), sq("f1"), KING, NONE))) << Names(moves);
    EXPECT_EQ(moves.size(), 3u) << Names(moves);
  });
  // Taking the adjacent checker steps against the ray and is allowed while the square is not covered.
  ForBothColours("4k3/8/8/8/8/8/8/3rK3 w - - 0 1", [](auto sq) {
    const MoveList expected = {MakeMove(sq("e1"), sq("d1"), KING, ROOK), MakeMove(sq("e1"), sq("e2"), KING, NONE),
                               MakeMove(sq("e1"), sq("f2"), KING, NONE)};
    EXPECT_EQ(CompareMoves(expected, MovesOf(Evasions())), "");
  });
  ForBothColours("4k3/8/8/8/b7/8/8/3rK3 w - - 0 1", [](auto sq) {
    EXPECT_FALSE(Contains(MovesOf(Evasions()), MakeMove(sq("e1"), sq("d1"), KING, ROOK)));
  });
}

TEST_F(MoveTest, CheckingPawnThatJustDoubleSteppedCanBeTakenEnPassant) {
  ForBothColours("8/8/8/2k5/3Pp3/8/8/4K3 b - d3 0 1", [](auto sq) {
    const u32 capture = MakeMove(sq("e4"), sq("d3"), PAWN, NONE);
    const auto entries = Evasions();
    const MoveEntry *entry = FindEntry(entries, capture);
    ASSERT_NE(entry, nullptr) << Names(MovesOf(entries));
    EXPECT_EQ(entry->Score, EN_PASSANT_EVASION_SCORE);
    EXPECT_EQ(entry->Safety, 1);
  });
  // Without the double step just made there is no such capture.
  ForBothColours("8/8/8/2k5/3Pp3/8/8/4K3 b - - 0 1", [](auto sq) {
    EXPECT_FALSE(Contains(MovesOf(Evasions()), MakeMove(sq("e4"), sq("d3"), PAWN, NONE)));
  });
  // A double step that uncovers a bishop's check: taking the pawn does not help.
  ForBothColours("8/8/8/4k3/1Pp5/8/8/B3K3 b - b3 0 1", [](auto sq) {
    EXPECT_FALSE(Contains(MovesOf(Evasions()), MakeMove(sq("c4"), sq("b3"), PAWN, NONE)));
  });
}

TEST_F(MoveTest, PinnedPieceDoesNotTakeTheChecker) {
  ForBothColours("4r1k1/8/8/8/8/5n2/4B3/4K3 w - - 0 1", [](auto sq) {
    const MoveList moves = MovesOf(Evasions());
    EXPECT_FALSE(Contains(moves, MakeMove(sq("e2"), sq("f3"), BISHOP, KNIGHT))) << Names(moves);
    EXPECT_EQ(CompareMoves(ReferenceLegalMoves(), moves), "");
  });
}

TEST_F(MoveTest, PromotionsBlockOrTakeTheCheckerAheadOfQuietReplies) {
  ForBothColours("K6r/4P1P1/8/8/8/8/8/7k w - - 0 1", [](auto sq) {
    const auto entries = Evasions();
    EXPECT_EQ(CompareMoves(ReferenceLegalMoves(), MovesOf(entries)), "");
    EXPECT_NE(FindEntry(entries, MakeMove(sq("e7"), sq("e8"), PAWN, NONE, QUEEN)), nullptr);
    const MoveEntry *take = FindEntry(entries, MakeMove(sq("g7"), sq("h8"), PAWN, ROOK, QUEEN));
    ASSERT_NE(take, nullptr);
    EXPECT_EQ(take->Safety, 1);
    for (const MoveEntry &entry : entries) {
      if (IsQuietReply(entry.Move)) {
        EXPECT_LT(entry.Score, take->Score) << MoveName(entry.Move);
      }
    }
  });
}

TEST_F(MoveTest, NoReplyToMateAndNothingOutsideItsStage) {
  ForBothColours("R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1", [](auto) {
    MoveStackTop = 5;
    EXPECT_EQ(GenerateEvasionsNow(), 0);
    EXPECT_EQ(GenerateEvasions(14), 0);
    EXPECT_EQ(MoveStackTop, 5);
    MoveStackTop = 0;
  });
  ForBothColours("4k3/8/8/8/8/8/8/r3K3 w - - 0 1", [](auto) {
    EXPECT_EQ(GenerateEvasions(13), 0);
    EXPECT_EQ(MoveStackTop, 0);
    PlyStack[Ply].TriedCount = 4;
    GenerateEvasionsList();
    EXPECT_EQ(MoveStackTop, 3);
    EXPECT_EQ(PlyStack[Ply].TriedCount, 4);  // the list entry point keeps the ply's count
    MoveStackTop = 0;
    EXPECT_EQ(GenerateEvasions(14), 12);
    EXPECT_EQ(MoveStackTop, 3);
    EXPECT_EQ(PlyStack[Ply].TriedCount, 0);
    MoveStackTop = 0;
  });
}

TEST_F(MoveTest, QuietRepliesRankByCheckRepliesAndHistoryBelowWinningCaptures) {
  // The rook gives check from a1 (a8 for black); the knight can take it, the king can step aside.
  ForBothColours("r3k3/8/8/8/8/8/2N5/4K3 b - - 0 1", [](auto sq) {
    make_move(MakeMove(sq("a8"), sq("a1"), ROOK, NONE), 1);
    const int us = thread_board.SideToMove, king = sq("e1"), checkFrom = sq("a1");
    const u32 first = MakeMove(king, sq("f2"), KING, NONE), second = MakeMove(king, sq("d2"), KING, NONE);
    const u32 remembered = MakeMove(king, sq("e2"), KING, NONE);
    const u32 capture = MakeMove(sq("c2"), sq("a1"), KNIGHT, ROOK);
    CheckReplies[0][checkFrom][king][us] = first;
    CheckReplies[1][checkFrom][king][us] = second;
    HistoryTable[1][2][HistoryClass[KING]][remembered & 0xFFF][us] = 1000;
    const auto entries = Evasions();
    ASSERT_EQ(CompareMoves({first, second, remembered, capture}, MovesOf(entries)), "");
    EXPECT_EQ(FindEntry(entries, first)->Score, 80000);
    EXPECT_EQ(FindEntry(entries, second)->Score, 40000);
    EXPECT_EQ(FindEntry(entries, remembered)->Score, 1000 + 250);
    EXPECT_EQ(FindEntry(entries, capture)->Score, 4700 - 40 + 100000 + EVASION_CAPTURE_OFFSET);
  });
}

TEST_F(MoveTest, PinnedPieceIsFoundOnEveryLineAndOnlyWithAPinner) {
  struct Case {
    const char *fen, *square;
    bool pinned;
  };
  const Case cases[] = {
      {"4r1k1/8/8/8/4N3/8/8/4K3 w - - 0 1", "e4", true},    // file, rook
      {"4b1k1/8/8/8/4N3/8/8/4K3 w - - 0 1", "e4", false},   // a bishop pins nothing on a file
      {"4r1k1/4p3/8/8/4N3/8/8/4K3 w - - 0 1", "e4", false}, // the pinner is screened
      {"4r1k1/8/8/8/4N3/4P3/8/4K3 w - - 0 1", "e4", false}, // another piece shields the king
      {"6k1/8/8/q7/8/2R5/8/4K3 w - - 0 1", "c3", true},     // diagonal down to the king, queen
      {"6k1/8/8/r7/8/2R5/8/4K3 w - - 0 1", "c3", false},    // a rook pins nothing on a diagonal
      {"6k1/8/8/8/8/8/8/r1B1K3 w - - 0 1", "c1", true},     // rank, rook
      {"6k1/8/8/7b/6P1/8/8/4K3 w - - 0 1", "g4", false},    // not on a line with the king
      {"6k1/8/7b/8/8/8/3N4/2K5 w - - 0 1", "d2", true},     // diagonal up from the king, bishop
  };
  for (const Case &c : cases)
    ForBothColours(c.fen, [&](auto sq) { EXPECT_EQ(IsPinnedPiece(sq(c.square)), c.pinned) << c.square; });
}
