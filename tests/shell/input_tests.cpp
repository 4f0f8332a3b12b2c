// The input channel: how bytes become lines, whatever the writes look like, on a pipe and on a terminal.
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "groups.h"
#include "session.h"

namespace {

Lines StartBoard() { return BoardFromFen(kStartFen); }

// The boards that a knight shuffle g1f3 g8f6 f3g1 f6g8 can leave, wherever it is cut off.
std::set<Lines> KnightShuffleBoards() {
  return {BoardFromFen(kStartFen), BoardFromFen("rnbqkbnr/pppppppp/8/8/8/5N2/PPPPPPPP/RNBQKB1R b KQkq - 1 1"),
          BoardFromFen("rnbqkb1r/pppppppp/5n2/8/8/5N2/PPPPPPPP/RNBQKB1R w KQkq - 2 2"),
          BoardFromFen("rnbqkb1r/pppppppp/5n2/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 3 2")};
}

std::string Repeated(const std::string &text, size_t times) {
  std::string all;
  for (size_t i = 0; i < times; i++) all += text;
  return all;
}

}  // namespace

void InputPipe(Context &context) {
  Checker &check = context.check;
  const Lines afterE4 = BoardFromFen("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1");
  RunSession(context, "lines in odd writes",
             {
                 // Two lines in one write are served one after the other.
                 {"perft 1\nperft 2\n", Lines{"total moves = 20", "total moves = 400"}},
                 // A half line waits for the rest of it.
                 {"", Lines{"total moves = 20"}, {{"per", 200}, {"ft 1\n", 200}}},
                 {"", Lines{"total moves = 400"}, {{"perft", 100}, {" ", 100}, {"2", 100}, {"\n", 100}}},
                 // CR LF: the carriage return becomes a trailing blank, and the line works as before.
                 {"perft 1\r\n", Lines{"total moves = 20"}},
                 {"", Lines{"total moves = 400"}, {{"perft 2\r", 150}, {"\n", 150}}},
                 {"force\r\ne2e4\r\nbrd\r\n", afterE4},
                 {"new\r\nbrd\r\n", StartBoard()},
                 // Empty lines, blanks and lone carriage returns are no commands.
                 {"\n\n   \n\r\n \r\n\n", Lines{}},
                 {"perft\n", Lines{}},
             });

  // The carriage return has become a blank that the path keeps: the path runs to the end of the line.
  const Session path = RunSession(context, "a path set by a CR LF line",
                                  {{"setoption name SyzygyPath value c:\\tb\\\r\negtbstat\r\n", {}}});
  if (path.complete) {
    const Lines &out = path.outputs[0];
    check.That(std::find(out.begin(), out.end(), "tb_path = c:\\tb\\ ") != out.end(),
               "a CR LF line ends in a blank: the path is \"c:\\tb\\ \", got\n" + Show(Join(out)));
  }

  // "perft" with a trailing blank has an empty depth argument: whatever it counts, it must come back.
  const Session trailing =
      RunSession(context, "a command with a trailing blank", {{"perft\r\n", {}}, {"perft \n", {}}});
  for (size_t i = 0; trailing.complete && i < trailing.outputs.size(); i++) {
    const Lines &out = trailing.outputs[i];
    check.That(out.empty() || out == Lines{"total moves = 0"},
               "\"perft\" with a trailing blank prints nothing or a count of 0, got \"" + Show(Join(out)) + "\"");
  }

  // Many lines in one write, more than one read can take: every one is answered, none twice.
  const EngineResult burst = RunEngine(context.engine, Repeated("isready\n", 2000) + Repeated("perft 1\n", 300));
  check.ExitedWith(burst, 0, "2000 isready and 300 perft in one write");
  int ready = 0, totals = 0;
  for (const auto &line : SplitLines(burst.out)) {
    ready += line == "readyok";
    totals += line.starts_with("total moves = 20 ");
  }
  check.That(ready == 2000 && totals == 300, "2000 isready and 300 \"perft 1\" in one write: got " +
                                                 std::to_string(ready) + " readyok and " + std::to_string(totals) +
                                                 " counts");

  // The end of the input ends the engine, also in the middle of a line.
  const EngineResult unfinished = RunEngine(context.engine, "isready\nperft 1");
  check.ExitedWith(unfinished, 0, "input that ends in the middle of a line");
  check.That(unfinished.out.find("readyok\n") != std::string::npos, "the line before an unfinished one is answered");
}

