// The xboard analysis loop: the engine searches the position on the board without end, and the moves, undo
// and new that come in change the board and start the next search.
#pragma once

void Analyze();
