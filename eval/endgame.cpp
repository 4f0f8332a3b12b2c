#include "eval/endgame.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "board/attacks.h"
#include "board/board.h"
#include "eval/bitbases.h"
#include "eval/eval.h"
#include "eval/eval_tables.h"
#include "eval/evaluate_steps.h"
#include "eval/material.h"
#include "eval/passers.h"
#include "eval/rook_pawns.h"

namespace {

// Edge and corner squares of a bare king, from which it is driven to mate.
constexpr i32 MatingEdge[64] = {
    100, 96, 93, 90, 90, 93, 96, 100, 96, 80, 70, 60, 60, 70, 80, 96, 93, 70, 60, 50, 50, 60, 70, 93,
    90,  60, 50, 40, 40, 50, 60, 90,  90, 60, 50, 40, 40, 50, 60, 90, 93, 70, 60, 50, 50, 60, 70, 93,
    96,  80, 70, 60, 60, 70, 80, 96,  100, 96, 93, 90, 90, 93, 96, 100};

// (v * f) >> 8, rounded toward zero so that a score and its colour-swapped image scale alike.
i32 Scaled(i64 v, i64 f) { return i32(v < 0 ? -((-v * f) >> 8) : (v * f) >> 8); }

int Distance(int a, int b) { return std::max(std::abs(FileOf(a) - FileOf(b)), std::abs(RankOf(a) - RankOf(b))); }

// A side that cannot win by material alone; both such, or the side to move such while not ahead: a draw.
bool DrawnByForce(const i32 *score) {
  EvalInfo &info = thread_eval_info;
  if (info.CannotWin[WHITE] && info.CannotWin[BLACK]) return true;
  if (info.CannotWin[thread_board.SideToMove] && *score >= 0) {
    info.Cacheable = 0;
    return true;
  }
  return false;
}

int Minors(int side) { return thread_board.PieceCount[KNIGHT][side] + thread_board.PieceCount[BISHOP][side]; }
int Majors(int side) { return thread_board.PieceCount[ROOK][side] + 2 * thread_board.PieceCount[QUEEN][side]; }

// Score v for the strong side, turned for the side to move.
i32 ForSideToMove(int strong, i32 v) { return thread_board.SideToMove == strong ? v : -v; }

// K+P against K by the bitbase.
i32 KingPawnKing(int strong) {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const int weak = ChangeSide(strong), pawn = LowestSquare(b.Pawns[strong]);
  const bool now = ProbePawnTable(KpkBitbase, strong, b.SideToMove, pawn, b.KingSquare[strong], b.KingSquare[weak]);
  const bool other = ProbePawnTable(KpkBitbase, strong, ChangeSide(b.SideToMove), pawn, b.KingSquare[strong], b.KingSquare[weak]);
  if (now != other || strong == BLACK) info.OtherSideKnown = 0;
  if (!now) return 0;
  const int rank = strong == WHITE ? RankOf(pawn) : 7 - RankOf(pawn);
  return ForSideToMove(strong, KpkValue[std::clamp(rank, 1, 6) - 1]);
}

// Pawns against a lone pawn whose king stands in front of it: a runner of the strong side decides the race.
bool PawnRace(i32 *score) {
  const BoardRecord &b = thread_board;
  if (b.PieceMaterial[WHITE] || b.PieceMaterial[BLACK]) return false;
  for (int weak : {WHITE, BLACK}) {
    const int strong = ChangeSide(weak);
    if (b.PieceCount[PAWN][weak] != 1 || !b.Pawns[strong]) continue;
    const int pawn = LowestSquare(b.Pawns[weak]);
    const u64 ahead = weak == WHITE ? FileAbove[pawn] : FileBelow[pawn];
    if (!(b.Kings[strong] & ahead) || !(thread_eval_info.PassedPawns[weak] & Bit(pawn))) continue;
    i32 v = -PawnRaceBase;
    bool runner = false;
    for (u64 pawns = b.Pawns[strong]; pawns;) {
      const int p = PopLowest(pawns);
      const u64 front = strong == WHITE ? FileAbove[p] : FileBelow[p];
      if ((b.Pieces[strong] & front) || (b.Pawns[weak] & (PassedMask[strong][p]))) {
        v += PawnRaceStep;
      } else if (ProbeRunner(strong, p, b.KingSquare[strong], b.KingSquare[weak])) {
        runner = true;
        const int rank = strong == WHITE ? RankOf(p) : 7 - RankOf(p);
        v += PawnRaceRank[std::clamp(rank, 1, 6) - 1] + PawnRaceStep;
      } else {
        v += PawnRaceStep;
      }
    }
    if (runner) {
      *score = ForSideToMove(strong, v + PawnRaceWin);
      return true;
    }
  }
  return false;
}

// Bishops of opposite colours, two pawns against none on the colour of their own bishop, side by side on a
// diagonal: the defending king in front of one pawn and its bishop on the square in front of the other hold
// them, as does the king in front of a rook pawn's neighbour. Told for black pawns; the mirror is by rank.
bool BishopsBlockadeTwoPawns() {
  const BoardRecord &b = thread_board;
  for (int pawnSide : {WHITE, BLACK}) {
    const int defender = ChangeSide(pawnSide);
    if (b.PieceCount[PAWN][pawnSide] != 2 || b.Pawns[defender] || !b.Bishops[pawnSide] || !b.Bishops[defender]) continue;
    const u64 colour = (b.Bishops[pawnSide] & LightSquares) ? LightSquares : DarkSquares;
    if ((b.Bishops[defender] & colour) || (b.Pawns[pawnSide] & ~colour)) return false;
    const int flip = pawnSide == BLACK ? 0 : 56;
    int lo = LowestSquare(b.Pawns[pawnSide]) ^ flip, hi = HighestSquare(b.Pawns[pawnSide]) ^ flip;
    if (lo > hi) std::swap(lo, hi);
    if ((hi != lo + 9 && hi != lo + 7) || std::abs(FileOf(hi) - FileOf(lo)) != 1) return false;
    const int king = b.KingSquare[defender] ^ flip, bishop = LowestSquare(b.Bishops[defender]);
    const u64 bishopCover = Bit(bishop) | BishopAttacks(bishop, b.Occupied);
    auto covers = [&](int sq) { return ((bishopCover >> (sq ^ flip)) & 1) != 0; };
    const bool edge = (FileOf(lo) == 0 && hi == lo + 9) || (FileOf(lo) == 7 && hi == lo + 7);
    const bool blockade = (edge && king == hi - 8) || (king == lo - 8 && covers(hi - 8)) || (king == hi - 8 && covers(lo - 8));
    if (!blockade) return false;
    thread_eval_info.OtherSideKnown = 0;
    // The pawns' king must not be about to take the bishop.
    return b.SideToMove == defender || !(KingAttacks[b.KingSquare[pawnSide]] & b.Bishops[defender]);
  }
  return false;
}

// One pawn, a bishop against a knight or bishops of opposite colours: the defender stops the pawn.
bool MinorStopsPawn() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  if (PopCount(b.AllPawns) != 1) return false;
  const int strong = b.Pawns[WHITE] ? WHITE : BLACK, weak = ChangeSide(strong);
  const int pawn = LowestSquare(b.AllPawns);
  // A pawn on a back rank, which only a set-up position has, has no square ahead or behind to look at.
  if (RankOf(pawn) == 0 || RankOf(pawn) == 7) return false;
  const int step = strong == WHITE ? 8 : -8;
  if (b.Bishops[strong] && b.Knights[weak]) {
    info.OtherSideKnown = 0;
    if (ProbeRunner(strong, pawn, b.KingSquare[strong], b.KingSquare[weak])) return false;
    int q = pawn;
    if (b.SideToMove == strong && !(b.Occupied & Bit(pawn + step))) {
      q = pawn + step;
      const int startRank = strong == WHITE ? 1 : 6;
      if (RankOf(pawn) == startRank && !(b.Occupied & Bit(q + step))) q += step;
    }
    const int knight = LowestSquare(b.Knights[weak]);
    const int promotion = strong == WHITE ? 7 : 0;
    if (RankOf(q) != promotion) {
      const int pq = strong == BLACK ? q : 63 - q, pk = strong == BLACK ? b.KingSquare[strong] : 63 - b.KingSquare[strong];
      return (KnightStopsPawn[pq][pk] & Bit(strong == BLACK ? knight : 63 - knight)) != 0;
    }
    if (KnightAttacks[knight] & Bit(q)) return true;
    const u64 bishopCover = BishopAttacks(LowestSquare(b.Bishops[strong]), b.Occupied);
    return !(KingAttacks[b.KingSquare[strong]] & Bit(q)) && !(bishopCover & Bit(q));
  }
  if (b.Bishops[strong] && b.Bishops[weak]) {
    const bool light = (b.Bishops[strong] & LightSquares) != 0;
    if (light == ((b.Bishops[weak] & LightSquares) != 0)) return false;
    info.OtherSideKnown = 0;
    const int q = b.SideToMove == weak ? pawn - step : pawn;
    const u64 path = strong == WHITE ? FileAbove[q] : FileBelow[q];
    if (BishopAttacks(LowestSquare(b.Bishops[weak]), b.Occupied) & path) return true;
    const int rank = strong == WHITE ? RankOf(q) : 7 - RankOf(q);
    return (b.Kings[weak] & path) && rank <= 4;
  }
  return false;
}

