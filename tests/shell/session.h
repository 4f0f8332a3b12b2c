// Checks and output parsing shared by the groups of shell tests.
//
// A session is a list of steps. Before the first step and behind every step the driver sends "isready", so the
// "readyok" answers cut the output into one piece per step: what a step printed can be checked exactly, and a
// step that prints nothing is seen to print nothing.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine_process.h"

using Lines = std::vector<std::string>;

class Checker {
 public:
  explicit Checker(std::string group) : group_(std::move(group)) {}
  bool That(bool condition, const std::string &what);
  // Equal line lists; on failure both are shown.
  bool SameLines(const Lines &actual, const Lines &expected, const std::string &what);
  bool ExitedWith(const EngineResult &result, int code, const std::string &what);
  int Failures() const { return failures_; }
  const std::string &Group() const { return group_; }

 private:
  std::string group_;
  int failures_ = 0;
};

// What the group functions get.
struct Context {
  std::string engine;   // the binary
  std::string dataDir;  // tests/shell/data
  Checker check;
};

struct Step {
  std::string input;               // one or more lines, each with its line end
  std::optional<Lines> expected;   // the exact output, when given
  std::vector<Chunk> pieces = {};  // when given, the input is written so, piece by piece, instead of `input`
};

struct Session {
  EngineResult result;
  Lines prelude;               // what came before the first step: the start-up output
  std::vector<Lines> outputs;  // one per step; empty lists for the steps after a break-down
  bool complete = false;       // every marker came, and the engine ended by the end of its input with code 0
};

// Runs the steps in one engine (input written in one go, then closed), checks the exits and the exact outputs
// that the steps give.
Session RunSession(Context &context, const std::string &label, const std::vector<Step> &steps,
                   const RunOptions &options = {});

// The input of a step for messages, pieces and pauses shown.
std::string StepText(const Step &step);
// Text with control and high bytes escaped and long runs cut, for messages.
std::string Show(const std::string &text, size_t limit = 160);
Lines SplitLines(const std::string &text);  // also drops the CR of CR LF
std::string Join(const Lines &lines);

// Output parsing.
std::optional<long long> ParseInteger(std::string_view text);  // a whole decimal number, sign allowed
bool IsCoordinateMove(std::string_view text);                  // "e2e4", "e7e8q"
Lines BoardRows(const Lines &lines);                           // the rows of `brd` among the lines
Lines BoardFromFen(const std::string &fen);                    // what `brd` prints for a position
int CastlingFlagsOfFen(const std::string &fen);                // K 1, Q 2, k 4, q 8
std::optional<Lines> ListedMoves(const Lines &lines);          // the entries of `moves`, e.g. "Ng1f3", sorted
std::optional<long long> PerftTotal(const Lines &lines);       // the count of "total moves = N time = ..."
std::optional<Lines> ReportOf(const Lines &lines);             // the configuration report: 17 lines and the blank line
Lines DefaultReport();
// `report` with the lines that start as the given ones replaced by them.
Lines ReportWith(const Lines &changes);

extern const char *const kVersionLine;
extern const char *const kStartFen;
// "perft 1" in the start position.
const Lines kPerft1Start = {"total moves = 20"};
