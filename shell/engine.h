// Start-up, the outer loop and the one exit.
#pragma once

constexpr const char *VERSION_LINE = "Quarvelle v1.98 [r2769/26.01.2018]";

void StartEngine();
// The part of start-up that the settings file steers, from its reading on: table sizes, book, learning file,
// tablebases, the report of them all, and a new game.
void StartFromSettings();
// The next input line into CommandLine, read as needed; false once the input has ended.
bool TakeCommandLine();
[[noreturn]] void RunOuterLoop();
// Starts a new game as the `new` command does; games read from a file pass false, so that they never reach
// the book.
void NewGame(bool learnBook = true);
// The end of the old game: ordering statistics and killers cleared, the last score forgotten.
void CloseOldGame(bool onlyUndecided = false, bool learnBook = true);
// Releases everything and ends the process: 0 for quit, 1 for a failed allocation. It stands alone in
// shell/quit.cpp, so that the fuzz targets can link one of their own that ends the session instead.
[[noreturn]] void quit(int code);
