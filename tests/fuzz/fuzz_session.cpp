#include "tests/fuzz/fuzz_session.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "board/board.h"
#include "board/position.h"
#include "book/book_file.h"
#include "book/learn_file.h"
#include "eval/pawn_hash.h"
#include "search/hash.h"
#include "search/repetition.h"
#include "search/statistics.h"
#include "shell/commands.h"
#include "shell/engine.h"
#include "shell/input.h"
#include "shell/settings.h"
#include "tablebase/tablebase.h"

namespace fs = std::filesystem;

namespace {

// Tables this small are allocated and cleared for every input in no time.
constexpr int FUZZ_TABLE_ENTRIES = 4096;
// The one file of the scratch directory that the inputs share: the shipped weights.
constexpr const char *VALUES_FILE = "values.txt";

fs::path ScratchDirectory, CallerDirectory;

// The start-up state that every input begins from.
SettingsRecord StartSettings;
char StartTablebasePath[TB_PATH_SIZE];
u64 StartKeyHistory[10];
i32 StartScoreHistory[10], StartBookHistory[10];

// Calls copy(kept, live) for each record that commands change, with its start-up copy.
template <typename Copy>
void ForEachStartRecord(Copy copy) {
  copy(StartSettings, Settings);
  copy(StartTablebasePath, TablebasePath);
  copy(StartKeyHistory, KeyHistory);
  copy(StartScoreHistory, ScoreHistory);
  copy(StartBookHistory, BookHistory);
}

void RemoveScratchDirectory() {
  std::error_code ignored;
  fs::remove_all(ScratchDirectory, ignored);
}

constexpr const char *SCRATCH_PREFIX = "quarvelle-fuzz-";

// A crash or a timeout ends a run without its exit handlers: the directories of runs whose process is gone are
// removed by the next start.
void RemoveDirectoriesOfEndedRuns(const fs::path &base) {
  std::error_code ignored;
  for (const fs::directory_entry &entry : fs::directory_iterator(base, ignored)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with(SCRATCH_PREFIX)) continue;
    const pid_t pid = pid_t(std::atol(name.c_str() + std::strlen(SCRATCH_PREFIX)));
    if (pid > 0 && kill(pid, 0) != 0 && errno == ESRCH) fs::remove_all(entry.path(), ignored);
  }
}

// Named by the process id, in memory rather than on disk: the learning file is synced when it is made.
void MakeScratchDirectory() {
  const fs::path base = fs::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
  RemoveDirectoriesOfEndedRuns(base);
  ScratchDirectory = base / (SCRATCH_PREFIX + std::to_string(getpid()));
  fs::remove_all(ScratchDirectory);
  fs::create_directory(ScratchDirectory);
  std::atexit(RemoveScratchDirectory);
}

// The engine works in the scratch directory, and the caller's relative paths stay good outside it.
void EnterScratchDirectory() {
  CallerDirectory = fs::current_path();
  fs::current_path(ScratchDirectory);
}

void LeaveScratchDirectory() { fs::current_path(CallerDirectory); }

void StandardInputAtEnd() {
  const int fd = open("/dev/null", O_RDONLY);
  dup2(fd, STDIN_FILENO);
  close(fd);
  ResetInput();
}

void RemoveWrittenFiles() {
  std::error_code ignored;
  for (const fs::directory_entry &entry : fs::directory_iterator(ScratchDirectory))
    if (entry.path().filename() != VALUES_FILE) fs::remove_all(entry.path(), ignored);
}

bool SameTableSizes() {
  const SettingsRecord &s = Settings;
  return s.TranspositionSize == StartSettings.TranspositionSize && s.PawnHashSize == StartSettings.PawnHashSize &&
         s.EvalCacheSize == StartSettings.EvalCacheSize;
}

void SetSmallTables() {
  ReleaseTables();
  Settings.TranspositionSize = Settings.PawnHashSize = Settings.EvalCacheSize = FUZZ_TABLE_ENTRIES;
  AllocateTables();
  BuildRepetitionTable();
}

}  // namespace

// Instead of shell/quit.cpp, which ends the process: the fuzzer and the replay go on with the next input.
void quit(int code) {
  fflush(stdout);
  throw SessionEnded{code};
}

const char *SourceDirectory() { return QUARVELLE_SOURCE_DIR; }

bool MaterialPlayCouldReach() {
  const BoardRecord &b = thread_board;
  for (int side : {WHITE, BLACK}) {
    auto beyond = [&](int piece, int start) { return std::max(b.PieceCount[piece][side] - start, 0); };
    const int promoted = beyond(QUEEN, 1) + beyond(ROOK, 2) + beyond(BISHOP, 2) + beyond(KNIGHT, 2);
    if (b.PieceCount[PAWN][side] + promoted > 8) return false;
  }
  return true;
}

void StartFuzzEngine() {
  MakeScratchDirectory();
  EnterScratchDirectory();
  fs::copy_file(fs::path(SourceDirectory()) / VALUES_FILE, VALUES_FILE);
  StandardInputAtEnd();
  StartEngine();
  SetSmallTables();
  LeaveScratchDirectory();
  ForEachStartRecord([](auto &kept, const auto &live) { std::memcpy(&kept, &live, sizeof kept); });
}

int RunFuzzInput(FuzzEntry entry, const uint8_t *data, size_t size) {
  EnterScratchDirectory();
  entry(data, size);
  LeaveScratchDirectory();
  return 0;
}

void ResetEngine() {
  FreeTablebases();
  CloseBook();
  CloseLearnFile();
  // A setoption of an earlier input may have resized them.
  if (SameTableSizes()) {
    ClearHash();
    ClearPawnHash();
    ClearEvalCache();
  } else {
    SetSmallTables();
  }
  ForEachStartRecord([](const auto &kept, auto &live) { std::memcpy(&live, &kept, sizeof kept); });
  std::memset(RootScore, 0, sizeof RootScore);
  std::memset(SearchMoves, 0, sizeof SearchMoves);
  std::memset(PendingLearn, 0, sizeof PendingLearn);
  std::memset(&thread_board, 0, sizeof thread_board);
  std::memset(MoveStack, 0, sizeof MoveStack);
  std::memset(PlyStack, 0, sizeof PlyStack);
  std::memset(GameHistory, 0, sizeof GameHistory);
  MoveStackTop = Ply = 0;
  ClearOrderingStatistics();
  SetStartPosition();
  StandardInputAtEnd();
  std::srand(1);  // the book's choices come out the same on every run of an input
  RemoveWrittenFiles();
}

std::string WriteScratchFile(const std::string &name, const void *data, size_t size) {
  const fs::path path = ScratchDirectory / name;
  std::ofstream(path, std::ios::binary).write(static_cast<const char *>(data), std::streamsize(size));
  return path.string();
}

void FeedStandardInput(const std::string &bytes) {
  const int fd = memfd_create("fuzz-input", 0);
  if (fd < 0 || write(fd, bytes.data(), bytes.size()) != ssize_t(bytes.size())) std::abort();
  lseek(fd, 0, SEEK_SET);
  dup2(fd, STDIN_FILENO);
  close(fd);
  ResetInput();
}

void RunCommand(const char *line) {
  std::snprintf(CommandLine, INPUT_BUFFER_SIZE, "%s", line);
  ProcessCommand();
}
