// Transposition table and evaluation cache: storage, sizing, clearing, probes and stores.
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

// Kinds of a stored result, in bits 21-22 of Info.
constexpr int HASH_UPPER = 1;
constexpr int HASH_LOWER = 2;
constexpr int HASH_EXACT = 3;
// Flags: which scores are valid; the low five bits are node flags told to later visits.
constexpr u8 UPPER_VALID = 0x20;
constexpr u8 LOWER_VALID = 0x40;
constexpr u8 EXACT_VALID = 0x80;
constexpr int NODE_FLAG_MASK = 31;
constexpr int NO_QUIET_CHECKS = 1;      // set by Quiescence
constexpr int NO_TACTICAL_MOVES = 2;    // set by NextStage and Quiescence
constexpr int NO_CAPTURES_FOUND = 16;   // as NO_TACTICAL_MOVES, by the complete capture generation
constexpr u32 INFO_MOVE_MASK = 0x1FFFFF;
constexpr int INFO_KIND_SHIFT = 21;
constexpr int INFO_SIDE_SHIFT = 23;
constexpr u32 INFO_MATE_THREAT = u32(1) << 30;
// Depths are stored plus this, so that quiescence depths down to -12 fit a byte.
constexpr int HASH_DEPTH_OFFSET = 12;

// What a probe leaves beside its return value.
extern i32 HashBound;      // Quiescence's floor: the best usable lower or exact score, -32700 if none
extern i32 HashFlags;      // node flags of the entry found, 0 if none
extern i32 SingularKnown;  // ProbeHash: a lower or exact bound deep enough for the singular test
extern i32 SingularScore;
extern i32 SingularDepth;  // a depth, not a depth byte

// Both probe FullKey and SideToMove at the node's Ply: an exact mate score comes back relative to Ply.
// Return 0 when the position is not in the table, else the kind used (1, 2, 3); with *cutoff = 1 the
// score stands in *alpha. ProbeHash also clears *allowNull and sets *mateThreat from the entry.
int ProbeHash(int depth, i32 *alpha, i32 *beta, i32 *mateThreat, u32 *move, i32 *allowNull, i32 *cutoff, int isPv);
int ProbeHashQuiescence(int depth, i32 *alpha, i32 *beta, u32 *move, i32 *cutoff, int isPv);
// kind 1 upper, 2 lower, 3 exact; move 0 keeps the entry's move. An exact mate score is made
// relative to the node by the global Ply; bounds are clipped to +-31000 instead.
void StoreHash(int depth, u32 move, int value, int kind, int mateThreat, int nodeFlags, int moveCount);
// The entry of the present position and side, or nullptr; nothing in it is changed. Callers that
// walk a variation or estimate the root stamp it with HashAge themselves.
TranspositionEntry *FindHashEntry();
// The stored move of the present position or 0; refreshes the entry's age.
u32 HashMoveOfPosition();
// Permille of the table that this search has filled with new entries; it may pass 1000.
i32 HashFull();

// A hit takes over Attacks, MaterialScore and ScaleTrace into thread_eval_info; true with *score
// set when the score for the side to move is known.
bool ReadEvalCache(i32 *score);
// Writes the score for the side to move and, for a new key, the rest from thread_eval_info.
void StoreEvalCache(i32 score);

// At start: allocates every table with the sizes in Settings, cleared.
void AllocateTables();
void ReleaseTables();
void ClearHash();
void ClearEvalCache();
void ResizeHash(i64 megabytes);
// One zeroed block for a hash table, or the program's end with its message when memory runs out. The system
// supplies the zero pages as they are first touched, so that start-up doesn't wait for megabytes to be written.
void *AllocateTableBlock(i64 bytes);
// Zeroes a block and marks its first key with all ones, so that a zero key never matches.
void ClearTableBlock(void *block, i64 bytes);
// The mark alone, for a block that is zero already.
void MarkFirstKey(void *block);
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
