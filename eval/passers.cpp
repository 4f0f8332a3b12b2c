#include "eval/passers.h"

#include <algorithm>
#include <cstdlib>

#include "board/attacks.h"
#include "eval/bitbases.h"
#include "eval/eval.h"
#include "eval/eval_tables.h"
#include "search/exchange.h"

namespace {

constexpr int NO_RACE = 99;


int Distance(int a, int b) { return std::max(std::abs(FileOf(a) - FileOf(b)), std::abs(RankOf(a) - RankOf(b))); }

template <int Us>
void ScorePassedPawn(int p, i32 *sideOpening, i32 *sideEnding) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  const int stop = Us == BLACK ? p - 8 : p + 8;
  const int f = FileOf(p);
  const int toGo = Us == BLACK ? RankOf(p) : 7 - RankOf(p);  // the rank index seen from Black
  int safe = 0;
  if (!(b.Occupied & Bit(stop))) safe = ExchangeHoldsFor<Us>(stop, p, PAWN, NONE, 0);
  int cls = safe;
  const u64 own = b.Pawns[Us];
  if ((own & AdjacentFiles[p] & RankMask(RankOf(p))) || (own & PawnAttacks[Them][p])) cls |= 2;
  if (PopCount(b.PawnEntry.PassedVector[Us == BLACK ? 0 : 1]) < 2) cls |= 4;
  const int enemyKing = b.KingSquare[Them], ownKing = b.KingSquare[Us];
  const int endingCls = cls | ((PassedMask[Us][p] & Bit(enemyKing)) ? 8 : 0);
  const int m = std::clamp(b.PieceMaterial[Us] - b.PieceMaterial[Them] + 6, 0, 12);
  auto row = [&](int king) {
    const int ahead = Us == BLACK ? RankOf(p) - RankOf(king) : RankOf(king) - RankOf(p);
    return std::clamp(ahead, -2, 3) + 2;
  };
  i32 a = PasserKingEnemy[std::min(std::abs(f - FileOf(enemyKing)), 3) + 4 * row(enemyKing)] +
          PasserKingOwn[std::min(std::abs(f - FileOf(ownKing)), 3) + 4 * row(ownKing)];
  const int d = Distance(ownKing, stop) - Distance(enemyKing, stop);
  const int inRect = (Rectangle[p][enemyKing] & Bit(ownKing)) ? 1 : 0;
  a += PasserKingRace[2 * std::clamp(d, -4, 4) + 8 + inRect];
  const int s = std::clamp(a, -150, 150);
  const int t = 7 - toGo, e = std::min(f, 7 - f);
  i64 x = (i64(PasserClassEnding[endingCls] + PasserCurve[s + 150]) * PasserRankEnding[t] * PasserFileEnding[e]) >> 12;
  x *= PasserForceEnding[m];
  sideEnding[Them] -= i32(x >> 6);
  i64 y = (i64(PasserRankOpening[t]) * PasserClassOpening[cls] * PasserFileOpening[e]) >> 12;
  y *= PasserForceOpening[m];
  sideOpening[Them] -= i32(y >> 6);
}

// The enemy king on its back rank, boxed in by an own pawn in front of it and the own king two squares ahead:
// any other passer of Us runs, unless its stop square is that king's.
template <int Us>
bool KingTiedToPawn(int p) {
  constexpr int up = Us == WHITE ? 8 : -8;
  const BoardRecord &b = thread_board;
  const int enemyKing = b.KingSquare[ChangeSide(Us)];
  if (RankOf(enemyKing) != (Us == WHITE ? 7 : 0) || b.KingSquare[Us] != enemyKing - 2 * up) return false;
  return (b.Pawns[Us] & Bit(enemyKing - up)) && p + up != enemyKing;
}

