# Lets Doxygen see what a reader sees: declarations that follow one comment without a blank line
# share it. Deleted and defaulted operations speak for themselves and are left out.

function flush_run(   i) {
    if (declarations > 1 && !grouped) print indent "///@{"
    for (i = 1; i <= comments; ++i) print comment[i]
    for (i = 1; i <= lines; ++i) print line[i]
    if (declarations > 1 && !grouped) print indent "///@}"
    comments = lines = declarations = 0
}

/= (delete|default);[ \t]*$/ && !/virtual/ { next }

# What introduces a group of members, and is not followed by a comment of the first one, is the
# comment of them all.
comments > 0 && lines == 0 && comment[comments] ~ /@\{$/ && !/^[ \t]*\/\/\// {
    match(comment[1], /^[ \t]*/)
    print substr(comment[1], 1, RLENGTH) "///@{"
    for (i = 1; i < comments; ++i)
        if (comment[i] !~ /@name/) print comment[i]
    comments = 0
    grouped = 1
    print
    next
}

/@\}$/ { grouped = 0 }

/^[ \t]*\/\/\/([^<]|$)/ {
    if (lines > 0) flush_run()
    comment[++comments] = $0
    next
}

# A class or an enumeration begins; its members have comments of their own.
comments > 0 && lines == 0 && /^[ \t]*(class|struct|enum|namespace|template)/ {
    flush_run()
    print
    next
}

comments > 0 && !/^[ \t]*$/ && !/^[ \t]*(public|protected|private):/ && !/^[ \t]*};/ {
    if (lines == 0) { match($0, /^[ \t]*/); indent = substr($0, 1, RLENGTH) }
    line[++lines] = $0
    if (/[;}][ \t]*(\/\/.*)?$/) ++declarations
    next
}

{ flush_run(); print }

END { flush_run() }
