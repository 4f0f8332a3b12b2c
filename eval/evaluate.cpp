#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "board/attacks.h"
#include "board/piece_square.h"
#include "eval/endgame.h"
#include "eval/eval.h"
#include "eval/eval_tables.h"
#include "eval/evaluate_steps.h"
#include "eval/material.h"
#include "eval/king_safety.h"
#include "eval/passers.h"
#include "eval/pawns.h"
#include "eval/pieces.h"

EvalInfo thread_eval_info;

i32 ReadMaterial() {
  BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  if (b.MaterialIndex == MATERIAL_OVERFLOW) {
    info.MaterialScore = EvaluateMaterial();
    ComputePhases();
    for (int side : {WHITE, BLACK}) {
      const int enemy = ChangeSide(side);
      const bool threatened = b.PieceMaterial[enemy] > EndingThreshold &&
                              (b.Queens[enemy] || b.PieceMaterial[enemy] > EndingThresholdNoQueen);
      info.Ending[side] = threatened ? 0 : 1;
    }
  } else {
    const MaterialEntry &entry = MaterialTable[b.MaterialIndex];
    info.MaterialScore = b.Material[BLACK] - b.Material[WHITE] + entry.MaterialBalance;
    b.current_phase = entry.current_phase;
    b.white_phase = entry.white_phase;
    b.black_phase = entry.black_phase;
    for (int side : {WHITE, BLACK}) {
      b.MaterialOpening[side] = entry.MaterialOpening[side];
      b.MaterialEnding[side] = entry.MaterialEnding[side];
      info.Ending[side] = (entry.MaterialFlags[side] & ENDING_FLAG) ? 1 : 0;
    }
  }
  return info.MaterialScore;
}

namespace {

// The piece-square sum, weighted by the pawns of the side ahead and of the side behind.
void AddPieceSquares() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const int blackPawns = std::min(b.PieceCount[PAWN][BLACK], 3), whitePawns = std::min(b.PieceCount[PAWN][WHITE], 3);
  int ahead, behind;
  if (info.MaterialScore > 0) ahead = blackPawns, behind = whitePawns;
  else if (info.MaterialScore < 0) ahead = whitePawns, behind = blackPawns;
  else ahead = std::min(blackPawns, whitePawns), behind = std::max(blackPawns, whitePawns);
  const i64 scale = PstScale[ahead][behind];
  info.PackedScore += Pack(i32((OpeningOf(b.PstScore) * scale) >> 8), i32((EndingOf(b.PstScore) * scale) >> 8));
}

// Rook endings by their pawn files, or the small configurations by their signature.
void AddMaterialPawnTerm() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const u8 whiteFiles = b.PawnEntry.PawnFiles[0], blackFiles = b.PawnEntry.PawnFiles[1];
  if (b.PieceMaterial[WHITE] == 5 && b.PieceMaterial[BLACK] == 5 && b.AllPawns) {
    const int w = RookEndingFileClass[whiteFiles], bl = RookEndingFileClass[blackFiles];
    const int w2 = RookEndingFileClass[ReverseBits[whiteFiles]], b2 = RookEndingFileClass[ReverseBits[blackFiles]];
    const i64 sum = i64(RookEndingTable[bl][w]) - RookEndingTable[w][bl] + RookEndingTable[b2][w2] - RookEndingTable[w2][b2];
    info.PackedScore += PackBoth(i32(sum >> 1));
    return;
  }
  const MaterialEntry &entry = MaterialTable[b.MaterialIndex];
  if (entry.SignatureWhite < 0) return;
  const int cw = PawnFileClass[whiteFiles], cb = PawnFileClass[blackFiles];
  const int difference = b.PieceMaterial[WHITE] - b.PieceMaterial[BLACK];
  i32 king = 0;
  if (difference) {
    const int lead = std::abs(difference), cls = lead <= 2 ? 0 : lead <= 4 ? 1 : 2;
    const int strong = difference > 0 ? WHITE : BLACK, weak = ChangeSide(strong);
    const int ks = b.KingSquare[strong], kw = b.KingSquare[weak];
    const int distance = std::max(std::abs(FileOf(ks) - FileOf(kw)), std::abs(RankOf(ks) - RankOf(kw)));
    // Kings stand at least two apart in any legal position; a malformed one is held to the table.
    const int n = std::clamp(distance, 2, 5);
    king = KingPlacement[cls][n - 2][KingRing[ks]][KingRing[kw]];
    if (strong == WHITE) king = -king;
  }
  const i64 pawnTerm =
      (i64(MaterialPawnTable[entry.SignatureWhite][cb][cw != 0]) - MaterialPawnTable[entry.SignatureBlack][cw][cb != 0]) >> 1;
  info.PackedScore += PackBoth(i32(pawnTerm + king));
}

