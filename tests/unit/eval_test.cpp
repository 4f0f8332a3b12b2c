// The evaluation pass: colour and board symmetry, the report, and the file of evaluations.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "eval/eval.h"
#include "shell/settings.h"
#include "tests/unit/file_mirror.h"
#include "tests/unit/move_list.h"
#include "tools/epd_eval.h"
#include "tests/unit/values_loading.h"

namespace {

using namespace movetest;

class EvalTest : public EngineTest {
 protected:
  static void SetUpTestSuite() { InitEngineTables(); }
  static void TearDownTestSuite() { LoadCompiledDefaults(); }
};

// Every position and its colour-swapped image score alike for the side to move, with the compiled-in
// values and with the repository's values.txt. The blends shift right arithmetically, which rounds a sum good
// for Black and the same sum good for White apart by a unit at each of the two shifts: two units are allowed.
constexpr i32 ROUNDING = 2;

TEST_F(EvalTest, ColourSwapScoresAlike) {
  const std::vector<SamplePosition> &sample = WalkSample();
  ASSERT_GE(sample.size(), 1000u);
  for (const bool repository : {false, true}) {
    repository ? LoadRepositoryValues() : LoadCompiledDefaults();
    int differences = 0;
    for (const SamplePosition &position : sample) {
      Reach(position);
      const std::string fen = CurrentFen();
      const i32 score = EvaluateFen(fen), mirrored = EvaluateFen(MirrorFen(fen));
      if (std::abs(score - mirrored) > ROUNDING && differences++ < 5)
        ADD_FAILURE() << fen << ": " << score << " vs " << mirrored;
    }
    EXPECT_EQ(differences, 0) << (repository ? "values.txt" : "compiled-in values");
  }
}

// Left and right alike, where no castling right tells them apart.
TEST_F(EvalTest, FileMirrorScoresAlike) {
  LoadRepositoryValues();
  const FileMirrorCount count = CompareFileMirrors();
  EXPECT_GT(count.compared, 300);
  EXPECT_EQ(count.differences, 0) << count.firstDifferences;
}

TEST_F(EvalTest, StartPositionAndMaterialScore) {
  LoadRepositoryValues();
  const i32 white = EvaluateFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
  EXPECT_EQ(thread_eval_info.MaterialScore, 0);
  const i32 black = EvaluateFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1");
  EXPECT_EQ(white, black);
  // A queen up is worth most of a queen to the side that has it, and costs it to the other.
  const i32 up = EvaluateFen("rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
  EXPECT_GT(up, 700);
  EXPECT_LT(EvaluateFen("rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1"), -700);
  // Bare kings are a draw, and so is a lone minor piece.
  EXPECT_EQ(EvaluateFen("8/8/8/4k3/8/8/8/4K3 w - - 0 1"), 0);
  EXPECT_EQ(EvaluateFen("8/8/8/4k3/8/8/8/2B1K3 w - - 0 1"), 0);
  // Three queens leave the table: the evaluation still runs and sees the material.
  EXPECT_GT(EvaluateFen("4k3/8/8/8/8/8/8/QQQ1K3 w - - 0 1"), 2000);
}

TEST_F(EvalTest, EvaluationsFileRepeatsEachLineWithItsScore) {
  char folder[] = "/tmp/quarvelle-epd-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  char home[4096];
  ASSERT_NE(getcwd(home, sizeof home), nullptr);
  ASSERT_EQ(chdir(folder), 0);
  {
    std::ofstream in("in.epd");
    in << "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1\n8/8/8/4k3/8/8/8/4K3 b - - 0 1\n";
  }
  EvaluateEpdFile("in.epd");
  std::ifstream out("out.epd");
  std::string text((std::istreambuf_iterator<char>(out)), std::istreambuf_iterator<char>());
  const std::string startScore = std::to_string(EvaluateFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"));
  EXPECT_EQ(text, "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1\n;" + startScore +
                      "\n8/8/8/4k3/8/8/8/4K3 b - - 0 1\n;0\n");
  // A missing file makes no output file and no trouble.
  std::remove("out.epd");
  EvaluateEpdFile("missing.epd");
  EXPECT_FALSE(std::ifstream("out.epd").good());
  std::remove("in.epd");
  ASSERT_EQ(chdir(home), 0);
  rmdir(folder);
}

}  // namespace
