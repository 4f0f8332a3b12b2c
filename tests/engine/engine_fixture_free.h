// The board tables a driver needs to keep its own copy of the game, without the unit-test framework.
#pragma once
#include "board/attacks.h"
#include "board/board.h"
#include "search/hash.h"
#include "shell/settings.h"

inline void InitBoardTables() {
  SetFirstDefaults();
  InitRandomKeys();
  InitAttackTables();
  SetSecondDefaults();
  AllocateTables();
}
