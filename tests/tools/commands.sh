# Each command once, in the life of a few services.
# Bad usage is one line and the exit code 2.
while IFS= read -r words; do
    result=0
    # Without words there is nothing to be quoted.
    # shellcheck disable=SC2086
    output=$("$tool" $words 2>&1) || result=$?
    [ "$result" = 2 ] && [ "$(wc -l <<<"$output")" = 1 ] ||
        { echo "'$words' gives $result: $output"; exit 1; }
done <<'END'

nonsense
start
status a b
list --yaml
install a
install a --command
install a --command /x --start never
install a --command /x --depends b,,c
configure a
control a 256
control a stop
wait a asleep
wait --timeout soon a running
stop --kill-after -1 a
END
for command in list status install configure remove start stop restart pause continue control wait \
    run log start-automatic stop-all; do
    expect 0 "usage: sorvex-service $command" "$tool" "$command" --help
done

expect 0 "Plain One is installed" add "Plain One" plain --display-name $'Tab\there' --start manual
expect 1 "plain one can't be installed: The specified service already exists. (error 1073)" \
    add "plain one" plain
expect 0 "slow is installed" add slow slow --depends "Plain One"
expect 0 "warning: gone: the program can't be run: The system cannot find the file specified." \
    "$tool" install gone --command "$PWD/gone"
mkdir "$PWD/two words"
cp /bin/true "$PWD/two words/program"
expect 0 "warning: blank: the program's name holds blanks and should stand in double quotes" \
    "$tool" install blank --command "$PWD/two words/program"
expect 0 "gone is configured" "$tool" configure gone --start disabled --group extra --type shared
expect 0 "\"startType\": \"disabled\", \"since\": null, \"exitCode\": null
\"type\": \"shared\", \"errorControl\": 1, \"group\": \"extra\"
\"dependencies\": [], \"dependents\": []" "$tool" status gone --json
expect 1 "gone did not start: The service cannot be started, either because it is disabled" "$tool" start gone
expect 3 "nobody: The specified service does not exist" "$tool" status nobody
expect 3 "nobody: The specified service does not exist" "$tool" stop nobody

expect 0 "slow is starting, check point 2
slow is starting, check point 3
slow is running" "$tool" start slow
expect 1 "SLOW did not start: An instance of the service is already running. (error 1056)" \
    "$tool" start SLOW
expect 0 'Tab\x09here' "$tool" list
expect 0 '{"name": "Plain One", "displayName": "Tab\u0009here", "state": "running", "pid": ' \
    "$tool" list --json
expect 0 "  state         running
  needed by     slow (running)
  takes         stop, pause and continue, parameters changed" "$tool" status "plain one"
expect 0 "Plain One is paused" "$tool" pause "Plain One"
expect 0 "" "$tool" wait "Plain One" paused
expect 0 "Plain One is running" "$tool" continue "Plain One"
expect 0 "Plain One is running" "$tool" control "Plain One" 6
expect 1 "did not take the control 7" "$tool" control "Plain One" 7
expect 4 "Plain One is running" "$tool" wait --timeout 0 "Plain One" stopped
expect 1 "Plain One did not stop: A stop control has been sent to a service that other running \
services are dependent on. (error 1051): slow" "$tool" stop "Plain One"
expect 0 "slow is stopping, check point 3
slow is stopped
Plain One is stopped
Plain One is running
slow is running" "$tool" restart --with-dependents "Plain One"
expect 0 "slow is stopped
Plain One is stopped" "$tool" stop --with-dependents "Plain One"
expect 1 "slow did not stop: The service has not been started. (error 1062)" "$tool" stop slow

add fail fail
add hang hang
add deaf deaf
expect 1 "fail stopped at once: the service's own error 42" "$tool" start fail
expect 0 "ended with    the service's own error 42" "$tool" status fail
expect 4 "hang is starting, but makes no progress" "$tool" start --timeout 1 hang
expect 0 "hang did not stop, and its process was killed" "$tool" stop --kill-after 1 hang
expect 0 "deaf is running" "$tool" start deaf
expect 1 "deaf did not stop: The requested control is not valid" "$tool" stop deaf
expect 0 "deaf is removed as soon as it has stopped" "$tool" remove deaf
expect 0 "deaf did not stop, and its process was killed" "$tool" stop --kill-after 1 deaf
expect 3 "deaf: The specified service does not exist" "$tool" status deaf
expect 0 "slow is removed" "$tool" remove slow
"$tool" start "Plain One"
"$tool" control "Plain One" 129 &
sleep 0.2
expect 0 "Plain One did not stop, and its process was killed" \
    timeout 20 "$tool" stop --kill-after 1 "Plain One"
wait || true

# A damaged service is a failure for itself alone, and so is what is none. It is stopped all the same.
"$tool" start "Plain One"
echo damaged >>/var/lib/sorvex/services/plain%20one/configuration
touch /var/lib/sorvex/services/foreign
expect 0 "foreign    damaged  -    -
plain one  damaged" "$tool" list
expect 0 "plain one is stopped" "$tool" stop-all
expect 0 "plain one is removed" "$tool" remove "plain one"

# What can't be written is a failure.
expect 1 "the output can't be written" bash -c '"$tool" list >/dev/full'
expect 1 "" bash -c '"$tool" list >&-'
expect 1 "The system cannot open the file. (error 4)" bash -c 'ulimit -n 8; "$tool" list'

# Completion, of names with blanks too.
add "Two Words" plain
PATH="$(dirname "$tool"):$PATH"
source "$here/../../tools/sorvex-service.bash"
completed() {
    COMP_WORDS=(sorvex-service "$@") COMP_CWORD=$#
    _sorvex_service || true
    echo "${COMPREPLY[*]}"
}
for word in 'Tw' 'Two\ W'; do expect 0 'Two\ Words' completed start "$word"; done
expect 0 'Two Words' completed start '"Two '
expect 0 'status start start-automatic' completed sta
