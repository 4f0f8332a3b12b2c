#include "search/depth_change.h"

#include "board/makemove.h"
#include "board/movegen.h"
#include "search/exchange.h"
#include "search/parameters.h"

namespace {

// Recaptures match by value class: knight and bishop are one.
constexpr int ValueClass[8] = {0, 5, 2, 1, 0, 3, 2, 4};

inline int Capped(int change, int limit) { return change < limit ? change : limit; }

}  // namespace

bool EnPassantGivesCheck(u32 move) {
  const int mover = thread_board.SideToMove;
  make_move(move, 1);
  const bool check = IsAttacked(mover, thread_board.KingSquare[ChangeSide(mover)]);
  unmake_move();
  return check;
}

bool AnswersThreat(u32 move, u32 threat) {
  const int target = MoveTo(threat), attacker = MovedPiece(threat), victim = CapturedPiece(threat);
  if (MoveFrom(move) == target) return true;
  // Defending helps only when the capturer is worth no less than its victim, or is the king.
  if (victim && (attacker == KING || PieceValue[attacker] >= PieceValue[victim])) {
    if (PieceAttacks(MoveTo(move), thread_board.SideToMove, MovedPiece(move)) & Bit(target)) return true;
    if (UncoversAttackOn(move, target)) return true;
  }
  return Between[target][MoveFrom(threat)] & ~Bit(target) & Bit(MoveTo(move));
}

template <int Us>
int MoveDepthChangeFor(bool near, bool mateThreat, int depth, bool singleReply, u32 move, int score, bool isPv,
                       int *bonus, int gap, int *safety, bool first) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  const int ply = Ply;
  PlyRecord &node = PlyStack[ply];
  const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move);
  const int captured = CapturedPiece(move), promotion = PromotionPiece(move);
  const bool tactical = IsCaptureOrPromotion(move);

  // Two plies above that together went no deeper: this one may not extend fully again.
  int limit = 0;
  if (ply >= 2 && PlyStack[ply - 1].DepthChange + PlyStack[ply - 2].DepthChange >= 0) limit = -2;

  node.FollowUpMove = 0;
  u32 flags = singleReply ? MF_FORCING : 0;
  int change = singleReply ? 0 : -4;

  // Off the expected path a mate threat's depth is kept for the re-search of a fail-high.
  if (mateThreat) {
    flags |= MF_MATE_THREAT;
    const int extra = near ? 3 : 1;
    if (!isPv && (!first || tactical))
      *bonus += extra;
    else
      change += extra;
  }

  // A capture that brings the score back near the window; a recapture of like for like on the same square.
  if (captured && score >= 0 && RecaptureMargin + PieceValue[captured] > gap) {
    flags |= MF_FORCING;
    if (GameHistoryCount > 0) {
      const u32 last = GameHistory[GameHistoryCount - 1].Move;
      const u32 parentFlags = ply > 0 ? PlyStack[ply - 1].MoveFlags : 0;
      if (MoveTo(last) == to && !(parentFlags & MF_RECAPTURE) &&
          ValueClass[CapturedPiece(last)] == ValueClass[captured] && gap > -RecaptureFloor) {
        flags |= MF_RECAPTURE;
        if (isPv) change += near ? 3 : 1;
      }
    }
  }
  node.MoveFlags = flags;

  if (GivesCheckFor<Us>(move)) {
    PlyStack[ply + 1].InCheck = 1;
    if (*safety == UNKNOWN_SAFETY) *safety = MoveSafety(move);
    // A check that loses the piece earns depth only when discovered: then another piece gives it.
    if (score >= 0 || DiscoversCheckFor<Us>(move)) change += tactical || near ? 4 : 2;
    node.MoveFlags |= MF_CHECK;
  } else {
    PlyStack[ply + 1].InCheck = 0;
  }
  if (*safety == 0) return Capped(change, limit);

  const int attacker = promotion ? promotion : moved;
  int level = 0;
  if (moved == PAWN) {
    const bool inWindow = PassedWindowLow < gap && gap < PassedWindowHigh;
    if (promotion) {
      if (*safety == UNKNOWN_SAFETY) *safety = ExchangeHoldsFor<Us>(to, from, moved, captured, promotion);
      if (*safety && promotion == QUEEN) {
        node.MoveFlags |= MF_FORCING;
        level = 2 * inWindow;
      }
    } else if ((Us == WHITE ? to >= 24 : to <= 39) && !(PassedMask[Us][from] & b.Pawns[Them])) {
      // A passed pawn from the fourth rank on: its next push is the threat the opponent faces.
      const int next = Us == WHITE ? to + 8 : to - 8;
      if (!(b.Occupied & Bit(next))) {
        const bool promotes = Us == WHITE ? next >= 56 : next <= 7;
        node.FollowUpMove = MakeMove(to, next, PAWN, NONE, promotes ? QUEEN : 0);
      }
      node.MoveFlags |= MF_PASSED | MF_THREAT;
      const bool advanced = Us == WHITE ? to >= 40 : to <= 23;
      level = advanced && isPv ? 2 * inWindow : inWindow;
    }
  }

  if (level < 2) {
    // Enemy pieces that the piece on `to` would win by taking next; the last one found is the follow-up.
    for (u64 targets = PieceAttacks(to, Us, attacker) & b.Pieces[Them]; targets;) {
      const int square = PopLowest(targets), victim = b.Board[square];
      if ((victim == PAWN ? 50 : 100) + PieceValue[victim] > gap && AttackIsReal(square, from, attacker, victim)) {
        level++;
        const bool promotes = attacker == PAWN && (RankOf(square) == 0 || RankOf(square) == 7);
        node.FollowUpMove = MakeMove(to, square, attacker, victim, promotes ? QUEEN : 0);
        if (level > 1) break;
      }
    }
    if (level == 0) return Capped(change, limit);
  }

  if (*safety == UNKNOWN_SAFETY) *safety = MoveSafety(move);
  if (*safety == 0) {
    node.FollowUpMove = 0;
    return Capped(change, limit);
  }
  node.MoveFlags |= MF_THREAT;
  if (level >= 2 && isPv && depth + change < 4) change += near ? 4 : 2;
  return Capped(change, limit);
}

template int MoveDepthChangeFor<WHITE>(bool, bool, int, bool, u32, int, bool, int *, int, int *, bool);
template int MoveDepthChangeFor<BLACK>(bool, bool, int, bool, u32, int, bool, int *, int, int *, bool);

int MoveDepthChange(bool near, bool mateThreat, int depth, bool singleReply, u32 move, int score, bool isPv, int *bonus,
                    int gap, int *safety, bool first) {
  return thread_board.SideToMove == WHITE ? MoveDepthChangeFor<WHITE>(near, mateThreat, depth, singleReply, move, score,
                                                                      isPv, bonus, gap, safety, first)
                                          : MoveDepthChangeFor<BLACK>(near, mateThreat, depth, singleReply, move, score,
                                                                      isPv, bonus, gap, safety, first);
}
