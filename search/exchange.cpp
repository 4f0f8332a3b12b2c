#include "search/exchange.h"


namespace {

// The slider behind `square`, seen from the exchange square `to`. A rook's reach never runs along a
// diagonal ray nor a bishop's along a straight one, so both are asked at once and without a branch; most rays
// hold no slider at all and need neither.
inline u64 HiddenAttackers(int square, int to) {
  const BoardRecord &b = thread_board;
  const u64 beyond = RayBeyond[square][to];
  if (!(beyond & (b.RooksQueens | b.BishopsQueens))) return 0;
  const u64 sliders = (RookAttacks(square, b.Occupied) & b.RooksQueens) | (BishopAttacks(square, b.Occupied) & b.BishopsQueens);
  return sliders & beyond;
}

// Cheapest attacker of `side` in the set: pawn, knight, bishop, rook, queen, king; -1 if none.
inline int CheapestAttacker(u64 attackers, int side, int &value) {
  static const int order[6] = {PAWN, KNIGHT, BISHOP, ROOK, QUEEN, KING};
  for (int piece : order)
    if (u64 set = attackers & thread_board.PieceBoards[piece][side]) {
      value = ExchangeValue[piece];
      return LowestSquare(set);
    }
  return -1;
}

}  // namespace

template <int Us, bool Strict>
int ResolveExchange(int to, int from, int own, int gain) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  if (Strict ? gain > own : gain >= own) return 1;
  const int d = own - gain;
  u64 attackers = b.Pawns[Them] & PawnAttacks[Us][to];
  if (d >= 2 && attackers) return 0;
  attackers |= KnightAttacks[to] & (b.Knights[WHITE] | b.Knights[BLACK]);
  if (d >= 4 && (attackers & b.Knights[Them])) return 0;
  // The magic lookups only where a slider stands on a line through `to` at all.
  if (BishopEmpty[to] & b.BishopsQueens) attackers |= BishopAttacks(to, b.Occupied) & b.BishopsQueens;
  if (d >= 4 && (attackers & b.Bishops[Them])) return 0;
  if (RookEmpty[to] & b.RooksQueens) attackers |= RookAttacks(to, b.Occupied) & b.RooksQueens;
  if (d >= 6 && (attackers & b.Rooks[Them])) return 0;
  const u64 ownPawns = b.Pawns[Us] & PawnAttacks[Them][to];
  if (own < 9 && gain >= 1 && ownPawns) return 1;
  attackers |= ownPawns | (KingAttacks[to] & (b.Kings[WHITE] | b.Kings[BLACK]));
  attackers &= ~(Bit(from) | Bit(to));
  attackers |= HiddenAttackers(from, to);
  if (!attackers) return 1;

  for (int balance = -d;;) {
    int value;
    int sq = CheapestAttacker(attackers & b.Pieces[Them], Them, value);
    if (sq < 0) return 1;
    attackers ^= Bit(sq);
    if (b.Board[sq] != KNIGHT && b.Board[sq] != KING) attackers |= HiddenAttackers(sq, to);
    balance += value;
    if (balance < 0) return 0;
    sq = CheapestAttacker(attackers & b.Pieces[Us], Us, value);
    if (sq < 0) return 0;
    if (b.Board[sq] == KING && balance > 100) return 1;
    attackers ^= Bit(sq);
    if (b.Board[sq] != KNIGHT && b.Board[sq] != KING) attackers |= HiddenAttackers(sq, to);
    balance -= value;
    if (Strict ? balance > 0 : balance >= 0) return 1;
  }
}

template int ResolveExchange<WHITE, false>(int, int, int, int);
template int ResolveExchange<BLACK, false>(int, int, int, int);

int ExchangeHolds(int to, int from, int moved, int captured, int promotion) {
  return thread_board.SideToMove == WHITE ? ExchangeHoldsFor<WHITE>(to, from, moved, captured, promotion)
                                          : ExchangeHoldsFor<BLACK>(to, from, moved, captured, promotion);
}

int AttackIsReal(int target, int from, int moved, int victim) {
  int own = ExchangeValue[moved], gain = ExchangeValue[victim];
  return thread_board.SideToMove == WHITE ? ResolveExchange<WHITE, true>(target, from, own, gain)
                                          : ResolveExchange<BLACK, true>(target, from, own, gain);
}
