#!/usr/bin/env bash
# Builds Quarvelle when needed and starts it in the folder that holds its data files.
set -euo pipefail
root="$(cd "$(dirname "$0")" && pwd)"
if [ ! -x "$root/build/quarvelle" ] || [ -n "$(find "$root/shell" "$root/board" "$root/think" "$root/search" \
    "$root/eval" "$root/book" "$root/tablebase" "$root/tools" "$root/CMakeLists.txt" -newer "$root/build/quarvelle" -print -quit)" ]; then
  cmake -S "$root" -B "$root/build" -DCMAKE_BUILD_TYPE=Release > /dev/null
  cmake --build "$root/build" -j"$(nproc)" --target quarvelle > /dev/null
fi
cd "$root"
exec "$root/build/quarvelle"
