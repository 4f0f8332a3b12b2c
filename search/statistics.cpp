#include "search/statistics.h"

#include <cstring>

i32 HistoryTable[2][3][4][4096][2];
u32 CheckReplies[2][64][64][2];
u32 CounterMoves[2][64][7][2];
u32 FollowUpTable[2][64][7][2];
u32 ThreatReplies[2][64][7][7][2];
i32 CaptureTried[CAPTURE_STATS_SIZE];
i32 CaptureCutoffs[CAPTURE_STATS_SIZE];

void ClearCaptureStatistics() {
  std::memset(CaptureTried, 0, sizeof CaptureTried);
  std::memset(CaptureCutoffs, 0, sizeof CaptureCutoffs);
}

void ClearHistoryTable() { std::memset(HistoryTable, 0, sizeof HistoryTable); }

void ClearOrderingStatistics() {
  ClearHistoryTable();
  std::memset(CheckReplies, 0, sizeof CheckReplies);
  std::memset(CounterMoves, 0, sizeof CounterMoves);
  std::memset(FollowUpTable, 0, sizeof FollowUpTable);
  std::memset(ThreatReplies, 0, sizeof ThreatReplies);
  ClearCaptureStatistics();
}
