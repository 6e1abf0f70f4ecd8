#!/usr/bin/env bash
# Compiles statements that would do something else than they say: each is refused, on its own line
# and with a message that tells why.
#   refusals.sh SOURCE_DIRECTORY
set -euo pipefail
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cat >"$work/refusals.cpp" <<'END'
#include <sorvex/sorvex.h>
using namespace Sorvex;
void openFile(const BFile&);
void openUser(const UserProperties&);
void refusals(BPath path, BFile& file, BStream& stream, std::string name, MessageFile messages) {
long long number = 0;
unsigned long long positive = 0;
END
before=$(wc -l <"$work/refusals.cpp")
grep -v '^#' "$source/tests/package/refusals.txt" >"$work/rows"
sed 's/ *| .*//' "$work/rows" >>"$work/refusals.cpp"
echo "}" >>"$work/refusals.cpp"

result=0
"$CXX" -std=c++17 -fsyntax-only -I"$source/include" "$work/refusals.cpp" >"$work/log" 2>&1 && result=1
line=$before
while IFS= read -r row; do
    line=$((line + 1))
    grep -qE "refusals.cpp:$line:.* error: .*(${row#* | })" "$work/log" || {
        echo "not refused, or not by its reason: $row"
        grep "refusals.cpp:$line:" "$work/log" || true
        result=1
    }
done <"$work/rows"
exit "$result"
