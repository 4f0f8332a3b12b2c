// The FEN reader, and what the engine then does with the position it made: the board as text, the legal moves
// with their ordering scores, perft, the evaluation report and, for material that play could reach, a short
// search that plays a move.
#include <string>

#include "board/position.h"
#include "tests/fuzz/fuzz_session.h"
#include "tests/fuzz/fuzz_targets.h"

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
