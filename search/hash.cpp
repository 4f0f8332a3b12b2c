#include "search/hash.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "eval/pawn_hash.h"
#include "search/repetition.h"
#include "shell/engine.h"
#include "shell/settings.h"

TranspositionEntry *TranspositionTable;
EvalCacheEntry *EvalCache;

namespace {

constexpr i64 TRANSPOSITION_SPARE_BYTES = 260;
constexpr i64 EVAL_CACHE_SPARE_BYTES = 64;

i64 TranspositionBytes() { return i64(Settings.TranspositionSize) * 26 + TRANSPOSITION_SPARE_BYTES; }
i64 EvalCacheBytes() { return i64(Settings.EvalCacheSize) * 32 + EVAL_CACHE_SPARE_BYTES; }

}  // namespace

void *AllocateTableBlock(i64 bytes) {
  void *block = bytes > 0 && u64(bytes) <= SIZE_MAX ? std::malloc(size_t(bytes)) : nullptr;
  if (!block) {
    printf("An error occured while memory allocation!\n");
    quit(1);
  }
  return block;
}

void ClearTableBlock(void *block, i64 bytes) {
  std::memset(block, 0, size_t(bytes));
  std::memset(block, 0xFF, sizeof(u64));
}

i32 EntriesForMegabytes(i64 megabytes, int entrySize) {
  if (megabytes < 0) megabytes = 0;  // a negative size asks for no table
  const i64 entries = (megabytes << 20) / entrySize;
  if (megabytes > (i64(1) << 40) || entries > INT32_MAX) {
    printf("An error occured while memory allocation!\n");
    quit(1);
  }
  return i32(entries);
}

void AllocateTables() {
  TranspositionTable = static_cast<TranspositionEntry *>(AllocateTableBlock(TranspositionBytes()));
  PawnHashTable = static_cast<PawnHashEntry *>(AllocateTableBlock(PawnHashBytes()));
  EvalCache = static_cast<EvalCacheEntry *>(AllocateTableBlock(EvalCacheBytes()));
  RepetitionTable = static_cast<RepetitionSlot *>(AllocateTableBlock(REPETITION_TABLE_BYTES));
  ClearHash();
  ClearPawnHash();
  ClearEvalCache();
}

void ReleaseTables() {
  std::free(TranspositionTable);
  std::free(EvalCache);
  std::free(RepetitionTable);
  std::free(PawnHashTable);
  TranspositionTable = nullptr;
  EvalCache = nullptr;
  RepetitionTable = nullptr;
  PawnHashTable = nullptr;
}

void ClearHash() {
  ClearTableBlock(TranspositionTable, TranspositionBytes());
  Settings.HashAge = 0;
}

void ClearEvalCache() { ClearTableBlock(EvalCache, EvalCacheBytes()); }

void ResizeHash(i64 megabytes) {
  ReplaceTableBlock(TranspositionTable, Settings.TranspositionSize, megabytes, TRANSPOSITION_SPARE_BYTES);
  ClearHash();
}
