// Labelled positions for tuning: read from data files, sampled, and resolved to quiet positions by the engine's
// own quiescence search.
#pragma once
#include <string>
#include <vector>

#include "board/board.h"

// A position as a data file gives it, with the game's result from White's view: 1 won, 0.5 drawn, 0 lost.
struct LabelledFen {
  std::string fen;
  float result;
};

// The whole position record, ready to evaluate without reading the FEN again.
struct LabelledPosition {
  BoardRecord board;
  float result;
};

// One line of a data file: "FEN;result" with White's result as 1.0, 0.5 or 0.0, or a line of the engine's
// pgneval, "FEN ;move;plies to go;plies;code" with code 0 a draw, 1 a win and 2 a loss for the side to move.
bool ParseLabelledLine(const std::string &line, LabelledFen &out);
// Every line of the file that parses; a name ending in ".xz" is read through xz. False when it can't be read.
bool ReadLabelledFile(const std::string &path, std::vector<LabelledFen> &out, std::string &error);

// Up to `count` positions drawn from `pool` in an order fixed by `seed`, each position once (placement, side,
// castling and en passant), none whose key is in `taken`; the keys drawn are added to `taken`.
std::vector<LabelledFen> DrawPositions(const std::vector<LabelledFen> &pool, size_t count, unsigned seed,
                                       std::vector<std::string> &taken);

// The FEN's position followed to the end of the quiescence search's best line, where standing pat is best.
// False when that line ends in check or in a mate score: no static evaluation is meant to match those.
bool ResolveQuiet(const char *fen, BoardRecord &quiet);
// All of them, in `jobs` processes; the ones that don't resolve are left out.
std::vector<LabelledPosition> ResolveAll(const std::vector<LabelledFen> &fens, int jobs);

// Both sides have the same knights, bishops, rooks and queens, and their pawns differ by at most `pawnDifference`.
// The fit holds the material values, so a position with a piece more would otherwise let the tables of that piece
// (mobility, squares) move by an offset that changes the piece's value, learned from whatever made strong players
// give up that material.
bool EvenMaterial(const BoardRecord &board, int pawnDifference);

// The engine's static evaluation from White's view.
i32 WhiteEvaluation(const BoardRecord &board);
// Settings under which the tuner evaluates and searches: no pawn hash, so that a changed table counts at once;
// the default Aggressivity and Cowardice, so that the evaluation is the same for either side.
void SetTuningSettings();
