// Material: one ready entry for every configuration of up to two of each piece kind and eight pawns a side.
#pragma once
#include "board/types.h"

struct MaterialEntry {
  i16 current_phase;
  i16 black_phase;
  i16 white_phase;
  i16 MaterialBalance;  // correction to Material[BLACK] - Material[WHITE], good for Black
  i16 MaterialOpening[2];
  i16 MaterialEnding[2];
  i16 SignatureWhite;
  i16 SignatureBlack;
  u8 MaterialFlags[2];
};

constexpr u8 CANNOT_WIN = 1;
constexpr u8 ENDING_FLAG = 2;
constexpr int SIGNATURE_COUNT = 114;

extern MaterialEntry MaterialTable[MATERIAL_OVERFLOW + 1];
// Concentric ring of a square: 0 on the edge up to 3 in the centre.
extern const i32 KingRing[64];
// Class of a set of pawn files: 37 empty, 1..36 one or two files, 0 three or more.
extern i32 RookEndingFileClass[256];

// The last stage of the table build: needs the expanded material parameters and the imbalance scratch.
void BuildMaterialTable();
// Material score from Black's view, worked out by hand for a position beyond the table.
i32 EvaluateMaterial();
// Phases and weighted force from the piece counts, for a position beyond the table.
void ComputePhases();
