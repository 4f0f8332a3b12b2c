// The class generators, LegalMoves, IsLegal, AddMoveIfValid, capture scoring and perft.
#include "board/move_scoring.h"
#include "tests/unit/move_list.h"
#include "tools/perft.h"

using namespace movetest;

namespace {

// Reference perft from the mailbox generator, making the moves on the engine's board.
i64 ReferencePerft(int depth) {
  const MoveList moves = ReferenceLegalMoves();
  if (depth == 1) return i64(moves.size());
  i64 total = 0;
  for (u32 move : moves) {
    make_move(move, 1);
    total += ReferencePerft(depth - 1);
    unmake_move();
  }
  return total;
}

i64 EnginePerft(int depth) {
  MoveStackTop = 0;
  PerftCount = 0;
  Perft(depth);
  return PerftCount;
}

// The capture statistics cell of a move, by its documented layout.
int StatisticsIndex(u32 move, int side, int safety) {
  return int(CapturedPiece(move) * 8 | MovedPiece(move) | (move & 0xFC0) | MoveFrom(move) << 12 |
             (side == BLACK ? 0x2000 : 0) | (safety != 1 ? 0x4000 : 0));
}

std::vector<MoveEntry> AllCaptures() {
  return GenerateEntries([] { GenerateCaptures(thread_board.Pieces[ChangeSide(thread_board.SideToMove)]); });
}

}  // namespace

// ----------------------------------------------------------------------------------------------
// Perft

TEST_F(MoveTest, PerftMatchesTheReferenceCountsOfEachPositionAndOfItsMirror) {
  // Depths are taken per line while their counts fit the budget, so the whole file runs quickly.
  constexpr i64 NODE_BUDGET = 25000;
  ASSERT_GT(PerftLines().size(), 100u) << "perft file not read from " << TestDataDirectory();
  for (const PerftLine &line : PerftLines()) {
    i64 spent = 0;
    for (int depth = 1; depth <= int(line.counts.size()); depth++) {
      if (depth > 1 && spent + line.counts[depth - 1] > NODE_BUDGET) break;
      spent += line.counts[depth - 1];
      for (const std::string &fen : {line.fen, MirrorFen(line.fen)}) {
        LoadFen(fen.c_str());
        EXPECT_EQ(EnginePerft(depth), line.counts[depth - 1]) << fen << " depth " << depth;
      }
    }
  }
}

TEST_F(MoveTest, PerftOfHandMadePositionsMatchesTheReferenceGenerator) {
  for (const std::string &root : HandMadeRoots())
    for (const std::string &fen : {root, MirrorFen(root)}) {
      LoadFen(fen.c_str());
      const i64 expected = ReferencePerft(2);
      EXPECT_EQ(EnginePerft(2), expected) << fen;
    }
}

TEST_F(MoveTest, PerftCountsNothingWhenTheSideNotToMoveStandsInCheck) {
  // The black rook attacks the white king with black to move: every line starts from an illegal position.
  for (const std::string &fen : {std::string("4k3/8/8/8/8/8/8/r3K3 b - - 0 1"), MirrorFen("4k3/8/8/8/8/8/8/r3K3 b - - 0 1")})
    for (int depth = 1; depth <= 3; depth++) {
      LoadFen(fen.c_str());
      EXPECT_EQ(EnginePerft(depth), 0) << fen << " depth " << depth;
      EXPECT_EQ(MoveStackTop, 0);
    }
}

// ----------------------------------------------------------------------------------------------
// Oracles over the sample of positions

TEST_F(MoveTest, ClassGeneratorsTogetherGiveEveryPseudoLegalMoveOnce) {
  ForEachPosition(WalkSample(), [] { return CompareMoves(ReferencePseudoMoves(), EnginePseudoMoves()); });
}

TEST_F(MoveTest, LegalMovesAreThePseudoLegalMovesThatLeaveTheKingSafe) {
  ForEachPosition(WalkSample(), [] {
    const bool inCheck = SideToMoveInCheck();
    const MoveList filtered = Filter(EnginePseudoMoves(), [inCheck](u32 move) {
      return CapturedPiece(move) != KING && !(inCheck && IsCastling(move)) && KeepsOwnKingSafe(move);
    });
    const MoveList legal = EngineLegalMoves();
    return CompareMoves(filtered, legal) + CompareMoves(ReferenceLegalMoves(), legal);
  });
}