void FillCheckSquares() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  for (int side : {WHITE, BLACK}) {
    const int king = b.KingSquare[side];
    const u64 free = ~b.Pieces[ChangeSide(side)];
    info.RookChecks[side] = RookAttacks(king, b.Occupied) & free;
    info.BishopChecks[side] = BishopAttacks(king, b.Occupied) & free;
    info.QueenChecks[side] = info.RookChecks[side] | info.BishopChecks[side];
    info.KnightChecks[side] = KnightAttacks[king] & free;
  }
}

void AddKingNeighbours() {
  const BoardRecord &b = thread_board;
  for (int side : {WHITE, BLACK})
    for (u64 king = b.Kings[side]; king;) thread_eval_info.Attacks[side] |= KingAttacks[PopLowest(king)];
}

i32 Blend() {
  const BoardRecord &b = thread_board;
  const EvalInfo &info = thread_eval_info;
  const i64 packed = (i64(OpeningOf(info.PackedScore)) * (256 - b.current_phase) +
                      i64(EndingOf(info.PackedScore)) * b.current_phase) >> 8;
  const i64 black = (i64(info.SideEnding[BLACK]) * b.black_phase + i64(info.SideOpening[BLACK]) * (256 - b.black_phase)) >> 8;
  const i64 white = (i64(info.SideEnding[WHITE]) * b.white_phase + i64(info.SideOpening[WHITE]) * (256 - b.white_phase)) >> 8;
  return i32(packed + black - white);
}

// A safe queen check is worth more to the side that is to move.
void AddQueenChecks(const int (&safeQueenChecks)[2]) {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const bool whiteToMove = b.SideToMove == WHITE;
  if (b.Queens[BLACK]) {
    const i32 v = QueenCheckBonus[std::min(safeQueenChecks[BLACK], 6)], h = v >> 1;
    info.FinalScore += whiteToMove ? h : v;
    info.ScoreSum += whiteToMove ? h - v : v - h;
  }
  if (b.Queens[WHITE]) {
    const i32 v = QueenCheckBonus[std::min(safeQueenChecks[WHITE], 6)], h = v >> 1;
    info.FinalScore -= whiteToMove ? v : h;
    info.ScoreSum -= whiteToMove ? v - h : h - v;
  }
}

void ScaleOppositeBishops() {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  if (b.PieceCount[BISHOP][WHITE] != 1 || b.PieceCount[BISHOP][BLACK] != 1) return;
  if (b.PieceMaterial[WHITE] >= 17 || b.PieceMaterial[BLACK] >= 17) return;
  const int heavy = b.PieceCount[ROOK][WHITE] + 2 * b.PieceCount[QUEEN][WHITE];
  if (heavy != b.PieceCount[ROOK][BLACK] + 2 * b.PieceCount[QUEEN][BLACK] || heavy > 2) return;
  if (b.PieceCount[KNIGHT][WHITE] != b.PieceCount[KNIGHT][BLACK]) return;
  const bool whiteLight = (b.Bishops[WHITE] & LightSquares) != 0, blackLight = (b.Bishops[BLACK] & LightSquares) != 0;
  if (whiteLight == blackLight) return;
  const int knights = std::min(b.PieceCount[KNIGHT][WHITE], 2);
  const int pawns = std::min(std::abs(b.PieceCount[PAWN][WHITE] - b.PieceCount[PAWN][BLACK]), 3);
  const i64 a = OppositeBishopMaterial[pawns][heavy][knights], c = OppositeBishopPosition[pawns][heavy][knights];
  info.ScaleTrace = i32((info.ScaleTrace * a) >> 8);
  info.ScoreSum = i32((info.ScoreSum * c) >> 8);
  info.FinalScore = i32((((i64(info.FinalScore) - info.MaterialScore) * c) >> 8) + ((a * info.MaterialScore) >> 8));
}

