#include "eval/king_safety.h"

#include <algorithm>
#include <cstdlib>

#include "board/attacks.h"
#include "eval/eval.h"
#include "eval/eval_tables.h"
#include "search/exchange.h"
#include "shell/settings.h"

namespace {

// Where a king stands, seen from its own side: 0 corner squares of the back rank, 1 centre of it, 2 the second
// rank, 3 anywhere else.
constexpr int ZoneClass(int sq) {
  if (RankOf(sq) == 0) return (FileOf(sq) >= 2 && FileOf(sq) <= 5) ? 1 : 0;
  return RankOf(sq) == 1 ? 2 : 3;
}

// The fixed part of a zone square's pattern index, by the defending side, its king's square and the square:
// the king's zone class, and whether the square lies in front of the king, behind it, or beside it towards
// the centre.
struct ZoneGeometryTable {
  u8 index[2][64][64];
  constexpr ZoneGeometryTable() : index() {
    for (int side = 0; side < 2; side++)
      for (int king = 0; king < 64; king++)
        for (int z = 0; z < 64; z++) {
          const int front = side == WHITE ? 1 : -1, rankStep = RankOf(z) - RankOf(king);
          const bool queenSide = FileOf(king) < 4;
          int v = ZoneClass(side == WHITE ? king : 63 - king);
          if (rankStep == front) v |= 32;
          else if (rankStep == -front) v |= 64;
          else if (queenSide ? FileOf(z) > FileOf(king) : FileOf(z) < FileOf(king)) v |= 96;
          index[side][king][z] = u8(v);
        }
  }
};
constexpr ZoneGeometryTable ZoneGeometry;

// The file test of a king's shelter: open, half open, or how far the own pawn of the file has moved.
template <int Us>
i32 FileTest(int file, i32 open, i32 halfOpen) {
  const BoardRecord &b = thread_board;
  const u64 mask = FileMask(file);
  if (!(b.AllPawns & mask)) return open;
  const u64 own = b.Pawns[Us] & mask;
  if (!own) return halfOpen;
  const int second = Us == WHITE ? 1 : 6, third = Us == WHITE ? 2 : 5;
  if (own & RankMask(second)) return 0;
  return (own & RankMask(third)) ? 1 : 2;
}

// Could the piece of Us on `from` go to `target` without losing the exchange, whoever is to move?
template <int Us>
int AttackIsSafe(int target, int from) {
  const BoardRecord &b = thread_board;
  return ExchangeHoldsFor<Us>(target, from, b.Board[from], b.Board[target], 0);
}

inline int MinorsOf(const BoardRecord &b, int side) { return b.PieceCount[KNIGHT][side] + b.PieceCount[BISHOP][side]; }

}  // namespace


template <int Us>
i32 EvaluateShelter() {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const int king = b.KingSquare[Us];
  const int seen = Us == WHITE ? king : 63 - king;  // the king's square from its own side
  const int rel = Us == WHITE ? 0 : 56;             // a square of White's first rank, for this side
  auto own = [&](int whiteSquare) { return whiteSquare ^ rel; };
  const u8 *shield = b.PawnEntry.Shield + (Us == WHITE ? 0 : 2);  // king side, then queen side
  i32 x = KingShelterBase[seen], extra = 0;
  const int rights = (b.CastlingFlags >> (Us == WHITE ? 0 : 2)) & 3;
  if (rights) {
    if (!(b.Queens[Us] & Bit(own(3)))) extra = -CastleQueenOff;
    const i32 v = CastleBase + FileTest<Us>(3, CastleOpen[1], CastleHalfOpen[1]) +
                  FileTest<Us>(4, CastleOpen[0], CastleHalfOpen[0]) + FileTest<Us>(5, CastleOpen[2], CastleHalfOpen[2]);
    i32 w = v;
    if (rights & 2) w = std::min(w, i32(shield[1]));
    if (rights & 1) w = std::min(w, i32(shield[0]));
    x += ((v * CastleWeightFiles + w * CastleWeightShield) >> 4) + CastleAdd;
  } else if (FileOf(king) < 4) {
    x += shield[1];
    if (!(b.Pawns[Us] & Bit(own(9))) && ((b.Pawns[Them] | b.Bishops[Them]) & Bit(own(18))) && b.Queens[Them])
      x += LostFianchetto;
    if (FileOf(king) == 3)
      x += FileTest<Us>(3, KingDFileOpen[0], KingDFileHalf[0]) + FileTest<Us>(2, KingDFileOpen[1], KingDFileHalf[1]) +
           FileTest<Us>(4, KingDFileOpen[2], KingDFileHalf[2]) + 1;
  } else {
    x += shield[0];
    if (!(b.Pawns[Us] & Bit(own(14))) && ((b.Pawns[Them] | b.Bishops[Them]) & Bit(own(21))) && b.Queens[Them])
      x += LostFianchetto;
    if (FileOf(king) == 4)
      x += FileTest<Us>(4, KingEFileOpen[0], KingEFileHalf[0]) + FileTest<Us>(3, KingEFileOpen[1], KingEFileHalf[1]) +
           FileTest<Us>(5, KingEFileOpen[2], KingEFileHalf[2]) + 1;
  }
  const int q = std::min(b.PieceCount[QUEEN][Them], 1), r = std::min(b.PieceCount[ROOK][Them], 2);
  const int m = std::min(MinorsOf(b, Them), 4);
  info.shelter_penalty[Us] = std::clamp(i32((i64(x) * AttackerForce[q][r][m]) >> 8), 0, 63);
  // Aggressivity weighs the shelter of the king that the engine attacks, Cowardice that of its own.
  const i32 h = Settings.RootSide == Us ? Settings.CowardiceHalf : Settings.AggressivityHalf;
  return extra - (h * Shelter[info.shelter_penalty[Us]]) / 100;
}
template i32 EvaluateShelter<WHITE>();
template i32 EvaluateShelter<BLACK>();

