#include "eval/material.h"

#include <algorithm>
#include <climits>
#include <iterator>
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

i16 ForceWeight(const i32 *weights, const Force &f) {
  const i64 sum = i64(weights[0]) * f.knights + i64(weights[1]) * f.bishops + i64(weights[2]) * f.rooks +
                  i64(weights[3]) * f.queens + i64(weights[4]) * f.pawns;
  return i16(sum);
}

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

// Opening or ending value of a side's force, pawns blended by the heavy shares.
i64 ForceValue(const Force &f, i64 ownShare, i64 enemyShare, const i32 *pieceDelta, i64 minorDelta, i64 rookDelta,
               const i32 (&blend)[4]) {
  const i64 queen = i64(PieceDeltaCommon[QUEEN]) + pieceDelta[QUEEN] + 2 * (RookDeltaCommon + rookDelta);
  const i64 rook = i64(PieceDeltaCommon[ROOK]) + pieceDelta[ROOK] + RookDeltaCommon + rookDelta;
  const i64 bishop = i64(PieceDeltaCommon[BISHOP]) + pieceDelta[BISHOP] + MinorDeltaCommon + minorDelta;
  const i64 knight = i64(PieceDeltaCommon[KNIGHT]) + pieceDelta[KNIGHT] + MinorDeltaCommon + minorDelta;
  const i64 pawn = i64(PieceDeltaCommon[PAWN]) + pieceDelta[PAWN] + PawnBlend(blend, ownShare, enemyShare);
  return queen * f.queens + rook * f.rooks + bishop * f.bishops + knight * f.knights + pawn * f.pawns;
}

i64 HeavyShare(const Force &f) { return f.Points() ? (2304 * f.queens + 1280 * f.rooks) / f.Points() : 0; }

// The correction of one configuration, good for White, before scaling.
i64 Correction(const Force (&f)[2]) {
  const Force &w = f[WHITE], &b = f[BLACK];
  i64 v = 0;
  if (w.queens < 2 && b.queens < 2) {
    const int a = PieceIndex(w, b), aSwapped = PieceIndex(b, w);
    const int i = PawnIndex(w, b), iSwapped = PawnIndex(b, w);
    v = -((i64(ImbalanceTable[a]) - ImbalanceTable[aSwapped]) / 2) -
        ((i64(ImbalancePawnTable[i]) - ImbalancePawnTable[iSwapped]) / 2);
  }
  const TreeResult tree = ExchangeTree(f, true);
  v += tree.value;
  if (w.bishops >= 2) v += BishopPair[b.pawns];
  if (b.bishops >= 2) v -= BishopPair[w.pawns];
  v += i64(w.rooks - b.rooks) * RookPawns[w.pawns + b.pawns];
  const i64 x = HeavyShare(w), y = HeavyShare(b);
  const i64 open = ForceValue(w, x, y, PieceDeltaOpening, MinorDeltaOpening, RookDeltaOpening, PawnBlendOpening) -
                   ForceValue(b, y, x, PieceDeltaOpening, MinorDeltaOpening, RookDeltaOpening, PawnBlendOpening);
  i64 end = ForceValue(w, x, y, PieceDeltaEnding, MinorDeltaEnding, RookDeltaEnding, PawnBlendEnding) -
            ForceValue(b, y, x, PieceDeltaEnding, MinorDeltaEnding, RookDeltaEnding, PawnBlendEnding);
  for (int trade = 0; trade < TRADES; trade++)
    end += (int(tree.earned[WHITE][trade]) - int(tree.earned[BLACK][trade])) * TradeEnding(trade);
  const i64 t = std::max(0, 24 - w.PhaseUnits() - b.PhaseUnits());
  return (end * t + open * (256 - t)) / 256 + v;
}

int MaterialIndexOf(const Force &w, const Force &b) {
  return w.queens + 3 * b.queens + 9 * w.rooks + 27 * b.rooks + 81 * w.bishops + 243 * b.bishops +
         729 * w.knights + 2187 * b.knights + 6561 * w.pawns + 59049 * b.pawns;
}

constexpr i16 NOT_BUILT = 32700;

void BuildEntry(const Force (&f)[2]) {
  const Force &w = f[WHITE], &b = f[BLACK];
  MaterialEntry &e = MaterialTable[MaterialIndexOf(w, b)];
  e.white_phase = i16(Phase(w.PhaseUnits(), 12));
  e.black_phase = i16(Phase(b.PhaseUnits(), 12));
  e.current_phase = i16(Phase(w.PhaseUnits() + b.PhaseUnits(), 24));
  for (int side : {WHITE, BLACK}) {
    e.MaterialOpening[side] = ForceWeight(ForceOpening, f[side]);
    e.MaterialEnding[side] = ForceWeight(ForceEnding, f[side]);
    e.MaterialFlags[side] = u8((CannotWin(f[side]) ? CANNOT_WIN : 0) |
                               (NeedsNoKingSafety(f[ChangeSide(side)]) ? ENDING_FLAG : 0));
  }
  e.SignatureWhite = e.SignatureBlack = -1;
  if (w.queens < 2 && b.queens < 2) {
    e.SignatureWhite = Signatures[PieceIndex(w, b)];
    e.SignatureBlack = Signatures[PieceIndex(b, w)];
    if ((e.SignatureWhite < 0) != (e.SignatureBlack < 0)) {
      printf("{%d %d} %d %d %d %d %d %d %d %d\n", e.SignatureWhite, e.SignatureBlack, w.queens, w.rooks, w.bishops,
             w.knights, b.queens, b.rooks, b.bishops, b.knights);
      quit(1);
    }
  }
  i64 total = ScaleByLead(Correction(f), f);
  // The colour-swapped entry, once built, decides: the table is antisymmetric to the last unit.
  const MaterialEntry &swapped = MaterialTable[MaterialIndexOf(b, w)];
  if (swapped.current_phase != NOT_BUILT) total = swapped.MaterialBalance;
  e.MaterialBalance = i16(-total);
}

}  // namespace

void BuildMaterialTable() {
  NumberSignatures();
  NumberRookEndingFiles();
  for (MaterialEntry &e : MaterialTable) e.current_phase = NOT_BUILT;
  MaterialTable[MATERIAL_OVERFLOW] = MaterialEntry{-1, -1, -1, 0, {0, 0}, {0, 0}, -1, -1, {0, 0}};
  Force f[2] = {};
  ForEachPiecePair(3, f, [&] {
    for (f[WHITE].pawns = 0; f[WHITE].pawns < 9; f[WHITE].pawns++)
      for (f[BLACK].pawns = 0; f[BLACK].pawns < 9; f[BLACK].pawns++) BuildEntry(f);
  });
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
