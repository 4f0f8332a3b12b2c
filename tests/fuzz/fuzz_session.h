// What the fuzz targets share: one engine per process, started once in a scratch directory of its own, and put
// back into its start-up state before every input, so that each input runs alone and leaves nothing behind.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/fuzz/fuzz_targets.h"

// Starts the engine once, in a fresh scratch directory under /dev/shm (or /tmp) with a copy of the repository's
// values.txt, and standard input at its end. The directory goes at exit.
void StartFuzzEngine();
// Runs one input through a target's entry, with the scratch directory as the working directory meanwhile.
int RunFuzzInput(FuzzEntry entry, const uint8_t *data, size_t size);
// The start-up state again: settings, board, stacks, statistics, hash tables, book, learning file and
// tablebases closed, standard input at its end, and every file that an earlier input wrote removed.
void ResetEngine();
// Writes the bytes into a file of the scratch directory, replacing what was there; returns its path.
std::string WriteScratchFile(const std::string &name, const void *data, size_t size);
// Standard input holds the bytes, and its end follows them.
void FeedStandardInput(const std::string &bytes);
// One command line through the engine's interpreter, as if it had been typed.
void RunCommand(const char *line);
// No side holds more pawns and promoted pieces together than the eight pawns it began with. Beyond that, as with
// sixteen rooks a side, the captures of a quiescence search make trees of millions of nodes, which the search by
// its design doesn't interrupt: a fuzz target searches no such position.
bool MaterialPlayCouldReach();
// The directory of the repository, where the test data lies.
const char *SourceDirectory();

// What quit throws in the fuzz targets instead of ending the process.
struct SessionEnded {
  int Code;
};

// Runs part of a session. A quit inside it, which would end the engine, ends only the session.
template <typename Session>
void RunSession(Session session) {
  try {
    session();
  } catch (const SessionEnded &) {
  }
}
