// Probes against the reference that fathom produced (tests/data/tablebase_reference.txt): WDL and DTZ of every
// position and of the position after each legal move, and the moves the root keeps.
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "board/makemove.h"
#include "board/movegen.h"
#include "engine_fixture.h"
#include "tablebase_support.h"
#include "think/root_tablebase.h"

namespace {

struct ChildValue {
  std::string move;
  bool mate = false;
  int wdl = 0, dtz = 0;
};

struct ReferenceLine {
  std::string fen;
  int wdl = 0, dtz = 0;
  std::vector<ChildValue> children;
};

std::vector<ReferenceLine> ReadReference() {
  std::ifstream in(std::string(QUARVELLE_TESTDATA_DIR) + "/tablebase_reference.txt");
  std::vector<ReferenceLine> lines;
  for (std::string text; std::getline(in, text);) {
    std::stringstream parts(text);
    ReferenceLine line;
    std::string field;
    std::getline(parts, line.fen, ';');
    std::getline(parts, field, ';');
    line.wdl = std::stoi(field);
    std::getline(parts, field, ';');
    line.dtz = std::stoi(field);
    std::getline(parts, field);
    std::stringstream moves(field);
    for (std::string item; moves >> item;) {
      ChildValue child;
      const size_t colon = item.find(':');
      child.move = item.substr(0, colon);
      const std::string rest = item.substr(colon + 1);
      if (rest == "mate") {
        child.mate = true;
      } else {
        child.wdl = std::stoi(rest.substr(0, rest.find(':')));
        child.dtz = std::stoi(rest.substr(rest.find(':') + 1));
      }
      line.children.push_back(child);
    }
    lines.push_back(line);
  }
  return lines;
}

std::string MaterialOf(const std::string &fen) {
  std::string white, black;
  for (char c : fen.substr(0, fen.find(' ')))
    if (std::isalpha(static_cast<unsigned char>(c))) (std::isupper(static_cast<unsigned char>(c)) ? white : black) += c;
  return white + "v" + black;
}

class TablebaseReferenceTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    if (SharedSyzygyDir().empty()) GTEST_SKIP() << "the shared Syzygy tables are not on this machine";
    InitTablebases(SharedSyzygyDir().c_str());
  }
  void TearDown() override { FreeTablebases(); }
};

u32 FindMove(const std::string &text) {
  LegalMoves(0);
  for (int i = 0; i < MoveStackTop; i++) {
    char buffer[8];
    if (text == MoveText(buffer, MoveStack[i].Move)) return MoveStack[i].Move;
  }
  return 0;
}

TEST_F(TablebaseReferenceTest, ReferenceCoversEveryTableBothSidesEnPassantAndEveryPawnFile) {
  const std::vector<ReferenceLine> lines = ReadReference();
  ASSERT_GE(lines.size(), 2000u);
  std::set<std::string> materials;
  std::set<char> pawnFiles;
  int enPassant = 0, blackToMove = 0;
  for (const ReferenceLine &line : lines) {
    std::string material = MaterialOf(line.fen);
    materials.insert(material);
    enPassant += line.fen.find(" - - ") == std::string::npos;
    blackToMove += line.fen.find(" b ") != std::string::npos;
    const std::string board = line.fen.substr(0, line.fen.find(' '));
    int file = 0;
    for (char c : board) {
      if (c == '/') file = 0;
      else if (std::isdigit(static_cast<unsigned char>(c))) file += c - '0';
      else {
        if (c == 'P' || c == 'p') pawnFiles.insert(char('a' + file));
        file++;
      }
    }
  }
  EXPECT_GE(materials.size(), 35u * 2 - 10) << "materials with either side first";
  EXPECT_EQ(pawnFiles.size(), 8u);
  EXPECT_GE(enPassant, 20);
  EXPECT_GT(blackToMove, 500);
  EXPECT_GT(int(lines.size()) - blackToMove, 500);
}

