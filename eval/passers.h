// Passed pawns: a model of each passer's value, rooks behind passers, and the race of unstoppable pawns.
#pragma once
#include "board/types.h"

// Returns the new packed score; the passer values go to the enemy's side sums.
i32 EvaluatePassedPawns(i32 packed, i32 *sideOpening, i32 *sideEnding);

// Does the pawn of `side` on `pawn` promote by force, only the pawn moving? With `kingRule`, an own king ahead
// on the file is assumed to step aside and the rule of the square decides. Clears OtherSideKnown when the answer
// depends on who is to move.
bool ProbeRunner(int side, int pawn, int ownKing, int enemyKing, bool kingRule = true);
