// Settings: the one record of options and search control. Every command writes it, the search reads it.
// Times are centiseconds, scores centipawns.
#pragma once
#include "board/types.h"

struct SettingsRecord {
  i32 OwnBook;
  i32 PendingBestMove;
  i32 MultiPV;
  i32 UseLearning;
  i32 UseLearningData;
  i32 LogLearningIntoFile;
  i32 BookLearningDone;
  i32 PonderProbe;
  i32 Pondering;
  i32 PonderingOn;
  i32 UseEGTB;
  i32 UciMode;
  i32 FritzMode;
  i32 LearnLogCounter;
  i32 TimeIncrement;
  i32 MovesPerSession;
  i32 PendingLearnCount;
  i32 NodeLimit;
  i32 EvalCacheSize;
  i32 TranspositionSize;
  i32 PawnHashSize;
  i32 Aggressivity;
  i32 Cowardice;
  i32 ResignValue;
  i32 ResignTimes;
  i32 AggressivityHalf;
  i32 CowardiceHalf;
  i32 BookLearningMode;
  i32 UseBookLearning;
  i32 UseBookWeights;
  i32 BookLearningBound;
  i32 VarietyOfPlay;
  i32 BookLoaded;
  i32 PostThinking;
  i32 TimeLeft;
  i32 TbMaxPieces;
  i32 TbPiecesInUse;
  i32 InputReady;
  i32 InputIsPipe;
  i32 UciPonder;
  i32 SearchMovesCount;
  i32 RootSide;
  i32 LastScore;
  i32 LastScoreSide;
  i32 PonderMove;
  i32 ForceMode;
  i32 FixedMoveTime;
  i32 SearchDepthLimit;
  i32 MateLimit;
  i32 PerftCount;
  i32 SearchStartTime;
  i32 PonderReply;
  i32 NewGameRequested;
  i32 HardTimeLimit;
  i32 TargetTime;
  i32 TimeCheckInterval;
  i32 PonderActive;
  i32 BookMovePlayed;
  i32 Iteration;
  i32 Nodes;
  i32 PonderMoveListEnd;
  i32 PonderGuess;
  i32 PonderMiss;
  i32 HashStores;
  i32 TbHits;
  i32 RootPly;
  i32 SearchMaxDepth;
  i32 TimeCheckCountdown;
  i32 InfoCountdown;
  i32 RootInTablebase;
  i32 SkipTbProbes;
  i32 RootMoveCount;
  i32 RootMoveIndex;
  i32 AnalyzeUndo;
  i32 AnalyzeExit;
  i32 SelDepth;
  i32 MaterialWindowLow, MaterialWindowHigh;
  i32 RootMaterial;
  i32 RootFailLow;
  i32 EasyMove;
  i32 InputHeld;  // a benchmark leaves the input waiting until it ends
  u16 HashAge;
};

extern SettingsRecord Settings;

constexpr int TB_PATH_SIZE = 1024;
extern char TablebasePath[TB_PATH_SIZE];
constexpr int SEARCH_MOVES_SIZE = 512;
extern u32 SearchMoves[SEARCH_MOVES_SIZE];
constexpr int ROOT_SCORE_SIZE = 256;
extern i32 RootScore[ROOT_SCORE_SIZE];
extern u64 KeyHistory[10];
extern i32 ScoreHistory[10], BookHistory[10];

// Step 1 of start-up: the options and their defaults.
void SetFirstDefaults();
// Step 5 of start-up: table sizes and the play and book settings.
void SetSecondDefaults();

// A clock that a GUI gives: an overrun clock (a negative time) counts as empty, never as -1, which
// would mean that no clock was ever given and the search would run without a limit.
void SetClockTimeLeft(i32 centiseconds);
