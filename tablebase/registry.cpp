// Discovery: the path list, one record per .rtbw file found, the key hash, and the release of it all.
#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "board/board.h"
#include "shell/settings.h"
#include "tablebase/registry.h"
#include "tablebase/tablebase.h"

PieceTable PieceTables[TBMAX_PIECE];
PawnTable PawnTables[TBMAX_PAWN];
i32 PieceTableCount, PawnTableCount;
TableSlot TableHash[TABLE_HASH_BUCKETS][HSHMAX];
DtzSlot DtzList[DTZ_SLOTS];
char *PathCopy;
char **PathList;
i32 PathCount;

namespace {

bool TablesStarted;
// Room for the longest directory the path setting can hold, a separator, a name and a suffix.
constexpr int FILE_NAME_SIZE = TB_PATH_SIZE + 32;
// Piece codes of the letters Q R B N P, in the order the names use them.
constexpr int NameOrder[5] = {QUEEN, ROOK, BISHOP, KNIGHT, PAWN};
constexpr char Letters[] = "KQRBNP";

[[noreturn]] void LimitReached(const char *message) {
  printf("%s\n", message);
  fflush(stdout);
  std::exit(1);
}

void AddToHash(u64 key, TableRecord *table) {
  TableSlot *bucket = TableHash[key >> 54];
  for (int i = 0; i < HSHMAX; i++)
    if (!bucket[i].Table) {
      bucket[i] = {key, table};
      return;
    }
  LimitReached("HSHMAX too low!");
}

// A ':' right after a lone drive letter and before a backslash is part of a Windows name, not a separator.
bool IsSeparator(const char *at, const char *pieceStart) {
  if (*at == ';') return true;
  if (*at != ':') return false;
  return !(at - pieceStart == 1 && std::isalpha(static_cast<unsigned char>(*pieceStart)) && at[1] == '\\');
}

void SplitPath(const char *path) {
  const size_t length = std::strlen(path);
  PathCopy = static_cast<char *>(std::malloc(length + 1));
  PathList = static_cast<char **>(std::malloc(sizeof(char *) * (length / 2 + 1)));
  std::memcpy(PathCopy, path, length + 1);
  PathCount = 0;
  char *pieceStart = PathCopy;
  for (char *at = PathCopy;; at++) {
    const bool end = *at == '\0';
    if (end || IsSeparator(at, pieceStart)) {
      *at = '\0';
      if (*pieceStart) PathList[PathCount++] = pieceStart;
      pieceStart = at + 1;
    }
    if (end) break;
  }
}

}  // namespace

u64 MaterialKeyOf(const int counts[2][8], int mirror) {
  u64 key = 0;
  for (int code : NameOrder)
    key ^= PieceKeys[WHITE][code][counts[mirror][code]] ^ PieceKeys[BLACK][code][counts[mirror ^ 1][code]];
  return key;
}

u64 MaterialKey(int mirror) {
  const BoardRecord &b = thread_board;
  int counts[2][8] = {};
  for (int code : NameOrder)
    for (int side : {WHITE, BLACK}) counts[side][code] = PopCount(b.PieceBoards[code][side]);
  return MaterialKeyOf(counts, mirror);
}

void MaterialName(char *buffer, int mirror) {
  const BoardRecord &b = thread_board;
  const int first = mirror ? BLACK : WHITE;
  *buffer++ = 'K';
  for (int side : {first, ChangeSide(first)}) {
    for (int i = 0; i < 5; i++)
      for (int n = PopCount(b.PieceBoards[NameOrder[i]][side]); n > 0; n--) *buffer++ = Letters[i + 1];
    if (side == first) *buffer++ = 'v', *buffer++ = 'K';
  }
  *buffer = '\0';
}

int OpenTableFile(const char *name, const char *suffix) {
  char file[FILE_NAME_SIZE];
  for (int i = 0; i < PathCount; i++) {
    const int length = std::snprintf(file, sizeof file, "%s/%s%s", PathList[i], name, suffix);
    if (length < 0 || length >= int(sizeof file)) continue;
    const int fd = open(file, O_RDONLY | O_CLOEXEC);
    if (fd >= 0) return fd;
  }
  return -1;
}

