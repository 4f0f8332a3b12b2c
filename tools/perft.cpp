#include "tools/perft.h"

#include <chrono>
#include <cstdio>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"

i64 PerftCount;

namespace {

// The quiet generator leaves the in-check test of castling to its caller, and the king-capture
// test one ply later cannot see it: a king that castles out of check is never taken.
void DropCastlingOutOfCheck(int start) {
  const BoardRecord &b = thread_board;
  const int us = b.SideToMove;
  if (!(b.CastlingFlags & (us == WHITE ? 3 : 12)) || !IsAttacked(ChangeSide(us), b.KingSquare[us])) return;
  int kept = start;
  for (int i = start; i < MoveStackTop; i++) {
    const u32 move = MoveStack[i].Move;
    const bool castling = MovedPiece(move) == KING && (MoveFrom(move) - MoveTo(move) == 2 || MoveTo(move) - MoveFrom(move) == 2);
    if (!castling) MoveStack[kept++] = MoveStack[i];
  }
  MoveStackTop = kept;
}

}  // namespace

void Perft(int depth) {
  BoardRecord &b = thread_board;
  const int start = MoveStackTop;
  GenerateCaptures(b.Pieces[ChangeSide(b.SideToMove)]);
  GeneratePromotions();
  // A king can be taken: the move that led here was illegal.
  for (int i = start; i < MoveStackTop; i++)
    if (CapturedPiece(MoveStack[i].Move) == KING) {
      MoveStackTop = start;
      return;
    }
  GenerateQuiets(1);
  DropCastlingOutOfCheck(start);
  const int end = MoveStackTop;
  for (int i = start; i < end; i++) {
    make_move(MoveStack[i].Move, i == start);
    if (depth == 1) {
      const int mover = ChangeSide(b.SideToMove);
      PerftCount += !IsAttacked(b.SideToMove, b.KingSquare[mover]);
    } else {
      Perft(depth - 1);
    }
    unmake_move();
  }
  MoveStackTop = start;
}

void RunPerft(int depth) {
  // No count that deep could finish; the cap keeps GameHistory and MoveStack within bounds.
  constexpr int MAX_PERFT_DEPTH = 32;
  if (depth > MAX_PERFT_DEPTH) depth = MAX_PERFT_DEPTH;
  const auto started = std::chrono::steady_clock::now();
  PerftCount = 0;
  if (depth >= 1) Perft(depth);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - started;
  printf("total moves = %lld time = %.2f\n", static_cast<long long>(PerftCount), seconds.count());
  fflush(stdout);
}
