#!/usr/bin/env bash
# Lives through the whole cycle of the clock service: installed, started, paused, resumed, asked,
# stopped and deleted.
#   service_cycle.sh DIRECTORY_OF_THE_PROGRAMS
# It exits with 77 when the user has no place for services.
set -euo pipefail
programs=$1
name=sorvex-clock-$$
control=$programs/service_control

# What the service manager makes for its first service is taken away again if this was the first,
# and the service's log in any case.
if [ "$(id -u)" = 0 ]; then
    database=/var/lib/sorvex runtime=/run/sorvex logs=/var/log/sorvex
else
    home=$(getent passwd "$(id -u)" | cut -d: -f6)
    [ -w "${home:-/nonexistent}" ] || exit 77
    database=$home/.sorvex runtime=$home/.sorvex/run logs=$home/.sorvex/log
fi
fresh=()
for place in "$logs" "$runtime" "$database"; do
    [ -e "$place" ] || fresh+=("$place")
done

clean() {
    "$control" stop "$name" >/dev/null 2>&1 || true
    "$control" delete "$name" >/dev/null 2>&1 || true
    rm -f "$logs/$name.log"
    for place in "${fresh[@]}"; do
        find "$place" -depth -type d -empty -delete 2>/dev/null || true
    done
}
trap clean EXIT

expect() {
    local answer=$1
    shift
    local given
    given=$("$@" 2>&1) || true
    echo "$given"
    [[ $given == *"$answer"* ]] || { echo "expected: $answer"; exit 1; }
}

expect "$name is installed" "$control" install "$name" "$programs/clock_service"
expect "CreateService() $name" "$control" install "$name" "$programs/clock_service"
expect "$name is stopped, error 1077" "$control" status "$name"
expect "$name is stopped" "$control" stop "$name"
expect "$name is running" "$control" start "$name"
expect "$name ticked, 2 of 2" "$programs/clock_service" watch "$name" 2
expect "$name is paused" "$control" pause "$name"
expect "$name is paused" "$control" status "$name"
expect "$name is running" "$control" resume "$name"
expect "$name is running, check point " "$control" send "$name" 128
expect "An instance of the service is already running." "$control" start "$name"
expect "StartServiceCtrlDispatcher()" "$programs/clock_service"
expect "$name is stopped" "$control" stop "$name"
expect "$name is deleted" "$control" delete "$name"
expect "there is no service $name" "$control" status "$name"
echo "The clock has lived through its cycle."
