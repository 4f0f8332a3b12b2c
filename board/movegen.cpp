#include "board/movegen.h"

#include <cstdlib>

#include "board/makemove.h"
#include "board/move_scoring.h"

namespace {

template <int Us>
constexpr int PromotionRank = Us == WHITE ? 6 : 1;

// A capture or promotion: classified, dropped if it loses and only good ones are wanted, scored.
template <int Us, bool GoodOnly>
inline void AddCapture(int from, int to, int moved, int captured, int promotion) {
  int safety = SafetyOf(from, to, moved, captured, promotion);
  if (GoodOnly && !safety) return;
  const u32 move = MakeMove(from, to, moved, captured, promotion);
  const int score = CaptureScoreOf(move, Us, &safety);
  PushMove(move, score, safety);
}

// The under-promotions: never safe by exchange, scored with a rate of 0.
template <int Us>
inline void AddUnderPromotion(int from, int to, int captured, int promotion) {
  int safety = 0;
  const u32 move = MakeMove(from, to, PAWN, captured, promotion);
  const int score = CaptureScoreOf(move, Us, &safety);
  PushMove(move, score, safety);
}

template <int Us, bool SafeOnly>
inline void AddQuiet(int from, int to, int moved, int nearAlpha) {
  const int safety = moved == KING ? 1 : SafetyOf(from, to, moved, NONE, 0);
  if (SafeOnly && !safety) return;
  const u32 move = MakeMove(from, to, moved, NONE);
  PushMove(move, HistoryScoreOf(move, Us, nearAlpha, 0, safety), safety);
}

template <int Us, bool GoodOnly, int Piece>
inline void PieceCaptures(u64 targets) {
  const BoardRecord &b = thread_board;
  for (u64 pieces = b.PieceBoards[Piece][Us]; pieces;) {
    const int from = PopLowest(pieces);
    for (u64 to = AttacksFrom<Piece>(from, b.Occupied) & targets; to;) {
      const int sq = PopLowest(to);
      if constexpr (Piece == KING) {
        int safety = 1;
        const u32 move = MakeMove(from, sq, KING, b.Board[sq]);
        PushMove(move, CaptureScoreOf(move, Us, &safety), safety);
      } else {
        AddCapture<Us, GoodOnly>(from, sq, Piece, b.Board[sq], 0);
      }
    }
  }
}

template <int Us>
void EnPassantCaptures() {
  const BoardRecord &b = thread_board;
  if (GameHistoryCount == 0) return;
  const u32 last = GameHistory[GameHistoryCount - 1].Move;
  if (MovedPiece(last) != PAWN || MoveFrom(last) - MoveTo(last) != (Us == WHITE ? 16 : -16)) return;
  const int t = MoveTo(last), landing = Us == WHITE ? t + 8 : t - 8;
  if (FileOf(t) != 0 && (b.Pawns[Us] & Bit(t - 1))) PushMove(MakeMove(t - 1, landing, PAWN, NONE), EN_PASSANT_SCORE, 1);
  if (FileOf(t) != 7 && (b.Pawns[Us] & Bit(t + 1))) PushMove(MakeMove(t + 1, landing, PAWN, NONE), EN_PASSANT_SCORE, 1);
}

template <int Us, bool GoodOnly>
void CapturesFor(u64 targets) {
  const BoardRecord &b = thread_board;
  u64 pawns = Us == WHITE ? (((targets >> 7) & 0x00FEFEFEFEFEFEFEULL) | ((targets >> 9) & 0x007F7F7F7F7F7F7FULL))
                          : (((targets << 7) & 0x7F7F7F7F7F7F7F7FULL) | ((targets << 9) & 0xFEFEFEFEFEFEFEFEULL));
  pawns &= b.Pawns[Us];
  while (pawns) {
    const int from = Us == WHITE ? PopLowest(pawns) : PopHighest(pawns);
    const bool promotes = RankOf(from) == PromotionRank<Us>;
    for (u64 victims = PawnAttacks[Us][from] & targets; victims;) {
      const int to = PopLowest(victims), captured = b.Board[to];
      AddCapture<Us, GoodOnly>(from, to, PAWN, captured, promotes ? QUEEN : 0);
      if (promotes && !GoodOnly)
        for (int piece : {KNIGHT, ROOK, BISHOP}) AddUnderPromotion<Us>(from, to, captured, piece);
    }
  }
  EnPassantCaptures<Us>();
  PieceCaptures<Us, GoodOnly, KNIGHT>(targets);
  PieceCaptures<Us, GoodOnly, BISHOP>(targets);
  PieceCaptures<Us, GoodOnly, ROOK>(targets);
  PieceCaptures<Us, GoodOnly, QUEEN>(targets);
  PieceCaptures<Us, GoodOnly, KING>(targets);
}

template <int Us>
void PromotionsFor() {
  const BoardRecord &b = thread_board;
  constexpr int forward = Us == WHITE ? 8 : -8;
  const u64 empty = ~b.Occupied;
  u64 pawns = b.Pawns[Us] & RankMask(PromotionRank<Us>) &
              (Us == WHITE ? empty >> 8 : empty << 8);
  while (pawns) {
    const int from = PopHighest(pawns), to = from + forward;
    AddCapture<Us, false>(from, to, PAWN, NONE, QUEEN);
    for (int piece : {ROOK, KNIGHT, BISHOP}) AddUnderPromotion<Us>(from, to, NONE, piece);
  }
}

template <int Us, bool SafeOnly, int Piece>
inline void PieceQuiets(u64 empty, int nearAlpha) {
  const BoardRecord &b = thread_board;
  for (u64 pieces = b.PieceBoards[Piece][Us]; pieces;) {
    const int from = PopLowest(pieces);
    for (u64 to = AttacksFrom<Piece>(from, b.Occupied) & empty; to;)
      AddQuiet<Us, SafeOnly>(from, PopLowest(to), Piece, nearAlpha);
  }
}

template <int Us, bool KingSide>
inline void AddCastling(int nearAlpha) {
  if (!CastlingAllowed<Us, KingSide>()) return;
  constexpr u32 move = CastlingMove<Us, KingSide>();
  PushMove(move, HistoryScoreOf(move, Us, nearAlpha, 0, 1), 1);
}

template <int Us, bool SafeOnly>
void QuietsFor(int nearAlpha) {
  const BoardRecord &b = thread_board;
  const u64 empty = ~b.Occupied;
  AddCastling<Us, true>(nearAlpha);
  AddCastling<Us, false>(nearAlpha);
  PieceQuiets<Us, SafeOnly, KNIGHT>(empty, nearAlpha);
  PieceQuiets<Us, SafeOnly, BISHOP>(empty, nearAlpha);
  constexpr int forward = Us == WHITE ? 8 : -8;
  u64 pawns = b.Pawns[Us] & ~RankMask(PromotionRank<Us>) & (Us == WHITE ? empty >> 8 : empty << 8);
  while (pawns) {
    const int from = Us == WHITE ? PopLowest(pawns) : PopHighest(pawns);
    AddQuiet<Us, SafeOnly>(from, from + forward, PAWN, nearAlpha);
    const bool startRank = Us == WHITE ? from < 16 : from >= 48;
    if (startRank && (empty & Bit(from + 2 * forward))) AddQuiet<Us, SafeOnly>(from, from + 2 * forward, PAWN, nearAlpha);
  }
  PieceQuiets<Us, SafeOnly, ROOK>(empty, nearAlpha);
  PieceQuiets<Us, SafeOnly, QUEEN>(empty, nearAlpha);
  PieceQuiets<Us, SafeOnly, KING>(empty, nearAlpha);
}

template <int Us>
void AddMoveIfValidFor(u32 move) {
  const BoardRecord &b = thread_board;
  constexpr int home = Us == WHITE ? 4 : 60;
  const int from = MoveFrom(move), to = MoveTo(move);
  if (MovedPiece(move) == KING && from == home && (to == home - 2 || to == home + 2)) {
    bool allowed = to == home + 2 ? CastlingAllowed<Us, true>() : CastlingAllowed<Us, false>();
    if (allowed) PushMove(move, 0, UNKNOWN_SAFETY);
    return;
  }
  // Between[to][from] holds `to` for a line move, so captures along lines are refused here.
  if (MovedPiece(move) != b.Board[from] || CapturedPiece(move) != b.Board[to]) return;
  if (!(b.Pieces[Us] & Bit(from)) || (b.Pieces[Us] & Bit(to))) return;
  if (b.Occupied & Between[to][from]) return;
  PushMove(move, 0, UNKNOWN_SAFETY);
}

}  // namespace

