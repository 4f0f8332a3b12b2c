// Depth changes of a move in quarter plies, the flags they leave on the move, the threat it carries, and the
// line tests that they and the search share. All tests look at the position before the move.
#pragma once
#include "board/attacks.h"

// MoveFlags bits of a ply's move.
constexpr u32 MF_CHECK = 1 << 0;
constexpr u32 MF_MATE_THREAT = 1 << 1;
constexpr u32 MF_RECAPTURE = 1 << 2;
constexpr u32 MF_PASSED = 1 << 3;
constexpr u32 MF_THREAT = 1 << 5;
constexpr u32 MF_REDUCED = 1 << 6;
constexpr u32 MF_FORCING = 1 << 8;

// What a slider on `square` reaches in one direction (+-1, +-7, +-8, +-9, Direction's steps) on Occupied;
// empty for any other value.
inline u64 RayAttacks(int square, int direction) {
  const u64 occ = thread_board.Occupied;
  switch (direction) {
    case 9:
      return BishopAttacks(square, occ) & RayNE[square];
    case 7:
      return BishopAttacks(square, occ) & RayNW[square];
    case -7:
      return BishopAttacks(square, occ) & RaySE[square];
    case -9:
      return BishopAttacks(square, occ) & RaySW[square];
    case 8:
      return RookAttacks(square, occ) & RayN[square];
    case 1:
      return RookAttacks(square, occ) & RayE[square];
    case -1:
      return RookAttacks(square, occ) & RayW[square];
    case -8:
      return RookAttacks(square, occ) & RayS[square];
    default:
      return 0;
  }
}

// Attacks of a piece of `code` and `side` standing on `square`, on the present Occupied.
inline u64 PieceAttacks(int square, int side, int code) {
  const u64 occ = thread_board.Occupied;
  switch (code) {
    case PAWN:
      return PawnAttacks[side][square];
    case KNIGHT:
      return KnightAttacks[square];
    case KING:
      return KingAttacks[square];
    case BISHOP:
      return BishopAttacks(square, occ);
    case ROOK:
      return RookAttacks(square, occ);
    case QUEEN:
      return BishopAttacks(square, occ) | RookAttacks(square, occ);
    default:
      return 0;
  }
}

// Is `from` the only thing between `target` and a slider of `side` behind it, and does `to` leave that line?
inline bool UncoversLine(int from, int to, int target, int side) {
  const int d = Direction[from][target];
  if (!d || Direction[to][target] == d || !(RayAttacks(target, d) & Bit(from))) return false;
  const BoardRecord &b = thread_board;
  const bool straight = d == 1 || d == -1 || d == 8 || d == -8;
  return RayAttacks(from, d) & (straight ? b.RooksQueens : b.BishopsQueens) & b.Pieces[side];
}

// Moving off the line opens an own slider onto the enemy king.
template <int Us>
inline bool DiscoversCheckFor(u32 move) {
  return UncoversLine(MoveFrom(move), MoveTo(move), thread_board.KingSquare[ChangeSide(Us)], Us);
}
inline bool DiscoversCheck(u32 move) {
  const int us = thread_board.SideToMove;
  return UncoversLine(MoveFrom(move), MoveTo(move), thread_board.KingSquare[ChangeSide(us)], us);
}

// The move would open the own king to an enemy slider: the legality test of pseudo-legal moves other than
// king moves and en passant, which are tested apart.
template <int Us>
inline bool IsPinnedFor(u32 move) {
  return UncoversLine(MoveFrom(move), MoveTo(move), thread_board.KingSquare[Us], ChangeSide(Us));
}
inline bool IsPinned(u32 move) {
  const int us = thread_board.SideToMove;
  return UncoversLine(MoveFrom(move), MoveTo(move), thread_board.KingSquare[us], ChangeSide(us));
}

// Moving off the line opens an own slider onto `square`.
inline bool UncoversAttackOn(u32 move, int square) {
  return UncoversLine(MoveFrom(move), MoveTo(move), square, thread_board.SideToMove);
}

// Does a move of SideToMove meet the opponent's `threat` (non-zero): leave its target square, defend the target
// when the threat is a capture that a recapture answers, or stand between the threat's from and to?
bool AnswersThreat(u32 move, u32 threat);

// En passant can uncover a line through the taken pawn's square too: it is made and taken back.
bool EnPassantGivesCheck(u32 move);

// Exact check test, castling, promotion and en passant included; en passant is made and taken back.
template <int Us>
inline bool GivesCheckFor(u32 move) {
  const BoardRecord &b = thread_board;
  const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move), promotion = PromotionPiece(move);
  const int enemyKing = b.KingSquare[ChangeSide(Us)];
  if (moved == KING) {
    if (FileOf(from) - FileOf(to) == 2 || FileOf(to) - FileOf(from) == 2) {
      // The rook lands next to the king's new square; the old king square is about to be free.
      const int landing = to < from ? to + 1 : to - 1;
      if (RookAttacks(landing, b.Occupied) & Bit(enemyKing)) return true;
      const int king = b.KingSquare[Us];
      return RankOf(king) == RankOf(enemyKing) && !(Between[enemyKing][king] & ~Bit(enemyKing) & b.Occupied);
    }
    return DiscoversCheckFor<Us>(move);
  }
  if (promotion) {
    if (PieceAttacks(to, Us, promotion) & Bit(enemyKing)) return true;
    // The new piece also sees back through the square the pawn leaves.
    if (PieceAttacks(from, Us, promotion) & RayAttacks(from, Direction[from][to]) & Bit(enemyKing)) return true;
    return DiscoversCheckFor<Us>(move);
  }
  if (PieceAttacks(to, Us, moved) & Bit(enemyKing)) return true;
  if (IsEnPassant(move)) return EnPassantGivesCheck(move);
  return DiscoversCheckFor<Us>(move);
}
inline bool GivesCheck(u32 move) {
  return thread_board.SideToMove == WHITE ? GivesCheckFor<WHITE>(move) : GivesCheckFor<BLACK>(move);
}

// Depth change of `move`, not yet made, at the node on Ply: -4 for one ply down, up to 0 when extended, never
// above -2 when both plies above were extended. Writes MoveFlags and FollowUpMove of Ply and InCheck of
// Ply + 1; `*safety` (UNKNOWN_SAFETY: work it out when it matters) may come back computed; `*bonus` gains the
// depth kept back for a fail-high re-search.
int MoveDepthChange(bool near, bool mateThreat, int depth, bool singleReply, u32 move, int score, bool isPv, int *bonus,
                    int gap, int *safety, bool first);
template <int Us>
int MoveDepthChangeFor(bool near, bool mateThreat, int depth, bool singleReply, u32 move, int score, bool isPv,
                       int *bonus, int gap, int *safety, bool first);
