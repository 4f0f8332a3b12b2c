// Tablebase figures: start-up cost of InitTablebases over a directory, and WDL and DTZ probes per second over the
// reference positions, cold (first touch of each table maps and parses it) and warm.
//
//   tablebase_bench <syzygy dir> <reference file> [warm passes]
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "board/position.h"
#include "search/hash.h"
#include "shell/settings.h"
#include "tablebase/registry.h"
#include "tablebase/tablebase.h"

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

void SetUp(const std::string &fen) {
  LoadFen(fen.c_str());
  MoveStackTop = 0;
  Ply = 1;
  const BoardRecord &b = thread_board;
  PlyStack[1].InCheck = IsAttacked(ChangeSide(b.SideToMove), b.KingSquare[b.SideToMove]);
}

// Probes of every position once; returns the seconds spent in the probes alone.
double Pass(const std::vector<std::string> &fens, bool dtz, long &failures) {
  double total = 0;
  for (const std::string &fen : fens) {
    SetUp(fen);
    i32 success;
    const auto start = Clock::now();
    if (dtz)
      ProbeDtz(success);
    else
      ProbeWdl(success);
    total += Seconds(start);
    failures += success == 0;
  }
  return total;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s <syzygy dir> <reference file> [warm passes]\n", argv[0]);
    return 1;
  }
  const int passes = argc > 3 ? std::atoi(argv[3]) : 20;
  SetFirstDefaults();
  InitRandomKeys();
  InitAttackTables();
  SetSecondDefaults();
  AllocateTables();
  std::vector<std::string> fens;
  std::ifstream in(argv[2]);
  for (std::string line; std::getline(in, line);) fens.push_back(line.substr(0, line.find(';')));
  if (fens.empty()) {
    std::fprintf(stderr, "no positions in %s\n", argv[2]);
    return 1;
  }

  std::vector<double> starts;
  for (int i = 0; i < 5; i++) {
    // The start's own line goes to /dev/null, so that only the figures are printed.
    std::fflush(stdout);
    const int saved = dup(1), null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    const auto start = Clock::now();
    InitTablebases(argv[1]);
    starts.push_back(Seconds(start));
    std::fflush(stdout);
    dup2(saved, 1);
    close(null);
    close(saved);
  }
  std::sort(starts.begin(), starts.end());
  long failures = 0;
  const double cold = Pass(fens, false, failures);
  double warm = 0;
  for (int i = 0; i < passes; i++) warm += Pass(fens, false, failures);
  const double dtzCold = Pass(fens, true, failures);
  double dtzWarm = 0;
  for (int i = 0; i < passes; i++) dtzWarm += Pass(fens, true, failures);
  const double n = double(fens.size());
  std::printf("InitTablebases over %s: median %.2f ms (best %.2f) for %d tables\n", argv[1],
              starts[starts.size() / 2] * 1000, starts[0] * 1000, PieceTableCount + PawnTableCount);
  std::printf("WDL probes: cold %.0f/s, warm %.0f/s over %zu positions\n", n / cold, n * passes / warm,
              fens.size());
  std::printf("DTZ probes: cold %.0f/s, warm %.0f/s\n", n / dtzCold, n * passes / dtzWarm);
  std::printf("failed probes: %ld\n", failures);
  FreeTablebases();
  return 0;
}
