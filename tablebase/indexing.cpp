// Turning the squares of a position into the index of a table: the fixed tables and the encoders.
#include <algorithm>

#include "tablebase/registry.h"

namespace {

i32 Binomial[5][64];  // Binomial[i][n] = C(n, i + 1)
i32 PawnIndex[5][24];
i32 PawnFactor[5][4];
u8 PawnSlot[64];
u8 PawnSlotSquare[24];
u8 PawnOrder[64];
constexpr u8 FileFold[8] = {0, 1, 2, 3, 3, 2, 1, 0};
i8 OffDiagonal[64];
u8 FlipDiagonal[64];
u8 DiagonalIndex[64];
u8 LowerIndex[64];
i16 KingPairIndex[10][64];

// Ranks 1 to 4; ranks 5 to 8 repeat them in reverse order.
constexpr u8 TriangleRows[4][8] = {
    {6, 0, 1, 2, 2, 1, 0, 6}, {0, 7, 3, 4, 4, 3, 7, 0}, {1, 3, 8, 5, 5, 8, 3, 1}, {2, 4, 5, 9, 9, 5, 4, 2}};
u8 TriangleIndex[64];
// The first king's square of each row of KingPairIndex, by its triangle class.
constexpr int KingPairRowSquare[10] = {1, 2, 3, 10, 11, 19, 0, 9, 18, 27};

int Rank(int sq) { return sq >> 3; }
int File(int sq) { return sq & 7; }

i64 Choose(int n, int k) {
  if (k < 0 || k > n) return 0;
  i64 result = 1;
  for (int i = 0; i < k; i++) result = result * (n - i) / (i + 1);
  return result;
}

bool Near(int a, int b) { return std::max(std::abs(Rank(a) - Rank(b)), std::abs(File(a) - File(b))) <= 1; }

// Index part of a run of equal men from `i`: their squares sorted, each counted past the earlier men below it.
u64 RunIndex(int *squares, int i, int t, int skew) {
  std::sort(squares + i, squares + i + t);
  u64 s = 0;
  for (int m = i; m < i + t; m++) {
    int below = 0;
    for (int j = 0; j < i; j++) below += squares[m] > squares[j];
    s += Binomial[m - i][squares[m] - below - skew];
  }
  return s;
}

u64 OtherGroups(int from, int men, const u8 *norm, int *squares, const i32 *factor) {
  u64 index = 0;
  for (int i = from; i < men; i += norm[i]) index += RunIndex(squares, i, norm[i], 0) * u64(factor[i]);
  return index;
}

}  // namespace

void InitIndices() {
  for (int i = 0; i < 5; i++)
    for (int n = 0; n < 64; n++) Binomial[i][n] = i32(Choose(n, i + 1));
  for (int sq = 0; sq < 64; sq++) {
    const int r = Rank(sq) - 1, f = File(sq), fold = std::min(f, 7 - f);
    const bool pawnRank = r >= 0 && r <= 5;
    PawnSlot[sq] = pawnRank ? u8(6 * fold + r) : 0;
    PawnOrder[sq] = pawnRank ? u8(2 * (5 - r) + (f < 4 ? 1 : 0) + 12 * (3 - fold)) : 0;
    OffDiagonal[sq] = Rank(sq) == File(sq) ? 0 : Rank(sq) > File(sq) ? 1 : -1;
    FlipDiagonal[sq] = u8(8 * File(sq) + Rank(sq));
    DiagonalIndex[sq] = Rank(sq) == File(sq) ? u8(Rank(sq)) : Rank(sq) + File(sq) == 7 ? u8(8 + Rank(sq)) : 0;
    const int row = Rank(sq) < 4 ? Rank(sq) : 7 - Rank(sq);
    TriangleIndex[sq] = TriangleRows[row][File(sq)];
  }
  for (int f = 0; f < 4; f++)
    for (int r = 0; r < 6; r++) PawnSlotSquare[6 * f + r] = u8(8 * (r + 1) + f);
  int lower = 0;
  for (int sq = 0; sq < 64; sq++)
    if (File(sq) > Rank(sq)) LowerIndex[sq] = u8(lower++);
  for (int sq = 0; sq < 64; sq++) {
    if (Rank(sq) > File(sq)) LowerIndex[sq] = LowerIndex[FlipDiagonal[sq]];
    if (Rank(sq) == File(sq)) LowerIndex[sq] = u8(28 + Rank(sq));
  }
  for (int i = 0; i < 5; i++) {
    for (int g = 0; g < 4; g++) {
      i32 s = 0;
      for (int j = 6 * g; j < 6 * g + 6; j++) {
        PawnIndex[i][j] = s;
        s += i == 0 ? 1 : Binomial[i - 1][PawnOrder[PawnSlotSquare[j]]];
      }
      PawnFactor[i][g] = s;
    }
  }
  int count = 0;
  for (int t = 0; t < 10; t++) {
    const int king = KingPairRowSquare[t];
    for (int sq = 0; sq < 64; sq++) {
      const bool allowed = !Near(king, sq) && (t < 6 || File(sq) > Rank(sq));
      KingPairIndex[t][sq] = allowed ? i16(count++) : -1;
    }
  }
  for (int t = 6; t < 10; t++) {
    const int king = KingPairRowSquare[t];
    for (int sq = 0; sq < 64; sq += 9)
      if (!Near(king, sq)) KingPairIndex[t][sq] = i16(count++);
  }
}

