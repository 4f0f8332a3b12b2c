#include "search/hash.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/board.h"
#include "eval/eval.h"
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

bool ReadNumberFile(const char *path, i64 &value) {
  FILE *file = std::fopen(path, "r");
  if (!file) return false;
  long long number;
  const bool read = std::fscanf(file, "%lld", &number) == 1;  // "max" (no limit) reads as no number
  std::fclose(file);
  value = number;
  return read;
}

// The memory limit of the control group the engine runs in, less what the group uses (cgroup v2 or v1).
i64 ControlGroupRoom() {
  i64 room = INT64_MAX;
  FILE *groups = std::fopen("/proc/self/cgroup", "r");
  if (!groups) return room;
  char line[1024], path[1200];
  while (std::fgets(line, sizeof line, groups)) {
    line[std::strcspn(line, "\n")] = 0;
    const char *v2 = std::strncmp(line, "0::", 3) == 0 ? line + 3 : nullptr;
    const char *v1 = std::strstr(line, ":memory:");
    i64 limit, used;
    if (v2) {
      std::snprintf(path, sizeof path, "/sys/fs/cgroup%s/memory.max", v2);
      if (!ReadNumberFile(path, limit)) continue;
      std::snprintf(path, sizeof path, "/sys/fs/cgroup%s/memory.current", v2);
    } else if (v1) {
      std::snprintf(path, sizeof path, "/sys/fs/cgroup/memory%s/memory.limit_in_bytes", v1 + 8);
      if (!ReadNumberFile(path, limit)) continue;
      std::snprintf(path, sizeof path, "/sys/fs/cgroup/memory%s/memory.usage_in_bytes", v1 + 8);
    } else {
      continue;
    }
    if (ReadNumberFile(path, used) && limit - used < room) room = limit - used;
  }
  std::fclose(groups);
  return room;
}

// The memory the system can still give: MemAvailable, and the control group's room.
i64 AvailableMemory() {
  i64 available = INT64_MAX;
  if (FILE *info = std::fopen("/proc/meminfo", "r")) {
    char line[256];
    long long kilobytes;
    while (std::fgets(line, sizeof line, info))
      if (std::sscanf(line, "MemAvailable: %lld kB", &kilobytes) == 1) available = i64(kilobytes) * 1024;
    std::fclose(info);
  }
  return std::min(available, ControlGroupRoom());
}

}  // namespace

// Linux grants a block it cannot back and kills the process only when a search first touches the pages, in
// the middle of a game: a block larger than the memory still available is refused here instead.
void *AllocateTableBlock(i64 bytes) {
  const bool fits = bytes > 0 && u64(bytes) <= SIZE_MAX && bytes <= AvailableMemory();
  void *block = fits ? std::calloc(size_t(bytes), 1) : nullptr;
  if (!block) {
    printf("An error occured while memory allocation!\n");
    quit(1);
  }
  return block;
}

void ClearTableBlock(void *block, i64 bytes) {
  std::memset(block, 0, size_t(bytes));
  MarkFirstKey(block);
}

void MarkFirstKey(void *block) { std::memset(block, 0xFF, sizeof(u64)); }

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
  MarkFirstKey(TranspositionTable);
  MarkFirstKey(PawnHashTable);
  MarkFirstKey(EvalCache);
  Settings.HashAge = 0;
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

namespace {

// The cache keys by placement and castling rights; the side to move picks one of the two scores.
u64 EvalCacheKey() { return thread_board.PositionKey ^ CastlingKeys[thread_board.CastlingFlags]; }

EvalCacheEntry *EvalCacheSlot(u64 key) {
  const u32 size = u32(Settings.EvalCacheSize);
  return EvalCache + (size == 0x80000 ? u32(key) & 0x7FFFF : u32(key) % size);
}

}  // namespace

bool ReadEvalCache(i32 *score) {
  if (Settings.EvalCacheSize == 0) return false;
  const u64 key = EvalCacheKey();
  const EvalCacheEntry *entry = EvalCacheSlot(key);
  if (entry->Key != key) return false;
  EvalInfo &info = thread_eval_info;
  info.Attacks[WHITE] = entry->Attacks[WHITE];
  info.Attacks[BLACK] = entry->Attacks[BLACK];
  info.MaterialScore = entry->MaterialScore;
  info.ScaleTrace = entry->ScaleTrace;
  const int stored = entry->Score[thread_board.SideToMove];
  if (stored <= -MATE_SCORE) return false;  // the other side's evaluation filled this slot
  *score = stored;
  return true;
}

void StoreEvalCache(i32 score) {
  const EvalInfo &info = thread_eval_info;
  if (!info.Cacheable || Settings.EvalCacheSize == 0) return;
  const u64 key = EvalCacheKey();
  EvalCacheEntry *entry = EvalCacheSlot(key);
  const int us = thread_board.SideToMove;
  entry->Score[us] = i16(score);
  if (entry->Key == key) return;  // the rest is the same position's; only the score was missing
  // No age: a slot always goes to the newest position.
  entry->Key = key;
  entry->MaterialScore = i16(info.MaterialScore);
  entry->ScaleTrace = i16(info.ScaleTrace);
  entry->Attacks[WHITE] = info.Attacks[WHITE];
  entry->Attacks[BLACK] = info.Attacks[BLACK];
  entry->Score[ChangeSide(us)] = i16(info.OtherSideKnown ? info.ScoreSum - score : -MATE_SCORE);
}
