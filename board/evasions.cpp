#include "board/movegen.h"
#include "board/move_scoring.h"

namespace {

template <int Us>
inline int EvasionScoreOf(u32 move, int *safety) {
  if (IsCaptureOrPromotion(move)) {
    const int s = CaptureScoreOf(move, Us, safety);  // marks a losing capture with a positive score as 2
    return s > 0 ? s + EVASION_CAPTURE_OFFSET : s;
  }
  if (IsEnPassant(move)) return EN_PASSANT_SCORE + EVASION_CAPTURE_OFFSET;
  const int t = HistoryCell(move, *safety, 2, Us);
  const int s = t + (t >> 2);
  if (GameHistoryCount < 1) return s;
  const int checkFrom = MoveTo(GameHistory[GameHistoryCount - 1].Move);
  const int king = thread_board.KingSquare[Us];
  if (move == CheckReplies[0][checkFrom][king][Us]) return s + 80000;
  if (move == CheckReplies[1][checkFrom][king][Us]) return s + 40000;
  return s;
}

template <int Us>
struct EvasionGenerator : MoveAppender<Us> {
  using MoveAppender<Us>::Safety;
  using MoveAppender<Us>::Push;

  void Add(int from, int to, int moved, int captured, int promotion, int safety) {
    const u32 move = MakeMove(from, to, moved, captured, promotion);
    const int score = EvasionScoreOf<Us>(move, &safety);
    Push(move, score, safety);
  }

  void AddClassified(int from, int to, int moved, int captured, int promotion) {
    Add(from, to, moved, captured, promotion, Safety(from, to, moved, captured, promotion));
  }

  // A pawn arriving on the last rank: queen, rook, bishop, knight.
  void AddPawnMove(int from, int to, bool everyPromotionClassified) {
    const int captured = thread_board.Board[to];
    if (RankOf(to) != (Us == WHITE ? 7 : 0)) {
      AddClassified(from, to, PAWN, captured, 0);
      return;
    }
    AddClassified(from, to, PAWN, captured, QUEEN);
    for (int piece : {ROOK, BISHOP, KNIGHT}) {
      if (everyPromotionClassified)
        AddClassified(from, to, PAWN, captured, piece);
      else
        Add(from, to, PAWN, captured, piece, 0);
    }
  }

  template <int Piece>
  void PieceMoves(u64 targets) {
    const BoardRecord &b = thread_board;
    for (u64 pieces = b.PieceBoards[Piece][Us]; pieces;) {
      const int from = PopLowest(pieces);
      if (IsPinnedPiece(from)) continue;
      for (u64 to = AttacksFrom<Piece>(from, b.Occupied) & targets; to;) {
        const int sq = PopLowest(to);
        AddClassified(from, sq, Piece, b.Board[sq], 0);
      }
    }
  }