// Each generator keeps to its class, classifies by exchange and scores captures from the tables;
// the "good" and "safe" variants keep exactly the entries of Safety 1.
TEST_F(MoveTest, GeneratorsKeepToTheirClassAndClassifyEachMove) {
  ForEachPosition(WalkSample(), [] {
    const u64 targets = thread_board.Pieces[ChangeSide(thread_board.SideToMove)];
    const auto captures = AllCaptures();
    const auto promotions = GenerateEntries([] { GeneratePromotions(); });
    const auto quiets = GenerateEntries([] { GenerateQuiets(1); });
    std::string report;
    auto fault = [&](const MoveEntry &entry, const char *what) {
      report += MoveName(entry.Move) + " (score " + std::to_string(entry.Score) + ", safety " +
                std::to_string(entry.Safety) + "): " + what + "\n";
    };
    for (const MoveEntry &entry : captures) {
      const u32 move = entry.Move;
      if (!CapturedPiece(move) && !IsEnPassant(move)) fault(entry, "no capture among the captures");
      if (entry.Safety != ExpectedSafety(move)) fault(entry, "safety differs from the exchange test");
      const int base = CaptureValue[CapturedPiece(move)] * 10 - CaptureValue[MovedPiece(move)];
      const int expected = IsEnPassant(move)    ? 100901
                           : entry.Safety == 1 ? base - 40 + (PromotionPiece(move) ? 108000 : 100000)
                                               : base - 128000;
      if (entry.Score != expected) fault(entry, ("score should be " + std::to_string(expected)).c_str());
    }
    for (const MoveEntry &entry : promotions) {
      if (!PromotionPiece(entry.Move) || CapturedPiece(entry.Move)) fault(entry, "not a plain promotion");
      if (entry.Safety != ExpectedSafety(entry.Move)) fault(entry, "safety differs from the exchange test");
    }
    for (const MoveEntry &entry : quiets) {
      if (IsCaptureOrPromotion(entry.Move) || IsEnPassant(entry.Move)) fault(entry, "not quiet");
      if (entry.Safety != ExpectedSafety(entry.Move)) fault(entry, "safety differs from the exchange test");
    }
    auto safeOnes = [](const std::vector<MoveEntry> &entries) {
      MoveList kept;
      for (const MoveEntry &entry : entries)
        if (entry.Safety == 1) kept.push_back(entry.Move);
      return kept;
    };
    const auto goodCaptures = GenerateEntries([targets] { GenerateGoodCaptures(targets); });
    const auto safeQuiets = GenerateEntries([] { GenerateSafeQuiets(1); });
    for (const auto *entries : {&goodCaptures, &safeQuiets})
      for (const MoveEntry &entry : *entries)
        if (entry.Safety != 1) fault(entry, "a losing move among the good ones");
    const std::string good = CompareMoves(safeOnes(captures), safeOnes(goodCaptures));
    const std::string safe = CompareMoves(safeOnes(quiets), safeOnes(safeQuiets));
    if (!good.empty()) report += "GenerateGoodCaptures: " + good;
    if (!safe.empty()) report += "GenerateSafeQuiets: " + safe;
    return report;
  });
}

