#include "shell/engine.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/position.h"
#include "book/book_file.h"
#include "book/book_keys.h"
#include "book/book_learning.h"
#include "book/learn_file.h"
#include "eval/values.h"
#include "shell/commands.h"
#include "shell/input.h"
#include "search/hash.h"
#include "search/repetition.h"
#include "search/statistics.h"
#include "shell/settings.h"
#include "shell/settings_file.h"
#include "tablebase/tablebase.h"

namespace {

const char *OnOff(int value) { return value ? "on" : "off"; }

void PrintConfiguration() {
  const SettingsRecord &s = Settings;
  printf("Transposition size is %d entries (%lld bytes)\n", s.TranspositionSize, s.TranspositionSize * 26LL);
  printf("Pawn hash size is %d entries (%lld bytes)\n", s.PawnHashSize, s.PawnHashSize * 34LL);
  printf("Aggressivity = %d (%d)%%\nCowardice = %d (%d)%%\n", s.Aggressivity, s.AggressivityHalf, s.Cowardice,
         s.CowardiceHalf);
  printf("ResignValue = %d\nResignTimes = %d\n", s.ResignValue, s.ResignTimes);
  printf("UseEGTB = %s\n", OnOff(s.UseEGTB));
  printf("EGTB path = \"%s\"\n", TablebasePath);
  printf("UseBookWeights = %s\n", OnOff(s.UseBookWeights));
  printf("UseBookLearning = %s\n", OnOff(s.UseBookLearning));
  printf("BookLearningMode = %s\n", s.BookLearningMode ? "DISCOVER" : "KILL");
  printf("VarietyOfPlay = %d\nBookLearningBound = %d\n", s.VarietyOfPlay, s.BookLearningBound);
  printf("UseLearning = %s\n", OnOff(s.UseLearning));
  printf("UseLearningData = %s\n", OnOff(s.UseLearningData));
  printf("LogLearningIntoFile = %s\n", OnOff(s.LogLearningIntoFile));
  printf("Pondering = %s\n\n", OnOff(s.Pondering));
  fflush(stdout);
}

}  // namespace

void StartEngine() {
  SetFirstDefaults();
  printf("%s\n", VERSION_LINE);
  SetDefaultKingDangerPattern();
  InitRandomKeys();
  InitBookKeys();
  InitAttackTables();
  LoadEvaluationTables();
  ClearCaptureStatistics();
  StartFromSettings();
}

void StartFromSettings() {
  SetSecondDefaults();
  ReadSettings();
  AllocateTables();
  BuildRepetitionTable();  // needs the keys, the attack tables and its block
  std::srand(unsigned(std::time(nullptr)));
  // A book named by the settings file that opened keeps the default from being tried.
  if (!Settings.BookLoaded) OpenBook(DEFAULT_BOOK);
  PrintConfiguration();
  if (Settings.UseLearning || Settings.UseLearningData) OpenLearnFile(LEARN_FILE_NAME);
  Settings.PostThinking = 1;
  Settings.TimeLeft = -1;
  if (Settings.UseEGTB) InitTablebases(TablebasePath);
  Settings.TbPiecesInUse = Settings.UseEGTB ? Settings.TbMaxPieces : 0;
  NewGame();
}

void CloseOldGame(bool onlyUndecided, bool learnBook) {
  SettingsRecord &s = Settings;
  // An unfinished game with the opponent's move last counts as a draw, learnt with the engine to move.
  if (learnBook && BookGameOpen() && thread_board.SideToMove != s.RootSide && GameHistoryCount > GameHistoryFloor &&
      (!onlyUndecided || RootScore[0] == 0)) {
    TakeBackGameMove();
    BookLearnGame(BOOK_DRAW);
  }
  ClearHistoryTable();
  ClearKillers();
  Settings.LastScore = Settings.LastScoreSide = 0;
  Settings.BookLearningDone = 0;
}

void NewGame(bool learnBook) {
  SettingsRecord &s = Settings;
  if (!s.FritzMode && !s.UciMode) CloseOldGame(false, learnBook);
  SetStartPosition();
  s.SearchDepthLimit = 998;
  s.FixedMoveTime = 0;
  s.MateLimit = 0;
  s.ForceMode = 0;
}

bool TakeCommandLine() {
  CommandLine[0] = '\0';
  while (!TakeLine(CommandLine))
    if (!ReadInput()) return false;
  return true;
}

void RunOuterLoop() {
  while (TakeCommandLine()) ProcessCommand();
  // The input has closed for good: nothing more can come.
  quit(0);
}
