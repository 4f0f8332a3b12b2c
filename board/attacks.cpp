#include "board/attacks.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "board/piece_square.h"

u64 RookMask[64], BishopMask[64];
u32 RookShift[64], BishopShift[64];
u64 *RookTable[64], *BishopTable[64];
u64 RookEmpty[64], BishopEmpty[64], QueenEmpty[64];
static u64 RookPool[102400];
static u64 BishopPool[5248];

u64 KingAttacks[64];
u64 KnightAttacks[64];
u64 PawnAttacks[2][64];

u64 RayNE[64], RayN[64], RayNW[64], RayE[64], RayW[64], RaySE[64], RayS[64], RaySW[64];
i8 Direction[64][64];
u64 RayBeyond[64][64];
u64 Between[64][64];
u64 Rectangle[64][64];

u64 PassedMask[2][64];
u64 NotFile[8];
u64 RanksAbove[64], RanksBelow[64];
u64 AdjacentFiles[64];
u64 FileAbove[64], FileBelow[64];
u64 RowAbove[64], RowBelow[64];
u64 PawnSquareWhite[64], PawnSquareWhiteTempo[64];
u64 PawnSquareBlack[64], PawnSquareBlackTempo[64];
u64 EdgeOpposition[64];
u64 TrappedRookMask[4][3];

i32 KnightDistance[64][64];
u64 KnightStopsPawn[64][64];

u8 HighBit[256], LowBit[256], BitCount[256];
i32 ReverseBits[256];
i32 PawnFileClass[256];
u8 LowerCase[256];
i32 KingDangerPattern[384];

// A step is valid when it moves exactly one king step, so nothing wraps round an edge.
static bool StepTarget(int sq, int step, int &target) {
  target = sq + step;
  if (target < 0 || target > 63) return false;
  return std::abs(FileOf(target) - FileOf(sq)) <= 1 && std::abs(RankOf(target) - RankOf(sq)) <= 1;
}

const int RookSteps[4] = {8, 1, -8, -1};
const int BishopSteps[4] = {9, -7, -9, 7};

// Squares reached by repeating `step` from `sq`, stopping after the first square in `occ`.
static u64 SlideAttacks(int sq, int step, u64 occ) {
  u64 result = 0;
  int target;
  while (StepTarget(sq, step, target)) {
    result |= Bit(target);
    if (occ & Bit(target)) break;
    sq = target;
  }
  return result;
}

u64 SliderAttacksSlowly(int sq, const int steps[4], u64 occ) {
  u64 attacks = 0;
  for (int i = 0; i < 4; i++) attacks |= SlideAttacks(sq, steps[i], occ);
  return attacks;
}

u64 SliderMask(int sq, const int steps[4]) {
  const u64 edges = ((RANK_1 | RANK_8) & ~RankMask(RankOf(sq))) | ((FILE_A | FILE_H) & ~FileMask(FileOf(sq)));
  return SliderAttacksSlowly(sq, steps, 0) & ~edges;
}

