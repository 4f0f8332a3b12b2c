#!/usr/bin/env bash
# A strength match through the shared match runner: this build against a Debian engine (toga2, glaurung,
# ethereal-chess, stockfish) or against another build of ours (a folder holding its quarvelle and values.txt).
# Both engines get Hash 16; Glaurung gets Threads 1, since its default of two threads starves it on two cores.
# Openings are drawn at random from openings.epd; the PGN and a JSON summary go to OUT.
#
#   bench/strength_match.sh OPPONENT [GAMES=200] [TC=10+0.1] [SEED=1] [CONCURRENCY=1] [OUT=/tmp/match-OPPONENT] [RUNNER ARGS...]
#
# Arguments past OUT go to the runner as they stand, e.g. --sprt elo0=0 elo1=10 or --resign-adjudication
# movecount=4 score=900.
#
# Each engine plays on one core at a time, so keep CONCURRENCY at most the free cores, and run nothing else
# beside it: a starved engine loses on time.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
shared="$(dirname "$root")/shared"
opponent="${1:?usage: $0 OPPONENT [GAMES] [TC] [SEED] [CONCURRENCY] [OUT]}"
games="${2:-200}" tc="${3:-10+0.1}" seed="${4:-1}" concurrency="${5:-1}"
out="${6:-/tmp/match-$(basename "$opponent")}"
shift $(($# < 6 ? $# : 6))

[ -x "$root/build/quarvelle" ] || { echo "build the engine first: cmake --build build"; exit 1; }
[ -d "$shared/tools/match/node_modules" ] || npm ci --prefix "$shared/tools/match" > /dev/null
mkdir -p "$out/quarvelle"
# A folder of its own: no book (the openings decide the start) and no learning written into the repository.
cp "$root/build/quarvelle" "$root/values.txt" "$out/quarvelle/"

if [ -d "$opponent" ]; then
  other=(cmd="$opponent/quarvelle" name="quarvelle-$(basename "$opponent")" dir="$opponent" option.Hash=16)
else
  path="$(command -v "$opponent" || echo "/usr/games/$opponent")"
  [ -x "$path" ] || { echo "no engine $opponent (apt-get install $opponent)"; exit 1; }
  other=(cmd="$path" name="$opponent" option.Hash=16)
  [ "$opponent" = glaurung ] && other+=(option.Threads=1)
fi

rm -f "$out/games.pgn"
node "$shared/tools/match/match.mjs" \
  --engine cmd="$out/quarvelle/quarvelle" name=quarvelle dir="$out/quarvelle" option.Hash=16 \
  --engine "${other[@]}" \
  --games "$games" --tc "$tc" --concurrency "$concurrency" \
  --openings "$shared/data/openings.epd" --random-openings --seed "$seed" \
  --pgn "$out/games.pgn" --json "$out/result.json" "$@" 2>&1 | tee "$out/match.log" | tail -n 1
echo "endings:"
sed -n 's/^game [0-9/]*: .* (\(.*\)); .*/\1/p' "$out/match.log" | sort | uniq -c
