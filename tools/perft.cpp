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

template <int Us>
void PerftAs(int depth) {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  const int start = MoveStackTop;
  // The node's attack map, as the evaluation leaves it in a search, spares most exchange tests.
  Ply++;
  PlyStack[Ply].Attacks[Them] = AttackedSquares(Them);
  GenerateCaptures(b.Pieces[Them]);
  GeneratePromotions();
  // A king can be taken: the move that led here was illegal.
  bool illegal = false;
  for (int i = start; i < MoveStackTop && !illegal; i++) illegal = CapturedPiece(MoveStack[i].Move) == KING;
  if (!illegal) {
    GenerateQuiets(1);
    DropCastlingOutOfCheck(start);
    const int end = MoveStackTop;
    for (int i = start; i < end; i++) {
      MakeMoveAs<Us>(MoveStack[i].Move, i == start);
      if (depth == 1)
        PerftCount += !IsAttacked(Them, b.KingSquare[Us]);
      else
        PerftAs<Them>(depth - 1);
      UnmakeMoveAs<Us>();
    }
  }
  MoveStackTop = start;
  Ply--;
}

}  // namespace

void Perft(int depth) { thread_board.SideToMove == WHITE ? PerftAs<WHITE>(depth) : PerftAs<BLACK>(depth); }

void RunPerft(int depth) {
  // No count that deep could finish; the cap keeps GameHistory and MoveStack within bounds.
  constexpr int MAX_PERFT_DEPTH = 32;
  if (depth > MAX_PERFT_DEPTH) depth = MAX_PERFT_DEPTH;
  const auto started = std::chrono::steady_clock::now();
  PerftCount = 0;
  const int savedPly = Ply;
  Ply = 0;
  if (depth >= 1) Perft(depth);
  Ply = savedPly;
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - started;
  printf("total moves = %lld time = %.2f\n", static_cast<long long>(PerftCount), seconds.count());
  fflush(stdout);
}
