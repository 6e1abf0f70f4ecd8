#!/usr/bin/env bash
# Has lintian look at the Debian packages, installs them into a root of their own, builds and runs
# an outside program and the examples from there, and removes them without a trace.
#   packages.sh SOURCE_DIRECTORY PACKAGE_DIRECTORY
set -euo pipefail
source=$1
packages=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A licence and a changelog come with a real upload.
lintian --fail-on error,warning --allow-root \
    --suppress-tags no-copyright-file,no-changelog,changelog-file-missing-in-native-package \
    "$packages"/*.deb

# The root knows what the packages depend on as this system has it.
root=$work/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
for package in libc6 libgcc-s1 libstdc++6; do
    dpkg-query -s "$package"
    echo
    : >"$root/var/lib/dpkg/info/$package:$(dpkg --print-architecture).list"
done >"$root/var/lib/dpkg/status"
in_root() {
    fakeroot dpkg --root="$root" --force-not-root --force-script-chrootless --force-bad-path \
        --log="$work/dpkg.log" "$@" >"$work/log" 2>&1 || { cat "$work/log"; return 1; }
}
contents() {
    (cd "$root" && find . -path ./var/lib/dpkg -prune -o -print | sort)
}
contents >"$work/before"
in_root --install "$packages"/*.deb

library=$(dirname "$(find "$root/usr/lib" -name 'libsorvex.so')")
export LD_LIBRARY_PATH=$library PKG_CONFIG_PATH=$library/pkgconfig
for project in "$source/tests/package/consumer" "$root/usr/share/doc/sorvex/examples"; do
    name=$(basename "$project")
    cmake -G Ninja -S "$project" -B "$work/$name" -DCMAKE_PREFIX_PATH="$root/usr" >"$work/log"
    cmake --build "$work/$name"
done
cd "$work"
consumer/consumer
examples/file_version --help >/dev/null
read -ra flags <<<"$(PKG_CONFIG_ALLOW_SYSTEM_CFLAGS=1 pkg-config --cflags --libs sorvex)"
c++ -std=c++17 "$source/tests/package/consumer/consumer.cpp" "${flags[@]}" -o by_pkg_config
./by_pkg_config
"$root/usr/bin/sorvex-service" --help >/dev/null

in_root --purge libsorvex0 libsorvex-dev sorvex-tools sorvex-doc
contents | diff "$work/before" -
