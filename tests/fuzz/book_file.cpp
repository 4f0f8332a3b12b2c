// The opening book: the input is a book file, opened as the engine opens Book.qvl and updated in place. A game is
// played from it, listing the book's moves in each position, and its result is learnt into the counters; then
// again in the discover mode, which chooses by the counters that the first game wrote.
#include "book/book_file.h"

#include "board/makemove.h"
#include "book/book_choice.h"
#include "book/book_learning.h"
#include "shell/engine.h"
#include "shell/settings.h"
#include "tests/fuzz/fuzz_session.h"
#include "tests/fuzz/fuzz_targets.h"

namespace {

constexpr int MAX_BOOK_PLIES = 30;

void PlayAndLearnBookGame(int result) {
  NewGame(false);
  for (int ply = 0; ply < MAX_BOOK_PLIES; ply++) {
    RunCommand("bkm");
    const u32 move = BookChooseMove();
    if (!move) break;
    MakeGameMove(move);
  }
  BookLearnGame(result);
}

}  // namespace

int FuzzBookFile(const uint8_t *data, size_t size) {
  ResetEngine();
  const std::string path = WriteScratchFile("fuzz.qvl", data, size);
  RunSession([&path] {
    OpenBook(path.c_str());
    PlayAndLearnBookGame(BOOK_WIN);
    Settings.BookLearningMode = 1;
    PlayAndLearnBookGame(BOOK_DRAW);
  });
  return 0;
}
