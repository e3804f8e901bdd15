# Filters a Markdown page for Doxygen. The pages are written for the web, where four things differ:
# - Headings have names there, "page.md#some-heading". Doxygen needs them as labels.
# - Doxygen prints the backticks of a heading as tags and those of a link as they are, removes the % of
#   `%s`, and ends `'%s'` at the first quotation mark.
# - Pictures are left out.
# - Links to files that are no page of the reference have no target here; their text remains.
function name_of(page, heading) {
    heading = tolower(heading)
    gsub(/[^a-z0-9 _-]/, "", heading)
    gsub(/ /, "-", heading)
    return page "-" heading
}

function page_of(path) {
    sub(/.*\//, "", path)
    sub(/\.md$/, "", path)
    return path
}

# The link for a target of a page or of a heading, or the bare text.
function link(text, target,    file, heading) {
    if (target ~ /:\/\//) {
        return "[" text "](" target ")"
    }
    file = target
    sub(/#.*/, "", file)
    heading = target ~ /#/ ? target : ""
    sub(/.*#/, "", heading)
    if (file != "" && file !~ /^(docs\/)?[a-z-]+\.md$/) {
        return text
    }
    gsub(/`/, "", text)
    if (heading != "") {
        return "[" text "](@ref " (file == "" ? page : page_of(file)) "-" heading ")"
    }
    return "[" text "](@ref page-" page_of(file) ")"
}

# The line with each span of code in the form that Doxygen keeps.
function keep_code(line,    result, span) {
    while (match(line, /`[^`]+`/)) {
        span = substr(line, RSTART + 1, RLENGTH - 2)
        result = result substr(line, 1, RSTART - 1)
        line = substr(line, RSTART + RLENGTH)
        while (match(span, /(^|[^%])%[A-Za-z_]/)) {
            span = substr(span, 1, RSTART + RLENGTH - 3) "%%" substr(span, RSTART + RLENGTH - 1)
        }
        result = result (span ~ /'/ ? "``" span "``" : "`" span "`")
    }
    return result line
}

FNR == 1 { page = page_of(FILENAME) }
/^```/ { code = !code }
code || /^```/ { print; next }
/^!\[/ { next }
/^# / && !titled { titled = 1; print $0 " {#" (page == "README" ? "mainpage" : "page-" page) "}"; next }
/^##+ / {
    heading = $0
    sub(/^#+ /, "", heading)
    shown = $0
    gsub(/`/, "", shown)
    gsub(/</, "\\<", shown)
    print shown " {#" name_of(page, heading) "}"
    next
}
{
    rest = $0
    $0 = ""
    while (match(rest, /\[[^][]+\]\([^)]+\)/)) {
        found = substr(rest, RSTART, RLENGTH)
        $0 = $0 substr(rest, 1, RSTART - 1)
        rest = substr(rest, RSTART + RLENGTH)
        target = found
        sub(/.*\]\(/, "", target)
        sub(/\)$/, "", target)
        text = found
        sub(/^\[/, "", text)
        sub(/\]\([^)]*\)$/, "", text)
        $0 = $0 link(text, target)
    }
    print keep_code($0 rest)
}
