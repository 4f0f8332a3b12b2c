#!/usr/bin/env bash
# Tablebase figures: start-up cost and probes per second (tablebase_bench), then the bench command's nps with
# the shared tables and without them.
#
#   bench/tablebase_bench.sh [syzygy dir]      (default: ../shared/syzygy beside the repository; build first)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
tables="${1:-$root/../shared/syzygy}"
[[ -d "$tables" ]] || { echo "no tables at $tables" >&2; exit 1; }
"$root/build/tablebase_bench" "$tables" "$root/tests/data/tablebase_reference.txt"
cd "$root"  # bench reads values.txt from here
# The engine reads its input during a search: "quit" goes in only once bench has answered.
for setting in "<empty>" "$tables"; do
  coproc ENGINE { build/quarvelle; }
  printf 'setoption name SyzygyPath value %s\nbench\n' "$setting" >&"${ENGINE[1]}"
  while IFS= read -r -t 600 line <&"${ENGINE[0]}"; do
    [[ "$line" == *" nps" ]] && break
  done
  printf 'quit\n' >&"${ENGINE[1]}"
  wait "$ENGINE_PID" || true
  echo "bench with SyzygyPath $setting: $line"
done
