#!/usr/bin/env bash
# pgneval throughput on the largest PGN collection of the shared data: games per second and CSV lines per second,
# once as the command runs (a line appended per open and close of the file, as the format wants it), and once
# for the scanner alone, through the book builder, which reads every game and move but writes no line.
#
#   bench/pgneval_bench.sh [BUILD_DIR] [SHARED_DIR]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$root/build}" shared="${2:-$root/../shared}"
[ -d "$shared/data" ] || shared=/work/shared
largest="$(for f in "$shared"/data/*.pgn.xz; do echo "$(xz --robot -l "$f" | awk '/^totals/ {print $5}') $f"; done |
  sort -n | tail -n 1 | cut -d' ' -f2)"
[ -n "$largest" ] || { echo "no PGN in $shared/data"; exit 1; }
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
xz -dc "$largest" > "$work/source.pgn"
games="$(grep -c '^\[Result ' "$work/source.pgn" || true)"
echo "$(basename "$largest"): $games games, $(stat -c %s "$work/source.pgn") bytes"

now() { date +%s.%N; }
start="$(now)"
(cd "$work" && printf 'pgneval\nquit\n' | "$build/quarvelle" > pgneval.out)
elapsed="$(echo "$(now) - $start" | bc -l)"
lines="$(wc -l < "$work/my_eval.csv")"
if grep -q "Can't recognize\|Ambigous" "$work/pgneval.out"; then echo "warning: moves not read"; fi
awk -v g="$games" -v l="$lines" -v t="$elapsed" 'BEGIN {
  printf "pgneval: %.2f s, %d CSV lines, %.0f games/s, %.0f lines/s\n", t, l, g / t, l / t }'

start="$(now)"
"$build/quarvelle-book" build "$work/source.pgn" "$work/book.qvl" --plies 1000 --min-games 1000000 > /dev/null
elapsed="$(echo "$(now) - $start" | bc -l)"
awk -v g="$games" -v t="$elapsed" 'BEGIN { printf "scanner and SAN reader alone: %.2f s, %.0f games/s\n", t, g / t }'
