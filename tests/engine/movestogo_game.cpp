// Games between two instances of the engine under a repeating control, as a GUI runs "N moves in T seconds":
// "go wtime btime movestogo" with the moves left in the session, the session's time added when it is over.
// Every move is checked for legality and against the mover's clock.
//
//   movestogo_game <engine binary> [moves per side, default 60] [moves per session] [seconds per session]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "engine_session.h"
#include "referee.h"

int main(int argc, char **argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s <engine binary> [moves] [moves per session] [seconds per session]\n", argv[0]);
    return 2;
  }
  const int wanted = argc > 2 ? std::atoi(argv[2]) : 60;
  const int session = argc > 3 ? std::atoi(argv[3]) : 10;
  const long long sessionMs = argc > 4 ? std::atoll(argv[4]) * 1000 : 3000;
  constexpr long long MARGIN_MS = 100;  // what a GUI forgives before it calls the flag
  EngineSession white(argv[1]), black(argv[1]);
  Referee lister(argv[1]);
  EngineSession *sides[2] = {&white, &black};
  for (EngineSession *side : sides) side->Send("uci\nsetoption name Hash value 16\nucinewgame\n");
  int failures = 0, moves = 0, games = 0;
  long long tightest = sessionMs;
  while (moves < 2 * wanted && failures == 0) {
    games++;
    std::vector<std::string> game;
    long long clock[2] = {sessionMs, sessionMs};
    for (;;) {
      const std::set<std::string> legal = lister.Legal(game);
      if (legal.empty() || game.size() >= 400) break;
      const int mover = int(game.size() % 2), moveNumber = int(game.size() / 2);
      const int toGo = session - moveNumber % session;
      std::string position = "position startpos moves";
      for (const std::string &m : game) position += " " + m;
      EngineSession &engine = *sides[mover];
      const auto start = std::chrono::steady_clock::now();
      engine.Send(position + "\ngo wtime " + std::to_string(clock[0]) + " btime " + std::to_string(clock[1]) +
                  " movestogo " + std::to_string(toGo) + "\n");
      auto best = engine.ReadUntil("bestmove ", nullptr, double(clock[mover] + 5000) / 1000);
      const long long used =
          std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
      const std::string move = best ? best->substr(9, best->find(' ', 9) - 9) : "";
      if (!best || !legal.count(move.substr(0, 4))) {
        std::printf("FAIL no legal move (%s) after %zu plies\n", best.value_or("nothing").c_str(), game.size());
        failures++;
        break;
      }
      clock[mover] -= used;
      if (clock[mover] < -MARGIN_MS) {
        std::printf("FAIL %s lost on time after %zu plies: %lld ms over\n", mover ? "black" : "white", game.size(),
                    -clock[mover]);
        failures++;
      }
      tightest = std::min(tightest, clock[mover]);
      if (toGo == 1) clock[mover] += sessionMs;
      game.push_back(move);
      moves++;
      if (moves >= 2 * wanted) break;
    }
  }
  for (EngineSession *side : sides) side->Send("quit\n");
  lister.engine.Send("quit\n");
  for (EngineSession *side : sides)
    if (!side->Wait(10).Clean()) std::printf("FAIL quit ends the engine cleanly\n"), failures++;
  std::printf("%d moves in %d game(s) at %d moves in %lld s; the tightest clock after a move: %lld ms\n", moves, games,
              session, sessionMs / 1000, tightest);
  std::printf("%s\n", failures ? "FAILED" : "passed");
  return failures ? 1 : 0;
}