void GenerateCaptures(u64 targets) {
  thread_board.SideToMove == WHITE ? CapturesFor<WHITE, false>(targets) : CapturesFor<BLACK, false>(targets);
}

void GenerateGoodCaptures(u64 targets) {
  thread_board.SideToMove == WHITE ? CapturesFor<WHITE, true>(targets) : CapturesFor<BLACK, true>(targets);
}

void GeneratePromotions() { thread_board.SideToMove == WHITE ? PromotionsFor<WHITE>() : PromotionsFor<BLACK>(); }

void GenerateQuiets(int nearAlpha) {
  thread_board.SideToMove == WHITE ? QuietsFor<WHITE, false>(nearAlpha) : QuietsFor<BLACK, false>(nearAlpha);
}

void GenerateSafeQuiets(int nearAlpha) {
  thread_board.SideToMove == WHITE ? QuietsFor<WHITE, true>(nearAlpha) : QuietsFor<BLACK, true>(nearAlpha);
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
  return found && CapturedPiece(move) != KING;
}

int MoveSafety(u32 move) {
  if (MovedPiece(move) == KING || IsEnPassant(move)) return 1;
  return SafetyOf(MoveFrom(move), MoveTo(move), MovedPiece(move), CapturedPiece(move), PromotionPiece(move));
}

int CaptureScore(u32 move, int *safety) { return CaptureScoreOf(move, thread_board.SideToMove, safety); }

int HistoryScore(u32 move, int nearAlpha, int forced, int safety) {
  return HistoryScoreOf(move, thread_board.SideToMove, nearAlpha, forced, safety);
}
