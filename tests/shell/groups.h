// The groups of shell tests; each is one ctest entry.
#pragma once

#include "session.h"

// startup_tests.cpp
void StartupReport(Context &context);
void StartupSettingsFile(Context &context);
// The block that "uci" prints, with the two figures that depend on the settings.
Lines UciBlock(int aggressivity, int defensivity);

// input_tests.cpp
void InputPipe(Context &context);
void InputLongLines(Context &context);
void InputBinary(Context &context);
void InputTerminal(Context &context);
void InputConversation(Context &context);

// command_tests.cpp
void CommandChain(Context &context);
void CommandMoves(Context &context);
void CommandBoard(Context &context);

// uci_tests.cpp
void UciSetup(Context &context);
void UciOptions(Context &context);
void UciGo(Context &context);

// long_game_tests.cpp
void LongGame(Context &context);
// The first `plies` moves of the stored long game, blank-separated.
std::string LongGameMoves(const Context &context, int plies);
struct Checkpoint {
  int ply = 0;
  std::string fen;
  long long perft1 = 0;
  long long perft2 = 0;
  Lines moves;  // as `moves` lists them, sorted
};
std::vector<Checkpoint> LongGameCheckpoints(const Context &context);

// bad_input_tests.cpp
void BadArguments(Context &context);
