// The attack and geometry tables against walks over board coordinates.
#include <algorithm>
#include <cstdlib>
#include <initializer_list>

#include "board/attacks.h"
#include "board/piece_square.h"
#include "tests/unit/board_oracle.h"
#include "tests/unit/engine_fixture.h"

namespace {

constexpr int Sq(const char *name) { return (name[1] - '1') * 8 + (name[0] - 'a'); }

u64 Squares(std::initializer_list<const char *> names) {
  u64 set = 0;
  for (const char *name : names) set |= Bit(Sq(name));
  return set;
}

bool OnBoard(int file, int rank) { return file >= 0 && file < 8 && rank >= 0 && rank < 8; }

// Squares from `sq` in direction (df, dr), up to the board edge or the first square of `occ`, which counts.
u64 Walk(int sq, int df, int dr, u64 occ) {
  u64 result = 0;
  for (int f = FileOf(sq) + df, r = RankOf(sq) + dr; OnBoard(f, r); f += df, r += dr) {
    result |= Bit(r * 8 + f);
    if (occ & Bit(r * 8 + f)) break;
  }
  return result;
}

constexpr int kRookLines[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
constexpr int kBishopLines[4][2] = {{1, 1}, {-1, 1}, {1, -1}, {-1, -1}};

u64 NaiveRook(int sq, u64 occ) {
  u64 result = 0;
  for (const auto &d : kRookLines) result |= Walk(sq, d[0], d[1], occ);
  return result;
}

u64 NaiveBishop(int sq, u64 occ) {
  u64 result = 0;
  for (const auto &d : kBishopLines) result |= Walk(sq, d[0], d[1], occ);
  return result;
}

// Squares at the given (file, rank) offsets from sq that lie on the board.
u64 Steps(int sq, std::initializer_list<std::pair<int, int>> offsets) {
  u64 result = 0;
  for (auto [df, dr] : offsets)
    if (OnBoard(FileOf(sq) + df, RankOf(sq) + dr)) result |= Bit(sq + dr * 8 + df);
  return result;
}

u64 NaiveKnight(int sq) { return Steps(sq, {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}}); }
u64 NaiveKing(int sq) { return Steps(sq, {{1, 1}, {1, 0}, {1, -1}, {0, 1}, {0, -1}, {-1, 1}, {-1, 0}, {-1, -1}}); }
u64 NaivePawn(int side, int sq) { return Steps(sq, {{-1, side == WHITE ? 1 : -1}, {1, side == WHITE ? 1 : -1}}); }

// The unit step (in square numbers) that leads from y towards x along a line, 0 if there is none.
int LineStep(int x, int y) {
  const int df = FileOf(x) - FileOf(y), dr = RankOf(x) - RankOf(y);
  if (x == y || (df != 0 && dr != 0 && std::abs(df) != std::abs(dr))) return 0;
  const int fileStep = (df > 0) - (df < 0), rankStep = (dr > 0) - (dr < 0);
  return rankStep * 8 + fileStep;
}

struct SplitMix {
  u64 state;
  u64 Next() {
    u64 z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
  }
};

}  // namespace

TEST_F(EngineTest, BetweenAndDirectionFollowTheLines) {
  EXPECT_EQ(Between[Sq("a1")][Sq("h8")], Squares({"a1", "b2", "c3", "d4", "e5", "f6", "g7"}));
  EXPECT_EQ(Between[Sq("h8")][Sq("a1")], Squares({"b2", "c3", "d4", "e5", "f6", "g7", "h8"}));
  EXPECT_EQ(Between[Sq("a1")][Sq("b3")], 0u);
  EXPECT_EQ(Between[Sq("e4")][Sq("e4")], 0u);
  EXPECT_EQ(Direction[Sq("a1")][Sq("h8")], -9);
  EXPECT_EQ(Direction[Sq("h8")][Sq("a1")], 9);
  EXPECT_EQ(Direction[Sq("e4")][Sq("f6")], 0);  // a knight's relation
  for (int x = 0; x < 64; x++)
    for (int y = 0; y < 64; y++) {
      const int step = LineStep(x, y);
      u64 between = 0;  // x and the squares towards y, without y
      if (step)
        for (int sq = y + step;; sq += step) {
          between |= Bit(sq);
          if (sq == x) break;
        }
      ASSERT_EQ(Direction[x][y], step) << "x " << x << " y " << y;
      ASSERT_EQ(Between[x][y], between) << "x " << x << " y " << y;
    }
}