namespace {

// From `i` on, each run of equal men is one group: its length stands at its first man.
void NormRuns(int i, int men, u8 *norm, const u8 *pieces) {
  for (; i < men; i += norm[i])
    for (int j = i; j < men && pieces[j] == pieces[i]; j++) norm[i]++;
}

}  // namespace

void NormPiece(int encodingType, int men, u8 *norm, const u8 *pieces) {
  std::fill(norm, norm + men, 0);
  norm[0] = encodingType == 0 ? 3 : 2;
  NormRuns(norm[0], men, norm, pieces);
}

void NormPawn(const u8 *pawnCounts, int men, u8 *norm, const u8 *pieces) {
  std::fill(norm, norm + men, 0);
  norm[0] = pawnCounts[0];
  if (pawnCounts[1]) norm[pawnCounts[0]] = pawnCounts[1];
  NormRuns(pawnCounts[0] + pawnCounts[1], men, norm, pieces);
}

u64 FactorsPiece(i32 *factor, int men, int order, const u8 *norm, int encodingType) {
  int n = 64 - norm[0], i = norm[0];
  u64 f = 1;
  for (int k = 0; i < men || k == order; k++) {
    if (k == order) {
      factor[0] = i32(f);
      f *= encodingType == 0 ? 31332 : 462;
    } else {
      factor[i] = i32(f);
      f *= u64(Choose(n, norm[i]));
      n -= norm[i];
      i += norm[i];
    }
  }
  return f;
}

u64 FactorsPawn(i32 *factor, int men, int order, int order2, const u8 *norm, int group) {
  int i = norm[0];
  if (order2 < 15) i += norm[i];
  int n = 64 - i;
  u64 f = 1;
  for (int k = 0; i < men || k == order || k == order2; k++) {
    if (k == order) {
      factor[0] = i32(f);
      f *= u64(PawnFactor[norm[0] - 1][group]);
    } else if (k == order2) {
      factor[norm[0]] = i32(f);
      f *= u64(Choose(48 - norm[0], norm[norm[0]]));
    } else {
      factor[i] = i32(f);
      f *= u64(Choose(n, norm[i]));
      n -= norm[i];
      i += norm[i];
    }
  }
  return f;
}

u64 EncodePiece(int encodingType, int men, const u8 *norm, int *squares, const i32 *factor) {
  if (squares[0] & 4)
    for (int i = 0; i < men; i++) squares[i] ^= 7;
  if (squares[0] & 32)
    for (int i = 0; i < men; i++) squares[i] ^= 56;
  int i = 0;
  while (i < men && OffDiagonal[squares[i]] == 0) i++;
  if (i < (encodingType == 0 ? 3 : 2) && OffDiagonal[squares[i]] > 0)
    for (int j = 0; j < men; j++) squares[j] = FlipDiagonal[squares[j]];
  u64 index;
  if (encodingType == 0) {
    const int a = squares[0], b = squares[1], c = squares[2];
    const int p = b > a, q = (c > a) + (c > b);
    if (OffDiagonal[a])
      index = u64(TriangleIndex[a]) * 3906 + u64(b - p) * 62 + u64(c - q);
    else if (OffDiagonal[b])
      index = 23436 + u64(DiagonalIndex[a]) * 1736 + u64(LowerIndex[b]) * 62 + u64(c - q);
    else if (OffDiagonal[c])
      index = 30380 + u64(DiagonalIndex[a]) * 196 + u64(DiagonalIndex[b] - p) * 28 + LowerIndex[c];
    else
      index = 31164 + u64(DiagonalIndex[a]) * 42 + u64(DiagonalIndex[b] - p) * 6 + u64(DiagonalIndex[c] - q);
    i = 3;
  } else {
    index = u64(KingPairIndex[TriangleIndex[squares[0]]][squares[1]]);
    i = 2;
  }
  index *= u64(factor[0]);
  return index + OtherGroups(i, men, norm, squares, factor);
}

u64 EncodePawn(const u8 *pawnCounts, int men, const u8 *norm, int *squares, const i32 *factor) {
  const int c0 = pawnCounts[0], c1 = pawnCounts[1];
  if (squares[0] & 4)
    for (int i = 0; i < men; i++) squares[i] ^= 7;
  std::sort(squares + 1, squares + c0, [](int x, int y) { return PawnOrder[x] > PawnOrder[y]; });
  const int t = c0 - 1;
  u64 index = u64(PawnIndex[t][PawnSlot[squares[0]]]);
  for (int i = t; i > 0; i--) index += u64(Binomial[t - i][PawnOrder[squares[i]]]);
  index *= u64(factor[0]);
  if (c1 > 0) index += RunIndex(squares, c0, c1, 8) * u64(factor[c0]);
  return index + OtherGroups(c0 + c1, men, norm, squares, factor);
}

int PawnFile(const u8 *pawnCounts, int *squares) {
  for (int i = 1; i < pawnCounts[0]; i++)
    if (PawnSlot[squares[0]] > PawnSlot[squares[i]]) std::swap(squares[0], squares[i]);
  return FileFold[squares[0] & 7];
}
