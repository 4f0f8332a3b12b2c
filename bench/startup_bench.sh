#!/usr/bin/env bash
# Wall times of the engine shell, over several runs, best and median:
#   - start-up: from the start of the process until "readyok" answers a first "isready" (fresh working directory:
#     no settings file, no values file, no book);
#   - a GUI's position line: `position startpos moves ...` with the first 600 plies of the long test game,
#     followed by "isready", from the write of the line until "readyok".
#
#   bench/startup_bench.sh [engine binary] [runs]      (defaults: build/quarvelle, 10 runs)
set -euo pipefail

root="$(cd "$(dirname "$0")/.." && pwd)"
engine="$(realpath "${1:-$root/build/quarvelle}")"
runs="${2:-10}"
game="$root/tests/shell/data/long_game.txt"
[[ -x "$engine" ]] || { echo "no engine binary at $engine (build first, or name it)" >&2; exit 1; }
[[ -r "$game" ]] || { echo "cannot read $game" >&2; exit 1; }

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cd "$work"

position="position startpos moves $(tr -s ' \n' '\n' < "$game" | head -n 600 | paste -sd' ')"


wait_for_ready() {
  local line
  while IFS= read -r -t 60 line <&"${ENGINE[0]}"; do
    [[ "$line" == readyok ]] && return 0
  done
  echo "no readyok from the engine" >&2
  exit 1
}

startup=()
long_line=()
for ((run = 0; run < runs; run++)); do
  start=${EPOCHREALTIME/./}
  coproc ENGINE { exec "$engine"; }
  echo isready >&"${ENGINE[1]}"
  wait_for_ready
  ready=${EPOCHREALTIME/./}
  printf '%s\nisready\n' "$position" >&"${ENGINE[1]}"
  wait_for_ready
  done_at=${EPOCHREALTIME/./}
  pid=$ENGINE_PID
  echo quit >&"${ENGINE[1]}"
  wait "$pid" || true
  startup+=($((ready - start)))
  long_line+=($((done_at - ready)))
done

summary() {  # name, then microsecond figures: best and median in milliseconds
  local name=$1
  shift
  printf '%s\n' "$@" | sort -n | awk -v name="$name" '
    { v[NR] = $1 }
    END {
      median = (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2
      printf "%-36s %10.2f %10.2f\n", name, v[1] / 1000, median / 1000
    }'
}

echo "engine: $engine, $runs runs, wall time in ms"
printf '%-36s %10s %10s\n' "measure" "best" "median"
summary "start-up until readyok" "${startup[@]}"
summary "position line of 600 plies + isready" "${long_line[@]}"
