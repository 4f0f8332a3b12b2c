// Our own retrograde solvers of the endgame bitbases, run once at build time by make_bitbases. Each answers in
// the frame of a white pawn that moves up the board; the layouts are those of eval/bitbases.h.
#pragma once
#include "board/types.h"

// K+P against K: the pawn's side wins. 65536 bytes.
void SolveKingPawnKing(u8 *kpk);
// The pawn promotes by force with only the pawn moving. 65536 bytes.
void SolveRunners(u8 *runners);
// K+R against K+P with the rook's side to move: the pawn's side holds the draw. 65536 words.
void SolveRookPawn(u64 *rookPawn);