// A side without pieces whose king stands on the edge in opposition: stalemate or mate are found here.
bool EdgeMate(i32 *score) {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  for (int lone : {WHITE, BLACK}) {
    const int enemy = ChangeSide(lone);
    if (b.PieceMaterial[lone]) continue;
    const u64 pawns = b.Pawns[lone];
    const u64 front = lone == WHITE ? pawns << 8 : pawns >> 8;
    if ((front & b.Occupied) != front) continue;
    const int king = b.KingSquare[lone];
    if (!(EdgeOpposition[king] >> (63 - b.KingSquare[enemy]) & 1)) continue;
    info.OtherSideKnown = 0;
    if (b.SideToMove != lone) continue;
    // A blocked pawn may still capture.
    if (PawnHits(lone, pawns) & b.Pieces[enemy]) continue;
    const u64 enemyPawnHits = PawnHits(enemy, b.Pawns[enemy]);
    auto attacked = [&](int sq, u64 occupied) {
      if (enemyPawnHits & Bit(sq)) return true;
      if (KnightAttacks[sq] & b.Knights[enemy]) return true;
      if (RookAttacks(sq, occupied) & b.RooksQueens & b.Pieces[enemy]) return true;
      return (BishopAttacks(sq, occupied) & b.BishopsQueens & b.Pieces[enemy]) != 0;
    };
    const u64 occupied = b.Occupied & ~Bit(king);
    bool canMove = false;
    for (u64 moves = KingAttacks[king] & ~KingAttacks[b.KingSquare[enemy]] & ~b.Pieces[lone]; moves && !canMove;)
      canMove = !attacked(PopLowest(moves), occupied);
    if (canMove) continue;
    const bool mated = attacked(king, b.Occupied);
    // A mate counts its plies from the root, which the cache doesn't key.
    if (mated) info.Cacheable = 0;
    *score = mated ? Ply - MATE_SCORE : 0;
    return true;
  }
  return false;
}

