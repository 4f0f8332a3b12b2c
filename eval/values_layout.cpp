#include "eval/values_layout.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "board/attacks.h"
#include "eval/eval_tables.h"
#include "eval/values.h"
#include "search/parameters.h"

namespace {

constexpr IndexDim Num(int size, const char *label = nullptr) { return {size, IndexStyle::Number, label}; }
constexpr IndexDim Sq(int size = 64, const char *label = nullptr) { return {size, IndexStyle::Square, label}; }
constexpr IndexDim FileDim() { return {8, IndexStyle::File, nullptr}; }

constexpr ValuesEntry Make(int item, int count, Layout layout, int offset, std::initializer_list<const char *> names,
                           std::initializer_list<i32 *> tables, std::initializer_list<IndexDim> dims) {
  ValuesEntry e{item, count, layout, offset, {}, {}, {}};
  int i = 0;
  for (const char *name : names) e.names[i++] = name;
  i = 0;
  for (i32 *table : tables) e.tables[i++] = table;
  i = 0;
  for (IndexDim dim : dims) e.dims[i++] = dim;
  return e;
}

constexpr ValuesEntry One(int item, const char *name, i32 &value) {
  return Make(item, 1, Layout::Plain, 0, {name}, {&value}, {});
}

template <int N>
constexpr ValuesEntry Row(int item, const char *name, i32 (&table)[N]) {
  return Make(item, N, Layout::Plain, 0, {name}, {table}, {Num(N)});
}

// Entries offset to offset + count - 1 of a one-dimensional table.
template <int N>
constexpr ValuesEntry Part(int item, const char *name, i32 (&table)[N], int offset, int count) {
  return Make(item, count, Layout::Plain, offset, {name}, {table}, {Num(N)});
}

// A table of 64 squares in square order.
constexpr ValuesEntry Squares(int item, const char *name, i32 (&table)[64]) {
  return Make(item, 64, Layout::Plain, 0, {name}, {table}, {Sq()});
}

// Four files of a table by square that the build mirrors to the other four.
constexpr ValuesEntry FourFiles(int item, const char *name, i32 (&table)[8]) {
  return Make(item, 4, Layout::Plain, 0, {name}, {table}, {FileDim()});
}

constexpr ValuesEntry HalfRows(int item, const char *name, i32 (&table)[64]) {
  return Make(item, 32, Layout::HalfRows, 0, {name}, {table}, {Sq()});
}

// Any shape: `count` numbers from `first + offset`, named by `dims`.
constexpr ValuesEntry Table(int item, const char *name, i32 *first, int offset, int count,
                            std::initializer_list<IndexDim> dims) {
  return Make(item, count, Layout::Plain, offset, {name}, {first}, dims);
}

// Pairs or triples taken in turn from tables of one shape.
constexpr ValuesEntry Together(int item, int count, std::initializer_list<const char *> names,
                               std::initializer_list<i32 *> tables, std::initializer_list<IndexDim> dims) {
  return Make(item, count, Layout::Interleaved, 0, names, tables, dims);
}

constexpr ValuesEntry Skip(int item, int count) { return Make(item, count, Layout::Ignored, 0, {}, {}, {}); }

// One of the twelve piece-square half tables.
constexpr ValuesEntry PstHalf(const char *name, i32 (&table)[8][32], int code) {
  return Table(47, name, &table[0][0], 32 * code, 32,
               {{8, IndexStyle::Piece, nullptr}, {32, IndexStyle::FileRank, nullptr}});
}

constexpr IndexDim QueenCounts(const char *label) { return Num(2, label); }
constexpr IndexDim PieceCounts(const char *label) { return Num(3, label); }

}  // namespace

