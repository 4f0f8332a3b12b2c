#include "shell/engine.h"

int main() {
  StartEngine();
  RunOuterLoop();
}
