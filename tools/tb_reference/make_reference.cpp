// Builds the tablebase reference of tests/data: random positions of every 3- and 4-man material, each with the
// WDL and DTZ that Debian's fathom reports, and the same for the position after every legal move.
// Usage: tb_reference_maker FATHOM TABLE_DIR COUNT_PER_MATERIAL SEED > tablebase_reference.txt
// Line: FEN;wdl;dtz;move:childWdl:childDtz ... with a child that is mated written move:mate.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "search/hash.h"
#include "shell/settings.h"

namespace {

std::string Fathom, TableDir;
std::map<std::string, std::pair<int, int>> Cache;

std::string WriteFen() {
  const BoardRecord &b = thread_board;
  std::string fen;
  for (int rank = 7; rank >= 0; rank--) {
    int empty = 0;
    for (int file = 0; file < 8; file++) {
      const int sq = rank * 8 + file;
      if (!(b.Occupied & Bit(sq))) {
        empty++;
        continue;
      }
      if (empty) fen += char('0' + empty), empty = 0;
      const char letter = "?KNP?RBQ"[b.Board[sq]];
      fen += (b.Pieces[WHITE] & Bit(sq)) ? letter : char(letter + 32);
    }
    if (empty) fen += char('0' + empty);
    if (rank) fen += '/';
  }
  fen += b.SideToMove == WHITE ? " w - " : " b - ";
  if (LastMoveWasDoubleStep()) {
    const u32 last = GameHistory[GameHistoryCount - 1].Move;
    const int behind = (MoveFrom(last) + MoveTo(last)) / 2;
    fen += char('a' + FileOf(behind));
    fen += char('1' + RankOf(behind));
  } else {
    fen += '-';
  }
  return fen + " 0 1";
}

// WDL -2..2 and signed DTZ as fathom prints them for the side to move.
std::pair<int, int> Probe(const std::string &fen) {
  if (auto found = Cache.find(fen); found != Cache.end()) return found->second;
  const std::string command = Fathom + " --path=" + TableDir + " \"" + fen + "\"";
  FILE *pipe = popen(command.c_str(), "r");
  if (!pipe) std::exit(2);
  char line[512];
  int wdl = 9, dtz = 0;
  while (std::fgets(line, sizeof line, pipe)) {
    if (std::strncmp(line, "[WDL \"", 6) == 0) {
      const std::string text = line + 6;
      if (text.rfind("Win", 0) == 0) wdl = 2;
      else if (text.rfind("Cursed", 0) == 0) wdl = 1;
      else if (text.rfind("Draw", 0) == 0) wdl = 0;
      else if (text.rfind("Blessed", 0) == 0) wdl = -1;
      else if (text.rfind("Loss", 0) == 0) wdl = -2;
    } else if (std::strncmp(line, "[DTZ \"", 6) == 0) {
      dtz = std::atoi(line + 6);
    }
  }
  pclose(pipe);
  if (wdl == 9) {
    std::fprintf(stderr, "fathom gave no answer for %s\n", fen.c_str());
    std::exit(2);
  }
  const std::pair<int, int> result{wdl, wdl < 0 ? -dtz : wdl > 0 ? dtz : 0};
  Cache[fen] = result;
  return result;
}

bool SideToMoveInCheck() {
  const BoardRecord &b = thread_board;
  return IsAttacked(ChangeSide(b.SideToMove), b.KingSquare[b.SideToMove]);
}

int LegalMoveCount() {
  LegalMoves(0);
  const int n = MoveStackTop;
  MoveStackTop = 0;
  return n;
}

// Random placement of `material` ("KRPvKN"); `flip` gives the first side to black. False if illegal.
bool Place(const std::string &material, bool flip, int sideToMove, std::mt19937_64 &random, bool enPassant) {
  ClearBoard();
  int side = flip ? BLACK : WHITE;
  u64 taken = 0;
  auto freeSquare = [&](int piece) {
    for (;;) {
      const int sq = int(random() % 64);
      if (taken & Bit(sq)) continue;
      if (piece == PAWN && (RankOf(sq) == 0 || RankOf(sq) == 7)) continue;
      return sq;
    }
  };
  std::vector<std::pair<int, int>> men;  // (side, piece)
  for (char c : material) {
    if (c == 'v') {
      side ^= 1;
      continue;
    }
    int piece = 0, dummy = 0;
    PieceFromLetter(c, piece, dummy);
    men.push_back({side, piece});
  }
  std::string fenTail;
  int epPawn = -1, epVictim = -1;
  if (enPassant) {
    // The side to move has a pawn beside an enemy pawn that has just stepped two squares.
    for (size_t i = 0; i < men.size(); i++)
      if (men[i].second == PAWN && men[i].first == sideToMove && epPawn < 0) epPawn = int(i);
    for (size_t i = 0; i < men.size(); i++)
      if (men[i].second == PAWN && men[i].first != sideToMove && epVictim < 0) epVictim = int(i);
    if (epPawn < 0 || epVictim < 0) return false;
    const int rank = sideToMove == WHITE ? 4 : 3;
    const int file = int(random() % 8);
    const int beside = file == 0 ? 1 : file == 7 ? 6 : file + (random() % 2 ? 1 : -1);
    const int victim = rank * 8 + file, pawn = rank * 8 + beside;
    const int behind = victim + (sideToMove == WHITE ? 8 : -8), start = victim + (sideToMove == WHITE ? 16 : -16);
    AddPiece(victim, men[epVictim].first, PAWN);
    AddPiece(pawn, men[epPawn].first, PAWN);
    taken |= Bit(victim) | Bit(pawn) | Bit(behind) | Bit(start);
    fenTail = std::string(1, char('a' + file)) + char('1' + RankOf(behind));
  }
  for (size_t i = 0; i < men.size(); i++) {
    if (int(i) == epPawn || int(i) == epVictim) continue;
    const int sq = freeSquare(men[i].second);
    taken |= Bit(sq);
    AddPiece(sq, men[i].first, men[i].second);
  }
  const BoardRecord &b = thread_board;
  if (PopCount(b.Kings[WHITE]) != 1 || PopCount(b.Kings[BLACK]) != 1) return false;
  if (KingAttacks[b.KingSquare[WHITE]] & Bit(b.KingSquare[BLACK])) return false;
  // Through a FEN, so that the en passant right is set up the way the engine reads it.
  std::string fen;
  {
    thread_board.SideToMove = sideToMove;
    fen = WriteFen();
    if (enPassant) fen.replace(fen.size() - 5, 1, fenTail);
  }
  LoadFen(fen.c_str());
  if (IsAttacked(sideToMove, thread_board.KingSquare[ChangeSide(sideToMove)])) return false;
  return LegalMoveCount() > 0;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: %s FATHOM TABLE_DIR COUNT_PER_MATERIAL SEED\n", argv[0]);
    return 1;
  }
  Fathom = argv[1];
  TableDir = argv[2];
  const int perMaterial = std::atoi(argv[3]);
  std::mt19937_64 random(std::strtoull(argv[4], nullptr, 10));
  SetFirstDefaults();
  InitRandomKeys();
  InitAttackTables();
  SetSecondDefaults();
  AllocateTables();

