#include "eval/pieces.h"

#include <algorithm>
#include <cstdlib>

#include "board/attacks.h"
#include "eval/eval.h"
#include "eval/eval_tables.h"
#include "eval/king_safety.h"

namespace {

// Tables by a number of pawns have nine entries; a set-up position may hold more than eight pawns of a side.
int PawnCountIndex(u64 pawns) { return std::min(PopCount(pawns), 8); }

// Black adds, White subtracts: every table is given for a black piece.
template <int Us>
void AddPacked(i32 value) {
  if constexpr (Us == BLACK) thread_eval_info.PackedScore += value;
  else thread_eval_info.PackedScore -= value;
}

// A table by square: Black reads the square, White its rotation.
template <int Us>
constexpr int Seen(int sq) { return Us == BLACK ? sq : 63 - sq; }

// Wing tables read by the own king's wing; White reads the square mirrored by rank.
template <int Us>
i32 WingValue(int kind, int sq) {
  const int wing = thread_eval_info.KingWing[Us];
  return Us == BLACK ? WingPst[kind][wing][sq] : WingPst[kind][wing][sq ^ 56];
}

// Rank of a square counted from Black's side, so that rank 1 for Black is the enemy's back rank for both sides.
template <int Us>
constexpr int Rank(int sq) { return Us == BLACK ? RankOf(sq) : 7 - RankOf(sq); }

// The enemy king on its back rank, or an enemy pawn on its second rank.
template <int Us>
bool SeventhMatters() {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  const int back = Us == BLACK ? 0 : 7, second = Us == BLACK ? 1 : 6;
  return RankOf(b.KingSquare[Them]) == back || (b.Pawns[Them] & RankMask(second));
}

template <int Us>
bool EnemyKingNearBack() {
  const int rank = Rank<Us>(thread_board.KingSquare[ChangeSide(Us)]);
  return rank <= 1;
}

// A slider on a line with the enemy king, one enemy man and no own man between: a pin.
template <int Us>
void AddPin(int sq, int code, u64 emptyLines) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  const int king = b.KingSquare[Them];
  if (!(emptyLines & Bit(king))) return;
  const u64 between = Between[sq][king] & ~Bit(sq) & ~Bit(king);
  if (between & b.Pieces[Us]) return;
  const u64 pinned = between & b.Pieces[Them];
  if (PopCount(pinned) != 1) return;
  AddPacked<Us>(PinValue[code][b.Board[LowestSquare(pinned)]]);
}

template <int Us>
void EvaluateRooksOf() {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const u8 allFiles = b.PawnEntry.PawnFiles[0] | b.PawnEntry.PawnFiles[1];
  const u8 ownFiles = b.PawnEntry.PawnFiles[Us == WHITE ? 0 : 1];
  const u8 weakFiles = b.PawnEntry.WeakFiles[Them == BLACK ? 0 : 1];
  for (u64 rooks = b.Rooks[Us]; rooks;) {
    const int sq = PopLowest(rooks), file = FileOf(sq), rank = Rank<Us>(sq);
    const u64 a = RookAttacks(sq, b.Occupied);
    i32 v = WingValue<Us>(1, sq);
    if (!(allFiles & (1 << file))) v += RookOpenFile[file];
    else if (!(ownFiles & (1 << file))) v += RookHalfOpenFile[file];
    if (rank == 1 && SeventhMatters<Us>()) {
      v += RookSeventh;
      const u64 row = RankMask(RankOf(sq));
      if (a & row & (b.Rooks[Us] | b.Queens[Us])) v += RookDoubledSeventh;
      const u64 secondRow = Us == BLACK ? 0x7EULL << 8 : 0x7EULL << 48;
      if (Rank<Us>(b.KingSquare[Them]) == 0 && b.PawnEntry.PassedVector[Us == BLACK ? 0 : 1] &&
          !(b.Pieces[Them] & secondRow))
        v += RookSeventhPassed;
    }
    if (rank == 0 && b.PieceCount[ROOK][Us] + 2 * b.PieceCount[QUEEN][Us] > 1 && EnemyKingNearBack<Us>()) v += RookBackRank;
    if (weakFiles & (1 << file)) v += (a & b.Pawns[Them] & FileMask(file)) ? RookWeakPawn[file] : RookWeakFile[file];
    info.RookReach[Us] |= a;
    info.Attacks[Us] |= a;
    v += RookMobility[PopCount(a & ~b.Pieces[Us])] + RookReachMobility[PopCount(a)];
    AddPacked<Us>(v);
    if (!info.Ending[Them]) GatherAttackData<Us, ROOK>(sq, a);
    AddPin<Us>(sq, ROOK, RookEmpty[sq]);
  }
}

