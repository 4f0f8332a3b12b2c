// Talks to the real engine binary the way a GUI does: start-up report, line handling, board print, ending the
// session, and bad FENs that must leave the engine answering.
//
//   shell_session <engine binary> [group]     (no group: all groups)
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "engine_session.h"

namespace {

const std::string kStartFen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
const std::string kKiwipeteFen = "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1";
const std::string kTotalPrefix = "total moves = ";
// A GUI gives up on an engine that stays silent this long.
constexpr double kSilenceLimitSeconds = 60;

class Checker {
 public:
  explicit Checker(std::string group) : group_(std::move(group)) {}

  bool Expect(bool condition, const std::string &what) {
    if (!condition) {
      std::printf("FAIL [%s] %s\n", group_.c_str(), what.c_str());
      failures_++;
    }
    return condition;
  }
  int Failures() const { return failures_; }

 private:
  std::string group_;
  int failures_ = 0;
};

// Printable form of a command for failure messages: control and high bytes escaped, long text cut.
std::string Printable(const std::string &text) {
  std::string shown;
  for (unsigned char c : text) {
    if (shown.size() > 100) return shown + "... (" + std::to_string(text.size()) + " bytes)";
    if (c >= 32 && c < 127) {
      shown += char(c);
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
      shown += escaped;
    }
  }
  return shown;
}

std::string Quoted(const std::optional<std::string> &line) {
  if (!line) return "nothing";
  std::string quoted(1, '"');
  quoted += Printable(*line);
  return quoted += '"';
}

std::string TotalLine(long long count) { return kTotalPrefix + std::to_string(count); }

enum class Reply { kRight, kWrong, kNone };

// Sends `commands`, which end in a perft, and checks its count; any other output before it goes to `before`.
Reply ExpectPerft(Checker &check, EngineSession &engine, const std::string &commands, long long expected,
                  const std::string &what, std::string *before = nullptr) {
  if (!check.Expect(engine.Send(commands), what + ": the engine stopped reading its input")) return Reply::kNone;
  const auto reply = engine.ReadUntil(kTotalPrefix, before, kSilenceLimitSeconds);
  const bool right = check.Expect(reply && reply->starts_with(TotalLine(expected) + " "),
                                  what + ": expected \"" + TotalLine(expected) + " time = ...\", got " + Quoted(reply));
  return right ? Reply::kRight : reply ? Reply::kWrong : Reply::kNone;
}

// Eight squares of " %c" (white or empty) or "*%c" (black) with the letters of ".KNP?RBQ".
bool IsBoardRow(const std::string &line) {
  if (line.size() != 16) return false;
  for (size_t i = 0; i < 16; i += 2)
    if ((line[i] != ' ' && line[i] != '*') || line[i + 1] == '\0' || !std::strchr(".KNP?RBQ", line[i + 1]))
      return false;
  return true;
}

// Reads the eight rows `brd` prints and compares them with `expected` when given, else with the row format.
bool ExpectBoard(Checker &check, EngineSession &engine, const std::vector<std::string> &expected,
                 const std::string &what) {
  bool good = true;
  for (int rank = 8; rank >= 1; rank--) {
    const auto line = engine.ReadLine(kSilenceLimitSeconds);
    const std::string label = what + ": rank " + std::to_string(rank) + " is " + Quoted(line);
    if (!line) return check.Expect(false, label);
    if (expected.empty()) {
      good &= check.Expect(IsBoardRow(*line), label + ", not a board row");
    } else {
      const std::string &row = expected[size_t(8 - rank)];
      good &= check.Expect(*line == row, label + ", expected \"" + row + "\"");
    }
  }
  return good;
}

// The engine must end with code 0 within the limit; reads what it prints on the way out.
void ExpectCleanExit(Checker &check, EngineSession &engine, const std::string &what, std::string *printed = nullptr) {
  const std::string rest = engine.ReadRest(kSilenceLimitSeconds);
  if (printed) *printed = rest;
  const EngineExit exit = engine.Wait(kSilenceLimitSeconds);
  check.Expect(exit.Clean(), what + ": expected exit code 0, got " + exit.Describe());
}

void CheckStartupReport(Checker &check, const std::string &binary) {
  EngineSession engine(binary);
  // A GUI reads the banner before it sends anything: it must arrive unasked.
  const auto banner = engine.ReadLine(kSilenceLimitSeconds);
  check.Expect(banner == "Quarvelle v1.98 [r2769/26.01.2018]", "first line is " + Quoted(banner));

  // Starts with a line end so that every report line is found whole, the first one too.
  std::string report(1, '\n');
  if (ExpectPerft(check, engine, "perft 1\n", 20, "perft 1 after start-up", &report) != Reply::kRight) return;
  for (const std::string line : {"Transposition size is 524288 entries (13631488 bytes)",
                                 "Pawn hash size is 262144 entries (8912896 bytes)"}) {
    std::string wholeLine(1, '\n');
    wholeLine += line;
    check.Expect(report.find(wholeLine + '\n') != std::string::npos,
                 "configuration report lacks \"" + line + "\"; it was:" + report);
  }
}

void CheckBlankLines(Checker &check, const std::string &binary) {
  EngineSession engine(binary);
  if (ExpectPerft(check, engine, "perft 1\n", 20, "perft 1 after start-up") != Reply::kRight) return;
  std::string printed;
  ExpectPerft(check, engine, "\n    \n\n  \nperft 1\n", 20, "perft 1 after empty and blank lines", &printed);
  check.Expect(printed.empty(), "empty and blank lines printed \"" + Printable(printed) + "\"");
}

void CheckCrLfLines(Checker &check, const std::string &binary) {
  EngineSession engine(binary);
  std::string printed;
  if (ExpectPerft(check, engine, "perft 1\r\n", 20, "perft 1 with CR LF") != Reply::kRight) return;
  ExpectPerft(check, engine, "\r\n  \r\nperft 1\r\n", 20, "CR LF empty and blank lines", &printed);
  check.Expect(printed.empty(), "CR LF empty and blank lines printed \"" + Printable(printed) + "\"");
  // The CR must not stick to the last FEN field, whichever field that is.
  ExpectPerft(check, engine, "loadfen " + kKiwipeteFen + "\r\nperft 2\r\n", 2039, "Kiwipete with CR LF");
  ExpectPerft(check, engine, "loadfen rnbqkbnr/ppp1pppp/8/8/3pP3/8/PPPP1PPP/RNBQKBNR b KQkq e3\r\nperft 1\r\n", 30,
              "FEN ending in an en passant square, with CR LF");
  ExpectPerft(check, engine, "loadfen r3k2r/8/8/8/8/8/8/R3K2R w KQkq\r\nperft 2\r\n", 568,
              "FEN ending in castling rights, with CR LF");
  engine.Send("loadfen " + kStartFen + "\r\nbrd\r\n");
  ExpectBoard(check, engine, {}, "brd with CR LF");
}

void CheckBoardPrint(Checker &check, const std::string &binary) {
  EngineSession engine(binary);
  if (ExpectPerft(check, engine, "perft 1\n", 20, "perft 1 after start-up") != Reply::kRight) return;
  engine.Send("brd\n");
  ExpectBoard(check, engine,
              {"*R*N*B*Q*K*B*N*R", "*P*P*P*P*P*P*P*P", " . . . . . . . .", " . . . . . . . .", " . . . . . . . .",
               " . . . . . . . .", " P P P P P P P P", " R N B Q K B N R"},
              "brd of the start position");
  // An unsymmetric position shows mirrored files or ranks.
  engine.Send("loadfen " + kKiwipeteFen + "\nbrd\n");
  ExpectBoard(check, engine,
              {"*R . . .*K . .*R", "*P .*P*P*Q*P*B .", "*B*N . .*P*N*P .", " . . . P N . . .", " .*P . . P . . .",
               " . . N . . Q .*P", " P P P B B P P P", " R . . . K . . R"},
              "brd of Kiwipete");
}

void CheckSessionEnd(Checker &check, const std::string &binary) {
  {
    // A GUI sends quit and waits for the process to go, keeping the pipe open.
    EngineSession engine(binary);
    if (ExpectPerft(check, engine, "perft 1\n", 20, "perft 1 before quit") != Reply::kRight) return;
    engine.Send("quit\nperft 2\n");
    const EngineExit exit = engine.Wait(kSilenceLimitSeconds);
    check.Expect(exit.Clean(), "quit with the input still open: expected exit code 0, got " + exit.Describe());
    engine.CloseInput();
    const std::string printed = engine.ReadRest(kSilenceLimitSeconds);
    check.Expect(printed.find(kTotalPrefix) == std::string::npos, "a command after quit was run: " + printed);
  }
  {
    EngineSession engine(binary);
    engine.Send("perft 1\n");
    engine.CloseInput();
    std::string printed;
    ExpectCleanExit(check, engine, "end of input", &printed);
    check.Expect(printed.find(TotalLine(20) + " ") != std::string::npos,
                 "the last command before the end of input got no reply: " + printed);
  }
}

std::string LongFen() {
  std::string fen;
  while (fen.size() < 10000) fen += "pppppppp/";
  fen.resize(10000);
  return fen;
}

// Every byte but the line end, NUL and CR among them, in a fixed scrambled order.
std::string BinaryGarbage() {
  std::string bytes;
  for (int i = 0; i < 256 * 3; i++) {
    const unsigned char c = static_cast<unsigned char>((i * 167 + 255) % 256);
    if (c != '\n') bytes += char(c);
  }
  return bytes;
}

void CheckBadFens(Checker &check, const std::string &binary) {
  const std::vector<std::pair<std::string, std::string>> badFens = {
      {"nothing after loadfen", ""},
      {"only blanks", "     "},
      {"placement only", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR"},
      {"placement cut short", "rnbqkbnr/pppppppp/8"},
      {"no castling field", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w"},
      {"ranks past h1", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR/PPPPPPPP/QQQQQQQQ/kkkk w KQkq - 0 1"},
      {"ranks longer than eight files", "rnbqkbnrr/pppppppp9/8/8/8/8/PPPPPPPP/RNBQKBNRQQQQ w KQkq - 0 1"},
      {"huge empty runs", "99999999/9/9/9/9/9/9/9 w - - 0 1"},
      {"unknown piece letters", "rnbqkbnr/ppppxppp/8/8/8/8/PPPPPPPP/RNBQKBNZ w KQkq - 0 1"},
      {"unknown side letter", kStartFen.substr(0, kStartFen.find(' ')) + " x KQkq - 0 1"},
      {"unknown castling letters", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w XYZ - 0 1"},
      {"en passant square off the board", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq z9 0 1"},
      {"en passant square without a pawn", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq e6 0 1"},
      {"nine pawns", "rnbqkbnr/pppppppp/8/8/8/P7/PPPPPPPP/RNBQKBNR w KQkq - 0 1"},
      {"three queens", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RQBQKQNR w KQkq - 0 1"},
      {"pawns on the back ranks", "P3k2P/8/8/8/8/8/8/p3K2p w - - 0 1"},
      {"no kings", "8/8/8/8/8/8/8/8 w - - 0 1"},
      {"no white king", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQ1BNR w kq - 0 1"},
      {"no black king", "rnbq1bnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQ - 0 1"},
      {"two white kings", "4k3/8/8/8/8/8/8/3KK3 w - - 0 1"},
      {"two kings each", "kk6/8/8/8/8/8/8/KK6 b - - 0 1"},
      {"side not to move in check", "4k3/8/8/8/8/8/4R3/4K3 w - - 0 1"},
      {"kings side by side", "8/8/8/3kK3/8/8/8/8 b - - 0 1"},
      {"10000-character line", LongFen()},
      {"binary garbage", BinaryGarbage()},
  };

  EngineSession engine(binary);
  if (ExpectPerft(check, engine, "perft 1\n", 20, "perft 1 after start-up") != Reply::kRight) return;
  for (const auto &[name, fen] : badFens) {
    const std::string what = "after loadfen with " + name + " (" + Printable(fen) + ")";
    engine.Send("loadfen " + fen + "\nbrd\n");
    ExpectBoard(check, engine, {}, "brd " + what);
    engine.Send("moves\nperft 3\n");
    const auto reply = engine.ReadUntil(kTotalPrefix, nullptr, kSilenceLimitSeconds);
    check.Expect(reply.has_value(), "no perft 3 reply " + what);
    // Left-over state from the bad position shows in a normal one.
    if (ExpectPerft(check, engine, "loadfen " + kKiwipeteFen + "\nperft 1\n", 48, "Kiwipete perft 1 " + what) ==
            Reply::kNone ||
        ExpectPerft(check, engine, "perft 2\n", 2039, "Kiwipete perft 2 " + what) == Reply::kNone) {
      check.Expect(false, "no more replies: the engine ended with " + engine.Wait(5).Describe());
      return;
    }
  }
  // Rights without the king and rook at home must not make castling moves, for either side.
  ExpectPerft(check, engine, "loadfen 4k3/8/8/8/8/8/8/4K3 w KQkq - 0 1\nperft 3\n", 170,
              "castling rights with no rooks");
  // A garbage command line must be ignored too.
  ExpectPerft(check, engine, BinaryGarbage() + "\nloadfen " + kStartFen + "\nperft 1\n", 20,
              "perft 1 after a line of binary garbage");
  engine.Send("quit\n");
  engine.CloseInput();
  ExpectCleanExit(check, engine, "quit after the bad FENs");
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s <engine binary> [group]\n", argv[0]);
    return 2;
  }
  const std::string binary = argv[1];
  const std::vector<std::pair<std::string, std::function<void(Checker &, const std::string &)>>> groups = {
      {"startup", CheckStartupReport}, {"blank-lines", CheckBlankLines}, {"crlf", CheckCrLfLines},
      {"board", CheckBoardPrint},      {"session-end", CheckSessionEnd}, {"bad-fens", CheckBadFens},
  };
  int failures = 0;
  bool ran = false;
  for (const auto &[name, run] : groups) {
    if (argc > 2 && name != argv[2]) continue;
    ran = true;
    Checker check(name);
    run(check, binary);
    std::printf("%s: %s\n", name.c_str(), check.Failures() ? "FAILED" : "passed");
    failures += check.Failures();
  }
  if (!ran) {
    std::fprintf(stderr, "no group named %s\n", argv[2]);
    return 2;
  }
  return failures ? 1 : 0;
}
