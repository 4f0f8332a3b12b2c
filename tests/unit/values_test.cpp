// The values file: reading by position, repairs, expansions, curves, packing, and the values tool.
#include "eval/values.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "board/attacks.h"
#include "board/piece_square.h"
#include "eval/eval_tables.h"
#include "eval/values_layout.h"
#include "search/parameters.h"
#include "tools/values_text.h"

namespace {

i32 Opening(i32 packed) { return (packed + 32768) >> 16; }
i32 Ending(i32 packed) { return i16(u16(u32(packed))); }
i32 Packed(i32 opening, i32 ending) { return i32(u32(opening) * 65536u + u32(ending)); }

std::string ReadText(const char *path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteText(const char *path, const std::string &text) { std::ofstream(path, std::ios::binary) << text; }

void WriteNumbers(const char *path, const std::vector<i64> &numbers) {
  FILE *file = std::fopen(path, "w");
  for (i64 n : numbers) std::fprintf(file, "%lld\n", (long long)n);
  std::fclose(file);
}

// Each test runs in a fresh directory, since the engine opens "values.txt" where it stands, and leaves
// every table at its compiled-in value for the next one.
class ValuesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(getcwd(home_, sizeof home_), nullptr);
    std::strcpy(dir_, "/tmp/quarvelle-values-XXXXXX");
    ASSERT_NE(mkdtemp(dir_), nullptr);
    ASSERT_EQ(chdir(dir_), 0);
    std::memcpy(pstOpening_, PstSourceOpening, sizeof pstOpening_);
    std::memcpy(pstEnding_, PstSourceEnding, sizeof pstEnding_);
  }

  void TearDown() override {
    WriteNumbers("values.txt", CompiledDefaults());
    Load();
    std::memcpy(PstSourceOpening, pstOpening_, sizeof pstOpening_);
    std::memcpy(PstSourceEnding, pstEnding_, sizeof pstEnding_);
    ASSERT_EQ(std::system((std::string("rm -rf ") + dir_).c_str()), 0);
    ASSERT_EQ(chdir(home_), 0);
  }

  // Loads and returns what the load printed.
  static std::string Load() {
    testing::internal::CaptureStdout();
    LoadEvaluationTables();
    return testing::internal::GetCapturedStdout();
  }

  // values.txt from `name = value` lines through the tool, every other number at its default.
  static void WriteNamed(const std::string &names) {
    WriteText("names.txt", names);
    ASSERT_EQ(WriteValuesFromNames({"names.txt"}, "values.txt", stderr), 0);
  }

 private:
  char home_[4096];
  char dir_[64];
  i16 pstOpening_[8][64];
  i16 pstEnding_[8][64];
};

// The layout is the file's one order: its items run 1 to 133 and no entry reaches past its table.
TEST(ValuesLayoutTest, ItemsInOrderAndEntriesInsideTheirTables) {
  int item = 1;
  for (int e = 0; e < ValuesLayoutSize; e++) {
    const ValuesEntry &entry = ValuesLayout[e];
    ASSERT_TRUE(entry.item == item || entry.item == item + 1) << "entry " << e;
    item = entry.item;
    if (entry.layout != Layout::Plain && entry.layout != Layout::Interleaved) continue;
    int tables = 0, size = 1;
    while (tables < MAX_INTERLEAVED && entry.names[tables]) tables++;
    for (int d = 0; d < MAX_INDEX_DIMS && entry.dims[d].size; d++) size *= entry.dims[d].size;
    EXPECT_EQ(entry.count % tables, 0) << entry.names[0];
    EXPECT_LE(entry.offset + entry.count / tables, size) << entry.names[0];
  }
  EXPECT_EQ(item, 133);
}