TEST_F(EngineTest, SliderMasksMagicsAndPoolLayout) {
  EXPECT_EQ(PopCount(RookMask[Sq("a1")]), 12);
  EXPECT_EQ(PopCount(RookMask[Sq("d4")]), 10);
  EXPECT_EQ(PopCount(BishopMask[Sq("a1")]), 6);
  EXPECT_EQ(PopCount(BishopMask[Sq("d4")]), 9);
  EXPECT_EQ(RookMagic[0], 0x8000400020801AULL);
  EXPECT_EQ(BishopMagic[0], 0x4404700420508600ULL);

  long rookEntries = 0, bishopEntries = 0;
  for (int sq = 0; sq < 64; sq++) {
    const int file = FileOf(sq), rank = RankOf(sq);
    const u64 edges = ((RANK_1 | RANK_8) & ~RankMask(rank)) | ((FILE_A | FILE_H) & ~FileMask(file));
    EXPECT_EQ(RookMask[sq], NaiveRook(sq, 0) & ~edges) << sq;
    EXPECT_EQ(BishopMask[sq], NaiveBishop(sq, 0) & ~edges) << sq;
    EXPECT_EQ(RookShift[sq], u32(64 - PopCount(RookMask[sq]))) << sq;
    EXPECT_EQ(BishopShift[sq], u32(64 - PopCount(BishopMask[sq]))) << sq;
    // Slices follow one another in square order.
    EXPECT_EQ(RookTable[sq] - RookTable[0], rookEntries) << sq;
    EXPECT_EQ(BishopTable[sq] - BishopTable[0], bishopEntries) << sq;
    rookEntries += 1L << PopCount(RookMask[sq]);
    bishopEntries += 1L << PopCount(BishopMask[sq]);
    EXPECT_EQ(RookEmpty[sq], NaiveRook(sq, 0)) << sq;
    EXPECT_EQ(BishopEmpty[sq], NaiveBishop(sq, 0)) << sq;
    EXPECT_EQ(QueenEmpty[sq], NaiveRook(sq, 0) | NaiveBishop(sq, 0)) << sq;
  }
  EXPECT_EQ(rookEntries, 102400);
  EXPECT_EQ(bishopEntries, 5248);
}

TEST_F(EngineTest, SlidingAttacksMatchRayWalkForRandomOccupancies) {
  SplitMix random{20240611};
  for (int sq = 0; sq < 64; sq++)
    for (int i = 0; i < 400; i++) {
      // Sparse to dense boards; the square itself and bits off the masks must not matter.
      u64 occ = random.Next();
      for (int thin = i % 4; thin > 0; thin--) occ &= random.Next();
      ASSERT_EQ(RookAttacks(sq, occ), NaiveRook(sq, occ)) << "square " << sq << " occupancy 0x" << std::hex << occ;
      ASSERT_EQ(BishopAttacks(sq, occ), NaiveBishop(sq, occ)) << "square " << sq << " occupancy 0x" << std::hex << occ;
    }
}

TEST_F(EngineTest, StepTablesAndRaysStayOnTheBoard) {
  for (int sq = 0; sq < 64; sq++) {
    EXPECT_EQ(KingAttacks[sq], NaiveKing(sq)) << sq;
    EXPECT_EQ(KnightAttacks[sq], NaiveKnight(sq)) << sq;
    EXPECT_EQ(PawnAttacks[WHITE][sq], NaivePawn(WHITE, sq)) << sq;
    EXPECT_EQ(PawnAttacks[BLACK][sq], NaivePawn(BLACK, sq)) << sq;
    EXPECT_EQ(RayNE[sq], Walk(sq, 1, 1, 0)) << sq;
    EXPECT_EQ(RayN[sq], Walk(sq, 0, 1, 0)) << sq;
    EXPECT_EQ(RayNW[sq], Walk(sq, -1, 1, 0)) << sq;
    EXPECT_EQ(RayE[sq], Walk(sq, 1, 0, 0)) << sq;
    EXPECT_EQ(RayW[sq], Walk(sq, -1, 0, 0)) << sq;
    EXPECT_EQ(RaySE[sq], Walk(sq, 1, -1, 0)) << sq;
    EXPECT_EQ(RayS[sq], Walk(sq, 0, -1, 0)) << sq;
    EXPECT_EQ(RaySW[sq], Walk(sq, -1, -1, 0)) << sq;
  }
}

