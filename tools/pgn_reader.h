// A byte-wise scanner of PGN files with the tolerance that files in the wild need: tags, comments and
// variations with their nesting, move numbers, glyphs and results are passed over, and each move of the main
// line is handed on as its SAN text.
#pragma once
#include <cstdio>

#include "board/types.h"

// The state of the game being read.
extern i32 PlyCount;    // the PlyCount tag; 0 without one
extern i32 GameResult;  // 0 unknown ("*" or no tag), 1 white won, 2 black won, 3 draw
extern i32 MoveError;   // a move of this game couldn't be read: the rest is parsed, not played
extern char SanToken[16];
// The game starts from a "[FEN" tag, not from the initial position.
extern bool GameFromFen;

constexpr i32 RESULT_UNKNOWN = 0, RESULT_WHITE_WON = 1, RESULT_BLACK_WON = 2, RESULT_DRAW = 3;

// What a reader of games does with them.
struct PgnHandlers {
  void (*StartGame)();             // before the tags of each game; a "[FEN" tag then sets up its position
  void (*TakeMove)(const char *);  // each move of the main line, as its SAN text
  void (*GameRead)(i32 games);     // after the moves of each game, with the count of games so far
};

// Reads the games of a file opened "rb" to its end, or to a token too long for a move, which ends the program
// with code 2. Returns the number of games read whole.
i32 ReadPgnGames(FILE *file, const PgnHandlers &handlers);
