#include "tools/tune/jacobian.h"

#include <algorithm>
#include <iterator>
#include <random>

#include "eval/values.h"
#include "tools/tune/workers.h"

namespace {

constexpr size_t EVALUATION_CHUNK = 4096;
// A probe moves each number of a block by step times a factor of either sign. Numbers meet in a position with
// small whole weights of opposite signs (a white and a black piece), and their changes would cancel if their
// factors stood in the ratio of the weights: the factors are distinct primes larger than any such weight, so no
// two numbers cancel. Three or more still can, seldom, and two probes have to miss a position to lose it.
// The largest move keeps the packed halves within 16 bits.
constexpr int PROBE_FACTORS[] = {67,  71,  73,  79,  83,  89,  97,  101, 103, 107, 109, 113,
                                 127, 131, 137, 139, 149, 151, 157, 163, 167, 173, 179, 181,
                                 191, 193, 197, 199, 211, 223, 227, 229, 233, 239, 241, 251};
// Numbers searched together at the start of a bisection, one factor each.
constexpr size_t BLOCK_SIZE = std::size(PROBE_FACTORS);

// The bisection over one block, in one process: the tables hold the present values between its steps.
struct BlockSearch {
  const std::vector<LabelledPosition> &positions;
  const std::vector<i32> &base;
  const std::vector<TunedNumber> &numbers;
  const int step;
  std::mt19937 random;
  std::vector<Column> columns;  // of the block's numbers, from its first
  size_t blockFirst;
  i64 evaluations = 0;

  // Moves the numbers [first, last) by their offsets and evaluates the candidates; puts the values back.
  std::vector<i32> EvaluateMoved(size_t first, size_t last, const std::vector<i32> &offsets,
                                 const std::vector<u32> &candidates) {
    std::vector<i32> saved(last - first);
    for (size_t i = first; i < last; i++) {
      saved[i - first] = *numbers[i].slot;
      SetNumber(numbers[i], saved[i - first] + offsets[i - first]);
    }
    BuildTablesExceptMaterial();
    std::vector<i32> scores;
    scores.reserve(candidates.size());
    for (u32 p : candidates) scores.push_back(WhiteEvaluation(positions[p].board));
    evaluations += i64(candidates.size());
    for (size_t i = first; i < last; i++) SetNumber(numbers[i], saved[i - first]);
    BuildTablesExceptMaterial();
    return scores;
  }

  std::vector<u32> Moved(size_t first, size_t last, const std::vector<u32> &candidates) {
    std::vector<i32> offsets(std::begin(PROBE_FACTORS), std::end(PROBE_FACTORS));
    std::shuffle(offsets.begin(), offsets.end(), random);
    offsets.resize(last - first);
    for (i32 &offset : offsets) offset *= step * (random() % 2 ? 1 : -1);
    const std::vector<i32> scores = EvaluateMoved(first, last, offsets, candidates);
    std::vector<u32> moved;
    for (size_t i = 0; i < candidates.size(); i++)
      if (scores[i] != base[candidates[i]]) moved.push_back(candidates[i]);
    return moved;
  }

  void Differentiate(size_t index, const std::vector<u32> &candidates) {
    const std::vector<i32> up = EvaluateMoved(index, index + 1, {step}, candidates);
    const std::vector<i32> down = EvaluateMoved(index, index + 1, {-step}, candidates);
    Column &column = columns[index - blockFirst];
    for (size_t i = 0; i < candidates.size(); i++)
      if (up[i] != down[i]) {
        column.positions.push_back(candidates[i]);
        column.slopes.push_back(float(up[i] - down[i]) / float(2 * step));
      }
  }

  void Search(size_t first, size_t last, const std::vector<u32> &candidates) {
    if (candidates.empty()) return;
    if (last - first <= 2) {
      for (size_t i = first; i < last; i++) Differentiate(i, candidates);
      return;
    }
    std::vector<u32> moved = Moved(first, last, candidates);
    std::vector<u32> unmoved;
    std::set_difference(candidates.begin(), candidates.end(), moved.begin(), moved.end(), std::back_inserter(unmoved));
    const std::vector<u32> second = Moved(first, last, unmoved);
    std::vector<u32> either;
    std::merge(moved.begin(), moved.end(), second.begin(), second.end(), std::back_inserter(either));
    const size_t middle = first + (last - first) / 2;
    Search(first, middle, either);
    Search(middle, last, either);
  }
};

}  // namespace

std::vector<i32> EvaluateAll(const std::vector<LabelledPosition> &positions, int jobs, i64 &evaluations) {
  const int chunks = int((positions.size() + EVALUATION_CHUNK - 1) / EVALUATION_CHUNK);
  const std::vector<std::string> results = RunTasks(jobs, chunks, [&](int chunk) {
    std::string bytes;
    const size_t first = size_t(chunk) * EVALUATION_CHUNK, last = std::min(positions.size(), first + EVALUATION_CHUNK);
    for (size_t i = first; i < last; i++) {
      const i32 score = WhiteEvaluation(positions[i].board);
      AppendBytes(bytes, &score, 1);
    }
    return bytes;
  });
  std::vector<i32> scores(positions.size());
  for (int chunk = 0; chunk < chunks; chunk++) {
    const char *at = results[size_t(chunk)].data();
    ReadBytes(at, scores.data() + size_t(chunk) * EVALUATION_CHUNK, results[size_t(chunk)].size() / sizeof(i32));
  }
  evaluations += i64(scores.size());
  return scores;
}

std::vector<Column> Linearise(const std::vector<LabelledPosition> &positions, const std::vector<i32> &base,
                              const std::vector<TunedNumber> &numbers, int step, int jobs, i64 &evaluations,
                              const std::vector<Column> *support) {
  const size_t blocks = (numbers.size() + BLOCK_SIZE - 1) / BLOCK_SIZE;
  std::vector<u32> everyPosition(positions.size());
  for (size_t i = 0; i < positions.size(); i++) everyPosition[i] = u32(i);
  const std::vector<std::string> results = RunTasks(jobs, int(blocks), [&](int task) {
    const size_t first = size_t(task) * BLOCK_SIZE, last = std::min(numbers.size(), first + BLOCK_SIZE);
    // Seeded by the block, so that the columns don't depend on how many processes share the work.
    BlockSearch search{positions, base, numbers, step, std::mt19937(unsigned(task) + 1),
                       std::vector<Column>(last - first), first};
    if (support)
      for (size_t i = first; i < last; i++) search.Differentiate(i, (*support)[i].positions);
    else
      search.Search(first, last, everyPosition);
    std::string bytes;
    AppendBytes(bytes, &search.evaluations, 1);
    for (const Column &column : search.columns) {
      const u32 size = u32(column.positions.size());
      AppendBytes(bytes, &size, 1);
      AppendBytes(bytes, column.positions.data(), size);
      AppendBytes(bytes, column.slopes.data(), size);
    }
    return bytes;
  });
  std::vector<Column> columns(numbers.size());
  for (size_t b = 0; b < blocks; b++) {
    const char *at = results[b].data();
    i64 made;
    ReadBytes(at, &made, 1);
    evaluations += made;
    for (size_t i = b * BLOCK_SIZE; i < std::min(numbers.size(), (b + 1) * BLOCK_SIZE); i++) {
      u32 size;
      ReadBytes(at, &size, 1);
      Column &column = columns[i];
      column.positions.resize(size);
      column.slopes.resize(size);
      ReadBytes(at, column.positions.data(), size);
      ReadBytes(at, column.slopes.data(), size);
    }
  }
  return columns;
}
