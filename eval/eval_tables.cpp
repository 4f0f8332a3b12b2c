#include "eval/eval_tables.h"

// Driver.
i32 EndingThreshold = 9, EndingThresholdNoQueen = 14;
i32 PstScale[4][4];
i32 TempoByPhase[8] = {8, 8, 8, 8, 8, 8, 8, 8};
i32 InitiativeWeight = 8;
i32 QueenCheckBonus[7] = {5, 1, 21, 43, 61, 80, 106};
// 256 is a factor of one until the file says otherwise.
i32 OppositeBishopMaterial[4][3][3] = {{{256, 256, 256}, {256, 256, 256}, {256, 256, 256}},
                                       {{256, 256, 256}, {256, 256, 256}, {256, 256, 256}},
                                       {{256, 256, 256}, {256, 256, 256}, {256, 256, 256}},
                                       {{256, 256, 256}, {256, 256, 256}, {256, 256, 256}}};
i32 OppositeBishopPosition[4][3][3] = {{{256, 256, 256}, {256, 256, 256}, {256, 256, 256}},
                                       {{256, 256, 256}, {256, 256, 256}, {256, 256, 256}},
                                       {{256, 256, 256}, {256, 256, 256}, {256, 256, 256}},
                                       {{256, 256, 256}, {256, 256, 256}, {256, 256, 256}}};

// Material.
i32 ForceOpening[5] = {30, 30, 50, 100, 0}, ForceEnding[5] = {30, 30, 50, 100, 0};
i32 PieceDeltaCommon[8], PieceDeltaOpening[8], PieceDeltaEnding[8];
i32 MinorDeltaCommon, MinorDeltaOpening, MinorDeltaEnding;
i32 RookDeltaCommon, RookDeltaOpening, RookDeltaEnding;
i32 PawnBlendOpening[4], PawnBlendEnding[4];
i32 ExtraPieceBase, TwoMinorsBase, RookMinorsBase, RookForMinorBase, QueenForRookMinorBase, QueenForRooksBase;
i32 ExtraPieceEnding, TwoMinorsEnding, RookMinorsEnding, RookForMinorEnding, QueenForRookMinorEnding,
    QueenForRooksEnding;
i32 QueenKnightBonus = 15, RookBishopBonus = 15;
i32 MinorVsPawns[9] = {30, 60, 100, 110, 120, 120, 120, 120, 120}, MinorVsPawnsSource[5] = {30, 60, 100, 110, 120};
i32 BishopPair[9] = {50, 50, 50, 50, 50, 45, 40, 30, 15}, BishopPairSource[5] = {50, 45, 40, 30, 15};
i32 RookPawns[17] = {15, 15, 13, 11, 9, 7, 5, 3, 1, -1, -3, -5, -7, -9, -9, -9, -9};
i32 WinScale[16] = {64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64};
i32 MaterialPawnTable[114][6][2];
i32 KingPlacement[3][4][4][4];
i32 RookEndingTable[39][39];
i32 *ImbalanceTable;
i32 *ImbalancePawnTable;

// Pawn structure. The connected sources: files a to d, five values each from rank 6 down to rank 2.
i32 PawnConnected[64];
i32 PawnConnectedSourceOpening[20] = {-2, 1, 7, 6, 13, 5, -1, 7, 32, 4, 2, 2, 6, 19, 49, 3, 6, 9, 16, 49};
i32 PawnConnectedSourceEnding[20] = {-2, 1, 7, 6, 13, 5, -1, 7, 32, 4, 2, 2, 6, 19, 49, 3, 6, 9, 16, 49};
i32 PawnBreakthrough[64], PawnBreakthroughOpening[64], PawnBreakthroughEnding[64];
i32 PawnCandidate[64], PawnCandidateOpening[64], PawnCandidateEnding[64];
i32 PawnDoubled[64], PawnDoubledOpening[64], PawnDoubledEnding[64];
i32 PawnIsolated[64], PawnIsolatedOpening[64], PawnIsolatedEnding[64];
i32 PawnIsolatedOpen[64], PawnIsolatedOpenOpening[64], PawnIsolatedOpenEnding[64];
i32 PawnBackward[64], PawnBackwardOpening[64], PawnBackwardEnding[64];
i32 PawnBackwardOpen[64], PawnBackwardOpenOpening[64], PawnBackwardOpenEnding[64];
i32 PawnSpan[9], PawnSpanOpening[9], PawnSpanEnding[9] = {9, 9, 6, 11, 14, 16, 29, 41, 47};
i32 PassedSpan[9], PassedSpanOpening[9], PassedSpanEnding[9];
i32 WingPst[5][4][64], WingPstOpening[5][4][64], WingPstEnding[5][4][64];
i32 ShieldTable[512];
i32 Storm[3][4];

