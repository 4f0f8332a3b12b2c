// Helpers for the move generator tests: move lists read off MoveStack, a slow reference generator
// that shares nothing with the engine's tables, FEN writing and mirroring, the perft file, and a
// fixed sample of positions reached by random play from it.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "search/statistics.h"
#include "tests/unit/engine_fixture.h"

namespace movetest {

using MoveList = std::vector<u32>;

// ---------------------------------------------------------------------------------------------
// Reading and describing lists

inline MoveList StackMoves(int start, int end) {
  MoveList moves;
  for (int i = start; i < end; i++) moves.push_back(MoveStack[i].Move);
  return moves;
}

// Runs a generator at the top of the stack and returns what it appended; the stack is put back.
template <class Generator>
std::vector<MoveEntry> GenerateEntries(Generator generate) {
  const int start = MoveStackTop;
  generate();
  std::vector<MoveEntry> entries(MoveStack + start, MoveStack + MoveStackTop);
  MoveStackTop = start;
  return entries;
}

inline MoveList MovesOf(const std::vector<MoveEntry> &entries) {
  MoveList moves;
  for (const MoveEntry &entry : entries) moves.push_back(entry.Move);
  return moves;
}

template <class Generator>
MoveList Generate(Generator generate) {
  return MovesOf(GenerateEntries(generate));
}

inline const MoveEntry *FindEntry(const std::vector<MoveEntry> &entries, u32 move) {
  for (const MoveEntry &entry : entries)
    if (entry.Move == move) return &entry;
  return nullptr;
}

inline MoveList EngineLegalMoves() {
  const int start = MoveStackTop;
  LegalMoves(start);
  MoveList moves = StackMoves(start, MoveStackTop);
  MoveStackTop = start;
  return moves;
}

inline MoveList EnginePseudoMoves() {
  return Generate([] {
    GenerateCaptures(thread_board.Pieces[ChangeSide(thread_board.SideToMove)]);
    GeneratePromotions();
    GenerateQuiets(1);
  });
}

inline bool SideToMoveInCheck() {
  const BoardRecord &b = thread_board;
  return IsAttacked(ChangeSide(b.SideToMove), b.KingSquare[b.SideToMove]);
}

inline bool IsCastling(u32 move) { return MovedPiece(move) == KING && std::abs(MoveTo(move) - MoveFrom(move)) == 2; }

// Make, ask, unmake: does the mover's king stand unattacked after the move?
inline bool KeepsOwnKingSafe(u32 move) {
  const int mover = thread_board.SideToMove;
  make_move(move, 1);
  const bool safe = !IsAttacked(thread_board.SideToMove, thread_board.KingSquare[mover]);
  unmake_move();
  return safe;
}

inline bool GivesCheck(u32 move) {
  make_move(move, 1);
  const bool check = SideToMoveInCheck();
  unmake_move();
  return check;
}

inline std::string MoveName(u32 move) {
  static const char letters[] = "?KNP?RBQ";
  std::string name(1, letters[MovedPiece(move)]);
  name += char('a' + FileOf(MoveFrom(move)));
  name += char('1' + RankOf(MoveFrom(move)));
  name += CapturedPiece(move) ? "x" : "-";
  if (CapturedPiece(move)) name += letters[CapturedPiece(move)];
  name += char('a' + FileOf(MoveTo(move)));
  name += char('1' + RankOf(MoveTo(move)));
  if (PromotionPiece(move)) name += "=", name += letters[PromotionPiece(move)];
  return name;
}

inline std::string Names(const MoveList &moves) {
  std::string text;
  for (u32 move : moves) {
    if (!text.empty()) text += ' ';
    text += MoveName(move);
  }
  return text.empty() ? "(none)" : text;
}

inline MoveList Sorted(MoveList moves) {
  std::sort(moves.begin(), moves.end());
  return moves;
}

inline MoveList Duplicates(const MoveList &moves) {
  MoveList sorted = Sorted(moves), repeated;
  for (size_t i = 1; i < sorted.size(); i++)
    if (sorted[i] == sorted[i - 1] && (repeated.empty() || repeated.back() != sorted[i])) repeated.push_back(sorted[i]);
  return repeated;
}

inline bool Contains(const MoveList &moves, u32 move) { return std::find(moves.begin(), moves.end(), move) != moves.end(); }

// Empty when `actual` holds every move of `expected` exactly once and nothing else.
inline std::string CompareMoves(const MoveList &expected, const MoveList &actual) {
  MoveList missing, extra;
  const MoveList want = Sorted(expected), got = Sorted(actual);
  std::set_difference(want.begin(), want.end(), got.begin(), got.end(), std::back_inserter(missing));
  std::set_difference(got.begin(), got.end(), want.begin(), want.end(), std::back_inserter(extra));
  const MoveList repeated = Duplicates(actual);
  std::string report;
  if (!missing.empty()) report += "missing: " + Names(missing) + "\n";
  if (!extra.empty()) report += "unexpected: " + Names(extra) + "\n";
  if (!repeated.empty()) report += "more than once: " + Names(repeated) + "\n";
  return report;
}

template <class Keep>
MoveList Filter(const MoveList &moves, Keep keep) {
  MoveList kept;
  for (u32 move : moves)
    if (keep(move)) kept.push_back(move);
  return kept;
}

// The last move was a pawn's double step: the square it passed, else -1.
inline int EnPassantSquare() {
  if (GameHistoryCount == 0) return -1;
  const u32 last = GameHistory[GameHistoryCount - 1].Move;
  if (MovedPiece(last) != PAWN || std::abs(MoveFrom(last) - MoveTo(last)) != 16) return -1;
  return (MoveFrom(last) + MoveTo(last)) / 2;
}

// ---------------------------------------------------------------------------------------------
// FEN text of the current position, and the colour-mirrored FEN of a position

inline std::string CurrentFen() {
  static const char letters[] = "?KNP?RBQ";
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
      const char letter = letters[b.Board[sq]];
      fen += (b.Pieces[BLACK] & Bit(sq)) ? char(letter - 'A' + 'a') : letter;
    }
    if (empty) fen += char('0' + empty);
    if (rank) fen += '/';
  }
  fen += b.SideToMove == WHITE ? " w " : " b ";
  std::string castling;
  if (b.CastlingFlags & 1) castling += 'K';
  if (b.CastlingFlags & 2) castling += 'Q';
  if (b.CastlingFlags & 4) castling += 'k';
  if (b.CastlingFlags & 8) castling += 'q';
  fen += castling.empty() ? "-" : castling;
  const int passed = EnPassantSquare();
  std::string ep = "-";
  if (passed >= 0) ep = std::string(1, char('a' + FileOf(passed))) + char('1' + RankOf(passed));
  return fen + " " + ep + " 0 1";
}

