#include "book/learn_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "board/board.h"
#include "board/makemove.h"
#include "board/position.h"
#include "shell/settings.h"

PendingLearnEntry PendingLearn[LEARN_QUEUE_SIZE];

namespace {

int LearnFd = -1;
i64 LearnFileSize = 0;

void PutU32(u8 *bytes, u32 value) {
  for (int i = 0; i < 4; i++) bytes[i] = u8(value >> (8 * i));
}
u32 GetU32(const u8 *bytes) { return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | u32(bytes[3]) << 24; }

bool ReadU32(i64 offset, u32 &value) {
  u8 bytes[4];
  if (offset < 0 || offset + 4 > LearnFileSize || pread(LearnFd, bytes, 4, offset) != 4) return false;
  value = GetU32(bytes);
  return true;
}

bool WriteU32(i64 offset, u32 value) {
  u8 bytes[4];
  PutU32(bytes, value);
  return pwrite(LearnFd, bytes, 4, offset) == 4;
}

i64 BucketOffset(u32 nhash1) { return LEARN_MAGIC_SIZE + 4 * i64(nhash1 & 0xFFFF); }

// A link that may be followed: a whole record inside the file, behind the bucket table.
bool ValidRecord(i64 offset) { return offset >= LEARN_HEADER_SIZE && offset + LEARN_RECORD_SIZE <= LearnFileSize; }

// The most records a chain can hold: a longer walk has met a cycle.
i64 ChainLimit() { return (LearnFileSize - LEARN_HEADER_SIZE) / LEARN_RECORD_SIZE + 1; }

// Writes a new file under a temporary name and renames it, so that a half-written file never carries the name.
bool CreateLearnFile(const char *path) {
  char temporary[1100];
  std::snprintf(temporary, sizeof temporary, "%s.new", path);
  const int fd = open(temporary, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return false;
  static u8 header[LEARN_HEADER_SIZE];
  std::memcpy(header, LEARN_MAGIC, LEARN_MAGIC_SIZE);
  const bool written = write(fd, header, LEARN_HEADER_SIZE) == LEARN_HEADER_SIZE && fsync(fd) == 0;
  close(fd);
  if (written && rename(temporary, path) == 0) return true;
  unlink(temporary);
  return false;
}

void LogLearning(const char *tag, const PendingLearnEntry &entry) {
  // Opened per line and closed behind it, so that every line written is on disk.
  FILE *log = std::fopen("learn.log", "a");
  if (!log) return;
  std::fprintf(log, "%d%c%s Depth = %d%cOldEvaluation = %d%cEvaluaton = %d%cFEN = %s\n", Settings.LearnLogCounter,
               '\t', tag, entry.Depth, '\t', entry.OldEvaluation, '\t', entry.Evaluation, '\t', entry.Fen);
  std::fclose(log);
  Settings.LearnLogCounter++;
}

void CommitQueue() {
  for (int i = 0; i < Settings.PendingLearnCount; i++) {
    const PendingLearnEntry &entry = PendingLearn[i];
    i32 depth, score;
    i64 offset;
    LearnLookup(entry.nhash1, entry.nhash2, depth, score, offset);
    if (Settings.LogLearningIntoFile) LogLearning(offset ? "Refresh:" : "Add:", entry);
    if (offset)
      LearnUpdate(entry.nhash1, entry.nhash2, entry.Depth, entry.Evaluation, entry.Move, offset);
    else
      LearnAdd(entry.nhash1, entry.nhash2, entry.Depth, entry.Evaluation, entry.Move);
  }
}

// The position before the engine's previous move, where the score fell; `move` is that move.
void QueuePosition(u32 move, i32 before, i32 after) {
  const BoardRecord &b = thread_board;
  SettingsRecord &s = Settings;
  if (b.PieceMaterial[WHITE] <= 13 || b.PieceMaterial[BLACK] <= 13 || b.ReversibleMoves >= 70 ||
      GameHistoryCount >= 100 || s.PendingLearnCount >= LEARN_QUEUE_SIZE)
    return;
  const u32 nhash1 = LearnKey1(b.PositionKey), nhash2 = LearnKey2(b.PositionKey);
  i32 depth, score;
  i64 offset;
  LearnLookup(nhash1, nhash2, depth, score, offset);
  const i32 d = 4 * s.Iteration + 2;
  if (offset && depth >= d) return;
  PendingLearnEntry &entry = PendingLearn[s.PendingLearnCount++];
  entry.nhash1 = nhash1, entry.nhash2 = nhash2;
  entry.Depth = d, entry.OldEvaluation = before, entry.Evaluation = after, entry.Move = move;
  char fen[100];
  const int from = MoveFrom(move), to = MoveTo(move);
  std::snprintf(entry.Fen, sizeof entry.Fen, "%s%c%c%c%c", PositionText(fen), 'a' + FileOf(from),
                '1' + RankOf(from), 'a' + FileOf(to), '1' + RankOf(to));
}

}  // namespace

void OpenLearnFile(const char *path) {
  CloseLearnFile();
  struct stat info;
  bool usable = (stat(path, &info) == 0 || CreateLearnFile(path)) && (LearnFd = open(path, O_RDWR)) >= 0 &&
                fstat(LearnFd, &info) == 0 && S_ISREG(info.st_mode);
  // A file too short for its bucket table would take appended records into the table: it is left alone.
  usable = usable && info.st_size >= LEARN_HEADER_SIZE && info.st_size <= 0x7FFFFFFF;
  if (!usable) {
    printf("Learning file \"%s\" can't be used: position learning is off\n", path);
    fflush(stdout);
    CloseLearnFile();
    Settings.UseLearning = Settings.UseLearningData = 0;
    return;
  }
  LearnFileSize = info.st_size;
}

void CloseLearnFile() {
  if (LearnFd >= 0) close(LearnFd);
  LearnFd = -1;
  LearnFileSize = 0;
}

bool LearnFileOpen() { return LearnFd >= 0; }

void LearnLookup(u32 nhash1, u32 nhash2, i32 &depth, i32 &score, i64 &offset) {
  offset = 0;
  u32 link;
  if (LearnFd < 0 || !ReadU32(BucketOffset(nhash1), link)) return;
  for (i64 steps = ChainLimit(); steps > 0 && ValidRecord(link); steps--) {
    u8 record[LEARN_RECORD_SIZE];
    if (pread(LearnFd, record, LEARN_RECORD_SIZE, link) != LEARN_RECORD_SIZE) return;
    if (GetU32(record + 12) == nhash1 && GetU32(record + 16) == nhash2) {
      depth = i32(GetU32(record)), score = i32(GetU32(record + 4));
      offset = link;
      return;
    }
    link = GetU32(record + 20);
  }
}

void LearnAdd(u32 nhash1, u32 nhash2, i32 depth, i32 score, u32 move) {
  if (LearnFd < 0 || LearnFileSize + LEARN_RECORD_SIZE > 0x7FFFFFFF) return;
  // The end of the chain: the first link that leads nowhere valid, a damaged one included.
  i64 linkAt = BucketOffset(nhash1);
  u32 link;
  if (!ReadU32(linkAt, link)) return;
  for (i64 steps = ChainLimit(); ValidRecord(link); steps--) {
    if (steps == 0) return;  // a cycle: no end to hang the record on
    linkAt = i64(link) + 20;
    if (!ReadU32(linkAt, link)) return;
  }
  // The record goes to the end of the file first and is linked only when it is whole: a kill in between
  // leaves an unreachable record, never a link to a partial one.
  u8 record[LEARN_RECORD_SIZE];
  PutU32(record, u32(depth)), PutU32(record + 4, u32(score)), PutU32(record + 8, move);
  PutU32(record + 12, nhash1), PutU32(record + 16, nhash2), PutU32(record + 20, 0);
  const i64 at = LearnFileSize;
  if (pwrite(LearnFd, record, LEARN_RECORD_SIZE, at) != LEARN_RECORD_SIZE) return;
  LearnFileSize += LEARN_RECORD_SIZE;
  WriteU32(linkAt, u32(at));
}

void LearnUpdate(u32 nhash1, u32 nhash2, i32 depth, i32 score, u32 move, i64 offset) {
  if (LearnFd < 0 || !ValidRecord(offset)) return;
  u8 fields[20];
  PutU32(fields, u32(depth)), PutU32(fields + 4, u32(score)), PutU32(fields + 8, move);
  PutU32(fields + 12, nhash1), PutU32(fields + 16, nhash2);
  pwrite(LearnFd, fields, sizeof fields, offset);
}

void LearnAfterMove() {
  SettingsRecord &s = Settings;
  if (s.PendingLearnCount && RootScore[0] < -400) {
    CommitQueue();
    s.PendingLearnCount = 0;
  } else if ((ScoreHistory[9] >= -9 && ScoreHistory[8] >= -9 && ScoreHistory[7] >= -9) || s.BookMovePlayed) {
    s.PendingLearnCount = 0;
  }
  const i32 prev = ScoreHistory[8], cur = ScoreHistory[9];
  if (GameHistoryCount <= 2 || GameHistoryCount - 3 < GameHistoryFloor || BookHistory[8] || BookHistory[9] ||
      prev <= -180 || cur >= 520 || cur - prev >= -40 || s.Iteration <= 6 ||
      thread_board.PositionKey != KeyHistory[9] || GameHistory[GameHistoryCount - 2].Key != KeyHistory[8])
    return;
  for (int i = 0; i < 3; i++) unmake_move();
  QueuePosition(GameHistory[GameHistoryCount].Move, prev, cur);
  for (int i = 0; i < 3; i++) make_move(GameHistory[GameHistoryCount].Move, 1);
}