void RegisterTable(const char *name) {
  const int fd = OpenTableFile(name, ".rtbw");
  if (fd < 0) return;
  close(fd);

  int counts[2][8] = {};
  int side = WHITE;
  for (const char *c = name; *c; c++) {
    if (*c == 'v') {
      side = BLACK;
      continue;
    }
    const int index = int(std::strchr(Letters, *c) - Letters);
    counts[side][index == 0 ? KING : NameOrder[index - 1]]++;
  }
  const u64 key = MaterialKeyOf(counts, 0), key2 = MaterialKeyOf(counts, 1);
  const bool hasPawns = counts[WHITE][PAWN] || counts[BLACK][PAWN];
  TableRecord *table;
  if (!hasPawns) {
    if (PieceTableCount >= TBMAX_PIECE) LimitReached("TBMAX_PIECE limit too low!");
    PieceTable &record = PieceTables[PieceTableCount++];
    int singles = 0;
    for (int s : {WHITE, BLACK})
      for (int code = 0; code < 8; code++) singles += counts[s][code] == 1;
    record.EncodingType = singles >= 3 ? 0 : 2;
    table = &record;
  } else {
    if (PawnTableCount >= TBMAX_PAWN) LimitReached("TBMAX_PAWN limit too low!");
    PawnTable &record = PawnTables[PawnTableCount++];
    int lead = counts[WHITE][PAWN], other = counts[BLACK][PAWN];
    if (other > 0 && (lead == 0 || lead > other)) std::swap(lead, other);
    record.PawnCounts[0] = u8(lead);
    record.PawnCounts[1] = u8(other);
    table = &record;
  }
  int men = 0;
  for (int s : {WHITE, BLACK})
    for (int code = 0; code < 8; code++) men += counts[s][code];
  table->Data = nullptr;
  table->Size = 0;
  table->Ready = 0;
  table->Key = key;
  table->Symmetric = key == key2;
  table->HasPawns = hasPawns;
  table->Men = u8(men);
  if (men > Settings.TbMaxPieces) Settings.TbMaxPieces = men;
  AddToHash(key, table);
  if (key2 != key) AddToHash(key2, table);
}

namespace {

// Every material of three to six men, in the order of the names: first side never weaker in men.
void RegisterAllTables() {
  char name[16];
  auto reg = [&](const char *format, int a, int b = 0, int c = 0, int d = 0) {
    std::snprintf(name, sizeof name, format, Letters[a], Letters[b], Letters[c], Letters[d]);
    RegisterTable(name);
  };
  for (int i = 1; i <= 5; i++) reg("K%cvK", i);
  for (int i = 1; i <= 5; i++)
    for (int j = i; j <= 5; j++) reg("K%cvK%c", i, j);
  for (int i = 1; i <= 5; i++)
    for (int j = i; j <= 5; j++) reg("K%c%cvK", i, j);
  for (int i = 1; i <= 5; i++)
    for (int j = i; j <= 5; j++)
      for (int k = 1; k <= 5; k++) reg("K%c%cvK%c", i, j, k);
  for (int i = 1; i <= 5; i++)
    for (int j = i; j <= 5; j++)
      for (int k = j; k <= 5; k++) reg("K%c%c%cvK", i, j, k);
  for (int i = 1; i <= 5; i++)
    for (int j = i; j <= 5; j++)
      for (int k = i; k <= 5; k++)
        for (int l = k == i ? j : k; l <= 5; l++) reg("K%c%cvK%c%c", i, j, k, l);
  for (int i = 1; i <= 5; i++)
    for (int j = i; j <= 5; j++)
      for (int k = j; k <= 5; k++)
        for (int l = 1; l <= 5; l++) reg("K%c%c%cvK%c", i, j, k, l);
  for (int i = 1; i <= 5; i++)
    for (int j = i; j <= 5; j++)
      for (int k = j; k <= 5; k++)
        for (int l = k; l <= 5; l++) reg("K%c%c%c%cvK", i, j, k, l);
}

}  // namespace

void InitTablebases(const char *path) {
  if (!TablesStarted) {
    InitIndices();
    TablesStarted = true;
  } else {
    FreeTablebases();
  }
  if (path[0] == '\0' || std::strcmp(path, "<empty>") == 0) return;
  SplitPath(path);
  PieceTableCount = PawnTableCount = 0;
  Settings.TbMaxPieces = 0;
  std::memset(TableHash, 0, sizeof TableHash);
  for (DtzSlot &slot : DtzList) slot.Table = nullptr;
  RegisterAllTables();
  printf("info string Found %d tablebases.\n", PieceTableCount + PawnTableCount);
  fflush(stdout);
}

void FreeTablebases() {
  if (!TablesStarted) return;
  std::free(PathCopy);
  std::free(PathList);
  PathCopy = nullptr;
  PathList = nullptr;
  PathCount = 0;
  for (int i = 0; i < PieceTableCount; i++) {
    PieceTable &t = PieceTables[i];
    UnmapTableFile(t.Data, t.Size);
    FreeDecoders(t.Enc);
    t.Data = nullptr;
    t.Ready = 0;
  }
  for (int i = 0; i < PawnTableCount; i++) {
    PawnTable &t = PawnTables[i];
    UnmapTableFile(t.Data, t.Size);
    for (EncodingData &file : t.File) FreeDecoders(file);
    t.Data = nullptr;
    t.Ready = 0;
  }
  for (DtzSlot &slot : DtzList) {
    if (slot.Table) FreeDtzEntry(slot.Table);
    slot = {};
  }
  // Nothing may point at what was released: an empty start leaves no table behind.
  PieceTableCount = PawnTableCount = 0;
  std::memset(TableHash, 0, sizeof TableHash);
  Settings.TbMaxPieces = 0;
}