// With the node's attack map in place, a move whose squares the enemy does not reach is taken as
// safe without the exchange test: the classification must come out the same.
TEST_F(MoveTest, AttackMapShortcutAgreesWithTheExchangeTest) {
  auto classifications = [] {
    std::vector<std::pair<u32, int>> all;
    auto take = [&all](const std::vector<MoveEntry> &entries) {
      for (const MoveEntry &entry : entries) all.push_back({entry.Move, entry.Safety});
    };
    if (SideToMoveInCheck()) {
      // Capturing under-promotions among the evasions take MoveSafety, which the map can make 1 though
      // the exchange test never passes an under-promotion: they are left out of the comparison.
      for (const MoveEntry &entry : GenerateEntries([] { GenerateEvasionsNow(); }))
        if (!PromotionPiece(entry.Move) || PromotionPiece(entry.Move) == QUEEN) all.push_back({entry.Move, entry.Safety});
      return all;
    }
    take(AllCaptures());
    take(GenerateEntries([] { GeneratePromotions(); }));
    take(GenerateEntries([] { GenerateQuiets(1); }));
    take(GenerateEntries([] { GenerateChecks(1); }));
    return all;
  };
  auto compare = [&] {
    const int them = ChangeSide(thread_board.SideToMove);
    PlyStack[Ply].Attacks[them] = 0;
    const auto byExchange = classifications();
    PlyStack[Ply].Attacks[them] = MailboxAttackMap(them);
    const auto byMap = classifications();
    PlyStack[Ply].Attacks[them] = 0;
    std::string report;
    if (byMap.size() != byExchange.size()) return std::string("the lists differ in length\n");
    for (size_t i = 0; i < byMap.size(); i++)
      if (byMap[i] != byExchange[i])
        report += MoveName(byExchange[i].first) + ": safety " + std::to_string(byExchange[i].second) +
                  " by exchange, " + std::to_string(byMap[i].second) + " with the attack map\n";
    return report;
  };
  ForEachPosition(WalkSample(), compare);
  ForEachPosition(CheckSample(), compare);
}

// ----------------------------------------------------------------------------------------------
// Promotions and en passant

TEST_F(MoveTest, PawnCaptureOnTheLastRankGivesQueenFirstThenLowScoredUnderPromotions) {
  ForBothColours("r3k3/1P6/8/8/8/8/8/4K3 w - - 0 1", [](auto sq) {
    const auto captures = AllCaptures();
    ASSERT_EQ(captures.size(), 4u);
    EXPECT_EQ(captures[0].Move, MakeMove(sq("b7"), sq("a8"), PAWN, ROOK, QUEEN));
    EXPECT_EQ(captures[0].Safety, 1);
    EXPECT_EQ(captures[0].Score, 4900 - 40 + 108000);
    MoveList underPromotions;
    for (size_t i = 1; i < captures.size(); i++) {
      underPromotions.push_back(captures[i].Move);
      EXPECT_LT(captures[i].Score, -119000) << MoveName(captures[i].Move);
      EXPECT_EQ(captures[i].Safety, 0) << MoveName(captures[i].Move);
    }
    MoveList expected;
    for (int piece : {KNIGHT, ROOK, BISHOP}) expected.push_back(MakeMove(sq("b7"), sq("a8"), PAWN, ROOK, piece));
    EXPECT_EQ(CompareMoves(expected, underPromotions), "");
  });
}

TEST_F(MoveTest, GoodCapturesPromoteToQueenOnly) {
  ForBothColours("r3k3/1P6/8/8/8/8/8/4K3 w - - 0 1", [](auto sq) {
    const MoveList good = Generate([] { GenerateGoodCaptures(thread_board.Pieces[ChangeSide(thread_board.SideToMove)]); });
    EXPECT_EQ(CompareMoves({MakeMove(sq("b7"), sq("a8"), PAWN, ROOK, QUEEN)}, good), "");
  });
}

TEST_F(MoveTest, PlainPromotionsScoreTheQueenHighAndTheOthersLow) {
  ForBothColours("4k3/1P6/8/8/8/8/8/4K3 w - - 0 1", [](auto sq) {
    const auto promotions = GenerateEntries([] { GeneratePromotions(); });
    ASSERT_EQ(promotions.size(), 4u);
    EXPECT_EQ(promotions[0].Move, MakeMove(sq("b7"), sq("b8"), PAWN, NONE, QUEEN));
    EXPECT_EQ(promotions[0].Score, -100 - 40 + 108000);
    EXPECT_EQ(promotions[0].Safety, 1);
    for (size_t i = 1; i < promotions.size(); i++) {
      EXPECT_EQ(promotions[i].Score, -128100) << MoveName(promotions[i].Move);
      EXPECT_EQ(promotions[i].Safety, 0) << MoveName(promotions[i].Move);
    }
  });
}

TEST_F(MoveTest, EnPassantIsGeneratedWithoutTargetsAsASafeCapture) {
  ForBothColours("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", [](auto sq) {
    const auto entries = GenerateEntries([] { GenerateCaptures(0); });
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].Move, MakeMove(sq("e5"), sq("d6"), PAWN, NONE));
    EXPECT_EQ(entries[0].Score, 100901);
    EXPECT_EQ(entries[0].Safety, 1);
  });
}

