#include "search/exchange.h"

#include "board/attacks.h"

namespace {

constexpr int ExchangeValue[8] = {0, 200, 3, 1, 0, 5, 3, 9};

// The ray that continues a step of `direction` (Direction's convention) beyond a square.
const u64 *RayAway(int direction) {
  switch (direction) {
    case 9: return RayNE;
    case 8: return RayN;
    case 7: return RayNW;
    case 1: return RayE;
    case -1: return RayW;
    case -7: return RaySE;
    case -8: return RayS;
    case -9: return RaySW;
    default: return nullptr;
  }
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

// The common procedure; `Strict` selects AttackIsReal's rules (a win must be strictly positive).
template <int Us, bool Strict>
int Exchange(int to, int from, int own, int gain) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  if (Strict ? gain > own : gain >= own) return 1;
  const int d = own - gain;
  u64 attackers = b.Pawns[Them] & PawnAttacks[Us][to];
  if (d >= 2 && attackers) return 0;
  attackers |= KnightAttacks[to] & (b.Knights[WHITE] | b.Knights[BLACK]);
  if (d >= 4 && (attackers & b.Knights[Them])) return 0;
  attackers |= BishopAttacks(to, b.Occupied) & b.BishopsQueens;
  if (d >= 4 && (attackers & b.Bishops[Them])) return 0;
  attackers |= RookAttacks(to, b.Occupied) & b.RooksQueens;
  if (d >= 6 && (attackers & b.Rooks[Them])) return 0;
  const u64 ownPawns = b.Pawns[Us] & PawnAttacks[Them][to];
  if (own < 9 && gain >= 1 && ownPawns) return 1;
  attackers |= ownPawns | (KingAttacks[to] & (b.Kings[WHITE] | b.Kings[BLACK]));
  attackers &= ~(Bit(from) | Bit(to));
  attackers = AddHiddenAttackers(attackers, from, Direction[from][to]);
  if (!attackers) return 1;

  for (int balance = -d;;) {
    int value;
    int sq = CheapestAttacker(attackers & b.Pieces[Them], Them, value);
    if (sq < 0) return 1;
    attackers ^= Bit(sq);
    if (b.Board[sq] != KNIGHT && b.Board[sq] != KING) attackers = AddHiddenAttackers(attackers, sq, Direction[sq][to]);
    balance += value;
    if (balance < 0) return 0;
    sq = CheapestAttacker(attackers & b.Pieces[Us], Us, value);
    if (sq < 0) return 0;
    if (b.Board[sq] == KING && balance > 100) return 1;
    attackers ^= Bit(sq);
    if (b.Board[sq] != KNIGHT && b.Board[sq] != KING) attackers = AddHiddenAttackers(attackers, sq, Direction[sq][to]);
    balance -= value;
    if (Strict ? balance > 0 : balance >= 0) return 1;
  }
}

}  // namespace

u64 AddHiddenAttackers(u64 attackers, int square, int direction) {
  const u64 *ray = RayAway(direction);
  if (!ray) return attackers;
  const BoardRecord &b = thread_board;
  bool straight = direction == 1 || direction == -1 || direction == 8 || direction == -8;
  u64 reach = straight ? RookAttacks(square, b.Occupied) & b.RooksQueens
                       : BishopAttacks(square, b.Occupied) & b.BishopsQueens;
  return attackers | (reach & ray[square]);
}

int ExchangeHolds(int to, int from, int moved, int captured, int promotion) {
  if (promotion && promotion != QUEEN) return 0;
  int own = promotion ? 9 : ExchangeValue[moved];
  int gain = ExchangeValue[captured] + (promotion ? 8 : 0);
  return thread_board.SideToMove == WHITE ? Exchange<WHITE, false>(to, from, own, gain)
                                          : Exchange<BLACK, false>(to, from, own, gain);
}

int AttackIsReal(int target, int from, int moved, int victim) {
  int own = ExchangeValue[moved], gain = ExchangeValue[victim];
  return thread_board.SideToMove == WHITE ? Exchange<WHITE, true>(target, from, own, gain)
                                          : Exchange<BLACK, true>(target, from, own, gain);
}
