// A whole game through the xboard protocol with pondering on, as xboard itself drives an engine: new, hard,
// level, time and otim before each move, moves without "usermove", and result at the end. The opponent's
// moves come from a second engine in UCI mode, which also lists the legal moves that every reply is checked
// against (by a third instance: a searchmoves list would narrow the listing of the one that chooses). A quarter
// of the opponent's moves are the engine's own hint (a ponder hit), a quarter differ from it (a miss).
//
//   xboard_game <engine binary> [moves, default 60]
#include <chrono>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "engine_session.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Referee {
  EngineSession engine;
  explicit Referee(const std::string &binary) : engine(binary) { engine.Send("uci\nsetoption name Hash value 4\n"); }

  void Position(const std::vector<std::string> &moves) {
    std::string line = "position startpos moves";
    for (const std::string &m : moves) line += " " + m;
    engine.Send(line + "\n");
  }
  // The legal moves as from and to squares, from the "moves" listing ("Pe7e5 (0); ..."), which shows no
  // promotion piece.
  std::set<std::string> Legal(const std::vector<std::string> &moves) {
    Position(moves);
    engine.Send("moves\n");
    engine.ReadUntil("-------------- Legal moves");
    auto line = engine.ReadLine();
    std::set<std::string> legal;
    std::istringstream words(line.value_or(""));
    for (std::string word; words >> word;)
      if (word.size() >= 5 && word[0] != '(') legal.insert(word.substr(1, 4));
    return legal;
  }
  // The referee's own move; with `avoid`, its best among the others.
  std::string Choose(const std::vector<std::string> &moves, const std::set<std::string> &legal,
                     const std::string &avoid) {
    Position(moves);
    std::string others;
    for (const std::string &m : legal)
      if (m != avoid.substr(0, 4)) others += " " + m;
    engine.Send("go nodes 500000" + (avoid.empty() || others.empty() ? "" : " searchmoves" + others) + "\n");
    auto best = engine.ReadUntil("bestmove ");
    return best ? best->substr(9, best->find(' ', 9) - 9) : "";
  }
};

bool IsResult(const std::string &line) {
  return line.starts_with("1-0") || line.starts_with("0-1") || line.starts_with("1/2-1/2");
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s <engine binary> [moves]\n", argv[0]);
    return 2;
  }
  const int wanted = argc > 2 ? std::atoi(argv[2]) : 60;
  EngineSession engine(argv[1]);
  Referee referee(argv[1]), lister(argv[1]);
  int failures = 0, hits = 0, misses = 0, engineMoves = 0, games = 0, longest = 0;
  const auto fail = [&](const std::string &what) {
    std::printf("FAIL %s\n", what.c_str());
    failures++;
  };
  engine.Send("xboard\nprotover 2\n");
  long long clock = 0, opponentClock = 0;  // centiseconds
  while (engineMoves < wanted && failures == 0) {
    games++;
    std::vector<std::string> game;
    engine.Send("new\nhard\npost\nlevel 0 0:40 0\n");
    clock = opponentClock = 4000;
    engine.Send("time " + std::to_string(clock) + "\notim " + std::to_string(opponentClock) + "\ngo\n");
    std::string hint;
    for (;;) {
      // The engine's move, or the end of the game.
      const auto start = Clock::now();
      std::string line, nextHint;
      bool over = false;
      for (;;) {
        auto read = engine.ReadLine(30);
        if (!read) {
          fail("no move within 30 s after " + std::to_string(game.size()) + " plies");
          break;
        }
        line = *read;
        if (line.starts_with("Illegal move")) fail(line);
        if (IsResult(line) || line == "resign") {
          std::printf("game %d ends after %zu plies: %s\n", games, game.size(), line.c_str());
          over = true;
        }
        if (line.starts_with("move ") || over) break;
      }
      if (failures || over) break;
      const std::string move = line.substr(5);
      clock -= std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count() / 10;
      if (clock <= 0) fail("the engine lost on time after " + std::to_string(game.size()) + " plies");
      if (!lister.Legal(game).count(move.substr(0, 4))) {
        std::string moves;
        for (const std::string &m : game) moves += " " + m;
        fail("illegal move " + move + " after" + moves);
      }
      game.push_back(move);
      engineMoves++;
      auto hintLine = engine.ReadLine(5);
      hint = hintLine && hintLine->starts_with("Hint: ") ? hintLine->substr(6) : "";
      const std::set<std::string> replies = lister.Legal(game);
      if (replies.empty() || engineMoves >= wanted || failures) break;
      // Every fourth reply is the hint, every fourth another move; the others are the referee's own choice.
      const bool hit = !hint.empty() && engineMoves % 4 == 0 && replies.count(hint.substr(0, 4));
      const std::string reply = hit ? hint : referee.Choose(game, replies, engineMoves % 4 == 2 ? hint : "");
      if (!hint.empty()) reply == hint ? hits++ : misses++;
      game.push_back(reply);
      engine.Send("time " + std::to_string(clock) + "\notim " + std::to_string(opponentClock) + "\n" + reply + "\n");
    }
    longest = std::max<int>(longest, int(game.size() + 1) / 2);
    engine.Send("result 1/2-1/2 {test over}\n");
  }
  engine.Send("quit\n");
  if (!engine.Wait(10).Clean()) fail("quit ends the engine cleanly");
  referee.engine.Send("quit\n");
  lister.engine.Send("quit\n");
  if (hits == 0) fail("no ponder hit was played");
  if (misses == 0) fail("no ponder miss was played");
  std::printf("%d engine moves in %d game(s), the longest %d moves; %d ponder hits, %d misses\n", engineMoves, games,
              longest, hits, misses);
  std::printf("%s\n", failures ? "FAILED" : "passed");
  return failures ? 1 : 0;
}
