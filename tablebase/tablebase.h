// Syzygy endgame tablebases: what the rest of the engine calls.
#pragma once
#include "board/types.h"

// Leave this many ply records free above a probing node: the capture searches of a probe step Ply.
constexpr int TB_PLY_RESERVE = 8;

// (Re)starts the tablebases on a list of directories separated by ';' or ':'; TbMaxPieces is the result.
void InitTablebases(const char *path);
// Releases every mapping and record that a start made.
void FreeTablebases();

// Win (2), cursed win (1), draw (0), blessed loss (-1), loss (-2) for the side to move, en passant included.
// `success` 0: a table is missing or unusable, and the value means nothing. PlyStack[Ply].InCheck must be set.
i32 ProbeWdl(i32 &success);
// Plies to the next zeroing move, signed for the side to move, 100 more for a cursed win or blessed loss.
i32 ProbeDtz(i32 &success);
// 1 if the side to move, which stands in check, is mated.
i32 IsCheckmate();
// The pieces of `side` that attack `square` with the present occupancy.
u64 AttackersOf(int side, int square);
// The square of a pawn that has just stepped two squares with a pawn of the side to move beside it, else 0.
i32 EnPassantTarget();

u64 MaterialKey(int mirror);
// The table name of the material on the board, with white ("mirror" 0) or black as the first side.
void MaterialName(char *buffer, int mirror);
