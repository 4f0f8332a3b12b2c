#include "session.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

const char *const kVersionLine = "Quarvelle v1.98 [r2769/26.01.2018]";
const char *const kStartFen = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

namespace {

const std::string kMarkerCommand = "isready\n";
const std::string kMarker = "readyok";

const std::string kPerftPrefix = "total moves = ";
const std::string kTimePart = " time = ";

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// "total moves = N time = S.SS" loses its time, the one thing in the output that changes from run to run.
std::string Normalised(const std::string &line) {
  const size_t time = line.find(kTimePart);
  if (!line.starts_with(kPerftPrefix) || time == std::string::npos) return line;
  const std::string count = line.substr(kPerftPrefix.size(), time - kPerftPrefix.size());
  const std::string seconds = line.substr(time + kTimePart.size());
  const size_t point = seconds.find('.');
  const bool secondsWell =
      point != std::string::npos && point > 0 && seconds.size() == point + 3 &&
      std::all_of(seconds.begin(), seconds.end(), [&](char c) { return IsDigit(c) || c == '.'; }) &&
      std::count(seconds.begin(), seconds.end(), '.') == 1;
  if (!ParseInteger(count) || !secondsWell) return line;
  return kPerftPrefix + count;
}

std::string Indented(const Lines &lines) {
  if (lines.empty()) return "      (nothing)\n";
  std::string text;
  for (size_t i = 0; i < lines.size(); i++) {
    if (i == 40) return text + "      ... (" + std::to_string(lines.size()) + " lines)\n";
    text += "      |" + Show(lines[i]) + "\n";
  }
  return text;
}

}  // namespace

std::string StepText(const Step &step) {
  if (step.pieces.empty()) return Show(step.input, 240);
  std::string text;
  for (const auto &piece : step.pieces) {
    if (!text.empty()) text += " | ";
    if (piece.pauseMs) text.append("(").append(std::to_string(piece.pauseMs)).append(" ms) ");
    text += Show(piece.bytes, 80);
  }
  return text;
}

bool Checker::That(bool condition, const std::string &what) {
  if (!condition) {
    std::printf("FAIL [%s] %s\n", group_.c_str(), what.c_str());
    failures_++;
  }
  return condition;
}

bool Checker::SameLines(const Lines &actual, const Lines &expected, const std::string &what) {
  if (actual == expected) return true;
  return That(false, what + "\n    expected:\n" + Indented(expected) + "    actual:\n" + Indented(actual));
}

bool Checker::ExitedWith(const EngineResult &result, int code, const std::string &what) {
  std::string details = what + ": expected exit code " + std::to_string(code) + ", got " + result.Describe();
  if (!result.err.empty()) details += "\n    standard error:\n" + Indented(SplitLines(result.err));
  return That(result.ExitedWith(code), details);
}

std::string Show(const std::string &text, size_t limit) {
  std::string shown;
  for (size_t i = 0; i < text.size(); i++) {
    if (shown.size() >= limit) return shown + "...(" + std::to_string(text.size()) + " bytes)";
    const unsigned char c = text[i];
    if (c >= 32 && c < 127 && c != '\\') {
      shown += char(c);
    } else if (c == '\\') {
      shown += "\\\\";
    } else if (c == '\n') {
      shown += "\\n";
    } else if (c == '\r') {
      shown += "\\r";
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
      shown += escaped;
    }
  }
  return shown;
}

Lines SplitLines(const std::string &text) {
  Lines lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
    start = end + 1;
  }
  return lines;
}

std::string Join(const Lines &lines) {
  std::string text;
  for (const auto &line : lines) text += line + "\n";
  return text;
}

Session RunSession(Context &context, const std::string &label, const std::vector<Step> &steps,
                   const RunOptions &options) {
  std::vector<Chunk> input = {{kMarkerCommand, 0}};
  for (const auto &step : steps) {
    if (step.pieces.empty())
      input.back().bytes += step.input;
    else
      input.insert(input.end(), step.pieces.begin(), step.pieces.end());
    input.push_back({kMarkerCommand, 0});
  }
  Session session;
  session.result = RunEngine(context.engine, input, options);
  Checker &check = context.check;
  const bool exitedWell = check.ExitedWith(session.result, 0, label + ": the end of the input ends the engine");
  // Everything goes to standard output; anything on standard error is a fault report (a sanitizer's, say).
  check.That(session.result.err.empty(),
             label + ": nothing on standard error, got\n" + Indented(SplitLines(session.result.err)));

  std::vector<Lines> pieces(1);
  for (const auto &line : SplitLines(session.result.out)) {
    if (line == kMarker)
      pieces.emplace_back();
    else
      pieces.back().push_back(Normalised(line));
  }
  session.prelude = pieces[0];
  const size_t markers = pieces.size() - 1;
  const bool allMarkers = markers == steps.size() + 1;
  check.That(allMarkers, label + ": expected " + std::to_string(steps.size() + 1) + " \"readyok\", got " +
                             std::to_string(markers) + "; the output was\n" + Indented(SplitLines(session.result.out)));
  for (size_t i = 0; i < steps.size(); i++) session.outputs.push_back(i + 2 <= markers ? pieces[i + 1] : Lines{});
  if (allMarkers)
    check.That(pieces.back().empty(), label + ": output after the last \"readyok\":\n" + Indented(pieces.back()));
  session.complete = exitedWell && allMarkers;
  if (!allMarkers) return session;
  for (size_t i = 0; i < steps.size(); i++)
    if (steps[i].expected)
      check.SameLines(session.outputs[i], *steps[i].expected, label + ": the output of \"" + StepText(steps[i]) + "\"");
  return session;
}

