#include "tools/tune/positions.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <random>
#include <unordered_set>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/position.h"
#include "eval/eval.h"
#include "search/hash.h"
#include "search/quiescence.h"
#include "search/statistics.h"
#include "shell/settings.h"
#include "tools/tune/workers.h"

namespace {

// A capture sequence longer than this is not followed: the position is left out.
constexpr int MAX_QUIET_STEPS = 16;
constexpr size_t RESOLVE_CHUNK = 2048;

std::vector<std::string> Split(const std::string &line, char separator) {
  std::vector<std::string> fields;
  size_t start = 0;
  for (size_t end; (end = line.find(separator, start)) != std::string::npos; start = end + 1)
    fields.push_back(line.substr(start, end - start));
  fields.push_back(line.substr(start));
  return fields;
}

// Placement, side, castling and en passant: what makes two FENs the same position.
std::string PositionKey(const std::string &fen) {
  std::vector<std::string> fields;
  for (const std::string &field : Split(fen, ' '))
    if (!field.empty() && fields.size() < 4) fields.push_back(field);
  std::string key;
  for (const std::string &field : fields) key += field + " ";
  return key;
}

bool WhiteToMove(const std::string &fen) {
  const size_t blank = fen.find(' ');
  return blank != std::string::npos && fen.find_first_not_of(' ', blank) != std::string::npos &&
         fen[fen.find_first_not_of(' ', blank)] == 'w';
}

bool SideToMoveInCheck() {
  const BoardRecord &b = thread_board;
  return IsAttacked(ChangeSide(b.SideToMove), b.KingSquare[b.SideToMove]);
}

}  // namespace

bool ParseLabelledLine(const std::string &line, LabelledFen &out) {
  const std::vector<std::string> fields = Split(line, ';');
  if (fields[0].find('/') == std::string::npos) return false;
  char *end = nullptr;
  if (fields.size() == 2) {
    const float result = std::strtof(fields[1].c_str(), &end);
    if (end == fields[1].c_str() || result < 0 || result > 1) return false;
    out = {fields[0], result};
    return true;
  }
  if (fields.size() == 5) {
    const long code = std::strtol(fields[4].c_str(), &end, 10);
    if (end == fields[4].c_str() || code < 0 || code > 2) return false;
    const float mover = code == 0 ? 0.5f : code == 1 ? 1.0f : 0.0f;
    out = {fields[0], WhiteToMove(fields[0]) ? mover : 1 - mover};
    return true;
  }
  return false;
}

