// The repository's values for tests of the endgame and passer terms.
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

  // The score of `fen` with `weight` set to `value` for the call, then put back.
  static i32 EvalWith(i32 &weight, i32 value, const std::string &fen) {
    const i32 kept = weight;
    weight = value;
    const i32 score = EvaluateFen(fen);
    weight = kept;
    return score;
  }
};
