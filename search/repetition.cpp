#include "search/repetition.h"

#include <cstdio>
#include <cstring>
#include <utility>

#include "board/attacks.h"
#include "board/board.h"
#include "board/position.h"

RepetitionSlot *RepetitionTable;

namespace {

constexpr u64 SLOT_MASK = REPETITION_SLOTS - 1;

// (a, b) and (b, a) give the same key and share one index; the later one stands.
void AddMove(int a, int b, int code) {
  for (int side : {WHITE, BLACK}) {
    const u64 key = PieceKeys[side][code][a] ^ PieceKeys[side][code][b];
    const i16 move = i16(a | b << 6 | code << 12);
    RepetitionSlot &slot = RepetitionTable[key & SLOT_MASK];
    int index = 0;
    while (index < 4 && slot.Moves[index] != 0 && slot.Keys[index] != key) index++;
    if (index == 4) {
      char text[3][8];
      std::printf("[%d: %s, prev: %s, %s]", int(key & SLOT_MASK), MoveText(text[0], u32(u16(move))),
                  MoveText(text[1], u32(u16(slot.Moves[0]))), MoveText(text[2], u32(u16(slot.Moves[1]))));
      continue;
    }
    slot.Keys[index] = key;
    slot.Moves[index] = move;
  }
}

// Each target with `code`, and with `alsoCode` right after it when that is not 0.
void AddTargets(int a, u64 targets, int code, int alsoCode = 0) {
  for (u64 set = targets; set;) {
    const int b = PopLowest(set);
    AddMove(a, b, code);
    if (alsoCode) AddMove(a, b, alsoCode);
  }
}

// A capture, a promotion, a pawn move or a null move (0) cuts the chain of reversible positions.
bool Irreversible(u32 move) { return move == 0 || IsCaptureOrPromotion(move) || MovedPiece(move) == PAWN; }

// The stored move read from `from` to `to`, if the side to move can make it on the present board.
bool CanMove(int from, int to, int code) {
  const BoardRecord &b = thread_board;
  return b.Board[from] == code && b.Board[to] == NONE && (b.Pieces[b.SideToMove] & Bit(from));
}

}  // namespace

void BuildRepetitionTable() {
  std::memset(static_cast<void *>(RepetitionTable), 0, REPETITION_TABLE_BYTES);
  for (int a = 0; a < 64; a++) {
    AddTargets(a, KingAttacks[a], KING);
    AddTargets(a, KnightAttacks[a], KNIGHT);
    AddTargets(a, BishopEmpty[a], BISHOP, QUEEN);
    AddTargets(a, RookEmpty[a], ROOK, QUEEN);
  }
}

u32 ReversibleMoveBack(u64 difference) {
  const RepetitionSlot &slot = RepetitionTable[difference & SLOT_MASK];
  for (int index = 0; index < 4 && slot.Moves[index] != 0; index++) {
    if (slot.Keys[index] != difference) continue;
    const int packed = u16(slot.Moves[index]);
    int from = packed & 63, to = (packed >> 6) & 63;
    const int code = packed >> 12;
    // The table holds one direction of the pair; the other is read by exchanging the squares.
    if (!CanMove(from, to, code)) {
      std::swap(from, to);
      if (!CanMove(from, to, code)) return 0;
    }
    if (thread_board.Occupied & Between[to][from]) return 0;  // a slider's way is blocked
    return MakeMove(from, to, code, NONE);
  }
  return 0;
}

int IsRepetition(int upcoming) {
  const BoardRecord &b = thread_board;
  if (b.ReversibleMoves >= 100) return 1;
  // The walk stops at index 0 by itself: after MakeGameMove has trimmed GameHistory to its latest
  // entries, ReversibleMoves can exceed GameHistoryCount, so it must never bound the walk.
  const int n = GameHistoryCount;
  if (n < 3) return 0;
  const u64 key = b.PositionKey;
  u64 opponentMoves = GameHistory[n - 1].Key ^ key;
  int i = n - 3;
  for (;;) {
    if (upcoming) {
      // When the opponent's moves since E(i) cancel, one move of ours may lead back to it.
      opponentMoves ^= GameHistory[i].Key ^ GameHistory[i + 1].Key;
      if (opponentMoves == 0 && ReversibleMoveBack(key ^ GameHistory[i].Key)) return 1;
    }
    if (i < 1 || Irreversible(GameHistory[i - 1].Move)) return 0;
    if (key == GameHistory[i - 1].Key) return 1;
    if (i < 2) return 0;
    i -= 2;
    if (Irreversible(GameHistory[i].Move)) return 0;
  }
}
