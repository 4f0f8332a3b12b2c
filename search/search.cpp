#include "search/search.h"

#include "board/makemove.h"
#include "board/movegen.h"
#include "eval/material.h"
#include "search/hash.h"
#include "search/lazy_eval.h"
#include "search/ordering.h"
#include "search/parameters.h"
#include "search/quiescence.h"
#include "search/repetition.h"
#include "search/search_limits.h"
#include "search/search_node.h"
#include "shell/settings.h"
#include "tablebase/tablebase.h"
#include "think/time_control.h"

i32 SingularActive;

namespace {

constexpr int NEAR_ALPHA_MARGIN = 90;

bool OnEdge(int square) {
  const int file = FileOf(square), rank = RankOf(square);
  return file == 0 || file == 7 || rank == 0 || rank == 7;
}

int KingDistance(int a, int b) {
  const int files = FileOf(a) > FileOf(b) ? FileOf(a) - FileOf(b) : FileOf(b) - FileOf(a);
  const int ranks = RankOf(a) > RankOf(b) ? RankOf(a) - RankOf(b) : RankOf(b) - RankOf(a);
  return files > ranks ? files : ranks;
}

// The king of `side` sits in a corner and every square next to it is taken by its own men or guarded
// by the other king: the one case where a side that cannot win may still mate.
bool KingCornered(int side) {
  const BoardRecord &b = thread_board;
  const int king = b.KingSquare[side];
  if (king != 0 && king != 7 && king != 56 && king != 63) return false;
  const u64 free = KingAttacks[king] & ~b.Pieces[side] & ~KingAttacks[b.KingSquare[ChangeSide(side)]];
  return free == 0;
}

// Null-window or full-window child at Ply, by Search at 4 quarter plies or more, else by Quiescence.
template <int Them>
inline int Child(int alpha, int beta, int depth, int nodeType) {
  return depth < 4 ? QuiescenceFor<Them>(alpha, beta, 0, nodeType) : SearchFor<Them>(alpha, beta, depth, 1, nodeType);
}

}  // namespace

