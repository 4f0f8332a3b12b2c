// Runs the engine binary the way a GUI does: commands go to its stdin, replies are read line by line from its
// stdout while the session stays open.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

// Long enough for a slow sanitizer build; it only turns a hung engine into a clear failure.
constexpr double kReplyTimeoutSeconds = 600;

struct EngineExit {
  bool exited = false;  // false: killed by a signal, or still running when the wait gave up
  int code = -1;
  int signal = 0;

  bool Clean() const { return exited && code == 0; }
  std::string Describe() const {
    if (exited) return "exit code " + std::to_string(code);
    if (signal) return "killed by signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
    return "did not exit";
  }
};

class EngineSession {
 public:
  explicit EngineSession(const std::string &binary) {
    // A write to an engine that has died must fail with EPIPE, not kill the test.
    ::signal(SIGPIPE, SIG_IGN);
    int input[2], output[2];
    if (pipe(input) != 0 || pipe(output) != 0) Fatal("pipe");
    pid_ = fork();
    if (pid_ < 0) Fatal("fork");
    if (pid_ == 0) {
      dup2(input[0], STDIN_FILENO);
      dup2(output[1], STDOUT_FILENO);
      close(input[0]), close(input[1]), close(output[0]), close(output[1]);
      execl(binary.c_str(), binary.c_str(), static_cast<char *>(nullptr));
      std::fprintf(stderr, "cannot run %s: %s\n", binary.c_str(), std::strerror(errno));
      _exit(127);
    }
    close(input[0]), close(output[1]);
    toEngine_ = input[1];
    fromEngine_ = output[0];
    // Keep the test's own ends out of any other child it might start.
    fcntl(toEngine_, F_SETFD, FD_CLOEXEC);
    fcntl(fromEngine_, F_SETFD, FD_CLOEXEC);
  }

  EngineSession(const EngineSession &) = delete;
  EngineSession &operator=(const EngineSession &) = delete;

  ~EngineSession() {
    CloseInput();
    if (!reaped_) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    if (fromEngine_ >= 0) close(fromEngine_);
  }

  // Writes all of `text`, reading replies meanwhile so that neither side can stall on a full pipe.
  // False when the engine no longer reads its input.
  bool Send(std::string_view text) {
    if (toEngine_ < 0) return false;
    while (!text.empty()) {
      pollfd fds[2] = {{toEngine_, POLLOUT, 0}, {fromEngine_, POLLIN, 0}};
      const int count = outputEnded_ ? 1 : 2;
      if (poll(fds, count, -1) < 0) {
        if (errno == EINTR) continue;
        Fatal("poll");
      }
      if (count == 2 && fds[1].revents) ReadAvailable();
      if (fds[0].revents & (POLLERR | POLLHUP)) return false;
      if (!(fds[0].revents & POLLOUT)) continue;
      const ssize_t written = write(toEngine_, text.data(), text.size());
      if (written < 0) {
        if (errno == EINTR || errno == EAGAIN) continue;
        return false;
      }
      text.remove_prefix(size_t(written));
    }
    return true;
  }

  // The next line of output without its line end; nothing at the end of output or after the deadline.
  std::optional<std::string> ReadLine(double timeoutSeconds = kReplyTimeoutSeconds) {
    const auto deadline = Clock::now() + std::chrono::duration<double>(timeoutSeconds);
    timedOut_ = false;
    for (;;) {
      const size_t end = pending_.find('\n');
      if (end != std::string::npos) {
        std::string line = pending_.substr(0, end);
        pending_.erase(0, end + 1);
        return line;
      }
      if (outputEnded_) {
        if (pending_.empty()) return std::nullopt;
        std::string last;
        last.swap(pending_);
        return last;
      }
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
      if (left <= 0) {
        timedOut_ = true;
        return std::nullopt;
      }
      pollfd fd = {fromEngine_, POLLIN, 0};
      if (poll(&fd, 1, int(left)) > 0) ReadAvailable();
    }
  }

  // Reads lines until one starts with `prefix`; the lines before it go to `skipped` when given.
  std::optional<std::string> ReadUntil(std::string_view prefix, std::string *skipped = nullptr,
                                       double timeoutSeconds = kReplyTimeoutSeconds) {
    while (auto line = ReadLine(timeoutSeconds)) {
      if (line->starts_with(prefix)) return line;
      if (skipped) *skipped += *line + "\n";
    }
    return std::nullopt;
  }

  // Everything the engine still prints until it closes its output.
  std::string ReadRest(double timeoutSeconds = kReplyTimeoutSeconds) {
    std::string rest;
    while (auto line = ReadLine(timeoutSeconds)) rest += *line + "\n";
    return rest;
  }

  bool TimedOut() const { return timedOut_; }

  void CloseInput() {
    if (toEngine_ >= 0) close(toEngine_);
    toEngine_ = -1;
  }

  EngineExit Wait(double timeoutSeconds = kReplyTimeoutSeconds) {
    const auto deadline = Clock::now() + std::chrono::duration<double>(timeoutSeconds);
    while (!reaped_) {
      int status = 0;
      const pid_t done = waitpid(pid_, &status, WNOHANG);
      if (done == pid_) {
        reaped_ = true;
        exit_.exited = WIFEXITED(status);
        exit_.code = exit_.exited ? WEXITSTATUS(status) : -1;
        exit_.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        break;
      }
      if (Clock::now() > deadline) return EngineExit{};
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return exit_;
  }

 private:
  using Clock = std::chrono::steady_clock;

  [[noreturn]] static void Fatal(const char *what) {
    std::perror(what);
    std::exit(2);
  }

  void ReadAvailable() {
    char chunk[65536];
    ssize_t got;
    do got = read(fromEngine_, chunk, sizeof chunk);
    while (got < 0 && errno == EINTR);
    if (got <= 0)
      outputEnded_ = true;
    else
      pending_.append(chunk, size_t(got));
  }

  pid_t pid_ = -1;
  int toEngine_ = -1;
  int fromEngine_ = -1;
  std::string pending_;
  bool outputEnded_ = false;
  bool timedOut_ = false;
  bool reaped_ = false;
  EngineExit exit_;
};