// K+Q against K+P with the pawn one step from promotion on a rook or bishop file and its king beside it: the
// queen's king too far away to help draws. Told for a black pawn; the mirror is by rank.
bool QueenCannotStopPawn() {
  const BoardRecord &b = thread_board;
  for (int queenSide : {WHITE, BLACK}) {
    const int pawnSide = ChangeSide(queenSide);
    if (b.PieceMaterial[queenSide] != 9 || !b.Queens[queenSide] || b.Pawns[queenSide] || b.PieceMaterial[pawnSide] ||
        b.PieceCount[PAWN][pawnSide] != 1)
      continue;
    const int flip = pawnSide == BLACK ? 0 : 56;
    const int pawn = LowestSquare(b.Pawns[pawnSide]) ^ flip;
    const int king = b.KingSquare[queenSide] ^ flip, pawnKing = b.KingSquare[pawnSide] ^ flip;
    if (RankOf(pawn) != 1 || RankOf(pawnKing) > 1) return false;
    const int fk = FileOf(king), rk = RankOf(king), file = FileOf(pawn), kingFile = FileOf(pawnKing);
    const bool pawnToMove = b.SideToMove == pawnSide;
    const int queen = LowestSquare(b.Queens[queenSide]);
    const u64 reach = RookAttacks(queen, b.Occupied) | BishopAttacks(queen, b.Occupied);
    auto reachesBoth = [&](int x, int y) { return ((reach >> (x ^ flip)) & (reach >> (y ^ flip)) & 1) != 0; };
    constexpr int b1 = 1, c1 = 2, f1 = 5, g1 = 6, b2 = 9, g2 = 14, d4 = 27, e4 = 28, f4 = 29, d5 = 35, e5 = 36, f5 = 37;
    bool draw = false, byMove = true;
    if (file == 7 && kingFile >= 5)
      draw = pawnToMove ? fk < 4 || rk > 3 : fk < 3 || rk > 4;
    else if (file == 0 && kingFile <= 2)
      draw = pawnToMove ? fk > 3 || rk > 3 : fk > 4 || rk > 4;
    else if (file == 5 && pawnKing == f1)
      draw = pawnToMove ? fk < 5 || rk > 3 || king == e4 || king == f4 : fk < 3 || rk > 4 || king == d5;
    else if (file == 2 && pawnKing == c1)
      draw = pawnToMove ? (fk > 3 || rk > 3 || king == d4) && !reachesBoth(b1, b2) : fk > 5 || rk > 4 || king == e5 || king == f5;
    else if (file == 5 && kingFile >= 5)
      draw = (fk < 4 || rk > 3 || king == e4) && !reachesBoth(g1, g2), byMove = false;
    else if (file == 2 && kingFile <= 2)
      draw = fk > 3 || rk > 3 || king == d4, byMove = false;
    else
      return false;
    if (byMove) thread_eval_info.OtherSideKnown = 0;
    return draw;
  }
  return false;
}