TEST_F(EngineTest, IsAttackedCountsKingsAndPawnsDiagonally) {
  oracle::LoadFenExact("8/8/8/4k3/4K3/8/8/8 w - - 0 1");
  EXPECT_TRUE(IsAttacked(WHITE, Sq("e5")));
  EXPECT_TRUE(IsAttacked(BLACK, Sq("e4")));
  oracle::LoadFenExact("4k3/8/8/8/4P3/8/8/4K3 w - - 0 1");
  EXPECT_TRUE(IsAttacked(WHITE, Sq("d5")));
  EXPECT_TRUE(IsAttacked(WHITE, Sq("f5")));
  EXPECT_FALSE(IsAttacked(WHITE, Sq("e5")));
  EXPECT_FALSE(IsAttacked(WHITE, Sq("d3")));
}

TEST_F(EngineTest, IsAttackedMatchesNaiveAttackMaps) {
  SplitMix random{77};
  static const int kinds[5] = {KNIGHT, PAWN, ROOK, BISHOP, QUEEN};
  for (int position = 0; position < 400; position++) {
    ClearBoard();
    auto emptySquare = [&] {
      int sq;
      do sq = int(random.Next() % 64);
      while (thread_board.Board[sq]);
      return sq;
    };
    AddPiece(emptySquare(), WHITE, KING);
    AddPiece(emptySquare(), BLACK, KING);
    for (int extra = int(random.Next() % 14); extra > 0; extra--)
      AddPiece(emptySquare(), int(random.Next() % 2), kinds[random.Next() % 5]);
    const u64 occ = thread_board.Occupied;
    for (int side : {WHITE, BLACK}) {
      u64 attacked = 0;
      for (u64 own = thread_board.Pieces[side]; own;) {
        const int sq = PopLowest(own);
        switch (thread_board.Board[sq]) {
          case KING: attacked |= NaiveKing(sq); break;
          case KNIGHT: attacked |= NaiveKnight(sq); break;
          case PAWN: attacked |= NaivePawn(side, sq); break;
          case ROOK: attacked |= NaiveRook(sq, occ); break;
          case BISHOP: attacked |= NaiveBishop(sq, occ); break;
          case QUEEN: attacked |= NaiveRook(sq, occ) | NaiveBishop(sq, occ); break;
        }
      }
      for (int sq = 0; sq < 64; sq++)
        ASSERT_EQ(IsAttacked(side, sq), ((attacked >> sq) & 1) != 0)
            << "position " << position << " side " << side << " square " << sq;
    }
  }
}

TEST_F(EngineTest, ByteTables) {
  const struct {
    int files, fileClass;
  } classes[] = {{0x00, 0}, {0x01, 1}, {0x80, 1}, {0x02, 2}, {0x40, 2}, {0x04, 3}, {0x20, 3},
                 {0x03, 4}, {0xC0, 4}, {0x81, 5}, {0x06, 5}, {0x18, 5}, {0x07, 5}, {0xFF, 5}};
  for (const auto &c : classes) EXPECT_EQ(PawnFileClass[c.files], c.fileClass) << "files 0x" << std::hex << c.files;
  // An empty byte has no highest or lowest bit: both read 8.
  EXPECT_EQ(HighBit[0], 8);
  EXPECT_EQ(LowBit[0], 8);
  EXPECT_EQ(HighBit[0x90], 7);
  EXPECT_EQ(LowBit[0x90], 4);
  EXPECT_EQ(BitCount[0xB7], 6);
  EXPECT_EQ(ReverseBits[0x01], 0x80);
  EXPECT_EQ(ReverseBits[0x0D], 0xB0);
  EXPECT_EQ(LowerCase[u8('A')], 'a');
  EXPECT_EQ(LowerCase[u8('Z')], 'z');
  EXPECT_EQ(LowerCase[u8('@')], '@');
  EXPECT_EQ(LowerCase[u8('[')], '[');
  EXPECT_EQ(LowerCase[0xC4], 0xC4);
}

