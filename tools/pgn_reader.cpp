#include "tools/pgn_reader.h"

#include <strings.h>

#include <cstring>

#include "board/position.h"
#include "shell/engine.h"

i32 PlyCount;
i32 GameResult;
i32 MoveError;
char SanToken[16];
bool GameFromFen;

namespace {

// The file is read through a buffer of our own, but byte by byte: a few bytes ahead at most, so that comments
// and variations of any size are skipped by counting only. The last bytes stay when the buffer is refilled,
// for the steps back.
constexpr int CHUNK_SIZE = 65536, KEPT_BYTES = 4;
constexpr int END_OF_FILE = -1;
FILE *Source;
u8 Buffer[KEPT_BYTES + CHUNK_SIZE];
int At, End;
i64 Position;  // bytes taken, less those stepped back over

bool Refill() {
  const int kept = End < KEPT_BYTES ? End : KEPT_BYTES;
  std::memmove(Buffer, Buffer + End - kept, size_t(kept));
  At = End = kept;
  End += int(std::fread(Buffer + kept, 1, CHUNK_SIZE, Source));
  return End > At;
}

int GetChar() {
  if (At == End && !Refill()) return END_OF_FILE;
  Position++;
  return Buffer[At++];
}

// At most KEPT_BYTES, and only over bytes that were taken.
void StepBack(int count) {
  At -= count;
  Position -= count;
}

int PeekChar() {
  const int c = GetChar();
  if (c != END_OF_FILE) StepBack(1);
  return c;
}

// Up to and past the next `c`; 1 at the end of the file.
int SkipTo(int c) {
  for (int got = GetChar(); got != c; got = GetChar())
    if (got == END_OF_FILE) return 1;
  return 0;
}

// Until the next byte isn't blank or control; 1 at the end of the file.
int SkipWhiteSpace() {
  for (;;) {
    const int c = PeekChar();
    if (c == END_OF_FILE) return 1;
    if (c > ' ') return 0;
    GetChar();
  }
}

// Until the next byte isn't a blank or a tab; 1 at the end of the file.
int SkipBlanks() {
  for (;;) {
    const int c = PeekChar();
    if (c == END_OF_FILE) return 1;
    if (c != ' ' && c != '\t') return 0;
    GetChar();
  }
}

// A comment or a variation whose opening byte comes next, with all that is nested in it; 1 at the end of the
// file.
int SkipNested(int open, int close) {
  GetChar();
  for (i64 depth = 1; depth > 0;) {
    const int c = GetChar();
    if (c == END_OF_FILE) return 1;
    if (c == open) depth++;
    if (c == close) depth--;
  }
  return 0;
}

bool NameIs(const char *name, const char *keyword) { return strncasecmp(name, keyword, std::strlen(keyword)) == 0; }

// Digits behind blanks and a double quote; a number too long for a game stops growing.
i32 ReadCount(const char *value) {
  while (*value == ' ') value++;
  if (*value == '"') value++;
  i32 count = 0;
  for (; *value >= '0' && *value <= '9' && count < 100000000; value++) count = count * 10 + (*value - '0');
  return count;
}

void TakeTag(const char *name, const char *value) {
  if (NameIs(name, "result")) {
    if (*value == '"') value++;
    if (value[0] == '*') GameResult = RESULT_UNKNOWN;
    else if (value[0] == '1' && value[1] == '-') GameResult = RESULT_WHITE_WON;
    else if (value[0] == '0' && value[1] == '-') GameResult = RESULT_BLACK_WON;
    else if (value[0] == '1' && value[1] == '/') GameResult = RESULT_DRAW;
  } else if (NameIs(name, "plycount")) {
    PlyCount = ReadCount(value);
  } else if (NameIs(name, "fen")) {
    while (*value == ' ') value++;
    if (*value == '"') value++;
    LoadFen(value);
    GameFromFen = true;
  }
}

constexpr int TAG_END_OF_FILE = 1, TAG_FOLLOWS = 2, TAGS_OVER = 3;

// After a tag: another one follows, or the moves.
int NextTag() {
  if (SkipWhiteSpace()) return TAG_END_OF_FILE;
  return PeekChar() == '[' ? TAG_FOLLOWS : TAGS_OVER;
}

int ReadTag() {
  if (PeekChar() == '[') GetChar();
  // The name: at most 32 bytes are kept, a longer one is cut without a word.
  char name[33];
  int length = 0;
  for (;;) {
    const int c = GetChar();
    if (c == END_OF_FILE) return TAG_END_OF_FILE;
    if (c == ']') return NextTag();  // a tag with no value
    if (c <= ' ') break;
    if (length < 32) name[length++] = char(c);
  }
  name[length] = '\0';
  if (SkipBlanks()) return TAG_END_OF_FILE;
  if (PeekChar() == ']') {
    GetChar();
    return NextTag();
  }
  // The value: at most 511 bytes up to the "]", the rest of it passed over.
  char value[512];
  length = 0;
  for (;;) {
    const int c = GetChar();
    if (c == END_OF_FILE) return TAG_END_OF_FILE;
    if (c == ']') break;
    if (length < 511) value[length++] = char(c);
  }
  value[length] = '\0';
  TakeTag(name, value);
  return NextTag();
}

// Move numbers, glyphs, NAGs, check marks and results are passed over: the next byte is then the start of a
// move, or of whatever else comes. 1 at the end of the file.
int SkipToMove() {
  for (;;) {
    const int c = GetChar();
    if (c == END_OF_FILE) return 1;
    if (c == '0') {
      // "0-0" is castling, "0-1" a result.
      const int dash = GetChar();
      if (dash == END_OF_FILE) return 1;
      const int zero = GetChar();
      if (zero == END_OF_FILE) return 1;
      if (dash == '-' && zero == '0') {
        StepBack(3);
        return 0;
      }
      StepBack(2);
      continue;
    }
    if (c < 34 || std::strchr(".123456789$-+?\\#*/", c)) continue;
    StepBack(1);
    return 0;
  }
}

bool IsSanByte(int c) {
  return (c >= 'a' && c <= 'h') || (c >= '0' && c <= '8') || (c && std::strchr("KQNBR=-O:x", c));
}

// Reads the move text into SanToken; the byte that ends it is taken too. 1 at the end of the file.
int ReadSan() {
  int length = 0;
  for (;;) {
    const int c = GetChar();
    if (c == END_OF_FILE) return 1;
    if (!IsSanByte(c)) break;
    SanToken[length++] = char(c);
    if (length == 15) {
      SanToken[length] = '\0';
      printf("Error parsing move (move too long): %s...\n", SanToken);
      quit(2);
    }
  }
  SanToken[length] = '\0';
  return 0;
}

// Up to the first "1" or "[", which stays unread: the moves begin there. 1 at the end of the file.
int SkipToMoves() {
  for (;;) {
    const int c = GetChar();
    if (c == END_OF_FILE) return 1;
    if (c == '1' || c == '[') {
      StepBack(1);
      return 0;
    }
  }
}

// The moves of one game, up to the "[" of the next; false at the end of the file.
bool ReadMoves(const PgnHandlers &handlers) {
  for (;;) {
    if (SkipToMove()) return false;
    if (PeekChar() == '[') return true;
    if (ReadSan()) return false;
    handlers.TakeMove(SanToken);
    // Whatever may stand between two moves, in any order, until nothing more is passed over.
    for (i64 before = -1; before != Position;) {
      before = Position;
      if (SkipToMove()) return false;
      if (PeekChar() == '{' && SkipNested('{', '}')) return false;
      if (PeekChar() == '(' && SkipNested('(', ')')) return false;
    }
  }
}

}  // namespace

i32 ReadPgnGames(FILE *file, const PgnHandlers &handlers) {
  Source = file;
  At = End = 0;
  Position = 0;
  i32 games = 0;
  for (;;) {
    PlyCount = 0;
    if (SkipTo('[')) break;
    GameResult = RESULT_UNKNOWN;
    GameFromFen = false;
    handlers.StartGame();
    int tag;
    do tag = ReadTag();
    while (tag == TAG_FOLLOWS);
    if (tag == TAG_END_OF_FILE) break;
    if (PeekChar() == '{' && SkipNested('{', '}')) break;
    if (SkipToMoves()) break;
    MoveError = 0;
    if (!ReadMoves(handlers)) break;
    handlers.GameRead(++games);
  }
  Source = nullptr;
  return games;
}
