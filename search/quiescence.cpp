#include "search/quiescence.h"

#include <algorithm>

#include "board/makemove.h"
#include "board/move_scoring.h"
#include "board/movegen.h"
#include "eval/material.h"
#include "search/depth_change.h"
#include "search/hash.h"
#include "search/lazy_eval.h"
#include "search/move_pick.h"
#include "search/ordering.h"
#include "search/parameters.h"
#include "search/repetition.h"
#include "search/search_limits.h"
#include "shell/settings.h"

namespace {

// Delta pruning: a move runs when the gap to alpha left after its gain is small enough.
constexpr int ALWAYS_RUN_NEED = 58;
constexpr int SMALL_GAIN_NEED = 113;
constexpr int LARGE_GAIN = 478;
constexpr int LARGE_GAIN_NEED = 395;
constexpr int SHORT_MATERIAL = 10;
constexpr int SHORT_MATERIAL_EVAL = -499;
constexpr int NEAR_ALPHA_MARGIN = 100;
constexpr int CHECKS_DEPTH = -8;
constexpr int STORE_DEPTH_FLOOR = -12;
constexpr int BEYOND_LIMIT_DEPTH = -16;

template <int Side>
constexpr int RelativeRank(int sq) {
  return Side == WHITE ? RankOf(sq) : 7 - RankOf(sq);
}

constexpr bool IsQuiet(u32 move) { return !IsCaptureOrPromotion(move) && !IsEnPassant(move); }

void Append(u32 move, int score, int safety) { MoveStack[MoveStackTop++] = MoveEntry{move, score, safety}; }

// Queen promotions that hold, knight promotions that check from a square the opponent can't see,
// and safe pushes to the seventh rank.
template <int Us>
void AddPawnAdvances() {
  constexpr int Them = ChangeSide(Us);
  constexpr int forward = Us == WHITE ? 8 : -8;
  const BoardRecord &b = thread_board;
  const u64 empty = ~b.Occupied;
  const u64 enemyAttacks = PlyStack[Ply].Attacks[Them];
  const u64 stepFree = Us == WHITE ? empty >> 8 : empty << 8;
  for (u64 pawns = b.Pawns[Us] & RankMask(Us == WHITE ? 6 : 1) & stepFree; pawns;) {
    const int from = PopLowest(pawns), to = from + forward;
    int safety = SafetyBy<Us>(enemyAttacks, from, to, PAWN, NONE, QUEEN);
    if (safety) {
      const u32 move = MakeMove(from, to, PAWN, NONE, QUEEN);
      Append(move, CaptureScoreOf(move, Us, &safety), safety);
    }
    // The exchange test refuses under-promotions, so only the attack map can call one safe.
    const bool unseen = enemyAttacks && !(enemyAttacks & (Bit(to) | Bit(from)));
    if (unseen && (KnightAttacks[to] & b.Kings[Them])) {
      int knightSafety = 1;
      const u32 move = MakeMove(from, to, PAWN, NONE, KNIGHT);
      Append(move, CaptureScoreOf(move, Us, &knightSafety), knightSafety);
    }
  }
  for (u64 pawns = b.Pawns[Us] & RankMask(Us == WHITE ? 5 : 2) & stepFree; pawns;) {
    const int from = PopLowest(pawns), to = from + forward;
    const int safety = SafetyBy<Us>(enemyAttacks, from, to, PAWN, NONE, 0);
    if (safety) Append(MakeMove(from, to, PAWN, NONE), EN_PASSANT_SCORE, safety);
  }
}

// Pseudo-legal moves out of the generators: en passant is tested after it is made, the king by the
// attacks on its target, everything else by the pin test.
template <int Us>
bool PassesLegality(u32 move) {
  if (IsEnPassant(move)) return true;
  if (MovedPiece(move) == KING) return !IsAttacked(ChangeSide(Us), MoveTo(move));
  return !IsPinnedFor<Us>(move);
}

// Delta pruning of a move that gives no check, when not in check.
template <int Us>
bool DeltaAllows(u32 move, int alpha, int eval) {
  const int promotion = PromotionPiece(move);
  if (promotion && promotion != QUEEN) return false;
  const int gain = CaptureGainEstimateFor<Us>(move);
  const int need = alpha - eval - gain;
  if (need < ALWAYS_RUN_NEED) return true;
  if (gain < LARGE_GAIN)
    return need < SMALL_GAIN_NEED ||
           (thread_board.PieceMaterial[ChangeSide(Us)] < SHORT_MATERIAL && eval > SHORT_MATERIAL_EVAL);
  return need < LARGE_GAIN_NEED;
}

}  // namespace

