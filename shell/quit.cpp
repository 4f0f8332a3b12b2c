#include <cstdio>
#include <cstdlib>

#include "book/book_file.h"
#include "book/learn_file.h"
#include "search/hash.h"
#include "shell/engine.h"
#include "tablebase/tablebase.h"

void quit(int code) {
  fflush(stdout);
  ReleaseTables();
  CloseBook();
  CloseLearnFile();
  FreeTablebases();
  std::exit(code);
}
