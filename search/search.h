// The main search node function.
#pragma once
#include "board/types.h"

// Alpha-beta at depth 4 or more (quarter plies). The caller has raised Ply, set InCheck of the new ply and
// DepthChange of its own, and made the move. When SearchStopped is set on return the value means nothing.
int Search(int alpha, int beta, int depth, int allowNull, int nodeType);
