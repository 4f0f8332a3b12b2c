#!/usr/bin/env bash
# Perft speed of the engine, and of Stockfish beside it when /usr/games/stockfish is installed.
#
#   cmake -S . -B build && cmake --build build -j2    # an optimised build; this script builds nothing
#   bench/perft_bench.sh [engine binary]              # default: build/quarvelle
#
# Counts perft 6 of the start position and perft 5 of the second line of the perft suite (Kiwipete), each run
# RUNS times (default 3) keeping the best. Time is CPU time (user + sys) of the engine process less its start-up
# (the best of RUNS runs that only start and quit), so table building and Stockfish's network loading do not count.
# Every count must match the suite's reference count, and Stockfish's; the exit status is 1 when one does not.
# Environment: PERFT_SUITE (default tests/data/perft.epd), STOCKFISH, RUNS.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
engine=${1:-$repo/build/quarvelle}
suite=${PERFT_SUITE:-$repo/tests/data/perft.epd}
stockfish=${STOCKFISH:-/usr/games/stockfish}
runs=${RUNS:-3}

[[ -x $engine ]] || { echo "no engine binary at $engine: build it first (cmake --build build)" >&2; exit 2; }
[[ -r $suite ]] || { echo "no perft suite at $suite: set PERFT_SUITE" >&2; exit 2; }
[[ -x $stockfish ]] || stockfish=""

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# fen and reference count of depth $2 on line $1 of the suite ("FEN ;D1 n ;D2 n ...")
suite_fen() { sed -n "${1}p" "$suite" | cut -d';' -f1 | sed 's/[[:space:]]*$//'; }
suite_count() { sed -n "${1}p" "$suite" | tr ';' '\n' | awk -v d="D$2" '$1 == d { print $2 }'; }

# CPU seconds (user + sys) of one run of $1 reading $2, its output going to $3.
cpu_seconds() {
  local binary=$1 input=$2 output=$3
  if [[ -x /usr/bin/time ]]; then
    /usr/bin/time -f '%U %S' -o "$work/time" "$binary" <"$input" >"$output" 2>"$work/stderr"
  else
    # bash's own timer reports the child's CPU time the same way
    local TIMEFORMAT='%3U %3S'
    { time "$binary" <"$input" >"$output" 2>"$work/stderr"; } 2>"$work/time"
  fi
  awk '{ printf "%.3f\n", $1 + $2 }' "$work/time"
}

# Best CPU seconds of $runs runs; the output of the last run stays in $3.
best_cpu_seconds() {
  local best="" seconds
  for ((run = 0; run < runs; run++)); do
    seconds=$(cpu_seconds "$@")
    best=$(awk -v a="$seconds" -v b="$best" 'BEGIN { print (b == "" || a < b) ? a : b }')
  done
  echo "$best"
}

# Prints "count cpu_seconds" of engine kind $1 (ours | stockfish) for perft $3 of FEN $2, start-up subtracted.
measure() {
  local kind=$1 fen=$2 depth=$3 startup total count
  if [[ $kind == ours ]]; then
    printf 'loadfen %s\nperft %s\nquit\n' "$fen" "$depth" >"$work/input"
    startup=$ours_startup
    total=$(best_cpu_seconds "$engine" "$work/input" "$work/output")
    count=$(sed -n 's/^total moves = \([0-9]*\).*/\1/p' "$work/output" | tail -n 1)
  else
    printf 'position fen %s\ngo perft %s\nquit\n' "$fen" "$depth" >"$work/input"
    startup=$stockfish_startup
    total=$(best_cpu_seconds "$stockfish" "$work/input" "$work/output")
    count=$(sed -n 's/^Nodes searched: \([0-9]*\).*/\1/p' "$work/output" | tail -n 1)
  fi
  awk -v c="${count:-none}" -v t="$total" -v s="$startup" \
    'BEGIN { n = t - s; printf "%s %.3f\n", c, (n > 0.001 ? n : 0.001) }'
}

echo quit >"$work/quit"
ours_startup=$(best_cpu_seconds "$engine" "$work/quit" /dev/null)
stockfish_startup=""
if [[ -n $stockfish ]]; then
  stockfish_startup=$(best_cpu_seconds "$stockfish" "$work/quit" "$work/banner")
  stockfish_version=$(head -n 1 "$work/banner")
fi

echo "engine:    $engine (start-up $ours_startup s CPU)"
if [[ -n $stockfish ]]; then
  echo "stockfish: $stockfish_version (start-up $stockfish_startup s CPU)"
else
  echo "stockfish: not installed, compared with the suite's counts only"
fi
echo "CPU seconds are the best of $runs runs, start-up excluded; ratio = our CPU time / Stockfish's"
echo

status=0
row() { printf "%-9s %5s %11s %9s %9s %9s %9s %7s  %s\n" "$@"; }
row position depth leaves "ours s" "ours l/s" "sf s" "sf l/s" ratio counts
row -------- ----- ------ ------ -------- ---- ------ ----- ------
for spec in "start 1 6" "kiwipete 2 5"; do
  read -r name line depth <<<"$spec"
  fen=$(suite_fen "$line")
  expected=$(suite_count "$line" "$depth")
  [[ -n $expected ]] || { echo "line $line of $suite has no D$depth count" >&2; exit 2; }

  read -r ours_count ours_cpu < <(measure ours "$fen" "$depth")
  ours_rate=$(awk -v n="$expected" -v t="$ours_cpu" 'BEGIN { printf "%.2fM", n / t / 1e6 }')
  sf_count=$expected sf_cpu="-" sf_rate="-" ratio="-"
  if [[ -n $stockfish ]]; then
    read -r sf_count sf_cpu < <(measure stockfish "$fen" "$depth")
    sf_rate=$(awk -v n="$expected" -v t="$sf_cpu" 'BEGIN { printf "%.2fM", n / t / 1e6 }')
    ratio=$(awk -v a="$ours_cpu" -v b="$sf_cpu" 'BEGIN { printf "%.2f", a / b }')
  fi

  verdict="agree"
  if [[ $ours_count != "$expected" || $sf_count != "$expected" ]]; then
    verdict="DIFFER: ours $ours_count, stockfish $sf_count, suite $expected"
    status=1
  fi
  row "$name" "$depth" "$expected" "$ours_cpu" "$ours_rate" "$sf_cpu" "$sf_rate" "$ratio" "$verdict"
done
exit $status
