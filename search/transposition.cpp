// Transposition table probes and stores. One entry keeps an upper bound, a lower bound and an exact
// score side by side, each with its own depth, so that any later window can use the best of them.
#include <algorithm>
#include <cstring>

#include "board/board.h"
#include "search/hash.h"
#include "shell/settings.h"

i32 HashBound;
i32 HashFlags;
i32 SingularKnown;
i32 SingularScore;
i32 SingularDepth;

namespace {

constexpr int SLOTS = 4;
constexpr u32 DEFAULT_ENTRIES = 0x80000;

// The first of four consecutive slots. The side to move moves the start, not the stored key.
// Windows of neighbouring indices overlap: there are no aligned buckets.
TranspositionEntry *FirstSlot(u64 key) {
  const u64 x = key ^ (u64(thread_board.SideToMove) * 4);
  const u32 size = u32(Settings.TranspositionSize);
  const u32 index = size == DEFAULT_ENTRIES ? u32(x) & (DEFAULT_ENTRIES - 1) : u32(x) % size;
  return TranspositionTable + index;
}

bool Matches(const TranspositionEntry *entry, u64 key) {
  return entry->Key == key && ((entry->Info >> INFO_SIDE_SHIFT) & 1) == u32(thread_board.SideToMove);
}

// The walk of a probe: an empty slot ends it, since a store fills the first empty slot it meets.
TranspositionEntry *FindEntry(u64 key) {
  TranspositionEntry *slot = FirstSlot(key);
  for (int i = 0; i < SLOTS; i++, slot++) {
    if (slot->Info == 0) return nullptr;
    if (Matches(slot, key)) return slot;
  }
  return nullptr;
}

// Exact mate scores are kept as distance from the node, so that they hold at any ply.
int ToNode(int score) { return score > MATE_BOUND ? score + Ply : score < -MATE_BOUND ? score - Ply : score; }
int FromNode(int score) { return score > MATE_BOUND ? score - Ply : score < -MATE_BOUND ? score + Ply : score; }

// One bound tested for a cutoff; the quiescence probe also takes its floor from it.
template <bool Quiescence>
bool BoundCuts(const TranspositionEntry *e, int kind, int d, i32 *alpha, const i32 *beta, int isPv) {
  switch (kind) {
    case HASH_EXACT:
      if (!(e->Flags & EXACT_VALID) || e->ExactDepth < d) return false;
      *alpha = FromNode(e->ExactScore);
      if (Quiescence) HashBound = *alpha;
      return true;
    case HASH_LOWER:
      if (!(e->Flags & LOWER_VALID) || e->LowerDepth < d || isPv) return false;
      if (Quiescence) HashBound = e->LowerScore;  // a floor even when it is below beta
      if (e->LowerScore < *beta) return false;
      *alpha = e->LowerScore;
      return true;
    case HASH_UPPER:
      if (!(e->Flags & UPPER_VALID) || e->UpperDepth < d || e->UpperScore > *alpha || isPv) return false;
      *alpha = e->UpperScore;
      return true;
  }
  return false;
}

// The kind of the last store first, then exact, lower, upper; the kind that cut, or 0.
template <bool Quiescence>
int UsableBound(const TranspositionEntry *e, int d, i32 *alpha, const i32 *beta, int isPv) {
  const int last = int(e->Info >> INFO_KIND_SHIFT) & 3;
  if (BoundCuts<Quiescence>(e, last, d, alpha, beta, isPv)) return last;
  for (int kind : {HASH_EXACT, HASH_LOWER, HASH_UPPER})
    if (BoundCuts<Quiescence>(e, kind, d, alpha, beta, isPv)) return kind;
  return 0;
}

// Cheap entries go first: one with no move and no depth is worth 0, any other 128; the moves tried
// before the cutoff that wrote it add to that.
int ReplacementValue(const TranspositionEntry *e) {
  const bool holdsWork = (e->Info & INFO_MOVE_MASK) || e->UpperDepth || e->LowerDepth || e->ExactDepth;
  return (holdsWork ? 128 : 0) + e->MoveCount;
}

// Writes the bound of `kind`; false when a stored bound of the kind is better, which ends the store.
bool WriteBound(TranspositionEntry *e, int kind, int value, int d) {
  switch (kind) {
    case HASH_UPPER:
      value = std::max(value, -MATE_BOUND);
      if ((e->Flags & UPPER_VALID) && (e->UpperDepth > d || (e->UpperDepth == d && e->UpperScore <= value)))
        return false;
      e->UpperDepth = u8(d);
      e->UpperScore = i16(value);
      e->Flags |= UPPER_VALID;
      return true;
    case HASH_LOWER:
      value = std::min(value, MATE_BOUND);
      if ((e->Flags & LOWER_VALID) && (e->LowerDepth > d || (e->LowerDepth == d && e->LowerScore >= value)))
        return false;
      e->LowerDepth = u8(d);
      e->LowerScore = i16(value);
      e->Flags |= LOWER_VALID;
      return true;
    case HASH_EXACT:
      if ((e->Flags & EXACT_VALID) && e->ExactDepth > d) return false;
      e->ExactDepth = u8(d);
      e->ExactScore = i16(ToNode(value));
      e->Flags |= EXACT_VALID;
      return true;
  }
  return true;  // no bound: only the node flags and the move are written
}

u32 MakeInfo(int kind, u32 move, int mateThreat) {
  return u32(kind) << INFO_KIND_SHIFT | (move & INFO_MOVE_MASK) | u32(thread_board.SideToMove) << INFO_SIDE_SHIFT |
         (mateThreat ? INFO_MATE_THREAT : 0);
}

int DeepestByte(const TranspositionEntry *e) { return std::max({e->UpperDepth, e->LowerDepth, e->ExactDepth}); }

// The entry of this position for a probe, stamped with this search's age, its flags and move read out.
TranspositionEntry *ProbedEntry(u32 *move) {
  HashBound = -MATE_SCORE;
  HashFlags = 0;
  if (Settings.TranspositionSize == 0) return nullptr;
  TranspositionEntry *e = FindEntry(FullKey());
  if (!e) return nullptr;
  e->Age = Settings.HashAge;
  HashFlags = e->Flags & NODE_FLAG_MASK;
  *move = e->Info & INFO_MOVE_MASK;
  return e;
}

}  // namespace