template <int Us, int Piece>
void GatherAttackData(int from, u64 attacks) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const int king = b.KingSquare[Them];
  i32 safeCheck, attacker;
  u64 checks;
  if constexpr (Piece == KNIGHT) safeCheck = SafeCheckKnight, attacker = AttackerKnight, checks = info.KnightChecks[Them];
  else if constexpr (Piece == BISHOP) safeCheck = SafeCheckBishop, attacker = AttackerBishop, checks = info.BishopChecks[Them];
  else if constexpr (Piece == ROOK) safeCheck = SafeCheckRook, attacker = AttackerRook, checks = info.RookChecks[Them];
  else safeCheck = SafeCheckQueen, attacker = AttackerQueen, checks = info.QueenChecks[Them];
  const u64 zone = attacks & info.KingZone[Them];
  if (!zone) {
    for (u64 set = attacks & checks; set;) {
      const int sq = PopLowest(set);
      if (AttackIsSafe<Us>(sq, from)) {
        info.danger[Us] += safeCheck;
        info.Attackers[Us] += attacker;
        break;
      }
    }
  } else {
    info.Attackers[Us] += attacker;
    // A square already hit safely by another piece needs no second exchange test.
    for (u64 set = zone & ~b.Pieces[Us] & ~info.ZoneHits[Them]; set;) {
      const int sq = PopLowest(set);
      if (AttackIsSafe<Us>(sq, from)) info.ZoneHits[Them] |= Bit(sq);
    }
  }
  if constexpr (Piece == ROOK || Piece == QUEEN) {
    const u64 ahead = Us == BLACK ? FileBelow[from] : FileAbove[from];
    const bool open = !(b.Pawns[Us] & ahead);
    const int fileDistance = std::abs(FileOf(from) - FileOf(king));
    if constexpr (Piece == ROOK) {
      if (open) info.danger[Us] += RookFileDanger[fileDistance];
    } else {
      const int distance = std::max(fileDistance, std::abs(RankOf(from) - RankOf(king)));
      i32 v = QueenDistanceDanger[distance];
      if (open && v <= QueenFileDanger[fileDistance]) v = QueenFileDanger[fileDistance];
      info.danger[Us] += v;
    }
  }
}
template void GatherAttackData<WHITE, KNIGHT>(int, u64);
template void GatherAttackData<BLACK, KNIGHT>(int, u64);
template void GatherAttackData<WHITE, BISHOP>(int, u64);
template void GatherAttackData<BLACK, BISHOP>(int, u64);
template void GatherAttackData<WHITE, ROOK>(int, u64);
template void GatherAttackData<BLACK, ROOK>(int, u64);
template void GatherAttackData<WHITE, QUEEN>(int, u64);
template void GatherAttackData<BLACK, QUEEN>(int, u64);

void AddPawnContact() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  for (int attacker : {WHITE, BLACK}) {
    const int defender = ChangeSide(attacker);
    if (!b.Pawns[attacker] || info.Ending[defender]) continue;
    // PawnThreat of the defender holds the squares that the attacker's pawns hit.
    const int n = PopCount(KingAttacks[b.KingSquare[defender]] & info.PawnThreat[defender]);
    info.danger[attacker] += PawnContactDanger * n;
    info.Attackers[attacker] += PawnContactAttacker * n;
  }
}

void AddKingContact() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  if (!(KingAttacks[b.KingSquare[WHITE]] & KingAttacks[b.KingSquare[BLACK]])) return;
  for (int attacker : {BLACK, WHITE}) {
    if (info.Ending[ChangeSide(attacker)]) continue;
    info.danger[attacker] += KingContactDanger;
    info.Attackers[attacker] += KingContactAttacker;
  }
}

