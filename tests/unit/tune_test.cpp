// The tuner: data lines, the quiescence walk, the Jacobian against the engine's own evaluation, the fit on data
// made from a known evaluation, its output through the values tool, and the gathering of PruneCounts.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "eval/values.h"
#include "eval/values_layout.h"
#include "search/hash.h"
#include "tests/unit/engine_fixture.h"
#include "tests/unit/file_mirror.h"
#include "tests/unit/values_loading.h"
#include "tools/bench.h"
#include "tools/tune/fit.h"
#include "tools/tune/named_output.h"
#include "tools/tune/prune_counts.h"

namespace {

// FENs along seeded random games from the start, taken every few plies after the first moves.
std::vector<std::string> RandomGameFens(size_t count, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<std::string> fens;
  char text[96];
  while (fens.size() < count) {
    SetStartPosition();
    for (int ply = 0; ply < 80 && fens.size() < count; ply++) {
      MoveStackTop = 0;
      LegalMoves(0);
      if (MoveStackTop == 0) break;
      MakeGameMove(MoveStack[random() % MoveStackTop].Move);
      if (ply >= 6 && random() % 3 == 0) fens.push_back(PositionText(text));
    }
  }
  MoveStackTop = 0;
  return fens;
}

std::vector<LabelledPosition> QuietPositions(size_t count, unsigned seed) {
  std::vector<LabelledPosition> positions;
  BoardRecord quiet;
  int label = 0;
  for (const std::string &fen : RandomGameFens(count, seed))
    if (ResolveQuiet(fen.c_str(), quiet)) positions.push_back({quiet, 0.5f * float(label++ % 3)});
  return positions;
}

std::vector<TunedNumber> NumbersOf(const std::string &groups) {
  std::vector<TunedNumber> numbers;
  std::string error;
  EXPECT_TRUE(SelectNumbers(groups, numbers, error)) << error;
  return numbers;
}

// The hand-set values with the tuner's settings; the compiled-in values and the settings again afterwards, as
// the other tests expect them.
class TuneTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    saved_ = Settings;
    LoadRepositoryValues();
    SetTuningSettings();
    ClearHash();
    ClearEvalCache();
  }
  void TearDown() override {
    Settings = saved_;
    LoadCompiledDefaults();
  }

 private:
  SettingsRecord saved_;
};

TEST(TuneData, LinesOfBothFormats) {
  LabelledFen out;
  ASSERT_TRUE(ParseLabelledLine("8/8/8/8/8/8/4K3/k7 b - - 0 40;0.0", out));
  EXPECT_EQ(out.fen, "8/8/8/8/8/8/4K3/k7 b - - 0 40");
  EXPECT_EQ(out.result, 0.0f);
  // pgneval's codes are for the side to move: 1 won, 2 lost, 0 drawn.
  ASSERT_TRUE(ParseLabelledLine("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - ;e7e5;140;141;1", out));
  EXPECT_EQ(out.fen, "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - ");
  EXPECT_EQ(out.result, 0.0f);
  ASSERT_TRUE(ParseLabelledLine("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ;e2e4;140;141;2", out));
  EXPECT_EQ(out.result, 0.0f);
  ASSERT_TRUE(ParseLabelledLine("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ;e2e4;140;141;0", out));
  EXPECT_EQ(out.result, 0.5f);
  for (const char *bad : {"", "no fen;1.0", "8/8/8/8/8/8/4K3/k7 b - - 0 40;1.5", "8/8/8/8/8/8/4K3/k7 b - -;x",
                          "8/8/8/8/8/8/4K3/k7 b - - ;e2e4;1;2;3", "8/8/8/8/8/8/4K3/k7 b - -;1;2"})
    EXPECT_FALSE(ParseLabelledLine(bad, out)) << bad;
}

