// Piece-square values: packed (opening << 16) + ending pairs, and the two halves apart.
#pragma once
#include "board/types.h"

extern i32 PieceSquare[8][2][64];
extern i16 PstOpening[8][2][64];
extern i16 PstEnding[8][2][64];
// Source tables by piece code, printed order: index 0 is a8 for white, the piece's own back rank is last.
// The values file may rewrite them; PieceSquare follows only when rebuilt.
extern i16 PstSourceOpening[8][64];
extern i16 PstSourceEnding[8][64];

void BuildPieceSquareTables();
