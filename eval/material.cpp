#include "eval/material.h"

#include <algorithm>
#include <climits>
#include <iterator>
#include <vector>
#include <cstdio>
#include <cstdlib>

#include "board/board.h"
#include "eval/eval_tables.h"
#include "shell/engine.h"

MaterialEntry MaterialTable[MATERIAL_OVERFLOW + 1];

const i32 KingRing[64] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 0, 0, 1, 2, 2, 2, 2, 1, 0, 0, 1, 2, 3, 3, 2, 1, 0,
                          0, 1, 2, 3, 3, 2, 1, 0, 0, 1, 2, 2, 2, 2, 1, 0, 0, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0};
i32 RookEndingFileClass[256];

namespace {

// The force of one side.
struct Force {
  int queens, rooks, bishops, knights, pawns;
  int Minors() const { return bishops + knights; }
  int Majors() const { return rooks + 2 * queens; }
  int Points() const { return 3 * Minors() + 5 * rooks + 9 * queens; }
  int PhaseUnits() const { return Minors() + 2 * rooks + 4 * queens; }
};

// The unbalanced trades of the exchange tree, each with its bonus and its ending addition.
enum Trade { EXTRA_PIECE, TWO_MINORS, ROOK_MINORS, ROOK_FOR_MINOR, QUEEN_FOR_ROOK_MINOR, QUEEN_FOR_ROOKS, TRADES };

i64 TradeBonus(int trade) {
  switch (trade) {
    case EXTRA_PIECE: return 120 + i64(ExtraPieceBase);
    case TWO_MINORS: return 90 + i64(TwoMinorsBase);
    case ROOK_MINORS: return 60 + i64(RookMinorsBase);
    case ROOK_FOR_MINOR: return 30 + i64(RookForMinorBase);
    case QUEEN_FOR_ROOK_MINOR: return 30 + i64(QueenForRookMinorBase);
    default: return 60 + i64(QueenForRooksBase);
  }
}

i64 TradeEnding(int trade) {
  static i32 *const endings[TRADES] = {&ExtraPieceEnding,   &TwoMinorsEnding,         &RookMinorsEnding,
                                       &RookForMinorEnding, &QueenForRookMinorEnding, &QueenForRooksEnding};
  return *endings[trade];
}

// The value of the exchange tree, good for White, and which side earned which trade.
struct TreeResult {
  i64 value = 0;
  bool earned[2][TRADES] = {};
};

void Earn(TreeResult &result, int side, int trade) {
  result.earned[side][trade] = true;
  result.value += side == WHITE ? TradeBonus(trade) : -TradeBonus(trade);
}

// `withMinorVsPawns` selects the first step, which only the table build runs.
TreeResult ExchangeTree(const Force (&f)[2], bool withMinorVsPawns) {
  TreeResult r;
  const Force &w = f[WHITE], &b = f[BLACK];
  auto pawnIndex = [](int pawns) { return std::min(pawns, 8); };
  if (withMinorVsPawns && w.Points() < 4 && b.Points() < 4) {
    if (w.Minors() && !b.Minors()) r.value += MinorVsPawns[pawnIndex(w.pawns)];
    if (b.Minors() && !w.Minors()) r.value -= MinorVsPawns[pawnIndex(b.pawns)];
  } else if (w.Minors() == b.Minors()) {
    if (w.Majors() == b.Majors()) {
      if (w.queens && !b.queens) Earn(r, WHITE, QUEEN_FOR_ROOKS);
      if (b.queens && !w.queens) Earn(r, BLACK, QUEEN_FOR_ROOKS);
      if (w.Minors() == 1 && w.queens && b.queens && (w.pawns + b.pawns)) {
        if (w.knights && !b.knights) r.value += QueenKnightBonus;
        if (b.knights && !w.knights) r.value -= QueenKnightBonus;
      }
    } else {
      Earn(r, w.Majors() > b.Majors() ? WHITE : BLACK, EXTRA_PIECE);
    }
  } else if (w.Majors() == b.Majors()) {
    Earn(r, w.Minors() > b.Minors() ? WHITE : BLACK, EXTRA_PIECE);
  } else if (std::abs(w.Majors() - b.Majors()) == 1) {
    const int low = w.Majors() < b.Majors() ? WHITE : BLACK, high = ChangeSide(low);
    const Force &l = f[low], &h = f[high];
    if (l.Minors() >= h.Minors() + 2) {
      if (l.Points() == 6)
        Earn(r, low, TWO_MINORS);
      else if (h.queens && !l.queens)
        Earn(r, low, ROOK_MINORS);
      else
        Earn(r, low, EXTRA_PIECE);
    } else if (l.Minors() == h.Minors() + 1) {
      Earn(r, high, ROOK_FOR_MINOR);
      if (h.queens && !l.queens) Earn(r, high, QUEEN_FOR_ROOK_MINOR);
    }
  } else if (std::abs(w.Majors() - b.Majors()) == 2) {
    if (w.Minors() > b.Minors() + 2) Earn(r, WHITE, EXTRA_PIECE);
    if (b.Minors() > w.Minors() + 2) Earn(r, BLACK, EXTRA_PIECE);
  }
  if (!w.queens && !b.queens) {
    if (b.rooks && b.bishops) r.value -= RookBishopBonus;
    if (w.rooks && w.bishops) r.value += RookBishopBonus;
  } else if (!w.rooks && !b.rooks) {
    if (b.queens && b.knights) r.value -= QueenKnightBonus;
    if (w.queens && w.knights) r.value += QueenKnightBonus;
  }
  return r;
}

// Scaling of a balance good for White by the lead in points and the leader's pawns.
i64 ScaleByLead(i64 total, const Force (&f)[2]) {
  // Only 16 bits are kept in the end; the clamp keeps absurd weights from overflowing the product.
  total = std::clamp<i64>(total, INT32_MIN, INT32_MAX);
  for (int side : {WHITE, BLACK}) {
    const int lead = f[side].Points() - f[ChangeSide(side)].Points();
    const bool ahead = side == WHITE ? total > 0 : total < 0;
    if (!ahead || lead >= 4) continue;
    const int c = lead < 0 ? 0 : lead == 0 ? 1 : lead <= 2 ? 2 : 3;
    return (total * WinScale[4 * c + std::min(f[side].pawns, 3)]) >> 6;
  }
  return total;
}

int Phase(int units, int full) { return (std::max(0, full - units) * 256 + full / 2) / full; }

bool CannotWin(const Force &f) {
  return !f.pawns && !f.rooks && !f.queens && f.Points() < 7 && (!f.bishops || f.Points() < 4);
}

bool NeedsNoKingSafety(const Force &enemy) {
  return enemy.Points() <= 9 || (!enemy.queens && enemy.Points() <= 14);
}

// The weighted force of the pieces alone.
i64 ForcePart(const i32 *weights, const Force &f) {
  return i64(weights[0]) * f.knights + i64(weights[1]) * f.bishops + i64(weights[2]) * f.rooks +
         i64(weights[3]) * f.queens;
}

i16 ForceWeight(const i32 *weights, const Force &f) { return i16(ForcePart(weights, f) + i64(weights[4]) * f.pawns); }

// Signature numbers of the small piece pairs, by the imbalance index of (white, black) piece counts.
i16 Signatures[IMBALANCE_ENTRIES];

int PieceIndex(const Force &w, const Force &b) {
  return 1458 * w.queens + 27 * b.queens + 486 * w.rooks + 9 * b.rooks + 162 * w.bishops + 3 * b.bishops +
         54 * w.knights + b.knights;
}

int PawnIndex(const Force &w, const Force &b) {
  return 118098 * w.queens + 39366 * w.rooks + 13122 * w.bishops + 4374 * w.knights + 486 * w.pawns +
         243 * b.queens + 81 * b.rooks + 27 * b.bishops + 9 * b.knights + b.pawns;
}

bool HasSignature(const Force &w, const Force &b) {
  const int pieces[2] = {w.Minors() + w.rooks + w.queens, b.Minors() + b.rooks + b.queens};
  return w.Points() <= 9 && b.Points() <= 9 &&
         (std::abs(w.Points() - b.Points()) < 5 || (pieces[0] <= 1 && pieces[1] <= 1));
}

// Every pair of piece forces with up to `queenLimit` - 1 queens and two of each other piece, in the order
// queens, rooks, bishops, knights, White before Black, the last running fastest.
template <class Visit>
void ForEachPiecePair(int queenLimit, Force (&f)[2], Visit visit) {
  Force &w = f[WHITE], &b = f[BLACK];
  for (w.queens = 0; w.queens < queenLimit; w.queens++)
    for (b.queens = 0; b.queens < queenLimit; b.queens++)
      for (w.rooks = 0; w.rooks < 3; w.rooks++)
        for (b.rooks = 0; b.rooks < 3; b.rooks++)
          for (w.bishops = 0; w.bishops < 3; w.bishops++)
            for (b.bishops = 0; b.bishops < 3; b.bishops++)
              for (w.knights = 0; w.knights < 3; w.knights++)
                for (b.knights = 0; b.knights < 3; b.knights++) visit();
}

void NumberSignatures() {
  std::fill(std::begin(Signatures), std::end(Signatures), i16(-1));
  int number = 0;
  Force f[2] = {};
  ForEachPiecePair(2, f, [&] {
    if (HasSignature(f[WHITE], f[BLACK])) Signatures[PieceIndex(f[WHITE], f[BLACK])] = i16(number++);
  });
}

void NumberRookEndingFiles() {
  int number = 1;
  for (int mask = 0; mask < 256; mask++) {
    const int files = __builtin_popcount(mask);
    RookEndingFileClass[mask] = files == 0 ? 37 : files <= 2 ? number++ : 0;
  }
}

// The value of one pawn of a side on top of its kind's value, blended by the heavy shares of both sides.
i64 PawnBlend(const i32 (&corner)[4], i64 own, i64 enemy) {
  return (own * enemy * corner[0] + (256 - own) * enemy * corner[1] + own * (256 - enemy) * corner[2] +
          (256 - own) * (256 - enemy) * corner[3]) /
         65536;
}

i64 HeavyShare(const Force &f) { return f.Points() ? (2304 * f.queens + 1280 * f.rooks) / f.Points() : 0; }

// A side's pieces in opening or ending values, and the value of each of its pawns by the heavy shares.
struct SideValues {
  i64 pieces, pawn;
};

SideValues ValuesOf(const Force &f, i64 ownShare, i64 enemyShare, const i32 *pieceDelta, i64 minorDelta,
                    i64 rookDelta, const i32 (&blend)[4]) {
  const i64 queen = i64(PieceDeltaCommon[QUEEN]) + pieceDelta[QUEEN] + 2 * (RookDeltaCommon + rookDelta);
  const i64 rook = i64(PieceDeltaCommon[ROOK]) + pieceDelta[ROOK] + RookDeltaCommon + rookDelta;
  const i64 bishop = i64(PieceDeltaCommon[BISHOP]) + pieceDelta[BISHOP] + MinorDeltaCommon + minorDelta;
  const i64 knight = i64(PieceDeltaCommon[KNIGHT]) + pieceDelta[KNIGHT] + MinorDeltaCommon + minorDelta;
  return {queen * f.queens + rook * f.rooks + bishop * f.bishops + knight * f.knights,
          i64(PieceDeltaCommon[PAWN]) + pieceDelta[PAWN] + PawnBlend(blend, ownShare, enemyShare)};
}

// Everything an entry needs of its pieces, worked out once for the 81 pawn counts that share them.
struct PiecePair {
  Force f[2];
  TreeResult tree[2];  // without and with pawns on the board
  bool treeReadsPawns;  // the first step of the tree, which weighs the minors by their pawns
  i64 imbalance;        // the piece-only imbalance, good for White
  SideValues open[2], end[2];
  i64 tradeEnding;  // White's trade endings less Black's, for each of the two trees
  i64 tradeEndingWithPawns;
  i32 t;  // 24 - phase units, at least 0
  i16 phase[3];
  i64 weightOpening[2], weightEnding[2];
  bool cannotWinWithoutPawns[2], ending[2];
  i16 signature[2];
  bool swappedFirst, symmetric;  // the order of the colour-swapped pair in the building loop
};

i64 TradeEndings(const TreeResult &tree) {
  i64 sum = 0;
  for (int trade = 0; trade < TRADES; trade++)
    sum += (int(tree.earned[WHITE][trade]) - int(tree.earned[BLACK][trade])) * TradeEnding(trade);
  return sum;
}

void PreparePair(PiecePair &pair) {
  const Force &w = pair.f[WHITE], &b = pair.f[BLACK];
  Force withPawns[2] = {w, b};
  withPawns[WHITE].pawns = 1;
  pair.tree[0] = ExchangeTree(pair.f, true);
  pair.tree[1] = ExchangeTree(withPawns, true);
  pair.treeReadsPawns = w.Points() < 4 && b.Points() < 4;
  pair.tradeEnding = TradeEndings(pair.tree[0]);
  pair.tradeEndingWithPawns = TradeEndings(pair.tree[1]);
  pair.imbalance = 0;
  if (w.queens < 2 && b.queens < 2)
    pair.imbalance = -((i64(ImbalanceTable[PieceIndex(w, b)]) - ImbalanceTable[PieceIndex(b, w)]) / 2);
  const i64 share[2] = {HeavyShare(w), HeavyShare(b)};
  for (int side : {WHITE, BLACK}) {
    const Force &own = pair.f[side], &enemy = pair.f[ChangeSide(side)];
    const i64 x = share[side], y = share[ChangeSide(side)];
    pair.open[side] = ValuesOf(own, x, y, PieceDeltaOpening, MinorDeltaOpening, RookDeltaOpening, PawnBlendOpening);
    pair.end[side] = ValuesOf(own, x, y, PieceDeltaEnding, MinorDeltaEnding, RookDeltaEnding, PawnBlendEnding);
    pair.weightOpening[side] = ForcePart(ForceOpening, own);
    pair.weightEnding[side] = ForcePart(ForceEnding, own);
    pair.cannotWinWithoutPawns[side] = CannotWin(own);
    pair.ending[side] = NeedsNoKingSafety(enemy);
  }
  pair.t = std::max(0, 24 - w.PhaseUnits() - b.PhaseUnits());
  pair.phase[0] = i16(Phase(w.PhaseUnits() + b.PhaseUnits(), 24));
  pair.phase[1] = i16(Phase(b.PhaseUnits(), 12));
  pair.phase[2] = i16(Phase(w.PhaseUnits(), 12));
  pair.signature[0] = pair.signature[1] = -1;
  if (w.queens < 2 && b.queens < 2) {
    pair.signature[0] = Signatures[PieceIndex(w, b)];
    pair.signature[1] = Signatures[PieceIndex(b, w)];
    if ((pair.signature[0] < 0) != (pair.signature[1] < 0)) {
      printf("{%d %d} %d %d %d %d %d %d %d %d\n", pair.signature[0], pair.signature[1], w.queens, w.rooks,
             w.bishops, w.knights, b.queens, b.rooks, b.bishops, b.knights);
      quit(1);
    }
  }
  // The loop runs queens, rooks, bishops, knights, White's count before Black's: the first kind whose counts
  // differ decides which of the pair comes first.
  const int counts[4][2] = {{w.queens, b.queens}, {w.rooks, b.rooks}, {w.bishops, b.bishops}, {w.knights, b.knights}};
  pair.symmetric = true;
  pair.swappedFirst = false;
  for (const auto &c : counts)
    if (c[0] != c[1]) {
      pair.symmetric = false;
      pair.swappedFirst = c[0] > c[1];
      break;
    }
}

// The scaled balance of a pair with its pawn counts, good for White: the correction, the tree and the pawns.
i64 Balance(const PiecePair &pair, int whitePawns, int blackPawns) {
  const Force &w = pair.f[WHITE], &b = pair.f[BLACK];
  Force f[2] = {w, b};
  f[WHITE].pawns = whitePawns, f[BLACK].pawns = blackPawns;
  const bool pawns = whitePawns + blackPawns > 0;
  i64 v = pair.imbalance;
  // The values file fills pawn counts up to 2 only; the rest of the scratch stays 0 and is not read.
  if (w.queens < 2 && b.queens < 2 && whitePawns <= 2 && blackPawns <= 2)
    v -= (i64(ImbalancePawnTable[PawnIndex(f[WHITE], f[BLACK])]) - ImbalancePawnTable[PawnIndex(f[BLACK], f[WHITE])]) / 2;
  v += pair.treeReadsPawns ? ExchangeTree(f, true).value : pair.tree[pawns].value;
  if (w.bishops >= 2) v += BishopPair[blackPawns];
  if (b.bishops >= 2) v -= BishopPair[whitePawns];
  v += i64(w.rooks - b.rooks) * RookPawns[whitePawns + blackPawns];
  const i64 open = pair.open[WHITE].pieces + pair.open[WHITE].pawn * whitePawns - pair.open[BLACK].pieces -
                   pair.open[BLACK].pawn * blackPawns;
  const i64 end = pair.end[WHITE].pieces + pair.end[WHITE].pawn * whitePawns - pair.end[BLACK].pieces -
                  pair.end[BLACK].pawn * blackPawns + (pawns ? pair.tradeEndingWithPawns : pair.tradeEnding);
  return ScaleByLead((end * pair.t + open * (256 - pair.t)) / 256 + v, f);
}

constexpr int PIECE_PAIRS = 6561;

int PairIndexOf(const Force &w, const Force &b) {
  return w.queens + 3 * b.queens + 9 * w.rooks + 27 * b.rooks + 81 * w.bishops + 243 * b.bishops +
         729 * w.knights + 2187 * b.knights;
}

void FillEntry(MaterialEntry &e, const PiecePair &pair, const PiecePair &swapped, int whitePawns, int blackPawns) {
  const int pawns[2] = {whitePawns, blackPawns};
  e.current_phase = pair.phase[0];
  e.black_phase = pair.phase[1];
  e.white_phase = pair.phase[2];
  for (int side : {WHITE, BLACK}) {
    e.MaterialOpening[side] = i16(pair.weightOpening[side] + i64(ForceOpening[4]) * pawns[side]);
    e.MaterialEnding[side] = i16(pair.weightEnding[side] + i64(ForceEnding[4]) * pawns[side]);
    e.MaterialFlags[side] = u8((pair.cannotWinWithoutPawns[side] && !pawns[side] ? CANNOT_WIN : 0) |
                               (pair.ending[side] ? ENDING_FLAG : 0));
  }
  e.SignatureWhite = pair.signature[0];
  e.SignatureBlack = pair.signature[1];
  // The entry built first of a colour-swapped pair decides for both: the table is antisymmetric to the last unit.
  const bool symmetric = pair.symmetric && whitePawns == blackPawns;
  const bool swappedFirst = pair.symmetric ? whitePawns > blackPawns : pair.swappedFirst;
  if (symmetric) e.MaterialBalance = 0;
  else if (swappedFirst) e.MaterialBalance = i16(-i16(-Balance(swapped, blackPawns, whitePawns)));
  else e.MaterialBalance = i16(-Balance(pair, whitePawns, blackPawns));
}

}  // namespace