TEST(TuneData, DrawsEachPositionOnceAndNoneTakenBefore) {
  const std::vector<LabelledFen> pool = {{"8/8/8/8/8/8/4K3/k7 b - - 0 40", 0},
                                         {"8/8/8/8/8/8/4K3/k7 b - - 3 57", 1},  // the same but for the counters
                                         {"8/8/8/8/8/8/4K3/k7 w - - 0 40", 1},
                                         {"8/8/8/8/8/8/3K4/k7 b - - 0 40", 0.5f}};
  std::vector<std::string> taken;
  const std::vector<LabelledFen> first = DrawPositions(pool, 10, 7, taken);
  EXPECT_EQ(first.size(), 3u);
  EXPECT_EQ(taken.size(), 3u);
  EXPECT_TRUE(DrawPositions(pool, 10, 8, taken).empty());
}

TEST_F(TuneTest, QuiescenceWalkPlaysOutCapturesAndDropsMates) {
  BoardRecord quiet;
  ASSERT_TRUE(ResolveQuiet("4k3/8/8/3q4/8/8/3R4/4K3 w - - 0 1", quiet));  // the queen hangs
  EXPECT_EQ(quiet.Queens[BLACK], 0u);
  EXPECT_EQ(quiet.SideToMove, BLACK);
  ASSERT_TRUE(ResolveQuiet("4k3/8/8/8/8/8/3R4/4K3 w - - 0 1", quiet));
  EXPECT_EQ(quiet.Rooks[WHITE], Bit(11));
  EXPECT_EQ(quiet.SideToMove, WHITE);
  EXPECT_FALSE(ResolveQuiet("3r2k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1", quiet));  // Rxd8 mates
}

TEST_F(TuneTest, EvenMaterialWantsEqualPiecesByKind) {
  const auto even = [](const char *fen, int pawnDifference) {
    LoadFen(fen);
    return EvenMaterial(thread_board, pawnDifference);
  };
  EXPECT_TRUE(even("r3k3/pp6/8/8/8/8/P7/R3K3 w - - 0 1", 1));
  EXPECT_FALSE(even("r3k3/pp6/8/8/8/8/P7/R3K3 w - - 0 1", 0));
  EXPECT_FALSE(even("r3k3/ppp5/8/8/8/8/P7/R3K3 w - - 0 1", 1));
  EXPECT_FALSE(even("r3kn2/8/8/8/8/8/8/R3KB2 w - - 0 1", 8));  // a knight against a bishop
  EXPECT_FALSE(even("r3k3/8/8/8/8/8/8/R2QK3 w - - 0 1", 8));
}

TEST_F(TuneTest, ScalingConstantOfResultsMadeWithAKnownOne) {
  std::vector<LabelledPosition> positions = QuietPositions(300, 5);
  i64 evaluations = 0;
  const std::vector<i32> scores = EvaluateAll(positions, 1, evaluations);
  for (size_t i = 0; i < positions.size(); i++) positions[i].result = float(ExpectedResult(scores[i], 0.7));
  EXPECT_NEAR(FitScalingConstant(scores, positions), 0.7, 0.01);
}

// The tuner's gradient, from its Jacobian, against a central difference of the error of the engine's own
// evaluation with each number moved: a position that the bisection loses shows here.
TEST_F(TuneTest, GradientAgreesWithDifferencesOfTheEvaluation) {
  const std::vector<LabelledPosition> positions = QuietPositions(400, 11);
  const std::vector<TunedNumber> numbers = NumbersOf(DEFAULT_GROUPS);
  const double k = 0.6;
  const int step = 8;
  i64 evaluations = 0;
  const std::vector<i32> base = EvaluateAll(positions, 1, evaluations);
  const std::vector<Column> columns = Linearise(positions, base, numbers, step, 1, evaluations);
  const std::vector<double> gradient = ErrorGradient(columns, std::vector<double>(base.begin(), base.end()), positions, k);
  const std::vector<i32> values = CurrentNumbers(numbers);
  int nonZero = 0;
  for (size_t j = 0; j < numbers.size(); j += 37) {
    std::vector<i32> moved = values;
    moved[j] += step;
    SetNumbers(numbers, moved);
    const double up = MeanError(EvaluateAll(positions, 1, evaluations), positions, k);
    moved[j] -= 2 * step;
    SetNumbers(numbers, moved);
    const double down = MeanError(EvaluateAll(positions, 1, evaluations), positions, k);
    SetNumbers(numbers, values);
    const double difference = (up - down) / (2 * step);
    nonZero += difference != 0;
    EXPECT_NEAR(gradient[j], difference, 1e-7 + 0.02 * std::abs(difference)) << numbers[j].table;
  }
  EXPECT_GT(nonZero, 20);
}

