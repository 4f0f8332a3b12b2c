// Time control: the plan for a move before the search, and the check that ends it. Times are centiseconds.
#pragma once
#include "board/types.h"

// The plan of a search without a clock, and the maximum depth that marks a search under the clock.
constexpr i32 NO_CLOCK_TIME = 9999999;
constexpr i32 TIMED_SEARCH_DEPTH = 999;

// A monotonic clock in milliseconds from an arbitrary origin: only differences are used.
i64 ClockMilliseconds();
// The clock in centiseconds, the unit of SearchStartTime.
i32 ClockCentiseconds();
// Centiseconds since SearchStartTime.
i32 ElapsedCentiseconds();

// Sets TargetTime, HardTimeLimit and TimeCheckInterval from the clock in Settings; returns the
// maximum depth for the search: SearchDepthLimit when no clock was ever given, else 999.
i32 AllocateTime();
// The moves that the remaining time is shared over, from the moves to go and the game so far.
i32 MovesToShareOver();
// True when the search is to end; the caller sets SearchStopped. Reads input first.
bool TimeUp(int atIterationStart, int shortened);
// The time part of TimeUp alone: the plan for this move against `elapsed` centiseconds.
bool PlanSpent(i64 elapsed, int atIterationStart, int shortened);
