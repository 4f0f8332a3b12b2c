// The command chain: prefixes and abbreviations, quitting, help, moves typed in force mode, taking moves back,
// the board editor, side switches and the reports of the console.
#include <algorithm>
#include <cstdint>
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

Lines Sorted(Lines lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

const Lines kWhiteStartMoves =
    Sorted({"Nb1a3", "Nb1c3", "Ng1f3", "Ng1h3", "Pa2a3", "Pa2a4", "Pb2b3", "Pb2b4", "Pc2c3", "Pc2c4",
            "Pd2d3", "Pd2d4", "Pe2e3", "Pe2e4", "Pf2f3", "Pf2f4", "Pg2g3", "Pg2g4", "Ph2h3", "Ph2h4"});
const Lines kBlackStartMoves =
    Sorted({"Nb8a6", "Nb8c6", "Ng8f6", "Ng8h6", "Pa7a6", "Pa7a5", "Pb7b6", "Pb7b5", "Pc7c6", "Pc7c5",
            "Pd7d6", "Pd7d5", "Pe7e6", "Pe7e5", "Pf7f6", "Pf7f5", "Pg7g6", "Pg7g5", "Ph7h6", "Ph7h5"});

void ExpectListedMoves(Checker &check, const Lines &output, const Lines &expected, const std::string &what) {
  const auto listed = ListedMoves(output);
  if (check.That(listed.has_value(), what + ": a list of legal moves, got\n" + Join(output)))
    check.SameLines(*listed, expected, what + ": the legal moves");
}

const Lines kHelp = {
    "Quarvelle commands:",
    "------------------------------------------------------------------------------",
    "",
    "analyze ................... Enters analyze mode",
    "black ..................... Sets black to move and engine side to white",
    "brd ....................... Prints a board",
    "bkm ....................... Prints book moves for current position",
    "easy ...................... Toggles pondering off",
    "edit ...................... Edit board position",
    "egtbstat .................. Displays current EGTB status",
    "epdevl <f> ................ Produces static evaluations for EPD-file <f>",
    "evl ....................... Shows static evaluation for current position",
    "force ..................... Toggles autoplay off",
    "go ........................ Starts search",
    "hard ...................... Toggles pondering on",
    "help ...................... Displays this help",
    "level <m> <t> <i> ......... Sets ICS time controls",
    "loadfen <e> ............... Sets FEN-position <e>",
    "moves ..................... Displays all legal moves with ranking priorities",
    "mvd ....................... Shows position flags",
    "new ....................... Starts a new game",
    "nopost .................... Toggles silent mode on",
    "",
    "Press <enter> to continue....",
    "perft <d> ................. Tests the move generator/make_move with depth <d>",
    "post ...................... Toggles silent mode off",
    "q[uit] .................... Exits Quarvelle",
    "remove .................... Un-makes last moves of each side",
    "sd <d> .................... Sets max search depth to <d>",
    "st <t> .................... Sets max search time to <t>",
    "time <t> .................. Sets remaining game time in milliseconds to <t>",
    "uci ....................... UCI mode",
    "undo ...................... Un-makes last move of one side",
    "white ..................... Sets white to move and engine side to black",
    "",
};

struct BookKeys {
  int64_t first = 0, second = 0;
};

// "Current nhash1 = %d, nhash2 = %d" and "No book loaded...": the low 32 bits of the position key and the 32
// bits from bit 16, so that the two overlap in 16 bits.
std::optional<BookKeys> CheckBookReport(Checker &check, const Lines &output, const std::string &what) {
  const std::string first = "Current nhash1 = ", second = ", nhash2 = ";
  std::optional<long long> one, two;
  if (output.size() == 2 && output[0].starts_with(first)) {
    const std::string &line = output[0];
    const size_t comma = line.find(second);
    if (comma != std::string::npos) {
      one = ParseInteger(std::string_view(line).substr(first.size(), comma - first.size()));
      two = ParseInteger(std::string_view(line).substr(comma + second.size()));
    }
  }
  if (!check.That(one && two && output[1] == "No book loaded...",
                  what + ": \"bkm\" prints the keys and \"No book loaded...\", got\n" + Join(output)))
    return std::nullopt;
  BookKeys found{*one, *two};
  check.That(
      found.first >= INT32_MIN && found.first <= INT32_MAX && found.second >= INT32_MIN && found.second <= INT32_MAX,
      what + ": the keys are 32-bit numbers");
  check.That((uint32_t(found.second) & 0xFFFF) == (uint32_t(found.first) >> 16),
             what + ": nhash2 starts where the upper half of nhash1 is");
  return found;
}

}  // namespace

