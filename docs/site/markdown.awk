# Lets Doxygen read pages that are written for GitHub: headings get the anchors that they have there,
# pages the names of their files, and links lead to both. A link to a file that the site doesn't show
# is its text.

function slug(text) {
    text = tolower(text)
    gsub(/[^a-z0-9 _-]/, "", text)
    gsub(/ /, "-", text)
    return text
}

# What to refer to for a target of a link; empty when the site doesn't have it.
function reference(target,   parts, name) {
    split(target, parts, "#")
    name = parts[1] == "" ? FILENAME : parts[1]
    sub(/^.*\//, "", name)
    if (name ~ /\.h$/) return name
    if (name !~ /\.md$/) return ""
    sub(/\.md$/, "", name)
    name = tolower(name)
    name = name == "readme" ? "index" : "page_" name
    return parts[2] == "" ? name : name "_" parts[2]
}

BEGIN { page = reference(ARGV[1]) }

/^ *```/ { inCode = !inCode }

inCode || /^    / { print; next }

/^#+ / {
    title = $0
    sub(/^#+ /, "", title)
    if (page == "index" && /^# /) $0 = "# %" title
    else $0 = $0 " {#" (/^# / ? page : page "_" slug(title)) "}"
}

{
    line = $0
    done = ""
    while (match(line, /\[[^][]*\]\([^() ]+\)/)) {
        link = substr(line, RSTART, RLENGTH)
        before = substr(line, 1, RSTART - 1)
        line = substr(line, RSTART + RLENGTH)
        middle = index(link, "](")
        text = substr(link, 2, middle - 2)
        target = substr(link, middle + 2, length(link) - middle - 2)
        if (target ~ /\.svg$/) sub(/^.*\//, "", target)
        else if (target !~ /:\/\//) {
            known = reference(target)
            if (known == "") { done = done before text; continue }
            if (page == "page_guides" && line !~ /[^ ]/ && before ~ /^[-0-9. ]*$/) {
                done = done before "@subpage " known
                continue
            }
            target = "@ref " known
        }
        done = done before "[" text "](" target ")"
    }
    print done line
}
