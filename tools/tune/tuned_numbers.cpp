#include "tools/tune/tuned_numbers.h"

#include <cstring>
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
  i64 fileIndex = 0;
  for (int e = 0; e < ValuesLayoutSize; e++) {
    const ValuesEntry &entry = ValuesLayout[e];
    for (int i = 0; i < entry.count; i++, fileIndex++) {
      const char *table = TableNameOf(entry, i);
      if (!table) continue;
      for (const char *wanted : tables)
        if (!std::strcmp(table, wanted)) {
          numbers.push_back({fileIndex, SlotOf(entry, i).target, wanted});
          break;  // a group named twice tunes its numbers once
        }
    }
  }
  return true;
}

void SetNumbers(const std::vector<TunedNumber> &numbers, const std::vector<i32> &values) {
  for (size_t i = 0; i < numbers.size(); i++) *numbers[i].slot = values[i];
  BuildTablesExceptMaterial();
}

std::vector<i32> CurrentNumbers(const std::vector<TunedNumber> &numbers) {
  std::vector<i32> values;
  values.reserve(numbers.size());
  for (const TunedNumber &n : numbers) values.push_back(*n.slot);
  return values;
}