void CommandChain(Context &context) {
  Checker &check = context.check;
  const Lines egtbStatus = {"UseEGTB = TRUE", "tb_path = c:\\tablebases\\", "EGTB files not found"};
  const Session session =
      RunSession(context, "prefixes",
                 {
                     // "N" and "NEW GAME" are "new".
                     {"force\ne2e4\ne7e5\nN\nbrd\n", StartBoard()},
                     {"force\ne2e4\nNEW GAME\nbrd\n", StartBoard()},
                     {"force\nd2d4\nn\nmoves\n", {}},
                     // The first row that fits takes an abbreviation: "b" is black, "m" moves, "u" undo, "e" edit ...
                     {"b\nmoves\nw\n", {}},
                     {"m\n", {}},
                     {"mv\n", Lines{"castling flags = 15"}},
                     {"br\n", StartBoard()},
                     {"  brd\n", StartBoard()},
                     {"BRD\n", StartBoard()},
                     {"brdxyz\n", StartBoard()},
                     {"eg\n", egtbStatus},
                     {"force\ne2e4\nu\nbrd\n", StartBoard()},
                     {"force\ne2e4\ne7e5\nrem\nbrd\n", StartBoard()},
                     {"e\n#\nKa1\nc\nKh8\n.\nbrd\nnew\n", BoardFromFen("7k/8/8/8/8/8/8/K7 w - - 0 1")},
                     {"brd\n", StartBoard()},
                     // xboard commands without an answer, and lines that match nothing.
                     {"xboard\nprotover 2\naccepted san\nping 7\nhint\ndraw\nresult 1-0\nexit\notim 1234\notime 1234\n"
                      "time 6000\ndebug on\nzzz\n",
                      Lines{}},
                     // "h" prints the help, and its pause takes the next line.
                     {"h\nbrd\n", kHelp},
                     {"HELP me\nquit\n", kHelp},
                 });
  if (session.complete) {
    ExpectListedMoves(check, session.outputs[2], kWhiteStartMoves, "\"n\" after d2d4, then \"moves\"");
    ExpectListedMoves(check, session.outputs[3], kBlackStartMoves, "\"b\", then \"moves\"");
    ExpectListedMoves(check, session.outputs[4], kWhiteStartMoves, "\"w\", then \"m\"");
  }

  // "i" is "isready": the first command that fits.
  const EngineResult shortReady = RunEngine(context.engine, "i\n");
  check.ExitedWith(shortReady, 0, "\"i\"");
  check.That(shortReady.out.ends_with("\nreadyok\n"), "\"i\" answers \"readyok\"");

  // Everything that starts with q ends the program at once, with code 0.
  for (const std::string quit : {"q", "Quit", "qwerty", "   quit", "QUIT now"}) {
    const EngineResult result = RunEngine(context.engine, "isready\n" + quit + "\nisready\nperft 1\n");
    check.ExitedWith(result, 0, "\"" + quit + "\"");
    const Lines lines = SplitLines(result.out);
    check.That(
        std::count(lines.begin(), lines.end(), "readyok") == 1 && result.out.find("total moves") == std::string::npos,
        "\"" + quit + "\" ends the program before the next lines, got\n" + Show(result.out, 2000));
  }

  // The board editor at the end of the input, before its ".": the engine still ends.
  check.ExitedWith(RunEngine(context.engine, "edit\n#\nKe1"), 0, "\"edit\" with the input ending before \".\"");

  // The help at the end of the input: no one presses <enter>, and the engine still ends.
  const EngineResult lastHelp = RunEngine(context.engine, "help\n");
  check.ExitedWith(lastHelp, 0, "\"help\" as the last line");
  check.That(lastHelp.out.find("Press <enter> to continue....") != std::string::npos,
             "\"help\" as the last line prints its first page");
}

