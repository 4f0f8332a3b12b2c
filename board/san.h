// Moves in standard algebraic notation ("Nbd7", "exd5", "e8=Q", "O-O-O"), matched against the legal moves.
#pragma once
#include "board/types.h"

struct SanMatch {
  u32 Move;      // the last legal move that fits, 0 for none
  u32 First;     // with two or more fits, the first two, for the message that names them
  u32 Second;
  int Matches;   // how many legal moves fit the text
};

// Reads a move of the side to move. A field the text leaves out matches anything, so that a promotion
// without its letter fits all four moves; "x" or ":" requires a capture, en passant included.
SanMatch ParseSan(const char *text);
