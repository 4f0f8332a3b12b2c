// A lone rook against pawns: does the rook hold a pawn, by the K+R against K+P bitbase, and what it makes of all
// the pawns.
#pragma once
#include "board/types.h"

// Answers of RookHoldsPawn.
constexpr int HOLDS_LOST = 0;     // the rook wins
constexpr int HOLDS_DRAW = 1;     // the pawn's side holds
constexpr int HOLDS_UNKNOWN = 2;  // no verdict

// The pawn on `pawn` against the rook on `rook`, with the two kings of the board and its side to move.
int RookHoldsPawn(int pawn, int rook);
// K+R against pawns alone. True: `*score` is final, for the side to move. False: the correction of the rule,
// from Black's view, has been added to `correction` (nothing when the position isn't this ending).
bool RookAgainstPawns(i32 *score, i32 &correction);
