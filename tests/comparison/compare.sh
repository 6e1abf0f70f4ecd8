#!/usr/bin/env bash
# Holds the layer against an independent runtime: runs both programs on the same inputs and shows
# each difference that the table of docs/targets.md does not explain.
#   compare.sh NATIVE_PROGRAM WINDOWS_PROGRAM [IMAGE...]
#
# A row of that table begins with a pattern in backquotes; it explains the differing lines of either
# side that match it.
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

sed -nE 's/^\| `([^`]*)` \|.*/\1/p' "$root/docs/targets.md" >patterns.txt
diff native.txt windows.txt | grep '^[<>]' >differences.txt || true
grep -vEf patterns.txt differences.txt >unexplained.txt || true
echo "$(wc -l <native.txt) answers, $(wc -l <differences.txt) differing lines," \
    "$(wc -l <unexplained.txt) of them unexplained"
head -n 40 unexplained.txt
[ ! -s unexplained.txt ] && [ -s native.txt ]
