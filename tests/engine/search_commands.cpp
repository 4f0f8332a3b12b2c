// Commands that reach the engine while it thinks, as a GUI sends them: pondering and ponderhit, stop,
// isready, stat01, lines that are dropped, quit and a closed pipe; one-move roots, few moves for many
// variations, and resignation in xboard.
//
//   search_commands <engine binary> [group]     (no group: all groups)
#include <cstdio>
#include <string>
#include <vector>

#include "check_groups.h"
#include "engine_session.h"

namespace {

// Lines that start with `prefix` within `seconds`; stops early at a line starting with `until`.
int CountWithin(EngineSession &engine, const std::string &prefix, double seconds, const std::string &until = "") {
  int count = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  for (;;) {
    const double left = std::chrono::duration<double>(deadline - std::chrono::steady_clock::now()).count();
    if (left <= 0) return count;
    auto line = engine.ReadLine(left);
    if (!line) return count;
    if (line->starts_with(prefix)) count++;
    if (!until.empty() && line->starts_with(until)) return count;
  }
}

// After a bestmove, nothing more for this go: an isready is answered with no second bestmove before it.
void ExpectNoSecondBestMove(EngineSession &engine, const std::string &group, const std::string &what) {
  engine.Send("isready\n");
  std::string skipped;
  auto ready = engine.ReadUntil("readyok", &skipped, 30);
  Expect(ready.has_value() && skipped.find("bestmove") == std::string::npos, group, "one bestmove only: " + what);
}

void CheckUciPonder(const std::string &binary) {
  const std::string group = "ponder";
  EngineSession engine(binary);
  engine.Send("uci\nposition startpos moves e2e4 e7e5 g1f3\ngo ponder wtime 3000 btime 3000\n");
  Expect(CountWithin(engine, "bestmove", 1.0) == 0, group, "no bestmove while pondering");
  engine.Send("ponderhit\n");
  Expect(engine.ReadUntil("bestmove", nullptr, 10).has_value(), group, "a bestmove after ponderhit, on the clock");
  ExpectNoSecondBestMove(engine, group, "ponderhit");

  engine.Send("position startpos moves d2d4\ngo ponder wtime 600000 btime 600000\n");
  Expect(CountWithin(engine, "bestmove", 0.5) == 0, group, "a long clock: no bestmove while pondering");
  engine.Send("stop\n");
  Expect(engine.ReadUntil("bestmove", nullptr, 2).has_value(), group, "stop during go ponder: bestmove at once");
  ExpectNoSecondBestMove(engine, group, "stop during go ponder");
  engine.Send("stop\nponderhit\n");
  ExpectNoSecondBestMove(engine, group, "stop and ponderhit with no search running");

  // One legal move: nothing to search, but the answer waits for the GUI's word.
  engine.Send("position fen 7k/8/8/8/8/8/6q1/7K w - - 0 1\ngo ponder wtime 3000 btime 3000\n");
  Expect(CountWithin(engine, "bestmove", 0.5) == 0, group, "one legal move while pondering: waits");
  engine.Send("ponderhit\n");
  auto only = engine.ReadUntil("bestmove", nullptr, 2);
  Expect(only && only->starts_with("bestmove h1g2"), group, "the only move after ponderhit: " + only.value_or("none"));
  engine.Send("quit\n");
  Expect(engine.Wait().Clean(), group, "quit ends the engine cleanly");
}

void CheckDuringSearch(const std::string &binary) {
  const std::string group = "during-search";
  EngineSession engine(binary);
  engine.Send("uci\n");
  engine.ReadUntil("uciok");
  engine.Send("position startpos moves e2e4\ngo infinite\n");
  engine.Send("isready\n");
  std::string skipped;
  Expect(engine.ReadUntil("readyok", &skipped, 2).has_value() && skipped.find("bestmove") == std::string::npos,
         group, "isready answered at once while the search goes on");
  engine.Send(".\n");
  auto stat = engine.ReadUntil("stat01: ", nullptr, 2);
  Expect(stat.has_value(), group, "\".\" prints a stat01 line");
  // Dropped: none of these waits for the search or changes what follows.
  engine.Send("foo bar\nsetoption name MultiPV value 3\nposition startpos moves d2d4\n\n" +
              std::string(5000, 'x') + "\nisready\n");
  skipped.clear();
  Expect(engine.ReadUntil("readyok", &skipped, 2).has_value() && skipped.find("bestmove") == std::string::npos,
         group, "junk, setoption and position don't end the search");
  engine.Send("stop\n");
  auto black = engine.ReadUntil("bestmove", nullptr, 2);
  Expect(black && black->size() > 10 && black->at(10) >= '7', group, "black's move after stop: " + black.value_or("none"));
  ExpectNoSecondBestMove(engine, group, "stop");
  // The dropped position never came: after black's reply, white is to move; and one variation only.
  // (After go infinite a go without a clock is infinite too: a move time ends this one.)
  engine.Send("go movetime 300\n");
  skipped.clear();
  auto white = engine.ReadUntil("bestmove", &skipped, 30);
  // Had the position come, black would be to move with every piece still on rank 7 or 8.
  Expect(white && white->size() > 10 && white->at(10) < '7', group, "white to move: " + white.value_or("none"));
  Expect(skipped.find("multipv 2") == std::string::npos, group, "the setoption during the search had no effect");

  engine.Send("go infinite\n");
  engine.Send("quit\n");
  const std::string rest = engine.ReadRest(10);
  Expect(rest.find("bestmove") == std::string::npos, group, "quit during a search: no bestmove");
  Expect(engine.Wait().Clean(), group, "quit during a search ends the engine cleanly");
}

void CheckClosedPipe(const std::string &binary) {
  const std::string group = "closed-pipe";
  for (const char *go : {"go infinite\n", "go ponder wtime 60000 btime 60000\n", "go depth 99\n"}) {
    EngineSession engine(binary);
    engine.Send(std::string("uci\nposition startpos\n") + go);
    CountWithin(engine, "bestmove", 0.3);
    engine.CloseInput();
    engine.ReadRest(10);
    const EngineExit exit = engine.Wait(10);
    Expect(exit.Clean(), group, std::string("the GUI closes the pipe during ") + go + ": " + exit.Describe());
  }
}

void CheckFewMoves(const std::string &binary) {
  const std::string group = "few-moves";
  EngineSession engine(binary);
  // One legal move on a clock: played at once, without a search; the clock starts once the engine is up.
  engine.Send("uci\n");
  engine.ReadUntil("uciok");
  engine.Send("position fen 7k/8/8/8/8/8/6q1/7K w - - 0 1\ngo wtime 600000 btime 600000\n");
  auto only = engine.ReadUntil("bestmove", nullptr, 1);
  Expect(only && only->starts_with("bestmove h1g2"), group, "one legal move played at once: " + only.value_or("none"));
  ExpectNoSecondBestMove(engine, group, "one legal move");
  // Four variations asked for, two moves there.
  engine.Send("setoption name MultiPV value 4\nposition fen 7k/8/8/8/8/5q2/8/7K w - - 0 1\ngo depth 6\n");
  std::string skipped;
  auto best = engine.ReadUntil("bestmove", &skipped, 30);
  Expect(best && (best->starts_with("bestmove h1g1") || best->starts_with("bestmove h1h2")), group,
         "one of the two king moves: " + best.value_or("none"));
  Expect(skipped.find("multipv 3") == std::string::npos && skipped.find("multipv 2") != std::string::npos, group,
         "two variations for two moves:\n" + skipped);
  engine.Send("quit\n");
  Expect(engine.Wait().Clean(), group, "quit ends the engine cleanly");
}

// Black has a bare king against queen and rook: three moves in a row below the resign value, and the third
// "move" line comes after "resign". White's moves are pawn steps, legal whatever black does.
void CheckResign(const std::string &binary) {
  const std::string group = "resign";
  EngineSession engine(binary);
  engine.Send("xboard\nnew\nforce\nloadfen 7k/8/8/8/8/8/P7/2K1QR2 b - - 0 1\nsd 4\ngo\n");
  std::string skipped;
  for (const char *reply : {"a2a3", "a3a4", ""}) {
    skipped.clear();
    auto move = engine.ReadUntil("move ", &skipped, 30);
    Expect(move.has_value(), group, "a move from black");
    if (*reply) engine.Send(std::string(reply) + "\n");
  }
  Expect(skipped.find("resign\n") != std::string::npos, group, "\"resign\" before the third move:\n" + skipped);
  engine.Send("quit\n");
  Expect(engine.Wait().Clean(), group, "quit ends the engine cleanly");
}

}  // namespace

int main(int argc, char **argv) {
  return RunCheckGroups(argc, argv, {
      {"ponder", CheckUciPonder}, {"during-search", CheckDuringSearch}, {"closed-pipe", CheckClosedPipe},
      {"few-moves", CheckFewMoves}, {"resign", CheckResign}});
}
