// The generator of quiet checking moves: what it gives checks, and no safe quiet check is missed.
#include "tests/unit/move_list.h"

using namespace movetest;

namespace {

std::vector<MoveEntry> Checks() {
  return GenerateEntries([] { GenerateChecks(1); });
}

MoveList CheckMoves() { return MovesOf(Checks()); }

// A quiet move in the generator's sense: to an empty square, no promotion, not en passant.
bool IsPlainQuiet(u32 move) { return !IsCaptureOrPromotion(move) && !IsEnPassant(move); }

}  // namespace

// Legal quiet checks that do not lose by exchange must all come; pawn moves from the seventh rank
// are promotions and lie outside both sets. Queens only give direct checks, but in a legal position
// a queen cannot uncover a check: she would already give it along the same line.
TEST_F(MoveTest, ChecksGiveEverySafeQuietCheckAndNothingElse) {
  int positionsWithChecks = 0, discovered = 0, castlingChecks = 0;
  ForEachPosition(WalkSample(), [&]() -> std::string {
    if (SideToMoveInCheck()) return "";
    const auto entries = Checks();
    const MoveList pseudo = ReferencePseudoMoves();
    MoveList generated;
    std::string report;
    for (const MoveEntry &entry : entries) {
      const u32 move = entry.Move;
      generated.push_back(move);
      const std::string name = MoveName(move);
      if (!Contains(pseudo, move)) report += name + ": not a move here\n";
      else if (!IsPlainQuiet(move)) report += name + ": not quiet\n";
      else if (!GivesCheck(move)) report += name + ": gives no check\n";
      if (entry.Safety == 0 || entry.Safety != MoveSafety(move))
        report += name + ": safety " + std::to_string(entry.Safety) + "\n";
    }
    const MoveList expected = Filter(ReferenceLegalMoves(), [](u32 move) {
      return IsPlainQuiet(move) && MoveSafety(move) == 1 && GivesCheck(move);
    });
    MoveList missing;
    for (u32 move : expected)
      if (!Contains(generated, move)) missing.push_back(move);
    if (!missing.empty()) report += "missing: " + Names(missing) + "\n";
    const MoveList repeated = Duplicates(generated);
    if (!repeated.empty()) report += "more than once: " + Names(repeated) + "\n";
    positionsWithChecks += !expected.empty();
    for (u32 move : expected) {
      castlingChecks += IsCastling(move);
      // Discovered: the moved piece does not attack the king from its new square.
      make_move(move, 1);
      Mailbox box = CurrentMailbox();
      discovered += !MailboxPieceAttacks(box, MoveTo(move), thread_board.KingSquare[thread_board.SideToMove]);
      unmake_move();
    }
    return report;
  });
  EXPECT_GT(positionsWithChecks, 500);
  EXPECT_GT(discovered, 20);
  EXPECT_GT(castlingChecks, 5);
}

TEST_F(MoveTest, PieceInFrontOfItsQueenChecksWithEveryMove) {
  ForBothColours("4k3/8/8/8/4N3/8/8/4QK2 w - - 0 1", [](auto sq) {
    const MoveList moves = CheckMoves();
    int knightMoves = 0;
    for (u32 move : moves) knightMoves += MoveFrom(move) == sq("e4");
    EXPECT_EQ(knightMoves, 8) << Names(moves);
  });
}

TEST_F(MoveTest, PawnDoubleStepChecksOnlyThroughAnEmptySquareAndAtTheRightRank) {
  // The knight guards the pawn's square against the king; it has no check of its own.
  ForBothColours("8/8/8/3k4/8/8/1NP5/4K3 w - - 0 1", [](auto sq) {
    EXPECT_EQ(CheckMoves(), MoveList{MakeMove(sq("c2"), sq("c4"), PAWN, NONE)});
  });
  ForBothColours("8/8/8/3k4/8/2n5/1NP5/4K3 w - - 0 1", [](auto) { EXPECT_EQ(CheckMoves(), MoveList{}); });
  ForBothColours("8/8/8/8/3k4/8/2P5/1N2K3 w - - 0 1", [](auto sq) {
    EXPECT_EQ(CheckMoves(), MoveList{MakeMove(sq("c2"), sq("c3"), PAWN, NONE)});
  });
}