  const char *letters = "QRBNP";
  std::vector<std::string> materials;
  for (int i = 0; i < 5; i++) materials.push_back(std::string("K") + letters[i] + "vK");
  for (int i = 0; i < 5; i++)
    for (int j = i; j < 5; j++) materials.push_back(std::string("K") + letters[i] + "vK" + letters[j]);
  for (int i = 0; i < 5; i++)
    for (int j = i; j < 5; j++) materials.push_back(std::string("K") + letters[i] + letters[j] + "vK");

  for (const std::string &material : materials) {
    const bool pawnsBothSides = material.find('P') != material.rfind('P') && material.find('P') < material.find('v');
    const int count = perMaterial + (pawnsBothSides ? perMaterial / 2 : 0);
    for (int n = 0; n < count;) {
      const bool flip = random() % 2, enPassant = pawnsBothSides && n >= perMaterial;
      const int sideToMove = int(random() % 2);
      if (!Place(material, flip, sideToMove, random, enPassant)) continue;
      if (enPassant && !LastMoveWasDoubleStep()) continue;
      const std::string fen = WriteFen();
      const auto [wdl, dtz] = Probe(fen);
      std::string line = fen + ";" + std::to_string(wdl) + ";" + std::to_string(dtz) + ";";
      LegalMoves(0);
      const int moveCount = MoveStackTop;
      std::vector<u32> moves;
      for (int i = 0; i < moveCount; i++) moves.push_back(MoveStack[i].Move);
      MoveStackTop = 0;
      for (u32 move : moves) {
        char text[8];
        make_move(move, 1);
        line += MoveText(text, move);
        if (LegalMoveCount() == 0) {
          line += SideToMoveInCheck() ? ":mate" : ":0:0";
        } else {
          const auto [childWdl, childDtz] = Probe(WriteFen());
          line += ":" + std::to_string(childWdl) + ":" + std::to_string(childDtz);
        }
        line += " ";
        unmake_move();
      }
      line.pop_back();
      std::printf("%s\n", line.c_str());
      std::fflush(stdout);
      n++;
    }
  }
  return 0;
}