namespace {

template <int Us>
int SearchNodeFor(int alpha, int beta, int depth, int allowNull, int nodeType) {
  constexpr int Them = ChangeSide(Us);
  BoardRecord &b = thread_board;
  const int ply = Ply;
  PlyRecord &node = PlyStack[ply];
  const int inCheck = node.InCheck;

  if (BeyondTheStacks()) {
    node.BestMove = 0;
    return EvaluateLazilyFor<Us>(node.Attacks);
  }

  node.BestMove = 0;
  Settings.Nodes++;

  // Mate distance: mated now when in check, else two plies on at the earliest.
  const int floor = ply - (MATE_SCORE - 2) - 2 * inCheck;
  if (alpha < floor) {
    alpha = floor;
    if (beta <= floor) return floor;
  }
  if (alpha >= MATE_SCORE - 1 - ply) return alpha;
  if (ply >= Settings.SelDepth) Settings.SelDepth = ply;
  if (--Settings.TimeCheckCountdown < 0 && TimeUp(0, 0)) {
    b.SearchStopped = 1;
    return 0;
  }

  // Draw tests and the depth cap of bare endings.
  int drawishEnding = 0;
  if (nodeType != NODE_PV && b.PieceMaterial[WHITE] < 11 && b.PieceMaterial[BLACK] < 11) {
    const MaterialEntry &entry = MaterialTable[b.MaterialIndex];
    const int whiteCannotWin = entry.MaterialFlags[WHITE] & CANNOT_WIN;
    const int blackCannotWin = entry.MaterialFlags[BLACK] & CANNOT_WIN;
    const int ownCannotWin = Us == WHITE ? whiteCannotWin : blackCannotWin;
    const int theirCannotWin = Us == WHITE ? blackCannotWin : whiteCannotWin;
    if (whiteCannotWin && blackCannotWin && b.Material[WHITE] + b.Material[BLACK] < 600) return 0;
    const bool kingOnEdge = OnEdge(b.KingSquare[WHITE]) || OnEdge(b.KingSquare[BLACK]);
    if (depth > 16 && b.PieceMaterial[WHITE] == b.PieceMaterial[BLACK] && b.PieceMaterial[WHITE] <= 9 && !b.AllPawns) {
      // Nothing to promote and nothing to trade into: deep search finds no more than a shallow one.
      if (!kingOnEdge)
        depth = 16;
      else if (depth > 36)
        depth = 36;
    }
    if (alpha >= 0 && ownCannotWin && b.PieceMaterial[Us] < 6 && !KingCornered(Them)) return 0;
    if (beta <= 0 && theirCannotWin && b.PieceMaterial[Them] < 6 && !KingCornered(Us)) return 0;
    if (b.ReversibleMoves > 2 && IsRepetition(beta <= 0)) return 0;
    const int lowerForce =
        b.PieceMaterial[WHITE] < b.PieceMaterial[BLACK] ? b.PieceMaterial[WHITE] : b.PieceMaterial[BLACK];
    if (!b.AllPawns && (whiteCannotWin || blackCannotWin) && lowerForce < 9)
      drawishEnding = !(kingOnEdge && KingDistance(b.KingSquare[WHITE], b.KingSquare[BLACK]) < 4);
  } else if (b.ReversibleMoves > 2 && IsRepetition(beta <= 0)) {
    return 0;
  }

  // Hash probe.
  const int nullDepth = b.PieceMaterial[Us] > 8 && depth >= 24 ? depth - 20 : depth - 16;
  const int isPv = nodeType == NODE_PV;
  i32 mateThreat = 0, cutoff = 0, allow = allowNull;
  u32 hashMove = 0;
  ProbeHash(depth, &alpha, &beta, &mateThreat, &hashMove, &allow, &cutoff, isPv);
  if (cutoff) {
    node.BestMove = hashMove;
    return alpha;
  }
  int nodeFlags = HashFlags;
  const int trySingular =
      depth >= 32 && SingularKnown && SingularDepth >= depth - 12 && !SingularActive && nodeType != NODE_ALL;
  const int singularScore = SingularScore;
  if (!Settings.SkipTbProbes && b.PieceTotal <= Settings.TbPiecesInUse && b.ReversibleMoves == 0 &&
      b.CastlingFlags == 0 && ply < PLY_STACK_SIZE - TB_PLY_RESERVE) {
    i32 success;
    const i32 r = ProbeWdl(success);
    if (success) {
      Settings.TbHits++;
      const int value = r < -1 ? ply - TB_WIN_SCORE : r > 1 ? TB_WIN_SCORE - ply : 2 * r;
      StoreHash(depth + 24, hashMove, value, HASH_EXACT, 0, nodeFlags, 0);
      return value;
    }
  }
  // Learning: the position-learning lookup comes here once the learning file exists.

  // Static evaluation.
  node.StaticEval = EvaluateLazilyFor<Us>(node.Attacks);
  node.ReducedFlag = 0;
  const int staticEval = node.StaticEval;
  const u32 parentFlags = ply > 0 ? PlyStack[ply - 1].MoveFlags : 0;

  // Static pruning: far enough above beta that one shallow ply won't bring it back.
  if (!inCheck && depth < 12 && !isPv && staticEval - StaticMarginNear >= beta) {
    if (depth < 8) {
      if (!(parentFlags & MF_THREAT)) return beta;
    } else if (staticEval - StaticMarginFar >= beta && (parentFlags == 0 || parentFlags == MF_REDUCED)) {
      return beta;
    }
  }
  const int nearAlpha = alpha <= staticEval + NEAR_ALPHA_MARGIN;

  // Null move, made in place.
  u32 threat = 0;
  if (allow && alpha <= 30999 && beta >= -30999 && b.PieceMaterial[Us] != 0 &&
      !(b.PieceMaterial[Us] < 6 && depth > 24) && !isPv && !inCheck && !(parentFlags & MF_THREAT) &&
      staticEval - NullMoveMargin >= beta) {
    GameHistoryEntry &entry = GameHistory[GameHistoryCount++];
    entry.Key = b.PositionKey;
    entry.ReversibleMoves = b.ReversibleMoves + 1;
    entry.Move = 0;
    entry.CastlingFlags = b.CastlingFlags;
    entry.MaterialIndex = b.MaterialIndex;
    entry.PstScore = b.PstScore;
    b.ReversibleMoves = 0;
    b.SideToMove = Them;
    node.MoveFlags = 0;
    node.FollowUpMove = 0;
    node.DepthChange = nullDepth - depth;
    Ply++;
    PlyStack[Ply].InCheck = 0;
    const int v = -Child<Them>(-beta, -beta + 1, nullDepth, NODE_CUT);
    Ply--;
    b.SideToMove = Us;
    b.ReversibleMoves = GameHistory[--GameHistoryCount].ReversibleMoves;
    if (b.SearchStopped) return 0;
    if (v >= beta) {
      StoreHash(depth, 0, beta, HASH_LOWER, mateThreat, nodeFlags, 0);
      return beta;
    }
    // Mated at once after passing: the opponent has a mate threat.
    if (v == ply + 2 - MATE_SCORE) mateThreat = 1;
    threat = PlyStack[ply + 1].BestMove;
  }
  node.ThreatMove = threat ? threat : ply > 0 ? PlyStack[ply - 1].FollowUpMove : 0;

  SearchNode n{};
  n.alpha = alpha;
  n.beta = beta;
  n.nodeType = nodeType;
  n.originalAlpha = alpha;
  n.mateThreat = mateThreat;
  n.nodeFlags = nodeFlags;
  n.nearAlpha = nearAlpha;
  n.listStart = MoveStackTop;
  n.stage = STAGE_START;
  n.drawishEnding = drawishEnding;

  // In check: the evasions come out legal, and a lone reply is searched first as the hash move.
  if (inCheck) {
    n.stage = GenerateEvasions(STAGE_START);
    if (MoveStackTop == n.listStart) return ply - MATE_SCORE;
    if (MoveStackTop - n.listStart == 1) {
      const MoveEntry &only = MoveStack[n.listStart];
      if (!(CapturedPiece(only.Move) && only.Safety)) {
        n.singleReply = only.Move;
        if (!hashMove) hashMove = only.Move;
      }
    }
    if ((parentFlags & MF_REDUCED) && mateThreat) depth += 4;
  }
  n.depth = depth;

  // Internal deepening: a PV node without a move to start from finds one at a lower depth.
  if (!hashMove && depth >= 20 && isPv && staticEval + IidMargin > beta) {
    node.DepthChange = -8;
    if (depth - 8 < 4)
      QuiescenceFor<Us>(alpha, beta, 0, NODE_PV);
    else
      SearchFor<Us>(alpha, beta, depth - 8, 0, NODE_PV);
    if (b.SearchStopped) return 0;
    hashMove = node.BestMove;
    node.BestMove = 0;
    node.ThreatMove = threat ? threat : ply > 0 ? PlyStack[ply - 1].FollowUpMove : 0;
  }
  n.hashMove = hashMove;
  n.bestMove = hashMove;
  if (!hashMove) return MoveLoopFor<Us>(n);

  // The hash move, before any generation and without a legality test: a key match is trusted.
  const int safety = MoveSafety(hashMove);
  int safeForChange = 1, bonus = 0;
  const bool near = ply < LongestPly();
  int change = MoveDepthChangeFor<Us>(near, mateThreat, depth, hashMove == n.singleReply, hashMove, MATE_SCORE, isPv,
                                      &bonus, alpha - staticEval, &safeForChange, true);

  if (trySingular && !n.singleReply && change < 0 && ply < 100) {
    const int bound = singularScore - SingularMargin - (depth >> 1);
    // Deep nodes first try a cheap screen at depth 4; only a move that passes it costs the real test.
    int singular = depth >= 36 && PassesSingularScreenFor<Us>(bound, depth, hashMove, nearAlpha);
    if (b.SearchStopped) return 0;
    if (!singular) singular = IsSingularFor<Us>(bound, depth, hashMove, nearAlpha);
    if (b.SearchStopped) return 0;
    if (singular) {
      change += near ? 4 : 2;
      if (change > 0) change = 0;
    }
  }

  node.DepthChange = change;
  MakeMoveAs<Us>(hashMove, 1);
  n.made = 1;
  Ply++;
  const int v = -Child<Them>(-beta, -alpha, depth + change, -nodeType);
  Ply--;
  UnmakeMoveAs<Us>();
  if (b.SearchStopped) return 0;

  if (v >= beta) {
    if (IsQuietMove(hashMove)) UpdateMoveStatistics(depth, hashMove, nearAlpha, inCheck, safety);
    StoreHash(depth, hashMove, v, HASH_LOWER, mateThreat, nodeFlags, 1);
    node.BestMove = hashMove;
    MoveStackTop = n.listStart;
    return v;
  }
  n.searched = 1;
  if (v >= alpha) n.alpha = v;
  // A winning capture that failed while the evaluation lay far below: the loop reduces more readily.
  if (CaptureWorth(CapturedPiece(hashMove)) > CaptureWorth(MovedPiece(hashMove)) &&
      staticEval + GoodCaptureMargin < n.originalAlpha)
    n.bigCaptureFailed = 1;
  return MoveLoopFor<Us>(n);
}

}  // namespace

// After a null move the node runs on with ReversibleMoves one higher; the caller gets it back as it was.
template <int Us>
int SearchFor(int alpha, int beta, int depth, int allowNull, int nodeType) {
  const int reversibleMoves = thread_board.ReversibleMoves;
  const int v = SearchNodeFor<Us>(alpha, beta, depth, allowNull, nodeType);
  thread_board.ReversibleMoves = reversibleMoves;
  return v;
}

int Search(int alpha, int beta, int depth, int allowNull, int nodeType) {
  return thread_board.SideToMove == WHITE ? SearchFor<WHITE>(alpha, beta, depth, allowNull, nodeType)
                                          : SearchFor<BLACK>(alpha, beta, depth, allowNull, nodeType);
}

template int SearchFor<WHITE>(int, int, int, int, int);
template int SearchFor<BLACK>(int, int, int, int, int);
