#include "eval/rook_pawns.h"

#include <cstdlib>

#include "board/attacks.h"
#include "board/board.h"
#include "eval/bitbases.h"
#include "eval/eval.h"
#include "eval/eval_tables.h"
#include "eval/passers.h"

namespace {

u64 StrictlyBetween(int a, int b) { return Between[a][b] & ~Bit(a); }

// Told for the pawn of Us; the probes see the board turned so that the pawn moves up.
template <int Us>
int HoldsPawn(int p, int rook) {
  constexpr int Them = ChangeSide(Us);
  constexpr int up = Us == WHITE ? 8 : -8;
  const BoardRecord &b = thread_board;
  const int king = b.KingSquare[Us], rookKing = b.KingSquare[Them];
  auto frame = [](int sq) { return Us == WHITE ? sq : 63 - sq; };
  auto holds = [&](int pawn, int pawnKing) {
    return ProbeRookPawn(frame(rook), frame(rookKing), frame(pawn), frame(pawnKing));
  };
  // Rank index seen from the pawn's side: 1 on its start rank, 6 one step from promotion.
  const int rank = Us == WHITE ? RankOf(p) : 7 - RankOf(p);
  if (b.SideToMove == Them) return rank <= 2 ? HOLDS_UNKNOWN : holds(p, king) ? HOLDS_DRAW : HOLDS_LOST;
  if ((KingAttacks[king] & Bit(rook)) && !(KingAttacks[rookKing] & Bit(rook))) return HOLDS_DRAW;
  if (PawnAttacks[Us][p] & Bit(rook)) return HOLDS_DRAW;
  // A pawn on its last rank, which only a set-up position has, has no step ahead to look at.
  if (rank == 7) return HOLDS_UNKNOWN;
  const u64 occupied = b.Occupied;
  const int stop = p + up;
  const u64 rankLines = RookAttacks(p, occupied) & RankMask(RankOf(p));
  const bool pinned = (rankLines & Bit(rook)) && (rankLines & Bit(king));
  if (rank <= 2) {
    const u64 path = rank == 1 ? Bit(stop) | Bit(stop + up) : Bit(stop);
    if ((occupied & path) || pinned) return HOLDS_UNKNOWN;
    // From the start rank a single step stays below the table, where the probe never says held.
    const bool push = holds(stop, king) || (rank == 1 && holds(stop + up, king));
    return push ? HOLDS_DRAW : HOLDS_UNKNOWN;
  }
  const bool check = (RookAttacks(rook, occupied) & Bit(king)) != 0;
  const bool fileCheck = check && FileOf(rook) == FileOf(king), rankCheck = check && !fileCheck;
  const bool stopFree = !(occupied & Bit(stop));
  if (rank == 6) {
    // Promoting into the check along the back rank, next to the own king and away from the other.
    if (rankCheck && stopFree && (StrictlyBetween(rook, king) & Bit(stop)) && (KingAttacks[king] & Bit(stop)) &&
        !(KingAttacks[rookKing] & Bit(stop)))
      return HOLDS_DRAW;
  } else if (stopFree && !pinned && !fileCheck) {
    // A step that blocks a check along the rank, or any step without check.
    if ((!rankCheck || (StrictlyBetween(rook, king) & Bit(stop))) && holds(stop, king)) return HOLDS_DRAW;
  }
  const u64 rookReach = RookAttacks(rook, occupied & ~Bit(king));
  for (u64 moves = KingAttacks[king] & ~rookReach & ~KingAttacks[rookKing] & ~b.Pieces[Us]; moves;)
    if (holds(p, PopLowest(moves))) return HOLDS_DRAW;
  return HOLDS_LOST;
}

i32 ForSideToMove(int side, i64 v) { return i32(thread_board.SideToMove == side ? v : -v); }

}  // namespace

int RookHoldsPawn(int pawn, int rook) {
  return (thread_board.Pawns[WHITE] & Bit(pawn)) ? HoldsPawn<WHITE>(pawn, rook) : HoldsPawn<BLACK>(pawn, rook);
}

bool RookAgainstPawns(i32 *score, i32 &correction) {
  const BoardRecord &b = thread_board;
  for (int rookSide : {WHITE, BLACK}) {
    const int pawnSide = ChangeSide(rookSide);
    if (b.PieceMaterial[rookSide] != 5 || b.Pawns[rookSide] || b.PieceMaterial[pawnSide] || !b.Pawns[pawnSide])
      continue;
    thread_eval_info.OtherSideKnown = 0;
    const int rook = LowestSquare(b.Rooks[rookSide]);
    const int rookKing = b.KingSquare[rookSide], pawnKing = b.KingSquare[pawnSide];
    int n = 0, free = 0, runners = 0, holds = 0;
    for (u64 pawns = b.Pawns[pawnSide]; pawns && holds <= 2;) {
      const int p = PopLowest(pawns);
      n++;
      const u64 ahead = pawnSide == WHITE ? FileAbove[p] : FileBelow[p];
      if (!(KingAttacks[rookKing] & ahead)) {
        free++;
        if (ProbeRunner(pawnSide, p, pawnKing, rookKing)) runners++;
      }
      if (RookHoldsPawn(p, rook) == HOLDS_DRAW) holds++;
    }
    i64 e;
    if (holds == 0) {
      e = n == 1 ? EndingScale[46] : runners ? 0 : i64(n) * (free ? EndingScale[48] : EndingScale[47]);
    } else if (holds == 1) {
      if (n == 1) return *score = 0, true;
      // The rearmost pawn: how far it has come, and whether its king stands by it. Of two on the rearmost rank
      // the one nearer file a, for either colour, so that the mirror image scores alike.
      const u64 pawns = b.Pawns[pawnSide];
      const int back = pawnSide == WHITE ? RankOf(LowestSquare(pawns)) : RankOf(HighestSquare(pawns));
      const int q = LowestSquare(pawns & RankMask(back));
      const int t = pawnSide == WHITE ? RankOf(q) : 7 - RankOf(q);
      i64 v = EndingScale[42] - ((t * i64(EndingScale[41])) >> 8) - ((n * i64(EndingScale[40])) >> 8);
      if (std::abs(FileOf(pawnKing) - FileOf(q)) <= 1) v -= EndingScale[43];
      *score = ForSideToMove(rookSide, v);
      return true;
    } else {
      e = -i64(holds == 2 ? EndingScale[44] : EndingScale[45]);
    }
    correction += i32(rookSide == BLACK ? e : -e);
    return false;
  }
  return false;
}
