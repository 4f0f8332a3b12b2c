// A long game as a GUI sends it: one `position startpos moves ...` line of 1200 plies with repetitions and
// fifty-move stretches, and shorter lines cut from it. The known answers come from an independent engine
// (make_long_game.py), stored in data/; nothing outside the repository is needed here.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "groups.h"
#include "session.h"

namespace {

[[noreturn]] void MissingData(const std::string &what) {
  std::printf("test error: %s\n", what.c_str());
  std::exit(2);
}

std::vector<std::string> AllMoves(const Context &context) {
  const std::string path = context.dataDir + "/long_game.txt";
  std::ifstream in(path);
  std::vector<std::string> moves;
  for (std::string move; in >> move;) moves.push_back(move);
  if (moves.size() != 1200) MissingData(path + " must hold 1200 moves");
  return moves;
}

const Checkpoint &At(const std::vector<Checkpoint> &points, int ply) {
  for (const auto &point : points)
    if (point.ply == ply) return point;
  MissingData("no checkpoint at ply " + std::to_string(ply));
}

// The board, the legal moves and perft 2 of `point`, from the output of "brd", "moves" and "perft 2".
void CheckPosition(Checker &check, const Lines &output, const Checkpoint &point, bool withMoves,
                   const std::string &what) {
  check.SameLines(BoardRows(output), BoardFromFen(point.fen), what + ": the board (" + point.fen + ")");
  if (withMoves) {
    const auto listed = ListedMoves(output);
    if (check.That(listed.has_value(), what + ": a list of legal moves")) {
      check.That(listed->size() == size_t(point.perft1),
                 what + ": " + std::to_string(point.perft1) + " legal moves, got " + std::to_string(listed->size()));
      check.SameLines(*listed, point.moves, what + ": the legal moves");
    }
  }
  const auto total = PerftTotal(output);
  check.That(total == point.perft2, what + ": perft 2 = " + std::to_string(point.perft2) + ", got " +
                                        (total ? std::to_string(*total) : std::string("nothing")));
}

}  // namespace

std::string LongGameMoves(const Context &context, int plies) {
  const auto moves = AllMoves(context);
  std::string text;
  for (int i = 0; i < plies && i < int(moves.size()); i++) text += (i ? " " : "") + moves[size_t(i)];
  return text;
}

std::vector<Checkpoint> LongGameCheckpoints(const Context &context) {
  const std::string path = context.dataDir + "/long_game_answers.txt";
  std::ifstream in(path);
  if (!in) MissingData("cannot read " + path);
  std::vector<Checkpoint> points;
  Checkpoint point;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    const size_t blank = line.find(' ');
    const std::string key = line.substr(0, blank), value = blank == std::string::npos ? "" : line.substr(blank + 1);
    if (key == "checkpoint") {
      point = Checkpoint{};
      point.ply = std::stoi(value);
    } else if (key == "fen") {
      point.fen = value;
    } else if (key == "perft1") {
      point.perft1 = std::stoll(value);
    } else if (key == "perft2") {
      point.perft2 = std::stoll(value);
    } else if (key == "moves") {
      std::istringstream words(value);
      for (std::string move; words >> move;) point.moves.push_back(move);
    } else if (key == "end") {
      points.push_back(point);
    }
  }
  if (points.empty()) MissingData("no checkpoints in " + path);
  return points;
}

void LongGame(Context &context) {
  Checker &check = context.check;
  const auto points = LongGameCheckpoints(context);
  const std::string whole = "position startpos moves " + LongGameMoves(context, 1200) + "\n";

  std::vector<Step> steps = {{"uci\n", UciBlock(100, 100)}};
  // The game as it grows, the way a GUI sends it before each move, past the points where a history of 512 plies
  // would be full.
  for (const auto &point : points)
    steps.push_back({"position startpos moves " + LongGameMoves(context, point.ply) + "\nbrd\nmoves\nperft 2\n", {}});
  // The whole game twice in a row; then the castling rights, and moves taken back at its end.
  steps.push_back({whole + whole + "brd\nmoves\nperft 2\n", {}});
  steps.push_back(
      {whole + "mvd\n", Lines{"castling flags = " + std::to_string(CastlingFlagsOfFen(At(points, 1200).fen))}});
  steps.push_back({"undo\nbrd\nperft 2\n", {}});
  steps.push_back({"remove\nbrd\nperft 2\n", {}});
  // 400 plies back, past the point where the history was last cut down.
  std::string undos;
  for (int i = 0; i < 400; i++) undos += "undo\n";
  steps.push_back({whole + undos + "brd\nmoves\nperft 2\n", {}});
  // After the long game, a short one: nothing of the old history may remain.
  steps.push_back({whole + "position startpos moves e2e4\nbrd\nmoves\nperft 2\n", {}});

  const Session session = RunSession(context, "the long game", steps);
  if (!session.complete) return;
  size_t index = 1;
  for (const auto &point : points) {
    CheckPosition(check, session.outputs[index], point, true,
                  "position startpos with the first " + std::to_string(point.ply) + " plies");
    index++;
  }
  CheckPosition(check, session.outputs[index++], At(points, 1200), true, "the whole game sent twice");
  index++;  // mvd, checked exactly
  CheckPosition(check, session.outputs[index++], At(points, 1199), false, "undo at the end of the game");
  CheckPosition(check, session.outputs[index++], At(points, 1197), false, "remove after that");
  CheckPosition(check, session.outputs[index++], At(points, 800), true, "400 times undo at the end of the game");
  CheckPosition(check, session.outputs[index++], At(points, 1), true, "e2e4 after the long game");
}