void InputLongLines(Context &context) {
  Checker &check = context.check;
  const std::string hundredKb(100 * 1024, 'x');
  std::vector<Chunk> slowLongLine;
  for (size_t at = 0; at < hundredKb.size(); at += 10 * 1024)
    slowLongLine.push_back({hundredKb.substr(at, 10 * 1024), 20});
  slowLongLine.push_back({"\nperft 1\n", 20});

  const std::string shuffle = "position startpos moves " + Repeated("g1f3 g8f6 f3g1 f6g8 ", 100 * 1024 / 20) + "\n";
  const std::string manyTokens = "position startpos moves " + Repeated("g1f3 g8f6 f3g1 f6g8 ", 600) + "\n";
  const Session session =
      RunSession(context, "long lines",
                 {
                     {hundredKb + "\nperft 1\n", kPerft1Start},
                     {std::string(70000, 'a') + "\nperft 1\n", kPerft1Start},
                     {"", kPerft1Start, slowLongLine},
                     // What survives of a cut line is its start.
                     {"brd" + std::string(70000, ' ') + "\n", StartBoard()},
                     // A position line of 100 KB, and one of 2400 moves: cut where they must be, the board stays sound.
                     {shuffle + "brd\n", {}},
                     {manyTokens + "brd\n", {}},
                     {"position startpos\nperft 2\n", Lines{"total moves = 400"}},
                 });
  // Lines around the sizes where a cut could fall, before and behind other lines: each is one command.
  std::vector<Step> edges;
  for (size_t length : {4095, 4096, 4097, 4606, 4607, 4608, 4609, 65533, 65534, 65535, 65536, 65537}) {
    Lines expected = StartBoard();
    expected.push_back("total moves = 20");
    edges.push_back({"brd" + std::string(length - 3, ' ') + "\nperft 1\n", expected});
    edges.push_back({"perft 1\n" + std::string(length, 'x') + "\n", kPerft1Start});
  }
  RunSession(context, "lines at the edges of the buffers", edges);

  if (session.complete) {
    const std::set<Lines> boards = KnightShuffleBoards();
    for (size_t step : {4, 5})
      check.That(
          boards.count(BoardRows(session.outputs[step])) == 1,
          "a cut knight-shuffle position line leaves a board of the shuffle, got\n" + Join(session.outputs[step]));
  }

  // The whole long game in one line, written in pieces that end around the size of a read.
  const std::string line = "position startpos moves " + LongGameMoves(context, 1200) + "\n";
  for (const Checkpoint &point : LongGameCheckpoints(context)) {
    if (point.ply != 1200) continue;
    Lines expected = BoardFromFen(point.fen);
    expected.push_back("total moves = " + std::to_string(point.perft2));
    RunSession(context, "a 1200-ply position line in pieces",
               {{"",
                 expected,
                 {{line.substr(0, 4095), 0},
                  {line.substr(4095, 1), 30},
                  {line.substr(4096, 1000), 30},
                  {line.substr(5096), 30},
                  {"brd\nperft 2\n", 30}}},
                {"", expected, {{line.substr(0, 3000), 0}, {line.substr(3000) + "brd\nperft 2\n", 30}}}});
  }
}

void InputBinary(Context &context) {
  std::string everyByte = "\x01";
  for (int c = 1; c < 256; c++)
    if (c != '\n') everyByte += char(c);
  RunSession(context, "NUL bytes and binary garbage",
             {
                 {std::string(2, '\0') + "\n", Lines{}},
                 {"\x01\x02\x03\x7f\xff\xfe\n", Lines{}},
                 {std::string{'\x80', 'a', 'b', 'c', '\0', 'd', 'e', 'f', '\n'}, Lines{}},
                 {"\xc3\xa9\xc3\xa8\n", Lines{}},
                 // High bytes where a move's letters stand.
                 {std::string{'\xff', '1', '\xfe', '2', '\n', '\xe5', '2', '\xe5', '4', '\n'}, Lines{}},
                 {std::string(5000, '\xe9') + "\n", Lines{}},
                 {everyByte + "\n", Lines{}},
                 {"perft 1\n", kPerft1Start},
                 // The board editor reads single bytes: garbage gives "Error" and leaves the board.
                 {"edit\n" + std::string{'\xff', '\xfe', '\x80', 'k', '\xe9', '1'} + "\n.\nbrd\nmvd\n",
                  [] {
                    Lines out = {"Error", "Error", "Error", "Error"};
                    for (const auto &row : StartBoard()) out.push_back(row);
                    out.push_back("castling flags = 15");
                    return out;
                  }()},
             });
}