bool ReadLabelledFile(const std::string &path, std::vector<LabelledFen> &out, std::string &error) {
  const bool packed = path.size() > 3 && path.compare(path.size() - 3, 3, ".xz") == 0;
  FILE *file = packed ? popen(("xz -dc -- '" + path + "'").c_str(), "r") : std::fopen(path.c_str(), "r");
  if (!file) {
    error = "can't read " + path;
    return false;
  }
  std::string line;
  LabelledFen labelled;
  for (int c; (c = std::fgetc(file)) != EOF;) {
    if (c != '\n') {
      line += char(c);
      continue;
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (ParseLabelledLine(line, labelled)) out.push_back(std::move(labelled));
    line.clear();
  }
  if (!line.empty() && ParseLabelledLine(line, labelled)) out.push_back(std::move(labelled));
  const bool readWhole = packed ? pclose(file) == 0 : std::fclose(file) == 0;
  if (!readWhole) error = "can't read all of " + path;
  return readWhole;
}

std::vector<LabelledFen> DrawPositions(const std::vector<LabelledFen> &pool, size_t count, unsigned seed,
                                       std::vector<std::string> &taken) {
  std::vector<size_t> order(pool.size());
  std::iota(order.begin(), order.end(), size_t(0));
  std::shuffle(order.begin(), order.end(), std::mt19937_64(seed));
  std::unordered_set<std::string> seen(taken.begin(), taken.end());
  std::vector<LabelledFen> drawn;
  for (size_t i = 0; i < order.size() && drawn.size() < count; i++) {
    const LabelledFen &candidate = pool[order[i]];
    std::string key = PositionKey(candidate.fen);
    if (!seen.insert(key).second) continue;
    taken.push_back(std::move(key));
    drawn.push_back(candidate);
  }
  return drawn;
}

void SetTuningSettings() {
  SettingsRecord &s = Settings;
  s.PawnHashSize = 0;
  s.RootSide = WHITE;
  s.AggressivityHalf = s.CowardiceHalf = 50;
  // Captures and promotions only, with the material window wide open, and no clock.
  s.Iteration = 0;
  s.MaterialWindowLow = -MATE_SCORE;
  s.MaterialWindowHigh = MATE_SCORE;
}

bool ResolveQuiet(const char *fen, BoardRecord &quiet) {
  LoadFen(fen);
  Settings.Nodes = 0;
  Settings.TimeCheckCountdown = 1 << 30;
  thread_board.SearchStopped = 0;
  for (int step = 0; step < MAX_QUIET_STEPS; step++) {
    Ply = 1;
    MoveStackTop = 0;
    const bool inCheck = SideToMoveInCheck();
    PlyStack[Ply].InCheck = inCheck;
    const int score = Quiescence(-MATE_SCORE, MATE_SCORE, 0, NODE_PV);
    if (std::abs(score) >= MATE_BOUND) return false;
    const u32 best = PlyStack[Ply].BestMove;
    if (!best) {
      quiet = thread_board;
      return !inCheck;
    }
    MakeGameMove(best);
  }
  return false;
}

std::vector<LabelledPosition> ResolveAll(const std::vector<LabelledFen> &fens, int jobs) {
  const int chunks = int((fens.size() + RESOLVE_CHUNK - 1) / RESOLVE_CHUNK);
  const std::vector<std::string> results = RunTasks(jobs, chunks, [&](int chunk) {
    // What the searches of one chunk learn stays in it, so that no position depends on which process had it.
    ClearHash();
    ClearEvalCache();
    ClearOrderingStatistics();
    ClearKillers();
    std::string bytes;
    BoardRecord quiet;
    const size_t first = size_t(chunk) * RESOLVE_CHUNK, last = std::min(fens.size(), first + RESOLVE_CHUNK);
    for (size_t i = first; i < last; i++) {
      const u8 kept = ResolveQuiet(fens[i].fen.c_str(), quiet);
      AppendBytes(bytes, &kept, 1);
      if (kept) AppendBytes(bytes, &quiet, 1);
    }
    return bytes;
  });
  std::vector<LabelledPosition> positions;
  positions.reserve(fens.size());
  for (int chunk = 0; chunk < chunks; chunk++) {
    const std::string &bytes = results[size_t(chunk)];
    const char *at = bytes.data();
    for (size_t i = size_t(chunk) * RESOLVE_CHUNK; at < bytes.data() + bytes.size(); i++) {
      u8 kept;
      ReadBytes(at, &kept, 1);
      if (!kept) continue;
      LabelledPosition p;
      ReadBytes(at, &p.board, 1);
      p.result = fens[i].result;
      positions.push_back(p);
    }
  }
  return positions;
}

bool EvenMaterial(const BoardRecord &board, int pawnDifference) {
  for (const int piece : {KNIGHT, BISHOP, ROOK, QUEEN})
    if (board.PieceCount[piece][WHITE] != board.PieceCount[piece][BLACK]) return false;
  return std::abs(board.PieceCount[PAWN][WHITE] - board.PieceCount[PAWN][BLACK]) <= pawnDifference;
}

i32 WhiteEvaluation(const BoardRecord &board) {
  thread_board = board;
  Ply = 1;
  i32 score = -MATE_SCORE;
  Evaluate(&score, MATE_SCORE);
  return board.SideToMove == WHITE ? score : -score;
}
