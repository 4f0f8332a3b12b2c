#include "shell/poll_input.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/board.h"
#include "board/position.h"
#include "shell/commands.h"
#include "shell/engine.h"
#include "shell/input.h"
#include "shell/settings.h"
#include "think/time_control.h"

namespace {

// Apart from CommandLine: the interpreter's line may still be in use below the search.
char PollLine[INPUT_BUFFER_SIZE];

constexpr u32 FROM_TO_PROMOTION = 0x3F | 0x3F << 6 | 7 << 18;

// A command that ends a ponder search drops the guess: the think driver takes the miss.
void DropPonder() {
  if (Settings.PonderActive) {
    Settings.PonderReply = 0;
    Settings.PonderMiss = 1;
  }
}

void StopSearch() { thread_board.SearchStopped = 1; }

void PrintStat01() {
  const SettingsRecord &s = Settings;
  char text[8];
  // The move in progress counts as still to come; the last field is one more than the root moves.
  printf("stat01: %d %d %d %d %d %s\n", ElapsedCentiseconds(), s.Nodes, s.Iteration + 1,
         s.RootMoveCount - s.RootMoveIndex, s.RootMoveCount + 1, MoveText(text, GameHistory[s.RootPly].Move));
  fflush(stdout);
}

// A move typed or sent during the search. It is only stored: the board belongs to the search.
void TakeMove(const char *line) {
  SettingsRecord &s = Settings;
  s.PonderReply = i32(FindLegalReply(ParseMoveText(line)));
  if (s.PonderReply == 0) {
    printf("Illegal move: %s\n", line);
    fflush(stdout);
    s.PonderMiss = 1;
    return StopSearch();
  }
  if (!s.PonderActive) return StopSearch();  // analysis, or a move during the engine's own thinking
  if (u32(s.PonderReply) != u32(s.PonderGuess)) {
    s.PonderMiss = 1;
    return StopSearch();
  }
  s.PonderActive = 0;  // the guess was right: the search goes on as the search for the move
}

// One line; false when it ends the work of this poll.
bool ServeLine(const char *line) {
  SettingsRecord &s = Settings;
  const char c = line[0];
  // The order is the language: the first fit takes a prefix ("s" is stop, "n" new, "e" exit).
  if (c == '?' || MatchKeyword("stop", line)) {
    DropPonder();
    s.UciPonder = 0;
    StopSearch();
    return false;
  }
  if (c == '.') {
    PrintStat01();
    return false;
  }
  if (MatchKeyword("isready", line)) {
    printf("readyok\n");
    fflush(stdout);
    return true;
  }
  if (MatchKeyword("ponderhit", line)) {
    s.UciPonder = 0;  // the search goes on, now under the clock
    return true;
  }
  if (MatchKeyword("undo", line)) {
    s.AnalyzeUndo = 1;
    StopSearch();
    return false;
  }
  if (MatchKeyword("exit", line)) {
    s.AnalyzeExit = 1;
    StopSearch();
    return false;
  }
  if (MatchKeyword("new", line)) {
    DropPonder();
    StopSearch();
    s.NewGameRequested = 1;
    return false;
  }
  if (MatchKeyword("result", line)) {
    DropPonder();
    StopSearch();
    return false;
  }
  if (MatchKeyword("post", line)) {
    s.PostThinking = 1;
    DropPonder();
    StopSearch();
    return false;
  }
  if (MatchKeyword("nopost", line)) {
    s.PostThinking = 0;
    DropPonder();
    StopSearch();
    return false;
  }
  if (c == 'q') quit(0);
  if (MatchKeyword("force", line)) {
    DropPonder();
    s.ForceMode = 1;
    StopSearch();
    return false;
  }
  if (MatchKeyword("hard", line)) {
    DropPonder();
    if (s.Pondering) s.PonderingOn = 1;
    StopSearch();
    return false;
  }
  if (MatchKeyword("easy", line)) {
    s.PonderingOn = 0;
    DropPonder();
    StopSearch();
    return false;
  }
  if (MatchKeyword("time", line)) {
    // The number stands at offset 5; a shorter line reads as 0.
    SetClockTimeLeft(std::atoi(line + std::min<size_t>(5, std::strlen(line))));
    if (s.PonderActive) return true;
    StopSearch();
    return false;
  }
  if (MatchKeyword("otim", line)) return true;
  if (IsMoveText(line)) {
    TakeMove(line);
    return false;
  }
  return true;  // anything else is dropped: it doesn't wait for the search to end
}

}  // namespace

u32 FindLegalReply(u32 move) {
  for (int i = PONDER_LIST_START; i < Settings.PonderMoveListEnd; i++)
    if (((MoveStack[i].Move ^ move) & FROM_TO_PROMOTION) == 0) return MoveStack[i].Move;
  return 0;
}

void PollInput() {
  for (;;) {
    const i32 read = ReadLine(false, PollLine);
    if (read == 0) return;
    if (read < 0) {
      // The GUI has gone: the search ends as on a stop, and the interpreter then meets the end of the input.
      DropPonder();
      Settings.UciPonder = 0;
      return StopSearch();
    }
    if (!ServeLine(PollLine)) return;
  }
}
