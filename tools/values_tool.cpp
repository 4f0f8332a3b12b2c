// quarvelle-values: writes, prints and checks "values.txt" by the names of its numbers.
#include <cstdio>
#include <cstring>
#include <vector>

#include "tools/values_text.h"

namespace {

int Usage() {
  std::fprintf(stderr,
               "usage: quarvelle-values write <names.txt>... <values.txt>   values.txt from name = value lines,\n"
               "                                                             every other number at its default\n"
               "       quarvelle-values print <values.txt>                  every number as name = value\n"
               "       quarvelle-values check <values.txt>                  exit 0 if the count of numbers is right\n");
  return 2;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc >= 4 && !std::strcmp(argv[1], "write"))
    return WriteValuesFromNames(std::vector<const char *>(argv + 2, argv + argc - 1), argv[argc - 1], stderr);
  if (argc == 3 && !std::strcmp(argv[1], "print")) return PrintValuesWithNames(argv[2], stdout, stderr);
  if (argc == 3 && !std::strcmp(argv[1], "check")) return CheckValuesFile(argv[2], stdout);
  return Usage();
}
