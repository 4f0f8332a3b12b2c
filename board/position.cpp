#include "board/position.h"

#include <cstdio>
#include <cstring>

#include "board/attacks.h"
#include "board/piece_square.h"
#include "shell/settings.h"

const char PromotionLetters[8] = {'\0', 'k', 'n', 'p', '?', 'r', 'b', 'q'};
const char PieceLetters[9] = ".KNP?RBQ";

void ClearBoard() {
  BoardRecord &b = thread_board;
  b.MaterialIndex = b.PstScore = b.ReversibleMoves = 0;
  b.PositionKey = b.PawnKey = 0;
  b.Material[WHITE] = b.Material[BLACK] = 0;
  b.PieceMaterial[WHITE] = b.PieceMaterial[BLACK] = 0;
  b.PieceTotal = 0;
  b.Pieces[WHITE] = b.Pieces[BLACK] = b.Occupied = 0;
  b.RooksQueens = b.BishopsQueens = 0;
  for (int piece : {KING, KNIGHT, PAWN, ROOK, BISHOP, QUEEN}) {
    b.PieceBoards[piece][WHITE] = b.PieceBoards[piece][BLACK] = 0;
    b.PieceCount[piece][WHITE] = b.PieceCount[piece][BLACK] = 0;
  }
  std::memset(b.Board, 0, sizeof b.Board);
}

void AddPiece(int square, int side, int piece) {
  BoardRecord &b = thread_board;
  const u64 bit = Bit(square);
  b.PieceTotal++;
  b.Material[side] += PieceValue[piece];
  b.PstScore += side == BLACK ? PieceSquare[piece][BLACK][square] : -PieceSquare[piece][WHITE][square];
  b.Pieces[side] |= bit;
  b.Occupied |= bit;
  b.Board[square] = piece;
  b.PositionKey ^= PieceKeys[side][piece][square];
  if (piece == KING) {
    b.Kings[side] = bit;
    b.KingSquare[side] = square;
    return;
  }
  int count = ++b.PieceCount[piece][side];
  b.PieceBoards[piece][side] |= bit;
  if (piece == PAWN) {
    b.PawnKey ^= PieceKeys[side][PAWN][square];
    // A ninth pawn would carry into the next digit of the index.
    if (b.MaterialIndex != MATERIAL_OVERFLOW)
      b.MaterialIndex = count > 8 ? MATERIAL_OVERFLOW : b.MaterialIndex + MaterialWeight[PAWN][side];
    return;
  }
  b.PieceMaterial[side] += PieceUnits[piece];
  if (piece == ROOK || piece == QUEEN) b.RooksQueens ^= bit;
  if (piece == BISHOP || piece == QUEEN) b.BishopsQueens ^= bit;
  if (b.MaterialIndex != MATERIAL_OVERFLOW && count < 3)
    b.MaterialIndex += MaterialWeight[piece][side];
  else
    b.MaterialIndex = MATERIAL_OVERFLOW;
}

bool PieceFromLetter(char letter, int &piece, int &side) {
  static const char letters[] = "knprbq";
  static const int codes[] = {KING, KNIGHT, PAWN, ROOK, BISHOP, QUEEN};
  const char *found = letter ? std::strchr(letters, LowerCase[u8(letter)]) : nullptr;
  if (!found) return false;
  piece = codes[found - letters];
  side = (letter >= 'a' && letter <= 'z') ? BLACK : WHITE;
  return true;
}

void ClearKillers() {
  for (PlyRecord &record : PlyStack) {
    record.Killers1[WHITE] = record.Killers1[BLACK] = 0;
    record.Killers2[WHITE] = record.Killers2[BLACK] = 0;
  }
}

void SetStartPosition() {
  if (!Settings.FritzMode && !Settings.UciMode) Settings.LastScore = Settings.LastScoreSide = 0;
  GameHistoryCount = GameHistoryFloor = 0;
  ClearBoard();
  static const int backRank[8] = {ROOK, KNIGHT, BISHOP, QUEEN, KING, BISHOP, KNIGHT, ROOK};
  for (int side : {WHITE, BLACK}) {
    int base = side == WHITE ? 0 : 56, pawnBase = side == WHITE ? 8 : 48;
    for (int file = 0; file < 8; file++) AddPiece(base + file, side, backRank[file]);
    for (int file = 0; file < 8; file++) AddPiece(pawnBase + file, side, PAWN);
  }
  thread_board.KingSquare[WHITE] = 4;
  thread_board.KingSquare[BLACK] = 60;
  thread_board.SideToMove = WHITE;
  thread_board.CastlingFlags = 15;
}

namespace {

const char *SkipBlanks(const char *p) {
  while (*p == ' ') p++;
  return p;
}

// The FEN's en passant square is kept as a pushed double step, which generators and FullKey read.
void PushEnPassantRight(const char *p) {
  const BoardRecord &b = thread_board;
  char file = char(LowerCase[u8(p[0])]);
  if (file < 'a' || file > 'h' || p[1] < '1' || p[1] > '8') return;
  int e = (p[1] - '1') * 8 + (file - 'a');
  // Only the move word is meant: no count or key of an earlier game may show through.
  GameHistory[GameHistoryCount] = GameHistoryEntry{};
  if (b.SideToMove == BLACK && p[1] == '3' && (b.Pawns[WHITE] & Bit(e + 8)))
    GameHistory[GameHistoryCount++].Move = MakeMove(e - 8, e + 8, PAWN, NONE);
  else if (b.SideToMove == WHITE && p[1] == '6' && (b.Pawns[BLACK] & Bit(e - 8)))
    GameHistory[GameHistoryCount++].Move = MakeMove(e + 8, e - 8, PAWN, NONE);
}

// Castling rights stand only with the king and the rook at home.
void SanitiseCastling() {
  BoardRecord &b = thread_board;
  auto has = [&](int side, int piece, int sq) { return (b.PieceBoards[piece][side] & Bit(sq)) != 0; };
  if (!has(WHITE, KING, 4)) b.CastlingFlags &= ~3;
  if (!has(BLACK, KING, 60)) b.CastlingFlags &= ~12;
  if (!has(WHITE, ROOK, 0)) b.CastlingFlags &= ~2;
  if (!has(BLACK, ROOK, 56)) b.CastlingFlags &= ~8;
  if (!has(WHITE, ROOK, 7)) b.CastlingFlags &= ~1;
  if (!has(BLACK, ROOK, 63)) b.CastlingFlags &= ~4;
}

}  // namespace

