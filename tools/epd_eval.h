// Static evaluations of a file of positions, written to "out.epd".
#pragma once

// Each line read as a FEN and written back, line end included, followed by ";" and its evaluation.
void EvaluateEpdFile(const char *path);
