#include "board/san.h"

#include <cstring>

#include "board/board.h"
#include "board/movegen.h"

namespace {

constexpr int SAN_LIST_START = 5000;
constexpr int ANY = -1;

int PieceOfLetter(char c) {
  switch (c) {
    case 'K': return KING;
    case 'Q': return QUEEN;
    case 'R': return ROOK;
    case 'B': return BISHOP;
    case 'N': return KNIGHT;
    case 'P': return PAWN;
  }
  return ANY;
}

bool IsFile(char c) { return c >= 'a' && c <= 'h'; }
bool IsRank(char c) { return c >= '1' && c <= '8'; }

struct SanFields {
  int Piece = ANY, FromFile = ANY, FromRank = ANY, ToFile = ANY, ToRank = ANY, Promotion = ANY;
  bool MustCapture = false;
};

SanFields ReadFields(const char *text) {
  SanFields f;
  char token[16];
  int length = 0;
  for (const char *c = text; *c && length < 15; c++) {
    if (*c == ':' || *c == 'x') f.MustCapture = true;
    else if (*c != '=') token[length++] = *c;
  }
  token[length] = '\0';
  const char *p = token;
  if ((p[0] == 'O' || p[0] == '0') && p[1] == '-' && (p[2] == 'O' || p[2] == '0')) {
    const int rank = thread_board.SideToMove == WHITE ? 0 : 7;
    f.Piece = KING, f.FromFile = 4, f.FromRank = rank, f.ToRank = rank;
    f.ToFile = p[3] == '-' ? 2 : 6;
    return f;
  }
  if (PieceOfLetter(*p) != ANY) f.Piece = PieceOfLetter(*p++);
  else f.Piece = PAWN;
  int file1 = ANY, rank1 = ANY;
  if (IsFile(*p)) file1 = *p++ - 'a';
  if (IsRank(*p)) rank1 = *p++ - '1';
  if (IsFile(*p)) {
    f.ToFile = *p++ - 'a';
    if (IsRank(*p)) f.ToRank = *p++ - '1';
    f.FromFile = file1, f.FromRank = rank1;
  } else if (IsRank(*p)) {
    f.ToRank = *p++ - '1';
    f.FromFile = file1, f.FromRank = rank1;
  } else {
    f.ToFile = file1, f.ToRank = rank1;
  }
  for (; *p; p++)
    if (std::strchr("BRKQNP", *p)) f.Promotion = PieceOfLetter(*p);
  return f;
}

bool Fits(int field, int value) { return field == ANY || field == value; }

}  // namespace

SanMatch ParseSan(const char *text) {
  const SanFields f = ReadFields(text);
  SanMatch result = {0, 0, 0, 0};
  const int savedTop = MoveStackTop;
  LegalMoves(SAN_LIST_START);
  for (int i = SAN_LIST_START; i < MoveStackTop; i++) {
    const u32 move = MoveStack[i].Move;
    const int from = MoveFrom(move), to = MoveTo(move);
    if (!Fits(f.FromFile, FileOf(from)) || !Fits(f.FromRank, RankOf(from)) || !Fits(f.ToFile, FileOf(to)) ||
        !Fits(f.ToRank, RankOf(to)) || !Fits(f.Piece, MovedPiece(move)))
      continue;
    if (f.Promotion != ANY && PromotionPiece(move) != f.Promotion) continue;
    if (f.MustCapture && !CapturedPiece(move) && !IsEnPassant(move)) continue;
    if (result.Matches == 0) result.First = move;
    if (result.Matches == 1) result.Second = move;
    result.Move = move;
    result.Matches++;
  }
  MoveStackTop = savedTop;
  if (result.Matches < 2) result.First = 0;
  return result;
}
