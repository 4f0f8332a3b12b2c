// Discovery along the path, the records it makes, and damaged or missing files: reported or skipped, never read
// past their mapping (the sanitizer build runs these too).
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>

#include "engine_fixture.h"
#include "tablebase/registry.h"
#include "tablebase_support.h"

namespace fs = std::filesystem;

namespace {

class TablebaseFilesTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    char pattern[] = "/tmp/quarvelle_tb_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    FreeTablebases();
    fs::remove_all(dir_);
  }

  std::string Sub(const std::string &name) {
    const std::string path = dir_ + "/" + name;
    fs::create_directories(path);
    return path;
  }
  static void Write(const std::string &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  static std::string Read(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  // Starts the tables and returns what the start printed.
  static std::string Start(const std::string &path) {
    testing::internal::CaptureStdout();
    InitTablebases(path.c_str());
    return testing::internal::GetCapturedStdout();
  }
  static i32 Wdl(const char *fen, i32 &success) {
    SetUpProbe(fen);
    return ProbeWdl(success);
  }

  std::string dir_;
};

int RecordsInHash(const TableRecord *table) {
  int n = 0;
  for (auto &bucket : TableHash)
    for (const TableSlot &slot : bucket) n += slot.Table == table && slot.Key != 0;
  return n;
}

TEST_F(TablebaseFilesTest, PathsSplitAtSemicolonsAndColonsButKeepADriveLetter) {
  EXPECT_EQ(Start("a;;b"), "info string Found 0 tablebases.\n");
  EXPECT_EQ(PathCount, 2);
  Start("a;");
  EXPECT_EQ(PathCount, 1);
  Start("/x/a:/x/b;/x/c");
  ASSERT_EQ(PathCount, 3);
  EXPECT_STREQ(PathList[1], "/x/b");
  Start("c:\\tablebases\\");
  ASSERT_EQ(PathCount, 1);
  EXPECT_STREQ(PathList[0], "c:\\tablebases\\");
  EXPECT_EQ(Settings.TbMaxPieces, 0);
}

TEST_F(TablebaseFilesTest, EmptyPathsSearchNothing) {
  Settings.TbMaxPieces = 0;
  EXPECT_EQ(Start(""), "");
  EXPECT_EQ(Start("<empty>"), "");
  EXPECT_EQ(Settings.TbMaxPieces, 0);
  EXPECT_EQ(PathCount, 0);
}

TEST_F(TablebaseFilesTest, MissingDirectoriesAndOverlongNamesFindNothing) {
  const std::string longName(1000, 'x');
  EXPECT_EQ(Start("/no/such/dir;" + longName + ";" + dir_ + "/" + longName + ":" + longName), "info string Found 0 tablebases.\n");
  // The longest path the setting holds, one directory.
  EXPECT_EQ(Start(std::string(TB_PATH_SIZE - 1, 'y')), "info string Found 0 tablebases.\n");
  i32 success = 1;
  Wdl("8/8/8/4k3/8/8/8/KQ6 w - - 0 1", success);
  EXPECT_EQ(success, 0);
}

TEST_F(TablebaseFilesTest, OneFileMakesOneRecordUnderBothKeys) {
  Write(Sub("only") + "/KQvKR.rtbw", "");
  Start(dir_ + "/only");
  ASSERT_EQ(PieceTableCount, 1);
  EXPECT_EQ(PawnTableCount, 0);
  EXPECT_EQ(PieceTables[0].Men, 4);
  EXPECT_EQ(PieceTables[0].Symmetric, 0);
  EXPECT_EQ(PieceTables[0].EncodingType, 0);
  EXPECT_EQ(RecordsInHash(&PieceTables[0]), 2);
  EXPECT_EQ(Settings.TbMaxPieces, 4);
  for (const char *fen : {"8/8/8/4k3/8/8/8/KQ5r w - - 0 1", "8/8/8/4K3/8/8/8/kq5R w - - 0 1"}) {
    LoadFen(fen);
    EXPECT_NE(FindTableSlot(MaterialKey(0)), nullptr) << fen;
  }
  char name[16];
  MaterialName(name, 1);
  EXPECT_STREQ(name, "KQvKR");
  MaterialName(name, 0);
  EXPECT_STREQ(name, "KRvKQ");
}

TEST_F(TablebaseFilesTest, PawnCountsLeadWithTheSmallerCountAndSymmetricTablesStandOnce) {
  const std::string d = Sub("pawns");
  for (const char *name : {"KPvKP", "KPPvKP", "KPPvK", "KQQvK"}) Write(d + "/" + name + ".rtbw", "");
  Start(d);
  ASSERT_EQ(PawnTableCount, 3);
  const PawnTable &kpkp = PawnTables[0];  // registered before the five-man names
  EXPECT_EQ(kpkp.Symmetric, 1);
  EXPECT_EQ(kpkp.PawnCounts[0], 1);
  EXPECT_EQ(kpkp.PawnCounts[1], 1);
  EXPECT_EQ(RecordsInHash(&kpkp), 1);
  const PawnTable &kppk = PawnTables[1];
  EXPECT_EQ(kppk.PawnCounts[0], 2);
  EXPECT_EQ(kppk.PawnCounts[1], 0);
  const PawnTable &kppkp = PawnTables[2];
  EXPECT_EQ(kppkp.PawnCounts[0], 1);
  EXPECT_EQ(kppkp.PawnCounts[1], 2);
  ASSERT_EQ(PieceTableCount, 1);
  EXPECT_EQ(PieceTables[0].EncodingType, 2) << "KQQvK: two kings and two equal pieces";
}

TEST_F(TablebaseFilesTest, AllFiveHundredTenNamesFillBothArraysExactly) {
  const std::string d = Sub("all");
  int files = 0;
  const char *letters = "QRBNP";
  // Every side of up to four men besides the king, then every pair of 3 to 6 men with the first side no smaller;
  // sides of equal size are written both ways round, of which the engine asks one.
  std::vector<std::string> names;
  std::function<void(std::string, int, int)> side = [&](std::string s, int from, int left) {
    names.push_back(s);
    if (left == 0) return;
    for (int i = from; i < 5; i++) side(s + letters[i], i, left - 1);
  };
  std::vector<std::string> halves;
  side("K", 0, 4);
  halves = names;
  for (const std::string &first : halves)
    for (const std::string &second : halves) {
      const size_t men = first.size() + second.size();
      if (men < 3 || men > 6 || second.size() > first.size()) continue;
      Write(d + "/" + first + "v" + second + ".rtbw", "");
      files++;
    }
  testing::internal::CaptureStdout();
  InitTablebases(d.c_str());
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(PieceTableCount, TBMAX_PIECE);
  EXPECT_EQ(PawnTableCount, TBMAX_PAWN);
  EXPECT_EQ(out, "info string Found 510 tablebases.\n") << files << " files written";
  EXPECT_EQ(Settings.TbMaxPieces, 6);
}

TEST_F(TablebaseFilesTest, FirstDirectoryWinsAndTheTwoFilesOfAMaterialMayLieApart) {
  const std::string tiny = TinySyzygyDir();
  const std::string a = Sub("a"), b = Sub("b");
  Write(a + "/KQvK.rtbw", "not a table");
  Write(b + "/KQvK.rtbw", Read(tiny + "/KQvK.rtbw"));
  Write(a + "/KRvK.rtbw", Read(tiny + "/KRvK.rtbw"));
  Write(b + "/KRvK.rtbz", Read(tiny + "/KRvK.rtbz"));
  Start(a + ";" + b);
  i32 success = 1;
  testing::internal::CaptureStdout();
  Wdl("8/8/8/4k3/8/8/8/KQ6 w - - 0 1", success);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Corrupted table.\n") << "a/KQvK.rtbw is asked first";
  EXPECT_EQ(success, 0);
  SetUpProbe("8/8/8/8/8/3k4/8/3KR3 w - - 0 1");
  EXPECT_EQ(ProbeWdl(success), 2);
  EXPECT_EQ(ProbeDtz(success), 27);
  EXPECT_NE(success, 0);
}

TEST_F(TablebaseFilesTest, DamagedFilesAreReportedSkippedAndNotTriedAgain) {
  const std::string tiny = TinySyzygyDir();
  const std::string good = Read(tiny + "/KPvK.rtbw"), goodDtz = Read(tiny + "/KPvK.rtbz");
  ASSERT_GT(good.size(), 1000u);
  std::mt19937 random(7);
  std::string noise(good.size(), '\0');
  for (char &c : noise) c = char(random());
  std::string badMagic = good;
  badMagic[0] ^= 1;
  std::string noisyBody = good.substr(0, 5) + noise.substr(5);
  const std::pair<const char *, std::string> cases[] = {
      {"wrong magic", badMagic},
      {"cut in half", good.substr(0, good.size() / 2)},
      {"cut after the header", good.substr(0, 40)},
      {"random bytes of the right size", noise},
      {"random bytes after a good magic", noisyBody},
      {"empty", ""},
  };
  const char *fens[] = {"8/4P3/8/8/8/8/k7/4K3 w - - 0 1", "8/8/8/4k3/8/8/1P6/4K3 b - - 0 1",
                        "8/8/8/4K3/8/8/4p3/4k3 b - - 0 1"};
  for (const auto &[what, bytes] : cases) {
    const std::string d = Sub(what);
    Write(d + "/KPvK.rtbw", bytes);
    Write(d + "/KPvK.rtbz", goodDtz);
    Start(d);
    testing::internal::CaptureStdout();
    for (const char *fen : fens) {
      i32 success = 1;
      const i32 v = Wdl(fen, success);
      // Noise after a good magic may pass every check; the value is then anything, but in range.
      if (success) {
        EXPECT_TRUE(v >= -2 && v <= 253) << what;
      }
      ProbeDtz(success);
    }
    const std::string out = testing::internal::GetCapturedStdout();
    if (std::string(what) == "random bytes after a good magic") continue;
    EXPECT_NE(out.find("Corrupted table."), std::string::npos) << what << ":\n" << out;
  }
  // A damaged .rtbz with a good .rtbw: the DTZ probe fails, the WDL probe still answers.
  const std::string d = Sub("dtz");
  const std::string rookDtz = Read(tiny + "/KRvK.rtbz");
  Write(d + "/KRvK.rtbw", Read(tiny + "/KRvK.rtbw"));
  Write(d + "/KRvK.rtbz", rookDtz.substr(0, rookDtz.size() / 3));
  Start(d);
  const char *rook = "8/8/8/8/8/3k4/8/3KR3 w - - 0 1";
  i32 success = 1;
  testing::internal::CaptureStdout();
  EXPECT_EQ(Wdl(rook, success), 2);
  EXPECT_EQ(success, 1);
  SetUpProbe(rook);
  ProbeDtz(success);
  EXPECT_EQ(success, 0);
  ProbeDtz(success);
  EXPECT_EQ(success, 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Corrupted table.\n") << "a failed .rtbz holds its slot";
}

TEST_F(TablebaseFilesTest, AFileGoneAfterTheStartIsReportedAndItsKeyDropped) {
  const std::string d = Sub("vanish");
  Write(d + "/KQvK.rtbw", Read(TinySyzygyDir() + "/KQvK.rtbw"));
  Start(d);
  fs::remove(d + "/KQvK.rtbw");
  i32 success = 1;
  testing::internal::CaptureStdout();
  Wdl("8/8/8/4k3/8/8/8/KQ6 w - - 0 1", success);
  Wdl("8/8/8/4k3/8/8/8/KQ6 w - - 0 1", success);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Could not find KQvK.rtbw\n") << "asked once under this key";
  EXPECT_EQ(success, 0);
}

TEST_F(TablebaseFilesTest, ARestartReleasesEverythingAndAnEmptyStartLeavesNoTables) {
  Start(TinySyzygyDir());
  EXPECT_EQ(Settings.TbMaxPieces, 3);
  i32 success = 1;
  EXPECT_EQ(Wdl("8/8/8/8/8/3k4/8/3KR3 w - - 0 1", success), 2);
  SetUpProbe("8/8/8/8/8/3k4/8/3KR3 w - - 0 1");
  EXPECT_EQ(ProbeDtz(success), 27);
  Start("<empty>");
  EXPECT_EQ(Settings.TbMaxPieces, 0);
  EXPECT_EQ(PieceTableCount + PawnTableCount, 0);
  for (const DtzSlot &slot : DtzList) EXPECT_EQ(slot.Table, nullptr);
  EXPECT_EQ(Wdl("8/8/8/8/8/3k4/8/3KR3 w - - 0 1", success), 0);
  EXPECT_EQ(success, 0);
  // Bare kings need no table at all.
  EXPECT_EQ(Wdl("8/8/8/8/8/3k4/8/3K4 w - - 0 1", success), 0);
  EXPECT_EQ(success, 1);
}

TEST_F(TablebaseFilesTest, ADirectoryWithoutReadRightsIsPassedOver) {
  const std::string d = Sub("locked");
  Write(d + "/KQvK.rtbw", Read(TinySyzygyDir() + "/KQvK.rtbw"));
  chmod(d.c_str(), 0);
  const std::string out = Start(d + ";" + TinySyzygyDir());
  chmod(d.c_str(), 0700);
  // Root reads it anyway; anyone else finds the copy in the second directory. Either way all four are there.
  EXPECT_EQ(out, "info string Found 4 tablebases.\n");
  i32 success = 1;
  EXPECT_EQ(Wdl("8/8/8/4k3/8/8/8/KQ6 w - - 0 1", success), 2);
}

}  // namespace
