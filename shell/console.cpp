#include "shell/console.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "board/attacks.h"
#include "board/movegen.h"
#include "board/position.h"
#include "book/book_choice.h"
#include "book/learn_file.h"
#include "eval/eval.h"
#include "eval/eval_tables.h"
#include "search/statistics.h"
#include "shell/commands.h"
#include "shell/input.h"
#include "shell/settings.h"
#include "think/root_prep.h"

namespace {

const char *const HelpFirstPage[] = {
    "Quarvelle commands:\n------------------------------------------------------------------------------\n",
    "analyze ................... Enters analyze mode",
    "black ..................... Sets black to move and engine side to white",
    "brd ....................... Prints a board",
    "bkm ....................... Prints book moves for current position",
    "easy ...................... Toggles pondering off",
    "edit ...................... Edit board position",
    "egtbstat .................. Displays current EGTB status",
    "epdevl <f> ................ Produces static evaluations for EPD-file <f>",
    "evl ....................... Shows static evaluation for current position",
    "force ..................... Toggles autoplay off",
    "go ........................ Starts search",
    "hard ...................... Toggles pondering on",
    "help ...................... Displays this help",
    "level <m> <t> <i> ......... Sets ICS time controls",
    "loadfen <e> ............... Sets FEN-position <e>",
    "moves ..................... Displays all legal moves with ranking priorities",
    "mvd ....................... Shows position flags",
    "new ....................... Starts a new game",
    "nopost .................... Toggles silent mode on",
};

const char *const HelpSecondPage[] = {
    "perft <d> ................. Tests the move generator/make_move with depth <d>",
    "post ...................... Toggles silent mode off",
    "q[uit] .................... Exits Quarvelle",
    "remove .................... Un-makes last moves of each side",
    "sd <d> .................... Sets max search depth to <d>",
    "st <t> .................... Sets max search time to <t>",
    "time <t> .................. Sets remaining game time in milliseconds to <t>",
    "uci ....................... UCI mode",
    "undo ...................... Un-makes last move of one side",
    "white ..................... Sets white to move and engine side to black\n",
};

// The editor's square: a file letter and a rank digit, or -1.
int ReadEditSquare() {
  const int file = ReadCharacter();
  if (file < 0) return -1;
  const int rank = ReadCharacter();
  const int lowerFile = LowerCase[u8(file)];
  if (lowerFile < 'a' || lowerFile > 'h' || rank < '1' || rank > '8') return -1;
  return (rank - '1') * 8 + (lowerFile - 'a');
}

// Empties a square, keeping every incremental field right, by rebuilding the board without it.
void RemovePiece(int square) {
  BoardRecord &b = thread_board;
  if (!b.Board[square]) return;
  int pieces[64], sides[64];
  for (int sq = 0; sq < 64; sq++) {
    pieces[sq] = b.Board[sq];
    sides[sq] = (b.Pieces[BLACK] & Bit(sq)) ? BLACK : WHITE;
  }
  pieces[square] = NONE;
  ClearBoard();
  for (int sq = 0; sq < 64; sq++)
    if (pieces[sq]) AddPiece(sq, sides[sq], pieces[sq]);
}

}  // namespace

void PrintHelp() {
  for (const char *line : HelpFirstPage) printf("%s\n", line);
  printf("\nPress <enter> to continue....");
  fflush(stdout);
  static char discarded[INPUT_BUFFER_SIZE];
  ReadLine(true, discarded);
  printf("\n");
  for (const char *line : HelpSecondPage) printf("%s\n", line);
  fflush(stdout);
}

void PrintBoard() {
  const BoardRecord &b = thread_board;
  for (int rank = 7; rank >= 0; rank--) {
    for (int file = 0; file < 8; file++) {
      const int sq = rank * 8 + file;
      printf((b.Pieces[BLACK] & Bit(sq)) ? "*%c" : " %c", PieceLetters[b.Board[sq] & 7]);
    }
    printf("\n");
  }
  fflush(stdout);
}

void PrintMoves() {
  printf("-------------- Legal moves: ----------------\n");
  const int savedTop = MoveStackTop;
  MoveStackTop = 0;
  PrepareRoot();
  char text[8];
  for (int i = 0; i < MoveStackTop; i++)
    printf("%s (%d); ", PieceMoveText(text, MoveStack[i].Move), MoveStack[i].Score);
  printf("\n");
  fflush(stdout);
  MoveStackTop = savedTop;
}

