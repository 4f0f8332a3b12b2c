// Static exchange as two yes-or-no questions, in pawn units, without making moves.
#pragma once
#include "board/attacks.h"

constexpr int ExchangeValue[8] = {0, 200, 3, 1, 0, 5, 3, 9};

// The full exchange on `to` after the quick exits; `Strict` asks for a strict win (AttackIsReal).
template <int Us, bool Strict>
int ResolveExchange(int to, int from, int own, int gain);

// Does the move of Us lose no material on `to`? The cheap exits stay inline in the generators.
template <int Us>
inline int ExchangeHoldsFor(int to, int from, int moved, int captured, int promotion) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  if (promotion && promotion != QUEEN) return 0;
  const int own = promotion ? 9 : ExchangeValue[moved];
  const int gain = ExchangeValue[captured] + (promotion ? 8 : 0);
  if (gain >= own) return 1;
  const u64 enemyPawns = b.Pawns[Them] & PawnAttacks[Us][to];
  if (own - gain >= 2 && enemyPawns) return 0;
  if (own - gain >= 4 && (KnightAttacks[to] & b.Knights[Them])) return 0;
  // Most quiet moves go where no enemy piece can ever reach: nothing to refute them.
  const u64 enemySliders = (b.RooksQueens | b.BishopsQueens) & b.Pieces[Them];
  if (!enemyPawns && !(KnightAttacks[to] & b.Knights[Them]) && !(KingAttacks[to] & b.Kings[Them]) &&
      !(QueenEmpty[to] & enemySliders))
    return 1;
  return ResolveExchange<Us, false>(to, from, own, gain);
}

// Does the move of SideToMove lose no material on `to`?
int ExchangeHolds(int to, int from, int moved, int captured, int promotion);
// Would the piece of SideToMove that left `from` win material by taking `victim` on `target`?
int AttackIsReal(int target, int from, int moved, int victim);