constinit const ValuesEntry ValuesLayout[] = {
    Row(1, "PawnBlendOpening", PawnBlendOpening),
    Row(1, "PawnBlendEnding", PawnBlendEnding),
    One(2, "ExtraPieceBase", ExtraPieceBase),
    One(2, "TwoMinorsBase", TwoMinorsBase),
    One(2, "RookMinorsBase", RookMinorsBase),
    One(2, "RookForMinorBase", RookForMinorBase),
    One(2, "QueenForRookMinorBase", QueenForRookMinorBase),
    One(2, "QueenForRooksBase", QueenForRooksBase),
    One(2, "ExtraPieceEnding", ExtraPieceEnding),
    One(2, "TwoMinorsEnding", TwoMinorsEnding),
    One(2, "RookMinorsEnding", RookMinorsEnding),
    One(2, "RookForMinorEnding", RookForMinorEnding),
    One(2, "QueenForRookMinorEnding", QueenForRookMinorEnding),
    One(2, "QueenForRooksEnding", QueenForRooksEnding),
    Part(3, "PieceDeltaOpening", PieceDeltaOpening, PAWN, 1),
    Part(3, "PieceDeltaEnding", PieceDeltaEnding, PAWN, 1),
    Part(3, "PieceDeltaOpening", PieceDeltaOpening, ROOK, 1),
    Part(3, "PieceDeltaEnding", PieceDeltaEnding, ROOK, 1),
    Part(3, "PieceDeltaOpening", PieceDeltaOpening, KNIGHT, 1),
    Part(3, "PieceDeltaEnding", PieceDeltaEnding, KNIGHT, 1),
    Part(3, "PieceDeltaOpening", PieceDeltaOpening, BISHOP, 1),
    Part(3, "PieceDeltaEnding", PieceDeltaEnding, BISHOP, 1),
    Part(3, "PieceDeltaOpening", PieceDeltaOpening, QUEEN, 1),
    Part(3, "PieceDeltaEnding", PieceDeltaEnding, QUEEN, 1),
    Make(4, IMBALANCE_ENTRIES, Layout::Imbalance, 0, {"ImbalanceTable"}, {},
         {QueenCounts("wq"), QueenCounts("bq"), PieceCounts("wr"), PieceCounts("br"), PieceCounts("wb"),
          PieceCounts("bb"), PieceCounts("wn"), PieceCounts("bn")}),
    Skip(5, 2),
    One(6, "LostFianchetto", LostFianchetto),
    Part(6, "KingEFileOpen", KingEFileOpen, 0, 2),
    One(6, "CastleQueenOff", CastleQueenOff),
    One(7, "BishopVersusKnightOpening", BishopVersusKnightOpening),
    One(7, "FianchettoOpening", FianchettoOpening),
    One(7, "PawnEndingKingSource", PawnEndingKingSource),
    Skip(8, 1),
    One(9, "RookBackRankOpening", RookBackRankOpening),
    One(9, "QueenBackRankOpening", QueenBackRankOpening),
    One(9, "RookSeventhOpening", RookSeventhOpening),
    One(9, "RookSeventhPassedOpening", RookSeventhPassedOpening),
    One(9, "QueenSeventhOpening", QueenSeventhOpening),
    One(9, "BackRankNoLuftOpening", BackRankNoLuftOpening),
    Skip(10, 1),
    One(11, "RookDoubledSeventhOpening", RookDoubledSeventhOpening),
    One(11, "MatingNetBonus", MatingNetBonus),
    One(11, "BishopKnightCorner", BishopKnightCorner),
    One(11, "BishopKnightBase", BishopKnightBase),
    Skip(12, 11),
    One(13, "TrappedRookOpening", TrappedRookOpening),
    Skip(14, 4),
    One(15, "KnightFewerForce", KnightFewerForce),
    One(15, "KnightLoneForce", KnightLoneForce),
    One(15, "KnightFewerHeavy", KnightFewerHeavy),
    Skip(16, 2),
    One(17, "QueenKnightBonus", QueenKnightBonus),
    One(17, "RookBishopBonus", RookBishopBonus),
    Row(18, "QueenShelterOpening", QueenShelterOpening),
    Skip(19, 17),
    Part(20, "RookFileDanger", RookFileDanger, 0, 3),
    Part(20, "QueenDistanceDanger", QueenDistanceDanger, 0, 5),
    Part(20, "QueenFileDanger", QueenFileDanger, 0, 3),
    Skip(21, 7),
    Row(22, "BishopPairSource", BishopPairSource),
    Row(23, "PinValueSource", PinValueSource),
    Skip(24, 4),
    Part(25, "EndingScale", EndingScale, 0, 1),
    Skip(26, 1),
    Part(27, "EndingScale", EndingScale, 1, 48),
    One(28, "EndingThreshold", EndingThreshold),
    One(28, "EndingThresholdNoQueen", EndingThresholdNoQueen),
    Row(29, "MinorVsPawnsSource", MinorVsPawnsSource),
    Row(30, "RookVsMinorsSource", RookVsMinorsSource),
    Part(31, "RookPawns", RookPawns, 0, 14),
    Skip(32, 29),
    One(33, "SafeCheckBishop", SafeCheckBishop),
    Skip(34, 31),
    One(35, "SafeCheckQueen", SafeCheckQueen),
    Skip(36, 31),
    One(37, "SafeCheckKnight", SafeCheckKnight),
    Skip(38, 47),
    Row(39, "ShieldTable", ShieldTable),
    Table(40, "Storm", &Storm[0][0], 0, 12, {Num(3), Num(4)}),
    One(41, "PawnContactDanger", PawnContactDanger),
    Row(42, "RaceLoosePawnsSource", RaceLoosePawnsSource),
    Row(42, "RaceLoosePawnsCheckSource", RaceLoosePawnsCheckSource),
    Table(43, "PawnConnectedSourceOpening", PawnConnectedSourceOpening, 0, 20,
          {{20, IndexStyle::ConnectedRank, nullptr}}),
    Skip(44, 320),
    Row(45, "PasserAloneSource", PasserAloneSource),
    Table(46, "KingShelterBaseSource", KingShelterBaseSource, 0, 32, {{32, IndexStyle::FileRank, nullptr}}),
    // The piece-square half tables, knight, king, bishop, rook, queen, pawn, each opening then ending.
    PstHalf("PstHalfOpening", PstHalfOpening, KNIGHT),
    PstHalf("PstHalfEnding", PstHalfEnding, KNIGHT),
    PstHalf("PstHalfOpening", PstHalfOpening, KING),
    PstHalf("PstHalfEnding", PstHalfEnding, KING),
    PstHalf("PstHalfOpening", PstHalfOpening, BISHOP),
    PstHalf("PstHalfEnding", PstHalfEnding, BISHOP),
    PstHalf("PstHalfOpening", PstHalfOpening, ROOK),
    PstHalf("PstHalfEnding", PstHalfEnding, ROOK),
    PstHalf("PstHalfOpening", PstHalfOpening, QUEEN),
    PstHalf("PstHalfEnding", PstHalfEnding, QUEEN),
    PstHalf("PstHalfOpening", PstHalfOpening, PAWN),
    PstHalf("PstHalfEnding", PstHalfEnding, PAWN),
    Row(48, "DangerScale", DangerScale),
    Row(49, "ShelterScale", ShelterScale),
    Row(50, "Shelter", Shelter),
    Row(51, "QueenCheckBonus", QueenCheckBonus),
    Table(52, "PawnConnectedSourceEnding", PawnConnectedSourceEnding, 0, 20,
          {{20, IndexStyle::ConnectedRank, nullptr}}),
    Row(53, "LoneKnightKing", LoneKnightKing),
    Table(54, "PstScale", &PstScale[0][0], 0, 16, {Num(4), Num(4)}),
    Skip(55, 384),
    Skip(56, 32768),
    Table(57, "RookEndingTable", &RookEndingTable[0][0], 0, 1521, {Num(39), Num(39)}),
    Make(58, 98304, Layout::CountPairs, 0, {"PruneCounts"}, {},
         {Num(2, "ending"), {6, IndexStyle::PieceCode, "code"}, Sq(64, "from"), Sq(64, "to"), Num(2, "count")}),
    Table(59, "MaterialPawnTable", &MaterialPawnTable[0][0][0], 0, 1368, {Num(114), Num(6), Num(2)}),
    Table(60, "KingPlacement", &KingPlacement[0][0][0][0], 0, 192, {Num(3), Num(4), Num(4), Num(4)}),
    Row(61, "DevelopmentPawnsOpening", DevelopmentPawnsOpening),
    Row(62, "BlockedCentreOpening", BlockedCentreOpening),
    Row(62, "DevelopmentWeight", DevelopmentWeight),
    Row(63, "DevelopmentPawnsEnding", DevelopmentPawnsEnding),
    Row(64, "BlockedCentreEnding", BlockedCentreEnding),
    One(64, "AttackQueenFactor", AttackQueenFactor),
    One(64, "AttackNoQueenFactor", AttackNoQueenFactor),
    One(64, "AttackBlendHeight", AttackBlendHeight),
    One(64, "AttackBlendStep", AttackBlendStep),
    One(64, "AttackCountHeight", AttackCountHeight),
    One(64, "AttackCountStep", AttackCountStep),
    One(65, "AttackCountCentre", AttackCountCentre),
    One(66, "AttackerKnight", AttackerKnight),
    One(66, "AttackerBishop", AttackerBishop),
    One(66, "AttackerRook", AttackerRook),
    One(66, "AttackerQueen", AttackerQueen),
    One(67, "PawnContactAttacker", PawnContactAttacker),
    One(67, "KingContactAttacker", KingContactAttacker),
    Part(68, "KingEFileHalf", KingEFileHalf, 0, 2),
    One(69, "AttackerForceHeight", AttackerForceHeight),
    One(69, "AttackerForceStep", AttackerForceStep),
    One(69, "AttackerForceCentre", AttackerForceCentre),
    One(69, "DefenderForceHeight", DefenderForceHeight),
    One(69, "DefenderForceStep", DefenderForceStep),
    One(69, "DefenderForceCentre", DefenderForceCentre),
    Row(70, "ForceOpening", ForceOpening),
    Row(70, "ForceEnding", ForceEnding),
    One(71, "BishopVersusKnightEnding", BishopVersusKnightEnding),
    Row(72, "KingDangerPattern", KingDangerPattern),
    Row(73, "PasserRankOpening", PasserRankOpening),
    Row(73, "PasserRankEnding", PasserRankEnding),
    One(74, "PasserCurveHeight", PasserCurveHeight),
    One(74, "PasserCurveStep", PasserCurveStep),
    Together(75, 48, {"PasserKingOwn", "PasserKingEnemy"}, {PasserKingOwn, PasserKingEnemy}, {Num(24)}),
    Row(76, "PasserKingRace", PasserKingRace),
    Row(77, "PasserClassOpening", PasserClassOpening),
    Row(78, "PasserClassEnding", PasserClassEnding),
    Together(79, 8, {"PasserFileOpening", "PasserFileEnding"}, {PasserFileOpening, PasserFileEnding}, {Num(4)}),
    One(80, "DuelHeight", DuelHeight),
    One(80, "DuelSlope", DuelSlope),
    Row(81, "PawnSpanEnding", PawnSpanEnding),
    Row(82, "PassedSpanEnding", PassedSpanEnding),
    One(83, "RookDoubledSeventhEnding", RookDoubledSeventhEnding),
    One(83, "RookSeventhPassedEnding", RookSeventhPassedEnding),
    One(83, "TrappedRookEnding", TrappedRookEnding),
    One(83, "BackRankNoLuftEnding", BackRankNoLuftEnding),
    Skip(84, 3),
    One(85, "QueenBackRankEnding", QueenBackRankEnding),
    One(85, "QueenSeventhEnding", QueenSeventhEnding),
    One(85, "RookSeventhEnding", RookSeventhEnding),
    Skip(86, 2),
    One(87, "RookBackRankEnding", RookBackRankEnding),
    One(87, "FianchettoEnding", FianchettoEnding),
    Skip(88, 1),
    HalfRows(89, "PawnBreakthroughOpening", PawnBreakthroughOpening),
    HalfRows(89, "PawnBreakthroughEnding", PawnBreakthroughEnding),
    HalfRows(89, "KnightOutpostOpening", KnightOutpostOpening),
    HalfRows(89, "KnightOutpostEnding", KnightOutpostEnding),
    HalfRows(89, "KnightOutpostProtectedOpening", KnightOutpostProtectedOpening),
    HalfRows(89, "KnightOutpostProtectedEnding", KnightOutpostProtectedEnding),
    HalfRows(89, "KnightOutpostExposedOpening", KnightOutpostExposedOpening),
    HalfRows(89, "KnightOutpostExposedEnding", KnightOutpostExposedEnding),
    HalfRows(89, "BishopOutpostOpening", BishopOutpostOpening),
    HalfRows(89, "BishopOutpostEnding", BishopOutpostEnding),
    HalfRows(89, "BishopOutpostProtectedOpening", BishopOutpostProtectedOpening),
    HalfRows(89, "BishopOutpostProtectedEnding", BishopOutpostProtectedEnding),
    HalfRows(89, "BishopOutpostExposedOpening", BishopOutpostExposedOpening),
    HalfRows(89, "BishopOutpostExposedEnding", BishopOutpostExposedEnding),
    HalfRows(89, "RookBehindPasserFreeOpening", RookBehindPasserFreeOpening),
    HalfRows(89, "RookBehindPasserFreeEnding", RookBehindPasserFreeEnding),
    HalfRows(89, "RookBehindPasserBlockedOpening", RookBehindPasserBlockedOpening),
    HalfRows(89, "RookBehindPasserBlockedEnding", RookBehindPasserBlockedEnding),
    HalfRows(89, "PawnCandidateOpening", PawnCandidateOpening),
    HalfRows(89, "PawnCandidateEnding", PawnCandidateEnding),
    Together(90, 18, {"PawnSpanOpening", "PassedSpanOpening"}, {PawnSpanOpening, PassedSpanOpening}, {Num(9)}),
    Together(91, 27, {"ThreatBalanceOpening", "ThreatBalanceEnding", "ThreatInitiative"},
             {ThreatBalanceOpening, ThreatBalanceEnding, ThreatInitiative}, {Num(9)}),
    FourFiles(92, "RookOpenFileOpening", RookOpenFileOpening),
    FourFiles(92, "RookOpenFileEnding", RookOpenFileEnding),
    Squares(93, "PawnIsolatedOpenEnding", PawnIsolatedOpenEnding),
    Squares(93, "PawnBackwardOpenEnding", PawnBackwardOpenEnding),
    Squares(93, "PawnIsolatedOpenOpening", PawnIsolatedOpenOpening),
    Squares(93, "PawnBackwardOpenOpening", PawnBackwardOpenOpening),
    Squares(93, "PawnIsolatedOpening", PawnIsolatedOpening),
    Squares(93, "PawnIsolatedEnding", PawnIsolatedEnding),
    Squares(93, "PawnBackwardOpening", PawnBackwardOpening),
    Squares(93, "PawnBackwardEnding", PawnBackwardEnding),
    Squares(93, "PawnDoubledOpening", PawnDoubledOpening),
    Squares(93, "PawnDoubledEnding", PawnDoubledEnding),
    FourFiles(94, "RookHalfOpenFileOpening", RookHalfOpenFileOpening),
    FourFiles(94, "RookHalfOpenFileEnding", RookHalfOpenFileEnding),
    Row(95, "RaceAheadOneSource", RaceAheadOneSource),
    Row(95, "RaceCheckSource", RaceCheckSource),
    Row(95, "RaceStopsSource", RaceStopsSource),
    Row(95, "RaceSkewerSource", RaceSkewerSource),
    Row(95, "RaceSkewerASource", RaceSkewerASource),
    Row(95, "RaceSkewerHSource", RaceSkewerHSource),
    Row(95, "RaceAloneSource", RaceAloneSource),
    Row(95, "RaceAheadTwoSource", RaceAheadTwoSource),
    Row(96, "KpkValue", KpkValue),
    One(97, "PawnRaceBase", PawnRaceBase),
    One(97, "PawnRaceWin", PawnRaceWin),
    One(97, "PawnRaceStep", PawnRaceStep),
    Row(98, "PawnRaceRank", PawnRaceRank),
    Row(99, "QueenShelterEnding", QueenShelterEnding),
    Row(100, "QueenShelterWeight", QueenShelterWeight),
    Row(101, "AttackWeight", AttackWeight),
    Row(102, "DevelopmentTable", DevelopmentTable),
    Make(103, 26244, Layout::ImbalancePawn, 0, {"ImbalancePawnTable"}, {},
         {QueenCounts("wq"), QueenCounts("bq"), PieceCounts("wr"), PieceCounts("br"), PieceCounts("wb"),
          PieceCounts("bb"), PieceCounts("wn"), PieceCounts("bn"), PieceCounts("wp"), PieceCounts("bp")}),
    Row(104, "PassersNoPiecesSource", PassersNoPiecesSource),
    Row(104, "PassersVsKnightSource", PassersVsKnightSource),
    Row(104, "PassersVsBishopSource", PassersVsBishopSource),
    Row(105, "PasserForceOpening", PasserForceOpening),
    Row(105, "PasserForceEnding", PasserForceEnding),
    Row(106, "PawnKingForce", PawnKingForce),
    Row(106, "PawnKingRank", PawnKingRank),
    Table(107, "PawnKingDistance", &PawnKingDistance[0][0][0], 0, 144, {Num(6), Num(6), Num(4)}),
    One(108, "InitiativeWeight", InitiativeWeight),
    Row(109, "TempoByPhase", TempoByPhase),
    Together(110, 72, {"OppositeBishopMaterial", "OppositeBishopPosition"},
             {&OppositeBishopMaterial[0][0][0], &OppositeBishopPosition[0][0][0]}, {Num(4), Num(3), Num(3)}),
    Row(111, "PieceDeltaCommon", PieceDeltaCommon),
    One(112, "MinorDeltaCommon", MinorDeltaCommon),
    One(112, "RookDeltaCommon", RookDeltaCommon),
    One(112, "MinorDeltaOpening", MinorDeltaOpening),
    One(112, "RookDeltaOpening", RookDeltaOpening),
    One(112, "MinorDeltaEnding", MinorDeltaEnding),
    One(112, "RookDeltaEnding", RookDeltaEnding),
    Row(113, "WinScale", WinScale),
    One(114, "KingContactDanger", KingContactDanger),
    FourFiles(115, "RookWeakFileOpening", RookWeakFileOpening),
    FourFiles(115, "RookWeakFileEnding", RookWeakFileEnding),
    FourFiles(115, "RookWeakPawnOpening", RookWeakPawnOpening),
    FourFiles(115, "RookWeakPawnEnding", RookWeakPawnEnding),
    Table(116, "WingPstOpening", &WingPstOpening[0][0][0], 0, 1280, {Num(5), Num(4), Sq()}),
    Table(116, "WingPstEnding", &WingPstEnding[0][0][0], 0, 1280, {Num(5), Num(4), Sq()}),
    One(117, "CastleBase", CastleBase),
    One(117, "CastleAdd", CastleAdd),
    Table(118, "AttackerForce", &AttackerForce[0][0][0], 0, 30, {Num(2), Num(3), Num(5)}),
    One(119, "CastleWeightShield", CastleWeightShield),
    One(119, "CastleWeightFiles", CastleWeightFiles),
    Part(119, "KingEFileOpen", KingEFileOpen, 2, 1),
    Part(119, "KingEFileHalf", KingEFileHalf, 2, 1),
    Row(120, "CastleOpen", CastleOpen),
    Row(120, "CastleHalfOpen", CastleHalfOpen),
    Skip(121, 1),
    One(122, "SafeCheckRook", SafeCheckRook),
    Skip(123, 30),
    Row(124, "KnightMobilityOpening", KnightMobilityOpening),
    Row(124, "KnightMobilityEnding", KnightMobilityEnding),
    Row(124, "KnightSafeMobilityOpening", KnightSafeMobilityOpening),
    Row(124, "KnightSafeMobilityEnding", KnightSafeMobilityEnding),
    Row(125, "BishopMobilityOpening", BishopMobilityOpening),
    Row(125, "BishopMobilityEnding", BishopMobilityEnding),
    Row(125, "BishopSafeMobilityOpening", BishopSafeMobilityOpening),
    Row(125, "BishopSafeMobilityEnding", BishopSafeMobilityEnding),
    Row(126, "KnightCageOpening", KnightCageOpening),
    Row(126, "KnightCageEnding", KnightCageEnding),
    Row(126, "BishopCageOpening", BishopCageOpening),
    Row(126, "BishopCageEnding", BishopCageEnding),
    Row(127, "BadBishopBlockedOpening", BadBishopBlockedOpening),
    Row(127, "BadBishopBlockedEnding", BadBishopBlockedEnding),
    Row(127, "BlockedPawnsKnightOpening", BlockedPawnsKnightOpening),
    Row(127, "BlockedPawnsKnightEnding", BlockedPawnsKnightEnding),
    Row(127, "BlockedPawnsAllOpening", BlockedPawnsAllOpening),
    Row(127, "BlockedPawnsAllEnding", BlockedPawnsAllEnding),
    Row(127, "BadBishopOpening", BadBishopOpening),
    Row(127, "BadBishopEnding", BadBishopEnding),
    Row(128, "RookMobilityOpening", RookMobilityOpening),
    Row(128, "RookMobilityEnding", RookMobilityEnding),
    Row(128, "RookReachMobilityOpening", RookReachMobilityOpening),
    Row(128, "RookReachMobilityEnding", RookReachMobilityEnding),
    Row(129, "QueenMobilityOpening", QueenMobilityOpening),
    Row(129, "QueenMobilityEnding", QueenMobilityEnding),
    Row(129, "QueenSafeMobilityOpening", QueenSafeMobilityOpening),
    Row(129, "QueenSafeMobilityEnding", QueenSafeMobilityEnding),
    One(130, "LmrFreeMoves", LmrFreeMoves),
    One(130, "LmrBase", LmrBase),
    One(130, "LmrFarBelow", LmrFarBelow),
    One(130, "LmrCutFar", LmrCutFar),
    One(130, "LmrPvFar", LmrPvFar),
    One(130, "LmrAllFar", LmrAllFar),
    One(130, "LmrCutNear", LmrCutNear),
    One(130, "LmrPvNear", LmrPvNear),
    One(130, "LmrAllNear", LmrAllNear),
    One(130, "LmrCheckDiscount", LmrCheckDiscount),
    One(130, "LmrThreatDiscount", LmrThreatDiscount),
    One(130, "LmrEvalStep", LmrEvalStep),
    One(130, "LmrLimit1", LmrLimit1),
    One(130, "LmrLimit2", LmrLimit2),
    One(130, "LmrStep1High", LmrStep1High),
    One(130, "LmrStep1Low", LmrStep1Low),
    One(130, "CaptureGainBase", CaptureGainBase),
    One(130, "LmrCount2", LmrCount2),
    One(130, "LmrStep2", LmrStep2),
    One(130, "LmrStep3", LmrStep3),
    One(130, "LmrStep4", LmrStep4),
    One(130, "LmrStep5", LmrStep5),
    One(130, "LmrStep6", LmrStep6),
    One(130, "LmrLimit3", LmrLimit3),
    One(130, "LmrLimit4", LmrLimit4),
    One(130, "LmrCount3", LmrCount3),
    One(130, "LmrCount5", LmrCount5),
    One(130, "LmrCount6", LmrCount6),
    One(130, "LmrKeepCount", LmrKeepCount),
    One(130, "LmrGainCount", LmrGainCount),
    One(130, "StaticMarginNear", StaticMarginNear),
    One(130, "StaticMarginFar", StaticMarginFar),
    One(130, "NullMoveMargin", NullMoveMargin),
    One(130, "IidMargin", IidMargin),
    One(130, "SingularMargin", SingularMargin),
    One(130, "GoodCaptureMargin", GoodCaptureMargin),
    One(130, "FutilityBase", FutilityBase),
    One(130, "CaptureSkipMargin", CaptureSkipMargin),
    One(130, "EvalDropMargin", EvalDropMargin),
    One(130, "RecaptureMargin", RecaptureMargin),
    One(130, "RecaptureFloor", RecaptureFloor),
    One(130, "PassedWindowLow", PassedWindowLow),
    One(130, "PassedWindowHigh", PassedWindowHigh),
    One(131, "WindowMarginLow", WindowMarginLow),
    One(131, "WindowMarginHigh", WindowMarginHigh),
    One(131, "WindowPerIterationLow", WindowPerIterationLow),
    One(131, "WindowPerIterationHigh", WindowPerIterationHigh),
    One(131, "WindowScoreDivisorLow", WindowScoreDivisorLow),
    One(131, "WindowScoreDivisorHigh", WindowScoreDivisorHigh),
    Row(132, "KingDFileDelta", KingDFileDelta),
    Row(133, "LateMoveParameters", LateMoveParameters),
};

