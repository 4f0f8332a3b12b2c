#include "tests/fuzz/fuzz_targets.h"

#include <cstring>

namespace {

struct NamedEntry {
  const char *Name;
  FuzzEntry Entry;
};

constexpr NamedEntry Targets[] = {
    {"command_chain", FuzzCommandChain},   {"fen", FuzzFen},
    {"settings_file", FuzzSettingsFile},   {"values_file", FuzzValuesFile},
    {"book_file", FuzzBookFile},           {"learn_file", FuzzLearnFile},
    {"tablebase_file", FuzzTablebaseFile}, {"pgn", FuzzPgn},
};

}  // namespace

FuzzEntry FindFuzzEntry(const char *name) {
  for (const NamedEntry &target : Targets)
    if (std::strcmp(target.Name, name) == 0) return target.Entry;
  return nullptr;
}
