#include "shell/uci.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "book/book_file.h"
#include "eval/pawn_hash.h"
#include "search/hash.h"
#include "shell/commands.h"
#include "shell/engine.h"
#include "shell/settings.h"
#include "tablebase/tablebase.h"

namespace {

// The rest of the line from the start of a token, as the path options take it.
const char *FromToken(int index) { return CommandLine + TokenStart[index]; }

}  // namespace

void PrintUciIdentity() {
  printf("id name Quarvelle 1.98\n");
  printf("id author Tovrik\n");
  printf("option name Hash type spin min 0 max 1024 default 10\n");
  printf("option name PawnHash type spin min 0 max 1024 default 7\n");
  printf("option name SyzygyPath type string default c:\\tablebases\\\n");
  printf("option name OpeningsBook type string default .\\book.qvl\n");
  printf("option name OwnBook type check default true\n");
  printf("option name MultiPV type spin min 1 max 1024 default 1\n");
  printf("option name Aggressivity type spin min 0 max 300 default %d\n", Settings.Aggressivity);
  printf("option name Defensivity type spin min 0 max 300 default %d\n", Settings.Cowardice);
  printf("option name Clear Hash type button\n");
  printf("uciok\n");
  fflush(stdout);
  Settings.UciMode = 1;
  Settings.PonderingOn = 0;
}

void SetOption() {
  if (!MatchKeyword("name", Tokens[1])) return;
  const char *option = Tokens[2];
  const bool hasValue = MatchKeyword("value", Tokens[3]);
  const int value = std::atoi(Tokens[4]);
  SettingsRecord &s = Settings;
  if (MatchKeyword("Aggressivity", option)) {
    if (hasValue) s.Aggressivity = value, s.AggressivityHalf = value / 2;
  } else if (MatchKeyword("Defensivity", option)) {
    if (hasValue) s.Cowardice = value, s.CowardiceHalf = value / 2;
  } else if (MatchKeyword("MultiPV", option)) {
    if (hasValue) s.MultiPV = value;
  } else if (MatchKeyword("Hash", option)) {
    if (hasValue) ResizeHash(std::atoll(Tokens[4]));
  } else if (MatchKeyword("PawnHash", option)) {
    if (hasValue) ResizePawnHash(std::atoll(Tokens[4]));
  } else if (MatchKeyword("Clear", option)) {
    if (MatchKeyword("Hash", Tokens[3])) ClearHash();
  } else if (MatchKeyword("OwnBook", option)) {
    if (hasValue && MatchKeyword("false", Tokens[4])) s.OwnBook = 0;
    else if (hasValue && MatchKeyword("true", Tokens[4])) s.OwnBook = 1;
  } else if (MatchKeyword("SyzygyPath", option)) {
    if (hasValue && s.UseEGTB && Tokens[4][0]) {
      std::snprintf(TablebasePath, TB_PATH_SIZE, "%s", FromToken(4));
      InitTablebases(TablebasePath);
      s.TbPiecesInUse = s.TbMaxPieces;
    }
  } else if (MatchKeyword("OpeningsBook", option)) {
    if (hasValue && Tokens[4][0]) OpenBook(FromToken(4));
  }
}

void NewUciGame() {
  Settings.PendingBestMove = 0;
  CloseOldGame();
}

void SetPosition(int tokenCount) {
  if (tokenCount < 2) return;
  Settings.PendingBestMove = 0;
  if (MatchKeyword("startpos", Tokens[1])) {
    NewGame();
  } else if (MatchKeyword("fen", Tokens[1])) {
    char marker[4] = {};
    std::strncpy(marker, Tokens[1], 3);
    if (const char *found = std::strstr(CommandLine, marker)) {
      const size_t skip = std::strlen(found) < 4 ? std::strlen(found) : 4;
      LoadFen(found + skip);
    }
  }
  if (tokenCount < 4) return;
  int first = 2;
  while (first < tokenCount && !MatchKeyword("moves", Tokens[first])) first++;
  for (int i = first + 1; i < tokenCount; i++) {
    if (!IsMoveText(Tokens[i])) continue;
    const u32 move = ParseMoveText(Tokens[i]);
    if (move && IsLegal(move)) MakeGameMove(move);
  }
}

void ParseGoArguments(int tokenCount) {
  SettingsRecord &s = Settings;
  s.ForceMode = 0;
  s.UciPonder = 0;
  s.SearchMovesCount = 0;
  if (tokenCount > 1) {
    s.MovesPerSession = 0;
    s.FixedMoveTime = 0;
    s.SearchDepthLimit = 998;
    s.TimeIncrement = 0;
    s.NodeLimit = 0;
  }
  const bool white = thread_board.SideToMove == WHITE;
  for (int i = 1; i < tokenCount; i++) {
    const char *keyword = Tokens[i];
    const int value = i + 1 < tokenCount ? std::atoi(Tokens[i + 1]) : 0;
    if (MatchKeyword("btime", keyword)) {
      if (!white) SetClockTimeLeft(value / 10);
      i++;
    } else if (MatchKeyword("wtime", keyword)) {
      if (white) SetClockTimeLeft(value / 10);
      i++;
    } else if (MatchKeyword("binc", keyword)) {
      if (!white) s.TimeIncrement = value / 10;
      i++;
    } else if (MatchKeyword("winc", keyword)) {
      if (white) s.TimeIncrement = value / 10;
      i++;
    } else if (MatchKeyword("movestogo", keyword)) {
      s.MovesPerSession = value, i++;
    } else if (MatchKeyword("depth", keyword)) {
      s.SearchDepthLimit = value, i++;
    } else if (MatchKeyword("nodes", keyword)) {
      s.NodeLimit = value, i++;
    } else if (MatchKeyword("movetime", keyword)) {
      s.FixedMoveTime = value / 10, i++;
    } else if (MatchKeyword("mate", keyword)) {
      s.MateLimit = value, i++;
    } else if (MatchKeyword("infinite", keyword)) {
      s.TimeLeft = 999999999;
    } else if (MatchKeyword("searchmoves", keyword)) {
      for (int j = i + 1; j < tokenCount && s.SearchMovesCount < SEARCH_MOVES_SIZE; j++)
        if (IsMoveText(Tokens[j])) SearchMoves[s.SearchMovesCount++] = ParseMoveText(Tokens[j]);
      break;
    } else if (MatchKeyword("ponder", keyword)) {
      s.UciPonder = 1;
    }
  }
}

void AnswerPonderHit() {
  if (!Settings.UciPonder) return;
  const u32 move = MoveStack[0].Move;
  MakeGameMove(move);
  Settings.UciPonder = 0;
  char text[8];
  printf("bestmove %s", MoveText(text, move));
  Settings.PendingBestMove = i32(move);
  if (Settings.PonderMove && IsLegal(u32(Settings.PonderMove))) printf(" ponder %s", MoveText(text, u32(Settings.PonderMove)));
  printf("\n");
  fflush(stdout);
}
