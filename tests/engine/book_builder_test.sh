#!/usr/bin/env bash
# Builder then engine: a book built from a small PGN lists exactly the expected moves and counters with bkm, the
# engine plays only book moves while in book, and an unfinished game is learnt into the file as a draw.
#
#   book_builder_test.sh QUARVELLE QUARVELLE_BOOK
set -euo pipefail
engine="$1" builder="$2"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cd "$work"
fail() { echo "FAIL: $1"; exit 1; }

cat > games.pgn << 'PGN'
[Event "a"]
[Result "1-0"]

1. e4 e5 2. Nf3 {a comment} Nc6 3. Bb5 (3. Bc4 Bc5) a6 1-0

[Event "b"]
[Result "1/2-1/2"]

1. e4 e5 2. Nf3 Nc6 3. Bb5 a6 4. Ba4 1/2-1/2

[Event "c"]
[Result "0-1"]

1. e4 e5 2. Nf3 Nc6 $1 3. Bb5 a6 0-1

[Event "d"]
[Result "1-0"]

1. e4 e5 2. Nf3 Nc6 3. Bb5 a6 1-0

[Event "e"]
[Result "0-1"]

1. d4 d5 2. c4 0-1
PGN
"$builder" build games.pgn Book.qvl --plies 5 --min-games 1 --min-move-games 1 > build.txt
grep -q "^5 games read, 5 used, 0 stopped" build.txt || fail "builder summary: $(cat build.txt)"
"$builder" stats Book.qvl | grep -q "^version 1, 7 positions" || fail "stats: $("$builder" stats Book.qvl)"

# bkm at the start and after 1. e4 e5: the counters from the results, for the side to move.
out="$(printf 'bkm\nforce\ne2e4\ne7e5\nbkm\nquit\n' | "$engine")"
grep -q "^7 nodes in openings book$" <<< "$out" || fail "book not opened: $out"
expected_start=$'2 moves from current pos in book:\ne2e4 62% (not less than 4 game(s))\nd2d4 0% (not less than 1 game(s))'
grep -qF "$expected_start" <<< "$out" || fail "start position listing: $out"
grep -qF $'1 moves from current pos in book:\ng1f3 62% (not less than 4 game(s))' <<< "$out" || fail "after e4 e5: $out"

# The engine plays e2e4, g1f3, f1b5 from the book, then the game is left unfinished: a draw is learnt into the file.
out="$(printf 'easy\nnopost\ngo\ne7e5\nb8c6\nnew\nquit\n' | "$engine")"
moves="$(grep '^move ' <<< "$out" | tr '\n' ' ')"
[ "$moves" = "move e2e4 move g1f3 move f1b5 " ] || fail "book moves: $moves"
# A book move has no line of thought, not even the final one that nopost keeps.
if grep -qE '^[0-9]+ -?[0-9]+ [0-9]+ [0-9]+' <<< "$out"; then fail "thinking line after a book move: $out"; fi
out="$(printf 'force\ne2e4\ne7e5\nbkm\ne2e4\nquit\n' | "$engine")"
grep -qF $'g1f3 60% (not less than 5 game(s))' <<< "$out" || fail "learnt draw not in the file: $out"
out="$(printf 'bkm\nquit\n' | "$engine")"
grep -qF "e2e4 62% (not less than 4 game(s))" <<< "$out" || fail "the first move is never learnt: $out"

# Damaged books: a message, no book, and the engine still plays.
head -c 30 Book.qvl > short.qvl
out="$(printf 'setoption name OpeningsBook value short.qvl\nbkm\nquit\n' | "$engine")"
grep -q "^Invalid book format$" <<< "$out" || fail "short book: $out"
grep -q "^No book loaded...$" <<< "$out" || fail "short book still loaded: $out"
echo "book builder and engine: ok"
