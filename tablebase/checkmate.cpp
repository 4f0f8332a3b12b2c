// The exact mate test of the root's tablebase filter, without a move list.
#include "board/attacks.h"
#include "board/movegen.h"
#include "tablebase/tablebase.h"

u64 AttackersOf(int side, int square) {
  const BoardRecord &b = thread_board;
  const u64 own = b.Pieces[side];
  return (b.Pawns[side] & PawnAttacks[ChangeSide(side)][square]) | (b.Knights[side] & KnightAttacks[square]) |
         (b.Kings[side] & KingAttacks[square]) | (RookAttacks(square, b.Occupied) & b.RooksQueens & own) |
         (BishopAttacks(square, b.Occupied) & b.BishopsQueens & own);
}

i32 IsCheckmate() {
  const BoardRecord &b = thread_board;
  const int s = b.SideToMove, o = ChangeSide(s), king = b.KingSquare[s];
  const u64 checkers = AttackersOf(o, king);
  if (!checkers) return 0;
  constexpr int NO_RAY = 100;
  auto rayOf = [&](int checker) { return (b.Board[checker] & 4) ? int(Direction[checker][king]) : NO_RAY; };
  const int q = LowestSquare(checkers);
  const bool doubleCheck = PopCount(checkers) > 1;
  const int ray1 = rayOf(q), ray2 = doubleCheck ? rayOf(HighestSquare(checkers)) : NO_RAY;
  const u64 targets = (b.Board[q] & 4) ? checkers | Between[q][king] : checkers;

  for (u64 squares = KingAttacks[king] & ~b.Pieces[s]; squares;) {
    const int to = PopLowest(squares);
    const int d = Direction[king][to];
    if (!IsAttacked(o, to) && d != ray1 && d != ray2) return 0;
  }
  if (doubleCheck) return 1;

  for (u64 set = b.Pieces[s] & ~b.Kings[s] & ~b.Pawns[s]; set;) {
    const int from = PopLowest(set);
    if (IsPinnedPiece(from)) continue;
    const int piece = b.Board[from];
    const u64 reach = piece == KNIGHT ? KnightAttacks[from]
                      : piece == BISHOP ? BishopAttacks(from, b.Occupied)
                      : piece == ROOK   ? RookAttacks(from, b.Occupied)
                                        : RookAttacks(from, b.Occupied) | BishopAttacks(from, b.Occupied);
    if (reach & targets) return 0;
  }

  const u64 empty = targets & ~b.Occupied;
  const int forward = s == WHITE ? 8 : -8;
  const u64 homeRank = s == WHITE ? RankMask(1) : RankMask(6);
  // A pawn on its last rank, which only a set-up position has, has no move.
  for (u64 set = b.Pawns[s] & ~RankMask(s == WHITE ? 7 : 0); set;) {
    const int from = PopLowest(set);
    if (IsPinnedPiece(from)) continue;
    const int one = from + forward;
    if (empty & Bit(one)) return 0;
    if ((homeRank & Bit(from)) && !(b.Occupied & Bit(one)) && (empty & Bit(one + forward))) return 0;
    if (PawnAttacks[s][from] & Bit(q)) return 0;
    // En passant: the checker is the pawn that has just stepped two squares to stand beside this one.
    if (b.Board[q] == PAWN && RankOf(q) == RankOf(from) && (FileOf(q) == FileOf(from) + 1 || FileOf(q) + 1 == FileOf(from)) &&
        RankOf(q) == (s == WHITE ? 4 : 3) && LastMoveWasDoubleStep() && MoveTo(GameHistory[GameHistoryCount - 1].Move) == q)
      return 0;
  }
  return 1;
}
