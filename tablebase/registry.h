// The records of the registered tables, the key hash and the DTZ cache, shared by the tablebase files.
#pragma once
#include <cstddef>

#include "board/types.h"

constexpr int TBMAX_PIECE = 254;
constexpr int TBMAX_PAWN = 256;
constexpr int HSHMAX = 5;
constexpr int TABLE_HASH_BUCKETS = 1024;
constexpr int DTZ_SLOTS = 64;
constexpr int TB_MAX_MEN = 6;

// One Huffman-like decoder of a compressed table, pointing into the mapped view.
struct PairsDecoder {
  const u8 *IndexTable, *SizeTable, *Data, *DataEnd;
  const u8 *Offset;  // u16 entries, by code length less MinLen
  const u8 *SymPat;
  u64 IndexEntries;  // entries of IndexTable
  u32 Blocks;        // entries of SizeTable
  int NumSyms, BlockSize, IdxBits, MinLen;
  u8 SymLen[4096];
  u64 Base[64];
};

// The head shared by WDL and DTZ records. `Size` is the length of the mapping, the POSIX stand-in for a handle.
struct TableRecord {
  const u8 *Data;
  u64 Key;
  size_t Size;
  u8 Ready, Men, Symmetric, HasPawns;
};

// Index numbers of one pawn file group, or of a whole table without pawns, by the side the table looks at.
struct EncodingData {
  PairsDecoder *Pairs[2];
  i32 Factor[2][TB_MAX_MEN];
  u8 ManCodes[2][TB_MAX_MEN];
  u8 Norm[2][TB_MAX_MEN];
};

struct PieceTable : TableRecord {
  u8 EncodingType;
  EncodingData Enc;
};

struct PawnTable : TableRecord {
  u8 PawnCounts[2];
  EncodingData File[4];
};

// A DTZ table stores one side to move: only index [0] of EncodingData is used.
struct DtzRecord : TableRecord {
  u8 EncodingType;
  u8 PawnCounts[2];
  EncodingData File[4];  // group 0 only without pawns
  u8 Flags[4];
  u16 MapIdx[4][4];
  const u8 *Map;
};

struct TableSlot {
  u64 Key;
  TableRecord *Table;
};

struct DtzSlot {
  u64 Key1, Key2;
  DtzRecord *Table;
};

extern PieceTable PieceTables[TBMAX_PIECE];
extern PawnTable PawnTables[TBMAX_PAWN];
extern i32 PieceTableCount, PawnTableCount;
extern TableSlot TableHash[TABLE_HASH_BUCKETS][HSHMAX];
extern DtzSlot DtzList[DTZ_SLOTS];
extern char *PathCopy;
extern char **PathList;
extern i32 PathCount;

inline TableSlot *FindTableSlot(u64 key) {
  TableSlot *bucket = TableHash[key >> 54];
  for (int i = 0; i < HSHMAX; i++)
    if (bucket[i].Key == key && bucket[i].Table) return &bucket[i];
  return nullptr;
}

// The key of a material given as counts by side and piece code; `mirror` swaps the sides.
u64 MaterialKeyOf(const int counts[2][8], int mirror);
void RegisterTable(const char *name);
// Open read-only descriptor of the first directory's `name` + `suffix`, or -1.
int OpenTableFile(const char *name, const char *suffix);

// File access and parsing (table_file.cpp).
const u8 *MapTableFile(const char *name, const char *suffix, size_t &size);
void UnmapTableFile(const u8 *view, size_t size);
int InitWdlTable(TableRecord *table, const char *name);
int InitDtzTable(DtzRecord *record);
u8 DecompressPairs(const PairsDecoder *d, u64 index);
void FreeDecoders(EncodingData &enc);
void FreeDtzEntry(DtzRecord *record);

// Indexing (indexing.cpp).
void InitIndices();
void NormPiece(int encodingType, int men, u8 *norm, const u8 *pieces);
void NormPawn(const u8 *pawnCounts, int men, u8 *norm, const u8 *pieces);
u64 FactorsPiece(i32 *factor, int men, int order, const u8 *norm, int encodingType);
u64 FactorsPawn(i32 *factor, int men, int order, int order2, const u8 *norm, int group);
u64 EncodePiece(int encodingType, int men, const u8 *norm, int *squares, const i32 *factor);
u64 EncodePawn(const u8 *pawnCounts, int men, const u8 *norm, int *squares, const i32 *factor);
int PawnFile(const u8 *pawnCounts, int *squares);
