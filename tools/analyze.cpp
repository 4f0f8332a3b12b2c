#include "tools/analyze.h"

#include <cstdio>
#include <cstring>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "shell/commands.h"
#include "shell/engine.h"
#include "shell/input.h"
#include "shell/poll_input.h"
#include "shell/settings.h"
#include "think/search_root.h"
#include "think/time_control.h"

namespace {

constexpr i32 ANALYSIS_CHECK_INTERVAL = 50000;
// Not the timed depth: the search never stops on the clock.
constexpr int ANALYSIS_DEPTH = 100;
static_assert(ANALYSIS_DEPTH != TIMED_SEARCH_DEPTH);

bool StartsWith(const char *line, const char *keyword) { return std::strncmp(line, keyword, std::strlen(keyword)) == 0; }

enum class Wait { Search, Leave };

// The search has ended by itself: mate found, no legal move, or the last depth. Lines are taken until one
// asks for something.
Wait AwaitCommand() {
  for (;;) {
    if (ReadLine(true, CommandLine) < 0) return Wait::Leave;
    const char *line = CommandLine;
    if (line[0] == '.') {
      printf("stat01: 0 0 0 0 0\n");
      fflush(stdout);
      continue;
    }
    if (line[0] == 'q') quit(0);
    if (StartsWith(line, "exit")) return Wait::Leave;
    if (StartsWith(line, "new")) {
      NewGame();
    } else if (StartsWith(line, "undo")) {
      TakeBackGameMove();
    } else if (IsMoveText(line)) {
      const u32 move = ParseMoveText(line);
      if (move && IsLegal(move)) {
        printf("move maked...\n");
        fflush(stdout);
        MakeGameMove(move);
      } else {
        printf("Illegal move: %s\n", line);
        fflush(stdout);
      }
    }
    return Wait::Search;
  }
}

}  // namespace

void Analyze() {
  SettingsRecord &s = Settings;
  for (;;) {
    thread_board.SearchStopped = 0;
    s.TargetTime = s.HardTimeLimit = NO_CLOCK_TIME;
    s.TimeCheckInterval = ANALYSIS_CHECK_INTERVAL;
    s.NewGameRequested = s.AnalyzeExit = s.AnalyzeUndo = s.PonderReply = 0;
    // The legal moves, for a move typed during the search.
    LegalMoves(PONDER_LIST_START);
    s.PonderMoveListEnd = MoveStackTop;
    MoveStackTop = 0;
    s.SearchStartTime = ClockCentiseconds();
    SearchRoot(ANALYSIS_DEPTH, 0);
    // The move was found in the list of legal moves.
    if (s.PonderReply) {
      MakeGameMove(u32(s.PonderReply));
      continue;
    }
    if (s.NewGameRequested) {
      NewGame();
      continue;
    }
    if (s.AnalyzeExit) return;
    if (s.AnalyzeUndo && GameHistoryCount > GameHistoryFloor) {
      TakeBackGameMove();
      continue;
    }
    if (thread_board.SearchStopped) {
      // Stopped by a line that asks nothing of this loop, or by the end of the input.
      if (InputEnded()) return;
      continue;
    }
    if (AwaitCommand() == Wait::Leave) return;
  }
}