inline std::string SwapCase(std::string text) {
  for (char &c : text)
    if (c >= 'a' && c <= 'z') c = char(c - 'a' + 'A');
    else if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
  return text;
}

// The same position with the colours exchanged and the board turned upside down.
inline std::string MirrorFen(const std::string &fen) {
  std::istringstream in(fen);
  std::string placement, side, castling = "-", ep = "-", rest;
  in >> placement >> side >> castling >> ep;
  std::getline(in, rest);
  std::vector<std::string> ranks;
  std::stringstream rows(placement);
  for (std::string row; std::getline(rows, row, '/');) ranks.push_back(SwapCase(row));
  std::reverse(ranks.begin(), ranks.end());
  std::string mirrored;
  for (const std::string &row : ranks) mirrored += (mirrored.empty() ? "" : "/") + row;
  std::string rights;
  for (char c : std::string("KQkq"))
    if (castling.find(char(c ^ 0x20)) != std::string::npos) rights += c;
  if (ep != "-") ep[1] = char('1' + '8' - ep[1]);
  return mirrored + (side == "w" ? " b " : " w ") + (rights.empty() ? "-" : rights) + " " + ep + rest;
}

constexpr int MirrorSquare(int sq) { return sq ^ 56; }
constexpr u32 MirrorMove(u32 move) {
  return MakeMove(MirrorSquare(MoveFrom(move)), MirrorSquare(MoveTo(move)), MovedPiece(move), CapturedPiece(move),
                  PromotionPiece(move));
}

// ---------------------------------------------------------------------------------------------
// Reference generator: a mailbox walk over Board[] with coordinates, no engine table involved.

struct Mailbox {
  int piece[64];
  int colour[64];  // -1 on an empty square
};