// Race length of one passer of Us against a king without pieces, or NO_RACE; may add the lone-pawn bonus.
template <int Us>
int RaceLength(int p, i32 &packed) {
  constexpr int Them = ChangeSide(Us);
  constexpr int sign = Us == BLACK ? 1 : -1;
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const u64 ahead = Us == BLACK ? FileBelow[p] : FileAbove[p];
  const int enemyKing = b.KingSquare[Them], ownKing = b.KingSquare[Us];
  const bool toMove = b.SideToMove == Us;
  const int startRank = Us == BLACK ? 6 : 1;
  int t = Us == BLACK ? RankOf(p) : 7 - RankOf(p);
  // Every outcome of the race depends on who is to move.
  info.OtherSideKnown = 0;
  bool out = (b.Kings[Them] & ahead) != 0;
  const u64 ownAhead = b.Pieces[Us] & ahead;
  if (!out && ownAhead) {
    // The king catches the pawn from the larger square when it is the king's move.
    const u64 *square = Us == BLACK ? (toMove ? PawnSquareBlack : PawnSquareBlackTempo)
                                    : (toMove ? PawnSquareWhite : PawnSquareWhiteTempo);
    out = (square[p] & Bit(enemyKing)) != 0;
  } else if (!out) {
    out = !KingTiedToPawn<Us>(p) && !ProbeRunner(Us, p, ownKing, enemyKing, false);
  }
  if (out) {
    const u64 blockedTheirs = b.Pawns[Them] & (Them == WHITE ? b.Occupied >> 8 : b.Occupied << 8);
    if (b.Pawns[Them] && !b.PawnEntry.PassedVector[Them == BLACK ? 0 : 1] && !(b.Pawns[Us] & ahead) &&
        blockedTheirs == b.Pawns[Them] && ProbePawnTable(KpkBitbase, Us, b.SideToMove, p, ownKing, enemyKing))
      packed += sign * PasserAlone[7 - (Us == BLACK ? RankOf(p) : 7 - RankOf(p))];
    return NO_RACE;
  }
  if (toMove) t -= 1 + (RankOf(p) == startRank ? 1 : 0);
  if (ownAhead) {
    const int n = PopCount(ownAhead);
    const bool edge = FileOf(p) == 0 || FileOf(p) == 7;
    const int limit = toMove ? 3 : 4;
    if (edge && (ownAhead & b.Kings[Us]) && std::abs(FileOf(ownKing) - FileOf(enemyKing)) < limit) return NO_RACE;
    // The men in front cost a move each: the pawn races as if n ranks further back, the king to move.
    const int from = toMove ? (Us == BLACK ? p - 8 : p + 8) : p;
    const int q = Us == BLACK ? from + 8 * n : from - 8 * n;
    if (q < 8 || q > 55) return NO_RACE;
    t += n;
    const u64 *square = Us == BLACK ? PawnSquareBlackTempo : PawnSquareWhiteTempo;
    if (square[q] & Bit(enemyKing)) return NO_RACE;
  } else if (PassedMask[Us][p] & Bit(enemyKing)) {
    t -= 1;
  }
  return t;
}

// The fastest runner of Us against knights alone: the rank that the best unstopped pawn stands on.
template <int Us>
int KnightRace(int p) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const int ownKing = b.KingSquare[Us], enemyKing = b.KingSquare[Them];
  if (b.Pieces[Us] & (Us == BLACK ? FileBelow[p] : FileAbove[p])) return NO_RACE;
  if (!ProbeRunner(Us, p, ownKing, enemyKing, false)) return NO_RACE;
  info.OtherSideKnown = 0;
  int q = p;
  const int step = Us == BLACK ? -8 : 8;
  if (b.SideToMove == Us) q += (RankOf(p) == (Us == BLACK ? 6 : 1)) ? 2 * step : step;
  const int promotionRank = Us == BLACK ? 0 : 7;
  for (u64 knights = b.Knights[Them]; knights;) {
    const int n = PopLowest(knights);
    if (RankOf(q) == promotionRank) {
      if ((KnightAttacks[n] & Bit(q)) || (KnightAttacks[ownKing] & KnightAttacks[q] & KnightAttacks[n])) return NO_RACE;
    } else {
      // The stop table is given for a black pawn; a white one reads it rotated.
      const int pq = Us == BLACK ? q : 63 - q, pk = Us == BLACK ? ownKing : 63 - ownKing;
      const int pn = Us == BLACK ? n : 63 - n;
      if (KnightStopsPawn[pq][pk] & Bit(pn)) return NO_RACE;
    }
  }
  return Us == BLACK ? RankOf(q) : 7 - RankOf(q);
}

// The passers of a race walk on its lowest and highest files.
struct Wings {
  int low = -1, high = -1;
};