int ProbeHash(int depth, i32 *alpha, i32 *beta, i32 *mateThreat, u32 *move, i32 *allowNull, i32 *cutoff, int isPv) {
  SingularKnown = 0;
  TranspositionEntry *e = ProbedEntry(move);
  if (!e) return 0;
  if (e->Info & INFO_MATE_THREAT) *mateThreat = 1;
  const int d = depth + HASH_DEPTH_OFFSET;
  if (e->Flags & UPPER_VALID) {
    HashBound = e->UpperScore;
    if (e->UpperScore < *beta) *allowNull = 0;
  }
  // The singular test accepts a bound up to two plies shallower than the node.
  if ((e->Flags & LOWER_VALID) && d <= e->LowerDepth + 8) {
    SingularScore = e->LowerScore;
    SingularDepth = e->LowerDepth - HASH_DEPTH_OFFSET;
    SingularKnown = 1;
  }
  if (e->Flags & EXACT_VALID) {
    if (e->ExactScore < *beta) *allowNull = 0;
    if (d <= e->ExactDepth + 8) {
      SingularScore = e->ExactScore;
      SingularDepth = e->ExactDepth - HASH_DEPTH_OFFSET;
      SingularKnown = 1;
      HashBound = e->ExactScore;
    }
  }
  const int kind = UsableBound<false>(e, d, alpha, beta, isPv);
  *cutoff = kind != 0;
  return kind ? kind : HASH_UPPER;
}

int ProbeHashQuiescence(int depth, i32 *alpha, i32 *beta, u32 *move, i32 *cutoff, int isPv) {
  TranspositionEntry *e = ProbedEntry(move);
  if (!e) return 0;
  const int kind = UsableBound<true>(e, depth + HASH_DEPTH_OFFSET, alpha, beta, isPv);
  *cutoff = kind != 0;
  return kind ? kind : HASH_UPPER;
}

void StoreHash(int depth, u32 move, int value, int kind, int mateThreat, int nodeFlags, int moveCount) {
  if (Settings.TranspositionSize == 0) return;
  // Callers clip quiescence depths to -12; the floor only keeps a byte from wrapping.
  const int d = std::clamp(depth + HASH_DEPTH_OFFSET, 0, 255);
  const u16 age = Settings.HashAge;
  const u64 key = FullKey();
  TranspositionEntry *slot = FirstSlot(key);
  TranspositionEntry *target = nullptr, *victim = nullptr;
  int victimValue = 0;
  for (int i = 0; i < SLOTS; i++, slot++) {
    if (slot->Info == 0) {
      target = slot;
      break;
    }
    if (Matches(slot, key)) {
      if (move == 0) move = slot->Info & INFO_MOVE_MASK;
      nodeFlags |= slot->Flags & NODE_FLAG_MASK;
      slot->Flags |= u8(nodeFlags & NODE_FLAG_MASK);
      slot->Age = age;
      if (moveCount) slot->MoveCount = u8(moveCount);
      if (!WriteBound(slot, kind, value, d)) return;
      slot->Info = MakeInfo(kind, move, mateThreat);
      return;
    }
    // Entries of older searches go before any of this one; among equals the cheapest, the earlier on a tie.
    const int slotValue = ReplacementValue(slot);
    const bool victimYoung = victim && victim->Age == age, slotYoung = slot->Age == age;
    if (!victim || (victimYoung && !slotYoung) || (victimYoung == slotYoung && slotValue < victimValue)) {
      victim = slot;
      victimValue = slotValue;
    }
  }
  if (!target) target = victim;
  // A deeper result of this search is not pushed out by a shallower one.
  if (target->Info != 0 && target->Age == age) {
    if (d < DeepestByte(target)) return;
  } else {
    Settings.HashStores++;
  }
  std::memset(static_cast<void *>(target), 0, sizeof(TranspositionEntry));
  target->Age = age;
  target->Key = key;
  target->Info = MakeInfo(kind, move, mateThreat);
  target->MoveCount = u8(moveCount);
  WriteBound(target, kind, value, d);
  target->Flags |= u8(nodeFlags & NODE_FLAG_MASK);
}

TranspositionEntry *FindHashEntry() { return Settings.TranspositionSize == 0 ? nullptr : FindEntry(FullKey()); }

u32 HashMoveOfPosition() {
  TranspositionEntry *e = FindHashEntry();
  if (!e) return 0;
  e->Age = Settings.HashAge;
  return e->Info & INFO_MOVE_MASK;
}

i32 HashFull() {
  if (Settings.TranspositionSize == 0) return 0;
  return i32(u64(u32(Settings.HashStores)) * 1000 / u64(Settings.TranspositionSize));
}
