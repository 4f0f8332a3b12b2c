// Plays through the real binary as a GUI does: one bestmove for each go, an xboard move, a stop that is
// answered, and a bench signature that repeats.
//
//   play_session <engine binary> [group]     (no group: all groups)
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "engine_session.h"

namespace {

int Failures;

void Expect(bool condition, const std::string &group, const std::string &what) {
  if (condition) return;
  std::printf("FAIL [%s] %s\n", group.c_str(), what.c_str());
  Failures++;
}

// Lines up to `prefix`, counting the lines that start with `counted` on the way.
int CountUntil(EngineSession &engine, const std::string &prefix, const std::string &counted, std::string *last) {
  int count = 0;
  while (auto line = engine.ReadLine(60)) {
    if (line->starts_with(counted)) count++, *last = *line;
    if (line->starts_with(prefix)) return count;
  }
  return -1;
}

void CheckUciGo(const std::string &binary) {
  const std::string group = "uci-go";
  EngineSession engine(binary);
  engine.Send("uci\nisready\n");
  Expect(engine.ReadUntil("readyok").has_value(), group, "readyok after uci");
  std::string last;
  // A fixed depth, then a clock: each go gets exactly one bestmove before the engine is ready again.
  for (const char *go : {"position startpos\ngo depth 5\n", "position startpos moves e2e4 e7e5\ngo wtime 3000 btime 3000\n",
                         "position fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1\ngo depth 4\n"}) {
    engine.Send(go);
    Expect(engine.ReadUntil("bestmove", nullptr, 60).has_value(), group, std::string("a bestmove for ") + go);
    engine.Send("isready\n");
    Expect(CountUntil(engine, "readyok", "bestmove", &last) == 0, group, std::string("one bestmove only for ") + go);
  }
  // The back-rank mate is found and played.
  engine.Send("position fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1\ngo depth 4\n");
  auto mate = engine.ReadUntil("bestmove", nullptr, 60);
  Expect(mate && mate->starts_with("bestmove a1a8"), group, "mate in one played: " + mate.value_or("none"));
  // go infinite ends on stop, with its one answer.
  engine.Send("position startpos\ngo infinite\n");
  engine.ReadLine(1);
  engine.Send("stop\n");
  Expect(engine.ReadUntil("bestmove", nullptr, 30).has_value(), group, "a bestmove after stop");
  engine.Send("quit\n");
  Expect(engine.Wait().Clean(), group, "quit ends the engine cleanly");
}

void CheckXboardMove(const std::string &binary) {
  const std::string group = "xboard";
  EngineSession engine(binary);
  engine.Send("xboard\nnew\nsd 4\ne2e4\n");
  auto move = engine.ReadUntil("move ", nullptr, 60);
  Expect(move.has_value(), group, "a move after the opponent's move");
  engine.Send("quit\n");
  Expect(engine.Wait().Clean(), group, "quit ends the engine cleanly");
}

// Positions a GUI may send that the search must survive: each go still gets its one bestmove, "0000" when
// there is nothing to play.
void CheckHardPositions(const std::string &binary) {
  const std::string group = "hard-positions";
  EngineSession engine(binary);
  std::string knightDance;
  for (int i = 0; i < 300; i++) knightDance += " g1f3 g8f6 f3g1 f6g8";
  const std::pair<std::string, std::string> cases[] = {
      {"position fen 7k/6Q1/6K1/8/8/8/8/8 b - - 0 1\ngo depth 5\n", "bestmove 0000"},  // mated
      {"position fen 7k/8/6QK/8/8/8/8/8 b - - 0 1\ngo depth 5\n", "bestmove 0000"},   // stalemate
      {"position fen 8/8/8/4k3/8/8/8/4K3 w - - 0 1\ngo depth 60\n", "bestmove e1"},     // bare kings
      {"position fen 4k3/4R3/8/8/8/8/8/5K2 w - - 0 1\ngo depth 6\n", "bestmove "},      // the side not to move in check
      {"position startpos moves" + knightDance + "\ngo depth 6\n", "bestmove "},       // 1200 plies
      {"position fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1\ngo depth 20\n", "bestmove a1a8"},
      {"setoption name Hash value 0\nposition startpos\ngo depth 7\n", "bestmove "},     // no table
      {"setoption name Hash value 1\nposition startpos\ngo depth 7\n", "bestmove "},
  };
  engine.Send("uci\n");
  for (const auto &[commands, answer] : cases) {
    engine.Send(commands);
    std::string last;
    const int count = [&] {
      engine.Send("isready\n");
      return CountUntil(engine, "readyok", "bestmove", &last);
    }();
    // isready is answered during a search too: wait for the bestmove if it has not come yet.
    if (count == 0) {
      auto best = engine.ReadUntil("bestmove", nullptr, 120);
      last = best.value_or("");
    }
    Expect(last.starts_with(answer), group, commands + " answered by " + answer + ", got: " + last);
    engine.Send("isready\n");
    Expect(CountUntil(engine, "readyok", "bestmove", &last) == 0, group, "no second bestmove after " + commands);
  }
  engine.Send("quit\n");
  Expect(engine.Wait().Clean(), group, "quit ends the engine cleanly");
}

// With three variations asked for, each report lists the three best moves, the best first.
void CheckMultiPv(const std::string &binary) {
  const std::string group = "multipv";
  EngineSession engine(binary);
  engine.Send("uci\nsetoption name MultiPV value 3\nposition fen 7k/8/8/8/8/8/5PPP/r3R1K1 w - - 0 1\ngo depth 12\n");
  std::string report[3], skipped;
  auto best = engine.ReadUntil("bestmove", &skipped, 60);
  Expect(best.has_value(), group, "a bestmove");
  for (size_t at = 0; (at = skipped.find("info multipv ", at)) != std::string::npos; at++) {
    const size_t end = skipped.find('\n', at);
    const std::string line = skipped.substr(at, end - at);
    const int index = line[13] - '1';
    if (index >= 0 && index < 3) report[index] = line;
  }
  for (const std::string &line : report) Expect(line.find(" pv ") != std::string::npos, group, "three variations");
  // The rook that takes on a1 is the best variation and the move played.
  Expect(report[0].find(" pv e1a1") != std::string::npos, group, "best variation first: " + report[0]);
  Expect(best && best->starts_with("bestmove e1a1"), group, "the best variation's move is played");
  engine.Send("quit\n");
  engine.Wait();
}

void CheckBenchRepeats(const std::string &binary) {
  const std::string group = "bench";
  std::string first;
  for (int run = 0; run < 2; run++) {
    EngineSession engine(binary);
    for (int again = 0; again < 2; again++) {
      engine.Send("bench\n");
      auto line = engine.ReadUntil("", nullptr, 600);
      while (line && line->find(" nodes ") == std::string::npos) line = engine.ReadLine(600);
      Expect(line.has_value(), group, "a bench line");
      if (!line) return;
      const std::string nodes = line->substr(0, line->find(' '));
      if (first.empty()) first = nodes;
      Expect(nodes == first, group, "the same node count every time: " + nodes + " against " + first);
    }
    engine.Send("quit\n");
    engine.Wait();
  }
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s <engine binary> [group]\n", argv[0]);
    return 2;
  }
  const std::vector<std::pair<std::string, std::function<void(const std::string &)>>> groups = {
      {"uci-go", CheckUciGo}, {"xboard", CheckXboardMove}, {"multipv", CheckMultiPv}, {"hard-positions", CheckHardPositions}, {"bench", CheckBenchRepeats}};
  for (const auto &[name, run] : groups)
    if (argc < 3 || name == argv[2]) run(argv[1]);
  std::printf("%s\n", Failures ? "FAILED" : "passed");
  return Failures ? 1 : 0;
}
