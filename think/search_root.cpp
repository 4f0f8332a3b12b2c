#include "think/search_root.h"

#include <algorithm>
#include <cstdlib>

#include "board/makemove.h"
#include "book/book_choice.h"
#include "search/depth_change.h"
#include "search/hash.h"
#include "search/lazy_eval.h"
#include "search/parameters.h"
#include "search/quiescence.h"
#include "search/search.h"
#include "shell/nps_info.h"
#include "shell/input.h"
#include "shell/poll_input.h"
#include "shell/settings.h"
#include "think/output.h"
#include "think/root_prep.h"
#include "think/root_tablebase.h"
#include "think/time_control.h"

namespace {

constexpr int AspirationByIteration[32] = {907, 600, 472, 397, 348, 312, 285, 263, 245, 230, 218,
                                           207, 197, 189, 181, 174, 168, 162, 162, 162, 162, 162,
                                           162, 162, 162, 162, 162, 162, 162, 162, 162, 162};
constexpr int AspirationByScore[64] = {
    191, 204, 216, 228, 240, 252, 264, 276, 289, 301, 313, 325, 337, 349, 362, 374, 386, 398, 410, 422, 434, 447,
    459, 471, 483, 495, 507, 520, 532, 544, 556, 568, 580, 592, 605, 617, 629, 641, 653, 665, 678, 690, 702, 714,
    726, 738, 751, 763, 775, 787, 799, 811, 823, 836, 848, 860, 872, 884, 896, 909, 921, 933, 945, 957};
constexpr int RootProbeMarginByDepth[16] = {80, 80, 80, 80, 80, 80, 70, 60, 50, 45, 40, 35, 30, 25, 20, 15};
constexpr int RootProbeMarginByMove[8] = {80, 30, 15, 10, 8, 6, 4, 0};
constexpr int MAX_ITERATIONS = 99;
constexpr int BOUND_UPPER = 1, BOUND_LOWER = 2, BOUND_NONE = 3;

// A pondering GUI gets its answer only when it says so: the search waits for the word.
void WaitWhilePondering() {
  SettingsRecord &s = Settings;
  while ((s.PonderActive || s.UciPonder) && !thread_board.SearchStopped) {
    AwaitInput();
    PollInput();
  }
}

// A root of one move, unless it was the one move asked for, is played without a search; a ponder on it
// waits all the same.
bool NothingToSearch() {
  SettingsRecord &s = Settings;
  if (MoveStackTop >= 2 || (s.SearchMovesCount == 1 && MoveStackTop == 1)) return false;
  if (s.PonderActive || s.UciPonder) s.PonderMiss = 1, s.PonderReply = 0;
  WaitWhilePondering();
  return true;
}

// The root list, resolved by the tablebases where they can: 1 when the game is over, 0 when there is
// nothing to search, -1 when the iterations are to run.
int BuildRootList() {
  PlyStack[0].MoveFlags = PlyStack[0].FollowUpMove = 0;
  Ply = 0;
  if (PrepareRoot()) return 1;
  ProbeRootTablebases();
  Settings.RootMoveCount = MoveStackTop;
  return NothingToSearch() ? 0 : -1;
}

void ShowLine(int bound) {
  if (Settings.UciMode)
    PrintInfo(0, bound, 1);
  else
    PrintThinking(0);
}

void SetBest(int score, int iteration) {
  RootScore[0] = score;
  SetMaterialWindow(iteration);
}

// Entry k to the front, the others shifting up by one.
void MoveToFront(int k) {
  const MoveEntry entry = MoveStack[k];
  for (int i = k; i > 0; i--) {
    MoveStack[i] = MoveStack[i - 1];
    RootScore[i] = RootScore[i - 1];
  }
  MoveStack[0] = entry;
}

// Entries from `first` on by RootScore, descending; a later entry moves up only when strictly better.
void SortRootMoves(int first) {
  for (int i = first; i < MoveStackTop; i++)
    for (int j = i + 1; j < MoveStackTop; j++)
      if (RootScore[j] > RootScore[i]) {
        std::swap(MoveStack[i], MoveStack[j]);
        std::swap(RootScore[i], RootScore[j]);
      }
}

void AgeKillers() {
  for (int ply = 0; ply < 192; ply++) {
    for (int side : {WHITE, BLACK}) {
      PlyStack[ply].Killers1[side] = PlyStack[ply + 2].Killers1[side];
      PlyStack[ply].Killers2[side] = PlyStack[ply + 2].Killers2[side];
    }
  }
}

// The counters and marks every search starts with.
void StartSearch(int maxDepth) {
  SettingsRecord &s = Settings;
  AgeKillers();
  s.HashStores = s.TbHits = 0;
  s.HashAge++;
  s.RootSide = thread_board.SideToMove;
  s.RootPly = GameHistoryCount;
  s.SearchMaxDepth = maxDepth;
  s.TimeCheckCountdown = s.TimeCheckInterval;
  s.InfoCountdown = s.TimeCheckInterval > 0 ? 100000 / s.TimeCheckInterval : 0;
  s.Nodes = 0;
  MoveStackTop = 0;
  s.BookMovePlayed = 0;
}

}  // namespace

