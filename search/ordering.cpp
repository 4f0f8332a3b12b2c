#include "search/ordering.h"

#include "board/move_scoring.h"
#include "board/movegen.h"
#include "shell/settings.h"

namespace {

bool WasTried(const PlyRecord &record, u32 move) {
  for (int i = 0; i < record.TriedCount; i++)
    if (record.TriedMoves[i] == move) return true;
  return false;
}

// A remembered move is served alone, once per node, and only if it can be played here.
bool ServeStoredMove(u32 move) {
  PlyRecord &record = PlyStack[Ply];
  if (!move || WasTried(record, move)) return false;
  const int top = MoveStackTop;
  AddMoveIfValid(move);
  if (MoveStackTop == top) return false;
  record.TriedMoves[record.TriedCount++] = move;
  return true;
}

inline u32 &ThreatReply(int slot, u32 threat, int side) {
  return ThreatReplies[slot][MoveTo(threat)][CompactIndex[MovedPiece(threat)]][CompactIndex[CapturedPiece(threat)]]
                      [side];
}

inline u32 &CounterMove(int slot, u32 last, int side) {
  return CounterMoves[slot][MoveTo(last)][CompactIndex[MovedPiece(last)]][side];
}

inline u32 &FollowUp(int slot, u32 before, int side) {
  return FollowUpTable[slot][MoveTo(before)][CompactIndex[MovedPiece(before)]][side];
}

// Keeps the last two different moves; the second slot moves only when the first changes.
inline void TwoSlotUpdate(u32 &first, u32 &second, u32 move) {
  if (first == move) return;
  second = first;
  first = move;
}

// Far from the root only the promotions that can matter: the queen, and the knight when it checks.
template <int Us>
void AddQueenAndCheckingKnightPromotions() {
  constexpr int forward = Us == WHITE ? 8 : -8;
  const BoardRecord &b = thread_board;
  const u64 empty = ~b.Occupied;
  MoveAppender<Us> out;
  u64 pawns = b.Pawns[Us] & RankMask(Us == WHITE ? 6 : 1) & (Us == WHITE ? empty >> 8 : empty << 8);
  while (pawns) {
    const int from = PopHighest(pawns), to = from + forward;
    int safety = out.Safety(from, to, PAWN, NONE, QUEEN);
    const u32 queen = MakeMove(from, to, PAWN, NONE, QUEEN);
    out.Push(queen, CaptureScoreOf(queen, Us, &safety), safety);
    if (KnightAttacks[to] & b.Kings[ChangeSide(Us)]) {
      int knightSafety = 0;
      const u32 knight = MakeMove(from, to, PAWN, NONE, KNIGHT);
      out.Push(knight, CaptureScoreOf(knight, Us, &knightSafety), knightSafety);
    }
  }
}

// When quiet moves can't reach alpha, a safe push to the seventh still may: it scores as a capture.
template <int Us>
void AddSafePushesToSeventh() {
  constexpr int forward = Us == WHITE ? 8 : -8;
  const BoardRecord &b = thread_board;
  const u64 empty = ~b.Occupied;
  MoveAppender<Us> out;
  u64 pawns = b.Pawns[Us] & RankMask(Us == WHITE ? 5 : 2) & (Us == WHITE ? empty >> 8 : empty << 8);
  while (pawns) {
    const int from = Us == WHITE ? PopLowest(pawns) : PopHighest(pawns), to = from + forward;
    int safety = out.Safety(from, to, PAWN, NONE, 0);
    if (!safety) continue;
    const u32 move = MakeMove(from, to, PAWN, NONE);
    out.Push(move, CaptureScoreOf(move, Us, &safety), safety);
  }
}

}  // namespace

