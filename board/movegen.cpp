#include "board/movegen.h"

#include <cstdlib>

#include "board/makemove.h"
#include "board/move_scoring.h"

namespace {

template <int Us>
constexpr int PromotionRank = Us == WHITE ? 6 : 1;

// Captures and promotions: classified, dropped if they lose and only good ones are wanted, scored.
template <int Us, bool GoodOnly>
struct CaptureGenerator : MoveAppender<Us> {
  using MoveAppender<Us>::Safety;
  using MoveAppender<Us>::Push;

  void Add(int from, int to, int moved, int captured, int promotion) {
    int safety = Safety(from, to, moved, captured, promotion);
    if (GoodOnly && !safety) return;
    const u32 move = MakeMove(from, to, moved, captured, promotion);
    const int score = CaptureScoreOf(move, Us, &safety);
    Push(move, score, safety);
  }

  // Under-promotions are never safe by exchange, and score with a rate of 0.
  void AddUnderPromotion(int from, int to, int captured, int promotion) {
    int safety = 0;
    const u32 move = MakeMove(from, to, PAWN, captured, promotion);
    const int score = CaptureScoreOf(move, Us, &safety);
    Push(move, score, safety);
  }

  template <int Piece>
  void PieceCaptures(u64 targets) {
    const BoardRecord &b = thread_board;
    for (u64 pieces = b.PieceBoards[Piece][Us]; pieces;) {
      const int from = PopLowest(pieces);
      for (u64 to = AttacksFrom<Piece>(from, b.Occupied) & targets; to;) {
        const int sq = PopLowest(to);
        if constexpr (Piece == KING) {
          int safety = 1;
          const u32 move = MakeMove(from, sq, KING, b.Board[sq]);
          Push(move, CaptureScoreOf(move, Us, &safety), safety);
        } else {
          Add(from, sq, Piece, b.Board[sq], 0);
        }
      }
    }
  }

  void EnPassantCaptures() {
    const BoardRecord &b = thread_board;
    if (GameHistoryCount == 0) return;
    const u32 last = GameHistory[GameHistoryCount - 1].Move;
    if (MovedPiece(last) != PAWN || MoveFrom(last) - MoveTo(last) != (Us == WHITE ? 16 : -16)) return;
    const int t = MoveTo(last), landing = Us == WHITE ? t + 8 : t - 8;
    if (FileOf(t) != 0 && (b.Pawns[Us] & Bit(t - 1))) Push(MakeMove(t - 1, landing, PAWN, NONE), EN_PASSANT_SCORE, 1);
    if (FileOf(t) != 7 && (b.Pawns[Us] & Bit(t + 1))) Push(MakeMove(t + 1, landing, PAWN, NONE), EN_PASSANT_SCORE, 1);
  }

  void Captures(u64 targets) {
    const BoardRecord &b = thread_board;
    u64 pawns = Us == WHITE ? (((targets >> 7) & 0x00FEFEFEFEFEFEFEULL) | ((targets >> 9) & 0x007F7F7F7F7F7F7FULL))
                            : (((targets << 7) & 0x7F7F7F7F7F7F7F7FULL) | ((targets << 9) & 0xFEFEFEFEFEFEFEFEULL));
    pawns &= b.Pawns[Us];
    while (pawns) {
      const int from = Us == WHITE ? PopLowest(pawns) : PopHighest(pawns);
      const bool promotes = RankOf(from) == PromotionRank<Us>;
      for (u64 victims = PawnAttacks[Us][from] & targets; victims;) {
        const int to = PopLowest(victims), captured = b.Board[to];
        Add(from, to, PAWN, captured, promotes ? QUEEN : 0);
        if (promotes && !GoodOnly)
          for (int piece : {KNIGHT, ROOK, BISHOP}) AddUnderPromotion(from, to, captured, piece);
      }
    }
    EnPassantCaptures();
    PieceCaptures<KNIGHT>(targets);
    PieceCaptures<BISHOP>(targets);
    PieceCaptures<ROOK>(targets);
    PieceCaptures<QUEEN>(targets);
    PieceCaptures<KING>(targets);
  }