inline Mailbox CurrentMailbox() {
  Mailbox box;
  for (int sq = 0; sq < 64; sq++) {
    const bool white = thread_board.Pieces[WHITE] & Bit(sq), black = thread_board.Pieces[BLACK] & Bit(sq);
    box.colour[sq] = white ? WHITE : black ? BLACK : -1;
    box.piece[sq] = box.colour[sq] < 0 ? NONE : thread_board.Board[sq];
  }
  return box;
}

inline bool OnBoard(int file, int rank) { return file >= 0 && file < 8 && rank >= 0 && rank < 8; }

constexpr int KnightSteps[8][2] = {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
constexpr int KingSteps[8][2] = {{1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}};

inline bool IsSliderOf(int piece, bool diagonal) {
  return piece == QUEEN || piece == (diagonal ? BISHOP : ROOK);
}

inline bool MailboxAttacked(const Mailbox &box, int sq, int by) {
  const int file = FileOf(sq), rank = RankOf(sq);
  auto holds = [&](int f, int r, int piece) {
    return OnBoard(f, r) && box.colour[r * 8 + f] == by && box.piece[r * 8 + f] == piece;
  };
  const int pawnRank = by == WHITE ? rank - 1 : rank + 1;
  if (holds(file - 1, pawnRank, PAWN) || holds(file + 1, pawnRank, PAWN)) return true;
  for (const auto &step : KnightSteps)
    if (holds(file + step[0], rank + step[1], KNIGHT)) return true;
  for (const auto &step : KingSteps) {
    if (holds(file + step[0], rank + step[1], KING)) return true;
    const bool diagonal = step[0] && step[1];
    for (int f = file + step[0], r = rank + step[1]; OnBoard(f, r); f += step[0], r += step[1]) {
      const int there = r * 8 + f;
      if (box.colour[there] < 0) continue;
      if (box.colour[there] == by && IsSliderOf(box.piece[there], diagonal)) return true;
      break;
    }
  }
  return false;
}

// Does the piece on `from` attack `target`, with the pieces of the mailbox in the way?
inline bool MailboxPieceAttacks(const Mailbox &box, int from, int target) {
  const int piece = box.piece[from];
  const int df = FileOf(target) - FileOf(from), dr = RankOf(target) - RankOf(from);
  if (piece == PAWN) return std::abs(df) == 1 && dr == (box.colour[from] == WHITE ? 1 : -1);
  if (piece == KNIGHT) return std::abs(df * dr) == 2;
  if (piece == KING) return std::max(std::abs(df), std::abs(dr)) == 1;
  const bool straight = df == 0 || dr == 0, diagonal = std::abs(df) == std::abs(dr);
  if (from == target || !(straight || diagonal) || !IsSliderOf(piece, diagonal)) return false;
  const int stepFile = (df > 0) - (df < 0), stepRank = (dr > 0) - (dr < 0);
  for (int f = FileOf(from) + stepFile, r = RankOf(from) + stepRank; r * 8 + f != target; f += stepFile, r += stepRank)
    if (box.colour[r * 8 + f] >= 0) return false;
  return true;
}

// How many enemy pieces attack the king of the side to move.
inline int CheckerCount() {
  const Mailbox box = CurrentMailbox();
  const int us = thread_board.SideToMove;
  int count = 0;
  for (int sq = 0; sq < 64; sq++)
    count += box.colour[sq] == ChangeSide(us) && MailboxPieceAttacks(box, sq, thread_board.KingSquare[us]);
  return count;
}

// The squares `side` attacks, as the evaluation leaves them in PlyStack[Ply].Attacks.
inline u64 MailboxAttackMap(int side) {
  const Mailbox box = CurrentMailbox();
  u64 attacked = 0;
  for (int sq = 0; sq < 64; sq++)
    if (MailboxAttacked(box, sq, side)) attacked |= Bit(sq);
  return attacked;
}

// Pseudo-legal moves as the generators promise them: own king safety aside, with castling only when
// the path is empty and the two squares next to the king are not attacked (check is not looked at).
inline MoveList ReferencePseudoMoves() {
  const Mailbox box = CurrentMailbox();
  const int us = thread_board.SideToMove, them = ChangeSide(us);
  MoveList moves;
  auto add = [&](int from, int to, int promotion = 0) {
    moves.push_back(MakeMove(from, to, box.piece[from], box.colour[to] == them ? box.piece[to] : NONE, promotion));
  };
  auto addPawn = [&](int from, int to) {
    if (RankOf(to) == 0 || RankOf(to) == 7)
      for (int piece : {QUEEN, ROOK, BISHOP, KNIGHT}) add(from, to, piece);
    else
      add(from, to);
  };
  for (int from = 0; from < 64; from++) {
    if (box.colour[from] != us) continue;
    const int file = FileOf(from), rank = RankOf(from), piece = box.piece[from];
    if (piece == PAWN) {
      const int forward = us == WHITE ? 1 : -1, startRank = us == WHITE ? 1 : 6;
      const int one = from + 8 * forward;
      if (box.colour[one] < 0) {
        addPawn(from, one);
        if (rank == startRank && box.colour[one + 8 * forward] < 0) add(from, one + 8 * forward);
      }
      for (int df : {-1, 1})
        if (OnBoard(file + df, rank + forward) && box.colour[one + df] == them) addPawn(from, one + df);
      continue;
    }
    if (piece == KNIGHT || piece == KING) {
      const auto &steps = piece == KNIGHT ? KnightSteps : KingSteps;
      for (int i = 0; i < 8; i++) {
        const int f = file + steps[i][0], r = rank + steps[i][1];
        if (OnBoard(f, r) && box.colour[r * 8 + f] != us) add(from, r * 8 + f);
      }
      continue;
    }
    for (const auto &step : KingSteps) {
      if (!IsSliderOf(piece, step[0] && step[1])) continue;
      for (int f = file + step[0], r = rank + step[1]; OnBoard(f, r); f += step[0], r += step[1]) {
        const int to = r * 8 + f;
        if (box.colour[to] == us) break;
        add(from, to);
        if (box.colour[to] == them) break;
      }
    }
  }
  const int passed = EnPassantSquare();
  if (passed >= 0) {
    const int victim = passed + (us == WHITE ? -8 : 8);
    for (int df : {-1, 1}) {
      const int from = victim + df;
      if (OnBoard(FileOf(victim) + df, RankOf(victim)) && box.colour[from] == us && box.piece[from] == PAWN)
        moves.push_back(MakeMove(from, passed, PAWN, NONE));
    }
  }
  const int home = us == WHITE ? 4 : 60;
  const int flags = thread_board.CastlingFlags >> (us == WHITE ? 0 : 2);
  auto empty = [&](std::initializer_list<int> squares) {
    for (int sq : squares)
      if (box.colour[sq] >= 0) return false;
    return true;
  };
  auto unattacked = [&](int a, int b) { return !MailboxAttacked(box, a, them) && !MailboxAttacked(box, b, them); };
  auto ownRook = [&](int sq) { return box.colour[sq] == us && box.piece[sq] == ROOK; };
  const bool kingHome = box.colour[home] == us && box.piece[home] == KING;
  if (kingHome && (flags & 1) && ownRook(home + 3) && empty({home + 1, home + 2}) && unattacked(home + 1, home + 2))
    moves.push_back(MakeMove(home, home + 2, KING, NONE));
  if (kingHome && (flags & 2) && ownRook(home - 4) && empty({home - 1, home - 2, home - 3}) &&
      unattacked(home - 1, home - 2))
    moves.push_back(MakeMove(home, home - 2, KING, NONE));
  return moves;
}

inline bool MailboxKingSafeAfter(Mailbox box, u32 move, int us) {
  const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move);
  if (moved == PAWN && FileOf(from) != FileOf(to) && box.colour[to] < 0) {
    const int victim = RankOf(from) * 8 + FileOf(to);
    box.colour[victim] = -1, box.piece[victim] = NONE;
  }
  if (IsCastling(move)) {
    const int rookFrom = to > from ? from + 3 : from - 4, rookTo = (from + to) / 2;
    box.colour[rookTo] = us, box.piece[rookTo] = ROOK;
    box.colour[rookFrom] = -1, box.piece[rookFrom] = NONE;
  }
  box.colour[to] = us, box.piece[to] = PromotionPiece(move) ? PromotionPiece(move) : moved;
  box.colour[from] = -1, box.piece[from] = NONE;
  for (int sq = 0; sq < 64; sq++)
    if (box.colour[sq] == us && box.piece[sq] == KING) return !MailboxAttacked(box, sq, ChangeSide(us));
  return false;
}

