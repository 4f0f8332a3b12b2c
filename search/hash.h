// Transposition table and evaluation cache: storage, sizing and clearing.
#pragma once
#include <cstdlib>

#include "board/types.h"

#pragma pack(push, 1)
struct TranspositionEntry {
  u64 Key;
  u32 Info;
  i16 UpperScore;
  i16 LowerScore;
  i16 ExactScore;
  u16 Age;
  u8 UpperDepth;
  u8 LowerDepth;
  u8 ExactDepth;
  u8 Flags;
  u8 MoveCount;
  u8 Spare;
};
#pragma pack(pop)
static_assert(sizeof(TranspositionEntry) == 26, "entries overlap in memory at 26 bytes");

struct EvalCacheEntry {
  u64 Key;
  u64 Attacks[2];
  i16 Score[2];
  i16 MaterialScore;
  i16 ScaleTrace;
};
static_assert(sizeof(EvalCacheEntry) == 32, "one cache slot is 32 bytes");

// TranspositionSize entries and ten spare ones, so a probe from the last index stays inside.
extern TranspositionEntry *TranspositionTable;
// EvalCacheSize entries and two spare ones.
extern EvalCacheEntry *EvalCache;

// At start: allocates every table with the sizes in Settings and clears them.
void AllocateTables();
void ReleaseTables();
void ClearHash();
void ClearEvalCache();
void ResizeHash(i64 megabytes);
// One block for a hash table, or the program's end with its message when memory runs out.
void *AllocateTableBlock(i64 bytes);
// Zeroes a block and marks its first key with all ones, so that a zero key never matches.
void ClearTableBlock(void *block, i64 bytes);
// Entries that fit in `megabytes` at `entrySize` bytes; too many for a count means no memory.
i32 EntriesForMegabytes(i64 megabytes, int entrySize);
// Frees a table's block and allocates it anew for `megabytes`, setting its entry count.
template <class Entry>
void ReplaceTableBlock(Entry *&block, i32 &entries, i64 megabytes, i64 spareBytes) {
  const i32 count = EntriesForMegabytes(megabytes, sizeof(Entry));
  std::free(block);
  block = nullptr;  // the exit on a failed allocation releases every table still held
  entries = count;
  block = static_cast<Entry *>(AllocateTableBlock(i64(count) * i64(sizeof(Entry)) + spareBytes));
}
