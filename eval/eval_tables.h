// Every weight of the evaluation. Parameters carry their compiled-in defaults (0 where there is none);
// "values.txt" overwrites them, and the table build derives the rest. A packed table holds
// (opening << 16) + ending in one word; its halves are the tables named ...Opening and ...Ending.
#pragma once
#include "board/types.h"

// Driver.
extern i32 EndingThreshold, EndingThresholdNoQueen;
extern i32 PstScale[4][4];
extern i32 TempoByPhase[8];
extern i32 InitiativeWeight;
extern i32 QueenCheckBonus[7];
extern i32 OppositeBishopMaterial[4][3][3], OppositeBishopPosition[4][3][3];

// Material.
extern i32 ForceOpening[5], ForceEnding[5];
extern i32 PieceDeltaCommon[8], PieceDeltaOpening[8], PieceDeltaEnding[8];
extern i32 MinorDeltaCommon, MinorDeltaOpening, MinorDeltaEnding;
extern i32 RookDeltaCommon, RookDeltaOpening, RookDeltaEnding;
extern i32 PawnBlendOpening[4], PawnBlendEnding[4];
extern i32 ExtraPieceBase, TwoMinorsBase, RookMinorsBase, RookForMinorBase, QueenForRookMinorBase, QueenForRooksBase;
extern i32 ExtraPieceEnding, TwoMinorsEnding, RookMinorsEnding, RookForMinorEnding, QueenForRookMinorEnding,
    QueenForRooksEnding;
extern i32 QueenKnightBonus, RookBishopBonus;
extern i32 MinorVsPawns[9], MinorVsPawnsSource[5];
extern i32 BishopPair[9], BishopPairSource[5];
extern i32 RookPawns[17];
extern i32 WinScale[16];
extern i32 MaterialPawnTable[114][6][2];
extern i32 KingPlacement[3][4][4][4];
extern i32 RookEndingTable[39][39];
// Scratch of the material build: allocated while the tables load, null otherwise.
constexpr int IMBALANCE_ENTRIES = 2916;
constexpr int IMBALANCE_PAWN_ENTRIES = 236196;
extern i32 *ImbalanceTable;
extern i32 *ImbalancePawnTable;

// Pawn structure, by the square of a black pawn.
extern i32 PawnConnected[64], PawnConnectedSourceOpening[20], PawnConnectedSourceEnding[20];
extern i32 PawnBreakthrough[64], PawnBreakthroughOpening[64], PawnBreakthroughEnding[64];
extern i32 PawnCandidate[64], PawnCandidateOpening[64], PawnCandidateEnding[64];
extern i32 PawnDoubled[64], PawnDoubledOpening[64], PawnDoubledEnding[64];
extern i32 PawnIsolated[64], PawnIsolatedOpening[64], PawnIsolatedEnding[64];
extern i32 PawnIsolatedOpen[64], PawnIsolatedOpenOpening[64], PawnIsolatedOpenEnding[64];
extern i32 PawnBackward[64], PawnBackwardOpening[64], PawnBackwardEnding[64];
extern i32 PawnBackwardOpen[64], PawnBackwardOpenOpening[64], PawnBackwardOpenEnding[64];
extern i32 PawnSpan[9], PawnSpanOpening[9], PawnSpanEnding[9];
extern i32 PassedSpan[9], PassedSpanOpening[9], PassedSpanEnding[9];
// By piece kind (knight, rook, bishop, queen, pawn), wing and square.
extern i32 WingPst[5][4][64], WingPstOpening[5][4][64], WingPstEnding[5][4][64];
extern i32 ShieldTable[512];
extern i32 Storm[3][4];

