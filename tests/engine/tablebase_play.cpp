// The engine with tablebases plays endings through the real binary against itself without them: it converts
// won 4-man endings to mate inside the fifty-move rule and holds a drawn one.
//
//   tablebase_play <engine binary> <syzygy dir>
// Exits 77 (skipped) when the directory has no tables.
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "engine_fixture_free.h"
#include "engine_session.h"

namespace {

int Failures;

void Expect(bool condition, const std::string &game, const std::string &what) {
  if (condition) return;
  std::printf("FAIL [%s] %s\n", game.c_str(), what.c_str());
  Failures++;
}

EngineSession *Open(const std::string &binary, const std::string &tables) {
  auto *engine = new EngineSession(binary);
  engine->Send("uci\nsetoption name SyzygyPath value " + tables + "\nisready\n");
  engine->ReadUntil("readyok");
  return engine;
}

enum class Result { Mated, Drawn, Ongoing };

// Plays from `fen` until mate, a draw by rule or `maxPlies`; `tabled` is the side that has the tables.
Result Play(const std::string &name, const std::string &fen, EngineSession &tabled, EngineSession &plain,
            int tabledSide, int maxPlies, int *matedSide) {
  LoadFen(fen.c_str());
  std::string moves;
  for (int ply = 0; ply < maxPlies; ply++) {
    const BoardRecord &b = thread_board;
    LegalMoves(0);
    if (MoveStackTop == 0) {
      if (IsAttacked(ChangeSide(b.SideToMove), b.KingSquare[b.SideToMove])) {
        *matedSide = b.SideToMove;
        return Result::Mated;
      }
      return Result::Drawn;
    }
    if (b.ReversibleMoves >= 100 || b.PieceTotal == 2) return Result::Drawn;
    EngineSession &engine = b.SideToMove == tabledSide ? tabled : plain;
    engine.Send("position fen " + fen + (moves.empty() ? "" : " moves" + moves) + "\ngo depth 8\n");
    const auto reply = engine.ReadUntil("bestmove");
    if (!reply) {
      Expect(false, name, "no bestmove after" + moves);
      return Result::Ongoing;
    }
    const std::string text = reply->substr(9, reply->find(' ', 9) - 9);
    u32 found = 0;
    for (int i = 0; i < MoveStackTop; i++) {
      char buffer[8];
      if (text == MoveText(buffer, MoveStack[i].Move)) found = MoveStack[i].Move;
    }
    if (!found) {
      Expect(false, name, "illegal move " + text + " after" + moves);
      return Result::Ongoing;
    }
    MoveStackTop = 0;
    MakeGameMove(found);
    moves += " " + text;
  }
  return Result::Ongoing;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s <engine binary> <syzygy dir>\n", argv[0]);
    return 2;
  }
  struct stat info;
  if (stat((std::string(argv[2]) + "/KQvKR.rtbw").c_str(), &info) != 0) {
    std::printf("SKIP: no tables in %s\n", argv[2]);
    return 77;
  }
  InitBoardTables();
  EngineSession *tabled = Open(argv[1], argv[2]);
  EngineSession *plain = Open(argv[1], "<empty>");
  struct Game {
    const char *name, *fen;
    int tabledSide;
    bool win;
  };
  const Game games[] = {
      {"KQvKR, 49 plies to the capture", "K7/8/8/5r2/Q7/2k5/8/8 w - - 0 1", WHITE, true},
      {"KPvK, only moves win", "4k3/8/4K3/4P3/8/8/8/8 w - - 0 1", WHITE, true},
      {"KPvK, the defender holds", "8/8/8/8/8/4k3/4P3/4K3 w - - 0 1", BLACK, false},
  };
  for (const Game &game : games) {
    plain->Send("ucinewgame\n");
    tabled->Send("ucinewgame\n");
    int mated = -1;
    const Result result = Play(game.name, game.fen, *tabled, *plain, game.tabledSide, 200, &mated);
    if (game.win)
      Expect(result == Result::Mated && mated != game.tabledSide, game.name, "the side with tables mates");
    else
      Expect(!(result == Result::Mated && mated == game.tabledSide), game.name, "the side with tables is not mated");
    std::printf("%s: %s\n", game.name, result == Result::Mated ? "mate" : result == Result::Drawn ? "draw" : "no end");
  }
  tabled->Send("quit\n");
  plain->Send("quit\n");
  Expect(tabled->Wait().Clean() && plain->Wait().Clean(), "session", "both engines quit cleanly");
  delete tabled;
  delete plain;
  std::printf("%d failed\n", Failures);
  return Failures ? 1 : 0;
}
