#include "tools/tune/tuned_numbers.h"

#include <cstring>
#include <map>
#include <sstream>

#include "eval/values.h"
#include "eval/values_layout.h"

const std::vector<TermGroup> &TermGroups() {
  // Terms added straight into the evaluation's sums. Material, scaling factors, king safety and the passed
  // pawn products stay as they are set by hand (see tools/tune/README.md); so do tables that the load clamps.
  static const std::vector<TermGroup> groups = {
      {"mobility",
       {"KnightMobilityOpening", "KnightMobilityEnding", "KnightSafeMobilityOpening", "KnightSafeMobilityEnding",
        "BishopMobilityOpening", "BishopMobilityEnding", "BishopSafeMobilityOpening", "BishopSafeMobilityEnding",
        "RookMobilityOpening", "RookMobilityEnding", "RookReachMobilityOpening", "RookReachMobilityEnding",
        "QueenMobilityOpening", "QueenMobilityEnding", "QueenSafeMobilityOpening", "QueenSafeMobilityEnding"}},
      {"outposts",
       {"KnightOutpostOpening", "KnightOutpostEnding", "KnightOutpostProtectedOpening", "KnightOutpostProtectedEnding",
        "KnightOutpostExposedOpening", "KnightOutpostExposedEnding", "BishopOutpostOpening", "BishopOutpostEnding",
        "BishopOutpostProtectedOpening", "BishopOutpostProtectedEnding", "BishopOutpostExposedOpening",
        "BishopOutpostExposedEnding"}},
      {"cages", {"KnightCageOpening", "KnightCageEnding", "BishopCageOpening", "BishopCageEnding"}},
      {"pawns",
       {"PawnIsolatedOpenEnding", "PawnBackwardOpenEnding", "PawnIsolatedOpenOpening", "PawnBackwardOpenOpening",
        "PawnIsolatedOpening", "PawnIsolatedEnding", "PawnBackwardOpening", "PawnBackwardEnding", "PawnDoubledOpening",
        "PawnDoubledEnding", "PawnConnectedSourceOpening", "PawnConnectedSourceEnding", "PawnCandidateOpening",
        "PawnCandidateEnding", "PawnBreakthroughOpening", "PawnBreakthroughEnding", "PawnSpanOpening",
        "PawnSpanEnding", "PassedSpanOpening", "PassedSpanEnding"}},
      {"rooks",
       {"RookOpenFileOpening", "RookOpenFileEnding", "RookHalfOpenFileOpening", "RookHalfOpenFileEnding",
        "RookWeakFileOpening", "RookWeakFileEnding", "RookWeakPawnOpening", "RookWeakPawnEnding",
        "RookSeventhOpening", "RookSeventhEnding", "RookDoubledSeventhOpening", "RookDoubledSeventhEnding",
        "RookSeventhPassedOpening", "RookSeventhPassedEnding", "RookBackRankOpening", "RookBackRankEnding",
        "TrappedRookOpening", "TrappedRookEnding", "BackRankNoLuftOpening", "BackRankNoLuftEnding",
        "QueenBackRankOpening", "QueenBackRankEnding", "QueenSeventhOpening", "QueenSeventhEnding",
        "RookBehindPasserFreeOpening", "RookBehindPasserFreeEnding", "RookBehindPasserBlockedOpening",
        "RookBehindPasserBlockedEnding"}},
      {"bishops",
       {"BadBishopOpening", "BadBishopEnding", "BadBishopBlockedOpening", "BadBishopBlockedEnding",
        "BishopVersusKnightOpening", "BishopVersusKnightEnding", "FianchettoEnding", "PinValueSource"}},
      {"threats",
       {"ThreatBalanceOpening", "ThreatBalanceEnding", "ThreatInitiative", "BlockedPawnsAllOpening",
        "BlockedPawnsAllEnding", "BlockedPawnsKnightOpening", "BlockedPawnsKnightEnding", "TempoByPhase"}},
      // Piece-square values by king wing: many numbers, each met in few positions.
      {"wings", {"WingPstOpening", "WingPstEnding"}},
  };
  return groups;
}

// The name of the number that a file mirror of the board reads in place of the named one: files a-h become
// h-a, and a wing table's king wing index (own king on the queen side twice, the enemy's once) becomes 3 - wing.
static std::string MirroredName(const std::string &name) {
  std::string mirrored = name;
  for (size_t i = 0; i + 3 < mirrored.size(); i++)
    if (mirrored[i] == '[' && mirrored[i + 1] >= 'a' && mirrored[i + 1] <= 'h' && mirrored[i + 2] >= '1' &&
        mirrored[i + 2] <= '8' && mirrored[i + 3] == ']')
      mirrored[i + 1] = char('a' + 'h' - mirrored[i + 1]);
  if (mirrored.rfind("WingPst", 0) == 0) {
    const size_t wing = mirrored.find("][") + 2;
    mirrored[wing] = char('0' + 3 - (mirrored[wing] - '0'));
  }
  return mirrored;
}

bool SelectNumbers(const std::string &groups, std::vector<TunedNumber> &numbers, std::string &error) {
  std::vector<const char *> tables;
  std::stringstream list(groups);
  for (std::string name; std::getline(list, name, ',');) {
    const TermGroup *found = nullptr;
    for (const TermGroup &group : TermGroups())
      if (name == group.name) found = &group;
    if (!found) {
      error = "unknown group of terms: " + name;
      return false;
    }
    tables.insert(tables.end(), found->tables.begin(), found->tables.end());
  }
  numbers.clear();
  std::map<std::string, size_t> byName;
  std::vector<std::string> mirrors;
  i64 fileIndex = 0;
  for (int e = 0; e < ValuesLayoutSize; e++) {
    const ValuesEntry &entry = ValuesLayout[e];
    for (int i = 0; i < entry.count; i++, fileIndex++) {
      const char *table = TableNameOf(entry, i);
      if (!table) continue;
      for (const char *wanted : tables)
        if (!std::strcmp(table, wanted)) {
          char name[256];
          SlotName(entry, i, name, sizeof name);
          byName[name] = numbers.size();
          mirrors.push_back(MirroredName(name));
          numbers.push_back({fileIndex, SlotOf(entry, i).target, wanted});
          break;  // a group named twice tunes its numbers once
        }
    }
  }
  // The first of each tied pair in the file's order stays and carries the second. Half tables that the load
  // mirrors have no number for the other half, so they stay alone.
  std::vector<TunedNumber> kept;
  std::vector<bool> carried(numbers.size(), false);
  for (size_t j = 0; j < numbers.size(); j++) {
    if (carried[j]) continue;
    TunedNumber number = numbers[j];
    const auto partner = byName.find(mirrors[j]);
    if (partner != byName.end() && partner->second > j) {
      number.mirrorFileIndex = numbers[partner->second].fileIndex;
      number.mirrorSlot = numbers[partner->second].slot;
      carried[partner->second] = true;
    }
    kept.push_back(number);
  }
  numbers = kept;
  return true;
}

void SetNumber(const TunedNumber &number, i32 value) {
  *number.slot = value;
  if (number.mirrorSlot) *number.mirrorSlot = value;
}

void SetNumbers(const std::vector<TunedNumber> &numbers, const std::vector<i32> &values) {
  for (size_t i = 0; i < numbers.size(); i++) SetNumber(numbers[i], values[i]);
  BuildTablesExceptMaterial();
}

std::vector<i32> CurrentNumbers(const std::vector<TunedNumber> &numbers) {
  std::vector<i32> values;
  values.reserve(numbers.size());
  for (const TunedNumber &n : numbers) values.push_back(*n.slot);
  return values;
}