template <int Us>
int WalkPassers(i32 &packed, i32 *sideOpening, i32 *sideEnding, int &best, Wings &wings) {
  constexpr int Them = ChangeSide(Us);
  constexpr int sign = Us == BLACK ? 1 : -1;
  const BoardRecord &b = thread_board;
  const EvalInfo &info = thread_eval_info;
  const bool noPieces = b.PieceMaterial[Them] == 0;
  const bool onlyKnights = !noPieces && b.PieceMaterial[Them] == 3 * b.PieceCount[KNIGHT][Them];
  int length = NO_RACE;
  u8 seen = 0;
  // Seen from its own side, each colour walks up the board from file a to h: White's set is read rank-mirrored.
  constexpr int flip = Us == BLACK ? 0 : 56;
  u64 passers = info.PassedPawns[Us] & ~RANK_1 & ~RANK_8;
  if (Us == WHITE) passers = __builtin_bswap64(passers);
  while (passers) {
    const int p = PopLowest(passers) ^ flip;
    if (seen & (1 << FileOf(p))) continue;
    seen |= u8(1 << FileOf(p));
    ScorePassedPawn<Us>(p, sideOpening, sideEnding);
    const u64 behind = RookAttacks(p, b.Occupied) & (Us == BLACK ? FileAbove[p] : FileBelow[p]);
    const int seenSquare = Us == BLACK ? p : 63 - p;
    const int stop = Us == BLACK ? p - 8 : p + 8;
    if (behind & b.Rooks[Us])
      packed += sign * ((b.Pieces[Them] & Bit(stop)) ? RookBehindPasserBlocked[seenSquare] : RookBehindPasserFree[seenSquare]);
    else if (behind & b.Rooks[Them])
      packed -= sign * EnemyRookBehindPasser[seenSquare];
    int t = NO_RACE;
    if (noPieces) {
      if (wings.low < 0 || FileOf(p) < FileOf(wings.low)) wings.low = p;
      if (wings.high < 0 || FileOf(p) > FileOf(wings.high)) wings.high = p;
      t = RaceLength<Us>(p, packed);
    }
    else if (onlyKnights) t = KnightRace<Us>(p);
    if (t < length) length = t, best = p;
  }
  if (b.PieceMaterial[Them] < 4) {
    const int n = std::min(PopCount(b.PawnEntry.PassedVector[Us == BLACK ? 0 : 1]), 4);
    packed += sign * (noPieces ? PassersNoPieces[n] : !b.Knights[Them] ? PassersVsBishop[n] : PassersVsKnight[n]);
  }
  return length;
}

// Two passers files apart that the enemy king can't both catch: if either runs with the king on the other's
// square, the race lasts as long as the slower of them.
template <int Us>
void TwoDistantPassers(const Wings &wings, int &length, int &best) {
  const BoardRecord &b = thread_board;
  const int a = wings.low, c = wings.high;
  if (a < 0 || FileOf(c) - FileOf(a) <= 1) return;
  const int ownKing = b.KingSquare[Us];
  if (!ProbeRunner(Us, a, ownKing, c, false) && !ProbeRunner(Us, c, ownKing, a, false)) return;
  auto moves = [&](int p) {
    int r = Us == BLACK ? RankOf(p) : 7 - RankOf(p);
    if (b.SideToMove == Us) r = std::min(r, 5) - 1;
    return r;
  };
  int ra = moves(a), rc = moves(c);
  if (b.Kings[Us] & (Us == BLACK ? FileBelow[a] : FileAbove[a])) ra++;
  else if (b.Kings[Us] & (Us == BLACK ? FileBelow[c] : FileAbove[c])) rc++;
  const int v = std::max(ra, rc);
  if (v < length) length = v, best = ra >= rc ? a : c;
}

// Both sides promote, First a move ahead: its queen checks, stops the other pawn, skewers the other king and the
// new queen, or picks up loose pawns. The sign is that of First's gain in Black's view.
template <int First>
i32 PromotionRace(i32 packed, int firstBest, int secondBest, int length) {
  constexpr int Second = ChangeSide(First);
  constexpr i32 sign = First == BLACK ? 1 : -1;
  constexpr u64 promotionRank = First == WHITE ? RANK_8 : RANK_1;
  const BoardRecord &b = thread_board;
  const int q = First == WHITE ? 56 + FileOf(firstBest) : FileOf(firstBest);
  const int r = First == WHITE ? FileOf(secondBest) : 56 + FileOf(secondBest);
  const int king = b.KingSquare[Second];
  const u64 occupied = b.Occupied & ~Bit(firstBest);
  const u64 queen = RookAttacks(q, occupied) | BishopAttacks(q, occupied);
  if (queen & Bit(king)) return packed + sign * RaceCheck[length];
  const bool stops = (queen & Bit(r)) || (FileOf(r) == FileOf(q) && (queen & Bit(secondBest)));
  if (stops && !(KingAttacks[king] & Bit(r))) return packed + sign * RaceStops[length];
  // After both promotions: the lines of the two queens over the board without the two pawns.
  const u64 after = occupied & ~Bit(secondBest);
  const int kingRank = First == WHITE ? RankOf(king) : 7 - RankOf(king);
  if (!b.PieceMaterial[Second] && kingRank >= 2 && kingRank <= 5) {
    const u64 targets = RookAttacks(q, after) & promotionRank & ~b.Kings[First];
    auto reachesTarget = [&](int from) {
      return (RookAttacks(from, after) & (First == WHITE ? FileAbove[from] : FileBelow[from]) & targets) != 0;
    };
    const int b1 = First == WHITE ? 1 : 57, g1 = First == WHITE ? 6 : 62;
    if (FileOf(r) == FileOf(king) && reachesTarget(king)) return packed + sign * RaceSkewer[length];
    const bool edgeRank = kingRank >= 3;
    if (r == b1 && FileOf(king) == 0 && edgeRank && reachesTarget(king) && reachesTarget(r))
      return packed + sign * RaceSkewerA[length];
    if (r == g1 && FileOf(king) == 7 && edgeRank && reachesTarget(king) && reachesTarget(r))
      return packed + sign * RaceSkewerH[length];
  }
  if (b.PieceCount[PAWN][Second] > 1) {
    const u64 pawnCover = PawnHits(Second, b.Pawns[Second]);
    const u64 loose = b.Pawns[Second] & ~Bit(secondBest) & ~pawnCover & ~KingAttacks[king];
    if (loose) {
      const u64 lines = (RookAttacks(king, after) | BishopAttacks(king, after)) &
                        (RookAttacks(q, after) | BishopAttacks(q, after));
      const u64 newQueen = RookAttacks(r, after) | BishopAttacks(r, after);
      const u64 guarded = PawnHits(First, b.Pawns[First]) | KingAttacks[b.KingSquare[First]];
      const u64 checks = lines & ~b.Pieces[First] & ~pawnCover & ~newQueen & ~(KingAttacks[king] & ~guarded);
      // The tables stop at eight pawns; a set-up position may hold more.
      const int n = std::min(PopCount(loose), 8);
      packed += sign * (checks ? RaceLoosePawnsCheck[n] : RaceLoosePawns[n]);
    }
  }
  return packed;
}

}  // namespace

