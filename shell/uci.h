// The UCI commands of the command chain.
#pragma once

void PrintUciIdentity();
void SetOption();
void NewUciGame();
void SetPosition(int tokenCount);
// Reads the arguments of `go` into Settings.
void ParseGoArguments(int tokenCount);
// `ponderhit` after a pondering search that a command ended: the move goes out now.
void AnswerPonderHit();
