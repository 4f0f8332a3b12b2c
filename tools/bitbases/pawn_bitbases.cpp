// K+P against K and the runners: the two pawn bitbases, solved over the board of a white pawn moving up.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "board/attacks.h"
#include "eval/bitbases.h"
#include "tools/bitbases/solvers.h"

namespace {

int Distance(int a, int b) { return std::max(std::abs(FileOf(a) - FileOf(b)), std::abs(RankOf(a) - RankOf(b))); }

void SetBit(u8 *table, int index) { table[index >> 3] |= u8(1 << (index & 7)); }

// A placement of white king, white pawn (ranks 2 to 7) and black king that can stand on the board with stm to
// move: three distinct squares, kings apart, and the side not to move not in check.
bool Legal(int stm, int pawn, int wk, int bk) {
  if (RankOf(pawn) < 1 || RankOf(pawn) > 6 || pawn == wk || pawn == bk || wk == bk) return false;
  if (Distance(wk, bk) < 2) return false;
  return !(stm == 0 && (PawnAttacks[WHITE][pawn] & Bit(bk)));
}

// Black king squares reachable from bk with the white king on wk, a white piece of `attacks` on its square and
// `occupied` the other men (the black king's own square is left out, so that lines run through it).
u64 BlackKingMoves(int bk, int wk, u64 attacked) { return KingAttacks[bk] & ~KingAttacks[wk] & ~Bit(wk) & ~attacked; }

// After promotion on q to a queen or a rook, black to move: the new piece survives and black is not stalemated.
bool PromotionWins(int q, int wk, int bk) {
  const bool defended = (KingAttacks[wk] & Bit(q)) != 0;
  if ((KingAttacks[bk] & Bit(q)) && !defended) return false;
  const u64 occupied = Bit(wk) | Bit(q);
  for (const bool queen : {true, false}) {
    const u64 lines = RookAttacks(q, occupied) | (queen ? BishopAttacks(q, occupied) : 0);
    const bool check = (lines & Bit(bk)) != 0;
    u64 moves = BlackKingMoves(bk, wk, lines);
    if (!defended) moves |= KingAttacks[bk] & Bit(q);
    if (moves || check) return true;
  }
  return false;
}

// Black's king moves in a K+P against K position; sets `capture` when the pawn can be taken.
u64 BlackMoves(int pawn, int wk, int bk, bool &capture) {
  u64 moves = BlackKingMoves(bk, wk, PawnAttacks[WHITE][pawn]);
  capture = (moves & Bit(pawn)) && !(KingAttacks[wk] & Bit(pawn));
  return moves & ~Bit(pawn);
}

// K+P against K by repeated sweeps to a fixed point: a position is won for White when one white move reaches a
// won position, or when every black move does (a black king without moves: won if in check, else stalemate).
void BuildKpk(u8 *kpk) {
  std::vector<u8> win(131072 * 4, 0);
  auto at = [&](int stm, int pawn, int wk, int bk) -> u8 & { return win[BitbaseIndex(stm, pawn, wk, bk)]; };
  for (bool changed = true; changed;) {
    changed = false;
    for (int pawn = 55; pawn >= 8; pawn--)
      for (int wk = 0; wk < 64; wk++)
        for (int bk = 0; bk < 64; bk++) {
          if (!at(0, pawn, wk, bk) && Legal(0, pawn, wk, bk)) {
            bool won = false;
            for (u64 moves = KingAttacks[wk] & ~KingAttacks[bk] & ~Bit(pawn); moves && !won;)
              won = at(1, pawn, PopLowest(moves), bk);
            const int next = pawn + 8;
            if (!won && next != wk && next != bk) {
              if (RankOf(next) == 7) won = PromotionWins(next, wk, bk);
              else won = at(1, next, wk, bk) || (RankOf(pawn) == 1 && next + 8 != wk && next + 8 != bk && at(1, next + 8, wk, bk));
            }
            if (won) at(0, pawn, wk, bk) = 1, changed = true;
          }
          if (!at(1, pawn, wk, bk) && Legal(1, pawn, wk, bk)) {
            bool capture;
            u64 moves = BlackMoves(pawn, wk, bk, capture);
            bool won = !capture;
            if (won && !moves) won = (PawnAttacks[WHITE][pawn] & Bit(bk)) != 0;
            while (won && moves) won = at(0, pawn, wk, PopLowest(moves));
            if (won) at(1, pawn, wk, bk) = 1, changed = true;
          }
        }
  }
  for (int i = 0; i < 524288; i++)
    if (win[i]) SetBit(kpk, i);
}

// Runners: only the pawn moves, and it promotes without the black king taking it, blocking it or taking the new
// queen. The pawn only goes forward, so the ranks are solved from the seventh down in one sweep.
void BuildRunners(u8 *runners) {
  std::vector<u8> runs(524288, 0);
  auto at = [&](int stm, int pawn, int wk, int bk) -> u8 & { return runs[BitbaseIndex(stm, pawn, wk, bk)]; };
  for (int pawn = 55; pawn >= 8; pawn--) {
    for (int wk = 0; wk < 64; wk++)
      for (int bk = 0; bk < 64; bk++) {
        if (!Legal(0, pawn, wk, bk)) continue;
        const int next = pawn + 8;
        if (next == wk || next == bk) continue;
        bool runs0;
        if (RankOf(next) == 7) runs0 = !(KingAttacks[bk] & Bit(next)) || (KingAttacks[wk] & Bit(next));
        else runs0 = at(1, next, wk, bk) || (RankOf(pawn) == 1 && next + 8 != wk && next + 8 != bk && at(1, next + 8, wk, bk));
        at(0, pawn, wk, bk) = runs0;
      }
    for (int wk = 0; wk < 64; wk++)
      for (int bk = 0; bk < 64; bk++) {
        if (!Legal(1, pawn, wk, bk)) continue;
        bool capture;
        u64 moves = BlackMoves(pawn, wk, bk, capture);
        bool runs1 = !capture && moves;
        while (runs1 && moves) runs1 = at(0, pawn, wk, PopLowest(moves));
        at(1, pawn, wk, bk) = runs1;
      }
  }
  for (int i = 0; i < 524288; i++)
    if (runs[i]) SetBit(runners, i);
}

}  // namespace

void SolveKingPawnKing(u8 *kpk) {
  std::memset(kpk, 0, 65536);
  BuildKpk(kpk);
}

void SolveRunners(u8 *runners) {
  std::memset(runners, 0, 65536);
  BuildRunners(runners);
}
