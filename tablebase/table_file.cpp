// The file format: read-only mappings, the headers of .rtbw and .rtbz files, and the block decoder.
// Every read of a header or table is checked against the mapping's size: a short or damaged file is refused.
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "tablebase/registry.h"

namespace {

constexpr u8 WdlMagic[4] = {0x71, 0xE8, 0x23, 0x5D};
constexpr u8 DtzMagic[4] = {0xD7, 0x66, 0x0C, 0xA5};

u32 Read32(const u8 *p) { return u32(p[0]) | u32(p[1]) << 8 | u32(p[2]) << 16 | u32(p[3]) << 24; }
u16 Read16(const u8 *p) { return u16(p[0] | p[1] << 8); }
u64 ReadBig64(const u8 *p) {
  u64 v = 0;
  for (int i = 0; i < 8; i++) v = v << 8 | p[i];
  return v;
}

// A cursor over the mapped file that refuses to step past its end.
struct Reader {
  const u8 *start, *end, *at;
  bool ok;
  bool Has(size_t n) {
    ok = ok && at <= end && size_t(end - at) >= n;
    return ok;
  }
  void Skip(size_t n) {
    if (Has(n)) at += n;
  }
  void MakeEven() {
    if ((at - start) & 1) Skip(1);
  }
  void Align64() {
    const size_t pad = size_t(-(at - start)) & 63;
    Skip(pad);
  }
};

// Lengths of the symbols, each from its two halves; false on an out-of-range half, a cycle or an overlong one.
bool ComputeSymLen(PairsDecoder *d) {
  u8 state[4096] = {};  // 0 unknown, 1 in progress, 2 done
  int stack[4096];
  for (int root = 0; root < d->NumSyms; root++) {
    int depth = 0;
    stack[depth++] = root;
    while (depth > 0) {
      const int sym = stack[depth - 1];
      if (state[sym] == 2) {
        depth--;
        continue;
      }
      const u8 *w = d->SymPat + 3 * sym;
      const int left = w[0] | (w[1] & 15) << 8, right = w[1] >> 4 | w[2] << 4;
      if (right == 0xFFF) {
        d->SymLen[sym] = 0;
        state[sym] = 2;
        depth--;
        continue;
      }
      if (left >= d->NumSyms || right >= d->NumSyms) return false;
      state[sym] = 1;
      bool pushed = false;
      for (int half : {left, right}) {
        if (state[half] == 2) continue;
        if (state[half] == 1 || depth >= 4096) return false;
        stack[depth++] = half;
        pushed = true;
        break;
      }
      if (pushed) continue;
      const int length = d->SymLen[left] + d->SymLen[right] + 1;
      if (length > 255) return false;
      d->SymLen[sym] = u8(length);
      state[sym] = 2;
      depth--;
    }
  }
  return true;
}

// One pairs header at the reader; sizes of its index, size and data parts come back in `sizes`.
PairsDecoder *SetupPairs(Reader &r, u64 tableSize, u64 sizes[3], u8 &flags, bool isWdl) {
  if (!r.Has(2)) return nullptr;
  const u8 *h = r.at;
  flags = h[0];
  PairsDecoder *d = new (std::nothrow) PairsDecoder{};
  if (!d) return nullptr;
  if (flags & 0x80) {
    d->IdxBits = 0;
    d->MinLen = isWdl ? h[1] : 0;
    sizes[0] = sizes[1] = sizes[2] = 0;
    r.Skip(2);
    return d;
  }
  bool good = r.Has(12);
  const int blockSize = good ? h[1] : 0, idxBits = good ? h[2] : 0;
  const int maxLen = good ? h[8] : 0, minLen = good ? h[9] : 0;
  good = good && blockSize < 32 && idxBits >= 1 && idxBits < 64 && minLen >= 1 && maxLen >= minLen && maxLen < 64;
  const int lengths = maxLen - minLen + 1;
  good = good && r.Has(size_t(12 + 2 * lengths));
  const int numSyms = good ? Read16(h + 10 + 2 * lengths) : 0;
  good = good && numSyms <= 4096 && r.Has(size_t(12 + 2 * lengths + 3 * numSyms + (numSyms & 1)));
  if (!good) {
    delete d;
    r.ok = false;
    return nullptr;
  }
  const u64 realBlocks = Read32(h + 4), extraBlocks = h[3];
  d->BlockSize = blockSize;
  d->IdxBits = idxBits;
  d->MinLen = minLen;
  d->Offset = h + 10;
  d->SymPat = h + 12 + 2 * lengths;
  d->NumSyms = numSyms;
  d->IndexEntries = (tableSize + (u64(1) << idxBits) - 1) >> idxBits;
  d->Blocks = u32(realBlocks + extraBlocks);
  sizes[0] = 6 * d->IndexEntries;
  sizes[1] = 2 * (realBlocks + extraBlocks);
  sizes[2] = realBlocks << blockSize;
  r.Skip(size_t(12 + 2 * lengths + 3 * numSyms + (numSyms & 1)));
  if (!ComputeSymLen(d)) {
    delete d;
    r.ok = false;
    return nullptr;
  }
  d->Base[lengths - 1] = 0;
  for (int i = lengths - 2; i >= 0; i--)
    d->Base[i] = (d->Base[i + 1] + Read16(d->Offset + 2 * i) - Read16(d->Offset + 2 * (i + 1))) / 2;
  for (int i = 0; i < lengths; i++) d->Base[i] <<= 64 - (minLen + i);
  return d;
}

// Decoders in file order with the sizes of their parts: index tables, then size tables, then the data.
void PlaceTables(Reader &r, PairsDecoder *const *decoders, const u64 (*sizes)[3], int count) {
  for (int i = 0; i < count; i++) {
    if (decoders[i]) decoders[i]->IndexTable = r.at;
    r.Skip(sizes[i][0]);
  }
  for (int i = 0; i < count; i++) {
    if (decoders[i]) decoders[i]->SizeTable = r.at;
    r.Skip(sizes[i][1]);
  }
  for (int i = 0; i < count; i++) {
    r.Align64();
    if (decoders[i]) decoders[i]->Data = r.at, decoders[i]->DataEnd = r.at + (r.ok ? sizes[i][2] : 0);
    r.Skip(sizes[i][2]);
  }
}

// Piece nibbles of one table or pawn file group: low nibbles for side 0, high for side 1 (WDL only).
void ReadMen(Reader &r, int men, u8 codes[2][TB_MAX_MEN]) {
  if (!r.Has(size_t(men))) return;
  for (int i = 0; i < men; i++) {
    codes[0][i] = r.at[i] & 15;
    codes[1][i] = r.at[i] >> 4;
  }
  r.Skip(size_t(men));
}

void Corrupted() {
  printf("Corrupted table.\n");
  fflush(stdout);
}

// The piece lists of a table, for `sides` stored sides: men, norms, factors and the size of each table.
bool ReadLists(Reader &r, TableRecord *t, int encodingType, const u8 *pawnCounts, int sides, EncodingData *enc,
               u64 tableSize[4][2]) {
  const int men = t->Men;
  for (int g = 0; g < (t->HasPawns ? 4 : 1); g++) {
    if (!r.Has(1)) return false;
    const int order[2] = {r.at[0] & 15, r.at[0] >> 4};
    r.Skip(1);
    int order2[2] = {15, 15};
    if (t->HasPawns && pawnCounts[1] > 0) {
      if (!r.Has(1)) return false;
      order2[0] = r.at[0] & 15;
      order2[1] = r.at[0] >> 4;
      r.Skip(1);
    }
    u8 codes[2][TB_MAX_MEN] = {};
    ReadMen(r, men, codes);
    if (!r.ok) return false;
    EncodingData &e = enc[g];
    std::memcpy(e.ManCodes, codes, sizeof codes);
    for (int s = 0; s < sides; s++) {
      if (t->HasPawns) {
        NormPawn(pawnCounts, men, e.Norm[s], e.ManCodes[s]);
        tableSize[g][s] = FactorsPawn(e.Factor[s], men, order[s], order2[s], e.Norm[s], g);
      } else {
        NormPiece(encodingType, men, e.Norm[s], e.ManCodes[s]);
        tableSize[g][s] = FactorsPiece(e.Factor[s], men, order[s], e.Norm[s], encodingType);
      }
    }
  }
  r.MakeEven();
  return r.ok;
}

bool GoodMagic(const u8 *data, size_t size, const u8 *magic) {
  return size >= 6 && std::memcmp(data, magic, 4) == 0;
}

}  // namespace

