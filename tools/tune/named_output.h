// The tuner's results as the values tool's names, and values.txt written from them by the tool.
#pragma once
#include <string>
#include <vector>

#include "board/types.h"

// The numbers of values.txt in the working directory, which the engine loads; false when it is not complete.
bool ReadLoadedValues(std::vector<i64> &numbers, std::string &error);

// Writes `numbers`, a whole values file, as `name = value` lines for each number that differs from its compiled-in
// value, under the comment `heading`; then writes `valuesPath` from those names as `quarvelle-values write` does.
bool WriteNamedValues(const std::vector<i64> &numbers, const std::string &heading, const char *namesPath,
                      const char *valuesPath, std::string &error);