const int ValuesLayoutSize = sizeof ValuesLayout / sizeof ValuesLayout[0];

namespace {

constexpr int PRUNE_CODES[6] = {KING, KNIGHT, PAWN, ROOK, BISHOP, QUEEN};
constexpr const char *PIECE_NAMES[8] = {"none", "king", "knight", "pawn", "code4", "rook", "bishop", "queen"};

int TablesNamed(const ValuesEntry &e) {
  int n = 0;
  while (n < MAX_INTERLEAVED && e.names[n]) n++;
  return n;
}

// The nested piece counts of the file, slowest first: the digits of `index` in base 2, 2, 3, 3, ...
void NestedCounts(int index, int digits, int *counts) {
  for (int d = digits - 1; d >= 0; d--) {
    const int base = d < 2 ? 2 : 3;
    counts[d] = index % base;
    index /= base;
  }
}

// ImbalanceTable keeps White's counts in the high digits, the file nests the colours in turn.
int ImbalanceIndex(int index) {
  int c[8];  // wq, bq, wr, br, wb, bb, wn, bn
  NestedCounts(index, 8, c);
  return 1458 * c[0] + 27 * c[1] + 486 * c[2] + 9 * c[3] + 162 * c[4] + 3 * c[5] + 54 * c[6] + c[7];
}

int ImbalancePawnIndex(int index) {
  int c[10];  // wq, bq, wr, br, wb, bb, wn, bn, wp, bp
  NestedCounts(index, 10, c);
  return 118098 * c[0] + 243 * c[1] + 39366 * c[2] + 81 * c[3] + 13122 * c[4] + 27 * c[5] + 4374 * c[6] + 9 * c[7] +
         486 * c[8] + c[9];
}

// Appends to a fixed buffer, cutting what doesn't fit.
struct NameText {
  char *out;
  size_t room;
  template <typename... Args>
  void Add(const char *format, Args... args) {
    if (room <= 1) return;
    const int written = std::snprintf(out, room, format, args...);
    const size_t used = written < 0 ? 0 : size_t(written) < room ? size_t(written) : room - 1;
    out += used;
    room -= used;
  }
};

void AddIndex(NameText &text, const IndexDim &dim, int value) {
  switch (dim.style) {
    case IndexStyle::Square:
      return text.Add("%c%d", 'a' + value % 8, value / 8 + 1);
    case IndexStyle::File:
      return text.Add("%c", 'a' + value);
    case IndexStyle::FileRank:
      return text.Add("%c%d", 'a' + value / 8, value % 8 + 1);
    case IndexStyle::ConnectedRank:
      return text.Add("%c%d", 'a' + value / 5, 6 - value % 5);
    case IndexStyle::Piece:
      return text.Add("%s", PIECE_NAMES[value & 7]);
    case IndexStyle::PieceCode:
      return text.Add("%s", PIECE_NAMES[PRUNE_CODES[value % 6]]);
    case IndexStyle::Number:
      return text.Add("%d", value);
  }
}

}  // namespace