// Cage of a nearly immobile minor piece, and its outpost.
template <int Us>
i32 CageAndOutpost(int sq, u64 safe, const i32 *cage, const i32 *outpost, const i32 *exposed, const i32 *protectedOne) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  i32 v = 0;
  const int safeCount = PopCount(safe);
  if (safeCount < 5) {
    const u64 centre = safe & (Us == BLACK ? 0x00007E7E7E7E7E00ULL : 0x007E7E7E7E7E0000ULL);
    const int ownRank = Us == WHITE ? RankOf(sq) : 7 - RankOf(sq);
    const int cls = ownRank == 0 ? 0 : ownRank == 1 ? 1 : ownRank == 7 ? 3 : 2;
    const int index = ((cls * 3 + std::min(safeCount, 2)) * 3 + std::min(PopCount(centre), 2)) * 3 +
                      std::min(PopCount(centre & ~b.Pieces[Us]), 2);
    v += cage[index];
  }
  const bool inRange = Us == BLACK ? sq < 48 : sq > 15;
  const u64 neighbours = PassedMask[Us][sq] & ~(Us == BLACK ? FileBelow[sq] : FileAbove[sq]);
  if (inRange && !(neighbours & b.Pawns[Them])) {
    const int seen = Seen<Us>(sq);
    v += outpost[seen];
    const u64 defenders = b.Pawns[Us] & PawnAttacks[Them][sq];
    if (defenders) {
      const u64 colour = (LightSquares & Bit(sq)) ? LightSquares : DarkSquares;
      v += (PopCount(defenders) == 1 && (b.Bishops[Them] & colour)) ? exposed[seen] : protectedOne[seen];
    }
  }
  return v;
}

template <int Us>
void EvaluateKnightsOf() {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const u64 unsafe = info.BlockedPawns[Us] | info.PawnThreat[Us];
  for (u64 knights = b.Knights[Us]; knights;) {
    const int sq = PopLowest(knights);
    const u64 a = KnightAttacks[sq], safe = a & ~unsafe;
    info.KnightReach[Us] |= a;
    info.Attacks[Us] |= a;
    i32 v = WingValue<Us>(0, sq) + KnightMobility[PopCount(a & ~b.Pieces[Us])] + KnightSafeMobility[PopCount(safe)];
    v += CageAndOutpost<Us>(sq, safe, KnightCage, KnightOutpost, KnightOutpostExposed, KnightOutpostProtected);
    AddPacked<Us>(v);
    if (!info.Ending[Them]) GatherAttackData<Us, KNIGHT>(sq, a);
  }
}

template <int Us>
void EvaluateQueensOf() {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const u64 unsafe = info.BlockedPawns[Us] | info.PawnThreat[Us];
  for (u64 queens = b.Queens[Us]; queens;) {
    const int sq = PopLowest(queens);
    const u64 a = RookAttacks(sq, b.Occupied) | BishopAttacks(sq, b.Occupied);
    info.QueenReach[Us] |= a;
    info.Attacks[Us] |= a;
    i32 v = WingValue<Us>(3, sq);
    const int rank = Rank<Us>(sq);
    if (rank == 0 && EnemyKingNearBack<Us>()) v += QueenBackRank;
    else if (rank == 1 && SeventhMatters<Us>() && (a & RankMask(RankOf(sq)) & (b.Rooks[Us] | b.Queens[Us])))
      v += QueenSeventh;
    v += QueenMobility[PopCount(a & ~b.Pieces[Us])] + QueenSafeMobility[PopCount(a & ~unsafe)];
    AddPacked<Us>(v);
    if (!info.Ending[Them]) GatherAttackData<Us, QUEEN>(sq, a);
    AddPin<Us>(sq, QUEEN, QueenEmpty[sq]);
  }
}

