// The opening book: keys, opening checks on good and damaged files, move choice, bkm, learning in place.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "board/makemove.h"
#include "board/san.h"
#include "book/book_choice.h"
#include "book/book_file.h"
#include "book/book_keys.h"
#include "book/book_learning.h"
#include "engine_fixture.h"

namespace {

struct BookEntrySpec {
  const char *Move;  // from and to, "e2e4"
  int Good, Bad;
};

struct BookPositionSpec {
  std::vector<const char *> Sans;  // the moves from the start position
  std::vector<BookEntrySpec> Moves;
};

void Put32(std::string &out, u32 value) {
  for (int i = 0; i < 4; i++) out += char(value >> (8 * i));
}

int Square(const char *text) { return (text[1] - '1') * 8 + (text[0] - 'a'); }

void PlaySans(const std::vector<const char *> &sans) {
  SetStartPosition();
  for (const char *san : sans) {
    const SanMatch match = ParseSan(san);
    ASSERT_EQ(match.Matches, 1) << san;
    make_move(match.Move, 1);
  }
}

class BookTest : public EngineTest {
 protected:
  std::string folder_;

  void SetUp() override {
    EngineTest::SetUp();
    InitBookKeys();
    char folder[] = "/tmp/quarvelle-book-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    folder_ = folder;
    SetSecondDefaults();
    std::srand(7);
  }
  void TearDown() override {
    CloseBook();
    std::system(("rm -rf " + folder_).c_str());
  }
  std::string Path(const char *name) const { return folder_ + "/" + name; }

  // A version 1 (or 0) book of the given positions, the index sorted as the format demands.
  std::string MakeBook(const std::vector<BookPositionSpec> &positions, int version = 1) {
    std::map<std::pair<i32, i32>, std::string> lists;
    for (const BookPositionSpec &p : positions) {
      PlaySans(p.Sans);
      i32 a, b;
      BookPositionKey(a, b);
      std::string list(1, char(p.Moves.size()));
      for (const BookEntrySpec &e : p.Moves) {
        list += char(Square(e.Move)), list += char(Square(e.Move + 2)), list += char(e.Good);
        if (version == 1) list += char(e.Bad);
      }
      lists[{a, b}] = list;
    }
    std::string out = BOOK_MAGIC;
    Put32(out, u32(version)), Put32(out, 0), Put32(out, u32(lists.size()));
    u32 offset = BOOK_HEADER_SIZE + BOOK_RECORD_SIZE * u32(lists.size());
    for (const auto &[key, list] : lists) {
      Put32(out, u32(key.first)), Put32(out, u32(key.second)), Put32(out, offset);
      offset += u32(list.size());
    }
    for (const auto &[key, list] : lists) out += list;
    SetStartPosition();
    return out;
  }

