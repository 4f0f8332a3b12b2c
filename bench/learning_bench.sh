#!/usr/bin/env bash
# Cost of the learning-file probe in the tree: bench nodes per second with UseLearningData off and on, each run
# in a folder of its own with values.txt and a learning file of RECORDS random records (default 20000).
#
#   bench/learning_bench.sh [BUILD_DIR] [RECORDS]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$root/build}" records="${2:-20000}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cp "$root/values.txt" "$work/"
python3 - "$work/Learn.qv1" "$records" << 'PY'
import random, struct, sys
path, count = sys.argv[1], int(sys.argv[2])
header = 23 + 4 * 65536
buckets = [0] * 65536
records = bytearray()
rng = random.Random(5)
for i in range(count):
    h1, h2 = rng.getrandbits(32), rng.getrandbits(32)
    offset = header + len(records)
    records += struct.pack("<iiIIII", 40, -200, 0, h1, h2, buckets[h1 & 0xFFFF])
    buckets[h1 & 0xFFFF] = offset
with open(path, "wb") as f:
    f.write(b"Quarvelle learning file" + struct.pack("<65536I", *buckets) + records)
PY
for setting in off on; do
  echo "UseLearningData = $setting" > "$work/Quarvelle.ini"
  line="$(cd "$work" && echo -e "bench\nquit" | "$build/quarvelle" | tail -n 1)"
  echo "UseLearningData $setting: $line"
done
