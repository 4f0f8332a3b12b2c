#include "tools/bench.h"

#include <chrono>
#include <cstdio>

#include "board/position.h"
#include "eval/pawn_hash.h"
#include "search/hash.h"
#include "search/statistics.h"
#include "shell/settings.h"
#include "think/search_root.h"
#include "think/time_control.h"

namespace {

// The well-known perft positions and positions reached from them by random play.
const char *const BenchPositions[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
    "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
    "5k1r/Bp2n1pp/4B3/1p1p1p2/P1N4P/Q3K3/R3N3/3b4 b - - 2 29",
    "rq3k1b/N2p4/3np1p1/P3Pp2/1Bbp1nNr/6Pp/1PP1BP1P/1R2KR2 w - - 0 16",
    "r3k2N/p1pp1pb1/1n1qp3/3n4/Ppb1P3/2N2Q1p/1PPBBPPP/R3K2R w KQq - 1 4",
    "2b5/4b1k1/2p4p/p4pp1/P1K5/1B4N1/1Pn3P1/RQRN1n2 w - - 0 33",
    "1n4kr/6p1/2p2b1p/p1rq2B1/3N4/6Pn/PPP1R3/3RK3 w - - 2 37",
    "7r/4kppp/2Qp1bb1/B1P5/R6q/7P/2nP2PN/6K1 w - - 1 26",
    "rnbq3r/pp3k1p/4pppn/2pp4/2PP2P1/b4P2/PP2PK1P/R1BQ1BNR w - - 1 9",
    "6k1/8/3p2P1/1r6/4P3/3KB3/8/8 w - - 15 25",
    "3k1r2/pr1pq1b1/1np1P3/6N1/1p2P3/5Q1p/PPPBbPPP/RN1BK2R w KQ - 5 8",
    "rn2kr2/pB4qp/2pbp1p1/8/8/1N1P2PP/P1N1K3/1R5R w - - 0 22",
    "1q2nb2/4k1p1/rPn1rp2/P1P1P1B1/3p2BP/8/R1P1b3/1N2K1NR w - - 0 30",
    "5R2/8/K6k/1p1p4/8/8/6P1/6r1 w - - 0 23",
    "2r1kr2/Pp1p1p1p/1b4bp/nPp1N3/B3P1n1/6P1/P1qB3P/4rR1K w - - 9 20",
    "r6r/p3k3/n1p3qp/1p2pPN1/1P1P1Pbp/P3K2n/1B6/R1Q5 w - - 2 30",
    "2bk1b1r/np2p2p/2qp1n1R/r1p2PP1/p3P3/N1P5/PPQP1PB1/R1BKN3 w - - 13 18",
    "3r1kNr/bppp1ppp/5nb1/nP5P/q1PNP3/2B5/3P2P1/2qQ1RK1 b - - 4 8",
    "4r1kr/p1ppP1b1/2N1ppp1/2B4Q/np2P3/P2B2Pp/1PPK2PP/3N2RR w - - 3 16",
    "1r2k2r/1pPp2np/7p/5pb1/B1P1b3/PQ3PBP/3PR3/Rn5K b k - 2 21",
    "rnbqk1nr/1pp1p2p/1p5b/3p2p1/1P3p1P/5N2/P1PPPPP1/R1BQKB1R b KQkq - 0 7",
    "1r6/5R2/3p4/KP6/5p1k/8/4P1P1/8 b - - 2 3",
    "2r2kr1/1p2R2p/p7/2pb2p1/4B3/NP4P1/P1P2BP1/2R3Kn w - - 5 27",
    "rn3k2/Npr5/2p3B1/8/2P2Q1p/P7/Rn1B1b1P/1N3KR1 b - - 7 28",
    "2rk1r2/1p1p1pp1/1bp4p/n4N2/3P2PP/q7/1Q2B1Nn/7K b - - 1 24",
    "1r1n4/b2p2pp/1pp5/1P2PkNb/B1P4r/1N4P1/P2P1B1P/RR3b1K b - - 2 23",
    "1rN5/pq1k4/1ppbp3/1P4Q1/5r1P/N1n5/P1P1N1P1/R3K1R1 b - - 0 30",
    "6k1/p3q1pr/2p3np/2Qr3B/1p2N2P/P4N2/1PP2R2/R1K5 b - - 10 26",
    "r1b2kr1/pp2bppp/n1p3q1/5N2/6n1/1P1Q1B1P/P1P1K1P1/RNB4R b - - 8 17",
    "7r/2pp2kp/1pP1rp2/3PP2p/B5b1/P2P3P/5KPn/BR2N3 b - - 2 27",
    "rnR1Nk2/pp2qp1p/2p2bp1/1B6/8/8/PPPBN1PP/1R1K3R b - - 0 16",
    "r3k2r/ppbn1p2/2p4p/Pq4pn/1P1pp3/4P1PB/2P3KP/R1BQ2R1 w kq - 1 28",
};

// Iterations a position is searched to.
constexpr int BENCH_ITERATIONS = 9;

}  // namespace

SettingsRecord QuietFixedDepthSettings() {
  SettingsRecord &s = Settings;
  const SettingsRecord saved = s;
  s.UciMode = 0;
  s.PostThinking = 0;
  s.TimeLeft = -1;
  s.MultiPV = 1;
  s.MateLimit = 0;
  s.NodeLimit = 0;
  s.SearchMovesCount = 0;
  s.UciPonder = s.PonderActive = 0;
  s.InputHeld = 1;
  return saved;
}

i64 SearchFromClearedTables(const char *fen, int iterations) {
  SettingsRecord &s = Settings;
  ClearHash();
  ClearPawnHash();
  ClearEvalCache();
  ClearOrderingStatistics();
  ClearKillers();
  LoadFen(fen);
  s.SearchStartTime = ClockCentiseconds();
  thread_board.SearchStopped = 0;
  s.SearchDepthLimit = iterations;
  SearchRoot(AllocateTime(), 0);
  return s.Nodes;
}

void RunBench() {
  const SettingsRecord saved = QuietFixedDepthSettings();
  i64 nodes = 0;
  const auto start = std::chrono::steady_clock::now();
  for (const char *fen : BenchPositions) nodes += SearchFromClearedTables(fen, BENCH_ITERATIONS);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  const i64 nps = seconds.count() > 0 ? i64(double(nodes) / seconds.count()) : 0;
  Settings = saved;
  printf("%lld nodes %lld nps\n", static_cast<long long>(nodes), static_cast<long long>(nps));
  fflush(stdout);
}