TEST_F(ValuesTest, WithoutFileTheDefaultsBuildAndTheMessageComesOnce) {
  PieceDeltaOpening[QUEEN] = 40;  // no compiled-in value: a missing file leaves 0
  EXPECT_EQ(Load(), "Error loading values.txt\n");
  EXPECT_EQ(PieceDeltaOpening[QUEEN], 0);

  EXPECT_EQ(PasserCurve[0], -25);
  EXPECT_EQ(PasserCurve[150], 0);
  EXPECT_EQ(PasserCurve[300], 25);
  for (int i = 0; i <= 150; i++) EXPECT_EQ(PasserCurve[150 + i], -PasserCurve[150 - i]) << i;

  EXPECT_EQ(AttackCountScale[0], 0);
  EXPECT_EQ(AttackCountScale[4], 276);
  EXPECT_EQ(AttackCountScale[8], 461);
  for (int i = 32; i < 64; i++) EXPECT_EQ(AttackCountScale[i], 624) << i;

  const i32 lateMoves[2][32] = {{2,  2,  2,  3,  3,  4,  5,  6,  8,  9,  11, 13, 15, 17, 19, 21,
                                 24, 26, 29, 32, 34, 37, 41, 44, 47, 51, 54, 58, 62, 66, 70, 74},
                                {3,  3,  3,  4,  5,  6,  8,  9,  11, 13, 15, 17, 20, 23, 26, 29,
                                 32, 35, 39, 43, 46, 50, 55, 59, 64, 68, 73, 78, 83, 88, 94, 99}};
  for (int i = 0; i < 32; i++) {
    EXPECT_EQ(LateMoveCounts[0][i], lateMoves[0][i]) << i;
    EXPECT_EQ(LateMoveCounts[1][i], lateMoves[1][i]) << i;
  }

  // Expansions of the compiled-in sources.
  EXPECT_EQ(PawnConnected[10], Packed(49, 49));  // c2
  EXPECT_EQ(PawnConnected[46], Packed(5, 5));    // g6 mirrors b6
  EXPECT_EQ(PawnConnected[54], 0);               // g7
  EXPECT_EQ(KingShelterBase[7], 0);              // h1 mirrors a1
  EXPECT_EQ(KingShelterBase[4], 3);              // e1 mirrors d1
  EXPECT_EQ(RookVsMinors[0], 0);
  EXPECT_EQ(RookVsMinors[8], Packed(20, 20));
  EXPECT_EQ(BishopPair[4], 50);
  EXPECT_EQ(BishopPair[8], 15);
  EXPECT_EQ(PinValue[BISHOP][KNIGHT], Packed(1, 1));
  EXPECT_EQ(PinValue[ROOK][ROOK], 0);
  EXPECT_EQ(RookOpenFile[7], Packed(16, 0));
  EXPECT_EQ(PawnEndingKing, 150 * 65537);
  EXPECT_EQ(PstSourceOpening[KNIGHT][0], -76);  // the printed tables come back through the half tables
  EXPECT_EQ(PstSourceEnding[PAWN][15], 6);
}

TEST_F(ValuesTest, ToolRoundTripAndCount) {
  WriteNamed(
      "# comment\n"
      "PasserRankEnding[6] = 120\n"
      "  ImbalancePawnTable[wq=1,bq=0,wr=2,br=2,wb=0,bb=1,wn=0,bn=0,wp=2,bp=1] = -17  \n"
      "PruneCounts[ending=1,code=queen,from=h8,to=a1,count=1] = 12345678901\n"
      "ignored.item56[7] = 3\n");
  const std::string first = ReadText("values.txt");
  EXPECT_EQ(std::count(first.begin(), first.end(), '\n'), ValuesFileCount());
  EXPECT_EQ(ValuesFileCount(), 171702);

  FILE *printed = std::fopen("printed.txt", "w");
  ASSERT_EQ(PrintValuesWithNames("values.txt", printed, stderr), 0);
  std::fclose(printed);
  const std::string names = ReadText("printed.txt");
  EXPECT_NE(names.find("\nPasserRankEnding[6] = 120\n"), std::string::npos);
  EXPECT_NE(names.find("\nPruneCounts[ending=1,code=queen,from=h8,to=a1,count=1] = 12345678901\n"), std::string::npos);
  ASSERT_EQ(WriteValuesFromNames({"printed.txt"}, "again.txt", stderr), 0);
  EXPECT_EQ(ReadText("again.txt"), first);

  FILE *out = std::tmpfile();
  EXPECT_EQ(CheckValuesFile("values.txt", out), 0);
  WriteText("short.txt", first.substr(0, first.rfind('\n', first.size() - 2) + 1));  // the last number gone
  EXPECT_EQ(CheckValuesFile("short.txt", out), 1);
  WriteText("long.txt", first + "0\n");
  EXPECT_EQ(CheckValuesFile("long.txt", out), 1);
  WriteText("stray.txt", first + "x\n");
  EXPECT_EQ(CheckValuesFile("stray.txt", out), 1);
  std::fclose(out);

  // The names split over two files give the same file; a number named in both is refused.
  WriteText("first.txt", "# comment\nPasserRankEnding[6] = 120\nignored.item56[7] = 3\n");
  WriteText("second.txt",
            "ImbalancePawnTable[wq=1,bq=0,wr=2,br=2,wb=0,bb=1,wn=0,bn=0,wp=2,bp=1] = -17\n"
            "PruneCounts[ending=1,code=queen,from=h8,to=a1,count=1] = 12345678901\n");
  ASSERT_EQ(WriteValuesFromNames({"first.txt", "second.txt"}, "split.txt", stderr), 0);
  EXPECT_EQ(ReadText("split.txt"), first);
  WriteText("again_named.txt", "PasserRankEnding[6] = 121\n");
  FILE *err = std::tmpfile();
  EXPECT_EQ(WriteValuesFromNames({"first.txt", "again_named.txt"}, "unused.txt", err), 1);

  WriteText("bad.txt", "NoSuchTable[3] = 1\nPasserRankEnding[6] = 1e3\nPasserRankEnding[7] = 3000000000\n");
  EXPECT_EQ(WriteValuesFromNames({"bad.txt"}, "unused.txt", err), 1);
  std::fclose(err);
  EXPECT_FALSE(std::ifstream("unused.txt").good());
}

