#include "shell/input.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "shell/settings.h"

char InputBuffer[INPUT_BUFFER_SIZE];

namespace {

constexpr int READ_CHUNK = 4096;
// A line longer than the buffer was cut: its remaining bytes are dropped up to the line end.
bool DroppingRestOfLine;
bool StreamEnded;

// The zero-terminated text is the one record of what is pending (NUL bytes never enter it), so a
// line put into InputBuffer by other means, such as a test, is served like one that was read.
size_t InputLength() { return std::strlen(InputBuffer); }

// Appends bytes; NUL bytes would end the text early and are left out.
void Append(const char *bytes, size_t count) {
  size_t length = InputLength();
  for (size_t i = 0; i < count; i++) {
    if (DroppingRestOfLine) {
      DroppingRestOfLine = bytes[i] != '\n';
      continue;
    }
    if (bytes[i] != '\0') InputBuffer[length++] = bytes[i];
  }
  InputBuffer[length] = '\0';
}

bool HasLineEnd() { return std::strchr(InputBuffer, '\n') != nullptr; }

}  // namespace

bool ReadInput() {
  char chunk[READ_CHUNK];
  // Never read more than the buffer can take: what stays in the pipe is read next time.
  const size_t length = InputLength();
  size_t room = INPUT_BUFFER_SIZE - 1 - length;
  if (room == 0) {  // a full buffer without a line end: cut the line here and drop the rest of it
    InputBuffer[length - 1] = '\n';
    DroppingRestOfLine = true;
    return true;
  }
  size_t want = room < READ_CHUNK ? room : READ_CHUNK;
  ssize_t got;
  do got = read(STDIN_FILENO, chunk, want);
  while (got < 0 && errno == EINTR);
  if (got <= 0) {
    StreamEnded = true;
    return false;
  }
  Append(chunk, size_t(got));
  return true;
}

bool InputEnded() { return StreamEnded; }

void ResetInput() {
  InputBuffer[0] = '\0';
  DroppingRestOfLine = StreamEnded = false;
}

i32 InputPending() {
  if (HasLineEnd()) return 1;
  if (!Settings.InputReady) {
    Settings.InputReady = 1;
    Settings.InputIsPipe = !isatty(STDIN_FILENO);
  }
  pollfd descriptor = {STDIN_FILENO, POLLIN, 0};
  if (poll(&descriptor, 1, 0) <= 0) return 0;
  if (descriptor.revents & (POLLHUP | POLLERR | POLLNVAL)) return 1;  // the next read reports the end
  int available = 0;
  if (ioctl(STDIN_FILENO, FIONREAD, &available) < 0) return 1;
  // On a console a lone pending byte is no line yet; a pipe's bytes are.
  if (!Settings.InputIsPipe) return available > 1 ? available : 0;
  return available > 0 ? available : 1;
}

void AwaitInput() {
  if (HasLineEnd()) return;
  pollfd descriptor = {STDIN_FILENO, POLLIN, 0};
  poll(&descriptor, 1, -1);
}

bool TakeLine(char *out) {
  char *end = std::strchr(InputBuffer, '\n');
  if (!end) return false;
  *end = '\0';
  if (char *cr = std::strchr(InputBuffer, '\r')) *cr = ' ';
  size_t lineLength = size_t(end - InputBuffer);
  std::memcpy(out, InputBuffer, lineLength + 1);
  std::memmove(InputBuffer, end + 1, std::strlen(end + 1) + 1);
  return true;
}

i32 ReadLine(bool blocking, char *out) {
  out[0] = '\0';
  if (!HasLineEnd()) {
    if (blocking) {
      while (!HasLineEnd())
        if (!ReadInput()) return -1;
    } else {
      if (!InputPending()) return 0;
      if (!ReadInput()) return -1;
      if (!HasLineEnd()) return 0;
    }
  }
  return TakeLine(out) ? 1 : 0;
}

int ReadCharacter() {
  // What the line reader has already taken in comes first, so nothing typed ahead is lost.
  if (InputBuffer[0] == '\0' && !ReadInput()) return -1;
  const int c = u8(InputBuffer[0]);
  std::memmove(InputBuffer, InputBuffer + 1, InputLength());
  return c;
}
