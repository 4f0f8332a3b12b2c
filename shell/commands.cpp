#include "shell/commands.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/attacks.h"
#include "board/movegen.h"
#include "board/position.h"
#include "shell/engine.h"
#include "shell/input.h"
#include "tools/perft.h"

char CommandLine[INPUT_BUFFER_SIZE];
char *Tokens[TOKEN_COUNT];
i32 TokenStart[TOKEN_COUNT];

namespace {

char LongTokens[LONG_TOKENS][LONG_TOKEN_SIZE];
char ShortTokens[TOKEN_COUNT - LONG_TOKENS][SHORT_TOKEN_SIZE];

const bool TokensPlaced = [] {
  for (int i = 0; i < TOKEN_COUNT; i++) Tokens[i] = i < LONG_TOKENS ? LongTokens[i] : ShortTokens[i - LONG_TOKENS];
  return true;
}();

int TokenSize(int index) { return index < LONG_TOKENS ? LONG_TOKEN_SIZE : SHORT_TOKEN_SIZE; }

void PrintBoard() {
  const BoardRecord &b = thread_board;
  for (int rank = 7; rank >= 0; rank--) {
    for (int file = 0; file < 8; file++) {
      int sq = rank * 8 + file;
      printf((b.Pieces[BLACK] & Bit(sq)) ? "*%c" : " %c", PieceLetters[b.Board[sq] & 7]);
    }
    printf("\n");
  }
  fflush(stdout);
}

void PrintMoves() {
  printf("-------------- Legal moves: ----------------\n");
  const int savedTop = MoveStackTop;
  LegalMoves(0);
  char text[8];
  for (int i = 0; i < MoveStackTop; i++) printf("%s (%d); ", PieceMoveText(text, MoveStack[i].Move), 0);
  printf("\n");
  fflush(stdout);
  MoveStackTop = savedTop;
}

}  // namespace

i32 Tokenise(const char *text, const char *delimiters) {
  for (char *token : Tokens) token[0] = '\0';
  int index = 0, length = 0;
  for (int offset = 0; text[offset]; offset++) {
    if (std::strchr(delimiters, text[offset])) {
      if (length > 0) {
        if (index == TOKEN_COUNT - 1) break;
        index++, length = 0;
      }
      continue;
    }
    if (length == 0) TokenStart[index] = offset;
    // A token longer than its buffer is cut off.
    if (length < TokenSize(index) - 1) {
      Tokens[index][length++] = text[offset];
      Tokens[index][length] = '\0';
    }
  }
  return index + 1;
}

bool MatchKeyword(const char *keyword, const char *text) {
  while (*keyword == ' ') keyword++;
  while (*text == ' ') text++;
  if (!*keyword || !*text) return false;
  for (; *keyword && *text; keyword++, text++)
    if (LowerCase[u8(*keyword)] != LowerCase[u8(*text)]) return false;
  return true;
}

u32 ParseMoveText(const char *text) {
  // Capital file letters pass the move test of the chain but are no move here.
  auto isFile = [](char c) { return c >= 'a' && c <= 'h'; };
  auto isRank = [](char c) { return c >= '1' && c <= '8'; };
  if (!isFile(text[0]) || !isRank(text[1]) || !isFile(text[2]) || !isRank(text[3])) return 0;
  const int from = (text[1] - '1') * 8 + (text[0] - 'a');
  const int to = (text[3] - '1') * 8 + (text[2] - 'a');
  int promotion = 0;
  switch (text[4]) {
    case 'q': promotion = QUEEN; break;
    case 'r': promotion = ROOK; break;
    case 'b': promotion = BISHOP; break;
    case 'n': promotion = KNIGHT; break;
  }
  return MakeMove(from, to, thread_board.Board[from], thread_board.Board[to], promotion);
}

void ProcessCommand() {
  const char *line = CommandLine;
  const int n = Tokenise(line, MatchKeyword("level", line) ? " :" : " ");
  if (MatchKeyword("q", line)) quit(0);
  if (MatchKeyword("moves", line)) return PrintMoves();
  if (MatchKeyword("loadfen", line)) {
    // The FEN starts at offset 8 of the line; a shorter line has none.
    if (std::strlen(line) > 8) LoadFen(line + 8);
    return;
  }
  if (MatchKeyword("perft", line)) {
    MoveStackTop = 0;
    if (n >= 2) RunPerft(std::atoi(Tokens[1]));
    return;
  }
  if (MatchKeyword("brd", line)) return PrintBoard();
}
