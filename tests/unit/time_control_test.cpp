// Time control: the plan computed from given clock values, and the decisions of TimeUp.
#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>

#include "board/board.h"
#include "shell/input.h"
#include "shell/settings.h"
#include "tests/unit/engine_fixture.h"
#include "tests/unit/open_input.h"
#include "think/time_control.h"

namespace {

class TimeControlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    InitEngineTables();  // the keyword matching of the input reads LowerCase
    saved = Settings;
    SettingsRecord &s = Settings;
    s.TimeLeft = -1;
    s.TimeIncrement = s.MovesPerSession = s.FixedMoveTime = s.UciMode = 0;
    s.SearchDepthLimit = 998;
    GameHistoryCount = 0;
  }
  void TearDown() override {
    Settings = saved;
    GameHistoryCount = 0;
    thread_board.SearchStopped = 0;
    InputBuffer[0] = '\0';
  }
  SettingsRecord saved;
};

TEST_F(TimeControlTest, TheWholeGameIsSharedOverTheEstimatedMovesToCome) {
  // time 30000, level 0 5 0, first move.
  Settings.TimeLeft = 30000;
  EXPECT_EQ(MovesToShareOver(), 45);
  EXPECT_EQ(AllocateTime(), 999);
  EXPECT_EQ(Settings.TargetTime, 633);
  EXPECT_EQ(Settings.HardTimeLimit, 4431);
  EXPECT_EQ(Settings.TimeCheckInterval, 50000);
  GameHistoryCount = 89;
  EXPECT_EQ(MovesToShareOver(), 26) << "the estimate is lowest around ply 90";
  GameHistoryCount = 700;
  EXPECT_EQ(MovesToShareOver(), 30) << "and rises slowly after it";
}

TEST_F(TimeControlTest, TheHardLimitCutsAPlanForTheLastMove) {
  // go wtime 1000 btime 1000 movestogo 1 in UCI.
  Settings.UciMode = 1;
  Settings.TimeLeft = 1000 / 10;
  Settings.MovesPerSession = 1;
  AllocateTime();
  EXPECT_EQ(Settings.TargetTime, 94);
  EXPECT_EQ(Settings.HardTimeLimit, 31);
  EXPECT_EQ(Settings.TimeCheckInterval, 5000);
  Settings.MovesPerSession = 40;
  EXPECT_EQ(MovesToShareOver(), 30) << "UCI takes at most 30 of the moves to go";
}

TEST_F(TimeControlTest, AnXboardControlRepeatsAfterItsMoves) {
  Settings.TimeLeft = 30000;
  Settings.MovesPerSession = 40;
  GameHistoryCount = 0;
  EXPECT_EQ(MovesToShareOver(), 30);
  GameHistoryCount = 78;  // move 40
  EXPECT_EQ(MovesToShareOver(), 1);
  GameHistoryCount = 80;  // move 41 starts the second session: 80 - 41 + 1, at most 30
  EXPECT_EQ(MovesToShareOver(), 30);
  GameHistoryCount = 158;  // move 80
  EXPECT_EQ(MovesToShareOver(), 1);
  AllocateTime();
  EXPECT_EQ(Settings.TargetTime, 28499);
  EXPECT_EQ(Settings.HardTimeLimit, 28499 / 3);
}

TEST_F(TimeControlTest, IncrementsStillToComeAreSharedOutToo) {
  Settings.TimeLeft = 1000;
  Settings.TimeIncrement = 100;
  AllocateTime();
  // usable 949; (949 - 100 + 45 * 100) / 45 = 118
  EXPECT_EQ(Settings.TargetTime, 118);
  EXPECT_EQ(Settings.HardTimeLimit, 316);
  EXPECT_EQ(Settings.TimeCheckInterval, 20000);
}

TEST_F(TimeControlTest, FixedTimeAndTheCheckIntervalBoundaries) {
  Settings.TimeLeft = 30000;
  const struct {
    i32 fixed, interval;
  } cases[] = {{301, 50000}, {300, 20000}, {101, 20000}, {100, 5000}};
  for (const auto &c : cases) {
    Settings.FixedMoveTime = c.fixed;
    EXPECT_EQ(AllocateTime(), 999);
    EXPECT_EQ(Settings.TargetTime, c.fixed);
    EXPECT_EQ(Settings.HardTimeLimit, c.fixed);
    EXPECT_EQ(Settings.TimeCheckInterval, c.interval) << c.fixed;
  }
}

TEST_F(TimeControlTest, WithoutAClockOnlyTheDepthLimits) {
  Settings.SearchDepthLimit = 5;
  Settings.FixedMoveTime = 500;  // st 5 with no time ever sent
  EXPECT_EQ(AllocateTime(), 5);
  EXPECT_EQ(Settings.TargetTime, 9999999);
  EXPECT_EQ(Settings.HardTimeLimit, 9999999);
  EXPECT_EQ(Settings.TimeCheckInterval, 50000);
  Settings.TimeLeft = 30000;  // sd 5 after a time command: the clock rules
  EXPECT_EQ(AllocateTime(), 999);
}

TEST_F(TimeControlTest, ExtremeClocksStayInRange) {
  Settings.UciMode = 1;
  Settings.TimeLeft = 999999999;  // go infinite with movestogo 1
  Settings.MovesPerSession = 1;
  AllocateTime();
  EXPECT_EQ(Settings.TargetTime, 949999998);
  EXPECT_EQ(Settings.HardTimeLimit, 316666666) << "seven shares overflow 32 bits";
  Settings.TimeLeft = 0;
  Settings.MovesPerSession = 0;
  AllocateTime();
  EXPECT_EQ(Settings.TargetTime, 1);
  EXPECT_LE(Settings.HardTimeLimit, 0);
}

