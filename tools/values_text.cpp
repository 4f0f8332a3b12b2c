#include "tools/values_text.h"

#include <algorithm>
#include <unordered_map>

#include "board/attacks.h"
#include "eval/values_layout.h"

namespace {

constexpr size_t NAME_SIZE = 128;

bool ReadFile(const char *path, std::string &content) {
  FILE *file = std::fopen(path, "r");
  if (!file) return false;
  char block[65536];
  size_t got;
  while ((got = std::fread(block, 1, sizeof block, file)) > 0) content.append(block, got);
  std::fclose(file);
  return true;
}

// Every place of the file, in order: its name and whether it holds a 64-bit count.
struct Place {
  std::string name;
  bool wide;
};

std::vector<Place> NamePlaces() {
  std::vector<Place> places;
  places.reserve(size_t(ValuesFileCount()));
  char name[NAME_SIZE];
  for (int e = 0; e < ValuesLayoutSize; e++) {
    const ValuesEntry &entry = ValuesLayout[e];
    for (int i = 0; i < entry.count; i++) {
      SlotName(entry, i, name, sizeof name);
      places.push_back({name, entry.layout == Layout::CountPairs});
    }
  }
  return places;
}

// Named once per process: the names don't change.
const std::vector<Place> &AllPlaces() {
  static const std::vector<Place> places = NamePlaces();
  return places;
}

const std::unordered_map<std::string, size_t> &PlaceByName() {
  static const std::unordered_map<std::string, size_t> where = [] {
    std::unordered_map<std::string, size_t> map;
    map.reserve(AllPlaces().size());
    for (size_t i = 0; i < AllPlaces().size(); i++) map.emplace(AllPlaces()[i].name, i);
    return map;
  }();
  return where;
}

std::string Trim(const std::string &s) {
  const size_t first = s.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return s.substr(first, s.find_last_not_of(" \t\r") - first + 1);
}

// A whole token as one integer, nothing before or after it.
bool WholeNumber(const std::string &token, i64 &value) {
  const char *p = token.c_str();
  const char *end = p + token.size();
  return !token.empty() && (token[0] == '-' || token[0] == '+' || (token[0] >= '0' && token[0] <= '9')) &&
         ParseNumber(p, end, value) && p == end;
}

bool FitsPlace(bool wide, i64 value) { return wide || (value >= INT32_MIN && value <= INT32_MAX); }

// Which places hold 64-bit counts, without the cost of naming them all.
std::vector<bool> WidePlaces() {
  std::vector<bool> wide;
  wide.reserve(size_t(ValuesFileCount()));
  for (int e = 0; e < ValuesLayoutSize; e++)
    wide.insert(wide.end(), ValuesLayout[e].count, ValuesLayout[e].layout == Layout::CountPairs);
  return wide;
}

// A trimmed "name = value" line: its place and value, or what is wrong with it.
const char *ParseNamedLine(const std::string &text, size_t &place, i64 &value) {
  // Names may hold '=' inside brackets; the value is what follows the last one.
  const size_t equals = text.rfind('=');
  if (equals == std::string::npos) return "expected name = value";
  const std::unordered_map<std::string, size_t> &where = PlaceByName();
  const auto found = where.find(Trim(text.substr(0, equals)));
  if (found == where.end()) return "unknown name";
  if (!WholeNumber(Trim(text.substr(equals + 1)), value)) return "not a number";
  if (!FitsPlace(AllPlaces()[found->second].wide, value)) return "out of range";
  place = found->second;
  return nullptr;
}

// Taken before main, while every table still holds its compiled-in value.
const bool DefaultsTaken = (CompiledDefaults(), true);

}  // namespace

const std::vector<i64> &CompiledDefaults() {
  static const std::vector<i64> defaults = [] {
    SetDefaultKingDangerPattern();  // the one default that start-up builds instead of compiling in
    return CurrentValues();
  }();
  return defaults;
}