TEST_F(MoveTest, TwoPawnsBesideADoubleStepBothTakeEnPassantLowerSquareFirst) {
  ForBothColours("4k3/8/8/2PpP3/8/8/8/4K3 w - d6 0 1", [](auto sq) {
    const MoveList moves = Generate([] { GenerateCaptures(0); });
    // Mirroring keeps the files, so c-pawn before e-pawn for both colours.
    const MoveList expected = {MakeMove(sq("c5"), sq("d6"), PAWN, NONE), MakeMove(sq("e5"), sq("d6"), PAWN, NONE)};
    EXPECT_EQ(moves, expected) << Names(moves);
  });
}

TEST_F(MoveTest, EnPassantRightFollowsARealDoubleStepAndLastsOnePly) {
  ForBothColours("4k3/3p4/8/4P3/8/8/8/4K3 b - - 0 1", [](auto sq) {
    const u32 capture = MakeMove(sq("e5"), sq("d6"), PAWN, NONE);
    make_move(MakeMove(sq("d7"), sq("d5"), PAWN, NONE), 1);
    EXPECT_TRUE(Contains(EngineLegalMoves(), capture));
    make_move(MakeMove(sq("e1"), sq("e2"), KING, NONE), 1);
    make_move(MakeMove(sq("e8"), sq("e7"), KING, NONE), 1);
    EXPECT_TRUE(Generate([] { GenerateCaptures(0); }).empty());
    EXPECT_FALSE(Contains(EngineLegalMoves(), capture));
  });
  // Two single steps reach the same square but give no right.
  ForBothColours("4k3/3p4/8/4P3/8/8/8/4K3 b - - 0 1", [](auto sq) {
    make_move(MakeMove(sq("d7"), sq("d6"), PAWN, NONE), 1);
    make_move(MakeMove(sq("e1"), sq("e2"), KING, NONE), 1);
    make_move(MakeMove(sq("d6"), sq("d5"), PAWN, NONE), 1);
    EXPECT_TRUE(Generate([] { GenerateCaptures(0); }).empty());
  });
}

// ----------------------------------------------------------------------------------------------
// Capture scores from the statistics

TEST_F(MoveTest, SafeCaptureBonusFollowsTheCutoffRateOnceTriedNineTimes) {
  struct Case {
    int tried, cutoffs, bonus;
  };
  const Case cases[] = {{0, 0, -40}, {8, 8, -40}, {9, 0, -40}, {9, 9, 120}, {10, 5, 40}, {32, 15, 30}};
  ForBothColours("4k3/8/8/8/3r4/1N6/8/4K3 w - - 0 1", [&](auto sq) {
    // The knight leaves b3 (b6 for black): the side's own bit of the index is not hidden by the from square.
    const u32 move = MakeMove(sq("b3"), sq("d4"), KNIGHT, ROOK);
    const int index = StatisticsIndex(move, thread_board.SideToMove, 1);
    for (const Case &c : cases) {
      CaptureTried[index] = c.tried;
      CaptureCutoffs[index] = c.cutoffs;
      const auto captures = AllCaptures();
      const MoveEntry *entry = FindEntry(captures, move);
      ASSERT_NE(entry, nullptr);
      EXPECT_EQ(entry->Safety, 1);
      EXPECT_EQ(entry->Score, 4700 + c.bonus + 100000) << c.cutoffs << "/" << c.tried;
    }
  });
}

TEST_F(MoveTest, LosingCaptureEarnsSafetyTwoFromAGoodEnoughRate) {
  struct Case {
    int tried, cutoffs, score, safety;
  };
  // base 100: the queen takes a pawn that a pawn defends.
  const Case cases[] = {{0, 0, 100 - 128000, 0},    {8, 8, 100 - 128000, 0}, {16, 2, 100 - 32000, 0},
                        {16, 3, 100, 2},            {12, 3, 100 + 10000, 2}, {9, 9, 100 + 50000, 2}};
  ForBothColours("4k3/8/4p3/3p4/8/8/8/3QK3 w - - 0 1", [&](auto sq) {
    const u32 move = MakeMove(sq("d1"), sq("d5"), QUEEN, PAWN);
    const int index = StatisticsIndex(move, thread_board.SideToMove, 0);
    for (const Case &c : cases) {
      CaptureTried[index] = c.tried;
      CaptureCutoffs[index] = c.cutoffs;
      const auto captures = AllCaptures();
      const MoveEntry *entry = FindEntry(captures, move);
      ASSERT_NE(entry, nullptr);
      EXPECT_EQ(entry->Score, c.score) << c.cutoffs << "/" << c.tried;
      EXPECT_EQ(entry->Safety, c.safety) << c.cutoffs << "/" << c.tried;
      // A losing capture never reaches the good captures, whatever its rate.
      EXPECT_FALSE(Contains(Generate([] { GenerateGoodCaptures(thread_board.Pieces[ChangeSide(thread_board.SideToMove)]); }), move));
    }
  });
}

