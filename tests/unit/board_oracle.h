// An independent model of a position for the board tests: a plain mailbox that the test moves itself,
// and a from-scratch recomputation of every incremental field of thread_board from that mailbox.
#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "board/board.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/piece_square.h"
#include "board/position.h"

namespace oracle {

// Values as the rules of the board give them, written out here rather than read from the engine.
constexpr int kMaterial[8] = {0, 0, 300, 100, 0, 500, 300, 900};
constexpr int kUnits[8] = {0, 0, 3, 0, 0, 5, 3, 9};
constexpr int kIndexWeight[8][2] = {{0, 0}, {0, 0}, {729, 2187}, {6561, 59049}, {0, 0}, {9, 27}, {81, 243}, {1, 3}};
constexpr int kOverflow = 531441;
constexpr int kPieceCodes[6] = {KING, KNIGHT, PAWN, ROOK, BISHOP, QUEEN};

struct Position {
  int piece[64] = {};  // piece code, 0 for an empty square
  int side[64] = {};
  int sideToMove = WHITE;
  int castling = 0;
  int reversible = 0;
  int doubleStepTo = -1;  // where a pawn has just landed with a double step, -1 if none
};

// Everything thread_board should hold for a position, computed square by square.
struct Expected {
  u64 pieces[2] = {}, boards[8][2] = {}, occupied = 0, rooksQueens = 0, bishopsQueens = 0;
  int count[8][2] = {}, total = 0, board[64] = {}, kings[2] = {}, kingSquare[2] = {-1, -1};
  u64 positionKey = 0, pawnKey = 0, fullKey = 0;
  int pst = 0, material[2] = {}, pieceMaterial[2] = {}, materialIndex = 0;
};

inline Expected Recompute(const Position &p) {
  Expected e;
  for (int sq = 0; sq < 64; sq++) {
    const int piece = p.piece[sq], side = p.side[sq];
    if (!piece) continue;
    const u64 bit = u64(1) << sq;
    e.pieces[side] |= bit;
    e.boards[piece][side] |= bit;
    e.occupied |= bit;
    e.board[sq] = piece;
    e.total++;
    e.count[piece][side]++;
    e.positionKey ^= PieceKeys[side][piece][sq];
    if (piece == PAWN) e.pawnKey ^= PieceKeys[side][PAWN][sq];
    if (piece == ROOK || piece == QUEEN) e.rooksQueens |= bit;
    if (piece == BISHOP || piece == QUEEN) e.bishopsQueens |= bit;
    e.pst += side == BLACK ? PieceSquare[piece][BLACK][sq] : -PieceSquare[piece][WHITE][sq];
    e.material[side] += kMaterial[piece];
    e.pieceMaterial[side] += kUnits[piece];
    if (piece == KING) e.kings[side]++, e.kingSquare[side] = sq;
  }
  bool overflow = e.count[PAWN][WHITE] > 8 || e.count[PAWN][BLACK] > 8;
  for (int piece : {KNIGHT, BISHOP, ROOK, QUEEN})
    for (int side : {WHITE, BLACK}) overflow = overflow || e.count[piece][side] >= 3;
  if (overflow) {
    e.materialIndex = kOverflow;
  } else {
    for (int piece : {KNIGHT, PAWN, ROOK, BISHOP, QUEEN})
      for (int side : {WHITE, BLACK}) e.materialIndex += e.count[piece][side] * kIndexWeight[piece][side];
  }
  e.fullKey = e.positionKey ^ CastlingKeys[p.castling];
  const int t = p.doubleStepTo;
  if (t >= 0) {
    auto ownPawnAt = [&](int sq) { return p.piece[sq] == PAWN && p.side[sq] == p.sideToMove; };
    bool beside = ((t & 7) != 0 && ownPawnAt(t - 1)) || ((t & 7) != 7 && ownPawnAt(t + 1));
    if (beside) e.fullKey ^= EnPassantKeys[t & 7];
  }
  return e;
}

struct CheckOptions {
  bool reversible = true;  // compare ReversibleMoves with the model's count
  bool fullKey = true;
  // After a set-up with more than eight pawns of a side the index may stay at the overflow value.
  bool stickyOverflow = false;
};

// Collects "name: expected x, actual y" lines; builds text only for a mismatch.
class DiffList {
 public:
  template <typename T, typename Name>
  void Compare(const Name &name, T expected, T actual) {
    if (expected == actual) return;
    text_ += std::string(name) + ": expected " + Show(expected) + ", actual " + Show(actual) + "\n";
  }
  std::string Text() const { return text_; }

