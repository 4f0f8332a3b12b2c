// A fixed search of fixed positions: its node count is the signature of the search and the evaluation.
#pragma once

#include "board/types.h"
#include "shell/settings.h"

// Sets up a silent search with no clock, reading no input; returns the settings to restore afterwards.
SettingsRecord QuietFixedDepthSettings();

// Searches the position to the given iteration from cleared tables; returns the nodes searched.
i64 SearchFromClearedTables(const char *fen, int iterations);

// Searches every bench position with cleared tables and prints "<nodes> nodes <nps> nps".
void RunBench();
