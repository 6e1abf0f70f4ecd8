#!/usr/bin/env bash
# Compares the binary interface of a built library, which carries debugging information, with the
# recorded one.
#   abi.sh SOURCE LIBRARY            fails when anything differs, and says what
#   abi.sh SOURCE LIBRARY --record   records the library's interface instead
set -euo pipefail
source=$1
library=$2
recorded=$source/tests/package/abi/$(uname -m)-linux.abi.xz
description=$(mktemp)
trap 'rm -f "$description"' EXIT

if [ "${3:-}" = --record ]; then
    abidw --headers-dir "$source/include/sorvex" --drop-private-types --exported-interfaces-only \
        --no-corpus-path --no-comp-dir-path --no-show-locs "$library" >"$description"
    xz -9 <"$description" >"$recorded"
    exit
fi
xz -d <"$recorded" >"$description"
abidiff "$description" "$library" || {
    echo "The binary interface differs from the recorded one. docs/abi.md tells what may change; when"
    echo "it is meant, record it in the same commit: tests/package/abi.sh . LIBRARY --record"
    exit 1
}