template <int Us>
int CaptureGainEstimateFor(u32 move) {
  constexpr int Them = ChangeSide(Us);
  BoardRecord &b = thread_board;
  const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move);
  const int promotion = PromotionPiece(move);
  const int captured = IsEnPassant(move) ? PAWN : CapturedPiece(move);

  int g = captured == KING ? 10000 : PieceValue[captured];
  if (b.MaterialIndex == MATERIAL_OVERFLOW) {
    if (captured != NONE && captured != PAWN) g += 120 + CaptureGainBase;
  } else {
    // The table's balance correction is from Black's view.
    const int before = MaterialTable[b.MaterialIndex].MaterialBalance;
    const int after = MaterialTable[b.MaterialIndex - MaterialWeight[captured][Them]].MaterialBalance;
    g += Us == BLACK ? after - before : before - after;
  }
  const int weight = captured == KING ? 200 : PieceUnits[captured];
  if (b.PieceMaterial[Them] - weight < 6) g += 25;
  if (captured == QUEEN && b.PieceCount[QUEEN][Them] == 1) g += 25;

  if (promotion) {
    g += 900;
  } else {
    if (moved == PAWN && !(b.Pawns[Them] & PassedMask[Us][to])) g += PassedPawnGain[RelativeRank<Us>(to)];
    if (captured == PAWN && !(b.Pawns[Us] & PassedMask[Them][to])) g += PassedPawnGain[RelativeRank<Them>(to)];
  }

  if (b.MaterialIndex == MATERIAL_OVERFLOW)
    ComputePhases();
  else
    b.current_phase = MaterialTable[b.MaterialIndex].current_phase;
  const int landed = promotion ? promotion : moved;
  int opening = PstOpening[landed][Us][to] - PstOpening[moved][Us][from];
  int ending = PstEnding[landed][Us][to] - PstEnding[moved][Us][from];
  if (captured) {
    opening += PstOpening[captured][Them][to];
    ending += PstEnding[captured][Them][to];
  }
  g += (opening * b.current_phase + ending * (256 - b.current_phase)) >> 8;

  if (landed == QUEEN) g += captured == PAWN ? 100 : 160;
  return g;
}

int CaptureGainEstimate(u32 move) {
  return thread_board.SideToMove == WHITE ? CaptureGainEstimateFor<WHITE>(move) : CaptureGainEstimateFor<BLACK>(move);
}

