#include "tools/tune/named_output.h"

#include <cstdio>

#include "eval/values_layout.h"
#include "tools/values_text.h"

bool ReadLoadedValues(std::vector<i64> &numbers, std::string &error) {
  ValuesText text;
  if (!ReadValuesText("values.txt", text, error)) return false;
  if (i64(text.numbers.size()) != ValuesFileCount() || text.strayLine) {
    error = "values.txt in the working directory is not a complete values file";
    return false;
  }
  numbers = std::move(text.numbers);
  return true;
}

bool WriteNamedValues(const std::vector<i64> &numbers, const std::string &heading, const char *namesPath,
                      const char *valuesPath, std::string &error) {
  FILE *names = std::fopen(namesPath, "w");
  if (!names) {
    error = std::string("can't write ") + namesPath;
    return false;
  }
  std::fprintf(names, "# %s\n", heading.c_str());
  const std::vector<i64> &defaults = CompiledDefaults();
  char name[128];
  size_t at = 0;
  for (int e = 0; e < ValuesLayoutSize; e++)
    for (int i = 0; i < ValuesLayout[e].count; i++, at++) {
      if (numbers[at] == defaults[at]) continue;
      SlotName(ValuesLayout[e], i, name, sizeof name);
      std::fprintf(names, "%s = %lld\n", name, (long long)numbers[at]);
    }
  if (std::fclose(names) != 0) {
    error = std::string("can't write ") + namesPath;
    return false;
  }
  if (WriteValuesFromNames({namesPath}, valuesPath, stderr) != 0) {
    error = std::string("the values tool couldn't write ") + valuesPath;
    return false;
  }
  return true;
}
