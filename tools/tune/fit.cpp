#include "tools/tune/fit.h"

#include <chrono>
#include <cmath>

namespace {

constexpr double LN10 = 2.302585092994046;

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

template <typename Score>
double MeanErrorOf(const std::vector<Score> &evaluations, const std::vector<LabelledPosition> &positions, double k) {
  double sum = 0;
  for (size_t i = 0; i < positions.size(); i++) {
    const double miss = positions[i].result - ExpectedResult(double(evaluations[i]), k);
    sum += miss * miss;
  }
  return positions.empty() ? 0 : sum / double(positions.size());
}

// The evaluations of the linear model: the evaluations at the linearisation plus each column times its move.
std::vector<double> LinearEvaluations(const std::vector<i32> &base, const std::vector<Column> &columns,
                                      const std::vector<double> &moves) {
  std::vector<double> evaluations(base.begin(), base.end());
  for (size_t j = 0; j < columns.size(); j++) {
    if (moves[j] == 0) continue;
    const Column &column = columns[j];
    for (size_t i = 0; i < column.positions.size(); i++) evaluations[column.positions[i]] += column.slopes[i] * moves[j];
  }
  return evaluations;
}

// Adam's moments, kept across rounds.
struct Adam {
  std::vector<double> first, second;
  long steps = 0;
  static constexpr double BETA1 = 0.9, BETA2 = 0.999, EPSILON = 1e-12;

  void Step(std::vector<double> &values, const std::vector<double> &gradient, double rate) {
    steps++;
    const double correction1 = 1 - std::pow(BETA1, double(steps)), correction2 = 1 - std::pow(BETA2, double(steps));
    for (size_t j = 0; j < values.size(); j++) {
      first[j] = BETA1 * first[j] + (1 - BETA1) * gradient[j];
      second[j] = BETA2 * second[j] + (1 - BETA2) * gradient[j] * gradient[j];
      values[j] -= rate * (first[j] / correction1) / (std::sqrt(second[j] / correction2) + EPSILON);
    }
  }
};

std::vector<i32> Rounded(const std::vector<double> &values) {
  std::vector<i32> rounded;
  rounded.reserve(values.size());
  for (double v : values) rounded.push_back(i32(std::lround(v)));
  return rounded;
}

}  // namespace

double ExpectedResult(double evaluation, double k) { return 1 / (1 + std::pow(10.0, -k * evaluation / 400)); }

double MeanError(const std::vector<i32> &evaluations, const std::vector<LabelledPosition> &positions, double k) {
  return MeanErrorOf(evaluations, positions, k);
}

double FitScalingConstant(const std::vector<i32> &evaluations, const std::vector<LabelledPosition> &positions) {
  // Golden-section search: the error is unimodal in k.
  const double ratio = (std::sqrt(5.0) - 1) / 2;
  double low = 0.05, high = 4;
  double a = high - ratio * (high - low), b = low + ratio * (high - low);
  double errorA = MeanError(evaluations, positions, a), errorB = MeanError(evaluations, positions, b);
  while (high - low > 1e-4) {
    if (errorA < errorB) {
      high = b, b = a, errorB = errorA;
      a = high - ratio * (high - low);
      errorA = MeanError(evaluations, positions, a);
    } else {
      low = a, a = b, errorA = errorB;
      b = low + ratio * (high - low);
      errorB = MeanError(evaluations, positions, b);
    }
  }
  return (low + high) / 2;
}

std::vector<double> ErrorGradient(const std::vector<Column> &columns, const std::vector<double> &evaluations,
                                  const std::vector<LabelledPosition> &positions, double k) {
  // d error / d evaluation of each position, then summed along each column.
  std::vector<double> byPosition(positions.size());
  const double n = double(positions.size());
  for (size_t i = 0; i < positions.size(); i++) {
    const double s = ExpectedResult(evaluations[i], k);
    byPosition[i] = -2 * (positions[i].result - s) * s * (1 - s) * k * LN10 / 400 / n;
  }
  std::vector<double> gradient(columns.size());
  for (size_t j = 0; j < columns.size(); j++) {
    const Column &column = columns[j];
    double sum = 0;
    for (size_t i = 0; i < column.positions.size(); i++) sum += column.slopes[i] * byPosition[column.positions[i]];
    gradient[j] = sum;
  }
  return gradient;
}

FitResult Fit(const std::vector<LabelledPosition> &train, const std::vector<TunedNumber> &numbers, double k,
              const FitOptions &options, FILE *log) {
  FitResult result;
  const std::vector<i32> start = CurrentNumbers(numbers);
  std::vector<double> values(start.begin(), start.end());
  result.tuned.assign(numbers.size(), false);
  Adam adam{std::vector<double>(numbers.size()), std::vector<double>(numbers.size())};
  std::vector<Column> columns;
  const double pull = options.l2 / double(train.size());  // on the mean error
  for (int round = 1; round <= options.rounds; round++) {
    const std::vector<i32> at = Rounded(values);
    SetNumbers(numbers, at);
    const std::vector<i32> base = EvaluateAll(train, options.jobs, result.evaluations);
    const double error = MeanError(base, train, k);
    if (round == 1) result.trainBefore = error;
    const auto started = std::chrono::steady_clock::now();
    columns = Linearise(train, base, numbers, options.step, options.jobs, result.evaluations,
                        round == 1 ? nullptr : &columns);
    result.lineariseSeconds += SecondsSince(started);
    size_t entries = 0;
    for (size_t j = 0; j < columns.size(); j++) {
      entries += columns[j].positions.size();
      if (!columns[j].positions.empty()) result.tuned[j] = true;
    }
    std::vector<double> moves(numbers.size());
    double linearError = error;
    for (int epoch = 0; epoch < options.epochs; epoch++) {
      for (size_t j = 0; j < numbers.size(); j++) moves[j] = values[j] - at[j];
      const std::vector<double> evaluations = LinearEvaluations(base, columns, moves);
      linearError = MeanErrorOf(evaluations, train, k);
      std::vector<double> gradient = ErrorGradient(columns, evaluations, train, k);
      for (size_t j = 0; j < numbers.size(); j++) gradient[j] += 2 * pull * (values[j] - start[j]);
      adam.Step(values, gradient, options.rate);
    }
    std::fprintf(log, "round %d: train error %.6f at its start, %.6f in the linear model after %d steps; "
                      "%zu entries in the Jacobian, %.1f s to take it\n",
                 round, error, linearError, options.epochs, entries, SecondsSince(started));
    std::fflush(log);
  }
  result.values = Rounded(values);
  // Numbers that move no position keep their values exactly.
  for (size_t j = 0; j < numbers.size(); j++)
    if (!result.tuned[j]) result.values[j] = start[j];
  SetNumbers(numbers, result.values);
  result.trainAfter = MeanError(EvaluateAll(train, options.jobs, result.evaluations), train, k);
  return result;
}
