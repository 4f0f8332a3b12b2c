// Piece terms: placement by king wing, mobility, cages, outposts, files and ranks, pins, bad bishops, threats.
// Stages of the one evaluation pass, in this order; each leaves sets for the next.
#pragma once

// Back rank without luft and rooks shut in by their own king.
void AddBackRank();
// The pieces of one kind, Black's first: terms into PackedScore, sets into the reach and attack sets, and the
// attack data on the enemy king.
void EvaluateRooks();
void EvaluateKnights();
void EvaluateQueens();
void EvaluateBishops();
// Pawn attacks, pawn contact with the king, king distance to loose pawns, blocked pawns.
void EvaluatePawnStage();
// Loose and outranked pieces of both sides; `attacks` include the kings' neighbours.
void AddThreats();
