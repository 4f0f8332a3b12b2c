// The move loop of a search node: selection by stage, skips and pruning, late move reductions, the
// searches of each move, cutoffs, and the node's final store.
#include <algorithm>

#include "board/makemove.h"
#include "board/move_scoring.h"
#include "board/movegen.h"
#include "board/piece_square.h"
#include "eval/material.h"
#include "search/hash.h"
#include "search/lazy_eval.h"
#include "search/move_pick.h"
#include "search/no_legal_move.h"
#include "search/ordering.h"
#include "search/parameters.h"
#include "search/quiescence.h"
#include "search/search.h"
#include "search/search_limits.h"
#include "search/search_node.h"
#include "shell/settings.h"

namespace {

// Futility margin by depth / 4, and its weighting by the force left on each side.
constexpr i32 FutilityDepthBase[7] = {0, 81, 323, 484, 2011, 8521, 29817};
constexpr i32 FutilityDepthWeight[7] = {0, 16, 18, 16, 19, -13, -50};
constexpr i32 FutilityPiecesOpp[16] = {528, 528, 528, 119, 119, 160, 64, 95, 88, 67, 54, 33, 33, 33, 33, 0};
constexpr i32 FutilityPiecesOwn[16] = {381, 381, 381, 128, 128, 201, 121, 121, 80, 58, 50, 57, 58, 50, 1, 0};
// The first quiet moves are the likeliest to help: they get more room.
constexpr i32 FutilityCountBonus[8] = {30, 12, 5, 0, -5, -7, -9, -10};
// Reduction index by how far the move's evaluation stays below alpha, in LmrEvalStep units from -20.
constexpr i32 LmrEvalTable[41] = {-100, -100, -100, -100, -100, -100, -100, -100, -24, -24, -24, -24, -24, -24,
                                  -4,   -3,   -3,   -2,   -2,   3,    4,    3,    -3,  -3,  -3,  -3,  -4,  -4,
                                  -6,   -6,   -6,   -6,   -15,  -15,  -15,  -15,  -15, -15, -15, -15, -15};
// Reduction index by the move's success rate from the values file.
constexpr i32 LmrStatTable[11] = {4, 2, 1, 0, -1, -2, -3, -4, -5, -6, -8};
// Margin of the shallow probe ahead of an unsafe move's search: by new depth / 4 and by list index.
constexpr i32 ProbeMarginByDepth[16] = {80, 80, 80, 80, 80, 80, 70, 60, 50, 45, 40, 35, 30, 25, 20, 15};
constexpr i32 ProbeMarginByMove[8] = {80, 30, 15, 10, 8, 6, 4, 0};

constexpr int BIG_CAPTURE_MARGIN = 80;
constexpr int RETRY_BONUS = 4;
constexpr int ENDING_THRESHOLD = 9;
constexpr int ENDING_THRESHOLD_NO_QUEEN = 14;

template <int Them>
inline int Child(int alpha, int beta, int depth, int nodeType) {
  return depth < 4 ? QuiescenceFor<Them>(alpha, beta, 0, nodeType) : SearchFor<Them>(alpha, beta, depth, 1, nodeType);
}

// 1 when the side that replies to a move of Us has too little force to attack a king: the ending of PruneStats.
template <int Us>
int ReplyEnding() {
  constexpr int Them = ChangeSide(Us);
  const BoardRecord &b = thread_board;
  const int force = b.PieceMaterial[Them];
  return force <= ENDING_THRESHOLD || (force <= ENDING_THRESHOLD_NO_QUEEN && !b.Queens[Them]);
}

// Success rate of a move of Us, from the view of the side that replies to it.
template <int Us>
int MoveRate(u32 move) {
  const int r = PruneStats[ReplyEnding<Us>()][HistoryClass[MovedPiece(move)]][MoveFrom(move) + 64 * MoveTo(move)][Us];
  return std::clamp(r, 0, 10);
}

// A move that reached the reduction test, for a tool that gathers PruneCounts: a success is a score above alpha.
template <int Us>
void CountLateMove(u32 move, bool success) {
  if (!LateMoveOutcomes) return;
  constexpr int mirror = Us == WHITE ? 0 : 56;
  i64 *counts = (*LateMoveOutcomes)[ReplyEnding<Us>()][MovedPiece(move)][MoveFrom(move) ^ mirror][MoveTo(move) ^ mirror];
  counts[0] += success;
  counts[1]++;
}

// Piece-square gain of a quiet move at the present phase.
template <int Us>
int PstGain(u32 move) {
  BoardRecord &b = thread_board;
  if (b.MaterialIndex == MATERIAL_OVERFLOW)
    ComputePhases();
  else
    b.current_phase = MaterialTable[b.MaterialIndex].current_phase;
  const int piece = MovedPiece(move), from = MoveFrom(move), to = MoveTo(move);
  const int opening = PstOpening[piece][Us][to] - PstOpening[piece][Us][from];
  const int ending = PstEnding[piece][Us][to] - PstEnding[piece][Us][from];
  return (opening * b.current_phase + (256 - b.current_phase) * ending) >> 8;
}

// Store and result of a node whose lists held nothing to search: stalemate only if truly no move.
int NoMoveSearched(SearchNode &n, int depth, bool limited) {
  if (!limited || HasNoLegalMove()) return 0;
  StoreHash(depth, n.bestMove, n.alpha, HASH_UPPER, n.mateThreat, n.nodeFlags, 0);
  return n.alpha;
}

}  // namespace

