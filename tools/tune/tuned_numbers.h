// Which numbers of values.txt the tuner moves: whole tables, chosen by named groups of evaluation terms.
#pragma once
#include <string>
#include <vector>

#include "board/types.h"

// One number of the file and the parameter that the load fills from it. A number by square is tied to its
// mirror across the d/e line (and, in the wing tables, the mirrored wing), which takes the same value: the
// evaluation of a position and of its file mirror stay equal.
struct TunedNumber {
  i64 fileIndex;             // place in values.txt, from 0
  i32 *slot;                 // the parameter itself
  const char *table;         // the table's name in the file, e.g. "KnightMobilityOpening"
  i64 mirrorFileIndex = -1;  // the tied number, if any
  i32 *mirrorSlot = nullptr;
};

// A named group of terms: the tables whose numbers it tunes.
struct TermGroup {
  const char *name;
  std::vector<const char *> tables;
};

const std::vector<TermGroup> &TermGroups();
// The groups that a run tunes when it names none.
constexpr const char *DEFAULT_GROUPS = "mobility,outposts,cages,pawns,rooks,bishops,threats,wings";

// Every number of the tables of the named groups (comma-separated), in the file's order; false with the
// reason for an unknown group.
bool SelectNumbers(const std::string &groups, std::vector<TunedNumber> &numbers, std::string &error);

// Sets the numbers and rebuilds what the evaluation reads from them. The material table is left as it is:
// no group holds a number that feeds it.
void SetNumbers(const std::vector<TunedNumber> &numbers, const std::vector<i32> &values);
// One number and its tied mirror, without the rebuild.
void SetNumber(const TunedNumber &number, i32 value);
std::vector<i32> CurrentNumbers(const std::vector<TunedNumber> &numbers);
