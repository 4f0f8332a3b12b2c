// Probing: table lookups, the small capture searches around them, en passant, and the DTZ cache.
#include <cstring>
#include <new>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "search/depth_change.h"
#include "tablebase/registry.h"
#include "tablebase/tablebase.h"

namespace {

constexpr int PieceOfNibble[8] = {NONE, PAWN, KNIGHT, BISHOP, ROOK, QUEEN, KING, NONE};
constexpr i32 WdlToDtz[5] = {-1, -101, 0, 101, 1};
constexpr int WdlToMap[5] = {1, 3, 0, 2, 0};

struct Orientation {
  int colourFlip, squareFlip, side;
};

Orientation Orient(const TableRecord *t, u64 key) {
  const int black = thread_board.SideToMove == BLACK;
  if (t->Symmetric) return {black ? 8 : 0, black ? 56 : 0, 0};
  if (key == t->Key) return {0, 0, black};
  return {8, 56, !black};
}

// Writes the squares of the men listed from `i` on, each kind's board from its lowest bit.
// False when a listed man has no board: a table that doesn't fit the position.
bool PlaceMen(const u8 *codes, int men, int i, int colourFlip, int squareFlip, int *squares) {
  while (i < men) {
    const int c = codes[i], piece = PieceOfNibble[c & 7];
    u64 kind = piece ? thread_board.PieceBoards[piece][((c ^ colourFlip) >> 3) & 1] : 0;
    if (!kind) return false;
    while (kind && i < men) squares[i++] = PopLowest(kind) ^ squareFlip;
  }
  return true;
}

// The index of the position in a table; `which` picks the side of EncodingData (WDL: the side, DTZ: 0).
// Returns the file group, or -1 if the men don't fit.
int TableIndex(const TableRecord *t, int encodingType, const u8 *pawnCounts, const EncodingData *files, int which,
               const Orientation &o, u64 &index) {
  int squares[TB_MAX_MEN];
  const int men = t->Men;
  if (!t->HasPawns) {
    const EncodingData &e = files[0];
    if (!PlaceMen(e.ManCodes[which], men, 0, o.colourFlip, 0, squares)) return -1;
    index = EncodePiece(encodingType, men, e.Norm[which], squares, e.Factor[which]);
    return 0;
  }
  if (!PlaceMen(files[0].ManCodes[0], pawnCounts[0], 0, o.colourFlip, o.squareFlip, squares)) return -1;
  const int group = PawnFile(pawnCounts, squares);
  const EncodingData &e = files[group];
  if (!PlaceMen(e.ManCodes[which], men, pawnCounts[0], o.colourFlip, o.squareFlip, squares)) return -1;
  index = EncodePawn(pawnCounts, men, e.Norm[which], squares, e.Factor[which]);
  return group;
}

i32 ProbeWdlTable(i32 &success) {
  if (thread_board.PieceTotal < 3) return 0;
  const u64 key = MaterialKey(0);
  TableSlot *slot = FindTableSlot(key);
  if (!slot) {
    success = 0;
    return 0;
  }
  TableRecord *t = slot->Table;
  if (!t->Ready) {
    char name[16];
    MaterialName(name, key != t->Key);
    if (!InitWdlTable(t, name)) {
      slot->Key = 0;  // not tried again under this key
      success = 0;
      return 0;
    }
    t->Ready = 1;
  }
  const Orientation o = Orient(t, key);
  const EncodingData *files;
  int encodingType = 0;
  const u8 *pawnCounts = nullptr;
  if (t->HasPawns) {
    files = static_cast<PawnTable *>(t)->File;
    pawnCounts = static_cast<PawnTable *>(t)->PawnCounts;
  } else {
    files = &static_cast<PieceTable *>(t)->Enc;
    encodingType = static_cast<PieceTable *>(t)->EncodingType;
  }
  u64 index = 0;
  const int group = TableIndex(t, encodingType, pawnCounts, files, o.side, o, index);
  if (group < 0 || !files[group].Pairs[o.side]) {
    success = 0;
    return 0;
  }
  const i32 value = DecompressPairs(files[group].Pairs[o.side], index) - 2;
  // A damaged table may hold any byte; only the five results mean something to the callers.
  if (value < -2 || value > 2) {
    success = 0;
    return 0;
  }
  return value;
}

bool InCheckHere() { return PlyStack[Ply].InCheck != 0; }

bool IsIllegalMove(u32 move) {
  const BoardRecord &b = thread_board;
  if (MovedPiece(move) == KING) return IsAttacked(ChangeSide(b.SideToMove), MoveTo(move));
  return IsPinned(move);
}

bool IsLegalListed(u32 move, bool inCheck) { return inCheck || !IsIllegalMove(move); }

// Makes a listed move for a probe one ply down; an en passant capture that exposes the own king is taken
// back at once, and the result is false.
bool PlayMove(u32 move) {
  const int us = thread_board.SideToMove;
  PlyStack[Ply + 1].InCheck = GivesCheck(move);
  make_move(move, 1);
  if (IsEnPassant(move) && IsAttacked(ChangeSide(us), thread_board.KingSquare[us])) {
    unmake_move();
    return false;
  }
  Ply++;
  return true;
}

void TakeBack() {
  Ply--;
  unmake_move();
}

void ListCaptures(bool inCheck) {
  if (inCheck)
    GenerateEvasionsList();
  else
    GenerateCaptures(thread_board.Pieces[ChangeSide(thread_board.SideToMove)]);
}

void ListAllMoves(bool inCheck) {
  if (inCheck) {
    GenerateEvasionsList();
  } else {
    GenerateCaptures(thread_board.Pieces[ChangeSide(thread_board.SideToMove)]);
    GeneratePromotions();
    GenerateQuiets(1);
  }
}

// Restores MoveStackTop on every way out of a probe.
struct StackMark {
  int top = MoveStackTop;
  ~StackMark() { MoveStackTop = top; }
};

i32 ProbeAb(i32 alpha, i32 beta, i32 &success) {
  const StackMark mark;
  const bool inCheck = InCheckHere();
  ListCaptures(inCheck);
  const int end = MoveStackTop;
  for (int i = mark.top; i < end; i++) {
    const u32 move = MoveStack[i].Move;
    if (!CapturedPiece(move) || !IsLegalListed(move, inCheck) || !PlayMove(move)) continue;
    const i32 v = -ProbeAb(-beta, -alpha, success);
    TakeBack();
    if (!success) return 0;
    if (v > alpha) {
      if (v >= beta) {
        success = 2;
        return v;
      }
      alpha = v;
    }
  }
  const i32 value = ProbeWdlTable(success);
  if (!success) return 0;
  if (alpha >= value) {
    success = 1 + (alpha > 0);
    return alpha;
  }
  success = 1;
  return value;
}

// Another legal move than en passant: in the list [start, end), or among the quiet moves.
bool HasOtherLegalMove(int start, int end, bool inCheck) {
  for (int i = start; i < end; i++) {
    const u32 move = MoveStack[i].Move;
    if (!IsEnPassant(move) && IsLegalListed(move, inCheck)) return true;
  }
  if (inCheck) return false;
  MoveStackTop = start;
  GenerateQuiets(1);
  for (int i = start; i < MoveStackTop; i++)
    if (!IsEnPassant(MoveStack[i].Move) && !IsIllegalMove(MoveStack[i].Move)) return true;
  return false;
}

// The best WDL value of the en passant captures in [start, end) for the side to move, -3 if none is legal.
i32 BestEnPassant(int start, int end, bool inCheck, bool testBefore, i32 &success) {
  i32 best = -3;
  for (int i = start; i < end; i++) {
    const u32 move = MoveStack[i].Move;
    if (!IsEnPassant(move) || (testBefore && !IsLegalListed(move, inCheck)) || !PlayMove(move)) continue;
    const i32 w = -ProbeAb(-2, 2, success);
    TakeBack();
    if (!success) return 0;
    if (w > best) best = w;
  }
  return best;
}

i32 ProbeDtzTable(i32 wdl, i32 &success);

i32 ProbeDtzNoEp(i32 &success) {
  const i32 wdl = ProbeAb(-2, 2, success);
  if (!success || !wdl) return 0;
  if (success == 2) return wdl == 2 ? 1 : 101;
  const StackMark mark;
  const bool inCheck = InCheckHere();
  if (wdl > 0) {
    ListAllMoves(inCheck);
    const int end = MoveStackTop;
    for (int i = mark.top; i < end; i++) {
      const u32 move = MoveStack[i].Move;
      if (MovedPiece(move) != PAWN || CapturedPiece(move) || IsEnPassant(move)) continue;
      if (!IsLegalListed(move, inCheck) || !PlayMove(move)) continue;
      const i32 v = -ProbeAb(-2, 1 - wdl, success);
      TakeBack();
      if (!success) return 0;
      if (v == wdl) return v == 2 ? 1 : 101;
    }
  }
  i32 dtz = 1 + ProbeDtzTable(wdl, success);
  if (success >= 0) {
    if (wdl & 1) dtz += 100;
    return wdl >= 0 ? dtz : -dtz;
  }
  if (wdl > 0) {
    // The table stores the other side to move: one ply on, over the moves that don't zero.
    i32 best = 0xFFFF;
    const int end = MoveStackTop;
    for (int i = mark.top; i < end; i++) {
      const u32 move = MoveStack[i].Move;
      if (CapturedPiece(move) || MovedPiece(move) == PAWN || !IsLegalListed(move, inCheck) || !PlayMove(move))
        continue;
      const i32 v = -ProbeDtz(success);
      TakeBack();
      if (!success) return 0;
      if (v > 0 && v + 1 < best) best = v + 1;
    }
    return best;
  }
  i32 best = -1;
  ListAllMoves(inCheck);
  const int end = MoveStackTop;
  for (int i = mark.top; i < end; i++) {
    const u32 move = MoveStack[i].Move;
    if (!IsLegalListed(move, inCheck) || !PlayMove(move)) continue;
    i32 v;
    if (thread_board.ReversibleMoves == 0)
      v = wdl == -2 ? -1 : ProbeAb(1, 2, success) == 2 ? 0 : -101;
    else
      v = -1 - ProbeDtz(success);
    TakeBack();
    if (!success) return 0;
    if (v < best) best = v;
  }
  return best;
}

void LoadDtzTable(const char *name, u64 key1, u64 key2) {
  DtzList[0] = {key1, key2, nullptr};
  const TableSlot *slot = FindTableSlot(key1);
  if (!slot) return;
  const TableRecord *source = slot->Table;
  DtzRecord *record = new (std::nothrow) DtzRecord{};
  if (!record) return;
  record->Data = MapTableFile(name, ".rtbz", record->Size);
  record->Key = source->Key;
  record->Men = source->Men;
  record->Symmetric = source->Symmetric;
  record->HasPawns = source->HasPawns;
  if (source->HasPawns)
    std::memcpy(record->PawnCounts, static_cast<const PawnTable *>(source)->PawnCounts, 2);
  else
    record->EncodingType = static_cast<const PieceTable *>(source)->EncodingType;
  if (InitDtzTable(record))
    DtzList[0].Table = record;
  else
    FreeDtzEntry(record);
}

// Brings the DTZ record of the material on the board to the front of DtzList, loading it if needed.
void SelectDtzTable(u64 key, i32 &success) {
  if (key == DtzList[0].Key1 || key == DtzList[0].Key2) return;
  for (int i = 1; i < DTZ_SLOTS; i++) {
    if (DtzList[i].Key1 != key) continue;
    const DtzSlot found = DtzList[i];
    std::memmove(&DtzList[1], &DtzList[0], sizeof(DtzSlot) * size_t(i));
    DtzList[0] = found;
    return;
  }
  const TableSlot *slot = FindTableSlot(key);
  if (!slot) {
    success = 0;
    return;
  }
  const int mirror = key != slot->Table->Key;
  char name[16];
  MaterialName(name, mirror);
  if (DtzList[DTZ_SLOTS - 1].Table) FreeDtzEntry(DtzList[DTZ_SLOTS - 1].Table);
  std::memmove(&DtzList[1], &DtzList[0], sizeof(DtzSlot) * (DTZ_SLOTS - 1));
  LoadDtzTable(name, MaterialKey(mirror), MaterialKey(1 - mirror));
}

i32 ProbeDtzTable(i32 wdl, i32 &success) {
  const u64 key = MaterialKey(0);
  SelectDtzTable(key, success);
  if (!success) return 0;
  DtzRecord *r = DtzList[0].Table;
  if (!r) {
    success = 0;
    return 0;
  }
  const Orientation o = Orient(r, key);
  u64 index = 0;
  const int group = TableIndex(r, r->EncodingType, r->PawnCounts, r->File, 0, o, index);
  if (group < 0 || !r->File[group].Pairs[0]) {
    success = 0;
    return 0;
  }
  const int flags = r->Flags[group];
  if ((flags & 1) != o.side && (r->HasPawns || !r->Symmetric)) {
    success = -1;
    return 0;
  }
  i32 value = DecompressPairs(r->File[group].Pairs[0], index);
  if (flags & 2) {
    const size_t at = size_t(r->Map - r->Data) + r->MapIdx[group][WdlToMap[wdl + 2]] + size_t(value);
    if (at >= r->Size) {
      success = 0;
      return 0;
    }
    value = r->Data[at];
  }
  if ((wdl == 2 && (flags & 4)) || (wdl == -2 && (flags & 8))) return value;
  return value * 2;
}

}  // namespace