void AddDevelopment() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  i64 opening[2], ending[2];
  for (int side : {WHITE, BLACK}) {
    const int rel = side == WHITE ? 0 : 56, home = side == WHITE ? 8 : 48;
    const int king = b.KingSquare[side] ^ rel;
    int mask = 0;
    if (king >= 2 && king <= 5) mask |= 1;
    if (b.Queens[side] & Bit(3 ^ rel)) mask |= 2;
    if (b.Knights[side] & Bit(1 ^ rel)) mask |= 4;
    if (b.Knights[side] & Bit(6 ^ rel)) mask |= 8;
    if (b.Bishops[side] & Bit(2 ^ rel)) mask |= 16;
    if (b.Bishops[side] & Bit(5 ^ rel)) mask |= 32;
    const int cls = DevelopmentTable[mask];
    info.DevelopmentClass[side] = cls;
    // Home pawns of files b to g, one bit a file; those of files d and e with their next square taken.
    const u64 pawns = b.Pawns[side];
    const int pattern = int((pawns >> (home + 1)) & 63);
    const u64 inFront = side == WHITE ? b.Occupied >> 8 : b.Occupied << 8;
    const int centre = PopCount(pawns & (Bit(home + 3) | Bit(home + 4)) & inFront);
    opening[side] = i64(DevelopmentPawnsOpening[pattern] + BlockedCentreOpening[centre]) * DevelopmentWeight[cls];
    ending[side] = i64(DevelopmentPawnsEnding[pattern] + BlockedCentreEnding[centre]) * DevelopmentWeight[cls];
  }
  info.PackedScore -= Pack(i32((opening[BLACK] - opening[WHITE]) >> 5), i32((ending[BLACK] - ending[WHITE]) >> 5));
}

void AddQueenShelter() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  for (int attacker : {WHITE, BLACK}) {
    const int defender = ChangeSide(attacker);
    if (!b.Queens[attacker] || info.Ending[defender]) continue;
    const int i = std::min(info.shelter_penalty[defender], 15);
    const i64 w = QueenShelterWeight[info.DevelopmentClass[attacker]];
    info.SideOpening[attacker] += i32((QueenShelterOpening[i] * w) >> 6);
    info.SideEnding[attacker] += i32((QueenShelterEnding[i] * w) >> 6);
  }
}

namespace {

template <int Us>
void KingAttack(const u64 (&before)[2]) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  if (info.Ending[Them]) return;
  const u8 *geometry = ZoneGeometry.index[Them][b.KingSquare[Them]];
  // The other parts of the index, bit by bit: the defender covers the square; its occupant is a pawn of the
  // defender, another of its men, or a man of the attacker; the attacker hits it safely, or not at all.
  const u64 covered = before[Them], pawns = b.Pawns[Them], others = b.Pieces[Them] & ~pawns, ours = b.Pieces[Us];
  const u64 hits = info.ZoneHits[Them], missed = ~before[Us] & ~hits;
  i32 largest = 0, sum = 0;
  for (u64 zone = info.KingZone[Them]; zone;) {
    const int z = PopLowest(zone);
    const int index = geometry[z] | int((covered >> z) & 1) << 2 | int((pawns >> z) & 1) << 3 |
                      int((others >> z) & 1) << 4 | int((ours >> z) & 1) * 24 | int((missed >> z) & 1) << 7 |
                      int((hits >> z) & 1) << 8;
    const i32 w = KingDangerPattern[index];
    sum += w;
    largest = std::max(largest, w);
  }
  info.danger[Us] = std::clamp(info.danger[Us] + sum + (largest >> 1), 0, 127);
  const int n = std::clamp(info.Attackers[Us], 0, 63);
  const i64 q = b.Queens[Us] ? AttackQueenFactor : AttackNoQueenFactor;
  const int a = std::clamp(int(b.MaterialEnding[Us]), 0, 511), d = std::clamp(int(b.MaterialOpening[Them]), 0, 511);
  const i64 base = (i64(AttackCountScale[n]) * ShelterScale[info.shelter_penalty[Them]] * DangerScale[info.danger[Us]]) >> 15;
  const i64 attack =
      ((((i64(AttackerForceScale[a]) + 256) * (DefenderForceScale[d] + 256) * ((base * q) >> 13)) >> 16) *
       AttackWeight[info.DevelopmentClass[Us]]) >> 6;
  if (attack > 0) {
    const int balance = std::clamp(Us == BLACK ? info.MaterialScore : -info.MaterialScore, -1000, 1000);
    info.SideOpening[Us] += i32((AttackBlend[balance + 1000] * attack) >> 8);
  }
  info.Initiative[Us] = i32((InitiativeWeight * attack) >> 6);
}

}  // namespace

void AddKingAttacks(const u64 (&before)[2]) {
  KingAttack<BLACK>(before);
  KingAttack<WHITE>(before);
}

int SafeQueenChecks(int side, const u64 (&before)[2]) {
  const BoardRecord &b = thread_board;
  const EvalInfo &info = thread_eval_info;
  const int enemy = ChangeSide(side), king = b.KingSquare[enemy];
  const u64 lines = RookAttacks(king, b.Occupied) | BishopAttacks(king, b.Occupied);
  const u64 s = info.QueenReach[side] & ~b.Pieces[side] & ~before[enemy] & lines;
  return std::min(PopCount(s) + PopCount(s & ~KingAttacks[king]), 6);
}
