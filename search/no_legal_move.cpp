#include "search/no_legal_move.h"

#include "board/attacks.h"
#include "board/makemove.h"

namespace {

bool KeepsKingSafe(u32 move) {
  const int us = thread_board.SideToMove;
  make_move(move, 1);
  const bool safe = !IsAttacked(thread_board.SideToMove, thread_board.KingSquare[us]);
  unmake_move();
  return safe;
}

// Any legal move of one piece to one of `targets`. Castling needs no walk of its own: when it is
// legal, so is the king's step to the square it passes.
bool AnyLegalTo(int from, int moved, u64 targets) {
  const BoardRecord &b = thread_board;
  while (targets) {
    const int to = PopLowest(targets);
    // One promotion piece stands for all: legality doesn't depend on it.
    const int promotion = moved == PAWN && (RankOf(to) == 0 || RankOf(to) == 7) ? QUEEN : NONE;
    if (KeepsKingSafe(MakeMove(from, to, moved, b.Board[to], promotion))) return true;
  }
  return false;
}

bool AnyPawnMove(int us) {
  const BoardRecord &b = thread_board;
  const int them = ChangeSide(us), forward = us == WHITE ? 8 : -8;
  const u64 enemies = b.Pieces[them] & ~b.Kings[them];
  // A pawn on its last rank, which only a set-up position has, has no move.
  for (u64 pawns = b.Pawns[us] & ~RankMask(us == WHITE ? 7 : 0); pawns;) {
    const int from = PopLowest(pawns);
    u64 targets = PawnAttacks[us][from] & enemies;
    const int one = from + forward;
    if (!(b.Occupied & Bit(one))) {
      targets |= Bit(one);
      const int startRank = us == WHITE ? 1 : 6;
      if (RankOf(from) == startRank && !(b.Occupied & Bit(one + forward))) targets |= Bit(one + forward);
    }
    if (AnyLegalTo(from, PAWN, targets)) return true;
  }
  if (!LastMoveWasDoubleStep()) return false;
  const u32 last = GameHistory[GameHistoryCount - 1].Move;
  const int victim = MoveTo(last), passed = (MoveFrom(last) + MoveTo(last)) / 2;
  for (u64 takers = b.Pawns[us] & PawnAttacks[them][passed]; takers;) {
    const int from = PopLowest(takers);
    if (RankOf(from) == RankOf(victim) && KeepsKingSafe(MakeMove(from, passed, PAWN, NONE))) return true;
  }
  return false;
}

}  // namespace

int HasNoLegalMove() {
  const BoardRecord &b = thread_board;
  const int us = b.SideToMove, them = ChangeSide(us);
  const u64 open = ~b.Pieces[us] & ~b.Kings[them];
  // The king first: in most positions its steps settle the question.
  const int king = b.KingSquare[us];
  if (AnyLegalTo(king, KING, KingAttacks[king] & open)) return 0;
  for (u64 set = b.Knights[us]; set;) {
    const int from = PopLowest(set);
    if (AnyLegalTo(from, KNIGHT, KnightAttacks[from] & open)) return 0;
  }
  for (u64 set = b.Pieces[us] & (b.RooksQueens | b.BishopsQueens); set;) {
    const int from = PopLowest(set), piece = b.Board[from];
    u64 reach = 0;
    if (piece & 1) reach |= RookAttacks(from, b.Occupied);
    if (piece & 2) reach |= BishopAttacks(from, b.Occupied);
    if (AnyLegalTo(from, piece, reach & open)) return 0;
  }
  return AnyPawnMove(us) ? 0 : 1;
}
