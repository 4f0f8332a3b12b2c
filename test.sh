#!/usr/bin/env bash
# Builds Quarvelle and runs every test: optimised, then again under AddressSanitizer and UBSan.
set -euo pipefail
root="$(cd "$(dirname "$0")" && pwd)"
jobs="$(nproc)"
cmake -S "$root" -B "$root/build" -DCMAKE_BUILD_TYPE=Release
cmake --build "$root/build" -j"$jobs"
(cd "$root/build" && ctest --output-on-failure -j"$jobs")
cmake -S "$root" -B "$root/build-sanitize" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" -DQUARVELLE_SANITIZE=ON
cmake --build "$root/build-sanitize" -j"$jobs"
# The deep perft counts only repeat, slowly, what the optimised run has checked; the match plays on a clock
# that a sanitized engine, several times slower, isn't meant to keep; memory limits and Valgrind do not mix
# with the sanitizers' reserved address space.
(cd "$root/build-sanitize" && ctest --output-on-failure -j"$jobs" -LE "perft|match|memory|valgrind")
