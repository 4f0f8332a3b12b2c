// The order of "values.txt", written once: for every number of the file where it goes and what it is called.
// The engine's reader and the values tool both walk this one table.
#pragma once
#include <cstddef>
#include <vector>

#include "board/types.h"

enum class Layout : u8 {
  Plain,          // number i fills tables[0][offset + i]
  HalfRows,       // 32 numbers, files a to d of each rank in turn, into a table of 64 squares
  Interleaved,    // number i fills tables[i % n][offset + i / n], n the tables named
  Imbalance,      // ImbalanceTable, in the file's nesting of piece counts
  ImbalancePawn,  // ImbalancePawnTable, the same with pawn counts 0 to 2
  CountPairs,     // PruneCounts: two 64-bit counts per move
  Ignored,        // a place that nothing reads
};

// How one index of a name is printed.
enum class IndexStyle : u8 {
  Number,
  Square,         // a1 to h8
  File,           // a to h
  FileRank,       // 32 entries, 8 * file + rank: a1 to d8
  ConnectedRank,  // 20 entries, 5 * file + k with k = 0 for rank 6 down to k = 4 for rank 2
  Piece,          // by piece code: king, knight, pawn, rook, bishop, queen
  PieceCode,      // 6 entries for the codes 1, 2, 3, 5, 6, 7, printed as piece names
};

struct IndexDim {
  i32 size;
  IndexStyle style;
  const char *label;  // labelled indices print as [label=value,...]
};

constexpr int MAX_INDEX_DIMS = 10;
constexpr int MAX_INTERLEAVED = 3;

struct ValuesEntry {
  i32 item;   // the file's own numbering of its items, from 1
  i32 count;  // numbers in the file
  Layout layout;
  i32 offset;  // first index that the entry fills, for Plain and Interleaved
  const char *names[MAX_INTERLEAVED];
  i32 *tables[MAX_INTERLEAVED];
  IndexDim dims[MAX_INDEX_DIMS];  // shape of the named table; none for a single number
};

// Where one number of the file goes; both null for an ignored place or scratch that isn't allocated.
struct ValueSlot {
  i32 *target;
  i64 *wideTarget;
};

extern const ValuesEntry ValuesLayout[];
extern const int ValuesLayoutSize;

// All numbers of a complete file.
i64 ValuesFileCount();
ValueSlot SlotOf(const ValuesEntry &entry, int index);
// The table that number `index` of the entry fills, e.g. "PasserRankOpening"; null for an ignored place.
const char *TableNameOf(const ValuesEntry &entry, int index);
// The name of number `index` of the entry, e.g. "PasserRankOpening[3]" or "ignored.item12[3]".
void SlotName(const ValuesEntry &entry, int index, char *out, size_t size);
// What the tables hold now, in the file's order: the compiled-in defaults in a program that hasn't loaded.
std::vector<i64> CurrentValues();

// One number as "%d" reads it: white space, an optional sign, digits. Saturates instead of overflowing.
bool ParseNumber(const char *&p, const char *end, i64 &value);
i32 SaturateToI32(i64 value);