// King safety.
i32 SafeCheckRook, SafeCheckBishop, SafeCheckKnight, SafeCheckQueen;
i32 AttackerRook = 10, AttackerBishop = 10, AttackerKnight = 10, AttackerQueen = 10;
i32 RookFileDanger[8] = {2, 2, 1};
i32 QueenDistanceDanger[8] = {2, 2, 2, 1, 1};
i32 QueenFileDanger[8] = {2, 2, 1};
i32 PawnContactDanger = 2, PawnContactAttacker, KingContactDanger = 2, KingContactAttacker;
i32 AttackQueenFactor = 10347, AttackNoQueenFactor = 10922;
i32 AttackWeight[6] = {64, 64, 64, 64, 64, 64};
i32 DangerScale[128] = {
    0,   1,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,  15,  17,  19,  21,  23,  26,  29,
    32,  35,  39,  43,  47,  51,  56,  61,  66,  71,  77,  83,  89,  95,  102, 109, 117, 125, 134, 144, 155, 167,
    179, 191, 203, 215, 225, 235, 245, 255, 265, 275, 285, 295, 305, 315, 325, 335, 345, 350, 354, 357, 359, 360,
    361, 362, 363, 364, 365, 366, 367, 368, 369, 370, 371, 372, 373, 374, 375, 376, 377, 378, 379, 380, 380, 380,
    380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380,
    380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380, 380,
};
i32 ShelterScale[64] = {
    8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29,
    30, 31, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32,
    32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32, 32,
};
i32 AttackCountHeight = -1249, AttackCountStep = -237, AttackCountCentre = 0;
i32 AttackerForceHeight = -8, AttackerForceStep = 8, AttackerForceCentre = 200;
i32 DefenderForceHeight = 8, DefenderForceStep = 8, DefenderForceCentre = 200;
i32 AttackBlendHeight = 10, AttackBlendStep = -120;
i32 AttackCountScale[64], AttackerForceScale[512], DefenderForceScale[512], AttackBlend[2001];
i32 QueenShelterOpening[16] = {-2, 9, 11, 30, 21, 46, 48, 62, 60, 79, 81, 91, 87, 116, 105, 109};
i32 QueenShelterEnding[16], QueenShelterWeight[6] = {64, 64, 64, 64, 64, 64};
i32 DevelopmentTable[64], DevelopmentWeight[6] = {2, 4, 8, 16, 32, 48};
i32 DevelopmentPawnsOpening[64], DevelopmentPawnsEnding[64];
i32 BlockedCentreOpening[3] = {0, 20, 30}, BlockedCentreEnding[3] = {0, 20, 30};
// Files a to d, ranks 1 to 8 each.
i32 KingShelterBase[64];
i32 KingShelterBaseSource[32] = {0, 1, 3, 4, 5, 6, 6, 6, 0, 1, 3, 4, 5, 6, 6, 6,
                                 1, 2, 3, 4, 5, 6, 6, 6, 3, 3, 3, 4, 5, 6, 6, 6};
i32 Shelter[64];
i32 AttackerForce[2][3][5];
i32 LostFianchetto;
i32 CastleQueenOff, CastleBase, CastleAdd, CastleWeightFiles, CastleWeightShield;
i32 CastleOpen[3], CastleHalfOpen[3];
i32 KingEFileOpen[3], KingEFileHalf[3], KingDFileDelta[6];
i32 KingDFileOpen[3], KingDFileHalf[3];

