#include "eval/pawn_hash.h"

#include "search/hash.h"
#include "shell/settings.h"

PawnHashEntry *PawnHashTable;

i64 PawnHashBytes() { return i64(Settings.PawnHashSize) * 34 + 68; }

void ClearPawnHash() { ClearTableBlock(PawnHashTable, PawnHashBytes()); }

void ResizePawnHash(i64 megabytes) {
  ReplaceTableBlock(PawnHashTable, Settings.PawnHashSize, megabytes, 68);
  ClearPawnHash();
}
