// Search parameters: plain globals with compiled-in defaults, which "values.txt" overrides at start.
#pragma once
#include "board/types.h"

// Late move reductions, node set-up and the move loop.
extern i32 LmrFreeMoves, LmrBase, LmrFarBelow, LmrCutFar, LmrPvFar, LmrAllFar, LmrCutNear, LmrPvNear, LmrAllNear;
extern i32 LmrCheckDiscount, LmrThreatDiscount, LmrEvalStep, LmrLimit1, LmrLimit2, LmrLimit3, LmrLimit4;
extern i32 LmrStep1High, LmrStep1Low, LmrStep2, LmrStep3, LmrStep4, LmrStep5, LmrStep6;
extern i32 LmrCount2, LmrCount3, LmrCount5, LmrCount6, LmrKeepCount, LmrGainCount;
extern i32 StaticMarginNear, StaticMarginFar, NullMoveMargin, IidMargin, SingularMargin, GoodCaptureMargin;
extern i32 FutilityBase, CaptureSkipMargin, EvalDropMargin;
// Depth changes of a move.
extern i32 RecaptureMargin, RecaptureFloor, PassedWindowLow, PassedWindowHigh;
// Quiescence: the gain of a capture when the material table can't tell it.
extern i32 CaptureGainBase;
// The root's material window.
extern i32 WindowMarginLow, WindowMarginHigh, WindowPerIterationLow, WindowPerIterationHigh, WindowScoreDivisorLow,
    WindowScoreDivisorHigh;

// Quiet moves tried before late move pruning, [improving][depth / 2]; rebuilt from LateMoveParameters.
extern i32 LateMoveParameters[6];
extern i32 LateMoveCounts[2][32];

// Permille success rate of a move, [ending][history class][from + 64 * to][side], from the file's counts.
extern i32 PruneStats[2][4][4096][2];
// Outcomes of the moves that reach the reduction test, in the shape of PruneCounts: [ending][piece code][from][to]
// [0 successes, 1 trials], Black's moves on mirrored squares. Counted only while a tool points this at a table.
using LateMoveCountTable = i64[2][8][64][64][2];
extern LateMoveCountTable *LateMoveOutcomes;
