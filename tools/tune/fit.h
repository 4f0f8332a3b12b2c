// Texel's method: an evaluation becomes an expected result through a logistic curve, and the error is the mean
// squared difference from the games' results. The tuned numbers follow the error's gradient with Adam, on a
// linearisation of the evaluation that is taken again at the values reached after each round.
#pragma once
#include <cstdio>
#include <vector>

#include "tools/tune/jacobian.h"

// The expected result for White of White's evaluation in centipawns, with the scaling constant k.
double ExpectedResult(double evaluation, double k);
double MeanError(const std::vector<i32> &evaluations, const std::vector<LabelledPosition> &positions, double k);
// The k that makes the evaluations fit the results best.
double FitScalingConstant(const std::vector<i32> &evaluations, const std::vector<LabelledPosition> &positions);

// The gradient of the mean error by each number, for evaluations `evaluations` that move with the numbers as
// the columns say.
std::vector<double> ErrorGradient(const std::vector<Column> &columns, const std::vector<double> &evaluations,
                                  const std::vector<LabelledPosition> &positions, double k);

struct FitOptions {
  int rounds = 3;     // linearisations
  int epochs = 300;   // Adam steps on each
  double rate = 1.0;  // Adam's step, in centipawns
  // Pull towards the starting values: the summed squared error of all positions gains l2 per centipawn squared
  // of each number's move. Against the sum, not the mean: the more positions tell a number, the less it is held.
  double l2 = 3e-4;
  int step = 8;       // half width of the central differences
  int jobs = 1;
};

struct FitResult {
  std::vector<i32> values;  // of every number, tuned or not
  std::vector<bool> tuned;  // the number moved the evaluation of some position
  double trainBefore = 0, trainAfter = 0;
  i64 evaluations = 0;
  double lineariseSeconds = 0;
};

// Tunes the numbers from the values that the tables hold, for the scaling constant k, and leaves the tables
// at the result. Each round's progress goes to `log`.
FitResult Fit(const std::vector<LabelledPosition> &train, const std::vector<TunedNumber> &numbers, double k,
              const FitOptions &options, FILE *log);
