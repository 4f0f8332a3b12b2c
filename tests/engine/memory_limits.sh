#!/usr/bin/env bash
# Hash tables larger than the memory the engine may have: the allocation message and exit code 1 at the
# setoption, never a kill in the middle of a later search; tables that fit still play.
#   - a virtual memory limit (ulimit -v) makes the allocation itself fail;
#   - a memory control group (when the machine lets us make one, as root) grants the allocation but would kill
#     the engine once a search had touched too many pages: the engine must refuse the size up front.
#
#   memory_limits.sh QUARVELLE VALUES_DIR
set -uo pipefail
engine="$1" home="$2"
cd "$home"
fail() { echo "FAIL: $1"; exit 1; }

# Runs the engine on a session in a subshell prepared by $1 (a command run first, e.g. a limit); prints its output
# and its exit code last.
session() {
  local prepare="$1" input="$2"
  bash -c "$prepare; printf '$input' | \"$engine\"; echo \"exit \${PIPESTATUS[1]}\""
}

expect_refusal() {
  local what="$1" out="$2"
  grep -q "An error occured while memory allocation!" <<< "$out" || fail "$what: no allocation message"
  grep -q "^exit 1$" <<< "$out" || fail "$what: exit code is not 1: $(tail -1 <<< "$out")"
}

expect_play() {
  local what="$1" out="$2"
  grep -q "^bestmove " <<< "$out" || fail "$what: no bestmove"
  grep -q "^exit 0$" <<< "$out" || fail "$what: exit code is not 0"
}

uci='uci\nsetoption name %s value %s\nisready\nposition startpos\ngo depth 6\nquit\n'
limit="ulimit -v 700000"
for table in Hash PawnHash; do
  expect_refusal "$table 1024 under ulimit -v" "$(session "$limit" "$(printf "$uci" "$table" 1024)")"
  expect_play "$table 64 under ulimit -v" "$(session "$limit" "$(printf "$uci" "$table" 64)")"
done
echo "ulimit -v: 1024 MB refused with the message and exit code 1, 64 MB plays"

group=/sys/fs/cgroup/memory/quarvelle-test-$$
if mkdir "$group" 2> /dev/null; then
  trap 'rmdir "$group" 2> /dev/null' EXIT
  echo 400000000 > "$group/memory.limit_in_bytes"
  join="echo \$\$ > $group/cgroup.procs"
  for table in Hash PawnHash; do
    expect_refusal "$table 1024 in a 400 MB control group" "$(session "$join" "$(printf "$uci" "$table" 1024)")"
    expect_play "$table 128 in a 400 MB control group" "$(session "$join" "$(printf "$uci" "$table" 128)")"
  done
  echo "control group of 400 MB: 1024 MB refused with the message and exit code 1, 128 MB plays"
else
  echo "no memory control group can be made here: that half is skipped"
fi