// Rook pawns with a bishop of the wrong colour, and lone bishops.
void WrongBishop() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  for (int side : {WHITE, BLACK}) {
    const int enemy = ChangeSide(side);
    if (b.PieceCount[PAWN][side] >= 3 || b.Rooks[side] || b.Queens[side] || b.Knights[side]) continue;
    if (!b.Pawns[side]) {
      if (!((b.Bishops[side] & LightSquares) && (b.Bishops[side] & DarkSquares))) info.CannotWin[side] = 1;
      continue;
    }
    const int back = side == WHITE ? 56 : 0;
    int corner = -1;
    if (!(b.Pawns[side] & ~FILE_A)) corner = back;
    else if (!(b.Pawns[side] & ~FILE_H)) corner = back + 7;
    if (corner < 0) continue;
    const u64 colour = (LightSquares & Bit(corner)) ? LightSquares : DarkSquares;
    if (b.Bishops[side] & colour) continue;
    const int dd = Distance(b.KingSquare[enemy], corner), da = Distance(b.KingSquare[side], corner);
    if (dd < 2) {
      info.CannotWin[side] = 1;
      continue;
    }
    info.OtherSideKnown = 0;
    const bool nearer = b.SideToMove == side ? dd < da - 1 : dd - 1 < da;
    const int front = side == WHITE ? HighestSquare(b.Pawns[side]) : LowestSquare(b.Pawns[side]);
    if (nearer && !ProbeRunner(side, front, b.KingSquare[side], b.KingSquare[enemy])) info.CannotWin[side] = 1;
  }
}

