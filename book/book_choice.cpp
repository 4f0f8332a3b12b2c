#include "book/book_choice.h"

#include <cstdio>
#include <cstdlib>

#include "board/movegen.h"
#include "book/book_file.h"
#include "shell/settings.h"

namespace {

// An entry that is excluded, or that is no legal move here (a damaged book), is never played.
bool Playable(int index, const bool *legal) {
  if (!legal[index]) return false;
  return BookIsVersion0() ? BookMoves.Good[index] != BOOK_EXCLUDED_WEIGHT : BookValue(index) != BOOK_EXCLUDED;
}

int Rate(int index) {
  const int good = BookMoves.Good[index], bad = BookMoves.Bad[index];
  return good + bad == 0 ? 500 : good * 1000 / (good + bad);
}

// The r-th playable entry in list order for which `keep` holds.
template <typename Keep>
int NthKept(int r, const bool *legal, Keep keep) {
  for (int i = 0; i < BookMoves.Count; i++)
    if (Playable(i, legal) && keep(i) && r-- == 0) return i;
  return -1;
}

int ChooseEntry(const bool *legal) {
  const int count = BookMoves.Count;
  int playable = 0;
  for (int i = 0; i < count; i++) playable += Playable(i, legal);
  if (playable == 0) return -1;
  const SettingsRecord &s = Settings;
  if (BookIsVersion0()) return NthKept(std::rand() % playable, legal, [](int) { return true; });
  if (s.BookLearningMode == 1) {
    // Discover: the least tried move first, the better rate among equals, the earliest among those.
    int chosen = -1, fewest = 32700, bestRate = 0;
    for (int i = 0; i < count; i++) {
      if (!Playable(i, legal)) continue;
      const int tries = BookMoves.Good[i] + BookMoves.Bad[i], rate = Rate(i);
      if (tries < fewest || (tries == fewest && rate > bestRate)) chosen = i, fewest = tries, bestRate = rate;
    }
    return chosen;
  }
  if (s.UseBookWeights) {
    int best = 0;
    for (int i = 0; i < count; i++)
      if (Playable(i, legal) && Rate(i) > best) best = Rate(i);
    const int floor = (100 - s.VarietyOfPlay) * best / 100;
    auto good = [floor](int i) { return Rate(i) >= floor; };
    int kept = 0;
    for (int i = 0; i < count; i++) kept += Playable(i, legal) && good(i);
    return NthKept(std::rand() % kept, legal, good);
  }
  return NthKept(std::rand() % playable, legal, [](int) { return true; });
}

}  // namespace

u32 BookChooseMove() {
  if (!BookFindPosition()) return 0;
  bool legal[BOOK_MAX_MOVES];
  const int savedTop = MoveStackTop;
  LegalMoves(5000);
  for (int i = 0; i < BookMoves.Count; i++) {
    const u32 move = BookMove(BookMoves.From[i], BookMoves.To[i]);
    legal[i] = false;
    for (int j = 5000; j < MoveStackTop && !legal[i]; j++) legal[i] = MoveStack[j].Move == move;
  }
  MoveStackTop = savedTop;
  const int chosen = ChooseEntry(legal);
  return chosen < 0 ? 0 : BookMove(BookMoves.From[chosen], BookMoves.To[chosen]);
}

void PrintBookMoves() {
  if (!BookFindPosition()) {
    printf("No moves from current pos in book\n");
    fflush(stdout);
    return;
  }
  printf("%d moves from current pos in book:\n", BookMoves.Count);
  fflush(stdout);
  for (int i = 0; i < BookMoves.Count; i++) {
    const int from = BookMoves.From[i] & 63, to = BookMoves.To[i] & 63;
    printf("%c%c%c%c ", 'a' + from % 8, '1' + from / 8, 'a' + to % 8, '1' + to / 8);
    const int good = BookMoves.Good[i], bad = BookMoves.Bad[i];
    if (BookIsVersion0())
      printf("%d\n", good);
    else if (good + bad == 0)
      printf("?\n");
    else if (BookValue(i) == BOOK_EXCLUDED)
      printf("-\n");
    else
      printf("%d%% (not less than %d game(s))\n", good * 100 / (good + bad), (good + bad) / 2);
  }
  fflush(stdout);
}
