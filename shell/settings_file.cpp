#include "shell/settings_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "book/book_file.h"
#include "shell/commands.h"
#include "shell/settings.h"

namespace {

constexpr const char *SETTINGS_FILE = "Quarvelle.ini";
constexpr int SETTINGS_LINE_LENGTH = 249;
constexpr i32 DEFAULT_TABLE_ENTRIES = 524288;

int LineNumber;

void Warn(const char *text) {
  printf("Quarvelle.ini(%d) WARNING: %s\n", LineNumber, text);
  fflush(stdout);
}

// An on/off value: on, true, off, false, by prefix. Anything else warns and leaves the field.
void ReadSwitch(const char *value, i32 &field) {
  if (MatchKeyword("on", value) || MatchKeyword("true", value)) {
    field = 1;
  } else if (MatchKeyword("off", value) || MatchKeyword("false", value)) {
    field = 0;
  } else {
    printf("Quarvelle.ini(%d) WARNING: Token unknown \"%s\"\n", LineNumber, value);
    fflush(stdout);
  }
}

// A number limited to low..high, with a warning naming the setting when it is cut.
i32 Limited(i32 value, i32 low, i32 high, const char *name) {
  char text[96];
  if (value < low) {
    std::snprintf(text, sizeof text, "Incorrect %s setting; set to %d", name, low);
    Warn(text);
    return low;
  }
  if (value > high) {
    std::snprintf(text, sizeof text, "Incorrect %s setting; set to %d", name, high);
    Warn(text);
    return high;
  }
  return value;
}

i32 TableEntries(bool valid, i64 entries, const char *warning) {
  if (valid) return i32(entries);
  Warn(warning);
  return DEFAULT_TABLE_ENTRIES;
}

void ApplySetting(const char *line) {
  SettingsRecord &s = Settings;
  const char *value = Tokens[1];
  const i64 number = std::atoll(value);
  const char *hashWarning = "Incorrect hash size setting in Quarvelle.ini; set to default";
  const char *pawnWarning = "Incorrect pawn hash size setting in Quarvelle.ini; set to default";
  if (MatchKeyword("TranspositionSizeMb", line)) {
    s.TranspositionSize = TableEntries(number >= 0 && number <= 1024, (number << 20) / 26, hashWarning);
  } else if (MatchKeyword("TranspositionSize", line)) {
    s.TranspositionSize = TableEntries(number >= 0 && number <= 25, i64(1) << (number & 31), hashWarning);
  } else if (MatchKeyword("ResignValue", line)) {
    s.ResignValue = i32(number);
  } else if (MatchKeyword("ResignTimes", line)) {
    s.ResignTimes = i32(number);
  } else if (MatchKeyword("PawnHashSizeMb", line)) {
    s.PawnHashSize = TableEntries(number >= 0 && number <= 1024, (number << 20) / 34, pawnWarning);
  } else if (MatchKeyword("PawnHashSize", line)) {
    s.PawnHashSize = TableEntries(number >= 12 && number <= 23, i64(1) << (number & 31), pawnWarning);
  } else if (MatchKeyword("Aggressivity", line)) {
    s.Aggressivity = Limited(std::atoi(value), 0, 300, "AGGRESSIVITY");
    s.AggressivityHalf = s.Aggressivity / 2;
  } else if (MatchKeyword("Cowardice", line)) {
    s.Cowardice = Limited(std::atoi(value), 0, 300, "COWARDICE");
    s.CowardiceHalf = s.Cowardice / 2;
  } else if (MatchKeyword("VarietyOfPlay", line)) {
    s.VarietyOfPlay = Limited(std::atoi(value), 0, 100, "VarietyOfPlay");
  } else if (MatchKeyword("BookLearningBound", line)) {
    s.BookLearningBound = std::atoi(value);
  } else if (MatchKeyword("Learning", line)) {
    ReadSwitch(value, s.UseLearning);
  } else if (MatchKeyword("UseBookLearning", line)) {
    ReadSwitch(value, s.UseBookLearning);
  } else if (MatchKeyword("Pondering", line)) {
    ReadSwitch(value, s.Pondering);
    if (!s.Pondering) s.PonderingOn = 0;
  } else if (MatchKeyword("UseEGTB", line)) {
    ReadSwitch(value, s.UseEGTB);
  } else if (MatchKeyword("EGTBPath", line)) {
    std::snprintf(TablebasePath, TB_PATH_SIZE, "%s", line + TokenStart[1]);
  } else if (MatchKeyword("OpeningsBook", line)) {
    OpenBook(line + TokenStart[1]);
  } else if (MatchKeyword("BookLearningMode", line)) {
    if (MatchKeyword("discover", value))
      s.BookLearningMode = 1;
    else if (MatchKeyword("kill", value))
      s.BookLearningMode = 0;
    else
      printf("Quarvelle.ini(%d) WARNING: Token unknown \"%s\"\n", LineNumber, value), fflush(stdout);
  } else if (MatchKeyword("UseLearningData", line)) {
    ReadSwitch(value, s.UseLearningData);
  } else if (MatchKeyword("UseBookWeights", line)) {
    ReadSwitch(value, s.UseBookWeights);
  } else if (MatchKeyword("LogLearningIntoFile", line)) {
    ReadSwitch(value, s.LogLearningIntoFile);
  }
}

}  // namespace

void ReadSettings() {
  FILE *file = std::fopen(SETTINGS_FILE, "r");
  if (!file) return;
  LineNumber = 0;
  // A line longer than the limit is read as two, and both are counted.
  while (std::fgets(CommandLine, SETTINGS_LINE_LENGTH + 1, file)) {
    LineNumber++;
    if (CommandLine[0] == '\0' || CommandLine[0] == ';') continue;
    // A tab, a line end or any byte above 127 ends the line.
    for (char *c = CommandLine; *c; c++)
      if (static_cast<signed char>(*c) < 32) {
        *c = '\0';
        break;
      }
    if (Tokenise(CommandLine, " =\r\n,\"") < 2) continue;
    ApplySetting(CommandLine);
  }
  std::fclose(file);
}
