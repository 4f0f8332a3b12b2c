#include "board/mt19937_64.h"

namespace {
constexpr int MIDDLE = 156;
constexpr u64 MATRIX = 0xB5026F5AA96619E9ULL;
constexpr u64 UPPER = 0xFFFFFFFF80000000ULL;
constexpr u64 LOWER = 0x7FFFFFFFULL;
}  // namespace

void Mt19937_64::Seed(u64 seed) {
  state[0] = seed;
  for (index = 1; index < N; index++)
    state[index] = 6364136223846793005ULL * (state[index - 1] ^ (state[index - 1] >> 62)) + u64(index);
}

void Mt19937_64::SeedByArray(const u64 *key, int length) {
  Seed(19650218ULL);
  int i = 1, j = 0;
  for (int k = N > length ? N : length; k; k--) {
    state[i] = (state[i] ^ ((state[i - 1] ^ (state[i - 1] >> 62)) * 3935559000370003845ULL)) + key[j] + u64(j);
    i++, j++;
    if (i >= N) state[0] = state[N - 1], i = 1;
    if (j >= length) j = 0;
  }
  for (int k = N - 1; k; k--) {
    state[i] = (state[i] ^ ((state[i - 1] ^ (state[i - 1] >> 62)) * 2862933555777941757ULL)) - u64(i);
    i++;
    if (i >= N) state[0] = state[N - 1], i = 1;
  }
  state[0] = 1ULL << 63;
}

u64 Mt19937_64::Next() {
  if (index >= N) {
    if (index == N + 1) Seed(5489ULL);
    for (int i = 0; i < N; i++) {
      u64 x = (state[i] & UPPER) | (state[(i + 1) % N] & LOWER);
      state[i] = state[(i + MIDDLE) % N] ^ (x >> 1) ^ ((x & 1) ? MATRIX : 0);
    }
    index = 0;
  }
  u64 x = state[index++];
  x ^= (x >> 29) & 0x5555555555555555ULL;
  x ^= (x << 17) & 0x71D67FFFEDA60000ULL;
  x ^= (x << 37) & 0xFFF7EEE000000000ULL;
  x ^= x >> 43;
  return x;
}
