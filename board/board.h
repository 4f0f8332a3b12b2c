// The one position record, the stacks around it and the Zobrist keys.
#pragma once
#include "board/types.h"
#include "eval/pawn_hash.h"

struct BoardRecord {
  i32 PieceTotal;
  i32 white_phase;
  i32 black_phase;
  i32 current_phase;
  i32 PstScore;
  i32 MaterialIndex;
  i32 ReversibleMoves;
  i32 SearchStopped;
  i32 SideToMove;
  u64 Pieces[2];
  union {  // rows by piece code, then side; also reachable by name
    u64 PieceBoards[8][2];
    struct {
      u64 NoPieces[2], Kings[2], Knights[2], Pawns[2], UnusedCode[2], Rooks[2], Bishops[2], Queens[2];
    };
  };
  u64 Occupied;
  i32 KingSquare[2];
  u64 RooksQueens;
  u64 BishopsQueens;
  i32 PieceCount[8][2];
  i32 Board[64];
  u64 AllPawns;
  PawnHashEntry PawnEntry;  // the current pawn hash entry, a first-level cache of the table
  u64 PositionKey;
  u64 PawnKey;
  i32 Material[2];
  i32 PieceMaterial[2];
  i16 MaterialOpening[2];
  i16 MaterialEnding[2];
  u8 CastlingFlags;
};

extern BoardRecord thread_board;

struct MoveEntry {
  u32 Move;
  i32 Score;
  i32 Safety;
};

constexpr int MOVE_STACK_SIZE = 16384;
extern MoveEntry MoveStack[MOVE_STACK_SIZE];
extern i32 MoveStackTop;

struct GameHistoryEntry {
  u64 Key;
  i32 ReversibleMoves;
  u32 Move;
  i32 CastlingFlags;
  i32 MaterialIndex;
  i32 PstScore;
};

constexpr int GAME_HISTORY_SIZE = 768;
extern GameHistoryEntry GameHistory[GAME_HISTORY_SIZE];
extern i32 GameHistoryCount;
// Entries below this index can't be taken back: a FEN's en passant right is kept as a bare move word.
extern i32 GameHistoryFloor;

struct PlyRecord {
  u32 MoveFlags;
  u32 FollowUpMove;
  i32 InCheck;
  i32 DepthChange;
  i32 StaticEval;
  i32 ReducedFlag;
  u32 Killers1[2];
  u32 Killers2[2];
  u32 BestMove;
  u32 ThreatMove;
  u64 Attacks[2];
  u32 TriedMoves[9];
  i32 TriedCount;
};

constexpr int PLY_STACK_SIZE = 196;
constexpr int LEGAL_LIST_PLY = 160;
extern i32 Ply;
extern PlyRecord PlyStack[PLY_STACK_SIZE];

extern u64 PieceKeys[2][8][64];
extern u64 CastlingKeys[16];
extern u64 EnPassantKeys[8];

// Material values by piece code (the king is not counted) and MaterialIndex weights.
constexpr i32 PieceValue[8] = {0, 0, 300, 100, 0, 500, 300, 900};
constexpr i32 PieceUnits[8] = {0, 0, 3, 0, 0, 5, 3, 9};
constexpr i32 MaterialWeight[8][2] = {{0, 0}, {0, 0}, {729, 2187}, {6561, 59049},
                                      {0, 0}, {9, 27},  {81, 243},   {1, 3}};
// Maps the eight piece codes onto 0..6 without a hole.
constexpr int CompactIndex[8] = {0, 1, 2, 3, 0, 4, 5, 6};

void InitRandomKeys();
u64 FullKey();
// The last history entry is a pawn double step: the en passant right of the side to move.
inline bool LastMoveWasDoubleStep() {
  return GameHistoryCount > 0 && IsPawnDoubleStep(GameHistory[GameHistoryCount - 1].Move);
}
