// The engine's move: time, search, the result in the protocol's form, the move made.
#pragma once

void Think();
