// The endgame bitbases against independent answers: K+P against K and K+R against K+P by our own Syzygy prober,
// the runners by a plain forward search.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "eval/bitbases.h"
#include "tests/unit/engine_fixture.h"
#include "tests/unit/move_list.h"
#include "tests/unit/tablebase_support.h"

namespace {

using movetest::Sq;

int KingDistance(int a, int b) { return std::max(std::abs(FileOf(a) - FileOf(b)), std::abs(RankOf(a) - RankOf(b))); }

// A FEN of the men on their squares ({square, letter} pairs), with White or Black to move.
std::string PlacementFen(std::initializer_list<std::pair<int, char>> men, bool whiteToMove) {
  char board[64];
  std::fill(board, board + 64, '1');
  for (const auto &[square, letter] : men) board[square] = letter;
  std::string fen;
  for (int rank = 7; rank >= 0; rank--) {
    int empty = 0;
    for (int file = 0; file < 8; file++) {
      const char c = board[8 * rank + file];
      if (c == '1') {
        empty++;
        continue;
      }
      if (empty) fen += char('0' + empty), empty = 0;
      fen += c;
    }
    if (empty) fen += char('0' + empty);
    if (rank) fen += '/';
  }
  return fen + (whiteToMove ? " w - - 0 1" : " b - - 0 1");
}

// A FEN of white king, white pawn and black king, with stm 0 for White to move.
std::string KpkFen(int stm, int pawn, int wk, int bk) { return PlacementFen({{pawn, 'P'}, {wk, 'K'}, {bk, 'k'}}, stm == 0); }

// Syzygy's verdict for the side to move, read by our own prober.
i32 SyzygyWdl(const std::string &fen) {
  SetUpProbe(fen.c_str());
  i32 success = 0;
  const i32 wdl = ProbeWdl(success);
  EXPECT_TRUE(success) << fen;
  return wdl;
}

// Does the white pawn queen by force when it alone moves? A plain forward search over the squares, written
// apart from the bitbase's backward sweep.
bool PawnPromotes(bool whiteToMove, int pawn, int wk, int bk) {
  if (whiteToMove) {
    const int next = pawn + 8;
    if (next == wk || next == bk) return false;
    if (RankOf(next) == 7) return KingDistance(bk, next) > 1 || KingDistance(wk, next) == 1;
    if (PawnPromotes(false, next, wk, bk)) return true;
    return RankOf(pawn) == 1 && next + 8 != wk && next + 8 != bk && PawnPromotes(false, next + 8, wk, bk);
  }
  bool anyMove = false;
  for (int to = 0; to < 64; to++) {
    if (KingDistance(to, bk) != 1 || KingDistance(to, wk) < 2 || (PawnAttacks[WHITE][pawn] & Bit(to))) continue;
    if (to == pawn) {
      if (KingDistance(wk, pawn) > 1) return false;
      continue;
    }
    anyMove = true;
    if (!PawnPromotes(true, pawn, wk, to)) return false;
  }
  return anyMove;
}

// Every position of the K+P against K bitbase against the Syzygy table KPvK, from the copy kept in the
// repository: the pawn's side wins exactly where the table says so.
TEST_F(EngineTest, KpkBitbaseAgreesWithSyzygyEverywhere) {
  testing::internal::CaptureStdout();
  InitTablebases(TinySyzygyDir().c_str());
  testing::internal::GetCapturedStdout();
  int compared = 0, wins = 0, differences = 0;
  for (int stm = 0; stm < 2; stm++)
    for (int pawn = 8; pawn < 56; pawn++)
      for (int wk = 0; wk < 64; wk++)
        for (int bk = 0; bk < 64; bk++) {
          if (pawn == wk || pawn == bk || KingDistance(wk, bk) < 2) continue;
          if (stm == 0 && (PawnAttacks[WHITE][pawn] & Bit(bk))) continue;
          const std::string fen = KpkFen(stm, pawn, wk, bk);
          const i32 wdl = SyzygyWdl(fen);
          const bool win = stm == 0 ? wdl > 0 : wdl < 0;
          compared++;
          wins += win;
          if (BitbaseBit(KpkBitbase, BitbaseIndex(stm, pawn, wk, bk)) != win && differences++ < 5)
            ADD_FAILURE() << fen << ": Syzygy says " << wdl << " for the side to move";
        }
  FreeTablebases();
  EXPECT_GT(compared, 300000);
  EXPECT_GT(wins, 100000);
  EXPECT_EQ(differences, 0);
}

// Every position of the K+R against K+P bitbase against the Syzygy table KRvKP: the rook's side to move, its
// bit set exactly where the rook doesn't win. A cursed win is a win here: the bitbase knows no fifty-move rule.
// The pawn is White's on files e to h, ranks 4 to 7; the probe turns the other wing and Black's pawns onto it.
TEST_F(EngineTest, RookPawnBitbaseAgreesWithSyzygyEverywhere) {
  const std::string dir = SharedSyzygyDir();
  if (dir.empty()) GTEST_SKIP() << "no Syzygy tables beside the repository";
  testing::internal::CaptureStdout();
  InitTablebases(dir.c_str());
  testing::internal::GetCapturedStdout();
  int compared = 0, holds = 0, differences = 0;
  for (int pawn = 24; pawn < 56; pawn++) {
    if (FileOf(pawn) < 4) continue;
    for (int rook = 0; rook < 64; rook++)
      for (int rookKing = 0; rookKing < 64; rookKing++)
        for (int pawnKing = 0; pawnKing < 64; pawnKing++) {
          const u64 men = Bit(pawn) | Bit(rook) | Bit(rookKing);
          if (PopCount(men | Bit(pawnKing)) < 4 || KingDistance(rookKing, pawnKing) < 2) continue;
          if (RookAttacks(rook, men) & Bit(pawnKing)) continue;  // the pawn's side, not to move, in check
          const std::string fen =
              PlacementFen({{pawn, 'P'}, {pawnKing, 'K'}, {rook, 'r'}, {rookKing, 'k'}}, false);
          const bool rookWins = SyzygyWdl(fen) > 0;
          const bool bit = ProbeRookPawn(rook, rookKing, pawn, pawnKing);
          compared++;
          holds += !rookWins;
          if (bit == rookWins && differences++ < 5)
            ADD_FAILURE() << fen << ": the bitbase says " << (bit ? "held" : "lost");
          // The other wing and the black pawn read the same bit.
          if (bit != ProbeRookPawn(rook ^ 7, rookKing ^ 7, pawn ^ 7, pawnKing ^ 7) && differences++ < 5)
            ADD_FAILURE() << fen << ": the mirror on files a to d reads another bit";
        }
  }
  FreeTablebases();
  EXPECT_GT(compared, 2000000);
  EXPECT_GT(holds, 100000);
  EXPECT_LT(holds, compared - 100000);
  EXPECT_EQ(differences, 0);
}

TEST_F(EngineTest, RookPawnBitbaseHasNoAnswerBelowTheFourthRank) {
  // The pawn on the seventh with its king in front of the rook holds; on the third it is beyond the table.
  EXPECT_FALSE(ProbeRookPawn(Sq("a8"), Sq("a6"), Sq("e3"), Sq("f3")));
  EXPECT_TRUE(ProbeRookPawn(Sq("a1"), Sq("a6"), Sq("e7"), Sq("d7")));
}

TEST_F(EngineTest, RunnersReallyPromoteAndOthersDoNot) {
  std::mt19937 random(7);
  int runners = 0, others = 0;
  while (runners < 2000 || others < 2000) {
    const int stm = int(random() & 1), pawn = 8 + int(random() % 48), wk = int(random() % 64), bk = int(random() % 64);
    if (pawn == wk || pawn == bk || wk == bk || KingDistance(wk, bk) < 2) continue;
    if (stm == 0 && (PawnAttacks[WHITE][pawn] & Bit(bk))) continue;
    const bool bit = BitbaseBit(RunnerBitbase, BitbaseIndex(stm, pawn, wk, bk));
    if (bit ? runners >= 2000 : others >= 2000) continue;
    (bit ? runners : others)++;
    EXPECT_EQ(PawnPromotes(stm == 0, pawn, wk, bk), bit) << KpkFen(stm, pawn, wk, bk);
  }
}

}  // namespace
