// The opening book on disk: opened once, probed by binary search in the file, updated in place.
#pragma once
#include "board/types.h"

constexpr char DEFAULT_BOOK[] = "Book.qvl";
constexpr char BOOK_MAGIC[] = "~Quarvelle openings book";
constexpr int BOOK_MAGIC_SIZE = 24;
constexpr int BOOK_RECORD_SIZE = 12;
constexpr int BOOK_HEADER_SIZE = 3 * BOOK_RECORD_SIZE;
constexpr int BOOK_MAX_MOVES = 256;
constexpr int BOOK_EXCLUDED = 65535;  // good and bad both 255
constexpr int BOOK_EXCLUDED_WEIGHT = 255;

// The moves of the position found by the last probe. Version 1: good and bad counters; version 0: the weight
// in good, bad 0.
struct BookList {
  int Count;
  i64 Offset;  // of the count byte in the file
  u8 From[BOOK_MAX_MOVES], To[BOOK_MAX_MOVES], Good[BOOK_MAX_MOVES], Bad[BOOK_MAX_MOVES];
};
extern BookList BookMoves;

// Opens a book, closing the one in use first, with the start-up messages; sets BookLoaded on success.
void OpenBook(const char *path);
void CloseBook();
bool BookIsVersion0();
// A book that learning may write: loaded, version 1 and opened for update.
bool BookWritable();
// Finds the position on the board in the index; on true BookMoves holds its move list.
bool BookFindPosition();
// Writes the two counters of entry `index` of the last list found; false when the write failed.
bool BookWriteCounters(int index, int good, int bad);

inline int BookValue(int index) { return BookMoves.Good[index] + 256 * BookMoves.Bad[index]; }
// The book entry as a move on the board: moved and captured pieces from the board, a pawn reaching the last
// rank promotes to a queen.
u32 BookMove(int from, int to);
