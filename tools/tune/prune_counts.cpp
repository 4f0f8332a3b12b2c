#include "tools/tune/prune_counts.h"

#include <algorithm>
#include <cmath>

#include "board/attacks.h"
#include "eval/values.h"
#include "eval/values_layout.h"
#include "tools/bench.h"
#include "tools/tune/workers.h"

namespace {

constexpr size_t SEARCH_CHUNK = 8;
constexpr int COUNTED_CODES[6] = {KING, KNIGHT, PAWN, ROOK, BISHOP, QUEEN};
// Both counts are written in thousandths of a move.
constexpr double COUNT_UNIT = 1000;
// The rate at which the search stops telling moves apart, in per mille.
constexpr double RATE_CAP = 10;

size_t FlatIndex(int ending, int code, int from, int to, int count) {
  return (((size_t(ending) * 8 + size_t(code)) * 64 + size_t(from)) * 64 + size_t(to)) * 2 + size_t(count);
}

// A quiet move that the piece can make at all, seen from White's side as the counts are kept.
bool PossibleQuietMove(int code, int from, int to) {
  switch (code) {
    case KING:
      return (KingAttacks[from] & Bit(to)) || (from == 4 && (to == 2 || to == 6));
    case KNIGHT:
      return KnightAttacks[from] & Bit(to);
    case PAWN:
      return RankOf(from) >= 1 && RankOf(from) <= 5 && (to == from + 8 || (RankOf(from) == 1 && to == from + 16));
    case ROOK:
      return RookEmpty[from] & Bit(to);
    case BISHOP:
      return BishopEmpty[from] & Bit(to);
    case QUEEN:
      return QueenEmpty[from] & Bit(to);
  }
  return false;
}

struct Entry {
  size_t at;           // successes' index in the flat counts
  double successes;    // with the prior's share
  double trials;       // with the prior's trials
  i64 observed;        // trials really seen
};

}  // namespace

FlatCounts GatherOutcomes(const std::vector<LabelledFen> &positions, int depth, int jobs, i64 &nodes) {
  const int chunks = int((positions.size() + SEARCH_CHUNK - 1) / SEARCH_CHUNK);
  const std::vector<std::string> results = RunTasks(jobs, chunks, [&](int chunk) {
    FlatCounts counts(FLAT_COUNTS_SIZE);
    LateMoveOutcomes = reinterpret_cast<LateMoveCountTable *>(counts.data());
    const SettingsRecord saved = QuietFixedDepthSettings();
    i64 searched = 0;
    const size_t first = size_t(chunk) * SEARCH_CHUNK, last = std::min(positions.size(), first + SEARCH_CHUNK);
    for (size_t i = first; i < last; i++) searched += SearchFromClearedTables(positions[i].fen.c_str(), depth);
    Settings = saved;
    LateMoveOutcomes = nullptr;
    std::string bytes;
    AppendBytes(bytes, &searched, 1);
    AppendBytes(bytes, counts.data(), counts.size());
    return bytes;
  });
  FlatCounts sum(FLAT_COUNTS_SIZE);
  FlatCounts part(FLAT_COUNTS_SIZE);
  for (const std::string &bytes : results) {
    const char *at = bytes.data();
    i64 searched;
    ReadBytes(at, &searched, 1);
    nodes += searched;
    ReadBytes(at, part.data(), part.size());
    for (size_t i = 0; i < sum.size(); i++) sum[i] += part[i];
  }
  return sum;
}

FlatCounts ScaleCounts(const FlatCounts &raw, int prior, double percentile, ScaleReport &report) {
  std::vector<Entry> entries;
  double cappedTrials = 0;
  for (int ending = 0; ending < 2; ending++)
    for (int code : COUNTED_CODES) {
      i64 successes = 0, trials = 0;
      for (int from = 0; from < 64; from++)
        for (int to = 0; to < 64; to++) {
          successes += raw[FlatIndex(ending, code, from, to, 0)];
          trials += raw[FlatIndex(ending, code, from, to, 1)];
        }
      report.successes += successes;
      report.trials += trials;
      const double mean = trials ? double(successes) / double(trials) : 0;
      for (int from = 0; from < 64; from++)
        for (int to = 0; to < 64; to++) {
          const size_t at = FlatIndex(ending, code, from, to, 0);
          const i64 s = raw[at], t = raw[at + 1];
          if (!t && !PossibleQuietMove(code, from, to)) continue;
          if (t && 1000.0 * double(s) / double(t) >= RATE_CAP) cappedTrials += double(t);
          entries.push_back({at, double(s) + prior * mean, double(t + prior), t});
        }
    }
  if (report.trials) report.cappedBefore = cappedTrials / double(report.trials);

  // The rate below which `percentile` of the observed trials fall.
  std::vector<const Entry *> seen;
  for (const Entry &e : entries)
    if (e.observed && e.trials > 0) seen.push_back(&e);
  std::sort(seen.begin(), seen.end(),
            [](const Entry *a, const Entry *b) { return a->successes / a->trials < b->successes / b->trials; });
  double below = 0, rateAtPercentile = 0;
  for (const Entry *e : seen) {
    below += double(e->observed);
    rateAtPercentile = e->successes / e->trials;
    if (below >= percentile * double(report.trials)) break;
  }
  report.factor = rateAtPercentile > 0 ? RATE_CAP / 1000 / rateAtPercentile : 1;

  FlatCounts scaled(raw.size());
  double cappedAfter = 0;
  for (const Entry &e : entries) {
    if (e.trials <= 0) continue;
    const i64 successes = std::llround(COUNT_UNIT * report.factor * e.successes);
    const i64 trials = std::llround(COUNT_UNIT * e.trials);
    scaled[e.at] = successes;
    scaled[e.at + 1] = trials;
    if (1000 * successes / trials >= RATE_CAP) cappedAfter += double(e.observed);
  }
  if (report.trials) report.cappedAfter = cappedAfter / double(report.trials);
  return scaled;
}

void PutPruneCounts(const FlatCounts &counts, std::vector<i64> &numbers) {
  const i64 *first = &PruneCounts[0][0][0][0][0];
  size_t at = 0;
  for (int e = 0; e < ValuesLayoutSize; e++) {
    const ValuesEntry &entry = ValuesLayout[e];
    if (entry.layout == Layout::CountPairs)
      for (int i = 0; i < entry.count; i++) numbers[at + size_t(i)] = counts[size_t(SlotOf(entry, i).wideTarget - first)];
    at += size_t(entry.count);
  }
}
