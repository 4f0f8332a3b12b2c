// The search's own test for mate and stalemate, and the tablebase filter's mate test, agree with the full
// legal move list.
#include <gtest/gtest.h>

#include "search/no_legal_move.h"
#include "tablebase/tablebase.h"
#include "tests/unit/move_list.h"

namespace {

using namespace movetest;

std::string AgreesWithLegalMoves() {
  const bool none = EngineLegalMoves().empty();
  const int top = MoveStackTop;
  const u64 key = thread_board.PositionKey;
  const int count = GameHistoryCount;
  const int result = HasNoLegalMove();
  std::string report;
  if (result != (none ? 1 : 0)) report += "HasNoLegalMove says " + std::to_string(result) + "\n";
  if (SideToMoveInCheck() && IsCheckmate() != (none ? 1 : 0)) report += "IsCheckmate disagrees\n";
  if (MoveStackTop != top || thread_board.PositionKey != key || GameHistoryCount != count)
    report += "the position or the stack changed\n";
  return report;
}

TEST_F(MoveTest, NoLegalMoveAgreesWithTheLegalListOnTheSample) {
  ForEachPosition(WalkSample(), AgreesWithLegalMoves);
  ForEachPosition(CheckSample(), AgreesWithLegalMoves);
}

TEST_F(MoveTest, NoLegalMoveFindsALoneRareMove) {
  struct Case {
    const char *fen;
    int none;
  };
  const Case cases[] = {
      {"rnb1kbnr/pppp1ppp/8/4p3/6Pq/5P2/PPPPP2P/RNBQKBNR w KQkq - 1 3", 1},  // mated
      {"7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", 1},                                  // stalemate
      {"K7/2q5/4p3/3pP3/8/8/8/7k w - d6 0 1", 0},                             // only the en passant capture
      {"K7/2q5/4p3/3pP3/8/8/8/7k w - - 0 1", 1},                              // the same without the right
      {"3k4/1P6/8/8/8/8/5q2/7K w - - 0 1", 0},                                // only a promotion
      {"1n1k4/1P6/8/8/8/8/5q2/7K w - - 0 1", 1},                              // the promotion blocked
      {"8/8/8/8/8/8/P4q2/7K w - - 0 1", 0},                                   // pawn steps, the king shut in
      {"k7/8/1Q6/8/8/8/8/7K b - - 0 1", 1},                                   // king shut in, no other piece
      {"k7/8/1Q6/8/8/8/7p/7K b - - 0 1", 1},                                  // and the pawn blocked
      {"k7/8/1Q6/8/8/8/7n/7K b - - 0 1", 0},                                  // a knight that may move
      {"P7/8/8/8/8/7k/6q1/7K w - - 0 1", 1},                                  // mated, a set-up pawn on rank 8
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.fen);
    for (const std::string &fen : {std::string(c.fen), MirrorFen(c.fen)}) {
      LoadFen(fen.c_str());
      EXPECT_EQ(HasNoLegalMove(), c.none) << fen;
      EXPECT_EQ(AgreesWithLegalMoves(), "") << fen;
    }
  }
}

}  // namespace
