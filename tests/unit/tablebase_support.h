// Where the tablebase tests find their tables, and the position set-up the probes expect.
#pragma once
#include <sys/stat.h>

#include <cstdlib>
#include <string>

#include "board/attacks.h"
#include "board/position.h"
#include "tablebase/tablebase.h"

// The full set of 3- and 4-man tables beside the repository, or "" when this machine hasn't got it.
inline std::string SharedSyzygyDir() {
  const char *fromEnvironment = std::getenv("QUARVELLE_SYZYGY_DIR");
  const std::string dir = fromEnvironment && *fromEnvironment ? fromEnvironment : QUARVELLE_SYZYGY_DIR;
  struct stat info;
  const std::string probe = dir + "/KQvKR.rtbw";
  return stat(probe.c_str(), &info) == 0 ? dir : "";
}

// KQvK, KRvK, KPvK and KBvK, kept in the repository so that some probes always run.
inline std::string TinySyzygyDir() { return std::string(QUARVELLE_TESTDATA_DIR) + "/syzygy"; }

inline void SetCheckFlag(int ply) {
  const BoardRecord &b = thread_board;
  PlyStack[ply].InCheck = IsAttacked(ChangeSide(b.SideToMove), b.KingSquare[b.SideToMove]);
}

// A position as the search hands it to a probe: Ply 1 with its check flag, an empty move stack below.
inline void SetUpProbe(const char *fen) {
  LoadFen(fen);
  MoveStackTop = 0;
  Ply = 1;
  SetCheckFlag(1);
}
