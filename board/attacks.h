// Attack and geometry tables, built once at start and read-only afterwards.
#pragma once
#include "board/board.h"

extern u64 RookMask[64], BishopMask[64];
// Fixed multipliers, found once by tools/magics/find_magics.cpp; every occupancy of a mask gets its own slot or
// one that holds the same attack set.
extern const u64 RookMagic[64], BishopMagic[64];
extern u32 RookShift[64], BishopShift[64];
extern u64 *RookTable[64], *BishopTable[64];
extern u64 RookEmpty[64], BishopEmpty[64], QueenEmpty[64];

inline u64 RookAttacks(int sq, u64 occ) {
  return RookTable[sq][((occ & RookMask[sq]) * RookMagic[sq]) >> RookShift[sq]];
}
inline u64 BishopAttacks(int sq, u64 occ) {
  return BishopTable[sq][((occ & BishopMask[sq]) * BishopMagic[sq]) >> BishopShift[sq]];
}

extern u64 KingAttacks[64];
extern u64 KnightAttacks[64];
extern u64 PawnAttacks[2][64];

extern u64 RayNE[64], RayN[64], RayNW[64], RayE[64], RayW[64], RaySE[64], RayS[64], RaySW[64];
extern i8 Direction[64][64];
// RayBeyond[x][y]: the squares past x on the line from y through x; 0 when the two share no line.
extern u64 RayBeyond[64][64];
extern u64 Between[64][64];
extern u64 Rectangle[64][64];

extern u64 PassedMask[2][64];
extern u64 NotFile[8];
extern u64 RanksAbove[64], RanksBelow[64];
extern u64 AdjacentFiles[64];
extern u64 FileAbove[64], FileBelow[64];
extern u64 RowAbove[64], RowBelow[64];
extern u64 PawnSquareWhite[64], PawnSquareWhiteTempo[64];
extern u64 PawnSquareBlack[64], PawnSquareBlackTempo[64];
extern u64 EdgeOpposition[64];
constexpr u64 LightSquares = 0x55AA55AA55AA55AAULL;
constexpr u64 DarkSquares = 0xAA55AA55AA55AA55ULL;
extern u64 TrappedRookMask[4][3];

extern i32 KnightDistance[64][64];
extern u64 KnightStopsPawn[64][64];

extern u8 HighBit[256], LowBit[256], BitCount[256];
extern i32 ReverseBits[256];
extern i32 PawnFileClass[256];
extern u8 LowerCase[256];

// Weight of one square of a king's zone, by its nine-bit pattern; the values file may replace it.
extern i32 KingDangerPattern[384];

// The first table of the start-up: the default weights, 1, then 0, then 4 in the three thirds.
void SetDefaultKingDangerPattern();
void InitAttackTables();

// The slow ray walk behind the magic tables: the squares reached along the four steps (8, 1, -8, -1 for a rook),
// each ray stopping at the first square of `occ`; and the mask of the squares that can block, edges left out.
extern const int RookSteps[4], BishopSteps[4];
u64 SliderAttacksSlowly(int sq, const int steps[4], u64 occ);
u64 SliderMask(int sq, const int steps[4]);

// Is `sq` attacked by any piece of `side` (kings included, pawns diagonally only), with sliders stopped by `occ`?
inline bool IsAttackedThrough(int side, int sq, u64 occ) {
  const BoardRecord &b = thread_board;
  if (b.Pawns[side] & PawnAttacks[ChangeSide(side)][sq]) return true;
  if (b.Knights[side] & KnightAttacks[sq]) return true;
  if (b.Kings[side] & KingAttacks[sq]) return true;
  u64 lines = b.RooksQueens & b.Pieces[side];
  if ((RookEmpty[sq] & lines) && (RookAttacks(sq, occ) & lines)) return true;
  u64 diagonals = b.BishopsQueens & b.Pieces[side];
  return (BishopEmpty[sq] & diagonals) && (BishopAttacks(sq, occ) & diagonals);
}

inline bool IsAttacked(int side, int sq) { return IsAttackedThrough(side, sq, thread_board.Occupied); }

// Attacks of a piece kind known at compile time, for the per-piece generator loops.
template <int Piece>
inline u64 AttacksFrom(int sq, u64 occ) {
  if constexpr (Piece == KNIGHT) return KnightAttacks[sq];
  else if constexpr (Piece == BISHOP) return BishopAttacks(sq, occ);
  else if constexpr (Piece == ROOK) return RookAttacks(sq, occ);
  else if constexpr (Piece == QUEEN) return RookAttacks(sq, occ) | BishopAttacks(sq, occ);
  else return KingAttacks[sq];
}

// Castling as the generators test it: the right, an empty path, and the two king squares unattacked.
template <int Us, bool KingSide>
inline bool CastlingAllowed() {
  constexpr int home = Us == WHITE ? 4 : 60;
  constexpr int flag = (KingSide ? 1 : 2) << (Us == WHITE ? 0 : 2);
  constexpr u64 path = KingSide ? Bit(home + 1) | Bit(home + 2) : Bit(home - 1) | Bit(home - 2) | Bit(home - 3);
  constexpr int step = KingSide ? 1 : -1;
  const BoardRecord &b = thread_board;
  return (b.CastlingFlags & flag) && !(b.Occupied & path) && !IsAttacked(ChangeSide(Us), home + step) &&
         !IsAttacked(ChangeSide(Us), home + 2 * step);
}

template <int Us, bool KingSide>
constexpr u32 CastlingMove() {
  constexpr int home = Us == WHITE ? 4 : 60;
  return MakeMove(home, KingSide ? home + 2 : home - 2, KING, NONE);
}

// The squares that pawns of `side` on `pawns` attack.
constexpr u64 PawnHits(int side, u64 pawns) {
  return side == WHITE ? ((pawns << 7) & ~FILE_H) | ((pawns << 9) & ~FILE_A)
                       : ((pawns >> 9) & ~FILE_H) | ((pawns >> 7) & ~FILE_A);
}

// Every square that `side` attacks in the current position.
inline u64 AttackedSquares(int side) {
  const BoardRecord &b = thread_board;
  u64 attacked = PawnHits(side, b.Pawns[side]);
  for (u64 set = b.Knights[side]; set;) attacked |= KnightAttacks[PopLowest(set)];
  for (u64 set = b.BishopsQueens & b.Pieces[side]; set;) attacked |= BishopAttacks(PopLowest(set), b.Occupied);
  for (u64 set = b.RooksQueens & b.Pieces[side]; set;) attacked |= RookAttacks(PopLowest(set), b.Occupied);
  for (u64 set = b.Kings[side]; set;) attacked |= KingAttacks[PopLowest(set)];
  return attacked;
}
