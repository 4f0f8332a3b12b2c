// The repository's values for tests of the endgame and passer terms, and the evaluation of a FEN.
#pragma once
#include <string>

#include "eval/eval.h"
#include "shell/settings.h"
#include "tests/unit/move_list.h"
#include "tests/unit/values_loading.h"

class EndgameTest : public EngineTest {
 protected:
  static void SetUpTestSuite() {
    InitEngineTables();
    LoadRepositoryValues();
  }
  static void TearDownTestSuite() { LoadCompiledDefaults(); }

  static i32 Eval(const std::string &fen, int rootSide = -1) {
    LoadFen(fen.c_str());
    Settings.RootSide = rootSide < 0 ? thread_board.SideToMove : rootSide;
    i32 score = -MATE_SCORE;
    Evaluate(&score, MATE_SCORE);
    return score;
  }

  // The score of `fen` with `weight` set to `value` for the call, then put back.
  static i32 EvalWith(i32 &weight, i32 value, const std::string &fen) {
    const i32 kept = weight;
    weight = value;
    const i32 score = Eval(fen);
    weight = kept;
    return score;
  }
};
