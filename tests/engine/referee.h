// A second engine in UCI mode that knows the rules for a game driver: the legal moves of a position, and a
// move of its own.
#pragma once
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "engine_session.h"

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
