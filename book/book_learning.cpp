#include "book/book_learning.h"

#include "board/makemove.h"
#include "book/book_file.h"
#include "shell/settings.h"

void BookUpdateMove(int result, u32 move) {
  if (!BookWritable() || !BookFindPosition()) return;
  int index = -1;
  for (int i = 0; i < BookMoves.Count && index < 0; i++)
    if (BookMoves.From[i] == MoveFrom(move) && BookMoves.To[i] == MoveTo(move) && BookValue(i) != BOOK_EXCLUDED)
      index = i;
  if (index < 0) return;
  int good = BookMoves.Good[index], bad = BookMoves.Bad[index];
  if (result == BOOK_DRAW) good++, bad++;
  if (result == BOOK_WIN) good += 2;
  if (result == BOOK_LOSS) bad += 2;
  if (good < 255 && bad < 255) {
    BookWriteCounters(index, good, bad);
    return;
  }
  // The counters are full: every tried move of the position shrinks to two thirds, which keeps their relation.
  for (int i = 0; i < BookMoves.Count; i++) {
    const int value = BookValue(i);
    if (i != index && value != 0 && value != BOOK_EXCLUDED)
      BookWriteCounters(i, BookMoves.Good[i] * 2 / 3, BookMoves.Bad[i] * 2 / 3);
  }
  BookWriteCounters(index, good * 2 / 3, bad * 2 / 3);
}

void BookLearnGame(int result) {
  const int count = GameHistoryCount;
  for (;;) {
    if (GameHistoryCount <= GameHistoryFloor) break;
    unmake_move();
    if (GameHistoryCount <= GameHistoryFloor) break;
    unmake_move();
    if (GameHistoryCount < 1) break;
    BookUpdateMove(result, GameHistory[GameHistoryCount].Move);
  }
  while (GameHistoryCount < count) make_move(GameHistory[GameHistoryCount].Move, 1);
  Settings.BookLearningDone = 1;
}

bool BookGameOpen() {
  return Settings.UseBookLearning && BookWritable() && !Settings.BookLearningDone;
}
