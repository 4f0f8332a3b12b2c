#include "eval/pawns.h"

#include "board/attacks.h"
#include "eval/eval.h"
#include "eval/eval_tables.h"
#include "shell/settings.h"

namespace {

// Index of the shield byte for each side and wing: king side first.
constexpr int WHITE_KING_SIDE = 0, WHITE_QUEEN_SIDE = 1, BLACK_KING_SIDE = 2, BLACK_QUEEN_SIDE = 3;

// Shield code of a file for `side`: how far its own pawn has left home, plus 4 without an enemy pawn on the file.
int ShieldCode(int side, int file) {
  const BoardRecord &b = thread_board;
  const u64 own = b.Pawns[side] & FileMask(file);
  const int homeRank = side == WHITE ? 1 : 6, step = side == WHITE ? 1 : -1;
  int code = 3;
  for (int distance = 2; distance >= 0; distance--)
    if (own & RankMask(homeRank + step * distance)) code = distance;
  return code + ((b.Pawns[ChangeSide(side)] & FileMask(file)) ? 0 : 4);
}

int ShieldValue(int side, int near, int middle, int far) {
  return ShieldTable[ShieldCode(side, near) + 8 * ShieldCode(side, middle) + 64 * ShieldCode(side, far)];
}

// Pawns of Us on the enemy's wings press on its shield.
template <int Us>
void AddStorms(PawnHashEntry &entry) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  const u64 ranks = Us == BLACK ? RankMask(1) | RankMask(2) | RankMask(3) | RankMask(4)
                                : RankMask(3) | RankMask(4) | RankMask(5) | RankMask(6);
  const u64 queenSideFiles = FileMask(0) | FileMask(1) | FileMask(2), kingSideFiles = FileMask(5) | FileMask(6) | FileMask(7);
  for (u64 pawns = b.Pawns[Us] & ranks; pawns;) {
    const int sq = PopLowest(pawns);
    const bool queenSide = FileOf(sq) < 4;
    const u64 shieldPawns = b.Pawns[Them] & (queenSide ? queenSideFiles : kingSideFiles);
    const int distance = Us == BLACK ? 4 - RankOf(sq) : RankOf(sq) - 3;
    const int ahead = Us == BLACK ? sq - 8 : sq + 8;
    int kind = 2;
    if (PawnAttacks[Us][sq] & shieldPawns) kind = 0;
    else if (shieldPawns & Bit(ahead)) kind = 1;
    const int shield = Us == BLACK ? (queenSide ? WHITE_QUEEN_SIDE : WHITE_KING_SIDE)
                                   : (queenSide ? BLACK_QUEEN_SIDE : BLACK_KING_SIDE);
    entry.Shield[shield] = u8(entry.Shield[shield] + Storm[kind][distance]);
  }
}

