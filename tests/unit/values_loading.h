// Loading the evaluation tables from a chosen values file, quietly.
#pragma once
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "eval/values.h"
#include "tools/values_text.h"

// Loads the tables from `folder`'s values.txt.
inline void LoadValuesFrom(const std::string &folder) {
  char home[4096];
  ASSERT_NE(getcwd(home, sizeof home), nullptr);
  ASSERT_EQ(chdir(folder.c_str()), 0);
  testing::internal::CaptureStdout();
  LoadEvaluationTables();
  testing::internal::GetCapturedStdout();
  ASSERT_EQ(chdir(home), 0);
}

// A file of the compiled-in values puts back what an earlier load changed.
inline void LoadCompiledDefaults() {
  char folder[] = "/tmp/quarvelle-values-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::string path = std::string(folder) + "/values.txt";
  FILE *file = std::fopen(path.c_str(), "w");
  for (i64 n : CompiledDefaults()) std::fprintf(file, "%lld\n", static_cast<long long>(n));
  std::fclose(file);
  LoadValuesFrom(folder);
  std::remove(path.c_str());
  rmdir(folder);
}

// The repository's own values.txt.
inline void LoadRepositoryValues() { LoadValuesFrom(QUARVELLE_SOURCE_DIR); }
