// Endgame knowledge that decides a position before the rest of the evaluation runs.
#pragma once
#include "board/types.h"

// True: `*score` is final, for the side to move. False: `*score` holds the material value from Black's view,
// and phases, Ending, CannotWin, AllPawns, MaterialOpening, MaterialEnding and MaterialScore are set.
bool RecogniseEnding(i32 *score);