const u8 *MapTableFile(const char *name, const char *suffix, size_t &size) {
  size = 0;
  const int fd = OpenTableFile(name, suffix);
  if (fd < 0) return nullptr;
  struct stat info;
  if (fstat(fd, &info) != 0 || info.st_size <= 0) {
    // An empty file maps nothing; the magic test then refuses it.
    close(fd);
    static const u8 nothing[1] = {};
    return nothing;
  }
  void *view = mmap(nullptr, size_t(info.st_size), PROT_READ, MAP_SHARED, fd, 0);
  close(fd);
  if (view == MAP_FAILED) {
    printf("MapViewOfFile() failed, name = %s%s, error = %lu.\n", name, suffix, static_cast<unsigned long>(errno));
    fflush(stdout);
    std::exit(1);
  }
  size = size_t(info.st_size);
  return static_cast<const u8 *>(view);
}

void UnmapTableFile(const u8 *view, size_t size) {
  if (view && size) munmap(const_cast<u8 *>(view), size);
}

void FreeDecoders(EncodingData &enc) {
  for (PairsDecoder *&d : enc.Pairs) {
    delete d;
    d = nullptr;
  }
}

int InitWdlTable(TableRecord *table, const char *name) {
  table->Data = MapTableFile(name, ".rtbw", table->Size);
  if (!table->Data) {
    printf("Could not find %s.rtbw\n", name);
    fflush(stdout);
    return 0;
  }
  Reader r{table->Data, table->Data + table->Size, table->Data, true};
  bool good = GoodMagic(table->Data, table->Size, WdlMagic);
  const int split = good ? table->Data[4] & 1 : 0, groups = good && (table->Data[4] & 2) ? 4 : 1;
  // Tables with pawns are cut into four file groups, the others are not.
  good = good && groups == (table->HasPawns ? 4 : 1);
  r.Skip(5);
  EncodingData *enc;
  const u8 *pawnCounts = nullptr;
  int encodingType = 0;
  if (table->HasPawns) {
    PawnTable *t = static_cast<PawnTable *>(table);
    enc = t->File;
    pawnCounts = t->PawnCounts;
  } else {
    PieceTable *t = static_cast<PieceTable *>(table);
    enc = &t->Enc;
    encodingType = t->EncodingType;
  }
  u64 tableSize[4][2] = {};
  good = good && ReadLists(r, table, encodingType, pawnCounts, 2, enc, tableSize);
  PairsDecoder *order[8] = {};
  u64 sizes[8][3] = {};
  int count = 0;
  for (int g = 0; good && g < groups; g++)
    for (int s = 0; s <= split && good; s++) {
      u8 flags;
      enc[g].Pairs[s] = SetupPairs(r, tableSize[g][s], sizes[count], flags, true);
      order[count++] = enc[g].Pairs[s];
      good = enc[g].Pairs[s] != nullptr;
    }
  if (good) PlaceTables(r, order, sizes, count);
  if (!good || !r.ok) {
    Corrupted();
    for (int g = 0; g < (table->HasPawns ? 4 : 1); g++) FreeDecoders(enc[g]);
    UnmapTableFile(table->Data, table->Size);
    table->Data = nullptr;
    table->Size = 0;
    return 0;
  }
  return 1;
}

