#!/usr/bin/env bash
# On a system without the package manager ./tour and ./test tell in one line what is missing, and no
# command that can't work there.
#   without_apt.sh SOURCE_DIRECTORY
set -euo pipefail
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for tool in bash dirname; do
    ln -s "$(command -v "$tool")" "$work/$tool"
done
for command in tour test; do
    result=0
    PATH=$work "$source/$command" >"$work/log" 2>&1 || result=$?
    if [ "$result" -eq 0 ] || [ "$(wc -l <"$work/log")" -ne 1 ] || ! grep -q 'CMake' "$work/log" ||
        grep -q 'apt' "$work/log"; then
        echo "./$command ended with $result and said:"
        cat "$work/log"
        exit 1
    fi
done
