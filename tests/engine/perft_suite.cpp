// Checks the engine's perft counts against a reference suite, talking to the real binary through its stdin and
// stdout in one session, as a GUI would.
//
//   perft_suite <engine binary> <perft.epd> [node budget per line]
//
// Every line is checked at all its depths up to 4; deeper depths are added while their reference count stays
// within the node budget, so the run time stays small whatever the suite holds.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "engine_session.h"

namespace {

constexpr int kAlwaysCheckedDepth = 4;
constexpr long long kDefaultNodeBudget = 10'000'000;

struct PerftCase {
  int lineNumber = 0;
  std::string fen;
  std::vector<std::pair<int, long long>> counts;  // depth, leaf count
};

std::string Trim(const std::string &text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// One line: `FEN ;D1 n ;D2 n ...`.
bool ParseSuiteLine(const std::string &line, PerftCase &out) {
  std::stringstream fields(line);
  std::string field;
  if (!std::getline(fields, field, ';')) return false;
  out.fen = Trim(field);
  while (std::getline(fields, field, ';')) {
    int depth = 0;
    long long count = 0;
    if (std::sscanf(field.c_str(), " D%d %lld", &depth, &count) != 2) return false;
    out.counts.emplace_back(depth, count);
  }
  return !out.fen.empty() && !out.counts.empty();
}

std::vector<PerftCase> LoadSuite(const char *path, long long nodeBudget) {
  std::ifstream file(path);
  if (!file) {
    std::fprintf(stderr, "cannot open perft suite %s\n", path);
    std::exit(2);
  }
  std::vector<PerftCase> suite;
  std::string line;
  for (int lineNumber = 1; std::getline(file, line); lineNumber++) {
    if (Trim(line).empty() || line[0] == '#') continue;
    PerftCase entry;
    entry.lineNumber = lineNumber;
    if (!ParseSuiteLine(line, entry)) {
      std::fprintf(stderr, "%s:%d: cannot parse: %s\n", path, lineNumber, line.c_str());
      std::exit(2);
    }
    // Counts grow with depth: stop at the first one the budget cannot pay for.
    size_t kept = 0;
    while (kept < entry.counts.size() &&
           (entry.counts[kept].first <= kAlwaysCheckedDepth || entry.counts[kept].second <= nodeBudget))
      kept++;
    entry.counts.resize(kept);
    suite.push_back(entry);
  }
  if (suite.empty()) {
    std::fprintf(stderr, "perft suite %s holds no positions\n", path);
    std::exit(2);
  }
  return suite;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s <engine binary> <perft.epd> [node budget per line]\n", argv[0]);
    return 2;
  }
  const long long nodeBudget = argc > 3 ? std::atoll(argv[3]) : kDefaultNodeBudget;
  const std::vector<PerftCase> suite = LoadSuite(argv[2], nodeBudget);

  EngineSession engine(argv[1]);
  int failures = 0, checked = 0;
  long long nodes = 0;
  for (const PerftCase &entry : suite) {
    std::string commands = "loadfen " + entry.fen + "\n";
    for (const auto &[depth, count] : entry.counts) commands += "perft " + std::to_string(depth) + "\n";
    if (!engine.Send(commands)) {
      std::printf("FAIL line %d: the engine stopped reading its input (%s)\n  FEN %s\n", entry.lineNumber,
                  engine.Wait(5).Describe().c_str(), entry.fen.c_str());
      return 1;
    }
    for (const auto &[depth, expected] : entry.counts) {
      const auto reply = engine.ReadUntil("total moves = ");
      if (!reply) {
        const char *why = engine.TimedOut() ? "no reply in time" : "the engine ended its output";
        std::printf("FAIL line %d: %s (%s)\n  FEN %s\n  depth %d expected %lld\n", entry.lineNumber, why,
                    engine.Wait(5).Describe().c_str(), entry.fen.c_str(), depth, expected);
        return 1;
      }
      long long actual = -1;
      std::sscanf(reply->c_str(), "total moves = %lld", &actual);
      checked++;
      nodes += expected;
      if (actual != expected) {
        failures++;
        std::printf("FAIL line %d\n  FEN %s\n  depth %d expected %lld actual %lld\n", entry.lineNumber,
                    entry.fen.c_str(), depth, expected, actual);
      }
    }
  }

  engine.Send("quit\n");
  engine.CloseInput();
  engine.ReadRest();
  const EngineExit exit = engine.Wait();
  if (!exit.Clean()) {
    std::printf("FAIL: after quit the engine ended with %s\n", exit.Describe().c_str());
    failures++;
  }
  std::printf("%zu positions, %d counts, %lld leaves (budget %lld per line): %d failed\n", suite.size(), checked,
              nodes, nodeBudget, failures);
  return failures ? 1 : 0;
}
