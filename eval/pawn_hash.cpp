#include "eval/pawn_hash.h"

#include <cstdlib>

#include "search/hash.h"
#include "shell/settings.h"

PawnHashEntry *PawnHashTable;

i64 PawnHashBytes() { return i64(Settings.PawnHashSize) * 34 + 68; }

void ClearPawnHash() { ClearTableBlock(PawnHashTable, PawnHashBytes()); }

void ResizePawnHash(i64 megabytes) {
  std::free(PawnHashTable);
  PawnHashTable = nullptr;
  Settings.PawnHashSize = EntriesForMegabytes(megabytes, 34);
  PawnHashTable = static_cast<PawnHashEntry *>(AllocateTableBlock(PawnHashBytes()));
  ClearPawnHash();
}
