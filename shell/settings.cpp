#include "shell/settings.h"

#include <cstring>

SettingsRecord Settings;
char TablebasePath[TB_PATH_SIZE];
u32 SearchMoves[SEARCH_MOVES_SIZE];
i32 RootScore[ROOT_SCORE_SIZE];
u64 KeyHistory[10];
i32 ScoreHistory[10], BookHistory[10];

void SetFirstDefaults() {
  SettingsRecord &s = Settings;
  s.OwnBook = 1;
  s.PendingBestMove = 0;
  s.MultiPV = 1;
  s.BookLearningDone = 1;
  s.Pondering = 1;
  s.PonderingOn = 1;
  s.UseEGTB = 1;
  s.PostThinking = 1;
  s.TimeLeft = -1;
  s.SearchDepthLimit = 998;
  std::strcpy(TablebasePath, "c:\\tablebases\\");
  // The window over the engine's moves starts as if after nine harmless moves.
  for (int i = 0; i < 9; i++) KeyHistory[i] = 0, ScoreHistory[i] = 100, BookHistory[i] = 1;
}

void SetSecondDefaults() {
  SettingsRecord &s = Settings;
  s.EvalCacheSize = 524288;
  s.TranspositionSize = 524288;
  s.PawnHashSize = 262144;
  s.Aggressivity = 100;
  s.Cowardice = 100;
  s.ResignValue = 800;
  s.ResignTimes = 3;
  s.AggressivityHalf = 50;
  s.CowardiceHalf = 50;
  s.BookLearningMode = 0;
  s.UseBookLearning = 1;
  s.UseBookWeights = 1;
  s.BookLearningBound = 400;
  s.VarietyOfPlay = 10;
}

void SetClockTimeLeft(i32 centiseconds) { Settings.TimeLeft = centiseconds < 0 ? 0 : centiseconds; }
