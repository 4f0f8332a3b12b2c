#include "think/root_prep.h"

#include <cstdio>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "book/book_learning.h"
#include "search/hash.h"
#include "search/lazy_eval.h"
#include "shell/settings.h"

namespace {

// Each result goes out on a line of its own and at once: a GUI acts on it.
void PrintResult(const char *text) {
  if (Settings.UciMode) return;
  printf("%s\n", text);
  fflush(stdout);
}

// The book's learning counts a game ended by rule, or by mate, as a draw.
void CloseBookGame() {
  if (BookGameOpen()) BookLearnGame(BOOK_DRAW);
}

// Capture, promotion, null move or pawn move: the position can't come back across it.
bool IsIrreversible(u32 move) { return IsCaptureOrPromotion(move) || move == 0 || MovedPiece(move) == PAWN; }

bool SameStretch(const GameHistoryEntry &entry) {
  return !IsIrreversible(entry.Move) && entry.CastlingFlags == thread_board.CastlingFlags;
}

// Selection sort of MoveStack[first, end) by Score, descending; equal scores keep their order of generation.
void SortByScore(int first, int end) {
  for (int i = first; i < end; i++)
    for (int j = i + 1; j < end; j++)
      if (MoveStack[j].Score > MoveStack[i].Score) {
        const MoveEntry kept = MoveStack[i];
        MoveStack[i] = MoveStack[j];
        MoveStack[j] = kept;
      }
}

void AddKiller(u32 killer) {
  PlyRecord &record = PlyStack[0];
  if (!killer) return;
  const int top = MoveStackTop;
  AddMoveIfValid(killer);
  if (MoveStackTop > top) record.TriedMoves[record.TriedCount++] = killer;
}

// The pseudo-legal root moves in the order of the move loop: tactical moves, killers, quiet moves.
void GenerateRootMoves() {
  const BoardRecord &b = thread_board;
  const int us = b.SideToMove;
  if (PlyStack[0].InCheck) {
    GenerateEvasions(14);
    return;
  }
  int first = MoveStackTop;
  GenerateCaptures(b.Pieces[ChangeSide(us)]);
  GeneratePromotions();
  SortByScore(first, MoveStackTop);
  PlyStack[0].TriedCount = 0;
  const u32 killer1 = PlyStack[0].Killers1[us], killer2 = PlyStack[0].Killers2[us];
  AddKiller(killer1);
  AddKiller(killer2);
  first = MoveStackTop;
  GenerateQuiets(1);
  int kept = first;
  for (int i = first; i < MoveStackTop; i++) {
    const u32 move = MoveStack[i].Move;
    if (move && move != killer1 && move != killer2) MoveStack[kept++] = MoveStack[i];
  }
  MoveStackTop = kept;
  SortByScore(first, MoveStackTop);
}

bool InSearchMoves(u32 move) {
  for (int i = 0; i < Settings.SearchMovesCount && i < SEARCH_MOVES_SIZE; i++)
    if (SearchMoves[i] == move) return true;
  return false;
}

// Keeps the legal moves (of `go searchmoves`, if given) at the front. Only the move word is copied:
// an entry's Score stays the one generated at its place.
int KeepLegalMoves() {
  BoardRecord &b = thread_board;
  const int us = b.SideToMove;
  int n = 0;
  for (int i = 0; i < MoveStackTop; i++) {
    const u32 move = MoveStack[i].Move;
    // Taking the king ends no game: a search that went on from there would play on without a king.
    if (move == 0 || CapturedPiece(move) == KING) continue;
    if (Settings.SearchMovesCount > 0 && !InSearchMoves(move)) continue;
    make_move(move, 1);
    // The root's children stay young in the table.
    if (TranspositionEntry *child = FindHashEntry()) child->Age = Settings.HashAge;
    const bool exposed = IsAttacked(b.SideToMove, b.KingSquare[us]);
    unmake_move();
    if (exposed) continue;
    if (n > 0) RootScore[n] = 0;
    MoveStack[n++].Move = move;
  }
  return n;
}

void MoveToFront(u32 move, int count) {
  for (int i = 0; i < count; i++) {
    if (MoveStack[i].Move != move) continue;
    const MoveEntry front = MoveStack[i];
    for (int j = i; j > 0; j--) MoveStack[j] = MoveStack[j - 1];
    MoveStack[0] = front;
    return;
  }
}

// `side` has nothing but its king, the other side at most a minor piece and no pawns.
bool BareKingFacesMinor(int side) {
  const BoardRecord &b = thread_board;
  const int other = ChangeSide(side);
  return b.Material[side] == 0 && b.Material[other] <= 300 && !b.Pawns[other];
}

}  // namespace

