// Drives the real engine binary through its standard input and output, as a GUI or a person does.
//
//   shell_tests <engine binary> <data directory> <group>...
//
// Exit code 0 when every check of the named groups passed, 1 otherwise; each failure is printed.
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "groups.h"

namespace {

struct Group {
  const char *name;
  void (*run)(Context &);
};

const Group kGroups[] = {
    {"startup.report", StartupReport},
    {"startup.settings_file", StartupSettingsFile},
    {"input.pipe", InputPipe},
    {"input.long_lines", InputLongLines},
    {"input.binary", InputBinary},
    {"input.terminal", InputTerminal},
    {"input.conversation", InputConversation},
    {"commands.chain", CommandChain},
    {"commands.moves", CommandMoves},
    {"commands.board", CommandBoard},
    {"uci.setup", UciSetup},
    {"uci.options", UciOptions},
    {"uci.go", UciGo},
    {"long_game", LongGame},
    {"bad_arguments", BadArguments},
};

}  // namespace

int main(int argc, char **argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s <engine binary> <data directory> <group>...\ngroups:", argv[0]);
    for (const auto &group : kGroups) std::fprintf(stderr, " %s", group.name);
    std::fprintf(stderr, " all\n");
    return 2;
  }
  int failures = 0;
  for (int i = 3; i < argc; i++) {
    bool found = false;
    for (const auto &group : kGroups) {
      if (std::strcmp(argv[i], "all") != 0 && std::strcmp(argv[i], group.name) != 0) continue;
      found = true;
      // The engine runs in a directory of its own: its path must not depend on the current one.
      char engine[PATH_MAX], data[PATH_MAX];
      if (!realpath(argv[1], engine) || !realpath(argv[2], data)) {
        std::fprintf(stderr, "cannot find %s or %s\n", argv[1], argv[2]);
        return 2;
      }
      Context context{engine, data, Checker(group.name)};
      group.run(context);
      std::printf("%s: %s\n", group.name, context.check.Failures() ? "FAILED" : "passed");
      failures += context.check.Failures();
    }
    if (!found) {
      std::fprintf(stderr, "unknown group %s\n", argv[i]);
      return 2;
    }
  }
  return failures ? 1 : 0;
}