bool ProbeRunner(int side, int pawn, int ownKing, int enemyKing, bool kingRule) {
  const BoardRecord &b = thread_board;
  bool now, other;
  const bool kingAhead = FileOf(pawn) == FileOf(ownKing) && (side == WHITE ? ownKing > pawn : ownKing < pawn);
  if (kingRule && kingAhead) {
    const int p = side == WHITE ? pawn : 63 - pawn, k = side == WHITE ? enemyKing : 63 - enemyKing;
    const bool pawnToMove = b.SideToMove == side;
    const bool runsMoving = !(PawnSquareWhite[p] & Bit(k)), runsWaiting = !(PawnSquareWhiteTempo[p] & Bit(k));
    now = pawnToMove ? runsMoving : runsWaiting;
    other = pawnToMove ? runsWaiting : runsMoving;
  } else {
    now = ProbePawnTable(RunnerBitbase, side, b.SideToMove, pawn, ownKing, enemyKing);
    other = ProbePawnTable(RunnerBitbase, side, ChangeSide(b.SideToMove), pawn, ownKing, enemyKing);
  }
  if (now != other) thread_eval_info.OtherSideKnown = 0;
  return now;
}

i32 EvaluatePassedPawns(i32 packed, i32 *sideOpening, i32 *sideEnding) {
  const BoardRecord &b = thread_board;
  int blackBest = -1, whiteBest = -1;
  Wings blackWings, whiteWings;
  int rb = b.PawnEntry.PassedVector[0] ? WalkPassers<BLACK>(packed, sideOpening, sideEnding, blackBest, blackWings)
                                       : NO_RACE;
  int rw = b.PawnEntry.PassedVector[1] ? WalkPassers<WHITE>(packed, sideOpening, sideEnding, whiteBest, whiteWings)
                                       : NO_RACE;
  TwoDistantPassers<WHITE>(whiteWings, rw, whiteBest);
  TwoDistantPassers<BLACK>(blackWings, rb, blackBest);
  if (rb == NO_RACE && rw == NO_RACE) return packed;
  thread_eval_info.OtherSideKnown = 0;
  const bool whiteToMove = b.SideToMove == WHITE;
  if (whiteToMove && rw != NO_RACE) rw++;
  const int c = rb == NO_RACE ? NO_RACE : rb + (whiteToMove ? 0 : 1);
  auto clip = [](int v) { return std::clamp(v, 0, 7); };
  if (rb == NO_RACE) return packed - RaceAlone[clip(rw)];
  if (rw == NO_RACE) return packed + RaceAlone[clip(c)];
  if (rw < rb - 1) return packed - RaceAheadTwo[clip(rw)];
  if (rw == rb - 1) return packed - RaceAheadOne[clip(rw)];
  if (rb < rw - 2) return packed + RaceAheadTwo[clip(c)];
  if (rb == rw - 2) return packed + RaceAheadOne[clip(c)];
  if (rw == rb) return PromotionRace<WHITE>(packed, whiteBest, blackBest, clip(rw));
  return PromotionRace<BLACK>(packed, blackBest, whiteBest, clip(c));
}
