#include "shell/commands.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/attacks.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "eval/pawn_hash.h"
#include "eval/values.h"
#include "search/hash.h"
#include "search/statistics.h"
#include "shell/console.h"
#include "shell/engine.h"
#include "shell/input.h"
#include "shell/settings.h"
#include "shell/uci.h"
#include "think/think.h"
#include "tools/analyze.h"
#include "tools/bench.h"
#include "tools/demo.h"
#include "tools/epd_eval.h"
#include "tools/perft.h"
#include "tools/pgn_eval.h"

char CommandLine[INPUT_BUFFER_SIZE];
char *Tokens[TOKEN_COUNT];
i32 TokenStart[TOKEN_COUNT];

namespace {

char LongTokens[LONG_TOKENS][LONG_TOKEN_SIZE];
char ShortTokens[TOKEN_COUNT - LONG_TOKENS][SHORT_TOKEN_SIZE];

const bool TokensPlaced = [] {
  for (int i = 0; i < TOKEN_COUNT; i++) Tokens[i] = i < LONG_TOKENS ? LongTokens[i] : ShortTokens[i - LONG_TOKENS];
  return true;
}();

int TokenSize(int index) { return index < LONG_TOKENS ? LONG_TOKEN_SIZE : SHORT_TOKEN_SIZE; }

// A move typed at the console or sent by xboard.
void TakeMoveInput(const char *line) {
  const u32 move = ParseMoveText(line);
  if (!move || !IsLegal(move)) {
    printf("Illegal move: %s\n", line);
    fflush(stdout);
    return;
  }
  MakeGameMove(move);
  if (Settings.ForceMode) return;
  Settings.UciPonder = 0;
  Settings.SearchMovesCount = 0;
  Think();
}

// Row 40 alone wants its keyword whole, so that "uci" reaches the row after it.
bool IsWholeWord(const char *keyword, const char *token) {
  for (; *keyword && *token; keyword++, token++)
    if (LowerCase[u8(*keyword)] != LowerCase[u8(*token)]) return false;
  return *keyword == *token;
}

}  // namespace

void Clean() {
  ClearHash();
  ClearKillers();
  ClearPawnHash();
  ClearEvalCache();
  ClearOrderingStatistics();
  Settings.LastScore = Settings.LastScoreSide = 0;
}

i32 Tokenise(const char *text, const char *delimiters) {
  for (char *token : Tokens) token[0] = '\0';
  int index = 0, length = 0;
  for (int offset = 0; text[offset]; offset++) {
    if (std::strchr(delimiters, text[offset])) {
      if (length > 0) {
        if (index == TOKEN_COUNT - 1) break;
        index++, length = 0;
      }
      continue;
    }
    if (length == 0) TokenStart[index] = offset;
    // A token longer than its buffer is cut off.
    if (length < TokenSize(index) - 1) {
      Tokens[index][length++] = text[offset];
      Tokens[index][length] = '\0';
    }
  }
  return index + 1;
}

bool MatchKeyword(const char *keyword, const char *text) {
  while (*keyword == ' ') keyword++;
  while (*text == ' ') text++;
  if (!*keyword || !*text) return false;
  for (; *keyword && *text; keyword++, text++)
    if (LowerCase[u8(*keyword)] != LowerCase[u8(*text)]) return false;
  return true;
}

u32 ParseMoveText(const char *text) {
  // Capital file letters pass the move test of the chain but are no move here.
  auto isFile = [](char c) { return c >= 'a' && c <= 'h'; };
  auto isRank = [](char c) { return c >= '1' && c <= '8'; };
  if (!isFile(text[0]) || !isRank(text[1]) || !isFile(text[2]) || !isRank(text[3])) return 0;
  const int from = (text[1] - '1') * 8 + (text[0] - 'a');
  const int to = (text[3] - '1') * 8 + (text[2] - 'a');
  int promotion = 0;
  switch (text[4]) {
    case 'q': promotion = QUEEN; break;
    case 'r': promotion = ROOK; break;
    case 'b': promotion = BISHOP; break;
    case 'n': promotion = KNIGHT; break;
  }
  return MakeMove(from, to, thread_board.Board[from], thread_board.Board[to], promotion);
}

