#include "search/repetition.h"

u8 *RepetitionTable;
