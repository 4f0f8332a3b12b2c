// Classification and scoring of single moves, inlined into the generators.
#pragma once
#include "board/attacks.h"
#include "search/exchange.h"
#include "search/statistics.h"

constexpr i32 CaptureValue[8] = {0, 950, 300, 100, 0, 500, 300, 900};
constexpr i32 GoodCaptureBonus[17] = {-40, -30, -20, -10, 0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120};
constexpr i32 BadCaptureBonus[17] = {-128000, -64000, -32000, 0,     10000, 20000, 30000, 40000, 50000,
                                     50000,   50000,  50000,  50000, 50000, 50000, 50000, 50000};
// King and knight share a class, so do pawn and bishop: neither pair makes the same quiet from-to step.
constexpr int HistoryClass[8] = {0, 0, 0, 1, 0, 2, 1, 3};
constexpr int EN_PASSANT_SCORE = 100901;

inline int CaptureStatisticsIndex(u32 move, int side, int safety) {
  return int(CapturedPiece(move) * 8 | MovedPiece(move) | (move & 0xFC0) | MoveFrom(move) << 12 |
             (side == BLACK ? 0x2000 : 0) | (safety != 1 ? 0x4000 : 0));
}

// Safety by the attack map of the node where it is known, by the exchange test otherwise.
inline int SafetyOf(int from, int to, int moved, int captured, int promotion) {
  const u64 att = PlyStack[Ply].Attacks[ChangeSide(thread_board.SideToMove)];
  if (att && !(att & Bit(to)) && (!(att & Bit(from)) || moved == KNIGHT)) return 1;
  return ExchangeHolds(to, from, moved, captured, promotion);
}

inline int CaptureScoreOf(u32 move, int side, int *safety) {
  if ((move >> 15) == 0) return EN_PASSANT_SCORE;
  const int index = CaptureStatisticsIndex(move, side, *safety);
  const int promotion = PromotionPiece(move);
  int rate = CaptureTried[index] >= 9 ? (CaptureCutoffs[index] << 8) / CaptureTried[index] : 0;
  if (promotion && promotion != QUEEN) rate = 0;
  const int base = CaptureValue[CapturedPiece(move)] * 10 - CaptureValue[MovedPiece(move)];
  if (*safety == 1) return base + GoodCaptureBonus[rate >> 4] + (promotion ? 108000 : 100000);
  const int s = base + BadCaptureBonus[rate >> 4];
  if (s > 0) *safety = 2;
  return s;
}

inline i32 &HistoryCell(u32 move, int safety, int slice, int side) {
  return HistoryTable[safety][slice][HistoryClass[MovedPiece(move)]][move & 0xFFF][side];
}

inline int HistoryScoreOf(u32 move, int side, int nearAlpha, int forced, int safety) {
  int a = 2, b = 2;
  if (!forced) a = nearAlpha & 1, b = nearAlpha == 0 ? 1 : 0;
  const int s = HistoryCell(move, safety, a, side) + (HistoryCell(move, safety, b, side) >> 2);
  if (forced || GameHistoryCount < 2) return s;
  const u32 previous = GameHistory[GameHistoryCount - 2].Move;
  const int to = MoveTo(previous), piece = CompactIndex[MovedPiece(previous)];
  if (move == FollowUpTable[0][to][piece][side]) return s + ((s * 148) >> 8);
  if (move == FollowUpTable[1][to][piece][side]) return s + ((s * 138) >> 8);
  return s;
}

inline void PushMove(u32 move, int score, int safety) {
  MoveEntry &entry = MoveStack[MoveStackTop++];
  entry.Move = move;
  entry.Score = score;
  entry.Safety = safety;
}
