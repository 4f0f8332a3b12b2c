// The only operations that change thread_board during play: two mirrored straight-line branches,
// one per side, inline for the hot callers; the rarer branches stay out of line.
#pragma once
#include "board/board.h"
#include "board/piece_square.h"

// Plays a pseudo-legal move for SideToMove; `save` non-zero writes the snapshot into GameHistory.
void make_move(u32 move, int save);
// Takes back the move in GameHistory[GameHistoryCount - 1].
void unmake_move();
void RecomputeMaterialIndex();
// A move of the game itself, made between searches: the history is kept within its bounds.
void MakeGameMove(u32 move);
// Takes back one move of the game if there is one that can be taken back.
void TakeBackGameMove();

inline constexpr u8 CastlingMask[64] = {
    253, 255, 255, 255, 252, 255, 255, 254, 255, 255, 255, 255, 255, 255, 255, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 247, 255, 255, 255, 243, 255, 255, 251};

// PstScore counts black positive, white negative.
template <int Side>
constexpr int PstSign = Side == BLACK ? 1 : -1;

inline void ToggleSliderSets(int piece, u64 squares) {
  if (piece & 4) {
    if (piece & 1) thread_board.RooksQueens ^= squares;
    if (piece & 2) thread_board.BishopsQueens ^= squares;
  }
}

template <int Us>
void MoveCastlingRook(int from, int to, bool forward);
template <int Us>
void RemoveCapturedPiece(int to, int captured);
template <int Us>
void Promote(int to, int promotion);
template <int Us>
void TakeEnPassant(int victim);
template <int Us>
void RestoreCapturedPiece(int to, int captured);
template <int Us>
void Unpromote(int to, int promotion);
template <int Us>
void RestoreEnPassant(int victim);

// make_move for a side known at compile time.
template <int Us>
inline void MakeMoveAs(u32 move, int save) {
  constexpr int Them = ChangeSide(Us);
  BoardRecord &b = thread_board;
  const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move);
  const int captured = CapturedPiece(move), promotion = PromotionPiece(move);
  const u64 ft = Bit(from) | Bit(to);
  GameHistoryEntry &entry = GameHistory[GameHistoryCount];
  if (save) {
    entry.CastlingFlags = b.CastlingFlags;
    entry.ReversibleMoves = b.ReversibleMoves;
    entry.PstScore = b.PstScore;
    entry.Key = b.PositionKey;
    entry.MaterialIndex = b.MaterialIndex;
  }
  b.ReversibleMoves++;
  ToggleSliderSets(moved, ft);
  b.Pieces[Us] ^= ft;
  b.PieceBoards[moved][Us] ^= ft;
  b.Board[from] = NONE;
  b.Board[to] = moved;
  b.PositionKey ^= PieceKeys[Us][moved][to] ^ PieceKeys[Us][moved][from];
  b.PstScore += PstSign<Us> * (PieceSquare[moved][Us][to] - PieceSquare[moved][Us][from]);
  b.Occupied ^= ft;

  if (captured) RemoveCapturedPiece<Us>(to, captured);

  if (moved == PAWN) {
    b.PawnKey ^= PieceKeys[Us][PAWN][from];
    b.ReversibleMoves = 0;
    if (promotion) {
      Promote<Us>(to, promotion);
    } else {
      b.PawnKey ^= PieceKeys[Us][PAWN][to];
      if (!captured && ((from ^ to) & 1)) TakeEnPassant<Us>((from & 56) | (to & 7));
    }
  } else if (moved == ROOK) {
    b.CastlingFlags &= CastlingMask[from];
  } else if (moved == KING) {
    b.CastlingFlags &= CastlingMask[from];
    b.KingSquare[Us] = to;
    constexpr int home = Us == WHITE ? 4 : 60;
    if (from == home && (to == home + 2 || to == home - 2)) MoveCastlingRook<Us>(from, to, true);
  }

  entry.Move = move;
  GameHistoryCount++;
  b.SideToMove = Them;
}

// unmake_move for the side that made the last move, known at compile time.
template <int Us>
inline void UnmakeMoveAs() {
  const GameHistoryEntry &entry = GameHistory[--GameHistoryCount];
  thread_board.SideToMove = Us;
  BoardRecord &b = thread_board;
  const u32 move = entry.Move;
  const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move);
  const int captured = CapturedPiece(move), promotion = PromotionPiece(move);
  const u64 ft = Bit(from) | Bit(to);

  ToggleSliderSets(moved, ft);
  b.Occupied ^= ft;
  b.Pieces[Us] ^= ft;
  b.PieceBoards[moved][Us] ^= ft;
  b.Board[from] = moved;
  b.Board[to] = captured;
  if (captured) RestoreCapturedPiece<Us>(to, captured);

  if (moved == PAWN) {
    b.PawnKey ^= PieceKeys[Us][PAWN][from];
    if (promotion) {
      Unpromote<Us>(to, promotion);
    } else {
      b.PawnKey ^= PieceKeys[Us][PAWN][to];
      if (!captured && ((from ^ to) & 1)) RestoreEnPassant<Us>((from & 56) | (to & 7));
    }
  } else if (moved == KING) {
    b.KingSquare[Us] = from;
    constexpr int home = Us == WHITE ? 4 : 60;
    if (from == home && (to == home + 2 || to == home - 2)) MoveCastlingRook<Us>(from, to, false);
  }

  b.CastlingFlags = u8(entry.CastlingFlags);
  b.ReversibleMoves = entry.ReversibleMoves;
  b.PstScore = entry.PstScore;
  b.PositionKey = entry.Key;
  b.MaterialIndex = entry.MaterialIndex;
}