TEST_F(EngineTest, KnightDistanceIsTheShortestKnightPath) {
  EXPECT_EQ(KnightDistance[Sq("a1")][Sq("b2")], 4);
  EXPECT_EQ(KnightDistance[Sq("a1")][Sq("h8")], 6);
  EXPECT_EQ(KnightDistance[Sq("e4")][Sq("e4")], 0);
  for (int source = 0; source < 64; source++) {
    int distance[64];
    std::fill(distance, distance + 64, -1);
    distance[source] = 0;
    int queue[64], head = 0, tail = 0;
    queue[tail++] = source;
    while (head < tail) {
      const int sq = queue[head++];
      for (u64 next = NaiveKnight(sq); next;) {
        const int to = PopLowest(next);
        if (distance[to] < 0) distance[to] = distance[sq] + 1, queue[tail++] = to;
      }
    }
    for (int target = 0; target < 64; target++)
      ASSERT_EQ(KnightDistance[source][target], distance[target]) << source << " -> " << target;
  }
}

TEST_F(EngineTest, EvaluationMasksByCoordinates) {
  for (int sq = 0; sq < 64; sq++) {
    const int file = FileOf(sq), rank = RankOf(sq);
    u64 above = 0, below = 0, adjacent = 0, passedWhite = 0, passedBlack = 0, rowAbove = 0, rowBelow = 0;
    for (int other = 0; other < 64; other++) {
      const int f = FileOf(other), r = RankOf(other), df = std::abs(f - file);
      if (r > rank) above |= Bit(other);
      if (r < rank) below |= Bit(other);
      if (df == 1) adjacent |= Bit(other);
      if (df <= 1 && r > rank) passedWhite |= Bit(other);
      if (df <= 1 && r < rank) passedBlack |= Bit(other);
      if (df <= 1 && r == rank + 1) rowAbove |= Bit(other);
      if (df <= 1 && r == rank - 1) rowBelow |= Bit(other);
    }
    EXPECT_EQ(RanksAbove[sq], above) << sq;
    EXPECT_EQ(RanksBelow[sq], below) << sq;
    EXPECT_EQ(AdjacentFiles[sq], adjacent) << sq;
    EXPECT_EQ(FileAbove[sq], above & FileMask(file)) << sq;
    EXPECT_EQ(FileBelow[sq], below & FileMask(file)) << sq;
    EXPECT_EQ(PassedMask[WHITE][sq], passedWhite) << sq;
    EXPECT_EQ(PassedMask[BLACK][sq], passedBlack) << sq;
    EXPECT_EQ(RowAbove[sq], rowAbove) << sq;
    EXPECT_EQ(RowBelow[sq], rowBelow) << sq;
    EXPECT_EQ(NotFile[file], ~FileMask(file));
  }
  // The rule of the square, for pawns on the second to seventh rank.
  for (int sq = 8; sq < 56; sq++) {
    const int file = FileOf(sq), white = std::max(RankOf(sq), 2), black = std::min(RankOf(sq), 5);
    u64 whiteSquare = 0, whiteTempo = 0, blackSquare = 0, blackTempo = 0;
    for (int other = 0; other < 64; other++) {
      const int r = RankOf(other), df = std::abs(FileOf(other) - file);
      if (r >= white && df <= 7 - white) whiteSquare |= Bit(other);
      if (r >= white - 1 && df <= 8 - white) whiteTempo |= Bit(other);
      if (r <= black && df <= black) blackSquare |= Bit(other);
      if (r <= black + 1 && df <= black + 1) blackTempo |= Bit(other);
    }
    EXPECT_EQ(PawnSquareWhite[sq], whiteSquare) << sq;
    EXPECT_EQ(PawnSquareWhiteTempo[sq], whiteTempo) << sq;
    EXPECT_EQ(PawnSquareBlack[sq], blackSquare) << sq;
    EXPECT_EQ(PawnSquareBlackTempo[sq], blackTempo) << sq;
  }
  for (int x = 0; x < 64; x += 9)
    for (int y = 0; y < 64; y += 7) {
      u64 rectangle = 0;
      for (int sq = 0; sq < 64; sq++)
        if (FileOf(sq) >= std::min(FileOf(x), FileOf(y)) && FileOf(sq) <= std::max(FileOf(x), FileOf(y)) &&
            RankOf(sq) >= std::min(RankOf(x), RankOf(y)) && RankOf(sq) <= std::max(RankOf(x), RankOf(y)))
          rectangle |= Bit(sq);
      EXPECT_EQ(Rectangle[x][y], rectangle) << x << " " << y;
    }
}

