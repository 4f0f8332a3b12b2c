// Solves the three endgame bitbases and writes them as the C++ source of their constant tables:
//   make_bitbases <output.cpp>
// The build runs it once; the engine starts with the answers in place.
#include <cstdio>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "tools/bitbases/solvers.h"

namespace {

template <typename T>
void WriteTable(FILE *out, const char *declaration, const std::vector<T> &table) {
  std::fprintf(out, "%s = {", declaration);
  for (size_t i = 0; i < table.size(); i++)
    std::fprintf(out, "%s0x%llx,", i % 16 ? "" : "\n", static_cast<unsigned long long>(table[i]));
  std::fprintf(out, "\n};\n\n");
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_bitbases <output.cpp>\n");
    return 2;
  }
  InitAttackTables();
  std::vector<u8> kpk(65536), runners(65536);
  std::vector<u64> rookPawn(65536);
  SolveKingPawnKing(kpk.data());
  SolveRunners(runners.data());
  SolveRookPawn(rookPawn.data());
  const std::string temporary = std::string(argv[1]) + ".part";
  FILE *out = std::fopen(temporary.c_str(), "w");
  if (!out) {
    std::perror(argv[1]);
    return 1;
  }
  std::fprintf(out, "// Written by tools/bitbases/make_bitbases.cpp at build time.\n#include \"eval/bitbases.h\"\n\n");
  WriteTable(out, "const u8 KpkBitbase[65536]", kpk);
  WriteTable(out, "const u8 RunnerBitbase[65536]", runners);
  WriteTable(out, "const u64 RookPawnBitbase[65536]", rookPawn);
  if (std::fclose(out) != 0 || std::rename(temporary.c_str(), argv[1]) != 0) {
    std::perror(argv[1]);
    return 1;
  }
  return 0;
}