TEST_F(MoveTest, PawnsUncoverChecksAlongRanksAndDiagonals) {
  ForBothColours("8/8/8/R2P1k2/8/8/8/4K3 w - - 0 1", [](auto sq) {
    EXPECT_EQ(CompareMoves({MakeMove(sq("d5"), sq("d6"), PAWN, NONE)}, CheckMoves()), "");
  });
  ForBothColours("8/8/5k2/8/3P4/8/1B6/4K3 w - - 0 1", [](auto sq) {
    EXPECT_EQ(CompareMoves({MakeMove(sq("d4"), sq("d5"), PAWN, NONE)}, CheckMoves()), "");
  });
  ForBothColours("8/8/8/8/8/8/R2P2k1/4K3 w - - 0 1", [](auto sq) {
    const MoveList expected = {MakeMove(sq("d2"), sq("d3"), PAWN, NONE), MakeMove(sq("d2"), sq("d4"), PAWN, NONE)};
    EXPECT_EQ(CompareMoves(expected, CheckMoves()), "");
  });
  // From the seventh rank the step is a promotion, left to the promotion generator.
  ForBothColours("8/R1P2k2/8/8/8/8/8/4K3 w - - 0 1", [](auto sq) {
    EXPECT_TRUE(GivesCheck(MakeMove(sq("c7"), sq("c8"), PAWN, NONE, QUEEN)));
    EXPECT_EQ(CheckMoves(), MoveList{});
  });
}

TEST_F(MoveTest, PawnChecksAgainstAKingOnItsOwnSecondRank) {
  // The squares from which a pawn would give check lie on the edge rank, with nothing behind them.
  ForBothColours("4K3/8/8/8/8/3P4/5k2/8 w - - 0 1", [](auto) { EXPECT_EQ(CheckMoves(), MoveList{}); });
}

TEST_F(MoveTest, KingUncoversCheckOnlyByLeavingTheLine) {
  ForBothColours("4k3/8/8/8/4K3/8/8/4R3 w - - 0 1", [](auto sq) {
    MoveList expected;
    for (const char *to : {"d3", "d4", "d5", "f3", "f4", "f5"}) expected.push_back(MakeMove(sq("e4"), sq(to), KING, NONE));
    EXPECT_EQ(CompareMoves(expected, CheckMoves()), "");
  });
}

TEST_F(MoveTest, CheckThatLosesTheCheckingPieceIsDropped) {
  ForBothColours("4k3/8/1n6/8/8/8/8/R3K3 w - - 0 1", [](auto sq) {
    const u32 rookCheck = MakeMove(sq("a1"), sq("a8"), ROOK, NONE);
    ASSERT_TRUE(IsLegal(rookCheck) && GivesCheck(rookCheck));
    EXPECT_EQ(CheckMoves(), MoveList{});
  });
}

TEST_F(MoveTest, CastlingChecksByTheRookOnItsFileOrAlongTheBackRank) {
  auto castlingChecks = [](auto sq, const char *to) {
    const u32 move = MakeMove(sq("e1"), sq(to), KING, NONE);
    for (const MoveEntry &entry : Checks())
      if (entry.Move == move) return entry.Safety == 1;
    return false;
  };
  ForBothColours("5k2/8/8/8/8/8/8/4K2R w K - 0 1", [&](auto sq) { EXPECT_TRUE(castlingChecks(sq, "g1")); });
  ForBothColours("3k4/8/8/8/8/8/8/R3K3 w Q - 0 1", [&](auto sq) { EXPECT_TRUE(castlingChecks(sq, "c1")); });
  ForBothColours("8/8/8/8/8/8/8/R3K2k w Q - 0 1", [&](auto sq) { EXPECT_TRUE(castlingChecks(sq, "c1")); });
  // No check from the rook's square, or a castling that may not be played.
  ForBothColours("4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1", [&](auto sq) {
    EXPECT_FALSE(castlingChecks(sq, "g1"));
    EXPECT_FALSE(castlingChecks(sq, "c1"));
  });
  ForBothColours("5k2/8/8/8/8/8/7b/4K2R w K - 0 1", [&](auto sq) { EXPECT_FALSE(castlingChecks(sq, "g1")); });
}