void AddTempo(i32 *score) {
  const BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  const i32 t = TempoByPhase[std::max(b.current_phase - 1, 0) >> 5];
  const i32 white = t + info.Initiative[WHITE], black = t + info.Initiative[BLACK];
  if (b.SideToMove == BLACK) {
    info.FinalScore += black;
    info.ScoreSum = black + white + info.ScoreSum;
    *score = info.FinalScore;
  } else {
    info.FinalScore -= white;
    info.ScoreSum = white + black - info.ScoreSum;
    *score = -info.FinalScore;
  }
}

}  // namespace

void Evaluate(i32 *score, i32 /*bound*/) {
  BoardRecord &b = thread_board;
  EvalInfo &info = thread_eval_info;
  std::memset(&info, 0, sizeof info);
  info.ScaleTrace = 6300;
  info.OtherSideKnown = 1;
  info.Cacheable = 1;
  const int whiteQueenSide = FileOf(b.KingSquare[WHITE]) < 4, blackQueenSide = FileOf(b.KingSquare[BLACK]) < 4;
  info.KingWing[WHITE] = 2 * whiteQueenSide + blackQueenSide;
  info.KingWing[BLACK] = whiteQueenSide + 2 * blackQueenSide;

  if (b.PieceMaterial[BLACK] < EndingThreshold || b.PieceMaterial[WHITE] < EndingThreshold) {
    if (RecogniseEnding(score)) {
      info.MaterialScore = b.Material[BLACK] - b.Material[WHITE];
      return;
    }
    info.PackedScore = PackBoth(*score);
  } else {
    info.PackedScore = PackBoth(ReadMaterial());
    b.AllPawns = b.Pawns[WHITE] | b.Pawns[BLACK];
  }
  AddPieceSquares();
  EvaluatePawns();
  AddMaterialPawnTerm();
  if (info.Ending[WHITE] || info.Ending[BLACK]) AddLowForceTerms();
  if (b.PawnEntry.PassedVector[0] || b.PawnEntry.PassedVector[1]) {
    info.PackedScore = EvaluatePassedPawns(info.PackedScore, info.SideOpening, info.SideEnding);
    if (b.Material[WHITE] == 100 && b.Material[BLACK] == 100) {
      *score = PawnDuel();
      return;
    }
  }
  if (!info.Ending[BLACK]) info.SideOpening[WHITE] -= EvaluateShelter<BLACK>();
  if (!info.Ending[WHITE]) info.SideOpening[BLACK] -= EvaluateShelter<WHITE>();
  FillCheckSquares();
  if (!b.PieceMaterial[WHITE] && !b.PieceMaterial[BLACK]) {
    info.FinalScore = Blend();
    if ((info.CannotWin[BLACK] && info.FinalScore > 0) || (info.CannotWin[WHITE] && info.FinalScore <= 0))
      info.FinalScore = 0;
    AddKingNeighbours();
    AddTempo(score);
    return;
  }
  for (int side : {WHITE, BLACK}) info.KingZone[side] = KingAttacks[b.KingSquare[side]];
  AddBackRank();
  EvaluateRooks();
  EvaluatePawnStage();
  EvaluateKnights();
  EvaluateQueens();
  EvaluateBishops();
  for (int side : {WHITE, BLACK}) info.MinorReach[side] = info.KnightReach[side] | info.BishopReach[side];
  const u64 before[2] = {info.Attacks[WHITE], info.Attacks[BLACK]};
  AddThreats();
  AddKingContact();
  AddDevelopment();
  AddQueenShelter();
  AddKingAttacks(before);
  const int safeQueenChecks[2] = {b.Queens[WHITE] ? SafeQueenChecks(WHITE, before) : 0,
                                  b.Queens[BLACK] ? SafeQueenChecks(BLACK, before) : 0};
  AddKingNeighbours();
  info.BaseScore = info.FinalScore = Blend();
  AddQueenChecks(safeQueenChecks);
  ScaleOppositeBishops();
  if (b.PieceMaterial[WHITE] <= EndingThresholdNoQueen || b.PieceMaterial[BLACK] <= EndingThresholdNoQueen) ScaleEnding();
  AddTempo(score);
}