template <int Us>
int MoveLoopFor(SearchNode &n) {
  constexpr int Them = ChangeSide(Us);
  BoardRecord &b = thread_board;
  const int ply = Ply;
  PlyRecord &node = PlyStack[ply];
  const int inCheck = node.InCheck;
  const int staticEval = node.StaticEval;
  const int isPv = n.nodeType == NODE_PV;
  const int depth = n.depth;

  // Futility set-up, by the unreduced depth.
  int margin = 0, futile = 0, allQuietsFutile = 0, skipBadCaptures = 0, shallow = 0;
  if (depth < 20 && n.alpha >= -32499 && n.alpha <= 32499 &&
      (b.PieceMaterial[WHITE] > 0 || b.PieceMaterial[BLACK] > 0)) {
    futile = 1;
    const int i = depth / 4;
    const int weight = FutilityDepthWeight[i];
    margin = ((FutilityDepthBase[i] * 100) >> 8) + FutilityBase -
             (((FutilityPiecesOpp[std::min(b.PieceMaterial[Them], 15)] * weight) >> 8) +
              ((weight * FutilityPiecesOwn[std::min(b.PieceMaterial[Us], 15)]) >> 8));
    allQuietsFutile = staticEval < n.alpha - margin;
    if (depth < 8) skipBadCaptures = staticEval - CaptureSkipMargin < n.alpha;
    shallow = depth < 12;
  }
  const bool limited = allQuietsFutile || skipBadCaptures || shallow;

  if (n.stage == STAGE_START) {
    n.stage = NextStageFor<Us>(STAGE_START, allQuietsFutile, n.nearAlpha, &n.nodeFlags, skipBadCaptures, shallow);
    // An empty list after a searched hash move means the generators were limited, not a stalemate.
    if (n.stage == STAGE_DONE && n.searched == 0) {
      if (inCheck) return ply - MATE_SCORE;
      return NoMoveSearched(n, depth, limited);
    }
  }

  // Derived values.
  const int reducible = depth >= 8 && ply > 0;
  int improving = ply < 2 || PlyStack[ply - 2].StaticEval <= staticEval;
  if ((ply >= 2 && PlyStack[ply - 2].InCheck) || inCheck) improving = 2;
  const int loopDepth = ply >= 2 && staticEval <= PlyStack[ply - 2].StaticEval - EvalDropMargin ? depth - 1 : depth;
  const int minDrop = std::min(8 - loopDepth, -8);
  const int shallowDrop = 4 - loopDepth;
  const int lateIndex = std::clamp(loopDepth / 2, 0, 31);
  const int margin8 = (margin * 32) >> 8;
  const int gap = n.alpha - staticEval;
  const bool near = ply < LongestPly();
  const u32 threat = node.ThreatMove;

  int index = n.listStart, segmentStart = n.listStart;
  int loserIndex = -1, loserTop = 0;
  int quietCount = 0, lmrCount = 0;
  int windowBeta = n.searched ? n.alpha + 1 : n.beta;

  for (;;) {
    // End of a list: the next stage, then the losing captures set aside.
    if (index >= MoveStackTop) {
      if (n.stage == STAGE_DONE) break;
      segmentStart = index = MoveStackTop;
      n.stage = NextStageFor<Us>(n.stage, allQuietsFutile, n.nearAlpha, &n.nodeFlags, skipBadCaptures, shallow);
      if (n.stage == STAGE_DONE) {
        if (loserIndex < 0) break;
        MoveStackTop = loserTop;
        segmentStart = index = loserIndex;
        loserIndex = -1;
      }
      continue;
    }
    PickBestMove(index);
    const MoveEntry entry = MoveStack[index];
    const int moveIndex = index++;
    const u32 move = entry.Move;

    if (move == n.hashMove) continue;
    if (n.stage == STAGE_QUIETS && WasTriedAtPly(move)) continue;
    if (n.stage == STAGE_CAPTURES && entry.Score < 0) {
      // The losing captures wait until every later stage is done.
      loserIndex = moveIndex;
      loserTop = MoveStackTop;
      index = MoveStackTop;
      continue;
    }
    if (!inCheck && !PassesLegality<Us>(move)) continue;

    const bool quiet = IsQuietMove(move);
    int bonus = 0, safety = entry.Safety;
    int change = MoveDepthChangeFor<Us>(near, false, loopDepth, move == n.singleReply, move, entry.Score, isPv, &bonus,
                                        gap, &safety, n.made == 0);
    const bool unsafe = safety == 0;  // UNKNOWN_SAFETY counts as safe
    int verifyIfGood = 0;
    if (n.drawishEnding && quiet && n.made > 0) {
      change -= 4;
      verifyIfGood = 1;
    }

    int loose = unsafe;
    if (n.stage == STAGE_QUIETS) {
      quietCount++;
      loose = !(threat && !unsafe && AnswersThreat(move, threat));
    }

    // Late move pruning.
    if (n.stage == STAGE_QUIETS && !isPv && n.alpha >= -29999 && entry.Score <= 29999 && loose && loopDepth < 64 &&
        node.MoveFlags == 0 && quietCount >= LateMoveCounts[improving != 0][lateIndex] &&
        !(improving == 2 && quietCount < 2 * LateMoveCounts[1][lateIndex]))
      continue;

    // Futility pruning: counted as searched, so an all-pruned node is not taken for a stalemate.
    if (futile && quiet && node.MoveFlags == 0 && (n.stage == STAGE_QUIETS || n.stage == STAGE_EVASIONS)) {
      const int bonus2 = ((std::max(entry.Score, 0) * 26) >> 8) + margin8;
      if (FutilityCountBonus[std::min(quietCount, 7)] + staticEval + bonus2 + PstGain<Us>(move) < n.alpha) {
        n.searched++;
        continue;
      }
    }

    MakeMoveAs<Us>(move, n.made == 0);
    n.made++;
    if (IsEnPassant(move) && !inCheck && IsAttacked(Them, b.KingSquare[Us])) {
      UnmakeMoveAs<Us>();
      continue;
    }
    n.searched++;
    const int childType = n.made == 1 ? -n.nodeType : NODE_CUT;

    // Late move reduction.
    bool reducedFailedHigh = false;
    bool runReduction =
        reducible && move != n.singleReply && (n.stage == STAGE_QUIETS || (n.stage == STAGE_EVASIONS && quiet));
    if (runReduction && ++lmrCount <= LmrFreeMoves && !n.bigCaptureFailed) runReduction = false;
    if (runReduction) {
      const int mine = -EvaluateLazilyFor<Them>(PlyStack[ply + 1].Attacks);
      const int gain = std::max(mine - staticEval, 0);
      const int shortBy = n.alpha - mine;
      const bool far = shortBy > LmrFarBelow;
      int x = LmrBase + lmrCount;
      if (n.nodeType == NODE_CUT)
        x -= far ? LmrCutFar : LmrCutNear;
      else if (isPv)
        x -= far ? LmrPvFar : LmrPvNear;
      else
        x += far ? LmrAllFar : LmrAllNear;
      if (node.MoveFlags & MF_CHECK)
        x -= LmrCheckDiscount;
      else if (node.MoveFlags & MF_THREAT)
        x -= LmrThreatDiscount;
      const int e = std::clamp(shortBy / std::max(LmrEvalStep, 1), -20, 20);
      const int s = x - LmrEvalTable[e + 20] + LmrStatTable[MoveRate<Us>(move)];

      int red = change - 2 * (s > LmrLimit1 ? LmrStep1High : LmrStep1Low);
      if (s > LmrLimit2 && lmrCount > LmrCount2) {
        red -= 2 * LmrStep2;
        if (s > LmrLimit3 && lmrCount > LmrCount3) {
          red -= 2 * LmrStep3;
          if (s > LmrLimit4) red -= 2 * LmrStep4;
        }
      }
      if (loopDepth + red >= 8 && lmrCount > LmrCount5 && ply >= 1 && mine < -PlyStack[ply - 1].StaticEval &&
          n.stage != STAGE_EVASIONS && (ply < 2 || !PlyStack[ply - 2].InCheck)) {
        red -= 2 * LmrStep5;
        if (loopDepth + red >= 8 && improving == 0 && lmrCount > LmrCount6 && entry.Score < 1) red -= 2 * LmrStep6;
      }

      // A move that gains material back toward alpha keeps at least two plies.
      const bool gainRule = 0 < shortBy && shortBy < gain && gain >= 6 && lmrCount <= LmrGainCount;
      if (unsafe) {
        node.ReducedFlag = 1;
      } else if (node.MoveFlags == 0) {
        if (lmrCount < LmrKeepCount && loopDepth + red < 4) red = shallowDrop;
        if (red < -8 && gainRule) red = -8;
      } else {
        if (loopDepth + red < 4) red = shallowDrop;
        if (red < -8 && ((node.MoveFlags & (MF_CHECK | MF_PASSED)) || gainRule)) red = -8;
      }
      int step = loose || loopDepth + red >= 8 ? std::min(red, -8) : minDrop;
      // With a mate in hand only a faster mate beats alpha: a deep cut would hide it, so the cut is one ply.
      if (n.alpha > 30999) step = std::max(step, -4);

      node.MoveFlags |= MF_REDUCED;
      node.DepthChange = step;
      Ply++;
      const int v = -Child<Them>(-n.alpha - 1, -n.alpha, loopDepth + step, childType);
      Ply--;
      node.ReducedFlag = 0;
      node.MoveFlags &= ~MF_REDUCED;
      if (b.SearchStopped) {
        UnmakeMoveAs<Us>();
        return 0;
      }
      if (v <= n.alpha) {
        UnmakeMoveAs<Us>();
        CountLateMove<Us>(move, false);
        windowBeta = n.alpha + 1;
        continue;
      }
      reducedFailedHigh = true;
    }

    // Search of the move.
    if (unsafe) node.ReducedFlag = 1;
    node.DepthChange = change;
    const int newDepth = loopDepth + change;
    Ply++;
    int v = 0;
    bool probed = false;
    if (unsafe && !reducedFailedHigh && newDepth >= 12 && childType != NODE_PV && windowBeta == n.alpha + 1 &&
        node.MoveFlags <= 32) {
      // An unsafe move first has to survive a shallow search against a lowered bound.
      const int m =
          ProbeMarginByMove[std::min(moveIndex - n.listStart, 7)] + ProbeMarginByDepth[std::min(newDepth / 4, 15)];
      int w = SearchFor<Them>(-windowBeta + m, -n.alpha + m, 0, 1, NODE_CUT);
      if (!b.SearchStopped && w >= -n.alpha + m) {
        w = SearchFor<Them>(-windowBeta + m, -n.alpha + m, newDepth - 8 - ((newDepth / 6) & ~3), 1, NODE_CUT);
        if (w >= -n.alpha + m) {
          v = -w;
          probed = true;
        }
      }
    }
    if (!probed && !b.SearchStopped) v = -Child<Them>(-windowBeta, -n.alpha, newDepth, childType);

    // Capture statistics, while the move is still on the board.
    CountCaptureTry(move, Us, safety, inCheck || (node.MoveFlags & MF_CHECK), v > n.alpha);

    if (b.SearchStopped) {
      Ply--;
      UnmakeMoveAs<Us>();
      return 0;
    }
    // A quiet move that beats alpha in a line searched as reduced earns a deeper re-search.
    if (v > n.alpha && bonus == 0 && ply >= 2 && !IsCaptureOrPromotion(move) &&
        (PlyStack[ply - 1].ReducedFlag ||
         ((PlyStack[ply - 1].MoveFlags & MF_REDUCED) && moveIndex - segmentStart >= 4)))
      bonus = RETRY_BONUS;

    if (v > n.alpha) {
      if (verifyIfGood || bonus) {
        const int d = (verifyIfGood ? loopDepth + 4 + change : newDepth) + bonus;
        node.DepthChange = d - loopDepth;
        v = -Child<Them>(-n.beta, -n.alpha, d, isPv ? NODE_PV : NODE_ALL);
      } else if (v < n.beta && windowBeta < n.beta) {
        node.DepthChange = change;
        v = -Child<Them>(-n.beta, -v, newDepth, NODE_PV);
      }
    }
    node.ReducedFlag = 0;
    Ply--;
    UnmakeMoveAs<Us>();
    if (b.SearchStopped) return 0;
    if (runReduction) CountLateMove<Us>(move, v > n.alpha);

    if (v >= n.beta) {
      if (quiet) {
        WeakenEarlierQuiets(segmentStart, moveIndex, HistoryStep[HistoryStepIndex(loopDepth)],
                            inCheck ? 2 : n.nearAlpha);
        UpdateMoveStatistics(loopDepth, move, n.nearAlpha, inCheck, safety);
      }
      StoreHash(loopDepth, move, v, HASH_LOWER, n.mateThreat, n.nodeFlags, n.searched);
      node.BestMove = move;
      MoveStackTop = n.listStart;
      return v;
    }
    if (v > n.alpha) {
      n.bestMove = move;
      n.alpha = v;
    }
    windowBeta = n.alpha + 1;
    if (CaptureWorth(CapturedPiece(move)) > CaptureWorth(MovedPiece(move)) &&
        staticEval + BIG_CAPTURE_MARGIN < n.originalAlpha)
      n.bigCaptureFailed = 1;
  }

  // Finish.
  MoveStackTop = n.listStart;
  if (n.searched > 0) {
    if (n.alpha > n.originalAlpha) {
      node.BestMove = n.bestMove;
      StoreHash(loopDepth, n.bestMove, n.alpha, HASH_EXACT, n.mateThreat, n.nodeFlags, 0);
    } else {
      StoreHash(loopDepth, n.bestMove, n.alpha, HASH_UPPER, n.mateThreat, n.nodeFlags, 0);
    }
    return n.alpha;
  }
  return NoMoveSearched(n, loopDepth, limited);
}

template int MoveLoopFor<WHITE>(SearchNode &);
template int MoveLoopFor<BLACK>(SearchNode &);
