// Bad arguments to good commands: missing, junk, too long, too many. The engine answers or stays silent, and goes
// on; in a sanitizer build these are the lines that would overrun a buffer.
#include <algorithm>
#include <string>
#include <vector>

#include "groups.h"
#include "session.h"

namespace {

Lines StartBoard() { return BoardFromFen(kStartFen); }

std::string Repeated(const std::string &text, size_t times) {
  std::string all;
  for (size_t i = 0; i < times; i++) all += text;
  return all;
}

}  // namespace

void BadArguments(Context &context) {
  Checker &check = context.check;
  const Lines afterE4 = BoardFromFen("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1");
  const std::string longPath = "/" + std::string(2000, 'p');
  const Session session = RunSession(
      context, "bad arguments",
      {
          {"level\nlevel x y z\nlevel 40 0:30\nlevel ::::\nlevel 1:2:3:4:5:6:7:8\nlevel 40 5 0 9 9 9\n", Lines{}},
          {"sd\nsd x\nsd -1\nst\nst x\nst 99999\ntime\ntime abc\ntime -1\notim 12\n", Lines{}},
          {"easy\nhard\npost\nnopost\npost\nclean\nreset\nxboard\n", Lines{}},
          // Files that aren't there: nothing happens.
          {"epdevl no-such-file.epd\nepdevl\ndemo\n", Lines{}},
          {"perft 0\nperft -1\nperft x\n", {}},
          {"reload\nevl\n", {}},
          {"loadfen\nloadfen \nloadfen 8/8/8/8/8/8/8/8 w - - 0 1\nbrd\n", BoardFromFen("8/8/8/8/8/8/8/8 w - - 0 1")},
          {"new\nposition\nposition fen\nposition fen \nposition startpos moves\nposition startpos moves moves\nbrd\n",
           StartBoard()},
          // A first argument longer than its token, and move tokens longer than theirs: cut, not overrun.
          {"position " + std::string(600, 'p') + "\nbrd\n", StartBoard()},
          {"position startpos moves " + Repeated("e2e4" + std::string(40, 'z') + " ", 100) + "\nbrd\n", afterE4},
          {"position startpos moves " + Repeated("e2e4 ", 3000) + "\nbrd\n", afterE4},
          // More "go searchmoves" moves than the list holds, and more tokens than a line may have.
          {"position startpos\ngo searchmoves " + Repeated("e2e4 d2d4 ", 400) + "\nstop\n", {}},
          {"position startpos\ngo " + Repeated("x ", 3000) + "\nstop\n", {}},
          // A path longer than the path may be.
          {"setoption name SyzygyPath value " + longPath + "\negtbstat\n", {}},
          {"position startpos\nperft 2\n", Lines{"total moves = 400"}},
      });
  if (!session.complete) return;
  for (size_t step : {4, 5}) {
    const Lines &out = session.outputs[step];
    check.That(std::none_of(out.begin(), out.end(),
                            [](const std::string &line) {
                              return line.starts_with("total moves = ") && line != "total moves = 0";
                            }),
               "perft with a depth below 1 counts nothing, got\n" + Join(out));
  }
  for (size_t step : {11, 12}) {
    const Lines &out = session.outputs[step];
    check.That(std::count_if(out.begin(), out.end(),
                             [](const std::string &line) { return line.starts_with("bestmove"); }) <= 1,
               "one go gives at most one bestmove, got\n" + Join(out));
  }
  const Lines &status = session.outputs[13];
  bool cut = false;
  for (const auto &line : status)
    if (line.starts_with("tb_path = /p")) {
      const std::string path = line.substr(10);
      cut = path.size() <= 1023 && longPath.starts_with(path);
    }
  check.That(cut, "a path of 2001 characters is cut to fit 1024 bytes, got\n" + Show(Join(status), 300));
}
