#include "think/output.h"

#include <cstdio>
#include <cstdlib>

#include "board/makemove.h"
#include "board/position.h"
#include "search/hash.h"
#include "shell/settings.h"
#include "think/time_control.h"

namespace {

constexpr int VARIATION_LENGTH = 20;
i32 LastInfoNodes;

void PrintMove(u32 move) {
  char text[8];
  printf(" %s", MoveText(text, move));
}

void PrintScore(int v) {
  if (v > MATE_BOUND)
    printf("mate %d ", (32701 - v) >> 1);
  else if (v < -MATE_BOUND)
    printf("mate -%d ", (v + 32701) >> 1);
  else
    printf("cp %d ", v);
}

}  // namespace

int ShownScore(int score) { return std::abs(score) > MATE_BOUND ? (score > 0 ? score + 67 : score - 67) : score; }

void PrintVariation(int index) {
  const u32 first = MoveStack[index].Move;
  PrintMove(first);
  // A root move may stand on the board: the walk starts from the root itself.
  u32 rootMove = 0;
  if (GameHistoryCount > Settings.RootPly) {
    rootMove = GameHistory[GameHistoryCount - 1].Move;
    unmake_move();
  }
  make_move(first, 1);
  int made = 1;
  for (; made < VARIATION_LENGTH && Settings.TranspositionSize; made++) {
    TranspositionEntry *entry = FindHashEntry();
    const u32 move = entry ? entry->Info & 0x1FFFFF : 0;
    if (!move) break;
    entry->Age = Settings.HashAge;
    if (GameHistoryCount == Settings.RootPly + 1) Settings.PonderMove = i32(move);
    make_move(move, 1);
    PrintMove(move);
  }
  while (made--) unmake_move();
  if (rootMove) make_move(rootMove, 1);
}

void PrintInfo(int force, int bound, int withVariation) {
  const SettingsRecord &s = Settings;
  if (s.Nodes != 0 && s.Nodes - LastInfoNodes < 30001 && !force && s.Iteration < 2) return;
  int v = RootScore[0];
  if (s.MateLimit && ((32701 - v) >> 1) != s.MateLimit) v = 0;
  LastInfoNodes = s.Nodes;
  printf("info depth %d seldepth %d score ", s.Iteration + 1, s.SelDepth);
  PrintScore(v);
  if (bound == 1) printf("upperbound ");
  if (bound == 2) printf("lowerbound ");
  const i64 elapsed = ElapsedCentiseconds();
  const i64 nps = elapsed < 1 ? 0 : i64(s.Nodes) * 100 / elapsed;
  printf("nodes %d time %lld hashfull %d nps %lld tbhits %d", s.Nodes, static_cast<long long>(elapsed * 10),
         HashFull(), static_cast<long long>(nps), s.TbHits);
  if (withVariation) {
    printf(" pv");
    PrintVariation(0);
  } else {
    char text[8];
    printf(" currmove %s currmovenumber %d", MoveText(text, MoveStack[s.RootMoveIndex].Move), s.RootMoveIndex + 1);
  }
  printf("\n");
  Settings.InfoCountdown = s.TimeCheckInterval > 0 ? 100000 / s.TimeCheckInterval : 0;
  fflush(stdout);
}

void PrintThinking(int force) {
  const SettingsRecord &s = Settings;
  if (!s.PostThinking) return;
  if (!force && s.Nodes != 0 && s.Nodes <= 100000 && s.Iteration < 2) return;
  printf("%d %d %d %d", s.Iteration + 1, ShownScore(RootScore[0]), ElapsedCentiseconds(), s.Nodes);
  PrintVariation(0);
  printf("\n");
  fflush(stdout);
}

void PrintMultiPvInfo(int line, int bound) {
  const SettingsRecord &s = Settings;
  if (s.Nodes != 0 && s.Nodes < 50001) return;
  const i64 elapsed = ElapsedCentiseconds();
  const i64 nps = elapsed < 1 ? 0 : i64(s.Nodes) * 100 / elapsed;
  char text[8];
  for (int j = 0; j < s.MultiPV && j < MoveStackTop; j++) {
    printf("info multipv %d depth %d seldepth %d score ", j + 1, s.Iteration + 1, s.SelDepth);
    PrintScore(RootScore[j]);
    if (j == line && bound == 1) printf("upperbound ");
    if (j == line && bound == 2) printf("lowerbound ");
    printf("nodes %d time %lld hashfull %d nps %lld tbhits %d currmove %s currmovenumber %d pv", s.Nodes,
           static_cast<long long>(elapsed * 10), HashFull(), static_cast<long long>(nps), s.TbHits,
           MoveText(text, MoveStack[s.RootMoveIndex].Move), s.RootMoveIndex + 1);
    PrintVariation(j);
    printf("\n");
  }
  Settings.InfoCountdown = s.TimeCheckInterval > 0 ? 100000 / s.TimeCheckInterval : 0;
  fflush(stdout);
}
