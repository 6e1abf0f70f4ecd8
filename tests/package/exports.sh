#!/usr/bin/env bash
# Compares what the shared library exports with the list of public names: nothing else is shown,
# and each of them is.
#   exports.sh LIBRARY LIST
set -euo pipefail
library=$1
list=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# "vtable for", "typeinfo name for", "non-virtual thunk to" and such stand before the name.
nm -DC --defined-only "$library" | cut -d' ' -f3- |
    sed -E 's/^(vtable|typeinfo name|typeinfo|VTT) for //; s/^(non-virtual|virtual) thunk to //' |
    sed -E 's/^(Sorvex::[A-Za-z]+|Profiler).*/\1/' | sort -u >"$work/exported"
grep -v '^#' "$list" | sort -u >"$work/expected"
diff -u "$work/expected" "$work/exported" && echo "exports match the list"
