// Exact answers for three endings, in the frame of a white pawn that moves up the board. Solved at build time by
// our own retrograde code (tools/bitbases) and compiled in as constant tables.
#pragma once
#include "board/types.h"

// 65536 bytes each, one bit per stm + 2 * pawn + 128 * pawnKing + 8192 * enemyKing, stm 0 the pawn's side.
extern const u8 KpkBitbase[65536];     // the pawn's side wins
extern const u8 RunnerBitbase[65536];  // the pawn promotes by force, only the pawn moving, unstopped
// K+R against K+P with the rook's side to move: word 1024 * rook + 16 * rookKing + pawnClass, bit pawnKing;
// pawnClass is 4 * (rank - 4) + (file - e) for a pawn on files e to h, ranks 4 to 7. A set bit: the pawn's side
// holds the draw.
extern const u64 RookPawnBitbase[65536];

constexpr int BitbaseIndex(int stm, int pawn, int ownKing, int enemyKing) {
  return stm + 2 * pawn + 128 * ownKing + 8192 * enemyKing;
}
inline bool BitbaseBit(const u8 *table, int index) { return (table[index >> 3] >> (index & 7)) & 1; }

// A bitbase bit for a pawn of `side`, with `toMove` the colour to move; a black pawn is rotated into the frame.
inline bool ProbePawnTable(const u8 *table, int side, int toMove, int pawn, int ownKing, int enemyKing) {
  if (side == BLACK) pawn = 63 - pawn, ownKing = 63 - ownKing, enemyKing = 63 - enemyKing;
  return BitbaseBit(table, BitbaseIndex(toMove == side ? 0 : 1, pawn, ownKing, enemyKing));
}

// The word of a pawn on files e to h, ranks 4 to 7.
constexpr int RookPawnWord(int rook, int rookKing, int pawn) {
  return 1024 * rook + 16 * rookKing + 4 * ((pawn >> 3) - 3) + (pawn & 7) - 4;
}

// Does the pawn's side hold the draw, the rook's side to move? Squares in the frame of the white pawn; a pawn on
// files a to d is turned to the other wing. A pawn below the fourth rank is beyond the table: no.
inline bool ProbeRookPawn(int rook, int rookKing, int pawn, int pawnKing) {
  if (pawn < 24 || pawn > 55) return false;
  if ((pawn & 7) < 4) rook ^= 7, rookKing ^= 7, pawn ^= 7, pawnKing ^= 7;
  return (RookPawnBitbase[RookPawnWord(rook, rookKing, pawn)] >> pawnKing) & 1;
}
