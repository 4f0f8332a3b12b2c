#!/usr/bin/env bash
# A short GUI session under Valgrind's memcheck: book and learning files, tablebases, a search, a MultiPV search,
# a resize of both hash tables, then quit. No memory error, and nothing left allocated at the exit.
# Skipped (77) without valgrind.
#
#   valgrind_session.sh QUARVELLE VALUES_DIR SYZYGY_DIR BOOK
set -uo pipefail
engine="$1" values="$2" syzygy="$3" book="$4"
command -v valgrind > /dev/null || { echo "valgrind is not installed: skipped"; exit 77; }
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cp "$values/values.txt" "$book" "$work/"
cd "$work"
printf 'Learning = on\nUseLearningData = on\n' > Quarvelle.ini

session="uci
setoption name SyzygyPath value $syzygy
setoption name Hash value 4
setoption name PawnHash value 2
isready
position startpos moves e2e4
go depth 6
position fen 8/8/8/4k3/8/8/3KP3/8 w - - 0 1
go depth 8
setoption name MultiPV value 3
position startpos moves d2d4 d7d5 c2c4
go depth 5
"
# quit once the three searches have answered (or after two minutes): a quit during a search gives no bestmove
{
  printf '%s' "$session"
  for _ in $(seq 240); do
    [[ $(grep -c "^bestmove" out.txt 2> /dev/null) -ge 3 ]] && break
    sleep 0.5
  done
  echo quit
} | valgrind --leak-check=full --show-leak-kinds=all --errors-for-leak-kinds=all --error-exitcode=9 \
  "$engine" > out.txt 2> memcheck.txt
code=${PIPESTATUS[1]}
grep -c "^bestmove" out.txt | grep -qx 3 || { echo "FAIL: three bestmoves expected"; cat out.txt; exit 1; }
if [[ $code -ne 0 ]] || ! grep -q "All heap blocks were freed" memcheck.txt; then
  echo "FAIL: memcheck reports (exit $code):"
  grep -A12 "==[0-9]*== [A-Z]" memcheck.txt | head -80
  exit 1
fi
grep "total heap usage\|ERROR SUMMARY" memcheck.txt
