// Evaluations per second of CPU time over positions from seeded random games, with the pawn hash warm and then
// cold. CPU time, so that other work on a shared machine doesn't count. Run from the repository root, so that
// values.txt is found: build/eval_bench [positions]
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "eval/eval.h"
#include "eval/values.h"
#include "search/hash.h"
#include "shell/settings.h"

namespace {

struct Snapshot {
  BoardRecord board;
  GameHistoryEntry last;
  i32 historyCount;
};

// Positions along random games from the start, kept as whole records so that loading costs nothing.
std::vector<Snapshot> RandomPositions(int count) {
  std::mt19937 random(12345);
  std::vector<Snapshot> positions;
  while (int(positions.size()) < count) {
    SetStartPosition();
    for (int ply = 0; ply < 120 && int(positions.size()) < count; ply++) {
      LegalMoves(0);
      if (MoveStackTop == 0) break;
      MakeGameMove(MoveStack[random() % MoveStackTop].Move);
      positions.push_back({thread_board, GameHistory[GameHistoryCount - 1], GameHistoryCount});
    }
  }
  return positions;
}

double CpuSeconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return double(now.tv_sec) + 1e-9 * double(now.tv_nsec);
}

// Cold: without a table every evaluation works out its pawn structure afresh.
double EvaluationsPerSecond(const std::vector<Snapshot> &positions, bool coldPawnHash, int rounds) {
  const i32 tableSize = Settings.PawnHashSize;
  if (coldPawnHash) Settings.PawnHashSize = 0;
  i64 sum = 0, evaluations = 0;
  const double start = CpuSeconds();
  for (int round = 0; round < rounds; round++)
    for (const Snapshot &position : positions) {
      thread_board = position.board;
      i32 score = -MATE_SCORE;
      Evaluate(&score, MATE_SCORE);
      sum += score;
      evaluations++;
    }
  const double seconds = CpuSeconds() - start;
  Settings.PawnHashSize = tableSize;
  if (sum == 42) printf(" ");  // keeps the work from being optimised away
  return double(evaluations) / seconds;
}

}  // namespace

int main(int argc, char **argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 20000;
  SetFirstDefaults();
  InitRandomKeys();
  InitAttackTables();
  LoadEvaluationTables();
  SetSecondDefaults();
  AllocateTables();
  const std::vector<Snapshot> positions = RandomPositions(count);
  EvaluationsPerSecond(positions, false, 1);  // fills the pawn hash
  const double warm = EvaluationsPerSecond(positions, false, 10);
  const double cold = EvaluationsPerSecond(positions, true, 3);
  printf("positions %d\nwarm pawn hash: %.0f evaluations per CPU second\ncold pawn hash: %.0f evaluations per CPU second\n",
         count, warm, cold);
}
