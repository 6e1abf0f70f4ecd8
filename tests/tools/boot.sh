# All services at once, as the host's init does it: in order, one failing and one hanging, and all
# of them stopped at the end.
add store plain --start auto
add web plain --start auto --depends store
add helper plain --depends web
add front plain --start auto --depends helper,+extras
add extra1 plain --start auto --group extras
add extra2 fail --start auto --group extras
add broken fail --start auto
add behind plain --start auto --depends broken
add stuck hang --start auto
add waiting plain --start auto --depends stuck
add manual plain
add disabled plain --start disabled

begin=$(date +%s)
expect 1 "store is running
web is running
front is running
extra1 is running
extra2 stopped at once: the service's own error 42
broken stopped at once: the service's own error 42
behind was not started, since broken does not run
stuck is starting, but makes no progress
waiting was not started, since stuck does not run
this is hang
4 of 9 services run" "$tool" start-automatic --timeout 2
[ $(($(date +%s) - begin)) -lt 20 ] || { echo "the hanging one held up the others"; exit 1; }
expect 0 "manual    stopped" "$tool" list
expect 0 "helper    running" "$tool" list

# The order shows in when they came into their states.
changed() { "$tool" status "$1" --json | sed 's/.*"since": "\([^"]*\)".*/\1/'; }
[[ ! $(changed store) > $(changed web) && ! $(changed web) > $(changed front) ]] ||
    { echo "they started out of order"; exit 1; }

# All that runs is stopped, the one that hangs by force.
expect 0 "front is stopped
helper is stopped
web is stopped
store is stopped
stuck did not stop, and its process was killed
6 of 6 services stopped" "$tool" stop-all --kill-after 2
! "$tool" list | grep -q running

# Nothing is left to be reported when all come up.
for name in broken stuck extra2 behind waiting; do "$tool" configure "$name" --start manual; done
expect 0 "4 of 4 services run" "$tool" start-automatic
expect 0 "4 of 4 services run" "$tool" start-automatic

# A host that shuts down without stop-all sends SIGTERM, and each service ends in its own way.
process() { "$tool" status "$1" --json | sed 's/.*"pid": \([0-9]*\),.*/\1/'; }
kill -TERM "$(process front)"
expect 0 "" "$tool" wait --timeout 20 front stopped
expect 0 '"exitCode": 0' "$tool" status --json front
expect 0 "stopping" "$tool" log front
add deaf deaf
"$tool" start deaf
kill -TERM "$(process deaf)"
expect 0 "" "$tool" wait --timeout 20 deaf stopped
expect 0 '"exitCode": 1067' "$tool" status --json deaf
