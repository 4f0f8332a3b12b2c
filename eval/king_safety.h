// King safety: shelter, attack data gathered by the pieces, and the attack product on each king.
#pragma once
#include "board/types.h"

// Shelter of the king of Us: sets shelter_penalty[Us] and returns a value of 0 or less.
template <int Us>
i32 EvaluateShelter();

// Attack data of one piece of Us of kind Piece on `from`, with attack set `attacks`, against the enemy king.
template <int Us, int Piece>
void GatherAttackData(int from, u64 attacks);

// Own pawns on squares next to the enemy king, for both sides.
void AddPawnContact();
// Kings with a common neighbour.
void AddKingContact();
// Undeveloped pieces and home pawns, into PackedScore.
void AddDevelopment();
// The enemy shelter seen by an own queen.
void AddQueenShelter();
// The zone sum and attack product of both sides; `before` are the attack sets without the kings' neighbours.
void AddKingAttacks(const u64 (&before)[2]);
// Safe queen checks of the side with a queen against the enemy king, limited to 6.
int SafeQueenChecks(int side, const u64 (&before)[2]);
