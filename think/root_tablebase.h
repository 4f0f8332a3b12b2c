// The tablebases at the root: the root list cut down to the moves that keep the value of the position.
#pragma once
#include "board/types.h"

// Step of the root search after PrepareRoot: sets RootInTablebase and SkipTbProbes, may shrink the list.
void ProbeRootTablebases();
// Keep the moves that hold the DTZ value; false (list unchanged in length) if a probe fails.
bool RootProbeDtz(i32 &score);
// Keep the moves of the best WDL value; false if a probe fails.
bool RootProbeWdl(i32 &score);
