#include "tools/demo.h"

#include <cstdio>

#include "board/board.h"
#include "board/position.h"
#include "shell/input.h"
#include "shell/settings.h"
#include "think/root_prep.h"
#include "think/think.h"

namespace {

// True when the game goes on after the engine's move; Think makes no move when the game is over at the root.
bool PlayMove() {
  SettingsRecord &s = Settings;
  const i32 before = GameHistoryCount;
  s.UciPonder = 0;
  s.SearchMovesCount = 0;
  Think();
  if (GameHistoryCount == before) return false;
  return !IsBareKingDraw() && !IsThreefold() && !IsFiftyMoveDraw();
}

}  // namespace

void Demo(const char *path) {
  FILE *openings = std::fopen(path, "r");
  if (!openings) return;
  SettingsRecord &s = Settings;
  const i32 pondering = s.PonderingOn;
  s.PonderingOn = 0;
  char line[256];
  // Once the input has ended every search stops at its first look at the input: no game is worth playing.
  for (int games = 1; !InputEnded() && std::fgets(line, 255, openings); games++) {
    LoadFen(line);
    printf("-------------- Game #%d --------------\n", games);
    fflush(stdout);
    while (PlayMove() && !InputEnded()) {
    }
  }
  s.PonderingOn = pondering;
  std::fclose(openings);
}
