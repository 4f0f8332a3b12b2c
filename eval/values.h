// Loading the evaluation: "values.txt" read by position, then repairs, expansions, curves and packing.
#pragma once
#include "board/types.h"

// Successes and trials of a move, [ending][piece code][from][to]: the file's raw form of PruneStats.
extern i64 PruneCounts[2][8][64][64][2];

// The whole sequence, at start and on `reload`: scratch, file, prune rates, tables, late move counts.
void LoadEvaluationTables();
// Numbers read, or -1 without a file. Stops at the first number it can't convert and keeps the rest as they are.
i64 ReadValuesFile();
void BuildPruneStats();
void BuildEvaluationTables();
// The same but for MaterialTable, which only the material parameters feed: cheap enough to follow a change
// of any other parameter.
void BuildTablesExceptMaterial();
void BuildLateMoveCounts();
