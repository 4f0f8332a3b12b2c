// ExchangeHolds and AttackIsReal on hand-made positions with known outcomes, for both colours.
#include "search/exchange.h"
#include "tests/unit/move_list.h"

using namespace movetest;

namespace {

struct ExchangeCase {
  const char *why;
  const char *fen;  // white to move; the mirror image is tested for black
  const char *to, *from;
  int moved, captured, promotion;
  int holds;
};

const ExchangeCase ExchangeCases[] = {
    {"pawn takes a defended queen", "3rk3/2p1p3/3q4/2P5/8/8/8/4K3 w - - 0 1", "d6", "c5", PAWN, QUEEN, 0, 1},
    {"queen takes a pawn defended by a pawn", "4k3/8/4p3/3p4/8/8/8/3QK3 w - - 0 1", "d5", "d1", QUEEN, PAWN, 0, 0},
    {"queen takes an undefended pawn", "4k3/8/8/3p4/8/8/8/3QK3 w - - 0 1", "d5", "d1", QUEEN, PAWN, 0, 1},
    {"queen takes a pawn defended by a knight", "4k3/8/5n2/3p4/8/8/8/3QK3 w - - 0 1", "d5", "d1", QUEEN, PAWN, 0, 0},
    {"rook takes a pawn defended by a bishop", "4k3/8/2b5/3p4/8/8/8/3RK3 w - - 0 1", "d5", "d1", ROOK, PAWN, 0, 0},
    {"queen takes a knight defended by a rook", "3rk3/8/8/3n4/8/8/8/3QK3 w - - 0 1", "d5", "d1", QUEEN, KNIGHT, 0, 0},
    {"rook takes a defended rook", "3rk3/8/8/3r4/8/8/8/3RK3 w - - 0 1", "d5", "d1", ROOK, ROOK, 0, 1},
    {"rook takes a bishop defended by a pawn", "4k3/4p3/3b4/8/8/8/8/3RK3 w - - 0 1", "d6", "d1", ROOK, BISHOP, 0, 0},
    // A pawn of our own behind the square settles it for anything below a queen.
    {"knight takes a knight-defended pawn, own pawn behind", "4k3/8/2n5/4p3/3P4/5N2/8/4K3 w - - 0 1", "e5", "f3",
     KNIGHT, PAWN, 0, 1},
    {"knight takes a knight-defended pawn alone", "4k3/8/2n5/4p3/8/5N2/8/4K3 w - - 0 1", "e5", "f3", KNIGHT, PAWN, 0,
     0},
    // A pawn behind the square does not save a quiet move that a rook and a queen attack.
    {"rook steps where rook and queen attack and a pawn guards", "3r3k/8/8/8/R6q/2P5/8/K7 w - - 0 1", "d4", "a4",
     ROOK, NONE, 0, 0},
    // Promotions: under-promotions never hold; a queen on an empty square risks one pawn.
    {"knight promotion on a free square", "4k3/1P6/8/8/8/8/8/4K3 w - - 0 1", "b8", "b7", PAWN, NONE, KNIGHT, 0},
    {"queen promotion on a free square", "4k3/1P6/8/8/8/8/8/4K3 w - - 0 1", "b8", "b7", PAWN, NONE, QUEEN, 1},
    {"queen promotion a knight takes", "4k3/1P1n4/8/8/8/8/8/4K3 w - - 0 1", "b8", "b7", PAWN, NONE, QUEEN, 0},
    {"queen promotion with a rook behind the pawn", "4k3/1P1n4/8/8/8/8/8/1R2K3 w - - 0 1", "b8", "b7", PAWN, NONE,
     QUEEN, 1},
    // The enemy king can take back only when nothing of ours bears on the square any more.
    {"rook takes a knight only the king defends, bishop also on it", "4k3/3n4/8/1B6/8/8/8/3RK3 w - - 0 1", "d7", "d1", ROOK,
     KNIGHT, 0, 1},
    {"rook takes a knight only the king defends, alone", "4k3/3n4/8/8/8/8/8/3RK3 w - - 0 1", "d7", "d1", ROOK, KNIGHT,
     0, 0},
    {"rook takes a knight only the king defends, own king near", "4k3/3n4/2K5/8/8/8/8/3R4 w - - 0 1", "d7", "d1", ROOK,
     KNIGHT, 0, 1},
    // Batteries: the rook or bishop behind the first attacker joins in.
    {"rook takes a rook-defended knight, second rook behind", "3rk3/8/3n4/8/8/8/3R4/3RK3 w - - 0 1", "d6", "d2", ROOK,
     KNIGHT, 0, 1},
    {"rook takes a rook-defended knight, no second rook", "3rk3/8/3n4/8/8/8/3R4/4K3 w - - 0 1", "d6", "d2", ROOK,
     KNIGHT, 0, 0},
    {"rook battery against a rook battery", "3rk3/3r4/8/3n4/8/8/3R4/3RK3 w - - 0 1", "d5", "d2", ROOK, KNIGHT, 0, 0},
    {"rook battery against a single rook", "4k3/3r4/8/3n4/8/8/3R4/3RK3 w - - 0 1", "d5", "d2", ROOK, KNIGHT, 0, 1},
    {"queen takes a queen-defended knight, bishop behind", "4k3/8/8/4n2q/8/8/1Q6/B3K3 w - - 0 1", "e5", "b2", QUEEN,
     KNIGHT, 0, 1},
    {"queen takes a queen-defended knight, no bishop", "4k3/8/8/4n2q/8/8/1Q6/4K3 w - - 0 1", "e5", "b2", QUEEN,
     KNIGHT, 0, 0},
};

TEST_F(MoveTest, ExchangeHoldsGivesTheKnownOutcomeForBothColours) {
  for (const ExchangeCase &c : ExchangeCases)
    ForBothColours(c.fen, [&](auto sq) {
      EXPECT_EQ(ExchangeHolds(sq(c.to), sq(c.from), c.moved, c.captured, c.promotion), c.holds) << c.why;
    });
}

struct AttackCase {
  const char *why;
  const char *fen;
  const char *target, *from;
  int moved, victim;
  int real;
};

const AttackCase AttackCases[] = {
    {"rook attacks an undefended rook", "r3k3/8/8/8/8/8/8/R3K3 w - - 0 1", "a8", "a1", ROOK, ROOK, 1},
    {"rook attacks a pawn-defended rook", "4k3/8/1p6/r7/8/8/8/R3K3 w - - 0 1", "a5", "a1", ROOK, ROOK, 0},
    {"knight attacks a pawn-defended bishop", "4k3/8/4p3/3b4/8/4N3/8/4K3 w - - 0 1", "d5", "e3", KNIGHT, BISHOP, 0},
    {"knight attacks a pawn-defended rook", "4k3/8/4p3/3r4/8/4N3/8/4K3 w - - 0 1", "d5", "e3", KNIGHT, ROOK, 1},
    {"queen attacks an undefended pawn", "4k3/8/8/3p4/8/8/8/3QK3 w - - 0 1", "d5", "d1", QUEEN, PAWN, 1},
    {"queen attacks a pawn-defended pawn", "4k3/8/4p3/3p4/8/8/8/3QK3 w - - 0 1", "d5", "d1", QUEEN, PAWN, 0},
    {"bishop attacks a knight-defended knight", "4k3/8/2n5/4n3/8/8/1B6/4K3 w - - 0 1", "e5", "b2", BISHOP, KNIGHT, 0},
    {"bishop and rook attack a knight-defended knight", "4k3/8/2n5/4n3/8/8/1B2R3/4K3 w - - 0 1", "e5", "b2", BISHOP,
     KNIGHT, 1},
    // An even trade is no win: the loop does not stop at a balance of 0.
    {"bishop and knight against two knights", "4k3/8/2n3n1/4n3/8/5N2/1B6/4K3 w - - 0 1", "e5", "b2", BISHOP, KNIGHT,
     0},
    {"bishop and knight against one knight", "4k3/8/2n5/4n3/8/5N2/1B6/4K3 w - - 0 1", "e5", "b2", BISHOP, KNIGHT, 1},
};

TEST_F(MoveTest, AttackIsRealAsksForAStrictWin) {
  for (const AttackCase &c : AttackCases)
    ForBothColours(c.fen, [&](auto sq) {
      EXPECT_EQ(AttackIsReal(sq(c.target), sq(c.from), c.moved, c.victim), c.real) << c.why;
    });
}

TEST_F(MoveTest, EvenCaptureHoldsThoughItIsNoRealAttack) {
  ForBothColours("4k3/8/4p3/3b4/8/4N3/8/4K3 w - - 0 1", [](auto sq) {
    EXPECT_EQ(ExchangeHolds(sq("d5"), sq("e3"), KNIGHT, BISHOP, 0), 1);
    EXPECT_EQ(AttackIsReal(sq("d5"), sq("e3"), KNIGHT, BISHOP), 0);
  });
}

}  // namespace