  void Promotions() {
    const BoardRecord &b = thread_board;
    constexpr int forward = Us == WHITE ? 8 : -8;
    const u64 empty = ~b.Occupied;
    u64 pawns = b.Pawns[Us] & RankMask(PromotionRank<Us>) & (Us == WHITE ? empty >> 8 : empty << 8);
    while (pawns) {
      const int from = PopHighest(pawns), to = from + forward;
      Add(from, to, PAWN, NONE, QUEEN);
      for (int piece : {ROOK, KNIGHT, BISHOP}) AddUnderPromotion(from, to, NONE, piece);
    }
  }
};

// Quiet moves: castling, pieces, pawn steps, king; scored by history.
template <int Us, bool SafeOnly>
struct QuietGenerator : MoveAppender<Us>, QuietScorer<Us> {
  using MoveAppender<Us>::Safety;
  using MoveAppender<Us>::Push;
  using QuietScorer<Us>::Score;

  explicit QuietGenerator(int nearAlpha) : QuietScorer<Us>(nearAlpha) {}

  void Add(int from, int to, int moved) {
    const int safety = moved == KING ? 1 : Safety(from, to, moved, NONE, 0);
    if (SafeOnly && !safety) return;
    const u32 move = MakeMove(from, to, moved, NONE);
    Push(move, Score(move, safety), safety);
  }

  template <int Piece>
  void PieceQuiets(u64 empty) {
    const BoardRecord &b = thread_board;
    for (u64 pieces = b.PieceBoards[Piece][Us]; pieces;) {
      const int from = PopLowest(pieces);
      for (u64 to = AttacksFrom<Piece>(from, b.Occupied) & empty; to;) Add(from, PopLowest(to), Piece);
    }
  }

  template <bool KingSide>
  void Castling() {
    if (!CastlingAllowed<Us, KingSide>()) return;
    constexpr u32 move = CastlingMove<Us, KingSide>();
    Push(move, Score(move, 1), 1);
  }

  void Quiets() {
    const BoardRecord &b = thread_board;
    const u64 empty = ~b.Occupied;
    Castling<true>();
    Castling<false>();
    PieceQuiets<KNIGHT>(empty);
    PieceQuiets<BISHOP>(empty);
    constexpr int forward = Us == WHITE ? 8 : -8;
    u64 pawns = b.Pawns[Us] & ~RankMask(PromotionRank<Us>) & (Us == WHITE ? empty >> 8 : empty << 8);
    while (pawns) {
      const int from = Us == WHITE ? PopLowest(pawns) : PopHighest(pawns);
      Add(from, from + forward, PAWN);
      const bool startRank = Us == WHITE ? from < 16 : from >= 48;
      if (startRank && (empty & Bit(from + 2 * forward))) Add(from, from + 2 * forward, PAWN);
    }
    PieceQuiets<ROOK>(empty);
    PieceQuiets<QUEEN>(empty);
    PieceQuiets<KING>(empty);
  }
};

template <int Us>
void AddMoveIfValidFor(u32 move) {
  const BoardRecord &b = thread_board;
  constexpr int home = Us == WHITE ? 4 : 60;
  const int from = MoveFrom(move), to = MoveTo(move);
  if (MovedPiece(move) == KING && from == home && (to == home - 2 || to == home + 2)) {
    bool allowed = to == home + 2 ? CastlingAllowed<Us, true>() : CastlingAllowed<Us, false>();
    if (allowed) MoveAppender<Us>().Push(move, 0, UNKNOWN_SAFETY);
    return;
  }
  // Between[to][from] holds `to` for a line move, so captures along lines are refused here.
  if (MovedPiece(move) != b.Board[from] || CapturedPiece(move) != b.Board[to]) return;
  if (!(b.Pieces[Us] & Bit(from)) || (b.Pieces[Us] & Bit(to))) return;
  if (b.Occupied & Between[to][from]) return;
  MoveAppender<Us>().Push(move, 0, UNKNOWN_SAFETY);
}

}  // namespace

