// Move generator test: counts the leaves of the tree of pseudo-legal moves.
#pragma once
#include "board/types.h"

extern i64 PerftCount;

void Perft(int depth);
// The `perft d` command: counts from the current position and prints the total and the time.
void RunPerft(int depth);