int AspirationWidth(int iteration, int score) {
  return AspirationByIteration[std::min(iteration, 31)] * 18 * AspirationByScore[std::min(std::abs(score) / 8, 63)] /
         65536;
}

void SetMaterialWindow(int iteration) {
  SettingsRecord &s = Settings;
  const BoardRecord &b = thread_board;
  s.RootMaterial = b.Material[s.RootSide] - b.Material[ChangeSide(s.RootSide)];
  const int score = RootScore[0];
  const int c1 = std::clamp(score / std::max(WindowScoreDivisorLow, 1), -150, 150);
  const int c2 = std::clamp(score / std::max(WindowScoreDivisorHigh, 1), -150, 150);
  s.MaterialWindowLow = std::min(score, s.RootMaterial) - WindowMarginLow - iteration * WindowPerIterationLow + c1;
  s.MaterialWindowHigh = std::max(score, s.RootMaterial) + WindowMarginHigh + iteration * WindowPerIterationHigh + c2;
}

i32 SearchChild(int alpha, int beta, int depth, int safety) {
  const SettingsRecord &s = Settings;
  const int floor = s.MateLimit > 0 ? 2 * s.MateLimit - MATE_SCORE : -MATE_SCORE - 1;
  const int ceiling = s.MateLimit > 0 ? floor + 1 : MATE_SCORE + 1;
  const bool nullWindow = beta <= alpha + 1;
  alpha = std::max(alpha, floor);
  beta = std::min(beta, ceiling);
  if (alpha >= beta) return alpha;
  const int k = nullWindow ? s.RootMoveIndex : 0;
  PlyRecord &root = PlyStack[Ply - 1];
  root.DepthChange = -4;
  if (depth < 20) {
    const int type = nullWindow ? NODE_CUT : NODE_PV;
    return depth < 4 ? Quiescence(alpha, beta, 0, type) : Search(alpha, beta, depth, 1, type);
  }
  if (!nullWindow) return Search(alpha, beta, depth, 1, NODE_PV);
  const bool searchFully = k == 0 || root.MoveFlags >= 33 || (root.MoveFlags != 0 && safety != 0);
  if (!searchFully) {
    // A late move must first survive a shallower search against a raised window.
    const int margin = RootProbeMarginByDepth[std::min(depth / 4, 15)] + RootProbeMarginByMove[std::min(k, 7)];
    const int reduced = depth - ((depth / 8) & ~3) - 12;
    root.DepthChange = reduced - depth - 4;
    const int v = reduced < 4 ? Quiescence(alpha + margin, beta + margin, 0, NODE_CUT)
                              : Search(alpha + margin, beta + margin, reduced, 1, NODE_CUT);
    if (thread_board.SearchStopped) return 0;
    if (v >= beta + margin) {
      PlyStack[1].BestMove = 0;
      return v;
    }
    root.DepthChange = -4;
  }
  return Search(alpha, beta, depth, 1, NODE_CUT);
}

