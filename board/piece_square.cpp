#include "board/piece_square.h"

#include <cstring>

i32 PieceSquare[8][2][64];
i16 PstOpening[8][2][64];
i16 PstEnding[8][2][64];
i16 PstSourceOpening[8][64];
i16 PstSourceEnding[8][64];

namespace {

// Printed order: the first row is the far end of the board, the last the piece's own back rank.
constexpr i16 KingOpening[64] = {
    -15, -21, -42, -34, -34, -42, -21, -15,
    -16, -24, -25, -48, -48, -25, -24, -16,
    -20, -13, -23, -21, -21, -23, -13, -20,
    -9, -10, -14, -12, -12, -14, -10, -9,
    -6, -5, -7, -15, -15, -7, -5, -6,
    -1, 0, -7, -10, -10, -7, 0, -1,
    9, 11, 9, -2, -2, 9, 11, 9,
    10, 19, 10, -1, -1, 10, 15, 10,
};
constexpr i16 KingEnding[64] = {
    -72, -48, -42, -24, -24, -42, -48, -72,
    -48, -22, -12, 0, 0, -12, -22, -48,
    -38, -12, 0, 11, 11, 0, -12, -38,
    -23, 0, 12, 24, 24, 12, 0, -23,
    -24, -1, 12, 24, 24, 12, -1, -24,
    -36, -12, 0, 12, 12, 0, -12, -36,
    -48, -24, -14, -2, -2, -14, -24, -48,
    -76, -48, -36, -30, -30, -36, -48, -76,
};
constexpr i16 PawnOpening[64] = {
    -15, -5, 0, 5, 5, 0, -5, -15,
    -15, -5, 0, 5, 5, 0, -5, -15,
    -15, -5, 0, 5, 5, 0, -5, -15,
    -15, -5, 0, 15, 15, 0, -5, -15,
    -15, -5, 0, 25, 25, 0, -5, -15,
    -15, -5, 0, 15, 15, 0, -5, -15,
    -15, -5, 0, 5, 5, 0, -5, -15,
    -15, -5, 0, 5, 5, 0, -5, -15,
};
constexpr i16 PawnEnding[64] = {
    0, 0, 0, 0, 0, 0, 0, 0,
    6, 7, 8, 9, 9, 8, 7, 6,
    6, 7, 8, 9, 9, 8, 7, 6,
    2, 3, 4, 5, 5, 4, 3, 2,
    -1, 0, 1, 2, 2, 1, 0, -1,
    -3, -2, -1, 0, 0, -1, -2, -3,
    -3, -2, -1, 0, 0, -1, -2, -3,
    0, 0, 0, 0, 0, 0, 0, 0,
};
constexpr i16 KnightOpening[64] = {
    -76, -25, -13, -16, -16, -13, -25, -76,
    -11, -10, 0, 7, 7, 0, -10, -11,
    -4, 6, 17, 25, 25, 17, 6, -4,
    -5, 3, 15, 20, 20, 15, 3, -5,
    -10, -1, 10, 7, 7, 10, -1, -10,
    -20, -10, 1, 6, 6, 1, -10, -20,
    -23, -35, -15, -10, -10, -15, -35, -23,
    -38, -42, -30, -25, -25, -30, -42, -38,
};
constexpr i16 KnightEnding[64] = {
    -40, -30, -20, -15, -15, -20, -30, -40,
    -30, -20, -10, -5, -5, -10, -20, -30,
    -20, -10, 0, 5, 5, 0, -10, -20,
    -21, -5, 5, 10, 10, 5, -5, -21,
    -16, -5, 5, 10, 10, 5, -5, -16,
    -20, -10, 0, 5, 5, 0, -10, -20,
    -27, -20, -10, -5, -5, -10, -20, -27,
    -39, -30, -20, -15, -15, -20, -30, -39,
};
constexpr i16 BishopOpening[64] = {
    -8, -8, -6, -4, -4, -6, -8, -8,
    -8, 0, -2, 0, 0, -2, 0, -8,
    -6, -2, 4, 2, 2, 4, -2, -6,
    -4, 0, 2, 8, 8, 2, 0, -4,
    -4, 0, 2, 8, 8, 2, 0, -4,
    -6, -2, 4, 2, 2, 4, -2, -6,
    -8, 0, -2, 0, 0, -2, 0, -8,
    -18, -18, -16, -14, -14, -16, -18, -18,
};
constexpr i16 BishopEnding[64] = {
    -18, -12, -9, -6, -6, -9, -12, -18,
    -12, -6, -3, 0, 0, -3, -6, -12,
    -9, -3, 0, 3, 3, 0, -3, -9,
    -6, 0, 3, 6, 6, 3, 0, -6,
    -6, 0, 3, 6, 6, 3, 0, -6,
    -9, -3, 0, 3, 3, 0, -3, -9,
    -12, -6, -3, 0, 0, -3, -6, -12,
    -18, -12, -9, -6, -6, -9, -12, -18,
};
constexpr i16 QueenEnding[64] = {
    -24, -16, -12, -8, -8, -12, -16, -24,
    -16, -8, -4, 0, 0, -4, -8, -16,
    -12, -4, 0, 4, 4, 0, -4, -12,
    -8, 0, 4, 8, 8, 4, 0, -8,
    -8, 0, 4, 8, 8, 4, 0, -8,
    -12, -4, 0, 4, 4, 0, -4, -12,
    -16, -8, -4, 0, 0, -4, -8, -16,
    -24, -16, -12, -8, -8, -12, -16, -24,
};
constexpr i16 RookOpeningRow[8] = {-6, -3, 0, 3, 3, 0, -3, -6};

struct SourceTables {
  i16 opening[8][64] = {};
  i16 ending[8][64] = {};
};

constexpr SourceTables PrintedTables() {
  SourceTables t;
  for (int sq = 0; sq < 64; sq++) {
    t.opening[KING][sq] = KingOpening[sq], t.ending[KING][sq] = KingEnding[sq];
    t.opening[PAWN][sq] = PawnOpening[sq], t.ending[PAWN][sq] = PawnEnding[sq];
    t.opening[KNIGHT][sq] = KnightOpening[sq], t.ending[KNIGHT][sq] = KnightEnding[sq];
    t.opening[BISHOP][sq] = BishopOpening[sq], t.ending[BISHOP][sq] = BishopEnding[sq];
    t.opening[ROOK][sq] = RookOpeningRow[sq & 7];
    t.opening[QUEEN][sq] = sq >= 56 ? -5 : 0;
    t.ending[QUEEN][sq] = QueenEnding[sq];
  }
  return t;
}

constexpr SourceTables Printed = PrintedTables();

// The source tables start as printed; the values file may rewrite them later.
const bool SourcesFilled = [] {
  std::memcpy(PstSourceOpening, Printed.opening, sizeof PstSourceOpening);
  std::memcpy(PstSourceEnding, Printed.ending, sizeof PstSourceEnding);
  return true;
}();

}  // namespace

void BuildPieceSquareTables() {
  for (int piece = 0; piece < 8; piece++)
    for (int side = 0; side < 2; side++)
      for (int sq = 0; sq < 64; sq++) {
        int source = side == WHITE ? sq ^ 56 : sq;
        PieceSquare[piece][side][sq] = PstSourceOpening[piece][source] * 65536 + PstSourceEnding[piece][source];
        PstOpening[piece][side][sq] = Printed.opening[piece][source];
        PstEnding[piece][side][sq] = Printed.ending[piece][source];
      }
}
