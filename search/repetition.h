// Repetition detection: the position seen before, and the reversible move that would go back to one.
#pragma once
#include "board/types.h"

// One slot: key differences of single reversible moves and their packed moves
// (from | to << 6 | piece code << 12, the low bits of a move word); a 0 move marks a free index.
struct RepetitionSlot {
  u64 Keys[4];
  i16 Moves[4];
};
static_assert(sizeof(RepetitionSlot) == 40, "a repetition slot is 40 bytes");

// 8192 slots of 40 bytes, found by the low 13 bits of a key difference.
constexpr int REPETITION_SLOTS = 8192;
constexpr i64 REPETITION_TABLE_BYTES = 0x50000;
extern RepetitionSlot *RepetitionTable;

// Once at start, after the keys and the attack tables: every king, knight and slider move of both sides.
void BuildRepetitionTable();
// 1 if the position is a draw: fifty moves, an earlier occurrence inside the reversible stretch, or, with
// `upcoming`, a reversible move of the side to move that goes back to an earlier position.
int IsRepetition(int upcoming);
// The move of the side to move that recreates the position whose key differs from the present one by
// `difference`, and whose way is free; 0 if the table knows none.
u32 ReversibleMoveBack(u64 difference);
