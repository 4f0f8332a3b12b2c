// Choosing a move from the book, and the listing of the book's moves.
#pragma once
#include "board/types.h"

// A book move for the position on the board, or 0.
u32 BookChooseMove();
// The bkm listing of the position's book moves.
void PrintBookMoves();