// Mating nets against a bare king, and knights in the ending; the correction from Black's view.
i32 Corrections() {
  const BoardRecord &b = thread_board;
  i32 c = 0;
  for (int strong : {BLACK, WHITE}) {
    const int bare = ChangeSide(strong);
    const i32 sign = strong == BLACK ? 1 : -1;
    if (b.PieceMaterial[bare] || b.Pawns[bare] || b.PieceMaterial[strong] < 5) continue;
    c += sign * MatingNetBonus;
    const int king = b.KingSquare[bare];
    if (b.PieceMaterial[strong] == 6 && b.PieceCount[BISHOP][strong] == 1 && b.PieceCount[KNIGHT][strong] == 1 && !b.Pawns[strong]) {
      const bool dark = (b.Bishops[strong] & DarkSquares) != 0;
      const int d = dark ? std::min(Distance(king, 0), Distance(king, 63)) : std::min(Distance(king, 7), Distance(king, 56));
      c += sign * (BishopKnightBase - BishopKnightCorner * d);
    }
  }
  const bool kbn = [&] {
    for (int s : {WHITE, BLACK})
      if (!b.PieceMaterial[ChangeSide(s)] && !b.AllPawns && b.PieceMaterial[s] == 6 && b.PieceCount[KNIGHT][s] == 1)
        return true;
    return false;
  }();
  if (!kbn) {
    if (!b.Pawns[WHITE] && b.PieceMaterial[BLACK] - b.PieceMaterial[WHITE] > 2) c += MatingEdge[b.KingSquare[WHITE]];
    else if (!b.Pawns[BLACK] && b.PieceMaterial[WHITE] - b.PieceMaterial[BLACK] > 2) c -= MatingEdge[b.KingSquare[BLACK]];
  }
  const u64 queenSide = FileMask(0) | FileMask(1) | FileMask(2), kingSide = FileMask(5) | FileMask(6) | FileMask(7);
  if ((b.AllPawns & queenSide) && (b.AllPawns & kingSide))
    for (int side : {WHITE, BLACK}) {
      const int enemy = ChangeSide(side);
      if (b.PieceMaterial[side] >= 9 || !b.Knights[side]) continue;
      i32 loss = 0;
      if (b.PieceMaterial[side] < b.PieceMaterial[enemy]) loss += KnightFewerForce + (b.PieceMaterial[side] == 3 ? KnightLoneForce : 0);
      if (Majors(side) < Majors(enemy)) loss += KnightFewerHeavy;
      c += side == BLACK ? -loss : loss;
    }
  for (int side : {WHITE, BLACK}) {
    if (b.PieceMaterial[side] != 3 || b.PieceCount[KNIGHT][side] != 1 || b.Pawns[side]) continue;
    const i32 loss = LoneKnightKing[std::min(Distance(LowestSquare(b.Knights[side]), b.KingSquare[side]), 7)];
    c += side == BLACK ? -loss : loss;
    break;
  }
  return c;
}

// The score is scaled by a factor of the table, and so are the trace and the sum for the other side to move.
void Scale(int n) {
  EvalInfo &info = thread_eval_info;
  const i32 f = EndingScale[n];
  info.FinalScore = ScaleBy(info.FinalScore, f);
  info.ScoreSum = Scaled(info.ScoreSum, f);
}

// Two pawns against one with no passer: the defender's king in front holds.
i32 ScaleTwoPlusOne(i32 v) {
  const BoardRecord &b = thread_board;
  const EvalInfo &info = thread_eval_info;
  if (info.PassedPawns[WHITE] | info.PassedPawns[BLACK]) return v;
  if (b.PieceMaterial[WHITE] != b.PieceMaterial[BLACK] || Minors(WHITE) != Minors(BLACK)) return v;
  const int s = b.PieceCount[PAWN][WHITE] > b.PieceCount[PAWN][BLACK] ? WHITE : BLACK, d = ChangeSide(s);
  const int low = LowestSquare(b.Pawns[s]), high = HighestSquare(b.Pawns[s]);
  const u64 defenderKing = b.Kings[d];
  const bool inFront = (PassedMask[s][low] & defenderKing) && (PassedMask[s][high] & defenderKing);
  if ((Majors(WHITE) == 0 && Minors(WHITE) < 2) || (Majors(WHITE) && !Minors(WHITE))) {
    if (b.PieceMaterial[WHITE] >= 1 && b.PieceMaterial[WHITE] <= 9 && inFront) return Scaled(v, EndingScale[13]);
    return v;
  }
  if (Majors(WHITE) != Majors(BLACK)) return v;
  // With rooks or queens the pawns run when the king stands before neither; without, when one is a runner.
  const bool run = Majors(WHITE) ? !(PassedMask[s][low] & defenderKing) && !(PassedMask[s][high] & defenderKing)
                                 : ProbeRunner(s, low, b.KingSquare[s], b.KingSquare[d]) ||
                                       ProbeRunner(s, high, b.KingSquare[s], b.KingSquare[d]);
  const bool bishop = b.Bishops[d] != 0;
  int factor;
  if (run) factor = bishop ? 7 : 10;
  else {
    const bool pawnNear = (KingAttacks[b.KingSquare[d]] & b.Pawns[d]) != 0;
    factor = bishop ? (pawnNear ? 8 : 9) : (pawnNear ? 11 : 12);
  }
  return Scaled(v, EndingScale[factor]);
}

