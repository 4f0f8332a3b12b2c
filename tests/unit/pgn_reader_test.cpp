// The PGN scanner on its own: which texts reach the reader of moves, with which tags, and where the games end.
#include <cstdio>
#include <string>
#include <vector>

#include "engine_fixture.h"
#include "tools/pgn_reader.h"

namespace {

struct GameSeen {
  std::vector<std::string> Moves;
  i32 Result = -1, Plies = -1;
  bool FromFen = false;
  std::string FirstPosition;  // the board at the first move
};

std::vector<GameSeen> Seen;
i32 GamesReported;

void StartGame() {
  SetStartPosition();
  Seen.emplace_back();
}

void TakeMove(const char *san) {
  GameSeen &game = Seen.back();
  if (game.Moves.empty()) {
    char fen[96];
    game.FirstPosition = PositionText(fen);
  }
  game.Moves.push_back(san);
  game.Result = GameResult, game.Plies = PlyCount, game.FromFen = GameFromFen;
}

void GameRead(i32 games) { GamesReported = games; }

class PgnReaderTest : public EngineTest {
 protected:
  // Reads `text` as a file; returns the count of games read whole.
  i32 Read(const std::string &text) {
    Seen.clear();
    GamesReported = 0;
    FILE *file = fmemopen(const_cast<char *>(text.data()), text.size(), "rb");
    EXPECT_NE(file, nullptr);
    const i32 games = ReadPgnGames(file, {StartGame, TakeMove, GameRead});
    std::fclose(file);
    EXPECT_EQ(games, GamesReported);
    return games;
  }
};

using Moves = std::vector<std::string>;

TEST_F(PgnReaderTest, OnlyTheMainLineReachesTheReaderOfMoves) {
  const std::string nested = "(1... c5 (1... c6 (1... d5 (1... d6 (1... e6 (1... g6 (1... a6 (1... b6 (1... h6 "
                             "(1... Nf6 2. e5) ) ) ) ) ) ) ) ) )";
  Read("[Event \"wild\"]\n[Result \"1-0\"]\n\n"
       "1. e4 {a comment [with brackets] and {nested {twice}} braces} 1... e5 " + nested +
       " 2. Nf3! Nc6?! 3. Bb5 $1 a6 $14 4. Ba4 Nf6 5. O-O Be7 6. Re1+ b5 7. Bb3 0-0 8. c3 d6 9. h3 Na5 "
       "10. Bc2 c5 11. d4 Qc7 12. Nbd2 cxd4 13. cxd4 Bd7 14. Nf1 Rac8 15. Ne3 e:d4 16. Nxd4 Qb6# 1-0\n"
       "[Event \"next\"]\n");
  ASSERT_EQ(Seen.size(), 2u);
  EXPECT_EQ(Seen[0].Moves, (Moves{"e4", "e5", "Nf3", "Nc6", "Bb5", "a6", "Ba4", "Nf6", "O-O", "Be7", "Re1", "b5",
                                  "Bb3", "0-0", "c3", "d6", "h3", "Na5", "Bc2", "c5", "d4", "Qc7", "Nbd2", "cxd4",
                                  "cxd4", "Bd7", "Nf1", "Rac8", "Ne3", "e:d4", "Nxd4", "Qb6"}));
}

TEST_F(PgnReaderTest, CastlingWithZerosIsAMoveAndResultsAreNot) {
  Read("[Result \"0-1\"]\n1. e4 e5 2. Nf3 Nf6 3. Bc4 Bc5 4. 0-0 0-0 5. d3 d6 0-1\n"
       "[Result \"1/2-1/2\"]\n1. d4 d5 1/2-1/2\n[Result \"*\"]\n1. c4 *\n[Event \"end\"]\n");
  ASSERT_EQ(Seen.size(), 4u);
  EXPECT_EQ(Seen[0].Moves, (Moves{"e4", "e5", "Nf3", "Nf6", "Bc4", "Bc5", "0-0", "0-0", "d3", "d6"}));
  EXPECT_EQ(Seen[1].Moves, (Moves{"d4", "d5"}));
  EXPECT_EQ(Seen[2].Moves, (Moves{"c4"}));
  EXPECT_EQ(Seen[0].Result, RESULT_BLACK_WON);
  EXPECT_EQ(Seen[1].Result, RESULT_DRAW);
  EXPECT_EQ(Seen[2].Result, RESULT_UNKNOWN);
}

TEST_F(PgnReaderTest, PromotionsChecksAndMoveNumbersWithDots) {
  Read("[Result \"1-0\"]\n12... Kb8 13. e8=Q+ Ka7 14. exd6 e.p. Kb6 15. b8=N# 1-0\n[Event \"end\"]\n");
  ASSERT_EQ(Seen.size(), 2u);
  // "e.p." reads as the move "e" and an empty one: the reader of moves reports them.
  EXPECT_EQ(Seen[0].Moves, (Moves{"Kb8", "e8=Q", "Ka7", "exd6", "e", "", "Kb6", "b8=N"}));
}

TEST_F(PgnReaderTest, TagsGiveResultPlyCountAndPosition) {
  Read("[Event \"a\"]\n[Result \"1-0\"]\n[PlyCount \"57\"]\n\n1. e4 1-0\n\n"
       "[result \"0-1\"]\n[plycount \"123\"]\n1. d4 0-1\n\n"
       "[Result \"1/2-1/2\"]\n[FEN \"4k3/8/8/8/8/8/8/R3K3 w Q - 0 1\"]\n[PlyCount \"3\"]\n1. O-O-O Kd7 2. Rd1+ 1/2-1/2\n"
       "[Result \"?\"]\n[PlyCount \"x\"]\n1. e4\n[Event \"end\"]\n");
  ASSERT_EQ(Seen.size(), 5u);
  EXPECT_EQ(Seen[0].Result, RESULT_WHITE_WON);
  EXPECT_EQ(Seen[0].Plies, 57);
  EXPECT_EQ(Seen[1].Result, RESULT_BLACK_WON);
  EXPECT_EQ(Seen[1].Plies, 123);
  EXPECT_FALSE(Seen[1].FromFen);
  EXPECT_TRUE(Seen[2].FromFen);
  EXPECT_EQ(Seen[2].FirstPosition, "4k3/8/8/8/8/8/8/R3K3 w Q - ");
  EXPECT_EQ(Seen[2].Moves, (Moves{"O-O-O", "Kd7", "Rd1"}));
  // An unknown result and a count without digits: nothing known.
  EXPECT_EQ(Seen[3].Result, RESULT_UNKNOWN);
  EXPECT_EQ(Seen[3].Plies, 0);
  EXPECT_FALSE(Seen[3].FromFen);
}

TEST_F(PgnReaderTest, LongTagNamesAndValuesAreCutWithoutHarm) {
  const std::string name = "Result" + std::string(994, 'x');
  Read("[" + name + " \"0-1\"]\n[Annotator \"" + std::string(5000, 'v') + "\"]\n[" + std::string(1000, 'n') +
       "]\n[Event]\n1. e4 e5 0-1\n[Event \"end\"]\n");
  ASSERT_EQ(Seen.size(), 2u);
  // The first 32 bytes of the name are enough to know it.
  EXPECT_EQ(Seen[0].Result, RESULT_BLACK_WON);
  EXPECT_EQ(Seen[0].Moves, (Moves{"e4", "e5"}));
}

TEST_F(PgnReaderTest, CarriageReturnsAndACommentBeforeTheMoves) {
  Read("[Event \"crlf\"]\r\n[Result \"1-0\"]\r\n\r\n{Annotated: 1. d4 is not played} 1. e4 e5\r\n2. Nf3 1-0\r\n"
       "\r\n[Event \"end\"]\r\n");
  ASSERT_EQ(Seen.size(), 2u);
  EXPECT_EQ(Seen[0].Result, RESULT_WHITE_WON);
  EXPECT_EQ(Seen[0].Moves, (Moves{"e4", "e5", "Nf3"}));
}

TEST_F(PgnReaderTest, TheEndOfTheFileEndsTheRunWhereverItComes) {
  // The last game has no successor to end it: its moves are read, but it isn't counted.
  EXPECT_EQ(Read("[Result \"1-0\"]\n1. e4 e5 1-0\n\n[Result \"1-0\"]\n1. d4 d5 2. c4 1-0\n"), 1);
  ASSERT_EQ(Seen.size(), 2u);
  EXPECT_EQ(Seen[1].Moves, (Moves{"d4", "d5", "c4"}));
  // Cut in the middle of a move: that move never reaches the reader.
  EXPECT_EQ(Read("[Result \"1-0\"]\n1. e4 e5 2. Nf"), 0);
  EXPECT_EQ(Seen[0].Moves, (Moves{"e4", "e5"}));
  // Cut inside a tag, a comment, a variation: nothing more.
  EXPECT_EQ(Read("[Result \"1-0\"]\n[Eve"), 0);
  EXPECT_TRUE(Seen[0].Moves.empty());
  EXPECT_EQ(Read("[Result \"1-0\"]\n1. e4 {never ends"), 0);
  EXPECT_EQ(Seen[0].Moves, (Moves{"e4"}));
  EXPECT_EQ(Read("[Result \"1-0\"]\n1. e4 (1. d4 (1. c4"), 0);
  EXPECT_EQ(Seen[0].Moves, (Moves{"e4"}));
  EXPECT_EQ(Read(""), 0);
  EXPECT_TRUE(Seen.empty());
  EXPECT_EQ(Read("no tags at all, 1. e4 e5"), 0);
  EXPECT_TRUE(Seen.empty());
}

TEST_F(PgnReaderTest, StepsBackWorkWhereTheFileIsReadInPieces) {
  // The file is read in pieces of 64 KiB: a castling of zeros and a result may straddle the seam.
  const std::string head = "[Result \"0-1\"]\n1. e4 e5 2. Nf3 Nf6 3. Bc4 Bc5 {";
  for (size_t at = 65530; at < 65540; at++) {
    const std::string game = head + std::string(at - head.size() - 5, 'c') + "} 4. 0-0 0-1\n[Event \"end\"]\n";
    ASSERT_EQ(game.find("0-0"), at);
    Read(game);
    ASSERT_EQ(Seen.size(), 2u);
    EXPECT_EQ(Seen[0].Moves, (Moves{"e4", "e5", "Nf3", "Nf6", "Bc4", "Bc5", "0-0"})) << at;
  }
}

TEST_F(PgnReaderTest, BinaryGarbageIsReadToTheEnd) {
  std::string garbage;
  std::srand(11);
  for (int i = 0; i < 200000; i++) garbage += char(std::rand() % 256);
  // Byte values the scanner has to meet: NUL, 0xFF, brackets of every kind.
  garbage += std::string("\0\xff[[]]{{}}(())", 14);
  Read(garbage);
  for (const GameSeen &game : Seen)
    for (const std::string &move : game.Moves) EXPECT_LT(move.size(), 15u);
}

}  // namespace
