// PruneCounts from the engine's own searches: how often a move that reaches the late move reduction test ends
// up above alpha, by piece, squares and whether the replying side is down to an ending.
#pragma once
#include <vector>

#include "search/parameters.h"
#include "tools/tune/positions.h"

// Counts in PruneCounts' shape, flat: [ending][piece code][from][to][successes, trials].
using FlatCounts = std::vector<i64>;
constexpr size_t FLAT_COUNTS_SIZE = sizeof(LateMoveCountTable) / sizeof(i64);

// Searches each position from cleared tables to `depth` plies, in `jobs` processes, and sums the outcomes of the
// moves that reach the reduction test; adds the nodes searched to `nodes`.
FlatCounts GatherOutcomes(const std::vector<LabelledFen> &positions, int depth, int jobs, i64 &nodes);

struct ScaleReport {
  i64 successes = 0, trials = 0;
  double factor = 0;              // what the successes are multiplied by
  double cappedBefore = 0;        // share of the trials whose move's rate is at the cap of 10 per mille
  double cappedAfter = 0;         // the same after scaling
};

// The counts as the file holds them. The search reads a rate 1000 * successes / trials, capped at 10 per mille,
// while late moves succeed far more often than that: the successes of the whole table are multiplied by one
// factor that brings the rate of the move at `percentile` of all trials to the cap. Each possible move also
// gets `prior` trials at the mean rate of its piece and ending, so that rare moves don't take extreme rates, and
// both counts are kept in thousandths, so that rates below one per mille keep their resolution.
FlatCounts ScaleCounts(const FlatCounts &raw, int prior, double percentile, ScaleReport &report);

// Puts the counts into their place in the numbers of a values file.
void PutPruneCounts(const FlatCounts &counts, std::vector<i64> &numbers);
