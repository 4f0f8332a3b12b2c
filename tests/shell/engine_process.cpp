#include "engine_process.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void Fatal(const char *what) {
  std::perror(what);
  std::exit(2);
}

Clock::time_point After(double seconds) {
  return Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

int MillisecondsUntil(Clock::time_point when) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(when - Clock::now()).count();
  return left < 0 ? 0 : int(left);
}

// In the child: environment, working directory, then the engine. Never returns.
[[noreturn]] void ExecEngine(const std::string &binary, const std::string &directory, const RunOptions &options) {
  for (const auto &[name, value] : options.environment) {
    std::string full = value;
    if (const char *old = std::getenv(name.c_str()); old && *old && name == "ASAN_OPTIONS")
      full = std::string(old) + ":" + value;
    setenv(name.c_str(), full.c_str(), 1);
  }
  if (chdir(directory.c_str()) != 0) {
    std::perror("chdir");
    _exit(126);
  }
  execl(binary.c_str(), binary.c_str(), static_cast<char *>(nullptr));
  std::fprintf(stderr, "cannot run %s: %s\n", binary.c_str(), std::strerror(errno));
  _exit(127);
}

// Waits for the child until the deadline; kills it there. Fills the exit fields of `result`.
void Reap(pid_t pid, Clock::time_point deadline, EngineResult &result) {
  for (;;) {
    int status = 0;
    const pid_t done = waitpid(pid, &status, WNOHANG);
    if (done == pid) {
      result.exited = WIFEXITED(status);
      result.code = result.exited ? WEXITSTATUS(status) : -1;
      result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
      return;
    }
    if (done < 0 && errno != EINTR) Fatal("waitpid");
    if (Clock::now() >= deadline) {
      result.timedOut = true;
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      result.exited = false;
      result.signal = SIGKILL;
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

// Reads what a descriptor has; false at its end.
bool Drain(int fd, std::string &into) {
  char chunk[65536];
  for (;;) {
    const ssize_t got = read(fd, chunk, sizeof chunk);
    if (got > 0) {
      into.append(chunk, size_t(got));
      return true;
    }
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 && errno == EAGAIN) return true;
    return false;  // end of output, or EIO when a terminal's other side has gone
  }
}

// Runs that met their deadline. After two of them the engine is taken for one that hangs, and the remaining runs
// are skipped, so that a group fails in seconds rather than running into the limit of the test harness.
int HungRuns = 0;
constexpr int kHungRunsBeforeSkipping = 2;

}  // namespace

std::string EngineResult::Describe() const {
  if (skipped) return "not run: the engine hung in two runs before";
  if (timedOut) return "still running at the deadline (killed)";
  if (exited) return "exit code " + std::to_string(code);
  return "killed by signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
}

TempDirectory::TempDirectory() {
  const char *base = std::getenv("TMPDIR");
  std::string pattern = std::string(base && *base ? base : "/tmp") + "/quarvelle-shell-XXXXXX";
  if (!mkdtemp(pattern.data())) Fatal("mkdtemp");
  path_ = pattern;
}

TempDirectory::~TempDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void TempDirectory::PlaceSettings(const RunOptions &options) const {
  const std::string file = path_ + "/Quarvelle.ini";
  if (options.settingsFileIsDirectory) {
    if (mkdir(file.c_str(), 0700) != 0) Fatal("mkdir");
  } else if (options.settingsFile) {
    std::ofstream out(file, std::ios::binary);
    out << *options.settingsFile;
    if (!out) Fatal("writing Quarvelle.ini");
  }
}

EngineResult RunEngine(const std::string &binary, const std::vector<Chunk> &input, const RunOptions &options) {
  if (HungRuns >= kHungRunsBeforeSkipping) {
    EngineResult skipped;
    skipped.timedOut = skipped.skipped = true;
    return skipped;
  }
  // A write to an engine that has ended must fail with EPIPE, not end the test.
  signal(SIGPIPE, SIG_IGN);
  TempDirectory directory;
  directory.PlaceSettings(options);
  int in[2], out[2], err[2];
  if (pipe(in) != 0 || pipe(out) != 0 || pipe(err) != 0) Fatal("pipe");
  const pid_t pid = fork();
  if (pid < 0) Fatal("fork");
  if (pid == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) close(fd);
    ExecEngine(binary, directory.Path(), options);
  }
  close(in[0]), close(out[1]), close(err[1]);
  int toEngine = in[1];
  const int fromEngine = out[0], errors = err[0];
  for (int fd : {toEngine, fromEngine, errors}) fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);

  EngineResult result;
  const auto deadline = After(options.timeoutSeconds);
  size_t chunk = 0, written = 0;
  auto nextWrite = Clock::now() + std::chrono::milliseconds(input.empty() ? 0 : input[0].pauseMs);
  bool outOpen = true, errOpen = true;
  while ((outOpen || errOpen || toEngine >= 0) && Clock::now() < deadline) {
    if (toEngine >= 0 && chunk == input.size()) {
      close(toEngine);  // the end of the stream
      toEngine = -1;
    }
    pollfd fds[3];
    int count = 0, outIndex = -1, errIndex = -1, inIndex = -1;
    if (outOpen) outIndex = count, fds[count++] = {fromEngine, POLLIN, 0};
    if (errOpen) errIndex = count, fds[count++] = {errors, POLLIN, 0};
    const bool writeDue = toEngine >= 0 && Clock::now() >= nextWrite;
    if (writeDue) inIndex = count, fds[count++] = {toEngine, POLLOUT, 0};
    int wait = MillisecondsUntil(deadline);
    if (toEngine >= 0 && !writeDue) wait = std::min(wait, MillisecondsUntil(nextWrite) + 1);
    if (count == 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(wait));
      continue;
    }
    if (poll(fds, nfds_t(count), wait) < 0) {
      if (errno == EINTR) continue;
      Fatal("poll");
    }
    if (outIndex >= 0 && fds[outIndex].revents) outOpen = Drain(fromEngine, result.out);
    if (errIndex >= 0 && fds[errIndex].revents) errOpen = Drain(errors, result.err);
    if (inIndex >= 0 && fds[inIndex].revents) {
      const std::string &bytes = input[chunk].bytes;
      const ssize_t done =
          bytes.size() == written ? 0 : write(toEngine, bytes.data() + written, bytes.size() - written);
      if (done < 0 && errno != EAGAIN && errno != EINTR) {
        close(toEngine);  // the engine no longer reads: it has ended, or is about to
        toEngine = -1;
        chunk = input.size();
      } else if (done >= 0) {
        written += size_t(done);
        if (written == bytes.size()) {
          chunk++, written = 0;
          if (chunk < input.size()) nextWrite = Clock::now() + std::chrono::milliseconds(input[chunk].pauseMs);
        }
      }
    }
  }
  if (toEngine >= 0) close(toEngine);
  Reap(pid, deadline, result);
  // Whatever is still buffered after the end.
  if (outOpen) Drain(fromEngine, result.out);
  if (errOpen) Drain(errors, result.err);
  close(fromEngine), close(errors);
  if (result.timedOut) HungRuns++;
  return result;
}

