// Commands during a search: a small interpreter of its own that mostly ends the search and leaves
// flags for the think driver and the analysis loop.
#pragma once
#include "board/types.h"

// The opponent's legal replies lie in MoveStack from here up to PonderMoveListEnd.
constexpr int PONDER_LIST_START = 14384;

// Serves the lines that are there until one of them ends its work or no whole line is left.
void PollInput();
// The legal reply with the same from, to and promotion as `move` (its word), or 0.
u32 FindLegalReply(u32 move);
