#include "book/book_keys.h"

#include "board/board.h"
#include "board/mt19937_64.h"

u32 BookKeyAWhite[BOOK_KEY_ENTRIES], BookKeyBWhite[BOOK_KEY_ENTRIES];
u32 BookKeyABlack[BOOK_KEY_ENTRIES], BookKeyBBlack[BOOK_KEY_ENTRIES];

namespace {

// Black to move changes key A by this constant; castling and en passant don't enter the key.
constexpr u32 BOOK_BLACK_TO_MOVE = 0x07D3ADEB;
// The generator of the tables: MT19937-64 seeded with this number, one draw per entry, its low 32 bits,
// filling AWhite, BWhite, ABlack, BBlack in that order, each from index 0 to 511. The first three entries of
// each table are fixed numbers of the format and replace the draws at their places.
constexpr u64 BOOK_KEY_SEED = 20180126;
constexpr u32 FIRST_ENTRIES[4][3] = {{0xE16CD6AE, 0xF1BBE9EB, 0x870C3E99},
                                     {0x2923BE84, 0x529049F1, 0xB3A6DB3C},
                                     {0xF76B1828, 0x911D05D7, 0xF10F7437},
                                     {0x922AEB3D, 0x2458307B, 0x2F70BCD9}};

}  // namespace

void InitBookKeys() {
  Mt19937_64 random;
  random.Seed(BOOK_KEY_SEED);
  u32 *tables[4] = {BookKeyAWhite, BookKeyBWhite, BookKeyABlack, BookKeyBBlack};
  for (int t = 0; t < 4; t++) {
    for (int i = 0; i < BOOK_KEY_ENTRIES; i++) tables[t][i] = u32(random.Next());
    for (int i = 0; i < 3; i++) tables[t][i] = FIRST_ENTRIES[t][i];
  }
}

void BookPositionKey(i32 &a, i32 &b) {
  const BoardRecord &board = thread_board;
  u32 keyA = 0, keyB = 0;
  for (u64 pieces = board.Pieces[BLACK]; pieces;) {
    const int sq = PopLowest(pieces), index = board.Board[sq] * 64 + sq;
    keyA ^= BookKeyABlack[index], keyB ^= BookKeyBBlack[index];
  }
  for (u64 pieces = board.Pieces[WHITE]; pieces;) {
    const int sq = PopLowest(pieces), index = board.Board[sq] * 64 + sq;
    keyA ^= BookKeyAWhite[index], keyB ^= BookKeyBWhite[index];
  }
  if (board.SideToMove == BLACK) keyA ^= BOOK_BLACK_TO_MOVE;
  a = i32(keyA), b = i32(keyB);
}
