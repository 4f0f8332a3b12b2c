// The material table: phases, flags, signatures, trade bonuses, antisymmetry; material by hand beyond it.
#include <gtest/gtest.h>

#include <string>

#include "eval/eval_tables.h"
#include "eval/material.h"
#include "tests/unit/engine_fixture.h"
#include "tests/unit/values_loading.h"

namespace {

struct Counts {
  int wq, bq, wr, br, wb, bb, wn, bn, wp, bp;
};

const MaterialEntry &Entry(const Counts &c) {
  return MaterialTable[c.wq + 3 * c.bq + 9 * c.wr + 27 * c.br + 81 * c.wb + 243 * c.bb + 729 * c.wn + 2187 * c.bn +
                       6561 * c.wp + 59049 * c.bp];
}

class MaterialTest : public EngineTest {
 protected:
  static void SetUpTestSuite() {
    InitEngineTables();
    LoadCompiledDefaults();
  }
};

TEST_F(MaterialTest, EmptyBoardAndStartPositionEntries) {
  const MaterialEntry &empty = MaterialTable[0];
  EXPECT_EQ(empty.MaterialBalance, 0);
  EXPECT_EQ(empty.current_phase, 256);
  EXPECT_EQ(empty.white_phase, 256);
  EXPECT_EQ(empty.black_phase, 256);
  for (int side : {WHITE, BLACK}) EXPECT_EQ(empty.MaterialFlags[side], CANNOT_WIN | ENDING_FLAG);

  const MaterialEntry &start = MaterialTable[531436];
  EXPECT_EQ(start.current_phase, 0);
  EXPECT_EQ(start.white_phase, 0);
  EXPECT_EQ(start.black_phase, 0);
  EXPECT_EQ(start.MaterialBalance, 0);
  EXPECT_EQ(start.MaterialFlags[WHITE], 0);
  EXPECT_EQ(start.SignatureWhite, -1);
  // Knights and bishops 30, rooks 50, queen 100 of weighted force.
  EXPECT_EQ(start.MaterialOpening[WHITE], 2 * 30 + 2 * 30 + 2 * 50 + 100);

  const MaterialEntry &overflow = MaterialTable[MATERIAL_OVERFLOW];
  EXPECT_EQ(overflow.current_phase, -1);
  EXPECT_EQ(overflow.SignatureWhite, -1);
  EXPECT_EQ(overflow.SignatureBlack, -1);
}

TEST_F(MaterialTest, WhoCannotWinAndWhoNeedsNoKingSafety) {
  // K+B+N has a bishop and 6 points: it can win. K+N+N cannot, nor can a lone minor.
  EXPECT_EQ(Entry({0, 0, 0, 0, 1, 0, 1, 0, 0, 0}).MaterialFlags[WHITE] & CANNOT_WIN, 0);
  EXPECT_NE(Entry({0, 0, 0, 0, 0, 0, 2, 0, 0, 0}).MaterialFlags[WHITE] & CANNOT_WIN, 0);
  EXPECT_NE(Entry({0, 0, 0, 0, 1, 0, 0, 0, 0, 0}).MaterialFlags[WHITE] & CANNOT_WIN, 0);
  EXPECT_EQ(Entry({0, 0, 0, 0, 0, 0, 0, 0, 1, 0}).MaterialFlags[WHITE] & CANNOT_WIN, 0);
  // Black with queen and minor (12 points) threatens the white king; two rooks and a minor (13), no queen, don't.
  EXPECT_EQ(Entry({0, 1, 0, 0, 0, 1, 0, 0, 0, 0}).MaterialFlags[WHITE] & ENDING_FLAG, 0);
  EXPECT_NE(Entry({0, 0, 0, 2, 0, 1, 0, 0, 0, 0}).MaterialFlags[WHITE] & ENDING_FLAG, 0);
}

TEST_F(MaterialTest, SignaturesNumberTheSmallPairs) {
  int highest = -1, numbered = 0;
  for (int index = 0; index < 6561; index++) {  // the pawnless entries
    const MaterialEntry &e = MaterialTable[index];
    if (e.SignatureWhite > highest) highest = e.SignatureWhite;
    numbered += e.SignatureWhite >= 0;
    EXPECT_EQ(e.SignatureWhite < 0, e.SignatureBlack < 0);
  }
  EXPECT_EQ(highest, SIGNATURE_COUNT - 1);
  EXPECT_EQ(numbered, SIGNATURE_COUNT);
  EXPECT_EQ(Entry({0, 0, 0, 0, 0, 0, 0, 0, 0, 0}).SignatureWhite, 0);
  EXPECT_EQ(Entry({0, 0, 0, 0, 0, 0, 0, 1, 0, 0}).SignatureWhite, 1);
  EXPECT_EQ(Entry({1, 1, 0, 0, 0, 0, 0, 0, 0, 0}).SignatureWhite, 113);
  EXPECT_EQ(Entry({0, 0, 0, 0, 0, 0, 0, 1, 0, 0}).SignatureBlack, Entry({0, 0, 0, 0, 0, 0, 1, 0, 0, 0}).SignatureWhite);
}

TEST_F(MaterialTest, TradeBonuses) {
  // A queen against two rooks, nothing else: the queen side gets 60, the rooks their worth without pawns.
  EXPECT_EQ(Entry({1, 0, 0, 2, 0, 0, 0, 0, 0, 0}).MaterialBalance, -(60 - 2 * RookPawns[0]));
  // Two minors against a rook, pawns on both sides: 90 for the minors.
  EXPECT_EQ(Entry({0, 0, 0, 1, 1, 0, 1, 0, 4, 4}).MaterialBalance, -(90 - RookPawns[8]));
  // A lone minor against bare pawns: the minor-against-pawns value by the minor side's pawns.
  EXPECT_EQ(Entry({0, 0, 0, 0, 0, 0, 1, 0, 2, 3}).MaterialBalance, -MinorVsPawns[2]);
  // Two bishops against knight and bishop: the pair, by the enemy's pawns.
  EXPECT_EQ(Entry({0, 0, 0, 0, 2, 1, 0, 1, 8, 8}).MaterialBalance, -BishopPair[8]);
}

TEST_F(MaterialTest, EveryEntryMirrorsItsColourSwap) {
  for (const std::string &folder : {std::string(""), std::string(QUARVELLE_SOURCE_DIR)}) {
    if (folder.empty())
      LoadCompiledDefaults();
    else
      LoadValuesFrom(folder);
    int mismatches = 0;
    for (int index = 0; index < MATERIAL_OVERFLOW; index++) {
      int digits[10], rest = index;
      for (int &d : digits) {
        const int base = (&d - digits) < 8 ? 3 : 9;
        d = rest % base, rest /= base;
      }
      int swapped = 0, weight = 1;
      for (int i = 0; i < 10; i++) {
        const int base = i < 8 ? 3 : 9;
        swapped += digits[i ^ 1] * weight;
        weight *= base;
      }
      const MaterialEntry &a = MaterialTable[index], &b = MaterialTable[swapped];
      mismatches += a.MaterialBalance + b.MaterialBalance != 0 || a.white_phase != b.black_phase ||
                    a.MaterialFlags[WHITE] != b.MaterialFlags[BLACK];
    }
    EXPECT_EQ(mismatches, 0) << (folder.empty() ? "compiled-in values" : folder);
  }
  LoadCompiledDefaults();
}

TEST_F(MaterialTest, BeyondTheTable) {
  // Three white rooks against two: the rook-pawn term counts two rooks, not three.
  LoadFen("r3k2r/8/8/8/8/8/8/R2RK2R w - - 0 1");
  ASSERT_EQ(thread_board.MaterialIndex, MATERIAL_OVERFLOW);
  const i32 balance = EvaluateMaterial();
  // A rook ahead: the extra-piece bonus, no rook-pawn difference beyond two rooks a side.
  EXPECT_EQ(balance, -(500 + 120 + ExtraPieceBase));
  ComputePhases();
  EXPECT_EQ(thread_board.current_phase, ((24 - 10) * 256 + 12) / 24);
  // Three queens a side: phase 0, weighted force from the counts.
  LoadFen("qqq1k3/8/8/8/8/8/8/QQQ1K3 w - - 0 1");
  ComputePhases();
  EXPECT_EQ(thread_board.current_phase, 0);
  EXPECT_EQ(thread_board.MaterialOpening[WHITE], 300);
  EXPECT_EQ(EvaluateMaterial(), 0);
}

}  // namespace
