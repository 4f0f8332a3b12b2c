#include "think/root_tablebase.h"

#include "board/makemove.h"
#include "search/repetition.h"
#include "shell/settings.h"
#include "tablebase/tablebase.h"
#include "think/root_prep.h"

namespace {

constexpr i32 WdlToDtz[5] = {-1, -101, 0, 101, 1};
constexpr i32 ClassScore[5] = {-31699, -2, 0, 2, 31699};

void UnmakeRootMove() {
  Ply = 0;
  unmake_move();
}

// Keeps the entries whose RootScore lies in [low, high], in their order.
void KeepRootMoves(i32 low, i32 high) {
  int kept = 0;
  for (int k = 0; k < MoveStackTop; k++) {
    if (RootScore[k] < low || RootScore[k] > high) continue;
    MoveStack[kept] = MoveStack[k];
    RootScore[kept++] = RootScore[k];
  }
  MoveStackTop = kept;
}

}  // namespace

bool RootProbeDtz(i32 &score) {
  i32 success;
  const i32 dtz = ProbeDtz(success);
  if (!success) return false;
  const int r = thread_board.ReversibleMoves;
  i32 values[256];
  for (int k = 0; k < MoveStackTop && k < 256; k++) {
    MakeRootMove(k);
    i32 value;
    if (PlyStack[1].InCheck && dtz > 0 && IsCheckmate()) {
      value = 1;
    } else if (thread_board.ReversibleMoves != 0) {
      const i32 v = -ProbeDtz(success);
      value = v > 0 ? v + 1 : v < 0 ? v - 1 : 0;
    } else {
      value = WdlToDtz[2 - ProbeWdl(success)];
    }
    UnmakeRootMove();
    if (!success) return false;
    values[k] = value;
  }
  for (int k = 0; k < MoveStackTop && k < 256; k++) RootScore[k] = values[k];

  const int cls = dtz > 0 ? (r + dtz <= 100 ? 2 : 1) : dtz < 0 ? (r - dtz <= 100 ? -2 : -1) : 0;
  score = ClassScore[cls + 2];
  if (cls == 1 && dtz <= 100) score = (200 - dtz - r) / 2;
  if (cls == -1 && dtz >= -100) score = -((200 + dtz - r) / 2);

  if (dtz > 0) {
    i32 best = 0xFFFF;
    for (int k = 0; k < MoveStackTop; k++)
      if (RootScore[k] > 0 && RootScore[k] < best) best = RootScore[k];
    // Any win inside the fifty moves will do, unless the position has already repeated.
    if (!IsRepetition(0) && best + r <= 99) best = 99 - r;
    KeepRootMoves(1, best);
  } else if (dtz == 0) {
    KeepRootMoves(0, 0);
  } else {
    i32 least = 0;
    for (int k = 0; k < MoveStackTop; k++) least = RootScore[k] < least ? RootScore[k] : least;
    if (r - 2 * least >= 100) KeepRootMoves(least, least);
  }
  return true;
}

bool RootProbeWdl(i32 &score) {
  i32 success;
  const i32 w = ProbeWdl(success);
  if (!success) return false;
  score = ClassScore[w + 2];
  i32 values[256], best = -3;
  for (int k = 0; k < MoveStackTop && k < 256; k++) {
    MakeRootMove(k);
    values[k] = -ProbeWdl(success);
    UnmakeRootMove();
    if (!success) return false;
    if (values[k] > best) best = values[k];
  }
  for (int k = 0; k < MoveStackTop && k < 256; k++) RootScore[k] = values[k];
  KeepRootMoves(best, best);
  return true;
}

void ProbeRootTablebases() {
  SettingsRecord &s = Settings;
  const BoardRecord &b = thread_board;
  s.RootInTablebase = 0;
  if (s.TbPiecesInUse == 0) {
    s.SkipTbProbes = 1;
    return;
  }
  s.SkipTbProbes = 0;
  if (b.PieceTotal > s.TbPiecesInUse || b.CastlingFlags != 0 || MoveStackTop == 0) return;
  i32 score = 0;
  if (RootProbeDtz(score)) {
    s.SkipTbProbes = 1;
    s.RootInTablebase = 1;
    s.TbHits = MoveStackTop;
  } else if (RootProbeWdl(score)) {
    s.RootInTablebase = 1;
    s.TbHits = MoveStackTop;
    if (score <= 0) s.SkipTbProbes = s.RootInTablebase = 0;
  } else {
    return;
  }
  // The best move's score is the value of the root, not a distance.
  RootScore[0] = score;
}
