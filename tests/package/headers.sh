#!/usr/bin/env bash
# Compiles each public header alone, as C++17 without extensions and with all warnings.
#   headers.sh SOURCE_DIRECTORY
set -euo pipefail
include=$1/include
cd "$include"
for header in sorvex/*.h; do
    for standard in c++17 c++20; do
        echo "#include <$header>" |
            "$CXX" -x c++ -std=$standard -fsyntax-only -Wall -Wextra -Wpedantic -Werror \
                -I"$include" - || { echo "$header does not compile alone as $standard"; exit 1; }
    done
done