EngineResult RunEngine(const std::string &binary, const std::string &input, const RunOptions &options) {
  return RunEngine(binary, std::vector<Chunk>{{input, 0}}, options);
}

PipeSession::PipeSession(const std::string &binary, const RunOptions &options)
    : timeoutSeconds_(options.timeoutSeconds) {
  signal(SIGPIPE, SIG_IGN);
  directory_.PlaceSettings(options);
  int in[2], out[2];
  if (pipe(in) != 0 || pipe(out) != 0) Fatal("pipe");
  pid_ = fork();
  if (pid_ < 0) Fatal("fork");
  if (pid_ == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    for (int fd : {in[0], in[1], out[0], out[1]}) close(fd);
    ExecEngine(binary, directory_.Path(), options);
  }
  close(in[0]), close(out[1]);
  toEngine_ = in[1];
  fromEngine_ = out[0];
}

PipeSession::~PipeSession() {
  if (toEngine_ >= 0) close(toEngine_);
  if (pid_ > 0 && !reaped_) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  if (fromEngine_ >= 0) close(fromEngine_);
}

bool PipeSession::Send(const std::string &bytes) {
  // Short commands: a pipe takes them whole without blocking.
  size_t done = 0;
  while (toEngine_ >= 0 && done < bytes.size()) {
    const ssize_t n = write(toEngine_, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += size_t(n);
  }
  return done == bytes.size();
}

bool PipeSession::WaitFor(const std::string &text, double timeoutSeconds) {
  const auto deadline = After(timeoutSeconds);
  for (;;) {
    const size_t at = output_.find(text, matchedUpTo_);
    if (at != std::string::npos) {
      matchedUpTo_ = at + text.size();
      return true;
    }
    if (ended_ || Clock::now() >= deadline) return false;
    pollfd fd = {fromEngine_, POLLIN, 0};
    if (poll(&fd, 1, MillisecondsUntil(deadline)) > 0 && !Drain(fromEngine_, output_)) ended_ = true;
  }
}

EngineResult PipeSession::Finish() {
  if (toEngine_ >= 0) close(toEngine_);
  toEngine_ = -1;
  const auto deadline = After(timeoutSeconds_);
  while (!ended_ && Clock::now() < deadline) {
    pollfd fd = {fromEngine_, POLLIN, 0};
    if (poll(&fd, 1, MillisecondsUntil(deadline)) > 0 && !Drain(fromEngine_, output_)) ended_ = true;
  }
  EngineResult result;
  Reap(pid_, deadline, result);
  reaped_ = true;
  result.out = output_;
  return result;
}

TerminalSession::TerminalSession(const std::string &binary, double timeoutSeconds) : timeoutSeconds_(timeoutSeconds) {
  signal(SIGPIPE, SIG_IGN);
  pid_ = forkpty(&master_, nullptr, nullptr, nullptr);
  if (pid_ < 0) {
    std::perror("forkpty");
    return;
  }
  if (pid_ == 0) ExecEngine(binary, directory_.Path(), RunOptions{});
}

TerminalSession::~TerminalSession() {
  if (pid_ > 0 && !reaped_) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  if (master_ >= 0) close(master_);
}

bool TerminalSession::Type(const std::string &bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = write(master_, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += size_t(n);
  }
  return true;
}

bool TerminalSession::ReadSome(int timeoutMs) {
  pollfd fd = {master_, POLLIN, 0};
  const int ready = poll(&fd, 1, timeoutMs);
  if (ready <= 0) return !(ready < 0 && errno != EINTR);
  if (!Drain(master_, output_)) ended_ = true;
  return !ended_;
}

bool TerminalSession::WaitFor(const std::string &text) {
  const auto deadline = After(timeoutSeconds_);
  for (;;) {
    const size_t at = output_.find(text, matchedUpTo_);
    if (at != std::string::npos) {
      matchedUpTo_ = at + text.size();
      return true;
    }
    if (ended_ || Clock::now() >= deadline) return false;
    ReadSome(MillisecondsUntil(deadline));
  }
}

EngineResult TerminalSession::Finish() {
  const auto deadline = After(timeoutSeconds_);
  while (!ended_ && Clock::now() < deadline) ReadSome(MillisecondsUntil(deadline));
  EngineResult result;
  Reap(pid_, deadline, result);
  reaped_ = true;
  result.out = output_;
  return result;
}
