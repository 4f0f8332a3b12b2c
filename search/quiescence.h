// The search below the horizon: captures, promotions, pawn advances, evasions and, for a while, quiet checks.
#pragma once
#include "board/board.h"

// Worth of a passed pawn reaching a relative rank, added to capture gains by the pawn's destination.
constexpr i32 PassedPawnGain[8] = {0, 2, 2, 10, 50, 200, 700, 0};

// Fail-soft search of the position at Ply; the caller has made the move and set InCheck of Ply.
// `depth` starts at 0 and falls with each move; it decides when quiet checks stop.
int Quiescence(int alpha, int beta, int depth, int nodeType);
template <int Us>
int QuiescenceFor(int alpha, int beta, int depth, int nodeType);

// What a move of SideToMove wins at once: material, the table's balance correction, passed pawns,
// piece-square change; the delta pruning of the quiescence loop compares it with the gap to alpha.
int CaptureGainEstimate(u32 move);
template <int Us>
int CaptureGainEstimateFor(u32 move);