void InputTerminal(Context &context) {
  Checker &check = context.check;
  {
    TerminalSession terminal(context.engine);
    if (!check.That(terminal.Started(), "the engine starts on a pseudo-terminal")) return;
    check.That(terminal.WaitFor("Pondering = on"), "the start-up report on a terminal");
    check.That(terminal.Type("perft 1\n") && terminal.WaitFor("total moves = 20 time = "),
               "\"perft 1\" typed on a terminal is answered");
    // The help waits for <enter>, as a person reads it.
    check.That(terminal.Type("help\n") && terminal.WaitFor("Press <enter> to continue...."),
               "\"help\" on a terminal pauses after its first page");
    check.That(terminal.Type("\n") && terminal.WaitFor("white ..................... Sets white to move"),
               "<enter> brings the second page of the help");
    check.That(terminal.Type("isready\n") && terminal.WaitFor("readyok"), "\"isready\" typed on a terminal");
    // End of input typed at the start of a line (Ctrl-D).
    check.That(terminal.Type("\x04"), "Ctrl-D typed");
    const EngineResult result = terminal.Finish();
    check.ExitedWith(result, 0, "Ctrl-D at the start of a line on a terminal ends the engine");
  }
  {
    TerminalSession terminal(context.engine);
    if (!check.That(terminal.Started(), "the engine starts on a pseudo-terminal")) return;
    check.That(terminal.Type("force\ne2e4\nbrd\n") && terminal.WaitFor(" . . . . P . . ."),
               "a move typed on a terminal, then \"brd\"");
    check.That(terminal.Type("quit\n"), "\"quit\" typed");
    const EngineResult result = terminal.Finish();
    check.ExitedWith(result, 0, "\"quit\" typed on a terminal");
  }
}

void InputConversation(Context &context) {
  Checker &check = context.check;
  // A GUI waits for each answer before it sends the next command: every answer must leave the engine's output
  // buffer by itself, with the input still open.
  PipeSession engine(context.engine);
  constexpr double kAnswerSeconds = 10;
  check.That(engine.WaitFor("Pondering = on\n\n", kAnswerSeconds), "the start-up report arrives unasked");
  const std::vector<std::pair<std::string, std::vector<std::string>>> exchanges = {
      {"isready\n", {"readyok\n"}},
      {"uci\n", {"id name Quarvelle 1.98\n", "uciok\n"}},
      {"isready\n", {"readyok\n"}},
      {"brd\n", {"*R*N*B*Q*K*B*N*R\n", " R N B Q K B N R\n"}},
      {"moves\n", {"-------------- Legal moves: ----------------\n", "; \n"}},
      {"mvd\n", {"castling flags = 15\n"}},
      {"bkm\n", {"Current nhash1 = ", "No book loaded...\n"}},
      {"e2e5\n", {"Illegal move: e2e5\n"}},
      {"perft 2\n", {"total moves = 400 time = "}},
      {"help\n", {"Press <enter> to continue...."}},
      {"\n", {"white ..................... Sets white to move and engine side to black\n"}},
      {"position startpos moves e2e4 e7e5\nbrd\n", {"*P*P*P*P .*P*P*P\n", " . . . .*P . . .\n", " . . . . P . . .\n"}},
      {"setoption name Hash value 1\nisready\n", {"readyok\n"}},
  };
  for (const auto &[command, answers] : exchanges) {
    std::string quoted(1, '"');
    quoted.append(Show(command)).append(1, '"');
    if (!check.That(engine.Send(command), quoted + " could be sent")) break;
    for (const auto &answer : answers)
      check.That(engine.WaitFor(answer, kAnswerSeconds),
                 quoted + " is answered with \"" + Show(answer) + "\" while the input stays open");
  }
  check.That(engine.Send("quit\n"), "\"quit\" could be sent");
  check.ExitedWith(engine.Finish(), 0, "\"quit\" in a conversation");
}