i64 ValuesFileCount() {
  i64 total = 0;
  for (int e = 0; e < ValuesLayoutSize; e++) total += ValuesLayout[e].count;
  return total;
}

ValueSlot SlotOf(const ValuesEntry &e, int index) {
  switch (e.layout) {
    case Layout::Plain:
      return {e.tables[0] + e.offset + index, nullptr};
    case Layout::HalfRows:
      return {e.tables[0] + 8 * (index / 4) + index % 4, nullptr};
    case Layout::Interleaved: {
      const int n = TablesNamed(e);
      return {e.tables[index % n] + e.offset + index / n, nullptr};
    }
    case Layout::Imbalance:
      return {ImbalanceTable ? ImbalanceTable + ImbalanceIndex(index) : nullptr, nullptr};
    case Layout::ImbalancePawn:
      return {ImbalancePawnTable ? ImbalancePawnTable + ImbalancePawnIndex(index) : nullptr, nullptr};
    case Layout::CountPairs: {
      const int pair = index / 2;
      const int code = PRUNE_CODES[(pair / 4096) % 6];
      return {nullptr, &PruneCounts[pair / (6 * 4096)][code][(pair / 64) % 64][pair % 64][index % 2]};
    }
    case Layout::Ignored:
      break;
  }
  return {nullptr, nullptr};
}