i32 SearchRoot(int maxDepth, int useBook) {
  if (Settings.MultiPV > 1) return SearchRootMultiPV(maxDepth);
  SettingsRecord &s = Settings;
  BoardRecord &b = thread_board;
  PlyStack[0].FollowUpMove = 0;
  s.PendingBestMove = 0;
  if (!s.OwnBook) useBook = 0;
  StartSearch(maxDepth);
  if (useBook && s.BookLoaded && s.SearchMovesCount == 0 && s.TimeLeft != 999999999) {
    if (const u32 move = BookChooseMove()) {
      if (s.PonderActive) s.PonderMiss = 1, s.PonderReply = 0;  // the real move is picked up by the next think
      MoveStack[0].Move = move;  // a pawn reaching the last rank already carries the queen
      MoveStackTop = 2;
      RootScore[0] = 0;
      s.BookMovePlayed = 1;
      s.Iteration = 1;
      WaitWhilePondering();
      return 0;
    }
  }
  if (const int over = BuildRootList(); over >= 0) return over;
  s.EasyMove = 1;
  const i32 rootEval = EvaluateLazily(PlyStack[0].Attacks);
  PlyStack[0].StaticEval = rootEval;
  int unstable = 1, mateLimit = MATE_SCORE + 1;
  u32 previousBest = 0;

  for (int i = 0;; i++) {
    int delta = AspirationWidth(i, RootScore[0]), delta2 = delta + 100;
    s.Iteration = i;
    s.RootFailLow = 0;
    s.SelDepth = i + 1;
    if (i >= MAX_ITERATIONS) {
      WaitWhilePondering();
      return 0;
    }
    if (i >= 4 || (i >= 2 && s.RootInTablebase)) {
      const int shortened = i > 9 && !unstable && s.EasyMove;
      if (TimeUp(1, shortened)) {
        b.SearchStopped = 1;
        return 0;
      }
    }
    unstable = !s.EasyMove || i < 9;
    s.Nodes++;
    int deltaDown = delta;
    for (bool researchPass = true; researchPass && !b.SearchStopped;) {
      int a = RootScore[0];
      SetMaterialWindow(i);
      s.RootMoveIndex = 0;
      researchPass = false;
      int deferred = 0;
      if (MoveStackTop < 1) break;
      if (s.UciMode && s.Nodes > 200000) PrintInfo(0, BOUND_NONE, 0);
      for (int k = 0; k < MoveStackTop; k++) {
        MoveEntry &entry = MoveStack[k];
        Ply = 0;
        const int ext = MoveDepthChange(true, false, 4 * i, false, entry.Move, entry.Score, true, &deferred,
                                        a - rootEval, &entry.Safety, k == 0);
        MakeRootMove(k);
        const int depth = 4 * i + ext + 6, depthRe = depth + deferred;
        int r;
        if (k == 0) {
          const int score = RootScore[0];
          const int bottom = std::max(score - deltaDown, -MATE_SCORE);
          const int top = std::min(deltaDown != delta ? score : score + delta, MATE_SCORE);
          r = -SearchChild(-top, -bottom, depthRe, entry.Safety);
          if (!b.SearchStopped && r >= top) {
            SetBest(r, i);
            ShowLine(BOUND_LOWER);
            if (r + delta2 >= MATE_SCORE) {
              r = -SearchChild(-MATE_SCORE, -r, depthRe, entry.Safety);
            } else {
              int r2 = -SearchChild(-(r + delta2), -r, depthRe, entry.Safety);
              if (!b.SearchStopped && r2 >= r + delta2) {
                SetBest(r2, i);
                ShowLine(BOUND_LOWER);
                r2 = -SearchChild(-MATE_SCORE, -r2, depthRe, entry.Safety);
              }
              r = r2;
            }
            if (!b.SearchStopped) SetBest(r, i), ShowLine(BOUND_NONE);
          } else if (!b.SearchStopped && r <= bottom) {
            deltaDown *= 2;
            s.RootFailLow = 1;
            researchPass = true;
            SetBest(r, i);
            ShowLine(BOUND_UPPER);
          } else if (!b.SearchStopped) {
            SetBest(r, i);
            ShowLine(BOUND_NONE);
          }
          a = r;
        } else {
          r = -SearchChild(-a - 1, -a, depth, entry.Safety);
          if (!b.SearchStopped) {
            RootScore[k] = r;
            if (r <= a) {
              // A move close to the best keeps the search from calling the move easy.
              if (!unstable && entry.Safety && PlyStack[1].BestMove) {
                const int r3 = -SearchChild(99 - a, 100 - a, 4 * i + ext - 10, entry.Safety);
                if (!b.SearchStopped && r3 > a - 100) unstable = 1;
              }
              if (k == MoveStackTop - 1 && s.UciMode) PrintNpsInfo();
            } else {
              unstable = 1;
              researchPass = false;
              MoveToFront(k);
              RootScore[0] = r;
              ShowLine(BOUND_LOWER);
              delta = deltaDown = AspirationWidth(i, r);
              delta2 = delta + 100;
              const int safety = MoveStack[0].Safety;
              if (r + delta >= MATE_SCORE) {
                SetBest(r, i);
                a = -SearchChild(-MATE_SCORE, -r, depthRe, safety);
              } else {
                int r2 = -SearchChild(-(r + delta), -r, depthRe, safety);
                if (!b.SearchStopped && r2 >= r + delta) {
                  SetBest(r2, i);
                  ShowLine(BOUND_LOWER);
                  r2 = -SearchChild(-MATE_SCORE, -r2, depthRe, safety);
                }
                a = r2;
              }
              if (!b.SearchStopped) SetBest(a, i), ShowLine(BOUND_NONE);
            }
          }
        }
        unmake_move();
        if (b.SearchStopped) return 0;
        if (k == 0 && MoveStackTop > 2) SortRootMoves(1);
        s.RootMoveIndex = k + 1;
        deferred = 0;
      }
    }
    if (b.SearchStopped) return 0;
    const u32 best = MoveStack[0].Move;
    const int a = RootScore[0];
    Ply = 0;  // the root's own ply, one below its children
    StoreHash(4 * i + 6, best, a, HASH_EXACT, 0, 0, s.RootMoveIndex);
    if (s.MateLimit == 0 && std::abs(a) > mateLimit) {
      WaitWhilePondering();
      return 0;
    }
    if (i >= 4 && best != previousBest) s.EasyMove = 0;
    mateLimit--;
    previousBest = best;
    // A ponder search that reaches its depth still owes the GUI its wait for the opponent's move.
    if (i + 1 >= maxDepth) {
      WaitWhilePondering();
      return 0;
    }
  }
}