// King safety.
extern i32 SafeCheckRook, SafeCheckBishop, SafeCheckKnight, SafeCheckQueen;
extern i32 AttackerRook, AttackerBishop, AttackerKnight, AttackerQueen;
extern i32 RookFileDanger[8], QueenDistanceDanger[8], QueenFileDanger[8];
extern i32 PawnContactDanger, PawnContactAttacker, KingContactDanger, KingContactAttacker;
extern i32 AttackQueenFactor, AttackNoQueenFactor;
extern i32 AttackWeight[6];
extern i32 DangerScale[128];
extern i32 ShelterScale[64];
extern i32 AttackCountHeight, AttackCountStep, AttackCountCentre;
extern i32 AttackerForceHeight, AttackerForceStep, AttackerForceCentre;
extern i32 DefenderForceHeight, DefenderForceStep, DefenderForceCentre;
extern i32 AttackBlendHeight, AttackBlendStep;
extern i32 AttackCountScale[64], AttackerForceScale[512], DefenderForceScale[512], AttackBlend[2001];
extern i32 QueenShelterOpening[16], QueenShelterEnding[16], QueenShelterWeight[6];
extern i32 DevelopmentTable[64], DevelopmentWeight[6];
extern i32 DevelopmentPawnsOpening[64], DevelopmentPawnsEnding[64];
extern i32 BlockedCentreOpening[3], BlockedCentreEnding[3];
extern i32 KingShelterBase[64], KingShelterBaseSource[32];
extern i32 Shelter[64];
extern i32 AttackerForce[2][3][5];
extern i32 LostFianchetto;
extern i32 CastleQueenOff, CastleBase, CastleAdd, CastleWeightFiles, CastleWeightShield;
extern i32 CastleOpen[3], CastleHalfOpen[3];
extern i32 KingEFileOpen[3], KingEFileHalf[3], KingDFileDelta[6];
extern i32 KingDFileOpen[3], KingDFileHalf[3];

// Piece terms.
extern i32 RookOpenFile[8], RookOpenFileOpening[8], RookOpenFileEnding[8];
extern i32 RookHalfOpenFile[8], RookHalfOpenFileOpening[8], RookHalfOpenFileEnding[8];
extern i32 RookWeakFile[8], RookWeakFileOpening[8], RookWeakFileEnding[8];
extern i32 RookWeakPawn[8], RookWeakPawnOpening[8], RookWeakPawnEnding[8];
extern i32 RookSeventh, RookSeventhOpening, RookSeventhEnding;
extern i32 RookDoubledSeventh, RookDoubledSeventhOpening, RookDoubledSeventhEnding;
extern i32 RookSeventhPassed, RookSeventhPassedOpening, RookSeventhPassedEnding;
extern i32 RookBackRank, RookBackRankOpening, RookBackRankEnding;
extern i32 BackRankNoLuft, BackRankNoLuftOpening, BackRankNoLuftEnding;
extern i32 TrappedRook, TrappedRookOpening, TrappedRookEnding;
extern i32 QueenBackRank, QueenBackRankOpening, QueenBackRankEnding;
extern i32 QueenSeventh, QueenSeventhOpening, QueenSeventhEnding;
extern i32 BishopVersusKnight, BishopVersusKnightOpening, BishopVersusKnightEnding;
extern i32 Fianchetto, FianchettoOpening, FianchettoEnding;
extern i32 KnightMobility[9], KnightMobilityOpening[9], KnightMobilityEnding[9];
extern i32 KnightSafeMobility[9], KnightSafeMobilityOpening[9], KnightSafeMobilityEnding[9];
extern i32 BishopMobility[15], BishopMobilityOpening[15], BishopMobilityEnding[15];
extern i32 BishopSafeMobility[15], BishopSafeMobilityOpening[15], BishopSafeMobilityEnding[15];
extern i32 RookMobility[15], RookMobilityOpening[15], RookMobilityEnding[15];
extern i32 RookReachMobility[15], RookReachMobilityOpening[15], RookReachMobilityEnding[15];
extern i32 QueenMobility[29], QueenMobilityOpening[29], QueenMobilityEnding[29];
extern i32 QueenSafeMobility[29], QueenSafeMobilityOpening[29], QueenSafeMobilityEnding[29];
extern i32 KnightCage[108], KnightCageOpening[108], KnightCageEnding[108];
extern i32 BishopCage[108], BishopCageOpening[108], BishopCageEnding[108];
extern i32 KnightOutpost[64], KnightOutpostOpening[64], KnightOutpostEnding[64];
extern i32 KnightOutpostProtected[64], KnightOutpostProtectedOpening[64], KnightOutpostProtectedEnding[64];
extern i32 KnightOutpostExposed[64], KnightOutpostExposedOpening[64], KnightOutpostExposedEnding[64];
extern i32 BishopOutpost[64], BishopOutpostOpening[64], BishopOutpostEnding[64];
extern i32 BishopOutpostProtected[64], BishopOutpostProtectedOpening[64], BishopOutpostProtectedEnding[64];
extern i32 BishopOutpostExposed[64], BishopOutpostExposedOpening[64], BishopOutpostExposedEnding[64];
extern i32 BlockedPawnsAll[9], BlockedPawnsAllOpening[9], BlockedPawnsAllEnding[9];
extern i32 BlockedPawnsKnight[9], BlockedPawnsKnightOpening[9], BlockedPawnsKnightEnding[9];
extern i32 BadBishop[9], BadBishopOpening[9], BadBishopEnding[9];
extern i32 BadBishopBlocked[9], BadBishopBlockedOpening[9], BadBishopBlockedEnding[9];
// By code of the pinning piece, code of the pinned piece.
extern i32 PinValue[8][8], PinValueOpening[8][8], PinValueEnding[8][8], PinValueSource[24];
extern i32 ThreatBalance[9], ThreatBalanceOpening[9], ThreatBalanceEnding[9];
extern i32 ThreatInitiative[9];
extern i32 PawnKingDistance[6][6][4], PawnKingRank[5], PawnKingForce[9];

