// What the two halves of a search node share: the node's locals and the helpers of its move walks.
#pragma once
#include "board/attacks.h"
#include "search/depth_change.h"

// The locals of one Search call that the move loop continues with; they live on the caller's frame.
struct SearchNode {
  int alpha, beta, depth, nodeType;
  int originalAlpha;  // alpha as the mate-distance step left it
  u32 hashMove, singleReply, bestMove;
  int mateThreat, nodeFlags, nearAlpha;
  int stage, listStart;
  int searched, made;
  int drawishEnding, bigCaptureFailed;
};

// The loop over the moves after the hash move, and the end of the node.
template <int Us>
int MoveLoopFor(SearchNode &n);

constexpr bool IsQuietMove(u32 move) { return !IsCaptureOrPromotion(move) && !IsEnPassant(move); }

// Pseudo-legal moves out of the generators: en passant is tested after it is made, the king by the
// attacks on its target, everything else by the pin test.
template <int Us>
inline bool PassesLegality(u32 move) {
  if (IsEnPassant(move)) return true;
  if (MovedPiece(move) == KING) return !IsAttacked(ChangeSide(Us), MoveTo(move));
  return !IsPinnedFor<Us>(move);
}

inline bool WasTriedAtPly(u32 move) {
  const PlyRecord &record = PlyStack[Ply];
  for (int i = 0; i < record.TriedCount; i++)
    if (record.TriedMoves[i] == move) return true;
  return false;
}

// Piece value for the big-capture test, with the king above everything.
constexpr int CaptureWorth(int piece) { return piece == KING ? 10000 : PieceValue[piece]; }
