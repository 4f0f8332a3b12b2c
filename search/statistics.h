// Move-ordering statistics, learnt by the search and read by the generators.
#pragma once
#include "board/types.h"

// [Safety 2][slice 3][history class 4][from + 64 * to][side]
extern i32 HistoryTable[2][3][4][4096][2];
// [to of the checking move][own king square][side]
extern u32 CheckReplies[2][64][64][2];
// [to of the last move][compact piece index][side]
extern u32 CounterMoves[2][64][7][2];
// [to of the move before][compact piece index][side]
extern u32 FollowUpTable[2][64][7][2];
// [to of the threat][compact index of its piece][compact index of its victim][side]
extern u32 ThreatReplies[2][64][7][7][2];
constexpr int CAPTURE_STATS_SIZE = 1 << 20;
extern i32 CaptureTried[CAPTURE_STATS_SIZE];
extern i32 CaptureCutoffs[CAPTURE_STATS_SIZE];

void ClearCaptureStatistics();
void ClearHistoryTable();
// Everything the ordering learns during a game.
void ClearOrderingStatistics();
