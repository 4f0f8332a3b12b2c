// Loading the evaluation tables from a chosen values file, quietly.
#pragma once
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "board/board.h"
#include "eval/pawn_hash.h"
#include "eval/values.h"
#include "tools/values_text.h"

// Loads the tables from `folder`'s values.txt. A reload keeps the pawn hash, whose entries hold scores of the
// old values: the tests start it afresh.
inline void LoadValuesFrom(const std::string &folder) {
  char home[4096];
  ASSERT_NE(getcwd(home, sizeof home), nullptr);
  ASSERT_EQ(chdir(folder.c_str()), 0);
  testing::internal::CaptureStdout();
  LoadEvaluationTables();
  testing::internal::GetCapturedStdout();
  ClearPawnHash();
  thread_board.PawnEntry.Key = ~u64(0);
  ASSERT_EQ(chdir(home), 0);
}

// Loads a whole values file given as its numbers.
inline void LoadNumbers(const std::vector<i64> &numbers) {
  char folder[] = "/tmp/quarvelle-values-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::string path = std::string(folder) + "/values.txt";
  FILE *file = std::fopen(path.c_str(), "w");
  for (i64 n : numbers) std::fprintf(file, "%lld\n", static_cast<long long>(n));
  std::fclose(file);
  LoadValuesFrom(folder);
  std::remove(path.c_str());
  rmdir(folder);
}

// A file of the compiled-in values puts back what an earlier load changed.
inline void LoadCompiledDefaults() { LoadNumbers(CompiledDefaults()); }

// The repository's own values.txt.
inline void LoadRepositoryValues() { LoadValuesFrom(QUARVELLE_SOURCE_DIR); }
