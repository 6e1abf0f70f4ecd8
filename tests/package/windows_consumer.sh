#!/usr/bin/env bash
# Installs the DLL into a fresh prefix, builds an outside program against it through find_package,
# runs it, and shows that the DLL needs none but the system's own.
#   windows_consumer.sh SOURCE_DIRECTORY BUILD_DIRECTORY
set -euo pipefail
source=$1
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -G Ninja -S "$source/tests/package/consumer" -B "$work/consumer" \
    --toolchain "$source/cmake/toolchains/mingw64.cmake" -DCMAKE_BUILD_TYPE=Release \
    -DSorvex_DIR="$work/prefix/lib/cmake/Sorvex" >/dev/null
cmake --build "$work/consumer"
cp "$work/prefix/bin/libsorvex.dll" "$work/consumer/"
"$source/scripts/wine" "$work/consumer/consumer.exe"

if x86_64-w64-mingw32-objdump -p "$work/prefix/bin/libsorvex.dll" | grep 'DLL Name' |
    grep -iE 'libgcc|libstdc|winpthread'; then
    echo "the DLL needs the compiler's run-time libraries"
    exit 1
fi