void MakeRootMove(int k) {
  make_move(MoveStack[k].Move, 1);
  Ply = 1;
  const BoardRecord &b = thread_board;
  PlyStack[1].InCheck = IsAttacked(ChangeSide(b.SideToMove), b.KingSquare[b.SideToMove]);
}

bool IsBareKingDraw() { return BareKingFacesMinor(WHITE) || BareKingFacesMinor(BLACK); }

// The history entry holds the count before the last move: the draw comes one ply after the hundredth.
bool IsFiftyMoveDraw() { return GameHistoryCount > 0 && GameHistory[GameHistoryCount - 1].ReversibleMoves >= 100; }

bool IsThreefold() {
  if (GameHistoryCount < 4) return false;
  if (!SameStretch(GameHistory[GameHistoryCount - 1]) || !SameStretch(GameHistory[GameHistoryCount - 2]))
    return false;
  int hits = 0;
  for (int i = GameHistoryCount - 4; i >= 0; i -= 2) {
    if (!SameStretch(GameHistory[i]) || !SameStretch(GameHistory[i + 1])) return false;
    if (GameHistory[i].Key == thread_board.PositionKey && ++hits == 2) return true;
  }
  return false;
}

i32 PrepareRoot() {
  BoardRecord &b = thread_board;
  const i32 estimate = Settings.RootSide == Settings.LastScoreSide ? Settings.LastScore : -Settings.LastScore;

  // Draws by rule are announced, but the search goes on if the GUI asks for it.
  for (int side : {BLACK, WHITE})
    if (BareKingFacesMinor(side)) {
      CloseBookGame();
      PrintResult("1/2-1/2 {Draw by insufficient material}");
    }
  if (IsThreefold()) {
    CloseBookGame();
    PrintResult("1/2-1/2 {Draw by repetition}");
  }
  if (IsFiftyMoveDraw()) {
    CloseBookGame();
    PrintResult("1/2-1/2 {Draw by the 50-moves rule}");
  }

  MoveStackTop = 0;
  Ply = 0;
  u32 hashMove = 0;
  RootScore[0] = estimate;
  if (Settings.TranspositionSize != 0)
    if (TranspositionEntry *entry = FindHashEntry()) {
      entry->Age = Settings.HashAge;
      hashMove = entry->Info & INFO_MOVE_MASK;
      if (entry->Flags & EXACT_VALID) RootScore[0] = entry->ExactScore;
    }

  // Stands until an iteration replaces it: a root that runs none counts as searched deep enough.
  Settings.Iteration = 10;
  const int us = b.SideToMove;
  PlyStack[0].InCheck = IsAttacked(ChangeSide(us), b.KingSquare[us]);
  u64 attacks[2];  // the root's generators read no attack map
  PlyStack[0].StaticEval = EvaluateLazily(attacks);
  PlyStack[0].Attacks[WHITE] = PlyStack[0].Attacks[BLACK] = 0;

  GenerateRootMoves();
  const int n = KeepLegalMoves();
  MoveStackTop = n;
  if (hashMove) MoveToFront(hashMove, n);

  if (n > 0) {
    if (hashMove) {
      // The table already offers a first line: depth 1 of a search that hasn't begun.
      Settings.Iteration = 0;
      Settings.SelDepth = 0;
      Settings.RootMoveIndex = 0;
    }
    return 0;
  }
  CloseBookGame();
  if (!PlyStack[0].InCheck)
    PrintResult("1/2-1/2 {Stalemate}");
  else
    PrintResult(us == BLACK ? "1-0 {White mates}" : "0-1 {Black mates}");
  return 1;
}
