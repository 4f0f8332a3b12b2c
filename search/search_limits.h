// Ply bounds shared by the node functions.
#pragma once
#include "board/board.h"
#include "shell/settings.h"

// Ply of the deepest node that still gets a search: children use Ply + 1 and the move loop
// writes InCheck of Ply + 1, so the last two records stay free.
constexpr int LAST_SEARCH_PLY = PLY_STACK_SIZE - 2;
// A node needs room for its lists and those of its children.
constexpr int MOVE_STACK_RESERVE = 14000;

// The root's iteration limits keep the tree inside the stacks; this only stops a runaway line from
// writing past them, at the price of a static score.
inline bool BeyondTheStacks() { return Ply >= LAST_SEARCH_PLY || MoveStackTop >= MOVE_STACK_RESERVE; }

// Deepest ply for full extensions and quiescence checks; grows with the iteration so early
// iterations stay cheap, capped well inside PlyStack.
inline int LongestPly() {
  const int limit = 3 * Settings.Iteration + 8;
  return limit < 90 ? limit : 90;
}
