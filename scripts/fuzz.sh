#!/usr/bin/env bash
# Runs one fuzz target for a number of seconds from its seed corpus; what it finds is not kept.
#   scripts/fuzz.sh TARGET SECONDS
set -uo pipefail
target=$1
seconds=$2
subject=$(basename "$target")
subject=${subject#fuzz_}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/corpus"
if ! "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$work/" "$work/corpus" "tests/fuzz/corpus/$subject" >"$work/log" 2>&1; then
    tail -n 60 "$work/log"
    echo "fuzz $subject: FAILED; the input:"
    find "$work" -maxdepth 1 -type f ! -name log -exec base64 {} \;
    exit 1
fi
echo "fuzz $subject: $(grep -oE 'number_of_executed_units: *[0-9]+' "$work/log")"
