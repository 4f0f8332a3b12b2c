// Tuning samples from PGN games: one CSV line for each quiet move of a decided game.
#pragma once
#include <cstdio>

// The original's fixed paths, "c:\work\source.pgn" and "c:\work\chess\quarvelle\release\source.pgn" for the
// input and "c:\work\my_eval.csv" for the output, are read and written in the working directory.
constexpr const char *PGN_EVAL_SOURCE = "source.pgn";
constexpr const char *SELF_TEST_SOURCE = "source.pgn";
constexpr const char *SAMPLE_FILE = "my_eval.csv";

// Plays every game of the file and appends its samples to SAMPLE_FILE: "FEN ;move;plies to go;plies;code", the
// code 0 for a draw, 1 if the side to move won, 2 if it lost.
void PgnEval(const char *path);
// The same for a file already opened "rb", which stays open.
void EvaluatePgnGames(FILE *pgn);
// One move of the game being read: matched against the legal moves, sampled and made.
void ProcessSan(const char *text);
// Rebuilds the evaluation tables and the piece-square values, forgets what the search learnt, and runs PgnEval.
void SelfTest(const char *path);