void EditBoard() {
  BoardRecord &b = thread_board;
  int side = WHITE;
  for (;;) {
    const int c = ReadCharacter();
    if (c < 0 || c == '.') break;
    const int letter = LowerCase[u8(c)];
    if (letter == '\n' || letter == '\r' || letter == ' ') continue;
    if (letter == 'c') {
      side = ChangeSide(side);
    } else if (letter == '#') {
      ClearBoard();
    } else if (int piece = NONE, letterSide; letter == 'x' || PieceFromLetter(char(letter), piece, letterSide)) {
      const int square = ReadEditSquare();
      if (square < 0) {
        printf("Error\n");
        continue;
      }
      RemovePiece(square);
      if (piece != NONE) {
        // A side keeps one king: a new one replaces the old.
        if (piece == KING && b.Kings[side]) RemovePiece(LowestSquare(b.Kings[side]));
        AddPiece(square, side, piece);
      }
    } else {
      printf("Error\n");
    }
  }
  b.CastlingFlags = 0;
  auto rookOn = [&](int side, int sq) { return (b.Rooks[side] & Bit(sq)) != 0; };
  if (b.KingSquare[WHITE] == 4 && (b.Kings[WHITE] & Bit(4))) {
    if (rookOn(WHITE, 7)) b.CastlingFlags |= 1;
    if (rookOn(WHITE, 0)) b.CastlingFlags |= 2;
  }
  if (b.KingSquare[BLACK] == 60 && (b.Kings[BLACK] & Bit(60))) {
    if (rookOn(BLACK, 63)) b.CastlingFlags |= 4;
    if (rookOn(BLACK, 56)) b.CastlingFlags |= 8;
  }
  GameHistoryCount = GameHistoryFloor = 0;
  ClearHistoryTable();
  ClearKillers();
  Settings.HashAge += 3;
  fflush(stdout);
}

void SetLevel(int tokenCount) {
  if (tokenCount > 4) {
    Settings.MovesPerSession = std::atoi(Tokens[1]);
    Settings.TimeIncrement = std::atoi(Tokens[4]) * 100;
  } else if (tokenCount > 1) {
    Settings.MovesPerSession = std::atoi(Tokens[1]);
    if (tokenCount > 3) Settings.TimeIncrement = std::atoi(Tokens[3]) * 100;
  }
}

void ShowBookMoves() {
  const u64 key = thread_board.PositionKey;
  printf("Current nhash1 = %d, nhash2 = %d\n", i32(LearnKey1(key)), i32(LearnKey2(key)));
  if (Settings.BookLoaded)
    PrintBookMoves();
  else
    printf("No book loaded...\n");
  fflush(stdout);
}

void PrintTablebaseStatus() {
  printf("UseEGTB = %s\ntb_path = %s\n", Settings.UseEGTB ? "TRUE" : "FALSE", TablebasePath);
  if (Settings.TbPiecesInUse)
    printf("%d piece EGTB files found\n", Settings.TbPiecesInUse);
  else
    printf("EGTB files not found\n");
  fflush(stdout);
}

void PrintEvaluationReport() {
  const BoardRecord &b = thread_board;
  const EvalInfo &info = thread_eval_info;
  Settings.RootSide = b.SideToMove;
  i32 score = -MATE_SCORE;
  Evaluate(&score, MATE_SCORE);
  printf("Heuristic = %d\n", score);
  auto printFiles = [](u8 files) {
    for (int file = 0; file < 8; file++) printf("%d", (files >> file) & 1);
  };
  printf("PassedVector[BLACK] = ");
  printFiles(b.PawnEntry.PassedVector[0]);
  printf(" PassedVector[WHITE] = ");
  printFiles(b.PawnEntry.PassedVector[1]);
  printf("\n");
  printf("current_phase = %d, black_phase = %d, white_phase = %d\n", b.current_phase, b.black_phase, b.white_phase);
  printf("Material[WHITE] = %d thread_board.Material[BLACK] = %d EvaluateMaterial() = %d\n", b.Material[WHITE],
         b.Material[BLACK], info.MaterialScore);
  auto ending = [&](int side) {
    const int enemy = ChangeSide(side);
    return b.PieceMaterial[enemy] > 9 && (b.Queens[enemy] || b.PieceMaterial[enemy] > 14) ? 0 : 1;
  };
  printf("ENDING(WHITE) = %d ENDING(BLACK) = %d\n", ending(WHITE), ending(BLACK));
  printf("thread_eval_info.shelter_penalty[BLACK] = %d thread_eval_info.shelter_penalty[WHITE] = %d\n",
         info.shelter_penalty[BLACK], info.shelter_penalty[WHITE]);
  printf("thread_eval_info.danger[BLACK] = %d thread_eval_info.danger[WHITE] = %d\n", info.danger[BLACK],
         info.danger[WHITE]);
  const int s = b.SideToMove, o = ChangeSide(s);
  auto attack = [&](int attacker, int defender) {
    return (DangerScale[std::min(info.danger[attacker] + 8, 127)] * ShelterScale[info.shelter_penalty[defender]]) >> 4;
  };
  const int onDefender = attack(s, o);
  printf("Attacks[ChangeSide(thread_board.SideToMove)] = %d\n", onDefender);
  printf("Attacks[thread_board.SideToMove] = %d\n", attack(o, s));
  printf("Shelter[BLACK] = %d Shelter[WHITE] = %d\n", Shelter[info.shelter_penalty[BLACK]],
         Shelter[info.shelter_penalty[WHITE]]);
  printf("Dng = %d\n", onDefender + Shelter[info.shelter_penalty[o]]);
  fflush(stdout);
}
