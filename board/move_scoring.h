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
template <int Us>
inline int SafetyBy(u64 enemyAttacks, int from, int to, int moved, int captured, int promotion) {
  if (enemyAttacks && !(enemyAttacks & Bit(to)) && (!(enemyAttacks & Bit(from)) || moved == KNIGHT)) return 1;
  return ExchangeHoldsFor<Us>(to, from, moved, captured, promotion);
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

// History scoring of quiet moves: the slices and the follow-ups of the side's previous move, read once.
template <int Us>
struct QuietScorer {
  int fullSlice = 2, quarterSlice = 2;
  u32 followUp[2] = {0, 0};

  explicit QuietScorer(int nearAlpha) : fullSlice(nearAlpha & 1), quarterSlice(nearAlpha == 0 ? 1 : 0) {
    if (GameHistoryCount < 2) return;
    const u32 previous = GameHistory[GameHistoryCount - 2].Move;
    const int to = MoveTo(previous), piece = CompactIndex[MovedPiece(previous)];
    followUp[0] = FollowUpTable[0][to][piece][Us];
    followUp[1] = FollowUpTable[1][to][piece][Us];
  }

  int Score(u32 move, int safety) const {
    const int s = HistoryCell(move, safety, fullSlice, Us) + (HistoryCell(move, safety, quarterSlice, Us) >> 2);
    if (move == followUp[0]) return s + ((s * 148) >> 8);
    if (move == followUp[1]) return s + ((s * 138) >> 8);
    return s;
  }
};

// Appends to MoveStack through a local cursor, with the node's attack map read once.
template <int Us>
struct MoveAppender {
  MoveEntry *out = MoveStack + MoveStackTop;
  const u64 enemyAttacks = PlyStack[Ply].Attacks[ChangeSide(Us)];

  MoveAppender() = default;
  MoveAppender(const MoveAppender &) = delete;
  ~MoveAppender() { MoveStackTop = int(out - MoveStack); }

  int Safety(int from, int to, int moved, int captured, int promotion) const {
    return SafetyBy<Us>(enemyAttacks, from, to, moved, captured, promotion);
  }
  void Push(u32 move, int score, int safety) { *out++ = MoveEntry{move, score, safety}; }
};
