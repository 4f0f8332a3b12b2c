// The position-learning file: the input is the file, opened as the engine opens Learn.qv1. An input shorter than
// the bucket table is the start of a file whose other buckets are empty. The chains are walked for the
// positions of a short game and for keys that the input's own buckets lead to; each is then updated where it was
// found, and a record is added behind its chain, as the engine learns after a game.
#include "book/learn_file.h"

#include <algorithm>
#include <string>
#include <vector>

#include "board/board.h"
#include "tests/fuzz/fuzz_session.h"
#include "tests/fuzz/fuzz_targets.h"

namespace {

constexpr int MAX_INPUT_KEYS = 32;
const char *const GameMoves[] = {"e2e4", "c7c5", "g1f3", "d7d6", "d2d4", "c5d4", "f3d4", "g8f6"};

u32 ReadU32(const std::string &file, size_t at) {
  if (at + 4 > file.size()) return 0;
  u32 value = 0;
  for (int i = 3; i >= 0; i--) value = value << 8 | u8(file[at + size_t(i)]);
  return value;
}

struct LearnKey {
  u32 nhash1, nhash2;
};

// The key of the record each of the first non-empty buckets points to, where that record lies in the file.
std::vector<LearnKey> KeysOfInput(const std::string &file) {
  std::vector<LearnKey> keys;
  for (int bucket = 0; bucket < LEARN_BUCKETS && keys.size() < MAX_INPUT_KEYS; bucket++) {
    const u32 link = ReadU32(file, LEARN_MAGIC_SIZE + 4 * size_t(bucket));
    if (link) keys.push_back({ReadU32(file, size_t(link) + 12), ReadU32(file, size_t(link) + 16)});
  }
  return keys;
}

std::vector<LearnKey> KeysOfGame() {
  std::vector<LearnKey> keys;
  for (const char *move : GameMoves) {
    keys.push_back({LearnKey1(thread_board.PositionKey), LearnKey2(thread_board.PositionKey)});
    RunCommand(move);
  }
  return keys;
}

void LearnAbout(const LearnKey &key, i32 score) {
  i32 depth = 0, learntScore = 0;
  i64 offset;
  LearnLookup(key.nhash1, key.nhash2, depth, learntScore, offset);
  if (offset) LearnUpdate(key.nhash1, key.nhash2, depth + 4, score, 0, offset);
  LearnAdd(key.nhash1 ^ 0x10000, key.nhash2, depth, score, 0);
  LearnLookup(key.nhash1 ^ 0x10000, key.nhash2, depth, learntScore, offset);
}

}  // namespace

int FuzzLearnFile(const uint8_t *data, size_t size) {
  ResetEngine();
  std::string file(reinterpret_cast<const char *>(data), size);
  file.resize(std::max<size_t>(file.size(), LEARN_HEADER_SIZE), '\0');
  const std::string path = WriteScratchFile("fuzz.qv1", file.data(), file.size());
  RunSession([&] {
    RunCommand("force");
    OpenLearnFile(path.c_str());
    i32 score = -400;
    for (const std::vector<LearnKey> &keys : {KeysOfInput(file), KeysOfGame()})
      for (const LearnKey &key : keys) LearnAbout(key, score--);
  });
  return 0;
}
