// Searches the magic multipliers of the rook and bishop lookups and prints them as the source of
// board/magic_numbers.cpp. The engine uses the printed numbers; run this only to find new ones:
//   build/find_magics > board/magic_numbers.cpp
#include <cstdio>

#include "board/attacks.h"

namespace {

// The small deterministic generator of the search: the same numbers on every run.
struct MagicGenerator {
  u64 a = 0xF1EA5EED, b = 0xD4E12C77, c = 0xD4E12C77, d = 0xD4E12C77;
  static u64 Rotl(u64 x, int k) { return k ? (x << k) | (x >> (64 - k)) : x; }
  static u64 Rotr(u64 x, int k) { return k ? (x >> k) | (x << (64 - k)) : x; }
  MagicGenerator() {
    for (int i = 0; i < 73; i++) Next();
  }
  u64 Next() {
    u64 e = a - Rotl(b, 7);
    a = b ^ Rotl(c, 13);
    b = c + Rotl(d, 37);
    c = d + e;
    d = e + a;
    return d;
  }
  u64 Candidate(int booster) {
    u64 o1 = Next(), o2 = Next(), o3 = Next();
    u64 m = Rotr(o1, booster & 63) & o2;
    return Rotr(m, (booster >> 6) & 63) & o3;
  }
};

// A multiplier per square that sends each occupancy of the mask to a slot of its own, or to one whose attack set
// is the same, with as many slots as the mask has subsets.
void FindMagics(const int steps[4], u64 *magic) {
  static const int boosters[8] = {1059, 3608, 605, 3234, 3326, 38, 2029, 3043};
  static u64 occupancy[4096], reference[4096], slot[4096];
  // A slot counts as cleared when its stamp is not the current candidate's, which spares a wipe per try.
  static int stamp[4096];
  int candidate = 0;
  MagicGenerator generator;
  for (int sq = 0; sq < 64; sq++) {
    const u64 mask = SliderMask(sq, steps);
    const int shift = 64 - PopCount(mask);
    int size = 0;
    u64 subset = 0;
    do {
      occupancy[size] = subset;
      reference[size] = SliderAttacksSlowly(sq, steps, subset);
      size++;
      subset = (subset - mask) & mask;
    } while (subset);
    for (bool found = false; !found;) {
      u64 m;
      do m = generator.Candidate(boosters[RankOf(sq)]);
      while (PopCount((mask * m) >> 56) < 6);
      candidate++;
      found = true;
      for (int i = 0; i < size && found; i++) {
        const u64 index = (occupancy[i] * m) >> shift;
        if (stamp[index] != candidate) {
          stamp[index] = candidate;
          slot[index] = reference[i];
        } else if (slot[index] != reference[i]) {
          found = false;
        }
      }
      magic[sq] = m;
    }
  }
}

void Print(const char *name, const u64 *magic) {
  printf("const u64 %s[64] = {", name);
  for (int sq = 0; sq < 64; sq++) printf("%s0x%llXULL,", sq % 4 ? " " : "\n    ", static_cast<unsigned long long>(magic[sq]));
  printf("\n};\n");
}

}  // namespace

int main() {
  u64 rook[64], bishop[64];
  FindMagics(RookSteps, rook);
  FindMagics(BishopSteps, bishop);
  printf("// Printed by tools/magics/find_magics.cpp: the multipliers of the slider lookups.\n");
  printf("#include \"board/attacks.h\"\n\n");
  Print("RookMagic", rook);
  printf("\n");
  Print("BishopMagic", bishop);
}
