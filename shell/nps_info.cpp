#include "shell/nps_info.h"

#include <cstdio>

#include "search/hash.h"
#include "shell/settings.h"
#include "think/time_control.h"

namespace {

// Time checks until the next line: 20, 5 or 2 at the three check intervals.
void ResetInfoCountdown() {
  Settings.InfoCountdown = Settings.TimeCheckInterval > 0 ? 100000 / Settings.TimeCheckInterval : 0;
}

}  // namespace

void PrintNpsInfo() {
  const SettingsRecord &s = Settings;
  if (s.Nodes != 0 && s.Nodes < 200001) return ResetInfoCountdown();
  const i64 elapsed = ElapsedCentiseconds();
  const i64 nps = elapsed < 1 ? 0 : i64(s.Nodes) * 100 / elapsed;
  printf("info nps %d nodes %d tbhits %d hashfull %d\n", i32(nps), s.Nodes, s.TbHits, HashFull());
  fflush(stdout);
  ResetInfoCountdown();
}
