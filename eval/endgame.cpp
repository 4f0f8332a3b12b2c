#include "eval/endgame.h"

#include <cstdlib>

#include "board/board.h"
#include "eval/eval.h"
#include "eval/evaluate_steps.h"
#include "eval/material.h"

namespace {

// A side that cannot win by material alone; both such, or the side to move such while not ahead: a draw.
bool DrawnByForce(const i32 *score) {
  const EvalInfo &info = thread_eval_info;
  if (info.CannotWin[WHITE] && info.CannotWin[BLACK]) return true;
  if (info.CannotWin[thread_board.SideToMove] && *score >= 0) {
    thread_eval_info.Cacheable = 0;
    return true;
  }
  return false;
}

}  // namespace

bool RecogniseEnding(i32 *score) {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const MaterialEntry &entry = MaterialTable[b.MaterialIndex];
  for (int side : {WHITE, BLACK}) info.CannotWin[side] = entry.MaterialFlags[side] & CANNOT_WIN;
  if (DrawnByForce(score)) return *score = 0, true;
  if (!b.Pawns[WHITE] && !b.Pawns[BLACK] && std::abs(b.PieceMaterial[WHITE] - b.PieceMaterial[BLACK]) < 2)
    return *score = 0, true;
  if (DrawnByForce(score)) return *score = 0, true;
  const i32 material = ReadMaterial();
  thread_board.AllPawns = b.Pawns[WHITE] | b.Pawns[BLACK];
  *score = material;
  return false;
}