template <int Us>
int NextStageFor(int stage, int quietsFutile, int nearAlpha, int *nodeFlags, int skipBadCaptures, int shallow) {
  PlyRecord &record = PlyStack[Ply];
  if (record.InCheck) return GenerateEvasions(stage);
  const BoardRecord &b = thread_board;
  const int top = MoveStackTop;

  if (stage >= STAGE_EVASIONS && !(*nodeFlags & NODE_FLAG_NO_CAPTURE)) {
    if (skipBadCaptures) {
      GenerateGoodCaptures(b.Pieces[ChangeSide(Us)]);
      AddQueenAndCheckingKnightPromotions<Us>();
    } else {
      GenerateCaptures(b.Pieces[ChangeSide(Us)]);
      // Near the root every promotion is tried.
      if (Ply > Settings.Iteration / 2)
        AddQueenAndCheckingKnightPromotions<Us>();
      else
        GeneratePromotions();
    }
    if (MoveStackTop > top) return STAGE_CAPTURES;
    *nodeFlags |= NODE_FLAG_NO_TACTICAL | (skipBadCaptures ? 0 : NODE_FLAG_NO_CAPTURE);
  }

  // Single moves from the tables, each one tested before any quiet move is generated.
  if (stage >= STAGE_CAPTURES) {
    record.TriedCount = 0;
    if (record.ThreatMove && ServeStoredMove(ThreatReply(0, record.ThreatMove, Us))) return STAGE_THREAT_REPLY_1;
  }
  if (stage >= STAGE_THREAT_REPLY_1 && record.ThreatMove && ServeStoredMove(ThreatReply(1, record.ThreatMove, Us)))
    return STAGE_THREAT_REPLY_2;
  if (stage >= STAGE_THREAT_REPLY_2 && ServeStoredMove(record.Killers1[Us])) return STAGE_KILLER;
  const bool lastMove = Ply > 0 && GameHistoryCount > 0;
  const u32 last = lastMove ? GameHistory[GameHistoryCount - 1].Move : 0;
  if (stage >= STAGE_KILLER && lastMove && ServeStoredMove(CounterMove(0, last, Us))) return STAGE_COUNTER_1;
  if (stage >= STAGE_COUNTER_1 && lastMove && ServeStoredMove(CounterMove(1, last, Us))) return STAGE_COUNTER_2;

  if (stage < 3) return STAGE_DONE;
  if (quietsFutile) {
    AddSafePushesToSeventh<Us>();
    if (!(*nodeFlags & NODE_FLAG_NO_QUIET_CHECK)) GenerateChecks(nearAlpha);
  } else if (shallow) {
    GenerateSafeQuiets(nearAlpha);
  } else {
    GenerateQuiets(nearAlpha);
  }
  return MoveStackTop > top ? STAGE_QUIETS : STAGE_DONE;
}

template int NextStageFor<WHITE>(int, int, int, int *, int, int);
template int NextStageFor<BLACK>(int, int, int, int *, int, int);

int NextStage(int stage, int quietsFutile, int nearAlpha, int *nodeFlags, int skipBadCaptures, int shallow) {
  return thread_board.SideToMove == WHITE
             ? NextStageFor<WHITE>(stage, quietsFutile, nearAlpha, nodeFlags, skipBadCaptures, shallow)
             : NextStageFor<BLACK>(stage, quietsFutile, nearAlpha, nodeFlags, skipBadCaptures, shallow);
}

void UpdateMoveStatistics(int depth, u32 move, int nearAlpha, int inCheck, int safety) {
  const int side = thread_board.SideToMove;
  if (safety == UNKNOWN_SAFETY) safety = MoveSafety(move);
  // The step stays below 512ths of the distance, so a cell comes near the limit but never passes it.
  i32 &cell = HistoryCell(move, safety ? 1 : 0, inCheck ? 2 : nearAlpha, side);
  cell += ((HISTORY_LIMIT - cell) * HistoryStep[HistoryStepIndex(depth)]) >> 9;

  const u32 last = GameHistoryCount > 0 ? GameHistory[GameHistoryCount - 1].Move : 0;
  if (inCheck) {
    if (GameHistoryCount > 0) {
      const int checkTo = MoveTo(last), king = thread_board.KingSquare[side];
      TwoSlotUpdate(CheckReplies[0][checkTo][king][side], CheckReplies[1][checkTo][king][side], move);
    }
    return;
  }
  PlyRecord &record = PlyStack[Ply];
  TwoSlotUpdate(record.Killers1[side], record.Killers2[side], move);
  if (GameHistoryCount > 0) TwoSlotUpdate(CounterMove(0, last, side), CounterMove(1, last, side), move);
  if (GameHistoryCount > 1) {
    const u32 before = GameHistory[GameHistoryCount - 2].Move;
    TwoSlotUpdate(FollowUp(0, before, side), FollowUp(1, before, side), move);
  }
  if (record.ThreatMove)
    TwoSlotUpdate(ThreatReply(0, record.ThreatMove, side), ThreatReply(1, record.ThreatMove, side), move);
}

void WeakenEarlierQuiets(int first, int end, int step, int slice) {
  const int side = thread_board.SideToMove;
  for (int i = first; i < end; i++) {
    const u32 move = MoveStack[i].Move;
    if (IsCaptureOrPromotion(move) || IsEnPassant(move)) continue;
    int safety = MoveStack[i].Safety;
    if (safety == UNKNOWN_SAFETY) safety = MoveSafety(move);
    i32 &cell = HistoryCell(move, safety ? 1 : 0, slice, side);
    cell -= (step * cell) >> 9;
  }
}

void CountCaptureTry(u32 move, int side, int safety, int checkInvolved, int beatAlpha) {
  if (checkInvolved || !CapturedPiece(move)) return;
  // A move whose safety was never worked out counts as safe in the loop.
  const int index = CaptureStatisticsIndex(move, side, safety == UNKNOWN_SAFETY ? 1 : safety);
  if (beatAlpha) CaptureCutoffs[index]++;
  if (++CaptureTried[index] > 256) {
    CaptureTried[index] >>= 1;
    CaptureCutoffs[index] >>= 1;
  }
}
