// Static evaluation of a node, skipped when the material alone lies outside the root's window.
#pragma once
#include "board/board.h"

// Material balance of the side to move, with the pawn-race correction, in *balance; true when the
// balance is far enough outside the window that the full evaluation is not worth running.
template <int Us>
bool MaterialIsDecisiveFor(i32 *balance);
bool MaterialIsDecisive(i32 *balance);

// Score for the side to move, scaled for the fifty-move rule; attacks[2] receives the evaluator's
// attack sets, or zeros when the evaluation was lazy. Full evaluations go through the EvalCache.
template <int Us>
i32 EvaluateLazilyFor(u64 *attacks);
i32 EvaluateLazily(u64 *attacks);
// The node's own entry: Attacks of PlyStack[Ply].
inline i32 EvaluateLazily() { return EvaluateLazily(PlyStack[Ply].Attacks); }
