// Pawn structure: one hashed entry per pawn placement.
#pragma once

// Adds the pawn score for White's king wing to PackedScore; leaves PawnEntry and PassedPawns set.
void EvaluatePawns();