inline MoveList ReferenceLegalMoves() {
  const Mailbox box = CurrentMailbox();
  const int us = thread_board.SideToMove;
  const bool inCheck = MailboxAttacked(box, thread_board.KingSquare[us], ChangeSide(us));
  return Filter(ReferencePseudoMoves(), [&](u32 move) {
    return CapturedPiece(move) != KING && !(inCheck && IsCastling(move)) && MailboxKingSafeAfter(box, move, us);
  });
}

// ---------------------------------------------------------------------------------------------
// The perft file and the sample of positions drawn from it

struct PerftLine {
  std::string fen;
  std::vector<i64> counts;  // counts[d - 1] for depth d
};

// The shared test data lies beside the source tree unless the build names its directory.
inline std::string TestDataDirectory() {
#ifdef QUARVELLE_TESTDATA_DIR
  return QUARVELLE_TESTDATA_DIR;
#else
  std::string here = __FILE__;
  return here.substr(0, here.find_last_of("/\\")) + "/../data";
#endif
}

inline const std::vector<PerftLine> &PerftLines() {
  static const std::vector<PerftLine> lines = [] {
    std::vector<PerftLine> read;
    std::ifstream file(TestDataDirectory() + "/perft.epd");
    for (std::string text; std::getline(file, text);) {
      std::stringstream fields(text);
      PerftLine line;
      std::getline(fields, line.fen, ';');
      while (!line.fen.empty() && (line.fen.back() == ' ' || line.fen.back() == '\r')) line.fen.pop_back();
      if (line.fen.empty()) continue;
      for (std::string field; std::getline(fields, field, ';');) {
        int depth = 0;
        long long count = 0;
        if (std::sscanf(field.c_str(), "D%d %lld", &depth, &count) == 2 && depth == int(line.counts.size()) + 1)
          line.counts.push_back(count);
      }
      read.push_back(line);
    }
    return read;
  }();
  return lines;
}

