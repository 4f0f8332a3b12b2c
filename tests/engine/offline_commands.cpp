// The offline commands through the binary: the analysis loop with moves, undo, new, exit and "." during the
// search and in its wait, demo over a file of openings, selftest, and epdevl.
//
//   offline_commands <engine binary> [group]     (no group: all groups)
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "check_groups.h"
#include "scratch_dir.h"

namespace {

constexpr double kLineWait = 60;

std::vector<std::string> Words(const std::string &line) {
  std::istringstream in(line);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

// A thinking line: depth, score, time, nodes, then the variation.
bool IsThinking(const std::string &line) {
  const auto words = Words(line);
  return words.size() >= 5 && std::isdigit(u_char(line[0])) && words[4].size() >= 4;
}

// Reads until a thinking line whose variation begins from one of `ranks`; false after the wait.
bool ThinksFrom(EngineSession &engine, const std::string &ranks) {
  while (auto line = engine.ReadLine(kLineWait))
    if (IsThinking(*line) && ranks.find(Words(*line)[4][1]) != std::string::npos) return true;
  return false;
}

// Lines sent to the analysis, each followed by a thinking line whose variation begins from the given ranks.
struct Step {
  std::string Send, Ranks, What;
};

void RunSteps(EngineSession &engine, const std::string &group, const std::vector<Step> &steps) {
  for (const Step &step : steps) {
    engine.Send(step.Send);
    Expect(ThinksFrom(engine, step.Ranks), group, step.What);
  }
}

// Closes the engine's input and waits for the end, reading what it still prints.
EngineExit CloseAndWait(EngineSession &engine) {
  engine.CloseInput();
  engine.ReadRest(kLineWait);
  return engine.Wait(kLineWait);
}

// The board as brd prints it: eight lines.
std::string ReadBoard(EngineSession &engine) {
  engine.Send("isready\n");
  engine.ReadUntil("readyok", nullptr, kLineWait);
  engine.Send("brd\nisready\n");
  std::string board;
  engine.ReadUntil("readyok", &board, kLineWait);
  return board;
}

std::string BoardOf(const std::string &binary, const std::string &fen) {
  EngineSession engine(binary);
  engine.Send("loadfen " + fen + "\n");
  const std::string board = ReadBoard(engine);
  engine.Send("quit\n");
  engine.Wait();
  return board;
}

const std::string kAfterE4 = "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1";
const std::string kStart = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
const std::string kMateInOne = "6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1";

void CheckAnalysisDuringSearch(const std::string &binary) {
  const std::string group = "analyze";
  EngineSession engine(binary);
  RunSteps(engine, group,
           {{"xboard\npost\nanalyze\n", "12", "analysis of the start position"},
            {"e2e4\n", "78", "a move during the search: black's moves analysed next"}});
  engine.Send(".\n");
  const auto stat = engine.ReadUntil("stat01: ", nullptr, kLineWait);
  Expect(stat && Words(*stat).size() == 7, group, "\".\" during the search: " + stat.value_or("none"));
  engine.Send("e2e5\n");
  const auto illegal = engine.ReadUntil("Illegal move", nullptr, kLineWait);
  Expect(illegal == "Illegal move: e2e5", group, "an illegal move: " + illegal.value_or("none"));
  RunSteps(engine, group,
           {{"", "78", "after an illegal move the board stays and the analysis goes on"},
            {"e7e5\n", "12", "a second move"},
            {"undo\n", "78", "undo takes back one ply"}});
  engine.Send("exit\n");
  Expect(ReadBoard(engine) == BoardOf(binary, kAfterE4), group, "exit leaves with the board of the analysis");
  RunSteps(engine, group, {{"analyze\n", "78", "analysis again"}, {"new\n", "12", "new: white to move"}});
  engine.Send("exit\n");
  Expect(ReadBoard(engine) == BoardOf(binary, kStart), group, "new during the analysis starts a new game");

  // quit during the search ends the program at once.
  engine.Send("analyze\n");
  ThinksFrom(engine, "12");
  engine.Send("quit\n");
  engine.ReadRest(kLineWait);
  const EngineExit exit = engine.Wait(kLineWait);
  Expect(exit.Clean(), group, "quit during the analysis: " + exit.Describe());
}

// A search that ends by itself, on a mate found, waits for a line.
void CheckAnalysisWait(const std::string &binary) {
  const std::string group = "analyze-wait";
  EngineSession engine(binary);
  engine.Send("xboard\npost\nloadfen " + kMateInOne + "\nanalyze\n");
  Expect(ThinksFrom(engine, "1"), group, "the mate is found");
  // "." during the search prints the search's own stat01 line; in the wait, a line of zeros.
  bool waiting = false;
  for (int i = 0; i < 600 && !waiting; i++) {
    engine.Send(".\n");
    waiting = engine.ReadUntil("stat01:", nullptr, kLineWait) == "stat01: 0 0 0 0 0";
    if (!waiting) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  Expect(waiting, group, "\".\" in the wait");
  engine.Send("h2h4\n");
  Expect(engine.ReadUntil("Illegal move", nullptr, kLineWait) == "Illegal move: h2h4", group,
         "an illegal move in the wait");
  engine.Send("a1a8\n");
  Expect(engine.ReadUntil("move maked...", nullptr, kLineWait).has_value(), group, "a move in the wait");
  Expect(engine.ReadUntil("1-0 {White mates}", nullptr, kLineWait).has_value(), group,
         "the next search finds black mated");
  engine.Send("undo\n");
  Expect(ThinksFrom(engine, "1"), group, "undo in the wait: white's mate again");
  engine.Send("exit\n");
  Expect(ReadBoard(engine) == BoardOf(binary, kMateInOne), group, "exit leaves the wait");

  // The end of the input, in the wait and during a search, ends the program.
  engine.Send("analyze\n");
  ThinksFrom(engine, "1");
  Expect(CloseAndWait(engine).Clean(), group, "the input ends in the wait");
  EngineSession searching(binary);
  searching.Send("xboard\nanalyze\n");
  ThinksFrom(searching, "12");
  const EngineExit exit = CloseAndWait(searching);
  Expect(exit.Clean(), group, "the input ends during the analysis: " + exit.Describe());
}

void CheckDemo(const std::string &binary) {
  const std::string group = "demo";
  ScratchDir dir;
  const EngineRun none = RunEngine(binary, "demo\nisready\nquit\n");
  Expect(none.Exit.Clean() && HasLine(none.Output, "readyok") && none.Output.find("Game #") == std::string::npos,
         group, "no openings.epd: nothing\n" + none.Output);
  // A mate in one; a bishop against a bare king, over after one move; a stalemate, over before it begins.
  WriteFile("openings.epd", kMateInOne + "\n8/8/8/4k3/8/8/8/4KB2 w - - 0 1\n7k/5Q2/6K1/8/8/8/8/8 b - - 0 1\n");
  const EngineRun run = RunEngine(binary, "xboard\nsd 4\ndemo\nisready\nquit\n");
  Expect(run.Exit.Clean(), group, "demo: " + run.Exit.Describe());
  std::vector<std::string> shown;
  for (const std::string &line : SplitLines(run.Output))
    if (line.starts_with("--------------") || line.starts_with("move ") || line.starts_with("1-0") ||
        line.starts_with("0-1") || line.starts_with("readyok"))
      shown.push_back(line.starts_with("move ") && shown.size() > 3 ? "move" : line);
  const std::vector<std::string> expected = {
      "-------------- Game #1 --------------", "move a1a8", "1-0 {White mates}",
      "-------------- Game #2 --------------", "move",
      "-------------- Game #3 --------------", "readyok"};
  std::string text;
  for (const std::string &line : shown) text += "  " + line + "\n";
  Expect(shown == expected, group, "three games, each ended by its rule:\n" + text);

  // Games from the start without a depth limit: the end of the input ends the demo, not game after game.
  std::string starts;
  for (int i = 0; i < 50; i++) starts += kStart + "\n";
  WriteFile("openings.epd", starts);
  EngineSession engine(binary);
  engine.Send("xboard\nnopost\ndemo\n");
  engine.ReadUntil("-------------- Game #1", nullptr, kLineWait);
  const EngineExit exit = CloseAndWait(engine);
  Expect(exit.Clean(), group, "the input ends during the demo: " + exit.Describe());
}

void CheckSelfTest(const std::string &binary) {
  const std::string group = "selftest";
  ScratchDir dir;
  const EngineRun missing = RunEngine(binary, "selftest\nquit\n");
  Expect(missing.Exit.Clean() && HasLine(missing.Output, "Error opening file source.pgn..."), group,
         "no source.pgn: the message\n" + missing.Output);
  WriteFile("source.pgn", "[Result \"1-0\"]\n[PlyCount \"3\"]\n\n1. e4 e5 2. Nf3 1-0\n");
  const EngineRun run = RunEngine(binary, "selftest\nquit\n");
  Expect(run.Exit.Clean(), group, "selftest: " + run.Exit.Describe());
  Expect(ReadFile("my_eval.csv") ==
             "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - ;e7e5;2;3;2\n"
             "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - ;g1f3;1;3;1\n",
         group, "selftest's samples:\n" + ReadFile("my_eval.csv"));
}

void CheckEpdEval(const std::string &binary) {
  const std::string group = "epdevl";
  ScratchDir dir;
  const std::vector<std::string> fens = {kStart, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
                                         "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 b - - 0 1"};
  std::string input, expected;
  for (const std::string &fen : fens) {
    const EngineRun evl = RunEngine(binary, "loadfen " + fen + "\nevl\nquit\n");
    std::string score = "?";
    for (const std::string &line : SplitLines(evl.Output))
      if (line.starts_with("Heuristic = ")) score = line.substr(12);
    input += fen + "\n";
    // The line as it was read, its line end included, then the score.
    expected += fen + "\n;" + score + "\n";
  }
  WriteFile("positions.epd", input);
  const EngineRun run = RunEngine(binary, "isready\nepdevl positions.epd\nisready\nquit\n");
  Expect(run.Exit.Clean(), group, "epdevl: " + run.Exit.Describe());
  Expect(ReadFile("out.epd") == expected, group, "out.epd:\n" + ReadFile("out.epd") + "expected:\n" + expected);
  const size_t first = run.Output.find("readyok\n");
  Expect(first != std::string::npos && run.Output.compare(first, 16, "readyok\nreadyok\n") == 0, group,
         "no console output\n" + run.Output);

  // Lines that aren't positions, and one longer than 254 characters: read in pieces, no harm done.
  std::string garbage;
  for (int i = 0; i < 300; i++) garbage += char(1 + (i * 37) % 255);
  WriteFile("bad.epd", "P3k2P/8/8/8/8/8/8/p3K2p w - - 0 1\n8/8/8/8/8/8/8/8 w - - 0 1\nkk6/8/8/8/8/8/8/KK6 b - -\n" +
                           garbage + "\n" + std::string(600, '/') + "\n\n");
  const EngineRun bad = RunEngine(binary, "epdevl bad.epd\nisready\nquit\n");
  Expect(bad.Exit.Clean() && HasLine(bad.Output, "readyok"), group, "bad lines: " + bad.Exit.Describe());
  Expect(SplitLines(ReadFile("out.epd")).size() >= 14, group, "a score for every piece of a line:\n" + ReadFile("out.epd"));
  std::remove("out.epd");
  const EngineRun missing = RunEngine(binary, "epdevl nothing-here.epd\nisready\nquit\n");
  Expect(missing.Exit.Clean() && !std::filesystem::exists("out.epd"), group, "a missing file: nothing written");
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s <engine binary> [group]\n", argv[0]);
    return 2;
  }
  // The engine runs in directories of its own.
  std::string binary = std::filesystem::absolute(argv[1]);
  char *args[] = {argv[0], binary.data(), argc > 2 ? argv[2] : nullptr};
  return RunCheckGroups(argc > 2 ? 3 : 2, args,
                        {{"analyze", CheckAnalysisDuringSearch},
                         {"analyze-wait", CheckAnalysisWait},
                         {"demo", CheckDemo},
                         {"selftest", CheckSelfTest},
                         {"epdevl", CheckEpdEval}});
}
