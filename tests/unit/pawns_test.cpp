// Pawn structure: the file masks an entry records, its spans, and the hash table behind it.
#include <gtest/gtest.h>

#include "eval/eval.h"
#include "eval/eval_tables.h"
#include "eval/pawn_hash.h"
#include "shell/settings.h"
#include "tests/unit/engine_fixture.h"
#include "tests/unit/values_loading.h"

namespace {

class PawnsTest : public EngineTest {
 protected:
  static void SetUpTestSuite() {
    InitEngineTables();
    LoadRepositoryValues();
  }
  static void TearDownTestSuite() { LoadCompiledDefaults(); }

  // The entry of a position's pawns, worked out afresh.
  static const PawnHashEntry &EntryOf(const char *fen) {
    LoadFen(fen);
    thread_board.PawnEntry.Key = ~thread_board.PawnKey;
    ClearPawnHash();
    i32 score = -MATE_SCORE;
    Evaluate(&score, MATE_SCORE);
    return thread_board.PawnEntry;
  }
};

// Entries are copied out, since every evaluation rewrites the current one.
constexpr u8 File(char file) { return u8(1 << (file - 'a')); }
constexpr int WHITE_BYTE = 1, BLACK_BYTE = 0;  // PassedVector and WeakFiles hold Black's byte first

TEST_F(PawnsTest, IsolatedPawnsAreWeakOnlyOnOpenFiles) {
  // d4 is isolated with a black pawn in front: closed, not weak. a2 is isolated on an open file and passed.
  const PawnHashEntry &e = EntryOf("4k3/8/3p4/8/3P4/8/P7/4K2R w - - 0 1");
  EXPECT_EQ(e.WeakFiles[WHITE_BYTE], File('a'));
  EXPECT_EQ(e.PassedVector[WHITE_BYTE], File('a'));
  EXPECT_EQ(e.PawnFiles[0], File('a') | File('d'));
  EXPECT_EQ(e.PawnFiles[1], File('d'));
}

TEST_F(PawnsTest, BackwardPawnOnItsStartRank) {
  // d7 behind c5 with d6 and d5 free and unattacked: backward only if it attacks a white pawn.
  EXPECT_EQ(EntryOf("4k3/3p4/8/2p5/8/8/8/4K3 w - - 0 1").WeakFiles[BLACK_BYTE] & File('d'), 0);
  EXPECT_EQ(EntryOf("4k3/3p4/4P3/2p5/8/8/8/4K3 w - - 0 1").WeakFiles[BLACK_BYTE] & File('d'), File('d'));
}

TEST_F(PawnsTest, PassedPawnsAndTheirSpan) {
  const PawnHashEntry white = EntryOf("4k3/8/8/8/8/8/1P4P1/4K3 w - - 0 1");
  EXPECT_EQ(white.PassedVector[WHITE_BYTE], File('b') | File('g'));
  const PawnHashEntry black = EntryOf("4k3/1p4p1/8/8/8/8/8/4K3 w - - 0 1");
  EXPECT_EQ(black.PassedVector[BLACK_BYTE], File('b') | File('g'));
  // The same structure for either colour scores the same, from each one's side, in every wing column.
  for (int column = 0; column < 4; column++) EXPECT_EQ(white.Score[column], -black.Score[column ^ 3 ^ 3]);
  // Two passers six files apart: the span counts for the side that has them.
  const PawnHashEntry close = EntryOf("4k3/8/8/8/8/8/1PP5/4K3 w - - 0 1");
  EXPECT_EQ(close.PassedVector[WHITE_BYTE], File('b') | File('c'));
}

TEST_F(PawnsTest, NoPawnsScoreNothingAndTheZeroKeyMissesAClearedTable) {
  const PawnHashEntry &e = EntryOf("4k3/8/8/8/8/8/8/R3K3 w - - 0 1");
  for (i32 score : e.Score) EXPECT_EQ(score, 0);
  EXPECT_EQ(PawnHashTable[0].Key, 0u);  // stored under the zero key of a pawnless board
}

TEST_F(PawnsTest, TheTableServesAStructureAgain) {
  const PawnHashEntry first = EntryOf("4k3/pp3ppp/8/8/3P4/8/PP3PPP/4K3 w - - 0 1");
  // Another position with the same pawns: the stored entry comes back whole.
  LoadFen("r3k3/pp3ppp/8/8/3P4/8/PP3PPP/R3K3 w - - 0 1");
  thread_board.PawnEntry.Key = 0;
  i32 score = -MATE_SCORE;
  Evaluate(&score, MATE_SCORE);
  EXPECT_EQ(thread_board.PawnEntry.Key, first.Key);
  for (int i = 0; i < 4; i++) EXPECT_EQ(thread_board.PawnEntry.Score[i], first.Score[i]);
  // Without a table the entry is computed every time and never stored.
  const i32 savedSize = Settings.PawnHashSize;
  Settings.PawnHashSize = 0;
  Evaluate(&score, MATE_SCORE);
  EXPECT_NE(thread_board.PawnEntry.Key, thread_board.PawnKey);
  EXPECT_EQ(thread_board.PawnEntry.Score[0], first.Score[0]);
  Settings.PawnHashSize = savedSize;
}

}  // namespace
