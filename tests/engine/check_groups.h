// Named groups of checks on the engine binary, each run alone by ctest or all together by hand.
#pragma once
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

inline int Failures;

inline void Expect(bool condition, const std::string &group, const std::string &what) {
  if (condition) return;
  std::printf("FAIL [%s] %s\n", group.c_str(), what.c_str());
  Failures++;
}

using CheckGroup = std::pair<std::string, std::function<void(const std::string &)>>;

//   <program> <engine binary> [group]     (no group: all groups)
inline int RunCheckGroups(int argc, char **argv, const std::vector<CheckGroup> &groups) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s <engine binary> [group]\n", argv[0]);
    return 2;
  }
  for (const auto &[name, run] : groups)
    if (argc < 3 || name == argv[2]) run(argv[1]);
  std::printf("%s\n", Failures ? "FAILED" : "passed");
  return Failures ? 1 : 0;
}
