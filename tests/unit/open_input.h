// Standard input replaced by a pipe that stays open and empty: the tests feed InputBuffer themselves, and
// the end of a real input (ctest gives none) would read as a GUI that has gone.
#pragma once
#include <unistd.h>

class OpenEmptyInput {
 public:
  OpenEmptyInput() {
    saved_ = dup(STDIN_FILENO);
    if (pipe(pipe_) == 0) dup2(pipe_[0], STDIN_FILENO);
  }
  ~OpenEmptyInput() {
    dup2(saved_, STDIN_FILENO);
    close(saved_);
    close(pipe_[0]);
    close(pipe_[1]);
  }
  OpenEmptyInput(const OpenEmptyInput &) = delete;
  OpenEmptyInput &operator=(const OpenEmptyInput &) = delete;

 private:
  int saved_ = -1;
  int pipe_[2] = {-1, -1};
};
