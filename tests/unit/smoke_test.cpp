#include "tests/unit/engine_fixture.h"
#include "tools/perft.h"

TEST_F(EngineTest, StartPositionPerft) {
  for (int depth = 1; depth <= 4; depth++) {
    PerftCount = 0;
    Perft(depth);
    printf("%d %lld\n", depth, (long long)PerftCount);
  }
}
