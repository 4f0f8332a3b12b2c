// A fresh working directory for engine runs that read and write files, removed with everything in it at the end,
// and whole-run helpers for sessions that only need the output and the exit.
#pragma once
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "engine_session.h"

class ScratchDir {
 public:
  ScratchDir() {
    char pattern[] = "/tmp/quarvelle-batch-XXXXXX";
    if (!mkdtemp(pattern)) std::abort();
    path_ = pattern;
    previous_ = std::filesystem::current_path();
    std::filesystem::current_path(path_);
  }
  ScratchDir(const ScratchDir &) = delete;
  ScratchDir &operator=(const ScratchDir &) = delete;
  ~ScratchDir() {
    std::filesystem::current_path(previous_);
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

 private:
  std::string path_;
  std::filesystem::path previous_;
};

inline void WriteFile(const std::string &name, const std::string &text) {
  std::ofstream(name, std::ios::binary) << text;
}

inline std::string ReadFile(const std::string &name) {
  std::ifstream in(name, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

inline std::vector<std::string> SplitLines(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

inline bool HasLine(const std::string &text, const std::string &line) {
  for (const std::string &each : SplitLines(text))
    if (each == line) return true;
  return false;
}

struct EngineRun {
  std::string Output;
  EngineExit Exit;
};

// Starts the engine in the working directory, sends all of `commands`, closes its input and waits for the end.
inline EngineRun RunEngine(const std::string &binary, const std::string &commands) {
  EngineSession engine(binary);
  engine.Send(commands);
  engine.CloseInput();
  EngineRun run;
  run.Output = engine.ReadRest();
  run.Exit = engine.Wait();
  return run;
}