void GenerateCaptures(u64 targets) {
  if (thread_board.SideToMove == WHITE)
    CaptureGenerator<WHITE, false>().Captures(targets);
  else
    CaptureGenerator<BLACK, false>().Captures(targets);
}

void GenerateGoodCaptures(u64 targets) {
  if (thread_board.SideToMove == WHITE)
    CaptureGenerator<WHITE, true>().Captures(targets);
  else
    CaptureGenerator<BLACK, true>().Captures(targets);
}

void GeneratePromotions() {
  if (thread_board.SideToMove == WHITE)
    CaptureGenerator<WHITE, false>().Promotions();
  else
    CaptureGenerator<BLACK, false>().Promotions();
}

void GenerateQuiets(int nearAlpha) {
  if (thread_board.SideToMove == WHITE)
    QuietGenerator<WHITE, false>(nearAlpha).Quiets();
  else
    QuietGenerator<BLACK, false>(nearAlpha).Quiets();
}

void GenerateSafeQuiets(int nearAlpha) {
  if (thread_board.SideToMove == WHITE)
    QuietGenerator<WHITE, true>(nearAlpha).Quiets();
  else
    QuietGenerator<BLACK, true>(nearAlpha).Quiets();
}

void AddMoveIfValid(u32 move) {
  thread_board.SideToMove == WHITE ? AddMoveIfValidFor<WHITE>(move) : AddMoveIfValidFor<BLACK>(move);
}

void LegalMoves(int start) {
  BoardRecord &b = thread_board;
  const int savedPly = Ply;
  Ply = LEGAL_LIST_PLY;
  MoveStackTop = start;
  const int us = b.SideToMove;
  const bool inCheck = IsAttacked(ChangeSide(us), b.KingSquare[us]);
  PlyStack[Ply].InCheck = inCheck;
  GenerateCaptures(b.Pieces[ChangeSide(us)]);
  GeneratePromotions();
  GenerateQuiets(1);
  int kept = start;
  for (int i = start; i < MoveStackTop; i++) {
    const u32 move = MoveStack[i].Move;
    if (inCheck && MovedPiece(move) == KING && std::abs(FileOf(MoveFrom(move)) - FileOf(MoveTo(move))) == 2) continue;
    // Taking the king is no move: only a set-up position with the side not to move in check offers it.
    if (CapturedPiece(move) == KING) continue;
    make_move(move, 1);
    const bool exposed = IsAttacked(b.SideToMove, b.KingSquare[us]);
    unmake_move();
    if (!exposed) MoveStack[kept++].Move = move;
  }
  MoveStackTop = kept;
  Ply = savedPly;
}

bool IsLegal(u32 move) {
  const int savedTop = MoveStackTop;
  LegalMoves(5000);
  bool found = false;
  for (int i = 5000; i < MoveStackTop && !found; i++) found = MoveStack[i].Move == move;
  MoveStackTop = savedTop;
  return found;
}

int MoveSafety(u32 move) {
  if (MovedPiece(move) == KING || IsEnPassant(move)) return 1;
  const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move);
  if (thread_board.SideToMove == WHITE)
    return MoveAppender<WHITE>().Safety(from, to, moved, CapturedPiece(move), PromotionPiece(move));
  return MoveAppender<BLACK>().Safety(from, to, moved, CapturedPiece(move), PromotionPiece(move));
}

int CaptureScore(u32 move, int *safety) { return CaptureScoreOf(move, thread_board.SideToMove, safety); }

int HistoryScore(u32 move, int nearAlpha, int forced, int safety) {
  const int side = thread_board.SideToMove;
  if (forced) return HistoryCell(move, safety, 2, side) + (HistoryCell(move, safety, 2, side) >> 2);
  return side == WHITE ? QuietScorer<WHITE>(nearAlpha).Score(move, safety)
                       : QuietScorer<BLACK>(nearAlpha).Score(move, safety);
}