void LoadFen(const char *text) {
  BoardRecord &b = thread_board;
  Settings.LastScore = Settings.LastScoreSide = 0;
  GameHistoryCount = 0;
  ClearBoard();
  const char *p = text;
  int rank = 7, file = 0;
  for (; *p && *p != ' '; p++) {
    int piece, side;
    if (*p == '/') {
      rank--, file = 0;
      if (rank < 0) {
        p++;
        break;
      }
    } else if (*p >= '0' && *p <= '9') {
      file += *p - '0';
    } else if (PieceFromLetter(*p, piece, side)) {
      // Nothing lands beyond the rank's last file, and a side keeps its first king only.
      bool fits = file < 8 && !(piece == KING && b.Kings[side]);
      if (fits) AddPiece(rank * 8 + file, side, piece);
      file++;
    }
  }
  p = SkipBlanks(p);
  b.SideToMove = *p == 'w' ? WHITE : BLACK;
  if (*p) p++;
  p = SkipBlanks(p);
  if (*p == '-') {
    b.CastlingFlags = 0;
    p++;
  } else {
    b.CastlingFlags = 0;
    for (; *p && *p != ' '; p++) {
      if (*p == 'K') b.CastlingFlags |= 1;
      if (*p == 'Q') b.CastlingFlags |= 2;
      if (*p == 'k') b.CastlingFlags |= 4;
      if (*p == 'q') b.CastlingFlags |= 8;
    }
  }
  p = SkipBlanks(p);
  if (p[0] && p[1]) PushEnPassantRight(p);
  GameHistoryFloor = GameHistoryCount;
  SanitiseCastling();
}

char *MoveText(char *buffer, u32 move) {
  if (move == 0) {
    std::strcpy(buffer, "0000");
    return buffer;
  }
  int from = MoveFrom(move), to = MoveTo(move);
  std::snprintf(buffer, 6, "%c%c%c%c%c", 'a' + FileOf(from), '1' + RankOf(from), 'a' + FileOf(to), '1' + RankOf(to),
                PromotionLetters[PromotionPiece(move)]);
  return buffer;
}

char *PieceMoveText(char *buffer, u32 move) {
  if (move == 0) {
    std::strcpy(buffer, "-");
    return buffer;
  }
  int from = MoveFrom(move), to = MoveTo(move);
  std::snprintf(buffer, 6, "%c%c%c%c%c", PieceLetters[MovedPiece(move)], 'a' + FileOf(from), '1' + RankOf(from),
                'a' + FileOf(to), '1' + RankOf(to));
  return buffer;
}

bool IsMoveText(const char *text) {
  auto isFile = [](char c) { return LowerCase[u8(c)] >= 'a' && LowerCase[u8(c)] <= 'h'; };
  auto isRank = [](char c) { return c >= '1' && c <= '8'; };
  return isFile(text[0]) && isRank(text[1]) && isFile(text[2]) && isRank(text[3]);
}

char *PositionText(char *buffer) {
  const BoardRecord &b = thread_board;
  char *p = buffer;
  for (int rank = 7; rank >= 0; rank--) {
    int empty = 0;
    for (int file = 0; file < 8; file++) {
      const int sq = rank * 8 + file, piece = b.Board[sq];
      if (piece == NONE) {
        empty++;
        continue;
      }
      if (empty) *p++ = char('0' + empty), empty = 0;
      const char letter = PieceLetters[piece];
      *p++ = (b.Pieces[BLACK] >> sq) & 1 ? char(letter - 'A' + 'a') : letter;
    }
    if (empty) *p++ = char('0' + empty);
    if (rank) *p++ = '/';
  }
  *p++ = ' ', *p++ = b.SideToMove == WHITE ? 'w' : 'b', *p++ = ' ';
  const char castling[] = "KQkq";
  for (int i = 0; i < 4; i++)
    if (b.CastlingFlags & (1 << i)) *p++ = castling[i];
  if (!(b.CastlingFlags & 15)) *p++ = '-';
  *p++ = ' ';
  // The en passant square only where an enemy pawn stands beside the pawn that passed.
  const u32 last = GameHistoryCount > 0 ? GameHistory[GameHistoryCount - 1].Move : 0;
  const int to = MoveTo(last);
  const u64 beside = (FileOf(to) > 0 ? Bit(to - 1) : 0) | (FileOf(to) < 7 ? Bit(to + 1) : 0);
  if (LastMoveWasDoubleStep() && (beside & b.Pawns[b.SideToMove])) {
    const int passed = (MoveFrom(last) + to) / 2;
    *p++ = char('a' + FileOf(passed)), *p++ = char('1' + RankOf(passed)), *p++ = ' ';
  } else {
    *p++ = '-', *p++ = ' ';
  }
  *p = '\0';
  return buffer;
}