// The bisection, shared among processes, against a central difference of every number over every position.
TEST_F(TuneTest, BisectionFindsEveryPositionThatANumberMoves) {
  const std::vector<LabelledPosition> positions = QuietPositions(200, 13);
  const std::vector<TunedNumber> numbers = NumbersOf(DEFAULT_GROUPS);
  const int step = 8;
  i64 evaluations = 0;
  const std::vector<i32> base = EvaluateAll(positions, 2, evaluations);
  const std::vector<Column> columns = Linearise(positions, base, numbers, step, 2, evaluations);
  const std::vector<i32> values = CurrentNumbers(numbers);
  size_t entries = 0;
  for (size_t j = 0; j < numbers.size(); j++) {
    SetNumber(numbers[j], values[j] + step);
    BuildTablesExceptMaterial();
    const std::vector<i32> up = EvaluateAll(positions, 1, evaluations);
    SetNumber(numbers[j], values[j] - step);
    BuildTablesExceptMaterial();
    const std::vector<i32> down = EvaluateAll(positions, 1, evaluations);
    SetNumber(numbers[j], values[j]);
    Column dense;
    for (size_t p = 0; p < positions.size(); p++)
      if (up[p] != down[p]) {
        dense.positions.push_back(u32(p));
        dense.slopes.push_back(float(up[p] - down[p]) / (2 * step));
      }
    entries += dense.positions.size();
    ASSERT_EQ(columns[j].positions, dense.positions) << numbers[j].table;
    ASSERT_EQ(columns[j].slopes, dense.slopes) << numbers[j].table;
  }
  BuildTablesExceptMaterial();
  EXPECT_GT(entries, 5000u);
}

// Each tuned number moved its own way: a number by square takes its file mirror along, so no position scores
// apart from its mirror; moved alone, they do.
TEST_F(TuneTest, TiedNumbersKeepPositionsAndTheirFileMirrorsAlike) {
  const std::vector<TunedNumber> numbers = NumbersOf(DEFAULT_GROUPS);
  std::vector<i32> values = CurrentNumbers(numbers);
  std::mt19937 random(5);
  for (i32 &value : values) value += i32(random() % 41) - 20;
  SetNumbers(numbers, values);
  ClearEvalCache();
  const FileMirrorCount tied = CompareFileMirrors();
  EXPECT_GT(tied.compared, 300);
  EXPECT_EQ(tied.differences, 0) << tied.firstDifferences;

  size_t pairs = 0;
  for (const TunedNumber &n : numbers)
    if (n.mirrorSlot) pairs++, *n.slot += 50;
  EXPECT_GT(pairs, 1500u);  // the wing tables, cages and pawn tables by square
  BuildTablesExceptMaterial();
  ClearEvalCache();
  EXPECT_GT(CompareFileMirrors().differences, 0);
}

