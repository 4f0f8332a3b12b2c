// The libFuzzer binary of one target, named by FUZZ_TARGET at compile time.
#include <cstdio>
#include <cstdlib>

#include "tests/fuzz/fuzz_session.h"
#include "tests/fuzz/fuzz_targets.h"

namespace {

FuzzEntry Entry;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  Entry = FindFuzzEntry(FUZZ_TARGET);
  if (!Entry) {
    std::fprintf(stderr, "no fuzz target named %s\n", FUZZ_TARGET);
    std::exit(2);
  }
  StartFuzzEngine();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) { return RunFuzzInput(Entry, data, size); }
