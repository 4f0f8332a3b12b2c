// Start-up: the version line, the configuration report, and the settings file read before it.
#include <string>
#include <vector>

#include "groups.h"
#include "session.h"

namespace {

const std::string kWarning = "Quarvelle.ini(";

Lines Warnings(const Lines &lines) {
  Lines warnings;
  for (const auto &line : lines)
    if (line.starts_with(kWarning)) warnings.push_back(line);
  return warnings;
}

struct SettingsCase {
  std::string name;
  std::string file;         // the content of Quarvelle.ini
  Lines reportChanges;      // report lines that differ from the defaults
  Lines warnings;           // all the warnings, in order
  std::vector<Step> steps;  // commands after start-up, with their exact output
};

// Starts the engine on one settings file and checks its warnings, its report and what the steps print.
void CheckSettings(Context &context, const SettingsCase &test, const RunOptions &base = {}) {
  RunOptions options = base;
  if (!options.settingsFileIsDirectory) options.settingsFile = test.file;
  const std::string label = "settings file \"" + Show(test.file, 100) + "\" (" + test.name + ")";
  const Session session = RunSession(context, label, test.steps, options);
  if (!session.complete) return;
  Checker &check = context.check;
  check.That(!session.prelude.empty() && session.prelude[0] == kVersionLine,
             label + ": the first line is the version line");
  check.SameLines(Warnings(session.prelude), test.warnings, label + ": the warnings");
  const auto report = ReportOf(session.prelude);
  if (!check.That(report.has_value(), label + ": a configuration report")) return;
  check.SameLines(*report, ReportWith(test.reportChanges), label + ": the configuration report");
  // The file is read before the report is printed: its warnings come first.
  if (!test.warnings.empty()) {
    size_t lastWarning = 0, reportStart = 0;
    for (size_t i = 0; i < session.prelude.size(); i++) {
      if (session.prelude[i].starts_with(kWarning)) lastWarning = i;
      if (session.prelude[i].starts_with("Transposition size is ")) reportStart = i;
    }
    check.That(lastWarning < reportStart, label + ": the warnings come before the report");
  }
}

std::string WarningA(int line) {
  return kWarning + std::to_string(line) + ") WARNING: Incorrect hash size setting in Quarvelle.ini; set to default";
}
std::string WarningB(int line) {
  return kWarning + std::to_string(line) +
         ") WARNING: Incorrect pawn hash size setting in Quarvelle.ini; set to default";
}
std::string Warning(int line, const std::string &text) {
  return kWarning + std::to_string(line) + ") WARNING: " + text;
}

const Lines kUciBlock = {
    "id name Quarvelle 1.98",
    "id author Tovrik",
    "option name Hash type spin min 0 max 1024 default 10",
    "option name PawnHash type spin min 0 max 1024 default 7",
    "option name SyzygyPath type string default c:\\tablebases\\",
    "option name OpeningsBook type string default .\\book.qvl",
    "option name OwnBook type check default true",
    "option name MultiPV type spin min 1 max 1024 default 1",
    "option name Aggressivity type spin min 0 max 300 default 100",
    "option name Defensivity type spin min 0 max 300 default 100",
    "option name Clear Hash type button",
    "uciok",
};

}  // namespace

Lines UciBlock(int aggressivity, int defensivity) {
  Lines block = kUciBlock;
  block[8] = "option name Aggressivity type spin min 0 max 300 default " + std::to_string(aggressivity);
  block[9] = "option name Defensivity type spin min 0 max 300 default " + std::to_string(defensivity);
  return block;
}

void StartupReport(Context &context) {
  Checker &check = context.check;
  // No settings file, no book, nothing typed yet: the version line, the report with the defaults, then the
  // engine waits and answers.
  const Session session = RunSession(context, "start-up without a settings file", {});
  if (!session.complete) return;
  check.That(!session.prelude.empty() && session.prelude[0] == kVersionLine,
             "the first line is \"" + std::string(kVersionLine) + "\", got \"" +
                 (session.prelude.empty() ? "" : Show(session.prelude[0])) + "\"");
  const auto report = ReportOf(session.prelude);
  if (check.That(report.has_value(), "start-up prints the configuration report"))
    check.SameLines(*report, DefaultReport(), "the configuration report with the defaults");
  check.SameLines(Warnings(session.prelude), {}, "no settings file gives no warning");

  // A start with nothing on standard input at all ends cleanly after the report.
  const EngineResult silent = RunEngine(context.engine, "");
  check.ExitedWith(silent, 0, "start-up with an empty input");
  const auto silentReport = ReportOf(SplitLines(silent.out));
  check.That(silentReport && *silentReport == DefaultReport(), "the report is flushed before the end of the input");

  // The defaults as "uci" reports them, and "egtbstat" on the default path.
  RunSession(context, "defaults through uci and egtbstat",
             {{"uci\n", UciBlock(100, 100)},
              {"egtbstat\n", Lines{"UseEGTB = TRUE", "tb_path = c:\\tablebases\\", "EGTB files not found"}}});
}

