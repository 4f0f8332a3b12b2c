#include "think/think.h"

#include <cstdio>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "shell/engine.h"
#include "shell/settings.h"
#include "think/output.h"
#include "think/search_root.h"
#include "search/hash.h"
#include "shell/poll_input.h"
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

// Starts a search of the position on the board; true when the game is over at the root.
bool RunSearch() {
  SettingsRecord &s = Settings;
  s.SearchStartTime = ClockCentiseconds();
  thread_board.SearchStopped = 0;
  s.PonderReply = 0;
  s.NewGameRequested = 0;
  return SearchRoot(AllocateTime(), 1) != 0;
}

// Plays the opponent's move that arrived during a ponder or a probe; true when a search of the reply follows.
bool PlayReply() {
  SettingsRecord &s = Settings;
  if (s.PonderReply == 0) return false;
  MakeGameMove(u32(s.PonderReply));
  return !s.ForceMode;
}

enum class Next { Search, End };

// The xboard engine thinks on the opponent's time about the move it expects.
Next StartPondering() {
  SettingsRecord &s = Settings;
  LegalMoves(PONDER_LIST_START);
  s.PonderMoveListEnd = MoveStackTop;
  MoveStackTop = 0;
  s.PonderGuess = i32(HashMoveOfPosition());
  s.PonderActive = 1;
  s.PonderMiss = 0;
  if (s.PonderGuess == 0) {
    // No guess in the table: a short search finds one, ending after a second since the think began.
    const i32 post = s.PostThinking;
    s.PostThinking = 0;
    s.PonderProbe = 1;
    const bool over = SearchRoot(999, 1) != 0;
    s.PostThinking = post;
    if (over || s.NewGameRequested) return Next::End;
    if (s.PonderProbe || s.PonderMiss) {
      s.PonderProbe = 0;
      if (s.PonderMiss && PlayReply()) {
        s.PonderActive = 0;
        return Next::Search;
      }
      return Next::End;
    }
    s.PonderGuess = i32(MoveStack[0].Move);
    if (s.PonderGuess == 0) return Next::End;
  }
  char text[8];
  printf("Hint: %.4s\n", MoveText(text, u32(s.PonderGuess)));
  fflush(stdout);
  MakeGameMove(u32(s.PonderGuess));
  return Next::Search;
}

// Settles a search that has ended: the result in the protocol's form and the move on the board.
Next SettleSearch() {
  SettingsRecord &s = Settings;
  const int score = RootScore[0];
  if (s.PonderActive) {
    if (!s.PonderMiss) return Next::End;
    s.PonderActive = 0;
    TakeBackGameMove();
    return PlayReply() ? Next::Search : Next::End;
  }
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
  if (s.NewGameRequested) return Next::End;
  // Book learning from a decided score comes here, before the move is made.
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
  // Position learning after the move comes here.
  fflush(stdout);
  return s.PonderingOn ? StartPondering() : Next::End;
}

}  // namespace

void Think() {
  SettingsRecord &s = Settings;
  s.PonderMove = 0;
  s.PonderProbe = 0;
  for (;;) {
    if (RunSearch()) {
      // A guess that ends the game is taken back: the opponent's real move comes to the board as it was.
      if (s.PonderActive) TakeBackGameMove();
      s.PonderActive = 0;
      // The game-end texts are quiet in UCI mode, but a GUI waits for its one bestmove.
      if (s.UciMode) printf("bestmove 0000\n");
      fflush(stdout);
      return;
    }
    if (SettleSearch() == Next::End) break;
  }
  s.PonderActive = 0;
  if (s.NewGameRequested) NewGame();
}
