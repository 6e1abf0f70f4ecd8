#!/usr/bin/env bash
# Runs a script as root of a machine of its own, as far as services go: process numbers, services,
# run-time files and logs are nobody else's and go with it.
#   scene.sh SCRIPT TOOL SERVICE
# It exits with 77 where the host doesn't allow that.
set -euo pipefail

if [ "${1:-}" != --inside ]; then
    alone=(unshare --mount --pid --fork --kill-child --mount-proc)
    [ "$(id -u)" = 0 ] || alone+=(--user --map-root-user)
    if ! "${alone[@]}" true 2>/dev/null; then
        echo "This host gives no namespaces."
        exit 77
    fi
    exec "${alone[@]}" bash "$0" --inside "$@"
fi

script=$2
here=$(dirname "$script")
export tool=$3 service=$4
for place in /var/lib /var/log /run; do
    mount -t tmpfs -o mode=755 none "$place"
done
scratch=$(mktemp -d -p /run)
cd "$scratch"

# expect CODE TEXT COMMAND...: the command ends with the code, and each line of the text is found
# somewhere in its output.
expect() {
    local code=$1 text=$2 result=0 line
    shift 2
    local output
    output=$("$@" 2>&1) || result=$?
    printf '$ %s\n%s\n' "${*/#$tool/sorvex-service}" "$output"
    [ "$result" = "$code" ] || { echo "expected the exit code $code, not $result"; exit 1; }
    while IFS= read -r line; do
        [[ $output == *"$line"* ]] || { echo "expected: $line"; exit 1; }
    done <<<"$text"
}

# add NAME MANNER [OPTION...]: installs the service of the tests.
add() {
    local name=$1 manner=$2
    shift 2
    "$tool" install "$name" --command "\"$service\" $manner" "$@"
}

# eventually COMMAND...: waits until the command succeeds.
eventually() {
    local look
    for look in $(seq 600); do
        "$@" >/dev/null 2>&1 && return 0
        sleep 0.05
    done
    echo "it never happened: $*"
    exit 1
}

source "$script"