void BuildMaterialTable() {
  NumberSignatures();
  NumberRookEndingFiles();
  std::vector<PiecePair> pairs(PIECE_PAIRS);
  std::vector<int> swappedPair(PIECE_PAIRS);
  Force f[2] = {};
  ForEachPiecePair(3, f, [&] {
    const int index = PairIndexOf(f[WHITE], f[BLACK]);
    pairs[index].f[WHITE] = f[WHITE];
    pairs[index].f[BLACK] = f[BLACK];
    PreparePair(pairs[index]);
    swappedPair[index] = PairIndexOf(f[BLACK], f[WHITE]);
  });
  // In the order of the index, so that the table is written straight through.
  MaterialEntry *e = MaterialTable;
  for (int blackPawns = 0; blackPawns < 9; blackPawns++)
    for (int whitePawns = 0; whitePawns < 9; whitePawns++)
      for (int pair = 0; pair < PIECE_PAIRS; pair++)
        FillEntry(*e++, pairs[pair], pairs[swappedPair[pair]], whitePawns, blackPawns);
  MaterialTable[MATERIAL_OVERFLOW] = MaterialEntry{-1, -1, -1, 0, {0, 0}, {0, 0}, -1, -1, {0, 0}};
}

namespace {

Force ForceOnBoard(int side) {
  const BoardRecord &bd = thread_board;
  return Force{bd.PieceCount[QUEEN][side], bd.PieceCount[ROOK][side], bd.PieceCount[BISHOP][side],
               bd.PieceCount[KNIGHT][side], bd.PieceCount[PAWN][side]};
}

}  // namespace

