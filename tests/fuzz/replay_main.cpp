// Replays files through the entry of one fuzz target without libFuzzer: the seeds and the inputs that once failed,
// in the normal build and again under the sanitizers of the sanitizer build.
//   fuzz_replay TARGET FILE_OR_DIRECTORY...
// A directory that doesn't exist holds nothing to replay. Exit code 1 when nothing was replayed at all.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_session.h"
#include "tests/fuzz/fuzz_targets.h"

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> InputsIn(const fs::path &place) {
  std::vector<fs::path> inputs;
  if (fs::is_regular_file(place)) inputs.push_back(place);
  if (fs::is_directory(place))
    for (const fs::directory_entry &entry : fs::directory_iterator(place))
      if (entry.is_regular_file()) inputs.push_back(entry.path());
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

}  // namespace

int main(int argc, char **argv) {
  const FuzzEntry entry = argc >= 2 ? FindFuzzEntry(argv[1]) : nullptr;
  if (!entry) {
    std::fprintf(stderr, "usage: fuzz_replay TARGET FILE_OR_DIRECTORY...\n");
    return 2;
  }
  std::vector<fs::path> inputs;
  for (int i = 2; i < argc; i++)
    for (const fs::path &input : InputsIn(argv[i])) inputs.push_back(input);
  // The engine talks on standard output; the replay reports on standard error.
  if (!std::freopen("/dev/null", "w", stdout)) return 2;
  StartFuzzEngine();
  for (const fs::path &input : inputs) {
    std::ifstream in(input, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    std::fprintf(stderr, "%s\n", input.c_str());
    RunFuzzInput(entry, reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
  }
  std::fprintf(stderr, "%s: %zu inputs replayed\n", argv[1], inputs.size());
  return inputs.empty() ? 1 : 0;
}
