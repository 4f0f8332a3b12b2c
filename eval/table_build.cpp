#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "board/attacks.h"
#include "board/piece_square.h"
#include "eval/eval_tables.h"
#include "eval/material.h"
#include "eval/values.h"
#include "search/parameters.h"

namespace {

// Halves that only the build needs: the file holds them in a shorter form.
i32 PawnConnectedOpening[64], PawnConnectedEnding[64];
i32 RookVsMinorsHalf[9];

// Running number of the tested values, printed with each repair.
int RepairNumber;
bool Repaired;

void Repair(i32 &value, i32 low, i32 high) {
  const i32 fixed = std::clamp(value, low, high);
  if (fixed != value) {
    printf("fix [%d, %d to %d]; ", RepairNumber, value, fixed);
    value = fixed;
    Repaired = true;
  }
  RepairNumber++;
}

void Limit(i32 *values, int count, i32 low, i32 high) {
  for (int i = 0; i < count; i++) Repair(values[i], low, high);
}

void AtLeast(i32 *values, int count, i32 low) { Limit(values, count, low, INT32_MAX); }

// Files e to h copy files d to a.
void MirrorFourFiles(i32 *table) {
  for (int f = 0; f < 4; f++) table[7 - f] = table[f];
}

void MirrorEachRank(i32 *table) {
  for (int rank = 0; rank < 8; rank++) MirrorFourFiles(table + 8 * rank);
}

// The other way round: files d to a copy files e to h.
void MirrorEachRankFromRight(i32 *table) {
  for (int rank = 0; rank < 8; rank++)
    for (int f = 0; f < 4; f++) table[8 * rank + f] = table[8 * rank + 7 - f];
}

void Repairs() {
  RepairNumber = 0;
  Repaired = false;
  for (i32 *table : {RookOpenFileOpening, RookOpenFileEnding, RookHalfOpenFileOpening, RookHalfOpenFileEnding,
                     RookWeakFileOpening, RookWeakFileEnding, RookWeakPawnOpening, RookWeakPawnEnding})
    MirrorFourFiles(table);
  for (i32 *table : {PawnBreakthroughOpening,        PawnBreakthroughEnding,
                     KnightOutpostOpening,           KnightOutpostEnding,
                     KnightOutpostProtectedOpening,  KnightOutpostProtectedEnding,
                     KnightOutpostExposedOpening,    KnightOutpostExposedEnding,
                     BishopOutpostOpening,           BishopOutpostEnding,
                     BishopOutpostProtectedOpening,  BishopOutpostProtectedEnding,
                     BishopOutpostExposedOpening,    BishopOutpostExposedEnding,
                     RookBehindPasserFreeOpening,    RookBehindPasserFreeEnding,
                     RookBehindPasserBlockedOpening, RookBehindPasserBlockedEnding,
                     PawnCandidateOpening,           PawnCandidateEnding})
    MirrorEachRank(table);
  // These the file holds whole, and files e to h are the ones kept.
  for (i32 *table : {PawnIsolatedOpenEnding, PawnBackwardOpenEnding, PawnIsolatedOpenOpening, PawnBackwardOpenOpening,
                     PawnIsolatedOpening, PawnIsolatedEnding, PawnBackwardOpening, PawnBackwardEnding,
                     PawnDoubledOpening, PawnDoubledEnding})
    MirrorEachRankFromRight(table);

  AtLeast(&LostFianchetto, 1, 0);
  AtLeast(KingEFileOpen, 2, 0);
  AtLeast(KingEFileHalf, 2, 0);
  AtLeast(&FianchettoOpening, 1, 0);
  AtLeast(RookFileDanger, 3, 0);
  AtLeast(QueenDistanceDanger, 5, 0);
  AtLeast(QueenFileDanger, 3, 0);
  AtLeast(&EndingThreshold, 1, 0);
  AtLeast(&EndingThresholdNoQueen, 1, 0);
  AtLeast(&PawnContactDanger, 1, 0);
  Limit(KingDangerPattern, 384, INT32_MIN, 127);
  AtLeast(DevelopmentWeight, 6, 1);
  AtLeast(AttackWeight, 6, 1);
  AtLeast(QueenShelterWeight, 6, 1);
  Limit(DevelopmentTable, 64, 0, 5);
  Limit(DevelopmentPawnsOpening, 64, -200, 200);
  Limit(DevelopmentPawnsEnding, 64, -200, 200);
  // The values of a won K+P against K are fixed, whatever the file says.
  for (int i = 0; i < 6; i++) Repair(KpkValue[i], 800 + 20 * i, 800 + 20 * i);
  AtLeast(PasserRankOpening, 8, 0);
  AtLeast(PasserRankEnding, 8, 0);
  AtLeast(ShieldTable, 512, 0);
  AtLeast(&Storm[0][0], 12, 0);
  AtLeast(DangerScale, 128, 0);
  AtLeast(Shelter, 64, 0);
  AtLeast(KingShelterBaseSource, 32, 0);
  AtLeast(ShelterScale, 64, 1);
  if (Repaired) printf("\n");
}

// Piece codes of the pinning and the pinned piece, in the order of PinValueSource's halves.
constexpr int PIN_PAIRS[12][2] = {{BISHOP, PAWN}, {BISHOP, ROOK}, {BISHOP, KNIGHT}, {BISHOP, QUEEN},
                                  {ROOK, PAWN},   {ROOK, KNIGHT}, {ROOK, BISHOP},   {ROOK, QUEEN},
                                  {QUEEN, PAWN},  {QUEEN, ROOK},  {QUEEN, KNIGHT},  {QUEEN, BISHOP}};

void Expansions() {
  for (int i = 0; i < 9; i++) {
    MinorVsPawns[i] = MinorVsPawnsSource[std::min(i, 4)];
    RookVsMinorsHalf[i] = i == 0 ? 0 : RookVsMinorsSource[std::min(i, 4) - 1];
    BishopPair[i] = i < 5 ? BishopPairSource[0] : BishopPairSource[i - 4];
  }
  for (int i = 14; i < 17; i++) RookPawns[i] = RookPawns[13];

  std::memset(PawnConnectedOpening, 0, sizeof PawnConnectedOpening);
  std::memset(PawnConnectedEnding, 0, sizeof PawnConnectedEnding);
  for (int f = 0; f < 4; f++)
    for (int k = 0; k < 5; k++) {
      const int rank = 5 - k;
      PawnConnectedOpening[8 * rank + f] = PawnConnectedOpening[8 * rank + 7 - f] =
          PawnConnectedSourceOpening[5 * f + k];
      PawnConnectedEnding[8 * rank + f] = PawnConnectedEnding[8 * rank + 7 - f] = PawnConnectedSourceEnding[5 * f + k];
    }
  for (int f = 0; f < 4; f++)
    for (int rank = 0; rank < 8; rank++)
      KingShelterBase[8 * rank + f] = KingShelterBase[8 * rank + 7 - f] = KingShelterBaseSource[8 * f + rank];

  // Only the first entries come from the file.
  std::fill(RookFileDanger + 3, RookFileDanger + 8, 0);
  std::fill(QueenDistanceDanger + 5, QueenDistanceDanger + 8, 0);
  std::fill(QueenFileDanger + 3, QueenFileDanger + 8, 0);

  std::memset(PinValueOpening, 0, sizeof PinValueOpening);
  std::memset(PinValueEnding, 0, sizeof PinValueEnding);
  for (int i = 0; i < 12; i++) {
    PinValueOpening[PIN_PAIRS[i][0]][PIN_PAIRS[i][1]] = PinValueSource[i];
    PinValueEnding[PIN_PAIRS[i][0]][PIN_PAIRS[i][1]] = PinValueSource[12 + i];
  }

  // Half tables by file, rank from the own back rank; the sources are printed with the own back rank last.
  for (int code : {KNIGHT, KING, BISHOP, ROOK, QUEEN, PAWN})
    for (int f = 0; f < 4; f++)
      for (int k = 0; k < 8; k++) {
        const int row = 8 * (7 - k);
        PstSourceOpening[code][row + f] = PstSourceOpening[code][row + 7 - f] =
            i16(u16(PstHalfOpening[code][8 * f + k]));
        PstSourceEnding[code][row + f] = PstSourceEnding[code][row + 7 - f] = i16(u16(PstHalfEnding[code][8 * f + k]));
      }
}

// T(A, x) = A / (1 + exp(x / 1000)) - A / 2, rounded half away from zero. The exponent is capped where
// exp would leave the doubles; the result stays within half of A either way.
i32 Logistic(i32 height, double x) {
  const double e = std::exp(std::clamp(x / 1000, -700.0, 700.0));
  return i32(std::round(height / (1 + e) - height / 2.0));
}

void Curves() {
  for (int i = 0; i <= 300; i++) PasserCurve[i] = Logistic(PasserCurveHeight, (150.0 - i) * PasserCurveStep);
  for (int i = 0; i < 64; i++)
    AttackCountScale[i] = Logistic(AttackCountHeight, (double(AttackCountCentre) - i) * AttackCountStep);
  for (int i = 0; i < 512; i++) {
    AttackerForceScale[i] = Logistic(AttackerForceHeight, (double(AttackerForceCentre) - i) * AttackerForceStep);
    DefenderForceScale[i] = Logistic(DefenderForceHeight, (double(DefenderForceCentre) - i) * DefenderForceStep);
  }
  for (int i = 0; i <= 2000; i++) AttackBlend[i] = 256 + Logistic(AttackBlendHeight, (1000.0 - i) * AttackBlendStep);
}

// A plain 32-bit sum, done unsigned so that no value of the file can overflow it.
i32 Pack(i32 opening, i32 ending) { return i32(u32(opening) * 65536u + u32(ending)); }

struct PackedTable {
  i32 *packed;
  const i32 *opening;
  const i32 *ending;
  int count;
};

void Packing() {
  const PackedTable tables[] = {
      {PawnConnected, PawnConnectedOpening, PawnConnectedEnding, 64},
      {PawnBreakthrough, PawnBreakthroughOpening, PawnBreakthroughEnding, 64},
      {PawnCandidate, PawnCandidateOpening, PawnCandidateEnding, 64},
      {PawnDoubled, PawnDoubledOpening, PawnDoubledEnding, 64},
      {PawnIsolated, PawnIsolatedOpening, PawnIsolatedEnding, 64},
      {PawnIsolatedOpen, PawnIsolatedOpenOpening, PawnIsolatedOpenEnding, 64},
      {PawnBackward, PawnBackwardOpening, PawnBackwardEnding, 64},
      {PawnBackwardOpen, PawnBackwardOpenOpening, PawnBackwardOpenEnding, 64},
      {PawnSpan, PawnSpanOpening, PawnSpanEnding, 9},
      {PassedSpan, PassedSpanOpening, PassedSpanEnding, 9},
      {&WingPst[0][0][0], &WingPstOpening[0][0][0], &WingPstEnding[0][0][0], 1280},
      {RookOpenFile, RookOpenFileOpening, RookOpenFileEnding, 8},
      {RookHalfOpenFile, RookHalfOpenFileOpening, RookHalfOpenFileEnding, 8},
      {RookWeakFile, RookWeakFileOpening, RookWeakFileEnding, 8},
      {RookWeakPawn, RookWeakPawnOpening, RookWeakPawnEnding, 8},
      {&RookSeventh, &RookSeventhOpening, &RookSeventhEnding, 1},
      {&RookDoubledSeventh, &RookDoubledSeventhOpening, &RookDoubledSeventhEnding, 1},
      {&RookSeventhPassed, &RookSeventhPassedOpening, &RookSeventhPassedEnding, 1},
      {&RookBackRank, &RookBackRankOpening, &RookBackRankEnding, 1},
      {&BackRankNoLuft, &BackRankNoLuftOpening, &BackRankNoLuftEnding, 1},
      {&TrappedRook, &TrappedRookOpening, &TrappedRookEnding, 1},
      {&QueenBackRank, &QueenBackRankOpening, &QueenBackRankEnding, 1},
      {&QueenSeventh, &QueenSeventhOpening, &QueenSeventhEnding, 1},
      {&BishopVersusKnight, &BishopVersusKnightOpening, &BishopVersusKnightEnding, 1},
      {&Fianchetto, &FianchettoOpening, &FianchettoEnding, 1},
      {KnightMobility, KnightMobilityOpening, KnightMobilityEnding, 9},
      {KnightSafeMobility, KnightSafeMobilityOpening, KnightSafeMobilityEnding, 9},
      {BishopMobility, BishopMobilityOpening, BishopMobilityEnding, 15},
      {BishopSafeMobility, BishopSafeMobilityOpening, BishopSafeMobilityEnding, 15},
      {RookMobility, RookMobilityOpening, RookMobilityEnding, 15},
      {RookReachMobility, RookReachMobilityOpening, RookReachMobilityEnding, 15},
      {QueenMobility, QueenMobilityOpening, QueenMobilityEnding, 29},
      {QueenSafeMobility, QueenSafeMobilityOpening, QueenSafeMobilityEnding, 29},
      {KnightCage, KnightCageOpening, KnightCageEnding, 108},
      {BishopCage, BishopCageOpening, BishopCageEnding, 108},
      {KnightOutpost, KnightOutpostOpening, KnightOutpostEnding, 64},
      {KnightOutpostProtected, KnightOutpostProtectedOpening, KnightOutpostProtectedEnding, 64},
      {KnightOutpostExposed, KnightOutpostExposedOpening, KnightOutpostExposedEnding, 64},
      {BishopOutpost, BishopOutpostOpening, BishopOutpostEnding, 64},
      {BishopOutpostProtected, BishopOutpostProtectedOpening, BishopOutpostProtectedEnding, 64},
      {BishopOutpostExposed, BishopOutpostExposedOpening, BishopOutpostExposedEnding, 64},
      {BlockedPawnsAll, BlockedPawnsAllOpening, BlockedPawnsAllEnding, 9},
      {BlockedPawnsKnight, BlockedPawnsKnightOpening, BlockedPawnsKnightEnding, 9},
      {BadBishop, BadBishopOpening, BadBishopEnding, 9},
      {BadBishopBlocked, BadBishopBlockedOpening, BadBishopBlockedEnding, 9},
      {&PinValue[0][0], &PinValueOpening[0][0], &PinValueEnding[0][0], 64},
      {ThreatBalance, ThreatBalanceOpening, ThreatBalanceEnding, 9},
      {RookBehindPasserFree, RookBehindPasserFreeOpening, RookBehindPasserFreeEnding, 64},
      {RookBehindPasserBlocked, RookBehindPasserBlockedOpening, RookBehindPasserBlockedEnding, 64},
      {EnemyRookBehindPasser, EnemyRookBehindPasserOpening, EnemyRookBehindPasserEnding, 64},
      // One source for both halves.
      {RookVsMinors, RookVsMinorsHalf, RookVsMinorsHalf, 9},
      {&PawnEndingKing, &PawnEndingKingSource, &PawnEndingKingSource, 1},
      {PasserAlone, PasserAloneSource, PasserAloneSource, 8},
      {PassersNoPieces, PassersNoPiecesSource, PassersNoPiecesSource, 5},
      {PassersVsBishop, PassersVsBishopSource, PassersVsBishopSource, 5},
      {PassersVsKnight, PassersVsKnightSource, PassersVsKnightSource, 5},
      {RaceAheadOne, RaceAheadOneSource, RaceAheadOneSource, 8},
      {RaceAheadTwo, RaceAheadTwoSource, RaceAheadTwoSource, 8},
      {RaceAlone, RaceAloneSource, RaceAloneSource, 8},
      {RaceCheck, RaceCheckSource, RaceCheckSource, 8},
      {RaceStops, RaceStopsSource, RaceStopsSource, 8},
      {RaceSkewer, RaceSkewerSource, RaceSkewerSource, 8},
      {RaceSkewerA, RaceSkewerASource, RaceSkewerASource, 8},
      {RaceSkewerH, RaceSkewerHSource, RaceSkewerHSource, 8},
      {RaceLoosePawns, RaceLoosePawnsSource, RaceLoosePawnsSource, 9},
      {RaceLoosePawnsCheck, RaceLoosePawnsCheckSource, RaceLoosePawnsCheckSource, 9},
  };
  for (const PackedTable &t : tables)
    for (int i = 0; i < t.count; i++) t.packed[i] = Pack(t.opening[i], t.ending[i]);
  for (int i = 0; i < 3; i++) {
    KingDFileOpen[i] = i32(u32(KingEFileOpen[i]) + u32(KingDFileDelta[i]));
    KingDFileHalf[i] = i32(u32(KingEFileHalf[i]) + u32(KingDFileDelta[i + 3]));
  }
}

// HistoryClass of the codes king, knight, pawn, rook, bishop, queen.
constexpr int PRUNE_CODES[6] = {KING, KNIGHT, PAWN, ROOK, BISHOP, QUEEN};
constexpr int PRUNE_CLASSES[6] = {0, 0, 1, 2, 1, 3};

// Permille, in 128 bits so that no pair of counts can overflow. Readers index tables by the rate,
// so a rate from negative counts is kept at 0.
i32 Rate(i64 successes, i64 trials) {
  if (trials == 0) return 0;
  const __int128 rate = __int128(successes) * 1000 / trials;
  return i32(std::clamp<__int128>(rate, 0, INT32_MAX));
}

// trunc(base / 10 + (slope / 100) * i ^ (power / 10)), kept inside i32 for any parameters.
i32 LateMoveCount(i32 base, i32 slope, i32 power, int i) {
  const double value = base / 10.0 + slope / 100.0 * std::pow(double(i), power / 10.0);
  if (std::isnan(value)) return 0;
  return i32(std::trunc(std::clamp(value, double(INT32_MIN), double(INT32_MAX))));
}

}  // namespace

