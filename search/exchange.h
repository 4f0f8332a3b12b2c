// Static exchange as two yes-or-no questions, in pawn units, without making moves.
#pragma once
#include "board/types.h"

// Does the move of SideToMove lose no material on `to`?
int ExchangeHolds(int to, int from, int moved, int captured, int promotion);
// Would the piece of SideToMove that left `from` win material by taking `victim` on `target`?
int AttackIsReal(int target, int from, int moved, int victim);
// `attackers` plus the slider behind `square`, seen from the exchange square along `direction`.
u64 AddHiddenAttackers(u64 attackers, int square, int direction);