i32 EvaluateMaterial() {
  const BoardRecord &bd = thread_board;
  const Force f[2] = {ForceOnBoard(WHITE), ForceOnBoard(BLACK)};
  i64 v = ExchangeTree(f, false).value;
  v += i64(RookPawns[std::min(f[WHITE].pawns + f[BLACK].pawns, 16)]) *
       (std::min(f[WHITE].rooks, 2) - std::min(f[BLACK].rooks, 2));
  v += bd.Material[WHITE] - bd.Material[BLACK];
  return i32(-ScaleByLead(v, f));
}

void ComputePhases() {
  BoardRecord &bd = thread_board;
  const Force w = ForceOnBoard(WHITE), b = ForceOnBoard(BLACK);
  bd.white_phase = Phase(w.PhaseUnits(), 12);
  bd.black_phase = Phase(b.PhaseUnits(), 12);
  bd.current_phase = Phase(w.PhaseUnits() + b.PhaseUnits(), 24);
  bd.MaterialOpening[WHITE] = ForceWeight(ForceOpening, w);
  bd.MaterialOpening[BLACK] = ForceWeight(ForceOpening, b);
  bd.MaterialEnding[WHITE] = ForceWeight(ForceEnding, w);
  bd.MaterialEnding[BLACK] = ForceWeight(ForceEnding, b);
}
