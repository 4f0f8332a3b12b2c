// Book probe time at the root: BookChooseMove over positions along random book lines, with the book's pages in
// the file cache (warm) and dropped from it before each probe (cold). Run from the repository root.
//
//   build/book_bench [BOOK] [PROBES]
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "board/attacks.h"
#include "board/board.h"
#include "board/makemove.h"
#include "board/position.h"
#include "book/book_choice.h"
#include "book/book_file.h"
#include "book/book_keys.h"
#include "shell/settings.h"

namespace {

// Asks the kernel to forget the file's cached pages; the next probe reads from the disk.
void DropCache(const char *path) {
  const int fd = open(path, O_RDONLY);
  if (fd < 0) return;
  fdatasync(fd);
  posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
  close(fd);
}

double ProbeMicroseconds(const char *path, int probes, bool cold, int &found) {
  std::srand(1);
  found = 0;
  double total = 0;
  SetStartPosition();
  for (int i = 0; i < probes; i++) {
    if (cold) DropCache(path);
    const auto start = std::chrono::steady_clock::now();
    const u32 move = BookChooseMove();
    total += std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
    if (move) {
      found++;
      make_move(move, 1);
    }
    if (!move || GameHistoryCount >= 30) SetStartPosition();
  }
  return total / probes;
}

}  // namespace

int main(int argc, char **argv) {
  const char *path = argc > 1 ? argv[1] : "Book.qvl";
  const int probes = argc > 2 ? std::atoi(argv[2]) : 2000;
  SetFirstDefaults();
  InitRandomKeys();
  InitAttackTables();
  InitBookKeys();
  SetSecondDefaults();
  OpenBook(path);
  if (!Settings.BookLoaded) return 1;
  struct stat info;
  stat(path, &info);
  std::printf("book %s: %lld bytes\n", path, static_cast<long long>(info.st_size));
  int found;
  const double warm = ProbeMicroseconds(path, probes, false, found);
  std::printf("warm: %.1f us per root probe (%d probes, %d found a move)\n", warm, probes, found);
  const double cold = ProbeMicroseconds(path, probes / 10, true, found);
  std::printf("cold: %.1f us per root probe (%d probes, file cache dropped before each)\n", cold, probes / 10);
  return 0;
}
