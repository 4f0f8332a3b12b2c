// K+R against K+P, solved backwards together with the endings that the pawn leads to: K+R against a lone king
// (the pawn taken) and against a queen, rook, bishop or knight (the pawn promoted). Each ending answers one
// question for every placement: does the rook's side win, the fifty-move rule aside?
//
// The pawn is White's and moves up; the rook's side, the attacker, is Black. A placement of the attacker's king
// and rook and of the defender's man is one index; its value is a bitboard over the defending king's squares.
// Sweeps repeat until nothing changes, and each sweep recomputes only the placements that a change can reach.
#include <cstring>
#include <vector>

#include "board/attacks.h"
#include "eval/bitbases.h"
#include "tools/bitbases/solvers.h"

namespace {

// The defender's man beside its king.
enum Man { LONE_KING, KNIGHT_MAN, BISHOP_MAN, ROOK_MAN, QUEEN_MAN, PAWN_MAN };

constexpr int PLACEMENTS = 64 * 64 * 64;

int IndexOf(int attackerKing, int rook, int man) { return (attackerKing << 12) | (rook << 6) | man; }

// The squares strictly between two squares on a line; none for squares that share no line or stand side by side.
u64 StrictlyBetween(int a, int b) { return Between[a][b] & ~Bit(a); }

// The king-step neighbours of a set of squares.
u64 Dilate(u64 squares) {
  const u64 sideways = ((squares << 1) & ~FILE_A) | ((squares >> 1) & ~FILE_H);
  const u64 row = squares | sideways;
  return sideways | (row << 8) | (row >> 8);
}

// Squares that the man on x attacks, its lines stopping at `blockers`.
u64 ManAttacks(Man man, int x, u64 blockers) {
  switch (man) {
    case KNIGHT_MAN: return KnightAttacks[x];
    case BISHOP_MAN: return BishopAttacks(x, blockers);
    case ROOK_MAN: return RookAttacks(x, blockers);
    case QUEEN_MAN: return RookAttacks(x, blockers) | BishopAttacks(x, blockers);
    case PAWN_MAN: return PawnAttacks[WHITE][x];
    default: return 0;
  }
}

// The defending king's squares on which the man does not attack `target`: all of them when its line doesn't
// reach the target past `blockers`, else those where the king itself stands in the way.
u64 ManMisses(Man man, int x, u64 blockers, int target) {
  return (ManAttacks(man, x, blockers) & Bit(target)) ? StrictlyBetween(x, target) : ~u64(0);
}

// The pawn squares of the bitbase: files e to h, ranks 4 to 7. A pawn only moves on within them, or promotes,
// or takes the rook.
constexpr u64 PAWN_SQUARES = 0x00F0F0F0F0000000ULL;

struct Ending {
  Man man;
  std::vector<u64> win;   // the attacker to move wins
  std::vector<u64> lose;  // the defender to move loses
};

bool Placed(Man man, int attackerKing, int rook, int x) {
  if (attackerKing == rook) return false;
  if (man == LONE_KING) return x == 0;
  if (x == attackerKing || x == rook) return false;
  return man != PAWN_MAN || (PAWN_SQUARES & Bit(x));
}

u64 ManBit(Man man, int x) { return man == LONE_KING ? 0 : Bit(x); }

// The defending king's squares of a legal placement with the attacker to move: not next to the other king, not
// in check from the rook.
u64 LegalForAttacker(Man man, int attackerKing, int rook, int x) {
  const u64 occupied = Bit(attackerKing) | Bit(rook) | ManBit(man, x);
  return ~occupied & ~KingAttacks[attackerKing] & ~RookAttacks(rook, occupied);
}

// The attacker to move: a move to a placement where the defender loses.
u64 Wins(const Ending &e, const Ending &lone, int attackerKing, int rook, int x) {
  const u64 manBit = ManBit(e.man, x);
  u64 wins = 0;
  for (u64 moves = KingAttacks[attackerKing] & ~Bit(rook); moves;) {
    const int to = PopLowest(moves);
    const u64 apart = ~KingAttacks[to] & ~Bit(to);
    if (manBit & Bit(to)) wins |= apart & lone.lose[IndexOf(to, rook, 0)];
    else wins |= apart & ManMisses(e.man, x, Bit(rook), to) & e.lose[IndexOf(to, rook, x)];
  }
  for (u64 moves = RookAttacks(rook, Bit(attackerKing) | manBit) & ~Bit(attackerKing); moves;) {
    const int to = PopLowest(moves);
    const u64 path = ~StrictlyBetween(rook, to) & ~Bit(to);
    if (manBit & Bit(to)) wins |= path & lone.lose[IndexOf(attackerKing, to, 0)];
    else wins |= path & ManMisses(e.man, x, Bit(to), attackerKing) & e.lose[IndexOf(attackerKing, to, x)];
  }
  return wins & LegalForAttacker(e.man, attackerKing, rook, x);
}

// The defender to move: every move leads to a win of the attacker, and there is a move or the king is in check.
// The four promotions are four moves.
u64 Loses(const Ending &e, const Ending *const promoted[4], int attackerKing, int rook, int x) {
  const u64 manBit = ManBit(e.man, x);
  const u64 occupied = Bit(attackerKing) | Bit(rook) | manBit;
  const u64 legal = ~occupied & ~KingAttacks[attackerKing] & ManMisses(e.man, x, Bit(rook), attackerKing);
  const u64 rookLines = RookAttacks(rook, Bit(attackerKing) | manBit);
  const u64 kingTargets = ~KingAttacks[attackerKing] & ~Bit(attackerKing) & ~rookLines & ~manBit;
  const u64 kingWins = kingTargets & ~Bit(rook) & e.win[IndexOf(attackerKing, rook, x)];
  u64 escapes = Dilate(kingTargets & ~kingWins), moves = Dilate(kingTargets);
  if (e.man == PAWN_MAN) {
    const int to = x + 8;
    if (!(occupied & Bit(to))) {
      const u64 safe = ~Bit(to) & ~RookAttacks(rook, Bit(attackerKing) | Bit(to));
      moves |= safe;
      if (RankOf(to) == 7)
        for (int piece = 0; piece < 4; piece++) escapes |= safe & ~promoted[piece]->win[IndexOf(attackerKing, rook, to)];
      else
        escapes |= safe & ~e.win[IndexOf(attackerKing, rook, to)];
    }
    // Taking the rook, promoting or not, leaves a lone king that can't win.
    if (PawnAttacks[WHITE][x] & Bit(rook)) moves = escapes = ~u64(0);
  } else if (e.man != LONE_KING) {
    for (u64 targets = ManAttacks(e.man, x, Bit(attackerKing) | Bit(rook)) & ~Bit(attackerKing); targets;) {
      const int to = PopLowest(targets);
      u64 safe = ~StrictlyBetween(x, to) & ~Bit(to);
      if (to != rook) safe &= ~RookAttacks(rook, Bit(attackerKing) | Bit(to));
      moves |= safe;
      escapes |= to == rook ? safe : safe & ~e.win[IndexOf(attackerKing, rook, to)];
    }
  }
  return legal & ~escapes & (moves | rookLines);
}

// Sweeps to the fixed point. A changed loss marks the placements that the attacker's moves come from; a changed
// win marks the defender's placements with the same men and those that its man comes from.
void Solve(Ending &e, const Ending &lone, const Ending *const promoted[4]) {
  e.win.assign(PLACEMENTS, 0);
  e.lose.assign(PLACEMENTS, 0);
  std::vector<u8> winDue(PLACEMENTS, 0), loseDue(PLACEMENTS, 0);
  for (int i = 0; i < PLACEMENTS; i++)
    if (Placed(e.man, i >> 12, (i >> 6) & 63, i & 63)) winDue[i] = loseDue[i] = 1;
  for (bool changed = true; changed;) {
    changed = false;
    for (int i = 0; i < PLACEMENTS; i++) {
      if (!loseDue[i]) continue;
      loseDue[i] = 0;
      const int king = i >> 12, rook = (i >> 6) & 63, x = i & 63;
      const u64 value = Loses(e, promoted, king, rook, x);
      if (value == e.lose[i]) continue;
      e.lose[i] = value;
      changed = true;
      const u64 manBit = ManBit(e.man, x);
      for (u64 from = KingAttacks[king] & ~Bit(rook) & ~manBit; from;) {
        const int j = IndexOf(PopLowest(from), rook, x);
        winDue[j] = 1;
      }
      for (u64 from = RookAttacks(rook, Bit(king) | manBit) & ~Bit(king) & ~manBit; from;)
        winDue[IndexOf(king, PopLowest(from), x)] = 1;
    }
    for (int i = 0; i < PLACEMENTS; i++) {
      if (!winDue[i]) continue;
      winDue[i] = 0;
      const int king = i >> 12, rook = (i >> 6) & 63, x = i & 63;
      const u64 value = Wins(e, lone, king, rook, x);
      if (value == e.win[i]) continue;
      e.win[i] = value;
      changed = true;
      loseDue[i] = 1;
      if (e.man == PAWN_MAN) {
        if (PAWN_SQUARES & Bit(x - 8) & ~Bit(king) & ~Bit(rook)) loseDue[IndexOf(king, rook, x - 8)] = 1;
      } else if (e.man != LONE_KING) {
        for (u64 from = ManAttacks(e.man, x, Bit(king) | Bit(rook)) & ~Bit(king) & ~Bit(rook); from;)
          loseDue[IndexOf(king, rook, PopLowest(from))] = 1;
      }
    }
  }
}

}  // namespace

void SolveRookPawn(u64 *rookPawn) {
  static Ending lone{LONE_KING, {}, {}}, knight{KNIGHT_MAN, {}, {}}, bishop{BISHOP_MAN, {}, {}}, rook{ROOK_MAN, {}, {}},
      queen{QUEEN_MAN, {}, {}}, pawn{PAWN_MAN, {}, {}};
  const Ending *const promoted[4] = {&queen, &rook, &bishop, &knight};
  Solve(lone, lone, promoted);
  for (Ending *e : {&queen, &rook, &bishop, &knight}) Solve(*e, lone, promoted);
  Solve(pawn, lone, promoted);
  std::memset(rookPawn, 0, 65536 * sizeof(u64));
  for (int r = 0; r < 64; r++)
    for (int k = 0; k < 64; k++)
      for (u64 squares = PAWN_SQUARES; squares;) {
        const int p = PopLowest(squares);
        if (!Placed(PAWN_MAN, k, r, p)) continue;
        rookPawn[RookPawnWord(r, k, p)] = LegalForAttacker(PAWN_MAN, k, r, p) & ~pawn.win[IndexOf(k, r, p)];
      }
}
