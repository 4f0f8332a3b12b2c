// What a search shows: UCI info lines, xboard thinking lines, and the variation from the table.
#pragma once

// One UCI info line; bound 1 upperbound, 2 lowerbound, 3 none; with the variation or the current move.
void PrintInfo(int force, int bound, int withVariation);
// One "info multipv" line for each of the best MultiPV moves; `bound` marks the line `line`.
void PrintMultiPvInfo(int line, int bound);
// The xboard line of thought for the best move so far.
void PrintThinking(int force);
// " move" for MoveStack[index] and the line behind it from the transposition table; finds PonderMove.
void PrintVariation(int index);
// The root score as xboard shows it: the mate band moved up to 32767 less the plies.
int ShownScore(int score);
