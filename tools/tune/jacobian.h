// How White's evaluation moves with each tuned number: central differences of the engine's own Evaluate.
#pragma once
#include <vector>

#include "tools/tune/positions.h"
#include "tools/tune/tuned_numbers.h"

// d(evaluation) / d(number) at the positions where it isn't zero: one column of the Jacobian.
struct Column {
  std::vector<u32> positions;
  std::vector<float> slopes;
};

// White's evaluation of each position with the tables as they stand; adds the evaluations to `evaluations`.
std::vector<i32> EvaluateAll(const std::vector<LabelledPosition> &positions, int jobs, i64 &evaluations);

// The columns of all numbers at the values that the tables hold, whose evaluations are `base`; `step` is the
// half width of the differences. Which positions a number moves is found by bisection: a block of numbers is
// moved at once, and only the positions whose evaluation changes are searched further, so that numbers met in
// few positions cost little. With a `support`, the columns of an earlier linearisation, each number is
// differentiated again at its positions there and nowhere else: the tuned terms are added into the score, so
// the positions that a number moves don't change with the values. Adds the evaluations made to `evaluations`.
std::vector<Column> Linearise(const std::vector<LabelledPosition> &positions, const std::vector<i32> &base,
                              const std::vector<TunedNumber> &numbers, int step, int jobs, i64 &evaluations,
                              const std::vector<Column> *support = nullptr);
