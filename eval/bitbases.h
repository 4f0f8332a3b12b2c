// Exact answers for K+P against K, in the frame of a white pawn (moving up) with stm 0 the pawn's side.
// Built by our own retrograde analysis the first time the evaluation tables load (a few milliseconds).
#pragma once
#include "board/types.h"

// 65536 bytes each, one bit per stm + 2 * pawn + 128 * pawnKing + 8192 * enemyKing.
extern u8 KpkBitbase[65536];     // the pawn's side wins
extern u8 RunnerBitbase[65536];  // the pawn promotes by force, only the pawn moving, unstopped

constexpr int BitbaseIndex(int stm, int pawn, int ownKing, int enemyKing) {
  return stm + 2 * pawn + 128 * ownKing + 8192 * enemyKing;
}
inline bool BitbaseBit(const u8 *table, int index) { return (table[index >> 3] >> (index & 7)) & 1; }

// Builds both tables once; later calls return at once.
void BuildBitbases();

// A bitbase bit for a pawn of `side`, with `toMove` the colour to move; a black pawn is rotated into the frame.
inline bool ProbePawnTable(const u8 *table, int side, int toMove, int pawn, int ownKing, int enemyKing) {
  if (side == BLACK) pawn = 63 - pawn, ownKing = 63 - ownKing, enemyKing = 63 - enemyKing;
  return BitbaseBit(table, BitbaseIndex(toMove == side ? 0 : 1, pawn, ownKing, enemyKing));
}