// The defending king stands in front of the pawn of the other side.
bool KingAhead(int defender, int pawn) {
  return (PassedMask[ChangeSide(defender)][pawn] & thread_board.Kings[defender]) != 0;
}

void ScaleOnePawn() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  if (b.PieceMaterial[WHITE] != b.PieceMaterial[BLACK] || Majors(WHITE) != Majors(BLACK)) return;
  const int pawn = LowestSquare(b.AllPawns);
  const int d = (b.Pawns[WHITE] & Bit(pawn)) ? BLACK : WHITE, s = ChangeSide(d);
  const bool ahead = KingAhead(d, pawn);
  int factor;
  if ((!Majors(WHITE) && Minors(WHITE) <= 1 && Minors(BLACK) <= 1) || (Majors(WHITE) && !Minors(WHITE) && !Minors(BLACK))) {
    if (b.PieceMaterial[WHITE] < 1 || b.PieceMaterial[WHITE] > 9) return;
    factor = ahead ? 5 : 6;
  } else {
    const bool stopped = Majors(WHITE) ? ahead : !ProbeRunner(s, pawn, b.KingSquare[s], b.KingSquare[d]);
    factor = b.Bishops[d] ? (stopped ? 2 : 1) : (stopped ? 4 : 3);
  }
  info.FinalScore = Scaled(info.FinalScore, EndingScale[factor]);
}

void ScaleRookPawnRook() {
  const BoardRecord &b = thread_board;
  const int pawn = LowestSquare(b.AllPawns);
  const int s = (b.Pawns[WHITE] & Bit(pawn)) ? WHITE : BLACK, d = ChangeSide(s);
  const int defender = b.KingSquare[d], file = FileOf(pawn);
  const int fd = std::abs(FileOf(defender) - file);
  if (fd < 2 && KingAhead(d, pawn)) {
    Scale(file == 0 || file == 7 ? 17 : file == 1 || file == 6 ? 18 : 19);
    return;
  }
  if (fd < 2 && RankOf(defender) == RankOf(pawn)) return;
  if (!(KingAttacks[b.KingSquare[s]] & Bit(pawn))) {
    Scale(20);
    return;
  }
  const int t = s == WHITE ? RankOf(pawn) : 7 - RankOf(pawn);
  if (t + fd < 6) {
    Scale(22);
    return;
  }
  const int rookFile = FileOf(LowestSquare(b.Rooks[s]));
  const bool between = (rookFile > file && rookFile < FileOf(defender)) || (rookFile < file && rookFile > FileOf(defender));
  Scale(between ? 21 : 23);
}

// Three pawns with a rook or a bishop each, no knights and at most one passed file a side: drawish unless a pawn
// of the side with more pawns gets away (from the defending king with rooks, as a runner with bishops). Pawn
// endings never come to the ladder, so the rule's case without pieces (factor 14) is left out.
void ScaleThreePawns() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const int points = b.PieceMaterial[WHITE];
  if (!points || points != b.PieceMaterial[BLACK] || points >= 6 || b.Knights[WHITE] || b.Knights[BLACK]) return;
  const u8 *passed = b.PawnEntry.PassedVector;  // black, then white
  if (PopCount(passed[0]) > 1 || PopCount(passed[1]) > 1) return;
  const int s = b.PieceCount[PAWN][WHITE] > b.PieceCount[PAWN][BLACK] ? WHITE : BLACK, d = ChangeSide(s);
  info.OtherSideKnown = 0;
  for (u64 pawns = b.Pawns[s]; pawns;) {
    const int p = PopLowest(pawns);
    const bool away = points == 5 ? !(PassedMask[s][p] & b.Kings[d])
                                  : ProbeRunner(s, p, b.KingSquare[s], b.KingSquare[d]);
    if (away) return;
  }
  Scale(passed[s == WHITE ? 1 : 0] ? 15 : 16);
}