TEST_F(EngineTest, EdgeOppositionIsReadAtBit63MinusTheOtherKing) {
  auto opposed = [](std::initializer_list<const char *> names) {
    u64 set = 0;
    for (const char *name : names) set |= Bit(63 - Sq(name));
    return set;
  };
  EXPECT_EQ(EdgeOpposition[Sq("a1")], opposed({"c1", "c2", "a3", "b3"}));
  EXPECT_EQ(EdgeOpposition[Sq("h1")], opposed({"f1", "f2", "g3", "h3"}));
  EXPECT_EQ(EdgeOpposition[Sq("a8")], opposed({"a6", "b6", "c7", "c8"}));
  EXPECT_EQ(EdgeOpposition[Sq("h8")], opposed({"g6", "h6", "f7", "f8"}));
  EXPECT_EQ(EdgeOpposition[Sq("d1")], opposed({"d3"}));
  EXPECT_EQ(EdgeOpposition[Sq("e8")], opposed({"e6"}));
  EXPECT_EQ(EdgeOpposition[Sq("a5")], opposed({"c5"}));
  EXPECT_EQ(EdgeOpposition[Sq("h4")], opposed({"f4"}));
  EXPECT_EQ(EdgeOpposition[Sq("d4")], 0u);
}

TEST_F(EngineTest, PieceSquareValuesAreMirroredTopToBottomAndPacked) {
  auto opening = [](i32 packed) { return (packed + 32768) >> 16; };
  auto ending = [](i32 packed) { return int(i16(packed & 0xFFFF)); };
  // The king's opening row is not symmetric left to right: b1 19, g1 15 for white, b8 and g8 for black.
  EXPECT_EQ(PstOpening[KING][WHITE][Sq("b1")], 19);
  EXPECT_EQ(PstOpening[KING][WHITE][Sq("g1")], 15);
  EXPECT_EQ(PstOpening[KING][BLACK][Sq("b8")], 19);
  EXPECT_EQ(PstOpening[KING][BLACK][Sq("g8")], 15);
  EXPECT_EQ(PstEnding[KING][WHITE][Sq("a1")], -76);
  EXPECT_EQ(PstOpening[PAWN][WHITE][Sq("e4")], 25);
  EXPECT_EQ(PstOpening[PAWN][BLACK][Sq("e5")], 25);
  EXPECT_EQ(PstEnding[PAWN][WHITE][Sq("a7")], 6);
  // The queen's opening -5 lies on its own back rank.
  EXPECT_EQ(PstOpening[QUEEN][WHITE][Sq("d1")], -5);
  EXPECT_EQ(PstOpening[QUEEN][BLACK][Sq("d8")], -5);
  EXPECT_EQ(PstOpening[QUEEN][WHITE][Sq("d8")], 0);
  for (int piece = 0; piece < 8; piece++)
    for (int side = 0; side < 2; side++)
      for (int sq = 0; sq < 64; sq++) {
        const i32 packed = PieceSquare[piece][side][sq];
        ASSERT_EQ(opening(packed), PstOpening[piece][side][sq]) << piece << " " << side << " " << sq;
        ASSERT_EQ(ending(packed), PstEnding[piece][side][sq]) << piece << " " << side << " " << sq;
        ASSERT_EQ(PieceSquare[piece][side][sq], PieceSquare[piece][side ^ 1][sq ^ 56]);
        if (piece == NONE || piece == 4) {
          ASSERT_EQ(packed, 0);
        }
      }
}
