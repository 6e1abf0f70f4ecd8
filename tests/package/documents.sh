#!/usr/bin/env bash
# Compiles every whole program of README and docs/, and runs those of the cookbook: what they print
# has to be the text that stands below them.
#   documents.sh SOURCE_DIRECTORY LIBRARY
set -euo pipefail
source=$1
library=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Writes each program of a page as PAGE.NUMBER.cpp, and the text that follows it at once as .txt.
for page in "$source"/README.md "$source"/docs/*.md; do
    awk -v name="$work/$(basename "$page" .md)" '
        /^```cpp$/ { kind = "cpp"; code = ""; next }
        /^```text$/ && whole { kind = "txt"; next }
        /^```$/ && kind == "cpp" {
            whole = code ~ /(^|\n)int main\(/
            if (whole) printf "%s", code >(name "." ++number ".cpp")
            kind = ""
            next
        }
        /^```/ { kind = "" ; whole = 0; next }
        kind == "cpp" { code = code $0 "\n" }
        kind == "txt" { print >(name "." number ".txt") }
        /^#/ && kind == "" { whole = 0 }
    ' "$page"
done

read -ra flags <<<"${CXXFLAGS:-} -I$source/include"
cd "$work"
ls README.*.cpp cookbook.*.cpp >/dev/null
for program in *.cpp; do
    program=${program%.cpp}
    echo "$program"
    "$CXX" -std=c++17 -Wall -Wextra -Werror "${flags[@]}" "$program.cpp" \
        "$library" -Wl,-rpath,"$(dirname "$library")" -pthread -o "$program"
    case $program in README.* | cookbook.*) ;; *) continue ;; esac
    # A service needs a place of its user's.
    if grep -q BServiceManager "$program.cpp" && [ ! -w ~ ]; then
        continue
    fi
    mkdir "$program.place"
    (cd "$program.place" && timeout 60 "../$program" >"../$program.out")
    [ ! -e "$program.txt" ] || diff "$program.txt" "$program.out"
done
