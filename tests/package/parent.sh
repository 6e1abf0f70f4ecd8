#!/usr/bin/env bash
# A project that takes the library in as a subdirectory: its own settings stay as they are, nothing
# of the library is installed with it, and BUILD_TESTING is heeded.
#   parent.sh SOURCE_DIRECTORY
set -euo pipefail
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cat >"$work/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(Parent LANGUAGES CXX)
set(SORVEX_BUILD_TESTS ON)
set(BUILD_TESTING OFF)
add_subdirectory("$source" sorvex)
add_library(parent parent.cpp)
get_target_property(kind parent TYPE)
get_target_property(theirs sorvex TYPE)
message(STATUS "kinds: \${kind} \${theirs}")
install(TARGETS parent)
END
echo "int parent() { return 0; }" >"$work/parent.cpp"
cmake -G Ninja -S "$work" -B "$work/build" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
grep -q 'kinds: STATIC_LIBRARY SHARED_LIBRARY' "$work/log" || {
    grep 'kinds:' "$work/log"
    exit 1
}
if grep -E '^(BUILD_[A-Z_]+|CTEST_[A-Z_]+|GTest_DIR):' "$work/build/CMakeCache.txt"; then
    echo "the library set that for its parent"
    exit 1
fi
if grep -l 'sorvex/' "$work"/build/sorvex/cmake_install.cmake "$work"/build/sorvex/*/cmake_install.cmake |
    xargs -r grep -nE 'file\(INSTALL'; then
    echo "the library installs itself with its parent"
    exit 1
fi
