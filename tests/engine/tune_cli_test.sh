#!/usr/bin/env bash
# The tuner as it is run: samples from the engine's own pgneval and from "FEN;result" lines, a short fit and a
# short gathering of PruneCounts, files that the values tool calls complete, and an engine that plays on them.
#
#   tune_cli_test.sh QUARVELLE QUARVELLE_TUNE QUARVELLE_VALUES VALUES_TXT
set -euo pipefail
engine="$1" tuner="$2" values_tool="$3" values="$4"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cd "$work"
fail() { echo "FAIL: $1"; exit 1; }
cp "$values" values.txt

cat > games.pgn << 'PGN'
[Event "Opera"]
[Result "1-0"]
[PlyCount "33"]

1. e4 e5 2. Nf3 d6 3. d4 Bg4 4. dxe5 Bxf3 5. Qxf3 dxe5 6. Bc4 Nf6 7. Qb3 Qe7
8. Nc3 c6 9. Bg5 b5 10. Nxb5 cxb5 11. Bxb5+ Nbd7 12. O-O-O Rd8 13. Rxd7 Rxd7
14. Rd1 Qe6 15. Bxd7+ Nxd7 16. Qb8+ Nxb8 17. Rd8# 1-0

[Event "Draw"]
[Result "1/2-1/2"]
[PlyCount "16"]

1. e4 e5 2. Nf3 Nc6 3. Bb5 a6 4. Ba4 Nf6 5. O-O Be7 6. Re1 b5 7. Bb3 d6 8. c3 O-O 1/2-1/2

[Event "Fool"]
[Result "0-1"]
[PlyCount "4"]

1. f3 e5 2. g4 Qh4# 0-1
PGN
printf 'pgneval games.pgn\nquit\n' | "$engine" > /dev/null
[ "$(wc -l < my_eval.csv)" -eq 38 ] || fail "pgneval samples: $(wc -l < my_eval.csv)"
printf '8/5k2/8/3K4/8/8/4P3/8 w - - 0 60;1.0\nr3k2r/ppp2ppp/2n5/3q4/3P4/2P5/P4PPP/R2QR1K1 b kq - 0 14;0.5\n' > fens.txt

out="$("$tuner" fit --data my_eval.csv --data fens.txt --train 30 --held 8 --rounds 2 --epochs 20 --jobs 2 \
  --names-out fit_names.txt --values-out fit_values.txt)" || fail "fit: $out"
grep -q "^positions: 30 drawn for training and 7 held out" <<< "$out" || fail "draw of positions: $out"
grep -qE "^tuned [1-9][0-9]* numbers of the file's 171702" <<< "$out" || fail "tuned count: $out"
grep -qE "^held-out error 0\.[0-9]{6} before, 0\.[0-9]{6} after$" <<< "$out" || fail "held-out report: $out"
"$values_tool" check fit_values.txt > /dev/null || fail "fit values: $("$values_tool" check fit_values.txt)"
"$values_tool" write fit_names.txt rewritten.txt && cmp -s fit_values.txt rewritten.txt || fail "names don't give the values"

# The counts go on top of the fitted file, as a full run chains them.
cp fit_values.txt values.txt
out="$("$tuner" prune-counts --data my_eval.csv --positions 3 --depth 5 --jobs 2 \
  --names-out counts_names.txt --values-out counts_values.txt)" || fail "prune-counts: $out"
grep -qE "^late moves: [1-9][0-9]* trials" <<< "$out" || fail "counts report: $out"
"$values_tool" check counts_values.txt > /dev/null || fail "counts values"
"$values_tool" print fit_values.txt > fit_print.txt
"$values_tool" print counts_values.txt > counts_print.txt
grep -qE "^PruneCounts\[.*count=1\] = [1-9]" counts_print.txt || fail "no counts written"
cmp -s <(grep -v PruneCounts fit_print.txt) <(grep -v PruneCounts counts_print.txt) || fail "other numbers changed"

# The engine loads the result without a repair and searches on it.
cp counts_values.txt values.txt
out="$(printf 'uci\nisready\nposition startpos\ngo depth 4\nquit\n' | "$engine")"
grep -qE "^bestmove " <<< "$out" || fail "no best move: $out"
! grep -qE "fix \[|Error loading" <<< "$out" || fail "the load complained: $out"
echo "tuner: fit, prune-counts and the engine on their files all fine"
