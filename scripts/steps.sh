# Runs the steps of a command quietly. Sourced by the commands at the root.

# step TEXT COMMAND...: says what is done; shows the command's output only when it fails.
step() {
    local text=$1 log
    shift
    log=$(mktemp)
    echo "$text"
    if ! "$@" >"$log" 2>&1 </dev/null; then
        tail -n 100 "$log"
        rm -f "$log"
        echo "FAILED: $text"
        return 1
    fi
    rm -f "$log"
}

# run_tests PRESET [OPTION...]: the tests of a built preset; shows the failed ones and the summary.
run_tests() {
    local preset=$1 log result=0
    shift
    log=$(mktemp)
    ctest --preset "$preset" "$@" >"$log" 2>&1 </dev/null || result=$?
    if [ "$result" -ne 0 ]; then
        grep -vE '^ *(Start +[0-9]+:|[0-9]+/[0-9]+ Test +#.* Passed )' "$log" | tail -n 400
    else
        grep -E 'tests passed|^Total Test time' "$log"
    fi
    rm -f "$log"
    return "$result"
}
