#include "think/think.h"

#include <cstdio>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "shell/engine.h"
#include "shell/settings.h"
#include "think/output.h"
#include "think/search_root.h"
#include "think/time_control.h"

namespace {

// The window over the engine's last ten moves, newest last.
void RememberMove(int score) {
  for (int i = 0; i < 9; i++) {
    KeyHistory[i] = KeyHistory[i + 1];
    ScoreHistory[i] = ScoreHistory[i + 1];
    BookHistory[i] = BookHistory[i + 1];
  }
  KeyHistory[9] = thread_board.PositionKey;
  BookHistory[9] = Settings.BookMovePlayed;
  // With one legal move there was no search: the last score stands.
  if (MoveStackTop != 1) ScoreHistory[9] = score;
}

// Resigns after ResignTimes own moves of this game in a row below -ResignValue.
void TestResignation() {
  int count = 0;
  for (int i = 9, ply = GameHistoryCount; i >= 0 && ply >= 0; i--, ply -= 2) {
    const u64 key = ply == GameHistoryCount ? thread_board.PositionKey : GameHistory[ply].Key;
    if (key != KeyHistory[i] || ScoreHistory[i] >= -Settings.ResignValue) break;
    count++;
  }
  if (count >= Settings.ResignTimes) printf("resign\n");
}

}  // namespace

void Think() {
  SettingsRecord &s = Settings;
  s.PonderMove = 0;
  s.PonderProbe = 0;
  s.SearchStartTime = ClockCentiseconds();
  thread_board.SearchStopped = 0;
  s.PonderReply = 0;
  s.NewGameRequested = 0;
  const int maxDepth = AllocateTime();
  if (SearchRoot(maxDepth, 1)) {
    s.PonderActive = 0;
    // The game-end texts are quiet in UCI mode, but a GUI waits for its one bestmove.
    if (s.UciMode) printf("bestmove 0000\n");
    fflush(stdout);
    return;
  }
  const int score = RootScore[0];
  s.LastScore = score;
  s.LastScoreSide = s.RootSide;
  if (!s.BookMovePlayed) {
    if (!s.UciMode) {
      printf("%d %d %d %d", s.Iteration + 1, ShownScore(score), ElapsedCentiseconds(), s.Nodes);
      PrintVariation(0);
      printf("\n");
    } else if (s.MultiPV < 2) {
      PrintInfo(1, 3, 1);
    }
    fflush(stdout);
  }
  if (s.NewGameRequested) {
    s.PonderActive = 0;
    NewGame();
    return;
  }
  const u32 move = MoveStack[0].Move;
  char text[8];
  if (!s.UciPonder) {
    MakeGameMove(move);
    RememberMove(score);
  }
  if (s.UciMode) {
    s.PendingBestMove = i32(move);
    if (!s.UciPonder) {
      printf("bestmove %s", MoveText(text, move));
      if (s.PonderMove && IsLegal(u32(s.PonderMove))) printf(" ponder %s", MoveText(text, u32(s.PonderMove)));
      printf("\n");
    }
  } else {
    TestResignation();
    printf("move %s\n", MoveText(text, move));
  }
  fflush(stdout);
  // Pondering after the move joins here.
  s.PonderActive = 0;
  if (s.NewGameRequested) NewGame();
}
