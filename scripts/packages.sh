# Which packages of the distribution each purpose needs, and how they get onto the machine.
# Sourced by the commands at the root.

packagesToBuild=(g++ cmake ninja-build)
packagesToTest=(googletest libgtest-dev libgmock-dev pkg-config tzdata locales
    binutils-mingw-w64-x86-64 binutils-mingw-w64-i686)
packagesToCheck=(clang clang-format clang-tidy libclang-rt-dev g++-multilib
    libbenchmark-dev libabsl-dev libboost-dev libfmt-dev libpoco-dev)
packagesForSite=(doxygen doxygen-awesome-css)
packagesToCheckSite=(chromium linkchecker python3)
packagesForWindows=(g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix wine64)

missing_packages() {
    local package
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            printf '%s\n' "$package"
    done
}

# Installs what is missing. An ordinary user gets the one command to run instead.
install_packages() {
    local missing
    mapfile -t missing < <(missing_packages "$@")
    [ "${#missing[@]}" -eq 0 ] && return 0
    if [ "$(id -u)" -ne 0 ]; then
        echo "Some packages are missing. Run this once, then try again:"
        echo "    sudo apt-get update && sudo apt-get install -y --no-install-recommends ${missing[*]}"
        return 1
    fi
    echo "Installing: ${missing[*]}"
    apt-get -qq update &&
        DEBIAN_FRONTEND=noninteractive \
            apt-get -qq install -y --no-install-recommends "${missing[@]}" >/dev/null
}
