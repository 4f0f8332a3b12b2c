// The FEN reader, and what the engine then does with the position it made: the board as text, the legal moves
// with their ordering scores, perft, the evaluation report and, for material that play could reach, a short
// search that plays a move. Beyond it, as with sixteen rooks a side, the captures of a quiescence search make
// trees of millions of nodes, which the search by its design doesn't interrupt.
#include <algorithm>
#include <string>

#include "board/board.h"
#include "board/position.h"
#include "tests/fuzz/fuzz_session.h"
#include "tests/fuzz/fuzz_targets.h"

namespace {

// No side holds more pawns and promoted pieces together than the eight pawns it began with.
bool MaterialPlayCouldReach() {
  const BoardRecord &b = thread_board;
  for (int side : {WHITE, BLACK}) {
    auto beyond = [&](int piece, int start) { return std::max(b.PieceCount[piece][side] - start, 0); };
    const int promoted = beyond(QUEEN, 1) + beyond(ROOK, 2) + beyond(BISHOP, 2) + beyond(KNIGHT, 2);
    if (b.PieceCount[PAWN][side] + promoted > 8) return false;
  }
  return true;
}

}  // namespace

int FuzzFen(const uint8_t *data, size_t size) {
  ResetEngine();
  const std::string fen(reinterpret_cast<const char *>(data), size);
  RunSession([&fen] {
    LoadFen(fen.c_str());
    char text[100];
    PositionText(text);
    for (const char *command : {"brd", "moves", "perft 2", "evl"}) RunCommand(command);
    if (!MaterialPlayCouldReach()) return;
    for (const char *command : {"easy", "sd 3", "go"}) RunCommand(command);
  });
  return 0;
}