// Piece terms.
i32 RookOpenFile[8], RookOpenFileOpening[8] = {16, 18, 20, 22, 22, 20, 18, 16}, RookOpenFileEnding[8];
i32 RookHalfOpenFile[8], RookHalfOpenFileOpening[8], RookHalfOpenFileEnding[8];
i32 RookWeakFile[8], RookWeakFileOpening[8], RookWeakFileEnding[8];
i32 RookWeakPawn[8], RookWeakPawnOpening[8], RookWeakPawnEnding[8];
i32 RookSeventh, RookSeventhOpening = 30, RookSeventhEnding;
i32 RookDoubledSeventh, RookDoubledSeventhOpening = 24, RookDoubledSeventhEnding;
i32 RookSeventhPassed, RookSeventhPassedOpening = 20, RookSeventhPassedEnding;
i32 RookBackRank, RookBackRankOpening = 20, RookBackRankEnding;
i32 BackRankNoLuft, BackRankNoLuftOpening = 12, BackRankNoLuftEnding;
i32 TrappedRook, TrappedRookOpening = 30, TrappedRookEnding;
i32 QueenBackRank, QueenBackRankOpening = 30, QueenBackRankEnding;
i32 QueenSeventh, QueenSeventhOpening = 10, QueenSeventhEnding;
i32 BishopVersusKnight, BishopVersusKnightOpening = 25, BishopVersusKnightEnding = 25;
i32 Fianchetto, FianchettoOpening = 10, FianchettoEnding;
i32 KnightMobility[9], KnightMobilityOpening[9], KnightMobilityEnding[9];
i32 KnightSafeMobility[9], KnightSafeMobilityOpening[9], KnightSafeMobilityEnding[9];
i32 BishopMobility[15], BishopMobilityOpening[15], BishopMobilityEnding[15];
i32 BishopSafeMobility[15], BishopSafeMobilityOpening[15], BishopSafeMobilityEnding[15];
i32 RookMobility[15], RookMobilityOpening[15], RookMobilityEnding[15];
i32 RookReachMobility[15], RookReachMobilityOpening[15], RookReachMobilityEnding[15];
i32 QueenMobility[29], QueenMobilityOpening[29], QueenMobilityEnding[29];
i32 QueenSafeMobility[29], QueenSafeMobilityOpening[29], QueenSafeMobilityEnding[29];
i32 KnightCage[108], KnightCageOpening[108], KnightCageEnding[108];
i32 BishopCage[108], BishopCageOpening[108], BishopCageEnding[108];
i32 KnightOutpost[64], KnightOutpostOpening[64], KnightOutpostEnding[64];
i32 KnightOutpostProtected[64], KnightOutpostProtectedOpening[64], KnightOutpostProtectedEnding[64];
i32 KnightOutpostExposed[64], KnightOutpostExposedOpening[64], KnightOutpostExposedEnding[64];
i32 BishopOutpost[64], BishopOutpostOpening[64], BishopOutpostEnding[64];
i32 BishopOutpostProtected[64], BishopOutpostProtectedOpening[64], BishopOutpostProtectedEnding[64];
i32 BishopOutpostExposed[64], BishopOutpostExposedOpening[64], BishopOutpostExposedEnding[64];
i32 BlockedPawnsAll[9], BlockedPawnsAllOpening[9], BlockedPawnsAllEnding[9];
i32 BlockedPawnsKnight[9], BlockedPawnsKnightOpening[9], BlockedPawnsKnightEnding[9];
i32 BadBishop[9], BadBishopOpening[9], BadBishopEnding[9];
i32 BadBishopBlocked[9], BadBishopBlockedOpening[9], BadBishopBlockedEnding[9];
// Bishop on pawn, rook, knight, queen; rook on pawn, knight, bishop, queen; queen on pawn, rook, knight,
// bishop: opening halves, then the ending halves in the same order.
i32 PinValue[8][8], PinValueOpening[8][8], PinValueEnding[8][8],
    PinValueSource[24] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
i32 ThreatBalance[9], ThreatBalanceOpening[9] = {-100, -50, -25, -10, 0, 10, 25, 50, 100},
                      ThreatBalanceEnding[9] = {-100, -50, -25, -10, 0, 10, 25, 50, 100};