// The structure terms of the pawns of Us, from Black's view: Black's count up, White's down.
template <int Us>
void PawnTerms(PawnHashEntry &entry, i32 (&wing)[4], i32 &common) {
  constexpr int Them = ChangeSide(Us);
  constexpr int sign = Us == BLACK ? 1 : -1;
  constexpr int forward = Us == BLACK ? -8 : 8;
  const BoardRecord &b = thread_board;
  const u64 own = b.Pawns[Us], opp = b.Pawns[Them];
  const u64 *fileAhead = Us == BLACK ? FileBelow : FileAbove;
  const u64 *fileBehind = Us == BLACK ? FileAbove : FileBelow;
  const u64 *ranksFromHereBack = Us == BLACK ? RanksAbove : RanksBelow;
  // Wing tables by the own king's wing: Black reads 0, 2, 1, 3 into the columns that White's wing selects.
  static constexpr int blackWing[4] = {0, 2, 1, 3};
  for (u64 pawns = own; pawns;) {
    const int sq = PopLowest(pawns), file = FileOf(sq), rank = RankOf(sq);
    const int index = Us == BLACK ? sq : 63 - sq;
    for (int column = 0; column < 4; column++)
      wing[column] += sign * (Us == BLACK ? WingPst[4][blackWing[column]][sq] : WingPst[4][column][sq ^ 56]);
    entry.PawnFiles[Us == WHITE ? 0 : 1] |= u8(1 << file);
    // A pawn on its last rank comes only from a malformed position: it has no structure.
    if (rank == (Us == BLACK ? 0 : 7)) continue;
    const int next = sq + forward;
    const u64 defenders = own & PawnAttacks[Them][sq];
    if (defenders | (own & PawnAttacks[Them][next])) common += sign * PawnConnected[index];

    const u64 adjacent = AdjacentFiles[sq] & own;
    const bool doubled = (fileBehind[sq] & own) != 0;
    const bool isolated = adjacent == 0;
    bool backward = false;
    if (adjacent && !(adjacent & ranksFromHereBack[next])) {
      backward = true;
      const u64 captures = PawnAttacks[Us][sq];
      auto freeAndSafe = [&](int square) {
        return !(b.AllPawns & Bit(square)) && !(opp & PawnAttacks[Us][square]);
      };
      const int startRank = Us == BLACK ? 6 : 1, secondRank = Us == BLACK ? 4 : 3;
      if (own & captures) {
        if (freeAndSafe(next)) backward = (captures & opp) != 0;
      } else if (rank == startRank && (adjacent & RankMask(secondRank)) && freeAndSafe(next) &&
                 freeAndSafe(next + forward)) {
        backward = (captures & opp) != 0;
      }
    }

    const bool open = !(b.AllPawns & fileAhead[sq]);
    bool candidate = false;
    if (open) {
      if (!(opp & PassedMask[Us][sq])) {
        (Us == BLACK ? entry.PassedVector[0] : entry.PassedVector[1]) |= u8(1 << file);
      } else {
        const int support = PopCount(own & PassedMask[Them][next] & ~fileBehind[next]);
        const int blockers = PopCount(opp & PassedMask[Us][sq]);
        if (support >= blockers) candidate = PopCount(defenders) >= PopCount(opp & PawnAttacks[Us][sq]);
      }
    }

    // A far advanced blocked pawn whose neighbour behind can break through.
    const bool farAdvanced = Us == BLACK ? rank < 3 : rank > 4;
    if (farAdvanced && (opp & Bit(next)) && !(opp & PassedMask[Us][next])) {
      const int behind = -forward;
      auto neighbourHolds = [&](int neighbour, int outer, bool checkOuter) {
        return (own & Bit(neighbour)) && !(opp & fileAhead[neighbour]) && (!checkOuter || !(opp & fileAhead[outer]));
      };
      const bool right = file < 7 && neighbourHolds(sq + behind + 1, sq + behind + 2, file != 6);
      const bool left = !right && file > 0 && neighbourHolds(sq + behind - 1, sq + behind - 2, file != 1);
      if (right || left) common += sign * PawnBreakthrough[index];
    }

    u8 &weakFiles = Us == BLACK ? entry.WeakFiles[0] : entry.WeakFiles[1];
    if (doubled) common -= sign * PawnDoubled[index];
    if (isolated) {
      if (open) weakFiles |= u8(1 << file);
      common -= sign * (open ? PawnIsolatedOpen[index] : PawnIsolated[index]);
    }
    if (backward) {
      if (open) weakFiles |= u8(1 << file);
      common -= sign * (open ? PawnBackwardOpen[index] : PawnBackward[index]);
    }
    if (candidate) common += sign * PawnCandidate[index];
  }
}

int FileSpan(u8 files) { return files ? 31 - __builtin_clz(files) - __builtin_ctz(files) + 1 : 0; }

void ComputeEntry(PawnHashEntry &entry) {
  entry.Shield[WHITE_KING_SIDE] = u8(ShieldValue(WHITE, 5, 6, 7));
  entry.Shield[WHITE_QUEEN_SIDE] = u8(ShieldValue(WHITE, 2, 1, 0));
  entry.Shield[BLACK_KING_SIDE] = u8(ShieldValue(BLACK, 5, 6, 7));
  entry.Shield[BLACK_QUEEN_SIDE] = u8(ShieldValue(BLACK, 2, 1, 0));
  AddStorms<BLACK>(entry);
  AddStorms<WHITE>(entry);
  entry.PassedVector[0] = entry.PassedVector[1] = 0;
  entry.PawnFiles[0] = entry.PawnFiles[1] = 0;
  entry.WeakFiles[0] = entry.WeakFiles[1] = 0;
  i32 wing[4] = {}, common = 0;
  PawnTerms<BLACK>(entry, wing, common);
  PawnTerms<WHITE>(entry, wing, common);
  // PawnFiles holds White's byte first; PassedVector Black's.
  common += PawnSpan[FileSpan(entry.PawnFiles[1])] - PawnSpan[FileSpan(entry.PawnFiles[0])] +
            PassedSpan[FileSpan(entry.PassedVector[0])] - PassedSpan[FileSpan(entry.PassedVector[1])];
  for (int i = 0; i < 4; i++) entry.Score[i] = wing[i] + common;
}

}  // namespace

void EvaluatePawns() {
  BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  PawnHashEntry &entry = b.PawnEntry;
  if (Settings.PawnHashSize == 0) {
    ComputeEntry(entry);
    entry.Key = ~b.PawnKey;  // nothing is stored: the entry must not pass for this key later
  } else if (entry.Key != b.PawnKey) {
    const u32 slot = Settings.PawnHashSize == 262144 ? u32(b.PawnKey & 0x3FFFF) : u32(b.PawnKey) % u32(Settings.PawnHashSize);
    PawnHashEntry &stored = PawnHashTable[slot];
    if (stored.Key == b.PawnKey) {
      entry = stored;
    } else {
      ComputeEntry(entry);
      entry.Key = b.PawnKey;
      stored = entry;
    }
  }
  info.PackedScore += entry.Score[info.KingWing[WHITE]];
  info.PassedPawns[BLACK] = (u64(entry.PassedVector[0]) * 0x0101010101010101ULL) & b.Pawns[BLACK];
  info.PassedPawns[WHITE] = (u64(entry.PassedVector[1]) * 0x0101010101010101ULL) & b.Pawns[WHITE];
}