TEST_F(MoveTest, UnderPromotionsIgnoreTheirCaptureStatistics) {
  ForBothColours("r3k3/1P6/8/8/8/8/8/4K3 w - - 0 1", [](auto sq) {
    for (int piece : {KNIGHT, ROOK, BISHOP, QUEEN}) {
      const u32 move = MakeMove(sq("b7"), sq("a8"), PAWN, ROOK, piece);
      const int index = StatisticsIndex(move, thread_board.SideToMove, piece == QUEEN ? 1 : 0);
      CaptureTried[index] = CaptureCutoffs[index] = 20;
    }
    for (const MoveEntry &entry : AllCaptures()) {
      const bool queen = PromotionPiece(entry.Move) == QUEEN;
      EXPECT_EQ(entry.Score, queen ? 4900 + 120 + 108000 : 4900 - 128000) << MoveName(entry.Move);
      EXPECT_EQ(entry.Safety, queen ? 1 : 0) << MoveName(entry.Move);
    }
  });
}

// ----------------------------------------------------------------------------------------------
// AddMoveIfValid

TEST_F(MoveTest, AddMoveIfValidRefusesCapturesAlongLinesAndAcceptsPossibleQuietMoves) {
  ForBothColours("4k3/8/8/8/Q2pp3/2N4p/3R1BP1/4Kn2 w - - 0 1", [](auto sq) {
    auto accepted = [](u32 move) {
      const auto entries = GenerateEntries([move] { AddMoveIfValid(move); });
      if (entries.empty()) return false;
      EXPECT_EQ(entries.size(), 1u);
      EXPECT_EQ(entries[0].Move, move);
      EXPECT_EQ(entries[0].Score, 0);
      EXPECT_EQ(entries[0].Safety, UNKNOWN_SAFETY);
      return true;
    };
    // Possible captures along lines are refused: rook, bishop, queen, pawn, king.
    EXPECT_FALSE(accepted(MakeMove(sq("d2"), sq("d4"), ROOK, PAWN)));
    EXPECT_FALSE(accepted(MakeMove(sq("f2"), sq("d4"), BISHOP, PAWN)));
    EXPECT_FALSE(accepted(MakeMove(sq("a4"), sq("d4"), QUEEN, PAWN)));
    EXPECT_FALSE(accepted(MakeMove(sq("g2"), sq("h3"), PAWN, PAWN)));
    EXPECT_FALSE(accepted(MakeMove(sq("e1"), sq("f1"), KING, KNIGHT)));
    // A knight's capture shares no line and passes.
    EXPECT_TRUE(accepted(MakeMove(sq("c3"), sq("e4"), KNIGHT, PAWN)));
    // Quiet moves that can be played.
    for (u32 move : {MakeMove(sq("d2"), sq("d3"), ROOK, NONE), MakeMove(sq("a4"), sq("b5"), QUEEN, NONE),
                     MakeMove(sq("c3"), sq("b5"), KNIGHT, NONE), MakeMove(sq("g2"), sq("g3"), PAWN, NONE),
                     MakeMove(sq("g2"), sq("g4"), PAWN, NONE), MakeMove(sq("e1"), sq("e2"), KING, NONE)})
      EXPECT_TRUE(accepted(move)) << MoveName(move);
    // Quiet moves that cannot: blocked, onto a piece, wrong piece, empty or enemy from square.
    for (u32 move : {MakeMove(sq("d2"), sq("d5"), ROOK, NONE), MakeMove(sq("d2"), sq("d4"), ROOK, NONE),
                     MakeMove(sq("f2"), sq("g1"), KNIGHT, NONE), MakeMove(sq("d2"), sq("e2"), BISHOP, NONE),
                     MakeMove(sq("b2"), sq("b3"), PAWN, NONE), MakeMove(sq("e4"), sq("e3"), PAWN, NONE),
                     MakeMove(sq("a4"), sq("h4"), QUEEN, NONE), MakeMove(sq("d2"), sq("f2"), ROOK, NONE)})
      EXPECT_FALSE(accepted(move)) << MoveName(move);
  });
}