// The leader without pawns, by the force on the board.
void ScaleNoPawnLead(int leader) {
  const BoardRecord &b = thread_board;
  const int other = ChangeSide(leader);
  const int lp = b.PieceMaterial[leader], op = b.PieceMaterial[other];
  const int bare = b.KingSquare[other];
  auto edgeRook = [&] {
    if (!b.Rooks[leader]) return false;
    const int rook = LowestSquare(b.Rooks[leader]);
    const int f = FileOf(bare), r = RankOf(bare);
    return ((f == 0 || f == 7) && std::abs(FileOf(rook) - f) == 1) || ((r == 0 || r == 7) && std::abs(RankOf(rook) - r) == 1);
  };
  int n = -1;
  if (lp == 12 && op == 9) n = 25;
  else if (lp == 8 && op == 5) n = b.Knights[leader] ? (edgeRook() ? 30 : 31) : (edgeRook() ? 28 : 29);
  else if (lp == 8 && op == 6) n = 39;
  else if (lp == 5 && op == 3) n = b.Knights[other] ? 33 : 32;
  else if (lp == 5 && op == 5) n = 26;
  else if (lp == 6 && op == 5) n = 27;
  else if (lp == 6 && op == 6) n = 38;
  else if (lp == 6 && op == 3) n = b.Bishops[other] ? 34 : b.PieceCount[BISHOP][leader] == 2 ? 35 : 36;
  else if (lp == 3 && op == 3) n = 37;
  if (n >= 0) Scale(n);
}

}  // namespace

i32 ScaleBy(i32 v, i32 f) {
  EvalInfo &info = thread_eval_info;
  info.ScaleTrace = i32((i64(info.ScaleTrace) * f) >> 8);
  return Scaled(v, f);
}

bool RecogniseEnding(i32 *score) {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const MaterialEntry &entry = MaterialTable[b.MaterialIndex];
  if (b.MaterialIndex != MATERIAL_OVERFLOW)
    for (int side : {WHITE, BLACK}) info.CannotWin[side] = entry.MaterialFlags[side] & CANNOT_WIN;
  if (DrawnByForce(score)) return *score = 0, true;
  const bool noPawns = !b.Pawns[WHITE] && !b.Pawns[BLACK];
  if (noPawns && std::abs(b.PieceMaterial[WHITE] - b.PieceMaterial[BLACK]) < 2) return *score = 0, true;
  for (int strong : {WHITE, BLACK})
    if (b.Material[strong] == 100 && b.Material[ChangeSide(strong)] == 0 && b.PieceCount[PAWN][strong] == 1)
      return *score = KingPawnKing(strong), true;
  // The passed pawns of the pawn entry are needed by the race: they are read before the pawn stage.
  for (int side : {WHITE, BLACK}) info.PassedPawns[side] = 0;
  thread_board.AllPawns = b.Pawns[WHITE] | b.Pawns[BLACK];
  if (!b.PieceMaterial[WHITE] && !b.PieceMaterial[BLACK]) {
    // Passed pawns straight from the board: no enemy pawn ahead on the file or beside it.
    for (int side : {WHITE, BLACK})
      for (u64 pawns = b.Pawns[side]; pawns;) {
        const int p = PopLowest(pawns);
        if (!(PassedMask[side][p] & b.Pawns[ChangeSide(side)])) info.PassedPawns[side] |= Bit(p);
      }
    if (PawnRace(score)) return true;
    info.PassedPawns[WHITE] = info.PassedPawns[BLACK] = 0;
  }
  if (b.PieceMaterial[WHITE] == 3 && b.PieceMaterial[BLACK] == 3 && (BishopsBlockadeTwoPawns() || MinorStopsPawn()))
    return *score = 0, true;
  if (EdgeMate(score)) return true;
  i32 correction = 0;
  if (RookAgainstPawns(score, correction)) return true;
  if (QueenCannotStopPawn()) return *score = 0, true;
  WrongBishop();
  if (DrawnByForce(score)) return *score = 0, true;
  const i32 material = ReadMaterial();
  // ReadMaterial's table flags must not undo what this step found.
  *score = material + correction + Corrections();
  return false;
}

