// The evaluation: one pass over the position, from Black's view until the last step.
#pragma once
#include "board/types.h"

// Scratch of one evaluation; where a field has two entries the first belongs to WHITE.
struct EvalInfo {
  i32 KingWing[2];
  i32 FinalScore;
  i32 PackedScore;
  i32 SideOpening[2];
  i32 SideEnding[2];
  i32 Initiative[2];
  u64 QueenReach[2], KnightReach[2], BishopReach[2], RookReach[2];
  u64 PawnThreat[2];
  u64 BlockedPawns[2];
  u64 KingZone[2];
  u64 ZoneHits[2];
  u64 MinorReach[2];
  i32 Hanging[2];
  u64 RookChecks[2], QueenChecks[2], BishopChecks[2], KnightChecks[2];
  i32 danger[2];
  i32 shelter_penalty[2];
  i32 Ending[2];
  i32 MaterialScore;
  i32 OtherSideKnown;
  i32 Cacheable;
  i32 BaseScore;
  i32 ScoreSum;
  i32 Attackers[2];
  u64 Attacks[2];
  u64 PassedPawns[2];
  i32 ScaleTrace;
  i32 DevelopmentClass[2];
  i32 CannotWin[2];
};

extern EvalInfo thread_eval_info;

// Packed pairs: (opening << 16) + ending in one word, added as plain integers.
constexpr i32 OpeningOf(i32 packed) { return (packed + 32768) >> 16; }
constexpr i32 EndingOf(i32 packed) { return i16(u16(u32(packed))); }
constexpr i32 Pack(i32 opening, i32 ending) { return i32(u32(opening) * 65536u + u32(ending)); }
// One value for both halves.
constexpr i32 PackBoth(i32 value) { return i32(u32(value) * 65537u); }

// `*score` preset to -32700 by the caller; on return the evaluation for the side to move.
void Evaluate(i32 *score, i32 bound);
