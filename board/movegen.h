// Class generators: each appends pseudo-legal moves of one class to MoveStack, classified and scored.
#pragma once
#include "board/board.h"

constexpr int EVASION_CAPTURE_OFFSET = 0x20027100;

void GenerateCaptures(u64 targets);
void GenerateGoodCaptures(u64 targets);
void GeneratePromotions();
void GenerateQuiets(int nearAlpha);
void GenerateSafeQuiets(int nearAlpha);
void GenerateChecks(int nearAlpha);
void AddMoveIfValid(u32 move);

// Evasions: the legal replies to a check, scored. GenerateEvasions returns 12 if any were added, else 0,
// and does nothing unless `stage` is 14.
int GenerateEvasions(int stage);
int GenerateEvasionsNow();
void GenerateEvasionsList();
bool IsPinnedPiece(int square);

// All legal moves of the side to move, from stack index `start`; MoveStackTop ends behind them.
void LegalMoves(int start);
bool IsLegal(u32 move);

int MoveSafety(u32 move);
int CaptureScore(u32 move, int *safety);
int HistoryScore(u32 move, int nearAlpha, int forced, int safety);
int EvasionScore(u32 move, int *safety);
