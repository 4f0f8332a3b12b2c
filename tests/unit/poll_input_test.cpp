// Commands during a search: what each line does to Settings and to SearchStopped, and the moves.
#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>

#include "board/movegen.h"
#include "shell/commands.h"
#include "shell/input.h"
#include "shell/poll_input.h"
#include "shell/settings.h"
#include "tests/unit/engine_fixture.h"
#include "tests/unit/open_input.h"
#include "think/time_control.h"

namespace {

class PollInputTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    saved = Settings;
    Reset();
  }
  static void Reset() {
    SettingsRecord &s = Settings;
    s.PonderActive = s.PonderMiss = s.PonderReply = s.PonderGuess = s.UciPonder = 0;
    s.AnalyzeUndo = s.AnalyzeExit = s.NewGameRequested = s.ForceMode = 0;
    s.PostThinking = 1;
    s.Pondering = s.PonderingOn = 1;
    s.TimeLeft = 3000;
    s.PonderMoveListEnd = 0;
    thread_board.SearchStopped = 0;
  }
  void TearDown() override {
    Settings = saved;
    thread_board.SearchStopped = 0;
    InputBuffer[0] = '\0';
  }

  // Feeds the text as if it had been read, polls, and returns what was printed.
  static std::string Poll(const char *text) {
    std::strcpy(InputBuffer, text);
    testing::internal::CaptureStdout();
    PollInput();
    return testing::internal::GetCapturedStdout();
  }
  // The opponent's legal replies in the start position, as the think driver lists them.
  static void ListReplies() {
    LegalMoves(PONDER_LIST_START);
    Settings.PonderMoveListEnd = MoveStackTop;
    MoveStackTop = 0;
  }
  static u32 Move(const char *text) { return FindLegalReply(ParseMoveText(text)); }

  SettingsRecord saved;
  OpenEmptyInput input;
};

TEST_F(PollInputTest, StopCommandsEndTheSearchAndDropThePonder) {
  const struct {
    const char *line;
    i32 SettingsRecord::*flag;
    i32 value;
    bool dropsPonder;
  } rows[] = {
      {"stop\n", &SettingsRecord::UciPonder, 0, true},   {"?\n", &SettingsRecord::UciPonder, 0, true},
      {"s\n", &SettingsRecord::UciPonder, 0, true},      {"new\n", &SettingsRecord::NewGameRequested, 1, true},
      {"n\n", &SettingsRecord::NewGameRequested, 1, true}, {"r\n", &SettingsRecord::PonderActive, 1, true},
      {"post\n", &SettingsRecord::PostThinking, 1, true}, {"pos\n", &SettingsRecord::PostThinking, 1, true},
      {"no\n", &SettingsRecord::PostThinking, 0, true},  {"force\n", &SettingsRecord::ForceMode, 1, true},
      {"hard\n", &SettingsRecord::PonderingOn, 1, true}, {"ea\n", &SettingsRecord::PonderingOn, 0, true},
      {"undo\n", &SettingsRecord::AnalyzeUndo, 1, false}, {"e\n", &SettingsRecord::AnalyzeExit, 1, false},
  };
  for (const auto &row : rows) {
    Reset();
    Settings.PonderActive = 1;
    Settings.UciPonder = 1;
    Settings.PonderReply = 99;
    Settings.PonderingOn = row.value ? 0 : 1;
    Settings.PostThinking = row.value ? 0 : 1;
    EXPECT_EQ(Poll(row.line), "") << row.line;
    EXPECT_EQ(thread_board.SearchStopped, 1) << row.line;
    EXPECT_EQ(Settings.*row.flag, row.value) << row.line;
    EXPECT_EQ(Settings.PonderMiss, row.dropsPonder ? 1 : 0) << row.line;
    EXPECT_EQ(Settings.PonderReply, row.dropsPonder ? 0 : 99) << row.line;
    const bool clearsUciPonder = row.line[0] == 's' || row.line[0] == '?';
    EXPECT_EQ(Settings.UciPonder, clearsUciPonder ? 0 : 1) << "only stop clears it: " << row.line;
  }
}

TEST_F(PollInputTest, WithoutAPonderStopsLeaveTheGuessAlone) {
  Poll("result\n");
  EXPECT_EQ(thread_board.SearchStopped, 1);
  EXPECT_EQ(Settings.PonderMiss, 0);
  Settings.Pondering = 0;
  Settings.PonderingOn = 0;
  Poll("hard\n");
  EXPECT_EQ(Settings.PonderingOn, 0) << "hard can't switch on what the settings forbid";
}

