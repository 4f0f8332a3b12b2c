// The root of a search or of the `moves` list: game ends by rule are announced, the root score is
// estimated from the transposition table, and the legal root moves are listed in first-iteration order.
#pragma once
#include "board/types.h"

// 1 if the side to move has no legal move (mate or stalemate, announced), else 0 with the legal
// root moves in MoveStack[0, MoveStackTop) and the estimate in RootScore[0].
i32 PrepareRoot();
// Makes root move k one ply down, with the child's check flag read from the board: in a set-up position with the
// side not to move in check, the move alone doesn't tell whether the child stands in check.
void MakeRootMove(int k);
// The present position stood twice before in the game, with only reversible moves and the same
// castling rights in between.
bool IsThreefold();
// A bare king against at most a minor piece and no pawns.
bool IsBareKingDraw();
// The last move was made after a hundred reversible plies.
bool IsFiftyMoveDraw();