i32 ThreatInitiative[9] = {4, 3, 2, 1, 0, 1, 2, 3, 4};
i32 PawnKingDistance[6][6][4], PawnKingRank[5] = {64, 64, 64, 64, 64},
                               PawnKingForce[9] = {64, 64, 64, 64, 64, 64, 64, 64, 64};

// Endgame knowledge.
i32 EndingScale[49] = {
    128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128,
    128, 128, 128, 128, 342, 258, 342, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128,
    128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128,
};
i32 KpkValue[6] = {800, 820, 840, 860, 880, 900};
i32 PawnRaceBase = 100, PawnRaceWin = 400, PawnRaceStep = 400, PawnRaceRank[6] = {0, 50, 100, 150, 200, 250};
i32 MatingNetBonus = 300, BishopKnightBase = 100, BishopKnightCorner = 20;
i32 KnightFewerForce = 25, KnightLoneForce = 25, KnightFewerHeavy = 3;
i32 LoneKnightKing[8] = {15, 15, 0, -10, -20, -30, -30, -30};
i32 RookVsMinors[9], RookVsMinorsSource[4] = {5, 10, 15, 20};
i32 PawnEndingKing, PawnEndingKingSource = 150;
i32 DuelHeight, DuelSlope;

// Passed pawns.
i32 PasserKingEnemy[24], PasserKingOwn[24], PasserKingRace[18];
i32 PasserCurveHeight = 50, PasserCurveStep = 50, PasserCurve[301];
i32 PasserClassOpening[8], PasserClassEnding[16];
i32 PasserRankOpening[8], PasserRankEnding[8];
i32 PasserFileOpening[4], PasserFileEnding[4];
i32 PasserForceOpening[13], PasserForceEnding[13];
i32 RookBehindPasserFree[64],
    RookBehindPasserFreeOpening[64] = {
        0,  0,  0,  0,  0,  0,  0,  0,  21, 21, 21, 21, 21, 21, 21, 21, 20, 20, 20, 20, 20, 20,
        20, 20, 19, 19, 19, 19, 19, 19, 19, 19, 17, 17, 17, 17, 17, 17, 17, 17, 15, 15, 15, 15,
        15, 15, 15, 15, 13, 13, 13, 13, 13, 13, 13, 13, 0,  0,  0,  0,  0,  0,  0,  0,
};
i32 RookBehindPasserFreeEnding[64];
i32 RookBehindPasserBlocked[64], RookBehindPasserBlockedOpening[64], RookBehindPasserBlockedEnding[64];
i32 EnemyRookBehindPasser[64],
    EnemyRookBehindPasserOpening[64] = {
        0,  0,  0,  0,  0,  0,  0,  0,  14, 14, 14, 14, 14, 14, 14, 14, 14, 14, 14, 14, 14, 14,
        14, 14, 14, 14, 14, 14, 14, 14, 14, 14, 13, 13, 13, 13, 13, 13, 13, 13, 12, 12, 12, 12,
        12, 12, 12, 12, 11, 11, 11, 11, 11, 11, 11, 11, 0,  0,  0,  0,  0,  0,  0,  0,
};
i32 EnemyRookBehindPasserEnding[64];
i32 PasserAlone[8], PasserAloneSource[8] = {0, 6, 12, 19, 150, 350, 600, 0};
i32 PassersNoPieces[5], PassersNoPiecesSource[5];
i32 PassersVsBishop[5], PassersVsBishopSource[5];
i32 PassersVsKnight[5], PassersVsKnightSource[5];
i32 RaceAheadOne[8], RaceAheadOneSource[8];
i32 RaceAheadTwo[8], RaceAheadTwoSource[8];
i32 RaceAlone[8], RaceAloneSource[8];
i32 RaceCheck[8], RaceCheckSource[8];
i32 RaceStops[8], RaceStopsSource[8];
i32 RaceSkewer[8], RaceSkewerSource[8];
i32 RaceSkewerA[8], RaceSkewerASource[8];
i32 RaceSkewerH[8], RaceSkewerHSource[8];
i32 RaceLoosePawns[9], RaceLoosePawnsSource[9] = {0, 2, 5, 6, 7, 8, 9, 10, 11};
i32 RaceLoosePawnsCheck[9], RaceLoosePawnsCheckSource[9] = {0, 15, 35, 40, 45, 50, 55, 60, 65};

