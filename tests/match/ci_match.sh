#!/usr/bin/env bash
# Plays a short match against a Debian engine through the shared match runner and fails on any illegal move,
# time loss, crash or silence of either engine. Skips (exit 77) when the runner, node or an opponent is missing.
#
#   ci_match.sh ENGINE SHARED_DIR [GAMES] [TC]
set -uo pipefail
engine="$1" shared="$2" games="${3:-20}" tc="${4:-2+0.02}"
root="$(cd "$(dirname "$0")/../.." && pwd)"
runner="$shared/tools/match"

skip() { echo "skipped: $1"; exit 77; }
command -v node > /dev/null || skip "node is not installed"
[ -f "$runner/match.mjs" ] || skip "no match runner in $runner"
if [ ! -d "$runner/node_modules" ]; then
  npm ci --prefix "$runner" > /dev/null 2>&1 || skip "the match runner's packages could not be installed"
fi
opponent=""
for candidate in toga2 glaurung; do
  for path in "$(command -v "$candidate" 2> /dev/null)" "/usr/games/$candidate"; do
    if [ -n "$path" ] && [ -x "$path" ]; then opponent="$path"; break 2; fi
  done
done
[ -n "$opponent" ] || skip "neither toga2 nor glaurung is installed (apt-get install toga2)"

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
# The engine runs beside a copy of values.txt, away from the shipped book that its learning would update.
mkdir "$work/engine" && cp "$root/values.txt" "$work/engine/"
openings=()
[ -f "$shared/data/openings.epd" ] && openings=(--openings "$shared/data/openings.epd" --random-openings --seed 11)
node "$runner/match.mjs" \
  --engine cmd="$engine" name=quarvelle dir="$work/engine" option.Hash=16 \
  --engine cmd="$opponent" name="$(basename "$opponent")" option.Hash=16 \
  --games "$games" --tc "$tc" --concurrency 2 "${openings[@]}" \
  --pgn "$work/games.pgn" --json "$work/result.json" | tail -n 4
[ -f "$work/result.json" ] || { echo "FAIL: the match runner wrote no result"; exit 1; }
node -e '
  const r = require(process.argv[1]);
  const played = r.games;
  const bad = Object.keys(r.reasons).filter(k => !/adjudication|max moves/.test(k));
  console.log(`${played} games: +${r.w} =${r.d} -${r.l}; non-normal endings: ${JSON.stringify(r.reasons)}`);
  if (played !== +process.argv[2] || bad.length) { console.log("FAIL"); process.exit(1); }
  console.log("passed");
' "$work/result.json" "$games"