void BuildPruneStats() {
  std::memset(PruneStats, 0, sizeof PruneStats);
  for (int ending = 0; ending < 2; ending++)
    for (int c = 0; c < 6; c++)
      for (int from = 0; from < 64; from++)
        for (int to = 0; to < 64; to++)
          for (int side = 0; side < 2; side++) {
            const int mirror = side == WHITE ? 0 : 56;
            const i64 *counts = PruneCounts[ending][PRUNE_CODES[c]][from ^ mirror][to ^ mirror];
            i32 &rate = PruneStats[ending][PRUNE_CLASSES[c]][from + 64 * to][side];
            // In a class the first code with a rate wins.
            if (!rate) rate = Rate(counts[0], counts[1]);
          }
}

void BuildEvaluationTables() {
  Repairs();
  Expansions();
  BuildMaterialTable();
  Curves();
  Packing();
}

void BuildTablesExceptMaterial() {
  Repairs();
  Expansions();
  Curves();
  Packing();
}

void BuildLateMoveCounts() {
  const i32 *p = LateMoveParameters;
  for (int i = 0; i < 32; i++) {
    LateMoveCounts[0][i] = LateMoveCount(p[0], p[2], p[4], i);
    LateMoveCounts[1][i] = LateMoveCount(p[1], p[3], p[5], i);
  }
}
