// Plays through the real binary as a GUI does: one bestmove for each go, an xboard move, a stop that is
// answered, known endings searched to their verdict, and a bench signature that repeats.
//
//   play_session <engine binary> [group]     (no group: all groups)
#include <cstdio>
#include <string>
#include <vector>

#include "check_groups.h"
#include "engine_session.h"

namespace {

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
  // A clock that the GUI let run past zero is empty: a move at once, not a search without end.
  engine.Send("position startpos moves e2e4\ngo wtime 1000 btime -15 winc 0 binc 0\n");
  Expect(engine.ReadUntil("bestmove", nullptr, 5).has_value(), group, "a bestmove at once on an overrun clock");
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
  // An overrun clock, as xboard sends it, is an empty one: a move at once.
  EngineSession late(binary);
  late.Send("xboard\nnew\nlevel 0 1 0\ntime -1\notim 1000\ne2e4\n");
  Expect(late.ReadUntil("move ", nullptr, 5).has_value(), group, "a move at once on an overrun clock");
  late.Send("quit\n");
  Expect(late.Wait().Clean(), group, "quit ends the engine cleanly");
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

// The board field of a FEN with the piece on `from` moved to `to` ("d5", "b3").
std::string MovePiece(const std::string &board, const std::string &from, const std::string &to) {
  std::string squares;  // a8..h8, a7..h7, ..., a1..h1
  for (char c : board)
    if (c >= '1' && c <= '8') squares.append(size_t(c - '0'), '.');
    else if (c != '/') squares += c;
  const auto index = [](const std::string &sq) { return size_t(('8' - sq[1]) * 8 + (sq[0] - 'a')); };
  squares[index(to)] = squares[index(from)];
  squares[index(from)] = '.';
  std::string fen;
  for (size_t rank = 0; rank < 8; rank++) {
    int empty = 0;
    for (size_t file = 0; file < 8; file++) {
      const char c = squares[rank * 8 + file];
      if (c == '.') {
        empty++;
        continue;
      }
      if (empty) fen += char('0' + empty), empty = 0;
      fen += c;
    }
    if (empty) fen += char('0' + empty);
    if (rank < 7) fen += '/';
  }
  return fen;
}

// White, a rook up, retreats the queen that the rook attacks. Where it goes without a history, it mustn't
// go once the game has been there before with the same side to move: that square is now a draw.
void CheckRepetitionAvoided(const std::string &binary) {
  const std::string group = "repetition";
  const auto bestAndScore = [&](const std::string &position) {
    EngineSession engine(binary);
    engine.Send("uci\n" + position + "\ngo depth 10\n");
    std::string last;
    CountUntil(engine, "bestmove", "info depth 10 ", &last);
    engine.Send("quit\n");
    engine.Wait();
    const size_t cp = last.find("score cp "), pv = last.find(" pv ");
    if (cp == std::string::npos || pv == std::string::npos) return std::make_pair(std::string("none"), 0);
    return std::make_pair(last.substr(pv + 4, 4), std::stoi(last.substr(cp + 9)));
  };
  const std::string board = "3r2k1/pp3ppp/2n5/3Q4/8/8/PP3PPP/R5K1";
  const auto [retreat, score] = bestAndScore("position fen " + board + " w - - 0 1");
  Expect(retreat.starts_with("d5") && score > 300, group, "a queen retreat keeps the win, got " + retreat);
  if (!retreat.starts_with("d5")) return;
  const std::string square = retreat.substr(2);
  // The game began with the queen on that square, black to move: Rd8-e8, Q back to d5, Re8-d8.
  const auto [again, scoreAgain] = bestAndScore("position fen " + MovePiece(board, "d5", square) +
                                                " b - - 0 1 moves d8e8 " + square + "d5 e8d8");
  Expect(again != retreat, group, retreat + " repeats the position after move one: avoided");
  Expect(scoreAgain > 300, group, "the win is kept: cp " + std::to_string(scoreAgain));
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

// Known endings searched a few plies deep, without tablebases: the last score of the search lies in the band
// that the ending's verdict asks for, seen from the side to move.
void CheckKnownEndings(const std::string &binary) {
  const std::string group = "known-endings";
  struct Ending {
    const char *fen, *what;
    int low, high;
  };
  const Ending endings[] = {
      {"8/8/8/8/8/2pk4/8/R6K w - - 0 1", "K+R against K+P, the pawn held", -60, 60},
      {"8/8/8/8/2pk4/8/8/R6K w - - 0 1", "K+R against K+P, the rook wins", 300, 32700},
      {"K7/8/8/8/8/8/6kp/1Q6 w - - 0 1", "K+Q against a rook pawn on the seventh, the king far", -60, 60},
      {"8/8/8/8/8/3BNK2/8/7k w - - 0 1", "K+B+N against K", 400, 32700},
      {"k7/8/1K6/P7/8/8/8/4B3 w - - 0 1", "rook pawn and the bishop of the wrong colour", -60, 60},
      {"8/8/6b1/5k2/2p5/3p4/3K4/B7 b - - 0 1", "two pawns blockaded by king and bishop", -60, 60},
  };
  EngineSession engine(binary);
  engine.Send("uci\n");
  for (const Ending &e : endings) {
    engine.Send(std::string("ucinewgame\nposition fen ") + e.fen + "\ngo depth 10\n");
    std::string lines;
    const bool done = engine.ReadUntil("bestmove", &lines, 120).has_value();
    const size_t at = lines.rfind("score cp ");
    const size_t mate = lines.rfind("score mate ");
    int score = 0;
    if (mate != std::string::npos && (at == std::string::npos || mate > at))
      score = std::stoi(lines.substr(mate + 11)) > 0 ? 32700 : -32700;
    else if (at != std::string::npos)
      score = std::stoi(lines.substr(at + 9));
    Expect(done && (at != std::string::npos || mate != std::string::npos), group, std::string(e.what) + ": a scored search");
    Expect(score >= e.low && score <= e.high, group,
           std::string(e.what) + ": score " + std::to_string(score) + " outside " + std::to_string(e.low) + ".." +
               std::to_string(e.high));
  }
  engine.Send("quit\n");
  Expect(engine.Wait().Clean(), group, "quit ends the engine cleanly");
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
  return RunCheckGroups(argc, argv, {
      {"uci-go", CheckUciGo}, {"xboard", CheckXboardMove}, {"multipv", CheckMultiPv}, {"hard-positions", CheckHardPositions},
      {"repetition", CheckRepetitionAvoided}, {"known-endings", CheckKnownEndings}, {"bench", CheckBenchRepeats}});
}
