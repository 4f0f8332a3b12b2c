// Positions against their mirror between files d and e: the evaluation should not tell them apart.
#pragma once
#include <algorithm>
#include <sstream>
#include <string>

#include "tests/unit/engine_fixture.h"
#include "tests/unit/move_list.h"

// The same position seen in a mirror between files d and e; meaningful without castling rights.
inline std::string MirrorFiles(const std::string &fen) {
  std::istringstream in(fen);
  std::string placement, rest;
  in >> placement;
  std::getline(in, rest);
  std::string mirrored, row;
  for (char c : placement + "/") {
    if (c != '/') {
      if (c >= '1' && c <= '8') row += std::string(size_t(c - '0'), '1');
      else row += c;
      continue;
    }
    std::reverse(row.begin(), row.end());
    mirrored += (mirrored.empty() ? "" : "/") + row;
    row.clear();
  }
  return mirrored + rest;
}

struct FileMirrorCount {
  int compared = 0, differences = 0;
  std::string firstDifferences;  // up to five, a line each
};

// The sample's positions against their file mirrors, with the values loaded now. Some terms tell the wings
// apart by design, so their positions are left out: the king's opening table on b1 and g1, a king on file d or
// e (its own file tables), a queen at home (development), and a fianchetto on the king side.
inline FileMirrorCount CompareFileMirrors() {
  const u64 unevenKingSquares = Bit(1) | Bit(6) | Bit(57) | Bit(62) | FileMask(3) | FileMask(4);
  const u64 unevenQueenSquares = Bit(3) | Bit(4) | Bit(59) | Bit(60);
  const u64 fianchettoSquares = Bit(5) | Bit(6) | Bit(7) | Bit(61) | Bit(62) | Bit(63) | Bit(2) | Bit(1) | Bit(0) |
                                Bit(58) | Bit(57) | Bit(56);
  FileMirrorCount count;
  for (const movetest::SamplePosition &position : movetest::WalkSample()) {
    movetest::Reach(position);
    const BoardRecord &b = thread_board;
    if (b.CastlingFlags || ((b.Kings[WHITE] | b.Kings[BLACK]) & unevenKingSquares) ||
        ((b.Queens[WHITE] | b.Queens[BLACK]) & unevenQueenSquares) ||
        ((b.Bishops[WHITE] | b.Bishops[BLACK]) & fianchettoSquares))
      continue;
    const std::string fen = movetest::CurrentFen();
    const i32 score = EvaluateFen(fen), mirrored = EvaluateFen(MirrorFiles(fen));
    count.compared++;
    if (score != mirrored && count.differences++ < 5)
      count.firstDifferences += fen + ": " + std::to_string(score) + " vs " + std::to_string(mirrored) + "\n";
  }
  return count;
}
