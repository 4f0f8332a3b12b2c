#include "search/parameters.h"

i32 LmrFreeMoves = 1, LmrBase = 2, LmrFarBelow = 300, LmrCutFar = 4, LmrPvFar = 8, LmrAllFar = 7, LmrCutNear = 13,
    LmrPvNear = 33, LmrAllNear = 7;
i32 LmrCheckDiscount = 20, LmrThreatDiscount = 10, LmrEvalStep = 25, LmrLimit1 = -34, LmrLimit2 = -3, LmrLimit3 = 25,
    LmrLimit4 = 42;
i32 LmrStep1High = 4, LmrStep1Low = 2, LmrStep2 = 2, LmrStep3 = 2, LmrStep4 = 2, LmrStep5 = 2, LmrStep6 = 2;
i32 LmrCount2 = 2, LmrCount3 = 4, LmrCount5 = 12, LmrCount6 = 16, LmrKeepCount = 8, LmrGainCount = 15;
i32 StaticMarginNear = 40, StaticMarginFar = 120, NullMoveMargin = 30, IidMargin = 250, SingularMargin = 10,
    GoodCaptureMargin = 80;
i32 FutilityBase = 20, CaptureSkipMargin = 100, EvalDropMargin = 15;
i32 RecaptureMargin = 50, RecaptureFloor = 100, PassedWindowLow = -300, PassedWindowHigh = 1000;
i32 CaptureGainBase = 0;
i32 WindowMarginLow = 250, WindowMarginHigh = 250, WindowPerIterationLow = 5, WindowPerIterationHigh = 5,
    WindowScoreDivisorLow = 5, WindowScoreDivisorHigh = 5;

i32 LateMoveParameters[6] = {20, 30, 15, 20, 18, 18};
// What the default parameters give, so the tables are right before the first build too.
i32 LateMoveCounts[2][32] = {{2,  2,  2,  3,  3,  4,  5,  6,  8,  9,  11, 13, 15, 17, 19, 21,
                              24, 26, 29, 32, 34, 37, 41, 44, 47, 51, 54, 58, 62, 66, 70, 74},
                             {3,  3,  3,  4,  5,  6,  8,  9,  11, 13, 15, 17, 20, 23, 26, 29,
                              32, 35, 39, 43, 46, 50, 55, 59, 64, 68, 73, 78, 83, 88, 94, 99}};

i32 PruneStats[2][4][4096][2];
LateMoveCountTable *LateMoveOutcomes;