const char *TableNameOf(const ValuesEntry &e, int index) {
  if (e.layout == Layout::Ignored) return nullptr;
  return e.names[e.layout == Layout::Interleaved ? index % TablesNamed(e) : 0];
}

void SlotName(const ValuesEntry &e, int index, char *out, size_t size) {
  if (!size) return;
  *out = '\0';
  NameText text{out, size};
  if (e.layout == Layout::Ignored) return text.Add("ignored.item%d[%d]", e.item, index);
  int at = index;  // Imbalance, ImbalancePawn and CountPairs are named in the file's order
  if (e.layout == Layout::Plain) at = e.offset + index;
  if (e.layout == Layout::HalfRows) at = 8 * (index / 4) + index % 4;
  if (e.layout == Layout::Interleaved) at = e.offset + index / TablesNamed(e);
  text.Add("%s", TableNameOf(e, index));
  int dims = 0;
  while (dims < MAX_INDEX_DIMS && e.dims[dims].size) dims++;
  int digits[MAX_INDEX_DIMS];
  for (int d = dims - 1; d >= 0; d--) {
    digits[d] = at % e.dims[d].size;
    at /= e.dims[d].size;
  }
  const bool labelled = dims && e.dims[0].label;
  for (int d = 0; d < dims; d++) {
    if (labelled)
      text.Add(d ? ",%s=" : "[%s=", e.dims[d].label);
    else
      text.Add("[");
    AddIndex(text, e.dims[d], digits[d]);
    if (!labelled || d == dims - 1) text.Add("]");
  }
}

