// The only operations that change thread_board during play.
#pragma once
#include "board/board.h"

// Plays a pseudo-legal move for SideToMove; `save` non-zero writes the snapshot into GameHistory.
void make_move(u32 move, int save);
// Takes back the move in GameHistory[GameHistoryCount - 1].
void unmake_move();
void RecomputeMaterialIndex();
