# Gives the headings of a page the names that links use on the web, "page.md#some-heading", which
# Doxygen does not make by itself, and points the links at them.
function name_of(page, heading) {
    heading = tolower(heading)
    gsub(/[^a-z0-9 _-]/, "", heading)
    gsub(/ /, "-", heading)
    return page "-" heading
}

FNR == 1 { page = FILENAME; sub(/.*\//, "", page); sub(/\.md$/, "", page) }
/^```/ { code = !code }
code { print; next }
/^##+ / {
    heading = $0
    sub(/^#+ /, "", heading)
    print $0 " {#" name_of(page, heading) "}"
    next
}
{
    while (match($0, /\]\([a-z-]*(\.md)?#[a-z0-9_-]+\)/)) {
        target = substr($0, RSTART + 2, RLENGTH - 3)
        other = target
        sub(/(\.md)?#.*/, "", other)
        sub(/.*#/, "", target)
        $0 = substr($0, 1, RSTART + 1) "@ref " (other == "" ? page : other) "-" target ")" \
            substr($0, RSTART + RLENGTH)
    }
    print
}