TEST_F(ValuesTest, NamedValuesReachTheirTables) {
  WriteNamed(
      "PawnDoubledOpening[d4] = 9\n"  // files e to h are kept here and copied to d to a
      "PawnDoubledOpening[e4] = 7\n"
      "KnightOutpostOpening[c5] = 11\n"  // files a to d are kept here and copied to e to h
      "RookOpenFileEnding[b] = -3\n"
      "PstHalfOpening[knight][c3] = 77\n"
      "PstHalfEnding[pawn][a2] = 70000\n"  // low 16 bits
      "OppositeBishopPosition[3][2][1] = 99\n"
      "PasserKingEnemy[23] = 5\n"
      "ThreatInitiative[8] = 6\n"
      "PinValueSource[13] = 4\n"  // ending half of bishop on rook
      "RookVsMinorsSource[3] = 33\n"
      "KingEFileOpen[2] = 5\n"
      "KingDFileDelta[2] = 2147483647\n"
      "LateMoveParameters[2] = 100\n"
      "LateMoveParameters[4] = 10\n");
  EXPECT_EQ(Load(), "");
  EXPECT_EQ(Opening(PawnDoubled[27]), 7);       // d4
  EXPECT_EQ(Opening(PawnDoubled[28]), 7);       // e4
  EXPECT_EQ(KnightOutpost[37], Packed(11, 0));  // f5
  EXPECT_EQ(RookOpenFile[6], Packed(18, -3));   // g
  EXPECT_EQ(Ending(RookOpenFile[6]), -3);
  EXPECT_EQ(PstSourceOpening[KNIGHT][42], 77);  // c3 of the printed table, own back rank last
  EXPECT_EQ(PstSourceOpening[KNIGHT][45], 77);  // f3
  EXPECT_EQ(PstSourceEnding[PAWN][48], i16(70000 - 65536));
  EXPECT_EQ(OppositeBishopPosition[3][2][1], 99);
  EXPECT_EQ(OppositeBishopMaterial[3][2][1], 256);
  EXPECT_EQ(PasserKingEnemy[23], 5);
  EXPECT_EQ(ThreatInitiative[8], 6);
  EXPECT_EQ(PinValue[BISHOP][ROOK], Packed(1, 4));
  EXPECT_EQ(RookVsMinors[4], Packed(33, 33));
  EXPECT_EQ(RookVsMinors[8], Packed(33, 33));
  EXPECT_EQ(KingDFileOpen[2], i32(u32(5) + u32(INT32_MAX)));
  for (int i = 0; i < 32; i++) EXPECT_EQ(LateMoveCounts[0][i], 2 + i) << i;
}

TEST_F(ValuesTest, RepairsPrintTheirRunningNumber) {
  WriteNamed(
      "KingDangerPattern[3] = 200\n"
      "KpkValue[0] = 5\n"
      "KpkValue[5] = 900\n"
      "DevelopmentTable[1] = -4\n"
      "ShelterScale[63] = 0\n");
  const std::string printed = Load();
  // Counted in the order of the repairs: 20 single values, then the pattern, the weights, the development
  // tables, the six KpkValue, ..., ShelterScale last.
  EXPECT_EQ(printed, "fix [23, 200 to 127]; fix [423, -4 to 0]; fix [614, 5 to 800]; fix [1447, 0 to 1]; \n");
  for (int i = 0; i < 6; i++) EXPECT_EQ(KpkValue[i], 800 + 20 * i);
  EXPECT_EQ(KingDangerPattern[3], 127);
}

