// The UCI speed line, printed during long searches.
#pragma once

// Prints "info nps ..." once a search has passed 200000 nodes, and resets InfoCountdown.
void PrintNpsInfo();