class PlanTest : public TimeControlTest {
 protected:
  void SetUp() override {
    TimeControlTest::SetUp();
    Settings.TargetTime = 1000;
    Settings.HardTimeLimit = 5000;
    Settings.EasyMove = 1;
    Settings.RootFailLow = Settings.RootInTablebase = 0;
  }
};

TEST_F(PlanTest, AnIterationStartsOnlyBeforeThreeFifthsOfThePlan) {
  EXPECT_FALSE(PlanSpent(600, 1, 0));
  EXPECT_TRUE(PlanSpent(601, 1, 0));
  Settings.EasyMove = 0;  // a best move that changed: a quarter more
  EXPECT_FALSE(PlanSpent(750, 1, 0));
  EXPECT_TRUE(PlanSpent(751, 1, 0));
  Settings.RootFailLow = 1;  // 6 x 1250, capped by the hard limit
  EXPECT_FALSE(PlanSpent(3000, 1, 0));
  EXPECT_TRUE(PlanSpent(3001, 1, 0));
  Settings.EasyMove = 1;
  Settings.RootFailLow = 0;
  EXPECT_FALSE(PlanSpent(199, 1, 1)) << "shortened to a third: 333";
  EXPECT_TRUE(PlanSpent(200, 1, 1));
}

TEST_F(PlanTest, InTheTreeASearchRunsOnToFiveThirds) {
  EXPECT_FALSE(PlanSpent(1666, 0, 0));
  EXPECT_TRUE(PlanSpent(1667, 0, 0));
  Settings.HardTimeLimit = 1200;
  EXPECT_FALSE(PlanSpent(1200, 0, 0));
  EXPECT_TRUE(PlanSpent(1201, 0, 0));
  Settings.HardTimeLimit = 5000;
  // A shortened plan or a root in the tablebases ends at the plan itself.
  EXPECT_FALSE(PlanSpent(332, 0, 1));
  EXPECT_TRUE(PlanSpent(333, 0, 1));
  Settings.RootInTablebase = 1;
  EXPECT_FALSE(PlanSpent(999, 0, 0));
  EXPECT_TRUE(PlanSpent(1000, 0, 0));
}

class TimeUpTest : public PlanTest {
 protected:
  void SetUp() override {
    PlanTest::SetUp();
    SettingsRecord &s = Settings;
    s.SearchMaxDepth = 999;
    s.TimeCheckInterval = 50000;
    s.TimeCheckCountdown = -1;
    s.NodeLimit = s.Nodes = 0;
    s.PonderActive = s.PonderProbe = s.UciPonder = 0;
    // Far beyond any plan: these tests never depend on how fast they run.
    s.SearchStartTime = ClockCentiseconds() - 100000;
  }
  OpenEmptyInput input;
};

TEST_F(TimeUpTest, PonderingFixedDepthAndAnalysisNeverStopOnTime) {
  EXPECT_TRUE(TimeUp(0, 0));
  EXPECT_EQ(Settings.TimeCheckCountdown, 50000);
  Settings.SearchMaxDepth = 998;
  EXPECT_FALSE(TimeUp(1, 0));
  Settings.SearchMaxDepth = 999;
  Settings.UciPonder = 1;
  EXPECT_FALSE(TimeUp(1, 0));
  Settings.UciPonder = 0;
  Settings.PonderActive = 1;
  EXPECT_FALSE(TimeUp(1, 0));
  // The short search for a ponder move ends one second after the think began.
  Settings.PonderProbe = 1;
  EXPECT_TRUE(TimeUp(0, 0));
  EXPECT_EQ(Settings.PonderProbe, 0);
}

TEST_F(TimeUpTest, NodesAndInputEndASearchWithoutAClock) {
  Settings.SearchMaxDepth = 998;
  Settings.NodeLimit = 1000;
  Settings.Nodes = 999;
  EXPECT_FALSE(TimeUp(0, 0));
  Settings.Nodes = 1000;
  EXPECT_TRUE(TimeUp(0, 0));
  Settings.NodeLimit = 0;
  std::strcpy(InputBuffer, "isready\n");
  testing::internal::CaptureStdout();
  EXPECT_FALSE(TimeUp(0, 0));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "readyok\n");
  std::strcpy(InputBuffer, "stop\n");
  EXPECT_TRUE(TimeUp(0, 0));
  EXPECT_EQ(thread_board.SearchStopped, 1);
}

TEST_F(TimeUpTest, UciSpeedLinesComeOnlyOnceASearchIsBig) {
  SettingsRecord &s = Settings;
  s.UciMode = 1;
  s.SearchMaxDepth = 998;
  s.InfoCountdown = 0;
  s.Nodes = 200000;
  testing::internal::CaptureStdout();
  TimeUp(0, 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(s.InfoCountdown, 2) << "100000 / the check interval";
  s.InfoCountdown = 0;
  s.Nodes = 200001;
  testing::internal::CaptureStdout();
  TimeUp(0, 0);
  const std::string line = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(std::regex_match(line, std::regex("info nps \\d+ nodes 200001 tbhits \\d+ hashfull -?\\d+\n"))) << line;
  EXPECT_EQ(s.InfoCountdown, 2);
}

}  // namespace