void AddLowForceTerms() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const u8 blackPassed = b.PawnEntry.PassedVector[0], whitePassed = b.PawnEntry.PassedVector[1];
  if (b.PieceMaterial[WHITE] == 5 && b.PieceMaterial[BLACK] == 6 && b.Knights[BLACK])
    info.PackedScore -= RookVsMinors[PopCount(whitePassed)];
  if (b.PieceMaterial[WHITE] == 6 && b.PieceMaterial[BLACK] == 5 && b.Knights[WHITE])
    info.PackedScore += RookVsMinors[PopCount(blackPassed)];
  if (b.PieceMaterial[WHITE] || b.PieceMaterial[BLACK]) return;
  info.OtherSideKnown = 0;
  const int fw = FileOf(b.KingSquare[WHITE]), fb = FileOf(b.KingSquare[BLACK]);
  const int s = b.SideToMove == BLACK ? 1 : 0;
  const u8 wf = b.PawnEntry.PawnFiles[0], bf = b.PawnEntry.PawnFiles[1];
  auto lowest = [](u8 files) { return files ? __builtin_ctz(files) : 8; };
  auto highest = [](u8 files) { return files ? 31 - __builtin_clz(files) : 8; };
  if (fb < fw - s) {
    if (bf && lowest(bf) > fw && (!wf || highest(wf) > fw)) info.PackedScore -= PawnEndingKing;
  } else if (fb > fw + s) {
    if (bf && highest(bf) < fw && lowest(wf) < fw) info.PackedScore -= PawnEndingKing;
  }
  if (fb > fw - s + 1) {
    if (wf && lowest(wf) > fb && highest(bf) > fb) info.PackedScore += PawnEndingKing;
  } else if (fb < fw - 1 + s) {
    if (wf && highest(wf) < fb && lowest(bf) < fb) info.PackedScore += PawnEndingKing;
  }
}

i32 PawnDuel() {
  const BoardRecord &b = thread_board;
  const EvalInfo &info = thread_eval_info;
  const i32 x = info.SideEnding[BLACK] - info.SideEnding[WHITE] + EndingOf(info.PackedScore);
  const double d = std::exp(-(double(DuelSlope) * std::abs(x)) / 1000.0);
  const i32 r = i32(std::lround(DuelHeight / (d + 1) - DuelHeight / 2.0));
  const i32 v = i32((i64(r) * x) >> 6);
  return b.SideToMove == WHITE ? -v : v;
}

void ScaleEnding() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  // The ladder picks its factors by the leader; the other side to move has the same ones only with the same sign.
  const i32 otherSide = info.FinalScore - info.ScoreSum;
  if ((otherSide > 0) != (info.FinalScore > 0) || (otherSide < 0) != (info.FinalScore < 0)) info.OtherSideKnown = 0;
  const int pawns = PopCount(b.AllPawns);
  if (pawns == 3) {
    info.OtherSideKnown = 0;
    info.FinalScore = ScaleTwoPlusOne(info.FinalScore);
  } else if (pawns == 1) {
    info.OtherSideKnown = 0;
    ScaleOnePawn();
  }
  if (info.FinalScore == 0) return;
  const int leader = info.FinalScore > 0 ? BLACK : WHITE, other = ChangeSide(leader);
  if (b.PieceMaterial[leader] <= b.PieceMaterial[other] && b.Pawns[leader] &&
      !(b.Pawns[leader] & ~PassedMask[other][b.KingSquare[other]]))
    Scale(0);
  if (info.CannotWin[leader]) {
    info.FinalScore = info.ScoreSum = 0;
    return;
  }
  if (b.PieceMaterial[WHITE] == 5 && b.PieceMaterial[BLACK] == 5 && pawns == 1 && b.Rooks[WHITE] && b.Rooks[BLACK])
    ScaleRookPawnRook();
  if (pawns == 3) ScaleThreePawns();
  if (!b.AllPawns && b.PieceMaterial[WHITE] == b.PieceMaterial[BLACK]) Scale(24);
  if (!b.Pawns[leader]) ScaleNoPawnLead(leader);
}
