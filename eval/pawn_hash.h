// Pawn hash table: storage, sizing and clearing.
#pragma once
#include "board/types.h"

#pragma pack(push, 1)
struct PawnHashEntry {
  u64 Key;
  i32 Score[4];
  u8 PassedVector[2];  // black first, then white
  u8 PawnFiles[2];     // white first, then black
  u8 WeakFiles[2];     // black first, then white
  u8 Shield[4];
};
#pragma pack(pop)
static_assert(sizeof(PawnHashEntry) == 34, "pawn hash entries are 34 bytes");

// PawnHashSize entries and two spare ones.
extern PawnHashEntry *PawnHashTable;

i64 PawnHashBytes();
void ClearPawnHash();
void ResizePawnHash(i64 megabytes);
