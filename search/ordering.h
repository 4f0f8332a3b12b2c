// Staged move selection and the statistics that order the moves: history, killers, counter moves,
// follow-ups, threat and check replies, capture rates.
#pragma once
#include "board/board.h"

// Stage values: what NextStage has just served; the search walks 14, 11, 10, 9, 8, 7, 6, 2, 0, or 14, 12, 0 in check.
constexpr int STAGE_START = 14;
constexpr int STAGE_EVASIONS = 12;
constexpr int STAGE_CAPTURES = 11;
constexpr int STAGE_THREAT_REPLY_1 = 10;
constexpr int STAGE_THREAT_REPLY_2 = 9;
constexpr int STAGE_KILLER = 8;
constexpr int STAGE_COUNTER_1 = 7;
constexpr int STAGE_COUNTER_2 = 6;
constexpr int STAGE_QUIETS = 2;
constexpr int STAGE_DONE = 0;

// Node flags of the transposition entry that the selection reads and writes.
constexpr int NODE_FLAG_NO_QUIET_CHECK = 1;  // bit 0: no quiet checking move
constexpr int NODE_FLAG_NO_TACTICAL = 2;     // bit 1: no capture, promotion or push to the seventh
constexpr int NODE_FLAG_NO_CAPTURE = 16;     // bit 4: the same, found by the complete capture generation

// Weight of one history update by depth: (i + 1) squared, in 512ths of the distance to the bound.
constexpr i32 HistoryStep[17] = {1, 4, 9, 16, 25, 36, 49, 64, 81, 100, 121, 144, 169, 196, 225, 256, 289};
constexpr int HISTORY_LIMIT = 32700;

inline int HistoryStepIndex(int depth) {
  const int i = (depth + 4) / 4;
  return i < 0 ? 0 : i > 16 ? 16 : i;
}

// Appends the next batch of moves for the node at Ply and returns the stage it served (0: nothing left).
// `nodeFlags` is the node's flag byte for the transposition table: bits 1 and 4 are set here, bits 0 and 4 read.
int NextStage(int stage, int quietsFutile, int nearAlpha, int *nodeFlags, int skipBadCaptures, int shallow);
template <int Us>
int NextStageFor(int stage, int quietsFutile, int nearAlpha, int *nodeFlags, int skipBadCaptures, int shallow);

// A quiet move of SideToMove caused a cutoff at Ply: history, then check replies or killers, counter moves,
// follow-ups and threat replies. `safety` may be UNKNOWN_SAFETY.
void UpdateMoveStatistics(int depth, u32 move, int nearAlpha, int inCheck, int safety);

// After a quiet cutoff: each quiet entry of MoveStack[first, end) loses (step * cell) >> 9 in the history of
// SideToMove, in `slice`. The move loop passes HistoryStep[HistoryStepIndex(depth)], quiescence 4.
void WeakenEarlierQuiets(int first, int end, int step, int slice);

// One search of a capture by `side` is counted (and a success if `beatAlpha`), unless `checkInvolved`: the
// side stood in check or the move gave check. Other moves are not counted. Tries are halved with successes
// once they pass 256, so the rate follows recent play.
void CountCaptureTry(u32 move, int side, int safety, int checkInvolved, int beatAlpha);