// Files a to d of the printed piece-square tables, so that the mirrored build gives them back
// (but for g1 of the king's opening table, which isn't the mirror of b1). One line per file, ranks 1 to 8.
// clang-format off
i32 PstHalfOpening[8][32] = {
    {},
    { 10,   9,  -1,  -6,  -9, -20, -16, -15,  // king
      19,  11,   0,  -5, -10, -13, -24, -21,
      10,   9,  -7,  -7, -14, -23, -25, -42,
      -1,  -2, -10, -15, -12, -21, -48, -34},
    {-38, -23, -20, -10,  -5,  -4, -11, -76,  // knight
     -42, -35, -10,  -1,   3,   6, -10, -25,
     -30, -15,   1,  10,  15,  17,   0, -13,
     -25, -10,   6,   7,  20,  25,   7, -16},
    {-15, -15, -15, -15, -15, -15, -15, -15,  // pawn
      -5,  -5,  -5,  -5,  -5,  -5,  -5,  -5,
       0,   0,   0,   0,   0,   0,   0,   0,
       5,   5,  15,  25,  15,   5,   5,   5},
    {},
    { -6,  -6,  -6,  -6,  -6,  -6,  -6,  -6,  // rook
      -3,  -3,  -3,  -3,  -3,  -3,  -3,  -3,
       0,   0,   0,   0,   0,   0,   0,   0,
       3,   3,   3,   3,   3,   3,   3,   3},
    {-18,  -8,  -6,  -4,  -4,  -6,  -8,  -8,  // bishop
     -18,   0,  -2,   0,   0,  -2,   0,  -8,
     -16,  -2,   4,   2,   2,   4,  -2,  -6,
     -14,   0,   2,   8,   8,   2,   0,  -4},
    { -5,   0,   0,   0,   0,   0,   0,   0,  // queen
      -5,   0,   0,   0,   0,   0,   0,   0,
      -5,   0,   0,   0,   0,   0,   0,   0,
      -5,   0,   0,   0,   0,   0,   0,   0},
};
i32 PstHalfEnding[8][32] = {
    {},
    {-76, -48, -36, -24, -23, -38, -48, -72,  // king
     -48, -24, -12,  -1,   0, -12, -22, -48,
     -36, -14,   0,  12,  12,   0, -12, -42,
     -30,  -2,  12,  24,  24,  11,   0, -24},
    {-39, -27, -20, -16, -21, -20, -30, -40,  // knight
     -30, -20, -10,  -5,  -5, -10, -20, -30,
     -20, -10,   0,   5,   5,   0, -10, -20,
     -15,  -5,   5,  10,  10,   5,  -5, -15},
    {  0,  -3,  -3,  -1,   2,   6,   6,   0,  // pawn
       0,  -2,  -2,   0,   3,   7,   7,   0,
       0,  -1,  -1,   1,   4,   8,   8,   0,
       0,   0,   0,   2,   5,   9,   9,   0},
    {},
    {  0,   0,   0,   0,   0,   0,   0,   0,  // rook
       0,   0,   0,   0,   0,   0,   0,   0,
       0,   0,   0,   0,   0,   0,   0,   0,
       0,   0,   0,   0,   0,   0,   0,   0},
    {-18, -12,  -9,  -6,  -6,  -9, -12, -18,  // bishop
     -12,  -6,  -3,   0,   0,  -3,  -6, -12,
      -9,  -3,   0,   3,   3,   0,  -3,  -9,
      -6,   0,   3,   6,   6,   3,   0,  -6},
    {-24, -16, -12,  -8,  -8, -12, -16, -24,  // queen
     -16,  -8,  -4,   0,   0,  -4,  -8, -16,
     -12,  -4,   0,   4,   4,   0,  -4, -12,
      -8,   0,   4,   8,   8,   4,   0,  -8},
};
// clang-format on
