#include "tools/pgn_eval.h"

#include <cstdio>

#include "board/makemove.h"
#include "board/piece_square.h"
#include "board/position.h"
#include "board/san.h"
#include "eval/values.h"
#include "shell/commands.h"
#include "shell/engine.h"
#include "tools/pgn_reader.h"

namespace {

// Plies made since the game's first position: the history itself is trimmed in long games.
i32 GamePlies;

void StartFileGame() {
  NewGame(false);
  GamePlies = 0;
}

// Opened for appending per line, so that a crash loses nothing; a file that can't be opened loses the line.
void WriteSample(u32 move) {
  FILE *csv = std::fopen(SAMPLE_FILE, "a");
  if (!csv) return;
  const bool whiteToMove = thread_board.SideToMove == WHITE;
  const int code = GameResult == RESULT_DRAW ? 0 : (GameResult == RESULT_WHITE_WON) == whiteToMove ? 1 : 2;
  const int from = MoveFrom(move), to = MoveTo(move);
  char fen[96];
  std::fprintf(csv, "%s;%c%c%c%c;%d;%d;%d\n", PositionText(fen), 'a' + FileOf(from), '1' + RankOf(from),
               'a' + FileOf(to), '1' + RankOf(to), PlyCount - GamePlies, PlyCount, code);
  std::fclose(csv);
}

void ShowProgress(i32 games) {
  if (games % 100 != 0) return;
  printf("Processed %d games, hit/game = %1.3f...              \r", games, 0.0);
  fflush(stdout);
}

}  // namespace

void ProcessSan(const char *text) {
  if (MoveError) return;
  const SanMatch match = ParseSan(text);
  if (match.Matches == 0) {
    printf("\nCan't recognize: %s...\n", text);
    MoveError = 1;
    return;
  }
  if (match.Matches > 1) {
    // The last fit is still played: only the rest of the game is lost.
    char first[8], second[8];
    printf("\nAmbigous move: %s... ", text);
    printf("[%s, ", PieceMoveText(first, match.First));
    printf("%s]\n", PieceMoveText(second, match.Second));
    MoveError = 1;
  }
  const u32 move = match.Move;
  if (GameResult != RESULT_UNKNOWN && GamePlies != 0 && !IsCaptureOrPromotion(move) && !IsEnPassant(move))
    WriteSample(move);
  MakeGameMove(move);
  GamePlies++;
}

void PgnEval(const char *path) {
  FILE *pgn = std::fopen(path, "rb");
  if (!pgn) {
    printf("Error opening file %s...\n", path);
    fflush(stdout);
    return;
  }
  EvaluatePgnGames(pgn);
  std::fclose(pgn);
}

void EvaluatePgnGames(FILE *pgn) {
  ReadPgnGames(pgn, {StartFileGame, ProcessSan, ShowProgress});
  fflush(stdout);
}

void SelfTest(const char *path) {
  // The table build also fills the PawnConnected grids again from their parameter blocks.
  LoadEvaluationTables();
  BuildPieceSquareTables();
  Clean();
  PgnEval(path);
}