// Hand-made positions for rules that random play rarely reaches; they join the sample, mirrored too.
inline const std::vector<std::string> &HandMadeRoots() {
  static const std::vector<std::string> roots = {
      // Castling: b1 may be attacked, f1 may not; castling out of check is no move.
      "1r2k2r/8/8/8/8/8/8/R3K2R w KQk - 0 1",
      "4kr2/8/8/8/8/8/8/R3K2R w KQ - 0 1",
      "4r1k1/8/8/8/8/8/8/R3K2R w KQ - 0 1",
      "4k3/8/8/8/8/5n2/8/4K2R w K - 0 1",
      // En passant: from both sides, and one that would leave the king open along the rank.
      "4k3/8/8/2PpP3/8/8/8/4K3 w - d6 0 1",
      "8/8/8/K2pP2r/8/8/8/7k w - d6 0 1",
      // Promotions, with and without capture.
      "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1",
      "K6r/4P1P1/8/8/8/8/8/7k w - - 0 1",
      // Checks: double, along a rank, by a pawn that may be taken en passant, discovered by a double
      // step, with a pinned piece beside the checker, and mate.
      "4k3/8/8/8/3Q4/3n4/8/r3K3 w - - 0 1",
      "4k3/8/8/8/8/8/8/r3K3 w - - 0 1",
      "8/8/8/2k5/3Pp3/8/8/4K3 b - d3 0 1",
      "8/8/8/4k3/1Pp5/8/8/B3K3 b - b3 0 1",
      "4r1k1/8/8/8/8/5n2/4B3/4K3 w - - 0 1",
      "R5k1/5ppp/8/8/8/8/8/6K1 b - - 0 1",
      // Checking moves: a knight in front of its queen, a pawn's double step, a king in front of its
      // rook, a check that loses the rook, castling checks, pawns that uncover checks.
      "4k3/8/8/8/4N3/8/8/4QK2 w - - 0 1",
      "8/8/8/3k4/8/8/1NP5/4K3 w - - 0 1",
      "4k3/8/8/8/4K3/8/8/4R3 w - - 0 1",
      "4k3/8/1n6/8/8/8/8/R3K3 w - - 0 1",
      "5k2/8/8/8/8/8/8/4K2R w K - 0 1",
      "3k4/8/8/8/8/8/8/R3K3 w Q - 0 1",
      "8/8/8/8/8/8/8/R3K2k w Q - 0 1",
      "8/8/8/R2P1k2/8/8/8/4K3 w - - 0 1",
      "8/8/5k2/8/3P4/8/1B6/4K3 w - - 0 1",
      "8/8/8/8/8/8/R2P2k1/4K3 w - - 0 1",
  };
  return roots;
}

