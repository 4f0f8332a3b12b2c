// A Syzygy table: the input's first byte chooses one of the three-man tables of tests/data/syzygy and whether the
// rest of the input is its .rtbw or its .rtbz file; the other file of the pair is the real one. The engine finds
// them through SyzygyPath, maps them and probes positions of that material, in the tree as at the root.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "board/attacks.h"
#include "board/board.h"
#include "board/position.h"
#include "tablebase/tablebase.h"
#include "tests/fuzz/fuzz_session.h"
#include "tests/fuzz/fuzz_targets.h"

namespace fs = std::filesystem;

namespace {

struct Material {
  const char *Name;
  int Piece;
};
constexpr Material Materials[] = {{"KQvK", QUEEN}, {"KRvK", ROOK}, {"KPvK", PAWN}, {"KBvK", BISHOP}};
constexpr int MATERIAL_COUNT = 4;
constexpr int PROBED_POSITIONS = 64;

std::string RealTable(const std::string &file) {
  std::ifstream in(fs::path(SourceDirectory()) / "tests/data/syzygy" / file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// Position i of a spread over the board: the kings and the piece on squares that step apart, the piece for
// White or for Black by turns, either side to move; a pawn may stand on a back rank, as a set-up position allows.
// False when the side not to move stands in check.
bool PlacePosition(int i, int piece) {
  const int whiteKing = (i * 7 + 3) % 64, blackKing = (i * 13 + 40) % 64, square = (i * 29 + 11) % 64;
  const int owner = i % 2 ? BLACK : WHITE;
  if (whiteKing == blackKing || square == whiteKing || square == blackKing || (KingAttacks[whiteKing] & Bit(blackKing)))
    return false;
  ClearBoard();
  AddPiece(whiteKing, WHITE, KING);
  AddPiece(blackKing, BLACK, KING);
  AddPiece(square, owner, piece);
  BoardRecord &b = thread_board;
  b.SideToMove = (i / 2) % 2 ? BLACK : WHITE;
  b.CastlingFlags = 0;
  GameHistoryCount = GameHistoryFloor = 0;
  const int them = ChangeSide(b.SideToMove);
  if (IsAttacked(b.SideToMove, b.KingSquare[them])) return false;
  PlyStack[Ply].InCheck = IsAttacked(them, b.KingSquare[b.SideToMove]);
  return true;
}

}  // namespace

int FuzzTablebaseFile(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  ResetEngine();
  const Material &material = Materials[data[0] % MATERIAL_COUNT];
  const bool fuzzedDtz = (data[0] / MATERIAL_COUNT) % 2;
  const std::string realFile = material.Name + std::string(fuzzedDtz ? ".rtbw" : ".rtbz");
  const std::string fuzzedFile = material.Name + std::string(fuzzedDtz ? ".rtbz" : ".rtbw");
  fs::create_directory("syzygy");
  const std::string real = RealTable(realFile);
  WriteScratchFile("syzygy/" + realFile, real.data(), real.size());
  WriteScratchFile("syzygy/" + fuzzedFile, data + 1, size - 1);
  RunSession([&material] {
    for (const char *command : {"easy", "setoption name SyzygyPath value syzygy"}) RunCommand(command);
    for (int i = 0; i < PROBED_POSITIONS; i++) {
      if (!PlacePosition(i, material.Piece)) continue;
      i32 success;
      ProbeWdl(success);
      ProbeDtz(success);
    }
    // The root probes keep the moves that hold the result, then the search probes in the tree.
    for (int i = 0; i < PROBED_POSITIONS; i += 9)
      if (PlacePosition(i, material.Piece)) RunCommand("go depth 2");
  });
  return 0;
}