i32 SearchRootMultiPV(int maxDepth) {
  SettingsRecord &s = Settings;
  BoardRecord &b = thread_board;
  StartSearch(maxDepth);
  s.PendingBestMove = 0;
  if (const int over = BuildRootList(); over >= 0) return over;
  const i32 rootEval = EvaluateLazily(PlyStack[0].Attacks);
  PlyStack[0].StaticEval = rootEval;
  Ply = 1;
  if (maxDepth < 2) return 0;
  s.Iteration = 1;
  s.SelDepth = 2;
  s.Nodes++;
  for (int i = 1;; i++) {
    SetMaterialWindow(i);
    s.RootMoveIndex = 0;
    int worst = MATE_SCORE + 1;
    for (int k = 0; k < MoveStackTop; k++) {
      const int v = RootScore[k];
      int scratch = 0;
      Ply = 0;
      const int ext = MoveDepthChange(true, false, 4 * i, false, MoveStack[k].Move, MoveStack[k].Score, true, &scratch,
                                      v - 40 - rootEval, &MoveStack[k].Safety, k == 0);
      MakeRootMove(k);
      const int depth = 4 * i + ext + 6, safety = MoveStack[k].Safety;
      int r;
      if (k >= s.MultiPV) {
        r = -SearchChild(-1 - worst, -worst, depth, safety);
        if (!b.SearchStopped && r > worst) {
          PrintMultiPvInfo(s.RootMoveIndex, 2);
          r = -SearchChild(-MATE_SCORE - 1, -r, depth, safety);
        }
      } else {
        r = -SearchChild(-v - 40, 40 - v, depth, safety);
        if (!b.SearchStopped && r >= v + 40) {
          PrintMultiPvInfo(k, 2);
          r = -SearchChild(-MATE_SCORE - 1, -r, depth, safety);
        } else if (!b.SearchStopped && r <= v - 40) {
          PrintMultiPvInfo(k, 1);
          r = -SearchChild(-r, MATE_SCORE + 1, depth, safety);
        }
        worst = std::min(worst, r);
      }
      unmake_move();
      if (b.SearchStopped) return 0;
      RootScore[k] = r;
      // The entry bubbles towards the front past every entry with a lower score.
      for (int j = k; j > 0 && RootScore[j - 1] < RootScore[j]; j--) {
        std::swap(MoveStack[j - 1], MoveStack[j]);
        std::swap(RootScore[j - 1], RootScore[j]);
      }
      PrintMultiPvInfo(k, 3);
      s.RootMoveIndex = k + 1;
    }
    if (i + 1 >= maxDepth) {
      WaitWhilePondering();
      return 0;
    }
    s.Iteration = i + 1;
    s.SelDepth++;
    if (i + 1 == MAX_ITERATIONS) {
      WaitWhilePondering();
      return 0;
    }
    if (i + 1 > 3 && TimeUp(1, 0)) {
      b.SearchStopped = 1;
      return 0;
    }
    s.Nodes++;
    SortRootMoves(s.MultiPV);
  }
}
