// Forced mates in one to four moves from real games, each confirmed by a deep Stockfish search when the
// suite was built (tests/data/make_mate_suite.py): a fixed-depth search finds every one with its exact distance.
#include <fstream>
#include <string>
#include <vector>

#include "board/movegen.h"
#include "board/position.h"
#include "search/statistics.h"
#include "tests/unit/move_list.h"
#include "tests/unit/values_loading.h"
#include "tools/bench.h"

namespace {

struct MateCase {
  std::string fen;
  int moves;
};

std::vector<MateCase> ReadMateSuite() {
  std::vector<MateCase> cases;
  std::ifstream in(movetest::TestDataDirectory() + "/mates.epd");
  for (std::string line; std::getline(in, line);) {
    const size_t bm = line.find(" bm "), dm = line.find("dm ");
    if (bm == std::string::npos || dm == std::string::npos) continue;
    cases.push_back({line.substr(0, bm), std::stoi(line.substr(dm + 3))});
  }
  return cases;
}

class MateSuiteTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    LoadRepositoryValues();
    saved_ = QuietFixedDepthSettings();
  }
  void TearDown() override {
    Settings = saved_;
    LoadCompiledDefaults();  // the values the other tests expect
  }
  SettingsRecord saved_;
};

TEST_F(MateSuiteTest, EveryMateIsFoundAtItsDistance) {
  const std::vector<MateCase> cases = ReadMateSuite();
  ASSERT_GE(cases.size(), 50u);
  int counts[5] = {};
  for (const MateCase &c : cases) {
    SCOPED_TRACE(c.fen);
    counts[c.moves]++;
    // Four plies beyond the mate leave room for the checks and replies the pruning shortens.
    SearchFromClearedTables(c.fen.c_str(), 2 * c.moves + 4);
    EXPECT_EQ(RootScore[0], MATE_SCORE - (2 * c.moves - 1)) << "mate in " << c.moves;
    if (c.moves == 1) {
      make_move(MoveStack[0].Move, 1);
      EXPECT_TRUE(movetest::SideToMoveInCheck() && movetest::ReferenceLegalMoves().empty());
      unmake_move();
    }
  }
  for (int n = 1; n <= 4; n++) EXPECT_GE(counts[n], 10) << "mates in " << n;
}

}  // namespace
