#include "board/makemove.h"

#include <cstdio>
#include <cstring>

// The rook's part of castling, both ways: the king went from `from` to `to`.
template <int Us>
void MoveCastlingRook(int from, int to, bool forward) {
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

// The rarer branches stay out of line, which keeps the quiet path short.
template <int Us>
void RemoveCapturedPiece(int to, int captured) {
  constexpr int Them = ChangeSide(Us);
  BoardRecord &b = thread_board;
  const u64 toBit = Bit(to);
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

template <int Us>
void Promote(int to, int promotion) {
  BoardRecord &b = thread_board;
  const u64 toBit = Bit(to);
  b.PieceCount[PAWN][Us]--;
  b.Pawns[Us] ^= toBit;
  b.PositionKey ^= PieceKeys[Us][PAWN][to] ^ PieceKeys[Us][promotion][to];
  b.PieceBoards[promotion][Us] |= toBit;
  b.Board[to] = promotion;
  const int count = ++b.PieceCount[promotion][Us];
  b.PstScore += PstSign<Us> * (PieceSquare[promotion][Us][to] - PieceSquare[PAWN][Us][to]);
  b.Material[Us] += PieceValue[promotion] - PieceValue[PAWN];
  b.PieceMaterial[Us] += PieceUnits[promotion];
  ToggleSliderSets(promotion, toBit);
  if (b.MaterialIndex == MATERIAL_OVERFLOW || count >= 3)
    b.MaterialIndex = MATERIAL_OVERFLOW;
  else
    b.MaterialIndex += MaterialWeight[promotion][Us] - MaterialWeight[PAWN][Us];
}

template <int Us>
void TakeEnPassant(int victim) {
  constexpr int Them = ChangeSide(Us);
  BoardRecord &b = thread_board;
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

template <int Us>
void RestoreCapturedPiece(int to, int captured) {
  constexpr int Them = ChangeSide(Us);
  BoardRecord &b = thread_board;
  const u64 toBit = Bit(to);
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

template <int Us>
void Unpromote(int to, int promotion) {
  BoardRecord &b = thread_board;
  const u64 toBit = Bit(to);
  b.PieceCount[PAWN][Us]++;
  b.Pawns[Us] ^= toBit;
  b.Material[Us] -= PieceValue[promotion] - PieceValue[PAWN];
  b.PieceMaterial[Us] -= PieceUnits[promotion];
  b.PieceBoards[promotion][Us] ^= toBit;
  ToggleSliderSets(promotion, toBit);
  b.PieceCount[promotion][Us]--;
}

template <int Us>
void RestoreEnPassant(int victim) {
  constexpr int Them = ChangeSide(Us);
  BoardRecord &b = thread_board;
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

#define INSTANTIATE_FOR(Us)                                        \
  template void MoveCastlingRook<Us>(int, int, bool);              \
  template void RemoveCapturedPiece<Us>(int, int);                 \
  template void Promote<Us>(int, int);                             \
  template void TakeEnPassant<Us>(int);                            \
  template void RestoreCapturedPiece<Us>(int, int);                \
  template void Unpromote<Us>(int, int);                           \
  template void RestoreEnPassant<Us>(int);
INSTANTIATE_FOR(WHITE)
INSTANTIATE_FOR(BLACK)
#undef INSTANTIATE_FOR

void make_move(u32 move, int save) {
  if (thread_board.SideToMove == WHITE)
    MakeMoveAs<WHITE>(move, save);
  else
    MakeMoveAs<BLACK>(move, save);
}

void unmake_move() {
  if (thread_board.SideToMove == BLACK)
    UnmakeMoveAs<WHITE>();
  else
    UnmakeMoveAs<BLACK>();
}
// A game may run past any fixed history: once it holds this many entries, only the latest are kept.
// Those cover every repetition that still counts, since 100 reversible plies draw the game anyway.
constexpr int HISTORY_TRIM_AT = 512;
constexpr int HISTORY_KEPT = 128;

void MakeGameMove(u32 move) {
  make_move(move, 1);
  if (GameHistoryCount < HISTORY_TRIM_AT) return;
  std::memmove(GameHistory, GameHistory + GameHistoryCount - HISTORY_KEPT, HISTORY_KEPT * sizeof(GameHistoryEntry));
  GameHistoryCount = HISTORY_KEPT;
  GameHistoryFloor = 0;
}

void TakeBackGameMove() {
  if (GameHistoryCount > GameHistoryFloor) unmake_move();
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
