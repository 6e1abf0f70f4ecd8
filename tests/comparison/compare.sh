#!/usr/bin/env bash
# Holds the layer against an independent runtime: runs both programs on the same inputs and shows
# each difference that excuses.txt does not explain.
#   compare.sh NATIVE_PROGRAM WINDOWS_PROGRAM [IMAGE...]
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
native=$(realpath "$1")
windows=$(realpath "$2")
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

images=()
for image in "$@"; do
    cp "$image" "$work/"
    images+=("$(basename "$image")")
done
cd "$work"
"$native" "${images[@]}" >native.txt
"$root/scripts/wine" "$windows" "${images[@]}" | tr -d '\r' >windows.txt

grep -vE '^(#|$)' "$root/tests/comparison/excuses.txt" >patterns.txt
diff native.txt windows.txt | grep '^[<>]' >differences.txt || true
grep -vEf patterns.txt differences.txt >unexplained.txt || true
echo "$(wc -l <native.txt) answers, $(wc -l <differences.txt) differing lines," \
    "$(wc -l <unexplained.txt) of them unexplained"
head -n 40 unexplained.txt
[ ! -s unexplained.txt ] && [ -s native.txt ]
