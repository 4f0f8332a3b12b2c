// The values file: the input is values.txt, loaded as at start or on "reload": the numbers are read by their
// places and the evaluation tables are built from them, which must hold whatever the file says. A file that a
// tuning could have written, each weight at most twice as large as the shipped one and a little, is then used by
// the evaluation report and a short search. Far beyond that, sums of weights in the evaluation leave 32 bits.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "eval/values.h"
#include "eval/values_layout.h"
#include "tests/fuzz/fuzz_session.h"
#include "tests/fuzz/fuzz_targets.h"

namespace {

// Calls visit(slot, number) for every place of the file, with the number's index in CurrentValues().
template <typename Visit>
void ForEachSlot(Visit visit) {
  size_t number = 0;
  for (int e = 0; e < ValuesLayoutSize; e++)
    for (int i = 0; i < ValuesLayout[e].count; i++) visit(SlotOf(ValuesLayout[e], i), number++);
}

// The shipped file's numbers, which the engine loaded at start, taken before the first input replaces them.
const std::vector<i64> &ShippedNumbers() {
  static const std::vector<i64> shipped = CurrentValues();
  return shipped;
}

// Every weight within twice the shipped one's magnitude and a margin; the 64-bit counts of the prune statistics
// are only rates.
bool TunedWeights(const std::vector<i64> &values) {
  constexpr i64 MARGIN = 64;
  const std::vector<i64> &shipped = ShippedNumbers();
  bool tuned = true;
  ForEachSlot([&](const ValueSlot &slot, size_t number) {
    if (slot.target && std::abs(values[number]) > 2 * std::abs(shipped[number]) + MARGIN) tuned = false;
  });
  return tuned;
}

// A file that ends early leaves the rest of the numbers as the last load gave them: every input starts from the
// shipped ones.
void RestoreShippedNumbers() {
  const std::vector<i64> &shipped = ShippedNumbers();
  ForEachSlot([&](const ValueSlot &slot, size_t number) {
    if (slot.wideTarget) *slot.wideTarget = shipped[number];
    if (slot.target) *slot.target = i32(shipped[number]);
  });
}

}  // namespace

int FuzzValuesFile(const uint8_t *data, size_t size) {
  ResetEngine();
  RestoreShippedNumbers();
  WriteScratchFile("values.txt", data, size);
  RunSession([] {
    LoadEvaluationTables();
    if (!TunedWeights(CurrentValues())) return;
    for (const char *command : {"evl", "sd 3", "go"}) RunCommand(command);
  });
  return 0;
}
