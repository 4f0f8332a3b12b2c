// Runs the engine binary as a GUI or a person does: through pipes, fed in timed chunks, or on a pseudo-terminal.
// Every run gets a fresh temporary working directory (the engine reads its settings file from there), which is
// removed afterwards, and a deadline: a hung engine is killed and reported, never waited for.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

// Generous: it only turns a hung engine into a failure, also in a sanitizer build.
constexpr double kRunTimeoutSeconds = 20;

// A piece of input: wait `pauseMs`, then write `bytes` with one write call where the pipe allows.
struct Chunk {
  std::string bytes;
  int pauseMs = 0;
};

struct RunOptions {
  std::optional<std::string> settingsFile;  // the content of Quarvelle.ini; none: no such file
  bool settingsFileIsDirectory = false;     // a directory named Quarvelle.ini instead of a file
  // Added to the engine's environment; a value for ASAN_OPTIONS is appended to what is there.
  std::vector<std::pair<std::string, std::string>> environment;
  double timeoutSeconds = kRunTimeoutSeconds;
};

struct EngineResult {
  std::string out;
  std::string err;
  bool timedOut = false;
  bool skipped = false;  // not run at all, after earlier runs hung
  bool exited = false;   // false: killed by a signal or by the deadline
  int code = -1;
  int signal = 0;

  bool ExitedWith(int expected) const { return !timedOut && exited && code == expected; }
  std::string Describe() const;
};

// A working directory of its own, removed with everything in it when the object goes.
class TempDirectory {
 public:
  TempDirectory();
  ~TempDirectory();
  TempDirectory(const TempDirectory &) = delete;
  TempDirectory &operator=(const TempDirectory &) = delete;
  const std::string &Path() const { return path_; }
  // Writes the settings file of `options` (or the directory standing in its place).
  void PlaceSettings(const RunOptions &options) const;

 private:
  std::string path_;
};

// Writes all chunks (reading output meanwhile, so that neither side stalls on a full pipe), closes the input,
// and collects everything until the engine exits or the deadline passes.
EngineResult RunEngine(const std::string &binary, const std::vector<Chunk> &input, const RunOptions &options = {});
EngineResult RunEngine(const std::string &binary, const std::string &input, const RunOptions &options = {});

// The engine on pipes that stay open, for a conversation: each answer is awaited before the next command, as a
// GUI does, so that an answer held back in an output buffer shows as a missing answer.
class PipeSession {
 public:
  explicit PipeSession(const std::string &binary, const RunOptions &options = {});
  ~PipeSession();
  PipeSession(const PipeSession &) = delete;
  PipeSession &operator=(const PipeSession &) = delete;

  bool Send(const std::string &bytes);
  // Waits until `text` appears in the output behind the previous match; false at the deadline or the end.
  bool WaitFor(const std::string &text, double timeoutSeconds = kRunTimeoutSeconds);
  // Closes the input, reads until the engine ends and returns how it ended.
  EngineResult Finish();
  const std::string &Output() const { return output_; }

 private:
  TempDirectory directory_;
  double timeoutSeconds_;
  pid_t pid_ = -1;
  int toEngine_ = -1;
  int fromEngine_ = -1;
  bool ended_ = false;
  bool reaped_ = false;
  std::string output_;
  size_t matchedUpTo_ = 0;
};

// The engine on a pseudo-terminal: standard input and output are a terminal, as for a person at the keyboard.
class TerminalSession {
 public:
  explicit TerminalSession(const std::string &binary, double timeoutSeconds = kRunTimeoutSeconds);
  ~TerminalSession();
  TerminalSession(const TerminalSession &) = delete;
  TerminalSession &operator=(const TerminalSession &) = delete;

  bool Started() const { return pid_ > 0; }
  // Types the bytes; false if the terminal is gone.
  bool Type(const std::string &bytes);
  // Waits until `text` appears in the output behind the previous match; false at the deadline or the end.
  bool WaitFor(const std::string &text);
  // Reads until the engine closes the terminal and returns how it ended (the output is all of it, line ends
  // as the terminal gives them: CR LF).
  EngineResult Finish();
  const std::string &Output() const { return output_; }

 private:
  bool ReadSome(int timeoutMs);

  TempDirectory directory_;
  double timeoutSeconds_;
  pid_t pid_ = -1;
  int master_ = -1;
  bool ended_ = false;
  bool reaped_ = false;
  std::string output_;
  size_t matchedUpTo_ = 0;
};