namespace {


void InitByteTables() {
  for (int x = 0; x < 256; x++) {
    HighBit[x] = x ? u8(31 - __builtin_clz(x)) : 8;
    LowBit[x] = x ? u8(__builtin_ctz(x)) : 8;
    BitCount[x] = u8(__builtin_popcount(x));
    int reversed = 0;
    for (int bit = 0; bit < 8; bit++)
      if (x & (1 << bit)) reversed |= 0x80 >> bit;
    ReverseBits[x] = reversed;
    LowerCase[x] = (x >= 'A' && x <= 'Z') ? u8(x - 'A' + 'a') : u8(x);
    int fileClass = 5;
    if (x == 0) fileClass = 0;
    else if (x == 0x01 || x == 0x80) fileClass = 1;
    else if (x == 0x02 || x == 0x40) fileClass = 2;
    else if (x == 0x04 || x == 0x08 || x == 0x10 || x == 0x20) fileClass = 3;
    else if (x == 0x03 || x == 0xC0) fileClass = 4;
    PawnFileClass[x] = fileClass;
  }
}

void InitMasks() {
  for (int file = 0; file < 8; file++) NotFile[file] = ~FileMask(file);
  for (int sq = 0; sq < 64; sq++) {
    int file = FileOf(sq), rank = RankOf(sq);
    RanksAbove[sq] = rank < 7 ? ~0ULL << (8 * (rank + 1)) : 0;
    RanksBelow[sq] = rank > 0 ? ~0ULL >> (8 * (8 - rank)) : 0;
    AdjacentFiles[sq] = (file > 0 ? FileMask(file - 1) : 0) | (file < 7 ? FileMask(file + 1) : 0);
    FileAbove[sq] = FileMask(file) & RanksAbove[sq];
    FileBelow[sq] = FileMask(file) & RanksBelow[sq];
    u64 threeFiles = AdjacentFiles[sq] | FileMask(file);
    RowAbove[sq] = rank < 7 ? threeFiles & RankMask(rank + 1) : 0;
    RowBelow[sq] = rank > 0 ? threeFiles & RankMask(rank - 1) : 0;
    PassedMask[WHITE][sq] = threeFiles & RanksAbove[sq];
    PassedMask[BLACK][sq] = threeFiles & RanksBelow[sq];
  }
  // The rule of the square for a white pawn; a pawn on its start rank counts as one rank further.
  for (int sq = 8; sq < 56; sq++) {
    int r = RankOf(sq) < 2 ? 2 : RankOf(sq);
    for (int other = 0; other < 64; other++) {
      int fileDistance = std::abs(FileOf(other) - FileOf(sq));
      if (RankOf(other) >= r && fileDistance <= 7 - r) PawnSquareWhite[sq] |= Bit(other);
      if (RankOf(other) >= r - 1 && fileDistance <= 8 - r) PawnSquareWhiteTempo[sq] |= Bit(other);
    }
  }
  for (int sq = 8; sq < 56; sq++) {
    PawnSquareBlack[sq] = __builtin_bswap64(PawnSquareWhite[sq ^ 56]);
    PawnSquareBlackTempo[sq] = __builtin_bswap64(PawnSquareWhiteTempo[sq ^ 56]);
  }
  auto opposite = [](int x, int y) { EdgeOpposition[x] |= Bit(63 - y); };
  for (int x = 0; x < 64; x++) {
    int file = FileOf(x), rank = RankOf(x);
    bool corner = (file == 0 || file == 7) && (rank == 0 || rank == 7);
    if (corner) continue;
    if (rank == 0) opposite(x, x + 16);
    if (rank == 7) opposite(x, x - 16);
    if (file == 0) opposite(x, x + 2);
    if (file == 7) opposite(x, x - 2);
  }
  const int corners[4][5] = {{0, 2, 10, 16, 17}, {7, 5, 13, 23, 22}, {56, 40, 41, 50, 58}, {63, 46, 47, 53, 61}};
  for (const auto &c : corners)
    for (int i = 1; i < 5; i++) opposite(c[0], c[i]);
  const u64 h1 = Bit(7), g1 = Bit(6), h2 = Bit(15), a1 = Bit(0), b1 = Bit(1), a2 = Bit(8);
  const u64 rows[2][3] = {{h2, h1 | h2, g1 | h1 | h2}, {a2, a1 | a2, a1 | b1 | a2}};
  for (int i = 0; i < 3; i++) {
    TrappedRookMask[0][i] = rows[0][i];
    TrappedRookMask[1][i] = rows[1][i];
    TrappedRookMask[2][i] = __builtin_bswap64(rows[0][i]);
    TrappedRookMask[3][i] = __builtin_bswap64(rows[1][i]);
  }
}

void InitStepTables() {
  static const int kingSteps[8] = {9, 8, 7, 1, -1, -7, -8, -9};
  for (int sq = 0; sq < 64; sq++) {
    int target;
    for (int step : kingSteps)
      if (StepTarget(sq, step, target)) KingAttacks[sq] |= Bit(target);
    for (int other = 0; other < 64; other++) {
      int df = std::abs(FileOf(other) - FileOf(sq)), dr = std::abs(RankOf(other) - RankOf(sq));
      if ((df == 1 && dr == 2) || (df == 2 && dr == 1)) KnightAttacks[sq] |= Bit(other);
    }
    if (StepTarget(sq, 7, target) && FileOf(target) < FileOf(sq)) PawnAttacks[WHITE][sq] |= Bit(target);
    if (StepTarget(sq, 9, target) && FileOf(target) > FileOf(sq)) PawnAttacks[WHITE][sq] |= Bit(target);
    if (StepTarget(sq, -9, target) && FileOf(target) < FileOf(sq)) PawnAttacks[BLACK][sq] |= Bit(target);
    if (StepTarget(sq, -7, target) && FileOf(target) > FileOf(sq)) PawnAttacks[BLACK][sq] |= Bit(target);
    RayNE[sq] = SlideAttacks(sq, 9, 0);
    RayN[sq] = SlideAttacks(sq, 8, 0);
    RayNW[sq] = SlideAttacks(sq, 7, 0);
    RayE[sq] = SlideAttacks(sq, 1, 0);
    RayW[sq] = SlideAttacks(sq, -1, 0);
    RaySE[sq] = SlideAttacks(sq, -7, 0);
    RayS[sq] = SlideAttacks(sq, -8, 0);
    RaySW[sq] = SlideAttacks(sq, -9, 0);
  }
  // Between[x][y]: x and the squares towards y, without y.
  u64 *rays[8] = {RayNE, RayN, RayNW, RayE, RayW, RaySE, RayS, RaySW};
  for (int y = 0; y < 64; y++)
    for (u64 *ray : rays)
      for (u64 line = ray[y]; line;) {
        int x = PopLowest(line);
        Between[x][y] = ray[y] & ~ray[x];
      }
  for (int x = 0; x < 64; x++)
    for (int y = 0; y < 64; y++) {
      int fileLow = std::min(FileOf(x), FileOf(y)), fileHigh = std::max(FileOf(x), FileOf(y));
      int rankLow = std::min(RankOf(x), RankOf(y)), rankHigh = std::max(RankOf(x), RankOf(y));
      for (int sq = 0; sq < 64; sq++)
        if (FileOf(sq) >= fileLow && FileOf(sq) <= fileHigh && RankOf(sq) >= rankLow && RankOf(sq) <= rankHigh)
          Rectangle[x][y] |= Bit(sq);
    }
}

// Every occupancy of a square's mask goes to its slot by the square's fixed magic; the slices follow one another.
void FillSlider(const int steps[4], const u64 *magic, u64 *pool, u64 *mask, u32 *shift, u64 **table, u64 *empty) {
  u64 *slice = pool;
  for (int sq = 0; sq < 64; sq++) {
    mask[sq] = SliderMask(sq, steps);
    shift[sq] = u32(64 - PopCount(mask[sq]));
    table[sq] = slice;
    u64 subset = 0;
    do {
      slice[(subset * magic[sq]) >> shift[sq]] = SliderAttacksSlowly(sq, steps, subset);
      subset = (subset - mask[sq]) & mask[sq];
    } while (subset);
    empty[sq] = slice[0];
    slice += u64(1) << PopCount(mask[sq]);
  }
}

void InitSliders() {
  FillSlider(RookSteps, RookMagic, RookPool, RookMask, RookShift, RookTable, RookEmpty);
  FillSlider(BishopSteps, BishopMagic, BishopPool, BishopMask, BishopShift, BishopTable, BishopEmpty);
  for (int sq = 0; sq < 64; sq++) QueenEmpty[sq] = RookEmpty[sq] | BishopEmpty[sq];
  std::memset(Direction, 0, sizeof Direction);
  struct {
    u64 *ray;
    int step;
  } const lines[8] = {{RaySW, 9}, {RayS, 8}, {RaySE, 7}, {RayW, 1}, {RayE, -1}, {RayNW, -7}, {RayN, -8}, {RayNE, -9}};
  for (int x = 0; x < 64; x++)
    for (const auto &line : lines)
      for (u64 squares = line.ray[x]; squares;) Direction[x][PopLowest(squares)] = i8(line.step);
  // The ray that goes on past x is the one opposite to the ray from x back to y.
  for (int x = 0; x < 64; x++)
    for (const auto &line : lines)
      for (u64 squares = line.ray[x]; squares;) {
        const int y = PopLowest(squares);
        for (const auto &opposite : lines)
          if (opposite.step == -line.step) RayBeyond[x][y] = opposite.ray[x];
      }
}

void InitKnightDistance() {
  for (int source = 0; source < 64; source++) {
    u64 seen = Bit(source), frontier = Bit(source);
    KnightDistance[source][source] = 0;
    for (int steps = 1; frontier; steps++) {
      u64 next = 0;
      for (u64 f = frontier; f;) next |= KnightAttacks[PopLowest(f)];
      next &= ~seen;
      seen |= next;
      for (u64 n = next; n;) KnightDistance[source][PopLowest(n)] = steps;
      frontier = next;
    }
  }
}

// Can a white knight on x catch a black pawn on p whose own king stands on k?
bool KnightCatchesPawn(int p, int k, int x) {
  for (int t = 1, q = p; q >= 0; q -= 8, t++) {
    if (KnightDistance[q][x] <= t) return true;
    if (KnightDistance[q][x] == t + 1)
      for (u64 checks = KnightAttacks[k]; checks;) {
        int y = PopLowest(checks);
        if (KnightDistance[y][x] - 1 + KnightDistance[q][y] <= t) return true;
      }
  }
  return false;
}

void InitKnightStopsPawn() {
  for (int p = 8; p < 56; p++)
    for (int k = 0; k < 64; k++)
      for (int x = 0; x < 64; x++)
        if (KnightCatchesPawn(p, k, x)) KnightStopsPawn[p][k] |= Bit(x);
}

}  // namespace

void InitAttackTables() {
  InitByteTables();
  InitMasks();
  InitStepTables();
  InitSliders();
  BuildPieceSquareTables();
  InitKnightDistance();
  InitKnightStopsPawn();
}

void SetDefaultKingDangerPattern() {
  for (int i = 0; i < 384; i++) KingDangerPattern[i] = i < 128 ? 1 : i < 256 ? 0 : 4;
}