TEST_F(PollInputTest, SomeLinesLetTheSearchGoOnAndTheNextLineIsServed) {
  Settings.UciPonder = 1;
  EXPECT_EQ(Poll("isready\npo\nsetoption name Hash value 1\notim 500\nbogus\n"), "readyok\n");
  EXPECT_EQ(thread_board.SearchStopped, 0);
  EXPECT_EQ(Settings.UciPonder, 0) << "\"po\" is ponderhit";
  EXPECT_EQ(Settings.TimeLeft, 3000);
  EXPECT_EQ(Settings.TranspositionSize, saved.TranspositionSize) << "setoption is dropped";
  EXPECT_STREQ(InputBuffer, "");

  // time updates the clock; during a ponder the search goes on.
  Settings.PonderActive = 1;
  Poll("time 500\nisready\n");
  EXPECT_EQ(Settings.TimeLeft, 500);
  EXPECT_EQ(thread_board.SearchStopped, 0);
  EXPECT_STREQ(InputBuffer, "");
  Settings.PonderActive = 0;
  Poll("time 700\nstop\n");
  EXPECT_EQ(Settings.TimeLeft, 700);
  EXPECT_EQ(thread_board.SearchStopped, 1);
  EXPECT_STREQ(InputBuffer, "stop\n") << "a line that ends the poll leaves the rest for later";
  thread_board.SearchStopped = 0;
  Poll("t\n");
  EXPECT_EQ(Settings.TimeLeft, 0);
}

TEST_F(PollInputTest, AHalfLineWaitsForItsEnd) {
  Poll("sto");
  EXPECT_EQ(thread_board.SearchStopped, 0);
  std::strcat(InputBuffer, "p\r\n");
  PollInput();
  EXPECT_EQ(thread_board.SearchStopped, 1) << "a CR LF line end reads as a trailing blank";
}

TEST_F(PollInputTest, DotPrintsTheStat01LineAndEndsThePoll) {
  SettingsRecord &s = Settings;
  s.SearchStartTime = ClockCentiseconds();
  s.Nodes = 1234;
  s.Iteration = 4;
  s.RootMoveCount = 20;
  s.RootMoveIndex = 3;
  s.RootPly = GameHistoryCount;
  GameHistory[s.RootPly].Move = MakeMove(12, 28, PAWN, NONE);
  const std::string line = Poll(".\nisready\n");
  EXPECT_TRUE(std::regex_match(line, std::regex("stat01: \\d+ 1234 5 17 21 e2e4\n"))) << line;
  EXPECT_EQ(thread_board.SearchStopped, 0);
  EXPECT_STREQ(InputBuffer, "isready\n");
}

TEST_F(PollInputTest, ARightGuessTurnsThePonderIntoTheRealSearch) {
  ListReplies();
  Settings.PonderActive = 1;
  Settings.PonderGuess = i32(Move("e2e4"));
  EXPECT_EQ(Poll("e2e4\n"), "");
  EXPECT_EQ(thread_board.SearchStopped, 0);
  EXPECT_EQ(Settings.PonderActive, 0);
  EXPECT_EQ(Settings.PonderMiss, 0);
  EXPECT_EQ(u32(Settings.PonderReply), MakeMove(12, 28, PAWN, NONE));
}

TEST_F(PollInputTest, AnotherLegalMoveStopsAndAnIllegalOneIsReported) {
  ListReplies();
  Settings.PonderActive = 1;
  Settings.PonderGuess = i32(Move("d2d4"));
  Poll("g1f3\n");
  EXPECT_EQ(thread_board.SearchStopped, 1);
  EXPECT_EQ(Settings.PonderMiss, 1);
  EXPECT_EQ(u32(Settings.PonderReply), MakeMove(6, 21, KNIGHT, NONE));

  for (const char *line : {"e2e5", "E2E4"}) {
    Reset();
    ListReplies();
    Settings.PonderActive = 1;
    EXPECT_EQ(Poll((std::string(line) + "\n").c_str()), "Illegal move: " + std::string(line) + "\n");
    EXPECT_EQ(thread_board.SearchStopped, 1);
    EXPECT_EQ(Settings.PonderMiss, 1);
    EXPECT_EQ(Settings.PonderReply, 0);
    EXPECT_EQ(Settings.PonderActive, 1);
  }

  // Outside a ponder a legal move only stops the search; with no list every move is illegal.
  Reset();
  ListReplies();
  Poll("e2e4\n");
  EXPECT_EQ(thread_board.SearchStopped, 1);
  EXPECT_EQ(Settings.PonderMiss, 0);
  Reset();
  EXPECT_EQ(Poll("e2e4\n"), "Illegal move: e2e4\n");
}

TEST_F(PollInputTest, AReplyIsFoundByItsSquaresAndPromotion) {
  LoadFen("8/4P3/8/8/8/8/k7/4K3 w - - 0 1");
  ListReplies();
  const u32 queen = MakeMove(52, 60, PAWN, NONE, QUEEN), knight = MakeMove(52, 60, PAWN, NONE, KNIGHT);
  EXPECT_EQ(FindLegalReply(MakeMove(52, 60, NONE, NONE, KNIGHT)), knight) << "the list's word comes back";
  EXPECT_EQ(FindLegalReply(queen), queen);
  EXPECT_EQ(FindLegalReply(MakeMove(52, 60, PAWN, NONE)), 0u) << "a promotion needs its piece";
  Poll("e7e8Q\n");
  EXPECT_EQ(Settings.PonderMiss, 1) << "a capital letter is no promotion";
}

TEST_F(PollInputTest, QuitEndsTheProgramAtOnce) {
  std::strcpy(InputBuffer, "quit\n");
  EXPECT_EXIT(PollInput(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