int InitDtzTable(DtzRecord *record) {
  if (!record->Data) return 0;
  Reader r{record->Data, record->Data + record->Size, record->Data, true};
  bool good = GoodMagic(record->Data, record->Size, DtzMagic);
  const int groups = good && (record->Data[4] & 2) ? 4 : 1;
  good = good && groups == (record->HasPawns ? 4 : 1);
  r.Skip(5);
  u64 tableSize[4][2] = {};
  good = good && ReadLists(r, record, record->EncodingType, record->PawnCounts, 1, record->File, tableSize);
  PairsDecoder *order[4] = {};
  u64 sizes[4][3] = {};
  for (int g = 0; good && g < groups; g++) {
    record->File[g].Pairs[0] = SetupPairs(r, tableSize[g][0], sizes[g], record->Flags[g], false);
    order[g] = record->File[g].Pairs[0];
    good = order[g] != nullptr;
  }
  record->Map = r.at;
  for (int g = 0; good && g < groups; g++) {
    if (!(record->Flags[g] & 2)) continue;
    for (int i = 0; i < 4 && r.Has(1); i++) {
      record->MapIdx[g][i] = u16(r.at + 1 - record->Map);
      r.Skip(size_t(1) + r.at[0]);
    }
    if (!record->HasPawns) r.MakeEven();
  }
  if (record->HasPawns) r.MakeEven();
  if (good) PlaceTables(r, order, sizes, groups);
  if (!good || !r.ok) {
    Corrupted();
    return 0;
  }
  return 1;
}