void CommandMoves(Context &context) {
  Checker &check = context.check;
  const Lines afterE4 = BoardFromFen("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1");
  const std::string enPassantFen = "rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3";
  const Session session = RunSession(
      context, "moves typed in force mode",
      {
          {"force\ne2e4\nbrd\n", afterE4},
          // Illegal moves are reported with the whole line and change nothing.
          {"new\nforce\ne2e5\n", Lines{"Illegal move: e2e5"}},
          {"e2e5 at once\n", Lines{"Illegal move: e2e5 at once"}},
          {"e7e5\n", Lines{"Illegal move: e7e5"}},
          {"a1a1\n", Lines{"Illegal move: a1a1"}},
          // Capitals pass the move test of the chain but are no move.
          {"E2E4\ne2E4\nE2e4\n", Lines{"Illegal move: E2E4", "Illegal move: e2E4", "Illegal move: E2e4"}},
          {"brd\n", StartBoard()},
          // Whatever stands behind the four characters doesn't matter.
          {"e2e4xyz\nbrd\n", afterE4},
          {"undo\nbrd\n", StartBoard()},
          // Nothing to take back at the start.
          {"undo\nbrd\nremove\nbrd\n", Concat({StartBoard(), StartBoard()})},
          // "remove" takes back two plies, or the one there is.
          {"e2e4\nremove\nbrd\n", StartBoard()},
          {"e2e4\ne7e5\ng1f3\nremove\nbrd\nremove\nbrd\n", Concat({afterE4, StartBoard()})},
          // En passant, and the right to it gone a move later.
          {"e2e4\na7a6\ne4e5\nd7d5\ne5d6\nbrd\n", BoardFromFen("rnbqkbnr/1pp1pppp/p2P4/8/8/8/PPPP1PPP/RNBQKBNR b")},
          {"undo\nbrd\n", BoardFromFen("rnbqkbnr/1pp1pppp/p7/3pP3/8/8/PPPP1PPP/RNBQKBNR w")},
          {"g1f3\ng8f6\ne5d6\n", Lines{"Illegal move: e5d6"}},
          // Castling, and the rights that moves and captures take away and undo gives back.
          {"loadfen r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1\nforce\ne1g1\nbrd\nmvd\n",
           Concat({BoardFromFen("r3k2r/8/8/8/8/8/8/R4RK1 b"), {"castling flags = 12"}})},
          {"e8c8\nbrd\nmvd\n", Concat({BoardFromFen("2kr3r/8/8/8/8/8/8/R4RK1 w"), {"castling flags = 0"}})},
          {"undo\nmvd\nundo\nmvd\nbrd\n",
           Concat({{"castling flags = 12", "castling flags = 15"}, BoardFromFen("r3k2r/8/8/8/8/8/8/R3K2R w")})},
          {"a1b1\nmvd\nh8h1\nmvd\n", Lines{"castling flags = 13", "castling flags = 8"}},
          {"loadfen r3k2r/8/8/8/8/8/5r2/R3K2R w KQkq - 0 1\nforce\ne1g1\ne1c1\nbrd\n",
           Concat({{"Illegal move: e1g1"}, BoardFromFen("r3k2r/8/8/8/8/8/5r2/2KR3R b")})},
          // Promotions: the piece letter in lower case only, and none is no move.
          {"loadfen 4k3/P7/8/8/8/8/8/4K3 w - - 0 1\nforce\na7a8\na7a8Q\nbrd\n",
           Concat({{"Illegal move: a7a8", "Illegal move: a7a8Q"}, BoardFromFen("4k3/P7/8/8/8/8/8/4K3 w")})},
          {"a7a8n\nbrd\nundo\na7a8q\nbrd\n",
           Concat({BoardFromFen("N3k3/8/8/8/8/8/8/4K3 b"), BoardFromFen("Q3k3/8/8/8/8/8/8/4K3 b")})},
          // A loaded position has no moves behind it to take back, whatever marks its en passant right; one
          // taken back restores the right.
          {"loadfen " + enPassantFen + "\nundo\nremove\nbrd\nmoves\n", {}},
          {"position fen " + enPassantFen + " moves e5f6\nremove\nbrd\nmoves\n", {}},
          // Mate and stalemate: the list is empty.
          {"loadfen rnb1kbnr/pppp1ppp/8/4p3/6Pq/5P2/PPPPP2P/RNBQKBNR w KQkq - 1 3\nmoves\n", {}},
          {"loadfen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1\nmoves\n", {}},
      });
  if (!session.complete) return;
  const size_t last = session.outputs.size() - 1;
  for (size_t step : {last - 3, last - 2}) {
    const Lines &out = session.outputs[step];
    const std::string what =
        step == last - 3 ? "undo and remove after loadfen with en passant" : "remove after the en passant capture";
    check.SameLines(BoardRows(out), BoardFromFen(enPassantFen), what + ": the board");
    const auto listed = ListedMoves(out);
    check.That(listed && listed->size() == 31 && std::count(listed->begin(), listed->end(), "Pe5f6") == 1,
               what + ": 31 legal moves with Pe5f6, got\n" + Join(out));
  }
  ExpectListedMoves(check, session.outputs[last - 1], {}, "\"moves\" when mated");
  ExpectListedMoves(check, session.outputs[last], {}, "\"moves\" in stalemate");
}

