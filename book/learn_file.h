// Position learning: a hash table on disk of positions where the engine's score fell, read in the tree.
#pragma once
#include "board/types.h"

constexpr char LEARN_FILE_NAME[] = "Learn.qv1";
constexpr char LEARN_MAGIC[] = "Quarvelle learning file";
constexpr int LEARN_MAGIC_SIZE = 23;
constexpr int LEARN_BUCKETS = 65536;
constexpr i64 LEARN_HEADER_SIZE = LEARN_MAGIC_SIZE + 4 * LEARN_BUCKETS;  // 262167
constexpr int LEARN_RECORD_SIZE = 24;
constexpr int LEARN_QUEUE_SIZE = 3;

struct PendingLearnEntry {
  u32 nhash1, nhash2;
  i32 Depth;
  i32 OldEvaluation;
  i32 Evaluation;
  u32 Move;
  char Fen[128];
};
extern PendingLearnEntry PendingLearn[LEARN_QUEUE_SIZE];

// Opens the file, creating it if missing; when that fails both halves of learning are switched off.
void OpenLearnFile(const char *path);
void CloseLearnFile();
bool LearnFileOpen();
// The record of a position: offset 0 when there is none.
void LearnLookup(u32 nhash1, u32 nhash2, i32 &depth, i32 &score, i64 &offset);
void LearnAdd(u32 nhash1, u32 nhash2, i32 depth, i32 score, u32 move);
void LearnUpdate(u32 nhash1, u32 nhash2, i32 depth, i32 score, u32 move, i64 offset);
// After each engine move: queues a position where the score fell, writes the queue once the fall is confirmed.
void LearnAfterMove();

inline u32 LearnKey1(u64 key) { return u32(key); }
inline u32 LearnKey2(u64 key) { return u32(key >> 16); }
