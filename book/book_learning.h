// Book learning: the result of a game written into the counters of the book's moves, in place.
#pragma once
#include "board/types.h"

constexpr int BOOK_LOSS = 0, BOOK_WIN = 1, BOOK_DRAW = 2;

// Adds a result to the counters of `move` in the position on the board.
void BookUpdateMove(int result, u32 move);
// Walks the game back and updates every second position, those with the side now to move on the move.
void BookLearnGame(int result);
// Book learning is wanted, the book can take it and this game hasn't been learnt yet.
bool BookGameOpen();