template <int Us>
void EvaluateBishopsOf() {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  if (!b.Bishops[Us]) return;
  i32 v = 0;
  if (b.PieceCount[BISHOP][Us] == 1) {
    const u64 colour = (b.Bishops[Us] & LightSquares) ? LightSquares : DarkSquares;
    const u64 own = b.Pawns[Us] & colour;
    const u64 next = Us == BLACK ? own >> 8 : own << 8;
    const u64 stuckNext = next & (b.Occupied | info.PawnThreat[Us]);
    v -= BadBishop[PawnCountIndex(own)] + BadBishopBlocked[PawnCountIndex(stuckNext)];
  }
  const u64 queenSideFiles = FileMask(0) | FileMask(1) | FileMask(2), kingSideFiles = FileMask(5) | FileMask(6) | FileMask(7);
  if (b.PieceMaterial[Us] < 9 && b.PieceMaterial[Us] == b.PieceMaterial[Them] && !b.Bishops[Them] &&
      (b.AllPawns & queenSideFiles) && (b.AllPawns & kingSideFiles))
    v += BishopVersusKnight;
  if (!info.Ending[Us]) {
    const int rel = Us == WHITE ? 0 : 56;
    const int king = b.KingSquare[Us], g2 = 14 ^ rel, g3 = 22 ^ rel;
    if (FileOf(king) >= 5 && !(b.Pawns[Us] & Bit(g2)) && (b.Pawns[Us] & Bit(g3)) && (KingAttacks[king] & Bit(g2)) &&
        (b.Bishops[Us] & (Bit(5 ^ rel) | Bit(g2) | Bit(7 ^ rel))))
      v += Fianchetto;
  }
  const u64 unsafe = info.BlockedPawns[Us] | info.PawnThreat[Us];
  for (u64 bishops = b.Bishops[Us]; bishops;) {
    const int sq = PopLowest(bishops);
    const u64 a = BishopAttacks(sq, b.Occupied), safe = a & ~unsafe;
    info.BishopReach[Us] |= a;
    info.Attacks[Us] |= a;
    v += WingValue<Us>(2, sq);
    if (!info.Ending[Them]) GatherAttackData<Us, BISHOP>(sq, a);
    AddPin<Us>(sq, BISHOP, BishopEmpty[sq]);
    v += BishopMobility[PopCount(a & ~b.Pieces[Us])] + BishopSafeMobility[PopCount(safe)];
    v += CageAndOutpost<Us>(sq, safe, BishopCage, BishopOutpost, BishopOutpostExposed, BishopOutpostProtected);
  }
  AddPacked<Us>(v);
}

// What the near enemy king gains against the loose pawns of Us, from Black's view.
template <int Us>
i64 PawnKingDistanceOf() {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  const EvalInfo &info = thread_eval_info;
  if (b.PieceMaterial[Us] >= 9) return 0;
  const int king = b.KingSquare[Them];
  const int kingFromBack = Them == WHITE ? RankOf(king) : 7 - RankOf(king);
  i64 sum = 0;
  for (u64 pawns = b.Pawns[Us] & ~(Us == WHITE ? info.PawnThreat[BLACK] : info.PawnThreat[WHITE]); pawns;) {
    const int sq = PopLowest(pawns);
    const int fileDistance = std::abs(FileOf(sq) - FileOf(king));
    const int d = std::min(std::max(fileDistance, std::abs(RankOf(sq) - RankOf(king))), 6);
    const int e = std::min(std::max(fileDistance, kingFromBack), 5);
    const int next = Us == WHITE ? sq + 8 : sq - 8;
    int flags = (info.PassedPawns[Us] & Bit(sq)) ? 2 : 0;
    if (next >= 0 && next < 64 &&
        ((b.Pawns[Us] | b.Pieces[Them]) & Bit(next) || (info.PawnThreat[Us] & Bit(next))))
      flags |= 1;
    const int t = std::clamp((Us == WHITE ? RankOf(sq) : 7 - RankOf(sq)) - 2, 0, 4);
    if (d < 1) continue;  // only a malformed position has a king on a pawn
    sum += (i64(PawnKingRank[t]) * PawnKingForce[b.PieceMaterial[Us]] * PawnKingDistance[d - 1][e][flags]) >> 12;
  }
  return Us == WHITE ? sum : -sum;
}

}  // namespace

