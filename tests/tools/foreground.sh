# A service in the foreground, and what it writes.
logs=/var/log/sorvex

# Its output goes to a file of its own, which is turned over at a start.
add writer plain
expect 0 "" "$tool" log writer
"$tool" start writer one "two words"
eventually grep -q "this is plain" "$logs/writer.log"
expect 0 "argument one
argument two words
this is plain" "$tool" log writer
[ "$(stat -c %a "$logs" "$logs/writer.log")" = $'700\n600' ] || { echo "others can read it"; exit 1; }
expect 0 "new parameters" bash -c '"$tool" control writer 6 && "$tool" log --lines 1 writer'
"$tool" stop writer
"$tool" log --follow --lines 1 writer >followed &
follower=$!
eventually test -s followed
head -c 1100000 /dev/zero | tr '\0' x >>"$logs/writer.log"
"$tool" start writer anew
eventually grep -q "argument anew" followed
kill "$follower"
wait "$follower" || true
[ "$(wc -c <followed)" -gt 1100000 ]
[ "$(stat -c %s "$logs/writer.log.1")" -gt 1048576 ] && [ "$(wc -c <"$logs/writer.log")" -lt 1000 ]
expect 0 "log           $logs/writer.log
argument anew" "$tool" status writer
"$tool" stop writer
rm "$logs/writer.log"
mkdir "$logs/writer.log"
expect 0 "writer is running" "$tool" start writer
"$tool" stop writer

# A failed start shows what the program wrote, also when it could not even be loaded.
add quit quit
expect 1 "quit did not start: The service did not respond
there is no licence" "$tool" start quit
LC_ALL=C sed 's/libstdc++\.so/libabsent.so/g' "$service" >lame
chmod 700 lame
"$tool" install lame --command "$PWD/lame"
expect 1 "lame did not start: The service did not respond
libabsent.so.6: cannot open shared object file" "$tool" start lame
expect 0 "ended with    The service did not respond
libabsent.so.6: cannot open shared object file" "$tool" status lame
expect 1 "lame did not start
libabsent.so.6: cannot open shared object file" "$tool" run lame

# In the foreground: its streams, the signals, its end and its exit code.
running() {
    local name=$1 code=$2
    shift 2
    "$tool" run "$name" "$@" >output 2>&1 &
    runner=$!
    expect 0 "" "$tool" wait --timeout 20 "$name" running
}
ended() {
    local result=0
    wait "$runner" || result=$?
    cat output
    [ "$result" = "$1" ] || { echo "expected $1, not $result"; exit 1; }
}
add front plain
add behind plain --depends front
for signal in TERM INT; do
    running front 0 argument
    "$tool" start behind
    kill -HUP "$runner"
    eventually grep -q "new parameters" output
    kill -"$signal" "$runner"
    ended 0
    grep -q "argument argument" output && grep -q "this is plain" output && grep -q stopping output
    expect 0 "" "$tool" wait --timeout 0 front stopped
    expect 0 "" "$tool" wait --timeout 0 behind stopped
done
running front 136
"$tool" control front 136
ended 136
running front 137
"$tool" control front 135 || true
ended 137
add fail fail
expect 42 "this is fail" "$tool" run fail
add deaf deaf
running deaf 143
kill -TERM "$runner"
ended 143
expect 3 "nobody: The specified service does not exist" "$tool" run nobody

# As the first process of a container: it gets the signals, and no zombie is left.
cat >container <<'END'
mount -t proc none /proc
exec "$tool" run front
END
unshare --mount --pid --fork bash container >output 2>&1 &
container=$!
expect 0 "" "$tool" wait --timeout 20 front running
first=$(tr -d ' ' <"/proc/$container/task/$container/children")
"$tool" control front 134
"$tool" control front 134
sleep 0.5
eventually bash -c "! grep -l '^State:.Z' /proc/[0-9]*/status"
kill -TERM "$first"
result=0
wait "$container" || result=$?
[ "$result" = 0 ] || { echo "the container ended with $result"; exit 1; }
grep -q stopping output
