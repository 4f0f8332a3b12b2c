// Position set-up, FEN reading and move text.
#pragma once
#include "board/board.h"

extern const char PromotionLetters[8];
extern const char PieceLetters[9];

void ClearBoard();
void AddPiece(int square, int side, int piece);
// Reads a FEN; malformed parts have no effect or a partial one, and nothing is rejected.
void LoadFen(const char *text);
void SetStartPosition();
void ClearKillers();
// Piece code and side of a FEN or edit letter; false for any other character.
bool PieceFromLetter(char letter, int &piece, int &side);

char *MoveText(char *buffer, u32 move);
char *PieceMoveText(char *buffer, u32 move);
bool IsMoveText(const char *text);
// The position as FEN text without move counters, ending in a blank: placement, side, castling, and the
// en passant square only where an enemy pawn stands beside the pawn that passed. At most 90 characters.
char *PositionText(char *buffer);