// Results made by the engine's evaluation with known mobility values; the fit starts from the hand-set values
// and has to find the known ones where enough positions tell them.
TEST_F(TuneTest, FitRecoversValuesThatMadeTheResults) {
  std::vector<LabelledPosition> positions = QuietPositions(3000, 17);
  std::vector<TunedNumber> numbers;
  for (const TunedNumber &n : NumbersOf("mobility"))
    if (std::string(n.table).rfind("Knight", 0) == 0 || std::string(n.table).rfind("Bishop", 0) == 0)
      numbers.push_back(n);
  const double k = 0.5;
  const std::vector<i32> start = CurrentNumbers(numbers);
  std::vector<i32> known = start;
  for (size_t j = 0; j < known.size(); j++) known[j] += 10 * (int(j % 5) - 2);
  SetNumbers(numbers, known);
  i64 evaluations = 0;
  const std::vector<i32> scores = EvaluateAll(positions, 1, evaluations);
  for (size_t i = 0; i < positions.size(); i++) positions[i].result = float(ExpectedResult(scores[i], k));
  SetNumbers(numbers, start);
  const std::vector<Column> columns = Linearise(positions, EvaluateAll(positions, 1, evaluations), numbers, 8, 1, evaluations);

  FitOptions options;
  options.rounds = 3;
  options.epochs = 400;
  options.rate = 0.5;
  options.l2 = 0;
  FILE *log = std::tmpfile();
  const FitResult result = Fit(positions, numbers, k, options, log);
  std::fclose(log);
  EXPECT_LT(result.trainAfter, 0.05 * result.trainBefore);
  EXPECT_EQ(CurrentNumbers(numbers), result.values);  // the tables hold the result
  int told = 0;
  for (size_t j = 0; j < numbers.size(); j++) {
    if (columns[j].positions.size() < 300) continue;
    told++;
    EXPECT_NEAR(result.values[j], known[j], 2) << numbers[j].table << " " << j;
  }
  EXPECT_GT(told, 15);
}

TEST(TuneGroups, EveryTableOfEveryGroupHasNumbersInTheFile) {
  for (const TermGroup &group : TermGroups())
    for (const char *table : group.tables) {
      bool found = false;
      for (int e = 0; e < ValuesLayoutSize && !found; e++)
        for (int i = 0; i < ValuesLayout[e].count && !found; i++) {
          const char *name = TableNameOf(ValuesLayout[e], i);
          found = name && std::string(name) == table;
        }
      EXPECT_TRUE(found) << group.name << ": " << table;
    }
  std::vector<TunedNumber> numbers;
  std::string error;
  ASSERT_TRUE(SelectNumbers("rooks,rooks", numbers, error));
  EXPECT_EQ(numbers.size(), NumbersOf("rooks").size());
  EXPECT_FALSE(SelectNumbers("mobility,material", numbers, error));
  EXPECT_EQ(error, "unknown group of terms: material");
}

TEST(TuneOutput, NamesAndValuesWrittenThroughTheValuesTool) {
  char folder[] = "/tmp/quarvelle-tune-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::string names = std::string(folder) + "/names.txt", values = std::string(folder) + "/values.txt";
  std::vector<i64> numbers = CompiledDefaults();
  numbers[0] += 7;
  numbers.back() -= 3;
  std::string error;
  ASSERT_TRUE(WriteNamedValues(numbers, "a test", names.c_str(), values.c_str(), error)) << error;
  ValuesText written;
  ASSERT_TRUE(ReadValuesText(values.c_str(), written, error));
  EXPECT_EQ(written.numbers, numbers);
  FILE *file = std::fopen(names.c_str(), "r");
  char line[256];
  int lines = 0;
  while (std::fgets(line, sizeof line, file)) lines++;
  std::fclose(file);
  EXPECT_EQ(lines, 3);  // the heading and the two numbers that differ from their defaults
  std::remove(names.c_str());
  std::remove(values.c_str());
  rmdir(folder);
}

TEST_F(TuneTest, CountingLateMovesLeavesTheSearchAsItIs) {
  const char *fen = "r1bqkb1r/pppp1ppp/2n2n2/4p3/2B1P3/5N2/PPPP1PPP/RNBQK2R w KQkq - 4 4";
  const SettingsRecord saved = QuietFixedDepthSettings();
  const i64 plain = SearchFromClearedTables(fen, 7);
  FlatCounts counts(FLAT_COUNTS_SIZE);
  LateMoveOutcomes = reinterpret_cast<LateMoveCountTable *>(counts.data());
  EXPECT_EQ(SearchFromClearedTables(fen, 7), plain);
  LateMoveOutcomes = nullptr;
  Settings = saved;
}

