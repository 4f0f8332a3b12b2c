// Basic vocabulary: squares, sides, piece codes and the move word.
#pragma once
#include <cstdint>
#include <initializer_list>

using u8 = uint8_t;
using u16 = uint16_t;
using u32 = uint32_t;
using u64 = uint64_t;
using i8 = int8_t;
using i16 = int16_t;
using i32 = int32_t;
using i64 = int64_t;

constexpr int WHITE = 0;
constexpr int BLACK = 1;
constexpr int ChangeSide(int side) { return side ^ 1; }

// Piece codes: sliders have bit 2 set, bit 0 = lines, bit 1 = diagonals.
constexpr int NONE = 0;
constexpr int KING = 1;
constexpr int KNIGHT = 2;
constexpr int PAWN = 3;
constexpr int ROOK = 5;
constexpr int BISHOP = 6;
constexpr int QUEEN = 7;

constexpr int MATE_SCORE = 32700;
constexpr int TB_WIN_SCORE = 31700;
constexpr int MATE_BOUND = 31000;
constexpr int UNKNOWN_SAFETY = 32700;
constexpr int MATERIAL_OVERFLOW = 531441;

constexpr int NODE_PV = 0;
constexpr int NODE_CUT = -1;
constexpr int NODE_ALL = 1;

// Move word: from 0-5, to 6-11, moved 12-14, captured 15-17, promotion 18-20.
constexpr int MoveFrom(u32 move) { return move & 63; }
constexpr int MoveTo(u32 move) { return (move >> 6) & 63; }
constexpr int MovedPiece(u32 move) { return (move >> 12) & 7; }
constexpr int CapturedPiece(u32 move) { return (move >> 15) & 7; }
constexpr int PromotionPiece(u32 move) { return (move >> 18) & 7; }
constexpr u32 MakeMove(int from, int to, int moved, int captured, int promotion = 0) {
  return u32(from) | u32(to) << 6 | u32(moved) << 12 | u32(captured) << 15 | u32(promotion) << 18;
}
constexpr bool IsCaptureOrPromotion(u32 move) { return (move >> 15) != 0; }
constexpr bool IsPawnDoubleStep(u32 move) {
  return MovedPiece(move) == PAWN && ((MoveFrom(move) ^ MoveTo(move)) & 8) == 0;
}
constexpr bool IsEnPassant(u32 move) {
  return MovedPiece(move) == PAWN && (move >> 15) == 0 && ((MoveFrom(move) ^ MoveTo(move)) & 1) != 0;
}

constexpr int FileOf(int sq) { return sq & 7; }
constexpr int RankOf(int sq) { return sq >> 3; }
constexpr u64 Bit(int sq) { return u64(1) << sq; }

inline int PopCount(u64 b) { return __builtin_popcountll(b); }
inline int LowestSquare(u64 b) { return __builtin_ctzll(b); }
inline int HighestSquare(u64 b) { return 63 - __builtin_clzll(b); }
inline int PopLowest(u64 &b) {
  int sq = __builtin_ctzll(b);
  b &= b - 1;
  return sq;
}
inline int PopHighest(u64 &b) {
  int sq = 63 - __builtin_clzll(b);
  b ^= Bit(sq);
  return sq;
}

constexpr u64 FILE_A = 0x0101010101010101ULL;
constexpr u64 FILE_H = FILE_A << 7;
constexpr u64 RANK_1 = 0xFFULL;
constexpr u64 RANK_8 = RANK_1 << 56;
constexpr u64 RankMask(int rank) { return RANK_1 << (8 * rank); }
constexpr u64 FileMask(int file) { return FILE_A << file; }