TEST_F(TablebaseReferenceTest, WdlAndDtzOfPositionsAndChildrenEqualTheReference) {
  const std::vector<ReferenceLine> lines = ReadReference();
  int checked = 0, mismatches = 0;
  std::string report;
  auto expectProbe = [&](const std::string &where, int wdl, int dtz) {
    SetCheckFlag(Ply);
    i32 success = 0;
    const i32 gotWdl = ProbeWdl(success);
    const bool wdlGood = success != 0 && gotWdl == wdl;
    const i32 gotDtz = ProbeDtz(success);
    const bool dtzGood = success != 0 && gotDtz == dtz;
    checked++;
    if (wdlGood && dtzGood) return;
    if (++mismatches <= 20)
      report += where + ": wdl " + std::to_string(gotWdl) + " (want " + std::to_string(wdl) + "), dtz " +
                std::to_string(gotDtz) + " (want " + std::to_string(dtz) + ")\n";
  };
  for (const ReferenceLine &line : lines) {
    SetUpProbe(line.fen.c_str());
    expectProbe(line.fen, line.wdl, line.dtz);
    for (const ChildValue &child : line.children) {
      if (child.mate) continue;
      const u32 move = FindMove(child.move);
      ASSERT_NE(move, 0u) << line.fen << " " << child.move;
      MoveStackTop = 0;
      make_move(move, 1);
      expectProbe(line.fen + " " + child.move, child.wdl, child.dtz);
      unmake_move();
    }
  }
  EXPECT_EQ(mismatches, 0) << mismatches << " of " << checked << " probes differ:\n" << report;
  EXPECT_GT(checked, 20000);
}

// The root keeps only moves that keep the value: every winning move it keeps wins inside the fifty moves, and the
// fastest wins are among them; a draw keeps exactly the drawing moves; a loss keeps the slowest losses.
TEST_F(TablebaseReferenceTest, RootFilterKeepsTheDtzOptimalMoves) {
  const std::vector<ReferenceLine> lines = ReadReference();
  int wins = 0, draws = 0, losses = 0;
  for (const ReferenceLine &line : lines) {
    LoadFen(line.fen.c_str());
    Ply = 0;
    SetCheckFlag(0);
    LegalMoves(0);
    std::map<std::string, int> value;  // the root's value of a move: plies to zeroing after it, signed
    std::map<std::string, int> childWdl;
    for (const ChildValue &child : line.children) {
      const u32 move = FindMove(child.move);
      MoveStackTop = 0;
      make_move(move, 1);
      const bool zeroing = thread_board.ReversibleMoves == 0;
      unmake_move();
      childWdl[child.move] = child.mate ? -2 : child.wdl;
      if (child.mate) value[child.move] = 1;
      else if (zeroing) value[child.move] = child.wdl < 0 ? (child.wdl == -2 ? 1 : 101) : child.wdl > 0 ? (child.wdl == 2 ? -1 : -101) : 0;
      else value[child.move] = child.dtz == 0 ? 0 : child.dtz < 0 ? -child.dtz + 1 : -child.dtz - 1;
    }
    LegalMoves(0);
    Ply = 0;
    i32 score = 0;
    ASSERT_TRUE(RootProbeDtz(score)) << line.fen;
    std::set<std::string> kept;
    for (int i = 0; i < MoveStackTop; i++) {
      char buffer[8];
      kept.insert(MoveText(buffer, MoveStack[i].Move));
    }
    ASSERT_FALSE(kept.empty()) << line.fen;
    if (line.dtz > 0) {
      wins++;
      int fastest = 1 << 30;
      for (auto &[move, v] : value)
        if (v > 0 && v < fastest) fastest = v;
      for (auto &[move, v] : value) {
        if (v == fastest) {
          EXPECT_TRUE(kept.count(move)) << line.fen << ": the fastest win " << move << " is dropped";
        }
        if (kept.count(move)) {
          EXPECT_TRUE(v > 0 && v <= std::max(fastest, 99)) << line.fen << ": " << move << " " << v;
        }
      }
      EXPECT_EQ(score, 31699) << line.fen;
    } else if (line.dtz == 0) {
      draws++;
      for (auto &[move, w] : childWdl) EXPECT_EQ(kept.count(move) == 1, w == 0) << line.fen << " " << move;
    } else {
      losses++;
      int slowest = 0;
      for (auto &[move, v] : value) slowest = std::min(slowest, v);
      for (auto &[move, v] : value) {
        if (v != slowest) continue;
        EXPECT_TRUE(kept.count(move)) << line.fen << ": the slowest loss " << move << " is dropped";
      }
    }
  }
  EXPECT_GT(wins, 300);
  EXPECT_GT(draws, 300);
  EXPECT_GT(losses, 300);
}

}  // namespace