template <int Us>
int QuiescenceFor(int alpha, int beta, int depth, int nodeType) {
  constexpr int Them = ChangeSide(Us);
  BoardRecord &b = thread_board;
  PlyRecord &node = PlyStack[Ply];

  // Entry: counters only; the clock is Search's business.
  if (Ply >= Settings.SelDepth) Settings.SelDepth = Ply;
  Settings.Nodes++;
  Settings.TimeCheckCountdown--;

  node.BestMove = 0;
  // Captures that check and their evasions can outlast the tree's own limits.
  if (BeyondTheStacks()) return EvaluateLazilyFor<Us>(node.Attacks);
  const int inCheck = node.InCheck;
  int best = -MATE_SCORE;
  const int floor = Ply - (MATE_SCORE - 2) - 2 * inCheck;
  if (floor > -MATE_SCORE) {
    best = floor;
    if (alpha < floor) alpha = floor;
    if (beta <= floor) return floor;
  }
  if (alpha >= MATE_SCORE - 1 - Ply) return alpha;

  if (b.ReversibleMoves > 2 && IsRepetition(beta < 1)) return 0;

  const int limit = LongestPly();
  if (Ply > limit) depth = BEYOND_LIMIT_DEPTH;

  // Material alone beyond the root's window: no table access at all.
  i32 balance;
  if (MaterialIsDecisiveFor<Us>(&balance) && balance >= beta) return balance;

  u32 hashMove = 0;
  i32 cutoff = 0;
  ProbeHashQuiescence(depth, &alpha, &beta, &hashMove, &cutoff, nodeType == NODE_PV);
  if (cutoff) {
    node.BestMove = hashMove;
    return alpha;
  }
  int nodeFlags = HashFlags;
  u32 bestMove = 0;
  if (HashBound > best) {
    best = HashBound;
    bestMove = hashMove;
  }
  node.MoveFlags = 0;
  node.FollowUpMove = 0;
  node.Attacks[WHITE] = node.Attacks[BLACK] = 0;

  // Stand pat.
  int eval = 0, nearAlpha = 1;
  if (!inCheck) {
    eval = EvaluateLazilyFor<Us>(node.Attacks);
    if (eval > best) {
      best = eval;
      if (eval > alpha) {
        alpha = eval;
        if (eval >= beta) return eval;
      }
    }
    nearAlpha = alpha <= eval + NEAR_ALPHA_MARGIN;
  }
  const int startAlpha = alpha;
  const bool allowChecks = Settings.Iteration > 0 && Ply <= limit && depth >= CHECKS_DEPTH && !inCheck &&
                           !(nodeFlags & NO_QUIET_CHECKS);
  const int storeDepth = std::max(depth, STORE_DEPTH_FLOOR);
  int moved = 0;

  // Hash move, before any generation; a quiet one only while quiet checks are allowed.
  if (hashMove && IsQuiet(hashMove) && (Ply > limit || !allowChecks)) hashMove = 0;
  if (hashMove) {
    const int check = GivesCheckFor<Us>(hashMove);
    PlyStack[Ply + 1].InCheck = check;
    MakeMoveAs<Us>(hashMove, 1);
    moved = 1;
    Ply++;
    const int d = depth - 2 + (check && Ply < limit ? 4 : 0);
    const int v = -QuiescenceFor<Them>(-beta, -alpha, d, -nodeType);
    Ply--;
    UnmakeMoveAs<Us>();
    if (b.SearchStopped) return 0;
    if (v >= beta) {
      StoreHash(storeDepth, hashMove, v, HASH_LOWER, 0, nodeFlags, 0);
      node.BestMove = hashMove;
      if (IsQuiet(hashMove)) UpdateMoveStatistics(depth, hashMove, nearAlpha, inCheck, MoveSafety(hashMove));
      return v;
    }
    if (v > best) {
      best = v;
      bestMove = hashMove;
      if (v >= alpha) alpha = v;
    }
  }

  // Generation.
  const int listStart = MoveStackTop;
  node.ThreatMove = 0;
  int step = -4;
  if (inCheck) {
    GenerateEvasions(STAGE_START);
    const int count = MoveStackTop - listStart;
    if (count == 0) return Ply - MATE_SCORE;
    if (count == 1 && Ply < limit) step = 0;
  } else if (!(nodeFlags & NO_TACTICAL_MOVES)) {
    GenerateGoodCaptures(b.Pieces[Them]);
    AddPawnAdvances<Us>();
    if (MoveStackTop == listStart) nodeFlags |= NO_TACTICAL_MOVES;
  }

  // Cutoff of a move from either list: store, order statistics for a quiet one, return.
  auto failHigh = [&](int index, u32 move, int safety, int v) {
    MoveStackTop = listStart;
    StoreHash(storeDepth, move, v, HASH_LOWER, 0, nodeFlags, moved);
    node.BestMove = move;
    if (IsQuiet(move)) {
      WeakenEarlierQuiets(listStart, index, 4, inCheck ? 2 : nearAlpha);
      UpdateMoveStatistics(depth, move, nearAlpha, inCheck, safety);
    }
    return v;
  };

  for (int i = listStart; i < MoveStackTop; i++) {
    PickBestMove(i);
    const MoveEntry entry = MoveStack[i];
    const u32 move = entry.Move;
    if (move == hashMove) continue;
    if (!inCheck && !PassesLegality<Us>(move)) continue;
    const int check = GivesCheckFor<Us>(move);
    PlyStack[Ply + 1].InCheck = check;
    if (!check) {
      if (!inCheck) {
        if (!DeltaAllows<Us>(move, alpha, eval)) continue;
      } else if (IsQuiet(move) && entry.Safety == 0 && moved != 0) {
        continue;
      }
    }
    MakeMoveAs<Us>(move, moved == 0);
    moved++;
    if (!inCheck && IsEnPassant(move) && IsAttacked(Them, b.KingSquare[Us])) {
      UnmakeMoveAs<Us>();
      continue;
    }
    Ply++;
    const int d = depth + step - 4 + (check && Ply < limit ? 4 : 0);
    const int v = -QuiescenceFor<Them>(-beta, -alpha, d, -nodeType);
    Ply--;
    CountCaptureTry(move, Us, entry.Safety, inCheck || check, v > alpha);
    UnmakeMoveAs<Us>();
    if (b.SearchStopped) return 0;
    if (v > best) {
      best = v;
      bestMove = move;
    }
    if (v > alpha) alpha = v;
    if (v >= beta) return failHigh(i, move, entry.Safety, v);
  }

  // Quiet checks, on a fresh list.
  if (allowChecks) {
    MoveStackTop = listStart;
    GenerateChecks(alpha <= eval + NEAR_ALPHA_MARGIN);
    if (MoveStackTop == listStart) nodeFlags |= NO_QUIET_CHECKS;
    for (int i = listStart; i < MoveStackTop; i++) {
      PickBestMove(i);
      const MoveEntry entry = MoveStack[i];
      const u32 move = entry.Move;
      if (move == hashMove) continue;
      if (MovedPiece(move) == KING ? IsAttacked(Them, MoveTo(move)) : IsPinnedFor<Us>(move)) continue;
      PlyStack[Ply + 1].InCheck = 1;
      MakeMoveAs<Us>(move, moved == 0);
      moved++;
      Ply++;
      const int v = -QuiescenceFor<Them>(-beta, -alpha, depth - (Ply < limit ? 0 : 4), -nodeType);
      Ply--;
      UnmakeMoveAs<Us>();
      if (b.SearchStopped) return 0;
      if (v > best) {
        best = v;
        bestMove = move;
      }
      if (v > alpha) alpha = v;
      if (v >= beta) return failHigh(i, move, entry.Safety, v);
    }
  }

  MoveStackTop = listStart;
  if (alpha > startAlpha) {
    StoreHash(storeDepth, bestMove, alpha, HASH_EXACT, 0, nodeFlags, 0);
    node.BestMove = bestMove;
  } else {
    StoreHash(storeDepth, bestMove, best, HASH_UPPER, 0, nodeFlags, 0);
  }
  return best;
}

int Quiescence(int alpha, int beta, int depth, int nodeType) {
  return thread_board.SideToMove == WHITE ? QuiescenceFor<WHITE>(alpha, beta, depth, nodeType)
                                          : QuiescenceFor<BLACK>(alpha, beta, depth, nodeType);
}

template int QuiescenceFor<WHITE>(int, int, int, int);
template int QuiescenceFor<BLACK>(int, int, int, int);
template int CaptureGainEstimateFor<WHITE>(u32);
template int CaptureGainEstimateFor<BLACK>(u32);