void StartupSettingsFile(Context &context) {
  const std::vector<SettingsCase> cases = {
      {"megabytes, the largest",
       "TranspositionSizeMb = 1024\n",
       {"Transposition size is 41297762 entries (1073741812 bytes)"},
       {},
       {}},
      {"megabytes, too many",
       "TranspositionSizeMb = 1025\n",
       {"Transposition size is 524288 entries (13631488 bytes)"},
       {WarningA(1)},
       {}},
      {"megabytes, negative", "TranspositionSizeMb = -1\n", {}, {WarningA(1)}, {}},
      {"megabytes, none",
       "TranspositionSizeMb = 0\n",
       {"Transposition size is 0 entries (0 bytes)"},
       {},
       {{"perft 2\n", Lines{"total moves = 400"}}}},
      {"megabytes, one", "TranspositionSizeMb=1\n", {"Transposition size is 40329 entries (1048554 bytes)"}, {}, {}},
      {"power of two", "TranspositionSize = 20\n", {"Transposition size is 1048576 entries (27262976 bytes)"}, {}, {}},
      {"power of two, too large", "TranspositionSize = 26\n", {}, {WarningA(1)}, {}},
      {"power of two, the smallest",
       "TranspositionSize 0\n",
       {"Transposition size is 1 entries (26 bytes)"},
       {},
       {{"perft 2\n", Lines{"total moves = 400"}}}},
      {"pawn hash power, too small",
       "PawnHashSize = 11\n",
       {"Pawn hash size is 524288 entries (17825792 bytes)"},
       {WarningB(1)},
       {}},
      {"pawn hash power, the smallest",
       "PawnHashSize = 12\n",
       {"Pawn hash size is 4096 entries (139264 bytes)"},
       {},
       {}},
      {"pawn hash power, too large",
       "PawnHashSize = 24\n",
       {"Pawn hash size is 524288 entries (17825792 bytes)"},
       {WarningB(1)},
       {}},
      {"pawn hash megabytes", "PawnHashSizeMb = 1\n", {"Pawn hash size is 30840 entries (1048560 bytes)"}, {}, {}},
      {"pawn hash megabytes, too many",
       "PawnHashSizeMb = 1025\n",
       {"Pawn hash size is 524288 entries (17825792 bytes)"},
       {WarningB(1)},
       {}},
      {"aggressivity above the range",
       "Aggressivity = 500\n",
       {"Aggressivity = 300 (150)%"},
       {Warning(1, "Incorrect AGGRESSIVITY setting; set to 300")},
       {{"uci\n", UciBlock(300, 100)}}},
      {"cowardice below the range",
       "Cowardice = -7\n",
       {"Cowardice = 0 (0)%"},
       {Warning(1, "Incorrect COWARDICE setting; set to 0")},
       {{"uci\n", UciBlock(100, 0)}}},
      {"variety above the range",
       "VarietyOfPlay = 101\n",
       {"VarietyOfPlay = 100"},
       {Warning(1, "Incorrect VarietyOfPlay setting; set to 100")},
       {}},
      {"pondering off", "Pondering = off\n", {"Pondering = off"}, {}, {}},
      {"an unknown switch value", "UseEGTB = maybe\n", {}, {Warning(1, "Token unknown \"maybe\"")}, {}},
      {"tablebases off",
       "UseEGTB = OFF\n",
       {"UseEGTB = off"},
       {},
       {{"egtbstat\n", Lines{"UseEGTB = FALSE", "tb_path = c:\\tablebases\\", "EGTB files not found"}}}},
      {"book learning mode", "BookLearningMode = discover\n", {"BookLearningMode = DISCOVER"}, {}, {}},
      {"an unknown book learning mode",
       "BookLearningMode = sometimes\n",
       {},
       {Warning(1, "Token unknown \"sometimes\"")},
       {}},
      {"a path with a trailing backslash",
       "EGTBPath = c:\\tb\\\n",
       {"EGTB path = \"c:\\tb\\\""},
       {},
       {{"egtbstat\n", Lines{"UseEGTB = TRUE", "tb_path = c:\\tb\\", "EGTB files not found"}}}},
      // The quote before the value is a delimiter; the one behind it is part of the path, and so are blanks.
      {"a quoted path with a blank",
       "EGTBPath = \"c:\\my tables\\\"\n",
       {"EGTB path = \"c:\\my tables\\\"\""},
       {},
       {{"egtbstat\n", Lines{"UseEGTB = TRUE", "tb_path = c:\\my tables\\\"", "EGTB files not found"}}}},
      {"no line end at the end of the file", "Aggressivity = 42", {"Aggressivity = 42 (21)%"}, {}, {}},
      {"an empty file", "", {}, {}, {}},
      // Several keys in one file: comments, leading blanks, the three forms of delimiters, case, prefixes of
      // on and false, the last of two lines winning, and lines that match no key.
      {"many keys",
       ";Aggressivity = 0\n"
       " ;Cowardice = 0\n"
       "  ResignTimes = 7\n"
       "ResignValue=900\n"
       "BookLearningBound 123\n"
       "UseBookWeights,off\n"
       "UseLearning = on\n"
       "LogLearningIntoFile = TRUE\n"
       "UseLearningData = o\n"
       "UseBookLearning = f\n"
       "VarietyOfPlay = 55\n"
       "VarietyOfPlay = 45\n"
       "Cowardice = 250\n"
       "ResignValue\n"
       "UnknownKey = 5\n"
       "\n"
       "Pondering = nope\n",
       {"Cowardice = 250 (125)%", "ResignValue = 900", "ResignTimes = 7", "UseBookWeights = off",
        "UseBookLearning = off", "VarietyOfPlay = 45", "BookLearningBound = 123", "UseLearningData = on",
        "LogLearningIntoFile = on"},
       {Warning(17, "Token unknown \"nope\"")},
       {}},
      // CR LF line ends; a tab and a byte above 127 end a line; a comment behind a value is no comment, but the
      // value ends at the blank.
      {"CR LF line ends and line cuts",
       "Aggressivity = 120 ; not a comment\r\n"
       "ResignValue\t900\r\n"
       "ResignTimes = 5\xe9xyz\r\n"
       "EGTBPath = c:\\tb\\\r\n"
       "BookLearningMode = discover\r\n"
       "Cowardice = 90\r\n",
       {"Aggressivity = 120 (60)%", "Cowardice = 90 (45)%", "ResignTimes = 5", "EGTB path = \"c:\\tb\\\"",
        "BookLearningMode = DISCOVER"},
       {},
       {{"egtbstat\n", Lines{"UseEGTB = TRUE", "tb_path = c:\\tb\\", "EGTB files not found"}}}},
      // A line over 249 characters is read as two, and both count for the line numbers of later warnings.
      {"a long comment line",
       ";" + std::string(299, 'c') + "\nAggressivity = 500\n",
       {"Aggressivity = 300 (150)%"},
       {Warning(3, "Incorrect AGGRESSIVITY setting; set to 300")},
       {}},
      {"a long line whose second part is a setting",
       std::string(249, 'x') + "Cowardice = 400\n",
       {"Cowardice = 300 (150)%"},
       {Warning(2, "Incorrect COWARDICE setting; set to 300")},
       {}},
      // The longer key first: "TranspositionSizeMb" must not be read as "TranspositionSize".
      {"both transposition keys, the last wins",
       "TranspositionSize = 20\nTranspositionSizeMb = 1\n",
       {"Transposition size is 40329 entries (1048554 bytes)"},
       {},
       {}},
  };
  for (const auto &test : cases) CheckSettings(context, test);

  // A directory where the file should be: no settings, no trouble.
  RunOptions directory;
  directory.settingsFileIsDirectory = true;
  CheckSettings(context, {"a directory in place of the file", "", {}, {}, {{"perft 1\n", kPerft1Start}}}, directory);
}