std::optional<long long> ParseInteger(std::string_view text) {
  size_t at = !text.empty() && text[0] == '-' ? 1 : 0;
  if (at == text.size() || text.size() > 18) return std::nullopt;
  long long value = 0;
  for (size_t i = at; i < text.size(); i++) {
    if (!IsDigit(text[i])) return std::nullopt;
    value = value * 10 + (text[i] - '0');
  }
  return at ? -value : value;
}

bool IsCoordinateMove(std::string_view text) {
  if (text.size() != 4 && text.size() != 5) return false;
  for (size_t i : {0, 2})
    if (text[i] < 'a' || text[i] > 'h' || text[i + 1] < '1' || text[i + 1] > '8') return false;
  return text.size() == 4 || std::string_view("nbrq").find(text[4]) != std::string_view::npos;
}

bool IsBoardRow(std::string_view line) {
  if (line.size() != 16) return false;
  for (size_t i = 0; i < 16; i += 2)
    if ((line[i] != ' ' && line[i] != '*') || std::string_view(".KNP?RBQ").find(line[i + 1]) == std::string_view::npos)
      return false;
  return true;
}

Lines BoardRows(const Lines &lines) {
  Lines rows;
  for (const auto &line : lines)
    if (IsBoardRow(line)) rows.push_back(line);
  return rows;
}

Lines BoardFromFen(const std::string &fen) {
  Lines rows;
  std::string row;
  for (char c : fen.substr(0, fen.find(' '))) {
    if (c == '/') {
      rows.push_back(row);
      row.clear();
    } else if (std::isdigit(static_cast<unsigned char>(c))) {
      for (int i = 0; i < c - '0'; i++) row += " .";
    } else {
      row += std::islower(static_cast<unsigned char>(c)) ? '*' : ' ';
      row += char(std::toupper(static_cast<unsigned char>(c)));
    }
  }
  rows.push_back(row);
  return rows;
}

int CastlingFlagsOfFen(const std::string &fen) {
  const size_t first = fen.find(' ');
  const size_t second = fen.find(' ', first + 1);
  const std::string field = fen.substr(second + 1, fen.find(' ', second + 1) - second - 1);
  int flags = 0;
  for (char c : field) flags |= c == 'K' ? 1 : c == 'Q' ? 2 : c == 'k' ? 4 : c == 'q' ? 8 : 0;
  return flags;
}

static bool IsResultLine(const std::string &line) {
  return line.starts_with("1/2-1/2 {") || line.starts_with("1-0 {") || line.starts_with("0-1 {");
}

std::optional<Lines> ListedMoves(const Lines &lines) {
  for (size_t i = 0; i + 1 < lines.size(); i++) {
    if (lines[i] != "-------------- Legal moves: ----------------") continue;
    // A game-end result may stand between the heading and the list.
    size_t at = i + 1;
    while (at + 1 < lines.size() && IsResultLine(lines[at])) at++;
    Lines moves;
    const std::string &list = lines[at];
    size_t start = 0;
    while (start < list.size()) {
      const size_t end = list.find("; ", start);
      if (end == std::string::npos) return std::nullopt;  // every entry ends in "; "
      // "Ng1f3 (123)": piece letter, from and to, the ordering score.
      const std::string text = list.substr(start, end - start);
      const bool well = text.size() >= 9 && std::string_view(".KNP?RBQ").find(text[0]) != std::string_view::npos &&
                        IsCoordinateMove(text.substr(1, 4)) && text.substr(5, 2) == " (" && text.back() == ')' &&
                        ParseInteger(std::string_view(text).substr(7, text.size() - 8));
      if (!well) return std::nullopt;
      moves.push_back(text.substr(0, 5));
      start = end + 2;
    }
    std::sort(moves.begin(), moves.end());
    return moves;
  }
  return std::nullopt;
}

std::optional<long long> PerftTotal(const Lines &lines) {
  for (const auto &line : lines)
    if (line.starts_with(kPerftPrefix))
      if (const auto count = ParseInteger(std::string_view(line).substr(kPerftPrefix.size()))) return count;
  return std::nullopt;
}

Lines DefaultReport() {
  return {
      "Transposition size is 524288 entries (13631488 bytes)",
      "Pawn hash size is 262144 entries (8912896 bytes)",
      "Aggressivity = 100 (50)%",
      "Cowardice = 100 (50)%",
      "ResignValue = 800",
      "ResignTimes = 3",
      "UseEGTB = on",
      "EGTB path = \"c:\\tablebases\\\"",
      "UseBookWeights = on",
      "UseBookLearning = on",
      "BookLearningMode = KILL",
      "VarietyOfPlay = 10",
      "BookLearningBound = 400",
      "UseLearning = off",
      "UseLearningData = off",
      "LogLearningIntoFile = off",
      "Pondering = on",
      "",
  };
}

Lines ReportWith(const Lines &changes) {
  Lines report = DefaultReport();
  for (const auto &change : changes) {
    // A line is named by its text up to the first digit, quote, "on"/"off" or the like: the part before " = "
    // or " is ".
    size_t cut = change.find(" = ");
    if (cut == std::string::npos) cut = change.find(" is ");
    bool replaced = false;
    for (auto &line : report)
      if (!replaced && cut != std::string::npos && line.compare(0, cut + 3, change, 0, cut + 3) == 0)
        line = change, replaced = true;
    if (!replaced) std::printf("test error: no report line for \"%s\"\n", change.c_str()), std::exit(2);
  }
  return report;
}

std::optional<Lines> ReportOf(const Lines &lines) {
  const size_t size = DefaultReport().size();
  for (size_t i = 0; i < lines.size(); i++)
    if (lines[i].starts_with("Transposition size is ") && i + size <= lines.size())
      return Lines(lines.begin() + long(i), lines.begin() + long(i + size));
  return std::nullopt;
}