TEST_F(MoveTest, AddMoveIfValidCastlesOnlyWithRightPathAndSafeSquares) {
  auto castles = [](auto sq, const char *to) {
    const u32 move = MakeMove(sq("e1"), sq(to), KING, NONE);
    return Generate([move] { AddMoveIfValid(move); }) == MoveList{move};
  };
  ForBothColours("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", [&](auto sq) {
    EXPECT_TRUE(castles(sq, "g1"));
    EXPECT_TRUE(castles(sq, "c1"));
  });
  // b1 attacked: the king does not cross it.
  ForBothColours("1r2k3/8/8/8/8/8/8/R3K2R w KQ - 0 1", [&](auto sq) { EXPECT_TRUE(castles(sq, "c1")); });
  // f1, d1, g1 or c1 attacked: no castling that way.
  ForBothColours("4kr2/8/8/8/8/8/8/R3K2R w KQ - 0 1", [&](auto sq) {
    EXPECT_FALSE(castles(sq, "g1"));
    EXPECT_TRUE(castles(sq, "c1"));
  });
  ForBothColours("3rk3/8/8/8/8/8/8/R3K2R w KQ - 0 1", [&](auto sq) {
    EXPECT_FALSE(castles(sq, "c1"));
    EXPECT_TRUE(castles(sq, "g1"));
  });
  ForBothColours("4k3/8/8/8/8/7n/8/R3K2R w KQ - 0 1", [&](auto sq) {
    EXPECT_FALSE(castles(sq, "g1"));
    EXPECT_TRUE(castles(sq, "c1"));
  });
  ForBothColours("4k3/8/8/8/8/b7/8/R3K2R w KQ - 0 1", [&](auto sq) {
    EXPECT_FALSE(castles(sq, "c1"));
    EXPECT_TRUE(castles(sq, "g1"));
  });
  // No right, or a piece in the way.
  ForBothColours("4k3/8/8/8/8/8/8/R3K2R w K - 0 1", [&](auto sq) { EXPECT_FALSE(castles(sq, "c1")); });
  ForBothColours("4k3/8/8/8/8/8/8/RN2K1NR w KQ - 0 1", [&](auto sq) {
    EXPECT_FALSE(castles(sq, "c1"));
    EXPECT_FALSE(castles(sq, "g1"));
  });
}

// ----------------------------------------------------------------------------------------------
// IsLegal and LegalMoves

TEST_F(MoveTest, IsLegalRefusesAKingCaptureAndPinnedMoves) {
  ForBothColours("4k2R/8/8/8/8/8/8/4K3 w - - 0 1", [](auto sq) {
    MoveStackTop = 7;
    EXPECT_FALSE(IsLegal(MakeMove(sq("h8"), sq("e8"), ROOK, KING)));
    EXPECT_EQ(MoveStackTop, 7);
    MoveStackTop = 0;
  });
  ForBothColours("4k3/4r3/8/8/8/8/4B3/4K3 w - - 0 1", [](auto sq) {
    EXPECT_FALSE(IsLegal(MakeMove(sq("e2"), sq("d3"), BISHOP, NONE)));  // pinned
    EXPECT_FALSE(IsLegal(MakeMove(sq("e2"), sq("e5"), BISHOP, NONE)));  // no such move
    EXPECT_TRUE(IsLegal(MakeMove(sq("e1"), sq("d1"), KING, NONE)));
  });
}

TEST_F(MoveTest, LegalMovesWithoutAnyMoveLeavesTheTopAtItsStart) {
  // Stalemate and mate.
  for (const char *fen : {"7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", "R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1"})
    ForBothColours(fen, [](auto) {
      Ply = 3;
      LegalMoves(100);
      EXPECT_EQ(MoveStackTop, 100);
      EXPECT_EQ(Ply, 3);
      MoveStackTop = 0;
    });
}
