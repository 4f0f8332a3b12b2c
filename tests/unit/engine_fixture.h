// Shared set-up for unit tests: the start-up settings and tables, built once per test binary.
#pragma once
#include <gtest/gtest.h>

#include <string>

#include "board/attacks.h"
#include "board/board.h"
#include "board/position.h"
#include "book/book_keys.h"
#include "eval/eval.h"
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

// The evaluation of a FEN for the side to move, or for `rootSide` as the search's root side.
inline i32 EvaluateFen(const std::string &fen, int rootSide = -1) {
  LoadFen(fen.c_str());
  Settings.RootSide = rootSide < 0 ? thread_board.SideToMove : rootSide;
  i32 score = -MATE_SCORE;
  Evaluate(&score, MATE_SCORE);
  return score;
}
