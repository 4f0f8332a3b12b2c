// The values tool's work: "values.txt" written from `name = value` lines, printed with names, and checked.
// Every number is named by its place in the one layout that the engine reads by.
#pragma once
#include <cstdio>
#include <string>
#include <vector>

#include "board/types.h"

// The numbers of a values file up to the first thing that isn't one.
struct ValuesText {
  std::vector<i64> numbers;
  i64 strayLine = 0;  // line of that first thing, 0 when the file is numbers to its end
};

// False, with the reason, when the file can't be read.
bool ReadValuesText(const char *path, ValuesText &text, std::string &error);
// The compiled-in value of every number of the file, in its order, taken before anything loads.
const std::vector<i64> &CompiledDefaults();

// The three commands; each returns the exit code and reports problems on `err`.
// `write` reads any number of names files, in order.
int WriteValuesFromNames(const std::vector<const char *> &namesPaths, const char *valuesPath, FILE *err);
int PrintValuesWithNames(const char *valuesPath, FILE *out, FILE *err);
int CheckValuesFile(const char *valuesPath, FILE *out);
