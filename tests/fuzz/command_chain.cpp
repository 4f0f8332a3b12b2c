// The command chain as a GUI or a person drives it: the input is standard input, read and dispatched line by line
// by the engine's own loop, in UCI, xboard and console commands alike. Lines that arrive while a search runs are
// read by the search's own polls, and the end of the input stops a search as a closed pipe does, so every
// search ends a few iterations after its last line. A few commands get a budget here instead: their cost
// grows with a number the input gives. A session ends where it leaves material on the board that play couldn't
// reach.
#include <cstdlib>
#include <cstring>
#include <string>

#include "shell/commands.h"
#include "shell/engine.h"
#include "tests/fuzz/fuzz_session.h"
#include "tests/fuzz/fuzz_targets.h"

namespace {

constexpr int MAX_COMMANDS = 256;
constexpr int MAX_PERFT_DEPTH = 2;
constexpr long long MAX_HASH_MEGABYTES = 16;
// Each "." during a search lets it run on to its next poll.
constexpr int MAX_PROGRESS_LINES = 4;
// Rebuilding the evaluation tables takes a fifth of a second in the instrumented build, and any line that begins
// with "r" or "s" asks for it.
constexpr int MAX_TABLE_REBUILDS = 1;

// Lines that would run for minutes, allocate gigabytes, or name a file outside the scratch directory are not
// dispatched, nor table rebuilds beyond the budget. Prefixes count as the chain counts them, so this also holds
// back a few harmless lines.
bool Affordable(const char *line, int &rebuildsLeft) {
  if (MatchKeyword("reload", line) || MatchKeyword("selftest", line)) return rebuildsLeft-- > 0;
  const int n = Tokenise(line, " ");
  if (MatchKeyword("perft", line) && n >= 2 && std::atoi(Tokens[1]) > MAX_PERFT_DEPTH) return false;
  if (MatchKeyword("bench", line) && !MatchKeyword("black", line)) return false;
  const bool setOption = MatchKeyword("setoption", line);
  if (setOption && (MatchKeyword("Hash", Tokens[2]) || MatchKeyword("PawnHash", Tokens[2])) &&
      std::atoll(Tokens[4]) > MAX_HASH_MEGABYTES)
    return false;
  const bool namesFile = setOption || MatchKeyword("pgneval", line) || MatchKeyword("epdevl", line);
  return !(namesFile && std::strchr(line, '/'));
}

// The input without the "." lines beyond the first few; NUL bytes, which the engine drops, don't hide a ".".
std::string WithFewProgressLines(const uint8_t *data, size_t size) {
  const std::string input(reinterpret_cast<const char *>(data), size);
  std::string kept;
  int progressLines = 0;
  for (size_t start = 0; start < input.size();) {
    size_t end = input.find('\n', start);
    end = end == std::string::npos ? input.size() : end + 1;
    const size_t first = input.find_first_not_of('\0', start);
    const bool progress = first < end && input[first] == '.';
    if (!progress || ++progressLines <= MAX_PROGRESS_LINES) kept.append(input, start, end - start);
    start = end;
  }
  return kept;
}

}  // namespace

int FuzzCommandChain(const uint8_t *data, size_t size) {
  ResetEngine();
  FeedStandardInput(WithFewProgressLines(data, size));
  RunSession([] {
    int rebuildsLeft = MAX_TABLE_REBUILDS;
    for (int commands = 0; commands < MAX_COMMANDS && MaterialPlayCouldReach() && TakeCommandLine();)
      if (Affordable(CommandLine, rebuildsLeft)) ProcessCommand(), commands++;
  });
  return 0;
}
