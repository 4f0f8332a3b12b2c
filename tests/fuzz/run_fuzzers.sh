#!/usr/bin/env bash
# Builds the libFuzzer targets with clang in build-fuzz/ and runs each for SECONDS seconds, one after another and
# niced, then reports what each found.
#   tests/fuzz/run_fuzzers.sh SECONDS [TARGET...]      (all eight targets by default)
# The working corpus of a target grows in build-fuzz/corpus/TARGET from the seeds of tests/fuzz/corpus/TARGET and
# the inputs of tests/fuzz/regression/TARGET, which stay as they are. Crashes, leaks and timeouts are written to
# build-fuzz/artifacts/TARGET/; copy one into tests/fuzz/regression/TARGET once its bug is fixed. Inputs slower
# than ten seconds are kept there too, as slow-unit-*, and reported apart. Environment: FUZZ_JOBS build jobs (1),
# FUZZ_NICE niceness (5), FUZZ_TIMEOUT seconds for one input (30).
# Exit code 1 when any target crashed, leaked, ran out of memory or time.
set -euo pipefail
root="$(cd "$(dirname "$0")/../.." && pwd)"
seconds="${1:?usage: $0 SECONDS [TARGET...]}"
shift
all_targets=(command_chain fen settings_file values_file book_file learn_file tablebase_file pgn)
targets=("${@:-${all_targets[@]}}")
build="$root/build-fuzz"
nice_level="${FUZZ_NICE:-5}"
export UBSAN_OPTIONS="print_stacktrace=1:${UBSAN_OPTIONS:-}"

nice -n "$nice_level" cmake -S "$root" -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" -DQUARVELLE_FUZZ=ON > /dev/null
for target in "${targets[@]}"; do
  nice -n "$nice_level" cmake --build "$build" -j"${FUZZ_JOBS:-1}" --target "fuzz_$target" > /dev/null
done

found=0
summary=()
for target in "${targets[@]}"; do
  corpus="$build/corpus/$target"
  artifacts="$build/artifacts/$target"
  log="$build/logs/$target.log"
  mkdir -p "$corpus" "$artifacts" "$(dirname "$log")"
  seeds=("$root/tests/fuzz/corpus/$target")
  [ -d "$root/tests/fuzz/regression/$target" ] && seeds+=("$root/tests/fuzz/regression/$target")
  dictionary=()
  [ -f "$root/tests/fuzz/$target.dict" ] && dictionary=(-dict="$root/tests/fuzz/$target.dict")
  echo "== $target: $seconds s"
  # The engine's own output goes nowhere (close_fd_mask 1); libFuzzer reports on standard error, into the log.
  status=0
  nice -n "$nice_level" "$build/tests/fuzz/fuzz_$target" "${dictionary[@]}" -max_total_time="$seconds" \
    -timeout="${FUZZ_TIMEOUT:-30}" -close_fd_mask=1 -print_final_stats=1 -artifact_prefix="$artifacts/" \
    "$corpus" "${seeds[@]}" > "$log" 2>&1 || status=$?
  last="$(grep -E '^#[0-9]+' "$log" | tail -1 || true)"
  runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")"
  speed="$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")"
  coverage="$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' <<< "$last")"
  features="$(sed -n 's/.* ft: \([0-9]*\).*/\1/p' <<< "$last")"
  count="$(find "$artifacts" -type f ! -name 'slow-unit-*' | wc -l)"
  slow="$(find "$artifacts" -type f -name 'slow-unit-*' | wc -l)"
  line="$target: ${runs:-?} runs, ${speed:-?} exec/s, cov ${coverage:-?}, ft ${features:-?}, corpus"
  line+=" $(find "$corpus" -type f | wc -l) files, $count failing inputs, $slow slow inputs"
  if [ "$status" -ne 0 ] || [ "$count" -gt 0 ]; then
    found=1
    line+=" (exit $status; see $log)"
    grep -E '^==[0-9]+==ERROR|^SUMMARY|runtime error' "$log" | head -5 || true
  fi
  echo "$line"
  summary+=("$line")
done

echo
echo "== summary"
printf '%s\n' "${summary[@]}"
exit "$found"