// Endgame knowledge.
extern i32 EndingScale[49];
extern i32 KpkValue[6];
extern i32 PawnRaceBase, PawnRaceWin, PawnRaceStep, PawnRaceRank[6];
extern i32 MatingNetBonus, BishopKnightBase, BishopKnightCorner;
extern i32 KnightFewerForce, KnightLoneForce, KnightFewerHeavy;
extern i32 LoneKnightKing[8];
extern i32 RookVsMinors[9], RookVsMinorsSource[4];
extern i32 PawnEndingKing, PawnEndingKingSource;
extern i32 DuelHeight, DuelSlope;

// Passed pawns.
extern i32 PasserKingEnemy[24], PasserKingOwn[24], PasserKingRace[18];
extern i32 PasserCurveHeight, PasserCurveStep, PasserCurve[301];
extern i32 PasserClassOpening[8], PasserClassEnding[16];
extern i32 PasserRankOpening[8], PasserRankEnding[8];
extern i32 PasserFileOpening[4], PasserFileEnding[4];
extern i32 PasserForceOpening[13], PasserForceEnding[13];
extern i32 RookBehindPasserFree[64], RookBehindPasserFreeOpening[64], RookBehindPasserFreeEnding[64];
extern i32 RookBehindPasserBlocked[64], RookBehindPasserBlockedOpening[64], RookBehindPasserBlockedEnding[64];
extern i32 EnemyRookBehindPasser[64], EnemyRookBehindPasserOpening[64], EnemyRookBehindPasserEnding[64];
// Tables with one source: the same number in both halves.
extern i32 PasserAlone[8], PasserAloneSource[8];
extern i32 PassersNoPieces[5], PassersNoPiecesSource[5];
extern i32 PassersVsBishop[5], PassersVsBishopSource[5];
extern i32 PassersVsKnight[5], PassersVsKnightSource[5];
extern i32 RaceAheadOne[8], RaceAheadOneSource[8];
extern i32 RaceAheadTwo[8], RaceAheadTwoSource[8];
extern i32 RaceAlone[8], RaceAloneSource[8];
extern i32 RaceCheck[8], RaceCheckSource[8];
extern i32 RaceStops[8], RaceStopsSource[8];
extern i32 RaceSkewer[8], RaceSkewerSource[8];
extern i32 RaceSkewerA[8], RaceSkewerASource[8];
extern i32 RaceSkewerH[8], RaceSkewerHSource[8];
extern i32 RaceLoosePawns[9], RaceLoosePawnsSource[9];
extern i32 RaceLoosePawnsCheck[9], RaceLoosePawnsCheckSource[9];

// The file's half tables of the piece-square sources, by piece code: index 8 * file + rank, files a to d,
// rank counted from the piece's own back rank. The build mirrors them into PstSourceOpening/Ending.
extern i32 PstHalfOpening[8][32], PstHalfEnding[8][32];
