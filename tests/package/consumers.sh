#!/usr/bin/env bash
# Installs the library into a fresh prefix and builds an outside program against it: through
# find_package, and through pkg-config.
#   consumers.sh SOURCE_DIRECTORY BUILD_DIRECTORY
set -euo pipefail
source=$1
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null

echo "find_package"
cmake -G Ninja -S "$source/tests/package/consumer" -B "$work/cmake" \
    -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_BUILD_TYPE=Release >"$work/log" ||
    { cat "$work/log"; exit 1; }
cmake --build "$work/cmake"
cd "$work"
"$work/cmake/consumer"

echo "pkg-config"
static=()
if [ ! -e "$(find "$work/prefix" -name 'libsorvex.so')" ]; then
    static=(--static)
fi
libraries=$(dirname "$(find "$work/prefix" -name 'libsorvex.*' | head -1)")
export PKG_CONFIG_PATH=$libraries/pkgconfig LD_LIBRARY_PATH=$libraries
export PKG_CONFIG_ALLOW_SYSTEM_CFLAGS=1
[ "$(realpath "$(pkg-config --variable=prefix sorvex)")" = "$(realpath "$work/prefix")" ] ||
    { echo "sorvex.pc names another prefix"; exit 1; }
read -ra flags <<<"${CXXFLAGS:-} $(pkg-config "${static[@]}" --cflags --libs sorvex)"
"$CXX" -std=c++17 "$source/tests/package/consumer/consumer.cpp" "${flags[@]}" -o "$work/consumer"
"$work/consumer"
if [ "${#static[@]}" -gt 0 ]; then
    "$CXX" -static -std=c++17 "$source/tests/package/consumer/consumer.cpp" "${flags[@]}" \
        -o "$work/consumer" 2>"$work/log" || { cat "$work/log"; exit 1; }
    "$work/consumer"
fi
