// The standard 64-bit Mersenne Twister, used only to draw the Zobrist keys.
#pragma once
#include "board/types.h"

struct Mt19937_64 {
  static constexpr int N = 312;
  u64 state[N];
  int index = N + 1;

  void Seed(u64 seed);
  void SeedByArray(const u64 *key, int length);
  u64 Next();
};
