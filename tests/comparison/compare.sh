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

# `?` stands for one character, or for none at the end of a name and before a dot; the runtime
# always wants one. What the layer finds is held against its own rule there, told once more as an
# expression of grep -P.
allNames=$(sed -nE '/^find \[\*\] /{s/^find \[\*\] \[(.*) \]$/\1/p; q}' native.txt)
namesByRule() {
    local rule
    rule=$(sed -E 's/\*\.$/\x01/; s/\.([*?]|$)/\x02\1/g; s/\./\\./g; s/\*/.*/g
        s/\?/(.|(?=\\.|$))/g; s/\x01/([^.]*(\\.|$)|.*(?<=\\.)$)/; s/\x02/(\\.|$)/g' <<<"$1")
    tr ' ' '\n' <<<"$allNames" | grep -Pix "$rule" | tr '\n' ' '
}
{ grep -E '^< find [[][^]]*[?]' differences.txt || true; } | while IFS= read -r line; do
    pattern=$(sed -E 's/^< find \[([^]]*)\].*/\1/' <<<"$line")
    [ "$line" != "< find [$pattern] [$(namesByRule "$pattern")]" ] || echo "find [$pattern] "
done >byRule.txt

grep -vFf byRule.txt differences.txt | grep -vEf patterns.txt >unexplained.txt || true
echo "$(wc -l <native.txt) answers, $(wc -l <differences.txt) differing lines," \
    "$(wc -l <unexplained.txt) of them unexplained"
head -n 40 unexplained.txt
[ ! -s unexplained.txt ] && [ -s native.txt ]
