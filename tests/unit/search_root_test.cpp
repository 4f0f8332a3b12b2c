// The root: aspiration widths and the material window.
#include <gtest/gtest.h>

#include "search/parameters.h"
#include "shell/settings.h"
#include "tests/unit/engine_fixture.h"
#include "think/search_root.h"

namespace {

TEST(AspirationTest, WidthByIterationAndScore) {
  EXPECT_EQ(AspirationWidth(0, 0), 47);
  EXPECT_EQ(AspirationWidth(16, 0), 8);
  EXPECT_EQ(AspirationWidth(40, 0), 8);
  EXPECT_EQ(AspirationWidth(30, 500), 42);
  // The score index stops at 63: a score of 1000 at the first iteration.
  EXPECT_EQ(AspirationWidth(0, 1000), 238);
  EXPECT_EQ(AspirationWidth(0, -1000), 238);
}

class MaterialWindowTest : public EngineTest {};

TEST_F(MaterialWindowTest, BandAroundScoreAndMaterial) {
  LoadFen("4k3/8/8/8/8/8/8/R3K3 w - - 0 1");
  Settings.RootSide = WHITE;
  RootScore[0] = 450;
  SetMaterialWindow(2);
  // The band reaches from the lower of score and material to the higher, widened by margins.
  const int c = 450 / WindowScoreDivisorLow > 150 ? 150 : 450 / WindowScoreDivisorLow;
  EXPECT_EQ(Settings.RootMaterial, 500);
  EXPECT_EQ(Settings.MaterialWindowLow, 450 - WindowMarginLow - 2 * WindowPerIterationLow + c);
  EXPECT_EQ(Settings.MaterialWindowHigh, 500 + WindowMarginHigh + 2 * WindowPerIterationHigh + c);
  // Seen from Black, the same position is a rook down.
  Settings.RootSide = BLACK;
  RootScore[0] = -450;
  SetMaterialWindow(0);
  EXPECT_EQ(Settings.RootMaterial, -500);
  EXPECT_LT(Settings.MaterialWindowLow, -500);
  EXPECT_GT(Settings.MaterialWindowHigh, -450);
}

}  // namespace
