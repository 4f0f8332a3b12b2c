// The stalemate and mate test of a node whose own move list came out empty or cut short.
#pragma once
#include "board/types.h"

// 1 if the side to move has no legal move, else 0. Walks the pieces' attack sets without touching
// MoveStack; each candidate is made, tested for the own king and undone, and the first legal one ends it.
int HasNoLegalMove();