struct SamplePosition {
  std::string root;
  MoveList path;
};

inline void Reach(const SamplePosition &position) {
  LoadFen(position.root.c_str());
  for (u32 move : position.path) make_move(move, 1);
}

inline std::string Describe(const SamplePosition &position) {
  std::string text = CurrentFen() + "  (from " + position.root;
  if (!position.path.empty()) text += " by " + Names(position.path);
  return text + ")";
}

// Every perft root and hand-made root and their mirror images, and the positions of a seeded random walk from each;
// `checkingChildren` adds, for each of those, the replies that give double check and up to three
// others that give check.
inline std::vector<SamplePosition> BuildSample(bool checkingChildren) {
  constexpr int WALK_PLIES = 6;
  std::mt19937 random(20240611);
  std::vector<std::string> roots = HandMadeRoots();
  for (const PerftLine &line : PerftLines()) roots.push_back(line.fen);
  std::vector<SamplePosition> sample;
  for (const std::string &fen : roots)
    for (const std::string &root : {fen, MirrorFen(fen)}) {
      SamplePosition walk{root, {}};
      for (int ply = 0; ply <= WALK_PLIES; ply++) {
        Reach(walk);
        const MoveList moves = ReferenceLegalMoves();
        sample.push_back(walk);
        if (checkingChildren) {
          int single = 0;
          for (u32 move : moves) {
            make_move(move, 1);
            const bool check = SideToMoveInCheck(), doubleCheck = check && CheckerCount() > 1;
            unmake_move();
            if (doubleCheck || (check && single++ < 3)) {
              SamplePosition child = walk;
              child.path.push_back(move);
              sample.push_back(child);
            }
          }
        }
        if (moves.empty()) break;
        walk.path.push_back(moves[random() % moves.size()]);
      }
    }
  return sample;
}

inline const std::vector<SamplePosition> &WalkSample() {
  static const std::vector<SamplePosition> sample = BuildSample(false);
  return sample;
}

inline const std::vector<SamplePosition> &CheckSample() {
  static const std::vector<SamplePosition> sample = [] {
    std::vector<SamplePosition> inCheck;
    for (const SamplePosition &position : BuildSample(true)) {
      Reach(position);
      if (SideToMoveInCheck()) inCheck.push_back(position);
    }
    return inCheck;
  }();
  return sample;
}

// Runs `check` (which returns an empty report when all is well) on each position of the sample and
// reports the first few positions that fail, with their FEN.
template <class Check>
void ForEachPosition(const std::vector<SamplePosition> &sample, Check check) {
  int failures = 0;
  for (const SamplePosition &position : sample) {
    Reach(position);
    const std::string report = check();
    if (report.empty()) continue;
    ADD_FAILURE() << Describe(position) << "\n" << report;
    if (++failures == 10) return;
  }
}

// Square number of a name such as "e4".
constexpr int Sq(const char *name) { return (name[0] - 'a') + 8 * (name[1] - '1'); }

// Runs `check` on the position and on its colour mirror; `square` maps a square of the position
// as written to the square in play.
template <class Check>
void ForBothColours(const std::string &fen, Check check) {
  for (bool mirrored : {false, true}) {
    const std::string text = mirrored ? MirrorFen(fen) : fen;
    SCOPED_TRACE(text);
    LoadFen(text.c_str());
    check([mirrored](const char *name) { return mirrored ? MirrorSquare(Sq(name)) : Sq(name); });
  }
}

// ---------------------------------------------------------------------------------------------
// Fixture: the ordering statistics and the node's attack map cleared, so that every move is
// classified by the exchange test and scored from empty tables.

inline void ClearOrderingState() {
  ClearCaptureStatistics();
  std::memset(HistoryTable, 0, sizeof HistoryTable);
  std::memset(CheckReplies, 0, sizeof CheckReplies);
  std::memset(FollowUpTable, 0, sizeof FollowUpTable);
  for (PlyRecord &record : PlyStack) record.Attacks[WHITE] = record.Attacks[BLACK] = 0;
}

class MoveTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    ClearOrderingState();
  }
  void TearDown() override { ClearOrderingState(); }
};

// The classification every generator gives a move, with empty capture statistics.
inline int ExpectedSafety(u32 move) {
  const int promotion = PromotionPiece(move);
  return promotion && promotion != QUEEN ? 0 : MoveSafety(move);
}

}  // namespace movetest
