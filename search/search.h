// The main node function of the tree: draw tests, table probes, static pruning, null move, internal
// deepening, the singular test, the hash move and then the staged move loop.
#pragma once
#include "board/board.h"

// Set while a singular walk runs, so that no second one starts below it.
extern i32 SingularActive;

// Fail-hard low, fail-soft high search of the position at Ply with `depth` in quarter plies. The caller
// has made the move, raised Ply, set InCheck of Ply and DepthChange of the ply below.
int Search(int alpha, int beta, int depth, int allowNull, int nodeType);
template <int Us>
int SearchFor(int alpha, int beta, int depth, int allowNull, int nodeType);

// 1 if no move but `hashMove` reaches `bound` in a reduced null-window search of the node at Ply.
int IsSingular(int bound, int depth, u32 hashMove, int nearAlpha);
template <int Us>
int IsSingularFor(int bound, int depth, u32 hashMove, int nearAlpha);
// The quick screen before IsSingular at great depth: 1 if no other move reaches `bound` - 50 at depth 4.
template <int Us>
int PassesSingularScreenFor(int bound, int depth, u32 hashMove, int nearAlpha);