void FreeDtzEntry(DtzRecord *record) {
  UnmapTableFile(record->Data, record->Size);
  for (EncodingData &file : record->File) FreeDecoders(file);
  delete record;
}

u8 DecompressPairs(const PairsDecoder *d, u64 index) {
  if (d->IdxBits == 0) return u8(d->MinLen);
  const u64 main = index >> d->IdxBits;
  if (main >= d->IndexEntries) return 0;
  i64 lit = i64(index & ((u64(1) << d->IdxBits) - 1)) - (i64(1) << (d->IdxBits - 1));
  const u8 *entry = d->IndexTable + 6 * main;
  i64 block = Read32(entry);
  lit += Read16(entry + 4);
  // Damaged tables must not lead the walk outside the size table.
  auto sizeOf = [d](i64 b) { return i64(Read16(d->SizeTable + 2 * b)); };
  if (block >= d->Blocks) return 0;
  while (lit < 0) {
    if (--block < 0) return 0;
    lit += sizeOf(block) + 1;
  }
  while (lit > sizeOf(block)) {
    lit -= sizeOf(block) + 1;
    if (++block >= d->Blocks) return 0;
  }
  const u8 *p = d->Data + (u64(block) << d->BlockSize);
  if (p + 8 > d->DataEnd) return 0;
  u64 code = ReadBig64(p);
  p += 8;
  int used = 0, sym;
  for (;;) {
    int l = 0;
    while (code < d->Base[l]) l++;
    sym = Read16(d->Offset + 2 * l) + int((code - d->Base[l]) >> (64 - (l + d->MinLen)));
    if (sym >= d->NumSyms) return 0;
    if (lit <= d->SymLen[sym]) break;
    lit -= d->SymLen[sym] + 1;
    code <<= l + d->MinLen;
    used += l + d->MinLen;
    if (used >= 32) {
      used -= 32;
      // Past the end of the data the stream reads as zeros.
      const u32 next = p + 4 <= d->DataEnd ? u32(p[0]) << 24 | u32(p[1]) << 16 | u32(p[2]) << 8 | p[3] : 0;
      code |= u64(next) << used;
      p += 4;
    }
  }
  while (d->SymLen[sym] > 0) {
    const u8 *w = d->SymPat + 3 * sym;
    const int left = w[0] | (w[1] & 15) << 8;
    if (lit <= d->SymLen[left]) {
      sym = left;
    } else {
      lit -= d->SymLen[left] + 1;
      sym = w[1] >> 4 | w[2] << 4;
    }
  }
  return d->SymPat[3 * sym];
}
