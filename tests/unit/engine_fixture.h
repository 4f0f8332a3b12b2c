// Shared set-up for unit tests: the start-up settings and tables, built once per test binary.
#pragma once
#include <gtest/gtest.h>

#include "board/attacks.h"
#include "board/board.h"
#include "board/position.h"
#include "book/book_keys.h"
#include "search/hash.h"
#include "shell/settings.h"

inline void InitEngineTables() {
  static const bool built = [] {
    SetFirstDefaults();
    InitRandomKeys();
    InitBookKeys();
    InitAttackTables();
    SetSecondDefaults();
    AllocateTables();
    return true;
  }();
  (void)built;
}

class EngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    InitEngineTables();
    MoveStackTop = 0;
    Ply = 1;
    SetStartPosition();
  }
};