 private:
  template <typename T>
  static std::string Show(T value) {
    std::ostringstream s;
    if constexpr (sizeof(T) == 8 && std::is_unsigned_v<T>) s << "0x" << std::hex << value;
    else s << +value;
    return s.str();
  }
  std::string text_;
};

// A field name with its indices, turned into text only when a line is written.
struct Indexed {
  const char *name;
  int i, j = -1;
  Indexed(const char *n, int first) : name(n), i(first) {}
  Indexed(const char *n, int first, int second) : name(n), i(first), j(second) {}
  operator std::string() const {
    std::string text = std::string(name) + "[" + std::to_string(i) + "]";
    return j < 0 ? text : text + "[" + std::to_string(j) + "]";
  }
};

// Every difference between thread_board and the recomputation of `p`, one line each; empty if none.
inline std::string Differences(const Position &p, const CheckOptions &options = {}) {
  const BoardRecord &b = thread_board;
  const Expected e = Recompute(p);
  DiffList d;
  for (int s = 0; s < 2; s++) {
    d.Compare(Indexed("Pieces", s), e.pieces[s], b.Pieces[s]);
    d.Compare(Indexed("Material", s), e.material[s], b.Material[s]);
    d.Compare(Indexed("PieceMaterial", s), e.pieceMaterial[s], b.PieceMaterial[s]);
    // A side without a king keeps whatever KingSquare it had.
    if (e.kings[s] == 1) d.Compare(Indexed("KingSquare", s), e.kingSquare[s], b.KingSquare[s]);
    for (int piece = 0; piece < 8; piece++) {
      d.Compare(Indexed("PieceBoards", piece, s), e.boards[piece][s], b.PieceBoards[piece][s]);
      if (piece != KING) d.Compare(Indexed("PieceCount", piece, s), e.count[piece][s], b.PieceCount[piece][s]);
    }
  }
  d.Compare<u64>("Occupied", e.occupied, b.Occupied);
  d.Compare<u64>("RooksQueens", e.rooksQueens, b.RooksQueens);
  d.Compare<u64>("BishopsQueens", e.bishopsQueens, b.BishopsQueens);
  d.Compare("PieceTotal", e.total, b.PieceTotal);
  for (int sq = 0; sq < 64; sq++) d.Compare(Indexed("Board", sq), e.board[sq], b.Board[sq]);
  d.Compare<u64>("PositionKey", e.positionKey, b.PositionKey);
  d.Compare<u64>("PawnKey", e.pawnKey, b.PawnKey);
  d.Compare("PstScore", e.pst, b.PstScore);
  const bool stuck = options.stickyOverflow && b.MaterialIndex == kOverflow;
  if (!stuck) d.Compare("MaterialIndex", e.materialIndex, b.MaterialIndex);
  d.Compare("CastlingFlags", p.castling, int(b.CastlingFlags));
  d.Compare("SideToMove", p.sideToMove, b.SideToMove);
  if (options.reversible) d.Compare("ReversibleMoves", p.reversible, b.ReversibleMoves);
  if (options.fullKey) d.Compare<u64>("FullKey()", e.fullKey, FullKey());
  return d.Text();
}

// Field by field, what differs between two records (for the report when a byte comparison fails).
inline std::string RecordDifferences(const BoardRecord &a, const BoardRecord &b) {
  DiffList d;
  d.Compare("PieceTotal", a.PieceTotal, b.PieceTotal);
  d.Compare("white_phase", a.white_phase, b.white_phase);
  d.Compare("black_phase", a.black_phase, b.black_phase);
  d.Compare("current_phase", a.current_phase, b.current_phase);
  d.Compare("PstScore", a.PstScore, b.PstScore);
  d.Compare("MaterialIndex", a.MaterialIndex, b.MaterialIndex);
  d.Compare("ReversibleMoves", a.ReversibleMoves, b.ReversibleMoves);
  d.Compare("SearchStopped", a.SearchStopped, b.SearchStopped);
  d.Compare("SideToMove", a.SideToMove, b.SideToMove);
  for (int s = 0; s < 2; s++) {
    d.Compare(Indexed("Pieces", s), a.Pieces[s], b.Pieces[s]);
    for (int piece = 0; piece < 8; piece++)
      d.Compare(Indexed("PieceBoards", piece, s), a.PieceBoards[piece][s], b.PieceBoards[piece][s]);
    for (int piece = 0; piece < 8; piece++)
      d.Compare(Indexed("PieceCount", piece, s), a.PieceCount[piece][s], b.PieceCount[piece][s]);
    d.Compare(Indexed("KingSquare", s), a.KingSquare[s], b.KingSquare[s]);
    d.Compare(Indexed("Material", s), a.Material[s], b.Material[s]);
    d.Compare(Indexed("PieceMaterial", s), a.PieceMaterial[s], b.PieceMaterial[s]);
    d.Compare(Indexed("MaterialOpening", s), a.MaterialOpening[s], b.MaterialOpening[s]);
    d.Compare(Indexed("MaterialEnding", s), a.MaterialEnding[s], b.MaterialEnding[s]);
  }
  d.Compare("Occupied", a.Occupied, b.Occupied);
  d.Compare("RooksQueens", a.RooksQueens, b.RooksQueens);
  d.Compare("BishopsQueens", a.BishopsQueens, b.BishopsQueens);
  for (int sq = 0; sq < 64; sq++) d.Compare(Indexed("Board", sq), a.Board[sq], b.Board[sq]);
  d.Compare("AllPawns", a.AllPawns, b.AllPawns);
  d.Compare("PositionKey", a.PositionKey, b.PositionKey);
  d.Compare("PawnKey", a.PawnKey, b.PawnKey);
  d.Compare("CastlingFlags", int(a.CastlingFlags), int(b.CastlingFlags));
  std::string text = d.Text();
  if (text.empty() && std::memcmp(&a, &b, sizeof a) != 0) text = "bytes differ outside the named fields\n";
  return text;
}

inline BoardRecord SaveRecord() {
  BoardRecord copy;
  std::memcpy(static_cast<void *>(&copy), &thread_board, sizeof copy);
  return copy;
}

inline bool SameBytes(const BoardRecord &saved) { return std::memcmp(&saved, &thread_board, sizeof saved) == 0; }

// Castling rights lost when a move leaves or lands on a square.
inline int CastlingLoss(int sq) {
  switch (sq) {
    case 0: return 2;
    case 4: return 3;
    case 7: return 1;
    case 56: return 8;
    case 60: return 12;
    case 63: return 4;
    default: return 0;
  }
}

// Rights stand only with the king and the rook on their home squares.
inline int SaneCastling(const Position &p, int flags) {
  auto has = [&](int sq, int side, int piece) { return p.piece[sq] == piece && p.side[sq] == side; };
  if (!has(4, WHITE, KING)) flags &= ~3;
  if (!has(60, BLACK, KING)) flags &= ~12;
  if (!has(7, WHITE, ROOK)) flags &= ~1;
  if (!has(0, WHITE, ROOK)) flags &= ~2;
  if (!has(63, BLACK, ROOK)) flags &= ~4;
  if (!has(56, BLACK, ROOK)) flags &= ~8;
  return flags;
}

// Plays `move` on the mailbox by the rules of chess; false, with a reason, if the move does not fit it.
inline bool Apply(Position &p, u32 move, std::string *why = nullptr) {
  const int from = MoveFrom(move), to = MoveTo(move), moved = MovedPiece(move);
  const int us = p.sideToMove, them = us ^ 1;
  auto fail = [&](const char *reason) {
    if (why) *why = reason;
    return false;
  };
  if (p.piece[from] != moved || p.side[from] != us) return fail("the moved piece is not on the from square");
  if (p.piece[to] && p.side[to] == us) return fail("the target holds a piece of the mover");
  const bool pawn = moved == PAWN;
  const bool enPassant = pawn && (from & 7) != (to & 7) && p.piece[to] == 0;
  if (!enPassant && CapturedPiece(move) != p.piece[to]) return fail("the captured field does not match the target");
  if (enPassant && CapturedPiece(move) != 0) return fail("an en passant capture must carry no captured piece");
  const bool capture = p.piece[to] != 0 || enPassant;
  if (enPassant) {
    const int victim = (from & 56) | (to & 7);
    if (p.piece[victim] != PAWN || p.side[victim] != them) return fail("no pawn to take en passant");
    p.piece[victim] = 0;
  }
  const int promotion = PromotionPiece(move);
  p.piece[to] = promotion ? promotion : moved;
  p.side[to] = us;
  p.piece[from] = 0;
  if (moved == KING && std::abs((from & 7) - (to & 7)) == 2) {
    const int rookFrom = to > from ? from + 3 : from - 4, rookTo = to > from ? from + 1 : from - 1;
    if (p.piece[rookFrom] != ROOK || p.side[rookFrom] != us) return fail("castling without a rook in the corner");
    p.piece[rookFrom] = 0;
    p.piece[rookTo] = ROOK;
    p.side[rookTo] = us;
  }
  p.castling &= ~(CastlingLoss(from) | CastlingLoss(to));
  p.reversible = capture || pawn ? 0 : p.reversible + 1;
  p.doubleStepTo = pawn && std::abs(to - from) == 16 ? to : -1;
  p.sideToMove = them;
  return true;
}

// The mailbox as thread_board shows it: piece codes from Board, colours from Pieces.
inline Position FromBoard() {
  const BoardRecord &b = thread_board;
  Position p;
  for (int sq = 0; sq < 64; sq++) {
    p.piece[sq] = b.Board[sq];
    p.side[sq] = (b.Pieces[WHITE] >> sq) & 1 ? WHITE : BLACK;
  }
  p.sideToMove = b.SideToMove;
  p.castling = b.CastlingFlags;
  p.reversible = b.ReversibleMoves;
  if (LastMoveWasDoubleStep()) p.doubleStepTo = MoveTo(GameHistory[GameHistoryCount - 1].Move);
  return p;
}

// The mailbox of a well-formed FEN, read without the engine's reader.
inline Position FromFen(const std::string &fen) {
  Position p;
  std::istringstream fields(fen);
  std::string placement, side, castling, enPassant;
  fields >> placement >> side >> castling >> enPassant;
  int rank = 7, file = 0;
  for (char c : placement) {
    if (c == '/') {
      rank--, file = 0;
    } else if (c >= '1' && c <= '8') {
      file += c - '0';
    } else {
      const char *letters = "knprbqKNPRBQ";
      const char *found = std::strchr(letters, c);
      if (!found || !c) continue;
      const int index = int(found - letters);
      p.piece[rank * 8 + file] = kPieceCodes[index % 6];
      p.side[rank * 8 + file] = index < 6 ? BLACK : WHITE;
      file++;
    }
  }
  p.sideToMove = side == "w" ? WHITE : BLACK;
  int flags = 0;
  for (char c : castling) flags |= c == 'K' ? 1 : c == 'Q' ? 2 : c == 'k' ? 4 : c == 'q' ? 8 : 0;
  p.castling = SaneCastling(p, flags);
  if (enPassant.size() == 2 && enPassant[0] >= 'a' && enPassant[0] <= 'h') {
    const int e = (enPassant[1] - '1') * 8 + (enPassant[0] - 'a');
    if (p.sideToMove == BLACK && enPassant[1] == '3' && p.piece[e + 8] == PAWN && p.side[e + 8] == WHITE)
      p.doubleStepTo = e + 8;
    if (p.sideToMove == WHITE && enPassant[1] == '6' && p.piece[e - 8] == PAWN && p.side[e - 8] == BLACK)
      p.doubleStepTo = e - 8;
  }
  return p;
}

// LoadFen on an exactly sized heap copy, so that a read past the terminator is caught by the sanitizer.
inline void LoadFenExact(const std::string &fen) {
  std::vector<char> text(fen.begin(), fen.end());
  text.push_back('\0');
  LoadFen(text.data());
}

inline std::vector<u32> LegalMoveList() {
  MoveStackTop = 0;
  LegalMoves(0);
  std::vector<u32> moves;
  for (int i = 0; i < MoveStackTop; i++) moves.push_back(MoveStack[i].Move);
  MoveStackTop = 0;
  return moves;
}

inline std::string Text(u32 move) {
  char buffer[16];
  return MoveText(buffer, move);
}

// The legal move with this coordinate text, or 0.
inline u32 FindMove(const std::string &text) {
  for (u32 move : LegalMoveList())
    if (Text(move) == text) return move;
  return 0;
}

inline bool IsCastling(u32 move) {
  return MovedPiece(move) == KING && std::abs(FileOf(MoveFrom(move)) - FileOf(MoveTo(move))) == 2;
}

struct PlayoutStats {
  int plies = 0, checks = 0, castlings = 0, enPassants = 0, promotions = 0, promotionCaptures = 0;
  int overflowMakes = 0, overflowRecoveries = 0;
};

// Random playouts from `fen`. At each ply the first sibling is made with save 1 and taken back, a few more
// siblings are made with save 0 and taken back, and the chosen move goes on with save 0 as well, so that all
// of them lean on the one snapshot. After every make the record must equal the recomputation of the model;
// after every unmake it must equal, byte for byte, the copy saved before the make. Returns false on the
// first failure, which is reported.
inline bool RunPlayouts(const std::string &fen, const Position &root, int playouts, int maxPlies, u64 seed,
                        const CheckOptions &options, PlayoutStats &stats) {
  u64 state = seed;
  auto random = [&](u64 n) {  // splitmix64: fixed and the same on every platform
    u64 z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return (z ^ (z >> 31)) % n;
  };
  std::vector<u32> path;
  auto where = [&](const char *what, u32 move) {
    std::ostringstream line;
    line << "FEN " << fen << "\nmoves:";
    for (u32 m : path) line << ' ' << Text(m);
    line << '\n' << what << ' ' << Text(move) << '\n';
    return line.str();
  };
  struct Level {
    BoardRecord saved;
    int historyCount;
    Position model;
  };
  std::vector<Level> levels;

  // Makes `move`, compares with the model, and if `keep` is false takes it back and compares the bytes.
  auto tryMove = [&](const Position &model, u32 move, int save, bool keep) {
    const BoardRecord saved = SaveRecord();
    const int count = GameHistoryCount;
    const int indexBefore = thread_board.MaterialIndex;
    make_move(move, save);
    stats.checks++;
    // A king capture leaves the record half done by design; it only has to be taken back cleanly.
    if (CapturedPiece(move) != KING) {
      Position next = model;
      std::string why;
      if (!Apply(next, move, &why)) {
        ADD_FAILURE() << where("move does not fit the position:", move) << why;
        return false;
      }
      const std::string diff = Differences(next, options);
      if (!diff.empty()) {
        ADD_FAILURE() << where(save ? "after make_move (save 1)" : "after make_move (save 0)", move) << diff;
        return false;
      }
      if (thread_board.MaterialIndex < 0 || thread_board.MaterialIndex > kOverflow) {
        ADD_FAILURE() << where("MaterialIndex out of range after", move) << thread_board.MaterialIndex;
        return false;
      }
      if (thread_board.MaterialIndex == kOverflow) stats.overflowMakes++;
      if (indexBefore == kOverflow && thread_board.MaterialIndex != kOverflow) stats.overflowRecoveries++;
    }
    if (keep) return true;
    unmake_move();
    if (!SameBytes(saved) || GameHistoryCount != count) {
      ADD_FAILURE() << where("unmake_move did not restore the record after", move)
                    << RecordDifferences(saved, thread_board) << "GameHistoryCount " << count << " -> "
                    << GameHistoryCount;
      return false;
    }
    return true;
  };

  for (int game = 0; game < playouts; game++) {
    oracle::LoadFenExact(fen);
    const int rootCount = GameHistoryCount;
    const std::string rootDiff = Differences(root, options);
    if (!rootDiff.empty()) {
      ADD_FAILURE() << "FEN " << fen << "\nafter LoadFen\n" << rootDiff;
      return false;
    }
    Position model = root;
    path.clear();
    levels.clear();
    for (int ply = 0; ply < maxPlies; ply++) {
      const std::vector<u32> moves = LegalMoveList();
      std::vector<u32> playable;
      for (u32 move : moves)
        if (CapturedPiece(move) != KING) playable.push_back(move);
      if (playable.empty()) break;
      const u32 first = moves[random(moves.size())];
      if (!tryMove(model, first, 1, false)) return false;
      for (int sibling = 0; sibling < 2; sibling++)
        if (!tryMove(model, moves[random(moves.size())], 0, false)) return false;
      // Special moves are rare in random play: take one, when there is one, half of the time.
      std::vector<u32> special;
      for (u32 move : playable)
        if (IsCastling(move) || IsEnPassant(move) || PromotionPiece(move)) special.push_back(move);
      const u32 chosen = !special.empty() && random(2) ? special[random(special.size())]
                                                        : playable[random(playable.size())];
      levels.push_back({SaveRecord(), GameHistoryCount, model});
      if (!tryMove(model, chosen, 0, true)) return false;
      Apply(model, chosen);
      path.push_back(chosen);
      stats.plies++;
      stats.castlings += IsCastling(chosen);
      stats.enPassants += IsEnPassant(chosen);
      stats.promotions += PromotionPiece(chosen) != 0;
      stats.promotionCaptures += PromotionPiece(chosen) != 0 && CapturedPiece(chosen) != 0;
    }
    // Take the whole line back; each unmake must give back the record saved at its level.
    while (!levels.empty()) {
      const Level &level = levels.back();
      const u32 move = path.back();
      unmake_move();
      path.pop_back();
      if (!SameBytes(level.saved) || GameHistoryCount != level.historyCount) {
        ADD_FAILURE() << where("unwinding: unmake_move did not restore the record before", move)
                      << RecordDifferences(level.saved, thread_board);
        return false;
      }
      const std::string diff = Differences(level.model, options);
      if (!diff.empty()) {
        ADD_FAILURE() << where("unwinding: record differs from the model before", move) << diff;
        return false;
      }
      levels.pop_back();
    }
    if (GameHistoryCount != rootCount) {
      ADD_FAILURE() << "FEN " << fen << ": GameHistoryCount " << GameHistoryCount << " after unwinding, expected "
                    << rootCount;
      return false;
    }
  }
  return true;
}

}  // namespace oracle