void AddBackRank() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  for (int side : {WHITE, BLACK}) {
    const int king = b.KingSquare[side], rel = side == WHITE ? 0 : 56;
    if (RankOf(king ^ rel) != 0) continue;
    const u64 secondRow = info.KingZone[side] & RankMask(side == WHITE ? 1 : 6);
    i32 v = 0;
    if ((secondRow & b.Pawns[side]) == secondRow) v += BackRankNoLuft;
    const int file = FileOf(king);
    const int row = (file >= 5 ? 0 : file <= 2 ? 1 : -1);
    if (row >= 0) {
      const int entry = file >= 5 ? 7 - file : file;
      if (b.Rooks[side] & TrappedRookMask[row + (side == WHITE ? 0 : 2)][entry]) v += TrappedRook;
    }
    info.PackedScore += side == WHITE ? v : -v;
  }
}

void EvaluateRooks() {
  EvaluateRooksOf<BLACK>();
  EvaluateRooksOf<WHITE>();
}

void EvaluatePawnStage() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const u64 white = b.Pawns[WHITE], black = b.Pawns[BLACK];
  info.PawnThreat[BLACK] = PawnHits(WHITE, white);
  info.PawnThreat[WHITE] = PawnHits(BLACK, black);
  info.Attacks[WHITE] |= info.PawnThreat[BLACK];
  info.Attacks[BLACK] |= info.PawnThreat[WHITE];
  AddPawnContact();
  const i64 distance = PawnKingDistanceOf<WHITE>() + PawnKingDistanceOf<BLACK>();
  info.PackedScore += PackBoth(i32(distance));
  info.BlockedPawns[WHITE] = white & ((b.Pieces[BLACK] | white) >> 8);
  info.BlockedPawns[BLACK] = black & ((b.Pieces[WHITE] | black) << 8);
  const int whiteBlocked = PawnCountIndex(info.BlockedPawns[WHITE]);
  const int blackBlocked = PawnCountIndex(info.BlockedPawns[BLACK]);
  info.PackedScore += BlockedPawnsAll[whiteBlocked] + b.PieceCount[KNIGHT][BLACK] * BlockedPawnsKnight[whiteBlocked];
  info.PackedScore -= BlockedPawnsAll[blackBlocked] + b.PieceCount[KNIGHT][WHITE] * BlockedPawnsKnight[blackBlocked];
}

void EvaluateKnights() {
  EvaluateKnightsOf<BLACK>();
  EvaluateKnightsOf<WHITE>();
}

void EvaluateQueens() {
  EvaluateQueensOf<BLACK>();
  EvaluateQueensOf<WHITE>();
}

void EvaluateBishops() {
  EvaluateBishopsOf<BLACK>();
  EvaluateBishopsOf<WHITE>();
}

void AddThreats() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  u64 attacks[2];
  for (int side : {WHITE, BLACK}) attacks[side] = info.Attacks[side] | KingAttacks[b.KingSquare[side]];
  for (int side : {WHITE, BLACK}) {
    const int enemy = ChangeSide(side);
    const u64 loose = b.Pieces[side] & ~b.Kings[side] & attacks[enemy] & ~attacks[side];
    const u64 minors = (b.Bishops[side] | b.Knights[side]) & info.PawnThreat[side];
    const u64 rooks = b.Rooks[side] & (info.PawnThreat[side] | info.MinorReach[enemy]);
    const u64 queens = b.Queens[side] & (info.PawnThreat[side] | info.MinorReach[enemy] | info.RookReach[enemy]);
    info.Hanging[side] = PopCount(loose | minors | rooks | queens);
  }
  const int d = info.Hanging[WHITE] - info.Hanging[BLACK];
  const int i = std::clamp(d + 4, 1, 7), j = std::clamp(4 - d, 1, 7);
  info.Initiative[WHITE] += ThreatInitiative[i];
  info.Initiative[BLACK] += ThreatInitiative[j];
  info.PackedScore += ThreatBalance[i] - ThreatBalance[j];
}
