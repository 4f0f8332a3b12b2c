#include "book/book_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "board/board.h"
#include "book/book_keys.h"
#include "shell/settings.h"

BookList BookMoves;

namespace {

struct BookFileState {
  int Fd = -1;
  bool Writable = false;
  bool Version0 = false;
  i32 Nodes = 0;
  i64 Size = 0;
};
BookFileState Book;

i32 ReadI32(const u8 *bytes) { return i32(bytes[0] | bytes[1] << 8 | bytes[2] << 16 | u32(bytes[3]) << 24); }

bool ReadAt(i64 offset, void *buffer, size_t size) {
  return offset >= 0 && offset + i64(size) <= Book.Size && pread(Book.Fd, buffer, size, offset) == ssize_t(size);
}

void Report(const char *text) {
  printf("%s\n", text);
  fflush(stdout);
}

// The whole index is walked once at opening: sorted, and every list offset inside the file. The file is
// trusted from then on, so that a damaged book is refused here rather than misread in play.
const char *CheckIndex() {
  const i64 indexEnd = BOOK_HEADER_SIZE + i64(Book.Nodes) * BOOK_RECORD_SIZE;
  if (Book.Nodes < 0 || indexEnd > Book.Size) return "Book index runs past the end of the file";
  static u8 chunk[BOOK_RECORD_SIZE * 4096];
  i64 lastA = 0, lastB = 0;
  for (i32 first = 0; first < Book.Nodes; first += 4096) {
    const i32 records = Book.Nodes - first < 4096 ? Book.Nodes - first : 4096;
    if (!ReadAt(BOOK_HEADER_SIZE + i64(first) * BOOK_RECORD_SIZE, chunk, size_t(records) * BOOK_RECORD_SIZE))
      return "Book index can't be read";
    for (i32 i = 0; i < records; i++) {
      const u8 *record = chunk + i * BOOK_RECORD_SIZE;
      const i64 a = ReadI32(record), b = ReadI32(record + 4), offset = u32(ReadI32(record + 8));
      if (first + i > 0 && (a < lastA || (a == lastA && b <= lastB))) return "Book index is not sorted";
      if (offset < indexEnd || offset >= Book.Size) return "Book index points outside the file";
      lastA = a, lastB = b;
    }
  }
  return nullptr;
}

}  // namespace

void CloseBook() {
  if (Book.Fd >= 0) close(Book.Fd);
  Book = BookFileState();
  Settings.BookLoaded = 0;
}

bool BookIsVersion0() { return Book.Version0; }
bool BookWritable() { return Settings.BookLoaded && Book.Writable && !Book.Version0; }

void OpenBook(const char *path) {
  CloseBook();
  // The name runs to the end of its line; a blank left there by a carriage return is no part of it.
  char name[1024];
  std::snprintf(name, sizeof name, "%s", path);
  for (size_t n = std::strlen(name); n > 0 && (name[n - 1] == ' ' || name[n - 1] == '\t'); n--) name[n - 1] = '\0';
  Book.Fd = open(name, O_RDWR);
  Book.Writable = Book.Fd >= 0;
  // A book that can be read but not written is played from with learning off; the file is left as it is.
  if (Book.Fd < 0 && (errno == EACCES || errno == EROFS || errno == EPERM)) Book.Fd = open(name, O_RDONLY);
  struct stat info;
  if (Book.Fd < 0 || fstat(Book.Fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    printf("Error opening \"%s\"!\n", name);
    fflush(stdout);
    CloseBook();
    return;
  }
  Book.Size = info.st_size;
  u8 header[BOOK_HEADER_SIZE];
  if (!ReadAt(0, header, BOOK_HEADER_SIZE) || std::memcmp(header, BOOK_MAGIC, BOOK_MAGIC_SIZE) != 0) {
    Report("Invalid book format");
    CloseBook();
    return;
  }
  const i32 version = ReadI32(header + 24);
  if (version == 0) {
    Report("NG: Book learning not supported for book version 0");
    Book.Version0 = true;
    Settings.UseBookLearning = 0;
    Settings.UseBookWeights = 0;
  } else if (version != 1) {
    printf("Book version %d not supported\n", version);
    fflush(stdout);
    CloseBook();
    return;
  }
  Book.Nodes = ReadI32(header + 32);
  if (const char *problem = CheckIndex()) {
    Report(problem);
    CloseBook();
    return;
  }
  printf("%d nodes in openings book\n", Book.Nodes);
  fflush(stdout);
  if (!Book.Writable && !Book.Version0) Report("The book is read-only: book learning is off");
  Settings.BookLoaded = 1;
}

bool BookFindPosition() {
  if (!Settings.BookLoaded) return false;
  i32 keyA, keyB;
  BookPositionKey(keyA, keyB);
  i64 low = 3, high = i64(Book.Nodes) + 3;
  if (high < 4) return false;
  u8 record[BOOK_RECORD_SIZE];
  while (high > low) {
    const i64 mid = (low + high) / 2;
    if (!ReadAt(mid * BOOK_RECORD_SIZE, record, BOOK_RECORD_SIZE)) return false;
    const i32 a = ReadI32(record), b = ReadI32(record + 4);
    if (a == keyA && b == keyB) {
      BookList &list = BookMoves;
      list.Offset = u32(ReadI32(record + 8));
      u8 count;
      if (!ReadAt(list.Offset, &count, 1)) return false;
      const int entrySize = Book.Version0 ? 3 : 4;
      u8 entries[BOOK_MAX_MOVES * 4];
      // A list that runs past the end of the file is taken as absent.
      if (!ReadAt(list.Offset + 1, entries, size_t(count) * entrySize)) return false;
      list.Count = count;
      for (int i = 0; i < count; i++) {
        const u8 *entry = entries + i * entrySize;
        list.From[i] = entry[0], list.To[i] = entry[1], list.Good[i] = entry[2];
        list.Bad[i] = Book.Version0 ? 0 : entry[3];
      }
      return true;
    }
    if (a < keyA || (a == keyA && b < keyB))
      low = mid + 1;
    else
      high = mid;
  }
  return false;
}

bool BookWriteCounters(int index, int good, int bad) {
  if (!BookWritable()) return false;
  const u8 counters[2] = {u8(good), u8(bad)};
  // One write of both bytes: a kill leaves the pair either old or new.
  if (pwrite(Book.Fd, counters, 2, BookMoves.Offset + 1 + index * 4 + 2) != 2) return false;
  BookMoves.Good[index] = u8(good), BookMoves.Bad[index] = u8(bad);
  return true;
}

u32 BookMove(int from, int to) {
  from &= 63, to &= 63;
  const int moved = thread_board.Board[from];
  const bool lastRank = to >= 56 || to < 8;
  return MakeMove(from, to, moved, thread_board.Board[to], moved == PAWN && lastRank ? QUEEN : 0);
}
