// Repetition: the table of reversible moves, the walk back through the game, and the move back.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "board/attacks.h"
#include "board/makemove.h"
#include "search/repetition.h"
#include "tests/unit/engine_fixture.h"

namespace {

int Square(const char *name) { return (name[1] - '1') * 8 + (name[0] - 'a'); }

class RepetitionTest : public EngineTest {
 protected:
  static void SetUpTestSuite() {
    InitEngineTables();
    BuildRepetitionTable();
  }

  // Plays coordinate moves from a FEN, each as the search would make it.
  // A null FEN goes on from the board as it stands.
  static void Play(const char *fen, std::initializer_list<const char *> moves) {
    if (fen) LoadFen(fen);
    for (const char *text : moves) {
      const int from = Square(text), to = Square(text + 2);
      make_move(MakeMove(from, to, thread_board.Board[from], thread_board.Board[to]), 1);
    }
  }
  // A null move as the search makes it: the entry's move is 0.
  static void PlayNull() {
    GameHistoryEntry &entry = GameHistory[GameHistoryCount++];
    entry = GameHistoryEntry{};
    entry.Key = thread_board.PositionKey;
    entry.ReversibleMoves = thread_board.ReversibleMoves + 1;
    thread_board.ReversibleMoves = 0;
    thread_board.SideToMove ^= 1;
  }
};

const char *const Start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

TEST_F(RepetitionTest, EveryReversibleMoveIsStoredOnceInOneDirection) {
  testing::internal::CaptureStdout();
  BuildRepetitionTable();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "no slot overflows";
  struct Kind {
    int code;
    const u64 *targets;
  };
  const Kind kinds[] = {{KING, KingAttacks}, {KNIGHT, KnightAttacks}, {BISHOP, BishopEmpty},
                        {QUEEN, BishopEmpty}, {ROOK, RookEmpty},       {QUEEN, RookEmpty}};
  for (const Kind &kind : kinds)
    for (int side : {WHITE, BLACK})
      for (int a = 0; a < 64; a++)
        for (u64 set = kind.targets[a]; set;) {
          const int b = PopLowest(set);
          const u64 key = PieceKeys[side][kind.code][a] ^ PieceKeys[side][kind.code][b];
          const RepetitionSlot &slot = RepetitionTable[key & (REPETITION_SLOTS - 1)];
          int found = 0;
          for (int i = 0; i < 4; i++) {
            if (slot.Keys[i] != key || slot.Moves[i] == 0) continue;
            const int m = u16(slot.Moves[i]);
            EXPECT_EQ(m >> 12, kind.code);
            EXPECT_TRUE(((m & 63) == a && ((m >> 6) & 63) == b) || ((m & 63) == b && ((m >> 6) & 63) == a));
            found++;
          }
          ASSERT_EQ(found, 1) << "code " << kind.code << " from " << a << " to " << b;
        }
}

TEST_F(RepetitionTest, AnEarlierPositionInTheReversibleStretchIsADraw) {
  Play(Start, {"g1f3", "g8f6", "f3g1", "f6g8"});
  EXPECT_EQ(IsRepetition(0), 1) << "a single earlier occurrence is enough";
  Play(Start, {"e2e4", "e7e5", "g1f3", "g8f6", "f3g1", "f6g8"});
  EXPECT_EQ(IsRepetition(0), 1);
  Play(Start, {"g1f3", "g8f6", "f3g1", "f6g8", "g1f3"});
  EXPECT_EQ(IsRepetition(0), 1) << "the position after Nf3 again";
  Play(Start, {"g1f3", "g8f6", "f3g1"});
  EXPECT_EQ(IsRepetition(0), 0);
  Play("4k3/8/8/8/8/8/8/4K3 w - - 0 1", {});
  thread_board.ReversibleMoves = 99;
  EXPECT_EQ(IsRepetition(0), 0);
  thread_board.ReversibleMoves = 100;
  EXPECT_EQ(IsRepetition(0), 1) << "fifty moves, even without history";
}

TEST_F(RepetitionTest, TheWalkStopsAtAnIrreversibleMoveOrANullMove) {
  const char *kings = "4k3/8/8/8/8/8/8/4K3 w - - 0 1";
  Play(kings, {"e1d1", "e8d8", "d1e1", "d8e8"});
  ASSERT_EQ(IsRepetition(0), 1);
  GameHistory[0].Move |= u32(PAWN) << 15;  // the same keys behind a capture
  EXPECT_EQ(IsRepetition(0), 0);

  // The start position comes back six plies on, but a null move lies between.
  Play(kings, {"e1d1", "e8d8"});
  PlayNull();
  Play(nullptr, {"d8d7", "d1e1", "d7e8"});
  EXPECT_EQ(IsRepetition(0), 0);
  GameHistory[2].Move = MakeMove(Square("d1"), Square("c1"), KING, NONE);
  EXPECT_EQ(IsRepetition(0), 1) << "with a move in its place the walk reaches ply 0";
}

TEST_F(RepetitionTest, WithTheOpponentBackWhereHeWasOneMoveOfOursRepeats) {
  // White Nf3, black Nf6, white Ng1: black's knight can go back to g8.
  Play(Start, {"g1f3", "g8f6", "f3g1"});
  EXPECT_EQ(IsRepetition(1), 1);
  EXPECT_EQ(ReversibleMoveBack(thread_board.PositionKey ^ GameHistory[0].Key),
            MakeMove(Square("f6"), Square("g8"), KNIGHT, NONE));
  // The knight on f6 goes to g8 and back to f6: the other direction of the stored pair.
  Play("rnbqkb1r/pppppppp/5n2/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", {"g1f3", "f6g8", "f3g1"});
  EXPECT_EQ(IsRepetition(1), 1);
  EXPECT_EQ(IsRepetition(0), 0);
  // Black's knight went elsewhere in between: white's moves don't cancel.
  Play(Start, {"g1f3", "g8f6", "b1c3"});
  EXPECT_EQ(IsRepetition(1), 0);
}

TEST_F(RepetitionTest, ABlockedSliderGivesNoUpcomingRepetition) {
  // Black's queen went a8-b7-c8 round a knight on b8; white's king walked a triangle back home.
  Play("qn5k/8/8/8/8/8/8/4K3 w - - 0 1", {"e1d1", "a8b7", "d1d2", "b7c8", "d2e1"});
  EXPECT_EQ(IsRepetition(1), 0) << "c8-a8 passes b8";
  Play("q6k/1n6/8/8/8/8/8/4K3 w - - 0 1", {"e1d1", "a8b8", "d1d2", "b8c8", "d2e1"});
  EXPECT_EQ(IsRepetition(1), 1) << "c8-a8 is free";
}

}  // namespace
