#include "board/board.h"

#include "board/mt19937_64.h"

BoardRecord thread_board;
MoveEntry MoveStack[MOVE_STACK_SIZE];
i32 MoveStackTop;
GameHistoryEntry GameHistory[GAME_HISTORY_SIZE];
i32 GameHistoryCount;
i32 GameHistoryFloor;
i32 Ply;
PlyRecord PlyStack[PLY_STACK_SIZE];

u64 PieceKeys[2][8][64];
u64 CastlingKeys[16];
u64 EnPassantKeys[8];

void InitRandomKeys() {
  static const u64 seed[4] = {0x12345, 0x23456, 0x34567, 0x45678};
  Mt19937_64 generator;
  generator.SeedByArray(seed, 4);
  // The learning file finds its records by these keys: the order of draws is fixed.
  static const int drawOrder[6] = {PAWN, KNIGHT, BISHOP, ROOK, QUEEN, KING};
  for (int sq = 0; sq < 64; sq++)
    for (int piece : drawOrder) {
      PieceKeys[WHITE][piece][sq] = generator.Next();
      PieceKeys[BLACK][piece][sq] = generator.Next();
    }
  for (u64 &key : CastlingKeys) key = generator.Next();
  for (u64 &key : EnPassantKeys) key = generator.Next();
}

u64 FullKey() {
  const BoardRecord &b = thread_board;
  u64 key = b.PositionKey;
  if (LastMoveWasDoubleStep()) {
    int t = MoveTo(GameHistory[GameHistoryCount - 1].Move);
    u64 beside = 0;
    if (FileOf(t) != 0) beside |= Bit(t - 1);
    if (FileOf(t) != 7) beside |= Bit(t + 1);
    if (beside & b.Pawns[b.SideToMove]) key ^= EnPassantKeys[t & 7];
  }
  return key ^ CastlingKeys[b.CastlingFlags];
}
