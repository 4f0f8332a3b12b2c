#include "think/time_control.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "board/board.h"
#include "shell/nps_info.h"
#include "shell/poll_input.h"
#include "shell/input.h"
#include "shell/settings.h"

namespace {

// Nodes between checks: asking for the time and for input is dear against a node.
constexpr i32 CHECK_SLOW = 50000, CHECK_MEDIUM = 20000, CHECK_FAST = 5000;
// At most so many moves share the time, so that a long control doesn't starve the next moves.
constexpr i32 MOVES_SHARED_MAX = 30;

}  // namespace

i64 ClockMilliseconds() {
  static const auto origin = std::chrono::steady_clock::now();
  const auto since = std::chrono::steady_clock::now() - origin;
  return std::chrono::duration_cast<std::chrono::milliseconds>(since).count();
}

i32 ClockCentiseconds() { return i32(ClockMilliseconds() / 10); }

i32 ElapsedCentiseconds() { return ClockCentiseconds() - Settings.SearchStartTime; }

i32 MovesToShareOver() {
  const SettingsRecord &s = Settings;
  if (s.MovesPerSession == 0) {
    // The moves still to come, estimated from the ply count: 45 at the start, 26 near ply 90,
    // then slowly up towards 32.
    const double n = GameHistoryCount + 1;
    const double e = 0.5 * (59.3 + (72830 - 2330 * n) / ((n + 10) * n + 2644)) + 2;
    return std::max(i32(std::lround(e)), 3);
  }
  if (s.UciMode) return std::min(s.MovesPerSession, MOVES_SHARED_MAX);
  // xboard's control repeats: move 41 of 40 moves in 5 minutes starts a second session.
  const i32 moveNumber = GameHistoryCount / 2 + 1;
  i32 mps = s.MovesPerSession;
  if (mps < moveNumber) mps *= (moveNumber - 1) / mps + 1;
  return std::min(mps - moveNumber + 1, MOVES_SHARED_MAX);
}

i32 AllocateTime() {
  SettingsRecord &s = Settings;
  if (s.TimeLeft == -1) {
    s.TargetTime = s.HardTimeLimit = NO_CLOCK_TIME;
    s.TimeCheckInterval = CHECK_SLOW;
    return s.SearchDepthLimit;
  }
  // 64 bits: with go infinite (999999999) seven times a share overflows 32 bits.
  const i64 usable = i64(s.TimeLeft) * 95 / 100 - 1;
  if (s.FixedMoveTime != 0) {
    s.TargetTime = s.HardTimeLimit = s.FixedMoveTime;
  } else {
    const i64 inc = s.TimeIncrement, m = MovesToShareOver();
    // The time is shared out together with the m - 1 increments still to come.
    const i64 t = (usable - inc + m * inc) / m;
    s.HardTimeLimit = i32(std::min(7 * t, usable / 3));
    s.TargetTime = i32(std::max<i64>(t, 1));
  }
  s.TimeCheckInterval = s.TargetTime >= 301 ? CHECK_SLOW : s.TargetTime < 101 ? CHECK_FAST : CHECK_MEDIUM;
  return TIMED_SEARCH_DEPTH;
}

bool PlanSpent(i64 elapsed, int atIterationStart, int shortened) {
  const SettingsRecord &s = Settings;
  i64 t = s.TargetTime;
  if (shortened) t /= 3;
  if (s.RootFailLow) t *= 6;
  if (s.EasyMove == 0) t += t >> 2;  // a best move that changed after iteration 4 gets a quarter more
  t = std::min<i64>(t, s.HardTimeLimit);
  // An iteration that has little hope of ending in time isn't begun.
  if (atIterationStart && elapsed > 3 * t / 5) return true;
  // In the tree a search may run on to five thirds of its plan.
  if (!atIterationStart && !shortened && !s.RootInTablebase && elapsed <= std::min<i64>(5 * t / 3, s.HardTimeLimit))
    return false;
  return elapsed >= t;
}

bool TimeUp(int atIterationStart, int shortened) {
  SettingsRecord &s = Settings;
  // InputPending also reports a whole line already waiting in InputBuffer.
  if (!s.InputHeld && InputPending()) {
    s.TimeCheckCountdown = s.TimeCheckInterval;
    PollInput();
    if (thread_board.SearchStopped) return true;
  }
  if (s.NodeLimit != 0 && s.Nodes >= s.NodeLimit) return true;
  // The short search for a move to ponder on lasts one second from the start of the think.
  if (s.PonderActive && s.PonderProbe == 1 && ElapsedCentiseconds() > 100) {
    s.PonderProbe = 0;
    return true;
  }
  if (s.UciMode && --s.InfoCountdown < 0) PrintNpsInfo();
  s.TimeCheckCountdown = s.TimeCheckInterval;
  // Fixed-depth searches, analysis and all pondering never stop on time.
  if (s.PonderActive || s.SearchMaxDepth != TIMED_SEARCH_DEPTH || s.UciPonder) return false;
  return PlanSpent(ElapsedCentiseconds(), atIterationStart, shortened);
}
