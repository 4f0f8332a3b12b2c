// Repetition detection: the table of reversible move pairs.
#pragma once
#include "board/types.h"

// 8192 slots of 40 bytes.
constexpr i64 REPETITION_TABLE_BYTES = 0x50000;
extern u8 *RepetitionTable;
