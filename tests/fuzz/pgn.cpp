// The PGN reader with the engine's own use of it: every game of the input is played through as pgneval does,
// moves matched in SAN against the legal moves, positions from FEN tags, samples written to my_eval.csv.
#include <cstdio>

#include "tests/fuzz/fuzz_session.h"
#include "tests/fuzz/fuzz_targets.h"
#include "tools/pgn_eval.h"

int FuzzPgn(const uint8_t *data, size_t size) {
  if (size == 0) return 0;  // fmemopen takes no empty buffer
  ResetEngine();
  FILE *pgn = fmemopen(const_cast<uint8_t *>(data), size, "rb");
  if (!pgn) return 0;
  // A token too long for a move ends the program: the file stays ours to close.
  RunSession([pgn] { EvaluatePgnGames(pgn); });
  std::fclose(pgn);
  return 0;
}
