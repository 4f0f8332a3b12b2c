// The input channel: a blocking read, a poll that doesn't block, and line delivery.
#pragma once
#include "board/types.h"

// Room for a `position ... moves` line of several thousand plies.
constexpr int INPUT_BUFFER_SIZE = 65536;
extern char InputBuffer[INPUT_BUFFER_SIZE];

// Reads what is there, blocking until something is; false at the end of the stream.
bool ReadInput();
// The stream has ended: nothing more will come than what InputBuffer holds.
bool InputEnded();
// Empties InputBuffer and forgets an end of stream: what comes next is read from a new standard input.
void ResetInput();
// Non-zero if a line can be had without waiting long.
i32 InputPending();
// 1 when a line was copied to `out` (INPUT_BUFFER_SIZE bytes), 0 if none was ready without blocking,
// -1 at the end of the stream.
i32 ReadLine(bool blocking, char *out);
// Waits until input arrives, unless a whole line is already there.
void AwaitInput();
// Moves the first line of InputBuffer into `out`; false if no whole line is there.
bool TakeLine(char *out);
// One character of input for the board editor, waiting for it; -1 at the end of the stream.
int ReadCharacter();
