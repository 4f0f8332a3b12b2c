#!/usr/bin/env bash
# values.txt in the repository is what the values tool writes from the committed names: a names file changed
# without its values.txt, or a values.txt edited by hand, fails here.
#
#   shipped_values.sh QUARVELLE_VALUES REPOSITORY_ROOT
set -euo pipefail
values_tool="$1" root="$2"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
"$values_tool" write "$root/tools/values/hand_set.txt" "$root/tools/values/prune_counts.txt" "$work/values.txt"
cmp -s "$work/values.txt" "$root/values.txt" ||
  { echo "FAIL: values.txt is not what tools/values/*.txt give: regenerate it (tools/values/README.md)"; exit 1; }
"$values_tool" check "$root/values.txt"
