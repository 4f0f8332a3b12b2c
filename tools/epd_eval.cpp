#include "tools/epd_eval.h"

#include <cstdio>

#include "board/position.h"
#include "eval/eval.h"
#include "shell/settings.h"

void EvaluateEpdFile(const char *path) {
  FILE *in = std::fopen(path, "r");
  if (!in) return;  // a missing file ends the command quietly
  FILE *out = std::fopen("out.epd", "w");
  if (!out) {
    std::fclose(in);
    return;
  }
  char line[256];
  while (std::fgets(line, 255, in)) {
    LoadFen(line);
    Settings.RootSide = thread_board.SideToMove;
    i32 score = -MATE_SCORE;
    Evaluate(&score, MATE_SCORE);
    // The score follows the line as it was read, line end included.
    std::fprintf(out, "%s;%d\n", line, score);
  }
  std::fclose(out);
  std::fclose(in);
}
