#include "search/lazy_eval.h"

#include "eval/eval.h"
#include "search/hash.h"
#include "shell/settings.h"

namespace {

// A side keeps winning chances in the material window only with enough pieces for its pawns.
bool IsStrong(int side) {
  const BoardRecord &b = thread_board;
  if (b.PieceCount[PAWN][side] < 2) return b.PieceMaterial[side] > 9;
  return b.PieceMaterial[side] >= 6;
}

// A pawn near promotion can undo a material deficit: 100 one step away, 50 two steps away, else 0.
template <int Side>
int PromotionThreat() {
  const u64 pawns = thread_board.Pawns[Side];
  if (pawns & RankMask(Side == WHITE ? 6 : 1)) return 100;
  if (pawns & RankMask(Side == WHITE ? 5 : 2)) return 50;
  return 0;
}

}  // namespace

template <int Us>
bool MaterialIsDecisiveFor(i32 *balance) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  int low = Settings.MaterialWindowLow, high = Settings.MaterialWindowHigh;
  if (Us != Settings.RootSide) {
    low = -Settings.MaterialWindowHigh;
    high = -Settings.MaterialWindowLow;
  }
  *balance = b.Material[Us] - b.Material[Them];
  if (*balance < low && IsStrong(Them)) {
    const int threat = PromotionThreat<Us>();
    *balance += threat;
    if (!threat || *balance < low) return true;
  }
  if (*balance > high && IsStrong(Us)) {
    const int threat = PromotionThreat<Them>();
    *balance -= threat;
    if (!threat || *balance > high) return true;
  }
  return false;
}

bool MaterialIsDecisive(i32 *balance) {
  return thread_board.SideToMove == WHITE ? MaterialIsDecisiveFor<WHITE>(balance)
                                          : MaterialIsDecisiveFor<BLACK>(balance);
}

template <int Us>
i32 EvaluateLazilyFor(u64 *attacks) {
  i32 score;
  const bool lazy = MaterialIsDecisiveFor<Us>(&score);
  if (lazy) {
    attacks[WHITE] = attacks[BLACK] = 0;
  } else {
    if (!ReadEvalCache(&score)) {
      score = -MATE_SCORE;
      Evaluate(&score, MATE_SCORE);
      StoreEvalCache(score);
    }
    attacks[WHITE] = thread_eval_info.Attacks[WHITE];
    attacks[BLACK] = thread_eval_info.Attacks[BLACK];
  }
  // The cache holds unscaled scores: the same position is met at other reversible counts.
  const int excess = thread_board.ReversibleMoves - 8;
  const int f = 256 - 2 * (excess > 0 ? excess : 0);
  if (!lazy) thread_eval_info.ScaleTrace = (f * thread_eval_info.ScaleTrace) >> 8;
  return (f * score) >> 8;
}

i32 EvaluateLazily(u64 *attacks) {
  return thread_board.SideToMove == WHITE ? EvaluateLazilyFor<WHITE>(attacks) : EvaluateLazilyFor<BLACK>(attacks);
}

template bool MaterialIsDecisiveFor<WHITE>(i32 *);
template bool MaterialIsDecisiveFor<BLACK>(i32 *);
template i32 EvaluateLazilyFor<WHITE>(u64 *);
template i32 EvaluateLazilyFor<BLACK>(u64 *);