  void Run() {
    constexpr int Them = ChangeSide(Us);
    constexpr int forward = Us == WHITE ? 8 : -8;
    const BoardRecord &b = thread_board;
    const int king = b.KingSquare[Us];
    const u64 occ = b.Occupied;
    const u64 checkers = (KnightAttacks[king] & b.Knights[Them]) | (PawnAttacks[Us][king] & b.Pawns[Them]) |
                         (RookAttacks(king, occ) & (b.Rooks[Them] | b.Queens[Them])) |
                         (BishopAttacks(king, occ) & (b.Bishops[Them] | b.Queens[Them])) |
                         (KingAttacks[king] & b.Kings[Them]);
    if (!checkers) return;
    const bool doubleCheck = PopCount(checkers) > 1;
    const int c1 = HighestSquare(checkers);
    u64 targets = checkers;
    if (!doubleCheck && (b.Board[c1] & 4)) targets |= Between[c1][king];

    // Only a king that really stands there moves. It is lifted off the board for the test, so that a checking
    // slider also covers the squares behind it, however many pieces give check.
    if (b.Kings[Us] & Bit(king))
      for (u64 steps = KingAttacks[king] & ~b.Pieces[Us]; steps;) {
        const int to = PopLowest(steps);
        if (!IsAttackedThrough(Them, to, occ & ~Bit(king))) Add(king, to, KING, b.Board[to], 0, 1);
      }
    if (doubleCheck) return;

    PieceMoves<KNIGHT>(targets);
    PieceMoves<BISHOP>(targets);
    PieceMoves<ROOK>(targets);
    PieceMoves<QUEEN>(targets);

    const u64 singles = (Us == WHITE ? b.Pawns[Us] << 8 : b.Pawns[Us] >> 8) & ~occ;
    const u64 thirdRank = Us == WHITE ? RankMask(2) : RankMask(5);
    for (u64 to = (Us == WHITE ? (singles & thirdRank) << 8 : (singles & thirdRank) >> 8) & ~occ & targets; to;) {
      const int sq = PopLowest(to), from = sq - 2 * forward;
      if (!IsPinnedPiece(from)) AddClassified(from, sq, PAWN, NONE, 0);
    }
    for (u64 to = singles & targets; to;) {
      const int sq = PopLowest(to), from = sq - forward;
      if (!IsPinnedPiece(from)) AddPawnMove(from, sq, false);
    }
    if (b.Board[c1] == PAWN && RankOf(c1) == (Us == WHITE ? 4 : 3) && GameHistoryCount > 0) {
      const u32 last = GameHistory[GameHistoryCount - 1].Move;
      if (MoveTo(last) == c1 && RankOf(MoveFrom(last)) == (Us == WHITE ? 6 : 1)) {
        if (FileOf(c1) != 0 && (b.Pawns[Us] & Bit(c1 - 1)) && !IsPinnedPiece(c1 - 1))
          Add(c1 - 1, c1 + forward, PAWN, NONE, 0, 1);
        if (FileOf(c1) != 7 && (b.Pawns[Us] & Bit(c1 + 1)) && !IsPinnedPiece(c1 + 1))
          Add(c1 + 1, c1 + forward, PAWN, NONE, 0, 1);
      }
    }
    for (u64 pawns = b.Pawns[Us] & PawnAttacks[Them][c1]; pawns;) {
      const int from = PopLowest(pawns);
      if (!IsPinnedPiece(from)) AddPawnMove(from, c1, true);
    }
  }
};

void Evasions() {
  if (thread_board.SideToMove == WHITE)
    EvasionGenerator<WHITE>().Run();
  else
    EvasionGenerator<BLACK>().Run();
}

}  // namespace

int GenerateEvasions(int stage) { return stage == 14 ? GenerateEvasionsNow() : 0; }

int GenerateEvasionsNow() {
  PlyStack[Ply].TriedCount = 0;
  const int start = MoveStackTop;
  Evasions();
  return MoveStackTop > start ? 12 : 0;
}

void GenerateEvasionsList() { Evasions(); }

int EvasionScore(u32 move, int *safety) {
  return thread_board.SideToMove == WHITE ? EvasionScoreOf<WHITE>(move, safety) : EvasionScoreOf<BLACK>(move, safety);
}

bool IsPinnedPiece(int square) {
  const BoardRecord &b = thread_board;
  const int us = b.SideToMove, them = ChangeSide(us);
  const int d = Direction[square][b.KingSquare[us]];
  u64 line, pinners;
  if (d == 9 || d == -9) {
    line = (RaySW[square] | RayNE[square]) & BishopAttacks(square, b.Occupied);
    pinners = b.Bishops[them] | b.Queens[them];
  } else if (d == 7 || d == -7) {
    line = (RaySE[square] | RayNW[square]) & BishopAttacks(square, b.Occupied);
    pinners = b.Bishops[them] | b.Queens[them];
  } else if (d == 8 || d == -8) {
    line = FileMask(FileOf(square)) & RookAttacks(square, b.Occupied);
    pinners = b.Rooks[them] | b.Queens[them];
  } else if (d == 1 || d == -1) {
    line = RankMask(RankOf(square)) & RookAttacks(square, b.Occupied);
    pinners = b.Rooks[them] | b.Queens[them];
  } else {
    return false;
  }
  return (line & b.Kings[us] & Bit(b.KingSquare[us])) && (line & pinners);
}
