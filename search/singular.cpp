// The singular test of the hash move: do all other moves fall short of a bound below its stored score?
// And the test for a position without a legal move.
#include "board/makemove.h"
#include "board/movegen.h"
#include "search/move_pick.h"
#include "search/ordering.h"
#include "search/search.h"
#include "search/search_node.h"

namespace {

constexpr int SCREEN_MARGIN = 50;
constexpr int SCREEN_DEPTH = 4;
// Quiet moves come late in the order; after a few of them another good move is unlikely.
constexpr int WALK_QUIET_LIMIT = 5;
// High enough above any search's lists, low enough that a full list fits below MOVE_STACK_SIZE.

// Walks the moves other than `hashMove` with a null-window search of `childDepth` against `bound`:
// 1 as soon as one reaches it (or the search stops), 0 when none does.
template <int Us>
int SomeMoveReaches(int bound, int depth, int childDepth, u32 hashMove, int nearAlpha) {
  constexpr int Them = ChangeSide(Us);
  PlyRecord &node = PlyStack[Ply];
  const int start = MoveStackTop;
  const int childInCheck = PlyStack[Ply + 1].InCheck;
  const int depthChange = node.DepthChange;
  const u32 moveFlags = node.MoveFlags, followUp = node.FollowUpMove;
  const int wasActive = SingularActive;
  SingularActive = 1;
  // The children read this ply's flags as their parent's: the walk's moves carry none.
  node.MoveFlags = 0;
  node.FollowUpMove = 0;
  node.DepthChange = childDepth - depth;

  int flags = 0, quiets = 0, reached = 0, leave = 0;
  int stage = NextStageFor<Us>(STAGE_START, 0, nearAlpha, &flags, 0, 0);
  for (int i = start; stage != STAGE_DONE || i < MoveStackTop;) {
    if (i >= MoveStackTop || leave) {
      if (stage == STAGE_DONE) break;
      stage = NextStageFor<Us>(stage, 0, nearAlpha, &flags, 0, 0);
      leave = 0;
      continue;
    }
    PickBestMove(i);
    const MoveEntry entry = MoveStack[i];
    // Losing captures stay where they are and compete with the later stages' moves.
    if (stage == STAGE_CAPTURES && entry.Score < 0) {
      leave = 1;
      continue;
    }
    i++;
    const u32 move = entry.Move;
    if (move == hashMove) continue;
    if (stage == STAGE_QUIETS) {
      if (WasTriedAtPly(move)) continue;
      if (!node.InCheck && ++quiets > WALK_QUIET_LIMIT) {
        i = MoveStackTop;
        continue;
      }
    }
    if (!node.InCheck && !PassesLegality<Us>(move)) continue;
    PlyStack[Ply + 1].InCheck = GivesCheckFor<Us>(move);
    MakeMoveAs<Us>(move, 1);
    if (IsEnPassant(move) && IsAttacked(Them, thread_board.KingSquare[Us])) {
      UnmakeMoveAs<Us>();
      continue;
    }
    Ply++;
    const int v = -SearchFor<Them>(-bound, 1 - bound, childDepth, 1, NODE_CUT);
    Ply--;
    UnmakeMoveAs<Us>();
    if (thread_board.SearchStopped || v >= bound) {
      reached = 1;
      break;
    }
  }

  MoveStackTop = start;
  PlyStack[Ply + 1].InCheck = childInCheck;
  node.DepthChange = depthChange;
  node.MoveFlags = moveFlags;
  node.FollowUpMove = followUp;
  SingularActive = wasActive;
  return reached;
}

}  // namespace

template <int Us>
int IsSingularFor(int bound, int depth, u32 hashMove, int nearAlpha) {
  const int childDepth = depth - 28 > SCREEN_DEPTH ? depth - 28 : SCREEN_DEPTH;
  return !SomeMoveReaches<Us>(bound, depth, childDepth, hashMove, nearAlpha);
}

template <int Us>
int PassesSingularScreenFor(int bound, int depth, u32 hashMove, int nearAlpha) {
  return !SomeMoveReaches<Us>(bound - SCREEN_MARGIN, depth, SCREEN_DEPTH, hashMove, nearAlpha);
}

int IsSingular(int bound, int depth, u32 hashMove, int nearAlpha) {
  return thread_board.SideToMove == WHITE ? IsSingularFor<WHITE>(bound, depth, hashMove, nearAlpha)
                                          : IsSingularFor<BLACK>(bound, depth, hashMove, nearAlpha);
}

template int IsSingularFor<WHITE>(int, int, u32, int);
template int IsSingularFor<BLACK>(int, int, u32, int);
template int PassesSingularScreenFor<WHITE>(int, int, u32, int);
template int PassesSingularScreenFor<BLACK>(int, int, u32, int);
