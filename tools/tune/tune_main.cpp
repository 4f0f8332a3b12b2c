// quarvelle-tune: fits the evaluation's additive terms to labelled positions (Texel's method) and gathers the
// PruneCounts of values.txt from the engine's own searches. Both read values.txt in the working directory, as
// the engine does, and write their result as the values tool's names and as a complete values file.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "eval/values.h"
#include "eval/values_layout.h"
#include "search/hash.h"
#include "search/repetition.h"
#include "search/statistics.h"
#include "shell/settings.h"
#include "tools/tune/fit.h"
#include "tools/tune/named_output.h"
#include "tools/tune/prune_counts.h"

namespace {

struct Arguments {
  std::vector<std::string> data;
  std::string heldData, groups = DEFAULT_GROUPS;
  std::string namesOut = "tuned_names.txt", valuesOut = "tuned_values.txt";
  long train = 20000, held = 5000, positions = 1000, depth = 8, seed = 1, prior = 20, evenPawns = -1;
  double k = 0, percentile = 0.9;
  FitOptions fit = {.jobs = 2};
  std::string commandLine;
};

int Usage() {
  std::fprintf(stderr,
               "usage: quarvelle-tune fit --data FILE [--data FILE ...] [options]\n"
               "       quarvelle-tune prune-counts --data FILE [--data FILE ...] [options]\n"
               "Both read values.txt in the working directory and write --names-out (name = value lines) and\n"
               "--values-out (a complete values file). Data lines are \"FEN;result\" (White's result 1.0, 0.5,\n"
               "0.0) or pgneval's CSV; a name ending in .xz is read through xz.\n"
               "fit:          --train N --held N [--held-data FILE] --groups LIST --rounds N --epochs N --rate X\n"
               "              --l2 X --step N --k X (0: fit it) --jobs N --seed N\n"
               "              --even-material PAWNS (only positions with equal pieces and pawns that differ by\n"
               "              at most PAWNS; -1, the default, keeps all)\n"
               "prune-counts: --positions N --depth PLIES --prior TRIALS --percentile X --jobs N --seed N\n"
               "groups:");
  for (const TermGroup &group : TermGroups()) std::fprintf(stderr, " %s", group.name);
  std::fprintf(stderr, " (default %s)\n", DEFAULT_GROUPS);
  return 2;
}

template <typename T>
std::function<bool(const char *)> NumberInto(T &target) {
  return [&target](const char *text) {
    char *end = nullptr;
    const double value = std::strtod(text, &end);
    if (end == text || *end) return false;
    target = T(value);
    return true;
  };
}

std::function<bool(const char *)> TextInto(std::string &target) {
  return [&target](const char *text) {
    target = text;
    return true;
  };
}

bool ParseArguments(int argc, char **argv, Arguments &a) {
  const std::map<std::string, std::function<bool(const char *)>> options = {
      {"--data", [&a](const char *text) { a.data.push_back(text); return true; }},
      {"--held-data", TextInto(a.heldData)}, {"--groups", TextInto(a.groups)},
      {"--names-out", TextInto(a.namesOut)}, {"--values-out", TextInto(a.valuesOut)},
      {"--train", NumberInto(a.train)},     {"--held", NumberInto(a.held)},
      {"--positions", NumberInto(a.positions)}, {"--depth", NumberInto(a.depth)},
      {"--seed", NumberInto(a.seed)},       {"--prior", NumberInto(a.prior)},
      {"--k", NumberInto(a.k)},             {"--percentile", NumberInto(a.percentile)},
      {"--rounds", NumberInto(a.fit.rounds)}, {"--epochs", NumberInto(a.fit.epochs)},
      {"--rate", NumberInto(a.fit.rate)},   {"--l2", NumberInto(a.fit.l2)},
      {"--step", NumberInto(a.fit.step)},   {"--jobs", NumberInto(a.fit.jobs)},
      {"--even-material", NumberInto(a.evenPawns)},
  };
  a.commandLine = "quarvelle-tune";
  for (int i = 1; i < argc; i++) a.commandLine += std::string(" ") + argv[i];
  for (int i = 2; i < argc; i += 2) {
    const auto option = options.find(argv[i]);
    if (option == options.end() || i + 1 >= argc || !option->second(argv[i + 1])) {
      std::fprintf(stderr, "bad option: %s\n", argv[i]);
      return false;
    }
  }
  if (a.data.empty()) std::fprintf(stderr, "no --data file\n");
  return !a.data.empty() && a.fit.jobs >= 1 && a.fit.step >= 1;
}

// The engine's start-up without its protocols, book, settings file and tablebases.
void StartEngineTables() {
  SetFirstDefaults();
  SetDefaultKingDangerPattern();
  InitRandomKeys();
  InitAttackTables();
  LoadEvaluationTables();
  ClearCaptureStatistics();
  SetSecondDefaults();
  AllocateTables();
  BuildRepetitionTable();
}

bool ReadPool(const std::vector<std::string> &paths, std::vector<LabelledFen> &pool) {
  for (const std::string &path : paths) {
    std::string error;
    if (!ReadLabelledFile(path, pool, error)) {
      std::fprintf(stderr, "%s\n", error.c_str());
      return false;
    }
  }
  return true;
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool Write(const std::vector<i64> &numbers, const Arguments &a) {
  std::string error;
  if (!WriteNamedValues(numbers, "written by " + a.commandLine, a.namesOut.c_str(), a.valuesOut.c_str(), error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return false;
  }
  std::printf("wrote %s and %s\n", a.namesOut.c_str(), a.valuesOut.c_str());
  return true;
}

int RunFit(const Arguments &a) {
  std::vector<i64> fileNumbers;
  std::string error;
  std::vector<TunedNumber> numbers;
  if (!ReadLoadedValues(fileNumbers, error) || !SelectNumbers(a.groups, numbers, error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  std::vector<LabelledFen> pool, heldPool;
  if (!ReadPool(a.data, pool) || (!a.heldData.empty() && !ReadPool({a.heldData}, heldPool))) return 1;
  StartEngineTables();
  SetTuningSettings();
  std::vector<std::string> taken;
  const std::vector<LabelledFen> trainFens = DrawPositions(pool, size_t(a.train), unsigned(a.seed), taken);
  const std::vector<LabelledFen> heldFens =
      DrawPositions(a.heldData.empty() ? pool : heldPool, size_t(a.held), unsigned(a.seed) + 1, taken);
  const auto resolving = std::chrono::steady_clock::now();
  std::vector<LabelledPosition> train = ResolveAll(trainFens, a.fit.jobs);
  std::vector<LabelledPosition> held = ResolveAll(heldFens, a.fit.jobs);
  const double resolveSeconds = SecondsSince(resolving);
  std::printf("positions: %zu drawn for training and %zu held out, %zu and %zu quiet after the quiescence walk "
              "(%.0f positions per second)\n",
              trainFens.size(), heldFens.size(), train.size(), held.size(),
              double(trainFens.size() + heldFens.size()) / resolveSeconds);
  if (a.evenPawns >= 0) {
    const auto uneven = [&a](const LabelledPosition &p) { return !EvenMaterial(p.board, int(a.evenPawns)); };
    std::erase_if(train, uneven);
    std::erase_if(held, uneven);
    std::printf("%zu and %zu of them with equal pieces and pawns within %ld\n", train.size(), held.size(),
                a.evenPawns);
  }
  if (train.empty() || held.empty()) {
    std::fprintf(stderr, "no positions to fit\n");
    return 1;
  }

  i64 evaluations = 0;
  const double k = a.k > 0 ? a.k : FitScalingConstant(EvaluateAll(train, a.fit.jobs, evaluations), train);
  const double heldBefore = MeanError(EvaluateAll(held, a.fit.jobs, evaluations), held, k);
  std::printf("scaling constant K = %.4f%s; %zu numbers in the groups %s\n", k, a.k > 0 ? " (given)" : "",
              numbers.size(), a.groups.c_str());
  std::fflush(stdout);

  const auto fitting = std::chrono::steady_clock::now();
  const FitResult result = Fit(train, numbers, k, a.fit, stdout);
  const double fitSeconds = SecondsSince(fitting);
  const double heldAfter = MeanError(EvaluateAll(held, a.fit.jobs, evaluations), held, k);
  evaluations += result.evaluations;

  size_t tuned = 0, changed = 0;
  for (size_t j = 0; j < numbers.size(); j++) {
    if (!result.tuned[j]) continue;
    tuned++;
    changed += fileNumbers[size_t(numbers[j].fileIndex)] != result.values[j];
    fileNumbers[size_t(numbers[j].fileIndex)] = result.values[j];
    if (numbers[j].mirrorSlot) fileNumbers[size_t(numbers[j].mirrorFileIndex)] = result.values[j];
  }
  std::printf("tuned %zu numbers of the file's %lld (the others of the groups move no training position), "
              "%zu of them changed\n",
              tuned, (long long)ValuesFileCount(), changed);
  std::printf("train error %.6f before, %.6f after\nheld-out error %.6f before, %.6f after\n", result.trainBefore,
              result.trainAfter, heldBefore, heldAfter);
  std::printf("fit: %.1f s, of which %.1f s linearising; %lld evaluations, %.0f per second\n", fitSeconds,
              result.lineariseSeconds, (long long)evaluations, double(result.evaluations) / fitSeconds);
  return Write(fileNumbers, a) ? 0 : 1;
}

int RunPruneCounts(const Arguments &a) {
  std::vector<i64> fileNumbers;
  std::string error;
  if (!ReadLoadedValues(fileNumbers, error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  std::vector<LabelledFen> pool;
  if (!ReadPool(a.data, pool)) return 1;
  StartEngineTables();
  std::vector<std::string> taken;
  const std::vector<LabelledFen> positions = DrawPositions(pool, size_t(a.positions), unsigned(a.seed), taken);
  const auto searching = std::chrono::steady_clock::now();
  i64 nodes = 0;
  const FlatCounts raw = GatherOutcomes(positions, int(a.depth), a.fit.jobs, nodes);
  const double seconds = SecondsSince(searching);
  ScaleReport report;
  const FlatCounts scaled = ScaleCounts(raw, int(a.prior), a.percentile, report);
  std::printf("searched %zu positions to %ld plies: %lld nodes in %.1f s (%.0f nodes per second)\n", positions.size(),
              a.depth, (long long)nodes, seconds, double(nodes) / seconds);
  std::printf("late moves: %lld trials, %lld successes (%.2f%%); %.1f%% of the trials were at the cap of 10 per "
              "mille, %.1f%% after multiplying the successes by %.4f\n",
              (long long)report.trials, (long long)report.successes,
              report.trials ? 100.0 * double(report.successes) / double(report.trials) : 0.0,
              100 * report.cappedBefore, 100 * report.cappedAfter, report.factor);
  PutPruneCounts(scaled, fileNumbers);
  return Write(fileNumbers, a) ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) return Usage();
  const std::string command = argv[1];
  Arguments arguments;
  if ((command != "fit" && command != "prune-counts") || !ParseArguments(argc, argv, arguments)) return Usage();
  return command == "fit" ? RunFit(arguments) : RunPruneCounts(arguments);
}
