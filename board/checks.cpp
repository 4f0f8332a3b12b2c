#include "board/movegen.h"
#include "board/move_scoring.h"

namespace {

// Checking-move generation for the side Us against the king on E.
template <int Us>
struct CheckFinder : MoveAppender<Us>, QuietScorer<Us> {
  using MoveAppender<Us>::Safety;
  using MoveAppender<Us>::Push;
  using QuietScorer<Us>::Score;
  const BoardRecord &b = thread_board;
  const int E = b.KingSquare[ChangeSide(Us)];
  const u64 occ = b.Occupied, empty = ~b.Occupied;
  const u64 bishopLines = BishopAttacks(E, occ), rookLines = RookAttacks(E, occ);
  const u64 diagonalSliders = b.Bishops[Us] | b.Queens[Us], lineSliders = b.Rooks[Us] | b.Queens[Us];

  explicit CheckFinder(int nearAlpha) : QuietScorer<Us>(nearAlpha) {}

  // Does moving the piece on `square` uncover a check by an own slider behind it on a diagonal, or on a line?
  bool UncoversDiagonal(int square) const {
    return (bishopLines & Bit(square)) && (BishopAttacks(square, occ) & RayBeyond[square][E] & diagonalSliders);
  }
  bool UncoversLine(int square) const {
    return (rookLines & Bit(square)) && (RookAttacks(square, occ) & RayBeyond[square][E] & lineSliders);
  }

  void Add(int from, int to, int moved) {
    const int safety = moved == KING ? 1 : Safety(from, to, moved, NONE, 0);
    if (!safety) return;
    const u32 move = MakeMove(from, to, moved, NONE);
    Push(move, Score(move, safety), safety);
  }

  void AddAll(int from, u64 destinations, int moved) {
    for (u64 to = destinations & empty; to;) Add(from, PopLowest(to), moved);
  }

  // A piece that uncovers a check may go anywhere; otherwise only to the squares that check directly.
  template <int Piece>
  void PieceChecks(u64 directLines) {
    for (u64 pieces = b.PieceBoards[Piece][Us]; pieces;) {
      const int from = PopLowest(pieces);
      const u64 attacks = AttacksFrom<Piece>(from, occ);
      bool uncovers = (Piece != BISHOP && UncoversDiagonal(from)) || (Piece != ROOK && UncoversLine(from));
      AddAll(from, uncovers ? attacks : attacks & directLines, Piece);
    }
  }

  void QueenChecks() {
    for (u64 queens = b.Queens[Us]; queens;) {
      const int from = PopLowest(queens);
      const u64 attacks = AttacksFrom<QUEEN>(from, occ);
      AddAll(from, attacks & bishopLines, QUEEN);
      AddAll(from, attacks & rookLines, QUEEN);
    }
  }

  void PawnStep(int from, int forward) {
    Add(from, from + forward, PAWN);
    const bool startRank = Us == WHITE ? RankOf(from) == 1 : RankOf(from) == 6;
    if (startRank && (empty & Bit(from + 2 * forward))) Add(from, from + 2 * forward, PAWN);
  }

  void PawnChecks() {
    constexpr int forward = Us == WHITE ? 8 : -8;
    const u64 pawns = b.Pawns[Us] & ~RankMask(Us == WHITE ? 6 : 1);
    // A pawn stands behind its square: the back rank of the side has no such square.
    const u64 checkSquares = PawnAttacks[ChangeSide(Us)][E] & empty & ~RankMask(Us == WHITE ? 0 : 7);
    for (u64 to = checkSquares; to;) {
      const int sq = PopLowest(to);
      if (pawns & Bit(sq - forward)) Add(sq - forward, sq, PAWN);
    }
    if (RankOf(E) == (Us == WHITE ? 4 : 3))
      for (u64 to = checkSquares; to;) {
        const int sq = PopLowest(to), from = sq - 2 * forward;
        if ((pawns & Bit(from)) && (empty & Bit(sq - forward))) Add(from, sq, PAWN);
      }
    const u64 pushable = pawns & (Us == WHITE ? empty >> 8 : empty << 8);
    for (u64 p = pushable & RankMask(RankOf(E)); p;) {
      const int from = PopLowest(p);
      if (UncoversLine(from)) PawnStep(from, forward);
    }
    for (u64 p = pushable; p;) {
      const int from = PopLowest(p);
      if (UncoversDiagonal(from)) PawnStep(from, forward);
    }
  }

  void KingChecks() {
    const int king = b.KingSquare[Us];
    if (!(b.Kings[Us] & Bit(king)) || !(UncoversDiagonal(king) || UncoversLine(king))) return;
    const int line = Direction[king][E] < 0 ? -Direction[king][E] : Direction[king][E];
    for (u64 to = KingAttacks[king] & empty; to;) {
      const int sq = PopLowest(to);
      const int toLine = Direction[sq][E] < 0 ? -Direction[sq][E] : Direction[sq][E];
      if (toLine != line) Add(king, sq, KING);
    }
  }

  // Castling checks when the rook lands on the enemy king's file, or frees the home square on the back rank.
  template <bool KingSide>
  void CastlingCheck() {
    constexpr int home = Us == WHITE ? 4 : 60;
    constexpr int rookSquare = KingSide ? home + 1 : home - 1;
    const u64 enemyKing = b.Kings[ChangeSide(Us)];
    const u64 flags = (KingSide ? 1 : 2) << (Us == WHITE ? 0 : 2);
    if (!(b.CastlingFlags & flags)) return;
    const bool gives = (RookAttacks(rookSquare, occ) & FileMask(FileOf(rookSquare)) & enemyKing) ||
                       (RookAttacks(home, occ) & RankMask(RankOf(home)) & enemyKing);
    if (!gives || !CastlingAllowed<Us, KingSide>()) return;
    constexpr u32 move = CastlingMove<Us, KingSide>();
    Push(move, Score(move, 1), 1);
  }

  void Run() {
    if (b.PieceCount[ROOK][Us] + b.PieceCount[QUEEN][Us]) {
      QueenChecks();
      PieceChecks<ROOK>(rookLines);
    }
    if (b.PieceCount[BISHOP][Us] + b.PieceCount[KNIGHT][Us]) {
      PieceChecks<BISHOP>(bishopLines);
      PieceChecks<KNIGHT>(KnightAttacks[E]);
    }
    if (b.PieceCount[PAWN][Us]) PawnChecks();
    KingChecks();
    CastlingCheck<true>();
    CastlingCheck<false>();
  }
};

}  // namespace

void GenerateChecks(int nearAlpha) {
  if (thread_board.SideToMove == WHITE)
    CheckFinder<WHITE>(nearAlpha).Run();
  else
    CheckFinder<BLACK>(nearAlpha).Run();
}
