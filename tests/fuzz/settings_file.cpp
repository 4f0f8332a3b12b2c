// The settings file, read as at start: the input is Quarvelle.ini in the working directory, and start-up runs on it
// from the defaults on, tables allocated by its sizes, book, learning file and tablebases opened by its paths and
// switches. A short search then plays under those settings.
#include "search/hash.h"
#include "shell/engine.h"
#include "shell/settings.h"
#include "tests/fuzz/fuzz_session.h"
#include "tests/fuzz/fuzz_targets.h"

int FuzzSettingsFile(const uint8_t *data, size_t size) {
  ResetEngine();
  WriteScratchFile("Quarvelle.ini", data, size);
  RunSession([] {
    ReleaseTables();  // start-up allocates them anew
    SetFirstDefaults();
    StartFromSettings();
    for (const char *command : {"sd 3", "go"}) RunCommand(command);
  });
  return 0;
}
