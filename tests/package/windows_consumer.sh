#!/usr/bin/env bash
# Installs the DLL into a fresh prefix, builds an outside program against it through find_package,
# shows that neither needs a DLL but the system's own, and runs the program.
#   windows_consumer.sh SOURCE_DIRECTORY BUILD_DIRECTORY TOOLCHAIN [RUNNER]
# Without a RUNNER of its target's programs the program is only built.
set -euo pipefail
source=$1
build=$2
toolchain=$3
runner=${4:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -G Ninja -S "$source/tests/package/consumer" -B "$work/consumer" \
    --toolchain "$source/cmake/toolchains/$toolchain.cmake" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer"
cp "$work/prefix/bin/libsorvex.dll" "$work/consumer/"

for image in "$work/consumer/libsorvex.dll" "$work/consumer/consumer.exe"; do
    if objdump -p "$image" | grep 'DLL Name' | grep -iE 'libgcc|libstdc|winpthread'; then
        echo "$image needs the compiler's run-time libraries"
        exit 1
    fi
done
cd "$work/consumer"
[ -z "$runner" ] || "$runner" ./consumer.exe libsorvex.dll