// Black's moves are kept on mirrored squares, so every pawn move counted goes up the board.
TEST_F(TuneTest, GatheredOutcomesAreQuietMovesSeenFromWhite) {
  i64 nodes = 0;
  const FlatCounts counts = GatherOutcomes({{"r1bqkb1r/pppp1ppp/2n2n2/4p3/2B1P3/5N2/PPPP1PPP/RNBQK2R w KQkq - 4 4", 1},
                                            {"2r3k1/pp3ppp/4pn2/3p4/3P4/2N1PN2/PP3PPP/2R3K1 b - - 0 20", 0.5f}},
                                           7, 2, nodes);
  EXPECT_GT(nodes, 0);
  i64 trials = 0;
  for (size_t i = 0; i < counts.size(); i += 2) {
    ASSERT_LE(counts[i], counts[i + 1]);
    if (!counts[i + 1]) continue;
    trials += counts[i + 1];
    const size_t move = i / 2, to = move % 64, from = move / 64 % 64, code = move / 4096 % 8;
    EXPECT_TRUE(code == KING || code == KNIGHT || code == PAWN || code == ROOK || code == BISHOP || code == QUEEN);
    if (code == PAWN) {
      EXPECT_GT(to, from);
    }
  }
  EXPECT_GT(trials, 100);
}

TEST_F(TuneTest, ScaledCountsSpreadTheRatesBelowTheCap) {
  FlatCounts raw(FLAT_COUNTS_SIZE);
  auto put = [&](int code, int from, int to, i64 successes, i64 trials) {
    const size_t at = ((size_t(code) * 64 + size_t(from)) * 64 + size_t(to)) * 2;
    raw[at] = successes;
    raw[at + 1] = trials;
  };
  put(KNIGHT, 1, 18, 30, 1000);  // b1c3: 3 %, the move at the 90th percentile of the trials
  put(KNIGHT, 6, 21, 10, 1000);  // g1f3: 1 %
  put(KNIGHT, 1, 16, 2, 1000);   // b1a3: 0.2 %
  ScaleReport report;
  std::vector<i64> numbers = CompiledDefaults();
  PutPruneCounts(ScaleCounts(raw, 0, 0.9, report), numbers);
  EXPECT_NEAR(report.factor, 1.0 / 3, 1e-9);
  EXPECT_NEAR(report.cappedBefore, 2.0 / 3, 1e-9);
  EXPECT_NEAR(report.cappedAfter, 1.0 / 3, 1e-9);

  LoadNumbers(numbers);
  EXPECT_EQ(PruneStats[0][0][1 + 64 * 18][WHITE], 10);
  EXPECT_EQ(PruneStats[0][0][57 + 64 * 42][BLACK], 10);  // b8c6
  EXPECT_EQ(PruneStats[0][0][6 + 64 * 21][WHITE], 3);
  EXPECT_EQ(PruneStats[0][0][1 + 64 * 16][WHITE], 0);

  // With a prior every possible move of the piece takes a rate, the unseen ones its mean; impossible ones none.
  const FlatCounts withPrior = ScaleCounts(raw, 20, 0.9, report);
  const size_t b1d2 = (size_t(KNIGHT) * 64 + 1) * 64 + 11, b1b2 = (size_t(KNIGHT) * 64 + 1) * 64 + 9;
  EXPECT_EQ(withPrior[2 * b1d2 + 1], 20000);
  EXPECT_NEAR(1000.0 * double(withPrior[2 * b1d2]) / double(withPrior[2 * b1d2 + 1]),
              1000.0 * report.factor * 42 / 3000, 0.05);
  EXPECT_EQ(withPrior[2 * b1b2 + 1], 0);
}

}  // namespace
