// Iterative deepening at the root: the best move ends in MoveStack[0], its score in RootScore[0].
#pragma once
#include "board/types.h"

// Non-zero when the game is over at the root.
i32 SearchRoot(int maxDepth, int useBook);
// The same with several variations: a fixed window of 40 around each of the best MultiPV moves.
i32 SearchRootMultiPV(int maxDepth);
// The search of a root move already made; the score is from the opponent's side.
i32 SearchChild(int alpha, int beta, int depth, int safety);
// The band of material balance, seen from RootSide, inside which nodes get a full evaluation.
void SetMaterialWindow(int iteration);
// Half width of the aspiration window for an iteration and a score.
int AspirationWidth(int iteration, int score);
