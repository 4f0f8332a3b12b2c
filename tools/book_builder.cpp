// quarvelle-book: builds an opening book from PGN games, and prints a book's statistics.
//
//   quarvelle-book build GAMES.pgn BOOK.qvl [--plies N] [--min-games N] [--min-move-games N]
//                        [--exclude-below PERCENT] [--exclude-min-games N]
//   quarvelle-book stats BOOK.qvl
//
// A position enters the book when it occurs within the first N plies of at least --min-games games; its moves are
// those played there in at least --min-move-games games. Results count from the side to move: a win 2 good, a loss
// 2 bad, a draw 1 each. Counters above 254 are scaled down together, keeping the move's rate (255 in both would
// mark the move excluded). A move played in at least --exclude-min-games games that scores below --exclude-below
// percent is written as excluded: listed, never played.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "board/attacks.h"
#include "board/board.h"
#include "board/makemove.h"
#include "board/position.h"
#include "board/san.h"
#include "book/book_file.h"
#include "book/book_keys.h"
#include "tools/pgn_reader.h"

namespace {

struct Options {
  int Plies = 20;
  int MinGames = 5;
  int MinMoveGames = 3;
  int ExcludeBelow = 0;
  int ExcludeMinGames = 20;
};

// One move of one game: the position's book key, the move, the result for the side to move (0 loss, 1 draw,
// 2 win) and the game it came from.
struct Occurrence {
  i32 A, B;
  u8 From, To, Outcome;
  u32 Game;
};

bool KeyLess(const Occurrence &x, const Occurrence &y) {
  if (x.A != y.A) return x.A < y.A;
  if (x.B != y.B) return x.B < y.B;
  if (x.From != y.From) return x.From < y.From;
  if (x.To != y.To) return x.To < y.To;
  return x.Game < y.Game;
}

bool SamePosition(const Occurrence &x, const Occurrence &y) { return x.A == y.A && x.B == y.B; }

// The game being read and what has been gathered so far.
struct BuildRun {
  Options Limits;
  std::vector<Occurrence> Seen;
  u32 Games = 0, Used = 0, Broken = 0;
  int Ply = 0;
  bool Usable = false;
} Run;

void StartBookGame() {
  SetStartPosition();
  Run.Games++;
  Run.Ply = 0;
}

// The result for the side to move: 0 loss, 1 draw, 2 win.
int Outcome(int side) {
  if (GameResult == RESULT_DRAW) return 1;
  return (GameResult == RESULT_WHITE_WON) == (side == WHITE) ? 2 : 0;
}

// Games from a set-up position or without a result are read but not used; a move that can't be read ends the
// use of its game.
void TakeBookMove(const char *san) {
  if (Run.Ply++ == 0) {
    Run.Usable = !GameFromFen && GameResult != RESULT_UNKNOWN;
    Run.Used += Run.Usable;
  }
  if (!Run.Usable || MoveError || Run.Ply > Run.Limits.Plies) return;
  const SanMatch match = ParseSan(san);
  if (match.Matches != 1) {
    Run.Broken++;
    MoveError = 1;
    return;
  }
  Occurrence o;
  BookPositionKey(o.A, o.B);
  o.From = u8(MoveFrom(match.Move)), o.To = u8(MoveTo(match.Move));
  o.Outcome = u8(Outcome(thread_board.SideToMove));
  o.Game = Run.Games;
  Run.Seen.push_back(o);
  make_move(match.Move, 1);
}

void IgnoreGameEnd(i32) {}

void PutI32(std::vector<u8> &out, i32 value) {
  for (int i = 0; i < 4; i++) out.push_back(u8(u32(value) >> (8 * i)));
}

int Build(const char *pgnPath, const char *bookPath, const Options &options) {
  FILE *pgn = std::fopen(pgnPath, "rb");
  if (!pgn) {
    std::fprintf(stderr, "cannot open %s\n", pgnPath);
    return 1;
  }
  Run.Limits = options;
  ReadPgnGames(pgn, {StartBookGame, TakeBookMove, IgnoreGameEnd});
  std::fclose(pgn);
  std::vector<Occurrence> &seen = Run.Seen;
  std::sort(seen.begin(), seen.end(), KeyLess);

  struct Entry {
    u8 From, To, Good, Bad;
  };
  struct Position {
    i32 A, B;
    std::vector<Entry> Moves;
  };
  std::vector<Position> positions;
  size_t moveCount = 0, excluded = 0;
  for (size_t first = 0; first < seen.size();) {
    size_t last = first;
    while (last < seen.size() && SamePosition(seen[first], seen[last])) last++;
    // Occurrences are sorted by move, then game: count the distinct games of the position.
    std::vector<u32> gameIds;
    for (size_t i = first; i < last; i++) gameIds.push_back(seen[i].Game);
    std::sort(gameIds.begin(), gameIds.end());
    const long distinct = std::unique(gameIds.begin(), gameIds.end()) - gameIds.begin();
    Position position{seen[first].A, seen[first].B, {}};
    for (size_t i = first; distinct >= options.MinGames && i < last;) {
      size_t end = i;
      long good = 0, bad = 0, played = 0;
      for (; end < last && seen[end].From == seen[i].From && seen[end].To == seen[i].To; end++) {
        const int outcome = seen[end].Outcome;
        good += outcome, bad += 2 - outcome, played++;
      }
      if (played >= options.MinMoveGames) {
        const long top = std::max(good, bad);
        if (top > 254) good = good * 254 / top, bad = bad * 254 / top;
        Entry entry{seen[i].From, seen[i].To, u8(good), u8(bad)};
        if (good + bad == 0) entry.Good = entry.Bad = 1;  // scaled to nothing: still a tried move
        if (played >= options.ExcludeMinGames && (good + bad) > 0 && good * 100 < options.ExcludeBelow * (good + bad))
          entry.Good = entry.Bad = 255, excluded++;
        position.Moves.push_back(entry);
      }
      i = end;
    }
    if (!position.Moves.empty()) {
      moveCount += position.Moves.size();
      positions.push_back(std::move(position));
    }
    first = last;
  }

  std::vector<u8> out(BOOK_MAGIC, BOOK_MAGIC + BOOK_MAGIC_SIZE);
  PutI32(out, 1);
  PutI32(out, 0);
  PutI32(out, i32(positions.size()));
  i64 listOffset = BOOK_HEADER_SIZE + i64(positions.size()) * BOOK_RECORD_SIZE;
  for (const Position &p : positions) {
    PutI32(out, p.A), PutI32(out, p.B), PutI32(out, i32(listOffset));
    listOffset += 1 + 4 * i64(p.Moves.size());
  }
  for (const Position &p : positions) {
    out.push_back(u8(p.Moves.size()));
    for (const Entry &e : p.Moves) out.insert(out.end(), {e.From, e.To, e.Good, e.Bad});
  }
  FILE *book = std::fopen(bookPath, "wb");
  if (!book || std::fwrite(out.data(), 1, out.size(), book) != out.size() || std::fclose(book) != 0) {
    std::fprintf(stderr, "cannot write %s\n", bookPath);
    return 1;
  }
  std::printf("%u games read, %u used, %u stopped at a move that could not be read\n", Run.Games, Run.Used,
              Run.Broken);
  std::printf("%zu positions, %zu moves (%zu excluded), %zu bytes written to %s\n", positions.size(), moveCount,
              excluded, out.size(), bookPath);
  return 0;
}

i32 GetI32(const std::vector<u8> &data, size_t at) {
  return i32(data[at] | data[at + 1] << 8 | data[at + 2] << 16 | u32(data[at + 3]) << 24);
}

int Stats(const char *bookPath) {
  FILE *book = std::fopen(bookPath, "rb");
  if (!book) {
    std::fprintf(stderr, "cannot open %s\n", bookPath);
    return 1;
  }
  std::vector<u8> data;
  u8 chunk[65536];
  for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, book)) > 0;) data.insert(data.end(), chunk, chunk + n);
  std::fclose(book);
  if (data.size() < size_t(BOOK_HEADER_SIZE) || std::memcmp(data.data(), BOOK_MAGIC, BOOK_MAGIC_SIZE) != 0) {
    std::printf("not a book: bad magic or too short\n");
    return 1;
  }
  const i32 version = GetI32(data, 24), nodes = GetI32(data, 32);
  const size_t entrySize = version == 0 ? 3 : 4;
  std::printf("version %d, %d positions, %zu bytes\n", version, nodes, data.size());
  if (nodes < 0 || BOOK_HEADER_SIZE + size_t(nodes) * BOOK_RECORD_SIZE > data.size()) {
    std::printf("the index runs past the end of the file\n");
    return 1;
  }
  size_t moves = 0, excluded = 0, untried = 0, widest = 0, problems = 0;
  for (i32 i = 0; i < nodes; i++) {
    const size_t at = BOOK_HEADER_SIZE + size_t(i) * BOOK_RECORD_SIZE;
    if (i > 0) {
      const i32 a0 = GetI32(data, at - 12), b0 = GetI32(data, at - 8), a = GetI32(data, at), b = GetI32(data, at + 4);
      if (a < a0 || (a == a0 && b <= b0)) problems++;
    }
    const size_t list = u32(GetI32(data, at + 8));
    if (list >= data.size() || list + 1 + data[list] * entrySize > data.size()) {
      problems++;
      continue;
    }
    const size_t count = data[list];
    moves += count, widest = std::max(widest, count);
    for (size_t m = 0; m < count; m++) {
      const u8 *e = &data[list + 1 + m * entrySize];
      const int value = version == 0 ? (e[2] == 255 ? 65535 : 1) : e[2] + 256 * e[3];
      excluded += value == 65535, untried += value == 0;
    }
  }
  std::printf("%zu moves, %zu excluded, %zu untried, at most %zu in a position\n", moves, excluded, untried, widest);
  std::printf("%zu problems (unsorted index records, lists outside the file)\n", problems);
  return problems ? 1 : 0;
}