void ProcessCommand() {
  const char *line = CommandLine;
  SettingsRecord &s = Settings;
  const int n = Tokenise(line, MatchKeyword("level", line) ? " :" : " ");
  // The order of the tests is part of the language: prefixes and abbreviations take the first fit.
  // The PGN evaluation runs here, and the line then goes on down the chain. A file named behind the keyword is
  // read instead of the fixed one.
  if (MatchKeyword("pgneval", line)) PgnEval(n >= 2 ? Tokens[1] : PGN_EVAL_SOURCE);
  if (MatchKeyword("q", line)) quit(0);
  if (MatchKeyword("clean", line)) return Clean();
  if (MatchKeyword("reload", line)) return LoadEvaluationTables();
  if (IsMoveText(line)) return TakeMoveInput(line);
  if (MatchKeyword("help", line)) return PrintHelp();
  if (MatchKeyword("new", line)) return NewGame();
  if (MatchKeyword("post", line)) {
    s.PostThinking = 1;
    return;
  }
  if (MatchKeyword("reset", line)) {
    if (!s.FritzMode && !s.UciMode) CloseOldGame(true);
    return;
  }
  if (MatchKeyword("level", line)) return SetLevel(n);
  if (MatchKeyword("moves", line)) return PrintMoves();
  if (MatchKeyword("edit", line)) return EditBoard();
  if (MatchKeyword("loadfen", line)) {
    // The FEN starts at offset 8 of the line; a shorter line has none.
    if (std::strlen(line) > 8) LoadFen(line + 8);
    return;
  }
  if (MatchKeyword("epdevl", line)) {
    if (n >= 2) EvaluateEpdFile(Tokens[1]);
    return;
  }
  if (MatchKeyword("selftest", line)) return SelfTest(SELF_TEST_SOURCE);
  if (MatchKeyword("nopost", line)) {
    s.PostThinking = 0;
    return;
  }
  if (MatchKeyword("perft", line)) {
    MoveStackTop = 0;
    if (n >= 2) RunPerft(std::atoi(Tokens[1]));
    return;
  }
  if (MatchKeyword("sd", line)) {
    if (n >= 2) s.SearchDepthLimit = std::atoi(Tokens[1]);
    return;
  }
  // "stop" outside a search lands here, not at its own row further down, and prints nothing:
  // every go has had its one bestmove already.
  if (MatchKeyword("st", line)) {
    if (n >= 2) s.FixedMoveTime = std::atoi(Tokens[1]) * 100;
    return;
  }
  if (MatchKeyword("go", line)) {
    ParseGoArguments(n);
    return Think();
  }
  if (MatchKeyword("ponderhit", line)) AnswerPonderHit();
  if (MatchKeyword("white", line)) {
    thread_board.SideToMove = WHITE;
    return;
  }
  if (MatchKeyword("remove", line)) {
    TakeBackGameMove();
    TakeBackGameMove();
    return;
  }
  if (MatchKeyword("analyze", line)) return Analyze();
  if (MatchKeyword("black", line)) {
    thread_board.SideToMove = BLACK;
    return;
  }
  if (MatchKeyword("force", line)) {
    s.ForceMode = 1;
    return;
  }
  if (MatchKeyword("brd", line)) return PrintBoard();
  if (MatchKeyword("time", line)) {
    if (n >= 2) SetClockTimeLeft(std::atoi(Tokens[1]));
    return;
  }
  if (MatchKeyword("otime", line)) return;
  if (MatchKeyword("easy", line)) {
    s.PonderingOn = 0;
    return;
  }
  if (MatchKeyword("hard", line)) {
    if (s.Pondering) s.PonderingOn = 1;
    return;
  }
  if (MatchKeyword("evl", line)) return PrintEvaluationReport();
  if (MatchKeyword("undo", line)) return TakeBackGameMove();
  if (MatchKeyword("fritz", line)) s.FritzMode = 1;
  if (MatchKeyword("xboard", line)) {
    s.NodeLimit = 0;
    s.SearchDepthLimit = 998;
    s.MovesPerSession = 0;
    s.FixedMoveTime = 0;
    s.MateLimit = 0;
    s.UciMode = 0;
    s.PonderingOn = s.Pondering;
    return;
  }
  if (MatchKeyword("mvd", line)) {
    printf("castling flags = %d\n", thread_board.CastlingFlags);
    fflush(stdout);
    return;
  }
  if (MatchKeyword("demo", line)) return Demo(DEMO_OPENINGS);
  if (MatchKeyword("bkm", line)) return ShowBookMoves();
  if (IsWholeWord("ucinewgame", Tokens[0])) return NewUciGame();
  if (MatchKeyword("uci", line)) return PrintUciIdentity();
  if (MatchKeyword("setoption", line)) return SetOption();
  if (MatchKeyword("isready", line)) {
    printf("readyok\n");
    fflush(stdout);
    return;
  }
  if (MatchKeyword("egtbstat", line)) PrintTablebaseStatus();
  if (MatchKeyword("position", line)) return SetPosition(n);
  // "debug" is accepted and ignored, like every line that matches nothing.
  if (MatchKeyword("debug", line)) return;
  if (MatchKeyword("bench", line)) return RunBench();
}