i32 EnPassantTarget() {
  if (GameHistoryCount == 0) return 0;
  const u32 last = GameHistory[GameHistoryCount - 1].Move;
  if (!IsPawnDoubleStep(last)) return 0;
  const BoardRecord &b = thread_board;
  const int to = MoveTo(last);
  const u64 own = b.Pawns[b.SideToMove];
  if ((FileOf(to) > 0 && (own & Bit(to - 1))) || (FileOf(to) < 7 && (own & Bit(to + 1)))) return to;
  return 0;
}

i32 ProbeWdl(i32 &success) {
  success = 1;
  const i32 v = ProbeAb(-2, 2, success);
  if (!EnPassantTarget()) return v;
  if (!success) return 0;
  const StackMark mark;
  const bool inCheck = InCheckHere();
  ListCaptures(inCheck);
  if (!inCheck) GeneratePromotions();
  const int end = MoveStackTop;
  // Each en passant capture is tested once made, in check as well.
  const i32 best = BestEnPassant(mark.top, end, inCheck, false, success);
  if (!success) return 0;
  if (best == -3) return v;
  if (best >= v) return best;
  if (v != 0) return v;
  return HasOtherLegalMove(mark.top, end, inCheck) ? 0 : best;
}

i32 ProbeDtz(i32 &success) {
  success = 1;
  const i32 v = ProbeDtzNoEp(success);
  if (!EnPassantTarget()) return v;
  if (!success) return 0;
  const StackMark mark;
  const bool inCheck = InCheckHere();
  ListCaptures(inCheck);
  const int end = MoveStackTop;
  const i32 best = BestEnPassant(mark.top, end, inCheck, true, success);
  if (!success) return 0;
  if (best == -3) return v;
  const i32 d = WdlToDtz[best + 2];
  if (v < -100) return d >= 0 ? d : v;
  if (v < 0) return d;
  if (v == 0) return d >= 0 || !HasOtherLegalMove(mark.top, end, inCheck) ? d : v;
  if (v <= 100) return d == 1 ? d : v;
  return d > 0 ? d : v;
}
