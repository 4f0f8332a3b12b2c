// Lazy ordering of a move list: one selection per move taken.
#pragma once
#include "board/board.h"

// Brings the highest Score of MoveStack[index, MoveStackTop) to `index`; among equals the earliest wins,
// so generation order breaks ties.
inline void PickBestMove(int index) {
  int best = index;
  for (int i = index + 1; i < MoveStackTop; i++)
    if (MoveStack[i].Score > MoveStack[best].Score) best = i;
  if (best != index) {
    const MoveEntry entry = MoveStack[best];
    MoveStack[best] = MoveStack[index];
    MoveStack[index] = entry;
  }
}