int Usage() {
  std::fprintf(stderr,
               "usage: quarvelle-book build GAMES.pgn BOOK.qvl [--plies N] [--min-games N] [--min-move-games N]\n"
               "                            [--exclude-below PERCENT] [--exclude-min-games N]\n"
               "       quarvelle-book stats BOOK.qvl\n");
  return 2;
}

}  // namespace

int main(int argc, char **argv) {
  InitRandomKeys();
  InitAttackTables();
  InitBookKeys();
  if (argc == 3 && !std::strcmp(argv[1], "stats")) return Stats(argv[2]);
  if (argc < 4 || std::strcmp(argv[1], "build")) return Usage();
  Options options;
  for (int i = 4; i < argc; i++) {
    if (i + 1 >= argc) return Usage();
    const int value = std::atoi(argv[i + 1]);
    if (!std::strcmp(argv[i], "--plies")) options.Plies = std::clamp(value, 1, 200);
    else if (!std::strcmp(argv[i], "--min-games")) options.MinGames = std::max(value, 1);
    else if (!std::strcmp(argv[i], "--min-move-games")) options.MinMoveGames = std::max(value, 1);
    else if (!std::strcmp(argv[i], "--exclude-below")) options.ExcludeBelow = std::clamp(value, 0, 100);
    else if (!std::strcmp(argv[i], "--exclude-min-games")) options.ExcludeMinGames = std::max(value, 1);
    else return Usage();
    i++;
  }
  return Build(argv[2], argv[3], options);
}
