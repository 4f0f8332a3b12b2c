// pgneval through the binary: the samples it writes, its messages, PGN from the wild, real
// games checked move by move against a replay of our own, and a file of 200 MB.
//
//   pgn_eval_session <engine binary> <shared dir> [group]     (no group: all groups)
// A group that needs the shared data exits 77 (skipped) without it.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "board/makemove.h"
#include "board/movegen.h"
#include "board/position.h"
#include "check_groups.h"
#include "engine_fixture_free.h"
#include "scratch_dir.h"

namespace {

std::string SharedDir;
bool Skipped;

using Lines = std::vector<std::string>;

EngineRun PgnEval(const std::string &binary, const std::string &pgn, const std::string &more = "") {
  WriteFile("source.pgn", pgn);
  return RunEngine(binary, "pgneval\n" + more + "quit\n");
}

void ExpectCleanExit(const EngineRun &run, const std::string &group, const std::string &what) {
  Expect(run.Exit.Clean(), group, what + ": " + run.Exit.Describe() + "\n" + run.Output.substr(0, 2000));
}

void ExpectSamples(const Lines &expected, const std::string &group, const std::string &what) {
  const Lines written = SplitLines(ReadFile("my_eval.csv"));
  std::string shown;
  for (const std::string &line : written) shown += "  " + line + "\n";
  Expect(written == expected, group, what + ", my_eval.csv holds\n" + shown);
}

// The board as brd prints it after the commands, from the line after the marker on.
std::string BoardAfter(const std::string &binary, const std::string &commands) {
  const EngineRun run = RunEngine(binary, commands + "isready\nbrd\nquit\n");
  const size_t at = run.Output.rfind("readyok\n");
  return at == std::string::npos ? "" : run.Output.substr(at + 8);
}

void CheckSamples(const std::string &binary) {
  const std::string group = "samples";
  ScratchDir dir;
  const std::string pgn =
      // Captures give no line, nor does the first position; the counts run from the PlyCount tag.
      "[Event \"a\"]\n[Result \"1-0\"]\n[PlyCount \"7\"]\n\n1. e4 d5 2. exd5 Qxd5 3. Nc3 Qa5 4. d4 1-0\n\n"
      // From a FEN tag: an en passant capture and a promotion give no line, a draw gives code 0.
      "[Event \"b\"]\n[Result \"1/2-1/2\"]\n[FEN \"4k3/1P6/8/8/3p4/8/4P1P1/4K3 w - - 0 1\"]\n[PlyCount \"9\"]\n\n"
      "1. g4 Kd7 2. e4 dxe3 3. b8=Q Ke7 4. Kf1 1/2-1/2\n\n"
      // Without a PlyCount tag the counts go below zero; 1-0 with black to move is code 2; the en passant field.
      "[Event \"c\"]\n[Result \"1-0\"]\n[FEN \"4k3/8/8/8/3p4/8/4P3/4K3 w - - 0 1\"]\n\n1. e4 Kd7 2. Kf2 1-0\n\n"
      // No result tag, and "*": played through, no line.
      "[Event \"d\"]\n\n1. e4 e5 2. Nf3\n\n[Event \"e\"]\n[Result \"*\"]\n\n1. d4 d5 2. c4 *\n";
  const Lines expected = {
      "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - ;d7d5;6;7;2",
      "rnb1kbnr/ppp1pppp/8/3q4/8/8/PPPP1PPP/RNBQKBNR w KQkq - ;b1c3;3;7;1",
      "rnb1kbnr/ppp1pppp/8/3q4/8/2N5/PPPP1PPP/R1BQKBNR b KQkq - ;d5a5;2;7;2",
      "rnb1kbnr/ppp1pppp/8/q7/8/2N5/PPPP1PPP/R1BQKBNR w KQkq - ;d2d4;1;7;1",
      "4k3/1P6/8/8/3p2P1/8/4P3/4K3 b - - ;e8d7;8;9;0",
      "8/1P1k4/8/8/3p2P1/8/4P3/4K3 w - - ;e2e4;7;9;0",
      "1Q6/3k4/8/8/6P1/4p3/8/4K3 b - - ;d7e7;4;9;0",
      "1Q6/4k3/8/8/6P1/4p3/8/4K3 w - - ;e1f1;3;9;0",
      "4k3/8/8/8/3pP3/8/8/4K3 b - e3 ;e8d7;-1;0;2",
      "8/3k4/8/8/3pP3/8/8/4K3 w - - ;e1f2;-2;0;1",
  };
  const EngineRun run = PgnEval(binary, pgn);
  ExpectCleanExit(run, group, "pgneval");
  Expect(run.Output.find("Can't recognize") == std::string::npos && run.Output.find("Ambigous") == std::string::npos,
         group, "every move read:\n" + run.Output);
  ExpectSamples(expected, group, "the samples of four games");

  // The games without a result were played: the board is the one after the last move of the last game.
  Expect(BoardAfter(binary, "pgneval\n") ==
             BoardAfter(binary, "loadfen rnbqkbnr/ppp1pppp/8/3p4/2PP4/8/PP2PPPP/RNBQKBNR b KQkq - 0 2\n"),
         group, "the last game, with \"*\", played through");
  // Every run appends: the board's run above has added a second copy. A named file is read instead.
  Lines twice = expected;
  twice.insert(twice.end(), expected.begin(), expected.end());
  ExpectSamples(twice, group, "each run appends");
  std::remove("my_eval.csv");
  std::rename("source.pgn", "other.pgn");
  const EngineRun named = RunEngine(binary, "pgneval other.pgn\npgneval\nquit\n");
  ExpectCleanExit(named, group, "pgneval with a file name");
  ExpectSamples(expected, group, "pgneval other.pgn");
  Expect(HasLine(named.Output, "Error opening file source.pgn..."), group,
         "the fixed file missing: a message\n" + named.Output);

  // A game longer than the game history: the counts still run from its first move to its last.
  std::string shuffle = "[Result \"1/2-1/2\"]\n[PlyCount \"1000\"]\n\n";
  for (int move = 1; move <= 500; move += 2)
    shuffle += std::to_string(move) + ". Nf3 Nf6 " + std::to_string(move + 1) + ". Ng1 Ng8 ";
  std::remove("my_eval.csv");
  ExpectCleanExit(PgnEval(binary, shuffle + "1/2-1/2\n"), group, "a game of 1000 plies");
  const Lines lines = SplitLines(ReadFile("my_eval.csv"));
  Expect(lines.size() == 999 && lines.back() == "rnbqkb1r/pppppppp/5n2/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - ;f6g8;1;1000;0",
         group, std::to_string(lines.size()) + " samples of 1000 plies, the last " + (lines.empty() ? "" : lines.back()));
}

void CheckMessages(const std::string &binary) {
  const std::string group = "messages";
  ScratchDir dir;
  const std::string pgn =
      // Two knights reach f3: the message names both, the last is played, and the rest of the game is lost.
      "[Result \"1-0\"]\n\n1. d4 d5 2. Nd2 Nf6 3. Nf3 e6 4. e3 1-0\n\n"
      // A move that isn't there: the message, nothing played from there on.
      "[Result \"0-1\"]\n\n1. e4 Qd5 2. d4 d5 0-1\n\n"
      // The next game is read as usual.
      "[Result \"1-0\"]\n\n1. e4 e5 2. Nf3 1-0\n";
  const EngineRun run = PgnEval(binary, pgn);
  ExpectCleanExit(run, group, "pgneval");
  const std::string ambiguous = "\nAmbigous move: Nf3... [Ng1f3, Nd2f3]\n";
  Expect(run.Output.find(ambiguous) != std::string::npos, group, "the ambiguity named:\n" + run.Output);
  Expect(run.Output.find("\nCan't recognize: Qd5...\n") != std::string::npos, group,
         "an impossible move named:\n" + run.Output);
  ExpectSamples({"rnbqkbnr/pppppppp/8/8/3P4/8/PPP1PPPP/RNBQKBNR b KQkq - ;d7d5;-1;0;2",
                 "rnbqkbnr/ppp1pppp/8/3p4/3P4/8/PPP1PPPP/RNBQKBNR w KQkq - ;b1d2;-2;0;1",
                 "rnbqkbnr/ppp1pppp/8/3p4/3P4/8/PPPNPPPP/R1BQKBNR b KQkq - ;g8f6;-3;0;2",
                 "rnbqkb1r/ppp1pppp/5n2/3p4/3P4/8/PPPNPPPP/R1BQKBNR w KQkq - ;d2f3;-4;0;1",
                 "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - ;e7e5;-1;0;2",
                 "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - ;g1f3;-2;0;1"},
                group, "samples up to the ambiguous move and none after an unreadable one");

  // A token of 15 bytes is no move: the message, and the program ends with code 2.
  std::remove("my_eval.csv");
  const EngineRun tooLong =
      PgnEval(binary, "[Result \"1-0\"]\n\n1. e4 abcdefgh12345678 2. Nf3 1-0\n", "isready\n");
  Expect(tooLong.Exit.exited && tooLong.Exit.code == 2, group, "15 bytes: code 2, " + tooLong.Exit.Describe());
  Expect(HasLine(tooLong.Output, "Error parsing move (move too long): abcdefgh1234567..."), group,
         "15 bytes: the message\n" + tooLong.Output);
  Expect(tooLong.Output.find("readyok") == std::string::npos, group, "15 bytes: nothing after it");
  // Fourteen bytes are only a move that can't be read.
  const EngineRun fourteen =
      PgnEval(binary, "[Result \"1-0\"]\n\n1. e4 abcdefgh123456 2. Nf3 1-0\n", "isready\n");
  ExpectCleanExit(fourteen, group, "14 bytes");
  Expect(fourteen.Output.find("\nCan't recognize: abcdefgh123456...\n") != std::string::npos &&
             HasLine(fourteen.Output, "readyok"),
         group, "14 bytes: a move that can't be read, and the run goes on\n" + fourteen.Output);
}

// Files met in practice, and worse. None of them may end or hang the program; the engine answers afterwards.
void CheckWildInput(const std::string &binary) {
  const std::string group = "bad-input";
  ScratchDir dir;
  std::string garbage;
  std::srand(5);
  for (int i = 0; i < 1 << 20; i++) garbage += char(std::rand() % 256);
  std::string deep = "1. e4 e5 ";
  for (int i = 0; i < 10; i++) deep += "(1... c5 {c [x] } ";
  deep += std::string(10, ')') + " 2. Nf3 1-0\n";
  const std::vector<std::pair<std::string, std::string>> files = {
      {"no result tag", "[Event \"x\"]\n\n1. e4 e5\n[Event \"y\"]\n1. d4"},
      {"comments with brackets", "[Result \"1-0\"]\n1. e4 {[%clk 0:01:00] ]][[ } e5 {[} 2. Nf3 {]} 1-0\n"},
      {"variations ten deep", "[Result \"1-0\"]\n" + deep},
      {"glyphs, NAGs, checks", "[Result \"1-0\"]\n1. e4!! $1 e5?? $2 2. Qh5!? Nc6?! 3. Bc4 Nf6 4. Qxf7# 1-0\n"},
      {"en passant mark", "[Result \"1-0\"]\n1. e4 a6 2. e5 d5 3. exd6 e.p. Qxd6 4. Nf3 1-0\n[Result \"1-0\"]\n1. c4 c5 1-0\n"},
      {"promotion with check", "[Result \"1-0\"]\n[FEN \"3k4/4P3/8/8/8/8/8/4K3 w - - 0 1\"]\n1. e8=Q+ Kxe8 1-0\n"},
      {"move numbers with dots", "[Result \"0-1\"]\n1.e4 1...e5 2.Nf3 2...Nc6 12... a6 0-1\n"},
      {"CR LF", "[Result \"1-0\"]\r\n\r\n1. e4 e5\r\n2. Nf3 1-0\r\n\r\n[Result \"1-0\"]\r\n\r\n1. d4 1-0\r\n"},
      {"cut in a move", "[Result \"1-0\"]\n1. e4 e5 2. Nf"},
      {"cut in a tag", "[Result \"1-"},
      {"tag name of 1000 bytes", "[" + std::string(1000, 'T') + " \"x\"]\n[Result \"1-0\"]\n1. e4 1-0\n"},
      {"tag value of 5000 bytes", "[Event \"" + std::string(5000, 'v') + "\"]\n1. e4 1-0\n"},
      {"bad FEN tags", "[FEN \"P3k2P/8/8/8/8/8/8/p3K2p w - - 0 1\"]\n[Result \"1-0\"]\n1. Kd2 Kd7 2. Kc3 1-0\n"
                       "[FEN \"8/8/8/8/8/8/8/8 w - - 0 1\"]\n[Result \"1-0\"]\n1. e4 Kd7 1-0\n"
                       "[FEN \"" + std::string(600, '/') + "\"]\n[Result \"0-1\"]\n1. a3 0-1\n"
                       "[FEN \"kk6/8/8/8/8/8/8/KK6 b - - 0 1\"]\n[Result \"0-1\"]\n1. Kb7 Kb2 0-1\n"},
      {"a huge PlyCount", "[Result \"1-0\"]\n[PlyCount \"" + std::string(300, '9') + "\"]\n1. e4 e5 1-0\n"},
      {"binary garbage", garbage},
      {"garbage after a tag", "[Result \"1-0\"]\n" + garbage},
      {"an empty file", ""},
  };
  // One session for all: the engine must answer after each file.
  std::string commands;
  for (size_t i = 0; i < files.size(); i++) {
    WriteFile("wild" + std::to_string(i) + ".pgn", files[i].second);
    commands += "pgneval wild" + std::to_string(i) + ".pgn\nisready\n";
  }
  const EngineRun all = RunEngine(binary, commands + "quit\n");
  ExpectCleanExit(all, group, "the wild files");
  size_t answered = 0;
  for (const std::string &line : SplitLines(all.Output)) answered += line.ends_with("readyok");
  Expect(answered == files.size(), group,
         "answers after " + std::to_string(answered) + " files, the next was " +
             (answered < files.size() ? files[answered].first : "none"));
  // The game after an "e.p." mark is read as usual: its sample is there.
  std::remove("my_eval.csv");
  PgnEval(binary, files[4].second);
  const std::string samples = ReadFile("my_eval.csv");
  Expect(samples.find(";a7a6;") != std::string::npos && samples.find(";c7c5;") != std::string::npos, group,
         "samples before the mark, and of the next game:\n" + samples);
  // A file that can't be written loses the samples and nothing else.
  std::remove("my_eval.csv");
  std::filesystem::create_directory("my_eval.csv");
  const EngineRun unwritable = PgnEval(binary, files[3].second, "isready\n");
  ExpectCleanExit(unwritable, group, "my_eval.csv can't be opened");
}

// An independent replay: each move found by writing the SAN of every legal move, as a PGN writer does.
std::string SquareName(int sq) { return {char('a' + FileOf(sq)), char('1' + RankOf(sq))}; }

std::string WriteSan(u32 move, int first, int last) {
  const int from = MoveFrom(move), to = MoveTo(move), piece = MovedPiece(move);
  if (piece == KING && (from == to + 2 || to == from + 2)) return FileOf(to) == 6 ? "O-O" : "O-O-O";
  const bool capture = CapturedPiece(move) != 0 || IsEnPassant(move);
  std::string san;
  if (piece == PAWN) {
    if (capture) san = std::string(1, char('a' + FileOf(from))) + "x";
  } else {
    san = PieceLetters[piece];
    bool rival = false, sameFile = false, sameRank = false;
    for (int i = first; i < last; i++) {
      const u32 other = MoveStack[i].Move;
      if (other == move || MovedPiece(other) != piece || MoveTo(other) != to) continue;
      rival = true;
      sameFile |= FileOf(MoveFrom(other)) == FileOf(from);
      sameRank |= RankOf(MoveFrom(other)) == RankOf(from);
    }
    if (rival && (!sameFile || sameRank)) san += char('a' + FileOf(from));
    if (rival && sameFile) san += char('1' + RankOf(from));
    if (capture) san += 'x';
  }
  san += SquareName(to);
  if (PromotionPiece(move)) san += std::string("=") + char(PieceLetters[PromotionPiece(move)]);
  return san;
}

// FEN fields as the samples carry them, from the board of the replay.
std::string WriteFen(u32 lastMove) {
  const BoardRecord &b = thread_board;
  std::string fen;
  for (int rank = 7; rank >= 0; rank--) {
    int empty = 0;
    for (int file = 0; file < 8; file++) {
      const int sq = 8 * rank + file;
      if (b.Board[sq] == NONE) {
        empty++;
        continue;
      }
      if (empty) fen += char('0' + empty), empty = 0;
      const char letter = PieceLetters[b.Board[sq]];
      fen += (b.Pieces[BLACK] >> sq) & 1 ? char(letter + 32) : letter;
    }
    if (empty) fen += char('0' + empty);
    if (rank) fen += '/';
  }
  fen += b.SideToMove == WHITE ? " w " : " b ";
  std::string castling;
  for (int i = 0; i < 4; i++)
    if (b.CastlingFlags & (1 << i)) castling += "KQkq"[i];
  fen += (castling.empty() ? "-" : castling) + " ";
  const int to = MoveTo(lastMove);
  const bool doubleStep = lastMove && MovedPiece(lastMove) == PAWN && (MoveFrom(lastMove) ^ to) == 16;
  const u64 beside = (FileOf(to) > 0 ? Bit(to - 1) : 0) | (FileOf(to) < 7 ? Bit(to + 1) : 0);
  if (doubleStep && (b.PieceBoards[PAWN][b.SideToMove] & beside))
    fen += SquareName((MoveFrom(lastMove) + to) / 2) + " ";
  else
    fen += "- ";
  return fen;
}

struct ReplayedGame {
  std::string Result;
  int Plies = 0;
  std::vector<std::string> Sans;
};

// The games of a PGN whose moves stand without comments, as in the shared collection.
std::vector<ReplayedGame> SplitGames(const std::string &pgn) {
  std::vector<ReplayedGame> games;
  bool inMoves = true;
  for (const std::string &line : SplitLines(pgn)) {
    if (line.starts_with("[")) {
      if (inMoves) games.emplace_back();
      inMoves = false;
      const size_t quote = line.find('"');
      const std::string value = line.substr(quote + 1, line.rfind('"') - quote - 1);
      if (line.starts_with("[Result ")) games.back().Result = value;
      if (line.starts_with("[PlyCount ")) games.back().Plies = std::atoi(value.c_str());
      continue;
    }
    std::istringstream words(line);
    for (std::string word; words >> word;) {
      inMoves = true;
      if (word.find('.') != std::string::npos || word == "1-0" || word == "0-1" || word == "1/2-1/2" || word == "*")
        continue;
      while (!word.empty() && std::string("+#!?").find(word.back()) != std::string::npos) word.pop_back();
      games.back().Sans.push_back(word);
    }
  }
  return games;
}

// The samples the games must give, or an empty list with the reason in `error`.
Lines ExpectedSamples(const std::vector<ReplayedGame> &games, std::string &error) {
  Lines samples;
  for (size_t g = 0; g < games.size(); g++) {
    const ReplayedGame &game = games[g];
    const bool decided = game.Result == "1-0" || game.Result == "0-1" || game.Result == "1/2-1/2";
    SetStartPosition();
    u32 last = 0;
    for (size_t ply = 0; ply < game.Sans.size(); ply++) {
      LegalMoves(0);
      const int end = MoveStackTop;
      u32 found = 0;
      for (int i = 0; i < end; i++)
        if (WriteSan(MoveStack[i].Move, 0, end) == game.Sans[ply]) found = MoveStack[i].Move;
      MoveStackTop = 0;
      if (!found) {
        error = "game " + std::to_string(g + 1) + ": no legal move writes as " + game.Sans[ply];
        return {};
      }
      if (decided && ply > 0 && !IsCaptureOrPromotion(found) && !IsEnPassant(found)) {
        const bool whiteWon = game.Result == "1-0", whiteToMove = thread_board.SideToMove == WHITE;
        const int result = game.Result == "1/2-1/2" ? 0 : whiteWon == whiteToMove ? 1 : 2;
        char move[8];
        samples.push_back(WriteFen(last) + ";" + std::string(MoveText(move, found)).substr(0, 4) + ";" +
                          std::to_string(game.Plies - int(ply)) + ";" + std::to_string(game.Plies) + ";" +
                          std::to_string(result));
      }
      MakeGameMove(found);
      last = found;
    }
  }
  return samples;
}

// The first `count` games of the shared collection.
std::string SharedGames(int count) {
  const std::string path = SharedDir + "/data/games.pgn.xz";
  if (!std::filesystem::exists(path)) return "";
  FILE *xz = popen(("xz -dc '" + path + "'").c_str(), "r");
  if (!xz) return "";
  std::string pgn;
  char line[65536];
  int games = 0;
  while (std::fgets(line, sizeof line, xz)) {
    if (std::string(line).starts_with("[Event ") && ++games > count) break;
    pgn += line;
  }
  pclose(xz);
  return games >= count ? pgn : "";
}

void CheckRealGames(const std::string &binary) {
  const std::string group = "real-games";
  const int count = 1200;
  const std::string pgn = SharedGames(count);
  if (pgn.empty()) {
    std::printf("skipped [%s]: no %s/data/games.pgn.xz\n", group.c_str(), SharedDir.c_str());
    Skipped = true;
    return;
  }
  ScratchDir dir;
  const EngineRun run = PgnEval(binary, pgn);
  ExpectCleanExit(run, group, "pgneval");
  Expect(run.Output.find("Can't recognize") == std::string::npos && run.Output.find("Ambigous") == std::string::npos,
         group, "a move not read:\n" + run.Output.substr(0, 3000));
  // The last game ends at the end of the file and isn't counted; the others are, by the hundred.
  Expect(run.Output.find("Processed 1100 games, hit/game = 0.000...") != std::string::npos, group,
         "the progress lines");
  InitBoardTables();
  std::string error;
  const std::vector<ReplayedGame> games = SplitGames(pgn);
  Expect(games.size() == size_t(count), group, "the replay splits " + std::to_string(games.size()) + " games");
  const Lines expected = ExpectedSamples(games, error);
  Expect(error.empty() && expected.size() > 100000, group, "the replay: " + error);
  const Lines written = SplitLines(ReadFile("my_eval.csv"));
  Expect(written.size() == expected.size(), group,
         std::to_string(written.size()) + " samples written, " + std::to_string(expected.size()) + " expected");
  for (size_t i = 0; i < written.size() && i < expected.size(); i++)
    if (written[i] != expected[i]) {
      Expect(false, group, "sample " + std::to_string(i + 1) + ":\n  " + written[i] + "\nexpected\n  " + expected[i]);
      break;
    }
}

// 200 MB in one game: a comment and a variation of 100 MB each, skipped by counting, then the game goes on.
void CheckHugeFile(const std::string &binary) {
  const std::string group = "huge";
  ScratchDir dir;
  {
    std::ofstream out("source.pgn", std::ios::binary);
    out << "[Result \"0-1\"]\n[PlyCount \"4\"]\n\n1. e4 {";
    const std::string comment = "a long comment {nested [with brackets]} (and parentheses) 1. d4 ";
    for (size_t written = 0; written < 100u << 20; written += comment.size()) out << comment;
    out << "} e5 (";
    const std::string variation = "1... c5 (1... c6 {see (1... d5)}) 2. Nf3 ";
    for (size_t written = 0; written < 100u << 20; written += variation.size()) out << variation;
    out << ") 2. Nf3 Nc6 0-1\n\n[Result \"1-0\"]\n\n1. d4 d5 1-0\n";
  }
  const EngineRun run = RunEngine(binary, "pgneval\nquit\n");
  ExpectCleanExit(run, group, "pgneval of 200 MB");
  ExpectSamples({"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - ;e7e5;3;4;1",
                 "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - ;g1f3;2;4;2",
                 "rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - ;b8c6;1;4;1",
                 "rnbqkbnr/pppppppp/8/8/3P4/8/PPP1PPPP/RNBQKBNR b KQkq - ;d7d5;-1;0;2"},
                group, "the moves around 200 MB of comment and variation, and the game after");
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s <engine binary> <shared dir> [group]\n", argv[0]);
    return 2;
  }
  SharedDir = argv[2];
  // The engine runs in directories of its own.
  std::string binary = std::filesystem::absolute(argv[1]);
  char *args[] = {argv[0], binary.data(), argc > 3 ? argv[3] : nullptr};
  const int result = RunCheckGroups(argc > 3 ? 3 : 2, args,
                                    {{"samples", CheckSamples},
                                     {"messages", CheckMessages},
                                     {"bad-input", CheckWildInput},
                                     {"real-games", CheckRealGames},
                                     {"huge", CheckHugeFile}});
  return result == 0 && Skipped ? 77 : result;
}
