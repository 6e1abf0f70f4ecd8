# Which packages of the distribution each purpose needs, and how they get onto the machine.
# Sourced by the commands at the root.

packagesToBuild=(g++ cmake ninja-build)
packagesToTest=(googletest libgtest-dev libgmock-dev pkg-config tzdata locales
    binutils-mingw-w64-x86-64 binutils-mingw-w64-i686)
packagesToCheck=(clang clang-format clang-tidy libclang-rt-dev g++-multilib qemu-user
    libbenchmark-dev libabsl-dev libboost-dev libfmt-dev libpoco-dev)
packagesForReport=(gnuplot-nox python3)
packagesForSite=(doxygen doxygen-awesome-css)
packagesToCheckSite=(chromium linkchecker python3)
packagesToEmulate=(clang qemu-user libstdc++-12-dev-arm64-cross binutils-aarch64-linux-gnu
    libstdc++-12-dev-s390x-cross binutils-s390x-linux-gnu)
packagesToPack=(abigail-tools dpkg-dev fakeroot lintian pkg-config xz-utils)
packagesForWindows=(g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix wine64)

missing_packages() {
    local package
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            printf '%s\n' "$package"
    done
}

# Whether the tools of every build are there, however they came.
has_tools() {
    local tool
    for tool in c++ cmake ninja; do
        command -v "$tool" >/dev/null || return 1
    done
}

# Installs what is missing. An ordinary user gets the one command to run instead, and on a system
# without apt whoever lacks a tool is told what is needed.
install_packages() {
    local missing
    if ! command -v apt-get >/dev/null; then
        has_tools && return 0
        echo "Needed: CMake 3.25, Ninja, a C++20 compiler; for the tests also GoogleTest and pkg-config."
        return 1
    fi
    mapfile -t missing < <(missing_packages "$@")
    [ "${#missing[@]}" -eq 0 ] && return 0
    if [ "$(id -u)" -ne 0 ]; then
        echo "Some packages are missing. As root, run this once, then try again:"
        echo "    apt-get update && apt-get install -y --no-install-recommends ${missing[*]}"
        return 1
    fi
    echo "Installing: ${missing[*]}"
    apt-get -qq update &&
        DEBIAN_FRONTEND=noninteractive \
            apt-get -qq install -y --no-install-recommends "${missing[@]}" >/dev/null
}
