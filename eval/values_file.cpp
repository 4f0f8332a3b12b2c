#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "eval/eval_tables.h"
#include "eval/values.h"
#include "eval/values_layout.h"
#include "search/hash.h"

i64 PruneCounts[2][8][64][64][2];

namespace {

constexpr const char *VALUES_FILE = "values.txt";

void ReadWholeFile(FILE *file, std::vector<char> &text) {
  char block[65536];
  size_t got;
  while ((got = std::fread(block, 1, sizeof block, file)) > 0) text.insert(text.end(), block, block + got);
}

void Clear(i32 *values, int count) { std::memset(values, 0, sizeof(i32) * size_t(count)); }

// These have no compiled-in value: without a file they must be 0, not what an earlier load left.
void ClearFileOnlyValues() {
  Clear(PieceDeltaOpening, 8);
  Clear(PieceDeltaEnding, 8);
  for (i32 *value : {&ExtraPieceBase, &TwoMinorsBase, &RookMinorsBase, &RookForMinorBase, &QueenForRookMinorBase,
                     &QueenForRooksBase, &ExtraPieceEnding, &TwoMinorsEnding, &RookMinorsEnding, &RookForMinorEnding,
                     &QueenForRookMinorEnding, &QueenForRooksEnding})
    *value = 0;
  if (ImbalanceTable) Clear(ImbalanceTable, IMBALANCE_ENTRIES);
}

i32 *AllocateScratch(int entries) {
  i32 *table = static_cast<i32 *>(AllocateTableBlock(i64(entries) * i64(sizeof(i32))));
  Clear(table, entries);
  return table;
}

}  // namespace

i64 ReadValuesFile() {
  ClearFileOnlyValues();
  FILE *file = std::fopen(VALUES_FILE, "r");
  if (!file) {
    printf("Error loading values.txt\n");
    fflush(stdout);
    return -1;
  }
  std::vector<char> text;
  ReadWholeFile(file, text);
  std::fclose(file);
  const char *p = text.data();
  const char *end = p + text.size();
  i64 read = 0;
  for (int e = 0; e < ValuesLayoutSize; e++) {
    const ValuesEntry &entry = ValuesLayout[e];
    for (int i = 0; i < entry.count; i++) {
      i64 value;
      // The file is malformed from here on: what was read stays, the rest keeps its values.
      if (!ParseNumber(p, end, value)) return read;
      const ValueSlot slot = SlotOf(entry, i);
      if (slot.wideTarget) {
        if (i % 2 == 0 && value < 0) printf("Error! Negative prune stats value: %lld\n", (long long)value);
        *slot.wideTarget = value;
      } else if (slot.target) {
        *slot.target = SaturateToI32(value);
      }
      read++;
    }
  }
  return read;
}

void LoadEvaluationTables() {
  ImbalanceTable = AllocateScratch(IMBALANCE_ENTRIES);
  ImbalancePawnTable = AllocateScratch(IMBALANCE_PAWN_ENTRIES);
  ReadValuesFile();
  BuildPruneStats();
  BuildEvaluationTables();
  BuildLateMoveCounts();
  std::free(ImbalanceTable);
  std::free(ImbalancePawnTable);
  ImbalanceTable = ImbalancePawnTable = nullptr;
  fflush(stdout);
}
