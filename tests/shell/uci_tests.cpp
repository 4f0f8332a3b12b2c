// UCI set-up as a GUI sends it: identification, readiness, new games, positions, options, and "go" lines that
// must not take the engine down.
#include <algorithm>
#include <string>
#include <vector>

#include "groups.h"
#include "session.h"

namespace {

Lines StartBoard() { return BoardFromFen(kStartFen); }

Lines Concat(std::initializer_list<Lines> parts) {
  Lines all;
  for (const auto &part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

const char *const kAllocationError = "An error occured while memory allocation!";

}  // namespace

void UciSetup(Context &context) {
  Checker &check = context.check;
  const Lines block = UciBlock(100, 100);
  const Lines afterE4E5 = BoardFromFen("rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2");
  const std::string promotionFen = "4k3/P7/8/8/8/8/8/4K3 w - - 0 1";
  const Session session =
      RunSession(context, "UCI set-up",
                 {
                     {"uci\n", block},
                     {"uci\nuci\n", Concat({block, block})},
                     // "ucinewgame" alone asks for the whole word; anything shorter is "uci".
                     {"ucinewgame\n", Lines{}},
                     {"UCINEWGAME\nucinewgame now\n", Lines{}},
                     {"ucinew\n", block},
                     {"position startpos moves e2e4 e7e5\nbrd\n", afterE4E5},
                     // The board stays for the position that follows.
                     {"ucinewgame\nbrd\n", afterE4E5},
                     {"position fen 8/8/8/8/8/8/8/K1k5 w - - 0 1 moves\nbrd\nmoves\n", {}},
                     // Illegal and malformed moves are skipped, and the next ones still tried.
                     {"position startpos moves e2e4 e2e4 xx e7e5 e7e9 g1f3 Z9 b8c6\nbrd\n",
                      BoardFromFen("r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b")},
                     {"position startpos moves\nbrd\n", StartBoard()},
                     {"position startpos moves e2e4\nposition startpos\nbrd\n", StartBoard()},
                     // En passant from the FEN, castling in the moves.
                     {"position fen rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3 moves e5f6\nbrd\n",
                      BoardFromFen("rnbqkbnr/ppp1p1pp/5P2/3p4/8/8/PPPP1PPP/RNBQKBNR b")},
                     {"position startpos moves e2e4 e7e5 g1f3 b8c6 f1c4 g8f6 e1g1\nbrd\nmvd\n",
                      Concat({BoardFromFen("r1bqkb1r/pppp1ppp/2n2n2/4p3/2B1P3/5N2/PPPP1PPP/RNBQ1RK1 b"),
                              {"castling flags = 12"}})},
                     // A promotion piece in capitals is no promotion, so the move is skipped.
                     {"position fen " + promotionFen + " moves a7a8N\nbrd\n", BoardFromFen(promotionFen)},
                     {"position fen " + promotionFen + " moves a7a8n\nbrd\n", BoardFromFen("N3k3/8/8/8/8/8/8/4K3 b")},
                     // Too short a line does nothing; neither form keeps the board, and the moves go on from it.
                     {"position\nbrd\n", BoardFromFen("N3k3/8/8/8/8/8/8/4K3 b")},
                     {"position startpos\nposition foo moves e2e4\nbrd\n",
                      BoardFromFen("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b")},
                     // "stop" with no search behind it sends no bestmove.
                     {"stop\n", Lines{}},
                     {"debug on\ndebug off\n", Lines{}},
                 });
  if (session.complete) {
    const Lines &bare = session.outputs[7];
    check.SameLines(BoardRows(bare), BoardFromFen("8/8/8/8/8/8/8/K1k5 w - - 0 1"),
                    "\"position fen ... moves\" with no moves: the board");
    const auto listed = ListedMoves(bare);
    check.That(listed && *listed == Lines{"Ka1a2"},
               "\"position fen 8/8/8/8/8/8/8/K1k5 w - - 0 1 moves\": the one legal move Ka1a2, got\n" + Join(bare));
  }
}

void UciOptions(Context &context) {
  Checker &check = context.check;
  const Lines perft3 = {"total moves = 8902"};
  const std::string longPath = "/no such/" + std::string(300, 'd');
  const Session session = RunSession(
      context, "setoption",
      {
          // Any size of table, none included, keeps the engine working.
          {"setoption name Hash value 1\nperft 3\n", perft3},
          {"setoption name Hash value 0\nperft 3\n", perft3},
          {"setoption name Hash value -5\nperft 3\n", perft3},
          {"setoption name Hash value x\nperft 3\n", perft3},
          {"setoption name PawnHash value 2\nsetoption name PawnHash value 0\nperft 3\n", perft3},
          {"setoption name Hash value 16\nsetoption name Clear Hash\nperft 3\n", perft3},
          // Bad and unknown options pass without a word.
          {"setoption\nsetoption name\nsetoption name Hash\nsetoption name Hash value\nsetoption Hash value 1\n"
           "setoption name NoSuchOption value 3\nsetoption name MultiPV value 3\nsetoption name OwnBook value false\n"
           "setoption name OwnBook value true\nsetoption name Clear\n",
           Lines{}},
          // The two figures of the option list follow the options.
          {"setoption name Aggressivity value 250\nsetoption name Defensivity value 7\nuci\n", UciBlock(250, 7)},
          // The path is the rest of the line, blanks included.
          {"setoption name SyzygyPath value " + longPath + "\negtbstat\n", {}},
          {"position startpos moves e2e4 e7e5\nperft 2\n", Lines{"total moves = 835"}},
      });
  if (session.complete) {
    const Lines &status = session.outputs[8];
    check.That(std::find(status.begin(), status.end(), "tb_path = " + longPath) != status.end() &&
                   std::find(status.begin(), status.end(), "EGTB files not found") != status.end(),
               "egtbstat after setoption name SyzygyPath: the path with its blank, no tables, got\n" + Join(status));
  }

  // The static evaluation doesn't depend on the size of the tables behind it, none included, nor on whether
  // the pawn structure comes from the table or is computed afresh.
  const std::string kiwipete = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1";
  const Session tables = RunSession(context, "evaluation with tables of any size",
                                    {{"position fen " + kiwipete + "\nevl\nevl\n", {}},
                                     {"setoption name PawnHash value 0\nevl\nevl\n", {}},
                                     {"setoption name PawnHash value 1\nevl\nevl\n", {}},
                                     {"setoption name Hash value 0\nsetoption name PawnHash value 3\nevl\n", {}}});
  if (tables.complete) {
    const Lines &first = tables.outputs[0];
    const Lines report(first.begin(), first.begin() + long(first.size() / 2));
    check.That(!report.empty() && report[0].starts_with("Heuristic = ") && first == Concat({report, report}),
               "\"evl\" twice gives the same report twice, got\n" + Join(first));
    for (size_t i = 1; i < tables.outputs.size(); i++)
      check.SameLines(tables.outputs[i], i == 3 ? report : Concat({report, report}),
                      "\"evl\" after new table sizes, step " + std::to_string(i + 1));
  }

  // A table too large to allocate ends the engine with code 1 and the message. The sanitizer's allocator must
  // report the failure rather than abort.
  RunOptions options;
  options.environment = {{"ASAN_OPTIONS", "allocator_may_return_null=1"}};
  for (const std::string option : {"Hash", "PawnHash"}) {
    const std::string command = "setoption name " + option + " value 99999999";
    const EngineResult result = RunEngine(context.engine, "isready\n" + command + "\nisready\nperft 1\n", options);
    check.ExitedWith(result, 1, "\"" + command + "\"");
    const Lines lines = SplitLines(result.out);
    const auto message = std::find(lines.begin(), lines.end(), kAllocationError);
    check.That(
        message != lines.end() && std::count(lines.begin(), lines.end(), "readyok") == 1 &&
            std::find(message, lines.end(), "readyok") == lines.end(),
        "\"" + command + "\" prints \"" + kAllocationError + "\" and ends at once, got\n" + Show(result.out, 3000));
  }
}

void UciGo(Context &context) {
  Checker &check = context.check;
  // "bestmove e2e4", optionally " ponder e7e5".
  auto wellFormed = [](const std::string &line) {
    std::vector<std::string> words;
    for (size_t start = 0; start <= line.size();) {
      const size_t end = std::min(line.find(' ', start), line.size());
      words.push_back(line.substr(start, end - start));
      start = end + 1;
    }
    // "0000" when no move is left: the searchmoves of White offered to Black.
    return (words.size() == 2 || (words.size() == 4 && words[2] == "ponder" && IsCoordinateMove(words[3]))) &&
           words[0] == "bestmove" && (IsCoordinateMove(words[1]) || line == "bestmove 0000");
  };
  // Each "go" is followed by "isready", which a search answers too, and "stop", which ends a search if one runs.
  for (const std::string go :
       {"go depth x", "go wtime 60000 btime 60000", "go depth 1", "go", "go infinite", "go searchmoves e2e4 d2d4",
        "go searchmoves", "go ponder", "go movetime 100", "go nodes 1000", "go wtime", "go btime -5 winc x binc",
        "go mate 2", "go movestogo 0 wtime 0 btime 0", "go depth -3", "go nonsense 17 infinite"}) {
    const EngineResult result =
        RunEngine(context.engine, "uci\nisready\nposition startpos moves e2e4\n" + go + "\nisready\nstop\nisready\n");
    if (!check.ExitedWith(result, 0, "\"" + go + "\" in UCI mode")) continue;
    const Lines lines = SplitLines(result.out);
    const auto ready = std::count(lines.begin(), lines.end(), "readyok");
    int bestmoves = 0;
    for (const auto &line : lines)
      if (line.starts_with("bestmove")) {
        bestmoves++;
        check.That(wellFormed(line), "\"" + go + "\": a well-formed bestmove line, got " + Show(line));
      }
    check.That(ready == 3, "\"" + go + "\": every isready answered, got " + std::to_string(ready) + " readyok");
    check.That(bestmoves <= 1, "\"" + go + "\": at most one bestmove, got " + std::to_string(bestmoves));
    check.That(result.out.find("Illegal move") == std::string::npos, "\"" + go + "\": no illegal move reported");
  }
}