void CommandBoard(Context &context) {
  Checker &check = context.check;
  const Lines afterE4 = BoardFromFen("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1");
  const std::string noD7E2 = "rnbqkbnr/ppp1pppp/8/8/8/8/PPPP1PPP/RNBQKBNR w KQkq - 0 1";
  const Session session = RunSession(
      context, "board commands",
      {
          // "level" prints nothing in either form.
          {"level 40 5 0\nlevel 40 0:30 2\nlevel\nlevel 1:2:3:4:5:6\nbrd\n", StartBoard()},
          {"mvd\n", Lines{"castling flags = 15"}},
          {"position startpos moves e2e4 e7e5 e1e2\nmvd\n", Lines{"castling flags = 12"}},
          // The board editor: pieces by letter and square, "c" for the colour, "#" to clear, "." to end; the
          // castling rights come from where kings and rooks stand.
          {"new\nedit\n#\nKe1\nc\nKe8\nRa8\n.\nbrd\nmvd\n",
           Concat({BoardFromFen("r3k3/8/8/8/8/8/8/4K3 w"), {"castling flags = 8"}})},
          {"edit\nRa1\nRh1\nc\nRh8\n.\nmvd\n", Lines{"castling flags = 15"}},
          {"edit\nxe1\nKd1\n.\nmvd\nbrd\n",
           Concat({{"castling flags = 12"}, BoardFromFen("r3k2r/8/8/8/8/8/8/R2K3R w")})},
          {"edit\nz\nKi9\n.\n", Lines{"Error", "Error"}},
          // Pieces taken off the start position: the moves and the keys are those of the same position loaded.
          {"new\nedit\nxe2\nxd7\n.\nperft 1\nmvd\n", Lines{"total moves = 29", "castling flags = 15"}},
          {"bkm\n", {}},
          {"loadfen " + noD7E2 + "\nbkm\n", {}},
          // The editor starts a new history: there is nothing to take back behind it.
          {"new\nforce\ne2e4\nedit\n.\nundo\nbrd\n", afterE4},
          // "white" and "black" set the side to move, and nothing else.
          {"new\nblack\nmoves\n", {}},
          {"brd\n", StartBoard()},
          {"white\nmoves\n", {}},
          {"force\nblack\ne7e5\nbrd\n", BoardFromFen("rnbqkbnr/pppp1ppp/8/4p3/8/8/PPPPPPPP/RNBQKBNR w")},
          // The keys of "bkm": placement only, so the same after knights went out and back, and after "black".
          {"new\nbkm\n", {}},
          {"position startpos moves g1f3 g8f6 f3g1 f6g8\nbkm\n", {}},
          {"position startpos moves e2e4\nbkm\n", {}},
          {"undo\nbkm\n", {}},
          {"black\nbkm\n", {}},
      });
  if (!session.complete) return;
  ExpectListedMoves(check, session.outputs[11], kBlackStartMoves, "\"black\" in the start position");
  ExpectListedMoves(check, session.outputs[13], kWhiteStartMoves, "\"white\" after \"black\"");
  const auto edited = CheckBookReport(check, session.outputs[8], "after the editor");
  const auto loaded = CheckBookReport(check, session.outputs[9], "after loadfen");
  if (edited && loaded)
    check.That(edited->first == loaded->first && edited->second == loaded->second,
               "the editor and loadfen give the same keys for the same position");
  const auto start = CheckBookReport(check, session.outputs[15], "in the start position");
  const auto shuffled = CheckBookReport(check, session.outputs[16], "after g1f3 g8f6 f3g1 f6g8");
  const auto afterMove = CheckBookReport(check, session.outputs[17], "after e2e4");
  const auto undone = CheckBookReport(check, session.outputs[18], "after e2e4 and undo");
  const auto otherSide = CheckBookReport(check, session.outputs[19], "after \"black\"");
  if (!start) return;
  auto same = [&](const std::optional<BookKeys> &keys) {
    return keys && keys->first == start->first && keys->second == start->second;
  };
  check.That(same(shuffled), "knights out and back give the keys of the start position");
  check.That(afterMove && !same(afterMove), "e2e4 changes the keys");
  check.That(same(undone), "undo gives the keys of the start position back");
  check.That(same(otherSide), "\"black\" doesn't change the keys of the placement");
}
