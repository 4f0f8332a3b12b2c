// The command interpreter: one flat chain of keyword tests over each input line.
#pragma once
#include "board/types.h"

constexpr int TOKEN_COUNT = 16384;
constexpr int LONG_TOKENS = 64;
constexpr int LONG_TOKEN_SIZE = 512;
constexpr int SHORT_TOKEN_SIZE = 16;
extern char *Tokens[TOKEN_COUNT];
extern i32 TokenStart[TOKEN_COUNT];
extern char CommandLine[];

// Splits `text` at any of `delimiters`; returns the index of the last token plus one.
i32 Tokenise(const char *text, const char *delimiters);
// Case-blind prefix match, true if either string ends before a difference.
bool MatchKeyword(const char *keyword, const char *text);
// The move word for "e2e4" or "e7e8q" by the board as it stands.
u32 ParseMoveText(const char *text);
void ProcessCommand();
// Empties everything that learns during a game: hash tables, killers, ordering statistics, the last score.
void Clean();