TEST_F(ValuesTest, PruneRatesFromCounts) {
  WriteNamed(
      "PruneCounts[ending=0,code=knight,from=b1,to=c3,count=0] = 3\n"
      "PruneCounts[ending=0,code=knight,from=b1,to=c3,count=1] = 4\n"
      // Pawn and bishop share a class: the pawn's rate comes first, the bishop's fills where it has none.
      "PruneCounts[ending=1,code=pawn,from=e2,to=e4,count=0] = 1\n"
      "PruneCounts[ending=1,code=pawn,from=e2,to=e4,count=1] = 2\n"
      "PruneCounts[ending=1,code=bishop,from=e2,to=e4,count=0] = 1\n"
      "PruneCounts[ending=1,code=bishop,from=e2,to=e4,count=1] = 4\n"
      "PruneCounts[ending=1,code=bishop,from=f1,to=c4,count=0] = 9\n"
      "PruneCounts[ending=1,code=bishop,from=f1,to=c4,count=1] = 10\n"
      "PruneCounts[ending=0,code=queen,from=d1,to=h5,count=0] = -5\n"
      "PruneCounts[ending=0,code=queen,from=d1,to=h5,count=1] = 7\n"
      "PruneCounts[ending=0,code=rook,from=a1,to=a8,count=0] = 9223372036854775807\n"
      "PruneCounts[ending=0,code=rook,from=a1,to=a8,count=1] = 1\n");
  EXPECT_EQ(Load(), "Error! Negative prune stats value: -5\n");
  EXPECT_EQ(PruneStats[0][0][1 + 64 * 18][WHITE], 750);
  EXPECT_EQ(PruneStats[0][0][57 + 64 * 42][BLACK], 750);  // b8c6 reads the white counts mirrored
  EXPECT_EQ(PruneStats[0][0][1 + 64 * 18][BLACK], 0);
  EXPECT_EQ(PruneStats[1][1][12 + 64 * 28][WHITE], 500);
  EXPECT_EQ(PruneStats[1][1][5 + 64 * 26][WHITE], 900);
  EXPECT_EQ(PruneCounts[0][QUEEN][3][39][0], -5);  // kept as read
  EXPECT_EQ(PruneStats[0][3][3 + 64 * 39][WHITE], 0);
  EXPECT_EQ(PruneStats[0][2][0 + 64 * 56][WHITE], INT32_MAX);
}

TEST_F(ValuesTest, ReadingStopsAtTheFirstBadNumberAndKeepsTheRest) {
  PawnBlendOpening[2] = 42;
  LateMoveParameters[0] = 30;
  WriteText("values.txt", "5\n7\n\nxyz\n9\n");
  ImbalanceTable = ImbalancePawnTable = nullptr;
  testing::internal::CaptureStdout();
  EXPECT_EQ(ReadValuesFile(), 2);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(PawnBlendOpening[0], 5);
  EXPECT_EQ(PawnBlendOpening[1], 7);
  EXPECT_EQ(PawnBlendOpening[2], 42);
  Load();
  EXPECT_EQ(LateMoveParameters[0], 30);
  EXPECT_EQ(LateMoveCounts[0][0], 3);
}

// The file's numbers may be anything at all; the load must stay within its tables and its arithmetic.
TEST_F(ValuesTest, BadFilesLoadWithoutHarm) {
  const std::string complete = [] {
    std::string text;
    for (i64 n : CompiledDefaults()) text += std::to_string(n) + "\n";
    return text;
  }();
  std::string binary;
  for (int i = 0; i < 4096; i++) binary += char((i * 7919) & 255);
  const std::vector<std::string> files = {
      "", "letters and words\n", binary, complete.substr(0, complete.size() / 3), "12abc\n", "-\n",
  };
  for (const std::string &text : files) {
    WriteText("values.txt", text);
    Load();
  }
  for (const char *absurd :
       {"1000000000", "-1000000000", "-2147483648", "99999999999999999999999", "-99999999999999999999999"}) {
    const std::string line = std::string(absurd) + "\n";
    std::string text;
    const i64 count = ValuesFileCount();
    text.reserve(line.size() * size_t(count));
    for (i64 i = 0; i < count; i++) text += line;
    WriteText("values.txt", text);
    Load();
    for (int i = 0; i < 384; i++) ASSERT_LE(KingDangerPattern[i], 127);
    for (int i = 0; i < 64; i++) ASSERT_TRUE(DevelopmentTable[i] >= 0 && DevelopmentTable[i] <= 5);
    for (int i = 0; i < 64; i++) ASSERT_GE(ShelterScale[i], 1);
    for (int i = 0; i <= 300; i++) ASSERT_LE(std::abs(i64(PasserCurve[i])), i64(1) << 30);
    const i32 *rates = &PruneStats[0][0][0][0];
    for (size_t i = 0; i < sizeof PruneStats / sizeof(i32); i++) ASSERT_GE(rates[i], 0);
  }
  EXPECT_EQ(PawnBlendOpening[0], INT32_MIN);  // the last file saturates
}

}  // namespace
