// The values file: the input is values.txt, loaded as at start or on "reload", and the evaluation tables built
// from it are used by the evaluation report and a short search.
#include <vector>

#include "eval/values.h"
#include "eval/values_layout.h"
#include "tests/fuzz/fuzz_session.h"
#include "tests/fuzz/fuzz_targets.h"

namespace {

// A file that ends early leaves the rest of the numbers as the last load gave them: every input starts from the
// shipped file's numbers, which the engine loaded at start.
void RestoreShippedNumbers() {
  static const std::vector<i64> shipped = CurrentValues();
  size_t next = 0;
  for (int e = 0; e < ValuesLayoutSize; e++)
    for (int i = 0; i < ValuesLayout[e].count; i++) {
      const ValueSlot slot = SlotOf(ValuesLayout[e], i);
      const i64 value = shipped[next++];
      if (slot.wideTarget) *slot.wideTarget = value;
      if (slot.target) *slot.target = i32(value);
    }
}

}  // namespace

int FuzzValuesFile(const uint8_t *data, size_t size) {
  ResetEngine();
  RestoreShippedNumbers();
  WriteScratchFile("values.txt", data, size);
  RunSession([] {
    LoadEvaluationTables();
    for (const char *command : {"evl", "sd 3", "go"}) RunCommand(command);
  });
  return 0;
}
