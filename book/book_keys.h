// The book's own position keys: four tables indexed by piece code x 64 + square, independent of the
// Zobrist keys, so that a book stays readable whatever the search does with its keys.
#pragma once
#include "board/types.h"

constexpr int BOOK_KEY_ENTRIES = 512;
extern u32 BookKeyAWhite[BOOK_KEY_ENTRIES], BookKeyBWhite[BOOK_KEY_ENTRIES];
extern u32 BookKeyABlack[BOOK_KEY_ENTRIES], BookKeyBBlack[BOOK_KEY_ENTRIES];

// Fills the four tables; every build and every book must agree on them.
void InitBookKeys();
// The key pair of the position on the board, as the book's index holds it.
void BookPositionKey(i32 &a, i32 &b);
