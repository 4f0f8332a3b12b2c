#include "board/makemove.h"

#include <cstdio>

#include "board/piece_square.h"

namespace {

constexpr u8 CastlingMask[64] = {
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

// The rook's part of castling, both ways: the king went from `from` to `to`.
template <int Us>
inline void MoveCastlingRook(int from, int to, bool forward) {
  BoardRecord &b = thread_board;
  int rookFrom = to > from ? from + 3 : from - 4;
  int rookTo = to > from ? from + 1 : from - 1;
  u64 squares = Bit(rookFrom) | Bit(rookTo);
  b.Board[forward ? rookFrom : rookTo] = NONE;
  b.Board[forward ? rookTo : rookFrom] = ROOK;
  b.Pieces[Us] ^= squares;
  b.Occupied ^= squares;
  b.Rooks[Us] ^= squares;
  b.RooksQueens ^= squares;
  if (forward) {
    b.PositionKey ^= PieceKeys[Us][ROOK][rookFrom] ^ PieceKeys[Us][ROOK][rookTo];
    b.PstScore += PstSign<Us> * (PieceSquare[ROOK][Us][rookTo] - PieceSquare[ROOK][Us][rookFrom]);
  }
}

template <int Us>
void MakeMoveFor(u32 move, int save) {
  constexpr int Them = ChangeSide(Us);
  BoardRecord &b = thread_board;
  const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move);
  const int captured = CapturedPiece(move), promotion = PromotionPiece(move);
  const u64 ft = Bit(from) | Bit(to), toBit = Bit(to);
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

  if (captured) {
    b.Occupied |= toBit;
    b.Pieces[Them] ^= toBit;
    b.PieceTotal--;
    b.ReversibleMoves = 0;
    b.PstScore -= PstSign<Them> * PieceSquare[captured][Them][to];
    if (captured == PAWN) {
      b.Pawns[Them] ^= toBit;
      b.PositionKey ^= PieceKeys[Them][PAWN][to];
      b.PawnKey ^= PieceKeys[Them][PAWN][to];
      b.Material[Them] -= PieceValue[PAWN];
      b.PieceCount[PAWN][Them]--;
    } else if (captured != KING) {  // a king is taken only inside the legality filter, and put back at once
      b.PieceBoards[captured][Them] ^= toBit;
      ToggleSliderSets(captured, toBit);
      b.PositionKey ^= PieceKeys[Them][captured][to];
      b.PieceMaterial[Them] -= PieceUnits[captured];
      b.Material[Them] -= PieceValue[captured];
      b.PieceCount[captured][Them]--;
      if (captured == ROOK) b.CastlingFlags &= CastlingMask[to];
    }
    if (b.MaterialIndex != MATERIAL_OVERFLOW)
      b.MaterialIndex -= MaterialWeight[captured][Them];
    else if (captured != PAWN && b.PieceCount[captured][Them] == 2)
      RecomputeMaterialIndex();
  }

  if (moved == PAWN) {
    b.PawnKey ^= PieceKeys[Us][PAWN][from];
    b.ReversibleMoves = 0;
    if (promotion) {
      b.PieceCount[PAWN][Us]--;
      b.Pawns[Us] ^= toBit;
      b.PositionKey ^= PieceKeys[Us][PAWN][to] ^ PieceKeys[Us][promotion][to];
      b.PieceBoards[promotion][Us] |= toBit;
      b.Board[to] = promotion;
      int count = ++b.PieceCount[promotion][Us];
      b.PstScore += PstSign<Us> * (PieceSquare[promotion][Us][to] - PieceSquare[PAWN][Us][to]);
      b.Material[Us] += PieceValue[promotion] - PieceValue[PAWN];
      b.PieceMaterial[Us] += PieceUnits[promotion];
      ToggleSliderSets(promotion, toBit);
      if (b.MaterialIndex == MATERIAL_OVERFLOW || count >= 3)
        b.MaterialIndex = MATERIAL_OVERFLOW;
      else
        b.MaterialIndex += MaterialWeight[promotion][Us] - MaterialWeight[PAWN][Us];
    } else {
      b.PawnKey ^= PieceKeys[Us][PAWN][to];
      if (!captured && ((from ^ to) & 1)) {
        const int victim = (from & 56) | (to & 7);
        const u64 victimBit = Bit(victim);
        b.Pieces[Them] ^= victimBit;
        b.Pawns[Them] ^= victimBit;
        b.Occupied ^= victimBit;
        b.Board[victim] = NONE;
        b.PositionKey ^= PieceKeys[Them][PAWN][victim];
        b.PawnKey ^= PieceKeys[Them][PAWN][victim];
        b.PstScore -= PstSign<Them> * PieceSquare[PAWN][Them][victim];
        b.Material[Them] -= PieceValue[PAWN];
        b.PieceCount[PAWN][Them]--;
        b.PieceTotal--;
        if (b.MaterialIndex != MATERIAL_OVERFLOW) b.MaterialIndex -= MaterialWeight[PAWN][Them];
      }
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

template <int Us>
void UnmakeMoveFor(const GameHistoryEntry &entry) {
  constexpr int Them = ChangeSide(Us);
  BoardRecord &b = thread_board;
  const u32 move = entry.Move;
  const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move);
  const int captured = CapturedPiece(move), promotion = PromotionPiece(move);
  const u64 ft = Bit(from) | Bit(to), toBit = Bit(to);

  ToggleSliderSets(moved, ft);
  b.Occupied ^= ft;
  b.Pieces[Us] ^= ft;
  b.PieceBoards[moved][Us] ^= ft;
  b.Board[from] = moved;
  b.Board[to] = captured;
  if (captured) {
    b.Pieces[Them] |= toBit;
    b.Occupied |= toBit;
    b.PieceTotal++;
    if (captured == PAWN) {
      b.Pawns[Them] |= toBit;
      b.PawnKey ^= PieceKeys[Them][PAWN][to];
      b.Material[Them] += PieceValue[PAWN];
      b.PieceCount[PAWN][Them]++;
    } else if (captured != KING) {
      b.PieceBoards[captured][Them] |= toBit;
      ToggleSliderSets(captured, toBit);
      b.PieceMaterial[Them] += PieceUnits[captured];
      b.Material[Them] += PieceValue[captured];
      b.PieceCount[captured][Them]++;
    }
  }

  if (moved == PAWN) {
    b.PawnKey ^= PieceKeys[Us][PAWN][from];
    if (promotion) {
      b.PieceCount[PAWN][Us]++;
      b.Pawns[Us] ^= toBit;
      b.Material[Us] -= PieceValue[promotion] - PieceValue[PAWN];
      b.PieceMaterial[Us] -= PieceUnits[promotion];
      b.PieceBoards[promotion][Us] ^= toBit;
      ToggleSliderSets(promotion, toBit);
      b.PieceCount[promotion][Us]--;
    } else {
      b.PawnKey ^= PieceKeys[Us][PAWN][to];
      if (!captured && ((from ^ to) & 1)) {
        const int victim = (from & 56) | (to & 7);
        const u64 victimBit = Bit(victim);
        b.Pieces[Them] |= victimBit;
        b.Pawns[Them] |= victimBit;
        b.Occupied |= victimBit;
        b.Board[victim] = PAWN;
        b.Material[Them] += PieceValue[PAWN];
        b.PieceCount[PAWN][Them]++;
        b.PieceTotal++;
        b.PawnKey ^= PieceKeys[Them][PAWN][victim];
      }
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

}  // namespace

void make_move(u32 move, int save) {
  if (thread_board.SideToMove == WHITE)
    MakeMoveFor<WHITE>(move, save);
  else
    MakeMoveFor<BLACK>(move, save);
}

void unmake_move() {
  const GameHistoryEntry &entry = GameHistory[--GameHistoryCount];
  thread_board.SideToMove ^= 1;
  if (thread_board.SideToMove == WHITE)
    UnmakeMoveFor<WHITE>(entry);
  else
    UnmakeMoveFor<BLACK>(entry);
}

void RecomputeMaterialIndex() {
  const BoardRecord &b = thread_board;
  static const int pieces[4] = {KNIGHT, BISHOP, ROOK, QUEEN};
  bool fits = b.PieceCount[PAWN][WHITE] <= 8 && b.PieceCount[PAWN][BLACK] <= 8;
  for (int piece : pieces) fits = fits && b.PieceCount[piece][WHITE] < 3 && b.PieceCount[piece][BLACK] < 3;
  if (!fits) {
    thread_board.MaterialIndex = MATERIAL_OVERFLOW;
    return;
  }
  int index = 0;
  for (int piece : {QUEEN, ROOK, BISHOP, KNIGHT, PAWN})
    index += b.PieceCount[piece][WHITE] * MaterialWeight[piece][WHITE] +
             b.PieceCount[piece][BLACK] * MaterialWeight[piece][BLACK];
  if (index > MATERIAL_OVERFLOW) printf("Error when indexing material!\n");
  thread_board.MaterialIndex = index;
}