  void Write(const std::string &name, const std::string &bytes) {
    std::ofstream(Path(name.c_str()), std::ios::binary) << bytes;
  }
  std::string Read(const std::string &name) {
    std::ifstream in(Path(name.c_str()), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  std::string Open(const std::string &name) {
    testing::internal::CaptureStdout();
    OpenBook(Path(name.c_str()).c_str());
    return testing::internal::GetCapturedStdout();
  }
  std::string Listing() {
    testing::internal::CaptureStdout();
    PrintBookMoves();
    return testing::internal::GetCapturedStdout();
  }
  // How often each move comes out of BookChooseMove in `draws` tries.
  std::map<std::string, int> Choices(int draws) {
    std::map<std::string, int> seen;
    for (int i = 0; i < draws; i++) {
      char text[8];
      const u32 move = BookChooseMove();
      seen[move ? MoveText(text, move) : "none"]++;
    }
    return seen;
  }
};

const std::vector<BookPositionSpec> kStartBook = {
    {{}, {{"e2e4", 10, 6}, {"d2d4", 0, 0}, {"g2g4", 255, 255}, {"c2c4", 3, 5}}},
    {{"e4"}, {{"e7e5", 4, 4}, {"c7c5", 6, 2}}},
};

TEST_F(BookTest, KeysKeepTheFixedFirstEntriesAndIgnoreCastlingAndEnPassant) {
  EXPECT_EQ(BookKeyAWhite[0], 0xE16CD6AEu);
  EXPECT_EQ(BookKeyAWhite[2], 0x870C3E99u);
  EXPECT_EQ(BookKeyBWhite[1], 0x529049F1u);
  EXPECT_EQ(BookKeyABlack[2], 0xF10F7437u);
  EXPECT_EQ(BookKeyBBlack[0], 0x922AEB3Du);
  // The generated part is fixed: a changed generator would make every book unreadable.
  EXPECT_EQ(BookKeyAWhite[3], 0x3AC694CBu);
  EXPECT_EQ(BookKeyBBlack[511], 0x9A93AA72u);
  std::set<u32> distinct(BookKeyAWhite, BookKeyAWhite + BOOK_KEY_ENTRIES);
  EXPECT_EQ(distinct.size(), size_t(BOOK_KEY_ENTRIES));
  i32 a1, b1, a2, b2, a3, b3;
  LoadFen("4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1");
  BookPositionKey(a1, b1);
  LoadFen("4k3/8/8/8/8/8/8/R3K2R w - - 0 1");
  BookPositionKey(a2, b2);
  LoadFen("4k3/8/8/8/8/8/8/R3K2R b - - 0 1");
  BookPositionKey(a3, b3);
  EXPECT_EQ(a1, a2);
  EXPECT_EQ(b1, b2);
  EXPECT_EQ(u32(a3) ^ u32(a2), 0x07D3ADEBu);
  EXPECT_EQ(b3, b2);
}

TEST_F(BookTest, OpeningReportsMissingBadAndDamagedFilesAndLoadsNone) {
  const std::string good = MakeBook(kStartBook);
  EXPECT_EQ(Open("absent.qvl"), "Error opening \"" + Path("absent.qvl") + "\"!\n");
  EXPECT_EQ(Settings.BookLoaded, 0);

  std::string badMagic = good;
  badMagic[1] = 'q';
  Write("magic.qvl", badMagic);
  EXPECT_EQ(Open("magic.qvl"), "Invalid book format\n");
  Write("short.qvl", good.substr(0, 20));
  EXPECT_EQ(Open("short.qvl"), "Invalid book format\n");

  std::string version2 = good;
  version2[24] = 2;
  Write("v2.qvl", version2);
  EXPECT_EQ(Open("v2.qvl"), "Book version 2 not supported\n");

  // The index claims more records than the file holds.
  Write("truncated.qvl", good.substr(0, BOOK_HEADER_SIZE + BOOK_RECORD_SIZE + 4));
  EXPECT_EQ(Open("truncated.qvl"), "Book index runs past the end of the file\n");
  std::string unsorted = good;
  for (int i = 0; i < BOOK_RECORD_SIZE; i++)
    std::swap(unsorted[BOOK_HEADER_SIZE + i], unsorted[BOOK_HEADER_SIZE + BOOK_RECORD_SIZE + i]);
  Write("unsorted.qvl", unsorted);
  EXPECT_EQ(Open("unsorted.qvl"), "Book index is not sorted\n");
  std::string pastEnd = good;
  pastEnd[BOOK_HEADER_SIZE + 11] = char(0x7F);
  Write("past.qvl", pastEnd);
  EXPECT_EQ(Open("past.qvl"), "Book index points outside the file\n");
  EXPECT_EQ(Settings.BookLoaded, 0);
  EXPECT_EQ(BookChooseMove(), 0u);

  Write("good.qvl", good);
  EXPECT_EQ(Open("good.qvl"), "2 nodes in openings book\n");
  EXPECT_EQ(Settings.BookLoaded, 1);
  EXPECT_EQ(Settings.UseBookLearning, 1);
}

TEST_F(BookTest, ACountLargerThanItsListIsAnAbsentPosition) {
  std::string book = MakeBook({{{}, {{"e2e4", 2, 0}}}});
  book[BOOK_HEADER_SIZE + BOOK_RECORD_SIZE] = char(200);  // the only list is the last bytes of the file
  Write("count.qvl", book);
  Open("count.qvl");
  EXPECT_EQ(Listing(), "No moves from current pos in book\n");
  EXPECT_EQ(BookChooseMove(), 0u);
}

TEST_F(BookTest, ListingShowsRatesUntriedAndExcludedMoves) {
  Write("book.qvl", MakeBook(kStartBook));
  Open("book.qvl");
  EXPECT_EQ(Listing(),
            "4 moves from current pos in book:\n"
            "e2e4 62% (not less than 8 game(s))\n"
            "d2d4 ?\n"
            "g2g4 -\n"
            "c2c4 37% (not less than 4 game(s))\n");
  PlaySans({"e4", "e5"});
  EXPECT_EQ(Listing(), "No moves from current pos in book\n");
}

TEST_F(BookTest, WeightsPlayTheMovesNearTheBestRateAndUntriedCountsAsHalf) {
  Write("book.qvl", MakeBook(kStartBook));
  Open("book.qvl");
  Settings.VarietyOfPlay = 0;
  EXPECT_EQ(Choices(50), (std::map<std::string, int>{{"e2e4", 50}}));
  // Within 20 % of 625: the untried move's 500 is in, the 375 of c2c4 is not.
  Settings.VarietyOfPlay = 20;
  auto seen = Choices(400);
  EXPECT_EQ(seen.size(), 2u);
  EXPECT_GT(seen["e2e4"], 100);
  EXPECT_GT(seen["d2d4"], 100);
  // 100 %: every move that isn't excluded, equally likely.
  Settings.VarietyOfPlay = 100;
  seen = Choices(900);
  EXPECT_EQ(seen.size(), 3u);
  for (const char *move : {"e2e4", "d2d4", "c2c4"}) EXPECT_GT(seen[move], 200) << move;
  EXPECT_EQ(seen.count("g2g4"), 0u);
  // Without weights, likewise every playable move.
  Settings.UseBookWeights = 0;
  EXPECT_EQ(Choices(300).size(), 3u);
}

TEST_F(BookTest, DiscoverPlaysTheLeastTriedMoveFirstAndTheEarliestAmongEquals) {
  Write("book.qvl", MakeBook({{{}, {{"e2e4", 10, 6}, {"d2d4", 0, 0}, {"c2c4", 0, 0}, {"g1f3", 1, 1}}},
                              {{"d4"}, {{"d7d5", 3, 3}, {"g8f6", 2, 4}, {"e7e6", 4, 2}}}}));
  Open("book.qvl");
  Settings.BookLearningMode = 1;
  EXPECT_EQ(Choices(20), (std::map<std::string, int>{{"d2d4", 20}}));
  PlaySans({"d4"});
  // Equal tries: the better rate.
  EXPECT_EQ(Choices(20), (std::map<std::string, int>{{"e7e6", 20}}));
}

TEST_F(BookTest, OnlyExcludedOrIllegalMovesMeanNoBookMove) {
  // c2c5 and a move of an empty square can't be played; the engine must not believe them.
  Write("book.qvl", MakeBook({{{}, {{"g2g4", 255, 255}, {"c2c5", 9, 0}, {"e4e5", 9, 0}}}}));
  Open("book.qvl");
  EXPECT_EQ(BookChooseMove(), 0u);
}

TEST_F(BookTest, APawnReachingTheLastRankIsPlayedAsAQueenPromotion) {
  LoadFen("8/P6k/8/8/8/8/8/K7 w - - 0 1");
  i32 a, b;
  BookPositionKey(a, b);
  std::string out = BOOK_MAGIC;
  Put32(out, 1), Put32(out, 0), Put32(out, 1), Put32(out, u32(a)), Put32(out, u32(b)), Put32(out, 48);
  out += std::string{1, char(Square("a7")), char(Square("a8")), 2, 0};
  Write("promo.qvl", out);
  Open("promo.qvl");
  char text[8];
  EXPECT_STREQ(MoveText(text, BookChooseMove()), "a7a8q");
}

TEST_F(BookTest, UpdatesWriteCountersInPlaceAndFullCountersShrinkTheWholePosition) {
  Write("book.qvl", MakeBook({{{}, {{"e2e4", 254, 100}, {"d2d4", 0, 0}, {"c2c4", 30, 60}, {"g2g4", 255, 255}}}}));
  const std::string before = Read("book.qvl");
  Open("book.qvl");
  auto e4 = ParseSan("e4").Move, c4 = ParseSan("c4").Move, d4 = ParseSan("d4").Move;
  BookUpdateMove(BOOK_DRAW, d4);
  BookUpdateMove(BOOK_LOSS, c4);
  // 256 good: e2e4 and the other tried moves become two thirds; untried and excluded moves stay.
  BookUpdateMove(BOOK_WIN, e4);
  const std::string after = Read("book.qvl");
  ASSERT_EQ(after.size(), before.size());
  const size_t list = BOOK_HEADER_SIZE + BOOK_RECORD_SIZE + 1;
  EXPECT_EQ(u8(after[list + 2]), 170);
  EXPECT_EQ(u8(after[list + 3]), 66);
  EXPECT_EQ(u8(after[list + 6]), 0);  // d2d4 went to 1/1, then shrank to 0/0
  EXPECT_EQ(u8(after[list + 7]), 0);
  EXPECT_EQ(u8(after[list + 10]), 20);
  EXPECT_EQ(u8(after[list + 11]), 41);
  EXPECT_EQ(u8(after[list + 14]), 255);
  EXPECT_EQ(u8(after[list + 15]), 255);
  EXPECT_EQ(after.substr(0, list), before.substr(0, list));
}

TEST_F(BookTest, LearningAGameUpdatesThePositionsOfTheSideToMoveExceptTheFirst) {
  Write("book.qvl", MakeBook({{{}, {{"e2e4", 2, 2}}},
                              {{"e4"}, {{"e7e5", 2, 2}}},
                              {{"e4", "e5"}, {{"g1f3", 2, 2}}},
                              {{"e4", "e5", "Nf3"}, {{"b8c6", 2, 2}}},
                              {{"e4", "e5", "Nf3", "Nc6"}, {{"f1b5", 2, 2}}}}));
  Open("book.qvl");
  for (const char *san : {"e4", "e5", "Nf3", "Nc6", "Bb5", "a6"}) MakeGameMove(ParseSan(san).Move);
  const u64 key = thread_board.PositionKey;
  Settings.BookLearningDone = 0;
  BookLearnGame(BOOK_WIN);
  EXPECT_EQ(thread_board.PositionKey, key);
  EXPECT_EQ(GameHistoryCount, 6);
  EXPECT_EQ(Settings.BookLearningDone, 1);
  SetStartPosition();
  EXPECT_EQ(Listing(), "1 moves from current pos in book:\ne2e4 50% (not less than 2 game(s))\n");
  PlaySans({"e4", "e5"});
  EXPECT_EQ(Listing(), "1 moves from current pos in book:\ng1f3 66% (not less than 3 game(s))\n");
  PlaySans({"e4", "e5", "Nf3", "Nc6"});
  EXPECT_EQ(Listing(), "1 moves from current pos in book:\nf1b5 66% (not less than 3 game(s))\n");
  PlaySans({"e4"});
  EXPECT_EQ(Listing(), "1 moves from current pos in book:\ne7e5 50% (not less than 2 game(s))\n");
}

TEST_F(BookTest, AVersion0BookPlaysByWeightAndSwitchesLearningOffForGood) {
  Write("v0.qvl", MakeBook({{{}, {{"e2e4", 7, 0}, {"d2d4", 255, 0}}}}, 0));
  EXPECT_EQ(Open("v0.qvl"), "NG: Book learning not supported for book version 0\n1 nodes in openings book\n");
  EXPECT_EQ(Settings.UseBookLearning, 0);
  EXPECT_EQ(Settings.UseBookWeights, 0);
  EXPECT_EQ(Listing(), "2 moves from current pos in book:\ne2e4 7\nd2d4 255\n");
  EXPECT_EQ(Choices(20), (std::map<std::string, int>{{"e2e4", 20}}));
  const std::string before = Read("v0.qvl");
  BookUpdateMove(BOOK_WIN, ParseSan("e4").Move);
  EXPECT_EQ(Read("v0.qvl"), before);
  Write("v1.qvl", MakeBook(kStartBook));
  Open("v1.qvl");
  EXPECT_EQ(Settings.UseBookLearning, 0);
}

TEST_F(BookTest, AReadOnlyBookIsPlayedFromAndNeverWritten) {
  Write("book.qvl", MakeBook(kStartBook));
  chmod(Path("book.qvl").c_str(), 0444);
  // Root may write any file: as root, the book is opened under the identity of an ordinary user.
  const bool root = geteuid() == 0;
  if (root) {
    chmod(folder_.c_str(), 0755);
    ASSERT_EQ(seteuid(65534), 0);
  }
  const std::string opened = Open("book.qvl");
  if (root) {
    ASSERT_EQ(seteuid(0), 0);
  }
  EXPECT_EQ(opened, "2 nodes in openings book\nThe book is read-only: book learning is off\n");
  EXPECT_NE(BookChooseMove(), 0u);
  const std::string before = Read("book.qvl");
  BookUpdateMove(BOOK_WIN, ParseSan("e4").Move);
  EXPECT_EQ(Read("book.qvl"), before);
}

TEST_F(BookTest, SanReadsPiecesCapturesPromotionsCastlingAndAmbiguity) {
  LoadFen("r3k2r/1P6/8/3p4/2P1P3/3N1N2/8/R3K2R w KQkq - 0 1");
  char text[8];
  EXPECT_STREQ(MoveText(text, ParseSan("O-O-O").Move), "e1c1");
  EXPECT_STREQ(MoveText(text, ParseSan("0-0").Move), "e1g1");
  EXPECT_STREQ(MoveText(text, ParseSan("cxd5").Move), "c4d5");
  EXPECT_STREQ(MoveText(text, ParseSan("exd5").Move), "e4d5");
  EXPECT_STREQ(MoveText(text, ParseSan("bxa8=N").Move), "b7a8n");
  EXPECT_STREQ(MoveText(text, ParseSan("b8Q+").Move), "b7b8q");
  EXPECT_STREQ(MoveText(text, ParseSan("Nfe5").Move), "f3e5");
  EXPECT_STREQ(MoveText(text, ParseSan("Pe5").Move), "e4e5");
  EXPECT_EQ(ParseSan("Ne5").Matches, 2);   // two knights reach e5
  EXPECT_EQ(ParseSan("N3e5").Matches, 2);  // both from the third rank
  EXPECT_EQ(ParseSan("b8").Matches, 4);    // a promotion without its letter fits all four
  EXPECT_EQ(ParseSan("xd5").Matches, 2);   // either pawn
  EXPECT_EQ(ParseSan("Nxe5").Matches, 0);  // nothing to capture on e5
  EXPECT_EQ(ParseSan("Qd1").Matches, 0);
  const SanMatch ambiguous = ParseSan("Ne5");
  EXPECT_NE(ambiguous.First, ambiguous.Second);
  EXPECT_NE(ambiguous.First, 0u);
  EXPECT_EQ(ambiguous.Second, ambiguous.Move);
  // The forms PGN files use: a colon for a capture, the from rank, the from file, both.
  LoadFen("4k3/8/8/3p4/4P3/Q7/3N4/Q1Q1K1N1 w - - 0 1");
  EXPECT_STREQ(MoveText(text, ParseSan("e:d5").Move), "e4d5");
  EXPECT_STREQ(MoveText(text, ParseSan("N1f3").Move), "g1f3");
  EXPECT_STREQ(MoveText(text, ParseSan("Qa1b2").Move), "a1b2");
  EXPECT_EQ(ParseSan("Qb2").Matches, 3);
  EXPECT_EQ(ParseSan("Qab2").Matches, 2);
  LoadFen("r3k2r/8/8/8/8/8/8/4K3 b kq - 0 1");
  EXPECT_STREQ(MoveText(text, ParseSan("0-0-0").Move), "e8c8");
  EXPECT_STREQ(MoveText(text, ParseSan("O-O").Move), "e8g8");
  LoadFen("4k3/8/8/8/8/8/8/R4RK1 w - - 0 1");
  EXPECT_STREQ(MoveText(text, ParseSan("Rad1").Move), "a1d1");
  EXPECT_EQ(ParseSan("Rd1").Matches, 2);
}

}  // namespace