std::vector<i64> CurrentValues() {
  std::vector<i64> values;
  values.reserve(size_t(ValuesFileCount()));
  for (int e = 0; e < ValuesLayoutSize; e++)
    for (int i = 0; i < ValuesLayout[e].count; i++) {
      const ValueSlot slot = SlotOf(ValuesLayout[e], i);
      values.push_back(slot.wideTarget ? *slot.wideTarget : slot.target ? *slot.target : 0);
    }
  return values;
}

bool ParseNumber(const char *&p, const char *end, i64 &value) {
  const char *q = p;
  while (q < end && (*q == ' ' || *q == '\t' || *q == '\n' || *q == '\r' || *q == '\v' || *q == '\f')) q++;
  bool negative = false;
  if (q < end && (*q == '+' || *q == '-')) negative = *q++ == '-';
  if (q >= end || *q < '0' || *q > '9') return false;
  // Accumulated on the negative side, which holds the one extra value, INT64_MIN.
  i64 v = 0;
  bool saturated = false;
  for (; q < end && *q >= '0' && *q <= '9'; q++) {
    const int digit = *q - '0';
    if (v < (INT64_MIN + digit) / 10) saturated = true;
    if (!saturated) v = v * 10 - digit;
  }
  if (saturated) v = INT64_MIN;
  value = negative ? v : (v == INT64_MIN ? INT64_MAX : -v);
  p = q;
  return true;
}

i32 SaturateToI32(i64 value) {
  if (value > INT32_MAX) return INT32_MAX;
  if (value < INT32_MIN) return INT32_MIN;
  return i32(value);
}