bool ReadValuesText(const char *path, ValuesText &text, std::string &error) {
  std::string content;
  if (!ReadFile(path, content)) {
    error = std::string("can't open ") + path;
    return false;
  }
  const char *start = content.data();
  const char *p = start;
  const char *end = p + content.size();
  i64 value;
  while (ParseNumber(p, end, value)) text.numbers.push_back(value);
  while (p < end && (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r' || *p == '\v' || *p == '\f')) p++;
  if (p < end) text.strayLine = 1 + std::count(start, p, '\n');
  return true;
}

int WriteValuesFromNames(const std::vector<const char *> &namesPaths, const char *valuesPath, FILE *err) {
  (void)DefaultsTaken;
  std::vector<i64> values = CompiledDefaults();
  // Files are read in order; a number may be named once in all of them together.
  std::vector<bool> named(values.size(), false);
  int problems = 0;
  for (const char *namesPath : namesPaths) {
    std::string content;
    if (!ReadFile(namesPath, content)) {
      std::fprintf(err, "can't open %s\n", namesPath);
      return 1;
    }
    size_t lineStart = 0;
    for (int line = 1; lineStart < content.size(); line++) {
      size_t lineEnd = content.find('\n', lineStart);
      if (lineEnd == std::string::npos) lineEnd = content.size();
      std::string text = content.substr(lineStart, lineEnd - lineStart);
      lineStart = lineEnd + 1;
      text = Trim(text.substr(0, text.find('#')));
      if (text.empty()) continue;
      size_t place = 0;
      i64 value = 0;
      const char *problem = ParseNamedLine(text, place, value);
      if (!problem && named[place]) problem = "named twice";
      if (problem) {
        std::fprintf(err, "%s:%d: %s: %s\n", namesPath, line, problem, text.c_str());
        problems++;
        continue;
      }
      values[place] = value;
      named[place] = true;
    }
  }
  if (problems) return 1;

  FILE *out = std::fopen(valuesPath, "w");
  if (!out) {
    std::fprintf(err, "can't write %s\n", valuesPath);
    return 1;
  }
  for (i64 value : values) std::fprintf(out, "%lld\n", (long long)value);
  return std::fclose(out) == 0 ? 0 : 1;
}

int PrintValuesWithNames(const char *valuesPath, FILE *out, FILE *err) {
  ValuesText text;
  std::string error;
  if (!ReadValuesText(valuesPath, text, error)) {
    std::fprintf(err, "%s\n", error.c_str());
    return 1;
  }
  const std::vector<Place> &places = AllPlaces();
  const size_t shown = std::min(places.size(), text.numbers.size());
  for (size_t i = 0; i < shown; i++)
    std::fprintf(out, "%s = %lld\n", places[i].name.c_str(), (long long)text.numbers[i]);
  if (text.numbers.size() != places.size() || text.strayLine) {
    std::fprintf(err, "%s holds %zu numbers of %zu", valuesPath, text.numbers.size(), places.size());
    if (text.strayLine) std::fprintf(err, ", then something else on line %lld", (long long)text.strayLine);
    std::fprintf(err, "\n");
    return 1;
  }
  return 0;
}

int CheckValuesFile(const char *valuesPath, FILE *out) {
  ValuesText text;
  std::string error;
  if (!ReadValuesText(valuesPath, text, error)) {
    std::fprintf(out, "%s\n", error.c_str());
    return 1;
  }
  const i64 expected = ValuesFileCount();
  const i64 found = i64(text.numbers.size());
  std::fprintf(out, "%s: %lld numbers, %lld expected", valuesPath, (long long)found, (long long)expected);
  bool good = found == expected && !text.strayLine;
  if (text.strayLine) std::fprintf(out, "; not a number on line %lld", (long long)text.strayLine);
  // A number that doesn't fit its place is read saturated: the file doesn't say what it means.
  const std::vector<bool> wide = WidePlaces();
  i64 outOfRange = 0;
  for (size_t i = 0; i < text.numbers.size() && i < wide.size(); i++)
    if (!FitsPlace(wide[i], text.numbers[i])) outOfRange++;
  if (outOfRange) std::fprintf(out, "; %lld numbers out of range", (long long)outOfRange);
  good = good && !outOfRange;
  std::fprintf(out, "%s\n", good ? "; complete" : "");
  return good ? 0 : 1;
}
