#include "tools/tune/workers.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <new>
#include <cstdio>
#include <cstdlib>

namespace {

// One result in a worker's file: the task, then its bytes.
void WriteResult(FILE *out, int task, const std::string &bytes) {
  const size_t size = bytes.size();
  if (std::fwrite(&task, sizeof task, 1, out) != 1 || std::fwrite(&size, sizeof size, 1, out) != 1 ||
      std::fwrite(bytes.data(), 1, size, out) != size)
    std::_Exit(1);
}

void ReadResults(FILE *in, std::vector<std::string> &results) {
  std::rewind(in);
  int task;
  size_t size;
  while (std::fread(&task, sizeof task, 1, in) == 1 && std::fread(&size, sizeof size, 1, in) == 1) {
    std::string bytes(size, '\0');
    if (std::fread(bytes.data(), 1, size, in) != size) break;
    results[size_t(task)] = std::move(bytes);
  }
}

}  // namespace

std::vector<std::string> RunTasks(int jobs, int count, const std::function<std::string(int task)> &task) {
  std::vector<std::string> results(size_t(count > 0 ? count : 0));
  if (jobs <= 1) {
    for (int i = 0; i < count; i++) results[size_t(i)] = task(i);
    return results;
  }
  // The next task to hand out, in memory that the forked workers share.
  void *shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) {
    std::perror("mmap");
    std::exit(1);
  }
  auto *next = new (shared) std::atomic<int>(0);
  std::fflush(stdout);
  std::vector<FILE *> files;
  std::vector<pid_t> workers;
  for (int j = 0; j < jobs; j++) {
    FILE *file = std::tmpfile();
    if (!file) {
      std::perror("tmpfile");
      std::exit(1);
    }
    const pid_t pid = fork();
    if (pid < 0) {
      std::perror("fork");
      std::exit(1);
    }
    if (pid == 0) {
      for (int i; (i = next->fetch_add(1)) < count;) WriteResult(file, i, task(i));
      std::fflush(stdout);
      std::_Exit(std::fflush(file) == 0 ? 0 : 1);
    }
    files.push_back(file);
    workers.push_back(pid);
  }
  bool failed = false;
  for (pid_t pid : workers) {
    int status = 0;
    failed |= waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0;
  }
  for (FILE *file : files) {
    ReadResults(file, results);
    std::fclose(file);
  }
  munmap(shared, sizeof(std::atomic<int>));
  if (failed) {
    std::fprintf(stderr, "a worker process failed\n");
    std::exit(1);
  }
  return results;
}
