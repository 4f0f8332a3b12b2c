// Endgame knowledge: recognised endings before the pass, low-force terms, the pawn duel and the scaling ladder.
#pragma once
#include "board/types.h"

// True: `*score` is final, for the side to move. False: `*score` holds the material value from Black's view,
// and phases, Ending, CannotWin, AllPawns, MaterialOpening, MaterialEnding and MaterialScore are set.
bool RecogniseEnding(i32 *score);
// ScaleTrace follows the factor; returns (v * f) >> 8.
i32 ScaleBy(i32 v, i32 f);
// Rook against two minors, and the kings' files in pawn endings; only with an Ending flag set.
void AddLowForceTerms();
// K+P against K+P with a passer: the score of the duel, for the side to move.
i32 PawnDuel();
// Factors for drawish endings on the finished score. Returns false when the score is settled at 0 and the rest
// of the pass is to be skipped up to the tempo.
void ScaleEnding();
