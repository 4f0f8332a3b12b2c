// Ply bounds shared by the node functions.
#pragma once
#include "shell/settings.h"

// Deepest ply for full extensions and quiescence checks; grows with the iteration so early
// iterations stay cheap, capped well inside PlyStack.
inline int LongestPly() {
  const int limit = 3 * Settings.Iteration + 8;
  return limit < 90 ? limit : 90;
}
